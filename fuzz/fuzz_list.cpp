#include "compression/Lzma.h"
#include "fuzz/Fuzzing.h"

#include <QtCore/QStringList>

// The input follows a header that declares 200 bytes, so that the decoder is reached; the two list
// forms must agree.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QString list =
        QStringLiteral("[93,0,64,0,0,200,0,0,0,200,0,0,0,") + Fuzzing::textOf(data, size);
    QString text = QStringLiteral("earlier");
    const bool read = Lzma::decompress(list, &text);
    Fuzzing::require(read ? text.size() <= 200 : text == QLatin1String("earlier"));

    QVariantList integers;
    const QString bare = QString(list).remove(QLatin1Char('[')).remove(QLatin1Char(']'));
    for (const QString &number : bare.split(QLatin1Char(',')))
        integers.append(number.toInt());
    QString again = QStringLiteral("earlier");
    Fuzzing::require(Lzma::decompress(integers, &again) == read && again == text);
    return 0;
}
