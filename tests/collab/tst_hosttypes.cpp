// A host that has types called Learner and RemoteControlMessage itself, and queues them by these names.
#include "OpenChannel.h"

#include <QtTest/QtTest>

// Neither of the library's size nor of its kind.
struct Learner {
    int marks[100] = {};
};
struct RemoteControlMessage {
    char key = 0;
};
Q_DECLARE_METATYPE(Learner)
Q_DECLARE_METATYPE(RemoteControlMessage)

class HostsOwn : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void onGraded(Learner learner) { marks.append(learner.marks[99]); }
    void onPressed(RemoteControlMessage message) { keys.append(message.key); }

Q_SIGNALS:
    void graded(Learner learner);
    void pressed(RemoteControlMessage message);

public:
    QList<int> marks;
    QList<char> keys;
};

// What the host hears of the library, with the library's types.
class Listener : public QObject
{
    Q_OBJECT

public:
    using Learner = Tarvo::Learner;
    using RemoteControlMessage = Tarvo::RemoteControlMessage;

    QStringList heard;

public Q_SLOTS:
    void onJoin(Learner learner) { heard.append(learner.userName); }
    void onRemote(RemoteControlMessage command) { heard.append(command.type); }
};

class tst_HostTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void hostsTypesHaveTheShortNames();
    void hostsTypesTravelInQueuedConnections();
    void librarysTypesReachTheHost_data();
    void librarysTypesReachTheHost();
    void librarysTypesReachTheHostByText();
    void channelsSignalsPassThem();
};

namespace
{

void receive(CollaborationMessageHandler *handler)
{
    deliver(handler, incomingMessage(joinFields));
    deliver(handler, incomingMessage(R"("from":"c1","type":"nextCard")"));
}

const QStringList HEARD{u"Ada"_s, u"nextCard"_s};

} // namespace

void tst_HostTypes::initTestCase()
{
    qRegisterMetaType<Learner>("Learner");
    qRegisterMetaType<RemoteControlMessage>("RemoteControlMessage");
}

void tst_HostTypes::hostsTypesHaveTheShortNames()
{
    QCOMPARE(QMetaType::type("Learner"), qMetaTypeId<Learner>());
    QCOMPARE(QMetaType::sizeOf(QMetaType::type("Learner")), int(sizeof(Learner)));
    QCOMPARE(QMetaType::type("RemoteControlMessage"), qMetaTypeId<RemoteControlMessage>());
    QCOMPARE(QMetaType::type("Tarvo::Learner"), qMetaTypeId<Tarvo::Learner>());
    QVERIFY(qMetaTypeId<Tarvo::Learner>() != qMetaTypeId<Learner>());
}

void tst_HostTypes::hostsTypesTravelInQueuedConnections()
{
    HostsOwn host;
    QVERIFY(connect(&host, SIGNAL(graded(Learner)), &host, SLOT(onGraded(Learner)),
                    Qt::QueuedConnection));
    QVERIFY(connect(&host, SIGNAL(pressed(RemoteControlMessage)), &host,
                    SLOT(onPressed(RemoteControlMessage)), Qt::QueuedConnection));
    Learner learner;
    learner.marks[99] = 6;
    Q_EMIT host.graded(learner);
    Q_EMIT host.pressed({'x'});
    QTRY_COMPARE(host.keys, QList<char>{'x'});
    QCOMPARE(host.marks, QList<int>{6});
}

void tst_HostTypes::librarysTypesReachTheHost_data()
{
    QTest::addColumn<Qt::ConnectionType>("connection");
    QTest::newRow("direct") << Qt::DirectConnection;
    QTest::newRow("queued") << Qt::QueuedConnection;
}

void tst_HostTypes::librarysTypesReachTheHost()
{
    QFETCH(Qt::ConnectionType, connection);
    using Handler = CollaborationMessageHandler;
    CollaborationMessageHandler handler(nullptr);
    Listener listener;
    connect(&handler, &Handler::learnerJoin, &listener, &Listener::onJoin, connection);
    connect(&handler, &Handler::remoteControl, &listener, &Listener::onRemote, connection);
    receive(&handler);
    QCOMPARE(listener.heard.isEmpty(), connection == Qt::QueuedConnection);
    QTRY_COMPARE(listener.heard, HEARD);
}

void tst_HostTypes::librarysTypesReachTheHostByText()
{
    CollaborationMessageHandler handler(nullptr);
    Listener listener;
    QVERIFY(connect(&handler, SIGNAL(learnerJoin(Learner)), &listener, SLOT(onJoin(Learner))));
    QVERIFY(connect(&handler, SIGNAL(remoteControl(RemoteControlMessage)), &listener,
                    SLOT(onRemote(RemoteControlMessage))));
    receive(&handler);
    QCOMPARE(listener.heard, HEARD);
}

void tst_HostTypes::channelsSignalsPassThem()
{
    const UnopenedChannel channel;
    Listener listener;
    connect(&channel, &PresenterCollab::learnerJoin, &listener, &Listener::onJoin,
            Qt::QueuedConnection);
    connect(&channel, &PresenterCollab::remoteControl, &listener, &Listener::onRemote,
            Qt::QueuedConnection);
    receive(channel.messageHandler());
    QTRY_COMPARE(listener.heard, HEARD);
}

QTEST_GUILESS_MAIN(tst_HostTypes)
#include "tst_hosttypes.moc"
