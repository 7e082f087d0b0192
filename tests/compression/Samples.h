#pragma once

#include "compression/Lzma.h"
#include "support/Text.h"

#include <QtCore/QByteArray>
#include <QtCore/QRandomGenerator>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <cstring>
#include <memory>

// What the tests of the codec feed it, the same in every run.
namespace Samples
{

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool UNDER_SANITIZER = true;
#else
constexpr bool UNDER_SANITIZER = false;
#endif

// What a result holds before the operation; one that fails leaves it there.
inline const QString EARLIER = u"earlier"_s;

// How JSON of a class session looks to the encoder: repetitive, with a few letters outside ASCII.
inline QString lessonText(int characters)
{
    const QString sentence = u"{\"deviceId\":\"4711\",\"userName\":\"Zoë "
                             "Müller\",\"answer\":[1,2,3],\"note\":\"5 € ✓\"},"_s;
    return sentence.repeated(characters / sentence.size() + 1).left(characters);
}

inline QByteArray randomBytes(int count, quint32 seed)
{
    QRandomGenerator generator(seed);
    QByteArray bytes(count, Qt::Uninitialized);
    for (char &byte : bytes)
        byte = static_cast<char>(generator.bounded(256));
    return bytes;
}

// Letters of all UTF-8 lengths in random order: hard to compress, no zero, no half surrogate pair.
inline QString randomText(int characters, quint32 seed)
{
    QRandomGenerator generator(seed);
    QString text;
    while (text.size() < characters) {
        switch (generator.bounded(4)) {
        case 0:
            text += QChar(generator.bounded(0x20, 0x7F));
            break;
        case 1:
            text += QChar(generator.bounded(0xA1, 0x800));
            break;
        case 2:
            text += QChar(generator.bounded(0x3041, 0xA000));
            break;
        default: {
            const uint letter = generator.bounded(0x1F300u, 0x1F600u);
            text += QChar(QChar::highSurrogate(letter));
            text += QChar(QChar::lowSurrogate(letter));
        }
        }
    }
    return text;
}

// Every short length, the lengths round the encoder's boundaries, and long ones.
inline QStringList sampleTexts()
{
    QStringList texts;
    for (int characters = 0; characters <= 40; ++characters)
        texts << lessonText(characters);
    for (int characters :
         {63, 64, 65, 255, 256, 300, 1000, 3000, 16383, 16384, 16385, 70000, 200000}) {
        texts << lessonText(characters) << randomText(characters, static_cast<quint32>(characters))
              << QString(characters, QLatin1Char('a'));
    }
    return texts;
}

inline QByteArray packed(const QByteArray &bytes)
{
    unsigned char *out = nullptr;
    unsigned int length = 0;
    QByteArray block;
    if (Lzma::compress(reinterpret_cast<const unsigned char *>(bytes.constData()),
                       static_cast<unsigned int>(bytes.size()), &out, &length)) {
        block = QByteArray(reinterpret_cast<const char *>(out), static_cast<int>(length));
    }
    MyFree(out);
    return block;
}

inline QVariantList integersOf(const QByteArray &block)
{
    QVariantList integers;
    for (char byte : block)
        integers.append(static_cast<int>(static_cast<unsigned char>(byte)));
    return integers;
}

inline QString listOf(const QByteArray &block)
{
    QStringList numbers;
    for (const QVariant &integer : integersOf(block))
        numbers.append(integer.toString());
    return QLatin1Char('[') + numbers.join(QLatin1Char(',')) + QLatin1Char(']');
}

inline QByteArray withDeclaredLength(QByteArray block, quint32 length)
{
    for (int i = 0; i < 4; ++i)
        block[5 + i] = static_cast<char>(length >> (8 * i));
    return block;
}

inline QByteArray withFlippedBit(QByteArray bytes, int bit)
{
    bytes[bit / 8] = static_cast<char>(bytes.at(bit / 8) ^ (1 << (bit % 8)));
    return bytes;
}

inline QString base64Of(const QByteArray &block)
{
    return QString::fromLatin1(block.toBase64());
}

// A copy that ends where its heap block ends, so that the sanitizer sees any read past it.
inline std::unique_ptr<unsigned char[]> exactCopy(const QByteArray &bytes)
{
    const auto size = static_cast<std::size_t>(bytes.size());
    std::unique_ptr<unsigned char[]> copy(new unsigned char[size]);
    std::memcpy(copy.get(), bytes.constData(), size);
    return copy;
}

inline bool unpack(const QByteArray &block, QString *out)
{
    return Lzma::decompress(exactCopy(block).get(), static_cast<unsigned int>(block.size()), out);
}

// Whether the block can be read as it is, in base64, as a bracketed list and as a list of integers.
inline QVector<bool> unpackInEveryForm(const QByteArray &block, QString *out)
{
    return {unpack(block, out), Lzma::decompress64(base64Of(block), out),
            Lzma::decompress(listOf(block), out), Lzma::decompress(integersOf(block), out)};
}

} // namespace Samples
