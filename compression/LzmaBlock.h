#pragma once

// What packing and unpacking share: the block's layout and its memory.

#include "compression/Lzma.h"

#include <QtCore/QChar>

#include <LzmaDec.h>

#include <memory>

namespace LzmaBlock
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

// ---- Memory --------------------------------------------------------------------------------------

struct ReleaseBuffer {
    void operator()(unsigned char *buffer) const { MyFree(buffer); }
};
using Buffer = std::unique_ptr<unsigned char, ReleaseBuffer>;

// The LZMA library wants its own record type, writable; it only ever calls through it.
inline ISzAlloc sdkAllocator()
{
    return {Lzma::g_Alloc.Alloc, Lzma::g_Alloc.Free};
}

} // namespace LzmaBlock
