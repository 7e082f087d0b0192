// The text codec beside the LZMA SDK and base64 called directly.

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
    const QByteArray bytesIn = Lesson::text(bytes);
    const QString textIn = QString::fromUtf8(bytesIn);
    const QByteArray blockBytes = BareCodec::pack(bytesIn);
    const QString blockText = QString::fromLatin1(blockBytes);

    Comparison::add(
        std::string("pack ") + label, Comparison::atMost(1.05), Comparison::Clock::PROCESSOR,
        [textIn] {
            QString block;
            Lzma::compress64(textIn, &block);
            benchmark::DoNotOptimize(block.constData());
        },
        [bytesIn] { benchmark::DoNotOptimize(BareCodec::pack(bytesIn).constData()); });
    Comparison::add(
        std::string("unpack ") + label, Comparison::atMost(1.05), Comparison::Clock::PROCESSOR,
        [blockText] {
            QString text;
            Lzma::decompress64(blockText, &text);
            benchmark::DoNotOptimize(text.constData());
        },
        [blockBytes] { benchmark::DoNotOptimize(BareCodec::unpack(blockBytes).constData()); });
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
