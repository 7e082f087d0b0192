// The records that travel by value in signals: what they hold, and how they cross a queued connection
// under either spelling of their names.

#include "model/JsonSerializer.h"
#include "model/Learner.h"
#include "model/RemoteControlMessage.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QThread>
#include <QtTest/QtTest>

using Tarvo::Learner;
using Tarvo::RemoteControlMessage;

class Sender : public QObject
{
    Q_OBJECT

Q_SIGNALS:
    void learnerJoin(Learner learner);
    void remoteControl(RemoteControlMessage Signal);
    void qualifiedLearner(Tarvo::Learner learner);
    void qualifiedRemote(Tarvo::RemoteControlMessage message);
};

class Receiver : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void onLearner(Learner learner) { learners << learner; }
    void onRemote(RemoteControlMessage message) { messages << message; }
    void onQualifiedLearner(Tarvo::Learner learner) { learners << learner; }
    void onQualifiedRemote(Tarvo::RemoteControlMessage message) { messages << message; }

public:
    QList<Learner> learners;
    QList<RemoteControlMessage> messages;
};

namespace
{

// What a host does that connects by text and has no types of these names.
void giveShortNames()
{
    qRegisterMetaType<Tarvo::Learner>("Learner");
    qRegisterMetaType<Tarvo::RemoteControlMessage>("RemoteControlMessage");
}

} // namespace

class tst_ValueRecords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void qualifiedNamesAloneAreKnownOnceTheLibraryIsLoaded();
    void shortNamesTakeOneLineOfTheHost();
    void fieldsAreInTheirOrder();
    void copiesAreIndependent();
    void queuedConnectionsByNameCarryThem();
    void queuedConnectionsByPointerCarryThem();
    void connectionsToAnotherThreadCarryThem();
    void variantsCarryThem();
};

void tst_ValueRecords::initTestCase()
{
    // Something of the library's, so that this program really needs it.
    QCOMPARE(Tarvo::JsonSerializer::getIgnorePropertiesList().size(), 1);
}

void tst_ValueRecords::qualifiedNamesAloneAreKnownOnceTheLibraryIsLoaded()
{
    QVERIFY(QMetaType::type("Tarvo::Learner") != QMetaType::UnknownType);
    QVERIFY(QMetaType::type("Tarvo::RemoteControlMessage") != QMetaType::UnknownType);
    QCOMPARE(qMetaTypeId<Learner>(), QMetaType::type("Tarvo::Learner"));
    QCOMPARE(qMetaTypeId<RemoteControlMessage>(), QMetaType::type("Tarvo::RemoteControlMessage"));
    QCOMPARE(QMetaType::type("Learner"), int(QMetaType::UnknownType));
    QCOMPARE(QMetaType::type("RemoteControlMessage"), int(QMetaType::UnknownType));
}

void tst_ValueRecords::shortNamesTakeOneLineOfTheHost()
{
    Sender sender;
    Receiver receiver;
    const char *const signal = SIGNAL(learnerJoin(Learner));
    const char *const slot = SLOT(onLearner(Learner));
    QVERIFY(connect(&sender, signal, &receiver, slot, Qt::DirectConnection));
    QTest::ignoreMessage(QtWarningMsg,
                         "QObject::connect: Cannot queue arguments of type 'Learner'\n"
                         "(Make sure 'Learner' is registered using qRegisterMetaType().)");
    QVERIFY(!connect(&sender, signal, &receiver, slot, Qt::QueuedConnection));

    giveShortNames();
    QCOMPARE(QMetaType::type("Learner"), QMetaType::type("Tarvo::Learner"));
    QCOMPARE(QMetaType::type("RemoteControlMessage"),
             QMetaType::type("Tarvo::RemoteControlMessage"));
    QVERIFY(connect(&sender, signal, &receiver, slot, Qt::QueuedConnection));
    Q_EMIT sender.learnerJoin({"d1", "Ada", "phone"});
    QCOMPARE(receiver.learners.size(), 1);
    QTRY_COMPARE(receiver.learners.size(), 2);
    QCOMPARE(receiver.learners.last().userName, u"Ada"_s);
}

void tst_ValueRecords::fieldsAreInTheirOrder()
{
    const Learner learner{"device", "name", "type"};
    QCOMPARE(learner.deviceId, u"device"_s);
    QCOMPARE(learner.userName, u"name"_s);
    QCOMPARE(learner.deviceType, u"type"_s);
    const RemoteControlMessage message{"nextCard", "remote-1", 7};
    QCOMPARE(message.type, u"nextCard"_s);
    QCOMPARE(message.from, u"remote-1"_s);
    QCOMPARE(message.data, QVariant(7));
    QVERIFY(!RemoteControlMessage().data.isValid());
    QVERIFY(Learner().deviceId.isEmpty());
}

void tst_ValueRecords::copiesAreIndependent()
{
    Learner learner{"device", "name", "type"};
    QList<Tarvo::Learner> list = {learner};
    learner.userName = "another";
    QCOMPARE(list.first().userName, u"name"_s);
    list.first() = learner;
    QCOMPARE(list.first().userName, u"another"_s);
}

void tst_ValueRecords::queuedConnectionsByNameCarryThem()
{
    giveShortNames();
    Sender sender;
    Receiver receiver;
    const LogCapture log;
    const auto queued = [&](const char *signal, const char *slot) {
        return bool(connect(&sender, signal, &receiver, slot, Qt::QueuedConnection));
    };
    QVERIFY(queued(SIGNAL(learnerJoin(Learner)), SLOT(onLearner(Learner))));
    QVERIFY(
        queued(SIGNAL(remoteControl(RemoteControlMessage)), SLOT(onRemote(RemoteControlMessage))));
    QVERIFY(
        queued(SIGNAL(qualifiedLearner(Tarvo::Learner)), SLOT(onQualifiedLearner(Tarvo::Learner))));
    QVERIFY(queued(SIGNAL(qualifiedRemote(Tarvo::RemoteControlMessage)),
                   SLOT(onQualifiedRemote(Tarvo::RemoteControlMessage))));
    Q_EMIT sender.learnerJoin({"d1", "Ada", "phone"});
    Q_EMIT sender.qualifiedLearner({"d2", "Grace", "tablet"});
    Q_EMIT sender.remoteControl({"nextCard", "r1", 1});
    Q_EMIT sender.qualifiedRemote({"previousCard", "r2", 2});
    QVERIFY(receiver.learners.isEmpty());
    QTRY_COMPARE(receiver.learners.size(), 2);
    QTRY_COMPARE(receiver.messages.size(), 2);
    QCOMPARE(receiver.learners.last().userName, u"Grace"_s);
    QCOMPARE(receiver.messages.last().type, u"previousCard"_s);
    QCOMPARE(log.messages(), QStringList()); // no complaint about an unknown type
}

void tst_ValueRecords::queuedConnectionsByPointerCarryThem()
{
    Sender sender;
    Receiver receiver;
    connect(&sender, &Sender::learnerJoin, &receiver, &Receiver::onLearner, Qt::QueuedConnection);
    connect(&sender, &Sender::remoteControl, &receiver, &Receiver::onRemote, Qt::QueuedConnection);
    Q_EMIT sender.learnerJoin({"d1", "Ada", "phone"});
    Q_EMIT sender.remoteControl({"nextCard", "r1", 1});
    QTRY_COMPARE(receiver.learners.size(), 1);
    QTRY_COMPARE(receiver.messages.size(), 1);
    QCOMPARE(receiver.learners.first().deviceId, u"d1"_s);
    QCOMPARE(receiver.messages.first().data, QVariant(1));
}

void tst_ValueRecords::connectionsToAnotherThreadCarryThem()
{
    giveShortNames();
    Sender sender;
    Receiver receiver;
    QThread thread;
    receiver.moveToThread(&thread);
    thread.start();
    connect(&sender, SIGNAL(learnerJoin(Learner)), &receiver, SLOT(onLearner(Learner)));
    Q_EMIT sender.learnerJoin({"d1", "Ada", "phone"});
    // In the thread, behind the learner.
    QMetaObject::invokeMethod(&receiver, [&thread] { thread.quit(); });
    QVERIFY(thread.wait(30000));
    QCOMPARE(receiver.learners.size(), 1);
    QCOMPARE(receiver.learners.first().deviceType, u"phone"_s);
}

void tst_ValueRecords::variantsCarryThem()
{
    const QVariant variant = QVariant::fromValue(Learner{"d1", "Ada", "phone"});
    QCOMPARE(variant.value<Tarvo::Learner>().userName, u"Ada"_s);
}

QTEST_GUILESS_MAIN(tst_ValueRecords)
#include "tst_valuerecords.moc"
