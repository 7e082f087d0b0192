#include "e2e/LiveSession.h"
#include "support/Text.h"

// What fails against a service says why, by the key that a host looks up.
class tst_LiveSignIn : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void wrongCredentialsAreRefused_data();
    void wrongCredentialsAreRefused();
    void passwordsArriveAsTheyAre_data();
    void passwordsArriveAsTheyAre();
    void deviceTokenReplacesThePassword();
    void expiredSignInIsRenewedWhenASessionStarts();
    void expiredSignInWithAChangedPasswordIsRefused();
    void failuresOfTheSessionCarryTheirKey_data();
    void failuresOfTheSessionCarryTheirKey();
    void missingCollaborationServerIsAFailure();
    void unknownRootIsReportedByItsKey_data();
    void unknownRootIsReportedByItsKey();
    void wrongNameOrExpiryFailWithoutThatKey_data();
    void wrongNameOrExpiryFailWithoutThatKey();
    void untrustedCollaborationServerOpensNoChannel_data();
    void untrustedCollaborationServerOpensNoChannel();
    void nothingListensThere();
};

void tst_LiveSignIn::wrongCredentialsAreRefused_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("key");
    QTest::newRow("password") << "teacher"
                              << "wrong"
                              << "login.error.wrongCredentials";
    QTest::newRow("user") << "nobody"
                          << "secret"
                          << "login.error.wrongCredentials";
    QTest::newRow("broken JSON") << "teacher"
                                 << "se\"cret"
                                 << "request.error.invalidJson";
}

void tst_LiveSignIn::wrongCredentialsAreRefused()
{
    QFETCH(QString, user);
    QFETCH(QString, password);
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(!client.doLogin(user, password));
    QVERIFY(!client.isLoggedIn());
    QTEST(client.getLastErrorKey(), "key");
    QVERIFY(!client.doStartSession(QString()));
    // The right ones help, and the key is gone.
    QVERIFY(client.doLogin("teacher", "secret"));
    QCOMPARE(client.getLastErrorKey(), QString());
}

void tst_LiveSignIn::passwordsArriveAsTheyAre_data()
{
    QTest::addColumn<QString>("password");
    QTest::newRow("percent signs") << "100%1 %2 %0 %";
    QTest::newRow("blanks") << "  a b ";
    QTest::newRow("other letters") << u"пароль Ünï 密码 😀"_s;
    QTest::newRow("punctuation") << "a&b=c;d+e/f?g#h'i<j>";
}

void tst_LiveSignIn::passwordsArriveAsTheyAre()
{
    QFETCH(QString, password);
    const Far far(false, {"--user", "ann", "--password", password});
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin("ann", password));
    QVERIFY(!client.doLogin("ann", password + "%1"));
}

void tst_LiveSignIn::deviceTokenReplacesThePassword()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    const QString token = client.doGetAccessToken("teacher", "secret", "device-7", "Desk");
    QVERIFY(!token.isEmpty());
    PresenterClient again(nullptr, far->url());
    QVERIFY(again.doLogin("teacher", "device-7", token));
    QVERIFY(!again.doLogin("teacher", "device-8", token));
    QCOMPARE(again.getLastErrorKey(), QString("login.error.wrongDeviceToken"));
}

void tst_LiveSignIn::expiredSignInIsRenewedWhenASessionStarts()
{
    const Far far(false);
    LiveSession session(*far, "websocket");
    QVERIFY(session.client->doLogin("teacher", "secret"));
    far->remove("sign-ins");
    QVERIFY(session.client->doStartSession(QString()));
    QVERIFY(session.openChannel());
    QCOMPARE(far->countNow({{"kind", "request"}, {"path", "/vantora/login/submit"}}), 2);
    // The presenter joins under the user's name, not under an empty one.
    const QJsonValue join =
        far->journal({{"kind", "request"}, {"path", "/vantora/classroom/session/join"}}).at(0);
    QVERIFY2(join["body"].toString().contains(R"("deviceName":"teacher_SessionStarter")"),
             qPrintable(join["body"].toString()));
}

void tst_LiveSignIn::expiredSignInWithAChangedPasswordIsRefused()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin("teacher", "secret"));
    far->remove("sign-ins");
    far->post("faults",
              {{"path", "/vantora/login/submit"},
               {"status", 403},
               {"body", R"({"errorMsgKeys":["login.error.changed"]})"}});
    QVERIFY(!client.doStartSession(QString()));
    QCOMPARE(client.getLastErrorKey(), QString("login.error.changed"));
    QCOMPARE(far->countNow({{"kind", "request"}, {"path", "/vantora/session/create"}}), 0);
}

void tst_LiveSignIn::failuresOfTheSessionCarryTheirKey_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isCreated");
    QTest::newRow("create") << "/vantora/session/create" << false;
    QTest::newRow("start") << "/vantora/session/start" << true;
}

void tst_LiveSignIn::failuresOfTheSessionCarryTheirKey()
{
    QFETCH(QString, path);
    QFETCH(bool, isCreated);
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin("teacher", "secret"));
    far->post("faults",
              {{"path", path},
               {"status", 500},
               {"body", R"({"errorMsgKeys":["session.error.full","x"]})"}});
    QCOMPARE(client.doStartSession(QString()), isCreated);
    if (isCreated) {
        PresenterCollab *channel = nullptr;
        QVERIFY(!client.startWebsocket(&channel));
        QVERIFY(!channel);
    }
    QCOMPARE(client.getLastErrorKey(), QString("session.error.full"));
    QVERIFY(client.getSessionToken().isNull());
    QCOMPARE(far->countNow({{"kind", "open"}, {"transport", "websocket"}}), 0);
}

void tst_LiveSignIn::missingCollaborationServerIsAFailure()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin("teacher", "secret"));
    QVERIFY(client.doStartSession(QString()));
    far->post("faults",
              {{"path", "/vantora/session/getcollabserverurl"},
               {"status", 200},
               {"body", R"({"data":{}})"}});
    PresenterCollab *channel = nullptr;
    QVERIFY(!client.startWebsocket(&channel));
    QVERIFY(!channel);
    QCOMPARE(far->countNow({{"kind", "request"}, {"path", "/vantora/session/start"}}), 0);
}

void tst_LiveSignIn::unknownRootIsReportedByItsKey_data()
{
    QTest::addColumn<bool>("hasOtherRoots");
    QTest::newRow("other roots trusted") << true;
    QTest::newRow("no root trusted") << false;
}

void tst_LiveSignIn::unknownRootIsReportedByItsKey()
{
    QFETCH(bool, hasOtherRoots);
    TestCertificates service("Service Root");
    const auto identity = service.issue("localhost");
    Classroom classroom({}, &identity);
    TestCertificates other("Other Root");
    if (hasOtherRoots)
        other.trust();
    else
        other.trustNobody();
    PresenterClient client(nullptr, classroom.url());
    QVERIFY(!client.checkServer(QString(), QString()));
    QCOMPARE(client.getLastErrorKey(), QString("SSLRootCertificateMissing"));
    QVERIFY(!client.doLogin("teacher", "secret"));
    QCOMPARE(client.getLastErrorKey(), QString("SSLRootCertificateMissing"));

    service.trust();
    PresenterClient trusting(nullptr, classroom.url());
    QVERIFY(trusting.doLogin("teacher", "secret"));
    // Nothing of the refused sign-in reached the service.
    QCOMPARE(classroom.countNow({{"kind", "request"}, {"path", "/vantora/login/submit"}}), 1);
}

void tst_LiveSignIn::wrongNameOrExpiryFailWithoutThatKey_data()
{
    QTest::addColumn<bool>("isExpired");
    QTest::newRow("name of another host") << false;
    QTest::newRow("expired") << true;
}

void tst_LiveSignIn::wrongNameOrExpiryFailWithoutThatKey()
{
    QFETCH(bool, isExpired);
    TestCertificates certificates;
    certificates.trust();
    const auto identity = isExpired ? certificates.issueExpired("localhost")
                                    : certificates.issue("elsewhere", "DNS:elsewhere");
    Classroom classroom({}, &identity);
    PresenterClient client(nullptr, classroom.url());
    QVERIFY(!client.doLogin("teacher", "secret"));
    QCOMPARE(client.getLastErrorKey(), QString());
    QVERIFY(!client.isLoggedIn());
}

void tst_LiveSignIn::untrustedCollaborationServerOpensNoChannel_data()
{
    QTest::addColumn<QString>("transport");
    QTest::newRow("websocket") << "websocket";
    QTest::newRow("xhr-polling") << "xhr-polling";
}

void tst_LiveSignIn::untrustedCollaborationServerOpensNoChannel()
{
    QFETCH(QString, transport);
    // The service itself speaks plain HTTP; only the collaboration server's certificate is not
    // trusted.
    TestCertificates collaboration("Unknown Root");
    const auto identity = collaboration.issue("localhost");
    Classroom collaborationServer({}, &identity);
    Classroom service({"--collab-url", collaborationServer.url()});
    TestCertificates other("Other Root");
    other.trust();

    LiveSession session(service, transport);
    QVERIFY(session.client->doLogin("teacher", "secret"));
    QVERIFY(session.client->doStartSession(QString()));
    PresenterCollab *channel = nullptr;
    QVERIFY(session.client->startWebsocket(&channel));
    QVERIFY(channel);
    QVERIFY(!channel->isConnected());
    QVERIFY(session.client->doStopSession());

    collaboration.trust();
    QCOMPARE(collaborationServer.countNow({{"kind", "busRequest"}}), 0);
}

void tst_LiveSignIn::nothingListensThere()
{
    QString url;
    {
        const Classroom gone;
        url = gone.url();
    }
    PresenterClient client(nullptr, url);
    QVERIFY(!client.checkServer(QString(), QString()));
    QVERIFY(!client.doLogin("teacher", "secret"));
    QCOMPARE(client.getLastErrorKey(), QString());
}

QTEST_GUILESS_MAIN(tst_LiveSignIn)
#include "tst_livesignin.moc"
