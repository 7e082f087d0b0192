// Image cards on the learners' devices, and what the remote is shown.
#include "OpenChannel.h"

#include <QtTest/QtTest>

#include <optional>

namespace
{

const QString noImageLine = u"[PresenterCollab] No image reference has been set!"_s;

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
    void init() { QVERIFY(host.emplace().open()); }
    void cleanup() { host.reset(); }

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

private:
    // That one message has been published, of this type to the remote, and what it carries.
    void compareSentToRemote(const char *type, const QString &payload);

    std::optional<OpenChannel> host;
};

void tst_PresenterCollabCards::compareSentToRemote(const char *type, const QString &payload)
{
    QCOMPARE(host->published(1),
             QStringList{typedMessage("session.controller", type, packed(payload))});
    QCOMPARE(host->sent(0).payload, payload);
}

void tst_PresenterCollabCards::imageAsText_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<QString>("reference");
    QTest::addColumn<bool>("wrap");
    QTest::addColumn<QString>("text");

    const QString url = u"http://h/a%20b.png"_s;
    const QString inlined = u"data:image/png;base64,UE5H"_s;
    const QByteArray none;
    QTest::newRow("reference") << none << url << false << url;
    QTest::newRow("reference as a CSS value") << none << url << true << "url('" + url + "')";
    QTest::newRow("data") << QByteArray("PNG") << QString() << false << inlined;
    QTest::newRow("data is never wrapped") << QByteArray("PNG") << QString() << true << inlined;
    QTest::newRow("data goes before a reference") << QByteArray("PNG") << url << true << inlined;
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
    UnopenedChannel channel;
    channel.setCardImageData(data);
    channel.setCardImageRef(reference);
    const LogCapture log;
    QCOMPARE(channel.getCardImageRef(wrap), text);
    QCOMPARE(channel.getCardImageRef(wrap), text); // asking does not use it up
    QCOMPARE(log.messages(), QStringList());
}

void tst_PresenterCollabCards::withoutImageALineSaysSo()
{
    UnopenedChannel channel;
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
    UnopenedChannel channel;
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
    const QString inlined = u"data:image/png;base64,UE5H"_s;
    const QByteArray none;
    QTest::newRow("reference") << none << url << false << url;
    QTest::newRow("reference as a CSS value") << none << url << true << "url('" + url + "')";
    QTest::newRow("data") << QByteArray("PNG") << QString() << true << inlined;
    QTest::newRow("no image") << none << QString() << true << "";
}

void tst_PresenterCollabCards::imageCard()
{
    QFETCH(QByteArray, data);
    QFETCH(QString, reference);
    QFETCH(bool, wrap);
    QFETCH(QString, image);
    host->channel.setCardImageData(data);
    host->channel.setCardImageRef(reference);
    host->channel.showImageCard(wrap);

    const QString block = packed(cardPayload(image));
    QCOMPARE(host->published(2).value(0), typedMessage("session.learner", "showCard", block));
    QCOMPARE(host->sent(0).payload, cardPayload(image));
    QVERIFY(!host->sent(0).object().isEmpty());
}

void tst_PresenterCollabCards::imageCardIsFollowedByHeavyAndUsesTheImageUp()
{
    host->channel.setCardImageData("PNG");
    host->channel.setCardImageRef("http://h/i.png");
    host->channel.showImageCard(false);
    QCOMPARE(host->channel.getCardImageRef(false), QString());
    QCOMPARE(host->published(2).mid(1),
             QStringList{typedMessage("session.learner", "heavy", unfilledBlock)});
}

void tst_PresenterCollabCards::secondImageCardIsEmpty()
{
    host->channel.setCardImageRef("http://h/i.png");
    host->channel.showImageCard(false);
    const LogCapture log;
    host->channel.showImageCard(false);
    QCOMPARE(log.messages(), QStringList{noImageLine});
    QCOMPARE(host->published(4).size(), 4);
    QCOMPARE(host->sent(0).payload, cardPayload("http://h/i.png"));
    QCOMPARE(host->sent(2).payload, cardPayload(""));
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
    host->channel.setCardImageData(image);
    host->channel.showImageCard(true);
    const QJsonObject component =
        host->sent(0).object().value("components").toArray().at(0).toObject();
    const QString url = component.value("blob").toObject().value("url").toString();
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

    const auto row = [](const char *name, const QString &id, const QString &lesson,
                        const QString &payload) { QTest::newRow(name) << id << lesson << payload; };
    row("lesson", "l1", "Fractions", R"({"lessonId":"l1", "name":"Fractions"})");
    row("nothing", QString(), QString(), R"({"lessonId":"", "name":""})");
    row("name in letters of all kinds", "l1", u"Brüche 世 100%1"_s,
        uR"({"lessonId":"l1", "name":"Brüche 世 100%1"})"_s);
    row("values are not escaped", "l\"1", "a\\b", R"({"lessonId":"l"1", "name":"a\b"})");
}

void tst_PresenterCollabCards::lesson()
{
    QFETCH(QString, id);
    QFETCH(QString, name);
    QFETCH(QString, payload);
    host->channel.sendCurrentLessonToRemote(id, name);
    compareSentToRemote("currentLesson", payload);
}

void tst_PresenterCollabCards::presenterIsActive()
{
    host->channel.sendPresenterIsActiveToRemote();
    QCOMPARE(host->published(1),
             QStringList{typedMessage("session.controller", "presenterIsActive", unfilledBlock)});
}

void tst_PresenterCollabCards::currentCard_data()
{
    QTest::addColumn<int>("current");
    QTest::addColumn<int>("total");
    QTest::addColumn<QString>("payload");

    const auto row = [](const char *name, int current, int total, const char *payload) {
        QTest::newRow(name) << current << total << payload;
    };
    row("second of three", 2, 3,
        R"({"currentCard":"2", "cards": [{"name":"1"},{"name":"2"},{"name":"3"}], "totalCards":"3"})");
    row("only card", 1, 1, R"({"currentCard":"1", "cards": [{"name":"1"}], "totalCards":"1"})");
    row("no cards", 0, 0, R"({"currentCard":"0", "cards": [], "totalCards":"0"})");
    row("fewer than none", -1, -2, R"({"currentCard":"-1", "cards": [], "totalCards":"-2"})");
    row("beyond the last", 12, 1,
        R"({"currentCard":"12", "cards": [{"name":"1"}], "totalCards":"1"})");
}

void tst_PresenterCollabCards::currentCard()
{
    QFETCH(int, current);
    QFETCH(int, total);
    QFETCH(QString, payload);
    host->channel.sendCurrentCardToRemote(current, total);
    compareSentToRemote("currentCard", payload);
}

void tst_PresenterCollabCards::nothingIsSentWhileNotConnected()
{
    OpenChannel later;
    {
        const LogCapture log;
        later.channel.sendCurrentLessonToRemote("l", "n");
        later.channel.sendPresenterIsActiveToRemote();
        later.channel.sendCurrentCardToRemote(1, 1);
        later.channel.setCardImageRef("http://h/i.png");
        later.channel.showImageCard(false);
        // Four operations; showImageCard() sends "heavy" too.
        QCOMPARE(log.messages(), QStringList(QVector<QString>(5, notConnectedLine).toList()));
    }
    QCOMPARE(later.channel.getCardImageRef(false), QString());
    QVERIFY(later.hasPublishedNothing());
}

QTEST_GUILESS_MAIN(tst_PresenterCollabCards)
#include "tst_presentercollabcards.moc"
