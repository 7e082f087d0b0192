#include "benchmarks/BareCodec.h"

#include <LzmaDec.h>
#include <LzmaEnc.h>

#include <cstdlib>
#include <cstring>

namespace
{

constexpr int HEADER_BYTES = 13;

void *allocate(void *, std::size_t size)
{
    return std::malloc(size);
}
void release(void *, void *address)
{
    std::free(address);
}

} // namespace

QByteArray BareCodec::pack(const QByteArray &text)
{
    const auto length = static_cast<quint32>(text.size());
    const std::size_t capacity = length + length / 3 + 128;
    auto *block = static_cast<Byte *>(std::malloc(HEADER_BYTES + capacity));
    CLzmaEncProps settings;
    LzmaEncProps_Init(&settings);
    settings.level = 0;
    settings.numThreads = 1;
    ISzAlloc allocator = {allocate, release};
    SizeT streamLength = capacity;
    SizeT propertiesLength = LZMA_PROPS_SIZE;
    LzmaEncode(block + HEADER_BYTES, &streamLength,
               reinterpret_cast<const Byte *>(text.constData()), length, &settings, block,
               &propertiesLength, 1, nullptr, &allocator, &allocator);
    std::memcpy(block + 5, &length, sizeof length);
    std::memcpy(block + 9, &length, sizeof length);
    const QByteArray base64 = QByteArray::fromRawData(reinterpret_cast<const char *>(block),
                                                      HEADER_BYTES + static_cast<int>(streamLength))
                                  .toBase64();
    std::free(block);
    return base64;
}

QByteArray BareCodec::unpack(const QByteArray &base64)
{
    const QByteArray block = QByteArray::fromBase64(base64);
    const auto *bytes = reinterpret_cast<const Byte *>(block.constData());
    quint32 length = 0;
    std::memcpy(&length, bytes + 5, sizeof length);
    QByteArray text(static_cast<int>(length), Qt::Uninitialized);
    ISzAlloc allocator = {allocate, release};
    SizeT textLength = length;
    SizeT streamLength = static_cast<SizeT>(block.size() - HEADER_BYTES);
    ELzmaStatus status = LZMA_STATUS_NOT_SPECIFIED;
    LzmaDecode(reinterpret_cast<Byte *>(text.data()), &textLength, bytes + HEADER_BYTES,
               &streamLength, bytes, LZMA_PROPS_SIZE, LZMA_FINISH_END, &status, &allocator);
    return text;
}
