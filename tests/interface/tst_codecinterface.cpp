// The codec by name: the static functions of Lzma, its allocator record, and gUncompress.

#include "compression/Lzma.h"
#include "compression/gUncompress.h"

#include "interface/Functions.h"

#include <QtTest/QtTest>

class tst_CodecInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void functions();
    void allocatorHooks();
};

// clang-format off
void tst_CodecInterface::functions()
{
    QVERIFY(has<bool (*)(const unsigned char *, unsigned int, unsigned char **, unsigned int *)>(&Lzma::compress));
    QVERIFY(has<bool (*)(QString, QString *)>(&Lzma::compress));
    QVERIFY(has<bool (*)(QString, QString *)>(&Lzma::compress64));
    QVERIFY(has<bool (*)(const unsigned char *, unsigned int, unsigned char **)>(&Lzma::decompress));
    QVERIFY(has<bool (*)(unsigned char *, unsigned int, QString *)>(&Lzma::decompress));
    QVERIFY(has<bool (*)(QString, QString *)>(&Lzma::decompress64));
    QVERIFY(has<bool (*)(QString, QString *)>(&Lzma::decompress));
    QVERIFY(has<bool (*)(QList<QVariant>, QString *)>(&Lzma::decompress));

    QVERIFY(has<QByteArray (*)(const QByteArray &)>(&gUncompress));
}

void tst_CodecInterface::allocatorHooks()
{
    QVERIFY(has<void *(*)(void *, std::size_t)>(&Lzma::SzAlloc));
    QVERIFY(has<void (*)(void *, void *)>(&Lzma::SzFree));
    QVERIFY(has<void *(*)(std::size_t)>(&MyAlloc));
    QVERIFY(has<void (*)(void *)>(&MyFree));

    QVERIFY(Lzma::g_Alloc.Alloc == &Lzma::SzAlloc);
    QVERIFY(Lzma::g_Alloc.Free == &Lzma::SzFree);
}
// clang-format on

QTEST_GUILESS_MAIN(tst_CodecInterface)
#include "tst_codecinterface.moc"
