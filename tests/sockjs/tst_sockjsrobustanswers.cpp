#include "RobustRun.h"

using namespace Scripted;

// Answers of every form that HTTP/1.1 knows, in packets of every size: each frame arrives once, and
// the next request follows.
class tst_SockJSRobustAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersAreRead_data();
    void answersAreRead();
    void answersThatEndTheConnectionAreFollowedByANewOne_data();
    void answersThatEndTheConnectionAreFollowedByANewOne();
    void everyCutGivesTheSame_data();
    void everyCutGivesTheSame();
    void largestMessageArrives_data();
    void largestMessageArrives();
};

namespace
{

const QByteArray OK = "HTTP/1.1 200 OK\r\n";
const QByteArray FRAME = "a[\"x\"]\n";

// The rows of both ways to receive.
void row(const char *name, const QByteArrayList &packets, const QStringList &texts)
{
    for (const bool streaming : {false, true})
        QTest::addRow("%s, %s", name, streaming ? "streaming" : "polling")
            << streaming << packets << texts;
}

void addColumns()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArrayList>("packets");
    QTest::addColumn<QStringList>("texts");
}

// Answers a request in these packets.
Script answering(const QByteArrayList &packets)
{
    Script script{expectRequest()};
    for (const QByteArray &packet : packets)
        script << send(packet) << pause(20);
    return script;
}

} // namespace

void tst_SockJSRobustAnswers::answersAreRead_data()
{
    addColumns();
    const QByteArray euro = "a[\"\xe2\x82\xac\"]\n";
    const QByteArray early = "HTTP/1.1 103 Early Hints\r\nSet-Cookie: a=1\r\n\r\n";

    row("length", {reply(FRAME)}, {"x"});
    row("no line feed at its end", {reply("a[\"x\"]")}, {"x"});
    row("carriage returns", {reply("a[\"x\"]\r\na[\"y\"]\r")}, {"x", "y"});
    row("empty lines", {reply("\n\r\na[\"x\"]\n\n")}, {"x"});
    row("several messages in a frame", {reply("a[\"x\",\"y\"]\n")}, {"x", "y"});
    row("several frames", {reply("h\na[\"x\"]\nh\na[\"y\"]\n")}, {"x", "y"});
    row("field names in small letters", {OK + "content-length: 7\r\n\r\n" + FRAME}, {"x"});
    row("field names in capitals", {OK + "CONTENT-LENGTH:7\r\n\r\n" + FRAME}, {"x"});
    row("no reason phrase", {"HTTP/1.1 200\r\nContent-Length: 7\r\n\r\n" + FRAME}, {"x"});
    row("chunked", {CHUNKED + chunk(FRAME) + END_CHUNK}, {"x"});
    row("coding in other letters",
        {OK + "TRANSFER-encoding: Chunked\r\n\r\n" + chunk(FRAME) + END_CHUNK}, {"x"});
    row("chunk by chunk", {CHUNKED, chunk("a["), chunk("\"x\""), chunk("]\n"), END_CHUNK}, {"x"});
    row("chunk of one byte at last", {CHUNKED + chunk("a[\"x\"]") + chunk("\n") + END_CHUNK},
        {"x"});
    row("chunks of one byte", {CHUNKED + chunk("h") + chunk("\n") + chunk(FRAME) + END_CHUNK},
        {"x"});
    row("end chunk in a packet of its own", {CHUNKED + chunk(FRAME), END_CHUNK}, {"x"});
    row("end chunk in halves", {CHUNKED + chunk(FRAME) + "0\r", "\n\r\n"}, {"x"});
    row("trailers", {CHUNKED + chunk(FRAME) + "0\r\nX-Sum: 1\r\nX-More: 2\r\n\r\n"}, {"x"});
    row("chunk extensions", {CHUNKED + "7;a=b;c=\"d\"\r\n" + FRAME + "\r\n0;e\r\n\r\n"}, {"x"});
    row("size with zeros before it", {CHUNKED + "0007\r\n" + FRAME + "\r\n000\r\n\r\n"}, {"x"});
    row("coding beside a length",
        {OK + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk(FRAME) + END_CHUNK},
        {"x"});
    row("letter in two chunks", {CHUNKED + chunk(euro.left(4)) + chunk(euro.mid(4)) + END_CHUNK},
        {u"\u20ac"_s});
    row("frame that looks like a header", {reply("a[\"HTTP/1.1 200 OK\\r\\n\\r\\n\"]\n")},
        {u"HTTP/1.1 200 OK\r\n\r\n"_s});
    row("100 Continue before it", {"HTTP/1.1 100 Continue\r\n\r\n" + reply(FRAME)}, {"x"});
    row("interim answers before it", {"HTTP/1.1 100 Continue\r\n\r\n", early, reply(FRAME)}, {"x"});
    row("line ends behind it", {reply(FRAME) + "\r\n\r\n"}, {"x"});
    row("empty", {reply("")}, {});
    row("204", {"HTTP/1.1 204 No Content\r\n\r\n"}, {});
    row("204 with a coding", {"HTTP/1.1 204 No Content\r\nTransfer-Encoding: chunked\r\n\r\n"}, {});
    row("empty chunked", {CHUNKED + END_CHUNK}, {});
}

void tst_SockJSRobustAnswers::answersAreRead()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArrayList, packets);
    QFETCH(QStringList, texts);
    RobustRun run({POLLED_OPEN + answering(packets) + SAYS_GOODBYE});
    run.open(streaming);
    run.verifyGoodbye();
    QCOMPARE(run.texts(), texts);
    QCOMPARE(run.requestCount(), 3);
    QCOMPARE(run.server.failure(), QString());
}

void tst_SockJSRobustAnswers::answersThatEndTheConnectionAreFollowedByANewOne_data()
{
    addColumns();
    row("until the end", {OK + "\r\n" + FRAME}, {"x"});
    row("until the end, without a line feed", {OK + "\r\na[\"x\"]"}, {"x"});
    row("until the end, in two packets", {OK + "\r\na[\"x", "\"]\n"}, {"x"});
    row("HTTP/1.0", {"HTTP/1.0 200 OK\r\nContent-Length: 7\r\n\r\n" + FRAME}, {"x"});
    row("HTTP/1.0 until the end", {"HTTP/1.0 200 OK\r\n\r\n" + FRAME}, {"x"});
    row("Connection: close", {reply(FRAME, "200 OK", "Connection: close\r\n")}, {"x"});
    row("connection: Close", {reply(FRAME, "200 OK", "connection: Close\r\n")}, {"x"});
    row("Connection: close, chunked",
        {OK + "Connection: close\r\nTransfer-Encoding: chunked\r\n\r\n" + chunk(FRAME) + END_CHUNK},
        {"x"});
    row("Connection: close, line ends behind it",
        {reply(FRAME, "200 OK", "Connection: close\r\n") + "\r\n\r\n"}, {"x"});
    row("Connection: close, 204", {"HTTP/1.1 204 No Content\r\nConnection: close\r\n\r\n"}, {});
    row("length, then an end nobody announced", {reply(FRAME)}, {"x"});
}

void tst_SockJSRobustAnswers::answersThatEndTheConnectionAreFollowedByANewOne()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArrayList, packets);
    QFETCH(QStringList, texts);
    RobustRun run({POLLED_OPEN + answering(packets) + Script{close()}, SAYS_GOODBYE});
    run.open(streaming);
    run.verifyGoodbye();
    QCOMPARE(run.texts(), texts);
    QCOMPARE(run.server.requests(1).size(), 1);
    QCOMPARE(run.server.failure(), QString());
}

void tst_SockJSRobustAnswers::everyCutGivesTheSame_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QByteArray>("answer");
    const QByteArray euro = "\xe2\x82\xac";
    const QByteArray length = reply("h\r\na[\"" + euro + "\"]\n");
    const QByteArray chunks = CHUNKED + chunk("h") + "6;x=y\r\n\r\na[\"" + euro.left(1) + "\r\n"
        + chunk(euro.mid(1) + "\"]\n") + "0\r\nX: 1\r\n\r\n";
    QTest::newRow("length, polling") << false << length;
    QTest::newRow("length, streaming") << true << length;
    QTest::newRow("chunks, polling") << false << chunks;
    QTest::newRow("chunks, streaming") << true << chunks;
}

// Cut into two packets at every place, then into single bytes.
void tst_SockJSRobustAnswers::everyCutGivesTheSame()
{
    QFETCH(bool, streaming);
    QFETCH(QByteArray, answer);
    Script script = POLLED_OPEN;
    QStringList texts;
    for (int cut = 1; cut < answer.size(); ++cut) {
        script += {expectRequest(), send(answer.left(cut)), pause(5), send(answer.mid(cut))};
        texts.append(u"\u20ac"_s);
    }
    script += {expectRequest(), sendBytewise(answer)};
    texts.append(u"\u20ac"_s);
    RobustRun run({script + SAYS_GOODBYE});
    run.open(streaming);
    run.verifyGoodbye();
    QCOMPARE(run.texts(), texts);
    QCOMPARE(run.server.failure(), QString());
}

void tst_SockJSRobustAnswers::largestMessageArrives_data()
{
    addBothWays();
}

void tst_SockJSRobustAnswers::largestMessageArrives()
{
    QFETCH(bool, streaming);
    constexpr int LARGEST = 16 * 1024 * 1024;
    const QByteArray message(LARGEST - 5, 'x'); // between a[" and "]
    RobustRun run(
        {POLLED_OPEN + answering({reply("a[\"" + message + "\"]\r\nh\n")}) + SAYS_GOODBYE});
    run.open(streaming);
    run.verifyGoodbye();
    QCOMPARE(run.texts().size(), 1);
    QVERIFY(run.texts().at(0) == QString::fromLatin1(message));
}

QTEST_GUILESS_MAIN(tst_SockJSRobustAnswers)
#include "tst_sockjsrobustanswers.moc"
