// PresenterCollab by name: the channel itself, its members and the whole meta-object of the class.
// Polls and cards have tests of their own.

#include "collab/PresenterCollab.h"

#include "collab/CollaborationMessageHandler.h"
#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"
#include "sockjs/SockJSConnector.h"

#include <QtTest/QtTest>

using Channel = PresenterCollab;

namespace
{

// What derived classes may use.
struct Derived : Channel {
    using Channel::onClosed;
    using Channel::onConnected;
    using Channel::onPingTimer;
};

} // namespace

QVector<Extent> extents(const Channel &channel);

// clang-format off
template struct Members<Channel,
    member<QTimer>(&Channel::pingTimer),
    member<QString>(&Channel::serverUrl),
    member<QString>(&Channel::sessionCode),
    member<QString>(&Channel::sessionToken),
    member<QString>(&Channel::userToken),
    member<QString>(&Channel::currentPollId),
    member<QByteArray>(&Channel::imageData),
    member<QString>(&Channel::imageRef),
    member<SockJSConnector *>(&Channel::connector),
    member<CollaborationMessageHandler *>(&Channel::m_messageHandler)>; // the accessor has the name
// clang-format on

class tst_ChannelInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void readAccessors();
    void signalsTakeQualifiedTypes();
    void slotsAreForDerivedClasses();
    void membersFollowEachOther();
    void metaObject();
};

// clang-format off
void tst_ChannelInterface::functions()
{
    QVERIFY((std::is_base_of_v<QObject, Channel>));
    QVERIFY((std::is_constructible_v<Channel, QObject *, QString, QString, QString, QString>));

    QVERIFY(has<void (Channel::*)(QStringList)>(&Channel::open));
    QVERIFY(has<void (Channel::*)()>(&Channel::open));
    QVERIFY(has<void (Channel::*)()>(&Channel::close));
    QVERIFY(has<void (Channel::*)(QString)>(&Channel::removeLearner));
    QVERIFY(has<void (Channel::*)()>(&Channel::sendPing));
    QVERIFY(has<void (Channel::*)()>(&Channel::pausePoll));
    QVERIFY(has<void (Channel::*)()>(&Channel::resumePoll));
    QVERIFY(has<void (Channel::*)()>(&Channel::sendHeavy));
    QVERIFY(has<void (Channel::*)(QString, Tarvo::TarvoCollabMessage *)>(&Channel::publishMessage));
    QVERIFY(has<void (Channel::*)(QString, QString, QString)>(&Channel::publishMessage64));
    QVERIFY(has<void (Channel::*)(QString, QString, QString)>(&Channel::publishMessage));
}

void tst_ChannelInterface::readAccessors()
{
    QVERIFY(has<QString (Channel::*)() const>(&Channel::getSessionCode));
    QVERIFY(has<QString (Channel::*)() const>(&Channel::getSessionToken));
    QVERIFY(has<QString (Channel::*)() const>(&Channel::getUserToken));
    QVERIFY(has<QString (Channel::*)() const>(&Channel::getCurrentPollId));
    QVERIFY(has<bool (Channel::*)() const>(&Channel::isConnected));
    QVERIFY(has<CollaborationMessageHandler *(Channel::*)() const>(&Channel::messageHandler));
}

void tst_ChannelInterface::signalsTakeQualifiedTypes()
{
    QVERIFY(has<void (Channel::*)(bool)>(&Channel::connectionClosed));
    QVERIFY(has<void (Channel::*)(QString, QString, int, QString)>(&Channel::learnerPollResponse));
    QVERIFY(has<void (Channel::*)(Tarvo::Learner)>(&Channel::learnerJoin));
    QVERIFY(has<void (Channel::*)(QString)>(&Channel::learnerUnregister));
    QVERIFY(has<void (Channel::*)(bool)>(&Channel::controllerRegister));
    QVERIFY(has<void (Channel::*)(Tarvo::RemoteControlMessage)>(&Channel::remoteControl));
    QVERIFY(has<void (Channel::*)(QVariantMap, QVariant)>(&Channel::unhandledMessage));
}

void tst_ChannelInterface::slotsAreForDerivedClasses()
{
    QVERIFY(has<void (Channel::*)()>(&Derived::onConnected));
    QVERIFY(has<void (Channel::*)(bool)>(&Derived::onClosed));
    QVERIFY(has<void (Channel::*)()>(&Derived::onPingTimer));
}

void tst_ChannelInterface::membersFollowEachOther()
{
    const Channel channel(nullptr, u"http://localhost"_s, u"code"_s, u"token"_s, u"user"_s);
    QCOMPARE(outOfPlace(extents(channel), sizeof(QObject)), QString());
}

void tst_ChannelInterface::metaObject()
{
    compareMetaObject(Channel::staticMetaObject, "PresenterCollab: QObject", {
        "public signal void connectionClosed(bool bClosedForInactivity)",
        "public signal void learnerPollResponse(QString deviceId, QString pollId, int responseTime, QString answer)",
        "public signal void learnerJoin(Learner learner)",
        "public signal void learnerUnregister(QString deviceId)",
        "public signal void controllerRegister(bool isRegister)",
        "public signal void remoteControl(RemoteControlMessage signal)",
        "public signal void unhandledMessage(QVariantMap jsonMessage, QVariant data)",
        "protected slot void onConnected()",
        "protected slot void onClosed(bool bClosedForInactivity)",
        "protected slot void onPingTimer()",
    });
}
// clang-format on

QTEST_GUILESS_MAIN(tst_ChannelInterface)
#include "tst_channelinterface.moc"
