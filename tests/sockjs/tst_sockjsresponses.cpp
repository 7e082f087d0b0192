#include "WorkerRun.h"

using namespace Scripted;

// How the worker reads what a server sends: whole, in pieces, in one packet with the next, and
// against the rules.
class tst_SockJSResponses : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bodiesAreDelivered_data();
    void bodiesAreDelivered();
    void everyCutGivesTheSame_data();
    void everyCutGivesTheSame();
    void headersAreReportedWithTheirRequest();
    void chunkedAnnouncementIsLogged();
    void responseThatNobodyAskedForIsDroppedAfterTwoSeconds();
    void silenceIsLongAfterTwoSeconds();
    void halfAChunkIsDroppedAfterTwoSecondsAndTheRequestKeepsWaiting();
    void halfAHeaderIsDroppedAfterTwoSeconds();
    void bytesAfterASilenceInsideABody_data();
    void bytesAfterASilenceInsideABody();
    void requestsWaitWhileResponseDataIsPending();
    void reconnectionForgetsTheHalfReadResponse();
    void bytesWithoutAHeaderBelongToNobodyAfterAReconnection_data();
    void bytesWithoutAHeaderBelongToNobodyAfterAReconnection();
    void lastResponseBeforeACloseIsRead();
};

namespace
{

const QString DETECTED = u"[SockJSXHRPollingWorker] Detected transfer-encoding: chunked header"_s;
const QString TIMED_OUT = u"[SockJSXHRPollingWorker] Incoming data timeout, clearing buffer"_s;

QString completeLine(int size)
{
    return u"[SockJSXHRPollingWorker] chunk complete size %1"_s.arg(size);
}

QString bufferLine(const char *data)
{
    return u"[SockJSXHRPollingWorker.BufferData] = "_s + QLatin1String(data);
}

// The packets of a server that takes a breath behind each.
Script inPackets(const QByteArrayList &packets)
{
    Script script;
    for (const QByteArray &packet : packets)
        script << send(packet) << pause(60);
    return script;
}

} // namespace

void tst_SockJSResponses::bodiesAreDelivered_data()
{
    QTest::addColumn<int>("requests");
    QTest::addColumn<QByteArrayList>("packets");
    QTest::addColumn<QStringList>("messages");
    const auto row = [](const char *name, int requests, const QByteArrayList &packets,
                        const QStringList &messages) {
        QTest::newRow(name) << requests << packets << messages;
    };
    const QByteArray ok = "HTTP/1.1 200 OK\r\n";
    const QByteArray letters = "\xe2\x82\xac\xf0\x9f\x98\x80";
    const QByteArray chunkedHeader = chunk(ok + "\r\n;");
    const QString plainHeader = u"HTTP/1.1 200 OK\r\n\r\n;"_s;

    row("error response like any other", 1, {reply("abc", "404 Not Found")}, {"abc"});
    row("length without a space", 1, {ok + "Content-Length:12\r\n\r\nabcdefghijkl"},
        {"abcdefghijkl"});
    row("header lines that are none", 1, {ok + ": x\r\nwhat\r\nContent-Length: 3\r\n\r\nabc"},
        {"abc"});
    row("plain body in two reads", 1, {plain(6, "abc"), "def"}, {"abcdef"});
    row("final line feed is not delivered", 1, {reply("o\n")}, {"o"});
    row("only one line feed is taken away", 1, {reply("o\n\n")}, {"o\n"});
    row("body of one byte", 1, {reply("o")}, {"o"});
    row("body of one byte and the next response in one packet", 2, {reply("o") + reply("h\n")},
        {"o", "h"});
    row("two responses in one packet", 2, {reply("o\n") + reply("a[\"abc\"]")},
        {"o", "a[\"abc\"]"});
    row("second half of a body and the next response in one packet", 2,
        {plain(6, "abc"), "def" + reply("h\n")}, {"abcdef", "h"});
    row("empty body and the next response in one packet", 2, {reply("") + reply("h\n")}, {"h"});
    row("body of unannounced length", 1, {ok + "\r\nabc"}, {"abc"});
    row("body of unannounced length after its header", 1, {ok + "\r\n", "abc"}, {"abc"});
    row("header without a body, then the next", 2,
        {"HTTP/1.1 204 No Content\r\n\r\n", reply("h\n")}, {"h"});
    row("length beyond an int", 1, {ok + "Content-Length: 99999999999\r\n\r\nabc"}, {"abc"});
    row("negative length", 1, {plain(-3, "abc")}, {"abc"});
    row("chunked", 1, {CHUNKED + chunk("hello") + END_CHUNK}, {"hello"});
    row("chunk by chunk", 1, {CHUNKED, chunk("a["), chunk("\"abc\""), chunk("]\n"), END_CHUNK},
        {"a[\"abc\"]"});
    row("chunk of one byte ends the body at once", 2,
        {CHUNKED + chunk("o") + END_CHUNK, reply("h\n")}, {"h"});
    row("chunked response and the next in one packet", 2,
        {CHUNKED + chunk("o\n") + END_CHUNK + CHUNKED + chunk("h\n") + END_CHUNK}, {"o", "h"});
    row("chunk of a bad size ends the body", 2,
        {CHUNKED + chunk("ab") + "-5\r\nhello\r\n", reply("h\n")}, {"ab", "h"});
    row("chunked wins over the length", 1,
        {ok + "Content-Length: 2\r\nTransfer-Encoding: gzip, chunked\r\n\r\n" + chunk("hello")
         + END_CHUNK},
        {"hello"});
    row("not chunked when written otherwise", 1,
        {ok + "Transfer-Encoding: Chunked\r\nContent-Length: 3\r\n\r\nabc"}, {"abc"});
    row("lengths count bytes", 1, {plain(7, letters)}, {u"\u20ac\U0001F600"_s});
    row("letter split over two chunks", 1,
        {CHUNKED + chunk("\xe2\x82") + chunk("\254bc") + END_CHUNK}, {u"\u20acbc"_s});
    row("zero byte", 1, {plain(3, QByteArray("a\0b", 3))}, {QString::fromUtf8("a\0b", 3)});
    row("no UTF-8", 1, {plain(3, "a\377b")}, {u"a\ufffdb"_s});
    row("body that holds a header, plain", 1,
        {plain(28, "a[\"HTTP/1.1 "), "200 OK\r\n\r\n:)\"]\n\n"},
        {"a[\"HTTP/1.1 200 OK\r\n\r\n:)\"]\n"});
    row("body that holds a header, chunked", 1,
        {CHUNKED + chunkedHeader, chunkedHeader + END_CHUNK}, {plainHeader + plainHeader});
}

void tst_SockJSResponses::bodiesAreDelivered()
{
    QFETCH(int, requests);
    QFETCH(QByteArrayList, packets);
    QFETCH(QStringList, messages);
    ServedWorker run{inPackets(packets)};
    QVERIFY(run.begin(requests));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), messages.size(), 20000);
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    run.stop();
    QCOMPARE(run.messages, messages);
    QCOMPARE(run.answered.size(), requests);
    QCOMPARE(run.reconnections, 0);
}

void tst_SockJSResponses::everyCutGivesTheSame_data()
{
    QTest::addColumn<QByteArray>("response");
    const QByteArray euro = "\xe2\x82\xac";
    QTest::newRow("plain") << reply("a[\"HTTP/" + euro + "\"]\n\n");
    QTest::newRow("chunked") << CHUNKED + chunk("a[\"H") + chunk("TTP/" + euro.left(2))
            + chunk(euro.mid(2) + "\"]\n\n") + END_CHUNK;
}

// Cut into two packets at every place, then into single bytes.
void tst_SockJSResponses::everyCutGivesTheSame()
{
    QFETCH(QByteArray, response);
    const QByteArray end = reply("end");
    ScriptedServer server;
    for (int cut = 1; cut < response.size(); ++cut)
        server.onConnection(
            {send(response.left(cut)), pause(10), send(response.mid(cut)), pause(10), send(end)});
    server.onConnection({sendBytewise(response + end)});
    QVERIFY(server.listen());

    std::vector<std::unique_ptr<WorkerRun>> runs;
    for (int cut = 1; cut <= response.size(); ++cut) {
        runs.push_back(std::make_unique<WorkerRun>(server.port()));
        QVERIFY(runs.back()->begin(2));
    }
    const QStringList expected{u"a[\"HTTP/\u20ac\"]\n"_s, "end"};
    for (const auto &run : runs)
        QTRY_COMPARE_WITH_TIMEOUT(run->messages, expected, 30000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSResponses::headersAreReportedWithTheirRequest()
{
    ServedWorker run{{send("HTTP/1.1 200 OK\r\nSet-Cookie: a=1\r\nContent-Length: 2\r\n\r\no\n"
                           "HTTP/1.1 200 OK\r\nTransfer-Encoding:chunked\r\n\r\n2\r\nh\n\r\n"
                           "0\r\n\r\n")}};
    XHRRequest *first = run.expectResponse();
    XHRRequest *second = run.expectResponse();
    QVERIFY(run.begin());
    QTRY_COMPARE(run.messages, (QStringList{"o", "h"}));
    run.stop();
    QCOMPARE(run.answered, (QList<XHRRequest *>{first, second}));
    QCOMPARE(run.headers,
             (QList<QStringMap>{{{"Set-Cookie", " a=1"}, {"Content-Length", " 2"}},
                                {{"Transfer-Encoding", "chunked"}}}));
    QCOMPARE(first->chunked, false);
    QCOMPARE(first->contentLength, 2);
    QCOMPARE(second->chunked, true);
    QCOMPARE(second->contentLength, 0);
}

void tst_SockJSResponses::chunkedAnnouncementIsLogged()
{
    ServedWorker run{{send(CHUNKED + chunk("hello") + END_CHUNK)}};
    QVERIFY(run.begin(1));
    QTRY_COMPARE(run.messages, QStringList{"hello"});
    run.stop();
    QCOMPARE(run.log.messages(), (QStringList{DETECTED, completeLine(5)}));
}

void tst_SockJSResponses::responseThatNobodyAskedForIsDroppedAfterTwoSeconds()
{
    ServedWorker run{{send(reply("abc"))}};
    QVERIFY(run.connectToServer());
    QElapsedTimer timer;
    timer.start();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.log.messages(), (QStringList{TIMED_OUT, bufferLine("abc")}),
                              20000);
    QVERIFY2(timer.elapsed() >= 1990, qPrintable(QString::number(timer.elapsed())));
    run.stop();
    QCOMPARE(run.messages, QStringList());
    QCOMPARE(run.headers.size(), 0);
}

// A test that is stopped for seconds between two of its lines sees the same. The clock may have been set
// back.
void tst_SockJSResponses::silenceIsLongAfterTwoSeconds()
{
    WorkerRun run(1);
    const auto isLong = [&run](int ms) {
        SockJSProbe::lastReceived(*run.worker) = QDateTime::currentDateTimeUtc().addMSecs(ms);
        return SockJSProbe::receivedNothingForLong(*run.worker);
    };
    QVERIFY(isLong(-2001));
    QVERIFY(!isLong(2000));
    QVERIFY(isLong(60000));
}

void tst_SockJSResponses::halfAChunkIsDroppedAfterTwoSecondsAndTheRequestKeepsWaiting()
{
    ServedWorker run{{send(CHUNKED + chunk("hello") + "5\r\nwor"), pause(4500),
                      send(chunk("...") + END_CHUNK), pause(4500), send(reply("abc"))}};
    QVERIFY(run.begin(2));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, (QStringList{"hello...", "abc"}), 30000);
    run.stop();
    QCOMPARE(run.log.messages(),
             (QStringList{DETECTED, TIMED_OUT, bufferLine("5\r\nwor"), completeLine(8), TIMED_OUT,
                          bufferLine("0\r\n\r\n")}));
}

void tst_SockJSResponses::halfAHeaderIsDroppedAfterTwoSeconds()
{
    ServedWorker run{{send("HTTP/1.1 200 OK\r\nContent-Le"), pause(4500), send(reply("abc"))}};
    QVERIFY(run.begin(1));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"abc"}, 20000);
    run.stop();
    QCOMPARE(run.log.messages(),
             (QStringList{TIMED_OUT, bufferLine("HTTP/1.1 200 OK\r\nContent-Le")}));
}

void tst_SockJSResponses::bytesAfterASilenceInsideABody_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArrayList>("packets");
    QTest::addColumn<QStringList>("messages");
    const auto row = [](const char *name, const QByteArray &before, const QByteArrayList &packets,
                        const QStringList &messages) {
        QTest::newRow(name) << before << packets << messages;
    };
    const QByteArray half = plain(6, "abc");
    const QByteArray chunks = CHUNKED + chunk("hello");
    const QByteArray next = reply("end");

    row("next response, known length", half, {next}, {"end"});
    row("next response, between chunks", chunks, {next}, {"end"});
    row("next response, inside a chunk", chunks + "5\r\nwo", {next}, {"end"});
    row("next response, cut behind its first letters", half,
        {next.left(2), next.mid(2, 2), next.mid(4)}, {"end"});
    row("next response, cut, between chunks", chunks, {next.left(4), next.mid(4)}, {"end"});
    row("rest of the body", half, {"def" + next}, {"abcdef", "end"});
    row("rest of the body begins like a response", half, {"HT", "X" + next}, {"abcHTX", "end"});
    row("rest of the body has a response's first letters", half, {"HTT"}, {"abcHTT"});
    row("rest of the chunks holds a response", chunks, {chunk(" HTTP/1.") + END_CHUNK + next},
        {"hello HTTP/1.", "end"});
}

// A server that lost its thread begins a new response; a slow one goes on with the old.
void tst_SockJSResponses::bytesAfterASilenceInsideABody()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArrayList, packets);
    QFETCH(QStringList, messages);
    ServedWorker run{Script{send(before), pause(3500)} + inPackets(packets)};
    QVERIFY(run.begin(2));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages.size(), messages.size(), 20000);
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    run.stop();
    QCOMPARE(run.messages, messages);
}

// The end chunk stays in the buffer for two seconds, and only then does the next request leave.
void tst_SockJSResponses::requestsWaitWhileResponseDataIsPending()
{
    ServedWorker run{{send(CHUNKED + chunk("hello") + END_CHUNK), expect("next")}};
    QVERIFY(run.queue(u"next"_s));
    QVERIFY(run.begin(1));
    QTRY_COMPARE(run.messages, QStringList{"hello"});
    QElapsedTimer timer;
    timer.start();
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    // 2 s until the buffer is cleared, then one idle turn of 1 s.
    QVERIFY2(timer.elapsed() > 2500, qPrintable(QString::number(timer.elapsed())));
}

void tst_SockJSResponses::reconnectionForgetsTheHalfReadResponse()
{
    ServedWorker run{{send(CHUNKED + chunk("hello") + "5\r\nwor"), pause(100), close()},
                     {send("ld\r\n"), expect("next"), send(reply("abc"))}};
    QVERIFY(run.begin(1));
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    QVERIFY(run.queue(u"next"_s));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"abc"}, 20000);
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(run.answered.size(), 2);
}

void tst_SockJSResponses::bytesWithoutAHeaderBelongToNobodyAfterAReconnection_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QStringList>("messages");
    QTest::newRow("inside a body") << plain(6, "abc") << QStringList();
    QTest::newRow("behind a body") << reply("abc") << QStringList{"abc"};
    QTest::newRow("behind a body of unannounced length")
        << QByteArray("HTTP/1.1 200 OK\r\n\r\nabc") << QStringList{"abc"};
    QTest::newRow("inside a header") << QByteArray("HTTP/1.1 200 OK\r\nA: ") << QStringList();
    QTest::newRow("between chunks") << CHUNKED + chunk("abc") << QStringList();
}

void tst_SockJSResponses::bytesWithoutAHeaderBelongToNobodyAfterAReconnection()
{
    QFETCH(QByteArray, before);
    QFETCH(QStringList, messages);
    ServedWorker run{{send(before), pause(100), close()},
                     {send("def\r\n\r\n"), expect("next"), send(reply("ghi"))}};
    QVERIFY(run.begin(1));
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    QVERIFY(run.queue(u"next"_s));
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, messages + QStringList{"ghi"}, 20000);
    run.stop();
    QCOMPARE(run.log.startingWith(u"[SockJSXHRPollingWorker.BufferData]"_s),
             QStringList{bufferLine("def\r\n\r\n")});
}

void tst_SockJSResponses::lastResponseBeforeACloseIsRead()
{
    ServedWorker run{{send(reply("abc")), close()}, {}};
    QVERIFY(run.connectToServer());
    run.expectResponse();
    QTest::qWait(100); // both have arrived before the loop looks for the first time
    run.start();
    QTRY_COMPARE(run.reconnections, 1);
    run.stop();
    QCOMPARE(run.messages, QStringList{"abc"});
}

QTEST_GUILESS_MAIN(tst_SockJSResponses)
#include "tst_sockjsresponses.moc"
