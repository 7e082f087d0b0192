#include "CpuTime.h"
#include "FarEnd.h"
#include "Http.h"
#include "RawServers.h"
#include "support/MetaMethods.h"
#include "support/ScriptedServer.h"

using namespace Scripted;

// The connector itself: its addresses, its list of transports, and how long it stays idle.
class tst_SockJSConnector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metaObjectIsAsDeclared();
    void protocolNames();
    void freshConnectorIsIdle();
    void transportIsNamedWhileItIsInUse_data();
    void transportIsNamedWhileItIsInUse();
    void serverUrlIsTakenApart_data();
    void serverUrlIsTakenApart();
    void emptyListStartsNothing();
    void unknownProtocolIsLoggedAndSkipped();
    void pastTheEndOfTheListIsLogged();
    void sessionIdIsMadeForEveryOpen();
    void inactivity_data();
    void inactivity();
    void inactivityTimerIsMadeOnce();
    void withoutAProxyTheEnvironmentStays();
    void idleSessionsCostNextToNoTime();
};

void tst_SockJSConnector::metaObjectIsAsDeclared()
{
    QCOMPARE(methodsOf(SockJSConnector::staticMetaObject),
             (QStringList{"connected()", "sockJSMessage(QString)", "error(int)", "closed(bool)",
                          "onConnected()", "onClosed()", "onTextMessageReceived(QString)",
                          "onTimeout()", "openstate1()", "openstate2()"}));
}

void tst_SockJSConnector::protocolNames()
{
    QCOMPARE(int(WEBSOCKET), 1);
    QCOMPARE(int(XHR_STREAMING), 2);
    QCOMPARE(int(XHR_POLLING), 4);
    const QMap<SockJSConnector::PROTOCOL_TYPE, QString> names =
        SockJSConnector::PROTOCOL_TYPE_STR();
    QCOMPARE(names.keys(), (Protocols{WEBSOCKET, XHR_STREAMING, XHR_POLLING}));
    QCOMPARE(names.values(), (QStringList{"websocket", "xhr-streaming", "xhr-polling"}));
}

void tst_SockJSConnector::freshConnectorIsIdle()
{
    ConnectorRun run;
    QVERIFY(!run.connector.isConnected());
    QVERIFY(!SockJSProbe::inactivityTimer(run.connector));
    QVERIFY(!SockJSProbe::closing(run.connector));
    QVERIFY(!SockJSProbe::xhrPolling(run.connector));
    QVERIFY(!SockJSProbe::webSocket(run.connector));
    QVERIFY(SockJSProbe::lastActivity(run.connector).isNull());
    QCOMPARE(SockJSProbe::path(run.connector), QString());
    QVERIFY(!SockJSProbe::path(run.connector).isNull());
}

void tst_SockJSConnector::transportIsNamedWhileItIsInUse_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<int>("protocol");
    QTest::addColumn<QString>("name");
    QTest::newRow("web socket") << false << int(WEBSOCKET) << u"websocket"_s;
    QTest::newRow("streaming") << true << int(XHR_STREAMING) << u"xhr-streaming"_s;
    QTest::newRow("polling") << true << int(XHR_POLLING) << u"xhr-polling"_s;
}

void tst_SockJSConnector::transportIsNamedWhileItIsInUse()
{
    QFETCH(bool, xhr);
    QFETCH(int, protocol);
    FarEnd farEnd(xhr);
    farEnd.polled.onConnection(POLLED_OPEN);
    ConnectorRun run;
    QCOMPARE(run.connector.getTransport(), QString());
    QString whileTrying = u"not asked"_s;
    QTimer::singleShot(0, &run.connector, [&] { whileTrying = run.connector.getTransport(); });
    run.open(xhr ? farEnd.polled.port() : farEnd.bus.port(),
             {SockJSConnector::PROTOCOL_TYPE(protocol)});
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.count(), 1, 20000);
    QTEST(run.connector.getTransport(), "name");
    if (!xhr)
        QCOMPARE(whileTrying, QString());
    run.connector.close();
    QCOMPARE(run.connector.getTransport(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.count(), 1, 20000);
    QCOMPARE(run.connector.getTransport(), QString());
}

void tst_SockJSConnector::serverUrlIsTakenApart_data()
{
    QTest::addColumn<QString>("url");
    QTest::addColumn<bool>("ssl");
    QTest::addColumn<int>("port");
    QTest::addColumn<QString>("host");
    QTest::addColumn<QString>("path");
    const auto row = [](const char *name, const char *url, bool ssl, int port, const char *host,
                        const char *path) {
        QTest::newRow(name) << url << ssl << port << host << path;
    };
    row("wss", "wss://h/x/", true, 443, "h", "/x");
    row("https", "https://h/x", true, 443, "h", "/x");
    row("http with a port", "http://h:8080", false, 8080, "h", "");
    row("ws", "ws://h/", false, 80, "h", "");
    row("wss with a port", "wss://h:8443/x/y", true, 8443, "h", "/x/y");
    // The URL class itself writes schemes in small letters.
    row("capitals", "HTTPS://h/x", true, 443, "h", "/x");
    row("other scheme", "ftp://h/x", false, 80, "h", "/x");
    row("no scheme", "//h/x", false, 80, "h", "/x");
    row("only one slash is dropped", "ws://h/x//", false, 80, "h", "/x/");
    row("path is decoded", "ws://h/a%20b%2541", false, 80, "h", "/a b%41");
    row("empty", "", false, 80, "", "");
}

void tst_SockJSConnector::serverUrlIsTakenApart()
{
    QFETCH(QString, url);
    ConnectorRun run;
    QVERIFY(!run.connector.open(QUrl(url), {}));
    QTEST(SockJSProbe::ssl(run.connector), "ssl");
    QTEST(SockJSProbe::port(run.connector), "port");
    QTEST(SockJSProbe::host(run.connector), "host");
    QTEST(SockJSProbe::path(run.connector), "path");
}

void tst_SockJSConnector::emptyListStartsNothing()
{
    ConnectorRun run;
    QVERIFY(!run.open(1, {}));
    QCOMPARE(run.log.messages(), QStringList());
    QCOMPARE(run.closed.size(), 0);
    QVERIFY(!SockJSProbe::webSocket(run.connector));
    QVERIFY(!SockJSProbe::xhrPolling(run.connector));
}

void tst_SockJSConnector::unknownProtocolIsLoggedAndSkipped()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    ConnectorRun run;
    QVERIFY(!run.open(server.port(), {NO_PROTOCOL, XHR_POLLING, WEBSOCKET}));
    QCOMPARE(run.log.messages(), (QStringList{NO_MORE_LINE, POLLING_LINE}));
}

void tst_SockJSConnector::pastTheEndOfTheListIsLogged()
{
    ConnectorRun run;
    run.open(1, {});
    QVERIFY(!SockJSProbe::tryNextProtocol(run.connector));
    QCOMPARE(run.log.messages(), QStringList{NO_MORE_LINE});
}

void tst_SockJSConnector::sessionIdIsMadeForEveryOpen()
{
    ConnectorRun run;
    run.open(1, {});
    const QString first = SockJSProbe::sessionId(run.connector);
    QVERIFY(QRegularExpression(u"^[A-Za-z0-9]{8}$"_s).match(first).hasMatch());
    // The seed is the time in whole seconds.
    QTest::qWait(1100);
    run.open(1, {});
    QVERIFY(SockJSProbe::sessionId(run.connector) != first);
}

void tst_SockJSConnector::inactivity_data()
{
    QTest::addColumn<qint64>("secondsAgo");
    QTest::addColumn<bool>("connected");
    QTest::addColumn<bool>("pinging");
    QTest::addColumn<bool>("closes");
    QTest::newRow("an hour is not enough") << qint64(3600) << true << false << false;
    QTest::newRow("more than an hour") << qint64(3602) << true << false << true;
    QTest::newRow("pings do not count") << qint64(3602) << true << true << true;
    QTest::newRow("not connected") << qint64(90000) << false << false << false;
}

void tst_SockJSConnector::inactivity()
{
    QFETCH(qint64, secondsAgo);
    QFETCH(bool, connected);
    QFETCH(bool, pinging);
    QFETCH(bool, closes);
    RawWebSocketServer server;
    if (connected)
        server.behindHandshake = RawWebSocketServer::text("o");
    ConnectorRun run;
    run.open(server.port());
    QCOMPARE(run.connector.isConnected(), connected);
    SockJSProbe::lastActivity(run.connector) = QDateTime::currentDateTimeUtc().addSecs(-secondsAgo);
    if (pinging)
        run.connector.sendMessage(u"{\"type\":\"ping\"}"_s, true);
    run.connector.onTimeout();
    QCOMPARE(run.closed.size(), closes ? 1 : 0);
    QCOMPARE(SockJSProbe::inactivityTimer(run.connector)->isActive(), !closes);
    if (closes) {
        QCOMPARE(run.closed.at(0).at(0).toBool(), true);
        QVERIFY(!run.connector.isConnected());
        // The next connection knows nothing of it.
        run.open(server.port());
        run.connector.close();
        QCOMPARE(run.closed.at(1).at(0).toBool(), false);
    } else {
        run.connector.sendMessage(u"x"_s, false);
        QVERIFY(
            qAbs(SockJSProbe::lastActivity(run.connector).secsTo(QDateTime::currentDateTimeUtc()))
            < 60);
    }
}

void tst_SockJSConnector::inactivityTimerIsMadeOnce()
{
    ConnectorRun run;
    run.open(1, {});
    const QTimer *timer = SockJSProbe::inactivityTimer(run.connector);
    QVERIFY(timer);
    QCOMPARE(timer->interval(), 1800000);
    QVERIFY(timer->isActive());
    SockJSProbe::inactivityTimer(run.connector)->stop();
    run.open(1, {});
    QCOMPARE(SockJSProbe::inactivityTimer(run.connector), timer);
    QVERIFY(!timer->isActive());
}

void tst_SockJSConnector::withoutAProxyTheEnvironmentStays()
{
    const QByteArray before = qgetenv("http_proxy");
    const bool wasSet = qEnvironmentVariableIsSet("http_proxy");
    RawWebSocketServer server;
    ConnectorRun run;
    run.open(server.port());
    QVERIFY(SockJSProbe::webSocket(run.connector));
    QCOMPARE(qgetenv("http_proxy"), before);
    QCOMPARE(qEnvironmentVariableIsSet("http_proxy"), wasSet);
}

void tst_SockJSConnector::idleSessionsCostNextToNoTime()
{
    const auto idleCostPerSecond = [&] {
        constexpr int SECONDS = 3;
        QEventLoop loop;
        QTimer::singleShot(SECONDS * 1000, &loop, &QEventLoop::quit);
        const double before = cpuMs(CLOCK_PROCESS_CPUTIME_ID);
        loop.exec();
        return (cpuMs(CLOCK_PROCESS_CPUTIME_ID) - before) / SECONDS;
    };
    OpeningServer server; // keeps polls waiting, too
    SockJSConnector overWebSocket;
    overWebSocket.open(serverUrl(server.port()), {WEBSOCKET});
    QVERIFY(overWebSocket.isConnected());
    const double webSocketCost = idleCostPerSecond();
    QVERIFY2(webSocketCost < 0.5, qPrintable(QString::number(webSocketCost)));

    ConnectorRun overXhr;
    overXhr.open(server.port(), {XHR_POLLING});
    QTRY_VERIFY_WITH_TIMEOUT(server.request().startsWith("POST "), 20000);
    server.client->write(FRAME_O);
    QTRY_COMPARE_WITH_TIMEOUT(overXhr.connected.size(), 1, 20000);
    SockJSXHRPollingWorker &worker =
        *SockJSProbe::worker(*SockJSProbe::xhrPolling(overXhr.connector));
    const auto hasNextPollLeft = [&] {
        const QMutexLocker lock(&SockJSProbe::queueMutex(worker));
        return SockJSProbe::txQueue(worker).isEmpty();
    };
    QTRY_VERIFY_WITH_TIMEOUT(hasNextPollLeft(), 20000);
    const double bothCost = idleCostPerSecond();
    QVERIFY2(bothCost < 2.0, qPrintable(QString::number(bothCost)));
}

QTEST_GUILESS_MAIN(tst_SockJSConnector)
#include "tst_sockjsconnector.moc"
