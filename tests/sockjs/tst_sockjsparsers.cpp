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

namespace
{
QStringMap map(std::initializer_list<std::pair<QString, QString>> pairs)
{
    return QStringMap(pairs);
}
} // namespace

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

    const QStringMap none;
    QTest::newRow("nothing") << QByteArray() << 0 << -1 << none;
    QTest::newRow("no header") << QByteArray("hello\r\n\r\n") << 0 << -1 << none;
    QTest::newRow("case matters") << QByteArray("http/1.1 200 OK\r\n\r\n") << 0 << -1 << none;
    QTest::newRow("status only") << QByteArray("HTTP/1.1 200 OK\r\n\r\n") << 19 << 200 << none;
    QTest::newRow("status is not read")
        << QByteArray("HTTP/1.1 404 Not Found\r\n\r\n") << 26 << 200 << none;
    QTest::newRow("not even a number") << QByteArray("HTTP/\n\n") << 7 << 200 << none;
    QTest::newRow("values keep their space")
        << QByteArray("HTTP/1.1 200 OK\r\nA: b \r\nC:d\r\n\r\nbody") << 31 << 200
        << map({{"A", " b "}, {"C", "d"}});
    QTest::newRow("bare line feeds")
        << QByteArray("HTTP/1.1 200 OK\nA: b\n\nbody") << 22 << 200 << map({{"A", " b"}});
    QTest::newRow("later line replaces earlier")
        << QByteArray("HTTP/1.1 200 OK\r\nA: 1\r\nA: 2\r\n\r\n") << 31 << 200 << map({{"A", " 2"}});
    QTest::newRow("names are compared by case")
        << QByteArray("HTTP/1.1 200 OK\r\nA: 1\r\na: 2\r\n\r\n") << 31 << 200
        << map({{"A", " 1"}, {"a", " 2"}});
    QTest::newRow("line that begins with a colon")
        << QByteArray("HTTP/1.1 200 OK\r\n: 1\r\nB: 2\r\n\r\n") << 30 << 200 << map({{"B", " 2"}});
    QTest::newRow("line without a colon")
        << QByteArray("HTTP/1.1 200 OK\r\nwhat\r\nB: 2\r\n\r\n") << 31 << 200 << map({{"B", " 2"}});
    QTest::newRow("empty value") << QByteArray("HTTP/1.1 200 OK\r\nA:\r\n\r\n") << 23 << 200
                                 << map({{"A", ""}});
    QTest::newRow("colon in the value")
        << QByteArray("HTTP/1.1 200 OK\r\nA: b:c\r\n\r\n") << 27 << 200 << map({{"A", " b:c"}});
    QTest::newRow("left-overs before it are skipped")
        << QByteArray("0\r\n\r\nHTTP/1.1 200 OK\r\nA: b\r\n\r\n") << 30 << 200
        << map({{"A", " b"}});
    QTest::newRow("only the first block")
        << QByteArray("HTTP/1.1 200 OK\r\n\r\nHTTP/1.1 200 OK\r\nA: b\r\n\r\n") << 19 << 200
        << none;
    QTest::newRow("incomplete: end of the data")
        << QByteArray("HTTP/1.1 200 OK\r\nA: b\r\n") << 23 << 200 << map({{"A", " b"}});
    QTest::newRow("incomplete status line") << QByteArray("HTTP/1.1 2") << 10 << 200 << none;
    QTest::newRow("UTF-8 value") << QByteArray("HTTP/1.1 200 OK\r\nA: \xc3\xa4\r\n\r\n") << 26
                                 << 200 << map({{"A", u" \u00e4"_s}});
    QTest::newRow("zero bytes") << QByteArray(
        "HTTP/1.1 200\r\nA\0: b\0c\r\n\r\n",
        25) << 25 << 200 << map({{QString::fromUtf8("A\0", 2), QString::fromUtf8(" b\0c", 4)}});
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
    QCOMPARE(headers, map({{"A", "1"}, {"B", " 3"}}));
}

void tst_SockJSParsers::plainBody_data()
{
    QTest::addColumn<QByteArray>("data");
    QTest::addColumn<int>("expectedLength");
    QTest::addColumn<int>("used");
    QTest::addColumn<QString>("message");

    QTest::newRow("nothing") << QByteArray() << 3 << 0 << "x";
    QTest::newRow("exactly") << QByteArray("abc") << 3 << 3 << "xabc";
    QTest::newRow("too little") << QByteArray("ab") << 3 << 2 << "xab";
    QTest::newRow("too much") << QByteArray("abcd") << 3 << 3 << "xabc";
    QTest::newRow("length 1 takes all") << QByteArray("abcd") << 1 << 4 << "xabcd";
    QTest::newRow("length 0 takes all") << QByteArray("abcd") << 0 << 4 << "xabcd";
    QTest::newRow("negative length takes all") << QByteArray("abcd") << -5 << 4 << "xabcd";
    QTest::newRow("one character a byte")
        << QByteArray("\xc3\xa4") << 2 << 2 << QString::fromLatin1("x\xc3\xa4");
    QTest::newRow("zero byte") << QByteArray("a\0b", 3) << 3 << 3
                               << QString::fromLatin1("xa\0b", 4);
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

    const QStringList silent;
    const QStringList complete{"[SockJSXHRPollingWorker] chunk complete size 1"};
    const QStringList continued{"[SockJSXHRPollingWorker] Chunk_continued"};
    QTest::newRow("whole") << QByteArray("5\r\nhello\r\n") << 10 << "xhello" << silent;
    QTest::newRow("hexadecimal") << QByteArray("0A\r\n0123456789\r\n") << 16 << "x0123456789"
                                 << silent;
    QTest::newRow("small letters")
        << QByteArray("b\n0123456789A\r\n") << 15 << "x0123456789A" << silent;
    QTest::newRow("only the first of two")
        << QByteArray("2\r\nab\r\n2\r\ncd\r\n") << 7 << "xab" << silent;
    QTest::newRow("line end is still to come")
        << QByteArray("5\r\nhello") << 10 << "xhello" << silent;
    // The whole data holds five bytes, so what is there of the chunk is taken.
    QTest::newRow("size line counts as data") << QByteArray("5\r\nhel") << 8 << "xhel" << silent;
    QTest::newRow("needs more") << QByteArray("F\r\nhello") << 0 << "x" << silent;
    QTest::newRow("after an empty line")
        << QByteArray("\r\n5\r\nhello\r\n") << 12 << "xhello" << continued;
    QTest::newRow("end chunk") << QByteArray("0\r\n\r\n") << -1 << "x" << complete;
    QTest::newRow("chunk of one byte is the end")
        << QByteArray("1\r\no\r\n") << -1 << "x" << complete;
    QTest::newRow("negative size is the end") << QByteArray("-5\r\nhello") << -1 << "x" << complete;
    QTest::newRow("no number is the end") << QByteArray("hello\r\n") << -1 << "x" << complete;
    QTest::newRow("more than an int is the end")
        << QByteArray("FFFFFFFF\r\nhello") << -1 << "x" << complete;
    QTest::newRow("largest int waits") << QByteArray("7FFFFFFF\r\nhello") << 0 << "x" << silent;
    QTest::newRow("nothing") << QByteArray() << -1 << "x" << continued + complete;
    QTest::newRow("one character a byte")
        << QByteArray("2\r\n\xc3\xa4\r\n") << 7 << QString::fromLatin1("x\xc3\xa4") << silent;
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
