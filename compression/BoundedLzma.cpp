#include "compression/BoundedLzma.h"

#include "compression/FalseWithoutMemory.h"
#include "compression/LzmaBlock.h"

#include <QtCore/QByteArray>
#include <QtCore/QLocale>
#include <QtCore/QtEndian>

#include <algorithm>
#include <cstring>
#include <limits>

using namespace LzmaBlock;

namespace
{

// How much memory the decoder sets up for a block with these properties: a number for each of its
// states, and for each literal in each of its contexts.
std::size_t decoderMemory(unsigned char properties)
{
    constexpr unsigned int LITERAL_BITS = 9;      // values of "lc", 0 to 8
    constexpr unsigned int LITERAL_POSITIONS = 5; // values of "lp", 0 to 4
    constexpr std::size_t STATES = 1846;
    constexpr std::size_t LITERALS = 768;
    const unsigned int bits = properties % LITERAL_BITS;
    const unsigned int positions = properties / LITERAL_BITS % LITERAL_POSITIONS;
    return (STATES + (LITERALS << (bits + positions))) * sizeof(CLzmaProb);
}

// Takes the decoder of a block from the limit.
bool admitsDecoder(UnpackingLimit *limit, const unsigned char *block)
{
    const std::size_t memory = decoderMemory(block[PROPERTIES_OFFSET]);
    limit->isExceeded = limit->isExceeded || memory > limit->decoderBytes;
    if (!limit->isExceeded)
        limit->decoderBytes -= memory;
    return !limit->isExceeded;
}

// Takes what a block has given from the limit.
bool admitsText(UnpackingLimit *limit, std::size_t length)
{
    limit->isExceeded = length > limit->textBytes;
    if (!limit->isExceeded)
        limit->textBytes -= length;
    return !limit->isExceeded;
}

// A small block can unpack to more than a string can hold; that is a failure like any other.
bool textFromUtf8(const char *bytes, QString *out)
{
    const std::size_t size = std::strlen(bytes);
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return false;
    *out = QString::fromUtf8(bytes, static_cast<int>(size));
    return true;
}

bool decompressBlock(const QByteArray &block, UnpackingLimit *limit, QString *out)
{
    return BoundedLzma::decompress(reinterpret_cast<const unsigned char *>(block.constData()),
                                   static_cast<unsigned int>(block.size()), limit, out);
}

QByteArray blockFromBase64(const QString &base64)
{
    // What is no letter of the alphabet is passed over, so it does not matter what becomes of it.
    return QByteArray::fromBase64Encoding(base64.toLatin1()).decoded;
}

// Calls take(number, isNumber) for each part of a bracketed list, with 0 for a part that is no number,
// until that returns false. Returns whether it came to the end.
template<typename Take> bool forEachNumber(QString list, const Take &take)
{
    list.remove(LIST_OPEN).remove(LIST_CLOSE);
    const QLocale locale = QLocale::c();
    const int size = list.size();
    for (int start = 0; start <= size;) {
        const int separator = list.indexOf(LIST_SEPARATOR, start);
        const int end = separator < 0 ? size : separator;
        bool isNumber = false;
        const int number = locale.toInt(QStringView(list).mid(start, end - start), &isNumber);
        if (!take(number, isNumber))
            return false;
        start = end + 1;
    }
    return true;
}

QByteArray blockFromList(const QString &list)
{
    QByteArray block;
    block.reserve(list.count(LIST_SEPARATOR) + 1);
    forEachNumber(list, [&](int number, bool) {
        block.append(static_cast<char>(number));
        return true;
    });
    return block;
}

QByteArray blockFromIntegers(const QList<QVariant> &integers)
{
    QByteArray block;
    block.reserve(integers.size());
    for (const QVariant &byte : integers)
        block.append(static_cast<char>(byte.toInt()));
    return block;
}

} // namespace

UnpackingLimit UnpackingLimit::none()
{
    UnpackingLimit unlimited;
    unlimited.textBytes = std::numeric_limits<quint32>::max();
    unlimited.decoderBytes = std::numeric_limits<std::size_t>::max();
    return unlimited;
}

bool BoundedLzma::decompress(const unsigned char *src, unsigned int srcLen, UnpackingLimit *limit,
                             unsigned char **out, std::size_t *length)
{
    *out = nullptr;
    if (srcLen < HEADER_SIZE || !admitsDecoder(limit, src))
        return false;

    // One byte more than the limit admits tells a block that exceeds it from one that just fits.
    const std::size_t declared = qFromLittleEndian<quint32>(src + LENGTH_OFFSET);
    const std::size_t capacity = std::min(declared, limit->textBytes + 1);
    auto *text = static_cast<unsigned char *>(MyAlloc(capacity + 1));
    *out = text;
    if (!text)
        return false;
    text[capacity] = 0;

    ISzAlloc allocator = sdkAllocator();
    SizeT textLength = capacity;
    SizeT streamLength = srcLen - HEADER_SIZE;
    ELzmaStatus status = LZMA_STATUS_NOT_SPECIFIED;
    const SRes result =
        LzmaDecode(text, &textLength, src + HEADER_SIZE, &streamLength, src + PROPERTIES_OFFSET,
                   PROPERTIES_SIZE, LZMA_FINISH_END, &status, &allocator);
    // The stream may end before the declared length; nothing behind its end is ever read.
    text[textLength] = 0;
    *length = textLength;
    return admitsText(limit, textLength) && result == SZ_OK;
}

bool BoundedLzma::decompress(const unsigned char *src, unsigned int srcLen, UnpackingLimit *limit,
                             QString *out)
{
    return falseWithoutMemory([&] {
        unsigned char *text = nullptr;
        std::size_t length = 0;
        const bool decompressed = decompress(src, srcLen, limit, &text, &length);
        const Buffer owned(text);
        return decompressed && textFromUtf8(reinterpret_cast<const char *>(text), out);
    });
}

bool BoundedLzma::decompress64(const QString &base64, UnpackingLimit *limit, QString *out)
{
    return falseWithoutMemory([&] {
        const QByteArray block = blockFromBase64(base64);
        // Even the empty text has a stream behind the header.
        return block.size() > static_cast<int>(HEADER_SIZE) && decompressBlock(block, limit, out);
    });
}

bool BoundedLzma::isNumberList(const QString &text)
{
    return forEachNumber(text, [](int, bool isNumber) { return isNumber; });
}

bool BoundedLzma::decompress(const QString &list, UnpackingLimit *limit, QString *out)
{
    return falseWithoutMemory([&] { return decompressBlock(blockFromList(list), limit, out); });
}

bool BoundedLzma::decompress(const QList<QVariant> &list, UnpackingLimit *limit, QString *out)
{
    return falseWithoutMemory([&] { return decompressBlock(blockFromIntegers(list), limit, out); });
}
