#include "sockjs/ResponseReader.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <memory>

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

const QByteArray CHUNKED = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
const QByteArray OPEN = "HTTP/1.1 200 OK\r\n\r\n";
const QString H = u"header"_s;
const QString TOO_MUCH = u"too much"_s;
constexpr int LARGEST_BODY = 16 * 1024 * 1024;
constexpr int LARGEST_HEADER = 64 * 1024;

QByteArray plain(int length, const QByteArray &body = QByteArray())
{
    return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(length) + "\r\n\r\n" + body;
}

QString body(const char *text)
{
    return QLatin1String("body ") + QLatin1String(text);
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
    const QByteArray none;
    const QStringList hello{H, body("hello")};

    QTest::newRow("known length") << plain(5, "hello") << 1 << hello << State::HEADER << none;
    QTest::newRow("two responses") << plain(5, "hello") + plain(2, "o\n") << 2
                                   << hello + QStringList{H, body("o\n")} << State::HEADER << none;
    QTest::newRow("body of one byte, then the next")
        << plain(1, "o") + plain(2, "ab") << 2 << QStringList{H, body("o"), H, body("ab")}
        << State::HEADER << none;
    QTest::newRow("empty body, then the next")
        << plain(0) + plain(5, "hello") << 2 << QStringList{H} + hello << State::HEADER << none;
    QTest::newRow("half a body") << plain(9, "hello") << 1 << QStringList{H} << State::LENGTH_BODY
                                 << none;
    QTest::newRow("half a header")
        << QByteArray("HTTP/1.1 200 OK\r\nA: b\r\n") << 1 << QStringList() << State::HEADER
        << QByteArray("HTTP/1.1 200 OK\r\nA: b\r\n");
    QTest::newRow("bare line feeds") << QByteArray("HTTP/1.1 200\nContent-Length:5\n\nhello") << 1
                                     << hello << State::HEADER << none;
    QTest::newRow("line feeds of both kinds")
        << QByteArray("HTTP/1.1 200\nContent-Length: 5\n\r\nhello") << 1 << hello << State::HEADER
        << none;
    QTest::newRow("carriage returns end no header")
        << QByteArray("HTTP/1.1 200\n\r\r\nContent-Length: 5\n\nhello") << 1 << hello
        << State::HEADER << none;
    QTest::newRow("body that holds a header")
        << plain(21, "aHTTP/1.1 200 OK\r\n\r\nb") << 1
        << QStringList{H, body("aHTTP/1.1 200 OK\r\n\r\nb")} << State::HEADER << none;
    QTest::newRow("bytes before the first response")
        << "x\r\nHT\n\nHTTP" + plain(5, "hello") << 1 << hello << State::HEADER << none;
    QTest::newRow("no response") << QByteArray("SSH-2.0\r\n\r\n") << 1 << QStringList()
                                 << State::HEADER << QByteArray("SSH-2.0\r\n\r\n");
    QTest::newRow("nobody asked") << plain(5, "hello") << 0 << QStringList{"unasked"}
                                  << State::UNASKED << QByteArray("hello");
    QTest::newRow("nobody asked twice")
        << plain(5, "hello") + plain(2, "ab") + plain(0) << 1
        << hello + QStringList{"unasked", "unasked"} << State::UNASKED << none;

    QTest::newRow("chunks") << CHUNKED + "5\r\nhello\r\n0\r\n\r\n"
                            << 1 << hello << State::BEHIND_CHUNKS << QByteArray("0\r\n\r\n");
    QTest::newRow("chunks and the next response")
        << CHUNKED + "3\r\nhel\r\n2\r\nlo\r\n0\r\n\r\n" + plain(2, "ab") << 2
        << hello + QStringList{H, body("ab")} << State::HEADER << none;
    QTest::newRow("half a chunk") << CHUNKED + "5\r\nhello\r\n5\r\nwor" << 1 << QStringList{H}
                                  << State::CHUNKS << QByteArray("5\r\nwor");
    QTest::newRow("half a size line")
        << CHUNKED + "5\r\nhello\r\n1" << 1 << QStringList{H} << State::CHUNKS << QByteArray("1");
    QTest::newRow("size lines with bare line feeds")
        << CHUNKED + "5\nhello\r\n0\n\n" + plain(2, "ab") << 2 << hello + QStringList{H, body("ab")}
        << State::HEADER << none;
    QTest::newRow("chunk that holds a header")
        << CHUNKED + "A\r\nHTTP/1.1\n\n\r\n0\r\n\r\n" + plain(2, "ab") << 2
        << QStringList{H, body("HTTP/1.1\n\n"), H, body("ab")} << State::HEADER << none;
    QTest::newRow("chunk that holds line ends") << CHUNKED + "6\r\n\r\n0\r\n\n\r\n0\r\n\r\n"
                                                << 1 << QStringList{H, body("\r\n0\r\n\n")}
                                                << State::BEHIND_CHUNKS << QByteArray("0\r\n\r\n");
    QTest::newRow("no chunk at all") << CHUNKED + "0\r\n\r\n" + plain(5, "hello") << 2
                                     << QStringList{H} + hello << State::HEADER << none;
    QTest::newRow("trailers") << CHUNKED + "5\r\nhello\r\n0\r\nA: b\r\n\r\n" + plain(2, "ab") << 2
                              << hello + QStringList{H, body("ab")} << State::HEADER << none;
    // Sizes that end the body: what follows is passed over until a header comes.
    for (const char *size : {"1", "0", "-5", "-7fffffff", "80000000", "ffffffff", "100000002",
                             "10000000000000005", "", "x", "5;a=b", "0x"}) {
        QTest::addRow("size line '%s'", size)
            << CHUNKED + "5\r\nhello\r\n" + size + "\r\nother\r\n" + plain(2, "ab") << 2
            << hello + QStringList{H, body("ab")} << State::HEADER << none;
    }
    QTest::newRow("size with zeros in front")
        << CHUNKED + "0000000000000000000005\r\nhello\r\n0\r\n"
        << 1 << hello << State::BEHIND_CHUNKS << QByteArray("0\r\n");
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
    QCOMPARE(reading.found, (QStringList{H, body("hello"), H, body("ab")}));
    QCOMPARE(reading.reader.pending(), QByteArray());
}

void tst_SockJSReader::bodyWithoutLengthIsEachReadThatBeginsNoResponse()
{
    // What comes with the header is body, whatever it looks like.
    Reading together(2);
    together.feed(OPEN + "HTTP/1.1 200 OK\r\n\r\n");
    QCOMPARE(together.found, (QStringList{H, body("HTTP/1.1 200 OK\r\n\r\n")}));

    Reading apart(2);
    apart.feed(OPEN);
    apart.feed("abc");
    apart.feed("de");
    apart.feed("HTT"); // may become a response
    QCOMPARE(apart.found, (QStringList{H, body("abc"), body("de")}));
    apart.feed("x");
    QCOMPARE(apart.found, (QStringList{H, body("abc"), body("de"), body("HTTx")}));
    apart.feed("left over" + plain(2, "ab"));
    QCOMPARE(apart.found.mid(4), (QStringList{H, body("ab")}));

    // A length that is none, or not above zero.
    for (const char *length : {"-3", "99999999999", "4294967299", "x", ""}) {
        Reading reading(1);
        reading.feed(QByteArray("HTTP/1.1 200 OK\r\nContent-Length: ") + length + "\r\n\r\nabc");
        QCOMPARE(reading.found, (QStringList{H, body("abc")}));
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
    QCOMPARE(reading.found, (QStringList{H, body("hello")}));
    reading.feed("de\r\n0\r\n");
    QCOMPARE(reading.found, (QStringList{H, body("hello"), body("abcde")}));
    reading.reader.dropPending();
    // A response is found there wherever it begins.
    reading.feed("2\r\nxHTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nab");
    QCOMPARE(reading.found.mid(3), (QStringList{H, body("ab")}));
}

void tst_SockJSReader::silence_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("after");
    QTest::addColumn<QStringList>("found");
    const QByteArray next = plain(3, "end");
    const QStringList nextOnly{H, H, body("end")};

    QTest::newRow("next response, known length") << plain(6, "abc") << next << nextOnly;
    QTest::newRow("next response, nothing of the body yet") << plain(6) << next << nextOnly;
    QTest::newRow("next response, between chunks") << CHUNKED + "2\r\nab\r\n" << next << nextOnly;
    QTest::newRow("next response, before the first chunk") << CHUNKED << next << nextOnly;
    QTest::newRow("next response, inside a chunk") << CHUNKED + "5\r\nab" << next << nextOnly;
    QTest::newRow("next response, inside a size line") << CHUNKED + "5" << next << nextOnly;
    QTest::newRow("rest of the body")
        << plain(6, "abc") << "def" + next << QStringList{H, body("abcdef"), H, body("end")};
    QTest::newRow("rest of the body begins like a response")
        << plain(6, "abc") << "HTH" + next << QStringList{H, body("abcHTH"), H, body("end")};
    QTest::newRow("rest of the body holds a response")
        << plain(9, "abc") << "xHTTP/" + next << QStringList{H, body("abcxHTTP/"), H, body("end")};
    QTest::newRow("rest of a chunk")
        << CHUNKED + "5\r\nab"
        << "HTc\r\n0\r\n" + next << QStringList{H, body("abHTc"), H, body("end")};
    QTest::newRow("next chunk holds a response")
        << CHUNKED + "2\r\nab\r\n"
        << "6\r\nHTTP/1\r\n0\r\n" + next << QStringList{H, body("abHTTP/1"), H, body("end")};
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
    QCOMPARE(complete.found, (QStringList{H, body("abcHT")}));
    complete.feed(plain(2, "ab"));
    QCOMPARE(complete.found.mid(2), (QStringList{H, body("ab")}));
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
    QCOMPARE(reading.found, (QStringList{H, body("o\n"), H, body("h")}));
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

    QTest::newRow("header") << header(LARGEST_HEADER) << 0 << false;
    QTest::newRow("header, a byte more") << header(LARGEST_HEADER + 1) << 0 << true;
    QTest::newRow("header of many lines") << lines(LARGEST_HEADER + 1) << 0 << true;
    QTest::newRow("header that is not ended")
        << header(LARGEST_HEADER + 100).left(LARGEST_HEADER) << 0 << false;
    QTest::newRow("header that is not ended, a byte more")
        << header(LARGEST_HEADER + 100).left(LARGEST_HEADER + 1) << 0 << true;
    QTest::newRow("body") << plain(LARGEST_BODY, QByteArray(LARGEST_BODY, 'x')) << 0 << false;
    QTest::newRow("body, a byte more")
        << plain(LARGEST_BODY + 1, QByteArray(LARGEST_BODY + 1, 'x')) << LARGEST_BODY << true;
    QTest::newRow("body of any length")
        << plain(INT_MAX, QByteArray(LARGEST_BODY + 1, 'x')) << LARGEST_BODY << true;
    QTest::newRow("chunk") << CHUNKED + chunk(LARGEST_BODY) + "0\r\n\r\n" << 0 << false;
    QTest::newRow("chunk, a byte more")
        << CHUNKED + chunk(LARGEST_BODY + 1) << LARGEST_BODY << true;
    QTest::newRow("chunk of any length")
        << CHUNKED + "7fffffff\r\n" + QByteArray(LARGEST_BODY + 1, 'x') << LARGEST_BODY << true;
    QTest::newRow("chunks") << CHUNKED + largest(64) + "0\r\n" + plain(2, "ab") << 0 << false;
    QTest::newRow("chunks, two bytes more")
        << CHUNKED + largest(64) + chunk(2) << LARGEST_BODY << true;
    QTest::newRow("size line") << CHUNKED + chunk(5, LARGEST_HEADER - 2) << 0 << false;
    QTest::newRow("size line, a byte more") << CHUNKED + chunk(5, LARGEST_HEADER - 1) << 0 << true;
    QTest::newRow("size line that is not ended")
        << CHUNKED + QByteArray(LARGEST_HEADER, '0') << 0 << false;
    QTest::newRow("size line that is not ended, a byte more")
        << CHUNKED + QByteArray(LARGEST_HEADER + 1, '0') << 0 << true;
    QTest::newRow("no response") << QByteArray(LARGEST_BODY, 'x') << 0 << false;
    QTest::newRow("no response, a byte more") << QByteArray(LARGEST_BODY + 1, 'x') << 0 << true;
    QTest::newRow("behind the chunks")
        << CHUNKED + "0\r\n" + QByteArray(LARGEST_BODY - 3, 'x') << 0 << false;
    QTest::newRow("behind the chunks, a byte more")
        << CHUNKED + "0\r\n" + QByteArray(LARGEST_BODY - 2, 'x') << 0 << true;
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
        QCOMPARE(reading.found, (QStringList{H, body("ab")}));
    }
}

QTEST_GUILESS_MAIN(tst_SockJSReader)
#include "tst_sockjsreader.moc"
