#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/KeepAliveTimer.h"
#include "client/RestService.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

namespace
{

const QByteArray CHECK = "/vantora";
const QByteArray LOGIN = "/vantora/login/submit";
const QByteArray REGISTER = "/vantora/register/oauth/submit";
const QByteArray KEEP_ALIVE = "/vantora/login/keepSessionAlive";
const QByteArray USER = "/vantora/login/user";
const QByteArray LOGOUT = "/vantora/login/logout";

const QByteArray ANN = R"({"userId":"ann","password":"pw","sourceSystem":"Corvel"})";
const QByteArray DEVICE = R"("deviceId":"d","deviceName":"n",)";
const QByteArray SUCCESS = R"({"success":true,"infoMsgs":["login.success"]})";
const QByteArray WRONG_PASSWORD = R"({"errorMsgKeys":["login.error.password"]})";
const QByteArray NO_JSON = "<html>success</html>";
bool keepAliveRuns(PresenterClient &client)
{
    return keepAliveTimer(client).isActive();
}

// A client of `service` that is signed in as ann with a password.
class SignedIn : public PresenterClient
{
public:
    explicit SignedIn(RestService &service) : PresenterClient(nullptr, service.url())
    {
        service.expect(LOGIN, ANN).json(SUCCESS);
        if (!doLogin(u"ann"_s, u"pw"_s))
            qFatal("not signed in");
    }
};

} // namespace

class tst_SignIn : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { service.reset(new RestService); }
    void cleanup() { QCOMPARE(service->faults(), QStringList()); }

    void checkFindsAServiceThatAnswersWithJson_data();
    void checkFindsAServiceThatAnswersWithJson();
    void failedCheckForgetsTheLastError();
    void followedRedirectCountsAsReachable();
    void emptyHttpCredentialsKeepTheEarlierOnes();

    void passwordSignInSendsTheCredentials_data();
    void passwordSignInSendsTheCredentials();
    void deviceSignInSendsTheToken();
    void replyDecidesWhetherSignedIn_data();
    void replyDecidesWhetherSignedIn();
    void refusedSignInTellsTheErrorKey_data();
    void refusedSignInTellsTheErrorKey();
    void newSignInSignsOutFirst();
    void newSignInForgetsTheLastError();
    void redirectedSignInFailsAndIsNotRepeated();

    void oauthSignInSendsCodeAndCallback_data();
    void oauthSignInSendsCodeAndCallback();
    void oauthReplyMayAskForRegistration_data();
    void oauthReplyMayAskForRegistration();
    void registrationIsAskedForOnlyInTheKeys();
    void registrationIsAskedForOnlyAfterOAuth();
    void registrationIsSubmittedWithTheSourceSystem_data();
    void registrationIsSubmittedWithTheSourceSystem();
    void registrationIsAskedForAndSubmitted();

    void accessTokenIsReturned();
    void accessTokenSendsValuesAsTheyAre();
    void oauthAccessTokenIsReturned();
    void oauthAccessTokenSendsValuesAsTheyAre();
    void failedTokenRequestReturnsTheEarlierToken_data();
    void failedTokenRequestReturnsTheEarlierToken();
    void missingTokenMeansRegistration_data();
    void missingTokenMeansRegistration();
    void laterTokenStillComesWithTheEarlierRegistration();
    void tokenRequestsClearNothingAndStartNoKeepAlive();

    void signsInAgainWithThePasswordFirst();
    void signsInAgainWithTheDeviceToken();
    void signsInAgainThroughOAuth();
    void signsInAgainWithNothingStoredSendsNothing();
    void passwordOfATokenRequestSignsInAgain();

    void keepAliveRunsEveryMinuteAfterSignIn();
    void keepAliveTimerSendsKeepAlives();
    void keepAliveRefreshesReachability();
    void keepAliveDoesNotSignOut();

    void userNameIsReturnedAndSignsIn();
    void userNameReplyWithoutIdSignsOut_data();
    void userNameReplyWithoutIdSignsOut();
    void failedUserNameRequestChangesNothing();

    void logoutWithoutSignInSendsNothing();
    void logoutWithoutSignInStopsTheKeepAlive();
    void logoutSignsOutOnAnyJson();
    void failedLogoutLeavesSignedIn_data();
    void failedLogoutLeavesSignedIn();

private:
    // A sign-in with code "c" through provider "x", or the request for a token.
    RestExchange &expectOAuth(const QByteArray &deviceFields = {})
    {
        return service->expect("/vantora/login/oauth/x/callback",
                               "{\"code\":\"c\",\"callbackUrl\":\"" + service->url().toUtf8()
                                   + "\"," + deviceFields + "\"sourceSystem\":\"Corvel\"}");
    }

    std::unique_ptr<RestService> service;
};

// ---- Check ----------------------------------------------------------------------------------------

void tst_SignIn::checkFindsAServiceThatAnswersWithJson_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<bool>("reachable");
    QTest::newRow("object") << QByteArray("200 OK") << QByteArray("{}") << true;
    QTest::newRow("list") << QByteArray("200 OK") << QByteArray("[1]") << true;
    QTest::newRow("failure told in JSON")
        << QByteArray("200 OK") << QByteArray(R"({"success":false})") << true;
    QTest::newRow("empty") << QByteArray("200 OK") << QByteArray() << false;
    QTest::newRow("html") << QByteArray("200 OK") << NO_JSON << false;
    QTest::newRow("cut off") << QByteArray("200 OK") << QByteArray("{\"a\":") << false;
    QTest::newRow("bare text") << QByteArray("200 OK") << QByteArray("\"a\"") << false;
    QTest::newRow("error status") << QByteArray("500 Broken") << QByteArray("{}") << false;
}

void tst_SignIn::checkFindsAServiceThatAnswersWithJson()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    QFETCH(bool, reachable);
    PresenterClient client(nullptr, service->url());
    service->expect(CHECK).json("{}");
    QVERIFY(client.checkServer(QString(), QString()));
    QVERIFY(client.isServerReachable());

    service->expect(CHECK).status(status, body);
    QCOMPARE(client.checkServer(QString(), QString()), reachable);
    QCOMPARE(client.isServerReachable(), reachable);
    QVERIFY(!client.isLoggedIn());
    QVERIFY(client.getLastErrorKey().isNull());
}

void tst_SignIn::failedCheckForgetsTheLastError()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).status("401 No", WRONG_PASSWORD);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QCOMPARE(client.getLastErrorKey(), u"login.error.password"_s);

    service->expect(CHECK).status("500 Broken", WRONG_PASSWORD);
    QVERIFY(!client.checkServer(QString(), QString()));
    QVERIFY(client.getLastErrorKey().isNull());
}

void tst_SignIn::followedRedirectCountsAsReachable()
{
    PresenterClient client(nullptr, service->url());
    service->expect(CHECK).redirect("https://school.example:8443/x");
    QVERIFY(client.checkServer(QString(), QString()));
    QCOMPARE(client.getServerUrl(), u"https://school.example:8443"_s);
}

void tst_SignIn::emptyHttpCredentialsKeepTheEarlierOnes()
{
    const QByteArray challenge = "WWW-Authenticate: Basic realm=\"school\"\r\n";
    PresenterClient client(nullptr, service->url());
    service->expect(CHECK).json("{}");
    QVERIFY(client.checkServer(u"user"_s, u"word"_s));
    service->expect(CHECK).json("{}");
    QVERIFY(client.checkServer(QString(), QString()));
    service->expect(CHECK).json("{}");
    QVERIFY(client.checkServer(u"other"_s, QString()));

    service->expect(CHECK).status("401 Who", "{}", challenge);
    service->expect(CHECK).json("{}");
    QVERIFY(client.checkServer(QString(), QString()));
    QCOMPARE(service->lastRequest().headerLines("authorization"),
             QList<QByteArray>{"Authorization: Basic " + QByteArray("other:word").toBase64()});
}

// ---- Password and device token --------------------------------------------------------------------

void tst_SignIn::passwordSignInSendsTheCredentials_data()
{
    QTest::addColumn<QString>("userId");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("plain") << "ann"
                           << "pw" << ANN;
    QTest::newRow("empty") << ""
                           << ""
                           << QByteArray(R"({"userId":"","password":"","sourceSystem":"Corvel"})");
    QTest::newRow("percent signs")
        << "%1%0"
        << "100%25 %1 %2 %"
        << QByteArray(R"({"userId":"%1%0","password":"100%25 %1 %2 %","sourceSystem":"Corvel"})");
    QTest::newRow("quotes are not escaped")
        << "ann"
        << "p\"w\\" << QByteArray(R"({"userId":"ann","password":"p"w\","sourceSystem":"Corvel"})");
    QTest::newRow("utf-8") << u"änn"_s << u"🍎"_s
                           << QByteArray("{\"userId\":\"\xc3\xa4nn\",\"password\":"
                                         "\"\xf0\x9f\x8d\x8e\",\"sourceSystem\":\"Corvel\"}");
}

void tst_SignIn::passwordSignInSendsTheCredentials()
{
    QFETCH(QString, userId);
    QFETCH(QString, password);
    QFETCH(QByteArray, body);
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, body).json(SUCCESS);
    QVERIFY(client.doLogin(userId, password));
    QVERIFY(client.isLoggedIn());
}

void tst_SignIn::deviceSignInSendsTheToken()
{
    PresenterClient client(nullptr, service->url());
    service
        ->expect(
            LOGIN,
            R"({"userId":"a%1","deviceId":"d%2","deviceAccessToken":"t%0%","sourceSystem":"Corvel"})")
        .json(SUCCESS);
    QVERIFY(client.doLogin(u"a%1"_s, u"d%2"_s, u"t%0%"_s));
    QVERIFY(client.isLoggedIn());
}

void tst_SignIn::replyDecidesWhetherSignedIn_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("signedIn");
    QTest::newRow("in the messages") << QByteArray(R"({"infoMsgs":["login.success"]})") << true;
    QTest::newRow("in the keys") << QByteArray(R"({"infoMsgKeys":["login.success"]})") << true;
    QTest::newRow("in the keys, other messages")
        << QByteArray(R"({"infoMsgs":["Welcome"],"infoMsgKeys":["a.success.b"]})") << true;
    QTest::newRow("in later elements")
        << QByteArray(R"({"infoMsgs":["a","success"],"infoMsgKeys":["b","success"]})") << false;
    QTest::newRow("in capitals") << QByteArray(
        R"({"infoMsgs":["Success"],"infoMsgKeys":["SUCCESS"]})")
                                 << false;
    QTest::newRow("empty lists") << QByteArray(R"({"infoMsgs":[],"infoMsgKeys":[]})") << false;
    QTest::newRow("bare text is no list")
        << QByteArray(R"({"infoMsgs":"success","infoMsgKeys":"success"})") << false;
    QTest::newRow("success flag alone") << QByteArray(R"({"success":true})") << false;
    QTest::newRow("wrong kinds") << QByteArray(
        R"({"infoMsgs":[{"success":1}],"infoMsgKeys":[null]})")
                                 << false;
    QTest::newRow("list at the top") << QByteArray(R"(["success"])") << false;
    QTest::newRow("no json") << NO_JSON << false;
    QTest::newRow("empty") << QByteArray() << false;
    QTest::newRow("registration asked of a password")
        << QByteArray(R"({"infoMsgKeys":["success.registration"]})") << true;
}

void tst_SignIn::replyDecidesWhetherSignedIn()
{
    QFETCH(QByteArray, reply);
    QFETCH(bool, signedIn);
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).json(reply);
    QCOMPARE(client.doLogin(u"ann"_s, u"pw"_s), signedIn);
    QCOMPARE(client.isLoggedIn(), signedIn);
    QCOMPARE(keepAliveRuns(client), signedIn);
    QVERIFY(client.getLastErrorKey().isNull());

    service
        ->expect(LOGIN,
                 R"({"userId":"a","deviceId":"d","deviceAccessToken":"t","sourceSystem":"Corvel"})")
        .json(reply);
    QCOMPARE(client.doLogin(u"a"_s, u"d"_s, u"t"_s), signedIn);
}

void tst_SignIn::refusedSignInTellsTheErrorKey_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QString>("key");
    QTest::newRow("error key") << WRONG_PASSWORD << "login.error.password";
    QTest::newRow("no error key") << QByteArray(R"({"errorMsgKeys":["warning"]})") << QString();
    QTest::newRow("success in a failed reply")
        << QByteArray(R"({"infoMsgs":["success"]})") << QString();
    QTest::newRow("no json") << NO_JSON << QString();
    QTest::newRow("empty") << QByteArray() << QString();
}

void tst_SignIn::refusedSignInTellsTheErrorKey()
{
    QFETCH(QByteArray, body);
    QFETCH(QString, key);
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).status("403 No", body);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QVERIFY(!client.isLoggedIn());
    QVERIFY(!keepAliveRuns(client));
    QCOMPARE(client.getLastErrorKey(), key);
    QCOMPARE(client.getLastErrorKey().isNull(), key.isEmpty());
}

void tst_SignIn::newSignInSignsOutFirst()
{
    SignedIn client(*service);
    service->expect(LOGIN, ANN).json(NO_JSON);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QVERIFY(!client.isLoggedIn());
    QVERIFY(keepAliveRuns(client)); // only signing out stops it
}

void tst_SignIn::newSignInForgetsTheLastError()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    service->expect(LOGIN, ANN).json(NO_JSON);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QVERIFY(client.getLastErrorKey().isNull());
}

void tst_SignIn::redirectedSignInFailsAndIsNotRepeated()
{
    RestService present;
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).redirect(present.url().toUtf8() + LOGIN);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QVERIFY(client.getLastErrorKey().isNull());
    QVERIFY(client.isServerReachable());
    QCOMPARE(client.getServerUrl(), present.url());

    present.expect(LOGIN, ANN).json(R"({"infoMsgs":["success"]})");
    QVERIFY(client.doLogin(u"ann"_s, u"pw"_s));
    QCOMPARE(present.faults(), QStringList());
}

// ---- OAuth ----------------------------------------------------------------------------------------

void tst_SignIn::oauthSignInSendsCodeAndCallback_data()
{
    QTest::addColumn<QString>("provider");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("sentCode");
    QTest::addColumn<QByteArray>("callbackEnd");
    QTest::newRow("plain") << "example"
                           << "c0de" << QByteArray("/vantora/login/oauth/example/callback")
                           << QByteArray("c0de") << QByteArray();
    QTest::newRow("address with a slash")
        << "facebook"
        << "c" << QByteArray("/vantora/login/oauth/facebook/callback") << QByteArray("c")
        << QByteArray("/");
    QTest::newRow("another spelling of it")
        << "Facebook"
        << "c" << QByteArray("/vantora/login/oauth/Facebook/callback") << QByteArray("c")
        << QByteArray();
    QTest::newRow("percent signs in the code")
        << "x"
        << "4%2F%1%" << QByteArray("/vantora/login/oauth/x/callback") << QByteArray("4%2F%1%")
        << QByteArray();
    QTest::newRow("encoded provider") << "a%20b%2F"
                                      << "c" << QByteArray("/vantora/login/oauth/a%20b%2F/callback")
                                      << QByteArray("c") << QByteArray();
    QTest::newRow("bare percent sign in the provider")
        << "50%1"
        << "c" << QByteArray("/vantora/login/oauth/50%251/callback") << QByteArray("c")
        << QByteArray();
}

void tst_SignIn::oauthSignInSendsCodeAndCallback()
{
    QFETCH(QString, provider);
    QFETCH(QString, code);
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, sentCode);
    QFETCH(QByteArray, callbackEnd);
    PresenterClient client(nullptr, service->url());
    service
        ->expect(path,
                 "{\"code\":\"" + sentCode + "\",\"callbackUrl\":\"" + service->url().toUtf8()
                     + callbackEnd + "\",\"sourceSystem\":\"Corvel\"}")
        .json(SUCCESS);
    QString registration;
    QVERIFY(client.doLoginWithOAuth(provider, code, registration));
    QVERIFY(client.isLoggedIn());
    QVERIFY(keepAliveRuns(client));
    QVERIFY(registration.isEmpty());
}

void tst_SignIn::oauthReplyMayAskForRegistration_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("data");
    QTest::newRow("data last") << QByteArray(
        R"({"infoMsgKeys":["success.registration"],"data":{"name":"n","age":5}})")
                               << R"({"name":"n","age":5})";
    QTest::newRow("the rest of the reply belongs to it")
        << QByteArray(R"({"data":{"name":"n"},"infoMsgKeys":["registration.success"]})")
        << R"({"name":"n"},"infoMsgKeys":["registration.success"])";
    QTest::newRow("first of several marks")
        << QByteArray(R"({"infoMsgKeys":["success registration"],"data":{"data":1}})")
        << R"({"data":1})";
    QTest::newRow("last character goes, whatever it is")
        << QByteArray("{\"infoMsgKeys\":[\"success.registration\"],\"data\":{}}\n") << "{}}";
    QTest::newRow("without the mark it starts at position 6")
        << QByteArray(R"({"infoMsgKeys":["success.registration"]})")
        << R"(MsgKeys":["success.registration"])";
    QTest::newRow("a blank makes it another mark")
        << QByteArray(R"({"infoMsgKeys":["success.registration"],"data" :{}})")
        << R"(MsgKeys":["success.registration"],"data" :{})";
    QTest::newRow("letters count, not bytes") << QByteArray(
        "{\"\xc3\xa4\":1,\"infoMsgKeys\":[\"success.registration\"],\"data\":{\"\xc3\xb6\":2}}")
                                              << u"{\"ö\":2}"_s;
}

void tst_SignIn::oauthReplyMayAskForRegistration()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, data);
    PresenterClient client(nullptr, service->url());
    expectOAuth().json(reply);
    QString registration;
    QVERIFY(!client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
    QVERIFY(!client.isLoggedIn());
    QVERIFY(!keepAliveRuns(client));
    QCOMPARE(registration, data);
}

void tst_SignIn::registrationIsAskedForOnlyInTheKeys()
{
    PresenterClient client(nullptr, service->url());
    expectOAuth().json(
        R"({"infoMsgs":["success.registration"],"infoMsgKeys":["success.registration"],"data":{}})");
    QString registration;
    QVERIFY(client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
    QVERIFY(registration.isEmpty());
}

void tst_SignIn::registrationIsAskedForOnlyAfterOAuth()
{
    const QByteArray reply = R"({"infoMsgKeys":["success.registration"],"data":{"a":1}})";
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).json(reply);
    QVERIFY(client.doLogin(u"ann"_s, u"pw"_s));

    // An empty code is no OAuth sign-in.
    const QByteArray callback = service->url().toUtf8();
    service
        ->expect("/vantora/login/oauth/x/callback",
                 "{\"code\":\"\",\"callbackUrl\":\"" + callback + "\",\"sourceSystem\":\"Corvel\"}")
        .json(reply);
    QString registration;
    QVERIFY(client.doLoginWithOAuth(u"x"_s, QString(), registration));
    QVERIFY(registration.isEmpty());

    // Once there was one, it counts for later sign-ins, too.
    expectOAuth().json(SUCCESS);
    QVERIFY(client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
    service->expect(LOGIN, ANN).json(reply);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QVERIFY(!client.isLoggedIn());
}

void tst_SignIn::registrationIsSubmittedWithTheSourceSystem_data()
{
    QTest::addColumn<QString>("registration");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("object") << R"({"name":"n"})"
                            << QByteArray(R"({"name":"n","sourceSystem":"Corvel"})");
    QTest::newRow("after the last quote")
        << R"({"name":"n","age":5})"
        << QByteArray(R"({"name":"n","age","sourceSystem":"Corvel":5})");
    QTest::newRow("no quote") << "{}" << QByteArray(R"(,"sourceSystem":"Corvel"{})");
    QTest::newRow("percent signs")
        << R"({"name":"%0%1%25"})" << QByteArray(R"({"name":"%0%1%25","sourceSystem":"Corvel"})");
    QTest::newRow("quote at the end") << R"("n")" << QByteArray(R"("n","sourceSystem":"Corvel")");
    QTest::newRow("utf-8") << u"{\"n\":\"ä\"}"_s
                           << QByteArray("{\"n\":\"\xc3\xa4\",\"sourceSystem\":\"Corvel\"}");
}

void tst_SignIn::registrationIsSubmittedWithTheSourceSystem()
{
    QFETCH(QString, registration);
    QFETCH(QByteArray, body);
    PresenterClient client(nullptr, service->url());
    service->expect(REGISTER, body).json(SUCCESS);
    QVERIFY(client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
    QVERIFY(keepAliveRuns(client));
    QVERIFY(registration.isEmpty());
}

void tst_SignIn::registrationIsAskedForAndSubmitted()
{
    PresenterClient client(nullptr, service->url());
    expectOAuth().json(R"({"infoMsgKeys":["login.success.registration"],"data":{"name":"n"}})");
    QString registration;
    QVERIFY(!client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
    QCOMPARE(registration, uR"({"name":"n"})"_s);

    service->expect(REGISTER, R"({"name":"n","sourceSystem":"Corvel"})")
        .status("400 No", R"({"errorMsgKeys":["register.error.name"]})");
    QVERIFY(!client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
    QVERIFY(registration.isEmpty());
    QCOMPARE(client.getLastErrorKey(), u"register.error.name"_s);

    registration = uR"({"name":"m"})"_s;
    service->expect(REGISTER, R"({"name":"m","sourceSystem":"Corvel"})").json(SUCCESS);
    QVERIFY(client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
    QVERIFY(registration.isEmpty());
    QVERIFY(client.getLastErrorKey().isNull());
}

// ---- Access tokens --------------------------------------------------------------------------------

namespace
{

const QByteArray TOKEN_REQUEST =
    R"({"userId":"u","password":"p","deviceId":"d","deviceName":"n","sourceSystem":"Corvel"})";

QString requestToken(PresenterClient &client)
{
    return client.doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s);
}

} // namespace

void tst_SignIn::accessTokenIsReturned()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, TOKEN_REQUEST).json(R"({"data":{"deviceAccessToken":"t%1"}})");
    QCOMPARE(requestToken(client), u"t%1"_s);
    QVERIFY(client.isLoggedIn());
}

void tst_SignIn::accessTokenSendsValuesAsTheyAre()
{
    PresenterClient client(nullptr, service->url());
    service
        ->expect(
            LOGIN,
            R"({"userId":"%1","password":"%0%2","deviceId":"%3%%","deviceName":""q"","sourceSystem":"Corvel"})")
        .json(R"({"data":{"deviceAccessToken":"t"}})");
    QCOMPARE(client.doGetAccessToken(u"%1"_s, u"%0%2"_s, u"%3%%"_s, u"\"q\""_s), u"t"_s);
}

void tst_SignIn::oauthAccessTokenIsReturned()
{
    PresenterClient client(nullptr, service->url());
    service
        ->expect("/vantora/login/oauth/facebook/callback",
                 "{\"code\":\"c\",\"callbackUrl\":\"" + service->url().toUtf8()
                     + "/\",\"deviceId\":\"d\",\"deviceName\":\"n\",\"sourceSystem\":\"Corvel\"}")
        .json(R"({"data":{"deviceAccessToken":"t"}})");
    QString registration = u"earlier"_s;
    QCOMPARE(client.doGetOAuthAccessToken(u"facebook"_s, u"c"_s, u"d"_s, u"n"_s, registration),
             u"t"_s);
    QVERIFY(registration.isEmpty());
    QVERIFY(client.isLoggedIn());
}

void tst_SignIn::oauthAccessTokenSendsValuesAsTheyAre()
{
    PresenterClient client(nullptr, service->url());
    service
        ->expect(
            "/vantora/login/oauth/x%20y/callback",
            "{\"code\":\"%1\",\"callbackUrl\":\"" + service->url().toUtf8()
                + "\",\"deviceId\":\"%0%3\",\"deviceName\":\"%2%\",\"sourceSystem\":\"Corvel\"}")
        .json(R"({"data":{"deviceAccessToken":"t"}})");
    QString registration;
    QCOMPARE(client.doGetOAuthAccessToken(u"x%20y"_s, u"%1"_s, u"%0%3"_s, u"%2%"_s, registration),
             u"t"_s);
}

void tst_SignIn::failedTokenRequestReturnsTheEarlierToken_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("error status") << QByteArray("403 No") << WRONG_PASSWORD;
    QTest::newRow("no json") << QByteArray("200 OK") << NO_JSON;
}

void tst_SignIn::failedTokenRequestReturnsTheEarlierToken()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, TOKEN_REQUEST).status(status, body);
    QVERIFY(requestToken(client).isNull());
    QVERIFY(!client.isLoggedIn());

    service->expect(LOGIN, TOKEN_REQUEST).json(R"({"data":{"deviceAccessToken":"t"}})");
    QCOMPARE(requestToken(client), u"t"_s);
    service->expect(LOGIN, TOKEN_REQUEST).status(status, body);
    QCOMPARE(requestToken(client), u"t"_s);
    QVERIFY(client.isLoggedIn());
    QVERIFY(client.getLastErrorKey().isNull()); // no failure handler
}

void tst_SignIn::missingTokenMeansRegistration_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("registration");
    QTest::newRow("no token") << QByteArray(R"({"data":{"name":"n"}})") << R"({"name":"n"})";
    QTest::newRow("empty token") << QByteArray(R"({"data":{"deviceAccessToken":""}})")
                                 << R"({"deviceAccessToken":""})";
    QTest::newRow("null token") << QByteArray(R"({"data":{"deviceAccessToken":null}})")
                                << R"({"deviceAccessToken":null})";
    QTest::newRow("no data") << QByteArray(R"({"success":true})") << R"(ess":true)";
    QTest::newRow("too short for any") << QByteArray("{}") << QString();
    QTest::newRow("exactly nothing left") << QByteArray(R"({"a":1})") << QString();
    QTest::newRow("one letter left") << QByteArray(R"({"ab":1})") << "1";
}

void tst_SignIn::missingTokenMeansRegistration()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, registration);
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, TOKEN_REQUEST).json(R"({"data":{"deviceAccessToken":"t"}})");
    QCOMPARE(requestToken(client), u"t"_s);

    expectOAuth(DEVICE).json(reply);
    QString asked = u"earlier"_s;
    QVERIFY(client.doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, asked).isEmpty());
    QCOMPARE(asked, registration);
    QVERIFY(!client.isLoggedIn());
}

void tst_SignIn::laterTokenStillComesWithTheEarlierRegistration()
{
    PresenterClient client(nullptr, service->url());
    QString asked;
    expectOAuth(DEVICE).json(R"({"data":{"name":"n"}})");
    client.doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, asked);
    QCOMPARE(asked, uR"({"name":"n"})"_s);

    asked.clear();
    expectOAuth(DEVICE).json(R"({"data":{"deviceAccessToken":"t"}})");
    QCOMPARE(client.doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, asked), u"t"_s);
    QCOMPARE(asked, uR"({"name":"n"})"_s); // only an OAuth sign-in clears it
}

void tst_SignIn::tokenRequestsClearNothingAndStartNoKeepAlive()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));

    service->expect(LOGIN, TOKEN_REQUEST).json(R"({"data":{"deviceAccessToken":"t"}})");
    QCOMPARE(requestToken(client), u"t"_s);
    QCOMPARE(client.getLastErrorKey(), u"login.error.password"_s);
    QVERIFY(!keepAliveRuns(client));

    QString registration;
    expectOAuth(DEVICE).json(R"({"data":{"deviceAccessToken":"t"}})");
    client.doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, registration);
    QCOMPARE(client.getLastErrorKey(), u"login.error.password"_s);
    QVERIFY(!keepAliveRuns(client));
}

// ---- Signing in again -----------------------------------------------------------------------------

void tst_SignIn::signsInAgainWithThePasswordFirst()
{
    SignedIn client(*service);
    QString registration;
    service->expect(
        LOGIN,
        R"({"userId":"bob","deviceId":"d","deviceAccessToken":"t","sourceSystem":"Corvel"})");
    client.doLogin(u"bob"_s, u"d"_s, u"t"_s);
    expectOAuth();
    client.doLoginWithOAuth(u"x"_s, u"c"_s, registration);
    QVERIFY(!client.isLoggedIn());

    service->expect(LOGIN, R"({"userId":"bob","password":"pw","sourceSystem":"Corvel"})")
        .json(SUCCESS);
    client.reLogin();
    QVERIFY(client.isLoggedIn());
}

void tst_SignIn::signsInAgainWithTheDeviceToken()
{
    const QByteArray body =
        R"({"userId":"bob","deviceId":"d%1","deviceAccessToken":"t%2","sourceSystem":"Corvel"})";
    PresenterClient client(nullptr, service->url());
    QString registration;
    expectOAuth();
    client.doLoginWithOAuth(u"x"_s, u"c"_s, registration);
    service->expect(LOGIN, body);
    client.doLogin(u"bob"_s, u"d%1"_s, u"t%2"_s);
    QVERIFY(!client.isLoggedIn());

    service->expect(LOGIN, body).json(SUCCESS);
    client.reLogin();
    QVERIFY(client.isLoggedIn());
    QVERIFY(keepAliveRuns(client));
}

void tst_SignIn::signsInAgainThroughOAuth()
{
    PresenterClient client(nullptr, service->url());
    QString registration;
    expectOAuth().json(SUCCESS);
    QVERIFY(client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));

    client.reLogin(); // no user id is known yet
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    QCOMPARE(client.doGetUserName(), u"ann"_s);
    expectOAuth().json(R"({"infoMsgKeys":["success.registration"],"data":{}})");
    client.reLogin();
    QVERIFY(!client.isLoggedIn());
}

void tst_SignIn::signsInAgainWithNothingStoredSendsNothing()
{
    PresenterClient client(nullptr, service->url());
    client.reLogin();
    QVERIFY(!client.isLoggedIn());

    // A user id without any credentials.
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    QCOMPARE(client.doGetUserName(), u"ann"_s);
    client.reLogin();
    QCOMPARE(service->requests().size(), 1);
}

void tst_SignIn::passwordOfATokenRequestSignsInAgain()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, TOKEN_REQUEST).json(R"({"data":{"deviceAccessToken":"t"}})");
    QCOMPARE(requestToken(client), u"t"_s);
    service->expect(LOGIN, R"({"userId":"u","password":"p","sourceSystem":"Corvel"})")
        .json(SUCCESS);
    client.reLogin();
    QVERIFY(client.isLoggedIn());
}

// ---- Keep-alive -----------------------------------------------------------------------------------

void tst_SignIn::keepAliveRunsEveryMinuteAfterSignIn()
{
    SignedIn client(*service);
    QCOMPARE(keepAliveTimer(client).interval(), 60000);
    QVERIFY(keepAliveTimer(client).isActive());
    QVERIFY(!keepAliveTimer(client).isSingleShot());

    service->expect(LOGOUT, "{}");
    QVERIFY(client.doLogout());
    QVERIFY(!keepAliveTimer(client).isActive());
}

void tst_SignIn::keepAliveTimerSendsKeepAlives()
{
    SignedIn client(*service);
    service->expect(KEEP_ALIVE);
    service->expect(KEEP_ALIVE).meanwhile([&] { keepAliveTimer(client).stop(); });
    keepAliveTimer(client).setInterval(1);
    QTRY_COMPARE(service->requests().size(), 3);
    QTRY_VERIFY(client.isServerReachable());
}

void tst_SignIn::keepAliveRefreshesReachability()
{
    PresenterClient client(nullptr, service->url());
    service->expect(KEEP_ALIVE).json("{}");
    client.sendKeepAlive();
    QVERIFY(client.isServerReachable());
    service->expect(KEEP_ALIVE).status("500 Broken", "{}"); // no failure handler
    client.sendKeepAlive();
    QVERIFY(client.isServerReachable());
    service->expect(KEEP_ALIVE).json(NO_JSON);
    client.sendKeepAlive();
    QVERIFY(!client.isServerReachable());
}

void tst_SignIn::keepAliveDoesNotSignOut()
{
    SignedIn client(*service);
    service->expect(KEEP_ALIVE).json(R"({"errorMsgKeys":["session.error"]})");
    client.sendKeepAlive();
    service->expect(KEEP_ALIVE).status("401 Who", R"({"errorMsgKeys":["session.error"]})");
    client.sendKeepAlive();
    QVERIFY(client.isLoggedIn());
    QVERIFY(client.getLastErrorKey().isNull());
}

// ---- User name and logout -------------------------------------------------------------------------

void tst_SignIn::userNameIsReturnedAndSignsIn()
{
    PresenterClient client(nullptr, service->url());
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"änn%1"}})");
    QCOMPARE(client.doGetUserName(), u"änn%1"_s);
    QVERIFY(client.isLoggedIn());
    QVERIFY(!keepAliveRuns(client));
}

void tst_SignIn::userNameReplyWithoutIdSignsOut_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("no id") << QByteArray(R"({"data":{}})");
    QTest::newRow("empty id") << QByteArray(R"({"data":{"userLoginId":""}})");
    QTest::newRow("null id") << QByteArray(R"({"data":{"userLoginId":null}})");
    QTest::newRow("id of a wrong kind") << QByteArray(R"({"data":{"userLoginId":{"a":1}}})");
    QTest::newRow("data of a wrong kind") << QByteArray(R"({"data":"userLoginId"})");
    QTest::newRow("no data") << QByteArray("{}");
    QTest::newRow("no json") << NO_JSON;
    QTest::newRow("empty") << QByteArray();
}

void tst_SignIn::userNameReplyWithoutIdSignsOut()
{
    QFETCH(QByteArray, reply);
    SignedIn client(*service);
    service->expect(USER, "{}").json(reply);
    QVERIFY(client.doGetUserName().isEmpty());
    QVERIFY(!client.isLoggedIn());
    QVERIFY(keepAliveRuns(client));
}

void tst_SignIn::failedUserNameRequestChangesNothing()
{
    SignedIn client(*service);
    service->expect(USER, "{}").status("500 Broken", R"({"errorMsgKeys":["a.error"]})");
    QCOMPARE(client.doGetUserName(), u"ann"_s);
    QVERIFY(client.isLoggedIn());
    QVERIFY(client.getLastErrorKey().isNull());
}

void tst_SignIn::logoutWithoutSignInSendsNothing()
{
    PresenterClient client(nullptr, service->url());
    QVERIFY(client.doLogout());
    QVERIFY(service->requests().isEmpty());
}

void tst_SignIn::logoutWithoutSignInStopsTheKeepAlive()
{
    SignedIn client(*service);
    service->expect(USER, "{}").json("{}");
    QVERIFY(client.doGetUserName().isNull());
    QVERIFY(!client.isLoggedIn());
    QVERIFY(keepAliveRuns(client));
    QVERIFY(client.doLogout());
    QVERIFY(!keepAliveRuns(client));
}

void tst_SignIn::logoutSignsOutOnAnyJson()
{
    SignedIn client(*service);
    service->expect(LOGOUT, "{}").json(R"({"success":false})");
    QVERIFY(client.doLogout());
    QVERIFY(!client.isLoggedIn());
}

void tst_SignIn::failedLogoutLeavesSignedIn_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("error status") << QByteArray("500 Broken") << QByteArray("{}");
    QTest::newRow("no json") << QByteArray("200 OK") << NO_JSON;
}

void tst_SignIn::failedLogoutLeavesSignedIn()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, body);
    SignedIn client(*service);
    service->expect(LOGOUT, "{}").status(status, body);
    QVERIFY(!client.doLogout());
    QVERIFY(client.isLoggedIn());
    QVERIFY(!keepAliveRuns(client));
}

QTEST_GUILESS_MAIN(tst_SignIn)
#include "tst_signin.moc"
