#pragma once

// Unpacking with a limit, for what outsiders send: a block of a few hundred bytes can unpack to
// hundreds of megabytes, and one of 62 bytes can ask the decoder for gigabytes.

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstddef>

// What may still be unpacked. A payload that comes in several blocks has one limit for all of them;
// what a broken block gave before it was found to be broken counts, too.
struct UnpackingLimit {
    // Of text, in bytes of UTF-8. Read as JSON it takes many times as much.
    std::size_t textBytes = 16UL * 1024 * 1024;
    // Of memory for decoders, one a block: 16 KiB for blocks such as devices make, 6 MiB for the worst.
    // Without this limit a message of a million empty blocks takes minutes.
    std::size_t decoderBytes = 1024UL * 1024 * 1024;
    // Set by the first block that would give more; nothing is unpacked after it.
    bool isExceeded = false;

    // All that a block can declare, as `Lzma` has it.
    static UnpackingLimit none();
};

// The reading half of `Lzma`. Each operation unpacks one form of a block to its text, within what
// `limit` has left, and gives false, with `*out` left alone, for what is no block, for one that
// exceeds the limit and where memory does not suffice. No more memory is asked for than the limit
// and the text take, whatever length a block declares. Nothing throws or logs; any thread.
namespace BoundedLzma
{

// As `Lzma::decompress` of the same form, `*length` being the length of what was unpacked.
bool decompress(const unsigned char *src, unsigned int srcLen, UnpackingLimit *limit,
                unsigned char **out, std::size_t *length);
bool decompress(const unsigned char *src, unsigned int srcLen, UnpackingLimit *limit, QString *out);
bool decompress64(const QString &base64, UnpackingLimit *limit, QString *out);
bool decompress(const QString &list, UnpackingLimit *limit, QString *out);
bool decompress(const QList<QVariant> &list, UnpackingLimit *limit, QString *out);

// Whether a text can be the bracketed list of a block: numbers and nothing else, each perhaps with
// blanks round it. `decompress` takes any other part for 0.
bool isNumberList(const QString &text);

} // namespace BoundedLzma
