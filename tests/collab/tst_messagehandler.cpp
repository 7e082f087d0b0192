// The message handler itself: what it declares, what it writes, and what a host may do with it.
#include "Messages.h"
#include "support/LogCapture.h"

#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

#include <optional>

namespace
{

// Blocks of payloads, byte for byte.
const char joinBlock[] = // joinText
    "XQBAAAAoAAAAKAAAAAA9iIqnc6DEsK0cMlKbTvMQjo1mZ/nd9Nj5TLhiKRHtOoc0/XK107HTHp"
    "Wc//vHsAA=";
const QString pollText = uR"({"pollId":"p1","responseTime":1500,"pick":{"input":"B"}})"_s;
const char pollBlock[] = "XQBAAAA4AAAAOAAAAAA9iIoHM/J+ste1oWb+kaJ/s4nF9o8zU1S2GVJUZtzXM3kq5n5uLHb6"
                         "psoMASJDrc3c1lztOtAyiTbPxmn+VIYA";

} // namespace

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

class tst_MessageHandler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { host.emplace(); }
    void cleanup() { host.reset(); }

    void signalsAndSlotsStandInOrder();

    void linesOfAMessage_data();
    void linesOfAMessage();
    void pollResponseIsHeardOnce();
    void debugLinesAreWrittenWithoutQuotes();
    void debugLinesObeyTheLoggingRules();

    void recordsTravelInQueuedConnections_data();
    void recordsTravelInQueuedConnections();
    void hostMayDeleteTheHandlerFromAnySignal_data();
    void hostMayDeleteTheHandlerFromAnySignal();
    void hostMayHandAMessageInFromASignal();
    void derivedClassMayUseTheHandlers_data();
    void derivedClassMayUseTheHandlers();
    void registrationIsWrittenDown_data();
    void registrationIsWrittenDown();

private:
    std::optional<HandlerHost> host;
};

void tst_MessageHandler::signalsAndSlotsStandInOrder()
{
    const QMetaObject &meta = CollaborationMessageHandler::staticMetaObject;
    QCOMPARE(methodsOf(meta),
             (QStringList{"learnerPollResponse(QString,QString,int,QString)",
                          "learnerJoin(Learner)", "learnerUnregister(QString)",
                          "controllerRegister(bool)", "remoteControl(RemoteControlMessage)",
                          "unhandledMessage(QVariantMap,QVariant)",
                          "learnerGetQuestion(QString,int)", "onHandleMessage(QString)"}));
    const QMetaMethod slot = meta.method(meta.methodCount() - 1);
    QCOMPARE(slot.methodType(), QMetaMethod::Slot);
    QCOMPARE(slot.access(), QMetaMethod::Protected);
    QCOMPARE(CollaborationMessageHandler(this).parent(), this);
}

// ---- What is written about a message -------------------------------------------------------------

void tst_MessageHandler::linesOfAMessage_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("lines");
    const auto row = [](const char *name, const QString &fields, const QStringList &lines) {
        QTest::newRow(name) << incomingMessage(fields) << lines;
    };
    row("compressed", uR"("from":"d1","type":"join","data":["%1"])"_s.arg(joinBlock),
        {"[MessageHandler.TYPE] join", "[MessageHandler.Decompressed from List] " + joinText,
         "JOIN"});
    row("poll response", uR"("from":"d1","type":"pollResponse","data":"%1")"_s.arg(pollBlock),
        {"[MessageHandler.TYPE] pollResponse",
         "[MessageHandler.Decompressed from String] " + pollText, "POLL_RESPONSE:d1:p1:1500:B"});
    row("question response",
        R"("from":"d1","type":"questionResponse","data":{"questionId":"q","responseTime":1,"answer":"a b"})",
        {"[MessageHandler.TYPE] questionResponse",
         "[DEBUG] RECEIVED RESPONSE FROM DEVICE d1 of value: a b"});
    row("question request", R"("from":"d1","type":"questionGet","data":{"questionNumber":3})",
        {"[MessageHandler.TYPE] questionGet", "Learner d1 requesting question 3"});
    row("action", learnerLeaves, {"[MessageHandler.ACTION] unregister", "UNREGISTER"});
    QTest::newRow("unparsable") << "{" << QStringList();
}

void tst_MessageHandler::linesOfAMessage()
{
    QFETCH(QString, text);
    QFETCH(QStringList, lines);
    const LogCapture log;
    host->receive(text);
    QCOMPARE(log.messages(), QStringList{"[MessageHandler] " + text} + lines);
}

void tst_MessageHandler::pollResponseIsHeardOnce()
{
    host->receive(
        incomingMessage(uR"("from":"d1","type":"pollResponse","data":"%1")"_s.arg(pollBlock)));
    QCOMPARE(host->events, QStringList{"learnerPollResponse|d1|p1|1500|B"});
}

void tst_MessageHandler::debugLinesAreWrittenWithoutQuotes()
{
    const LogCapture log;
    host->receive(incomingMessage(R"("type":"say \"hi\"")"));
    QVERIFY(log.contains(R"([MessageHandler.TYPE] say "hi")"));
}

void tst_MessageHandler::debugLinesObeyTheLoggingRules()
{
    const LogCapture log;
    QLoggingCategory::setFilterRules("default.debug=false");
    host->receive(deviceMessage("join", joinText));
    QLoggingCategory::setFilterRules(QString());
    QCOMPARE(log.messages(), QStringList());
    host->receive(deviceMessage("join", joinText));
    QCOMPARE(log.messages().size(), 4);
}

// ---- Hosts ---------------------------------------------------------------------------------------

void tst_MessageHandler::recordsTravelInQueuedConnections_data()
{
    QTest::addColumn<bool>("byName");
    QTest::addColumn<Qt::ConnectionType>("connection");
    QTest::newRow("by pointer to member, direct") << false << Qt::DirectConnection;
    QTest::newRow("by pointer to member, queued") << false << Qt::QueuedConnection;
    QTest::newRow("by name, direct") << true << Qt::DirectConnection;
    QTest::newRow("by name, queued") << true << Qt::QueuedConnection;
}

void tst_MessageHandler::recordsTravelInQueuedConnections()
{
    QFETCH(bool, byName);
    QFETCH(Qt::ConnectionType, connection);
    using Handler = CollaborationMessageHandler;

    QueueingHost listener;
    if (byName) {
        if (connection == Qt::QueuedConnection) {
            qRegisterMetaType<Tarvo::Learner>("Learner");
            qRegisterMetaType<Tarvo::RemoteControlMessage>("RemoteControlMessage");
        }
        QVERIFY(connect(host->handler, SIGNAL(learnerJoin(Learner)), &listener,
                        SLOT(onJoin(Learner)), connection));
        QVERIFY(connect(host->handler, SIGNAL(remoteControl(RemoteControlMessage)), &listener,
                        SLOT(onRemote(RemoteControlMessage)), connection));
    } else {
        connect(host->handler, &Handler::learnerJoin, &listener, &QueueingHost::onJoin, connection);
        connect(host->handler, &Handler::remoteControl, &listener, &QueueingHost::onRemote,
                connection);
    }
    host->receive(deviceMessage("join", joinText));
    host->receive(incomingMessage(R"("from":"c1","type":"nextCard","data":{"a":1})"));
    QCOMPARE(listener.learners.size(), connection == Qt::DirectConnection ? 1 : 0);
    QTRY_COMPARE(listener.commands.size(), 1);

    const Tarvo::Learner learner = listener.learners.value(0);
    QCOMPARE(learner.deviceId, u"d1"_s);
    QCOMPARE(learner.userName, u"Ada"_s);
    QCOMPARE(learner.deviceType, u"tablet"_s);
    const Tarvo::RemoteControlMessage command = listener.commands.value(0);
    QCOMPARE(command.type, u"nextCard"_s);
    QCOMPARE(command.from, u"c1"_s);
    QCOMPARE(command.data, QVariant(QVariantMap{{"a", 1}}));
}

void tst_MessageHandler::hostMayDeleteTheHandlerFromAnySignal_data()
{
    QTest::addColumn<QString>("text");

    QTest::newRow("learnerPollResponse") << deviceMessage("pollResponse", pollText);
    QTest::newRow("learnerPollResponse of a question") << deviceMessage("questionResponse", "{}");
    QTest::newRow("learnerJoin") << deviceMessage("join", joinText);
    QTest::newRow("learnerUnregister") << incomingMessage(learnerLeaves);
    QTest::newRow("controllerRegister") << incomingMessage(remoteLeaves);
    QTest::newRow("remoteControl") << deviceMessage("nextCard", "{}");
    QTest::newRow("unhandledMessage") << deviceMessage("dance", "{}");
    QTest::newRow("learnerGetQuestion") << deviceMessage("questionGet", "{}");
}

void tst_MessageHandler::hostMayDeleteTheHandlerFromAnySignal()
{
    QFETCH(QString, text);
    using Handler = CollaborationMessageHandler;
    const auto destroy = [this] { delete host->handler; };
    connect(host->handler, &Handler::learnerPollResponse, this, destroy);
    connect(host->handler, &Handler::learnerJoin, this, destroy);
    connect(host->handler, &Handler::learnerUnregister, this, destroy);
    connect(host->handler, &Handler::controllerRegister, this, destroy);
    connect(host->handler, &Handler::remoteControl, this, destroy);
    connect(host->handler, &Handler::unhandledMessage, this, destroy);
    connect(host->handler, &Handler::learnerGetQuestion, this, destroy);
    host->receive(text);
    QVERIFY(host->handler.isNull());
    QCOMPARE(host->events.size(), 1);
}

void tst_MessageHandler::hostMayHandAMessageInFromASignal()
{
    connect(host->handler, &CollaborationMessageHandler::learnerJoin, this,
            [this] { host->receive(incomingMessage(R"("from":"c1","type":"nextCard")")); });
    host->receive(deviceMessage("join", joinText));
    QCOMPARE(host->events, (QStringList{"learnerJoin|d1|Ada|tablet", "remoteControl|nextCard|c1"}));
}

void tst_MessageHandler::derivedClassMayUseTheHandlers_data()
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

void tst_MessageHandler::derivedClassMayUseTheHandlers()
{
    QFETCH(QVariantMap, body);
    QFETCH(QString, event);
    auto *derived = new DerivedHandler(nullptr);
    const HandlerHost heard(derived);
    derived->handle(QTest::currentDataTag(), body);
    QCOMPARE(heard.events, QStringList{event});
}

void tst_MessageHandler::registrationIsWrittenDown_data()
{
    QTest::addColumn<QString>("clientType");
    QTest::addColumn<QStringList>("lines");
    QTest::newRow("learner") << u"user"_s << QStringList{"REGISTER"};
    QTest::newRow("remote") << u"controller"_s << QStringList{"REGISTER CONTROLLER"};
    QTest::newRow("another kind of client") << u"presenter"_s << QStringList();
}

void tst_MessageHandler::registrationIsWrittenDown()
{
    QFETCH(QString, clientType);
    QFETCH(QStringList, lines);
    DerivedHandler derived(nullptr);
    const LogCapture log;
    derived.handle(u"register"_s, {{"client", QVariantMap{{"type", clientType}}}});
    QCOMPARE(log.messages(), lines);
}

QTEST_GUILESS_MAIN(tst_MessageHandler)
#include "tst_messagehandler.moc"
