// Sizes that nobody honest sends, in a process that has 1 GiB of address space in all: what does not fit fails as
// the header says, and what fits is read.
#include "Samples.h"
#include "client/PresenterClient.h"
#include "compression/Lzma.h"
#include "compression/gUncompress.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <sys/resource.h>

#include <zlib.h>

using namespace Samples;

namespace
{

constexpr quint32 MEBI = 1 << 20;
constexpr int TEXT_LIMIT = 16 * int(MEBI); // of LzmaDecompress64

// A block that gives so many letters, in a few hundred kilobytes at most.
QByteArray blockOfLetters(quint32 count)
{
    return packed(QByteArray(static_cast<int>(count), 'a'));
}

// A zlib stream that inflates to so much, made a piece at a time.
QByteArray inflatingTo(quint32 mebibytes)
{
    z_stream stream = {};
    deflateInit(&stream, Z_BEST_SPEED);
    const QByteArray piece(int(MEBI), 'a');
    QByteArray body(8 * int(MEBI), '\0');
    stream.next_out = reinterpret_cast<Bytef *>(body.data());
    stream.avail_out = static_cast<uInt>(body.size());
    for (quint32 i = 1; i <= mebibytes; ++i) {
        stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(piece.constData()));
        stream.avail_in = static_cast<uInt>(piece.size());
        deflate(&stream, i == mebibytes ? Z_FINISH : Z_NO_FLUSH);
    }
    body.chop(static_cast<int>(stream.avail_out));
    deflateEnd(&stream);
    return body;
}

} // namespace

class tst_AddressSpace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void declaredLengthsDoNoHarm_data();
    void declaredLengthsDoNoHarm();
    void textThatDoesNotFitFails();
    void textThatDoesNotFitIsNotPacked();
    void clientUnpacksUpToItsLimit_data();
    void clientUnpacksUpToItsLimit();
    void bodyThatInflatesBeyondAllMemoryIsEmpty();
    void everythingWorksAfterwards();
};

void tst_AddressSpace::declaredLengthsDoNoHarm_data()
{
    QTest::addColumn<quint32>("declared");
    QTest::addColumn<bool>("fits");
    QTest::newRow("512 MiB") << 512 * MEBI << true;
    QTest::newRow("1 GiB") << 1024 * MEBI << false;
    QTest::newRow("2 GiB less one byte") << 2048 * MEBI - 1 << false;
    QTest::newRow("2 GiB") << 2048 * MEBI << false;
    QTest::newRow("4 GiB less two bytes") << 0xFFFFFFFEu << false;
    QTest::newRow("-1") << 0xFFFFFFFFu << false;
}

void tst_AddressSpace::declaredLengthsDoNoHarm()
{
    QFETCH(quint32, declared);
    QFETCH(bool, fits);
    const QByteArray block = withDeclaredLength(packed("test"), declared);
    QString text = EARLIER;
    QCOMPARE(unpackInEveryForm(block, &text), QVector<bool>(4, fits));
    QCOMPARE(text, fits ? u"test"_s : EARLIER);

    unsigned char *bytes = nullptr;
    QCOMPARE(
        Lzma::decompress(exactCopy(block).get(), static_cast<unsigned int>(block.size()), &bytes),
        fits);
    QCOMPARE(bytes != nullptr, fits);
    MyFree(bytes);
}

void tst_AddressSpace::textThatDoesNotFitFails()
{
    // Its bytes fit, its characters do not.
    const QByteArray block = blockOfLetters(340 * MEBI);
    QString text = EARLIER;
    QCOMPARE(unpackInEveryForm(block, &text), QVector<bool>(4, false));
    QCOMPARE(text, EARLIER);
}

void tst_AddressSpace::textThatDoesNotFitIsNotPacked()
{
    const QString large(200 * int(MEBI), u'a');
    QString block = EARLIER;
    QVERIFY(!Lzma::compress(large, &block));
    QVERIFY(!Lzma::compress64(large, &block));
    QCOMPARE(block, EARLIER);
}

void tst_AddressSpace::clientUnpacksUpToItsLimit_data()
{
    QTest::addColumn<QByteArray>("block");
    QTest::addColumn<int>("length"); // -1: it is refused
    const auto row = [](const char *name, const QByteArray &block, int length) {
        QTest::newRow(name) << block << length;
    };
    row("16 MiB", blockOfLetters(TEXT_LIMIT), TEXT_LIMIT);
    row("one byte more", blockOfLetters(TEXT_LIMIT + 1), -1);
    row("64 MiB", blockOfLetters(64 * MEBI), -1);
    row("-1 declared", withDeclaredLength(packed("test"), 0xFFFFFFFFu), 4);
    row("16 MiB, -1 declared", withDeclaredLength(blockOfLetters(TEXT_LIMIT), 0xFFFFFFFFu),
        TEXT_LIMIT);
    row("one byte more, -1 declared",
        withDeclaredLength(blockOfLetters(TEXT_LIMIT + 1), 0xFFFFFFFFu), -1);
}

void tst_AddressSpace::clientUnpacksUpToItsLimit()
{
    QFETCH(QByteArray, block);
    QFETCH(int, length);
    PresenterClient client(nullptr, u"http://127.0.0.1:9"_s);
    QString text = EARLIER;
    QCOMPARE(client.LzmaDecompress64(base64Of(block), &text), length < 0 ? 0 : 1);
    QCOMPARE(text.size(), length < 0 ? EARLIER.size() : length);
}

void tst_AddressSpace::bodyThatInflatesBeyondAllMemoryIsEmpty()
{
    // An array that grows takes twice its size.
    QCOMPARE(gUncompress(inflatingTo(600)).size(), 0);
    QCOMPARE(gUncompress(inflatingTo(64)).size(), 64 * int(MEBI));
}

void tst_AddressSpace::everythingWorksAfterwards()
{
    const QString lesson = lessonText(70000);
    QString block;
    QVERIFY(Lzma::compress64(lesson, &block));
    QString text;
    QVERIFY(Lzma::decompress64(block, &text));
    QCOMPARE(text, lesson);
}

int main(int argc, char **argv)
{
    const rlimit limit{rlim_t(1024) * MEBI, RLIM_INFINITY};
    if (setrlimit(RLIMIT_AS, &limit) != 0)
        qFatal("no limit");
    QCoreApplication application(argc, argv);
    tst_AddressSpace test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_addressspace.moc"
