#include "HttpReading.h"
#include "ResponseStreams.h"
#include "support/Slowness.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QtTest>

// Answers as HTTP/1.1 means them: what becomes of the streams that the other way of cutting them reads,
// and what the reader tells.
class tst_SockJSHttpReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void streamOfTheOtherWay_data();
    void streamOfTheOtherWay();
    void resumedStream_data();
    void resumedStream();
    void limits_data();
    void limits();
    void manyChunksOfOneReadAreNotMovedAgain();
    void everyStateShows();
    void bytesBehindTheLastAnswerStayPending();
    void emptyLinesBeforeAnAnswerBeginNone();
    void headerIsToldUntilTheNextIsWhole();
    void pieceIsFoundWithItsByte();
    void copyReadsOnByItself();
    void resetForgetsEverything();
};

namespace
{

// The stream of that name, which is no longer in the table then.
template<typename Table> typename Table::mapped_type take(Table *table, const QByteArray &name)
{
    const auto stream = named(*table, name);
    table->remove(name);
    return stream;
}

} // namespace

// ---- The streams of the other way ---------------------------------------------------------------

void tst_SockJSHttpReader::streamOfTheOtherWay_data()
{
    addReadingColumns();
    StreamTable unread = cutStreams();
    const auto open = [&unread](const QByteArray &name, const QString &found, State state,
                                const QString &atEnd) {
        row(name, take(&unread, name), found, state, atEnd);
    };
    const auto whole = [open](const QByteArray &name, const QString &found) {
        open(name, found, State::BETWEEN, NOTHING);
    };
    const auto broken = [&unread](const QByteArray &name, const QString &found) {
        brokenRow(name, take(&unread, name), found);
    };
    whole("known length", u"200|body hello"_s);
    whole("two responses", u"200|body hello|200|body o\n"_s);
    whole("body of one byte, then the next", u"200|body o|200|body ab"_s);
    whole("empty body, then the next", u"200|body |200|body hello"_s);
    open("half a body", u"200|half hello"_s, State::LENGTH_BODY, IN_BODY);
    open("half a header", u""_s, State::HEADER, IN_HEADER);
    whole("bare line feeds", u"200|body hello"_s);
    whole("line feeds of both kinds", u"200|body hello"_s);
    whole("carriage returns end no header", u"200|body hello"_s);
    whole("body that holds a header", u"200|body aHTTP/1.1 200 OK\r\n\r\nb"_s);
    broken("bytes before the first response", u"broken: no HTTP answer"_s);
    broken("no response", u"broken: no HTTP answer"_s);
    whole("nobody asked", u"200|body hello"_s);
    whole("nobody asked twice", u"200|body hello|200|body ab|200|body "_s);
    whole("chunks", u"200|body hello"_s);
    whole("chunks and the next response", u"200|body hello|200|body ab"_s);
    open("half a chunk", u"200|half hellowor"_s, State::CHUNK_DATA, IN_BODY);
    open("half a size line", u"200|half hello"_s, State::CHUNK_SIZE, IN_BODY);
    whole("size lines with bare line feeds", u"200|body hello|200|body ab"_s);
    whole("chunk that holds a header", u"200|body HTTP/1.1\n\n|200|body ab"_s);
    whole("chunk that holds line ends", u"200|body \r\n0\r\n\n"_s);
    whole("no chunk at all", u"200|body |200|body hello"_s);
    whole("trailers", u"200|body hello|200|body ab"_s);
    open("size with zeros in front", u"200|half hello"_s, State::TRAILERS, IN_BODY);

    broken("size line '1'", u"200|half helloo|broken: no line end behind a chunk"_s);
    broken("size line '0'", u"200|body hello|broken: no HTTP answer"_s);
    broken("size line '5;a=b'", u"200|half helloother|broken: bad chunk size"_s);
    for (const char *size : {"-5", "-7fffffff", "10000000000000005", "", "x", "0x"})
        broken(QByteArray("size line '") + size + "'", u"200|half hello|broken: bad chunk size"_s);
    for (const char *size : {"80000000", "ffffffff", "100000002"})
        open(QByteArray("size line '") + size + "'",
             u"200|half helloother\r\nHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nab"_s,
             State::CHUNK_DATA, IN_BODY);
    QCOMPARE(unread.keys(), QList<QByteArray>());
}

void tst_SockJSHttpReader::streamOfTheOtherWay()
{
    QFETCH(QByteArray, stream);
    verifyEveryCut(stream);
}

// A silence inside a body changes nothing: what comes next belongs to the body.
void tst_SockJSHttpReader::resumedStream_data()
{
    addReadingColumns();
    SilenceTable unread = silenceStreams();
    const auto stream = [&unread](const QByteArray &name) {
        const auto halves = take(&unread, name);
        return halves.first + halves.second;
    };
    const auto whole = [stream](const QByteArray &name, const QString &found) {
        row(name, stream(name), found);
    };
    const auto broken = [stream](const QByteArray &name, const QString &found) {
        brokenRow(name, stream(name), found);
    };
    broken("next response, known length", u"200|body abcHTT|broken: no HTTP answer"_s);
    broken("next response, nothing of the body yet", u"200|body HTTP/1|broken: no HTTP answer"_s);
    broken("next response, between chunks", u"200|half ab|broken: bad chunk size"_s);
    broken("next response, before the first chunk", u"200|broken: bad chunk size"_s);
    broken("next response, inside a chunk", u"200|half abHTT|broken: no line end behind a chunk"_s);
    broken("next response, inside a size line", u"200|broken: bad chunk size"_s);
    whole("rest of the body", u"200|body abcdef|200|body end"_s);
    whole("rest of the body begins like a response", u"200|body abcHTH|200|body end"_s);
    whole("rest of the body holds a response", u"200|body abcxHTTP/|200|body end"_s);
    // The empty line behind the last chunk is missing, and so the header is one of trailers.
    broken("rest of a chunk", u"200|body abHTc|broken: no HTTP answer"_s);
    broken("next chunk holds a response", u"200|body abHTTP/1|broken: no HTTP answer"_s);
    QCOMPARE(unread.keys(), QList<QByteArray>());
}

void tst_SockJSHttpReader::resumedStream()
{
    QFETCH(QByteArray, stream);
    verifyEveryCut(stream);
}

// ---- Sizes --------------------------------------------------------------------------------------

void tst_SockJSHttpReader::limits_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<int>("bodyBytes");
    QTest::addColumn<QString>("problem");
    StreamTable unread = limitStreams();
    const auto row = [&unread](const QByteArray &name, int bodyBytes,
                               const QString &problem = QString()) {
        QTest::newRow(name) << take(&unread, name) << bodyBytes << problem;
    };
    row("header", 0);
    row("header, a byte more", 0, u"broken: header too long"_s);
    row("header of many lines", 0, u"broken: no HTTP answer"_s);
    row("header that is not ended", 0);
    row("header that is not ended, a byte more", 0, u"broken: header too long"_s);
    row("body", 16777216);
    row("body, a byte more", 16777217);
    row("body of any length", 16777217);
    row("chunk", 16777216);
    row("chunk, a byte more", 16777217);
    row("chunk of any length", 16777217);
    row("chunks", 16777216, u"broken: no HTTP answer"_s);
    row("chunks, two bytes more", 16777218);
    row("size line", 5);
    row("size line, a byte more", 0, u"broken: size line too long"_s);
    row("size line that is not ended", 0);
    row("size line that is not ended, a byte more", 0, u"broken: size line too long"_s);
    row("no response", 0, u"broken: no HTTP answer"_s);
    row("no response, a byte more", 0, u"broken: no HTTP answer"_s);
    row("behind the chunks", 0, u"broken: trailers too long"_s);
    row("behind the chunks, a byte more", 0, u"broken: trailers too long"_s);
    QCOMPARE(unread.keys(), QList<QByteArray>());
}

// In one piece and in reads of 4,096 bytes.
void tst_SockJSHttpReader::limits()
{
    QFETCH(QByteArray, stream);
    for (const int readBytes : {int(stream.size()), 4096}) {
        HttpResponseReader reader;
        int bodyBytes = 0;
        for (int position = 0; position < stream.size(); position += readBytes) {
            reader.append(stream.mid(position, readBytes));
            QByteArray piece;
            for (Found found = reader.next(&piece);
                 found != Found::NOTHING_YET && found != Found::BROKEN;
                 found = reader.next(&piece)) {
                if (found == Found::PIECE)
                    bodyBytes += piece.size();
            }
        }
        QTEST(bodyBytes, "bodyBytes");
        QTEST(reader.problem().isEmpty() ? QString() : "broken: " + reader.problem(), "problem");
    }
}

// A million chunks that come at once: moved to the front with each, they would take minutes.
void tst_SockJSHttpReader::manyChunksOfOneReadAreNotMovedAgain()
{
    const QByteArray stream = CHUNKED + QByteArray("a\r\n0123456789\r\n").repeated(1024 * 1024);
    QElapsedTimer time;
    time.start();
    HttpReading reading;
    reading.feed(stream);
    QVERIFY2(time.elapsed() < 5000 * SLOWNESS, QByteArray::number(time.elapsed()) + " ms");
    QCOMPARE(reading.body.size(), 10485760);
}

// ---- The interface ------------------------------------------------------------------------------

void tst_SockJSHttpReader::everyStateShows()
{
    HttpReading reading;
    const auto feed = [&reading](const QByteArray &bytes, State state) {
        reading.feed(bytes);
        QCOMPARE(int(reading.reader.state()), int(state));
        QCOMPARE(reading.reader.hasBegun(), state != State::BETWEEN);
    };
    feed("", State::BETWEEN);
    feed("HTTP/1.1 200 OK\r\n", State::HEADER);
    feed("Content-Length: 2\r\n\r\n", State::LENGTH_BODY);
    feed("ab", State::BETWEEN);
    feed(CHUNKED, State::CHUNK_SIZE);
    feed("2\r\n", State::CHUNK_DATA);
    feed("cd", State::CHUNK_END);
    feed("\r\n", State::CHUNK_SIZE);
    feed("0\r\n", State::TRAILERS);
    feed("\r\n", State::BETWEEN);
    feed("HTTP/1.1 200 OK\r\n\r\n", State::OPEN_BODY);
    feed("ef", State::OPEN_BODY);
    QCOMPARE(reading.found(), u"200|body ab|200|body cd|200|half ef"_s);
    QCOMPARE(int(reading.reader.endOfInput()), int(Found::END));
    QCOMPARE(int(reading.reader.state()), int(State::BETWEEN));

    reading.reader.reset();
    feed("x", State::BROKEN);
    QCOMPARE(int(reading.reader.endOfInput()), int(Found::BROKEN));
    QCOMPARE(reading.reader.problem(), u"no HTTP answer"_s);
}

void tst_SockJSHttpReader::bytesBehindTheLastAnswerStayPending()
{
    const QByteArray last = "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 2\r\n\r\nab";
    for (const char *behind : {"x", "\r\nx", "HTTP/1.1 200 OK\r\n\r\n"}) {
        HttpReading together;
        together.feed(last + behind);
        QCOMPARE(together.found(), u"200|body ab"_s);
        QVERIFY(together.reader.hasPending());
        QVERIFY(!together.reader.hasBegun());
        HttpReading apart;
        apart.feed(last);
        QVERIFY(!apart.reader.hasPending());
        apart.feed(behind);
        QCOMPARE(apart.found(), u"200|body ab"_s);
        QVERIFY(apart.reader.hasPending());
        QCOMPARE(int(apart.reader.endOfInput()), int(Found::NOTHING_YET));
    }
}

void tst_SockJSHttpReader::emptyLinesBeforeAnAnswerBeginNone()
{
    HttpReading reading;
    reading.feed(plain(0) + "\r\n\n");
    QVERIFY(!reading.reader.hasPending());
    QVERIFY(!reading.reader.hasBegun());
    reading.feed("\r");
    QVERIFY(reading.reader.hasPending());
    QVERIFY(!reading.reader.hasBegun());
    reading.feed("\nH");
    QVERIFY(reading.reader.hasBegun());
}

void tst_SockJSHttpReader::headerIsToldUntilTheNextIsWhole()
{
    HttpReading reading;
    reading.feed("HTTP/1.1 404 Gone\r\nSet-Cookie: a=b\r\nContent-Length: 0\r\n\r\n");
    reading.feed("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n");
    QCOMPARE(reading.reader.status(), 404);
    QCOMPARE(reading.reader.reasonPhrase(), QByteArray("Gone"));
    QCOMPARE(reading.reader.setCookies(), QByteArray("a=b"));
    QVERIFY(!reading.reader.isChunked());
    QVERIFY(!reading.reader.isLast());
    reading.feed("\r\n");
    QCOMPARE(reading.reader.status(), 200);
    QCOMPARE(reading.reader.reasonPhrase(), QByteArray("OK"));
    QCOMPARE(reading.reader.setCookies(), QByteArray());
    QVERIFY(reading.reader.isChunked());
    QVERIFY(reading.reader.isLast());
}

// No byte of a body waits for another one.
void tst_SockJSHttpReader::pieceIsFoundWithItsByte()
{
    for (const QByteArray &before : {plain(9), CHUNKED + "9\r\n", answer("")}) {
        HttpReading reading;
        reading.feed(before);
        reading.feed("a");
        QCOMPARE(reading.body, QByteArray("a"));
        reading.feed("bc");
        QCOMPARE(reading.body, QByteArray("abc"));
        QVERIFY(!reading.reader.hasPending());
    }
}

void tst_SockJSHttpReader::copyReadsOnByItself()
{
    HttpReading reading;
    reading.feed(plain(4, "ab"));
    HttpReading copy = reading;
    copy.feed("cd" + plain(1, "x"));
    reading.feed("ef");
    QCOMPARE(copy.found(), u"200|body abcd|200|body x"_s);
    QCOMPARE(reading.found(), u"200|body abef"_s);
}

void tst_SockJSHttpReader::resetForgetsEverything()
{
    for (const QByteArray &before :
         {plain(6, "abc"), CHUNKED + "5\r\nab", CHUNKED + "0\r\n", answer("", "a"),
          QByteArray("HTTP/"), QByteArray("x"), "HTTP/1.0 204 \r\n\r\n" + plain(2, "ab")}) {
        HttpReading reading;
        reading.feed(before);
        reading.reader.reset();
        QCOMPARE(int(reading.reader.state()), int(State::BETWEEN));
        QVERIFY(!reading.reader.hasPending());
        QCOMPARE(reading.reader.problem(), QString());
        QCOMPARE(reading.reader.status(), 0);
        HttpReading next;
        next.reader = reading.reader;
        next.feed(plain(2, "ab"));
        QCOMPARE(next.found(), u"200|body ab"_s);
    }
}

QTEST_GUILESS_MAIN(tst_SockJSHttpReader)
#include "tst_sockjshttpreader.moc"
