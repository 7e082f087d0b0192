// What a channel publishes, as texts and as message objects, and what arrives at its host.
#include "OpenChannel.h"
#include "collab/TarvoCollabMessage.h"

#include <QtTest/QtTest>

#include <functional>
#include <optional>

using Operation = std::function<void(PresenterCollab &)>;
Q_DECLARE_METATYPE(Operation)

namespace
{

// Blocks of payloads, byte for byte.
const char helloBlock[] = "XQBAAAAFAAAABQAAAAA0GUnbhWTxk7H/+4/AAA=="; // hello
const char textHiBlock[] = "XQBAAAAVAAAAFQAAAAA9goAZG5sYvLfbtGV5rqdTQggFoKLkm1V/+OnIAA==";

} // namespace

class tst_PresenterCollabMessages : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(host.emplace().open()); }
    void cleanup() { host.reset(); }

    void typedPayloads_data();
    void typedPayloads();
    void typedPayloadIsNotWrittenToTheDebugStream();
    void typedPayloadIsDroppedWhileNotConnected_data() { typedPayloads_data(); }
    void typedPayloadIsDroppedWhileNotConnected();
    void valuesFillTheTemplateOneAfterAnother();

    void messageObjectIsPublishedWhole();
    void messageObjectWithoutPayloadIsPublishedWithNull();
    void messageObjectIsHandedOverWhileNotConnected();
    void relativeAddressOfAMessageObjectIsCompleted();
    void noMessageIsNotSent();

    void removeLearnerTellsDeviceAndHost();
    void removeLearnerTellsTheHostWhileNotConnected();

    void incomingMessagesReachTheHost_data();
    void incomingMessagesReachTheHost();
    void questionRequestsAreNotForwarded();
    void recordsTravelInQueuedConnections();

private:
    std::optional<OpenChannel> host;
};

// ---- Texts ---------------------------------------------------------------------------------------

void tst_PresenterCollabMessages::typedPayloads_data()
{
    QTest::addColumn<Operation>("publish");
    QTest::addColumn<QString>("message");

    using Channel = PresenterCollab;
    const auto row = [](const char *name, const Operation &publish, const char *address,
                        const char *type, const QString &block) {
        QTest::newRow(name) << publish << typedMessage(address, type, block);
    };
    const auto greeting = [row](const char *name, const char *address, const char *completed) {
        const auto greet = [address](Channel &c) { c.publishMessage(address, "greet", "hello"); };
        row(name, greet, completed, "greet", helloBlock);
    };
    const auto greeting64 = [row](const char *name, const char *address, const char *completed) {
        const auto greet = [address](Channel &c) { c.publishMessage64(address, "greet", "hello"); };
        row(name, greet, completed, "greet", helloBlock);
    };
    const auto removal = [](Channel &c) { c.removeLearner("d1"); };
    greeting("publishMessage", "abc", "abc");
    greeting64("publishMessage64", "abc", "abc");
    greeting("relative address", ".learner", "session.learner");
    greeting64("address that is a dot", ".", "session.");
    greeting("address with a dot inside", "a.b", "a.b");
    greeting("empty address", nullptr, "");
    row("pausePoll without a poll", &Channel::pausePoll, "session", "pause", emptyTextBlock);
    row("resumePoll without a poll", &Channel::resumePoll, "session", "resume", emptyTextBlock);
    row("sendHeavy", &Channel::sendHeavy, "session.learner", "heavy", unfilledBlock);
    row("removeLearner", removal, "session.user.d1", "disconnect", emptyTextBlock);
}

void tst_PresenterCollabMessages::typedPayloads()
{
    QFETCH(Operation, publish);
    QFETCH(QString, message);
    publish(host->channel);
    QCOMPARE(host->published(1), QStringList{message});
}

void tst_PresenterCollabMessages::typedPayloadIsNotWrittenToTheDebugStream()
{
    const LogCapture log;
    host->channel.publishMessage("abc", "greet", "hello");
    host->channel.pausePoll();
    QCOMPARE(log.messages(), QStringList());
}

void tst_PresenterCollabMessages::typedPayloadIsDroppedWhileNotConnected()
{
    QFETCH(Operation, publish);
    OpenChannel later;
    {
        const LogCapture log;
        publish(later.channel);
        QCOMPARE(log.messages(), QStringList{notConnectedLine});
    }
    // Nothing was queued either.
    QVERIFY(later.hasPublishedNothing());
}

void tst_PresenterCollabMessages::valuesFillTheTemplateOneAfterAnother()
{
    host->channel.publishMessage("50%2", "greet", "hello");
    QCOMPARE(host->published(1), QStringList{typedMessage("50greet", "greet", helloBlock)});
}

// ---- Objects -------------------------------------------------------------------------------------

void tst_PresenterCollabMessages::messageObjectIsPublishedWhole()
{
    Tarvo::TarvoCollabMessage message;
    message.settype("dialogShow");
    message.setfrom("somebody else");
    message.setdata(QVariantMap{{"text", "hi"}});

    const LogCapture log;
    host->channel.publishMessage("session.user.d1", &message);
    const QString text = uR"({"type":"publish","address":"session.user.d1","body":{
    "data": [
        "%1"
    ],
    "from": "teacher",
    "sourceSystem": "Corvel",
    "type": "dialogShow",
    "version": "3.0.0"
}
})"_s.arg(textHiBlock);
    QCOMPARE(log.messages(), QStringList{"TRANSMIT: " + text});
    QCOMPARE(message.from(), u"teacher"_s);

    // The frames lose one space before a closing bracket on the way.
    QCOMPARE(host->published(1), QStringList{QString(text).replace("    ],", "   ],")});
    QCOMPARE(host->sent(0).payload, u"{\n    \"text\": \"hi\"\n}\n"_s);
}

void tst_PresenterCollabMessages::messageObjectWithoutPayloadIsPublishedWithNull()
{
    Tarvo::TarvoCollabMessage message;
    message.settype("t");
    const LogCapture log;
    host->channel.publishMessage("abc", &message);
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
    QCOMPARE(host->published(1), QStringList{text});
}

// The line is written and the connector loses the message: it knows no connection.
void tst_PresenterCollabMessages::messageObjectIsHandedOverWhileNotConnected()
{
    OpenChannel later;
    Tarvo::TarvoCollabMessage message;
    message.setdata(QVariantMap());
    {
        const LogCapture log;
        later.channel.publishMessage("abc", &message);
        QCOMPARE(log.messages().size(), 1);
        QCOMPARE(log.startingWith("TRANSMIT: {\"type\":\"publish\"").size(), 1);
    }
    QVERIFY(later.hasPublishedNothing());
}

void tst_PresenterCollabMessages::relativeAddressOfAMessageObjectIsCompleted()
{
    Tarvo::TarvoCollabMessage message;
    message.setdata(QVariantMap());
    host->channel.publishMessage(".user.d1", &message);
    QCOMPARE(host->sent(0).address, u"session.user.d1"_s);
}

void tst_PresenterCollabMessages::noMessageIsNotSent()
{
    const LogCapture log;
    host->channel.publishMessage("abc", nullptr);
    QCOMPARE(log.messages(), QStringList{"[PresenterCollab] No message to send!"});
    QVERIFY(host->hasPublishedNothing());
}

// ---- Learners ------------------------------------------------------------------------------------

void tst_PresenterCollabMessages::removeLearnerTellsDeviceAndHost()
{
    const QSignalSpy gone(&host->channel, &PresenterCollab::learnerUnregister);
    host->channel.removeLearner("d1");
    QCOMPARE(gone.size(), 1);
    QCOMPARE(gone.first().first().toString(), u"d1"_s);
    QCOMPARE(host->published(1),
             QStringList{typedMessage("session.user.d1", "disconnect", emptyTextBlock)});
}

void tst_PresenterCollabMessages::removeLearnerTellsTheHostWhileNotConnected()
{
    UnopenedChannel channel;
    const QSignalSpy gone(&channel, &PresenterCollab::learnerUnregister);
    channel.removeLearner("d1");
    QCOMPARE(gone.size(), 1);
    QCOMPARE(gone.first().first().toString(), u"d1"_s);
}

// ---- What arrives --------------------------------------------------------------------------------

void tst_PresenterCollabMessages::incomingMessagesReachTheHost_data()
{
    QTest::addColumn<QString>("fields");
    QTest::addColumn<QByteArray>("signal");
    QTest::addColumn<QString>("arguments");

    const QString response =
        uR"("from":"d1","type":"pollResponse","data":{"pollId":"p","responseTime":5,"pick":{"input":"A"}})"_s;
    const QString command = uR"("from":"c1","type":"nextCard")"_s;
    // SIGNAL() puts a digit before the name.
    const auto row = [](const QString &fields, const char *signal, const char *arguments) {
        QTest::newRow(signal + 1) << fields << QByteArray(signal) << arguments;
    };
    row(response, SIGNAL(learnerPollResponse(QString, QString, int, QString)), "d1|p|5|A");
    row(joinFields, SIGNAL(learnerJoin(Learner)), "d1 Ada tablet");
    row(learnerLeaves, SIGNAL(learnerUnregister(QString)), "d1");
    row(R"("action":"unregister","client":{"type":"controller"})", SIGNAL(controllerRegister(bool)),
        "false");
    row(command, SIGNAL(remoteControl(RemoteControlMessage)), "nextCard c1");
    row(R"("type":"dance","data":"x")", SIGNAL(unhandledMessage(QVariantMap, QVariant)), "dance|x");
}

void tst_PresenterCollabMessages::incomingMessagesReachTheHost()
{
    QFETCH(QString, fields);
    QFETCH(QByteArray, signal);
    QFETCH(QString, arguments);
    QSignalSpy spy(&host->channel, signal.constData());
    QVERIFY(spy.isValid());
    host->bus.send(incomingMessage(fields));
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

void tst_PresenterCollabMessages::questionRequestsAreNotForwarded()
{
    const QSignalSpy unhandled(&host->channel, &PresenterCollab::unhandledMessage);
    const QSignalSpy asked(host->channel.messageHandler(),
                           &CollaborationMessageHandler::learnerGetQuestion);
    host->bus.send(
        incomingMessage(R"("from":"d1","type":"questionGet","data":{"questionNumber":2})"));
    QTRY_COMPARE(asked.size(), 1);
    QCOMPARE(unhandled.size(), 0);
    QCOMPARE(PresenterCollab::staticMetaObject.indexOfSignal("learnerGetQuestion(QString,int)"),
             -1);
}

void tst_PresenterCollabMessages::recordsTravelInQueuedConnections()
{
    QStringList names;
    QStringList commands;
    connect(
        &host->channel, &PresenterCollab::learnerJoin, this,
        [&names](const Tarvo::Learner &learner) { names.append(learner.userName); },
        Qt::QueuedConnection);
    connect(
        &host->channel, &PresenterCollab::remoteControl, this,
        [&commands](const Tarvo::RemoteControlMessage &command) { commands.append(command.type); },
        Qt::QueuedConnection);
    host->bus.send(incomingMessage(joinFields));
    host->bus.send(incomingMessage(R"("from":"c1","type":"nextCard")"));
    QTRY_COMPARE(commands, QStringList{"nextCard"});
    QCOMPARE(names, QStringList{"Ada"});
}

QTEST_GUILESS_MAIN(tst_PresenterCollabMessages)
#include "tst_presentercollabmessages.moc"
