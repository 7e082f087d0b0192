#include "Samples.h"
#include "compression/Lzma.h"
#include "support/Slowness.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <sys/resource.h>

using namespace Samples;

namespace
{

// True when a refused block left the result alone and an accepted one gave no more than it declares.
bool refusedOrWithinItsLength(const QByteArray &block)
{
    QString text = EARLIER;
    if (!unpack(block, &text))
        return text == EARLIER;
    quint32 declared = 0;
    for (int i = 0; i < 4; ++i)
        declared |= quint32(static_cast<unsigned char>(block.at(5 + i))) << (8 * i);
    return quint32(text.size()) <= declared;
}

long peakResidentKilobytes()
{
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

} // namespace

// Blocks and texts that no honest writer makes. The sanitizers see what a return value cannot show.
class tst_LzmaHostile : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void blocksOfEveryShortLengthFail_data();
    void blocksOfEveryShortLengthFail();
    void everyTruncationFails();
    void everyFlippedBitIsSurvived();
    void randomStreamsAreSurvived_data();
    void randomStreamsAreSurvived();
    void hugeDeclaredLengthCostsNeitherTimeNorMemory_data();
    void hugeDeclaredLengthCostsNeitherTimeNorMemory();
    void textOf16MegabytesInASmallBlockIsRead();
    void randomBase64IsSurvived();
    void randomListsAreSurvived();
    void tenMegabytesOfListAreSurvived_data();
    void tenMegabytesOfListAreSurvived();
    void integersOutsideEveryRangeAreSurvived();
};

void tst_LzmaHostile::blocksOfEveryShortLengthFail_data()
{
    QTest::addColumn<QByteArray>("block");
    // Huge declared lengths have a test of their own; the sanitizer takes long over each.
    const auto ofModestLength = [](const QByteArray &block) {
        return block.size() < 9 ? block : withDeclaredLength(block, 1000);
    };
    for (int length = 0; length <= 20; ++length) {
        QTest::addRow("%d zeros", length) << QByteArray(length, '\0');
        QTest::addRow("%d times 255", length) << ofModestLength(QByteArray(length, '\xFF'));
        QTest::addRow("%d of a block", length) << packed(lessonText(300).toUtf8()).left(length);
        QTest::addRow("%d random", length)
            << ofModestLength(randomBytes(length, static_cast<quint32>(length)));
    }
}

void tst_LzmaHostile::blocksOfEveryShortLengthFail()
{
    QFETCH(QByteArray, block);
    // The first five zeros of a stream are a whole one when no text is declared.
    const bool isEmptyText = block.size() >= 18 && block.count('\0') == block.size();
    QString text = EARLIER;
    QCOMPARE(unpackInEveryForm(block, &text), QVector<bool>(4, isEmptyText));
    QCOMPARE(text, isEmptyText ? QString() : EARLIER);
}

void tst_LzmaHostile::everyTruncationFails()
{
    const QByteArray block = packed(lessonText(2000).toUtf8());
    for (int length = 0; length < block.size(); ++length) {
        QString text = EARLIER;
        QVERIFY2(!unpack(block.left(length), &text), QByteArray::number(length));
        QCOMPARE(text, EARLIER);
    }
}

void tst_LzmaHostile::everyFlippedBitIsSurvived()
{
    const QByteArray block = packed(lessonText(400).toUtf8());
    for (int bit = 0; bit < block.size() * 8; ++bit)
        QVERIFY2(refusedOrWithinItsLength(withFlippedBit(block, bit)), QByteArray::number(bit));
}

void tst_LzmaHostile::randomStreamsAreSurvived_data()
{
    QTest::addColumn<int>("properties");
    QTest::addColumn<int>("dictionary");
    for (int properties : {0, 93, 224}) {
        for (int dictionary : {0, 4096, 16384, 0x7FFFFFFF})
            QTest::addRow("properties %d, dictionary %d", properties, dictionary)
                << properties << dictionary;
    }
}

void tst_LzmaHostile::randomStreamsAreSurvived()
{
    QFETCH(int, properties);
    QFETCH(int, dictionary);
    QRandomGenerator generator(7);
    for (quint32 round = 0; round < 100; ++round) {
        QByteArray block(1, static_cast<char>(properties));
        for (int i = 0; i < 4; ++i)
            block += static_cast<char>(dictionary >> (8 * i));
        block += QByteArray(8, '\0');
        block += '\0'; // the first byte of a stream is always 0
        block += randomBytes(generator.bounded(3000), round);
        block = withDeclaredLength(block, generator.bounded(100000u));
        QVERIFY2(refusedOrWithinItsLength(block), QByteArray::number(round));
    }
}

void tst_LzmaHostile::hugeDeclaredLengthCostsNeitherTimeNorMemory_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<bool>("readable");
    const QByteArray header = QByteArray::fromHex("5d00400000ffffffffffffffff");
    QTest::newRow("header only") << header << false;
    QTest::newRow("too short a stream") << header + QByteArray(4, '\0') << false;
    QTest::newRow("zeros") << header + QByteArray(20, '\0') << false;
    QTest::newRow("random") << header + '\0' + randomBytes(500, 8) << false;
    QTest::newRow("4 bytes of text") << withDeclaredLength(packed("test"), 0xFFFFFFFFu) << true;
}

void tst_LzmaHostile::hugeDeclaredLengthCostsNeitherTimeNorMemory()
{
    QFETCH(QByteArray, block);
    QFETCH(bool, readable);
    const long before = peakResidentKilobytes();
    QElapsedTimer timer;
    timer.start();
    QString text = EARLIER;
    // A system that refuses so large a buffer makes a failure of it, never a crash.
    const bool unpacked = unpack(block, &text);
    if (!unpacked)
        QCOMPARE(text, EARLIER);
    else
        QCOMPARE(text, u"test"_s);
    QVERIFY(readable || !unpacked);
    QVERIFY2(timer.elapsed() < 5000 * SLOWNESS, QByteArray::number(timer.elapsed()));
    // The sanitizer keeps an eighth of each allocation as shadow; that is not the codec's.
    if (!UNDER_SANITIZER)
        QVERIFY(peakResidentKilobytes() - before < 64L * 1024);
}

void tst_LzmaHostile::textOf16MegabytesInASmallBlockIsRead()
{
    const QByteArray block = packed(QByteArray(16 << 20, 'a'));
    QVERIFY(block.size() < 5000);
    QString text;
    QVERIFY(unpack(block, &text));
    QCOMPARE(text, QString(16 << 20, QLatin1Char('a')));
}

void tst_LzmaHostile::randomBase64IsSurvived()
{
    // Behind a header that declares 200 bytes, so that the stream is reached.
    const QString header = u"XQBAAADIAAAAAAAAAAAA"_s;
    for (int round = 0; round < 200; ++round) {
        const QString rubbish = randomText(round, static_cast<quint32>(round));
        QString text = EARLIER;
        const bool unpacked = Lzma::decompress64(header + rubbish, &text);
        QVERIFY(unpacked ? text.size() <= 200 : text == EARLIER);
    }
    QString text = EARLIER;
    QVERIFY(!Lzma::decompress64(randomText(1000, 13), &text));
    QCOMPARE(text, EARLIER);
}

void tst_LzmaHostile::randomListsAreSurvived()
{
    const QString letters = u"0123456789,,,,,,[]- x."_s;
    QRandomGenerator generator(9);
    for (int round = 0; round < 500; ++round) {
        QString list;
        for (int i = generator.bounded(400); i > 0; --i)
            list += letters.at(generator.bounded(letters.size()));
        QString text = EARLIER;
        // Behind a header that would be read, so that the stream is reached.
        list.prepend(u"[93,0,64,0,0,200,0,0,0,0,0,0,0,0,"_s);
        const bool unpacked = Lzma::decompress(list, &text);
        QVERIFY(unpacked ? text.size() <= 200 : text == EARLIER);
    }
}

void tst_LzmaHostile::tenMegabytesOfListAreSurvived_data()
{
    QTest::addColumn<QString>("list");
    QTest::newRow("separators") << QString(10000000, QLatin1Char(','));
    QTest::newRow("brackets") << QString(10000000, QLatin1Char('['));
    QTest::newRow("one number") << QString(10000000, QLatin1Char('9'));
}

void tst_LzmaHostile::tenMegabytesOfListAreSurvived()
{
    QFETCH(QString, list);
    QString text = EARLIER;
    // Nothing but separators is nothing but zeros: a whole stream of the empty text.
    const bool isEmptyText = list.startsWith(QLatin1Char(','));
    QCOMPARE(Lzma::decompress(list, &text), isEmptyText);
    QCOMPARE(text, isEmptyText ? QString() : EARLIER);
}

void tst_LzmaHostile::integersOutsideEveryRangeAreSurvived()
{
    QVariantList integers;
    for (int i = 0; i < 4; ++i) {
        integers << std::numeric_limits<int>::min() << std::numeric_limits<int>::max() << 1e300
                 << -1e300 << qQNaN() << qInf() << std::numeric_limits<qlonglong>::min()
                 << std::numeric_limits<qulonglong>::max() << QVariant() << QByteArray("5")
                 << QVariantMap{{u"a"_s, 1}} << QVariantList{1};
    }
    integers[5] = 10; // declares a short text
    for (int i = 6; i < 9; ++i)
        integers[i] = 0;
    QString text = EARLIER;
    QVERIFY(!Lzma::decompress(integers, &text));
    QCOMPARE(text, EARLIER);
}

QTEST_GUILESS_MAIN(tst_LzmaHostile)
#include "tst_lzmahostile.moc"
