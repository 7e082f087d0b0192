// The text codec beside the LZMA SDK and base64 called directly, text in and text out.

#include "benchmarks/BareCodec.h"
#include "benchmarks/Comparison.h"
#include "benchmarks/Lesson.h"
#include "compression/Lzma.h"

#include <QtCore/QCoreApplication>

namespace
{

constexpr double GOAL = 1.05;

void addSize(const Comparison &comparison, const char *label, int bytes)
{
    const QString textIn = QString::fromUtf8(Lesson::text(bytes));
    const QString blockText = QString::fromLatin1(BareCodec::pack(textIn.toUtf8()));

    comparison.add(
        std::string("pack ") + label, GOAL,
        [&] {
            QString block;
            Lzma::compress64(textIn, &block);
            doNotOptimize(block);
        },
        [&] { doNotOptimize(QString::fromLatin1(BareCodec::pack(textIn.toUtf8()))); });
    comparison.add(
        std::string("unpack ") + label, GOAL,
        [&] {
            QString text;
            Lzma::decompress64(blockText, &text);
            doNotOptimize(text);
        },
        [&] { doNotOptimize(QString::fromUtf8(BareCodec::unpack(blockText.toLatin1()))); });
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const Comparison comparison(argc, argv, "Text codec, beside the LZMA SDK and base64");
    addSize(comparison, "4 B", 4);
    addSize(comparison, "300 B", 300);
    addSize(comparison, "3 KB", 3000);
    addSize(comparison, "196 KB", 196000);
    return 0;
}
