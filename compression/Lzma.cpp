// Packing, and the memory of blocks; unpacking is BoundedLzma, here without a limit.
#include "compression/Lzma.h"

#include "compression/BoundedLzma.h"
#include "compression/FalseWithoutMemory.h"
#include "compression/LzmaBlock.h"
#include "support/Toolkit.h"

#include <QtCore/QByteArray>
#include <QtCore/QtEndian>

#include <LzmaEnc.h>

#include <charconv>
#include <cstdlib>
#include <limits>

using namespace LzmaBlock;

namespace
{

constexpr int MAX_LIST_CHARS_PER_BYTE = 4;              // three digits and a separator
constexpr unsigned int MAX_TEXT_FORM_BYTES = 250000000; // as a list, all that a string holds

// ---- Texts in the local encoding -----------------------------------------------------------------

// What the conversion sets aside for each character before it begins, in bytes: of more characters
// than go into the number of them that an int holds, it would not notice the overflow.
constexpr int UTF8_BYTES_PER_CHARACTER = 3;
constexpr int OTHER_BYTES_PER_CHARACTER = 8;
constexpr int MAX_CONVERTED_BYTES = std::numeric_limits<int>::max() - 64;

// ---- Steps ---------------------------------------------------------------------------------------

bool isConvertible(const QString &text)
{
    return text.size() <= MAX_CONVERTED_BYTES
        / (Tarvo::isLocalEncodingUtf8() ? UTF8_BYTES_PER_CHARACTER : OTHER_BYTES_PER_CHARACTER);
}

CLzmaEncProps encoderSettings()
{
    CLzmaEncProps settings;
    LzmaEncProps_Init(&settings);
    settings.level = 0; // speed before ratio; it gives a dictionary of 16 KiB
    settings.numThreads = 1;
    return settings;
}

struct Block {
    Buffer bytes;
    unsigned int length = 0;
};

bool compressText(const QString &text, Block *block)
{
    if (!isConvertible(text))
        return false;
    const QByteArray bytes = text.toLocal8Bit();
    unsigned char *out = nullptr;
    const bool compressed =
        Lzma::compress(reinterpret_cast<const unsigned char *>(bytes.constData()),
                       static_cast<unsigned int>(bytes.size()), &out, &block->length);
    block->bytes.reset(out);
    return compressed && block->length <= MAX_TEXT_FORM_BYTES;
}

QString bracketedList(const Block &block)
{
    QByteArray list;
    list.reserve(static_cast<int>(block.length) * MAX_LIST_CHARS_PER_BYTE + 2);
    list += LIST_OPEN.toLatin1();
    for (unsigned int i = 0; i < block.length; ++i) {
        if (i > 0)
            list += LIST_SEPARATOR.toLatin1();
        char digits[3];
        const auto end = std::to_chars(digits, digits + sizeof digits, block.bytes.get()[i]).ptr;
        list.append(digits, static_cast<int>(end - digits));
    }
    list += LIST_CLOSE.toLatin1();
    return QString::fromLatin1(list);
}

} // namespace

void *MyAlloc(std::size_t size)
{
    return size == 0 ? nullptr : std::malloc(size);
}

void MyFree(void *address)
{
    std::free(address);
}

const Lzma::Allocator Lzma::g_Alloc = {&Lzma::SzAlloc, &Lzma::SzFree};

void *Lzma::SzAlloc(void *, std::size_t size)
{
    return MyAlloc(size);
}

void Lzma::SzFree(void *, void *address)
{
    MyFree(address);
}

bool Lzma::compress(const unsigned char *src, unsigned int srcLen, unsigned char **out,
                    unsigned int *outLen)
{
    const std::size_t budget = std::size_t(srcLen) + srcLen / 3 + 128;
    unsigned char *block = static_cast<unsigned char *>(MyAlloc(HEADER_SIZE + budget));
    *out = block;
    if (!block)
        return false;

    const CLzmaEncProps settings = encoderSettings();
    ISzAlloc allocator = sdkAllocator();
    SizeT streamLength = budget;
    SizeT propertiesSize = PROPERTIES_SIZE;
    const int endMarker = 1;
    const SRes result = LzmaEncode(block + HEADER_SIZE, &streamLength, src, srcLen, &settings,
                                   block + PROPERTIES_OFFSET, &propertiesSize, endMarker, nullptr,
                                   &allocator, &allocator);
    if (result != SZ_OK || streamLength > std::numeric_limits<unsigned int>::max() - HEADER_SIZE)
        return false;

    // Every reader of these blocks knows the length twice; a plain 64-bit length would differ.
    qToLittleEndian<quint32>(srcLen, block + LENGTH_OFFSET);
    qToLittleEndian<quint32>(srcLen, block + LENGTH_REPEATED_OFFSET);
    *outLen = static_cast<unsigned int>(HEADER_SIZE + streamLength);
    return true;
}

bool Lzma::compress(QString text, QString *out)
{
    return falseWithoutMemory([&] {
        Block block;
        if (!compressText(text, &block))
            return false;
        *out = bracketedList(block);
        return true;
    });
}

bool Lzma::compress64(QString text, QString *out)
{
    return falseWithoutMemory([&] {
        Block block;
        if (!compressText(text, &block))
            return false;
        const auto bytes = QByteArray::fromRawData(
            reinterpret_cast<const char *>(block.bytes.get()), static_cast<int>(block.length));
        *out = QString::fromLatin1(bytes.toBase64());
        return true;
    });
}

bool Lzma::decompress(const unsigned char *src, unsigned int srcLen, unsigned char **out)
{
    std::size_t length = 0;
    UnpackingLimit unlimited = UnpackingLimit::none();
    return BoundedLzma::decompress(src, srcLen, &unlimited, out, &length);
}

bool Lzma::decompress(unsigned char *src, unsigned int srcLen, QString *out)
{
    UnpackingLimit unlimited = UnpackingLimit::none();
    return BoundedLzma::decompress(src, srcLen, &unlimited, out);
}

bool Lzma::decompress64(QString base64, QString *out)
{
    UnpackingLimit unlimited = UnpackingLimit::none();
    return BoundedLzma::decompress64(base64, &unlimited, out);
}

bool Lzma::decompress(QString list, QString *out)
{
    UnpackingLimit unlimited = UnpackingLimit::none();
    return BoundedLzma::decompress(list, &unlimited, out);
}

bool Lzma::decompress(QList<QVariant> list, QString *out)
{
    UnpackingLimit unlimited = UnpackingLimit::none();
    return BoundedLzma::decompress(list, &unlimited, out);
}
