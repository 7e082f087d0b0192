#include "Samples.h"
#include "compression/Lzma.h"

#include <QtTest/QtTest>

#include <dlfcn.h>

using namespace Samples;

namespace
{

const unsigned char *raw(const QByteArray &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.constData());
}

// What the raw operation hands out, released in the end.
struct Unpacked {
    explicit Unpacked(const QByteArray &block)
        : succeeded(Lzma::decompress(raw(block), static_cast<unsigned int>(block.size()), &buffer))
    {
    }
    ~Unpacked() { MyFree(buffer); }
    Q_DISABLE_COPY(Unpacked)

    QByteArray first(int count) const { return {reinterpret_cast<const char *>(buffer), count}; }

    unsigned char *buffer = nullptr;
    bool succeeded;
};

} // namespace

// The block itself, through the operations on raw bytes.
class tst_LzmaBlock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void blockIsHeaderAndStreamWithEndMarker_data();
    void blockIsHeaderAndStreamWithEndMarker();
    void lengthStandsTwiceInLittleEndian_data();
    void lengthStandsTwiceInLittleEndian();
    void bytesComeBackWithAZeroByteBehindThem_data();
    void bytesComeBackWithAZeroByteBehindThem();
    void repeatedLengthIsNotRead();
    void bytesBehindTheEndMarkerAreNotRead();
    void streamThatEndsEarlyIsFollowedByAZeroByte();
    void streamLongerThanDeclaredFails_data();
    void streamLongerThanDeclaredFails();
    void blockShorterThanItsHeaderFailsWithoutABuffer_data();
    void blockShorterThanItsHeaderFailsWithoutABuffer();
    void blockWithTooShortAStreamFails_data();
    void blockWithTooShortAStreamFails();
    void impossiblePropertiesFail_data();
    void impossiblePropertiesFail();
    void allocatorRecordCallsTheHeapFunctions();
    void sdkStaysInsideTheLibrary();
};

void tst_LzmaBlock::blockIsHeaderAndStreamWithEndMarker_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("block");
    const auto row = [](const char *name, const QByteArray &text, const char *block) {
        QTest::newRow(name) << text << QByteArray(block);
    };
    row("empty", "", "5d0040000000000000000000000083fffbffffc0000000");
    row("4 bytes", "test", "5d004000000400000004000000003a194ace2672839ffffb138000");
    row("300 times a", QByteArray(300, 'a'),
        "5d004000002c0100002c0100000030effbb7c42dd6fffffdf09000");
}

void tst_LzmaBlock::blockIsHeaderAndStreamWithEndMarker()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, block);
    QCOMPARE(packed(text).toHex(), block);
}

void tst_LzmaBlock::lengthStandsTwiceInLittleEndian_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<QByteArray>("sizeField");
    const auto row = [](int length, const char *sizeField) {
        QTest::addRow("%d", length) << length << QByteArray(sizeField);
    };
    row(0, "0000000000000000");
    row(1, "0100000001000000");
    row(255, "ff000000ff000000");
    row(300, "2c0100002c010000");
    row(65536, "0000010000000100");
    row(16909060, "0403020104030201");
}

void tst_LzmaBlock::lengthStandsTwiceInLittleEndian()
{
    QFETCH(int, length);
    QFETCH(QByteArray, sizeField);
    const QByteArray block = packed(QByteArray(length, 'x'));
    QCOMPARE(block.left(5).toHex(), QByteArray("5d00400000"));
    QCOMPARE(block.mid(5, 8).toHex(), sizeField);
}

void tst_LzmaBlock::bytesComeBackWithAZeroByteBehindThem_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::newRow("none") << QByteArray();
    QTest::newRow("one") << QByteArray("a");
    QTest::newRow("a zero byte inside") << QByteArray("before\0after", 12);
    QTest::newRow("every value") << [] {
        QByteArray bytes;
        for (int value = 0; value < 256; ++value)
            bytes += static_cast<char>(value);
        return bytes;
    }();
    QTest::newRow("random, as long as the dictionary") << randomBytes(16384, 1);
    QTest::newRow("random, longer than the dictionary") << randomBytes(100000, 2);
    QTest::newRow("repetitive, long") << lessonText(300000).toUtf8();
}

void tst_LzmaBlock::bytesComeBackWithAZeroByteBehindThem()
{
    QFETCH(QByteArray, bytes);
    const QByteArray block = packed(bytes);
    QVERIFY(!block.isEmpty());
    const Unpacked unpacked(block);
    QVERIFY(unpacked.succeeded);
    QCOMPARE(unpacked.first(bytes.size() + 1), bytes + '\0');
}

void tst_LzmaBlock::repeatedLengthIsNotRead()
{
    QByteArray block = packed("test");
    block.replace(9, 4, QByteArray::fromHex("deadbeef"));
    const Unpacked unpacked(block);
    QVERIFY(unpacked.succeeded);
    QCOMPARE(unpacked.first(5), QByteArray("test\0", 5));
}

void tst_LzmaBlock::bytesBehindTheEndMarkerAreNotRead()
{
    const Unpacked unpacked(packed("test") + "left over, long enough to be tried as a stream");
    QVERIFY(unpacked.succeeded);
    QCOMPARE(unpacked.first(5), QByteArray("test\0", 5));
}

void tst_LzmaBlock::streamThatEndsEarlyIsFollowedByAZeroByte()
{
    const Unpacked unpacked(withDeclaredLength(packed("test"), 4000));
    QVERIFY(unpacked.succeeded);
    QCOMPARE(unpacked.first(5), QByteArray("test\0", 5));
    QCOMPARE(unpacked.buffer[4000], static_cast<unsigned char>(0));
}

void tst_LzmaBlock::streamLongerThanDeclaredFails_data()
{
    QTest::addColumn<int>("declared");
    for (int declared : {0, 1, 3, 299})
        QTest::addRow("%d of 300", declared) << declared;
}

void tst_LzmaBlock::streamLongerThanDeclaredFails()
{
    QFETCH(int, declared);
    const QByteArray block = packed(lessonText(290).toUtf8().leftJustified(300, '.', true));
    const Unpacked unpacked(withDeclaredLength(block, static_cast<quint32>(declared)));
    QVERIFY(!unpacked.succeeded);
    QVERIFY(unpacked.buffer);
}

void tst_LzmaBlock::blockShorterThanItsHeaderFailsWithoutABuffer_data()
{
    QTest::addColumn<int>("length");
    for (int length = 0; length < 13; ++length)
        QTest::addRow("%d bytes", length) << length;
}

void tst_LzmaBlock::blockShorterThanItsHeaderFailsWithoutABuffer()
{
    QFETCH(int, length);
    const auto block = exactCopy(packed("test").left(length));
    unsigned char *out = block.get();
    QVERIFY(!Lzma::decompress(block.get(), static_cast<unsigned int>(length), &out));
    QVERIFY(!out);
}

void tst_LzmaBlock::blockWithTooShortAStreamFails_data()
{
    QTest::addColumn<int>("length");
    for (int length = 13; length < 27; ++length)
        QTest::addRow("%d of 27 bytes", length) << length;
}

void tst_LzmaBlock::blockWithTooShortAStreamFails()
{
    QFETCH(int, length);
    const QByteArray whole = packed("test");
    QCOMPARE(whole.size(), 27);
    const auto block = exactCopy(whole.left(length));
    unsigned char *out = nullptr;
    QVERIFY(!Lzma::decompress(block.get(), static_cast<unsigned int>(length), &out));
    QVERIFY(out);
    MyFree(out);
}

void tst_LzmaBlock::impossiblePropertiesFail_data()
{
    QTest::addColumn<int>("properties");
    for (int properties : {225, 226, 255})
        QTest::addRow("%d", properties) << properties;
}

void tst_LzmaBlock::impossiblePropertiesFail()
{
    QFETCH(int, properties);
    QByteArray block = packed("test");
    block[0] = static_cast<char>(properties);
    QVERIFY(!Unpacked(block).succeeded);
}

void tst_LzmaBlock::allocatorRecordCallsTheHeapFunctions()
{
    QVERIFY(Lzma::g_Alloc.Alloc == &Lzma::SzAlloc);
    QVERIFY(Lzma::g_Alloc.Free == &Lzma::SzFree);

    char ignored = 0;
    void *memory = Lzma::g_Alloc.Alloc(&ignored, 5000);
    QVERIFY(memory);
    memset(memory, 1, 5000);
    Lzma::g_Alloc.Free(&ignored, memory);
    Lzma::SzFree(nullptr, Lzma::SzAlloc(nullptr, 1));
    Lzma::SzFree(nullptr, nullptr);
    QVERIFY(!MyAlloc(0));
}

// A host may carry an LZMA library of its own.
void tst_LzmaBlock::sdkStaysInsideTheLibrary()
{
    QVERIFY(dlsym(RTLD_DEFAULT, "MyAlloc"));
    for (const char *name : {"LzmaEncode", "LzmaDecode", "LzmaEncProps_Init", "LzmaDec_Init"})
        QVERIFY2(!dlsym(RTLD_DEFAULT, name), name);
}

QTEST_GUILESS_MAIN(tst_LzmaBlock)
#include "tst_lzmablock.moc"
