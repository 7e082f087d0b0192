#include "SpeakUtf8.h"
#include "support/LocalEncoding.h"
#include "support/Text.h"

#include "compression/Lzma.h"

#include <QtTest/QtTest>

// What the guide answers to those whose learners see other letters than they wrote.
class tst_GuideEncoding : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void payloadsAreUtf8InEveryLocale();
};

void tst_GuideEncoding::payloadsAreUtf8InEveryLocale()
{
    const LocalEncoding latin1("ISO 8859-1");
    const auto carried = [](const QString &text) {
        QString packed;
        QString unpacked;
        return Lzma::compress64(text, &packed) && Lzma::decompress64(packed, &unpacked) ? unpacked
                                                                                        : QString();
    };
    const QString before = carried(u"Größe"_s);
    Guide::speakUtf8();
    QVERIFY(before != u"Größe"_s);
    QCOMPARE(carried(u"Größe"_s), u"Größe"_s);
}

QTEST_GUILESS_MAIN(tst_GuideEncoding)
#include "tst_guideencoding.moc"
