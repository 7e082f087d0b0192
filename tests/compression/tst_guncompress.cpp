#include "Samples.h"
#include "compression/gUncompress.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <dlfcn.h>
#include <zlib.h>

// The program's own inflate functions stand before zlib's, so that the test can make them fail and
// count how often a stream is ended.
namespace
{

constexpr int PASS_ON = 1000;
int initialiseResult = PASS_ON;
int inflateResult = PASS_ON;
int openStreams = 0;

template<typename Function> Function zlibFunction(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" Q_DECL_EXPORT int inflateInit2_(z_streamp stream, int windowBits, const char *version,
                                           int size)
{
    if (initialiseResult != PASS_ON)
        return initialiseResult;
    ++openStreams;
    static const auto function = zlibFunction<decltype(&inflateInit2_)>("inflateInit2_");
    return function(stream, windowBits, version, size);
}

extern "C" Q_DECL_EXPORT int inflate(z_streamp stream, int flush)
{
    static const auto function = zlibFunction<decltype(&inflate)>("inflate");
    return inflateResult != PASS_ON ? inflateResult : function(stream, flush);
}

extern "C" Q_DECL_EXPORT int inflateEnd(z_streamp stream)
{
    --openStreams;
    static const auto function = zlibFunction<decltype(&inflateEnd)>("inflateEnd");
    return function(stream);
}

namespace
{

constexpr int GZIP = 15 + 16;
constexpr int ZLIB = 15;
constexpr int BARE = -15;

QByteArray deflated(const QByteArray &bytes, int format, const QByteArray &dictionary = {})
{
    z_stream stream = {};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, format, 8, Z_DEFAULT_STRATEGY);
    if (!dictionary.isEmpty())
        deflateSetDictionary(&stream, reinterpret_cast<const Bytef *>(dictionary.constData()),
                             static_cast<uInt>(dictionary.size()));
    QByteArray out(bytes.size() * 2 + 1000, Qt::Uninitialized);
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(bytes.constData()));
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = reinterpret_cast<Bytef *>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    deflate(&stream, Z_FINISH);
    out.chop(static_cast<int>(stream.avail_out));
    deflateEnd(&stream);
    return out;
}

struct LoggedMessage {
    QtMsgType type;
    QByteArray category;
    QString text;
};
QVector<LoggedMessage> logged;

void logMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    logged.append({type, context.category, text});
}

} // namespace

class tst_GUncompress : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup() { QCOMPARE(openStreams, 0); }
    void gzipAndZlibBodiesAreInflated_data();
    void gzipAndZlibBodiesAreInflated();
    void outputOfWholeChunksIsComplete_data();
    void outputOfWholeChunksIsComplete();
    void inputUnder5BytesGivesAWarning_data();
    void inputUnder5BytesGivesAWarning();
    void bodyCutOffGivesWhatCanBeRead();
    void brokenBodyGivesNothing_data();
    void brokenBodyGivesNothing();
    void errorOfZlibGivesNothing_data();
    void errorOfZlibGivesNothing();
    void failedInitialisationGivesNothing();
    void bytesBehindTheBodyAreNotRead();
    void everyFlippedBitIsSurvived();
    void randomBytesAreSurvived();
};

void tst_GUncompress::init()
{
    initialiseResult = PASS_ON;
    inflateResult = PASS_ON;
    openStreams = 0;
}

void tst_GUncompress::gzipAndZlibBodiesAreInflated_data()
{
    QTest::addColumn<int>("format");
    QTest::addColumn<QByteArray>("bytes");
    const std::pair<const char *, int> formats[] = {{"gzip", GZIP}, {"zlib", ZLIB}};
    for (const auto &[name, format] : formats) {
        QTest::addRow("%s, nothing", name) << format << QByteArray("");
        QTest::addRow("%s, one byte", name) << format << QByteArray("a");
        QTest::addRow("%s, JSON", name) << format << QByteArray("{\"status\":0,\"data\":\"ok\"}");
        QTest::addRow("%s, zero bytes", name) << format << QByteArray(5000, '\0');
        QTest::addRow("%s, long text", name) << format << Samples::lessonText(500000).toUtf8();
        QTest::addRow("%s, random", name) << format << Samples::randomBytes(100000, 1);
    }
}

void tst_GUncompress::gzipAndZlibBodiesAreInflated()
{
    QFETCH(int, format);
    QFETCH(QByteArray, bytes);
    QCOMPARE(gUncompress(deflated(bytes, format)), bytes);
}

void tst_GUncompress::outputOfWholeChunksIsComplete_data()
{
    QTest::addColumn<int>("length");
    for (int length : {1023, 1024, 1025, 2047, 2048, 2049, 10240, 65536})
        QTest::addRow("%d", length) << length;
}

void tst_GUncompress::outputOfWholeChunksIsComplete()
{
    QFETCH(int, length);
    const QByteArray repetitive(length, 'a');
    QCOMPARE(gUncompress(deflated(repetitive, GZIP)), repetitive);
    const QByteArray random = Samples::randomBytes(length, 2);
    QCOMPARE(gUncompress(deflated(random, ZLIB)), random);
}

void tst_GUncompress::inputUnder5BytesGivesAWarning_data()
{
    QTest::addColumn<int>("length");
    for (int length = 0; length < 5; ++length)
        QTest::addRow("%d", length) << length;
}

void tst_GUncompress::inputUnder5BytesGivesAWarning()
{
    QFETCH(int, length);
    const QByteArray input = deflated("text", GZIP).left(length);
    logged.clear();
    const QtMessageHandler previous = qInstallMessageHandler(&logMessage);
    const QByteArray result = gUncompress(input);
    qInstallMessageHandler(previous);

    QCOMPARE(result, QByteArray());
    QCOMPARE(logged.size(), 1);
    QCOMPARE(logged.first().type, QtWarningMsg);
    QCOMPARE(logged.first().category, QByteArray("default"));
    QCOMPARE(logged.first().text, u"gUncompress: Input data is truncated"_s);
}

void tst_GUncompress::bodyCutOffGivesWhatCanBeRead()
{
    const QByteArray bytes = Samples::randomBytes(5000, 3);
    const QByteArray body = deflated(bytes, GZIP);
    LogCapture log;
    int longest = -1;
    for (int length = 5; length < body.size(); ++length) {
        const QByteArray read = gUncompress(body.left(length));
        QVERIFY(bytes.startsWith(read));
        QVERIFY(read.size() >= longest);
        longest = read.size();
    }
    QCOMPARE(longest, bytes.size()); // only the checksum is missing
    QVERIFY(!gUncompress(body.left(body.size() / 2)).isEmpty());
    QCOMPARE(log.messages(), QStringList());
}

void tst_GUncompress::brokenBodyGivesNothing_data()
{
    QTest::addColumn<QByteArray>("body");
    const QByteArray bytes = Samples::lessonText(20000).toUtf8();
    QByteArray wrongChecksum = deflated(bytes, GZIP);
    wrongChecksum[wrongChecksum.size() - 5] =
        static_cast<char>(~wrongChecksum.at(wrongChecksum.size() - 5));
    QByteArray wrongMiddle = deflated(Samples::randomBytes(10000, 4), ZLIB);
    wrongMiddle[5000] = static_cast<char>(~wrongMiddle.at(5000));
    QTest::newRow("no header") << QByteArray("{\"status\":0}");
    QTest::newRow("5 zeros") << QByteArray(5, '\0');
    QTest::newRow("a stream without header") << deflated(bytes, BARE);
    QTest::newRow("wrong checksum") << wrongChecksum;
    QTest::newRow("wrong byte in the middle") << wrongMiddle;
    QTest::newRow("needs a dictionary") << deflated(bytes, ZLIB, "a dictionary of both ends");
}

void tst_GUncompress::brokenBodyGivesNothing()
{
    QFETCH(QByteArray, body);
    LogCapture log;
    QCOMPARE(gUncompress(body), QByteArray());
    QCOMPARE(log.messages(), QStringList());
}

void tst_GUncompress::errorOfZlibGivesNothing_data()
{
    QTest::addColumn<int>("result");
    QTest::newRow("Z_NEED_DICT") << Z_NEED_DICT;
    QTest::newRow("Z_DATA_ERROR") << Z_DATA_ERROR;
    QTest::newRow("Z_MEM_ERROR") << Z_MEM_ERROR;
}

void tst_GUncompress::errorOfZlibGivesNothing()
{
    QFETCH(int, result);
    const QByteArray body = deflated("text", GZIP);
    LogCapture log;
    QCOMPARE(gUncompress(body), QByteArray("text"));
    inflateResult = result;
    QCOMPARE(gUncompress(body), QByteArray());
    QCOMPARE(log.messages(), QStringList());
}

void tst_GUncompress::failedInitialisationGivesNothing()
{
    initialiseResult = Z_MEM_ERROR;
    QCOMPARE(gUncompress(deflated("text", GZIP)), QByteArray());
}

void tst_GUncompress::bytesBehindTheBodyAreNotRead()
{
    const QByteArray body = deflated("first", GZIP);
    QCOMPARE(gUncompress(body + "rubbish"), QByteArray("first"));
    QCOMPARE(gUncompress(body + deflated("second", GZIP)), QByteArray("first"));
}

void tst_GUncompress::everyFlippedBitIsSurvived()
{
    const QByteArray body = deflated(Samples::lessonText(3000).toUtf8(), GZIP);
    LogCapture log;
    for (int bit = 0; bit < body.size() * 8; ++bit) {
        QVERIFY(gUncompress(Samples::withFlippedBit(body, bit)).size() < 1000000);
        QCOMPARE(openStreams, 0);
    }
    QCOMPARE(log.messages(), QStringList());
}

void tst_GUncompress::randomBytesAreSurvived()
{
    for (quint32 round = 0; round < 300; ++round) {
        // Behind a gzip header, so that the decoder is reached.
        const QByteArray header = QByteArray::fromHex("1f8b0800000000000003");
        gUncompress(header + Samples::randomBytes(static_cast<int>(round) * 3, round));
        QCOMPARE(openStreams, 0);
    }
}

QTEST_GUILESS_MAIN(tst_GUncompress)
#include "tst_guncompress.moc"
