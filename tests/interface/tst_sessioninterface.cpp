// Session operations of PresenterClient by name.

#include "client/PresenterClient.h"

#include "interface/Functions.h"
#include "interface/Members.h"

#include <QtTest/QtTest>

using Client = PresenterClient;

namespace
{

// What derived classes may use.
struct Derived : Client {
    using Client::getCollabUrlResponse;
    using Client::getLearnersResponse;
    using Client::getTenantFeatureDetailsResponse;
    using Client::sessionJoinResponse;
    using Client::sessionStartSuccessResponse;
    using Client::sessionSuccessResponse;
};

} // namespace

QVector<Extent> extents(const Client &client);

// clang-format off
template struct Members<Client,
    member<QString>(&Client::registrationData), // the sign-in's last
    member<QString>(&Client::sessionCode),
    member<QString>(&Client::collabServerUrl),
    member<QStringList>(&Client::sockJSProtocols),
    member<QStringList>(&Client::overrideSockJSProtocols),
    member<QString>(&Client::sessionToken),
    member<QString>(&Client::userToken),
    member<QList<Tarvo::Learner>>(&Client::learners),
    member<PresenterCollab *>(&Client::collab)>;
// clang-format on

class tst_SessionInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void handlersAreForDerivedClasses();
    void membersFollowEachOther();
};

// clang-format off
void tst_SessionInterface::functions()
{
    QVERIFY(has<bool (Client::*)(QString)>(&Client::doStartSession));
    QVERIFY(has<bool (Client::*)(PresenterCollab **)>(&Client::startWebsocket));
    QVERIFY(has<void (Client::*)(QStringList)>(&Client::setSockJSOverrideProtocols));
    QVERIFY(has<bool (Client::*)()>(&Client::doGetLearners));
    QVERIFY(has<bool (Client::*)()>(&Client::doStopSession));
}

void tst_SessionInterface::handlersAreForDerivedClasses()
{
    QVERIFY(has<void (Client::*)(QString)>(&Derived::sessionSuccessResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::getCollabUrlResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::getTenantFeatureDetailsResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::sessionStartSuccessResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::sessionJoinResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::getLearnersResponse));
}
// clang-format on

void tst_SessionInterface::membersFollowEachOther()
{
    const Client client(nullptr, u"http://localhost"_s);
    QCOMPARE(outOfPlace(extents(client)), QString());
}

QTEST_GUILESS_MAIN(tst_SessionInterface)
#include "tst_sessioninterface.moc"
