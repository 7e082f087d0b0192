// Image cards on the learners' devices, and what the remote is shown.
#include "OpenChannel.h"
#include "support/Text.h"

#include "support/LogCapture.h"

#include <QtTest/QtTest>

namespace
{

const QString notConnectedLine = u"[PresenterCollab] SockJS socket not connected!"_s;
const QString noImageLine = u"[PresenterCollab] No image reference has been set!"_s;

const char unfilledBlock[] = "XQBAAAAEAAAABAAAAAARCUJkerBQn//7FgAA"; // "%0"

QString cardPayload(const QString &image)
{
    return uR"({"segment":{"id":"any"},"isTeacherCard":true,"autoSend":true,"notes":null,"tracks":[],"visible":true,"ordinal":1,"styles":{"backgroundColor":"","backgroundImage":""},"components":[{"ordinal":1397148149039,"styles":{"anchor":false,"width":770,"left":15,"height":570,"top":15},"blob":{"url":")"_s
        + image
        + uR"("},"type":"image"}],"trackSortSeq":0,"_tId":"DF8A71DA-3EF2-44E3-9B2F-F651C7A8B0F9","hasStudentCards":false})"_s;
}

} // namespace

class tst_PresenterCollabCards : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void imageAsText_data();
    void imageAsText();
    void withoutImageALineSaysSo();
    void clearingEmptiesBothForms();

    void imageCard_data();
    void imageCard();
    void imageCardIsFollowedByHeavyAndUsesTheImageUp();
    void secondImageCardIsEmpty();
    void imageOfAnySizeArrivesWhole_data();
    void imageOfAnySizeArrivesWhole();

    void lesson_data();
    void lesson();
    void presenterIsActive();
    void currentCard_data();
    void currentCard();

    void nothingIsSentWhileNotConnected();
};

void tst_PresenterCollabCards::imageAsText_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("reference");
    QTest::addColumn<bool>("wrap");
    QTest::addColumn<QString>("text");

    const QString url = u"http://h/a%20b.png"_s;
    QTest::newRow("reference") << QByteArray() << url << false << url;
    QTest::newRow("reference as a CSS value")
        << QByteArray() << url << true << "url('" + url + "')";
    QTest::newRow("data") << QByteArray("PNG") << QString() << false
                          << "data:image/png;base64,UE5H";
    QTest::newRow("data is never wrapped")
        << QByteArray("PNG") << QString() << true << "data:image/png;base64,UE5H";
    QTest::newRow("data goes before a reference")
        << QByteArray("PNG") << url << true << "data:image/png;base64,UE5H";
    QTest::newRow("data of one zero byte")
        << QByteArray(1, '\0') << url << true << "data:image/png;base64,AA==";
    QTest::newRow("empty data leaves the reference") << QByteArray("") << url << false << url;
}

void tst_PresenterCollabCards::imageAsText()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, reference);
    QFETCH(bool, wrap);
    QFETCH(QString, text);
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    channel.setCardImageData(data);
    channel.setCardImageRef(reference);
    const LogCapture log;
    QCOMPARE(channel.getCardImageRef(wrap), text);
    QCOMPARE(channel.getCardImageRef(wrap), text); // asking does not use it up
    QCOMPARE(log.messages(), QStringList());
}

void tst_PresenterCollabCards::withoutImageALineSaysSo()
{
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    const LogCapture log;
    QCOMPARE(channel.getCardImageRef(true), QString());
    QCOMPARE(channel.getCardImageRef(false), QString());
    channel.setCardImageData("");
    channel.setCardImageRef("");
    QCOMPARE(channel.getCardImageRef(true), QString());
    QCOMPARE(log.messages(), (QStringList{noImageLine, noImageLine, noImageLine}));
}

void tst_PresenterCollabCards::clearingEmptiesBothForms()
{
    PresenterCollab channel(nullptr, "http://h", "CODE", "session", "teacher");
    channel.setCardImageData("PNG");
    channel.setCardImageRef("http://h/i.png");
    channel.clearCardImage();
    QCOMPARE(channel.getCardImageRef(false), QString());
    channel.setCardImageRef("http://h/i.png");
    channel.clearCardImage();
    QCOMPARE(channel.getCardImageRef(false), QString());
}

// ---- Image cards ---------------------------------------------------------------------------------

void tst_PresenterCollabCards::imageCard_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("reference");
    QTest::addColumn<bool>("wrap");
    QTest::addColumn<QString>("image");

    const QString url = u"http://h/a%20b%2.png"_s;
    QTest::newRow("reference") << QByteArray() << url << false << url;
    QTest::newRow("reference as a CSS value")
        << QByteArray() << url << true << "url('" + url + "')";
    QTest::newRow("data") << QByteArray("PNG") << QString() << true << "data:image/png;base64,UE5H";
    QTest::newRow("no image") << QByteArray() << QString() << true << "";
}

void tst_PresenterCollabCards::imageCard()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, reference);
    QFETCH(bool, wrap);
    QFETCH(QString, image);
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageData(data);
    host.channel.setCardImageRef(reference);
    host.channel.showImageCard(wrap);
    QVERIFY(host.waitForPublished(2));

    const QString message = host.bus.published().first();
    const QString block = packed(cardPayload(image));
    QCOMPARE(message, typedMessage("session.learner", "showCard", block));
    QCOMPARE(Published(message).payload, cardPayload(image));
    QVERIFY(!Published(message).object().isEmpty());
}

void tst_PresenterCollabCards::imageCardIsFollowedByHeavyAndUsesTheImageUp()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageData("PNG");
    host.channel.setCardImageRef("http://h/i.png");
    host.channel.showImageCard(false);
    QCOMPARE(host.channel.getCardImageRef(false), QString());
    QVERIFY(host.waitForPublished(2));
    QCOMPARE(host.bus.published().size(), 2);
    QCOMPARE(host.bus.published().at(1),
             typedMessage("session.learner", "heavy", QLatin1String(unfilledBlock)));
}

void tst_PresenterCollabCards::secondImageCardIsEmpty()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageRef("http://h/i.png");
    host.channel.showImageCard(false);
    const LogCapture log;
    host.channel.showImageCard(false);
    QCOMPARE(log.messages(), QStringList{noImageLine});
    QVERIFY(host.waitForPublished(4));
    QCOMPARE(Published(host.bus.published().at(0)).payload, cardPayload("http://h/i.png"));
    QCOMPARE(Published(host.bus.published().at(2)).payload, cardPayload(""));
}

void tst_PresenterCollabCards::imageOfAnySizeArrivesWhole_data()
{
    QTest::addColumn<int>("size");
    QTest::newRow("0 bytes") << 0;
    QTest::newRow("1 byte") << 1;
    QTest::newRow("5 MB") << 5 * 1024 * 1024;
}

void tst_PresenterCollabCards::imageOfAnySizeArrivesWhole()
{
    QFETCH(int, size);
    const QByteArray image = noise(size);
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.setCardImageData(image);
    host.channel.showImageCard(true);
    QVERIFY(host.waitForPublished(2));

    const QString url = Published(host.bus.published().first())
                            .object()
                            .value("components")
                            .toArray()
                            .at(0)
                            .toObject()
                            .value("blob")
                            .toObject()
                            .value("url")
                            .toString();
    const QString prefix = u"data:image/png;base64,"_s;
    if (size == 0) {
        QCOMPARE(url, QString());
        return;
    }
    QVERIFY(url.startsWith(prefix));
    QVERIFY(QByteArray::fromBase64(url.mid(prefix.size()).toLatin1()) == image);
}

// ---- The remote ----------------------------------------------------------------------------------

void tst_PresenterCollabCards::lesson_data()
{
    QTest::addColumn<QString>("id");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("payload");

    QTest::newRow("lesson") << "l1"
                            << "Fractions"
                            << R"({"lessonId":"l1", "name":"Fractions"})";
    QTest::newRow("nothing") << QString() << QString() << R"({"lessonId":"", "name":""})";
    QTest::newRow("name in letters of all kinds")
        << "l1" << u"Br\u00fcche \u4e16 100%1"_s
        << u"{\"lessonId\":\"l1\", \"name\":\"Br\u00fcche \u4e16 100%1\"}"_s;
    QTest::newRow("values are not escaped") << "l\"1"
                                            << "a\\b"
                                            << R"({"lessonId":"l"1", "name":"a\b"})";
}

void tst_PresenterCollabCards::lesson()
{
    QFETCH(QString, id);
    QFETCH(QString, name);
    QFETCH(QString, payload);
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.sendCurrentLessonToRemote(id, name);
    QVERIFY(host.waitForPublished(1));
    const QString block = packed(payload);
    QCOMPARE(host.bus.published(),
             QStringList{typedMessage("session.controller", "currentLesson", block)});
    QCOMPARE(Published(host.bus.published().first()).payload, payload);
}

void tst_PresenterCollabCards::presenterIsActive()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.sendPresenterIsActiveToRemote();
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(),
             QStringList{typedMessage("session.controller", "presenterIsActive",
                                      QLatin1String(unfilledBlock))});
}

void tst_PresenterCollabCards::currentCard_data()
{
    QTest::addColumn<int>("current");
    QTest::addColumn<int>("total");
    QTest::addColumn<QString>("payload");

    QTest::newRow("second of three")
        << 2 << 3
        << R"({"currentCard":"2", "cards": [{"name":"1"},{"name":"2"},{"name":"3"}], "totalCards":"3"})";
    QTest::newRow("only card")
        << 1 << 1 << R"({"currentCard":"1", "cards": [{"name":"1"}], "totalCards":"1"})";
    QTest::newRow("no cards") << 0 << 0 << R"({"currentCard":"0", "cards": [], "totalCards":"0"})";
    QTest::newRow("fewer than none")
        << -1 << -2 << R"({"currentCard":"-1", "cards": [], "totalCards":"-2"})";
    QTest::newRow("beyond the last")
        << 12 << 1 << R"({"currentCard":"12", "cards": [{"name":"1"}], "totalCards":"1"})";
}

void tst_PresenterCollabCards::currentCard()
{
    QFETCH(int, current);
    QFETCH(int, total);
    QFETCH(QString, payload);
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.sendCurrentCardToRemote(current, total);
    QVERIFY(host.waitForPublished(1));
    const QString block = packed(payload);
    QCOMPARE(host.bus.published(),
             QStringList{typedMessage("session.controller", "currentCard", block)});
    QCOMPARE(Published(host.bus.published().first()).payload, payload);
}

void tst_PresenterCollabCards::nothingIsSentWhileNotConnected()
{
    OpenChannel host;
    {
        const LogCapture log;
        host.channel.sendCurrentLessonToRemote("l", "n");
        host.channel.sendPresenterIsActiveToRemote();
        host.channel.sendCurrentCardToRemote(1, 1);
        host.channel.setCardImageRef("http://h/i.png");
        host.channel.showImageCard(false);
        // Four operations; showImageCard() sends "heavy" too.
        QCOMPARE(log.messages(), QStringList(QVector<QString>(5, notConnectedLine).toList()));
    }
    QCOMPARE(host.channel.getCardImageRef(false), QString());
    QVERIFY(host.hasPublishedNothing());
}

QTEST_GUILESS_MAIN(tst_PresenterCollabCards)
#include "tst_presentercollabcards.moc"
