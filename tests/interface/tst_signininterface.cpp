// Sign-in and account operations of PresenterClient by name.

#include "client/PresenterClient.h"

#include "interface/Functions.h"
#include "interface/Members.h"

#include <QtTest/QtTest>

using Client = PresenterClient;

namespace
{

// What derived classes may use.
struct Derived : Client {
    using Client::getDeviceAccessTokenResponse;
    using Client::loginSuccessResponse;
    using Client::logoutResponse;
    using Client::onPingTimer;
    using Client::serverCheckResponse;
    using Client::userNameResponse;
};

} // namespace

QVector<Extent> extents(const Client &client);

// clang-format off
template struct Members<Client,
    member<QString>(&Client::httpPassword), // the request engine's last
    member<QString>(&Client::userId),
    member<QString>(&Client::password),
    member<QString>(&Client::deviceId),
    member<QString>(&Client::loginDeviceAccessToken),
    member<QString>(&Client::oauthProvider),
    member<QString>(&Client::oauthCode),
    member<QString>(&Client::deviceAccessToken),
    member<QString>(&Client::registrationData)>;
// clang-format on

class tst_SignInInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void handlersAreForDerivedClasses();
    void membersFollowEachOther();
};

// clang-format off
void tst_SignInInterface::functions()
{
    QVERIFY(has<bool (Client::*)(const QString &, const QString &)>(&Client::checkServer));
    QVERIFY(has<bool (Client::*)(QString, QString)>(&Client::doLogin));
    QVERIFY(has<bool (Client::*)(QString, QString, QString)>(&Client::doLogin));
    QVERIFY(has<bool (Client::*)(QString, QString, QString &)>(&Client::doLoginWithOAuth));
    QVERIFY(has<QString (Client::*)(QString, QString, QString, QString)>(&Client::doGetAccessToken));
    QVERIFY(has<QString (Client::*)(QString, QString, QString, QString, QString &)>(&Client::doGetOAuthAccessToken));
    QVERIFY(has<void (Client::*)()>(&Client::reLogin));
    QVERIFY(has<void (Client::*)()>(&Client::sendKeepAlive));
    QVERIFY(has<void (Client::*)()>(&Derived::onPingTimer));
    QVERIFY(has<QString (Client::*)()>(&Client::doGetUserName));
    QVERIFY(has<bool (Client::*)()>(&Client::doLogout));
}

void tst_SignInInterface::handlersAreForDerivedClasses()
{
    QVERIFY(has<void (Client::*)(QString)>(&Derived::serverCheckResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::loginSuccessResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::getDeviceAccessTokenResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::userNameResponse));
    QVERIFY(has<void (Client::*)(QString)>(&Derived::logoutResponse));
}
// clang-format on

void tst_SignInInterface::membersFollowEachOther()
{
    const Client client(nullptr, u"http://localhost"_s);
    QCOMPARE(outOfPlace(extents(client)), QString());
}

QTEST_GUILESS_MAIN(tst_SignInInterface)
#include "tst_signininterface.moc"
