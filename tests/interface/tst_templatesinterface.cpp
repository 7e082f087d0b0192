// The message templates and the envelope TarvoCollabMessage by name.

#include "collab/MessageTemplates.h"
#include "collab/TarvoCollabMessage.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Tarvo::TarvoCollabMessage;

QVector<Extent> extents(const TarvoCollabMessage &message);

// clang-format off
template struct Members<TarvoCollabMessage,
    member<QString>(&TarvoCollabMessage::m_from),
    member<QString>(&TarvoCollabMessage::m_type),
    member<QString>(&TarvoCollabMessage::m_version),
    member<QString>(&TarvoCollabMessage::m_sourceSystem),
    member<QVariant>(&TarvoCollabMessage::m_data),
    member<QObject *>(&TarvoCollabMessage::dataObject)>; // no property, so nothing stands in front
// clang-format on

class tst_TemplatesInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void templates_data();
    void templates();
    void protocolVersion();
    void messageFunctions();
    void messageMembersFollowEachOther();
    void messageMetaObject();
};

// clang-format off
void tst_TemplatesInterface::templates_data()
{
    QTest::addColumn<QString>("actual");
    QTest::addColumn<QString>("text");
    const auto row = [](const char *name, const QString &actual, const char *text) {
        QTest::newRow(name) << actual << QString::fromUtf8(text);
    };
    row("PUBLISH_MESSAGE_3", Tarvo::PUBLISH_MESSAGE_3, R"({"type":"publish","address":"%0","body":%1})");
    row("TARVO_LATEX_START", Tarvo::TARVO_LATEX_START, R"(<span class="mathquill-embedded-latex">)");
    row("TARVO_LATEX_END", Tarvo::TARVO_LATEX_END, R"(</span>)");
    row("PING_MESSAGE", Tarvo::PING_MESSAGE, R"({"type":"ping"})");
    row("REGISTER_MESSAGE", Tarvo::REGISTER_MESSAGE, R"({"type":"register","address":"%0"})");
    row("PUBLISH_MESSAGE64", Tarvo::PUBLISH_MESSAGE64, R"({"type":"publish","address":"%0","body":{"from":"%1","type":"%2","data":["%3"]}})");
    row("START_POLL_DATA64", Tarvo::START_POLL_DATA64, R"({"type":"%0","expressionQuestionId":1,"metadata":{"ordinalType":"%1","options":[%6]},"id":"%5","sessionToken":"%2","sessionCode":"%3","lessonId":null,"startTime":%4,"lastUpdatedOn":%4,"card":{"segment":"fake-id","tracks":[{"placeholder":true}],"visible":true,"ordinal":1395358139515,"styles":{"backgroundColor":"","backgroundImage":"%7","backgroundSize":"100%"},"components":[]},"unrespondedUsers":[]})");
    row("SHOW_CARD_DATA", Tarvo::SHOW_CARD_DATA, R"({"segment":{"id":"%0"},"isTeacherCard":true,"autoSend":true,"notes":null,"tracks":[],"visible":true,"ordinal":1,"styles":{"backgroundColor":"","backgroundImage":""},"components":[{"ordinal":1397148149039,"styles":{"anchor":false,"width":770,"left":15,"height":570,"top":15},"blob":{"url":"%1"},"type":"image"}],"trackSortSeq":0,"_tId":"DF8A71DA-3EF2-44E3-9B2F-F651C7A8B0F9","hasStudentCards":false})");
    row("PLAIN_DATA", Tarvo::PLAIN_DATA, R"("%0")");
    row("LESSON_DATA", Tarvo::LESSON_DATA, R"({"lessonId":"%0", "name":"%1"})");
    row("CURRENTCARD_DATA", Tarvo::CURRENTCARD_DATA, R"({"currentCard":"%0", "cards": [%1], "totalCards":"%2"})");
    row("CURRENTCARD_SUBDATA", Tarvo::CURRENTCARD_SUBDATA, R"({"name":"%0"})");
}

void tst_TemplatesInterface::templates()
{
    QFETCH(QString, actual);
    QFETCH(QString, text);
    QCOMPARE(actual, text);

    QVERIFY((std::is_same_v<decltype(Tarvo::PUBLISH_MESSAGE_3), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::TARVO_LATEX_START), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::TARVO_LATEX_END), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::PING_MESSAGE), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::REGISTER_MESSAGE), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::PUBLISH_MESSAGE64), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::START_POLL_DATA64), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::SHOW_CARD_DATA), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::PLAIN_DATA), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::LESSON_DATA), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::CURRENTCARD_DATA), const QString>));
    QVERIFY((std::is_same_v<decltype(Tarvo::CURRENTCARD_SUBDATA), const QString>));
}

void tst_TemplatesInterface::protocolVersion()
{
    QVERIFY((std::is_same_v<decltype(TarvoCollabMessage::PROTOCOL_VERSION), const QString>));
    QCOMPARE(TarvoCollabMessage::PROTOCOL_VERSION, u"3.0.0"_s);
}

void tst_TemplatesInterface::messageFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, TarvoCollabMessage>));
    QVERIFY((std::is_constructible_v<TarvoCollabMessage, QObject *>));
    QVERIFY(std::is_default_constructible_v<TarvoCollabMessage>);

    QVERIFY(has<void (TarvoCollabMessage::*)()>(&TarvoCollabMessage::compileData));

    QVERIFY(has<QString (TarvoCollabMessage::*)() const>(&TarvoCollabMessage::from));
    QVERIFY(has<QString (TarvoCollabMessage::*)() const>(&TarvoCollabMessage::type));
    QVERIFY(has<QString (TarvoCollabMessage::*)() const>(&TarvoCollabMessage::version));
    QVERIFY(has<QString (TarvoCollabMessage::*)() const>(&TarvoCollabMessage::sourceSystem));
    QVERIFY(has<QVariant (TarvoCollabMessage::*)() const>(&TarvoCollabMessage::data));

    QVERIFY(has<void (TarvoCollabMessage::*)(QString)>(&TarvoCollabMessage::setfrom));
    QVERIFY(has<void (TarvoCollabMessage::*)(QString)>(&TarvoCollabMessage::settype));
    QVERIFY(has<void (TarvoCollabMessage::*)(QString)>(&TarvoCollabMessage::setversion));
    QVERIFY(has<void (TarvoCollabMessage::*)(QString)>(&TarvoCollabMessage::setsourceSystem));
    QVERIFY(has<void (TarvoCollabMessage::*)(QVariant)>(&TarvoCollabMessage::setdata));
    QVERIFY(has<void (TarvoCollabMessage::*)(QObject *)>(&TarvoCollabMessage::setdataobject));
}

void tst_TemplatesInterface::messageMembersFollowEachOther()
{
    const TarvoCollabMessage message;
    QCOMPARE(outOfPlace(extents(message), sizeof(QObject)), QString());
}

void tst_TemplatesInterface::messageMetaObject()
{
    compareMetaObject(TarvoCollabMessage::staticMetaObject, "Tarvo::TarvoCollabMessage: QObject", {
        "public slot void setfrom(QString from)",
        "public slot void settype(QString type)",
        "public slot void setversion(QString version)",
        "public slot void setsourceSystem(QString sourceSystem)",
        "public slot void setdata(QVariant data)",
        "public slot void setdataobject(QObject* dataObject)",
    }, {
        "QString from READ WRITE",
        "QString type READ WRITE",
        "QString version READ WRITE",
        "QString sourceSystem READ WRITE",
        "QVariant data READ WRITE",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_TemplatesInterface)
#include "tst_templatesinterface.moc"
