#include "compression/gUncompress.h"
#include "fuzz/Fuzzing.h"

// The first byte chooses the header that the rest stands behind: gzip's, zlib's or none.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const QByteArray headers[] = {QByteArray::fromHex("1f8b0800000000000003"),
                                         QByteArray::fromHex("789c"), QByteArray()};
    if (size == 0)
        return 0;
    const QByteArray inflated =
        gUncompress(headers[data[0] % 3] + Fuzzing::bytesOf(data + 1, size - 1));
    // Deflate makes at most 1032 bytes of one.
    Fuzzing::require(static_cast<std::size_t>(inflated.size()) <= size * 1032);
    return 0;
}
