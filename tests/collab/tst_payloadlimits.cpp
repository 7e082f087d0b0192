// What the dispatcher does with payloads that unpack to more than a host can bear: they are passed on
// as they came, the next message is handled, and the host's memory does not grow beyond measure.
//
// Run with the argument "measure" and the name of a payload, the program handles that one, and a
// message of an honest device after it, and writes what came of it and how much memory it took; a
// third argument is the address space, in MiB, that it may take at most for that.
#include "Messages.h"
#include "collab/CollaborationMessageHandler.h"
#include "compression/Lzma.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtTest/QtTest>

#include <lzma.h>

#include <sys/resource.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>

namespace
{

#if defined(__SANITIZE_ADDRESS__)
constexpr bool UNDER_SANITIZER = true;
#else
constexpr bool UNDER_SANITIZER = false;
#endif

constexpr int MEBI = 1024 * 1024;
constexpr int LIMIT = 16 * MEBI;
constexpr long MAX_GROWTH_KB = 600 * 1000;

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

const QString RAW_LINE = u"[MessageHandler.Decompressed] FAILED to decompress, "
                         "forwarding raw string!"_s;
const QString LIST_LINE = u"[MessageHandler.Decompressed] FAILED to decompress List!"_s;

// ---- Blocks --------------------------------------------------------------------------------------

QByteArray withDeclaredLength(QByteArray block, quint32 length)
{
    for (int i = 0; i < 4; ++i)
        block[5 + i] = static_cast<char>(length >> (8 * i));
    return block;
}

QByteArray blockOf(const QByteArray &text)
{
    unsigned char *out = nullptr;
    unsigned int length = 0;
    if (!Lzma::compress(reinterpret_cast<const unsigned char *>(text.constData()),
                        static_cast<unsigned int>(text.size()), &out, &length))
        qFatal("the test's own payload cannot be packed");
    const QByteArray block(reinterpret_cast<const char *>(out), static_cast<int>(length));
    MyFree(out);
    return block;
}

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

QByteArray text64(const QByteArray &block)
{
    return '"' + block.toBase64() + '"';
}

QByteArray numbers(const QByteArray &block)
{
    QByteArray list;
    for (const char byte : block)
        list += QByteArray::number(static_cast<uchar>(byte)) + ',';
    list.chop(1);
    return '[' + list + ']';
}

// ---- Payloads that are measured ------------------------------------------------------------------

struct Payload {
    const char *name;
    std::function<QByteArray()> data; // as JSON
    bool isAccepted;
};

QByteArray list64(const QByteArray &block)
{
    return '[' + text64(block) + ']';
}

// A list of many `unit`s.
Payload many(const char *name, const QByteArray &unit, int mebibytes, bool isAccepted)
{
    return {name, [=] { return list64(jsonList(unit, qint64(mebibytes) * MEBI)); }, isAccepted};
}

const std::vector<Payload> &payloads()
{
    static const auto huge = [] { return streamed("\"", "a", "\"", 730LL * MEBI); };
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

// A handler, and what it told: payloads of type "dance" as "unpacked" or "as it came", joins by name.
struct Host {
    CollaborationMessageHandler handler{nullptr};
    QStringList events;
    QVariant data;

    Host()
    {
        using Handler = CollaborationMessageHandler;
        QObject::connect(&handler, &Handler::unhandledMessage, &handler,
                         [this](const QVariantMap &body, const QVariant &payload) {
                             const bool isRaw = payload == body.value("data");
                             events.append(isRaw ? "as it came" : "unpacked");
                             data = payload;
                         });
        QObject::connect(
            &handler, &Handler::learnerJoin, &handler,
            [this](const Tarvo::Learner &learner) { events.append(learner.userName); });
    }
    void receive(const QByteArray &data)
    {
        const QString message =
            QString::fromLatin1(R"({"body":{"from":"d1","type":"dance","data":)" + data + "}}");
        QMetaObject::invokeMethod(&handler, "onHandleMessage", Q_ARG(QString, message));
    }
    void receiveJoin()
    {
        const QString message =
            incomingMessage(R"("from":"d2","type":"join","data":{"userName":"Ada"})");
        QMetaObject::invokeMethod(&handler, "onHandleMessage", Q_ARG(QString, message));
    }
};

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
        Host host;
        qInstallMessageHandler(keepStarts);
        largestBlock = 0;
        if (mebibytes > 0)
            limitMemory(mebibytes);
        const long before = statusKilobytes("VmRSS:");
        host.receive(data);
        const long growth = statusKilobytes("VmHWM:") - before;
        host.receiveJoin();
        const bool failed = shortLines.contains(RAW_LINE) || shortLines.contains(LIST_LINE);
        std::printf("%s|%s|%ld|%zu\n", qPrintable(host.events.join('|')),
                    failed ? "FAILED" : "read", growth, largestBlock);
        return 0;
    }
    return 1;
}

// What the payload is read from: the forms in which a block travels.
QByteArray inForm(int form, const QByteArray &block)
{
    switch (form) {
    case 0:
        return text64(block);
    case 1:
        return list64(block);
    case 2:
        return numbers(block);
    default:
        return '"' + numbers(block) + '"';
    }
}

// A list of one text, `size` bytes of JSON in all.
QByteArray listOfOneText(int size, const QByteArray &letter)
{
    const int letters = (size - 4) / letter.size();
    return "[\"" + letter.repeated(letters) + QByteArray(size - 4 - letters * letter.size(), 'a')
        + "\"]";
}

} // namespace

class tst_PayloadLimits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostsMemoryIsBounded_data();
    void hostsMemoryIsBounded();
    void payloadWithoutMemoryIsPassedOn_data();
    void payloadWithoutMemoryIsPassedOn();
    void sixteenMebibytesAreUnpackedAndNotOneByteMore_data();
    void sixteenMebibytesAreUnpackedAndNotOneByteMore();
    void piecesHaveOneLimitTogether();
    void whatABrokenPieceGivesCountsToo();
    void declaredLengthOfMinusOneIsNoLength_data();
    void declaredLengthOfMinusOneIsNoLength();
    void manyCostlyPiecesDoNotHoldTheHostUp();
    void manyPiecesOfTheUsualKindAreRead();
};

void tst_PayloadLimits::hostsMemoryIsBounded_data()
{
    QTest::addColumn<bool>("isAccepted");
    for (const Payload &payload : payloads())
        QTest::newRow(payload.name) << payload.isAccepted;
}

void tst_PayloadLimits::hostsMemoryIsBounded()
{
    QFETCH(bool, isAccepted);
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(),
                  {"measure", QTest::currentDataTag(), "0"});
    QVERIFY(program.waitForFinished(120000));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    const QString line = QString::fromUtf8(program.readAllStandardOutput()).trimmed();
    const QStringList results = line.split('|');
    QCOMPARE(results.size(), 5);
    const QStringList expected = isAccepted ? QStringList{"unpacked", "Ada", "read"}
                                            : QStringList{"as it came", "Ada", "FAILED"};
    QCOMPARE(results.mid(0, 3), expected);
    QVERIFY2(UNDER_SANITIZER || results.at(3).toLong() < MAX_GROWTH_KB, qPrintable(line));
    QVERIFY2(results.at(4).toLongLong() <= LIMIT + 2, qPrintable(line));
}

void tst_PayloadLimits::payloadWithoutMemoryIsPassedOn_data()
{
    QTest::addColumn<int>("mebibytes");
    for (int mebibytes : {10, 20, 40, 60, 80, 100, 150, 200, 300, 400})
        QTest::addRow("%d MiB", mebibytes) << mebibytes;
}

void tst_PayloadLimits::payloadWithoutMemoryIsPassedOn()
{
    if (UNDER_SANITIZER)
        QSKIP("The sanitizer's own address space must not be limited.");
    QFETCH(int, mebibytes);
    QProcess program;
    program.start(QCoreApplication::applicationFilePath(),
                  {"measure", "16 MiB of zeros", QString::number(mebibytes)});
    QVERIFY(program.waitForFinished(120000));
    QCOMPARE(program.exitStatus(), QProcess::NormalExit);
    QCOMPARE(program.exitCode(), 0);
    const QString line = QString::fromUtf8(program.readAllStandardOutput());
    QVERIFY2(line.startsWith("as it came|Ada|FAILED|"), qPrintable(line));
}

void tst_PayloadLimits::sixteenMebibytesAreUnpackedAndNotOneByteMore_data()
{
    QTest::addColumn<int>("form");
    QTest::addColumn<QByteArray>("letter");
    const char *const forms[] = {"a text", "a list of texts", "a list of numbers",
                                 "a bracketed list"};
    for (int form = 0; form < 4; ++form) {
        QTest::addRow("%s", forms[form]) << form << QByteArray("a");
        QTest::addRow("%s, two bytes a letter", forms[form]) << form << QByteArray("\xC3\xA9");
    }
}

void tst_PayloadLimits::sixteenMebibytesAreUnpackedAndNotOneByteMore()
{
    QFETCH(int, form);
    QFETCH(QByteArray, letter);
    const LogCapture log;
    Host host;
    const QByteArray fitting = listOfOneText(LIMIT, letter);
    QCOMPARE(fitting.size(), LIMIT);
    host.receive(inForm(form, blockOf(fitting)));
    QCOMPARE(host.events, QStringList{"unpacked"});
    QVERIFY(host.data.toList().value(0).toString().toUtf8() == fitting.mid(2, LIMIT - 4));
    QCOMPARE(log.count(RAW_LINE) + log.count(LIST_LINE), 0);

    host.receive(inForm(form, blockOf(listOfOneText(LIMIT + 1, letter))));
    host.receiveJoin();
    QCOMPARE(host.events, (QStringList{"unpacked", "as it came", "Ada"}));
    QCOMPARE(log.count(form == 0 || form == 3 ? RAW_LINE : LIST_LINE), 1);
    // The very next payload has the whole limit again.
    host.receive(inForm(form, blockOf(fitting)));
    QCOMPARE(host.events.last(), u"unpacked"_s);
}

void tst_PayloadLimits::piecesHaveOneLimitTogether()
{
    const QByteArray whole = listOfOneText(LIMIT, "a");
    QByteArray pieces;
    for (int i = 0; i < 16; ++i)
        pieces += text64(blockOf(whole.mid(i * MEBI, MEBI))) + ',';

    const LogCapture log;
    Host host;
    host.receive('[' + pieces + "\"\"]");
    QCOMPARE(host.events, QStringList{"unpacked"});
    QCOMPARE(host.data.toList().value(0).toString().size(), LIMIT - 4);

    // A blank behind the list is JSON, too, but one byte more.
    host.receive('[' + pieces + text64(blockOf(" ")) + ']');
    QCOMPARE(host.events.last(), u"as it came"_s);
    QCOMPARE(host.data.toList().size(), 17);
    QCOMPARE(log.count(LIST_LINE), 1);
}

void tst_PayloadLimits::whatABrokenPieceGivesCountsToo()
{
    const auto brokenAfter = [](int size) {
        const QByteArray block = blockOf(QByteArray(size, ' '));
        return text64(block.left(block.size() - 6));
    };
    const QByteArray good = text64(blockOf("[1,2]"));
    Host host;
    host.receive('[' + brokenAfter(MEBI) + ',' + good + ']');
    QCOMPARE(host.data, QVariant(QVariantList{1, 2}));
    host.receive('[' + brokenAfter(LIMIT) + ',' + good + ']');
    QCOMPARE(host.events, (QStringList{"unpacked", "as it came"}));
}

void tst_PayloadLimits::declaredLengthOfMinusOneIsNoLength_data()
{
    QTest::addColumn<int>("form");
    for (int form = 0; form < 4; ++form)
        QTest::addRow("form %d", form) << form;
}

void tst_PayloadLimits::declaredLengthOfMinusOneIsNoLength()
{
    QFETCH(int, form);
    Host host;
    host.receive(inForm(form, withDeclaredLength(blockOf("[1,2]"), 0xFFFFFFFFu)));
    QCOMPARE(host.data, QVariant(QVariantList{1, 2}));
    const auto fill = [form](int size) {
        return inForm(form, withDeclaredLength(blockOf(listOfOneText(size, "a")), 0xFFFFFFFFu));
    };
    host.receive(fill(LIMIT));
    host.receive(fill(LIMIT + 1));
    QCOMPARE(host.events, (QStringList{"unpacked", "unpacked", "as it came"}));
}

void tst_PayloadLimits::manyCostlyPiecesDoNotHoldTheHostUp()
{
    // 224 stands for the largest of all decoders; each takes milliseconds to set up.
    const QByteArray costly =
        text64(QByteArray(1, static_cast<char>(224)) + blockOf("").mid(1) + QByteArray(10, '\0'));
    const QByteArray data = '[' + (costly + ',').repeated(100000) + "\"\"]";
    Host host;
    QElapsedTimer timer;
    timer.start();
    host.receive(data);
    QVERIFY2(timer.elapsed() < (UNDER_SANITIZER ? 60000 : 5000),
             QByteArray::number(timer.elapsed()));
    QCOMPARE(host.events, QStringList{"as it came"});
}

void tst_PayloadLimits::manyPiecesOfTheUsualKindAreRead()
{
    QByteArray data = "[" + text64(blockOf("["));
    const QByteArray piece = ',' + text64(blockOf("1,"));
    data += piece.repeated(20000) + ',' + text64(blockOf("1]")) + ']';
    Host host;
    host.receive(data);
    QCOMPARE(host.data.toList().size(), 20001);
}

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    if (argc == 4 && qstrcmp(argv[1], "measure") == 0)
        return measure(argv[2], QByteArray(argv[3]).toUInt());
    tst_PayloadLimits test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_payloadlimits.moc"
