#include "DeadPort.h"
#include "FarEnd.h"
#include "OpeningRun.h"
#include "RawServers.h"

using namespace Scripted;

// The code and the reason of an end, in both ways, and what the switch between the two changes.
class tst_SockJSCloseCodes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endByTheHostIsNormal_data();
    void endByTheHostIsNormal();
    void lostConnectionIsAbnormal_data();
    void lostConnectionIsAbnormal();
    void fallbackThatTheHostClosesIsNormal();
    void nextOpenForgetsTheEnd_data();
    void nextOpenForgetsTheEnd();
    void switchIsOffByDefault();
    void switchedOnMidwayTheDefaultWayStays();
    void switchedOffMidwayTheRobustWayStays();
};

namespace
{

void addBothWays()
{
    QTest::addColumn<bool>("robust");
    QTest::addColumn<bool>("xhr");
    QTest::newRow("robust, web socket") << true << false;
    QTest::newRow("robust, XHR") << true << true;
    QTest::newRow("default, web socket") << false << false;
    QTest::newRow("default, XHR") << false << true;
}

// A far end whose session has been opened.
struct OpenRun {
    OpenRun(bool robust, bool xhr, const Script &further = {}) : far(xhr), run(robust)
    {
        far.polled.onConnection(POLLED_OPEN + further);
        far.open(run.connector);
        if (!QTest::qWaitFor([&] { return run.connector.isConnected(); }, 20000))
            qFatal("not open");
    }
    LogCapture log;
    FarEnd far;
    OpeningRun run;
};

} // namespace

void tst_SockJSCloseCodes::endByTheHostIsNormal_data()
{
    QTest::addColumn<bool>("inactive");
    QTest::addColumn<bool>("robust");
    QTest::addColumn<bool>("xhr");
    for (const bool inactive : {false, true}) {
        for (const bool robust : {false, true}) {
            for (const bool xhr : {false, true})
                QTest::addRow("%s, %s, %s", inactive ? "inactive" : "closed",
                              robust ? "robust" : "default", xhr ? "XHR" : "web socket")
                    << inactive << robust << xhr;
        }
    }
}

void tst_SockJSCloseCodes::endByTheHostIsNormal()
{
    QFETCH(bool, inactive);
    QFETCH(bool, robust);
    QFETCH(bool, xhr);
    OpenRun open(robust, xhr);
    SockJSConnector &connector = open.run.connector;
    QCOMPARE(connector.getCloseCode(), 0);
    QCOMPARE(connector.getCloseReason(), QString());
    if (inactive) {
        SockJSProbe::lastActivity(connector) = QDateTime::currentDateTimeUtc().addSecs(-3602);
        connector.onTimeout();
    } else {
        connector.close();
    }
    QTRY_COMPARE(open.run.ends,
                 QStringList{inactive ? "1000 Closed after an hour without messages"
                                      : "1000 Closed by the host"});
    QCOMPARE(open.run.closed.at(0).at(0).toBool(), inactive);
    QTest::qWait(100);
    QCOMPARE(open.run.closed.size(), 1);
    QCOMPARE(connector.getCloseCode(), 1000);
}

void tst_SockJSCloseCodes::lostConnectionIsAbnormal_data()
{
    addBothWays();
}

void tst_SockJSCloseCodes::lostConnectionIsAbnormal()
{
    QFETCH(bool, robust);
    QFETCH(bool, xhr);
    OpenRun open(robust, xhr, {expectRequest(), send("HTTP/1.1 200 OK\r\nContent-Le"), pause(200)});
    if (xhr) {
        QTRY_COMPARE(open.far.polled.requests().size(), 2);
        QTest::qWait(100);
        open.far.polled.stop();
    } else {
        open.far.bus.connection()->abort();
    }
    QTRY_COMPARE_WITH_TIMEOUT(open.run.closed.size(), 1, 20000);
    QCOMPARE(open.run.connector.getCloseCode(), 1006);
    QVERIFY(!open.run.connector.getCloseReason().isEmpty());
    QCOMPARE(open.run.closed.at(0).at(0).toBool(), false);
}

// In the default way, which tries polling of itself.
void tst_SockJSCloseCodes::fallbackThatTheHostClosesIsNormal()
{
    RawWebSocketServer server;
    server.closesAfterHandshake = true;
    const LogCapture log;
    OpeningRun run(false);
    run.connector.open(serverUrl(server.port()), {WEBSOCKET});
    QTRY_VERIFY(log.contains(u"[SockJSConnector] Fallback to XHR_Polling"_s));
    QCOMPARE(run.closed.size(), 0);
    QTRY_VERIFY(server.request().startsWith("POST "));
    run.connector.close();
    QTRY_COMPARE(run.ends, QStringList{"1000 Closed by the host"});
}

void tst_SockJSCloseCodes::nextOpenForgetsTheEnd_data()
{
    addBothWays();
}

void tst_SockJSCloseCodes::nextOpenForgetsTheEnd()
{
    QFETCH(bool, robust);
    QFETCH(bool, xhr);
    OpenRun open(robust, xhr);
    open.run.connector.close();
    QTRY_COMPARE(open.run.ends, QStringList{"1000 Closed by the host"});
    open.far.polled.onConnection(POLLED_OPEN);
    open.far.open(open.run.connector);
    QCOMPARE(open.run.connector.getCloseCode(), 0);
    QCOMPARE(open.run.connector.getCloseReason(), QString());
    QTRY_COMPARE(open.run.connected.size(), 2);
    QCOMPARE(open.run.connector.getCloseCode(), 0);
    open.run.connector.close();
    QTRY_COMPARE(open.run.ends.size(), 2);
    // Without a transport to try, too.
    open.run.connector.open(serverUrl(1), {});
    QCOMPARE(open.run.connector.getCloseCode(), 0);
    QCOMPARE(open.run.connector.getCloseReason(), QString());
}

void tst_SockJSCloseCodes::switchIsOffByDefault()
{
    ConnectorRun run;
    QVERIFY(!run.connector.isRobustTransport());
    const DeadPort port;
    run.open(port);
    QTest::qWait(100);
    QCOMPARE(run.log.messages(), QStringList{run.urlLine()});
    QCOMPARE(run.closed.size(), 0);
    run.connector.setRobustTransport(true);
    QVERIFY(run.connector.isRobustTransport());
    run.connector.setRobustTransport(false);
    QVERIFY(!run.connector.isRobustTransport());
}

// A close frame of SockJS means nothing to the default way.
void tst_SockJSCloseCodes::switchedOnMidwayTheDefaultWayStays()
{
    const Script goodbye = {expectRequest(), send(reply("c[3000,\"Go away!\"]\n")),
                            expectRequest()};
    OpenRun open(false, true, goodbye);
    open.run.connector.setRobustTransport(true);
    QTRY_COMPARE(open.far.polled.requests(0).size(), 3);
    QTest::qWait(100);
    QCOMPARE(open.run.ends, QStringList());
    QVERIFY(open.run.connector.isConnected());

    open.far.polled.onConnection(POLLED_OPEN + goodbye);
    open.far.open(open.run.connector);
    QTRY_COMPARE(open.run.ends, (QStringList{"1000 Closed by the host", "3000 Go away!"}));
}

void tst_SockJSCloseCodes::switchedOffMidwayTheRobustWayStays()
{
    const Script goodbye = {expectRequest(), pause(200), send(reply("c[3000,\"Go away!\"]\n"))};
    OpenRun open(true, true, goodbye);
    open.run.connector.setRobustTransport(false);
    QTRY_COMPARE(open.run.ends, QStringList{"3000 Go away!"});

    open.far.polled.onConnection(POLLED_OPEN + goodbye + Script{expectRequest()});
    open.far.open(open.run.connector);
    QTRY_COMPARE(open.far.polled.requests(1).size(), 3);
    QVERIFY(open.run.connector.isConnected());
}

QTEST_GUILESS_MAIN(tst_SockJSCloseCodes)
#include "tst_sockjsclosecodes.moc"
