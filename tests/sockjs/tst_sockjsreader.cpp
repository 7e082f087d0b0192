#include "ResponseStreams.h"
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
    void headerBehindADroppedEndChunkMayComeInPieces();
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
    const auto open = [](const QByteArray &name, int requests, const QStringList &found,
                         State state, const QByteArray &pending) {
        QTest::newRow(name) << named(cutStreams(), name) << requests << found << state << pending;
    };
    // Everything has been read, and a header comes next.
    const auto row = [open](const QByteArray &name, int requests, const QStringList &found) {
        open(name, requests, found, State::HEADER, QByteArray());
    };
    const QByteArray none;
    const QStringList hello = response("hello");
    const QStringList both = hello + response("ab");

    row("known length", 1, hello);
    row("two responses", 2, hello + response("o\n"));
    row("body of one byte, then the next", 2, response("o") + response("ab"));
    row("empty body, then the next", 2, QStringList{H} + hello);
    open("half a body", 1, {H}, State::LENGTH_BODY, none);
    open("half a header", 1, {}, State::HEADER, "HTTP/1.1 200 OK\r\nA: b\r\n");
    row("bare line feeds", 1, hello);
    row("line feeds of both kinds", 1, hello);
    row("carriage returns end no header", 1, hello);
    row("body that holds a header", 1, response("aHTTP/1.1 200 OK\r\n\r\nb"));
    row("bytes before the first response", 1, hello);
    open("no response", 1, {}, State::HEADER, "SSH-2.0\r\n\r\n");
    open("nobody asked", 0, {"unasked"}, State::UNASKED, "hello");
    open("nobody asked twice", 1, hello + QStringList{"unasked", "unasked"}, State::UNASKED, none);

    open("chunks", 1, hello, State::BEHIND_CHUNKS, "0\r\n\r\n");
    row("chunks and the next response", 2, both);
    open("half a chunk", 1, {H}, State::CHUNKS, "5\r\nwor");
    open("half a size line", 1, {H}, State::CHUNKS, "1");
    row("size lines with bare line feeds", 2, both);
    row("chunk that holds a header", 2, response("HTTP/1.1\n\n") + response("ab"));
    open("chunk that holds line ends", 1, response("\r\n0\r\n\n"), State::BEHIND_CHUNKS,
         "0\r\n\r\n");
    row("no chunk at all", 2, QStringList{H} + hello);
    row("trailers", 2, both);
    // They end the body: what follows is passed over until a header comes.
    for (const QByteArray &size : ODD_SIZES)
        row("size line '" + size + "'", 2, both);
    open("size with zeros in front", 1, hello, State::BEHIND_CHUNKS, "0\r\n");
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

void tst_SockJSReader::headerBehindADroppedEndChunkMayComeInPieces()
{
    Reading reading(2);
    reading.feed(CHUNKED + "5\r\nhello\r\n0\r\n\r\n");
    reading.reader.dropPending();
    reading.feed("HTT");
    reading.feed("P/1.1 200 OK\r\nContent-Length: 2\r\n\r\nab");
    QCOMPARE(reading.found, response("hello") + response("ab"));
}

void tst_SockJSReader::silence_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QStringList>("found");
    const auto row = [](const QByteArray &name, const QStringList &found) {
        const auto halves = named(silenceStreams(), name);
        QTest::newRow(name) << halves.first << halves.second << found;
    };
    const auto nextOnly = [row](const QByteArray &name) {
        row(name, QStringList{H} + response("end"));
    };
    const auto rest = [row](const QByteArray &name, const char *whole) {
        row(name, response(whole) + response("end"));
    };
    nextOnly("next response, known length");
    nextOnly("next response, nothing of the body yet");
    nextOnly("next response, between chunks");
    nextOnly("next response, before the first chunk");
    nextOnly("next response, inside a chunk");
    nextOnly("next response, inside a size line");
    rest("rest of the body", "abcdef");
    rest("rest of the body begins like a response", "abcHTH");
    rest("rest of the body holds a response", "abcxHTTP/");
    rest("rest of a chunk", "abHTc");
    rest("next chunk holds a response", "abHTTP/1");
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
    const auto taken = [](const QByteArray &name) {
        QTest::newRow(name) << named(limitStreams(), name) << 0 << false;
    };
    const auto tooMuch = [](const QByteArray &name, int atLeast = 0) {
        QTest::newRow(name) << named(limitStreams(), name) << atLeast << true;
    };
    taken("header");
    tooMuch("header, a byte more");
    tooMuch("header of many lines");
    taken("header that is not ended");
    tooMuch("header that is not ended, a byte more");
    taken("body");
    tooMuch("body, a byte more", LARGEST_BODY);
    tooMuch("body of any length", LARGEST_BODY);
    taken("chunk");
    tooMuch("chunk, a byte more", LARGEST_BODY);
    tooMuch("chunk of any length", LARGEST_BODY);
    taken("chunks");
    tooMuch("chunks, two bytes more", LARGEST_BODY);
    taken("size line");
    tooMuch("size line, a byte more");
    taken("size line that is not ended");
    tooMuch("size line that is not ended, a byte more");
    taken("no response");
    tooMuch("no response, a byte more");
    taken("behind the chunks");
    tooMuch("behind the chunks, a byte more");
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
