// What may still be unpacked, to the last byte.

#include "Samples.h"
#include "compression/BoundedLzma.h"

#include <QtTest/QtTest>

namespace
{

// For each of the decoder's 1846 states, and for the 768 values of a literal in each of the 8 contexts that
// the encoder's settings give, a number of two bytes.
constexpr std::size_t DECODER_BYTES = (1846 + 768 * 8) * 2;

// Whether a text, packed, is unpacked within a limit.
bool isUnpacked(const QString &text, UnpackingLimit *limit)
{
    QString block;
    QString unpacked;
    return Lzma::compress64(text, &block) && BoundedLzma::decompress64(block, limit, &unpacked)
        && unpacked == text;
}

} // namespace

class tst_UnpackingLimit : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void decoderThatJustFitsUsesTheLimitUp();
    void decoderThatTakesAByteMoreExceedsTheLimit();
    void textThatJustFitsUsesTheLimitUp();
    void textThatHasAByteMoreExceedsTheLimit();
};

void tst_UnpackingLimit::decoderThatJustFitsUsesTheLimitUp()
{
    UnpackingLimit limit;
    limit.decoderBytes = 2 * DECODER_BYTES;
    for (int block = 0; block < 2; ++block)
        QVERIFY(isUnpacked(u"hand"_s, &limit));
    QVERIFY(!limit.isExceeded);
    QCOMPARE(limit.decoderBytes, std::size_t(0));
}

void tst_UnpackingLimit::decoderThatTakesAByteMoreExceedsTheLimit()
{
    UnpackingLimit limit;
    limit.decoderBytes = 2 * DECODER_BYTES - 1;
    QVERIFY(isUnpacked(u"hand"_s, &limit));
    QVERIFY(!isUnpacked(u"hand"_s, &limit));
    QVERIFY(limit.isExceeded);
}

void tst_UnpackingLimit::textThatJustFitsUsesTheLimitUp()
{
    UnpackingLimit limit;
    limit.textBytes = 6;
    QVERIFY(isUnpacked(u"5 €"_s, &limit) && !limit.isExceeded);
    QCOMPARE(limit.textBytes, std::size_t(1));
    QVERIFY(isUnpacked(u"5"_s, &limit) && !limit.isExceeded);
    QCOMPARE(limit.textBytes, std::size_t(0));
}

void tst_UnpackingLimit::textThatHasAByteMoreExceedsTheLimit()
{
    UnpackingLimit limit;
    limit.textBytes = 4;
    QVERIFY(!isUnpacked(u"5 €"_s, &limit));
    QVERIFY(limit.isExceeded);
}

QTEST_GUILESS_MAIN(tst_UnpackingLimit)
#include "tst_unpackinglimit.moc"
