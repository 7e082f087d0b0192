#include "DeadPort.h"
#include "DeafPort.h"
#include "FarEnd.h"
#include "OpeningRun.h"
#include "RawServers.h"
#include "ToolkitWords.h"
#include "support/Promptness.h"

#include <QtCore/QRegularExpression>
#include <QtNetwork/QTcpServer>

using namespace Scripted;

Q_DECLARE_METATYPE(Step)

// The robust way to open: nothing blocks, and one transport after the other has its turn.
class tst_SockJSRobustOpening : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void openReturnsAtOnce_data();
    void openReturnsAtOnce();
    void refusedWebSocketGivesWay_data();
    void refusedWebSocketGivesWay();
    void webSocketThatClosesBeforeTheOpenFrameGivesWay_data();
    void webSocketThatClosesBeforeTheOpenFrameGivesWay();
    void everyAttemptHasASessionOfItsOwn();
    void listAloneDecidesWhatIsTried_data();
    void listAloneDecidesWhatIsTried();
    void failureOfAllIsTold_data();
    void failureOfAllIsTold();
    void listWithoutATransportIsToldFromTheEventLoop_data();
    void listWithoutATransportIsToldFromTheEventLoop();
    void heldSessionGivesWay();
    void goodbyeBeforeTheOpenFrameEndsTheConnection();
    void idsOfTheDefaultWayStayAsTheyAre();
};

namespace
{

const QString OPENED_LINE = u"[SockJSXHRPolling] RECEIVED: o"_s;

// The lines of an attempt over a web socket that gives way to polling, which opens the session.
QStringList givenWayLines(const QString &urlLine, const QString &reason)
{
    return {urlLine, u"[SockJSConnector] websocket gives way: "_s + reason, POLLING_LINE,
            OPENED_LINE};
}

// How often a timer of the host is heard, and the longest time between two of its turns.
struct Ticks {
    Ticks()
    {
        QObject::connect(&timer, &QTimer::timeout, [this] {
            ++count;
            longestMs = qMax(longestMs, sinceLast.restart());
        });
        sinceLast.start();
        timer.start(20);
    }
    int count = 0;
    qint64 longestMs = 0;

private:
    QTimer timer;
    QElapsedTimer sinceLast;
};

} // namespace

void tst_SockJSRobustOpening::openReturnsAtOnce_data()
{
    QTest::addColumn<QString>("server");
    QTest::addColumn<SockJSConnector::PROTOCOL_TYPE>("protocol");
    for (const char *server : {"silent", "silent, TLS", "deaf", "unknown"}) {
        QTest::addRow("%s, websocket", server) << QString(server) << WEBSOCKET;
        QTest::addRow("%s, xhr-streaming", server) << QString(server) << XHR_STREAMING;
        QTest::addRow("%s, xhr-polling", server) << QString(server) << XHR_POLLING;
    }
}

void tst_SockJSRobustOpening::openReturnsAtOnce()
{
    const LogCapture log;
    QFETCH(QString, server);
    QFETCH(SockJSConnector::PROTOCOL_TYPE, protocol);
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const DeafPort deaf;
    QUrl url = serverUrl(server == u"deaf"_s ? deaf.port() : silent.serverPort(),
                         server.endsWith(u"TLS"_s) ? u"wss"_s : u"ws"_s);
    if (server == u"unknown"_s)
        url.setHost(u"nowhere.invalid"_s);

    Promptness promptness;
    while (promptness.isOpen()) {
        OpeningRun run;
        const Ticks ticks;
        QElapsedTimer timer;
        timer.start();
        run.connector.open(url, {protocol});
        promptness.take(timer.elapsed(), 500);
        QCOMPARE(run.closed.size(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(ticks.count > 10, 20000);
        promptness.take(ticks.longestMs, 500);
        QCOMPARE(run.connected.size(), 0);
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSRobustOpening::refusedWebSocketGivesWay_data()
{
    QTest::addColumn<Script>("answer");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const Script &answer, const QString &reason) {
        QTest::newRow(name) << (Script{expectRequest()} + answer) << reason;
    };
    const QByteArray wrongKey = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\n"
                                "Connection: Upgrade\r\nSec-WebSocket-Accept: x\r\n\r\n";
    const char *notFound = "Unhandled http status code: 404 (Not Found).";
    row("no such path", {send(reply("", "404 Not Found"))}, notFound);
    row("no such path, and the end", {send(reply("", "404 Not Found")), Scripted::close()},
        notFound);
    row("wrong key", {send(wrongKey)},
        "Accept-Key received from server x does not match the client key");
    row("no HTTP", {send("hello\r\n\r\n")}, noStatusLine());
    row("the end", {Scripted::close()}, "The remote host closed the connection");
    row("a reset", {Scripted::abort()}, "The remote host closed the connection");
}

void tst_SockJSRobustOpening::refusedWebSocketGivesWay()
{
    QFETCH(Script, answer);
    QFETCH(QString, reason);
    ScriptedServer server;
    server.onConnection(answer);
    server.onConnection(POLLED_OPEN);
    QVERIFY(server.listen());
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.open(server.port(), {WEBSOCKET, XHR_POLLING});
    const QString urlLine = run.urlLine();
    QTRY_COMPARE(run.connected.size(), 1);
    QStringList lines = run.log.messages();
    const QStringList expected = givenWayLines(urlLine, reason);
    QCOMPARE(lines.size(), expected.size());
    lines[1].truncate(expected.at(1).size()); // the key behind it is a new one each time
    QCOMPARE(lines, expected);
    QCOMPARE(run.closed.size(), 0);
    QCOMPARE(run.connector.getCloseCode(), 0);
}

void tst_SockJSRobustOpening::webSocketThatClosesBeforeTheOpenFrameGivesWay_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<QString>("reason");
    QTest::newRow("without a word") << QByteArray() << u"The remote host closed the connection"_s;
    QTest::newRow("with a code") << RawWebSocketServer::frame(
        RawWebSocketServer::CLOSE, QByteArray("\x0f\xa1", 2) + "class over")
                                 << u"class over"_s;
}

void tst_SockJSRobustOpening::webSocketThatClosesBeforeTheOpenFrameGivesWay()
{
    QFETCH(QByteArray, frame);
    QFETCH(QString, reason);
    RawWebSocketServer server;
    server.behindHandshake = frame;
    server.closesAfterHandshake = true;
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.open(server.port(), {WEBSOCKET, XHR_POLLING});
    const QString urlLine = run.urlLine();
    QTRY_VERIFY(server.request().startsWith("POST "));
    server.client->write(FRAME_O);
    QTRY_COMPARE(run.connected.size(), 1);
    QStringList lines = givenWayLines(urlLine, reason);
    lines.insert(1, CONNECTED_LINE);
    QCOMPARE(run.log.messages(), lines);
    QCOMPARE(run.closed.size(), 0);
}

void tst_SockJSRobustOpening::everyAttemptHasASessionOfItsOwn()
{
    const LogCapture log;
    ScriptedServer server;
    const Script refusal = {expectRequest(), send(reply("", "404 Not Found"))};
    for (int i = 0; i < 4; ++i)
        server.onConnection(refusal);
    server.onConnection(POLLED_OPEN);
    QVERIFY(server.listen());
    OpeningRun run;
    run.open(server.port(), {WEBSOCKET, XHR_POLLING, WEBSOCKET, XHR_STREAMING, XHR_POLLING});
    QTRY_COMPARE(run.connected.size(), 1);

    const QRegularExpression form(
        u"^(GET|POST) /bus/eventbus/119/([A-Za-z0-9]{8})/(websocket|xhr|xhr_streaming) HTTP/1.1$"_s);
    QStringList transports;
    QStringList ids;
    for (const QByteArray &request : server.requests()) {
        const auto match = form.match(QString::fromLatin1(request.left(request.indexOf('\r'))));
        transports.append(match.captured(3));
        ids.append(match.captured(2));
    }
    QCOMPARE(transports, (QStringList{"websocket", "xhr", "websocket", "xhr_streaming", "xhr"}));
    QCOMPARE(ids.removeDuplicates(), 0);
}

void tst_SockJSRobustOpening::listAloneDecidesWhatIsTried_data()
{
    QTest::addColumn<Protocols>("protocols");
    QTest::addColumn<QStringList>("tried");
    QTest::newRow("web socket alone") << Protocols{WEBSOCKET} << QStringList{"websocket"};
    QTest::newRow("polling before")
        << Protocols{XHR_POLLING, WEBSOCKET} << QStringList{"xhr", "websocket"};
    QTest::newRow("unknown values between")
        << Protocols{NO_PROTOCOL, XHR_STREAMING, NO_PROTOCOL, WEBSOCKET, NO_PROTOCOL}
        << QStringList{"xhr_streaming", "websocket"};
}

void tst_SockJSRobustOpening::listAloneDecidesWhatIsTried()
{
    const LogCapture log;
    QFETCH(Protocols, protocols);
    QFETCH(QStringList, tried);
    ScriptedServer server;
    server.onEveryOther({expectRequest(), send(reply("", "404 Not Found"))});
    QVERIFY(server.listen());
    OpeningRun run;
    run.open(server.port(), protocols);
    QTRY_COMPARE(run.closed.size(), 1);
    QTest::qWait(200);
    QStringList asked;
    for (const QByteArray &request : server.requests())
        asked.append(QString::fromLatin1(request.split(' ').at(1).split('/').last()));
    QCOMPARE(asked, tried);
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
}

void tst_SockJSRobustOpening::failureOfAllIsTold_data()
{
    QTest::addColumn<Protocols>("protocols");
    QTest::addColumn<QStringList>("lines");
    QTest::addColumn<QString>("reason");
    QTest::newRow("web socket")
        << Protocols{WEBSOCKET}
        << QStringList{"[SockJSConnector] websocket gives way: Connection refused"}
        << u"No transport could be opened: websocket: Connection refused"_s;
    QTest::newRow("all") << Protocols{WEBSOCKET, XHR_STREAMING, XHR_POLLING}
                         << QStringList{"[SockJSConnector] websocket gives way: Connection refused",
                                        "[SockJSConnector] xhr-streaming gives way: The server "
                                        "cannot be reached: Connection refused",
                                        "[SockJSConnector] xhr-polling gives way: The server "
                                        "cannot be reached: Connection refused"}
                         << QString(
                                "No transport could be opened: websocket: Connection refused; "
                                "xhr-streaming: The server cannot be reached: Connection refused; "
                                "xhr-polling: The server cannot be reached: Connection refused");
}

void tst_SockJSRobustOpening::failureOfAllIsTold()
{
    QFETCH(Protocols, protocols);
    QFETCH(QStringList, lines);
    QFETCH(QString, reason);
    const DeadPort port;
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.open(port, protocols);
    const QString urlLine = run.urlLine();
    QTRY_COMPARE(run.closed.size(), 1);
    QCOMPARE(run.log.messages(),
             QStringList{urlLine} + lines + QStringList{u"[SockJSConnector] "_s + reason});
    QCOMPARE(run.connector.getCloseCode(), 1006);
    QCOMPARE(run.connector.getCloseReason(), reason);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
    QTest::qWait(100);
    QCOMPARE(run.closed.size(), 1);
}

void tst_SockJSRobustOpening::listWithoutATransportIsToldFromTheEventLoop_data()
{
    QTest::addColumn<Protocols>("protocols");
    QTest::newRow("empty") << Protocols{};
    QTest::newRow("unknown values") << Protocols{NO_PROTOCOL, NO_PROTOCOL};
}

void tst_SockJSRobustOpening::listWithoutATransportIsToldFromTheEventLoop()
{
    const LogCapture log;
    QFETCH(Protocols, protocols);
    OpeningRun run;
    run.open(1, protocols);
    QCOMPARE(run.closed.size(), 0);
    QCOMPARE(run.connector.getCloseCode(), 0);
    QTRY_COMPARE(run.ends, QStringList{"1006 There is no transport to try"});
    QTest::qWait(50);
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
}

// Its own word for it: the session is another request's.
void tst_SockJSRobustOpening::heldSessionGivesWay()
{
    ScriptedServer server;
    server.onConnection(
        {expectRequest(), send(reply("c[2010,\"Another connection still open\"]\n"))});
    server.onConnection(POLLED_OPEN);
    QVERIFY(server.listen());
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.open(server.port(), {XHR_POLLING, XHR_POLLING});
    QTRY_COMPARE(run.connected.size(), 1);
    QCOMPARE(run.log.messages(),
             (QStringList{POLLING_LINE,
                          "[SockJSXHRPolling] RECEIVED: c[2010,\"Another connection still open\"]",
                          "[SockJSConnector] xhr-polling gives way: Another connection still open",
                          POLLING_LINE, OPENED_LINE}));
    QVERIFY(sessionIdOf(server.requests().at(0)) != sessionIdOf(server.requests().at(1)));
    QCOMPARE(run.closed.size(), 0);
}

void tst_SockJSRobustOpening::goodbyeBeforeTheOpenFrameEndsTheConnection()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), send(reply("c[3000,\"Go away!\"]\n"))});
    QVERIFY(server.listen());
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.open(server.port(), {XHR_POLLING, WEBSOCKET});
    QTRY_COMPARE(run.closed.size(), 1);
    QCOMPARE(run.connector.getCloseCode(), 3000);
    QCOMPARE(run.connector.getCloseReason(), u"Go away!"_s);
    QTest::qWait(100);
    QCOMPARE(
        run.log.messages(),
        (QStringList{POLLING_LINE, "[SockJSXHRPolling] RECEIVED: c[3000,\"Go away!\"]", CLOSED_LINE,
                     "[SockJSConnector] Connection ended with code 3000: Go away!"}));
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(server.connectionCount(), 1);
}

// Made from the time in whole seconds, so equal within one.
void tst_SockJSRobustOpening::idsOfTheDefaultWayStayAsTheyAre()
{
    const LogCapture log;
    ScriptedServer server;
    server.onEveryOther(POLLED_OPEN);
    QVERIFY(server.listen());
    const auto idsOfTwo = [&](bool robust) {
        OpeningRun first(robust);
        OpeningRun second(robust);
        const int before = server.requests().size();
        first.open(server.port(), {XHR_POLLING});
        second.open(server.port(), {XHR_POLLING});
        if (!QTest::qWaitFor([&] { return server.requests().size() >= before + 2; }))
            return QStringList();
        return QStringList{sessionIdOf(server.requests().at(before)),
                           sessionIdOf(server.requests().at(before + 1))};
    };
    // Those of a second's last moment are not the next one's.
    QTRY_VERIFY(QTime::currentTime().msec() < 500);
    const QStringList ids = idsOfTwo(false);
    QCOMPARE(ids.size(), 2);
    QCOMPARE(ids.at(0), ids.at(1));
    const QStringList robustIds = idsOfTwo(true);
    QCOMPARE(robustIds.size(), 2);
    QVERIFY(robustIds.at(0) != robustIds.at(1));
}

QTEST_GUILESS_MAIN(tst_SockJSRobustOpening)
#include "tst_sockjsrobustopening.moc"
