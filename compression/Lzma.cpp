#include "compression/Lzma.h"

#include <QtCore/QByteArray>
#include <QtCore/QTextCodec>
#include <QtCore/QtEndian>

#include <LzmaDec.h>
#include <LzmaEnc.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

namespace
{

// ---- The block as it is on the wire, in bytes ----------------------------------------------------

constexpr std::size_t PROPERTIES_OFFSET = 0; // the LZMA properties byte and the dictionary size
constexpr std::size_t PROPERTIES_SIZE = LZMA_PROPS_SIZE;
constexpr std::size_t LENGTH_OFFSET = 5;          // the text's length, little-endian
constexpr std::size_t LENGTH_REPEATED_OFFSET = 9; // and once more, where other writers have zeros
constexpr std::size_t HEADER_SIZE = 13;

constexpr QChar LIST_OPEN = QLatin1Char('[');
constexpr QChar LIST_CLOSE = QLatin1Char(']');
constexpr QChar LIST_SEPARATOR = QLatin1Char(',');
constexpr int MAX_LIST_CHARS_PER_BYTE = 4;              // three digits and a separator
constexpr unsigned int MAX_TEXT_FORM_BYTES = 250000000; // as a list, all that a string holds

// ---- Texts in the local encoding -----------------------------------------------------------------

// What the conversion sets aside for each character before it begins, in bytes: of more characters
// than go into the number of them that an int holds, it would not notice the overflow.
constexpr int UTF8_BYTES_PER_CHARACTER = 3;
constexpr int OTHER_BYTES_PER_CHARACTER = 8;
constexpr int UTF8_MIB = 106;
constexpr int MAX_CONVERTED_BYTES = std::numeric_limits<int>::max() - 64;

// ---- Memory --------------------------------------------------------------------------------------

struct ReleaseBuffer {
    void operator()(unsigned char *buffer) const { MyFree(buffer); }
};
using Buffer = std::unique_ptr<unsigned char, ReleaseBuffer>;

// The LZMA library wants its own record type, writable; it only ever calls through it.
ISzAlloc sdkAllocator()
{
    return {Lzma::g_Alloc.Alloc, Lzma::g_Alloc.Free};
}

// The toolkit throws when it is refused memory, or asked for more of it than its containers hold.
template<typename Operation> bool falseWithoutMemory(const Operation &operation)
{
    try {
        return operation();
    } catch (const std::bad_alloc &) {
        return false;
    }
}

// ---- Steps ---------------------------------------------------------------------------------------

bool isConvertible(const QString &text)
{
    const QTextCodec *codec = QTextCodec::codecForLocale();
    const bool isUtf8 = codec && codec->mibEnum() == UTF8_MIB;
    return text.size()
        <= MAX_CONVERTED_BYTES / (isUtf8 ? UTF8_BYTES_PER_CHARACTER : OTHER_BYTES_PER_CHARACTER);
}

CLzmaEncProps encoderSettings()
{
    CLzmaEncProps settings;
    LzmaEncProps_Init(&settings);
    settings.level = 0;    // speed before ratio
    settings.dictSize = 0; // as the level has it: 16 KiB
    settings.lc = -1;
    settings.lp = -1;
    settings.pb = -1;
    settings.fb = -1;
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

// A small block can unpack to more than a string can hold; that is a failure like any other.
bool textFromUtf8(const char *bytes, QString *out)
{
    const std::size_t size = std::strlen(bytes);
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return false;
    *out = QString::fromUtf8(bytes, static_cast<int>(size));
    return true;
}

bool decompressBlock(const unsigned char *src, unsigned int srcLen, QString *out)
{
    unsigned char *text = nullptr;
    const bool decompressed = Lzma::decompress(src, srcLen, &text);
    const Buffer owned(text);
    return decompressed && textFromUtf8(reinterpret_cast<const char *>(text), out);
}

bool decompressBlock(const QByteArray &block, QString *out)
{
    return decompressBlock(reinterpret_cast<const unsigned char *>(block.constData()),
                           static_cast<unsigned int>(block.size()), out);
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

QByteArray blockFromBase64(const QString &base64)
{
    // What is no letter of the alphabet is passed over, so it does not matter what becomes of it.
    return QByteArray::fromBase64Encoding(base64.toLatin1()).decoded;
}

QByteArray blockFromList(QString list)
{
    list.remove(LIST_OPEN).remove(LIST_CLOSE);

    QByteArray block;
    block.reserve(list.count(LIST_SEPARATOR) + 1);
    for (int start = 0; start <= list.size();) {
        int end = list.indexOf(LIST_SEPARATOR, start);
        if (end < 0)
            end = list.size();
        block.append(static_cast<char>(list.midRef(start, end - start).toInt()));
        start = end + 1;
    }
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
    *out = nullptr;
    if (srcLen < HEADER_SIZE)
        return false;

    const quint32 declaredLength = qFromLittleEndian<quint32>(src + LENGTH_OFFSET);
    auto *text = static_cast<unsigned char *>(MyAlloc(std::size_t(declaredLength) + 1));
    *out = text;
    if (!text)
        return false;
    text[declaredLength] = 0;

    ISzAlloc allocator = sdkAllocator();
    SizeT textLength = declaredLength;
    SizeT streamLength = srcLen - HEADER_SIZE;
    ELzmaStatus status = LZMA_STATUS_NOT_SPECIFIED;
    const SRes result =
        LzmaDecode(text, &textLength, src + HEADER_SIZE, &streamLength, src + PROPERTIES_OFFSET,
                   PROPERTIES_SIZE, LZMA_FINISH_END, &status, &allocator);
    // The stream may end before the declared length; nothing behind its end is ever read.
    text[textLength] = 0;
    return result == SZ_OK;
}

bool Lzma::decompress(unsigned char *src, unsigned int srcLen, QString *out)
{
    return falseWithoutMemory([&] { return decompressBlock(src, srcLen, out); });
}

bool Lzma::decompress64(QString base64, QString *out)
{
    return falseWithoutMemory([&] {
        const QByteArray block = blockFromBase64(base64);
        // Even the empty text has a stream behind the header.
        return block.size() > static_cast<int>(HEADER_SIZE) && decompressBlock(block, out);
    });
}

bool Lzma::decompress(QString list, QString *out)
{
    return falseWithoutMemory([&] { return decompressBlock(blockFromList(std::move(list)), out); });
}

bool Lzma::decompress(QList<QVariant> list, QString *out)
{
    return falseWithoutMemory([&] { return decompressBlock(blockFromIntegers(list), out); });
}
