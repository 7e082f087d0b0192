#include "e2e/LiveSession.h"
#include "support/Text.h"

// Card images of every size arrive whole on a learner's device.
class tst_LiveImages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void imageCardArrivesWhole_data();
    void imageCardArrivesWhole();
    void imageBehindAPollArrivesWhole_data();
    void imageBehindAPollArrivesWhole();
    void imageAddressArrivesAsItIs_data() { addLessonRows(); }
    void imageAddressArrivesAsItIs();
};

namespace
{

constexpr int FIVE_MB = 5 * 1024 * 1024;

void addImageColumns()
{
    addWayColumns();
    QTest::addColumn<int>("size");
}

void addImageRows(const QString &transport, const QVector<int> &sizes)
{
    for (const int size : sizes)
        QTest::addRow("%s, %d bytes", qPrintable(transport), size)
            << transport << false << false << size;
}

void addRobustImageRows(const QVector<int> &sizes)
{
    for (const int size : sizes) {
        for (const char *transport : {"websocket", "xhr-streaming", "xhr-polling"}) {
            QTest::addRow("robust %s, %d bytes", transport, size)
                << transport << false << true << size;
            QTest::addRow("robust %s, TLS, %d bytes", transport, size)
                << transport << true << true << size;
        }
    }
}

QByteArray rowImage()
{
    QFETCH(int, size);
    return noise(size);
}

// What a device gets for an image: nothing for none, else a data URI.
QString imageText(const QByteArray &image)
{
    if (image.isEmpty())
        return QString();
    return u"data:image/png;base64,"_s + QString::fromLatin1(image.toBase64());
}

} // namespace

void tst_LiveImages::imageCardArrivesWhole_data()
{
    addImageColumns();
    addImageRows(u"websocket"_s, {0, 1, FIVE_MB});
    addImageRows(u"xhr-polling"_s, {0, 1, FIVE_MB});
    addRobustImageRows({0, 1, FIVE_MB});
}

void tst_LiveImages::imageCardArrivesWhole()
{
    const Far far(rowWay(), words(u"--learners 1"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    session.channel->setCardImageData(rowImage());
    session.channel->showImageCard(false);
    // The service may take its time to unpack five megabytes.
    QTRY_COMPARE_WITH_TIMEOUT(far->countNow(u"received"_s, {{u"type"_s, u"showCard"_s}}), 1,
                              LONG_MS);
    const QJsonValue message = far->receivedOne(u"showCard"_s);
    QCOMPARE(message[u"address"_s].toString(), session.token() + u".learner"_s);
    QVERIFY(message[u"data"_s].isObject()); // unpacked
    const QJsonValue image = message[u"data"_s][u"components"_s][0][u"blob"_s][u"url"_s];
    QVERIFY(image.toString() == imageText(rowImage())); // not QCOMPARE: it would print megabytes
    QCOMPARE(far->receivedOne(u"heavy"_s)[u"text"_s].toString(), u"\"%0\""_s);
    // The image is used up.
    QCOMPARE(session.channel->getCardImageRef(false), QString());
}

void tst_LiveImages::imageBehindAPollArrivesWhole_data()
{
    addImageColumns();
    addImageRows(u"websocket"_s, {0, 1});
    addImageRows(u"xhr-polling"_s, {FIVE_MB});
    addRobustImageRows({FIVE_MB});
}

void tst_LiveImages::imageBehindAPollArrivesWhole()
{
    const Far far(rowWay(), words(u"--learners 1"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    session.channel->setCardImageData(rowImage());
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    QTRY_COMPARE_WITH_TIMEOUT(far->countNow(u"received"_s, {{u"type"_s, u"questionStart"_s}}), 1,
                              LONG_MS);
    const QJsonValue styles =
        far->receivedOne(u"questionStart"_s)[u"data"_s][u"card"_s][u"styles"_s].toObject();
    QVERIFY(styles[u"backgroundImage"_s].toString() == imageText(rowImage()));
    QCOMPARE(styles[u"backgroundColor"_s].toString(), QString());
    QCOMPARE(styles[u"backgroundSize"_s].toString(), u"100%"_s);
    QCOMPARE(session.channel->getCardImageRef(true), QString());
}

void tst_LiveImages::imageAddressArrivesAsItIs()
{
    const Far far(rowWay(), words(u"--learners 1"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 1));
    const QString address = u"https://x.example/a.png?size=1&name=b"_s;

    session.channel->setCardImageRef(address);
    session.channel->showImageCard(false);
    QCOMPARE(far->shownImage(), address);

    session.channel->setCardImageRef(address);
    session.channel->startPoll(Tarvo::PollType::TEXT, Tarvo::OrdinalType::GENERIC, 0, 0);
    const QJsonValue question = far->receivedOne(u"questionStart"_s)[u"data"_s].toObject();
    QCOMPARE(question[u"card"_s][u"styles"_s][u"backgroundImage"_s].toString(),
             u"url('"_s + address + u"')"_s);
}

QTEST_GUILESS_MAIN(tst_LiveImages)
#include "tst_liveimages.moc"
