#include "e2e/LiveSession.h"

// Card images of every size arrive whole on a learner's device.
class tst_LiveImages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void imageCardArrivesWhole_data();
    void imageCardArrivesWhole();
    void imageBehindAPollArrivesWhole_data();
    void imageBehindAPollArrivesWhole();
    void imageAddressArrivesAsItIs_data() { addTransportRows(); }
    void imageAddressArrivesAsItIs();
};

namespace
{

constexpr int FIVE_MB = 5 * 1024 * 1024;

void addImageRow(const QString &transport, int size)
{
    QTest::addRow("%s, %d bytes", qPrintable(transport), size) << transport << size;
}

void addImageColumns()
{
    QTest::addColumn<QString>("transport");
    QTest::addColumn<int>("size");
}

// What a device gets for an image: nothing for none, else a data URI.
QString imageText(const QByteArray &image)
{
    if (image.isEmpty())
        return QString();
    return "data:image/png;base64," + QString::fromLatin1(image.toBase64());
}

} // namespace

void tst_LiveImages::imageCardArrivesWhole_data()
{
    addImageColumns();
    for (const char *transport : {"websocket", "xhr-polling"}) {
        for (const int size : {0, 1, FIVE_MB})
            addImageRow(transport, size);
    }
}

void tst_LiveImages::imageCardArrivesWhole()
{
    QFETCH(QString, transport);
    QFETCH(int, size);
    const QByteArray image = noise(size);
    const Far far(false, {"--learners", "1"});
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    QTRY_COMPARE_WITH_TIMEOUT(far->learners().size(), 1, LONG_MS);

    session.channel->setCardImageData(image);
    session.channel->showImageCard(false);
    // The service may take its time to unpack five megabytes.
    QTRY_COMPARE_WITH_TIMEOUT(far->countNow({{"kind", "received"}, {"type", "showCard"}}), 1,
                              LONG_MS);
    const QJsonValue message = far->receivedOne("showCard");
    QCOMPARE(message["address"].toString(), session.token() + ".learner");
    const QString url = message["data"]["components"][0]["blob"]["url"].toString();
    QVERIFY(url == imageText(image)); // not QCOMPARE: it would print megabytes
    QCOMPARE(far->receivedOne("heavy")["text"].toString(), QString("\"%0\""));
    // The image is used up.
    QCOMPARE(session.channel->getCardImageRef(false), QString());
}

void tst_LiveImages::imageBehindAPollArrivesWhole_data()
{
    addImageColumns();
    addImageRow("websocket", 0);
    addImageRow("websocket", 1);
    addImageRow("xhr-polling", FIVE_MB);
}

void tst_LiveImages::imageBehindAPollArrivesWhole()
{
    QFETCH(QString, transport);
    QFETCH(int, size);
    const QByteArray image = noise(size);
    const Far far(false, {"--learners", "1"});
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    QTRY_COMPARE_WITH_TIMEOUT(far->learners().size(), 1, LONG_MS);

    session.channel->setCardImageData(image);
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(far->countNow({{"kind", "received"}, {"type", "questionStart"}}), 1,
                              LONG_MS);
    const QJsonValue styles =
        far->receivedOne("questionStart")["data"]["card"]["styles"].toObject();
    QVERIFY(styles["backgroundImage"].toString() == imageText(image));
    QCOMPARE(styles["backgroundColor"].toString(), QString());
    QCOMPARE(styles["backgroundSize"].toString(), QString("100%"));
    QCOMPARE(session.channel->getCardImageRef(true), QString());
}

void tst_LiveImages::imageAddressArrivesAsItIs()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "1"});
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    QTRY_COMPARE_WITH_TIMEOUT(far->learners().size(), 1, LONG_MS);
    const QString address = "https://x.example/a.png?size=1&name=b";

    session.channel->setCardImageRef(address);
    session.channel->showImageCard(false);
    const QJsonValue card = far->receivedOne("showCard")["data"].toObject();
    QCOMPARE(card["components"][0]["blob"]["url"].toString(), address);

    session.channel->setCardImageRef(address);
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    const QJsonValue question = far->receivedOne("questionStart")["data"].toObject();
    QCOMPARE(question["card"]["styles"]["backgroundImage"].toString(), "url('" + address + "')");
}

QTEST_GUILESS_MAIN(tst_LiveImages)
#include "tst_liveimages.moc"
