// The channel: what goes out when it opens, closes and publishes, byte for byte, and what the host
// is told.
#include "OpenChannel.h"
#include "support/Text.h"

#include "collab/CollaborationMessageHandler.h"
#include "collab/TarvoCollabMessage.h"
#include "model/QuestionText.h"
#include "sockjs/SockJSProbe.h"
#include "support/LogCapture.h"

#include <QtCore/QTimer>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

#include <functional>
#include <memory>

namespace
{

// Blocks of the payloads, as the reference encoder makes them.
const char emptyTextBlock[] = "XQBAAAACAAAAAgAAAAARCJz/////8AAAAA=="; // ""
const char unfilledBlock[] = "XQBAAAAEAAAABAAAAAARCUJkerBQn//7FgAA";  // "%0"
const char helloBlock[] = "XQBAAAAFAAAABQAAAAA0GUnbhWTxk7H/+4/AAA=="; // hello
const char textHiBlock[] = "XQBAAAAVAAAAFQAAAAA9goAZG5sYvLfbtGV5rqdTQggFoKLkm1V/+OnIAA==";

const QString notConnectedLine = u"[PresenterCollab] SockJS socket not connected!"_s;

QString typed(const QString &address, const QString &type, const char *block)
{
    return typedMessage(address, type, QLatin1String(block));
}

SockJSConnector &connectorOf(const PresenterCollab &channel)
{
    return *channel.findChild<SockJSConnector *>();
}

QTimer *pingTimer(const PresenterCollab &channel)
{
    return channel.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
}

const char joinFields[] =
    R"("from":"d1","type":"join","data":{"userName":"Ada","deviceType":"tablet"})";

} // namespace

class tst_PresenterCollab : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void signalsAndSlotsStandInOrder();
    void knowsWhatItWasGiven();

    void openTriesTheNamedTransports_data();
    void openTriesTheNamedTransports();
    void openWithoutNamesTriesAll();
    void openFallsBackWhenATransportFails();
    void secondOpenRegistersAgain();

    void registersThreeAddressesAndNothingMore();
    void registrationsAreNotWrittenToTheDebugStream();
    void pingsEveryMinuteUntilClosed();
    void pingDoesNotCountAsActivity();
    void everythingElseCountsAsActivity();

    void closeSaysDisconnectAndTellsTheHostOnce();
    void closeBeforeOpenIsHarmless();
    void closeByTheServerTellsTheHost();
    void closeForInactivityTellsTheHost();

    void typedPayloads_data();
    void typedPayloads();
    void typedPayloadIsNotWrittenToTheDebugStream();
    void typedPayloadIsDroppedWhileNotConnected_data();
    void typedPayloadIsDroppedWhileNotConnected();
    void valuesFillTheTemplateOneAfterAnother();

    void messageObjectIsPublishedWhole();
    void messageObjectWithoutPayloadIsPublishedWithNull();
    void messageObjectIsHandedOverWhileNotConnected();
    void relativeAddressOfAMessageObjectIsCompleted();

    void removeLearnerTellsDeviceAndHost();
    void noMessageIsNotSent();
    void removeLearnerTellsTheHostWhileNotConnected();

    void incomingMessagesReachTheHost_data();
    void incomingMessagesReachTheHost();
    void questionRequestsAreNotForwarded();
    void recordsTravelInQueuedConnections();

    void hostMayDeleteTheChannelFromAnySignal_data();
    void hostMayDeleteTheChannelFromAnySignal();
    void hostMayCloseTheChannelFromASignal();
    void hostMayPublishFromASignal();
    void hostMayDeleteTheChannelWhileItOpens();
    void hostMayDeleteTheChannelWhileItOpensOnClosed();
    void destroyedChannelClosesItsConnectionQuietly();
    void destroyedChannelDropsWhatIsStillArriving();
};

void tst_PresenterCollab::signalsAndSlotsStandInOrder()
{
    const QMetaObject &meta = PresenterCollab::staticMetaObject;
    QStringList signatures;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        signatures.append(QLatin1String(method.methodSignature()));
        if (method.methodType() == QMetaMethod::Slot)
            QCOMPARE(method.access(), QMetaMethod::Protected);
    }
    QCOMPARE(signatures,
             (QStringList{
                 "connectionClosed(bool)", "learnerPollResponse(QString,QString,int,QString)",
                 "learnerJoin(Learner)", "learnerUnregister(QString)", "controllerRegister(bool)",
                 "remoteControl(RemoteControlMessage)", "unhandledMessage(QVariantMap,QVariant)",
                 "onConnected()", "onClosed(bool)", "onPingTimer()"}));
}

void tst_PresenterCollab::knowsWhatItWasGiven()
{
    QObject parent;
    const PresenterCollab channel(&parent, "http://server", "CODE", "session", "teacher");
    QCOMPARE(channel.parent(), &parent);
    QCOMPARE(channel.getSessionCode(), u"CODE"_s);
    QCOMPARE(channel.getSessionToken(), u"session"_s);
    QCOMPARE(channel.getUserToken(), u"teacher"_s);
    QCOMPARE(channel.getCurrentPollId(), QString());
    QVERIFY(!channel.isConnected());
    QVERIFY(channel.messageHandler());
    QCOMPARE(channel.messageHandler()->parent(), &channel);
    QCOMPARE(channel.findChildren<SockJSConnector *>().size(), 1);
    QVERIFY(!pingTimer(channel)->isActive());
}

// ---- Opening -------------------------------------------------------------------------------------

void tst_PresenterCollab::openTriesTheNamedTransports_data()
{
    QTest::addColumn<QStringList>("names");
    QTest::addColumn<QList<int>>("transports");
    QTest::addColumn<bool>("defaults");

    const QList<int> all{1, 2, 4};
    QTest::newRow("one") << QStringList{"websocket"} << QList<int>{1} << false;
    QTest::newRow("all, in the given order")
        << QStringList{"websocket", "xhr-polling", "xhr-streaming"} << QList<int>{1, 4, 2} << false;
    QTest::newRow("twice the same")
        << QStringList{"websocket", "websocket"} << QList<int>{1, 1} << false;
    QTest::newRow("unknown names are skipped")
        << QStringList{"carrier-pigeon", "websocket", "", "xhr-polling"} << QList<int>{1, 4}
        << false;
    QTest::newRow("only unknown names") << QStringList{"carrier-pigeon"} << all << true;
    QTest::newRow("names are case-sensitive")
        << QStringList{"WebSocket", "XHR-polling"} << all << true;
    QTest::newRow("an empty name") << QStringList{""} << all << true;
    QTest::newRow("no names") << QStringList() << all << true;
}

void tst_PresenterCollab::openTriesTheNamedTransports()
{
    QFETCH(QStringList, names);
    QFETCH(QList<int>, transports);
    QFETCH(bool, defaults);
    OpenChannel host;
    const LogCapture log;
    host.channel.open(names);

    QStringList lines{"Connecting to collaboration server: " + host.bus.url() + " ["
                      + names.join(", ") + ']'};
    if (defaults)
        lines.append("[SockJSConnector] No protocols specified. Using defaults.");
    QCOMPARE(log.messages().mid(0, lines.size()), lines);
    QCOMPARE(log.count("[SockJSConnector] No protocols specified. Using defaults."),
             defaults ? 1 : 0);
    QList<int> tried;
    for (const SockJSConnector::PROTOCOL_TYPE transport :
         SockJSProbe::protocols(connectorOf(host.channel)))
        tried.append(transport);
    QCOMPARE(tried, transports);
    QTRY_VERIFY(host.channel.isConnected());
    QVERIFY(host.bus.paths().value(0).startsWith("/eventbus/119/"));
}

void tst_PresenterCollab::openWithoutNamesTriesAll()
{
    OpenChannel host;
    const LogCapture log;
    host.channel.open();
    QCOMPARE(log.messages().value(0),
             "Connecting to collaboration server (default): " + host.bus.url());
    QCOMPARE(log.count("[SockJSConnector] No protocols specified. Using defaults."), 0);
    QCOMPARE(SockJSProbe::protocols(connectorOf(host.channel)),
             (QList<SockJSConnector::PROTOCOL_TYPE>{SockJSConnector::WEBSOCKET,
                                                    SockJSConnector::XHR_STREAMING,
                                                    SockJSConnector::XHR_POLLING}));
    QTRY_VERIFY(host.channel.isConnected());
}

void tst_PresenterCollab::openFallsBackWhenATransportFails()
{
    // Nothing listens on port 1: every transport fails, and nobody is told anything.
    PresenterCollab channel(nullptr, "http://127.0.0.1:1", "CODE", "session", "teacher");
    const QSignalSpy closed(&channel, &PresenterCollab::connectionClosed);
    channel.open({"websocket", "xhr-polling"});
    QVERIFY(!channel.isConnected());
    QCOMPARE(closed.size(), 0);
    QVERIFY(!pingTimer(channel)->isActive());
}

void tst_PresenterCollab::secondOpenRegistersAgain()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    host.channel.close();
    QTRY_COMPARE(closed.size(), 1);
    QTRY_VERIFY(!host.bus.hasConnection());
    host.bus.clear();
    QVERIFY(host.open());
    QCOMPARE(host.bus.messages().value(0), uR"({"type":"register","address":"session"})"_s);
    QVERIFY(pingTimer(host.channel)->isActive());
}

// ---- Registering and pinging ---------------------------------------------------------------------

void tst_PresenterCollab::registersThreeAddressesAndNothingMore()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.publishMessage("end", "t", "hello"); // what was sent before it has arrived with it
    QTRY_COMPARE(host.bus.messages(),
                 (QStringList{R"({"type":"register","address":"session"})",
                              R"({"type":"register","address":"session.presenter"})",
                              R"({"type":"register","address":"session.presenter.teacher"})",
                              typed("end", "t", helloBlock)}));
    QCOMPARE(host.bus.frames().first(),
             u"[\n    \"{\\\"type\\\":\\\"register\\\",\\\"address\\\":\\\"session\\\"}\"\n]\n"_s);
}

void tst_PresenterCollab::registrationsAreNotWrittenToTheDebugStream()
{
    OpenChannel host;
    const LogCapture log;
    QVERIFY(host.open());
    QCOMPARE(log.messages().filter("register"), QStringList());
}

void tst_PresenterCollab::pingsEveryMinuteUntilClosed()
{
    OpenChannel host;
    QTimer *timer = pingTimer(host.channel);
    QVERIFY(!timer->isActive());
    QVERIFY(host.open());
    QVERIFY(timer->isActive());
    QVERIFY(!timer->isSingleShot());
    QCOMPARE(timer->interval(), 60000);
    QCOMPARE(host.bus.published(), QStringList());

    timer->setInterval(20); // the minute, shortened
    QVERIFY(host.waitForPublished(2));
    QCOMPARE(host.bus.published().mid(0, 2),
             (QStringList{R"({"type":"ping"})", R"({"type":"ping"})"}));
    host.channel.close();
    QVERIFY(!timer->isActive());
}

void tst_PresenterCollab::pingDoesNotCountAsActivity()
{
    OpenChannel host;
    QVERIFY(host.open());
    QDateTime &lastActivity = SockJSProbe::lastActivity(connectorOf(host.channel));
    lastActivity = QDateTime();
    QVERIFY(host.hasPublishedNothing());
    QVERIFY(lastActivity.isNull());
}

void tst_PresenterCollab::everythingElseCountsAsActivity()
{
    OpenChannel host;
    QVERIFY(host.open());
    QDateTime &lastActivity = SockJSProbe::lastActivity(connectorOf(host.channel));
    QVERIFY(lastActivity.isValid());
    lastActivity = QDateTime();
    host.channel.sendHeavy();
    QVERIFY(lastActivity.isValid());
    lastActivity = QDateTime();
    Tarvo::TarvoCollabMessage message;
    message.setdata(QVariantMap());
    host.channel.publishMessage("session", &message);
    QVERIFY(lastActivity.isValid());
    lastActivity = QDateTime();
    QVERIFY(QMetaObject::invokeMethod(&host.channel, "onConnected"));
    QVERIFY(lastActivity.isValid());
}

// ---- Closing -------------------------------------------------------------------------------------

void tst_PresenterCollab::closeSaysDisconnectAndTellsTheHostOnce()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    host.channel.close();
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(!host.channel.isConnected());
    QVERIFY(!pingTimer(host.channel)->isActive());
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(), QStringList{typed("session", "disconnect", emptyTextBlock)});
    QTRY_VERIFY(!host.bus.hasConnection());

    host.channel.close();
    QCoreApplication::processEvents();
    QCOMPARE(closed.size(), 1);
}

void tst_PresenterCollab::closeBeforeOpenIsHarmless()
{
    PresenterCollab channel(nullptr, "http://127.0.0.1:1", "CODE", "session", "teacher");
    const QSignalSpy closed(&channel, &PresenterCollab::connectionClosed);
    const LogCapture log;
    channel.close();
    QCOMPARE(log.messages(), QStringList{notConnectedLine});
    QCOMPARE(closed.size(), 0);
}

void tst_PresenterCollab::closeByTheServerTellsTheHost()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    host.bus.closeConnection();
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(!host.channel.isConnected());
    QVERIFY(!pingTimer(host.channel)->isActive());
}

void tst_PresenterCollab::closeForInactivityTellsTheHost()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    Q_EMIT connectorOf(host.channel).closed(true);
    QCOMPARE(closed.size(), 1);
    QCOMPARE(closed.first().first().toBool(), true);
    QVERIFY(!pingTimer(host.channel)->isActive());
}

// ---- Publishing texts ----------------------------------------------------------------------------

using Operation = std::function<void(PresenterCollab &)>;
Q_DECLARE_METATYPE(Operation)

void tst_PresenterCollab::typedPayloads_data()
{
    QTest::addColumn<Operation>("publish");
    QTest::addColumn<QString>("message");

    QTest::newRow("publishMessage")
        << Operation([](PresenterCollab &c) { c.publishMessage("abc", "greet", "hello"); })
        << typed("abc", "greet", helloBlock);
    QTest::newRow("publishMessage64")
        << Operation([](PresenterCollab &c) { c.publishMessage64("abc", "greet", "hello"); })
        << typed("abc", "greet", helloBlock);
    QTest::newRow("relative address")
        << Operation([](PresenterCollab &c) { c.publishMessage(".learner", "greet", "hello"); })
        << typed("session.learner", "greet", helloBlock);
    QTest::newRow("address that is a dot")
        << Operation([](PresenterCollab &c) { c.publishMessage64(".", "greet", "hello"); })
        << typed("session.", "greet", helloBlock);
    QTest::newRow("address with a dot inside")
        << Operation([](PresenterCollab &c) { c.publishMessage("a.b", "greet", "hello"); })
        << typed("a.b", "greet", helloBlock);
    QTest::newRow("empty address")
        << Operation([](PresenterCollab &c) { c.publishMessage(QString(), "greet", "hello"); })
        << typed("", "greet", helloBlock);
    QTest::newRow("pausePoll without a poll")
        << Operation([](PresenterCollab &c) { c.pausePoll(); })
        << typed("session", "pause", emptyTextBlock);
    QTest::newRow("resumePoll without a poll")
        << Operation([](PresenterCollab &c) { c.resumePoll(); })
        << typed("session", "resume", emptyTextBlock);
    QTest::newRow("sendHeavy") << Operation([](PresenterCollab &c) { c.sendHeavy(); })
                               << typed("session.learner", "heavy", unfilledBlock);
    QTest::newRow("removeLearner") << Operation([](PresenterCollab &c) { c.removeLearner("d1"); })
                                   << typed("session.user.d1", "disconnect", emptyTextBlock);
}

void tst_PresenterCollab::typedPayloads()
{
    QFETCH(Operation, publish);
    QFETCH(QString, message);
    OpenChannel host;
    QVERIFY(host.open());
    publish(host.channel);
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(), QStringList{message});
}

void tst_PresenterCollab::typedPayloadIsNotWrittenToTheDebugStream()
{
    OpenChannel host;
    QVERIFY(host.open());
    const LogCapture log;
    host.channel.publishMessage("abc", "greet", "hello");
    host.channel.pausePoll();
    QCOMPARE(log.messages(), QStringList());
}

void tst_PresenterCollab::typedPayloadIsDroppedWhileNotConnected_data()
{
    typedPayloads_data();
}

void tst_PresenterCollab::typedPayloadIsDroppedWhileNotConnected()
{
    QFETCH(Operation, publish);
    OpenChannel host;
    {
        const LogCapture log;
        publish(host.channel);
        QCOMPARE(log.messages(), QStringList{notConnectedLine});
    }
    // Nothing was queued either.
    QVERIFY(host.hasPublishedNothing());
}

void tst_PresenterCollab::valuesFillTheTemplateOneAfterAnother()
{
    OpenChannel host;
    QVERIFY(host.open());
    host.channel.publishMessage("50%2", "greet", "hello");
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(), QStringList{typed("50greet", "greet", helloBlock)});
}

// ---- Publishing objects --------------------------------------------------------------------------

void tst_PresenterCollab::messageObjectIsPublishedWhole()
{
    OpenChannel host;
    QVERIFY(host.open());
    Tarvo::TarvoCollabMessage message;
    message.settype("dialogShow");
    message.setfrom("somebody else");
    message.setdata(QVariantMap{{"text", "hi"}});

    const LogCapture log;
    host.channel.publishMessage("session.user.d1", &message);
    const QString text = uR"({"type":"publish","address":"session.user.d1","body":{
    "data": [
        "%1"
    ],
    "from": "teacher",
    "sourceSystem": "Corvel",
    "type": "dialogShow",
    "version": "3.0.0"
}
})"_s.arg(QLatin1String(textHiBlock));
    QCOMPARE(log.messages(), QStringList{"TRANSMIT: " + text});
    QCOMPARE(message.from(), u"teacher"_s);

    // The frames lose one space before a closing bracket on the way.
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(), QStringList{QString(text).replace("    ],", "   ],")});
    QCOMPARE(Published(host.bus.published().first()).payload, u"{\n    \"text\": \"hi\"\n}\n"_s);
}

void tst_PresenterCollab::messageObjectWithoutPayloadIsPublishedWithNull()
{
    OpenChannel host;
    QVERIFY(host.open());
    Tarvo::TarvoCollabMessage message;
    message.settype("t");
    const LogCapture log;
    host.channel.publishMessage("abc", &message);
    const QString text = uR"({"type":"publish","address":"abc","body":{
    "data": null,
    "from": "teacher",
    "sourceSystem": "Corvel",
    "type": "t",
    "version": "3.0.0"
}
})"_s;
    QCOMPARE(log.messages(),
             (QStringList{"[TarvoCollabMessage] data object in message is invalid!",
                          "TRANSMIT: " + text}));
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(), QStringList{text});
}

// The line is written and the connector loses the message: it knows no connection.
void tst_PresenterCollab::messageObjectIsHandedOverWhileNotConnected()
{
    OpenChannel host;
    Tarvo::TarvoCollabMessage message;
    message.setdata(QVariantMap());
    {
        const LogCapture log;
        host.channel.publishMessage("abc", &message);
        QCOMPARE(log.messages().size(), 1);
        QCOMPARE(log.startingWith("TRANSMIT: {\"type\":\"publish\"").size(), 1);
    }
    QVERIFY(host.hasPublishedNothing());
}

void tst_PresenterCollab::relativeAddressOfAMessageObjectIsCompleted()
{
    OpenChannel host;
    QVERIFY(host.open());
    Tarvo::TarvoCollabMessage message;
    message.setdata(QVariantMap());
    host.channel.publishMessage(".user.d1", &message);
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(Published(host.bus.published().first()).address, u"session.user.d1"_s);
}

// ---- Learners ------------------------------------------------------------------------------------

void tst_PresenterCollab::removeLearnerTellsDeviceAndHost()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy gone(&host.channel, &PresenterCollab::learnerUnregister);
    host.channel.removeLearner("d1");
    QCOMPARE(gone.size(), 1);
    QCOMPARE(gone.first().first().toString(), u"d1"_s);
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(),
             QStringList{typed("session.user.d1", "disconnect", emptyTextBlock)});
}

void tst_PresenterCollab::noMessageIsNotSent()
{
    OpenChannel host;
    QVERIFY(host.open());
    const LogCapture log;
    host.channel.publishMessage("abc", nullptr);
    QCOMPARE(log.messages(), QStringList{"[PresenterCollab] No message to send!"});
    QVERIFY(host.hasPublishedNothing());
}

void tst_PresenterCollab::removeLearnerTellsTheHostWhileNotConnected()
{
    PresenterCollab channel(nullptr, "http://127.0.0.1:1", "CODE", "session", "teacher");
    const QSignalSpy gone(&channel, &PresenterCollab::learnerUnregister);
    channel.removeLearner("d1");
    QCOMPARE(gone.size(), 1);
    QCOMPARE(gone.first().first().toString(), u"d1"_s);
}

// ---- What arrives --------------------------------------------------------------------------------

void tst_PresenterCollab::incomingMessagesReachTheHost_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QString>("arguments");

    QTest::newRow("learnerPollResponse")
        << R"("from":"d1","type":"pollResponse","data":{"pollId":"p","responseTime":5,"pick":{"input":"A"}})"
        << QByteArray(SIGNAL(learnerPollResponse(QString, QString, int, QString))) << "d1|p|5|A";
    QTest::newRow("learnerJoin") << joinFields << QByteArray(SIGNAL(learnerJoin(Learner)))
                                 << "d1 Ada tablet";
    QTest::newRow("learnerUnregister")
        << R"("action":"unregister","client":{"type":"user","token":"d1"})"
        << QByteArray(SIGNAL(learnerUnregister(QString))) << "d1";
    QTest::newRow("controllerRegister") << R"("action":"unregister","client":{"type":"controller"})"
                                        << QByteArray(SIGNAL(controllerRegister(bool))) << "false";
    QTest::newRow("remoteControl")
        << R"("from":"c1","type":"nextCard")"
        << QByteArray(SIGNAL(remoteControl(RemoteControlMessage))) << "nextCard c1";
    QTest::newRow("unhandledMessage")
        << R"("type":"dance","data":"x")"
        << QByteArray(SIGNAL(unhandledMessage(QVariantMap, QVariant))) << "dance|x";
}

void tst_PresenterCollab::incomingMessagesReachTheHost()
{
    QFETCH(QString, fields);
    QFETCH(QByteArray, signal);
    QFETCH(QString, arguments);
    OpenChannel host;
    QVERIFY(host.open());
    QSignalSpy spy(&host.channel, signal.constData());
    QVERIFY(spy.isValid());
    host.bus.send(incomingMessage(fields));
    QTRY_COMPARE(spy.size(), 1);

    QStringList texts;
    for (const QVariant &argument : spy.takeFirst()) {
        if (argument.canConvert<Tarvo::Learner>()) {
            const auto learner = argument.value<Tarvo::Learner>();
            texts.append(learner.deviceId + ' ' + learner.userName + ' ' + learner.deviceType);
        } else if (argument.canConvert<Tarvo::RemoteControlMessage>()) {
            const auto command = argument.value<Tarvo::RemoteControlMessage>();
            texts.append(command.type + ' ' + command.from);
        } else if (argument.type() == QVariant::Map) {
            texts.append(argument.toMap().value("type").toString());
        } else {
            texts.append(argument.userType() == QMetaType::QVariant
                             ? argument.value<QVariant>().toString()
                             : argument.toString());
        }
    }
    QCOMPARE(texts.join('|'), arguments);
}

void tst_PresenterCollab::questionRequestsAreNotForwarded()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy unhandled(&host.channel, &PresenterCollab::unhandledMessage);
    const QSignalSpy asked(host.channel.messageHandler(),
                           &CollaborationMessageHandler::learnerGetQuestion);
    host.bus.send(
        incomingMessage(R"("from":"d1","type":"questionGet","data":{"questionNumber":2})"));
    QTRY_COMPARE(asked.size(), 1);
    QCOMPARE(unhandled.size(), 0);
    QCOMPARE(PresenterCollab::staticMetaObject.indexOfSignal("learnerGetQuestion(QString,int)"),
             -1);
}

void tst_PresenterCollab::recordsTravelInQueuedConnections()
{
    OpenChannel host;
    QVERIFY(host.open());
    QStringList names;
    QStringList commands;
    connect(
        &host.channel, &PresenterCollab::learnerJoin, this,
        [&names](const Tarvo::Learner &learner) { names.append(learner.userName); },
        Qt::QueuedConnection);
    connect(
        &host.channel, &PresenterCollab::remoteControl, this,
        [&commands](const Tarvo::RemoteControlMessage &command) { commands.append(command.type); },
        Qt::QueuedConnection);
    host.bus.send(incomingMessage(joinFields));
    host.bus.send(incomingMessage(R"("from":"c1","type":"nextCard")"));
    QTRY_COMPARE(commands, QStringList{"nextCard"});
    QCOMPARE(names, QStringList{"Ada"});
}

// ---- Hosts ---------------------------------------------------------------------------------------

void tst_PresenterCollab::hostMayDeleteTheChannelFromAnySignal_data()
{
    QTest::addColumn<QString>("fields");
    QTest::newRow("connectionClosed") << QString();
    QTest::newRow("learnerPollResponse") << R"("type":"pollResponse")";
    QTest::newRow("learnerJoin") << joinFields;
    QTest::newRow("learnerUnregister")
        << R"("action":"unregister","client":{"type":"user","token":"d1"})";
    QTest::newRow("controllerRegister")
        << R"("action":"unregister","client":{"type":"controller"})";
    QTest::newRow("remoteControl") << R"("type":"nextCard")";
    QTest::newRow("unhandledMessage") << R"("type":"dance")";
}

void tst_PresenterCollab::hostMayDeleteTheChannelFromAnySignal()
{
    QFETCH(QString, fields);
    EventBusServer bus;
    QPointer<PresenterCollab> channel =
        new PresenterCollab(this, bus.url(), "CODE", "session", "teacher");
    channel->open({"websocket"});
    QTRY_COMPARE(bus.messages().size(), 3);

    const auto destroy = [&channel] { delete channel; };
    connect(channel, &PresenterCollab::connectionClosed, this, destroy);
    connect(channel, &PresenterCollab::learnerPollResponse, this, destroy);
    connect(channel, &PresenterCollab::learnerJoin, this, destroy);
    connect(channel, &PresenterCollab::learnerUnregister, this, destroy);
    connect(channel, &PresenterCollab::controllerRegister, this, destroy);
    connect(channel, &PresenterCollab::remoteControl, this, destroy);
    connect(channel, &PresenterCollab::unhandledMessage, this, destroy);
    if (fields.isEmpty()) {
        channel->close();
    } else {
        const QString message = incomingMessage(fields);
        bus.sendFrame('a'
                      + QString::fromUtf8(QJsonDocument(QJsonArray{message, message}).toJson()));
    }
    QTRY_VERIFY(channel.isNull());
    QTRY_VERIFY(!bus.hasConnection());

    // And from the channel's own operation.
    if (fields.contains("unregister")) {
        channel = new PresenterCollab(this, bus.url(), "CODE", "session", "teacher");
        connect(channel, &PresenterCollab::learnerUnregister, this, destroy);
        channel->removeLearner("d1");
        QVERIFY(channel.isNull());
    }
}

void tst_PresenterCollab::hostMayCloseTheChannelFromASignal()
{
    OpenChannel host;
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    connect(&host.channel, &PresenterCollab::learnerJoin, &host.channel, &PresenterCollab::close);
    host.bus.send(incomingMessage(joinFields));
    QTRY_COMPARE(closed.size(), 1);
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(host.bus.published(), QStringList{typed("session", "disconnect", emptyTextBlock)});
}

void tst_PresenterCollab::hostMayPublishFromASignal()
{
    OpenChannel host;
    QVERIFY(host.open());
    connect(&host.channel, &PresenterCollab::learnerJoin, this, [&host] {
        host.channel.startPoll(Tarvo::PollType::CREATIVE, Tarvo::OrdinalType::NUMBER, 2, 0);
    });
    connect(&host.channel, &PresenterCollab::learnerUnregister, this,
            [&host] { host.channel.sendHeavy(); });
    host.bus.send(incomingMessage(joinFields));
    QVERIFY(host.waitForPublished(1));
    QCOMPARE(Published(host.bus.published().first()).type, u"poll"_s);
    host.channel.removeLearner("d1");
    QVERIFY(host.waitForPublished(3));
    QCOMPARE(host.bus.published().mid(1),
             (QStringList{typed("session.user.d1", "disconnect", emptyTextBlock),
                          typed("session.learner", "heavy", unfilledBlock)}));
}

// A server that takes the connection and never answers holds open() for as long as it likes.
void tst_PresenterCollab::hostMayDeleteTheChannelWhileItOpens()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QString url = u"http://127.0.0.1:%1"_s.arg(silent.serverPort());
    QPointer<PresenterCollab> channel =
        new PresenterCollab(this, url, "CODE", "session", "teacher");
    connect(&silent, &QTcpServer::newConnection, this, [&channel] { delete channel; });
    channel->open({"websocket"});
    QVERIFY(channel.isNull());
}

void tst_PresenterCollab::hostMayDeleteTheChannelWhileItOpensOnClosed()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QString url = u"http://127.0.0.1:%1"_s.arg(silent.serverPort());
    QPointer<PresenterCollab> channel =
        new PresenterCollab(this, url, "CODE", "session", "teacher");
    connect(channel, &PresenterCollab::connectionClosed, this, [&channel] { delete channel; });
    connect(&silent, &QTcpServer::newConnection, this, [&channel] { channel->close(); });
    channel->open();
    QTRY_VERIFY(channel.isNull());
}

void tst_PresenterCollab::destroyedChannelClosesItsConnectionQuietly()
{
    EventBusServer bus;
    auto channel =
        std::make_unique<PresenterCollab>(nullptr, bus.url(), "CODE", "session", "teacher");
    channel->open({"websocket"});
    QTRY_COMPARE(bus.messages().size(), 3);
    int closed = 0;
    connect(channel.get(), &PresenterCollab::connectionClosed, this, [&closed] { ++closed; });
    channel.reset();
    QTRY_VERIFY(!bus.hasConnection());
    QCOMPARE(closed, 0);
    QCOMPARE(bus.published(), QStringList());
}

void tst_PresenterCollab::destroyedChannelDropsWhatIsStillArriving()
{
    EventBusServer bus;
    auto channel =
        std::make_unique<PresenterCollab>(nullptr, bus.url(), "CODE", "session", "teacher");
    channel->open({"websocket"});
    QTRY_COMPARE(bus.messages().size(), 3);
    int joined = 0;
    connect(channel.get(), &PresenterCollab::learnerJoin, this, [&joined] { ++joined; });
    for (int i = 0; i < 100; ++i)
        bus.send(incomingMessage(joinFields));
    channel.reset();
    QTRY_VERIFY(!bus.hasConnection());
    QCOMPARE(joined, 0);
}

QTEST_GUILESS_MAIN(tst_PresenterCollab)
#include "tst_presentercollab.moc"
