// Tokens that let a device sign in later.

#include "client/KeepAliveTimer.h"
#include "client/ServiceTest.h"

class tst_AccessToken : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
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

private:
    QString requestToken() { return client->doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s); }
    QString requestOAuthToken(QString &registration)
    {
        return client->doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, registration);
    }
};

void tst_AccessToken::accessTokenIsReturned()
{
    service->expect(LOGIN, TOKEN_REQUEST).json(R"({"data":{"deviceAccessToken":"t%1"}})");
    QCOMPARE(requestToken(), u"t%1"_s);
    QVERIFY(client->isLoggedIn());
}

void tst_AccessToken::accessTokenSendsValuesAsTheyAre()
{
    service
        ->expect(
            LOGIN,
            R"({"userId":"%1","password":"%0%2","deviceId":"%3%%","deviceName":""q"","sourceSystem":"Corvel"})")
        .json(TOKEN_REPLY);
    QCOMPARE(client->doGetAccessToken(u"%1"_s, u"%0%2"_s, u"%3%%"_s, u"\"q\""_s), u"t"_s);
}

void tst_AccessToken::oauthAccessTokenIsReturned()
{
    service
        ->expect("/vantora/login/oauth/facebook/callback",
                 oauthBody(service->url("/"), "c", DEVICE_FIELDS))
        .json(TOKEN_REPLY);
    QString registration = u"earlier"_s;
    QCOMPARE(client->doGetOAuthAccessToken(u"facebook"_s, u"c"_s, u"d"_s, u"n"_s, registration),
             u"t"_s);
    QVERIFY(registration.isEmpty());
    QVERIFY(client->isLoggedIn());
}

void tst_AccessToken::oauthAccessTokenSendsValuesAsTheyAre()
{
    service
        ->expect("/vantora/login/oauth/x%20y/callback",
                 oauthBody(service->url(), "%1", R"("deviceId":"%0%3","deviceName":"%2%",)"))
        .json(TOKEN_REPLY);
    QString registration;
    QCOMPARE(client->doGetOAuthAccessToken(u"x%20y"_s, u"%1"_s, u"%0%3"_s, u"%2%"_s, registration),
             u"t"_s);
}

void tst_AccessToken::failedTokenRequestReturnsTheEarlierToken_data()
{
    addReplyColumns();
    addReply("error status", "403 No", WRONG_PASSWORD);
    addReply("no json", "200 OK", NO_JSON);
}

void tst_AccessToken::failedTokenRequestReturnsTheEarlierToken()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    service->expect(LOGIN, TOKEN_REQUEST).status(status, reply);
    QVERIFY(requestToken().isNull());
    QVERIFY(!client->isLoggedIn());

    service->expect(LOGIN, TOKEN_REQUEST).json(TOKEN_REPLY);
    QCOMPARE(requestToken(), u"t"_s);
    service->expect(LOGIN, TOKEN_REQUEST).status(status, reply);
    QCOMPARE(requestToken(), u"t"_s);
    QVERIFY(client->isLoggedIn());
    QVERIFY(client->getLastErrorKey().isNull()); // no failure handler
}

void tst_AccessToken::missingTokenMeansRegistration_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("registration");
    const auto row = [](const char *name, const QByteArray &reply, const QString &registration) {
        QTest::newRow(name) << reply << registration;
    };
    row("no token", R"({"data":{"name":"n"}})", R"({"name":"n"})");
    row("empty token", R"({"data":{"deviceAccessToken":""}})", R"({"deviceAccessToken":""})");
    row("null token", R"({"data":{"deviceAccessToken":null}})", R"({"deviceAccessToken":null})");
    row("no data", R"({"success":true})", R"(ess":true)");
    row("too short for any", "{}", {});
    row("exactly nothing left", R"({"a":1})", {});
    row("one letter left", R"({"ab":1})", "1");
}

void tst_AccessToken::missingTokenMeansRegistration()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, registration);
    service->expect(LOGIN, TOKEN_REQUEST).json(TOKEN_REPLY);
    QCOMPARE(requestToken(), u"t"_s);

    expectOAuth(DEVICE_FIELDS).json(reply);
    QString asked = u"earlier"_s;
    QVERIFY(requestOAuthToken(asked).isEmpty());
    QCOMPARE(asked, registration);
    QVERIFY(!client->isLoggedIn());
}

void tst_AccessToken::laterTokenStillComesWithTheEarlierRegistration()
{
    QString asked;
    expectOAuth(DEVICE_FIELDS).json(R"({"data":{"name":"n"}})");
    requestOAuthToken(asked);
    QCOMPARE(asked, uR"({"name":"n"})"_s);

    asked.clear();
    expectOAuth(DEVICE_FIELDS).json(TOKEN_REPLY);
    QCOMPARE(requestOAuthToken(asked), u"t"_s);
    QCOMPARE(asked, uR"({"name":"n"})"_s); // only an OAuth sign-in clears it
}

void tst_AccessToken::tokenRequestsClearNothingAndStartNoKeepAlive()
{
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!login());

    service->expect(LOGIN, TOKEN_REQUEST).json(TOKEN_REPLY);
    QCOMPARE(requestToken(), u"t"_s);
    QCOMPARE(client->getLastErrorKey(), u"login.error.password"_s);
    QVERIFY(!keepAliveRuns(*client));

    QString registration;
    expectOAuth(DEVICE_FIELDS).json(TOKEN_REPLY);
    requestOAuthToken(registration);
    QCOMPARE(client->getLastErrorKey(), u"login.error.password"_s);
    QVERIFY(!keepAliveRuns(*client));
}

QTEST_GUILESS_MAIN(tst_AccessToken)
#include "tst_accesstoken.moc"
