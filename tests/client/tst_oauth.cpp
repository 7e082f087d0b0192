// Signing in through OAuth, and the registration that may be asked for then.

#include "client/KeepAliveTimer.h"
#include "client/ServiceTest.h"

class tst_OAuth : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void oauthSignInSendsCodeAndCallback_data();
    void oauthSignInSendsCodeAndCallback();
    void oauthReplyMayAskForRegistration_data();
    void oauthReplyMayAskForRegistration();
    void registrationIsAskedForOnlyInTheKeys();
    void registrationIsAskedForOnlyAfterOAuth();
    void registrationIsSubmittedWithTheSourceSystem_data();
    void registrationIsSubmittedWithTheSourceSystem();
    void registrationIsAskedForAndSubmitted();
};

void tst_OAuth::oauthSignInSendsCodeAndCallback_data()
{
    QTest::addColumn<QString>("provider");
    QTest::addColumn<QString>("code");
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QString>("callbackEnd");
    const auto row = [](const char *name, const QString &provider, const QString &code,
                        const char *sentProvider, const QString &callbackEnd = {}) {
        const QByteArray path = "/vantora/login/oauth/" + QByteArray(sentProvider) + "/callback";
        QTest::newRow(name) << provider << code << path << callbackEnd;
    };
    row("plain", u"example"_s, u"c0de"_s, "example");
    row("address with a slash", u"facebook"_s, u"c"_s, "facebook", u"/"_s);
    row("another spelling of it", u"Facebook"_s, u"c"_s, "Facebook");
    row("percent signs in the code", u"x"_s, u"4%2F%1%"_s, "x");
    row("encoded provider", u"a%20b%2F"_s, u"c"_s, "a%20b%2F");
    row("bare percent sign in the provider", u"50%1"_s, u"c"_s, "50%251");
}

void tst_OAuth::oauthSignInSendsCodeAndCallback()
{
    QFETCH(QString, provider);
    QFETCH(QString, code);
    QFETCH(QByteArray, path);
    QFETCH(QString, callbackEnd);
    service->expect(path, oauthBody(service->url() + callbackEnd, code.toUtf8())).json(SUCCESS);
    QString registration;
    QVERIFY(client->doLoginWithOAuth(provider, code, registration));
    QVERIFY(client->isLoggedIn());
    QVERIFY(keepAliveRuns(*client));
    QVERIFY(registration.isEmpty());
}

void tst_OAuth::oauthReplyMayAskForRegistration_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("data");
    const auto row = [](const char *name, const QByteArray &reply, const QString &data) {
        QTest::newRow(name) << reply << data;
    };
    row("data last", R"({"infoMsgKeys":["success.registration"],"data":{"name":"n","age":5}})",
        R"({"name":"n","age":5})");
    row("the rest of the reply belongs to it",
        R"({"data":{"name":"n"},"infoMsgKeys":["registration.success"]})",
        R"({"name":"n"},"infoMsgKeys":["registration.success"])");
    row("first of several marks", R"({"infoMsgKeys":["success registration"],"data":{"data":1}})",
        R"({"data":1})");
    row("last character goes, whatever it is",
        "{\"infoMsgKeys\":[\"success.registration\"],\"data\":{}}\n", "{}}");
    row("without the mark it starts at position 6", R"({"infoMsgKeys":["success.registration"]})",
        R"(MsgKeys":["success.registration"])");
    row("a blank makes it another mark", R"({"infoMsgKeys":["success.registration"],"data" :{}})",
        R"(MsgKeys":["success.registration"],"data" :{})");
    row("letters count, not bytes",
        "{\"\xc3\xa4\":1,\"infoMsgKeys\":[\"success.registration\"],\"data\":{\"\xc3\xb6\":2}}",
        u"{\"ö\":2}"_s);
}

void tst_OAuth::oauthReplyMayAskForRegistration()
{
    QFETCH(QByteArray, reply);
    QFETCH(QString, data);
    expectOAuth().json(reply);
    QString registration;
    QVERIFY(!loginWithOAuth(registration));
    QVERIFY(!client->isLoggedIn());
    QVERIFY(!keepAliveRuns(*client));
    QCOMPARE(registration, data);
}

void tst_OAuth::registrationIsAskedForOnlyInTheKeys()
{
    expectOAuth().json(
        R"({"infoMsgs":["success.registration"],"infoMsgKeys":["success.registration"],"data":{}})");
    QString registration;
    QVERIFY(loginWithOAuth(registration));
    QVERIFY(registration.isEmpty());
}

void tst_OAuth::registrationIsAskedForOnlyAfterOAuth()
{
    const QByteArray reply = R"({"infoMsgKeys":["success.registration"],"data":{"a":1}})";
    service->expect(LOGIN, ANN).json(reply);
    QVERIFY(login());

    // An empty code is no OAuth sign-in.
    service->expect(OAUTH, oauthBody(service->url(), "")).json(reply);
    QString registration;
    QVERIFY(client->doLoginWithOAuth(u"x"_s, QString(), registration));
    QVERIFY(registration.isEmpty());

    // Once there was one, it counts for later sign-ins, too.
    expectOAuth().json(SUCCESS);
    QVERIFY(loginWithOAuth(registration));
    service->expect(LOGIN, ANN).json(reply);
    QVERIFY(!login());
    QVERIFY(!client->isLoggedIn());
}

void tst_OAuth::registrationIsSubmittedWithTheSourceSystem_data()
{
    QTest::addColumn<QString>("registration");
    QTest::addColumn<QByteArray>("body");
    const auto row = [](const char *name, const QString &registration, const QByteArray &body) {
        QTest::newRow(name) << registration << body;
    };
    row("object", R"({"name":"n"})", R"({"name":"n","sourceSystem":"Corvel"})");
    row("after the last quote", R"({"name":"n","age":5})",
        R"({"name":"n","age","sourceSystem":"Corvel":5})");
    row("no quote", "{}", R"(,"sourceSystem":"Corvel"{})");
    row("percent signs", R"({"name":"%0%1%25"})", R"({"name":"%0%1%25","sourceSystem":"Corvel"})");
    row("quote at the end", R"("n")", R"("n","sourceSystem":"Corvel")");
    row("utf-8", u"{\"n\":\"ä\"}"_s, "{\"n\":\"\xc3\xa4\",\"sourceSystem\":\"Corvel\"}");
}

void tst_OAuth::registrationIsSubmittedWithTheSourceSystem()
{
    QFETCH(QString, registration);
    QFETCH(QByteArray, body);
    service->expect(REGISTER, body).json(SUCCESS);
    QVERIFY(loginWithOAuth(registration));
    QVERIFY(keepAliveRuns(*client));
    QVERIFY(registration.isEmpty());
}

void tst_OAuth::registrationIsAskedForAndSubmitted()
{
    expectOAuth().json(R"({"infoMsgKeys":["login.success.registration"],"data":{"name":"n"}})");
    QString registration;
    QVERIFY(!loginWithOAuth(registration));
    QCOMPARE(registration, uR"({"name":"n"})"_s);

    service->expect(REGISTER, R"({"name":"n","sourceSystem":"Corvel"})")
        .status("400 No", R"({"errorMsgKeys":["register.error.name"]})");
    QVERIFY(!loginWithOAuth(registration));
    QVERIFY(registration.isEmpty());
    QCOMPARE(client->getLastErrorKey(), u"register.error.name"_s);

    registration = uR"({"name":"m"})"_s;
    service->expect(REGISTER, R"({"name":"m","sourceSystem":"Corvel"})").json(SUCCESS);
    QVERIFY(loginWithOAuth(registration));
    QVERIFY(registration.isEmpty());
    QVERIFY(client->getLastErrorKey().isNull());
}

QTEST_GUILESS_MAIN(tst_OAuth)
#include "tst_oauth.moc"
