#include "RobustRun.h"

using namespace Scripted;

// What the frames of a server mean for the connection: its end, and signs of life.
class tst_SockJSRobustFrames : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void closeFrameEndsTheConnection_data();
    void closeFrameEndsTheConnection();
    void closeFrameBeforeTheSessionIsTheAnswer();
    void anotherConnectionBeforeTheSessionMakesTheTransportGiveWay();
    void unreadableCloseFrameIsPassedOver_data();
    void unreadableCloseFrameIsPassedOver();
    void secondOpenFrameEndsTheConnection_data();
    void secondOpenFrameEndsTheConnection();
    void silenceBehindAHeartbeatEndsTheConnection_data();
    void silenceBehindAHeartbeatEndsTheConnection();
    void silenceWithoutAHeartbeatIsPatience_data();
    void silenceWithoutAHeartbeatIsPatience();
    void anyByteIsASignOfLife();
    void heartbeatTimeoutChangesAtOnce();
};

namespace
{

const QByteArray PRELUDE = QByteArray(2048, 'h') + '\n';
const QString FORGOTTEN = u"The server has forgotten the session and opened a new one"_s;
const QString SILENT = u"The server was silent for 400 ms"_s;

Script answer(const QByteArray &body)
{
    return {expectRequest(), send(reply(body))};
}

// What a server sends behind the session's opening, in the answer to a second request.
void row(const char *name, const QByteArray &body)
{
    for (const bool streaming : {false, true})
        QTest::addRow("%s, %s", name, streaming ? "streaming" : "polling") << streaming << body;
}

void addColumns()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("body");
}

} // namespace

void tst_SockJSRobustFrames::closeFrameEndsTheConnection_data()
{
    addColumns();
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QByteArray &body, int code, const QString &reason) {
        for (const bool streaming : {false, true})
            QTest::addRow("%s, %s", name, streaming ? "streaming" : "polling")
                << streaming << body << code << reason;
    };
    row("line", "a[\"x\"]\nc[3000,\"Go away!\"]\n", 3000, u"Go away!"_s);
    row("no line feed", "a[\"x\"]\nc[3000,\"Go away!\"]", 3000, u"Go away!"_s);
    row("carriage return", "a[\"x\"]\r\nc[3000,\"Go away!\"]\r\n", 3000, u"Go away!"_s);
    row("blanks", "a[\"x\"]\nc[ 3000 , \"Go away!\" ]\n", 3000, u"Go away!"_s);
    row("behind it comes more", "a[\"x\"]\nc[3000,\"Go away!\"]\na[\"y\"]\n", 3000, u"Go away!"_s);
    row("two of them", "a[\"x\"]\nc[3000,\"Go away!\"]\nc[1,\"\"]\n", 3000, u"Go away!"_s);
    row("another connection", "a[\"x\"]\nc[2010,\"Another connection still open\"]\n", 2010,
        u"Another connection still open"_s);
    row("no words", "a[\"x\"]\nc[1000,\"\"]\n", 1000, QString());
    row("words of any language", "a[\"x\"]\nc[4001,\"\xc3\xbc\\u20ac\"]\n", 4001,
        u"\u00fc\u20ac"_s);
}

void tst_SockJSRobustFrames::closeFrameEndsTheConnection()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, body);
    QFETCH(int, code);
    QFETCH(QString, reason);
    RobustRun run({POLLED_OPEN + answer(body)});
    run.open(streaming);
    run.verifyEnd(code, reason);
    QCOMPARE(run.texts(), QStringList{"x"});
    QCOMPARE(run.requestCount(), 2);
}

void tst_SockJSRobustFrames::closeFrameBeforeTheSessionIsTheAnswer()
{
    RobustRun run({SAYS_GOODBYE});
    run.open(run.server.port(), {XHR_POLLING, XHR_STREAMING});
    run.verifyGoodbye();
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(run.requestCount(), 1);
}

void tst_SockJSRobustFrames::anotherConnectionBeforeTheSessionMakesTheTransportGiveWay()
{
    RobustRun run({answer("c[2010,\"Taken\"]\n"), POLLED_OPEN + SAYS_GOODBYE});
    run.open(run.server.port(), {XHR_STREAMING, XHR_POLLING});
    run.verifyGoodbye();
    QCOMPARE(run.connected.size(), 1);
    QVERIFY(run.log.contains(u"[SockJSConnector] xhr-streaming gives way: Taken"_s));
}

void tst_SockJSRobustFrames::unreadableCloseFrameIsPassedOver_data()
{
    addColumns();
    row("empty list", "c[]\n");
    row("code alone", "c[1]\n");
    row("words alone", "c[\"Go away!\"]\n");
    row("three elements", "c[3000,\"Go away!\",1]\n");
    row("code as a text", "c[\"3000\",\"Go away!\"]\n");
    row("code that is no whole number", "c[3000.5,\"Go away!\"]\n");
    row("words that are a number", "c[3000,1]\n");
    row("broken", "c[3000,\"Go away!\"\n");
    row("nothing behind the letter", "c\n");
    row("no list", "c{\"code\":3000}\n");
    row("without a line feed", "c[]");
}

void tst_SockJSRobustFrames::unreadableCloseFrameIsPassedOver()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, body);
    // Before the session is open, and behind that.
    RobustRun run({answer(body) + POLLED_OPEN + answer("a[\"x\"]\n" + body) + answer("a[\"y\"]\n")
                   + SAYS_GOODBYE});
    run.open(streaming);
    run.verifyGoodbye();
    QCOMPARE(run.texts(), (QStringList{"x", "y"}));
    QCOMPARE(run.log.count(u"[SockJSXHRPolling] Unreadable close frame, passed over"_s), 2);
}

void tst_SockJSRobustFrames::secondOpenFrameEndsTheConnection_data()
{
    addColumns();
    row("alone", "a[\"x\"]\no\n");
    row("without a line feed", "a[\"x\"]\no");
    row("before other messages", "a[\"x\"]\no\na[\"y\"]\n");
    row("before a close frame", "a[\"x\"]\no\nc[3000,\"Go away!\"]\n");
}

void tst_SockJSRobustFrames::secondOpenFrameEndsTheConnection()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, body);
    RobustRun run({POLLED_OPEN + answer(body)});
    run.open(streaming);
    run.verifyEnd(1006, FORGOTTEN);
    QCOMPARE(run.texts(), QStringList{"x"});
    QCOMPARE(run.connected.size(), 1);
}

void tst_SockJSRobustFrames::silenceBehindAHeartbeatEndsTheConnection_data()
{
    addColumns();
    row("in an answer of its own", "h\n");
    row("without a line feed", "h");
    row("behind a prelude", PRELUDE + "h\n");
    row("behind a message", "a[\"x\"]\nh\r\n");
}

void tst_SockJSRobustFrames::silenceBehindAHeartbeatEndsTheConnection()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, body);
    RobustRun run({POLLED_OPEN + answer(body)});
    run.connector.setHeartbeatTimeout(400);
    run.open(streaming);
    QVERIFY(run.waitForSession());
    QElapsedTimer timer;
    timer.start();
    run.verifyEnd(1006, SILENT);
    QVERIFY2(timer.elapsed() >= 380, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(run.requestCount(), 3); // the last one is not answered
}

void tst_SockJSRobustFrames::silenceWithoutAHeartbeatIsPatience_data()
{
    addColumns();
    QTest::addColumn<int>("timeoutMs");
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        QTest::addRow("messages alone, %s", way) << streaming << QByteArray("a[\"x\"]\n") << 400;
        QTest::addRow("prelude, %s", way) << streaming << PRELUDE << 400;
        QTest::addRow("two letters, %s", way) << streaming << QByteArray("hh\n") << 400;
        QTest::addRow("switched off, %s", way) << streaming << QByteArray("h\n") << 0;
        QTest::addRow("by default, %s", way) << streaming << QByteArray("h\n") << 60000;
    }
}

void tst_SockJSRobustFrames::silenceWithoutAHeartbeatIsPatience()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, body);
    QFETCH(int, timeoutMs);
    RobustRun run({POLLED_OPEN + answer(body)
                   + Script{expectRequest(), pause(1200), send(reply("c[3000,\"Go away!\"]\n"))}});
    run.connector.setHeartbeatTimeout(timeoutMs);
    run.open(streaming);
    run.verifyGoodbye();
}

// A message that takes its time is no silence.
void tst_SockJSRobustFrames::anyByteIsASignOfLife()
{
    Script script = POLLED_OPEN + Script{expectRequest(), send(CHUNKED + chunk("h\n"))};
    for (int i = 0; i < 12; ++i)
        script += {pause(150), send(chunk("a"))};
    RobustRun run({script});
    run.connector.setHeartbeatTimeout(600);
    run.open(true);
    QVERIFY(run.waitForSession());
    QVERIFY(!QTest::qWaitFor([&] { return !run.closed.isEmpty(); }, 1500));
    run.verifyEnd(1006, u"The server was silent for 600 ms"_s);
}

void tst_SockJSRobustFrames::heartbeatTimeoutChangesAtOnce()
{
    RobustRun run({POLLED_OPEN + answer("h\n")});
    run.connector.setHeartbeatTimeout(0);
    run.open(true);
    QTRY_COMPARE_WITH_TIMEOUT(run.requestCount(), 3, 20000);
    run.connector.setHeartbeatTimeout(700);
    QVERIFY(!QTest::qWaitFor([&] { return !run.closed.isEmpty(); }, 300));
    run.connector.setHeartbeatTimeout(0);
    QVERIFY(!QTest::qWaitFor([&] { return !run.closed.isEmpty(); }, 1000));
    run.connector.setHeartbeatTimeout(400);
    run.verifyEnd(1006, SILENT);
}

QTEST_GUILESS_MAIN(tst_SockJSRobustFrames)
#include "tst_sockjsrobustframes.moc"
