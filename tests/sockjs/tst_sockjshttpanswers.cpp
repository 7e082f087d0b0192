#include "HttpReading.h"

#include <QtTest/QtTest>

// What the bytes of a connection become as HTTP/1.1 means them, however they are cut.
class tst_SockJSHttpAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void body_data();
    void body();
    void broken_data();
    void broken();
    void header_data();
    void header();
    void boundsOfBlocks_data();
    void boundsOfBlocks();
};

void tst_SockJSHttpAnswers::body_data()
{
    addReadingColumns();
    const QString ab = u"200|body ab"_s;
    const QByteArray five = "Content-Length: 5\r\n";
    const QByteArray chunks = "2\r\nab\r\n0\r\n\r\n";
    const QByteArray te = "Transfer-Encoding: ";

    row("nothing", "", u""_s);
    row("chunk extensions", CHUNKED + "2;a=b;c=\"d e\"\r\nab\r\n0;x\r\n\r\n", ab);
    row("blanks behind a size", CHUNKED + "2 \t\r\nab\r\n0 ; x\r\n\r\n", ab);
    row("trailers", CHUNKED + "2\r\nab\r\n0\r\nContent-Length: 9\r\nx\r\n y\r\n\r\n" + NO_CONTENT,
        u"200|body ab|204|body "_s);
    row("chunks of one byte", CHUNKED + "1\r\na\r\n1\r\nb\r\n0\r\n\r\n", ab);
    row("chunk of one line feed", CHUNKED + "1\r\n\n\r\n0\r\n\r\n", u"200|body \n"_s);
    row("large and small hexadecimal letters",
        CHUNKED + "A\r\n0123456789\r\nb\r\nabcdefghijk\r\n0\r\n\r\n",
        u"200|body 0123456789abcdefghijk"_s);
    row("bare line feeds between chunks", CHUNKED + "1\na\n1\nb\n0\n\n", ab);
    row("largest size", CHUNKED + "0fffffffffffffff\r\nab", u"200|half ab"_s, State::CHUNK_DATA,
        IN_BODY);
    row("half a line end behind a chunk", CHUNKED + "2\r\nab\r", u"200|half ab"_s, State::CHUNK_END,
        IN_BODY);
    row("half of the last line end", CHUNKED + "2\r\nab\r\n0\r\n\r", u"200|half ab"_s,
        State::TRAILERS, IN_BODY);

    row("chunks in small letters", answer("transfer-encoding:chunked\r\n", chunks), ab);
    row("chunks in large letters", answer("TRANSFER-ENCODING:\tCHUNKED \r\n", chunks), ab);
    row("identity before the chunks", answer(te + "identity, chunked\r\n", chunks), ab);
    row("coding in two lines", answer(te + "identity\r\n" + te + "chunked\r\n", chunks), ab);
    row("coding in a folded line", answer("Transfer-Encoding:\r\n\tchunked\r\n", chunks), ab);
    row("coding named twice", answer(te + "chunked\r\n" + te + "chunked\r\n", chunks), ab);
    row("coding behind a length", answer(five + te + "chunked\r\n", chunks), ab);
    row("coding before a bad length", answer(te + "chunked\r\nContent-Length: x\r\n", chunks), ab);
    row("coding without a name", answer(te + " , \r\nContent-Length: 2\r\n", "ab"), ab);

    row("length in small letters", answer("content-length:2\r\n", "ab"), ab);
    row("length with blanks and zeros", answer("Content-Length: \t 002 \t\r\n", "ab"), ab);
    row("length in a folded line", answer("Content-Length:\r\n 2\r\n", "ab"), ab);
    row("two equal lengths", answer("Content-Length: 2\r\ncontent-length: 02\r\n", "ab"), ab);
    row("list of equal lengths", answer("Content-Length: 2, 2,2\r\n", "ab"), ab);
    row("largest length", answer("Content-Length: 9223372036854775807\r\n", "ab"), u"200|half ab"_s,
        State::LENGTH_BODY, IN_BODY);
    row("empty body", answer("Content-Length: 0\r\n"), u"200|body "_s);
    row("length before a blank is none", answer("Content-Length : 1\r\n", "ab"), u"200|half ab"_s,
        State::OPEN_BODY, u"end"_s);
    row("folded line before all fields is none",
        answer(" Content-Length: 1\r\nContent-Length: 2\r\n", "ab"), ab);
    row("folded line continues a line that is none",
        answer("x\r\n Content-Length: 1\r\nContent-Length: 2\r\n", "ab"), ab);
    row("folded line behind a field and a line that is none",
        answer("Content-Length: 2\r\nx\r\n 3\r\n", "ab"), ab);
    row("lines that are no fields", answer("x\r\n: y\r\n:\r\nContent-Length: 2\r\n", "ab"), ab);
    row("zero bytes", answer(QByteArray("A\0: b\0\r\n", 8) + "Content-Length: 2\r\n", "ab"), ab);

    row("body without a length", answer("", "ab\r\n\r\nHTTP/1.1 200 OK\r\n"),
        u"200|half ab\r\n\r\nHTTP/1.1 200 OK\r\n"_s, State::OPEN_BODY, u"end"_s);
    row("no byte of a body without a length", answer(""), u"200"_s, State::OPEN_BODY, u"end"_s);
    row("body in no coding beside a length", answer(five + te + "identity\r\n", "ab"),
        u"200|half ab"_s, State::OPEN_BODY, u"end"_s);
    row("content in no coding",
        answer("Content-Encoding: identity,\r\nContent-Length: 2\r\n", "ab"), ab);
    row("HTTP/1.0", "HTTP/1.0 200 OK\r\n\r\nab", u"200|half ab"_s, State::OPEN_BODY, u"end"_s);
    row("HTTP/1.0 with a length", "HTTP/1.0 200 OK\r\nContent-Length: 2\r\n\r\nab", ab);

    row("interim answers",
        "HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 103 \r\nA: b\r\n\r\n" + plain(2, "ab"), ab);
    row("fields of an interim answer", "HTTP/1.1 102\r\nContent-Length: 9\r\n\r\n" + plain(2, "ab"),
        ab);
    row("interim answer alone", "HTTP/1.1 100 Continue\r\n\r\n", u""_s, State::HEADER, IN_HEADER);
    row("status below all others", "HTTP/1.1 099 \r\nContent-Length: 2\r\n\r\nab", u"99|body ab"_s);
    row("other protocol", "HTTP/1.1 101 \r\nContent-Length: 2\r\n\r\nab", u"101|body "_s);
    row("no content with a length", "HTTP/1.1 204 \r\nContent-Length: 2\r\n\r\n" + plain(2, "ab"),
        u"204|body |200|body ab"_s);
    row("not modified with a coding",
        "HTTP/1.1 304 \r\nTransfer-Encoding: gzip\r\n\r\n" + plain(2, "ab"),
        u"304|body |200|body ab"_s);
    row("empty lines before the answer", "\r\n\n\r\n" + plain(2, "ab") + "\r\n", ab);
    row("half an empty line before the answer", "\r", u""_s);
    row("first letters of an answer", "HTT", u""_s, State::HEADER, IN_HEADER);
    row("several answers", plain(2, "ab") + CHUNKED + chunks + NO_CONTENT + plain(1, "c"),
        u"200|body ab|200|body ab|204|body |200|body c"_s);
}

void tst_SockJSHttpAnswers::body()
{
    QFETCH(QByteArray, stream);
    verifyEveryCut(stream);
}

void tst_SockJSHttpAnswers::broken_data()
{
    addReadingColumns();
    const auto noAnswer = [](const QByteArray &stream) {
        brokenRow("no answer '" + stream + "'", stream, u"broken: no HTTP answer"_s);
    };
    for (const char *stream :
         {"x", "HTTX", "http/1.1 200 OK\r\n", "\rH", "\r\n x", "HTTP/1.1\r\n", "HTTP/11 200\n",
          "HTTP/1.1 20\n", "HTTP/1.1 2000\n", "HTTP/1.1 2x0\n", "HTTP/1.1  200\n", "HTTP/x.1 200\n",
          "HTTP/1.1 200OK\n"})
        noAnswer(stream);
    const auto length = [](const QByteArray &value) {
        brokenRow("length '" + value + "'", answer("Content-Length: " + value + "\r\n", "ab"),
                  u"broken: bad content length"_s);
    };
    for (const char *value :
         {"", "x", "-1", "+2", "2 2", "2,", "2, 3", "2\r\nContent-Length: 3", "0x2", "2.0",
          "9223372036854775808", "99999999999999999999999", "2\r"})
        length(value);
    const auto size = [](const QByteArray &line) {
        brokenRow("size '" + line + "'", CHUNKED + line + "\r\nab",
                  u"200|broken: bad chunk size"_s);
    };
    for (const char *line : {"", " 2", "g", "2 x", "2,", "-2", ";a", "1000000000000000", "2\r"})
        size(line);
    const auto encoded = [](const QByteArray &field, const QString &name) {
        brokenRow(field, answer(field + "\r\nContent-Length: 2\r\n", "ab"),
                  "broken: encoded with " + name);
    };
    encoded("Content-Encoding: gzip", u"gzip"_s);
    encoded("content-encoding:identity,BR", u"br"_s);
    encoded("Transfer-Encoding: gzip, chunked", u"gzip"_s);
    encoded("Transfer-Encoding: deflate", u"deflate"_s);
    encoded("Content-Encoding: 0123456789012345678901234567890123456789x",
            u"0123456789012345678901234567890123456789"_s);
    brokenRow("coding behind the chunks", answer("Transfer-Encoding: chunked, identity\r\n"),
              u"broken: encoded behind the chunks"_s);
    const QString lineEnd = u"200|half ab|broken: no line end behind a chunk"_s;
    brokenRow("byte behind a chunk", CHUNKED + "2\r\nabc", lineEnd);
    brokenRow("carriage return behind a chunk", CHUNKED + "2\r\nab\rc", lineEnd);
    brokenRow("bytes behind an answer", plain(2, "ab") + "c",
              u"200|body ab|broken: no HTTP answer"_s);
    brokenRow("end of a chunk behind an answer", plain(0) + "0\r\n\r\n",
              u"200|body |broken: no HTTP answer"_s);
}

void tst_SockJSHttpAnswers::broken()
{
    QFETCH(QByteArray, stream);
    verifyEveryCut(stream);
}

void tst_SockJSHttpAnswers::header_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QByteArray>("reasonPhrase");
    QTest::addColumn<QByteArray>("setCookies");
    QTest::addColumn<bool>("isChunked");
    QTest::addColumn<bool>("isLast");
    const auto row = [](const char *name, const QByteArray &stream, const char *reasonPhrase,
                        const char *setCookies, bool isChunked, bool isLast) {
        QTest::newRow(name) << stream << QByteArray(reasonPhrase) << QByteArray(setCookies)
                            << isChunked << isLast;
    };
    const QByteArray empty = "Content-Length: 0\r\n";
    row("length", plain(0), "OK", "", false, false);
    row("chunks", CHUNKED, "OK", "", true, false);
    row("no length", answer(""), "OK", "", false, true);
    row("no content", "HTTP/1.1 204 No Content\r\n\r\n", "No Content", "", false, false);
    row("other protocol", "HTTP/1.1 101 Switching\r\n\r\n", "Switching", "", false, true);
    row("no reason", "HTTP/1.1 404\r\n" + empty + "\r\n", "", "", false, false);
    row("empty reason", "HTTP/1.1 404 \r\n" + empty + "\r\n", "", "", false, false);
    row("HTTP/1.0", "HTTP/1.0 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n", "OK", "", true, true);
    row("later version", "HTTP/1.2 200 OK\r\n" + empty + "\r\n", "OK", "", false, false);
    row("close", answer(empty + "Connection: close\r\n"), "OK", "", false, true);
    row("close in a list", answer(empty + "connection: x, CLOSE ,y\r\n"), "OK", "", false, true);
    row("close in a second line", answer(empty + "Connection: x\r\nConnection: close\r\n"), "OK",
        "", false, true);
    row("close in a longer word", answer(empty + "Connection: closed\r\n"), "OK", "", false, false);
    row("kept", answer(empty + "Connection: keep-alive\r\n"), "OK", "", false, false);
    row("close of an interim answer", "HTTP/1.1 100 C\r\nConnection: close\r\n\r\n" + plain(0),
        "OK", "", false, false);
    row("cookies",
        answer(empty + "Set-Cookie: a=b; Path=/\r\nset-cookie:c=d,e \r\nSet-Cookie:\r\n"), "OK",
        "a=b; Path=/\nc=d,e", false, false);
    row("cookies of an interim answer", "HTTP/1.1 103 E\r\nSet-Cookie: a=b\r\n\r\n" + plain(0),
        "OK", "", false, false);
}

void tst_SockJSHttpAnswers::header()
{
    QFETCH(QByteArray, stream);
    for (int cut = 0; cut < stream.size(); ++cut) {
        HttpReading reading;
        reading.feed(stream.left(cut));
        reading.feed(stream.mid(cut));
        QTEST(reading.reader.reasonPhrase(), "reasonPhrase");
        QTEST(reading.reader.setCookies(), "setCookies");
        QTEST(reading.reader.isChunked(), "isChunked");
        QTEST(reading.reader.isLast(), "isLast");
    }
}

void tst_SockJSHttpAnswers::boundsOfBlocks_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("start");
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<QString>("found");
    QTest::addColumn<QString>("problem");
    const auto row = [](const char *name, const QByteArray &before, const QByteArray &start,
                        const QByteArray &end, const QString &found, const QString &problem) {
        QTest::newRow(name) << before << start << end << found << problem;
    };
    const QString tooLong = u"broken: header too long"_s;
    row("header of one field", "", "HTTP/1.1 204 ", "\r\n\r\n", u"204|body "_s, tooLong);
    row("header of many lines", "",
        "HTTP/1.1 204 No Content\r\n" + QByteArray("A: b\r\n").repeated(9999), "\r\n\r\n",
        u"204|body "_s, tooLong);
    row("folded header", "", "HTTP/1.1 204 \r\nA:\r\n" + QByteArray(" b\n").repeated(9999), "\n\n",
        u"204|body "_s, tooLong);
    row("header behind an interim one", "HTTP/1.1 100 \r\n\r\n", "HTTP/1.1 204 ", "\r\n\r\n",
        u"204|body "_s, tooLong);
    row("header behind an answer", plain(0) + "\r\n", "HTTP/1.1 204 ", "\r\n\r\n",
        u"200|body |204|body "_s, u"200|body |broken: header too long"_s);
    row("size line", CHUNKED, "2;", "\r\n", u"200"_s, u"200|broken: size line too long"_s);
    row("trailers", CHUNKED + "0\r\n", "A: b\r\nC:", "\r\n\r\n", u"200|body "_s,
        u"200|broken: trailers too long"_s);
}

// 64 KiB are taken, a byte more is not: in one piece and byte by byte.
void tst_SockJSHttpAnswers::boundsOfBlocks()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, start);
    QFETCH(QByteArray, end);
    for (const int size : {65536, 65537}) {
        const QByteArray filling(size - start.size() - end.size(), 'x');
        const QByteArray stream = before + start + filling + end;
        HttpReading whole;
        whole.feed(stream);
        QTEST(whole.found(), size == 65536 ? "found" : "problem");
        HttpReading bytewise;
        for (const char byte : stream)
            bytewise.feed(QByteArray(1, byte));
        QTEST(bytewise.found(), size == 65536 ? "found" : "problem");
    }
}

QTEST_GUILESS_MAIN(tst_SockJSHttpAnswers)
#include "tst_sockjshttpanswers.moc"
