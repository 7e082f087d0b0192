// How often the client keeps a sign-in alive where the host has its own idea of it.

#include "client/KeepAliveTimer.h"
#include "client/ServiceTest.h"

class tst_KeepAliveInterval : public ClientTest
{
    Q_OBJECT

private Q_SLOTS:
    void intervalHoldsFromTheSignInOn();
    void intervalHoldsAtOnceWhileSignedIn();
    void noIntervalEndsTheKeepAlive_data();
    void noIntervalEndsTheKeepAlive();
};

void tst_KeepAliveInterval::intervalHoldsFromTheSignInOn()
{
    client->setKeepAliveInterval(20000);
    QVERIFY(!keepAliveTimer(*client).isActive());
    signIn();
    QVERIFY(keepAliveTimer(*client).isActive());
    QCOMPARE(keepAliveTimer(*client).interval(), 20000);
}

void tst_KeepAliveInterval::intervalHoldsAtOnceWhileSignedIn()
{
    signIn();
    client->setKeepAliveInterval(20000);
    QVERIFY(keepAliveTimer(*client).isActive());
    QCOMPARE(keepAliveTimer(*client).interval(), 20000);
}

void tst_KeepAliveInterval::noIntervalEndsTheKeepAlive_data()
{
    QTest::addColumn<int>("ms");
    QTest::newRow("none") << 0;
    QTest::newRow("less than none") << -1;
}

void tst_KeepAliveInterval::noIntervalEndsTheKeepAlive()
{
    QFETCH(int, ms);
    signIn();
    client->setKeepAliveInterval(ms);
    QVERIFY(!keepAliveTimer(*client).isActive());
    signIn();
    QVERIFY(client->isLoggedIn());
    QVERIFY(!keepAliveTimer(*client).isActive());
}

QTEST_GUILESS_MAIN(tst_KeepAliveInterval)
#include "tst_keepaliveinterval.moc"
