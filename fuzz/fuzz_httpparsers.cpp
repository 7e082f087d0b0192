#include "fuzz/Fuzzing.h"
#include "sockjs/SockJSXHRPollingWorker.h"

// The first byte is the expected length of a plain body; the rest goes through both parsers.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    if (size == 0)
        return 0;
    SockJSXHRPollingWorker worker(nullptr, nullptr, QString(), 80, false, true);
    const int expectedLength = static_cast<std::int8_t>(data[0]);
    const QByteArray bytes = Fuzzing::bytesOf(data + 1, size - 1);

    int status = 0;
    QStringMap headers;
    const int headerEnd = worker.parseHttpHeaderResponse(bytes, &status, &headers);
    Fuzzing::require(headerEnd >= 0 && headerEnd <= bytes.size());
    Fuzzing::require(status == (bytes.contains("HTTP/") ? 200 : -1));
    Fuzzing::require((headerEnd > 0) == (status == 200));
    Fuzzing::require(headers.isEmpty() || status == 200);

    QString plain;
    const int plainUsed = worker.parseMessageResponse(bytes, false, &plain, expectedLength);
    Fuzzing::require(plainUsed == plain.size());
    Fuzzing::require(
        plainUsed == (expectedLength > 1 ? qMin(expectedLength, int(bytes.size())) : bytes.size()));

    QString chunk;
    const int chunkUsed = worker.parseMessageResponse(bytes, true, &chunk, expectedLength);
    // The line end behind a chunk counts as used, there or not.
    Fuzzing::require(chunkUsed >= -1 && chunkUsed <= bytes.size() + 2);
    Fuzzing::require(chunkUsed > 0 || chunk.isEmpty());
    Fuzzing::require(chunk.size() <= bytes.size());
    return 0;
}
