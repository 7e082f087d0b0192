// Ways into a session that the usual order of operations leaves out.

#include "client/SessionTest.h"

class tst_SignInWays : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void successInTheKeysSignsInThroughOAuth();
    void sessionCreationSignsInAgainThroughOAuth();
    void oauthTokenRequestThatIsEndedReturnsNothing();
    void sessionThatWasStartedButNotCreatedIsStopped();
};

void tst_SignInWays::successInTheKeysSignsInThroughOAuth()
{
    expectOAuth().json(R"({"infoMsgKeys":["login.success"],"data":{"name":"n"}})");
    QString registration;
    QVERIFY(loginWithOAuth(registration));
    QVERIFY(client->isLoggedIn());
    QCOMPARE(registration, QString());
}

void tst_SignInWays::sessionCreationSignsInAgainThroughOAuth()
{
    expectOAuth().json(SUCCESS);
    QString registration;
    QVERIFY(loginWithOAuth(registration));
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    QCOMPARE(client->doGetUserName(), u"ann"_s);
    service->expect(USER, "{}");
    expectOAuth().json(SUCCESS);
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    QVERIFY(create());
}

void tst_SignInWays::oauthTokenRequestThatIsEndedReturnsNothing()
{
    expectOAuth(DEVICE_FIELDS).silence().meanwhile([this] { client->abortRequests(); });
    QString registration = u"as before"_s;
    QCOMPARE(client->doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, registration),
             QString());
    QCOMPARE(registration, u"as before"_s);
}

void tst_SignInWays::sessionThatWasStartedButNotCreatedIsStopped()
{
    signIn();
    expectAll(startOperations(bus->url()).mid(0, 2));
    service->expect(START, startBody(bus->url(), "")).json(R"({"data":{"sessionToken":"TOKEN"}})");
    service->expect(JOIN, QByteArray(JOIN_BODY).replace("CODE", "")).silence().meanwhile([this] {
        client->abortRequests();
    });
    QVERIFY(!openChannel());
    expectStop();
    delete client;
    QCOMPARE(service->lastRequest().body, TOKEN_BODY);
}

QTEST_GUILESS_MAIN(tst_SignInWays)
#include "tst_signinways.moc"
