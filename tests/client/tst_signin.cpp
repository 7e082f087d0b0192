// Signing in with a password or a device's token, again too, and who is signed in.

#include "client/KeepAliveTimer.h"
#include "client/ServiceTest.h"

class tst_SignIn : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
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

    void signsInAgainWithThePasswordFirst();
    void signsInAgainWithTheDeviceToken();
    void signsInAgainThroughOAuth();
    void signsInAgainWithNothingStoredSendsNothing();
    void passwordOfATokenRequestSignsInAgain();
    void codeOfATokenRequestSignsInAgain();
    void codeOfATokenRequestMakesALaterSignInAskForRegistration();

    void userNameIsReturnedAndSignsIn();
    void userNameReplyWithoutIdSignsOut_data();
    void userNameReplyWithoutIdSignsOut();
    void failedUserNameRequestChangesNothing();
};

// ---- Password and device token -------------------------------------------------------------------

void tst_SignIn::passwordSignInSendsTheCredentials_data()
{
    QTest::addColumn<QString>("userId");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char *name, const QString &userId, const QString &password,
                        const QByteArray &body) {
        QTest::newRow(name) << userId << password << body;
    };
    row("plain", "ann", "pw", ANN);
    row("empty", "", "", R"({"userId":"","password":"","sourceSystem":"Corvel"})");
    row("percent signs", "%1%0", "100%25 %1 %2 %",
        R"({"userId":"%1%0","password":"100%25 %1 %2 %","sourceSystem":"Corvel"})");
    row("quotes are not escaped", "ann", "p\"w\\",
        R"({"userId":"ann","password":"p"w\","sourceSystem":"Corvel"})");
    row("utf-8", u"änn"_s, u"🍎"_s,
        "{\"userId\":\"\xc3\xa4nn\",\"password\":\"\xf0\x9f\x8d\x8e\",\"sourceSystem\":"
        "\"Corvel\"}");
}

void tst_SignIn::passwordSignInSendsTheCredentials()
{
    QFETCH(QString, userId);
    QFETCH(QString, password);
    QFETCH(QByteArray, body);
    service->expect(LOGIN, body).json(SUCCESS);
    QVERIFY(client->doLogin(userId, password));
    QVERIFY(client->isLoggedIn());
}

void tst_SignIn::deviceSignInSendsTheToken()
{
    service
        ->expect(
            LOGIN,
            R"({"userId":"a%1","deviceId":"d%2","deviceAccessToken":"t%0%","sourceSystem":"Corvel"})")
        .json(SUCCESS);
    QVERIFY(client->doLogin(u"a%1"_s, u"d%2"_s, u"t%0%"_s));
    QVERIFY(client->isLoggedIn());
}

void tst_SignIn::replyDecidesWhetherSignedIn_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<bool>("signedIn");
    const auto row = [](const char *name, const QByteArray &reply, bool signedIn) {
        QTest::newRow(name) << reply << signedIn;
    };
    row("in the messages", R"({"infoMsgs":["login.success"]})", true);
    row("in the keys", R"({"infoMsgKeys":["login.success"]})", true);
    row("in the keys, other messages", R"({"infoMsgs":["Welcome"],"infoMsgKeys":["a.success.b"]})",
        true);
    row("in later elements", R"({"infoMsgs":["a","success"],"infoMsgKeys":["b","success"]})",
        false);
    row("in capitals", R"({"infoMsgs":["Success"],"infoMsgKeys":["SUCCESS"]})", false);
    row("empty lists", R"({"infoMsgs":[],"infoMsgKeys":[]})", false);
    row("bare text is no list", R"({"infoMsgs":"success","infoMsgKeys":"success"})", false);
    row("success flag alone", R"({"success":true})", false);
    row("wrong kinds", R"({"infoMsgs":[{"success":1}],"infoMsgKeys":[null]})", false);
    row("list at the top", R"(["success"])", false);
    row("no json", NO_JSON, false);
    row("empty", "", false);
    row("registration asked of a password", R"({"infoMsgKeys":["success.registration"]})", true);
}

void tst_SignIn::replyDecidesWhetherSignedIn()
{
    QFETCH(QByteArray, reply);
    QFETCH(bool, signedIn);
    service->expect(LOGIN, ANN).json(reply);
    QCOMPARE(login(), signedIn);
    QCOMPARE(client->isLoggedIn(), signedIn);
    QCOMPARE(keepAliveRuns(*client), signedIn);
    QVERIFY(client->getLastErrorKey().isNull());

    service->expect(LOGIN, DEVICE_LOGIN).json(reply);
    QCOMPARE(client->doLogin(u"u"_s, u"d"_s, u"t"_s), signedIn);
}

void tst_SignIn::refusedSignInTellsTheErrorKey_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("key");
    const auto row = [](const char *name, const QByteArray &reply, const QString &key = {}) {
        QTest::newRow(name) << reply << key;
    };
    row("error key", WRONG_PASSWORD, u"login.error.password"_s);
    row("no error key", R"({"errorMsgKeys":["warning"]})");
    row("success in a failed reply", R"({"infoMsgs":["success"]})");
    row("no json", NO_JSON);
    row("empty", "");
}

void tst_SignIn::refusedSignInTellsTheErrorKey()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, key);
    service->expect(LOGIN, ANN).status("403 No", reply);
    QVERIFY(!login());
    QVERIFY(!client->isLoggedIn());
    QVERIFY(!keepAliveRuns(*client));
    QCOMPARE(client->getLastErrorKey(), key);
    QCOMPARE(client->getLastErrorKey().isNull(), key.isEmpty());
}

void tst_SignIn::newSignInSignsOutFirst()
{
    signIn();
    service->expect(LOGIN, ANN).json(NO_JSON);
    QVERIFY(!login());
    QVERIFY(!client->isLoggedIn());
    QVERIFY(keepAliveRuns(*client)); // only signing out stops it
}

void tst_SignIn::newSignInForgetsTheLastError()
{
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!login());
    service->expect(LOGIN, ANN).json(NO_JSON);
    QVERIFY(!login());
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_SignIn::redirectedSignInFailsAndIsNotRepeated()
{
    RestService present;
    service->expect(LOGIN, ANN).redirect(present.url(LOGIN));
    QVERIFY(!login());
    QVERIFY(client->getLastErrorKey().isNull());
    QVERIFY(client->isServerReachable());
    QCOMPARE(client->getServerUrl(), present.url());

    present.expect(LOGIN, ANN).json(SUCCESS);
    QVERIFY(login());
    QCOMPARE(present.faults(), QStringList());
}

// ---- Signing in again ----------------------------------------------------------------------------

void tst_SignIn::signsInAgainWithThePasswordFirst()
{
    signIn();
    QString registration;
    service->expect(
        LOGIN,
        R"({"userId":"bob","deviceId":"d","deviceAccessToken":"t","sourceSystem":"Corvel"})");
    client->doLogin(u"bob"_s, u"d"_s, u"t"_s);
    expectOAuth();
    loginWithOAuth(registration);
    QVERIFY(!client->isLoggedIn());

    service->expect(LOGIN, R"({"userId":"bob","password":"pw","sourceSystem":"Corvel"})")
        .json(SUCCESS);
    client->reLogin();
    QVERIFY(client->isLoggedIn());
}

void tst_SignIn::signsInAgainWithTheDeviceToken()
{
    const QByteArray body =
        R"({"userId":"bob","deviceId":"d%1","deviceAccessToken":"t%2","sourceSystem":"Corvel"})";
    QString registration;
    expectOAuth();
    loginWithOAuth(registration);
    service->expect(LOGIN, body);
    client->doLogin(u"bob"_s, u"d%1"_s, u"t%2"_s);
    QVERIFY(!client->isLoggedIn());

    service->expect(LOGIN, body).json(SUCCESS);
    client->reLogin();
    QVERIFY(client->isLoggedIn());
    QVERIFY(keepAliveRuns(*client));
}

void tst_SignIn::signsInAgainThroughOAuth()
{
    QString registration;
    expectOAuth().json(SUCCESS);
    QVERIFY(loginWithOAuth(registration));

    client->reLogin(); // no user id is known yet
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    QCOMPARE(client->doGetUserName(), u"ann"_s);
    expectOAuth().json(R"({"infoMsgKeys":["success.registration"],"data":{}})");
    client->reLogin();
    QVERIFY(!client->isLoggedIn());
}

void tst_SignIn::signsInAgainWithNothingStoredSendsNothing()
{
    client->reLogin();
    QVERIFY(!client->isLoggedIn());

    // A user id without any credentials.
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    QCOMPARE(client->doGetUserName(), u"ann"_s);
    client->reLogin();
    QCOMPARE(service->requests().size(), 1);
}

void tst_SignIn::passwordOfATokenRequestSignsInAgain()
{
    service->expect(LOGIN, TOKEN_REQUEST).json(TOKEN_REPLY);
    QCOMPARE(client->doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s), u"t"_s);
    service->expect(LOGIN, R"({"userId":"u","password":"p","sourceSystem":"Corvel"})")
        .json(SUCCESS);
    client->reLogin();
    QVERIFY(client->isLoggedIn());
}

void tst_SignIn::codeOfATokenRequestSignsInAgain()
{
    QString registration;
    expectOAuth(DEVICE_FIELDS).json(TOKEN_REPLY);
    QCOMPARE(client->doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, registration), u"t"_s);
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    QCOMPARE(client->doGetUserName(), u"ann"_s);
    expectOAuth().status("403 No", WRONG_PASSWORD);
    client->reLogin();
    QVERIFY(!client->isLoggedIn());
    expectOAuth().json(SUCCESS);
    client->reLogin();
    QVERIFY(client->isLoggedIn());
}

void tst_SignIn::codeOfATokenRequestMakesALaterSignInAskForRegistration()
{
    QString registration;
    expectOAuth(DEVICE_FIELDS).json(TOKEN_REPLY);
    client->doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, registration);
    service->expect(LOGIN, ANN).json(R"({"infoMsgKeys":["success.registration"],"data":{}})");
    QVERIFY(!login());
}

// ---- User name -----------------------------------------------------------------------------------

void tst_SignIn::userNameIsReturnedAndSignsIn()
{
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"änn%1"}})");
    QCOMPARE(client->doGetUserName(), u"änn%1"_s);
    QVERIFY(client->isLoggedIn());
    QVERIFY(!keepAliveRuns(*client));
}

void tst_SignIn::userNameReplyWithoutIdSignsOut_data()
{
    QTest::addColumn<QByteArray>("reply");
    const auto row = [](const char *name, const QByteArray &reply) {
        QTest::newRow(name) << reply;
    };
    row("no id", R"({"data":{}})");
    row("empty id", R"({"data":{"userLoginId":""}})");
    row("null id", R"({"data":{"userLoginId":null}})");
    row("id of a wrong kind", R"({"data":{"userLoginId":{"a":1}}})");
    row("data of a wrong kind", R"({"data":"userLoginId"})");
    row("no data", "{}");
    row("no json", NO_JSON);
    row("empty", "");
}

void tst_SignIn::userNameReplyWithoutIdSignsOut()
{
    QFETCH(QByteArray, reply);
    signIn();
    service->expect(USER, "{}").json(reply);
    QVERIFY(client->doGetUserName().isEmpty());
    QVERIFY(!client->isLoggedIn());
    QVERIFY(keepAliveRuns(*client));
}

void tst_SignIn::failedUserNameRequestChangesNothing()
{
    signIn();
    service->expect(USER, "{}").status("500 Broken", R"({"errorMsgKeys":["a.error"]})");
    QCOMPARE(client->doGetUserName(), u"ann"_s);
    QVERIFY(client->isLoggedIn());
    QVERIFY(client->getLastErrorKey().isNull());
}

QTEST_GUILESS_MAIN(tst_SignIn)
#include "tst_signin.moc"
