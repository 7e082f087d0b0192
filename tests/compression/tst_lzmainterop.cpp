#include "Samples.h"
#include "compression/Lzma.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <lzma.h>

using namespace Samples;

namespace
{

// ---- The SDK's own program -----------------------------------------------------------------------

class LzmaAlone
{
public:
    bool isUsable() const { return m_directory.isValid(); }
    QByteArray encode(const QByteArray &bytes, bool endMarker = true) const
    {
        QStringList options = {
            u"-a0"_s, u"-d14"_s, u"-fb32"_s, u"-mfhc4"_s, u"-mc16"_s,
        };
        if (endMarker)
            options << u"-eos"_s;
        return run(u"e"_s, bytes, options);
    }
    QByteArray decode(const QByteArray &file) const { return run(u"d"_s, file, {}); }

private:
    QByteArray run(const QString &command, const QByteArray &input,
                   const QStringList &options) const
    {
        QFile in(m_directory.filePath(u"in"_s));
        if (!in.open(QIODevice::WriteOnly) || in.write(input) != input.size())
            return "no input file";
        in.close();
        QFile out(m_directory.filePath(u"out"_s));
        out.remove();
        QProcess program;
        program.start(QStringLiteral(LZMA_ALONE),
                      QStringList{command, in.fileName(), out.fileName()} + options);
        if (!program.waitForFinished() || program.exitCode() != 0)
            return "the program failed: " + program.readAll();
        if (!out.open(QIODevice::ReadOnly))
            return "no output file";
        return out.readAll();
    }

    QTemporaryDir m_directory;
};

// ---- liblzma -------------------------------------------------------------------------------------

QByteArray runLiblzma(lzma_stream *stream, const QByteArray &input, int capacity)
{
    QByteArray output(capacity, Qt::Uninitialized);
    stream->next_in = reinterpret_cast<const uint8_t *>(input.constData());
    stream->avail_in = static_cast<std::size_t>(input.size());
    stream->next_out = reinterpret_cast<uint8_t *>(output.data());
    stream->avail_out = static_cast<std::size_t>(capacity);
    const lzma_ret result = lzma_code(stream, LZMA_FINISH);
    output.chop(static_cast<int>(stream->avail_out));
    lzma_end(stream);
    return result == LZMA_STREAM_END ? output : "liblzma failed: " + QByteArray::number(result);
}

QByteArray liblzmaDecode(const QByteArray &file, int capacity)
{
    lzma_stream stream = LZMA_STREAM_INIT;
    if (lzma_alone_decoder(&stream, UINT64_MAX) != LZMA_OK)
        return "no decoder";
    return runLiblzma(&stream, file, capacity + 1);
}

QByteArray liblzmaEncode(const QByteArray &bytes, uint32_t preset)
{
    lzma_options_lzma options;
    if (lzma_lzma_preset(&options, preset))
        return "no preset";
    lzma_stream stream = LZMA_STREAM_INIT;
    if (lzma_alone_encoder(&stream, &options) != LZMA_OK)
        return "no encoder";
    return runLiblzma(&stream, bytes, bytes.size() * 2 + 1000);
}

QByteArray withStandardLength(QByteArray block, quint64 length)
{
    for (int i = 0; i < 8; ++i)
        block[5 + i] = static_cast<char>(length >> (8 * i));
    return block;
}

constexpr quint64 UNKNOWN_LENGTH = UINT64_MAX;

} // namespace

// Blocks made here and read elsewhere, made elsewhere and read here.
class tst_LzmaInterop : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void blocksEqualThoseOfTheSdkProgram();
    void blocksOfBytesEqualThoseOfTheSdkProgram();
    void sdkProgramReadsOurBlocks();
    void blocksWithoutEndMarkerAreRead();
    void liblzmaReadsOurBlocks();
    void weReadTheBlocksOfLiblzma();
};

void tst_LzmaInterop::blocksEqualThoseOfTheSdkProgram()
{
    const LzmaAlone program;
    QVERIFY(program.isUsable());
    for (const QString &text : sampleTexts()) {
        QString base64;
        QVERIFY(Lzma::compress64(text, &base64));
        const QByteArray block = QByteArray::fromBase64(base64.toLatin1());
        const QByteArray expected = program.encode(text.toUtf8());
        QCOMPARE(block.left(5).toHex(), expected.left(5).toHex());
        QCOMPARE(block.mid(13).toHex(), expected.mid(13).toHex());
    }
}

void tst_LzmaInterop::blocksOfBytesEqualThoseOfTheSdkProgram()
{
    const LzmaAlone program;
    QVERIFY(program.isUsable());
    for (int length : {1, 2, 3, 4, 5, 100, 1000, 16384, 16385, 100000, 1000000}) {
        const QByteArray bytes = randomBytes(length, static_cast<quint32>(length));
        QCOMPARE(packed(bytes).mid(13), program.encode(bytes).mid(13));
    }
}

void tst_LzmaInterop::sdkProgramReadsOurBlocks()
{
    const LzmaAlone program;
    QVERIFY(program.isUsable());
    for (const QString &text : {QString(), lessonText(3000), randomText(20000, 10)}) {
        const QByteArray bytes = text.toUtf8();
        QCOMPARE(program.decode(withStandardLength(packed(bytes), UNKNOWN_LENGTH)), bytes);
    }
}

void tst_LzmaInterop::blocksWithoutEndMarkerAreRead()
{
    const LzmaAlone program;
    QVERIFY(program.isUsable());
    for (const QString &text : {lessonText(4), lessonText(3000), randomText(20000, 11)}) {
        const QByteArray block = program.encode(text.toUtf8(), false);
        QString read;
        QVERIFY(unpack(block, &read));
        QCOMPARE(read, text);
    }
}

void tst_LzmaInterop::liblzmaReadsOurBlocks()
{
    for (const QString &text : sampleTexts()) {
        const QByteArray bytes = text.toUtf8();
        const QByteArray block = packed(bytes);
        for (quint64 length : {UNKNOWN_LENGTH, quint64(bytes.size())})
            QCOMPARE(liblzmaDecode(withStandardLength(block, length), bytes.size()), bytes);
    }
}

void tst_LzmaInterop::weReadTheBlocksOfLiblzma()
{
    for (uint32_t preset : {0u, 6u, 9u}) {
        for (const QString &text : {QString(), lessonText(3000), randomText(20000, 12)}) {
            const QByteArray block = liblzmaEncode(text.toUtf8(), preset);
            const auto length = static_cast<quint32>(text.toUtf8().size());
            QString read;
            QVERIFY(unpack(withDeclaredLength(block, length), &read));
            QCOMPARE(read, text);
            // As liblzma writes it: of unknown length, the end is where the marker stands.
            QCOMPARE(block.mid(5, 8).toHex(), QByteArray("ffffffffffffffff"));
            QVERIFY(unpack(block, &read));
            QCOMPARE(read, text);
        }
    }
}

QTEST_GUILESS_MAIN(tst_LzmaInterop)
#include "tst_lzmainterop.moc"
