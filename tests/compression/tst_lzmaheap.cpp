#include "Samples.h"
#include "compression/Lzma.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <cstdlib>
#include <cstring>
#include <map>

// The program's own heap functions take the place of the library's, so that the test sees each
// allocation, fills it with rubbish and can refuse it.
namespace
{

struct Heap {
    std::map<void *, std::size_t> live;
    QVector<std::size_t> sizes;
    int refuseFrom = -1; // the index of the first allocation that fails

    void reset(int firstRefused = -1)
    {
        live.clear();
        sizes.clear();
        refuseFrom = firstRefused;
    }
} heap;

} // namespace

extern "C" Q_DECL_EXPORT void *MyAlloc(std::size_t size)
{
    const int index = heap.sizes.size();
    heap.sizes.append(size);
    if (heap.refuseFrom >= 0 && index >= heap.refuseFrom)
        return nullptr;
    void *address = std::malloc(size);
    std::memset(address, 'X', size);
    heap.live[address] = size;
    return address;
}

extern "C" Q_DECL_EXPORT void MyFree(void *address)
{
    heap.live.erase(address);
    std::free(address);
}

using namespace Samples;

// Who allocates what, and that nothing of it stays behind, whatever fails.
class tst_LzmaHeap : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { heap.reset(); }
    void packingReservesOneFixedBudget_data();
    void packingReservesOneFixedBudget();
    void unpackingAllocatesTheDeclaredLengthPlusOne();
    void base64Of13BytesNeverReachesTheDecoder();
    void textOperationsLeaveNothingBehind_data();
    void textOperationsLeaveNothingBehind();
    void packingWithoutMemoryFails();
    void unpackingWithoutMemoryFails();
    void bytesThatTheDecoderDidNotWriteAreNeverRead();
};

void tst_LzmaHeap::initTestCase()
{
    QString text;
    Lzma::compress64(u"test"_s, &text);
    if (heap.sizes.isEmpty())
        QSKIP("This build does not let a program replace the library's heap functions.");
}

void tst_LzmaHeap::packingReservesOneFixedBudget_data()
{
    QTest::addColumn<int>("length");
    QTest::addColumn<quint64>("reserved");
    const auto row = [](int length, quint64 reserved) {
        QTest::addRow("%d", length) << length << reserved;
    };
    row(0, 141);
    row(2, 143);
    row(3, 145);
    row(300, 541);
    row(100000, 133474);
}

void tst_LzmaHeap::packingReservesOneFixedBudget()
{
    QFETCH(int, length);
    QFETCH(quint64, reserved);
    const QByteArray bytes = randomBytes(length, 3);
    unsigned char *block = nullptr;
    unsigned int blockLength = 0;
    QVERIFY(Lzma::compress(reinterpret_cast<const unsigned char *>(bytes.constData()),
                           static_cast<unsigned int>(length), &block, &blockLength));
    QCOMPARE(quint64(heap.sizes.first()), reserved);
    QVERIFY(blockLength <= reserved);
    // The caller owns the block; the encoder's own memory has been returned.
    QCOMPARE(heap.live.size(), std::size_t(1));
    QCOMPARE(heap.live.begin()->first, static_cast<void *>(block));
    MyFree(block);
}

void tst_LzmaHeap::unpackingAllocatesTheDeclaredLengthPlusOne()
{
    const QByteArray block = withDeclaredLength(packed("test"), 12345);
    heap.reset();
    unsigned char *text = nullptr;
    QVERIFY(Lzma::decompress(reinterpret_cast<const unsigned char *>(block.constData()),
                             static_cast<unsigned int>(block.size()), &text));
    QCOMPARE(heap.sizes.count(12346), 1);
    QCOMPARE(heap.live.size(), std::size_t(1));
    QCOMPARE(heap.live.begin()->first, static_cast<void *>(text));
    QCOMPARE(heap.live.begin()->second, std::size_t(12346));
    MyFree(text);
}

void tst_LzmaHeap::base64Of13BytesNeverReachesTheDecoder()
{
    const QByteArray block = packed("test");
    heap.reset();
    QString text;
    QVERIFY(!Lzma::decompress64(base64Of(block.left(13)), &text));
    QVERIFY(heap.sizes.isEmpty());
    QVERIFY(!Lzma::decompress64(base64Of(block.left(14)), &text));
    QCOMPARE(heap.sizes, QVector<std::size_t>{5});
}

void tst_LzmaHeap::textOperationsLeaveNothingBehind_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<bool>("readable");
    const QByteArray block = packed(lessonText(500).toUtf8());
    QByteArray corrupt = block;
    corrupt[13] = 1; // the first byte of a stream is always 0
    QTest::newRow("whole") << block << true;
    QTest::newRow("corrupt") << corrupt << false;
    QTest::newRow("cut off") << block.left(60) << false;
    QTest::newRow("header only") << block.left(13) << false;
    QTest::newRow("less than a header") << block.left(12) << false;
    QTest::newRow("nothing") << QByteArray() << false;
}

void tst_LzmaHeap::textOperationsLeaveNothingBehind()
{
    QFETCH(QByteArray, block);
    QFETCH(bool, readable);
    QString text;
    QCOMPARE(unpackInEveryForm(block, &text), QVector<bool>(4, readable));
    QVERIFY(Lzma::compress(lessonText(500), &text));
    QVERIFY(Lzma::compress64(lessonText(500), &text));
    QVERIFY(heap.live.empty());
}

void tst_LzmaHeap::packingWithoutMemoryFails()
{
    QString result;
    QVERIFY(Lzma::compress64(u"test"_s, &result));
    const int allocations = heap.sizes.size();
    QVERIFY(allocations > 1);

    for (int refused = 0; refused < allocations; ++refused) {
        heap.reset(refused);
        QString text = EARLIER;
        QVERIFY(!Lzma::compress64(u"test"_s, &text));
        QVERIFY(!Lzma::compress(u"test"_s, &text));
        QCOMPARE(text, EARLIER);
        QVERIFY(heap.live.empty());

        heap.reset(refused);
        unsigned char *block = nullptr;
        unsigned int length = 77;
        QVERIFY(
            !Lzma::compress(reinterpret_cast<const unsigned char *>("test"), 4, &block, &length));
        QCOMPARE(length, 77u);
        QCOMPARE(block != nullptr, refused > 0);
        MyFree(block);
        QVERIFY(heap.live.empty());
    }
}

void tst_LzmaHeap::unpackingWithoutMemoryFails()
{
    const QByteArray block = packed("test");
    const QString base64 = base64Of(block);
    heap.reset();
    QString result;
    QVERIFY(Lzma::decompress64(base64, &result));
    const int allocations = heap.sizes.size();

    for (int refused = 0; refused < allocations; ++refused) {
        heap.reset(refused);
        QString text = EARLIER;
        QVERIFY(!Lzma::decompress64(base64, &text));
        QCOMPARE(text, EARLIER);
        QVERIFY(heap.live.empty());
    }
}

void tst_LzmaHeap::bytesThatTheDecoderDidNotWriteAreNeverRead()
{
    QString text;
    QVERIFY(unpack(withDeclaredLength(packed("test"), 5000), &text));
    QCOMPARE(text, u"test"_s);
    QVERIFY(unpack(withDeclaredLength(packed(""), 5000), &text));
    QCOMPARE(text, QString());
}

QTEST_GUILESS_MAIN(tst_LzmaHeap)
#include "tst_lzmaheap.moc"
