// The texts on the wire, whole, and how they are filled.
#include "collab/MessageTemplates.h"
#include "support/Text.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

namespace
{

// A static object of a host that uses a template while the program is still being loaded.
const QString filledWhileLoading = Tarvo::REGISTER_MESSAGE.arg(u"early"_s);

} // namespace

class tst_MessageTemplates : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data();
    void texts();
    void templatesAreReadyForStaticInitialisers();
    void startPollCarriesItsTimeTwice();
    void placeholdersAreFilledOneAfterAnother();
    void valuesAreNotEscaped();
    void filledPayloadsAreJson_data();
    void filledPayloadsAreJson();
};

void tst_MessageTemplates::texts_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("text");

    QTest::newRow("PUBLISH_MESSAGE_3")
        << Tarvo::PUBLISH_MESSAGE_3 << R"({"type":"publish","address":"%0","body":%1})";
    QTest::newRow("TARVO_LATEX_START")
        << Tarvo::TARVO_LATEX_START << R"(<span class="mathquill-embedded-latex">)";
    QTest::newRow("TARVO_LATEX_END") << Tarvo::TARVO_LATEX_END << "</span>";
    QTest::newRow("PING_MESSAGE") << Tarvo::PING_MESSAGE << R"({"type":"ping"})";
    QTest::newRow("REGISTER_MESSAGE")
        << Tarvo::REGISTER_MESSAGE << R"({"type":"register","address":"%0"})";
    QTest::newRow("PUBLISH_MESSAGE64")
        << Tarvo::PUBLISH_MESSAGE64
        << R"({"type":"publish","address":"%0","body":{"from":"%1","type":"%2","data":["%3"]}})";
    QTest::newRow("START_POLL_DATA64")
        << Tarvo::START_POLL_DATA64
        << R"({"type":"%0","expressionQuestionId":1,"metadata":{"ordinalType":"%1","options":[%6]},"id":"%5","sessionToken":"%2","sessionCode":"%3","lessonId":null,"startTime":%4,"lastUpdatedOn":%4,"card":{"segment":"fake-id","tracks":[{"placeholder":true}],"visible":true,"ordinal":1395358139515,"styles":{"backgroundColor":"","backgroundImage":"%7","backgroundSize":"100%"},"components":[]},"unrespondedUsers":[]})";
    QTest::newRow("SHOW_CARD_DATA")
        << Tarvo::SHOW_CARD_DATA
        << R"({"segment":{"id":"%0"},"isTeacherCard":true,"autoSend":true,"notes":null,"tracks":[],"visible":true,"ordinal":1,"styles":{"backgroundColor":"","backgroundImage":""},"components":[{"ordinal":1397148149039,"styles":{"anchor":false,"width":770,"left":15,"height":570,"top":15},"blob":{"url":"%1"},"type":"image"}],"trackSortSeq":0,"_tId":"DF8A71DA-3EF2-44E3-9B2F-F651C7A8B0F9","hasStudentCards":false})";
    QTest::newRow("PLAIN_DATA") << Tarvo::PLAIN_DATA << R"("%0")";
    QTest::newRow("LESSON_DATA") << Tarvo::LESSON_DATA << R"({"lessonId":"%0", "name":"%1"})";
    QTest::newRow("CURRENTCARD_DATA")
        << Tarvo::CURRENTCARD_DATA << R"({"currentCard":"%0", "cards": [%1], "totalCards":"%2"})";
    QTest::newRow("CURRENTCARD_SUBDATA") << Tarvo::CURRENTCARD_SUBDATA << R"({"name":"%0"})";
}

void tst_MessageTemplates::texts()
{
    QFETCH(QString, actual);
    QFETCH(QString, text);
    QCOMPARE(actual, text);
}

void tst_MessageTemplates::templatesAreReadyForStaticInitialisers()
{
    QCOMPARE(filledWhileLoading, uR"({"type":"register","address":"early"})"_s);
}

void tst_MessageTemplates::startPollCarriesItsTimeTwice()
{
    QString text = Tarvo::START_POLL_DATA64;
    for (const char *value : {"creative", "number", "token", "code", "1000", "id", "0,1", "image"})
        text = text.arg(QLatin1String(value));
    const QJsonObject poll = QJsonDocument::fromJson(text.toUtf8()).object();
    QCOMPARE(poll.value("startTime"), QJsonValue(1000));
    QCOMPARE(poll.value("lastUpdatedOn"), QJsonValue(1000));
    QCOMPARE(
        text,
        uR"({"type":"creative","expressionQuestionId":1,"metadata":{"ordinalType":"number","options":[0,1]},"id":"id","sessionToken":"token","sessionCode":"code","lessonId":null,"startTime":1000,"lastUpdatedOn":1000,"card":{"segment":"fake-id","tracks":[{"placeholder":true}],"visible":true,"ordinal":1395358139515,"styles":{"backgroundColor":"","backgroundImage":"image","backgroundSize":"100%"},"components":[]},"unrespondedUsers":[]})"_s);
}

// A value that looks like a later placeholder is filled by it: what follows replaces the lowest
// number that is still there.
void tst_MessageTemplates::placeholdersAreFilledOneAfterAnother()
{
    QCOMPARE(Tarvo::filled(Tarvo::LESSON_DATA, u"50%1"_s, u"x"_s),
             uR"({"lessonId":"50x", "name":"x"})"_s);
    QCOMPARE(Tarvo::filled(Tarvo::CURRENTCARD_DATA, 1, QString(), 2),
             uR"({"currentCard":"1", "cards": [], "totalCards":"2"})"_s);
}

void tst_MessageTemplates::valuesAreNotEscaped()
{
    QCOMPARE(Tarvo::PLAIN_DATA.arg(u"a\"b\\"_s), uR"("a"b\")"_s);
}

void tst_MessageTemplates::filledPayloadsAreJson_data()
{
    QTest::addColumn<QString>("text");

    const QString value = u"1"_s;
    QTest::newRow("PUBLISH_MESSAGE_3") << Tarvo::PUBLISH_MESSAGE_3.arg(value, value);
    QTest::newRow("PING_MESSAGE") << Tarvo::PING_MESSAGE;
    QTest::newRow("REGISTER_MESSAGE") << Tarvo::REGISTER_MESSAGE.arg(value);
    QTest::newRow("PUBLISH_MESSAGE64") << Tarvo::PUBLISH_MESSAGE64.arg(value, value, value, value);
    QTest::newRow("START_POLL_DATA64")
        << Tarvo::START_POLL_DATA64.arg(value, value, value, value, value, value, value, value);
    QTest::newRow("SHOW_CARD_DATA") << Tarvo::SHOW_CARD_DATA.arg(value, value);
    QTest::newRow("LESSON_DATA") << Tarvo::LESSON_DATA.arg(value, value);
    QTest::newRow("CURRENTCARD_DATA") << Tarvo::CURRENTCARD_DATA.arg(value, value, value);
    QTest::newRow("CURRENTCARD_SUBDATA") << Tarvo::CURRENTCARD_SUBDATA.arg(value);
}

void tst_MessageTemplates::filledPayloadsAreJson()
{
    QFETCH(QString, text);
    QVERIFY(QJsonDocument::fromJson(text.toUtf8()).isObject());
}

QTEST_APPLESS_MAIN(tst_MessageTemplates)
#include "tst_messagetemplates.moc"
