// Incoming messages: which signal each becomes, what is written about it, and that nothing that can
// arrive does any harm.
#include "Messages.h"
#include "collab/CollaborationMessageHandler.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QPointer>
#include <QtTest/QtTest>

#include <memory>

namespace
{

const QString rawLine = u"[MessageHandler.Decompressed] FAILED to decompress, "
                        "forwarding raw string!"_s;
const QString listLine = u"[MessageHandler.Decompressed] FAILED to decompress List!"_s;

// Blocks of these texts, as the reference encoder makes them.
const char joinText[] = R"({"userName":"Ada","deviceType":"tablet"})";
const char joinBlock[] =
    "XQBAAAAoAAAAKAAAAAA9iIqnc6DEsK0cMlKbTvMQjo1mZ/nd9Nj5TLhiKRHtOoc0/XK107HTHp"
    "Wc//vHsAA=";
const char pollText[] = R"({"pollId":"p1","responseTime":1500,"pick":{"input":"B"}})";
const char pollBlock[] = "XQBAAAA4AAAAOAAAAAA9iIoHM/J+ste1oWb+kaJ/s4nF9o8zU1S2GVJUZtzXM3kq5n5uLHb6"
                         "psoMASJDrc3c1lztOtAyiTbPxmn+VIYA";
const char numbersBlock[] = "XQBAAAAFAAAABQAAAAAtjEGDVnrmxf///eKwAA=="; // [1,2]
const char wordBlock[] = "XQBAAAAEAAAABAAAAAA6GUt4GWiyv//7OcAA";        // text
const char stringBlock[] = "XQBAAAAEAAAABAAAAAARHAIiJ/Pf///8IQAA";      // "p1"
// One payload in two pieces.
const char pieceOne[] = "XQBAAAAOAAAADgAAAAA9iIoHM/J+ste1oWb+kaLPJuhf/8ySwAA=";
const char pieceTwo[] = "XQBAAAAsAAAALAAAAAAWCIrGwjwngO305yFA2dVM6NHEU2STT4/1yFJvv0CbfXZJhbWI1vwlng"
                        "b/LRfM7vD//1p1wAA=";
const char piecesText[] = R"({"pollId":"p1","responseTime":7,"pick":{"blob":["A","C"]}})";

QString bracketed(const char *block)
{
    QStringList bytes;
    for (const char byte : QByteArray::fromBase64(block))
        bytes.append(QString::number(static_cast<uchar>(byte)));
    return '[' + bytes.join(',') + ']';
}

// What a device sends: "from", "type" and one compressed piece of data.
QString deviceMessage(const QString &type, const QString &payload)
{
    return incomingMessage(
        uR"("from":"d1","type":"%1","data":["%2"])"_s.arg(type, packed(payload)));
}

} // namespace

// Records every signal as one line.
class Recorder : public QObject
{
    Q_OBJECT

public:
    explicit Recorder(const CollaborationMessageHandler *handler)
    {
        using Handler = CollaborationMessageHandler;
        connect(handler, &Handler::learnerPollResponse, this,
                [this](const QString &device, const QString &id, int time, const QString &answer) {
                    add({"learnerPollResponse", device, id, QString::number(time), answer});
                });
        connect(handler, &Handler::learnerJoin, this, [this](const Tarvo::Learner &learner) {
            add({"learnerJoin", learner.deviceId, learner.userName, learner.deviceType});
        });
        connect(handler, &Handler::learnerUnregister, this, [this](const QString &device) {
            add({"learnerUnregister", device});
        });
        connect(handler, &Handler::controllerRegister, this, [this](bool isRegister) {
            add({"controllerRegister", isRegister ? "true" : "false"});
        });
        connect(handler, &Handler::remoteControl, this,
                [this](const Tarvo::RemoteControlMessage &command) {
                    add({"remoteControl", command.type, command.from});
                    data = command.data;
                });
        connect(handler, &Handler::unhandledMessage, this,
                [this](const QVariantMap &body, const QVariant &payload) {
                    add({"unhandledMessage", body.value("type").toString()});
                    lastBody = body;
                    data = payload;
                });
        connect(handler, &Handler::learnerGetQuestion, this, [this](const QString &id, int number) {
            add({"learnerGetQuestion", id, QString::number(number)});
        });
    }

    QStringList events;
    QVariantMap lastBody;
    QVariant data;

private:
    void add(const QStringList &parts) { events.append(parts.join('|')); }
};

// A host whose slots spell the records as the signals do.
class QueueingHost : public QObject
{
    Q_OBJECT

public:
    using Learner = Tarvo::Learner;
    using RemoteControlMessage = Tarvo::RemoteControlMessage;

    QList<Learner> learners;
    QList<RemoteControlMessage> commands;

public Q_SLOTS:
    void onJoin(Learner learner) { learners.append(learner); }
    void onRemote(RemoteControlMessage command) { commands.append(command); }
};

// A host's own handler: it brings "register" to life and has a second name for "join".
class DerivedHandler : public CollaborationMessageHandler
{
public:
    using CollaborationMessageHandler::CollaborationMessageHandler;

    void handle(const QString &name, const QVariantMap &body)
    {
        using Self = DerivedHandler;
        static const QMap<QString, void (Self::*)(QVariantMap)> actions{
            {"register", &Self::actionRegister}, {"unregister", &Self::actionUnregister}};
        static const QMap<QString, void (Self::*)(QVariantMap, QVariant)> types{
            {"join", &Self::dataJoin},
            {"pollResponse", &Self::dataPollResponse},
            {"questionResponse", &Self::dataQuestionResponse},
            {"questionGet", &Self::dataGetQuestion},
            {"nextCard", &Self::dataRemote}};
        if (const auto action = actions.value(name))
            (this->*action)(body);
        else
            (this->*types.value(name))(body, getDataValue(body));
    }
};

class tst_CollaborationMessageHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void signalsAndSlotsStandInOrder();

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

    void dataValue_data();
    void dataValue();
    void bodyWithoutDataGivesAnInvalidValue();
    void numbersFlagsAndNullArriveAsTexts_data();
    void numbersFlagsAndNullArriveAsTexts();
    void undecodablePayloadReachesTheHandlerAsItCame();

    void unhandledMessageCarriesBodyAndData();
    void remoteCommandCarriesItsData();

    void linesOfACompressedMessage();
    void linesOfAPollResponse();
    void linesOfAQuestionResponse();
    void linesOfAQuestionRequest();
    void linesOfAnAction();
    void linesOfAnUnparsableMessage();
    void debugLinesAreWrittenWithoutQuotes();
    void debugLinesObeyTheLoggingRules();

    void recordsTravelInQueuedConnections_data();
    void recordsTravelInQueuedConnections();
    void hostMayDeleteTheHandlerFromAnySignal_data();
    void hostMayDeleteTheHandlerFromAnySignal();
    void hostMayHandAMessageInFromASignal();
    void derivedClassMayUseTheHandlers_data();
    void derivedClassMayUseTheHandlers();

    void hostileTextDoesNoHarm_data();
    void hostileTextDoesNoHarm();
    void wrongTypeInEveryField_data();
    void wrongTypeInEveryField();

private:
    void receive(const QString &text)
    {
        QVERIFY(QMetaObject::invokeMethod(handler, "onHandleMessage", Q_ARG(QString, text)));
    }

    QPointer<CollaborationMessageHandler> handler;
    std::unique_ptr<Recorder> recorder;
};

void tst_CollaborationMessageHandler::init()
{
    handler = new CollaborationMessageHandler(this);
    recorder = std::make_unique<Recorder>(handler);
}

void tst_CollaborationMessageHandler::cleanup()
{
    recorder.reset();
    delete handler;
}

void tst_CollaborationMessageHandler::signalsAndSlotsStandInOrder()
{
    QStringList signatures;
    const QMetaObject &meta = CollaborationMessageHandler::staticMetaObject;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        signatures.append(QLatin1String(meta.method(i).methodSignature()));
    QCOMPARE(signatures,
             (QStringList{"learnerPollResponse(QString,QString,int,QString)",
                          "learnerJoin(Learner)", "learnerUnregister(QString)",
                          "controllerRegister(bool)", "remoteControl(RemoteControlMessage)",
                          "unhandledMessage(QVariantMap,QVariant)",
                          "learnerGetQuestion(QString,int)", "onHandleMessage(QString)"}));
    const QMetaMethod slot = meta.method(meta.methodCount() - 1);
    QCOMPARE(slot.methodType(), QMetaMethod::Slot);
    QCOMPARE(slot.access(), QMetaMethod::Protected);
    QCOMPARE(handler->parent(), this);
}

// ---- Which signal --------------------------------------------------------------------------------

void tst_CollaborationMessageHandler::action_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QStringList>("lines");

    const QString actionLine = u"[MessageHandler.ACTION] unregister"_s;
    QTest::newRow("a learner leaves")
        << R"("action":"unregister","client":{"type":"user","token":"d1"})"
        << QStringList{"learnerUnregister|d1"} << QStringList{actionLine, "UNREGISTER"};
    QTest::newRow("a learner without a token leaves")
        << R"("action":"unregister","client":{"type":"user"})" << QStringList{"learnerUnregister|"}
        << QStringList{actionLine, "UNREGISTER"};
    QTest::newRow("a remote leaves")
        << R"("action":"unregister","client":{"type":"controller","token":"c1"})"
        << QStringList{"controllerRegister|false"}
        << QStringList{actionLine, "UNREGISTER CONTROLLER"};
    QTest::newRow("another kind of client leaves")
        << R"("action":"unregister","client":{"type":"presenter","token":"t"})" << QStringList()
        << QStringList{actionLine};
    QTest::newRow("client types are case-sensitive")
        << R"("action":"unregister","client":{"type":"User","token":"t"})" << QStringList()
        << QStringList{actionLine};
    QTest::newRow("nobody leaves")
        << R"("action":"unregister")" << QStringList() << QStringList{actionLine};
    QTest::newRow("client that is a text")
        << R"("action":"unregister","client":"user")" << QStringList() << QStringList{actionLine};
    QTest::newRow("register is not dispatched")
        << R"("action":"register","client":{"type":"controller","token":"c1"})" << QStringList()
        << QStringList{"[MessageHandler.ACTION] register"};
    QTest::newRow("unknown action")
        << R"("action":"dance")" << QStringList() << QStringList{"[MessageHandler.ACTION] dance"};
    QTest::newRow("actions are case-sensitive")
        << R"("action":"Unregister","client":{"type":"user","token":"d1"})" << QStringList()
        << QStringList{"[MessageHandler.ACTION] Unregister"};
    QTest::newRow("empty action") << R"("action":"","type":"nextCard")" << QStringList()
                                  << QStringList{"[MessageHandler.ACTION] "};
    QTest::newRow("action and type")
        << R"("action":"unregister","client":{"type":"user","token":"d1"},"type":"nextCard")"
        << QStringList{"learnerUnregister|d1"} << QStringList{actionLine, "UNREGISTER"};
    QTest::newRow("unknown action and known type")
        << R"("action":"dance","type":"nextCard","from":"c1")" << QStringList()
        << QStringList{"[MessageHandler.ACTION] dance"};
    QTest::newRow("action that is a number") << R"("action":5,"type":"nextCard")" << QStringList()
                                             << QStringList{"[MessageHandler.ACTION] 5"};
    QTest::newRow("null is no action") << R"("action":null,"type":"nextCard","from":"c1")"
                                       << QStringList{"remoteControl|nextCard|c1"}
                                       << QStringList{"[MessageHandler.TYPE] nextCard"};
    QTest::newRow("a list is no action")
        << R"("action":["unregister"],"type":"nextCard","from":"c1")"
        << QStringList{"remoteControl|nextCard|c1"}
        << QStringList{"[MessageHandler.TYPE] nextCard"};
}

void tst_CollaborationMessageHandler::action()
{
    QFETCH(QString, fields);
    QFETCH(QStringList, events);
    QFETCH(QStringList, lines);
    const LogCapture log;
    receive(incomingMessage(fields));
    QCOMPARE(recorder->events, events);
    QCOMPARE(log.messages(), QStringList{"[MessageHandler] " + incomingMessage(fields)} + lines);
}

void tst_CollaborationMessageHandler::type_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("payload");
    QTest::addColumn<QString>("event");

    QTest::newRow("join") << "join" << joinText << "learnerJoin|d1|Ada|tablet";
    QTest::newRow("pollResponse") << "pollResponse" << pollText
                                  << "learnerPollResponse|d1|p1|1500|B";
    QTest::newRow("questionResponse")
        << "questionResponse"
        << R"({"questionId":"q1","studentAssessmentToken":"t","questionSetMode":"Poll","responseTime":20,"answer":"42","optionAnswers":[]})"
        << "learnerPollResponse|d1|q1|20|42";
    QTest::newRow("questionGet") << "questionGet"
                                 << R"({"questionNumber":3})"
                                 << "learnerGetQuestion|d1|3";
    for (const char *command :
         {"stopSession", "requestLessonInfo", "requestLesson", "presenterActive", "pause", "resume",
          "lockAll", "unlockAll", "nextCard", "previousCard", "pushCurrentCard", "addImageCard"}) {
        QTest::newRow(command) << command << "{}"
                               << u"remoteControl|%1|d1"_s.arg(QLatin1String(command));
    }
    QTest::newRow("unknown") << "dance"
                             << "{}"
                             << "unhandledMessage|dance";
    QTest::newRow("types are case-sensitive") << "Join" << joinText << "unhandledMessage|Join";
    QTest::newRow("empty") << ""
                           << "{}"
                           << "unhandledMessage|";
    QTest::newRow("the action's name") << "unregister"
                                       << "{}"
                                       << "unhandledMessage|unregister";
}

void tst_CollaborationMessageHandler::type()
{
    QFETCH(QString, type);
    QFETCH(QString, payload);
    QFETCH(QString, event);
    receive(deviceMessage(type, payload));
    QCOMPARE(recorder->events, QStringList{event});
}

void tst_CollaborationMessageHandler::handlerTakesMissingFieldsAsEmpty_data()
{
    QTest::addColumn<QString>("type");
    QTest::addColumn<QString>("event");

    QTest::newRow("join") << "join"
                          << "learnerJoin|||";
    QTest::newRow("pollResponse") << "pollResponse"
                                  << "learnerPollResponse|||0|";
    QTest::newRow("questionResponse") << "questionResponse"
                                      << "learnerPollResponse|||0|";
    QTest::newRow("questionGet") << "questionGet"
                                 << "learnerGetQuestion||0";
    QTest::newRow("nextCard") << "nextCard"
                              << "remoteControl|nextCard|";
}

void tst_CollaborationMessageHandler::handlerTakesMissingFieldsAsEmpty()
{
    QFETCH(QString, type);
    QFETCH(QString, event);
    receive(incomingMessage(uR"("type":"%1")"_s.arg(type)));
    receive(incomingMessage(uR"("type":"%1","data":["%2"])"_s.arg(type, packed("{}"))));
    QCOMPARE(recorder->events, (QStringList{event, event}));
}

void tst_CollaborationMessageHandler::dropped_data()
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
            + QString("[").repeated(5000) + QString("]").repeated(5000) + "}}";
}

void tst_CollaborationMessageHandler::dropped()
{
    QFETCH(QString, text);
    const LogCapture log;
    receive(text);
    QCOMPARE(recorder->events, QStringList());
    QCOMPARE(log.messages(), QStringList{"[MessageHandler] " + text});
}

// ---- What the handlers read ----------------------------------------------------------------------

void tst_CollaborationMessageHandler::pollAnswer_data()
{
    QTest::addColumn<QString>("pick");
    QTest::addColumn<QString>("answer");

    QTest::newRow("input") << R"({"input":"B"})"
                           << "B";
    QTest::newRow("input with letters of all kinds")
        << R"({"input":"h\u00e9 \ud83d\ude00"})" << u"h\u00e9 \U0001F600"_s;
    QTest::newRow("input that is a number") << R"({"input":42})"
                                            << "42";
    QTest::newRow("input that is a fraction") << R"({"input":2.5})"
                                              << "2.5";
    QTest::newRow("input that is a bool") << R"({"input":true})"
                                          << "true";
    QTest::newRow("input that is null") << R"({"input":null})"
                                        << "";
    QTest::newRow("input that is a map") << R"({"input":{"a":1}})"
                                         << "";
    QTest::newRow("blob of one") << R"({"blob":["A"]})"
                                 << "A";
    QTest::newRow("blob of several") << R"({"blob":["A","C","B"]})"
                                     << "A,C,B";
    QTest::newRow("blob with numbers") << R"({"blob":[1,"x",2.5,true]})"
                                       << "1,x,2.5,true";
    QTest::newRow("blob with what is no text") << R"({"blob":["A",null,{"b":1},[1]]})"
                                               << "A,,,";
    QTest::newRow("blob with letters of all kinds")
        << R"({"blob":["\u00e9","\u4e16"]})" << u"\u00e9,\u4e16"_s;
    QTest::newRow("empty blob") << R"({"blob":[]})"
                                << "";
    QTest::newRow("blob goes before input") << R"({"blob":["A"],"input":"B"})"
                                            << "A";
    QTest::newRow("empty blob goes before input") << R"({"blob":[],"input":"B"})"
                                                  << "";
    QTest::newRow("blob that is no list") << R"({"blob":"A","input":"B"})"
                                          << "B";
    QTest::newRow("blob that is null") << R"({"blob":null,"input":"B"})"
                                       << "B";
    QTest::newRow("empty pick") << "{}"
                                << "";
    QTest::newRow("pick that is a text") << R"("B")"
                                         << "";
    QTest::newRow("pick that is a list") << R"(["B"])"
                                         << "";
    QTest::newRow("pick that is null") << "null"
                                       << "";
}

void tst_CollaborationMessageHandler::pollAnswer()
{
    QFETCH(QString, pick);
    QFETCH(QString, answer);
    receive(
        deviceMessage("pollResponse", R"({"pollId":"p","responseTime":9,"pick":)" + pick + '}'));
    QCOMPARE(recorder->events, QStringList{"learnerPollResponse|d1|p|9|" + answer});
}

void tst_CollaborationMessageHandler::questionAnswer_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QString>("answer");

    QTest::newRow("answer") << R"("answer":"forty two")"
                            << "forty two";
    QTest::newRow("answer that is a number") << R"("answer":42)"
                                             << "42";
    QTest::newRow("answer and options")
        << R"("answer":"B","optionAnswers":[{"activityOptionId":"C"}])"
        << "B";
    QTest::newRow("one option") << R"("optionAnswers":[{"activityOptionId":"C"}])"
                                << "C";
    QTest::newRow("several options, in their order")
        << R"("answer":null,"optionAnswers":[{"activityOptionId":"C"},{"activityOptionId":"A"}])"
        << "C,A";
    QTest::newRow("empty answer and options")
        << R"("answer":"","optionAnswers":[{"activityOptionId":"10"},{"activityOptionId":"2"}])"
        << "10,2";
    QTest::newRow("no options") << R"("optionAnswers":[])"
                                << "";
    QTest::newRow("options that are no list") << R"("optionAnswers":"A")"
                                              << "";
    QTest::newRow("options that are no maps") << R"("optionAnswers":["A",1,null])"
                                              << ",,";
    QTest::newRow("option without id") << R"("optionAnswers":[{"id":"A"}])"
                                       << "";
}

void tst_CollaborationMessageHandler::questionAnswer()
{
    QFETCH(QString, fields);
    QFETCH(QString, answer);
    receive(
        deviceMessage("questionResponse", R"({"questionId":"q","responseTime":9,)" + fields + '}'));
    QCOMPARE(recorder->events, QStringList{"learnerPollResponse|d1|q|9|" + answer});
}

void tst_CollaborationMessageHandler::numberFields_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("number");

    QTest::newRow("number") << "7"
                            << "7";
    QTest::newRow("zero") << "0"
                          << "0";
    QTest::newRow("negative") << "-7"
                              << "-7";
    QTest::newRow("number in a text") << R"("12")"
                                      << "12";
    QTest::newRow("text") << R"("soon")"
                          << "0";
    QTest::newRow("null") << "null"
                          << "0";
    QTest::newRow("list") << "[7]"
                          << "0";
    QTest::newRow("map") << R"({"a":7})"
                         << "0";
    QTest::newRow("true") << "true"
                          << "1";
    QTest::newRow("largest") << "2147483647"
                             << "2147483647";
}

void tst_CollaborationMessageHandler::numberFields()
{
    QFETCH(QString, json);
    QFETCH(QString, number);
    receive(deviceMessage("questionGet", R"({"questionNumber":)" + json + '}'));
    receive(deviceMessage("pollResponse", R"({"responseTime":)" + json + '}'));
    receive(deviceMessage("questionResponse", R"({"responseTime":)" + json + '}'));
    const QString response = "learnerPollResponse|d1||" + number + '|';
    QCOMPARE(recorder->events,
             (QStringList{"learnerGetQuestion|d1|" + number, response, response}));
}

// ---- Unpacking -----------------------------------------------------------------------------------

void tst_CollaborationMessageHandler::dataValue_data()
{
    QTest::addColumn<QVariant>("data");
    QTest::addColumn<QVariant>("value");
    QTest::addColumn<QString>("line");

    const QVariantMap join{{"userName", "Ada"}, {"deviceType", "tablet"}};
    const QString fromString = u"[MessageHandler.Decompressed from String] "_s;
    const QString fromList = u"[MessageHandler.Decompressed from List] "_s;
    const QVariant invalid;
    QVariantList bytes;
    for (const char byte : QByteArray::fromBase64(joinBlock))
        bytes.append(static_cast<uchar>(byte));
    QVariantList numbersBytes;
    for (const char byte : QByteArray::fromBase64(numbersBlock))
        numbersBytes.append(static_cast<uchar>(byte));
    const QVariantMap pieces = QJsonDocument::fromJson(piecesText).object().toVariantMap();

    // Texts.
    QTest::newRow("base64") << QVariant(joinBlock) << QVariant(join) << fromString + joinText;
    QTest::newRow("bracketed list as text")
        << QVariant(bracketed(joinBlock)) << QVariant(join) << fromString + joinText;
    QTest::newRow("base64 of a list")
        << QVariant(numbersBlock) << QVariant(QVariantList{1, 2}) << fromString + "[1,2]";
    QTest::newRow("base64 of what is no JSON")
        << QVariant(wordBlock) << invalid << fromString + "text";
    QTest::newRow("base64 of a bare JSON text")
        << QVariant(stringBlock) << invalid << fromString + "\"p1\"";
    QTest::newRow("base64 of nothing") << QVariant(packed("")) << invalid << fromString;
    QTest::newRow("plain text") << QVariant("hello") << QVariant("hello") << rawLine;
    QTest::newRow("plain JSON text") << QVariant(joinText) << QVariant(joinText) << rawLine;
    QTest::newRow("empty text") << QVariant("") << QVariant("") << rawLine;
    QTest::newRow("base64 of no block") << QVariant("aGVsbG8gd29ybGQsIGhlbGxvIQ==")
                                        << QVariant("aGVsbG8gd29ybGQsIGhlbGxvIQ==") << rawLine;
    QTest::newRow("what is no base64") << QVariant("%%%%") << QVariant("%%%%") << rawLine;

    // Of texts, only those that hold nothing but whole numbers are read as a list.
    const QString spaced =
        bracketed(joinBlock).replace(',', " , ").replace('[', "[ ").replace(']', " ] ");
    QTest::newRow("bracketed list with blanks")
        << QVariant(spaced) << QVariant(join) << fromString + joinText;
    QTest::newRow("list without brackets") << QVariant(bracketed(joinBlock).remove('[').remove(']'))
                                           << QVariant(join) << fromString + joinText;
    const QString zeros = "[0" + QString(",0").repeated(17) + ']'; // the block of an empty text
    QTest::newRow("list of zeros") << QVariant(zeros) << invalid << fromString;
    const QString letters = "a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, r";
    QTest::newRow("text with 17 commas") << QVariant(letters) << QVariant(letters) << rawLine;
    const QString commas(17, ',');
    QTest::newRow("17 commas") << QVariant(commas) << QVariant(commas) << rawLine;
    for (const char *part : {"x", "", " ", "0.0", "1e1", "0x0", "99999999999", "0 0", "- 1", "+"}) {
        const QString text = QString(zeros).replace(",0]", ',' + QString(part) + ']');
        QTest::addRow("list that ends in '%s'", part)
            << QVariant(text) << QVariant(text) << rawLine;
    }
    const QString dash = QString(zeros).replace(3, 1, "-");
    QTest::newRow("list with a dash inside") << QVariant(dash) << QVariant(dash) << rawLine;

    // What is no text but has one.
    QTest::newRow("number") << QVariant(5) << QVariant("5") << rawLine;
    QTest::newRow("fraction") << QVariant(2.5) << QVariant("2.5") << rawLine;
    QTest::newRow("true") << QVariant(true) << QVariant("true") << rawLine;
    QTest::newRow("false") << QVariant(false) << QVariant("false") << rawLine;
    QTest::newRow("null") << QVariant::fromValue(nullptr) << QVariant(QString()) << rawLine;

    // Lists of texts.
    QTest::newRow("one piece") << QVariant(QVariantList{joinBlock}) << QVariant(join)
                               << fromList + joinText;
    QTest::newRow("two pieces") << QVariant(QVariantList{pieceOne, pieceTwo}) << QVariant(pieces)
                                << fromList + piecesText;
    QTest::newRow("empty and broken pieces are skipped") << QVariant(
        QVariantList{"", pieceOne, "broken", QVariant(), 5, QVariantList{pieceOne}, "", pieceTwo})
                                                         << QVariant(pieces)
                                                         << fromList + piecesText;
    QTest::newRow("piece that holds a list") << QVariant(QVariantList{numbersBlock})
                                             << QVariant(QVariantList{1, 2}) << fromList + "[1,2]";
    QTest::newRow("piece that holds no JSON")
        << QVariant(QVariantList{wordBlock}) << invalid << fromList + "text";
    QTest::newRow("piece that holds nothing")
        << QVariant(QVariantList{packed("")}) << invalid << fromList;
    QTest::newRow("only broken pieces")
        << QVariant(QVariantList{"a", "b"}) << QVariant(QVariantList{"a", "b"}) << listLine;
    QTest::newRow("only empty pieces")
        << QVariant(QVariantList{"", ""}) << QVariant(QVariantList{"", ""}) << listLine;
    QTest::newRow("pieces in a list of their own form")
        << QVariant(QVariantList{bracketed(joinBlock)})
        << QVariant(QVariantList{bracketed(joinBlock)}) << listLine;
    QTest::newRow("empty list") << QVariant(QVariantList()) << QVariant(QVariantList()) << listLine;

    // Lists of numbers.
    QTest::newRow("bytes") << QVariant(bytes) << QVariant(join) << fromList + joinText;
    QTest::newRow("bytes of a list")
        << QVariant(numbersBytes) << QVariant(QVariantList{1, 2}) << fromList + "[1,2]";
    QTest::newRow("bytes of no block")
        << QVariant(QVariantList{1, 2, 3}) << QVariant(QVariantList{1, 2, 3}) << listLine;
    QTest::newRow("bytes of a block cut off")
        << QVariant(bytes.mid(0, 20)) << QVariant(bytes.mid(0, 20)) << listLine;
    QTest::newRow("number before a piece")
        << QVariant(QVariantList{1, joinBlock}) << QVariant(QVariantList{1, joinBlock}) << listLine;
    QTest::newRow("null before a piece")
        << QVariant(QVariantList{QVariant(), joinBlock})
        << QVariant(QVariantList{QVariant(), joinBlock}) << listLine;

    // Everything else.
    QTest::newRow("map") << QVariant(QVariantMap{{"a", 1}}) << QVariant(QVariantMap{{"a", 1}})
                         << QString();
    QTest::newRow("empty map") << QVariant(QVariantMap()) << QVariant(QVariantMap()) << QString();
}

void tst_CollaborationMessageHandler::dataValue()
{
    QFETCH(QVariant, data);
    QFETCH(QVariant, value);
    QFETCH(QString, line);
    const LogCapture log;
    const QVariant result = handler->getDataValue({{"from", "d1"}, {"data", data}});
    QCOMPARE(log.messages(), line.isNull() ? QStringList() : QStringList{line});
    QCOMPARE(result.type(), value.type());
    QCOMPARE(result, value);
}

void tst_CollaborationMessageHandler::bodyWithoutDataGivesAnInvalidValue()
{
    const LogCapture log;
    QVERIFY(!handler->getDataValue({{"from", "d1"}}).isValid());
    QCOMPARE(log.messages(), QStringList());
    receive(incomingMessage(R"("type":"dance")"));
    QVERIFY(!recorder->data.isValid());
}

void tst_CollaborationMessageHandler::numbersFlagsAndNullArriveAsTexts_data()
{
    QTest::addColumn<QString>("json");
    QTest::addColumn<QString>("text");

    QTest::newRow("number") << "5"
                            << "5";
    QTest::newRow("negative number") << "-7"
                                     << "-7";
    QTest::newRow("fraction") << "2.5"
                              << "2.5";
    QTest::newRow("true") << "true"
                          << "true";
    QTest::newRow("false") << "false"
                           << "false";
    QTest::newRow("null") << "null" << QString();
}

void tst_CollaborationMessageHandler::numbersFlagsAndNullArriveAsTexts()
{
    QFETCH(QString, json);
    QFETCH(QString, text);
    const QString fields = R"("from":"c1","data":)" + json;
    for (const QString &type : {u"dance"_s, u"nextCard"_s}) {
        const QString message = incomingMessage(fields + uR"(,"type":"%1")"_s.arg(type));
        const LogCapture log;
        receive(message);
        QCOMPARE(recorder->data.userType(), int(QMetaType::QString));
        QCOMPARE(recorder->data.toString(), text);
        QCOMPARE(recorder->data.isNull(), text.isNull());
        QCOMPARE(
            log.messages(),
            (QStringList{"[MessageHandler] " + message, "[MessageHandler.TYPE] " + type, rawLine}));
    }
    QCOMPARE(recorder->events,
             (QStringList{"unhandledMessage|dance", "remoteControl|nextCard|c1"}));
}

void tst_CollaborationMessageHandler::undecodablePayloadReachesTheHandlerAsItCame()
{
    const LogCapture log;
    receive(incomingMessage(R"("type":"dance","data":"plain text")"));
    QCOMPARE(recorder->data, QVariant("plain text"));
    QVERIFY(log.contains(rawLine));

    receive(incomingMessage(R"("type":"dance","data":{"plain":"map"})"));
    QCOMPARE(recorder->data, QVariant(QVariantMap{{"plain", "map"}}));

    // A sender that does not compress is understood like one that does.
    receive(incomingMessage(
        R"("from":"d1","type":"join","data":{"userName":"Ada","deviceType":"tablet"})"));
    QCOMPARE(recorder->events.last(), u"learnerJoin|d1|Ada|tablet"_s);
}

void tst_CollaborationMessageHandler::unhandledMessageCarriesBodyAndData()
{
    receive(deviceMessage("dance", R"({"partner":"d2"})"));
    QCOMPARE(recorder->events, QStringList{"unhandledMessage|dance"});
    QCOMPARE(recorder->lastBody,
             (QVariantMap{{"from", "d1"},
                          {"type", "dance"},
                          {"data", QVariantList{packed(R"({"partner":"d2"})")}}}));
    QCOMPARE(recorder->data, QVariant(QVariantMap{{"partner", "d2"}}));
}

void tst_CollaborationMessageHandler::remoteCommandCarriesItsData()
{
    receive(deviceMessage("requestLesson", R"({"lessonId":"l1"})"));
    QCOMPARE(recorder->events, QStringList{"remoteControl|requestLesson|d1"});
    QCOMPARE(recorder->data, QVariant(QVariantMap{{"lessonId", "l1"}}));
    receive(incomingMessage(R"("from":"c1","type":"nextCard")"));
    QCOMPARE(recorder->events.last(), u"remoteControl|nextCard|c1"_s);
    QVERIFY(!recorder->data.isValid());
}

// ---- What is written about it --------------------------------------------------------------------

void tst_CollaborationMessageHandler::linesOfACompressedMessage()
{
    const QString text =
        incomingMessage(uR"("from":"d1","type":"join","data":["%1"])"_s.arg(joinBlock));
    const LogCapture log;
    receive(text);
    QCOMPARE(
        log.messages(),
        (QStringList{
            "[MessageHandler] " + text, "[MessageHandler.TYPE] join",
            R"([MessageHandler.Decompressed from List] {"userName":"Ada","deviceType":"tablet"})",
            "JOIN"}));
}

void tst_CollaborationMessageHandler::linesOfAPollResponse()
{
    const QString text =
        incomingMessage(uR"("from":"d1","type":"pollResponse","data":"%1")"_s.arg(pollBlock));
    const LogCapture log;
    receive(text);
    QCOMPARE(
        log.messages(),
        (QStringList{
            "[MessageHandler] " + text, "[MessageHandler.TYPE] pollResponse",
            R"([MessageHandler.Decompressed from String] {"pollId":"p1","responseTime":1500,"pick":{"input":"B"}})",
            "POLL_RESPONSE:d1:p1:1500:B"}));
    QCOMPARE(recorder->events, QStringList{"learnerPollResponse|d1|p1|1500|B"});
}

void tst_CollaborationMessageHandler::linesOfAQuestionResponse()
{
    const QString text = incomingMessage(
        R"("from":"d1","type":"questionResponse","data":{"questionId":"q","responseTime":1,"answer":"a b"})");
    const LogCapture log;
    receive(text);
    QCOMPARE(log.messages(),
             (QStringList{"[MessageHandler] " + text, "[MessageHandler.TYPE] questionResponse",
                          "[DEBUG] RECEIVED RESPONSE FROM DEVICE d1 of value: a b"}));
}

void tst_CollaborationMessageHandler::linesOfAQuestionRequest()
{
    const QString text =
        incomingMessage(R"("from":"d1","type":"questionGet","data":{"questionNumber":3})");
    const LogCapture log;
    receive(text);
    QCOMPARE(log.messages(),
             (QStringList{"[MessageHandler] " + text, "[MessageHandler.TYPE] questionGet",
                          "Learner d1 requesting question 3"}));
}

void tst_CollaborationMessageHandler::linesOfAnAction()
{
    const QString text =
        incomingMessage(R"("action":"unregister","client":{"type":"user","token":"d1"})");
    const LogCapture log;
    receive(text);
    QCOMPARE(log.messages(),
             (QStringList{"[MessageHandler] " + text, "[MessageHandler.ACTION] unregister",
                          "UNREGISTER"}));
}

void tst_CollaborationMessageHandler::linesOfAnUnparsableMessage()
{
    const LogCapture log;
    receive("{");
    QCOMPARE(log.messages(), QStringList{"[MessageHandler] {"});
}

void tst_CollaborationMessageHandler::debugLinesAreWrittenWithoutQuotes()
{
    const LogCapture log;
    receive(incomingMessage(R"("type":"say \"hi\"")"));
    QVERIFY(log.contains(R"([MessageHandler.TYPE] say "hi")"));
}

void tst_CollaborationMessageHandler::debugLinesObeyTheLoggingRules()
{
    const LogCapture log;
    QLoggingCategory::setFilterRules("default.debug=false");
    receive(deviceMessage("join", joinText));
    QLoggingCategory::setFilterRules(QString());
    QCOMPARE(log.messages(), QStringList());
    receive(deviceMessage("join", joinText));
    QCOMPARE(log.messages().size(), 4);
}

// ---- Hosts ---------------------------------------------------------------------------------------

void tst_CollaborationMessageHandler::recordsTravelInQueuedConnections_data()
{
    QTest::addColumn<bool>("byName");
    QTest::addColumn<Qt::ConnectionType>("connection");
    QTest::newRow("by pointer to member, direct") << false << Qt::DirectConnection;
    QTest::newRow("by pointer to member, queued") << false << Qt::QueuedConnection;
    QTest::newRow("by name, direct") << true << Qt::DirectConnection;
    QTest::newRow("by name, queued") << true << Qt::QueuedConnection;
}

void tst_CollaborationMessageHandler::recordsTravelInQueuedConnections()
{
    QFETCH(bool, byName);
    QFETCH(Qt::ConnectionType, connection);
    using Handler = CollaborationMessageHandler;

    QueueingHost host;
    if (byName) {
        if (connection == Qt::QueuedConnection) {
            qRegisterMetaType<Tarvo::Learner>("Learner");
            qRegisterMetaType<Tarvo::RemoteControlMessage>("RemoteControlMessage");
        }
        QVERIFY(connect(handler, SIGNAL(learnerJoin(Learner)), &host, SLOT(onJoin(Learner)),
                        connection));
        QVERIFY(connect(handler, SIGNAL(remoteControl(RemoteControlMessage)), &host,
                        SLOT(onRemote(RemoteControlMessage)), connection));
    } else {
        connect(handler, &Handler::learnerJoin, &host, &QueueingHost::onJoin, connection);
        connect(handler, &Handler::remoteControl, &host, &QueueingHost::onRemote, connection);
    }
    receive(deviceMessage("join", joinText));
    receive(incomingMessage(R"("from":"c1","type":"nextCard","data":{"a":1})"));
    QCOMPARE(host.learners.size(), connection == Qt::DirectConnection ? 1 : 0);
    QTRY_COMPARE(host.commands.size(), 1);

    const Tarvo::Learner learner = host.learners.value(0);
    QCOMPARE(learner.deviceId, u"d1"_s);
    QCOMPARE(learner.userName, u"Ada"_s);
    QCOMPARE(learner.deviceType, u"tablet"_s);
    const Tarvo::RemoteControlMessage command = host.commands.value(0);
    QCOMPARE(command.type, u"nextCard"_s);
    QCOMPARE(command.from, u"c1"_s);
    QCOMPARE(command.data, QVariant(QVariantMap{{"a", 1}}));
}

void tst_CollaborationMessageHandler::hostMayDeleteTheHandlerFromAnySignal_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("learnerPollResponse") << deviceMessage("pollResponse", pollText);
    QTest::newRow("learnerPollResponse of a question") << deviceMessage("questionResponse", "{}");
    QTest::newRow("learnerJoin") << deviceMessage("join", joinText);
    QTest::newRow("learnerUnregister")
        << incomingMessage(R"("action":"unregister","client":{"type":"user","token":"d1"})");
    QTest::newRow("controllerRegister")
        << incomingMessage(R"("action":"unregister","client":{"type":"controller","token":"c1"})");
    QTest::newRow("remoteControl") << deviceMessage("nextCard", "{}");
    QTest::newRow("unhandledMessage") << deviceMessage("dance", "{}");
    QTest::newRow("learnerGetQuestion") << deviceMessage("questionGet", "{}");
}

void tst_CollaborationMessageHandler::hostMayDeleteTheHandlerFromAnySignal()
{
    QFETCH(QString, text);
    using Handler = CollaborationMessageHandler;
    const auto destroy = [this] { delete handler; };
    connect(handler, &Handler::learnerPollResponse, this, destroy);
    connect(handler, &Handler::learnerJoin, this, destroy);
    connect(handler, &Handler::learnerUnregister, this, destroy);
    connect(handler, &Handler::controllerRegister, this, destroy);
    connect(handler, &Handler::remoteControl, this, destroy);
    connect(handler, &Handler::unhandledMessage, this, destroy);
    connect(handler, &Handler::learnerGetQuestion, this, destroy);
    receive(text);
    QVERIFY(handler.isNull());
    QCOMPARE(recorder->events.size(), 1);
}

void tst_CollaborationMessageHandler::hostMayHandAMessageInFromASignal()
{
    connect(handler, &CollaborationMessageHandler::learnerJoin, this,
            [this] { receive(incomingMessage(R"("from":"c1","type":"nextCard")")); });
    receive(deviceMessage("join", joinText));
    QCOMPARE(recorder->events,
             (QStringList{"learnerJoin|d1|Ada|tablet", "remoteControl|nextCard|c1"}));
}

void tst_CollaborationMessageHandler::derivedClassMayUseTheHandlers_data()
{
    QTest::addColumn<QVariantMap>("body");
    QTest::addColumn<QString>("event");

    const QVariantMap remote{{"type", "controller"}, {"token", "c1"}};
    const auto body = [](const QVariantMap &data) {
        return QVariantMap{{"from", "d1"}, {"type", "nextCard"}, {"data", data}};
    };
    QTest::newRow("register") << QVariantMap{{"client", remote}} << "controllerRegister|true";
    QTest::newRow("unregister") << QVariantMap{{"client", remote}} << "controllerRegister|false";
    QTest::newRow("join") << body({{"userName", "Ada"}}) << "learnerJoin|d1|Ada|";
    QTest::newRow("pollResponse") << body({{"pollId", "p1"}}) << "learnerPollResponse|d1|p1|0|";
    QTest::newRow("questionResponse") << body({{"answer", "42"}}) << "learnerPollResponse|d1||0|42";
    QTest::newRow("questionGet") << body({{"questionNumber", 3}}) << "learnerGetQuestion|d1|3";
    QTest::newRow("nextCard") << body({}) << "remoteControl|nextCard|d1";
}

void tst_CollaborationMessageHandler::derivedClassMayUseTheHandlers()
{
    QFETCH(QVariantMap, body);
    QFETCH(QString, event);
    DerivedHandler derived(nullptr);
    const Recorder heard(&derived);
    derived.handle(QTest::currentDataTag(), body);
    QCOMPARE(heard.events, QStringList{event});
}

// ---- Whatever arrives ----------------------------------------------------------------------------

void tst_CollaborationMessageHandler::hostileTextDoesNoHarm_data()
{
    QTest::addColumn<QString>("text");

    const QString brackets(1000, QLatin1Char('['));
    QTest::newRow("deep list as data")
        << incomingMessage(R"("type":"join","data":)" + brackets + QString(1000, ']'));
    QTest::newRow("deep map as data") << incomingMessage(
        R"("type":"join","data":)" + QString(R"({"a":)").repeated(1000) + '1' + QString(1000, '}'));
    QTest::newRow("deep list inside the payload")
        << deviceMessage("join", brackets + QString(1000, ']'));
    QTest::newRow("payload nested too deeply")
        << deviceMessage("join", brackets.repeated(100) + QString(100000, ']'));
    QTest::newRow("a million brackets") << brackets.repeated(1000);
    QTest::newRow("control characters") << QString(QChar(0)) + QChar(1) + QChar(0x7f);
    QTest::newRow("half a character")
        << incomingMessage(R"("type":"join","from":"\ud800","data":{"userName":"\udc00"})");
    QTest::newRow("half a character, bare")
        << incomingMessage(u"\"type\":\""_s + QChar(0xd800) + '"');
    QTest::newRow("zero characters inside")
        << incomingMessage(R"("type":"join","from":"a\u0000b")");
    QTest::newRow("block that declares 4 GB")
        << incomingMessage(uR"("type":"join","data":["%1"])"_s.arg(QString::fromLatin1(
               QByteArray::fromHex("5d00400000ffffffffffffffff00112233445566").toBase64())));
    QTest::newRow("100,000 pieces") << incomingMessage(R"("type":"join","data":["")"
                                                       + QString(R"(,"x")").repeated(100000) + ']');
    QTest::newRow("a number list of 100,000")
        << incomingMessage(R"("type":"join","data":[93)" + QString(",0").repeated(100000) + ']');
    QTest::newRow("numbers out of range") << incomingMessage(
        R"("type":"join","data":[1e300,-1e300,99999999999999999999,-1,256,0.5,1,1,1,1,1,1,1,1,1])");
    QTest::newRow("bracketed text of 100,000")
        << incomingMessage(R"("type":"join","data":")" + QString("[]],").repeated(100000) + "\"");
    QTest::newRow("the same key many times")
        << incomingMessage(QString(R"("type":"a",)").repeated(1000) + R"("type":"join")");
}

void tst_CollaborationMessageHandler::hostileTextDoesNoHarm()
{
    QFETCH(QString, text);
    receive(text);
    recorder->events.clear();
    receive(deviceMessage("join", joinText));
    QCOMPARE(recorder->events, QStringList{"learnerJoin|d1|Ada|tablet"});
}

void tst_CollaborationMessageHandler::wrongTypeInEveryField_data()
{
    QTest::addColumn<QString>("json");
    for (const char *json : {"null", "true", "-1", "1e999", "2.5", R"("")", R"("x")", "[]", "[[]]",
                             "[null]", "{}", R"({"a":{}})"})
        QTest::newRow(json) << json;
}

// Each handler emits its one signal, or the message is dropped, whatever a field holds.
void tst_CollaborationMessageHandler::wrongTypeInEveryField()
{
    QFETCH(QString, json);
    const QString field = uR"("%1":%2)"_s;
    for (const char *key : {"action", "type", "from", "data", "client"})
        receive(incomingMessage(field.arg(QLatin1String(key), json)));
    for (const char *key : {"token", "type"}) {
        receive(incomingMessage(R"("action":"unregister","client":{)"
                                + field.arg(QLatin1String(key), json) + '}'));
    }
    recorder->events.clear();

    const QVector<QPair<QString, QStringList>> fields{
        {"join", {"userName", "deviceType"}},
        {"pollResponse", {"pollId", "responseTime", "pick"}},
        {"questionGet", {"questionNumber"}},
        {"questionResponse",
         {"questionId", "studentAssessmentToken", "questionSetMode", "responseTime", "answer",
          "optionAnswers"}},
        {"nextCard", {"anything"}},
        {"dance", {"anything"}},
    };
    int expected = 0;
    for (const auto &[type, keys] : fields) {
        const QString from = uR"("from":%1,"type":"%2",)"_s.arg(json, type);
        for (const QString &key : keys) {
            receive(incomingMessage(from + R"("data":{)" + field.arg(key, json) + '}'));
            receive(incomingMessage(from + R"("data":[")" + packed('{' + field.arg(key, json) + '}')
                                    + "\"]"));
            expected += json == "1e999" ? 0 : 2;
        }
        receive(incomingMessage(from + R"("data":)" + json));
        expected += json == "1e999" ? 0 : 1;
    }
    QCOMPARE(recorder->events.size(), expected);
}

QTEST_GUILESS_MAIN(tst_CollaborationMessageHandler)
#include "tst_collaborationmessagehandler.moc"
