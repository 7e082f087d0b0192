// What the codec does without memory: every text operation gives false and leaves the result alone,
// a body is not inflated, and nothing throws.
#include "FaultyHeap.h"
#include "Samples.h"
#include "compression/Lzma.h"
#include "compression/gUncompress.h"
#include "support/LocalEncoding.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <sys/mman.h>

#include <functional>
#include <zlib.h>

using namespace Samples;

namespace
{

using Operation = std::function<bool(QString *)>;

constexpr std::size_t MEBI = 1 << 20;
constexpr std::size_t ANY_SIZE = FaultyHeap::ANY_SIZE;
constexpr int ANY_NUMBER = FaultyHeap::ANY_NUMBER;

struct Outcome {
    bool succeeded = false;
    bool threw = false;
    int refused = 0;
    QString text = EARLIER;
};

// Runs an operation that gets `granted` pieces of memory, none of them larger than `largest`.
Outcome runWith(const Operation &operation, int granted, std::size_t largest)
{
    Outcome outcome;
    heap.refused = 0;
    heap.granted = granted;
    heap.largest = largest;
    try {
        outcome.succeeded = operation(&outcome.text);
    } catch (...) {
        outcome.threw = true;
    }
    heap.relent();
    outcome.refused = heap.refused;
    return outcome;
}

// What comes of the operation with 0, 1, 2, ... pieces of memory; the last has all that it needs.
std::vector<Outcome> runWithEverMoreMemory(const Operation &operation)
{
    std::vector<Outcome> outcomes;
    do {
        outcomes.push_back(runWith(operation, static_cast<int>(outcomes.size()), ANY_SIZE));
    } while (outcomes.back().refused > 0);
    return outcomes;
}

// A text that takes no memory, however long it is: every page of it is the system's one zero page.
class LongText
{
public:
    explicit LongText(int characters)
        : m_bytes(std::size_t(characters) * sizeof(QChar)),
          m_pages(mmap(nullptr, m_bytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1,
                       0)),
          text(QString::fromRawData(static_cast<const QChar *>(m_pages), characters))
    {
    }
    ~LongText()
    {
        text.clear();
        munmap(m_pages, m_bytes);
    }
    Q_DISABLE_COPY(LongText)

    bool isThere() const { return m_pages != MAP_FAILED; }

private:
    std::size_t m_bytes;
    void *m_pages;

public:
    QString text;
};

QByteArray deflated(const QByteArray &bytes)
{
    QByteArray body = qCompress(bytes);
    return body.mid(4); // the toolkit's own length
}

} // namespace

Q_DECLARE_METATYPE(Operation)

class tst_CodecMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void operationsFailWithoutMemory_data();
    void operationsFailWithoutMemory();
    void bodyIsNotInflatedWithoutMemory();
    void truncatedBodyIsRefusedWithoutMemory();
    void textsLongerThanAnyContainerFail_data();
    void textsLongerThanAnyContainerFail();
    void blockOfMoreThanMemoryHoldsFails();
    void textsAreNotCopiedOnTheirWayIn();
};

void tst_CodecMemory::operationsFailWithoutMemory_data()
{
    QTest::addColumn<Operation>("operation");
    const QString text = lessonText(3000);
    const QByteArray block = packed(text.toUtf8());
    const QString base64 = base64Of(block);
    const QString list = listOf(block);
    const QVariantList integers = integersOf(block);
    QTest::newRow("compress") << Operation([=](QString *out) { return Lzma::compress(text, out); });
    QTest::newRow("compress64") << Operation(
        [=](QString *out) { return Lzma::compress64(text, out); });
    QTest::newRow("decompress of a block") << Operation([=](QString *out) {
        // The block is only read, and this must not take memory that the codec does not take.
        auto *bytes = const_cast<char *>(block.constData());
        return Lzma::decompress(reinterpret_cast<unsigned char *>(bytes),
                                static_cast<unsigned int>(block.size()), out);
    });
    QTest::newRow("decompress64") << Operation(
        [=](QString *out) { return Lzma::decompress64(base64, out); });
    QTest::newRow("decompress of a list")
        << Operation([=](QString *out) { return Lzma::decompress(list, out); });
    QTest::newRow("decompress of integers")
        << Operation([=](QString *out) { return Lzma::decompress(integers, out); });
}

void tst_CodecMemory::operationsFailWithoutMemory()
{
    QFETCH(Operation, operation);
    const std::vector<Outcome> outcomes = runWithEverMoreMemory(operation);
    for (const Outcome &outcome : outcomes) {
        QVERIFY(!outcome.threw);
        QCOMPARE(outcome.succeeded, outcome.refused == 0);
        QVERIFY(outcome.succeeded || outcome.text == EARLIER);
    }
    QVERIFY(outcomes.size() > 2);
}

void tst_CodecMemory::bodyIsNotInflatedWithoutMemory()
{
    const QByteArray bytes = randomBytes(5000, 1);
    const QByteArray body = deflated(bytes);
    QByteArray result;
    const Operation givesNothing = [&](QString *) {
        result = QByteArray();
        result = gUncompress(body);
        return result.isEmpty();
    };
    const std::vector<Outcome> outcomes = runWithEverMoreMemory(givesNothing);
    for (const Outcome &outcome : outcomes) {
        QVERIFY(!outcome.threw);
        QCOMPARE(outcome.succeeded, outcome.refused > 0);
    }
    QVERIFY(outcomes.size() > 2);
    QCOMPARE(result, bytes);

    // A body that grows too large while it is inflated.
    const QByteArray large = deflated(QByteArray(64 * MEBI, 'a'));
    QVERIFY(large.size() < int(MEBI));
    const Operation inflateLarge = [&](QString *) {
        result = gUncompress(large);
        return true;
    };
    const Outcome outcome = runWith(inflateLarge, ANY_NUMBER, 32 * MEBI);
    QVERIFY(!outcome.threw);
    QVERIFY(outcome.refused > 0);
    QCOMPARE(result, QByteArray());
}

void tst_CodecMemory::truncatedBodyIsRefusedWithoutMemory()
{
    // A handler that takes no memory itself.
    static int warnings = 0;
    const auto count = [](QtMsgType, const QMessageLogContext &, const QString &) { ++warnings; };
    const Operation truncated = [](QString *) { return gUncompress(QByteArray()).isEmpty(); };
    const QtMessageHandler earlier = qInstallMessageHandler(count);
    const std::vector<Outcome> outcomes = runWithEverMoreMemory(truncated);
    qInstallMessageHandler(earlier);
    for (const Outcome &outcome : outcomes) {
        QVERIFY(!outcome.threw);
        QVERIFY(outcome.succeeded);
    }
    QVERIFY(outcomes.size() > 1);
    QVERIFY(warnings > 0);
}

void tst_CodecMemory::textsLongerThanAnyContainerFail_data()
{
    QTest::addColumn<int>("characters");
    QTest::addColumn<QByteArray>("encoding");
    QTest::newRow("900 Mi characters, UTF-8") << int(900 * MEBI) << QByteArray("UTF-8");
    QTest::newRow("700 Mi characters, UTF-8") << int(700 * MEBI) << QByteArray("UTF-8");
    QTest::newRow("600 Mi characters, GB18030") << int(600 * MEBI) << QByteArray("GB18030");
}

void tst_CodecMemory::textsLongerThanAnyContainerFail()
{
    QFETCH(int, characters);
    QFETCH(QByteArray, encoding);
    const LongText text(characters);
    QVERIFY(text.isThere());
    const LocalEncoding local(encoding);
    const std::vector<Operation> operations{
        [&text](QString *out) { return Lzma::compress(text.text, out); },
        [&text](QString *out) { return Lzma::compress64(text.text, out); },
        [&text](QString *out) { return Lzma::decompress(text.text, out); },
        [&text](QString *out) { return Lzma::decompress64(text.text, out); }};
    std::vector<Outcome> outcomes;
    for (const Operation &operation : operations)
        outcomes.push_back(runWith(operation, ANY_NUMBER, 256 * MEBI));

    for (const Outcome &outcome : outcomes) {
        QVERIFY(!outcome.threw);
        QVERIFY(!outcome.succeeded);
        QCOMPARE(outcome.text, EARLIER);
    }
}

void tst_CodecMemory::blockOfMoreThanMemoryHoldsFails()
{
    QByteArray block = packed(QByteArray(64 * MEBI, 'a'));
    const Operation unpackIt = [&block](QString *out) {
        return Lzma::decompress(reinterpret_cast<unsigned char *>(block.data()),
                                static_cast<unsigned int>(block.size()), out);
    };
    // The bytes are granted, the text of twice their size is not.
    const Outcome outcome = runWith(unpackIt, ANY_NUMBER, 100 * MEBI);
    QVERIFY(!outcome.threw);
    QVERIFY(!outcome.succeeded);
    QCOMPARE(outcome.refused, 1);
    QCOMPARE(outcome.text, EARLIER);
}

void tst_CodecMemory::textsAreNotCopiedOnTheirWayIn()
{
    // A copy of the text would take twice as many bytes as it has characters.
    const QString base64 = QString::fromLatin1(packed(randomBytes(700000, 2)).toBase64());
    const Operation unpackIt = [&base64](QString *out) { return Lzma::decompress64(base64, out); };
    const Outcome outcome =
        runWith(unpackIt, ANY_NUMBER, static_cast<std::size_t>(base64.size()) * 2 - 1);
    QCOMPARE(outcome.refused, 0);
    QVERIFY(outcome.succeeded);
}

QTEST_GUILESS_MAIN(tst_CodecMemory)
#include "tst_codecmemory.moc"
