// The shape of PresenterClient that hosts and derived classes are compiled against: every function by
// its pointer type, every member by name, type and order.

#include "client/PresenterClient.h"

#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>
#include <QtTest/QtTest>

#include <tuple>
#include <type_traits>
#include <vector>

namespace
{

template<typename Class, typename Type> Type memberType(Type Class::*);

// Naming private members is allowed in an explicit instantiation, and that alone hands them out.
template<typename Types, auto... Members> struct MembersKey {
    static_assert(std::is_same_v<std::tuple<decltype(memberType(Members))...>, Types>);
    friend std::vector<const void *> memberAddresses(const PresenterClient &client)
    {
        return {&(client.*Members)...};
    }
};
std::vector<const void *> memberAddresses(const PresenterClient &client);

using Callbacks = QMap<QNetworkReply *, PresenterClient::CALLBACKS>;
using C = PresenterClient;

template struct MembersKey<
    std::tuple<QTimer, bool, bool, QString, QString, QNetworkAccessManager *, Callbacks, QString,
               QString, QString,                                                       //
               QString, QString, QString, QString, QString, QString, QString, QString, //
               QString, QString, QStringList, QStringList, QString, QString, QList<Tarvo::Learner>,
               PresenterCollab *, //
               QString, QString>,
    &C::pingTimer, &C::loggedIn, &C::serverReachable, &C::protocolVersion, &C::serverUrl,
    &C::networkManager, &C::replyCallbacks, &C::lastErrorKey, &C::httpUser, &C::httpPassword,
    &C::userId, &C::password, &C::deviceId, &C::loginDeviceAccessToken, &C::oauthProvider,
    &C::oauthCode, &C::deviceAccessToken, &C::registrationData, &C::sessionCode,
    &C::collabServerUrl, &C::sockJSProtocols, &C::overrideSockJSProtocols, &C::sessionToken,
    &C::userToken, &C::learners, &C::collab, &C::resourceId, &C::resourcePath>;

using Success = void (C::*)(QString);
using Failure = void (C::*)(QNetworkReply *, QString);

static_assert(std::is_same_v<C::SuccessHandler, Success>);
static_assert(std::is_same_v<C::FailureHandler, Failure>);
static_assert(std::is_same_v<decltype(C::MULTIPART_BOUNDARY), const QString>);
static_assert(std::is_constructible_v<C, QObject *, QString>);

// A host that takes the address of a function names its type; a cast to another type does not compile.
const auto request =
    static_cast<void (C::*)(bool, const QUrl &, const QByteArray &, Success, Failure, bool)>(
        &C::doRequest);
const auto textRequest =
    static_cast<void (C::*)(bool, const QUrl &, const QString &, Success, Failure, bool)>(
        &C::doRequest);
const auto shortRequest =
    static_cast<void (C::*)(bool, const QUrl &, const QString &, Success)>(&C::doRequest);
const auto login = static_cast<bool (C::*)(QString, QString)>(&C::doLogin);
const auto deviceLogin = static_cast<bool (C::*)(QString, QString, QString)>(&C::doLogin);

template<auto Function, typename Type> constexpr bool is = std::is_same_v<decltype(Function), Type>;

static_assert(is<&C::isErrorInErrorMsgKeys, bool (C::*)(const QVariant &, QString &)>);
static_assert(is<&C::checkServer, bool (C::*)(const QString &, const QString &)>);
static_assert(is<&C::doLoginWithOAuth, bool (C::*)(QString, QString, QString &)>);
static_assert(is<&C::doGetAccessToken, QString (C::*)(QString, QString, QString, QString)>);
static_assert(
    is<&C::doGetOAuthAccessToken, QString (C::*)(QString, QString, QString, QString, QString &)>);
static_assert(is<&C::reLogin, void (C::*)()>);
static_assert(is<&C::sendKeepAlive, void (C::*)()>);
static_assert(is<&C::doGetUserName, QString (C::*)()>);
static_assert(is<&C::doLogout, bool (C::*)()>);
static_assert(is<&C::doStartSession, bool (C::*)(QString)>);
static_assert(is<&C::startWebsocket, bool (C::*)(PresenterCollab **)>);
static_assert(is<&C::setSockJSOverrideProtocols, void (C::*)(QStringList)>);
static_assert(is<&C::doGetLearners, bool (C::*)()>);
static_assert(is<&C::doStopSession, bool (C::*)()>);
static_assert(is<&C::doUploadResource, bool (C::*)(QString, QByteArray, QString *, QString *)>);
static_assert(is<&C::addMultipartValue, QString (C::*)(QString, QString, bool)>);
static_assert(is<&C::LzmaDecompress64, int (C::*)(QString, QString *)>);
static_assert(is<&C::requestProcessed, void (C::*)()>);

// What a derived class may use, as its own handlers and slots do.
class Derived : public PresenterClient
{
    static_assert(is<&Derived::slotRequestFinished, void (C::*)(QNetworkReply *)>);
    static_assert(is<&Derived::onPingTimer, void (C::*)()>);
    static_assert(is<&Derived::slotSslErrors, void (C::*)(QNetworkReply *, QList<QSslError>)>);
    static_assert(
        is<&Derived::authenticationRequired, void (C::*)(QNetworkReply *, QAuthenticator *)>);
    static_assert(is<&Derived::loginFailureResponse, Failure>);
    static_assert(is<&Derived::sessionStartFailureResponse, Failure>);
    static_assert(is<&Derived::sessionFailureResponse, Failure>);
    static_assert(is<&Derived::serverCheckResponse, Success>);
    static_assert(is<&Derived::loginSuccessResponse, Success>);
    static_assert(is<&Derived::getDeviceAccessTokenResponse, Success>);
    static_assert(is<&Derived::userNameResponse, Success>);
    static_assert(is<&Derived::logoutResponse, Success>);
    static_assert(is<&Derived::sessionSuccessResponse, Success>);
    static_assert(is<&Derived::getCollabUrlResponse, Success>);
    static_assert(is<&Derived::getTenantFeatureDetailsResponse, Success>);
    static_assert(is<&Derived::sessionStartSuccessResponse, Success>);
    static_assert(is<&Derived::sessionJoinResponse, Success>);
    static_assert(is<&Derived::getLearnersResponse, Success>);
    static_assert(is<&Derived::uploadResourceResponse, Success>);
};

} // namespace

class tst_client_interface : public QObject
{
    Q_OBJECT

private slots:
    void membersStandInOrder();
    void overloadsAreTold();
    void handlersOfARequestAreAPlainRecord();
};

void tst_client_interface::membersStandInOrder()
{
    const PresenterClient client(nullptr, QString());
    const std::vector<const void *> addresses = memberAddresses(client);
    QCOMPARE(addresses.size(), std::size_t(28));
    QVERIFY(std::is_sorted(addresses.begin(), addresses.end()));
}

void tst_client_interface::overloadsAreTold()
{
    QVERIFY(request && textRequest && shortRequest && login && deviceLogin);
}

void tst_client_interface::handlersOfARequestAreAPlainRecord()
{
    QVERIFY(std::is_aggregate_v<PresenterClient::CALLBACKS>);
    const auto [success, failure] = PresenterClient::CALLBACKS{nullptr, nullptr};
    QVERIFY((std::is_same_v<decltype(success), const Success>));
    QVERIFY((std::is_same_v<decltype(failure), const Failure>));
    QVERIFY(!success && !failure);
}

QTEST_GUILESS_MAIN(tst_client_interface)
#include "tst_client_interface.moc"
