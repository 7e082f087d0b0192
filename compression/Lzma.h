#pragma once

#include "support/Export.h"

#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstddef>

extern "C" {
/// Takes memory from the heap that blocks and decoded buffers come from. Null for 0 bytes, and when the
/// memory cannot be had.
TARVOCLIENT_EXPORT void *MyAlloc(std::size_t size);
/// Gives memory back to that heap; null is none.
TARVOCLIENT_EXPORT void MyFree(void *address);
}

/// Packs texts into the LZMA blocks that the collaboration server, the learners' devices and the
/// classroom service exchange, and unpacks theirs.
///
/// A block is a 13-byte header (LZMA properties, dictionary size, the length of the text twice) and
/// an LZMA stream with an end marker. It travels as base64, as a bracketed list of decimal byte
/// values, or as a JSON array of integers.
///
/// All operations are pure functions: they may run on any thread, at the same time, and log nothing.
/// The text operations write their result only on success, keep no buffer, and take any input: what
/// is no block gives false, and so does a text that is too long to be converted or for which there is
/// no memory. Nothing throws.
///
/// Texts are packed in the local 8-bit encoding and read as UTF-8, so both ends agree wherever the
/// local encoding is UTF-8. A text that holds a zero byte is cut there when it is read.
class TARVOCLIENT_EXPORT Lzma
{
public:
    /// The two hooks through which the LZMA library takes and returns memory; the first argument of
    /// each is the record itself.
    struct Allocator {
        void *(*Alloc)(void *p, std::size_t size); ///< hands out memory, or null
        void (*Free)(void *p, void *address);      ///< takes it back; null is none
    };
    /// The hooks that every operation hands to the LZMA library.
    static const Allocator g_Alloc;
    /// The hook that hands out memory: `MyAlloc(size)`, whatever `p` is.
    static void *SzAlloc(void *p, std::size_t size);
    /// The hook that takes it back: `MyFree(address)`, whatever `p` is.
    static void SzFree(void *p, void *address);

    Lzma() = delete;

    /// Packs `srcLen` bytes into a new block. `*out` takes the block's address, also when the
    /// operation fails, and the caller releases it with `MyFree`; it is null when there was no
    /// memory for it. `*outLen` takes the block's length in bytes, on success only.
    static bool compress(const unsigned char *src, unsigned int srcLen, unsigned char **out,
                         unsigned int *outLen);
    /// Packs a text and writes the block as "[93,0,64,0,0,...]", one decimal number a byte.
    static bool compress(QString text, QString *out);
    /// Packs a text and writes the block as base64 without line breaks.
    static bool compress64(QString text, QString *out);

    /// Unpacks a block into a new buffer of the length that the block declares plus one zero byte.
    /// `*out` takes the buffer's address, also when the stream is found to be broken, and the caller
    /// releases it with `MyFree`; it is null when the block is shorter than its header or there was
    /// no memory for the text. Where the stream ends before the declared length, a zero byte follows
    /// what was unpacked and the rest of the buffer is undefined.
    static bool decompress(const unsigned char *src, unsigned int srcLen, unsigned char **out);
    /// Unpacks a block to its text. The block is only read.
    static bool decompress(unsigned char *src, unsigned int srcLen, QString *out);
    /// Unpacks a block that was written as base64.
    static bool decompress64(QString base64, QString *out);
    /// Unpacks a block that was written as a list of decimal byte values. Brackets are ignored
    /// wherever they stand, values are taken modulo 256, and what is no number counts as 0.
    static bool decompress(QString list, QString *out);
    /// Unpacks a block that came as a JSON array, one integer a byte, taken modulo 256.
    static bool decompress(QList<QVariant> list, QString *out);
};
