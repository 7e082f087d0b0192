#include "Part.h"

#include "compression/Lzma.h"
#include "compression/gUncompress.h"

bool usesCodec()
{
    const QString text = QStringLiteral("What flows into the sea?");
    QString packed, unpacked;
    EXPECT(Lzma::compress64(text, &packed) && Lzma::decompress64(packed, &unpacked));
    EXPECT(unpacked == text);
    EXPECT(Lzma::compress(text, &packed) && Lzma::decompress(packed, &unpacked));
    EXPECT(unpacked == text);

    const QByteArray bytes("a block of the host's own");
    unsigned char *block = nullptr;
    unsigned int length = 0;
    EXPECT(Lzma::compress(reinterpret_cast<const unsigned char *>(bytes.constData()),
                          unsigned(bytes.size()), &block, &length));
    unsigned char *out = nullptr;
    EXPECT(Lzma::decompress(block, length, &out) && bytes == reinterpret_cast<char *>(out));
    MyFree(out);
    MyFree(block);

    void *memory = Lzma::g_Alloc.Alloc(const_cast<Lzma::Allocator *>(&Lzma::g_Alloc), 16);
    EXPECT(memory);
    Lzma::g_Alloc.Free(nullptr, memory);
    EXPECT(gUncompress(qCompress(bytes).mid(4)) == bytes);
    return true;
}
