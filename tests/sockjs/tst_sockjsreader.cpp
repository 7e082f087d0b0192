#include "Http.h"
#include "sockjs/ResponseReader.h"
#include "support/LogCapture.h"

#include <QtTest/QtTest>

using Tarvo::ResponseReader;
using State = Tarvo::ResponseReader::State;
using Found = Tarvo::ResponseReader::Found;
Q_DECLARE_METATYPE(Tarvo::ResponseReader::State)

// How the bytes of the polling connection become headers and bodies: without sockets, threads and
// clocks.
class tst_SockJSReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCutGivesTheSame_data();
    void everyCutGivesTheSame();
    void everyStateShows();
    void endChunkIsLoggedAtEachReadUntilTheNextHeader();
    void bodyWithoutLengthIsEachReadThatBeginsNoResponse();
    void bytesThatBeginNoResponseContinueTheRequestBefore();
    void chunksBehindADroppedEndChunkAreAFurtherBody();
    void silence_data();
    void silence();
    void firstLettersOfAResponseThatDoesNotComeAreBody();
    void silenceBetweenResponsesChangesNothing();
    void limits_data();
    void limits();
    void resetForgetsEverything();
};

namespace
{

const QByteArray OPEN = "HTTP/1.1 200 OK\r\n\r\n";
const QString H = u"header"_s;
const QString TOO_MUCH = u"too much"_s;
constexpr int LARGEST_BODY = 16 * 1024 * 1024;
constexpr int LARGEST_HEADER = 64 * 1024;

QString body(const char *text)
{
    return QLatin1String("body ") + QLatin1String(text);
}

// What is found of a whole response.
QStringList response(const char *text)
{
    return {H, body(text)};
}

// A reader, with what it has found written down, and requests that wait for their responses.
struct Reading {
    explicit Reading(int requests) : unanswered(requests) { }

    void feed(const QByteArray &bytes)
    {
        reader.append(bytes);
        read();
    }
    void read()
    {
        for (;;) {
            switch (reader.next(&message)) {
            case Found::NOTHING_YET:
                return;
            case Found::PIECE:
                break;
            case Found::HEADER:
                onHeader();
                break;
            case Found::BODY:
                found.append(QLatin1String("body ") + message);
                message = QString();
                break;
            case Found::TOO_MUCH:
                found.append(TOO_MUCH);
                reader.reset();
                return;
            }
        }
    }
    void onHeader()
    {
        message.clear();
        headers.append(reader.headers());
        if (unanswered == 0) {
            found.append(u"unasked"_s);
            return reader.expectNothing();
        }
        --unanswered;
        found.append(H);
        XHRRequest request(nullptr, QString(), QString());
        request.chunked = reader.headers().value("Transfer-Encoding").endsWith("chunked");
        request.contentLength = reader.headers().value("Content-Length").toInt();
        reader.expectBody(request, reader.headers().contains("Content-Length"));
    }

    ResponseReader reader;
    int unanswered;
    QString message;
    QStringList found;
    QList<QStringMap> headers;
};

} // namespace

void tst_SockJSReader::everyCutGivesTheSame_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<int>("requests");
    QTest::addColumn<QStringList>("found");
    QTest::addColumn<State>("state");
    QTest::addColumn<QByteArray>("pending");
    const auto open = [](const char *name, int requests, const QByteArray &stream,
                         const QStringList &found, State state, const QByteArray &pending) {
        QTest::newRow(name) << stream << requests << found << state << pending;
    };
    // Everything has been read, and a header comes next.
    const auto row = [open](const char *name, int requests, const QByteArray &stream,
                            const QStringList &found) {
        open(name, requests, stream, found, State::HEADER, QByteArray());
    };
    const QByteArray none;
    const QByteArray ok = "HTTP/1.1 200\n";
    const QByteArray next = plain(2, "ab");
    const QByteArray header = "HTTP/1.1 200 OK\r\nA: b\r\n";
    const QByteArray ssh = "SSH-2.0\r\n\r\n";
    const QByteArray helloChunk = CHUNKED + "5\r\nhello\r\n";
    const QStringList hello = response("hello");
    const QStringList both = hello + response("ab");

    row("known length", 1, plain(5, "hello"), hello);
    row("two responses", 2, plain(5, "hello") + plain(2, "o\n"), hello + response("o\n"));
    row("body of one byte, then the next", 2, plain(1, "o") + next, response("o") + response("ab"));
    row("empty body, then the next", 2, plain(0) + plain(5, "hello"), QStringList{H} + hello);
    open("half a body", 1, plain(9, "hello"), {H}, State::LENGTH_BODY, none);
    open("half a header", 1, header, {}, State::HEADER, header);
    row("bare line feeds", 1, ok + "Content-Length:5\n\nhello", hello);
    row("line feeds of both kinds", 1, ok + "Content-Length: 5\n\r\nhello", hello);
    row("carriage returns end no header", 1, ok + "\r\r\nContent-Length: 5\n\nhello", hello);
    row("body that holds a header", 1, plain(21, "aHTTP/1.1 200 OK\r\n\r\nb"),
        response("aHTTP/1.1 200 OK\r\n\r\nb"));
    row("bytes before the first response", 1, "x\r\nHT\n\nHTTP" + plain(5, "hello"), hello);
    open("no response", 1, ssh, {}, State::HEADER, ssh);
    open("nobody asked", 0, plain(5, "hello"), {"unasked"}, State::UNASKED, "hello");
    open("nobody asked twice", 1, plain(5, "hello") + next + plain(0),
         hello + QStringList{"unasked", "unasked"}, State::UNASKED, none);

    open("chunks", 1, helloChunk + "0\r\n\r\n", hello, State::BEHIND_CHUNKS, "0\r\n\r\n");
    row("chunks and the next response", 2, CHUNKED + "3\r\nhel\r\n2\r\nlo\r\n0\r\n\r\n" + next,
        both);
    open("half a chunk", 1, helloChunk + "5\r\nwor", {H}, State::CHUNKS, "5\r\nwor");
    open("half a size line", 1, helloChunk + "1", {H}, State::CHUNKS, "1");
    row("size lines with bare line feeds", 2, CHUNKED + "5\nhello\r\n0\n\n" + next, both);
    row("chunk that holds a header", 2, CHUNKED + "A\r\nHTTP/1.1\n\n\r\n0\r\n\r\n" + next,
        response("HTTP/1.1\n\n") + response("ab"));
    open("chunk that holds line ends", 1, CHUNKED + "6\r\n\r\n0\r\n\n\r\n0\r\n\r\n",
         response("\r\n0\r\n\n"), State::BEHIND_CHUNKS, "0\r\n\r\n");
    row("no chunk at all", 2, CHUNKED + "0\r\n\r\n" + plain(5, "hello"), QStringList{H} + hello);
    row("trailers", 2, helloChunk + "0\r\nA: b\r\n\r\n" + next, both);
    // Sizes that end the body: what follows is passed over until a header comes.
    for (const char *size : {"1", "0", "-5", "-7fffffff", "80000000", "ffffffff", "100000002",
                             "10000000000000005", "", "x", "5;a=b", "0x"}) {
        const QByteArray name = QByteArray("size line '") + size + "'";
        row(name, 2, helloChunk + size + "\r\nother\r\n" + next, both);
    }
    open("size with zeros in front", 1, CHUNKED + "0000000000000000000005\r\nhello\r\n0\r\n", hello,
         State::BEHIND_CHUNKS, "0\r\n");
}

// In one piece, in two at every place, and byte by byte.
void tst_SockJSReader::everyCutGivesTheSame()
{
    QFETCH(QByteArray, stream);
    QFETCH(int, requests);
    QFETCH(QStringList, found);
    QFETCH(State, state);
    QFETCH(QByteArray, pending);
    const LogCapture log;
    const auto verify = [&](const Reading &reading) {
        QCOMPARE(reading.found, found);
        QCOMPARE(int(reading.reader.state()), int(state));
        // A chunk is read without the line end behind it, which may come later.
        const QByteArray waiting = reading.reader.pending();
        if (waiting != "\r\n" + pending && waiting != "\n" + pending)
            QCOMPARE(waiting, pending);
    };
    Reading whole(requests);
    whole.feed(stream);
    verify(whole);
    for (int cut = 0; cut <= stream.size() && !QTest::currentTestFailed(); ++cut) {
        Reading halves(requests);
        halves.feed(stream.left(cut));
        halves.feed(stream.mid(cut));
        verify(halves);
        QCOMPARE(halves.headers, whole.headers);
    }
    Reading bytewise(requests);
    for (const char byte : stream)
        bytewise.feed(QByteArray(1, byte));
    verify(bytewise);
    QCOMPARE(bytewise.headers, whole.headers);
}

void tst_SockJSReader::everyStateShows()
{
    const LogCapture log;
    Reading reading(4);
    QCOMPARE(int(reading.reader.state()), int(State::HEADER));
    reading.feed(plain(2, "a"));
    QCOMPARE(int(reading.reader.state()), int(State::LENGTH_BODY));
    reading.feed("b");
    QCOMPARE(int(reading.reader.state()), int(State::HEADER));
    reading.feed(OPEN);
    QCOMPARE(int(reading.reader.state()), int(State::OPEN_BODY));
    reading.feed("c");
    QCOMPARE(int(reading.reader.state()), int(State::OPEN_BODY));
    reading.feed(CHUNKED);
    QCOMPARE(int(reading.reader.state()), int(State::CHUNKS));
    reading.feed("2\r\nde\r\n");
    QCOMPARE(int(reading.reader.state()), int(State::CHUNKS));
    reading.feed("0\r\n\r\n");
    QCOMPARE(int(reading.reader.state()), int(State::BEHIND_CHUNKS));
    reading.feed(plain(0));
    QCOMPARE(int(reading.reader.state()), int(State::HEADER));
    reading.feed(plain(0));
    QCOMPARE(int(reading.reader.state()), int(State::UNASKED));
    QCOMPARE(reading.found,
             (QStringList{H, body("ab"), H, body("c"), H, body("de"), H, "unasked"}));
}

void tst_SockJSReader::endChunkIsLoggedAtEachReadUntilTheNextHeader()
{
    Reading reading(2);
    const LogCapture log;
    reading.feed(CHUNKED + "5\r\nhello\r\n0\r\n");
    QCOMPARE(log.messages(), QStringList{"[SockJSXHRPollingWorker] chunk complete size 5"});
    reading.feed("\r");
    reading.feed("\nHTTP/1.1 200 OK\r\nCont");
    QCOMPARE(log.messages(),
             (QStringList{"[SockJSXHRPollingWorker] chunk complete size 5",
                          "[SockJSXHRPollingWorker] chunk complete size 0"}));
    QCOMPARE(reading.reader.pending(), QByteArray("0\r\n\r\nHTTP/1.1 200 OK\r\nCont"));
    reading.feed("ent-Length: 2\r\n\r\nab");
    QCOMPARE(log.messages().size(), 2);
    QCOMPARE(reading.found, response("hello") + response("ab"));
    QCOMPARE(reading.reader.pending(), QByteArray());
}

void tst_SockJSReader::bodyWithoutLengthIsEachReadThatBeginsNoResponse()
{
    // What comes with the header is body, whatever it looks like.
    Reading together(2);
    together.feed(OPEN + "HTTP/1.1 200 OK\r\n\r\n");
    QCOMPARE(together.found, response("HTTP/1.1 200 OK\r\n\r\n"));

    Reading apart(2);
    apart.feed(OPEN);
    apart.feed("abc");
    apart.feed("de");
    apart.feed("HTT"); // may become a response
    QCOMPARE(apart.found, (QStringList{H, body("abc"), body("de")}));
    apart.feed("x");
    QCOMPARE(apart.found, (QStringList{H, body("abc"), body("de"), body("HTTx")}));
    apart.feed("left over" + plain(2, "ab"));
    QCOMPARE(apart.found.mid(4), response("ab"));

    // A length that is none, or not above zero.
    for (const char *length : {"-3", "99999999999", "4294967299", "x", ""}) {
        Reading reading(1);
        reading.feed(QByteArray("HTTP/1.1 200 OK\r\nContent-Length: ") + length + "\r\n\r\nabc");
        QCOMPARE(reading.found, response("abc"));
    }
}

void tst_SockJSReader::bytesThatBeginNoResponseContinueTheRequestBefore()
{
    Reading reading(2);
    reading.feed(plain(3, "abcdefgh"));
    // Three bytes each, as the header said; the rest waits in the message.
    QCOMPARE(reading.found, (QStringList{H, body("abc"), body("def")}));
    QCOMPARE(reading.message, u"gh"_s);
    reading.feed(plain(2, "xy"));
    QCOMPARE(reading.found.mid(3), (QStringList{H, body("xy")}));
}

void tst_SockJSReader::chunksBehindADroppedEndChunkAreAFurtherBody()
{
    const LogCapture log;
    Reading reading(2);
    reading.feed(CHUNKED + "5\r\nhello\r\n0\r\n\r\n");
    QCOMPARE(reading.reader.pending(), QByteArray("0\r\n\r\n"));
    reading.reader.dropPending();
    QVERIFY(!reading.reader.hasPending());
    reading.feed("2\r\nab\r\n3\r\nc");
    QCOMPARE(reading.found, response("hello"));
    reading.feed("de\r\n0\r\n");
    QCOMPARE(reading.found, (QStringList{H, body("hello"), body("abcde")}));
    reading.reader.dropPending();
    // A response is found there wherever it begins.
    reading.feed("2\r\nxHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nab");
    QCOMPARE(reading.found.mid(3), response("ab"));
}

void tst_SockJSReader::silence_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QStringList>("found");
    const QByteArray next = plain(3, "end");
    const auto nextOnly = [&next](const char *name, const QByteArray &before) {
        QTest::newRow(name) << before << next << QStringList{H} + response("end");
    };
    const auto rest = [&next](const char *name, const QByteArray &before, const QByteArray &after,
                              const char *whole) {
        QTest::newRow(name) << before << after + next << response(whole) + response("end");
    };
    nextOnly("next response, known length", plain(6, "abc"));
    nextOnly("next response, nothing of the body yet", plain(6));
    nextOnly("next response, between chunks", CHUNKED + "2\r\nab\r\n");
    nextOnly("next response, before the first chunk", CHUNKED);
    nextOnly("next response, inside a chunk", CHUNKED + "5\r\nab");
    nextOnly("next response, inside a size line", CHUNKED + "5");
    rest("rest of the body", plain(6, "abc"), "def", "abcdef");
    rest("rest of the body begins like a response", plain(6, "abc"), "HTH", "abcHTH");
    rest("rest of the body holds a response", plain(9, "abc"), "xHTTP/", "abcxHTTP/");
    rest("rest of a chunk", CHUNKED + "5\r\nab", "HTc\r\n0\r\n", "abHTc");
    rest("next chunk holds a response", CHUNKED + "2\r\nab\r\n", "6\r\nHTTP/1\r\n0\r\n",
         "abHTTP/1");
}

void tst_SockJSReader::silence()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, after);
    QFETCH(QStringList, found);
    const LogCapture log;
    for (int cut = 0; cut < after.size(); ++cut) {
        Reading reading(2);
        reading.feed(before);
        reading.reader.noteSilence();
        if (cut > 0)
            reading.feed(after.left(cut));
        reading.feed(after.mid(cut));
        QCOMPARE(reading.found, found);
        QVERIFY(!reading.reader.hasPending());
    }
}

void tst_SockJSReader::firstLettersOfAResponseThatDoesNotComeAreBody()
{
    Reading reading(2);
    reading.feed(plain(6, "abc"));
    reading.reader.noteSilence();
    reading.feed("HT");
    QCOMPARE(reading.reader.pending(), QByteArray("HT"));
    reading.reader.noteSilence();
    reading.read();
    QCOMPARE(reading.reader.pending(), QByteArray());
    QCOMPARE(reading.message, u"abcHT"_s);
    reading.feed("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nab");
    QCOMPARE(reading.found, (QStringList{H, H, body("ab")}));

    // They complete the body.
    Reading complete(2);
    complete.feed(plain(5, "abc"));
    complete.reader.noteSilence();
    complete.feed("HT");
    complete.reader.noteSilence();
    complete.read();
    QCOMPARE(complete.found, response("abcHT"));
    complete.feed(plain(2, "ab"));
    QCOMPARE(complete.found.mid(2), response("ab"));
}

void tst_SockJSReader::silenceBetweenResponsesChangesNothing()
{
    Reading reading(2);
    reading.reader.noteSilence();
    reading.feed("HTTP/1.1 200 OK\r\nCont");
    reading.reader.noteSilence();
    reading.feed("ent-Length: 2\r\n\r\no");
    reading.feed("\n");
    reading.reader.noteSilence();
    reading.feed(plain(1, "h"));
    QCOMPARE(reading.found, response("o\n") + response("h"));
}

void tst_SockJSReader::limits_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<int>("atLeast"); // bytes that are taken in any case
    QTest::addColumn<bool>("tooMuch");
    const auto header = [](int size) {
        const QByteArray start = "HTTP/1.1 200 OK\r\nX: ";
        return start + QByteArray(size - start.size() - 4, 'x') + "\r\n\r\n";
    };
    const auto lines = [](int size) {
        const QByteArray start = "HTTP/\n";
        return start + QByteArray("a\n").repeated((size - start.size() - 1) / 2) + "\n";
    };
    const auto chunk = [](int size, int lineSize = 0) {
        return QByteArray::number(size, 16).rightJustified(lineSize, '0') + "\r\n"
            + QByteArray(size, 'x') + "\r\n";
    };
    const auto largest = [&chunk](int pieces) {
        return chunk(LARGEST_BODY / pieces).repeated(pieces);
    };

    const auto taken = [](const char *name, const QByteArray &stream) {
        QTest::newRow(name) << stream << 0 << false;
    };
    const auto tooMuch = [](const char *name, const QByteArray &stream, int atLeast = 0) {
        QTest::newRow(name) << stream << atLeast << true;
    };
    const QByteArray unended = header(LARGEST_HEADER + 100);
    const QByteArray oneMore(LARGEST_BODY + 1, 'x');
    const QByteArray full = oneMore.left(LARGEST_BODY);
    const QByteArray zeros(LARGEST_HEADER + 1, '0');
    const QByteArray behind = CHUNKED + "0\r\n";

    taken("header", header(LARGEST_HEADER));
    tooMuch("header, a byte more", header(LARGEST_HEADER + 1));
    tooMuch("header of many lines", lines(LARGEST_HEADER + 1));
    taken("header that is not ended", unended.left(LARGEST_HEADER));
    tooMuch("header that is not ended, a byte more", unended.left(LARGEST_HEADER + 1));
    taken("body", plain(LARGEST_BODY, full));
    tooMuch("body, a byte more", plain(LARGEST_BODY + 1, oneMore), LARGEST_BODY);
    tooMuch("body of any length", plain(INT_MAX, oneMore), LARGEST_BODY);
    taken("chunk", CHUNKED + chunk(LARGEST_BODY) + "0\r\n\r\n");
    tooMuch("chunk, a byte more", CHUNKED + chunk(LARGEST_BODY + 1), LARGEST_BODY);
    tooMuch("chunk of any length", CHUNKED + "7fffffff\r\n" + oneMore, LARGEST_BODY);
    taken("chunks", CHUNKED + largest(64) + "0\r\n" + plain(2, "ab"));
    tooMuch("chunks, two bytes more", CHUNKED + largest(64) + chunk(2), LARGEST_BODY);
    taken("size line", CHUNKED + chunk(5, LARGEST_HEADER - 2));
    tooMuch("size line, a byte more", CHUNKED + chunk(5, LARGEST_HEADER - 1));
    taken("size line that is not ended", CHUNKED + zeros.left(LARGEST_HEADER));
    tooMuch("size line that is not ended, a byte more", CHUNKED + zeros);
    taken("no response", full);
    tooMuch("no response, a byte more", oneMore);
    taken("behind the chunks", behind + full.left(LARGEST_BODY - 3));
    tooMuch("behind the chunks, a byte more", behind + full.left(LARGEST_BODY - 2));
}

// In one piece and in reads of 4,096 bytes, as they come.
void tst_SockJSReader::limits()
{
    QFETCH(QByteArray, stream);
    QFETCH(int, atLeast);
    QFETCH(bool, tooMuch);
    const LogCapture log;
    Reading whole(2);
    whole.feed(stream);
    QCOMPARE(whole.found.contains(TOO_MUCH), tooMuch);

    constexpr int READ_BYTES = 4096;
    Reading reads(2);
    int position = 0;
    while (position < stream.size() && !reads.found.contains(TOO_MUCH)) {
        reads.feed(stream.mid(position, READ_BYTES));
        position += READ_BYTES;
    }
    QCOMPARE(reads.found.contains(TOO_MUCH), tooMuch);
    QVERIFY(position >= atLeast);
    if (!tooMuch)
        QCOMPARE(reads.found, whole.found);
}

void tst_SockJSReader::resetForgetsEverything()
{
    const LogCapture log;
    for (const QByteArray &before :
         {plain(6, "abc"), CHUNKED + "5\r\nab", CHUNKED + "0\r\n", OPEN, QByteArray("HTTP/")}) {
        Reading reading(2);
        reading.feed(before);
        reading.reader.noteSilence();
        reading.reader.reset();
        QCOMPARE(int(reading.reader.state()), int(State::HEADER));
        QVERIFY(!reading.reader.hasPending());
        reading.found.clear();
        reading.feed("xyz");
        QCOMPARE(reading.found, QStringList());
        reading.feed(plain(2, "ab"));
        QCOMPARE(reading.found, response("ab"));
    }
}

QTEST_GUILESS_MAIN(tst_SockJSReader)
#include "tst_sockjsreader.moc"
