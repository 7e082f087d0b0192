#include "RobustRun.h"

using namespace Scripted;

// Answers after which a message may be missing: what came whole is delivered, and then the
// connection ends, once, with its reason.
class tst_SockJSRobustFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void faultEndsTheConnection_data();
    void faultEndsTheConnection();
    void connectionThatBreaksWithoutAByteIsAskedForAgainOnce_data();
    void connectionThatBreaksWithoutAByteIsAskedForAgainOnce();
    void firstRequestIsAskedAgainToo();
    void lateLineEndsAreNoByteOfAnAnswer();
    void resetEndsTheConnection_data();
    void resetEndsTheConnection();
    void resetOfANewConnectionEndsTheConnection();
    void resetOfAConnectionInUseIsAskedForAgainOnce();
    void notFoundBehindASuccessIsExplained();
    void notFoundBeforeASuccessIsNot();
};

namespace
{

const QByteArray OK = "HTTP/1.1 200 OK\r\n";
const QByteArray FRAME = "a[\"x\"]\n";
const QString BROKE =
    u"The connection to the server broke: The remote host closed the connection"_s;
const QString UNASKED = u"The server sent what nobody had asked for"_s;

QString unreadable(const QString &why)
{
    return u"The server's answer cannot be read: "_s + why;
}

QString status(const QString &why)
{
    return u"The server answered with HTTP status "_s + why;
}

// The rows of both ways to receive.
void row(const char *name, const Script &fault, const QStringList &texts, const QString &reason)
{
    for (const bool streaming : {false, true})
        QTest::addRow("%s, %s", name, streaming ? "streaming" : "polling")
            << streaming << fault << texts << reason;
}

} // namespace

void tst_SockJSRobustFaults::faultEndsTheConnection_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<Script>("fault");
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<QString>("reason");
    const QByteArray html = reply("<html>\r\nh\na[\"no\"]\n</html>\n", "502 Bad Gateway",
                                  "Content-Type: text/html\r\n");
    const QByteArray large(16 * 1024 * 1024 + 1, 'x');
    const QByteArray longField = "X: " + QByteArray(64 * 1024, 'x') + "\r\n";
    const QByteArray shortFields = QByteArray("X: 12345\r\n").repeated(7000);
    const QString tooLarge = u"The server sent a message of more than 16 MiB"_s;

    // Cut off.
    row("end in a status line", {send("HTTP/1.1 20"), close()}, {}, BROKE);
    row("end in a header", {send(OK + "Content-Length: 7\r\n"), close()}, {}, BROKE);
    row("end behind a header", {send(plain(7)), close()}, {}, BROKE);
    row("end in a frame", {send(plain(14, FRAME + "a[\"y\"")), close()}, {"x"}, BROKE);
    row("end behind a frame", {send(plain(14, FRAME)), close()}, {"x"}, BROKE);
    row("end behind a frame without a line feed", {send(plain(7, "a[\"x\"]")), close()}, {}, BROKE);
    row("end in a chunk size", {send(CHUNKED + "1"), close()}, {}, BROKE);
    row("end in a chunk", {send(CHUNKED + "14\r\n" + FRAME + "a"), close()}, {"x"}, BROKE);
    row("end between chunks", {send(CHUNKED + chunk(FRAME)), close()}, {"x"}, BROKE);
    row("end between chunks of a line", {send(CHUNKED + chunk("a[\"x\"]")), close()}, {}, BROKE);
    row("end in an end chunk", {send(CHUNKED + chunk(FRAME) + "0\r\n"), close()}, {"x"}, BROKE);
    row("end in trailers", {send(CHUNKED + chunk(FRAME) + "0\r\nX: 1\r\n"), close()}, {"x"}, BROKE);
    row("end behind an interim answer", {send("HTTP/1.1 100 Continue\r\n\r\n"), close()}, {},
        BROKE);

    // Refused.
    row("404", {send(reply("", "404 Not Found"))}, {}, status(u"404 Not Found"_s));
    row("500", {send(reply(FRAME, "500 Oh no"))}, {}, status(u"500 Oh no"_s));
    row("502 with a page", {send(html)}, {}, status(u"502 Bad Gateway"_s));
    row("503 without words", {send("HTTP/1.1 503\r\n\r\n")}, {}, status(u"503"_s));
    row("302", {send(reply("", "302 Found", "Location: /x\r\n"))}, {}, status(u"302 Found"_s));
    row("201", {send(reply(FRAME, "201 Created"))}, {}, status(u"201 Created"_s));
    row("206", {send(reply(FRAME, "206 Partial Content"))}, {}, status(u"206 Partial Content"_s));
    row("304", {send("HTTP/1.1 304 Not Modified\r\n\r\n")}, {}, status(u"304 Not Modified"_s));
    row("101", {send("HTTP/1.1 101 Switching Protocols\r\n\r\n")}, {},
        status(u"101 Switching Protocols"_s));

    // Unreadable.
    row("no HTTP", {send("SSH-2.0-x\r\n")}, {}, unreadable(u"no HTTP answer"_s));
    row("gzip", {send(reply(FRAME, "200 OK", "Content-Encoding: gzip\r\n"))}, {},
        unreadable(u"encoded with gzip"_s));
    row("gzip beneath chunks", {send(OK + "Transfer-Encoding: gzip, chunked\r\n\r\n")}, {},
        unreadable(u"encoded with gzip"_s));
    row("two lengths", {send(reply(FRAME, "200 OK", "Content-Length: 8\r\n"))}, {},
        unreadable(u"bad content length"_s));
    row("negative length", {send(plain(-7, FRAME))}, {}, unreadable(u"bad content length"_s));
    row("bad chunk size", {send(CHUNKED + chunk(FRAME) + "-5\r\n")}, {"x"},
        unreadable(u"bad chunk size"_s));
    row("chunk longer than its size", {send(CHUNKED + "7\r\n" + FRAME + "h\n")}, {"x"},
        unreadable(u"no line end behind a chunk"_s));
    row("header in one long line", {send(OK + longField + "\r\n")}, {},
        unreadable(u"header too long"_s));
    row("header of many lines", {send(OK + shortFields + "\r\n")}, {},
        unreadable(u"header too long"_s));
    row("header without an end", {send(OK + shortFields)}, {}, unreadable(u"header too long"_s));
    row("long chunk extension", {send(CHUNKED + "7;" + QByteArray(65536, 'x'))}, {},
        unreadable(u"size line too long"_s));
    row("long trailers", {send(CHUNKED + chunk(FRAME) + "0\r\n" + shortFields)}, {"x"},
        unreadable(u"trailers too long"_s));

    // Unasked for, or too large.
    row("answer twice", {send(reply(FRAME) + reply(FRAME))}, {"x"}, UNASKED);
    row("chunked answer twice", {send((CHUNKED + chunk(FRAME) + END_CHUNK).repeated(2))}, {"x"},
        UNASKED);
    row("body longer than its length", {send(plain(7, FRAME + FRAME))}, {"x"}, UNASKED);
    row("body behind a 204", {send(NO_CONTENT + FRAME)}, {}, UNASKED);
    row("bytes behind the last answer",
        {send(reply(FRAME, "200 OK", "Connection: close\r\n") + reply(FRAME))}, {"x"}, UNASKED);
    row("frame beyond the largest", {send(reply(FRAME + large + '\n'))}, {"x"}, tooLarge);
    row("frame without an end", {send(CHUNKED + chunk(FRAME) + "2000000\r\n" + large)}, {"x"},
        tooLarge);
}

void tst_SockJSRobustFaults::faultEndsTheConnection()
{
    QFETCH(bool, streaming);
    QFETCH(Script, fault);
    QFETCH(QStringList, texts);
    QFETCH(QString, reason);
    RobustRun run({POLLED_OPEN + Script{expectRequest()} + fault});
    run.open(streaming);
    run.verifyEnd(1006, reason);
    QCOMPARE(run.texts(), texts);
    QCOMPARE(run.connected.size(), 1);
    QCOMPARE(run.requestCount(), 2);
    QCOMPARE(run.server.connectionCount(), 1);
}

void tst_SockJSRobustFaults::connectionThatBreaksWithoutAByteIsAskedForAgainOnce_data()
{
    addBothWays();
}

void tst_SockJSRobustFaults::connectionThatBreaksWithoutAByteIsAskedForAgainOnce()
{
    QFETCH(bool, streaming);
    const Script drops{expectRequest(), close()};
    // An answer, even an empty one, gives the next request its own second try.
    RobustRun run({POLLED_OPEN + drops, Script{expectRequest(), send(reply(FRAME))} + drops,
                   Script{expectRequest(), send(reply(""))} + drops, drops});
    run.open(streaming);
    run.verifyEnd(1006, BROKE);
    QCOMPARE(run.texts(), QStringList{"x"});
    QCOMPARE(run.requestCount(), 7);
    QCOMPARE(
        run.log.count(u"[SockJSXHRPolling] Connection ended before an answer, asking once more"_s),
        3);
}

void tst_SockJSRobustFaults::firstRequestIsAskedAgainToo()
{
    RobustRun run({{expectRequest(), close()}, POLLED_OPEN + SAYS_GOODBYE});
    run.open();
    run.verifyGoodbye();
    QCOMPARE(run.connected.size(), 1);
    QCOMPARE(run.server.requests(0), run.server.requests(1).mid(0, 1));
}

void tst_SockJSRobustFaults::lateLineEndsAreNoByteOfAnAnswer()
{
    RobustRun run({POLLED_OPEN + Script{expectRequest(), send("\r\n"), close()}, SAYS_GOODBYE});
    run.open();
    run.verifyGoodbye();
    QCOMPARE(run.requestCount(), 3);
}

void tst_SockJSRobustFaults::resetEndsTheConnection_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QStringList>("texts");
    for (const bool streaming : {false, true}) {
        const char *way = streaming ? "streaming" : "polling";
        QTest::addRow("in a header, %s", way) << streaming << OK << QStringList();
        QTest::addRow("in a length, %s", way) << streaming << plain(9, FRAME) << QStringList{"x"};
        QTest::addRow("between chunks, %s", way)
            << streaming << CHUNKED + chunk(FRAME) << QStringList{"x"};
        QTest::addRow("in a body until the end, %s", way)
            << streaming << OK + "\r\n" + FRAME + "a[\"y\"]" << QStringList{"x"};
    }
}

void tst_SockJSRobustFaults::resetEndsTheConnection()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, before);
    QFETCH(QStringList, texts);
    RobustRun run(
        {POLLED_OPEN + Script{expectRequest(), send(before), pause(50), Scripted::abort()}});
    run.open(streaming);
    run.verifyEnd(1006, u"The connection to the server broke: Connection reset by peer"_s);
    QCOMPARE(run.texts(), texts);
    QCOMPARE(run.requestCount(), 2);
    QCOMPARE(run.server.connectionCount(), 1);
}

void tst_SockJSRobustFaults::resetOfANewConnectionEndsTheConnection()
{
    const QByteArray last = reply("o\n", "200 OK", "Connection: close\r\n");
    RobustRun run({{expectRequest(), send(last), close()}, {expectRequest(), Scripted::abort()}});
    run.open();
    run.verifyEnd(1006, u"The connection to the server broke: Connection reset by peer"_s);
    QCOMPARE(run.requestCount(), 2);
}

// A server that closes a connection behind its answer, with the next request there already.
void tst_SockJSRobustFaults::resetOfAConnectionInUseIsAskedForAgainOnce()
{
    const Script resets{expectRequest(), Scripted::abort()};
    RobustRun run({POLLED_OPEN + resets, resets});
    run.open();
    run.verifyEnd(1006, u"The connection to the server broke: Connection reset by peer"_s);
    QCOMPARE(run.requestCount(), 3);
}

namespace
{

const QString CHANGES =
    u"[SockJSXHRPolling] HTTP 404 right after 200: the server behind the address seems to change "
    "from request to request; all requests of a session must reach the same one"_s;

} // namespace

void tst_SockJSRobustFaults::notFoundBehindASuccessIsExplained()
{
    RobustRun run({POLLED_OPEN + Script{expectRequest(), send(reply("", "404 Not Found"))}});
    run.open();
    run.verifyEnd(1006, status(u"404 Not Found"_s));
    QCOMPARE(run.log.count(CHANGES), 1);
}

void tst_SockJSRobustFaults::notFoundBeforeASuccessIsNot()
{
    RobustRun run({{expectRequest(), send(reply("", "404 Not Found"))}});
    run.open();
    run.verifyEnd(1006,
                  u"No transport could be opened: xhr-polling: "_s + status(u"404 Not Found"_s));
    QCOMPARE(run.log.count(CHANGES), 0);
    QCOMPARE(run.connected.size(), 0);
}

QTEST_GUILESS_MAIN(tst_SockJSRobustFaults)
#include "tst_sockjsrobustfaults.moc"
