#include "sockjs/FrameReader.h"
#include "support/Slowness.h"
#include "support/Text.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QtTest>

using Tarvo::FrameReader;
using Tarvo::readCloseFrame;

// How bodies become frames, and what a close frame says.
class tst_SockJSFrameReader : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCutGivesTheSameFrames_data();
    void everyCutGivesTheSameFrames();
    void restIsAFrameOnce();
    void droppedLineIsNoFrame();
    void frameIsFoundWithItsLineFeed();
    void largestFrame_data();
    void largestFrame();
    void framesBeforeATooLargeOneAreFound();
    void longLineIsNotSearchedAgain();
    void manyFramesOfOnePieceAreNotMovedAgain();
    void waitingFramesAreNotMovedAgain();
    void closeFrame_data();
    void closeFrame();
    void otherFrameIsNoCloseFrame_data();
    void otherFrameIsNoCloseFrame();
};

namespace
{

constexpr int LARGEST = 16777216;

// A reader, with the frames that it has found.
struct Reading {
    void feed(const QByteArray &piece)
    {
        reader.append(piece);
        QByteArray frame;
        while (reader.next(&frame))
            frames.append(frame);
    }
    void end()
    {
        QByteArray frame;
        if (reader.rest(&frame))
            frames.append(frame);
    }

    FrameReader reader;
    QList<QByteArray> frames;
};

// The milliseconds that it takes to read a body in pieces of so many bytes.
qint64 readingMs(const QByteArray &body, int pieceBytes)
{
    QElapsedTimer time;
    time.start();
    Reading reading;
    for (int position = 0; position < body.size(); position += pieceBytes)
        reading.feed(body.mid(position, pieceBytes));
    reading.end();
    return time.elapsed();
}

} // namespace

void tst_SockJSFrameReader::everyCutGivesTheSameFrames_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<QList<QByteArray>>("whole"); // found before the body ends
    QTest::addColumn<QList<QByteArray>>("atEnd"); // and then
    const auto row = [](const char *name, const QByteArray &body, const QList<QByteArray> &whole,
                        const QList<QByteArray> &atEnd = {}) {
        QTest::newRow(name) << body << whole << atEnd;
    };
    row("nothing", "", {});
    row("one", "o\n", {"o"});
    row("two", "o\na[\"b\"]\n", {"o", "a[\"b\"]"});
    row("carriage returns", "o\r\nh\r\n", {"o", "h"});
    row("only the last carriage return goes", "a\r\r\nb\rc\n", {"a\r", "b\rc"});
    row("prelude", "hhhhhhhh\no\n", {"hhhhhhhh", "o"});
    row("empty lines", "\n\r\no\n\n\r\nh\n", {"o", "h"});
    row("no line feed at the end", "o\nh", {"o"}, {"h"});
    row("no line feed at all", "a[\"b\"]", {}, {"a[\"b\"]"});
    row("carriage return at the end", "o\nh\r", {"o"}, {"h"});
    row("carriage return alone at the end", "o\n\r", {"o"});
    row("two carriage returns at the end", "h\r\r", {}, {"h\r"});
    row("blanks stay", " o \n \n", {" o ", " "});
    row("letter of two bytes", "a[\"\xc3\xa4\"]\n", {"a[\"\xc3\xa4\"]"});
    row("letter of four bytes", "a[\"\xf0\x9f\x98\x80\"]", {}, {"a[\"\xf0\x9f\x98\x80\"]"});
    row("zero byte", QByteArray("a\0b\n", 4), {QByteArray("a\0b", 3)});
}

// In one piece, in two at every place, and byte by byte.
void tst_SockJSFrameReader::everyCutGivesTheSameFrames()
{
    QFETCH(QByteArray, body);
    QFETCH(QList<QByteArray>, whole);
    QFETCH(QList<QByteArray>, atEnd);
    for (int cut = 0; cut <= body.size(); ++cut) {
        Reading halves;
        halves.feed(body.left(cut));
        halves.feed(body.mid(cut));
        QCOMPARE(halves.frames, whole);
        halves.end();
        QCOMPARE(halves.frames, whole + atEnd);
    }
    Reading bytewise;
    for (const char byte : body)
        bytewise.feed(QByteArray(1, byte));
    QCOMPARE(bytewise.frames, whole);
    bytewise.end();
    QCOMPARE(bytewise.frames, whole + atEnd);
    QVERIFY(!bytewise.reader.isTooLarge());
}

void tst_SockJSFrameReader::restIsAFrameOnce()
{
    Reading reading;
    reading.feed("o\na");
    reading.end();
    reading.end();
    QCOMPARE(reading.frames, (QList<QByteArray>{"o", "a"}));
    // The next body begins a line of its own.
    reading.feed("b\n");
    QCOMPARE(reading.frames, (QList<QByteArray>{"o", "a", "b"}));
}

void tst_SockJSFrameReader::droppedLineIsNoFrame()
{
    Reading reading;
    reading.feed("o\na[\"b");
    reading.reader.drop();
    reading.end();
    reading.feed("h\n");
    QCOMPARE(reading.frames, (QList<QByteArray>{"o", "h"}));
}

void tst_SockJSFrameReader::frameIsFoundWithItsLineFeed()
{
    Reading reading;
    reading.feed("a[\"b\"]");
    QCOMPARE(reading.frames, QList<QByteArray>());
    reading.feed("\n");
    QCOMPARE(reading.frames, QList<QByteArray>{"a[\"b\"]"});
}

void tst_SockJSFrameReader::largestFrame_data()
{
    QTest::addColumn<int>("size");
    QTest::addColumn<QByteArray>("end");
    QTest::addColumn<bool>("isTooLarge");
    QTest::addColumn<int>("frames"); // at the end of the body
    QTest::newRow("line feed") << LARGEST << QByteArray("\n") << false << 1;
    QTest::newRow("line feed, a byte more") << LARGEST + 1 << QByteArray("\n") << true << 0;
    QTest::newRow("both line ends") << LARGEST << QByteArray("\r\n") << false << 1;
    QTest::newRow("both line ends, a byte more") << LARGEST + 1 << QByteArray("\r\n") << true << 0;
    QTest::newRow("carriage return") << LARGEST << QByteArray("\r") << false << 1;
    QTest::newRow("carriage return, a byte more") << LARGEST + 1 << QByteArray("\r") << true << 0;
    QTest::newRow("unfinished") << LARGEST << QByteArray() << false << 1;
    QTest::newRow("unfinished, a byte more") << LARGEST + 1 << QByteArray() << true << 0;
}

void tst_SockJSFrameReader::largestFrame()
{
    QFETCH(int, size);
    QFETCH(QByteArray, end);
    const QByteArray body = QByteArray(size, 'x') + end;
    for (const int pieceBytes : {int(body.size()), 65536, LARGEST}) {
        Reading reading;
        for (int position = 0; position < body.size(); position += pieceBytes)
            reading.feed(body.mid(position, pieceBytes));
        QTEST(reading.reader.isTooLarge(), "isTooLarge");
        reading.end();
        QTEST(int(reading.frames.size()), "frames");
        for (const QByteArray &frame : qAsConst(reading.frames))
            QVERIFY(frame == QByteArray(LARGEST, 'x'));
    }
}

void tst_SockJSFrameReader::framesBeforeATooLargeOneAreFound()
{
    const QByteArray tooLarge(LARGEST + 1, 'x');
    Reading reading;
    reading.feed("o\n" + tooLarge + "\nh\n");
    QCOMPARE(reading.frames, QList<QByteArray>{"o"});
    QVERIFY(reading.reader.isTooLarge());
    reading.feed("h\n");
    QCOMPARE(reading.frames, QList<QByteArray>{"o"});
    reading.reader.drop();
    QVERIFY(!reading.reader.isTooLarge());
    reading.feed("h\n");
    QCOMPARE(reading.frames, (QList<QByteArray>{"o", "h"}));
}

// 16 MiB in pieces of 64 bytes: searched from the beginning with each, they would take minutes.
void tst_SockJSFrameReader::longLineIsNotSearchedAgain()
{
    const qint64 ms = readingMs(QByteArray(LARGEST, 'x') + '\n', 64);
    QVERIFY2(ms < 5000 * SLOWNESS, QByteArray::number(ms) + " ms");
}

// A million frames in 16 MiB that come at once: moved to the front with each, they would take minutes.
void tst_SockJSFrameReader::manyFramesOfOnePieceAreNotMovedAgain()
{
    const QByteArray body = QByteArray("0123456789abcde\n").repeated(1024 * 1024);
    const qint64 ms = readingMs(body, body.size());
    QVERIFY2(ms < 5000 * SLOWNESS, QByteArray::number(ms) + " ms");
}

// They would take minutes as well if those that wait were moved with every piece that comes.
void tst_SockJSFrameReader::waitingFramesAreNotMovedAgain()
{
    FrameReader reader;
    reader.append(QByteArray("0123456789abcde\n").repeated(1024 * 1024));
    QElapsedTimer time;
    time.start();
    for (int piece = 0; piece < 50000; ++piece) {
        QByteArray frame;
        QVERIFY(reader.next(&frame));
        reader.append("h\n");
    }
    QVERIFY2(time.elapsed() < 5000 * SLOWNESS, QByteArray::number(time.elapsed()) + " ms");
}

// ---- Close frames -------------------------------------------------------------------------------

void tst_SockJSFrameReader::closeFrame_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *name, const QByteArray &frame, int code,
                        const QString &reason) { QTest::newRow(name) << frame << code << reason; };
    row("go away", R"(c[3000,"Go away!"])", 3000, u"Go away!"_s);
    row("another connection", R"(c[2010,"Another connection still open"])", 2010,
        u"Another connection still open"_s);
    row("blanks", R"(c [ 3000 , "a b" ] )", 3000, u"a b"_s);
    row("empty reason", R"(c[1000,""])", 1000, u""_s);
    row("escaped reason", R"(c[3000,"\"\u00e4\n"])", 3000, u"\"\u00e4\n"_s);
    row("letter of two bytes", "c[3000,\"\xc3\xa4\"]", 3000, u"\u00e4"_s);
    row("zero", R"(c[0,"a"])", 0, u"a"_s);
    row("negative", R"(c[-1,"a"])", -1, u"a"_s);
    row("integral in another notation", R"(c[3e3,"a"])", 3000, u"a"_s);
    row("largest", R"(c[2147483647,"a"])", 2147483647, u"a"_s);
    row("smallest", R"(c[-2147483648,"a"])", -2147483647 - 1, u"a"_s);
}

void tst_SockJSFrameReader::closeFrame()
{
    QFETCH(QByteArray, frame);
    int code = 7;
    QString reason = u"x"_s;
    QVERIFY(readCloseFrame(frame, &code, &reason));
    QTEST(code, "code");
    QTEST(reason, "reason");
}

void tst_SockJSFrameReader::otherFrameIsNoCloseFrame_data()
{
    QTest::addColumn<QByteArray>("frame");
    for (const char *frame : {"",
                              "c",
                              "o",
                              "h",
                              "[3000,\"a\"]",
                              "C[3000,\"a\"]",
                              "a[3000,\"a\"]",
                              "c[]",
                              "c[3000]",
                              "c[\"a\"]",
                              "c[\"a\",3000]",
                              "c[\"3000\",\"a\"]",
                              "c[3000,7]",
                              "c[3000,null]",
                              "c[null,\"a\"]",
                              "c[true,\"a\"]",
                              "c[3000,\"a\",1]",
                              "c[3000.5,\"a\"]",
                              "c[2147483648,\"a\"]",
                              "c[-2147483649,\"a\"]",
                              "c[1e300,\"a\"]",
                              "c[3000,\"a\"",
                              "c[3000,\"a]",
                              "c[3000,\"a\"]x",
                              "c{\"code\":3000}",
                              "c[{\"a\":[1],\"a\":[2]},\"a\"]",
                              "c3000",
                              "cc[3000,\"a\"]"})
        QTest::newRow(QByteArray("'") + frame + "'") << QByteArray(frame);
    QTest::newRow("no UTF-8") << QByteArray("c[3000,\"\xff\"]");
}

void tst_SockJSFrameReader::otherFrameIsNoCloseFrame()
{
    QFETCH(QByteArray, frame);
    int code = 7;
    QString reason = u"x"_s;
    QVERIFY(!readCloseFrame(frame, &code, &reason));
    QCOMPARE(code, 7);
    QCOMPARE(reason, u"x"_s);
}

QTEST_GUILESS_MAIN(tst_SockJSFrameReader)
#include "tst_sockjsframereader.moc"
