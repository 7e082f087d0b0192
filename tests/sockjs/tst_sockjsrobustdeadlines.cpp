#include "DeafPort.h"
#include "FarEnd.h"
#include "OpeningRun.h"
#include "RawServers.h"

#include <QtNetwork/QTcpServer>

#include <deque>

using namespace Scripted;

// How long the robust way waits for each transport: 10 s until it stands, and 5 s more for the open
// frame.
class tst_SockJSRobustDeadlines : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTransportHasItsTime();
    void nextTransportFollowsAfterTheDeadline();
    void sessionThatWasOpenedByHandStays();
    void attemptThatWasEndedByHandIsOver();
};

namespace
{

// An attempt of one transport, and how long it took to its end.
struct Attempt {
    Attempt(const char *description, quint16 port, SockJSConnector::PROTOCOL_TYPE protocol,
            bool tls = false)
        : name(description)
    {
        timer.start();
        QObject::connect(&run.connector, &SockJSConnector::closed,
                         [this] { ms = timer.elapsed(); });
        run.open(port, {protocol}, tls ? u"wss"_s : u"ws"_s);
    }
    QString result() const
    {
        const bool isTen = ms > 9500 && ms < 12000;
        const bool isFive = ms > 4500 && ms < 7000;
        return u"%1, %2: %3"_s.arg(name,
                                   isTen        ? u"10 s"_s
                                       : isFive ? u"5 s"_s
                                                : QString::number(ms),
                                   run.ends.join(u" | "_s));
    }

    const QString name;
    qint64 ms = 0;
    QElapsedTimer timer;
    OpeningRun run;
};

bool haveEnded(const std::deque<Attempt> &attempts)
{
    return std::all_of(attempts.begin(), attempts.end(),
                       [](const Attempt &attempt) { return !attempt.run.ends.isEmpty(); });
}

// Without the words that all of them have.
QStringList resultsOf(const std::deque<Attempt> &attempts)
{
    QStringList results;
    for (const Attempt &attempt : attempts) {
        results.append(attempt.result()
                           .remove(u"1006 No transport could be opened: "_s)
                           .remove(u"The server cannot be reached: "_s));
    }
    return results;
}

const QStringList TIMES = {
    "web socket, silent, 10 s: websocket: the server does not answer",
    "web socket, silent, TLS, 10 s: websocket: the server does not answer",
    "web socket, deaf, 10 s: websocket: the server does not answer",
    "web socket, unopened, 5 s: websocket: the server does not open the session",
    "polling, silent, 5 s: xhr-polling: the server does not open the session",
    "polling, silent, TLS, 10 s: xhr-polling: the server does not answer",
    "polling, deaf, 10 s: xhr-polling: the server does not answer",
    "streaming, held back, 5 s: xhr-streaming: the server does not open the session",
};

} // namespace

void tst_SockJSRobustDeadlines::everyTransportHasItsTime()
{
    QTcpServer silent; // takes connections and says nothing on them
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const quint16 silentPort = silent.serverPort();
    const DeafPort deaf;
    const RawWebSocketServer unopened; // answers the handshake only
    ScriptedServer heldBack;           // begins a stream that brings the prelude only
    heldBack.onConnection(
        {expectRequest(), send(CHUNKED + chunk(QByteArray(2048, 'h') + '\n')), expectEnd()});
    QVERIFY(heldBack.listen());

    const LogCapture log;
    std::deque<Attempt> attempts;
    attempts.emplace_back("web socket, silent", silentPort, WEBSOCKET);
    attempts.emplace_back("web socket, silent, TLS", silentPort, WEBSOCKET, true);
    attempts.emplace_back("web socket, deaf", deaf.port(), WEBSOCKET);
    attempts.emplace_back("web socket, unopened", unopened.port(), WEBSOCKET);
    attempts.emplace_back("polling, silent", silentPort, XHR_POLLING);
    attempts.emplace_back("polling, silent, TLS", silentPort, XHR_POLLING, true);
    attempts.emplace_back("polling, deaf", deaf.port(), XHR_POLLING);
    attempts.emplace_back("streaming, held back", heldBack.port(), XHR_STREAMING);
    QTRY_VERIFY_WITH_TIMEOUT(haveEnded(attempts), 15000);
    QTest::qWait(200);
    QCOMPARE(resultsOf(attempts), TIMES);
    QVERIFY2(heldBack.finished(), qPrintable(heldBack.failure()));
}

// The connections of those that gave way are gone by then.
void tst_SockJSRobustDeadlines::nextTransportFollowsAfterTheDeadline()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), expectEnd()});
    server.onConnection({expectRequest(), send(CHUNKED), expectEnd()});
    server.onConnection(POLLED_OPEN);
    QVERIFY(server.listen());
    const LogCapture log;
    OpeningRun run;
    QElapsedTimer timer;
    timer.start();
    run.open(server.port(), {WEBSOCKET, XHR_STREAMING, XHR_POLLING});
    QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 2, 15000);
    QVERIFY2(timer.elapsed() > 9500 && timer.restart() < 12000, "of the web socket");
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.size(), 1, 10000);
    QVERIFY2(timer.elapsed() > 4500 && timer.elapsed() < 7000, "of the stream");
    QCOMPARE(run.closed.size(), 0);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QStringList ids;
    for (const QByteArray &request : server.requests())
        ids.append(sessionIdOf(request));
    QCOMPARE(ids.size(), 3);
    QCOMPARE(ids.removeDuplicates(), 0);
}

void tst_SockJSRobustDeadlines::sessionThatWasOpenedByHandStays()
{
    const RawWebSocketServer unopened;
    const LogCapture log;
    OpeningRun run;
    run.open(unopened.port());
    QTRY_COMPARE(run.connector.getTransport(), u"websocket"_s);
    run.connector.onConnected();
    QTest::qWait(7000);
    QCOMPARE(run.ends, QStringList());
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSRobustDeadlines::attemptThatWasEndedByHandIsOver()
{
    ScriptedServer unopened;
    unopened.onConnection({expectRequest(), expectEnd()});
    QVERIFY(unopened.listen());
    const LogCapture log;
    OpeningRun run;
    run.open(unopened.port(), {XHR_POLLING, XHR_STREAMING});
    QTRY_COMPARE(run.connector.getTransport(), u"xhr-polling"_s);
    run.connector.onClosed();
    QCOMPARE(run.ends.size(), 1);
    QTest::qWait(7000);
    QCOMPARE(run.ends.size(), 1);
    QCOMPARE(unopened.connectionCount(), 1);
}

QTEST_GUILESS_MAIN(tst_SockJSRobustDeadlines)
#include "tst_sockjsrobustdeadlines.moc"
