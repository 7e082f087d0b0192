#include "compression/Lzma.h"
#include "fuzz/Fuzzing.h"

#include <QtCore/QtEndian>

// The input is a block; what it unpacks to must come back from a block of our own.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QByteArray block = Fuzzing::bytesOf(data, size);
    // At most 64 KiB are declared: more only costs the sanitizer time.
    if (block.size() >= 9)
        block.replace(7, 2, QByteArray(2, '\0'));
    auto *bytes = reinterpret_cast<unsigned char *>(block.data());

    QString text = QStringLiteral("earlier");
    if (!Lzma::decompress(bytes, static_cast<unsigned int>(block.size()), &text)) {
        Fuzzing::require(text == QLatin1String("earlier"));
        return 0;
    }
    Fuzzing::require(static_cast<quint32>(text.size()) <= qFromLittleEndian<quint32>(bytes + 5));

    QString packed;
    QString again;
    Fuzzing::require(Lzma::compress64(text, &packed) && Lzma::decompress64(packed, &again));
    // Reading drops one byte order mark: of two, the second is still in the text and is dropped now.
    Fuzzing::require(again == text || text.startsWith(QChar::ByteOrderMark));
    return 0;
}
