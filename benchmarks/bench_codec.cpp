// The text codec beside the LZMA SDK and base64 called directly, text in and text out.

#include "benchmarks/BareCodec.h"
#include "benchmarks/Comparison.h"
#include "benchmarks/Lesson.h"
#include "compression/Lzma.h"

#include <QtCore/QCoreApplication>

#include <benchmark/benchmark.h>

namespace
{

void addSize(const char *label, int bytes)
{
    const QString textIn = QString::fromUtf8(Lesson::text(bytes));
    const QString blockText = QString::fromLatin1(BareCodec::pack(textIn.toUtf8()));

    Comparison::add(
        std::string("pack ") + label, Comparison::atMost(1.05),
        [textIn] {
            QString block;
            Lzma::compress64(textIn, &block);
            benchmark::DoNotOptimize(block.constData());
        },
        [textIn] {
            const QString block = QString::fromLatin1(BareCodec::pack(textIn.toUtf8()));
            benchmark::DoNotOptimize(block.constData());
        });
    Comparison::add(
        std::string("unpack ") + label, Comparison::atMost(1.05),
        [blockText] {
            QString text;
            Lzma::decompress64(blockText, &text);
            benchmark::DoNotOptimize(text.constData());
        },
        [blockText] {
            const QString text = QString::fromUtf8(BareCodec::unpack(blockText.toLatin1()));
            benchmark::DoNotOptimize(text.constData());
        });
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    addSize("4 B", 4);
    addSize("300 B", 300);
    addSize("3 KB", 3000);
    addSize("196 KB", 196000);
    return Comparison::run(argc, argv, "Text codec, beside the LZMA SDK and base64");
}
