// Which signal each message that arrives becomes, and what the signal carries.
#include "Messages.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

#include <optional>

class tst_IncomingMessages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { host.emplace(); }
    void cleanup() { host.reset(); }

    void action_data();
    void action();
    void type_data();
    void type();
    void handlerTakesMissingFieldsAsEmpty_data();
    void handlerTakesMissingFieldsAsEmpty();
    void dropped_data();
    void dropped();

    void pollAnswer_data();
    void pollAnswer();
    void questionAnswer_data();
    void questionAnswer();
    void numberFields_data();
    void numberFields();
    void unhandledMessageCarriesBodyAndData();
    void remoteCommandCarriesItsData();

private:
    std::optional<HandlerHost> host;
};

// ---- Which signal --------------------------------------------------------------------------------

void tst_IncomingMessages::action_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("lines");

    const auto row = [](const char *name, const QString &fields, const QStringList &events,
                        const QStringList &lines) {
        QTest::newRow(name) << fields << events << lines;
    };
    const auto leaving = [row](const char *name, const QString &client, const QStringList &events,
                               const QStringList &lines) {
        row(name, R"("action":"unregister","client":)" + client, events,
            QStringList{"[MessageHandler.ACTION] unregister"} + lines);
    };
    const auto ignored = [row](const char *name, const QString &fields, const QString &action) {
        row(name, fields, {}, {"[MessageHandler.ACTION] " + action});
    };
    const QString learner = uR"({"type":"user","token":"d1"})"_s;
    const QString remote = uR"({"type":"controller","token":"c1"})"_s;
    leaving("a learner leaves", learner, {"learnerUnregister|d1"}, {"UNREGISTER"});
    leaving("a learner without a token leaves", R"({"type":"user"})", {"learnerUnregister|"},
            {"UNREGISTER"});
    leaving("a remote leaves", remote, {"controllerRegister|false"}, {"UNREGISTER CONTROLLER"});
    leaving("another kind of client leaves", R"({"type":"presenter","token":"t"})", {}, {});
    leaving("client types are case-sensitive", R"({"type":"User","token":"t"})", {}, {});
    leaving("client that is a text", R"("user")", {}, {});
    leaving("action and type", learner + R"(,"type":"nextCard")", {"learnerUnregister|d1"},
            {"UNREGISTER"});
    ignored("nobody leaves", R"("action":"unregister")", "unregister");
    ignored("register is not dispatched", R"("action":"register","client":)" + remote, "register");
    ignored("unknown action", R"("action":"dance")", "dance");
    ignored("actions are case-sensitive", R"("action":"Unregister","client":)" + learner,
            "Unregister");
    ignored("empty action", R"("action":"","type":"nextCard")", "");
    ignored("unknown action and known type", R"("action":"dance","type":"nextCard","from":"c1")",
            "dance");
    ignored("action that is a number", R"("action":5,"type":"nextCard")", "5");
    row("null is no action", R"("action":null,"type":"nextCard","from":"c1")",
        {"remoteControl|nextCard|c1"}, {"[MessageHandler.TYPE] nextCard"});
    row("a list is no action", R"("action":["unregister"],"type":"nextCard","from":"c1")",
        {"remoteControl|nextCard|c1"}, {"[MessageHandler.TYPE] nextCard"});
}

void tst_IncomingMessages::action()
{
    QFETCH(QString, fields);
    QFETCH(QStringList, events);
    QFETCH(QStringList, lines);
    const LogCapture log;
    host->receive(incomingMessage(fields));
    QCOMPARE(host->events, events);
    QCOMPARE(log.messages(), QStringList{"[MessageHandler] " + incomingMessage(fields)} + lines);
}

void tst_IncomingMessages::type_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("payload");
    QTest::addColumn<QString>("event");

    const auto row = [](const char *name, const QString &type, const QString &payload,
                        const QString &event) { QTest::newRow(name) << type << payload << event; };
    row("join", "join", joinText, "learnerJoin|d1|Ada|tablet");
    row("pollResponse", "pollResponse",
        R"({"pollId":"p1","responseTime":1500,"pick":{"input":"B"}})",
        "learnerPollResponse|d1|p1|1500|B");
    row("questionResponse", "questionResponse",
        R"({"questionId":"q1","studentAssessmentToken":"t","questionSetMode":"Poll","responseTime":20,"answer":"42","optionAnswers":[]})",
        "learnerPollResponse|d1|q1|20|42");
    row("questionGet", "questionGet", R"({"questionNumber":3})", "learnerGetQuestion|d1|3");
    for (const char *command :
         {"stopSession", "requestLessonInfo", "requestLesson", "presenterActive", "pause", "resume",
          "lockAll", "unlockAll", "nextCard", "previousCard", "pushCurrentCard", "addImageCard"})
        row(command, command, "{}", u"remoteControl|%1|d1"_s.arg(command));
    row("unknown", "dance", "{}", "unhandledMessage|dance");
    row("types are case-sensitive", "Join", joinText, "unhandledMessage|Join");
    row("empty", "", "{}", "unhandledMessage|");
    row("the action's name", "unregister", "{}", "unhandledMessage|unregister");
}

void tst_IncomingMessages::type()
{
    QFETCH(QString, type);
    QFETCH(QString, payload);
    QFETCH(QString, event);
    host->receive(deviceMessage(type, payload));
    QCOMPARE(host->events, QStringList{event});
}

void tst_IncomingMessages::handlerTakesMissingFieldsAsEmpty_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("event");
    const auto row = [](const char *type, const char *event) {
        QTest::newRow(type) << type << event;
    };
    row("join", "learnerJoin|||");
    row("pollResponse", "learnerPollResponse|||0|");
    row("questionResponse", "learnerPollResponse|||0|");
    row("questionGet", "learnerGetQuestion||0");
    row("nextCard", "remoteControl|nextCard|");
}

void tst_IncomingMessages::handlerTakesMissingFieldsAsEmpty()
{
    QFETCH(QString, type);
    QFETCH(QString, event);
    host->receive(incomingMessage(uR"("type":"%1")"_s.arg(type)));
    host->receive(incomingMessage(uR"("type":"%1","data":["%2"])"_s.arg(type, packed("{}"))));
    QCOMPARE(host->events, (QStringList{event, event}));
}

void tst_IncomingMessages::dropped_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("nothing") << QString();
    QTest::newRow("no JSON") << "hello";
    QTest::newRow("bare text") << R"("hello")";
    QTest::newRow("cut off") << R"({"body":{"type":"nextCard")";
    QTest::newRow("more than one value") << R"({"body":{"type":"nextCard"}} {})";
    QTest::newRow("a list") << R"([{"body":{"type":"nextCard"}}])";
    QTest::newRow("no body") << R"({"type":"nextCard"})";
    QTest::newRow("empty body") << R"({"body":{}})";
    QTest::newRow("null body") << R"({"body":null})";
    QTest::newRow("body that is a text") << R"({"body":"{\"type\":\"nextCard\"}"})";
    QTest::newRow("body that is a list") << R"({"body":[{"type":"nextCard"}]})";
    QTest::newRow("body that is a number") << R"({"body":1})";
    QTest::newRow("neither action nor type") << R"({"body":{"from":"d1","data":["x"]}})";
    QTest::newRow("null type") << R"({"body":{"type":null}})";
    QTest::newRow("type that is a map") << R"({"body":{"type":{"a":1}}})";
    QTest::newRow("nested too deeply") << R"({"body":{"type":"nextCard","data":)"
            + u"["_s.repeated(5000) + u"]"_s.repeated(5000) + "}}";
}

void tst_IncomingMessages::dropped()
{
    QFETCH(QString, text);
    const LogCapture log;
    host->receive(text);
    QCOMPARE(host->events, QStringList());
    QCOMPARE(log.messages(), QStringList{"[MessageHandler] " + text});
}

// ---- What the signals carry ----------------------------------------------------------------------

void tst_IncomingMessages::pollAnswer_data()
{
    QTest::addColumn<QString>("pick");
    QTest::addColumn<QString>("answer");
    const auto row = [](const char *name, const QString &pick, const QString &answer) {
        QTest::newRow(name) << pick << answer;
    };
    row("input", R"({"input":"B"})", "B");
    row("input with letters of all kinds", R"({"input":"h\u00e9 \ud83d\ude00"})", u"hé 😀"_s);
    row("input that is a number", R"({"input":42})", "42");
    row("input that is a fraction", R"({"input":2.5})", "2.5");
    row("input that is a bool", R"({"input":true})", "true");
    row("input that is null", R"({"input":null})", "");
    row("input that is a map", R"({"input":{"a":1}})", "");
    row("blob of one", R"({"blob":["A"]})", "A");
    row("blob of several", R"({"blob":["A","C","B"]})", "A,C,B");
    row("blob with numbers", R"({"blob":[1,"x",2.5,true]})", "1,x,2.5,true");
    row("blob with what is no text", R"({"blob":["A",null,{"b":1},[1]]})", "A,,,");
    row("blob with letters of all kinds", R"({"blob":["\u00e9","\u4e16"]})", u"é,世"_s);
    row("empty blob", R"({"blob":[]})", "");
    row("blob goes before input", R"({"blob":["A"],"input":"B"})", "A");
    row("empty blob goes before input", R"({"blob":[],"input":"B"})", "");
    row("blob that is no list", R"({"blob":"A","input":"B"})", "B");
    row("blob that is null", R"({"blob":null,"input":"B"})", "B");
    row("empty pick", "{}", "");
    row("pick that is a text", R"("B")", "");
    row("pick that is a list", R"(["B"])", "");
    row("pick that is null", "null", "");
}

void tst_IncomingMessages::pollAnswer()
{
    QFETCH(QString, pick);
    QFETCH(QString, answer);
    host->receive(
        deviceMessage("pollResponse", R"({"pollId":"p","responseTime":9,"pick":)" + pick + '}'));
    QCOMPARE(host->events, QStringList{"learnerPollResponse|d1|p|9|" + answer});
}

void tst_IncomingMessages::questionAnswer_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QString>("answer");
    const auto row = [](const char *name, const QString &fields, const QString &answer) {
        QTest::newRow(name) << fields << answer;
    };
    row("answer", R"("answer":"forty two")", "forty two");
    row("answer that is a number", R"("answer":42)", "42");
    row("answer and options", R"("answer":"B","optionAnswers":[{"activityOptionId":"C"}])", "B");
    row("one option", R"("optionAnswers":[{"activityOptionId":"C"}])", "C");
    row("several options, in their order",
        R"("answer":null,"optionAnswers":[{"activityOptionId":"C"},{"activityOptionId":"A"}])",
        "C,A");
    row("empty answer and options",
        R"("answer":"","optionAnswers":[{"activityOptionId":"10"},{"activityOptionId":"2"}])",
        "10,2");
    row("no options", R"("optionAnswers":[])", "");
    row("options that are no list", R"("optionAnswers":"A")", "");
    row("options that are no maps", R"("optionAnswers":["A",1,null])", ",,");
    row("option without id", R"("optionAnswers":[{"id":"A"}])", "");
}

void tst_IncomingMessages::questionAnswer()
{
    QFETCH(QString, fields);
    QFETCH(QString, answer);
    host->receive(
        deviceMessage("questionResponse", R"({"questionId":"q","responseTime":9,)" + fields + '}'));
    QCOMPARE(host->events, QStringList{"learnerPollResponse|d1|q|9|" + answer});
}

void tst_IncomingMessages::numberFields_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("number");
    const auto row = [](const char *name, const QString &json, const QString &number) {
        QTest::newRow(name) << json << number;
    };
    row("number", "7", "7");
    row("zero", "0", "0");
    row("negative", "-7", "-7");
    row("number in a text", R"("12")", "12");
    row("text", R"("soon")", "0");
    row("null", "null", "0");
    row("list", "[7]", "0");
    row("map", R"({"a":7})", "0");
    row("true", "true", "1");
    row("largest", "2147483647", "2147483647");
}

void tst_IncomingMessages::numberFields()
{
    QFETCH(QString, json);
    QFETCH(QString, number);
    host->receive(deviceMessage("questionGet", R"({"questionNumber":)" + json + '}'));
    host->receive(deviceMessage("pollResponse", R"({"responseTime":)" + json + '}'));
    host->receive(deviceMessage("questionResponse", R"({"responseTime":)" + json + '}'));
    const QString response = "learnerPollResponse|d1||" + number + '|';
    QCOMPARE(host->events, (QStringList{"learnerGetQuestion|d1|" + number, response, response}));
}

void tst_IncomingMessages::unhandledMessageCarriesBodyAndData()
{
    host->receive(deviceMessage("dance", R"({"partner":"d2"})"));
    QCOMPARE(host->events, QStringList{"unhandledMessage|dance"});
    QCOMPARE(host->body,
             (QVariantMap{{"from", "d1"},
                          {"type", "dance"},
                          {"data", QVariantList{packed(R"({"partner":"d2"})")}}}));
    QCOMPARE(host->data, QVariant(QVariantMap{{"partner", "d2"}}));
}

void tst_IncomingMessages::remoteCommandCarriesItsData()
{
    host->receive(deviceMessage("requestLesson", R"({"lessonId":"l1"})"));
    QCOMPARE(host->events, QStringList{"remoteControl|requestLesson|d1"});
    QCOMPARE(host->data, QVariant(QVariantMap{{"lessonId", "l1"}}));
    host->receive(incomingMessage(R"("from":"c1","type":"nextCard")"));
    QCOMPARE(host->events.last(), u"remoteControl|nextCard|c1"_s);
    QVERIFY(!host->data.isValid());
}

QTEST_GUILESS_MAIN(tst_IncomingMessages)
#include "tst_incomingmessages.moc"
