#include "compression/Lzma.h"
#include "fuzz/Fuzzing.h"

// The input follows a header that declares 200 bytes, so that the decoder is reached.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    QString text = QStringLiteral("earlier");
    const QString header = QStringLiteral("XQBAAADIAAAAyAAA");
    if (Lzma::decompress64(header + Fuzzing::textOf(data, size), &text))
        Fuzzing::require(text.size() <= 200);
    else
        Fuzzing::require(text == QLatin1String("earlier"));
    return 0;
}
