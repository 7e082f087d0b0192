#include "sockjs/SockJSXHRPollingWorker.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

// The two parsers, as functions of bytes.
class tst_SockJSParsers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void headerMapIsKnownByNameBeforeAnyWorker();
    void header_data();
    void header();
    void headerReplacesOnlyWhatItNames();
    void plainBody_data();
    void plainBody();
    void chunk_data();
    void chunk();
};

// The first test of the program: a host may connect to the worker's signals before it makes one.
void tst_SockJSParsers::headerMapIsKnownByNameBeforeAnyWorker()
{
    QVERIFY(QMetaType::type("QStringMap") != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type("QStringMap"), qMetaTypeId<QStringMap>());
}

void tst_SockJSParsers::header_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("used");
    QTest::addColumn<int>("status");
    QTest::addColumn<QStringMap>("headers");

    const auto row = [](const char *name, const QByteArray &data, int used, int status,
                        const QStringMap &headers = {}) {
        QTest::newRow(name) << data << used << status << headers;
    };
    row("nothing", "", 0, -1);
    row("no header", "hello\r\n\r\n", 0, -1);
    row("case matters", "http/1.1 200 OK\r\n\r\n", 0, -1);
    row("status only", "HTTP/1.1 200 OK\r\n\r\n", 19, 200);
    row("status is not read", "HTTP/1.1 404 Not Found\r\n\r\n", 26, 200);
    row("not even a number", "HTTP/\n\n", 7, 200);
    row("status line gives no header", "HTTP/1.1 200 OK: x\r\nA: b\r\n\r\n", 28, 200,
        {{"A", " b"}});
    row("values keep their space", "HTTP/1.1 200 OK\r\nA: b \r\nC:d\r\n\r\nbody", 31, 200,
        {{"A", " b "}, {"C", "d"}});
    row("bare line feeds", "HTTP/1.1 200 OK\nA: b\n\nbody", 22, 200, {{"A", " b"}});
    row("later line replaces earlier", "HTTP/1.1 200 OK\r\nA: 1\r\nA: 2\r\n\r\n", 31, 200,
        {{"A", " 2"}});
    row("names are compared by case", "HTTP/1.1 200 OK\r\nA: 1\r\na: 2\r\n\r\n", 31, 200,
        {{"A", " 1"}, {"a", " 2"}});
    row("line that begins with a colon", "HTTP/1.1 200 OK\r\n: 1\r\nB: 2\r\n\r\n", 30, 200,
        {{"B", " 2"}});
    row("line without a colon", "HTTP/1.1 200 OK\r\nwhat\r\nB: 2\r\n\r\n", 31, 200, {{"B", " 2"}});
    row("empty value", "HTTP/1.1 200 OK\r\nA:\r\n\r\n", 23, 200, {{"A", ""}});
    row("colon in the value", "HTTP/1.1 200 OK\r\nA: b:c\r\n\r\n", 27, 200, {{"A", " b:c"}});
    row("left-overs before it are skipped", "0\r\n\r\nHTTP/1.1 200 OK\r\nA: b\r\n\r\n", 30, 200,
        {{"A", " b"}});
    row("only the first block", "HTTP/1.1 200 OK\r\n\r\nHTTP/1.1 200 OK\r\nA: b\r\n\r\n", 19, 200);
    row("incomplete: end of the data", "HTTP/1.1 200 OK\r\nA: b\r\n", 23, 200, {{"A", " b"}});
    row("incomplete status line", "HTTP/1.1 2", 10, 200);
    row("UTF-8 value", "HTTP/1.1 200 OK\r\nA: \xc3\xa4\r\n\r\n", 26, 200, {{"A", u" \u00e4"_s}});
    row("zero bytes", QByteArray("HTTP/1.1 200\r\nA\0: b\0c\r\n\r\n", 25), 25, 200,
        {{QString::fromUtf8("A\0", 2), QString::fromUtf8(" b\0c", 4)}});
}

void tst_SockJSParsers::header()
{
    QFETCH(QByteArray, data);
    SockJSXHRPollingWorker worker(nullptr, nullptr, QString(), 0, false, true);
    int status = 7;
    QStringMap headers;
    QTEST(worker.parseHttpHeaderResponse(data, &status, &headers), "used");
    QTEST(status, "status");
    QTEST(headers, "headers");
}

void tst_SockJSParsers::headerReplacesOnlyWhatItNames()
{
    SockJSXHRPollingWorker worker(nullptr, nullptr, QString(), 0, false, true);
    int status = 0;
    QStringMap headers{{u"A"_s, u"1"_s}, {u"B"_s, u"2"_s}};
    worker.parseHttpHeaderResponse("HTTP/1.1 200 OK\r\nB: 3\r\n\r\n", &status, &headers);
    QCOMPARE(headers, (QStringMap{{"A", "1"}, {"B", " 3"}}));
}

void tst_SockJSParsers::plainBody_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("expectedLength");
    QTest::addColumn<int>("used");
    QTest::addColumn<QString>("message");

    const auto row = [](const char *name, const QByteArray &data, int expectedLength, int used,
                        const QString &message) {
        QTest::newRow(name) << data << expectedLength << used << message;
    };
    row("nothing", "", 3, 0, "x");
    row("exactly", "abc", 3, 3, "xabc");
    row("too little", "ab", 3, 2, "xab");
    row("too much", "abcd", 3, 3, "xabc");
    row("length 1 takes all", "abcd", 1, 4, "xabcd");
    row("length 0 takes all", "abcd", 0, 4, "xabcd");
    row("negative length takes all", "abcd", -5, 4, "xabcd");
    row("one character a byte", "\xc3\xa4", 2, 2, QString::fromLatin1("x\xc3\xa4"));
    row("zero byte", QByteArray("a\0b", 3), 3, 3, QString::fromLatin1("xa\0b", 4));
}

void tst_SockJSParsers::plainBody()
{
    QFETCH(QByteArray, data);
    QFETCH(int, expectedLength);
    SockJSXHRPollingWorker worker(nullptr, nullptr, QString(), 0, false, true);
    QString message = u"x"_s;
    QTEST(worker.parseMessageResponse(data, false, &message, expectedLength), "used");
    QTEST(message, "message");
}

void tst_SockJSParsers::chunk_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("used");
    QTest::addColumn<QString>("message");
    QTest::addColumn<QStringList>("log");

    const QStringList complete{"[SockJSXHRPollingWorker] chunk complete size 1"};
    const QStringList continued{"[SockJSXHRPollingWorker] Chunk_continued"};
    const auto row = [](const char *name, const QByteArray &data, int used, const QString &message,
                        const QStringList &log = {}) {
        QTest::newRow(name) << data << used << message << log;
    };
    row("whole", "5\r\nhello\r\n", 10, "xhello");
    row("hexadecimal", "0A\r\n0123456789\r\n", 16, "x0123456789");
    row("small letters", "b\n0123456789A\r\n", 15, "x0123456789A");
    row("only the first of two", "2\r\nab\r\n2\r\ncd\r\n", 7, "xab");
    row("line end is still to come", "5\r\nhello", 10, "xhello");
    // The whole data holds five bytes, so what is there of the chunk is taken.
    row("size line counts as data", "5\r\nhel", 8, "xhel");
    row("needs more", "F\r\nhello", 0, "x");
    row("after an empty line", "\r\n5\r\nhello\r\n", 12, "xhello", continued);
    row("end chunk", "0\r\n\r\n", -1, "x", complete);
    row("chunk of one byte is the end", "1\r\no\r\n", -1, "x", complete);
    row("negative size is the end", "-5\r\nhello", -1, "x", complete);
    row("no number is the end", "hello\r\n", -1, "x", complete);
    row("more than an int is the end", "FFFFFFFF\r\nhello", -1, "x", complete);
    row("largest int waits", "7FFFFFFF\r\nhello", 0, "x");
    row("nothing", "", -1, "x", continued + complete);
    row("one character a byte", "2\r\n\xc3\xa4\r\n", 7, QString::fromLatin1("x\xc3\xa4"));
}

void tst_SockJSParsers::chunk()
{
    QFETCH(QByteArray, data);
    SockJSXHRPollingWorker worker(nullptr, nullptr, QString(), 0, false, true);
    QString message = u"x"_s;
    const LogCapture log;
    QTEST(worker.parseMessageResponse(data, true, &message, 99), "used");
    QTEST(message, "message");
    QTEST(log.messages(), "log");
}

QTEST_GUILESS_MAIN(tst_SockJSParsers)
#include "tst_sockjsparsers.moc"
