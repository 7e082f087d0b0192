// What keeps a teacher signed in, and what signs one out.

#include "client/KeepAliveTimer.h"
#include "client/ServiceTest.h"

class tst_KeepAlive : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void keepAliveRunsEveryMinuteAfterSignIn();
    void keepAliveTimerSendsKeepAlives();
    void keepAliveRefreshesReachability();
    void keepAliveDoesNotSignOut();

    void logoutWithoutSignInSendsNothing();
    void logoutWithoutSignInStopsTheKeepAlive();
    void logoutSignsOutOnAnyJson();
    void failedLogoutLeavesSignedIn_data();
    void failedLogoutLeavesSignedIn();
};

// ---- Keep-alive ----------------------------------------------------------------------------------

void tst_KeepAlive::keepAliveRunsEveryMinuteAfterSignIn()
{
    signIn();
    QCOMPARE(keepAliveTimer(*client).interval(), 60000);
    QVERIFY(keepAliveTimer(*client).isActive());
    QVERIFY(!keepAliveTimer(*client).isSingleShot());

    service->expect(LOGOUT, "{}");
    QVERIFY(client->doLogout());
    QVERIFY(!keepAliveTimer(*client).isActive());
}

void tst_KeepAlive::keepAliveTimerSendsKeepAlives()
{
    signIn();
    service->expect(KEEP_ALIVE);
    service->expect(KEEP_ALIVE).meanwhile([&] { keepAliveTimer(*client).stop(); });
    keepAliveTimer(*client).setInterval(1);
    QTRY_COMPARE(service->requests().size(), 3);
    QTRY_VERIFY(client->isServerReachable());
}

void tst_KeepAlive::keepAliveRefreshesReachability()
{
    service->expect(KEEP_ALIVE).json("{}");
    client->sendKeepAlive();
    QVERIFY(client->isServerReachable());
    service->expect(KEEP_ALIVE).status("500 Broken", "{}"); // no failure handler
    client->sendKeepAlive();
    QVERIFY(client->isServerReachable());
    service->expect(KEEP_ALIVE).json(NO_JSON);
    client->sendKeepAlive();
    QVERIFY(!client->isServerReachable());
}

void tst_KeepAlive::keepAliveDoesNotSignOut()
{
    signIn();
    service->expect(KEEP_ALIVE).json(R"({"errorMsgKeys":["session.error"]})");
    client->sendKeepAlive();
    service->expect(KEEP_ALIVE).status("401 Who", R"({"errorMsgKeys":["session.error"]})");
    client->sendKeepAlive();
    QVERIFY(client->isLoggedIn());
    QVERIFY(client->getLastErrorKey().isNull());
}

// ---- Logout --------------------------------------------------------------------------------------

void tst_KeepAlive::logoutWithoutSignInSendsNothing()
{
    QVERIFY(client->doLogout());
    QVERIFY(service->requests().isEmpty());
}

void tst_KeepAlive::logoutWithoutSignInStopsTheKeepAlive()
{
    signIn();
    service->expect(USER, "{}").json("{}");
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(!client->isLoggedIn());
    QVERIFY(keepAliveRuns(*client));
    QVERIFY(client->doLogout());
    QVERIFY(!keepAliveRuns(*client));
}

void tst_KeepAlive::logoutSignsOutOnAnyJson()
{
    signIn();
    service->expect(LOGOUT, "{}").json(R"({"success":false})");
    QVERIFY(client->doLogout());
    QVERIFY(!client->isLoggedIn());
}

void tst_KeepAlive::failedLogoutLeavesSignedIn_data()
{
    addReplyColumns();
    addReply("error status", "500 Broken", "{}");
    addReply("no json", "200 OK", NO_JSON);
}

void tst_KeepAlive::failedLogoutLeavesSignedIn()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    signIn();
    service->expect(LOGOUT, "{}").status(status, reply);
    QVERIFY(!client->doLogout());
    QVERIFY(client->isLoggedIn());
    QVERIFY(!keepAliveRuns(*client));
}

QTEST_GUILESS_MAIN(tst_KeepAlive)
#include "tst_keepalive.moc"
