// What the codec does when one single piece of memory cannot be had, whichever it is: it fails as its header
// says, leaves alone what was given, gives back all that it took, and throws nothing.
#include "FaultyHeap.h"
#include "Samples.h"
#include "client/PresenterClient.h"
#include "compression/Lzma.h"
#include "compression/gUncompress.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <functional>
#include <zlib.h>

using namespace Samples;

namespace
{

// What an operation that has no text to give leaves when its result is the right one.
const QString AS_EXPECTED = u"as expected"_s;

struct Case {
    QByteArray name;
    // Says whether it succeeded. It takes no memory of its own.
    std::function<bool(QString *)> run;
    QString result;
    // False when it has changed what it was given.
    std::function<bool()> isInputUntouched = [] { return true; };
};

struct Outcome {
    bool threw = false;
    bool succeeded = false;
    bool isLeftAlone = false;
    bool isRight = false;
    int refused = 0;
    long leaked = 0;
};

// Runs an operation whose allocation number `faulty`, counted from 0, fails.
Outcome runWithFault(const Case &one, int faulty)
{
    Outcome outcome;
    const long before = heap.live;
    {
        QString text = EARLIER;
        heap.refuseOne(faulty);
        try {
            outcome.succeeded = one.run(&text);
        } catch (...) {
            outcome.threw = true;
        }
        heap.relent();
        outcome.isLeftAlone = text == EARLIER;
        outcome.isRight = text == one.result;
    }
    outcome.leaked = heap.live - before;
    outcome.refused = heap.refused;
    return outcome;
}

unsigned int lengthOf(const QByteArray &bytes)
{
    return static_cast<unsigned int>(bytes.size());
}

const unsigned char *bytesOf(const QByteArray &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.constData());
}

// The same bytes in memory of their own.
QByteArray copyOf(const QByteArray &bytes)
{
    return QByteArray(bytes.constData(), bytes.size());
}

bool hold(const unsigned char *result, const QByteArray &expected)
{
    return result && memcmp(result, expected.constData(), lengthOf(expected)) == 0;
}

// ---- The operations ------------------------------------------------------------------------------

// Blocks: the caller releases what it got, also of an operation that failed.
std::vector<Case> blockCases(const QByteArray &bytes)
{
    const QByteArray block = packed(bytes);
    const auto compress = [=](QString *result) {
        unsigned char *out = nullptr;
        unsigned int length = 0;
        const bool succeeded = Lzma::compress(bytesOf(bytes), lengthOf(bytes), &out, &length);
        if (succeeded && length == lengthOf(block) && hold(out, block))
            *result = AS_EXPECTED;
        MyFree(out);
        return succeeded;
    };
    const auto decompress = [=](QString *result) {
        unsigned char *out = nullptr;
        const bool succeeded = Lzma::decompress(bytesOf(block), lengthOf(block), &out);
        if (succeeded && hold(out, bytes))
            *result = AS_EXPECTED;
        MyFree(out);
        return succeeded;
    };
    const auto decompressText = [=](QString *result) {
        return Lzma::decompress(const_cast<unsigned char *>(bytesOf(block)), lengthOf(block),
                                result);
    };
    const QByteArray bytesCopy = copyOf(bytes);
    const QByteArray blockCopy = copyOf(block);
    const auto isBlockUntouched = [=] { return block == blockCopy; };
    return {
        {"compress, block", compress, AS_EXPECTED, [=] { return bytes == bytesCopy; }},
        {"decompress, block", decompress, AS_EXPECTED, isBlockUntouched},
        {"decompress, block to text", decompressText, QString::fromUtf8(bytes), isBlockUntouched}};
}

std::vector<Case> textCases(const QString &text)
{
    const QByteArray block = packed(text.toUtf8());
    const QString base64 = base64Of(block);
    const QString list = listOf(block);
    const QVariantList integers = integersOf(block);
    const QString textCopy(text.constData(), text.size());
    const QString base64Copy(base64.constData(), base64.size());
    const QString listCopy(list.constData(), list.size());
    const auto isTextUntouched = [=] { return text == textCopy; };
    return {
        {"compress, list", [=](QString *out) { return Lzma::compress(text, out); }, list,
         isTextUntouched},
        {"compress, base64", [=](QString *out) { return Lzma::compress64(text, out); }, base64,
         isTextUntouched},
        {"decompress, base64", [=](QString *out) { return Lzma::decompress64(base64, out); }, text,
         [=] { return base64 == base64Copy; }},
        {"decompress, list", [=](QString *out) { return Lzma::decompress(list, out); }, text,
         [=] { return list == listCopy; }},
        {"decompress, integers", [=](QString *out) { return Lzma::decompress(integers, out); },
         text, [=] { return integers == integersOf(block); }},
    };
}

// windowBits: zlib's word for the form of a body.
QByteArray body(const QByteArray &bytes, int windowBits)
{
    z_stream stream = {};
    deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, windowBits, 8, Z_DEFAULT_STRATEGY);
    QByteArray result(bytes.size() * 2, '\0');
    stream.next_in = const_cast<Bytef *>(bytesOf(bytes));
    stream.avail_in = lengthOf(bytes);
    stream.next_out = reinterpret_cast<Bytef *>(result.data());
    stream.avail_out = lengthOf(result);
    deflate(&stream, Z_FINISH);
    result.chop(static_cast<int>(stream.avail_out));
    deflateEnd(&stream);
    return result;
}

Case inflationCase(const char *name, const QByteArray &bytes, int windowBits)
{
    const QByteArray packedBody = body(bytes, windowBits);
    const QByteArray copy = copyOf(packedBody);
    const auto inflate = [=](QString *result) {
        const QByteArray inflated = gUncompress(packedBody);
        if (inflated == bytes)
            *result = AS_EXPECTED;
        return !inflated.isEmpty();
    };
    return {name, inflate, AS_EXPECTED, [=] { return packedBody == copy; }};
}

std::vector<Case> allCases()
{
    const QString text = lessonText(3000);
    std::vector<Case> cases = blockCases(text.toUtf8());
    const std::vector<Case> texts = textCases(text);
    cases.insert(cases.end(), texts.begin(), texts.end());
    const QByteArray bytes = randomBytes(20000, 5);
    cases.push_back(inflationCase("inflate, gzip", bytes, 15 + 16));
    cases.push_back(inflationCase("inflate, zlib", bytes, 15));

    static PresenterClient client(nullptr, u"http://127.0.0.1:9"_s);
    const QString base64 = base64Of(packed(text.toUtf8()));
    cases.push_back({"decompress, base64, of the client",
                     [=](QString *out) { return client.LzmaDecompress64(base64, out) != 0; },
                     text});
    return cases;
}

} // namespace

Q_DECLARE_METATYPE(Case)

class tst_AllocationFaults : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyAllocationFailsOnce_data();
    void everyAllocationFailsOnce();
    void blockWithoutMemoryIsNull();
};

void tst_AllocationFaults::everyAllocationFailsOnce_data()
{
    QTest::addColumn<Case>("one");
    for (const Case &one : allCases())
        QTest::newRow(one.name.constData()) << one;
}

void tst_AllocationFaults::everyAllocationFailsOnce()
{
    QFETCH(Case, one);
#ifdef FAULTY_HEAP_IS_THE_CODECS
    if (one.name.startsWith("inflate"))
        QSKIP("The sanitizer has the heap functions that zlib and the toolkit call.");
#endif
    // What is made once and kept, such as the codec of the locale, is there afterwards.
    runWithFault(one, 0);
    const Outcome whole = runWithFault(one, FaultyHeap::ANY_NUMBER);
    QVERIFY(whole.succeeded && whole.isRight);
    QCOMPARE(whole.leaked, 0L);

    int faulty = 0;
    for (;; ++faulty) {
        const Outcome outcome = runWithFault(one, faulty);
        const QByteArray which = "allocation " + QByteArray::number(faulty);
        QVERIFY2(!outcome.threw, which + " made it throw");
        QVERIFY2(outcome.leaked == 0,
                 which + " made it leak " + QByteArray::number(int(outcome.leaked)));
        QVERIFY2(one.isInputUntouched(), which + " made it change what it was given");
        if (outcome.refused == 0)
            break;
        QVERIFY2(!outcome.succeeded, which + " was not missed");
        QVERIFY2(outcome.isLeftAlone, which + " made it write a result");
    }
    QVERIFY2(faulty > 1, "nothing was refused");
}

void tst_AllocationFaults::blockWithoutMemoryIsNull()
{
    const QByteArray block = packed("test");
    unsigned char unchanged = 0;
    unsigned char *out = &unchanged;
    unsigned int length = 4711;
    heap.refuseOne(0);
    const bool packs = Lzma::compress(bytesOf(block), lengthOf(block), &out, &length);
    heap.relent();
    QVERIFY(!packs);
    QVERIFY(!out);
    QCOMPARE(length, 4711u);

    out = &unchanged;
    heap.refuseOne(0);
    const bool unpacks = Lzma::decompress(bytesOf(block), lengthOf(block), &out);
    heap.relent();
    QVERIFY(!unpacks);
    QVERIFY(!out);
}

QTEST_GUILESS_MAIN(tst_AllocationFaults)
#include "tst_allocationfaults.moc"
