// Sessions whose channels use the robust transport.

#include "client/SessionTest.h"

#include "sockjs/DeadPort.h"
#include "sockjs/RawServers.h"
#include "sockjs/SockJSConnector.h"
#include "support/LogCapture.h"

class tst_RobustSession : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void channelOpensAfterTheStartHasReturned();
    void startDoesNotWaitForASilentServer();
    void channelThatCannotConnectSaysWhy();
    void switchIsForLaterChannels();

private:
    bool isRobust() const { return channel->findChild<SockJSConnector *>()->isRobustTransport(); }
};

void tst_RobustSession::channelOpensAfterTheStartHasReturned()
{
    createSession();
    client->setRobustTransport(true);
    expectAll(startOperations(bus->url()));
    const LogCapture log;
    QVERIFY(openChannel());
    QVERIFY(isRobust());
    QVERIFY(!channel->isConnected());
    QCOMPARE(channel->getTransport(), QString());
    QTRY_COMPARE(bus->messages(),
                 (QStringList{
                     R"({"type":"register","address":"TOKEN"})",
                     R"({"type":"register","address":"TOKEN.presenter"})",
                     R"({"type":"register","address":"TOKEN.presenter.USER"})",
                 }));
    QVERIFY(channel->isConnected());
    expectStop();
    QVERIFY(client->doStopSession());
    QTRY_COMPARE(channel->getCloseCode(), 1000);
}

void tst_RobustSession::startDoesNotWaitForASilentServer()
{
    const StallingServer silent;
    createSession();
    client->setRobustTransport(true);
    expectAll(startOperations(localUrl(silent.port())));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QVERIFY(openChannel());
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
    QTRY_COMPARE(silent.connections, 1);
    const QSignalSpy closed(channel, &PresenterCollab::connectionClosed);
    channel->close();
    QCOMPARE(closed.size(), 1);
    expectStop();
    QVERIFY(client->doStopSession());
}

void tst_RobustSession::channelThatCannotConnectSaysWhy()
{
    const DeadPort port;
    createSession();
    client->setRobustTransport(true);
    expectAll(startOperations(localUrl(port)));
    const LogCapture log;
    QVERIFY(openChannel());
    const QSignalSpy closed(channel, &PresenterCollab::connectionClosed);
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(channel->getCloseCode(), 1006);
    QCOMPARE(channel->getCloseReason(),
             u"No transport could be opened: websocket: Connection refused"_s);
    expectStop();
    QVERIFY(client->doStopSession());
    QCOMPARE(closed.size(), 1);
}

void tst_RobustSession::switchIsForLaterChannels()
{
    const LogCapture log;
    startSession();
    QVERIFY(!isRobust());
    client->setRobustTransport(true);
    QVERIFY(!isRobust());
    expectAll(startOperations(bus->url()));
    QVERIFY(openChannel());
    QVERIFY(isRobust());
    client->setRobustTransport(false);
    QVERIFY(isRobust());
    expectAll(startOperations(bus->url()));
    QVERIFY(openChannel());
    QVERIFY(!isRobust());
    expectStop();
    QVERIFY(client->doStopSession());
}

QTEST_GUILESS_MAIN(tst_RobustSession)
#include "tst_robustsession.moc"
