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
    void untrustedCollaborationServerOpensNoChannel_data() { addTransportRows(); }
    void untrustedCollaborationServerOpensNoChannel();
    void untrustedCollaborationServerEndsTheAttempt_data() { addRobustOnlyRows(); }
    void untrustedCollaborationServerEndsTheAttempt();
    void nothingListensThere();
};

namespace
{

// The service itself speaks plain HTTP; only the collaboration server's certificate is not trusted.
struct UntrustedServer {
    UntrustedServer() { other.trust(); }

    // How much has reached the bus. From here on the server is trusted, so that it can be asked.
    int requests()
    {
        certificates.trust();
        return server.countNow(u"busRequest"_s);
    }

    TestCertificates certificates{u"Unknown Root"_s};
    TestCertificates::Identity identity = certificates.issue(u"localhost"_s);
    Classroom server{{}, &identity};
    Classroom service{{u"--collab-url"_s, server.url()}};
    TestCertificates other{u"Other Root"_s};
};

} // namespace

void tst_LiveSignIn::wrongCredentialsAreRefused_data()
{
    QTest::addColumn<QString>("user");
    QTest::addColumn<QString>("password");
    QTest::addColumn<QString>("key");
    QTest::newRow("password") << u"teacher"_s << u"wrong"_s << u"login.error.wrongCredentials"_s;
    QTest::newRow("user") << u"nobody"_s << u"secret"_s << u"login.error.wrongCredentials"_s;
    QTest::newRow("broken JSON") << u"teacher"_s << u"se\"cret"_s << u"request.error.invalidJson"_s;
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
    QVERIFY(client.doLogin(u"teacher"_s, u"secret"_s));
    QCOMPARE(client.getLastErrorKey(), QString());
}

void tst_LiveSignIn::passwordsArriveAsTheyAre_data()
{
    QTest::addColumn<QString>("password");
    QTest::newRow("percent signs") << u"100%1 %2 %0 %"_s;
    QTest::newRow("blanks") << u"  a b "_s;
    QTest::newRow("other letters") << u"пароль Ünï 密码 😀"_s;
    QTest::newRow("punctuation") << u"a&b=c;d+e/f?g#h'i<j>"_s;
}

void tst_LiveSignIn::passwordsArriveAsTheyAre()
{
    QFETCH(QString, password);
    const Far far(false, {u"--user"_s, u"ann"_s, u"--password"_s, password});
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin(u"ann"_s, password));
    QVERIFY(!client.doLogin(u"ann"_s, password + u"%1"_s));
}

void tst_LiveSignIn::deviceTokenReplacesThePassword()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    const QString token =
        client.doGetAccessToken(u"teacher"_s, u"secret"_s, u"device-7"_s, u"Desk"_s);
    QVERIFY(!token.isEmpty());
    PresenterClient again(nullptr, far->url());
    QVERIFY(again.doLogin(u"teacher"_s, u"device-7"_s, token));
    QVERIFY(!again.doLogin(u"teacher"_s, u"device-8"_s, token));
    QCOMPARE(again.getLastErrorKey(), u"login.error.wrongDeviceToken"_s);
}

void tst_LiveSignIn::expiredSignInIsRenewedWhenASessionStarts()
{
    const Far far(false);
    LiveSession session(*far, u"websocket"_s);
    QVERIFY(session.client->doLogin(u"teacher"_s, u"secret"_s));
    far->remove(u"sign-ins"_s);
    QVERIFY(session.client->doStartSession(QString()));
    QVERIFY(session.openChannel());
    QCOMPARE(far->requestsTo(u"/vantora/login/submit"_s), 2);
    // The presenter joins under the user's name, not under an empty one.
    const QJsonValue join =
        far->journal(u"request"_s, {{u"path"_s, u"/vantora/classroom/session/join"_s}}).at(0);
    QVERIFY2(join[u"body"_s].toString().contains(uR"("deviceName":"teacher_SessionStarter")"_s),
             qPrintable(join[u"body"_s].toString()));
}

void tst_LiveSignIn::expiredSignInWithAChangedPasswordIsRefused()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin(u"teacher"_s, u"secret"_s));
    far->remove(u"sign-ins"_s);
    far->fail(u"/vantora/login/submit"_s, 403, uR"({"errorMsgKeys":["login.error.changed"]})"_s);
    QVERIFY(!client.doStartSession(QString()));
    QCOMPARE(client.getLastErrorKey(), u"login.error.changed"_s);
    QCOMPARE(far->requestsTo(u"/vantora/session/create"_s), 0);
}

void tst_LiveSignIn::failuresOfTheSessionCarryTheirKey_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<bool>("isCreated");
    QTest::newRow("create") << u"/vantora/session/create"_s << false;
    QTest::newRow("start") << u"/vantora/session/start"_s << true;
}

void tst_LiveSignIn::failuresOfTheSessionCarryTheirKey()
{
    QFETCH(QString, path);
    QFETCH(bool, isCreated);
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin(u"teacher"_s, u"secret"_s));
    far->fail(path, 500, uR"({"errorMsgKeys":["session.error.full","x"]})"_s);
    QCOMPARE(client.doStartSession(QString()), isCreated);
    if (isCreated) {
        PresenterCollab *channel = nullptr;
        QVERIFY(!client.startWebsocket(&channel));
        QVERIFY(!channel);
    }
    QCOMPARE(client.getLastErrorKey(), u"session.error.full"_s);
    QVERIFY(client.getSessionToken().isNull());
    QCOMPARE(far->countNow(u"open"_s, {{u"transport"_s, u"websocket"_s}}), 0);
}

void tst_LiveSignIn::missingCollaborationServerIsAFailure()
{
    const Far far(false);
    PresenterClient client(nullptr, far->url());
    QVERIFY(client.doLogin(u"teacher"_s, u"secret"_s));
    QVERIFY(client.doStartSession(QString()));
    far->fail(u"/vantora/session/getcollabserverurl"_s, 200, uR"({"data":{}})"_s);
    PresenterCollab *channel = nullptr;
    QVERIFY(!client.startWebsocket(&channel));
    QVERIFY(!channel);
    QCOMPARE(far->requestsTo(u"/vantora/session/start"_s), 0);
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
    TestCertificates service(u"Service Root"_s);
    const auto identity = service.issue(u"localhost"_s);
    Classroom classroom({}, &identity);
    TestCertificates other(u"Other Root"_s);
    if (hasOtherRoots)
        other.trust();
    else
        other.trustNobody();
    PresenterClient client(nullptr, classroom.url());
    QVERIFY(!client.checkServer(QString(), QString()));
    QCOMPARE(client.getLastErrorKey(), u"SSLRootCertificateMissing"_s);
    QVERIFY(!client.doLogin(u"teacher"_s, u"secret"_s));
    QCOMPARE(client.getLastErrorKey(), u"SSLRootCertificateMissing"_s);

    service.trust();
    PresenterClient trusting(nullptr, classroom.url());
    QVERIFY(trusting.doLogin(u"teacher"_s, u"secret"_s));
    // Nothing of the refused sign-in reached the service.
    QCOMPARE(classroom.requestsTo(u"/vantora/login/submit"_s), 1);
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
    const auto identity = isExpired ? certificates.issueExpired(u"localhost"_s)
                                    : certificates.issue(u"elsewhere"_s, u"DNS:elsewhere"_s);
    Classroom classroom({}, &identity);
    PresenterClient client(nullptr, classroom.url());
    QVERIFY(!client.doLogin(u"teacher"_s, u"secret"_s));
    QCOMPARE(client.getLastErrorKey(), QString());
    QVERIFY(!client.isLoggedIn());
}

void tst_LiveSignIn::untrustedCollaborationServerOpensNoChannel()
{
    UntrustedServer untrusted;
    LiveSession session(untrusted.service, rowTransport());
    QVERIFY(session.client->doLogin(u"teacher"_s, u"secret"_s));
    QVERIFY(session.client->doStartSession(QString()));
    PresenterCollab *channel = nullptr;
    QVERIFY(session.client->startWebsocket(&channel));
    QVERIFY(channel);
    QVERIFY(!channel->isConnected());
    QVERIFY(session.client->doStopSession());
    QCOMPARE(untrusted.requests(), 0);
}

void tst_LiveSignIn::untrustedCollaborationServerEndsTheAttempt()
{
    UntrustedServer untrusted;
    LiveSession session(untrusted.service, Way{rowTransport(), false, true});
    QVERIFY(session.create());
    QVERIFY(session.startChannel());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
    QCOMPARE(session.channel->getCloseCode(), 1006);
    QVERIFY(!session.channel->getCloseReason().isEmpty());
    QCOMPARE(untrusted.requests(), 0);
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
    QVERIFY(!client.doLogin(u"teacher"_s, u"secret"_s));
    QCOMPARE(client.getLastErrorKey(), QString());
}

QTEST_GUILESS_MAIN(tst_LiveSignIn)
#include "tst_livesignin.moc"
