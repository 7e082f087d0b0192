// What the dispatcher does with payloads that unpack to more than a host can bear: they are passed on
// as they came, the next message is handled, and the host's memory does not grow beyond measure.
//
// Run with the argument "measure" and the name of a payload, the program handles that one, and a
// message of an honest device after it, and writes what came of it and how much memory it took; a
// third argument is the address space, in MiB, that it may take at most for that.
#include "Messages.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtTest/QtTest>

#include <lzma.h>

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

using namespace Samples;

namespace
{

constexpr int MEBI = 1024 * 1024;
constexpr int LIMIT = 16 * MEBI;
constexpr long MAX_GROWTH_KB = MAX_GROWTH_MB * 1000L;

std::size_t largestBlock = 0;

} // namespace

// The program's own heap function takes the place of the codec's, so that the test sees what the
// decoder is asked to fill.
extern "C" Q_DECL_EXPORT void *MyAlloc(std::size_t size)
{
    largestBlock = std::max(largestBlock, size);
    return size == 0 ? nullptr : std::malloc(size);
}

extern "C" Q_DECL_EXPORT void MyFree(void *address)
{
    std::free(address);
}

namespace
{

// Packed bit by bit, so that this takes no memory that would hide what the reader takes.
class StreamedBlock
{
public:
    StreamedBlock()
    {
        lzma_options_lzma options;
        lzma_lzma_preset(&options, 1);
        options.nice_len = 273;
        if (lzma_alone_encoder(&m_stream, &options) != LZMA_OK)
            qFatal("no encoder");
    }
    ~StreamedBlock() { lzma_end(&m_stream); }
    Q_DISABLE_COPY(StreamedBlock)

    void append(const QByteArray &bytes) { run(bytes, LZMA_RUN); }
    QByteArray finished(quint32 length)
    {
        run({}, LZMA_FINISH);
        return withDeclaredLength(m_block, length);
    }

private:
    void run(const QByteArray &bytes, lzma_action action)
    {
        m_stream.next_in = reinterpret_cast<const uint8_t *>(bytes.constData());
        m_stream.avail_in = static_cast<std::size_t>(bytes.size());
        lzma_ret result = LZMA_OK;
        do {
            uint8_t out[4096];
            m_stream.next_out = out;
            m_stream.avail_out = sizeof out;
            result = lzma_code(&m_stream, action);
            m_block.append(reinterpret_cast<const char *>(out),
                           static_cast<int>(sizeof out - m_stream.avail_out));
        } while (result == LZMA_OK
                 && (m_stream.avail_in > 0 || m_stream.avail_out == 0 || action == LZMA_FINISH));
    }

    lzma_stream m_stream = LZMA_STREAM_INIT;
    QByteArray m_block;
};

// The block of `begin`, then as many of `unit` as there is room for, then `end`: `size` bytes in all.
QByteArray streamed(const QByteArray &begin, const QByteArray &unit, const QByteArray &end,
                    qint64 size)
{
    StreamedBlock block;
    block.append(begin);
    qint64 left = size - begin.size() - end.size();
    const QByteArray chunk = unit.repeated(65536 / unit.size());
    for (; left >= chunk.size(); left -= chunk.size())
        block.append(chunk);
    block.append(unit.repeated(static_cast<int>(left / unit.size())));
    block.append(QByteArray(static_cast<int>(left % unit.size()), ' '));
    block.append(end);
    return block.finished(static_cast<quint32>(size));
}

QByteArray jsonList(const QByteArray &unit, qint64 size)
{
    // What follows the last unit's comma is a value, too.
    return streamed("[", unit, "0]", size);
}

// ---- Payloads that are measured ------------------------------------------------------------------

struct Payload {
    const char *name;
    std::function<QByteArray()> data; // as JSON
    bool isAccepted;
};

// A list of many `unit`s.
Payload many(const char *name, const QByteArray &unit, int mebibytes, bool isAccepted)
{
    return {name, [=] { return list64(jsonList(unit, qint64(mebibytes) * MEBI)); }, isAccepted};
}

const std::vector<Payload> &payloads()
{
    static const auto huge = [] { return streamed("\"", "a", "\"", 730LL * MEBI); };
    static const auto numbers = [](const QByteArray &block) { return listOf(block).toLatin1(); };
    static const QByteArray declaring =
        withDeclaredLength(QByteArray::fromHex("5d00400000000000000000000000"), 2800000000u);
    static const QByteArray nested = QByteArray(900, '[') + QByteArray(900, ']') + ',';
    static const std::vector<Payload> all{
        {"730 MiB in a list of texts", [] { return list64(huge()); }, false},
        {"730 MiB in a text", [] { return text64(huge()); }, false},
        {"730 MiB in a list of numbers", [] { return numbers(huge()); }, false},
        {"730 MiB in a bracketed list", [] { return '"' + numbers(huge()) + '"'; }, false},
        {"2.8 GB declared by a text", [] { return text64(declaring); }, false},
        {"2.8 GB declared in a list of texts", [] { return list64(declaring); }, false},
        {"16 MiB of one text", [] { return list64(streamed("[\"", "a", "\"]", LIMIT)); }, true},
        {"16 MiB of ones, not packed",
         [] { return "[1" + QByteArray(",1").repeated(8 * MEBI - 1000) + ']'; }, false},
        many("64 MiB of zeros", "0,", 64, false),
        many("16 MiB of zeros", "0,", 16, true),
        many("16 MiB of letters", R"("a",)", 16, true),
        many("16 MiB of learners", R"({"userName":"Ada","deviceType":"x"},)", 16, true),
        // What would take more than 600 MB to read.
        many("16 MiB of lists of one", "[0],", 16, false),
        many("16 MiB of objects of one", R"({"":0},)", 16, false),
        many("16 MiB of lists in lists", nested, 16, false),
        many("10 MiB of objects of one", R"({"":0},)", 10, true),
        many("6 MiB of lists in lists", nested, 6, true),
    };
    return all;
}

// A field of the system's word on this process.
long statusKilobytes(const char *field)
{
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        qFatal("no status");
    const QByteArray text = status.readAll();
    return text.mid(text.indexOf(field) + static_cast<int>(qstrlen(field)))
        .simplified()
        .split(' ')
        .first()
        .toLong();
}

QStringList shortLines;

void keepStarts(QtMsgType, const QMessageLogContext &, const QString &line)
{
    shortLines.append(line.left(80));
}

// Refuses this process more than so much address space beside what it has.
void limitMemory(rlim_t mebibytes)
{
    const auto present = static_cast<rlim_t>(statusKilobytes("VmSize:")) * 1024;
    const rlimit limit{present + mebibytes * MEBI, RLIM_INFINITY};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        qFatal("no limit");
}

int measure(const QByteArray &name, rlim_t mebibytes)
{
    for (const Payload &payload : payloads()) {
        if (name != payload.name)
            continue;
        const QByteArray data = payload.data();
        HandlerHost host;
        qInstallMessageHandler(keepStarts);
        largestBlock = 0;
        if (mebibytes > 0)
            limitMemory(mebibytes);
        const long before = statusKilobytes("VmRSS:");
        const QString outcome = host.receivePayload(data);
        const long growth = statusKilobytes("VmHWM:") - before;
        host.receive(incomingMessage(joinFields));
        const bool failed = shortLines.contains(rawLine) || shortLines.contains(listLine);
        std::printf("%s;%s;%s;%ld;%zu\n", qPrintable(outcome), qPrintable(host.events.value(1)),
                    failed ? "FAILED" : "read", growth, largestBlock);
        return 0;
    }
    return 1;
}

const QStringList UNPACKED{"unpacked", "learnerJoin|d1|Ada|tablet", "read"};
const QStringList PASSED_ON{"as it came", "learnerJoin|d1|Ada|tablet", "FAILED"};

// What this program writes about a payload.
QStringList measured(const QString &payload, int mebibytes)
{
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(),
                  {"measure", payload, QString::number(mebibytes)});
    if (!program.waitForFinished(120000) || program.exitStatus() != QProcess::NormalExit
        || program.exitCode() != 0)
        return {"the program failed: " + program.errorString()};
    return QString::fromUtf8(program.readAllStandardOutput()).trimmed().split(';');
}

} // namespace

class tst_PayloadMemory : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostsMemoryIsBounded_data();
    void hostsMemoryIsBounded();
    void payloadWithoutMemoryIsPassedOn_data();
    void payloadWithoutMemoryIsPassedOn();
};

void tst_PayloadMemory::hostsMemoryIsBounded_data()
{
    QTest::addColumn<bool>("isAccepted");
    for (const Payload &payload : payloads())
        QTest::newRow(payload.name) << payload.isAccepted;
}

void tst_PayloadMemory::hostsMemoryIsBounded()
{
    QFETCH(bool, isAccepted);
    const int limit = UNDER_SANITIZER ? 0 : 1024; // what more than that asks for would not get it
    const QStringList results = measured(QTest::currentDataTag(), limit);
    const QString line = results.join(';');
    QCOMPARE(results.size(), 5);
    QCOMPARE(results.mid(0, 3), isAccepted ? UNPACKED : PASSED_ON);
    QVERIFY2(UNDER_SANITIZER || results.at(3).toLong() < MAX_GROWTH_KB, qPrintable(line));
    QVERIFY2(results.at(4).toLongLong() <= LIMIT + 2, qPrintable(line));
}

void tst_PayloadMemory::payloadWithoutMemoryIsPassedOn_data()
{
    QTest::addColumn<int>("mebibytes");
    for (int mebibytes : {10, 20, 40, 60, 80, 100, 150, 200, 300, 400})
        QTest::addRow("%d MiB", mebibytes) << mebibytes;
}

void tst_PayloadMemory::payloadWithoutMemoryIsPassedOn()
{
    if (UNDER_SANITIZER)
        QSKIP("The sanitizer's own address space must not be limited.");
    QFETCH(int, mebibytes);
    QCOMPARE(measured("16 MiB of zeros", mebibytes).mid(0, 3), PASSED_ON);
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], "measure") == 0)
        return measure(argv[2], QByteArray(argv[3]).toUInt());
    tst_PayloadMemory test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_payloadmemory.moc"
