#include "ConnectorRun.h"
#include "CpuTime.h"
#include "DeadPort.h"
#include "Http.h"
#include "RawServers.h"
#include "support/EventBusServer.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

using namespace Scripted;

// How the connector attempts one transport after the other, and waits for them.
class tst_SockJSAttempts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void websocketSessionOpens_data();
    void websocketSessionOpens();
    void refusedWebsocketGivesWayToTheNextEntry();
    void handshakeRefusedOnAnOpenConnectionGivesWayToo();
    void invalidUrlGivesWayToo();
    void untrustedTlsServerGivesWayToo();
    void framesThatComeWithTheHandshakeAreHandledInOrder();
    void endThatComesWithTheHandshakeIsNotMissed();
    void websocketLostBeforeTheOpenFrameFallsBackToPolling();
    void fallbackThatFailsIsReportedAsClosed();
    void websocketLostAfterTheOpenFrameIsReportedAsClosed();
    void xhrSessionOpens_data();
    void xhrSessionOpens();
    void xhrLostBeforeTheOpenFrameIsReportedAsClosed();
    void failedXhrAttemptIsFreedAtOnce();
    void waitingForAWebsocketDispatchesEventsWithoutSpinning();
    void openstateSlotEndsTheWait_data();
    void openstateSlotEndsTheWait();
    void attemptThatASlotHasEndedIsNotTakenUpAgain();
    void openstateSlotMeansNothingToASessionInUse();
    void applicationMayQuitDuringAnAttempt();
    void hostOfAnApplicationThatWasToldToQuitMayOpen();
};

namespace
{

const QString FALLBACK_LINE = u"[SockJSConnector] Fallback to XHR_Polling"_s;

} // namespace

void tst_SockJSAttempts::websocketSessionOpens_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("TLS") << true;
}

void tst_SockJSAttempts::websocketSessionOpens()
{
    QFETCH(bool, tls);
    TestCertificates certificates;
    certificates.trust();
    const TestCertificates::Identity identity = certificates.issue(u"localhost"_s);
    EventBusServer bus(tls ? &identity : nullptr);
    bus.opensNoSessions();

    ConnectorRun run;
    QVERIFY(!run.connector.open(serverUrl(bus.port(), tls ? u"https"_s : u"http"_s),
                                {WEBSOCKET, XHR_POLLING}));
    QCOMPARE(run.log.messages(), (QStringList{run.urlLine(), CONNECTED_LINE}));
    QVERIFY(!run.connector.isConnected());
    QTRY_COMPARE(bus.paths(),
                 QStringList{u"/bus/eventbus/119/"_s + SockJSProbe::sessionId(run.connector)
                             + u"/websocket"_s});
    QCOMPARE(bus.connection()->origin(), QString());
    QCOMPARE(bus.connection()->version(), QWebSocketProtocol::Version13);

    bus.sendFrame(u"o"_s);
    QTRY_COMPARE(run.connected.size(), 1);
    QVERIFY(run.connector.isConnected());
    bus.sendFrame(u"h"_s);
    bus.sendFrame(u"a[\"x\",\"y\"]"_s);
    QTRY_COMPARE(run.texts(), (QStringList{"x", "y"}));
    run.connector.sendMessage(u"hello"_s, false);
    QTRY_COMPARE(bus.frames(), QStringList{"[\n    \"hello\"\n]\n"});
}

void tst_SockJSAttempts::refusedWebsocketGivesWayToTheNextEntry()
{
    const DeadPort port;
    ConnectorRun run;
    QVERIFY(!run.open(port, {WEBSOCKET, XHR_STREAMING, XHR_POLLING}));
    QCOMPARE(run.log.messages(),
             (QStringList{run.urlLine(), "[SockJSXHRPolling] Connection refused",
                          "[SockJSXHRPolling] Connection refused"}));
    QTest::qWait(50);
    QCOMPARE(run.closed.size(), 0);
    QVERIFY(!SockJSProbe::webSocket(run.connector));
    QVERIFY(!SockJSProbe::xhrPolling(run.connector));
}

// Only the socket's error tells of it.
void tst_SockJSAttempts::handshakeRefusedOnAnOpenConnectionGivesWayToo()
{
    RawWebSocketServer server;
    server.refusal = "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n";
    ConnectorRun run;
    run.open(server.port(), {WEBSOCKET, SockJSConnector::PROTOCOL_TYPE(0)});
    QCOMPARE(run.log.messages(), (QStringList{run.urlLine(), NO_MORE_LINE}));
    QCOMPARE(SockJSProbe::openState(run.connector), 2);
    QCOMPARE(run.closed.size(), 0);
}

void tst_SockJSAttempts::invalidUrlGivesWayToo()
{
    ConnectorRun run;
    run.connector.open(QUrl(u"ws:///x"_s), {WEBSOCKET, SockJSConnector::PROTOCOL_TYPE(0)});
    QCOMPARE(run.log.messages().last(), NO_MORE_LINE);
    QCOMPARE(SockJSProbe::openState(run.connector), 2);
}

void tst_SockJSAttempts::untrustedTlsServerGivesWayToo()
{
    TestCertificates certificates;
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s));
    server.onEveryOther({});
    QVERIFY(server.listen());
    ConnectorRun run;
    run.connector.open(serverUrl(server.port(), u"wss"_s), {WEBSOCKET, XHR_POLLING});
    QCOMPARE(run.log.messages().size(), 2);
    QCOMPARE(run.log.messages().at(0), run.urlLine());
    QVERIFY2(run.log.messages().at(1).startsWith(u"[SockJSXHRPolling] The "_s),
             qPrintable(run.log.messages().at(1)));
    QCOMPARE(server.received(0), QByteArray());
    QCOMPARE(server.received(1), QByteArray());
    QCOMPARE(run.closed.size(), 0);
}

void tst_SockJSAttempts::framesThatComeWithTheHandshakeAreHandledInOrder()
{
    OpeningServer server(RawWebSocketServer::text("a[\"1\"]")
                         + RawWebSocketServer::text("a[\"2\",\"3\"]"));
    ConnectorRun run;
    QStringList logAtConnected;
    connect(&run.connector, &SockJSConnector::connected, this, [&] {
        logAtConnected = run.log.messages();
        // The frame that comes now must not overtake those that wait.
        server.client->write(RawWebSocketServer::text("a[\"4\"]"));
        QTest::qWait(100);
    });
    run.open(server.port());
    QTRY_COMPARE(run.texts(), (QStringList{"1", "2", "3", "4"}));
    QCOMPARE(run.connected.size(), 1);
    QCOMPARE(logAtConnected, (QStringList{run.urlLine(), CONNECTED_LINE}));
}

void tst_SockJSAttempts::endThatComesWithTheHandshakeIsNotMissed()
{
    OpeningServer server(RawWebSocketServer::text("a[\"1\"]"));
    server.closesAfterHandshake = true;
    for (int i = 0; i < 20; ++i) {
        ConnectorRun run;
        run.open(server.port());
        QTRY_COMPARE(run.closed.size(), 1);
        QCOMPARE(run.closed.at(0).at(0).toBool(), false);
        QCOMPARE(run.connected.size(), 1);
        QCOMPARE(run.texts(), QStringList{"1"});
        QCOMPARE(run.log.messages(), (QStringList{run.urlLine(), CONNECTED_LINE, CLOSED_LINE}));
    }
}

void tst_SockJSAttempts::websocketLostBeforeTheOpenFrameFallsBackToPolling()
{
    RawWebSocketServer server; // of both transports
    ConnectorRun run;
    run.open(server.port());
    QTRY_VERIFY(server.client);
    const QString session = SockJSProbe::sessionId(run.connector);
    server.client->disconnectFromHost();
    QTRY_COMPARE(
        run.log.messages(),
        (QStringList{run.urlLine(), CONNECTED_LINE, CLOSED_LINE, POLLING_LINE, FALLBACK_LINE}));
    QVERIFY(!SockJSProbe::webSocket(run.connector));
    QVERIFY(SockJSProbe::xhrPolling(run.connector));
    QTRY_VERIFY_WITH_TIMEOUT(server.request().startsWith("POST /bus/eventbus/119/"
                                                         + session.toLatin1() + "/xhr HTTP/1.1"),
                             20000);
    QCOMPARE(run.closed.size(), 0);
    server.client->write(FRAME_O);
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.size(), 1, 20000);
}

void tst_SockJSAttempts::fallbackThatFailsIsReportedAsClosed()
{
    auto server = std::make_unique<RawWebSocketServer>();
    ConnectorRun run;
    run.open(server->port());
    server.reset();
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
    QCOMPARE(run.log.messages(),
             (QStringList{run.urlLine(), CONNECTED_LINE, CLOSED_LINE,
                          "[SockJSXHRPolling] Connection refused"}));
}

void tst_SockJSAttempts::websocketLostAfterTheOpenFrameIsReportedAsClosed()
{
    OpeningServer server;
    ConnectorRun run;
    run.open(server.port(), {WEBSOCKET, XHR_POLLING});
    QVERIFY(run.connector.isConnected());
    server.client->disconnectFromHost();
    QTRY_COMPARE(run.closed.size(), 1);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
    QVERIFY(!run.connector.isConnected());
    QVERIFY(!SockJSProbe::webSocket(run.connector));
    QCOMPARE(run.log.messages(), (QStringList{run.urlLine(), CONNECTED_LINE, CLOSED_LINE}));
}

void tst_SockJSAttempts::xhrSessionOpens_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<bool>("tls");
    QTest::newRow("polling") << false << false;
    QTest::newRow("streaming") << true << false;
    QTest::newRow("polling, TLS") << false << true;
}

void tst_SockJSAttempts::xhrSessionOpens()
{
    QFETCH(bool, streaming);
    QFETCH(bool, tls);
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    if (tls)
        server.setCertificate(certificates.issue(u"localhost"_s));
    server.onConnection({expectRequest(), send(FRAME_O + reply("a[\"x\"]\n"))});
    server.onConnection({expectRequest(), send(NO_CONTENT)});
    QVERIFY(server.listen());
    ConnectorRun run;
    QVERIFY(!run.connector.open(serverUrl(server.port(), tls ? u"wss"_s : u"ws"_s),
                                {streaming ? XHR_STREAMING : XHR_POLLING, WEBSOCKET}));
    QCOMPARE(
        run.log.messages(),
        QStringList{streaming ? u"[SockJSConnector] CONNECTED via xhr_streaming"_s : POLLING_LINE});
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.size(), 1, 20000);
    const QByteArray sessionPath =
        "POST /bus/eventbus/119/" + SockJSProbe::sessionId(run.connector).toLatin1();
    QVERIFY(server.requests(0).at(0).startsWith(
        sessionPath + (streaming ? "/xhr_streaming HTTP/1.1\r\n" : "/xhr HTTP/1.1\r\n")));
    run.connector.sendMessage(u"hello"_s, false);
    QTRY_COMPARE_WITH_TIMEOUT(server.requests(1).size(), 1, 20000);
    QVERIFY(server.requests(1).at(0).startsWith(sessionPath + "/xhr_send HTTP/1.1\r\n"));
    QVERIFY(server.requests(1).at(0).endsWith("\r\n\r\n[\n    \"hello\"\n]\n"));
}

void tst_SockJSAttempts::xhrLostBeforeTheOpenFrameIsReportedAsClosed()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    ConnectorRun run;
    run.open(server.port(), {XHR_POLLING});
    server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    QCOMPARE(run.log.messages().last(), CLOSED_LINE);
    QVERIFY(!SockJSProbe::xhrPolling(run.connector));
}

void tst_SockJSAttempts::failedXhrAttemptIsFreedAtOnce()
{
    const DeadPort port;
    ConnectorRun run;
    run.open(port, {XHR_POLLING});
    QCOMPARE(run.connector.findChildren<SockJSXHRPolling *>().size(), 0);
}

void tst_SockJSAttempts::waitingForAWebsocketDispatchesEventsWithoutSpinning()
{
    const StallingServer server;
    ConnectorRun run;
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&] { ++ticks; });
    timer.start(100);
    double usedMs = 0;
    QTimer::singleShot(2000, this, [&] {
        usedMs += cpuMs(CLOCK_THREAD_CPUTIME_ID);
        run.connector.close();
    });
    usedMs -= cpuMs(CLOCK_THREAD_CPUTIME_ID);
    run.open(server.port(), {WEBSOCKET, XHR_POLLING});
    QVERIFY2(ticks >= 10, qPrintable(QString::number(ticks)));
    QVERIFY2(usedMs < 200, qPrintable(QString::number(usedMs)));
    QCOMPARE(server.connections, 1);
}

void tst_SockJSAttempts::openstateSlotEndsTheWait_data()
{
    QTest::addColumn<bool>("connected");
    QTest::newRow("connected") << true;
    QTest::newRow("not connected") << false;
}

// The wait is for the state, whoever sets it.
void tst_SockJSAttempts::openstateSlotEndsTheWait()
{
    QFETCH(bool, connected);
    const StallingServer server;
    ConnectorRun run;
    QElapsedTimer clock;
    clock.start();
    QTimer::singleShot(300, &run.connector, [&] {
        if (connected)
            run.connector.openstate1();
        else
            run.connector.openstate2();
    });
    QTimer::singleShot(4000, &run.connector, &SockJSConnector::close);
    run.open(server.port(), {WEBSOCKET, NO_PROTOCOL});
    QVERIFY2(clock.elapsed() >= 300 && clock.elapsed() < 2000,
             qPrintable(QString::number(clock.elapsed())));
    QStringList lines{run.urlLine()};
    lines += connected ? CONNECTED_LINE : NO_MORE_LINE;
    QCOMPARE(run.log.messages(), lines);
    QCOMPARE(SockJSProbe::webSocket(run.connector) != nullptr, connected);
    QCOMPARE(run.closed.size(), 0);
}

// The slot waits until the server has answered, which open() has no time to see before.
void tst_SockJSAttempts::attemptThatASlotHasEndedIsNotTakenUpAgain()
{
    OpeningServer server;
    ConnectorRun run;
    QTimer::singleShot(0, &run.connector, [&] {
        run.connector.openstate2();
        QTRY_COMPARE(SockJSProbe::webSocket(run.connector)->state(),
                     QAbstractSocket::ConnectedState);
        QCoreApplication::sendPostedEvents(&run.connector);
    });
    run.open(server.port(), {WEBSOCKET, NO_PROTOCOL});
    QCOMPARE(run.log.messages(), (QStringList{run.urlLine(), NO_MORE_LINE}));
    QVERIFY(!SockJSProbe::webSocket(run.connector));
    QCOMPARE(run.connected.size(), 0);
}

void tst_SockJSAttempts::openstateSlotMeansNothingToASessionInUse()
{
    OpeningServer server;
    ConnectorRun run;
    run.open(server.port());
    run.connector.openstate2();
    server.client->write(RawWebSocketServer::text("a[\"x\"]"));
    QTRY_COMPARE(run.texts(), QStringList{"x"});
    run.open(server.port(), {}); // ends it like any other
    QCOMPARE(run.closed.size(), 1);
}

void tst_SockJSAttempts::applicationMayQuitDuringAnAttempt()
{
    const StallingServer server;
    ConnectorRun run;
    bool returned = false;
    QTimer::singleShot(0, this, [&] {
        run.open(server.port(), {WEBSOCKET, XHR_POLLING});
        returned = true;
    });
    QTimer::singleShot(200, QCoreApplication::instance(), &QCoreApplication::quit);
    QCoreApplication::exec();
    QVERIFY(returned);
    QCOMPARE(run.log.messages(), QStringList{run.urlLine()});
    QVERIFY(!SockJSProbe::webSocket(run.connector));
}

void tst_SockJSAttempts::hostOfAnApplicationThatWasToldToQuitMayOpen()
{
    QCoreApplication::quit();
    OpeningServer server;
    ConnectorRun run;
    run.open(server.port());
    QCOMPARE(run.connected.size(), 1);
}

QTEST_GUILESS_MAIN(tst_SockJSAttempts)
#include "tst_sockjsattempts.moc"
