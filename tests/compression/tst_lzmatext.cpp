#include "Samples.h"
#include "compression/Lzma.h"
#include "support/LocalEncoding.h"
#include "support/LogCapture.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <functional>
#include <thread>
#include <vector>

using namespace Samples;

namespace
{

// One of the text forms, both ways; `read` gets what `write` gave.
struct Form {
    std::function<bool(const QString &, QString *)> write;
    std::function<bool(const QString &, QString *)> read;
};

QVariantList integersOf(const QString &list)
{
    QVariantList integers;
    for (const QString &number : list.mid(1, list.size() - 2).split(QLatin1Char(',')))
        integers.append(number.toInt());
    return integers;
}

const Form BASE64 = {
    [](const QString &text, QString *out) { return Lzma::compress64(text, out); },
    [](const QString &block, QString *out) { return Lzma::decompress64(block, out); },
};
const Form LIST = {
    [](const QString &text, QString *out) { return Lzma::compress(text, out); },
    [](const QString &block, QString *out) { return Lzma::decompress(block, out); },
};
const Form INTEGERS = {
    [](const QString &text, QString *out) { return Lzma::compress(text, out); },
    [](const QString &block, QString *out) { return Lzma::decompress(integersOf(block), out); },
};

// The operations are chosen by these types.
using Bytes = const unsigned char *;
[[maybe_unused]] bool (*const PACK_BYTES)(Bytes, unsigned int, unsigned char **,
                                          unsigned int *) = &Lzma::compress;
[[maybe_unused]] bool (*const PACK_LIST)(QString, QString *) = &Lzma::compress;
[[maybe_unused]] bool (*const PACK_BASE64)(QString, QString *) = &Lzma::compress64;
[[maybe_unused]] bool (*const UNPACK_BYTES)(Bytes, unsigned int,
                                            unsigned char **) = &Lzma::decompress;
[[maybe_unused]] bool (*const UNPACK_TEXT)(unsigned char *, unsigned int,
                                           QString *) = &Lzma::decompress;
[[maybe_unused]] bool (*const UNPACK_BASE64)(QString, QString *) = &Lzma::decompress64;
[[maybe_unused]] bool (*const UNPACK_LIST)(QString, QString *) = &Lzma::decompress;
[[maybe_unused]] bool (*const UNPACK_INTEGERS)(QList<QVariant>, QString *) = &Lzma::decompress;

// The block of "test", and its three text forms.
const QString TEST_HEX = u"5d004000000400000004000000003a194ace2672839ffffb138000"_s;
const QString TEST_BASE64 = u"XQBAAAAEAAAABAAAAAA6GUrOJnKDn//7E4AA"_s;
const QString TEST_LIST = u"[93,0,64,0,0,4,0,0,0,4,0,0,0,"
                          "0,58,25,74,206,38,114,131,159,255,251,19,128,0]"_s;

} // namespace

Q_DECLARE_METATYPE(Form)

// The text forms of a block: base64, bracketed list, list of integers.
class tst_LzmaText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void textIsWrittenAsBase64();
    void base64HasPaddingAndNoLineBreaks();
    void textIsWrittenAsBracketedList();
    void anyListBeginsWithTheProperties_data();
    void anyListBeginsWithTheProperties();
    void everyFormComesBack_data();
    void everyFormComesBack();
    void rawBlockIsReadAsText();
    void textIsPackedInTheLocalEncodingAndReadAsUtf8();
    void textIsCutAtAZeroByte();
    void textEndsWhereTheStreamEnds();
    void base64Of13BytesIsRejectedAndOf14IsTried();
    void base64IgnoresForeignCharacters();
    void listIsReadWithoutItsBracketsAndWithBracketsAnywhere_data();
    void listIsReadWithoutItsBracketsAndWithBracketsAnywhere();
    void listElementsAreReadModulo256();
    void listElementThatIsNoNumberIsZero_data();
    void listElementThatIsNoNumberIsZero();
    void integersAreReadModulo256AndFromAnyType();
    void signedBytesAsDevicesSendThemAreRead();
    void emptyListsFail_data();
    void emptyListsFail();
    void failureLeavesTheResultAlone_data();
    void failureLeavesTheResultAlone();
    void nothingIsLogged();
    void operationsRunOnManyThreadsAtOnce();
};

void tst_LzmaText::initTestCase()
{
    const QString letters = u"é€✓😀"_s;
    QCOMPARE(letters.toLocal8Bit(), letters.toUtf8()); // what the learners' devices read
}

void tst_LzmaText::textIsWrittenAsBase64()
{
    QString block;
    QVERIFY(Lzma::compress64(u"test"_s, &block));
    QCOMPARE(block, TEST_BASE64);
}

void tst_LzmaText::base64HasPaddingAndNoLineBreaks()
{
    QSet<int> paddings;
    for (int characters = 0; characters < 40; ++characters) {
        QString block;
        QVERIFY(Lzma::compress64(lessonText(characters), &block));
        QCOMPARE(block.size() % 4, 0);
        paddings.insert(block.count(QLatin1Char('=')));
    }
    QCOMPARE(paddings, (QSet<int>{0, 1, 2}));

    QString block;
    QVERIFY(Lzma::compress64(randomText(20000, 4), &block));
    QVERIFY(block.size() > 20000);
    static const QRegularExpression alphabet(u"\\A[A-Za-z0-9+/]+={0,2}\\z"_s);
    QVERIFY(alphabet.match(block).hasMatch());
}

void tst_LzmaText::textIsWrittenAsBracketedList()
{
    QString block;
    QVERIFY(Lzma::compress(u"test"_s, &block));
    QCOMPARE(block, TEST_LIST);
}

void tst_LzmaText::anyListBeginsWithTheProperties_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("short") << u"a"_s;
    QTest::newRow("lesson") << lessonText(3000);
    QTest::newRow("random") << randomText(5000, 5);
}

void tst_LzmaText::anyListBeginsWithTheProperties()
{
    QFETCH(QString, text);
    QString list;
    QVERIFY(Lzma::compress(text, &list));
    QVERIFY(list.startsWith(u"[93,0,64,0,0,"_s));
    static const QRegularExpression syntax(
        u"\\A\\[(0|[1-9][0-9]{0,2})(,(0|[1-9][0-9]{0,2}))*\\]\\z"_s);
    QVERIFY(syntax.match(list).hasMatch());
}

void tst_LzmaText::everyFormComesBack_data()
{
    QTest::addColumn<Form>("form");
    QTest::addColumn<QString>("text");
    const std::pair<const char *, Form> forms[] = {
        {"base64", BASE64}, {"list", LIST}, {"integers", INTEGERS}};
    for (const auto &[name, form] : forms) {
        QTest::addRow("%s, empty", name) << form << QString();
        QTest::addRow("%s, one letter", name) << form << u"a"_s;
        QTest::addRow("%s, letters of every UTF-8 length", name) << form << u"aé€😀"_s;
        QTest::addRow("%s, line breaks and quotes", name) << form << u"\"\r\n\t\\\""_s;
        QTest::addRow("%s, percent signs", name) << form << u"%1 %2 100 %"_s;
        QTest::addRow("%s, lesson", name) << form << lessonText(20000);
        QTest::addRow("%s, random letters", name) << form << randomText(20000, 6);
    }
}

void tst_LzmaText::everyFormComesBack()
{
    QFETCH(Form, form);
    QFETCH(QString, text);
    QString block;
    QString back = EARLIER;
    QVERIFY(form.write(text, &block));
    QVERIFY(form.read(block, &back));
    QCOMPARE(back, text);
}

void tst_LzmaText::rawBlockIsReadAsText()
{
    QString text;
    QVERIFY(unpack(QByteArray::fromHex(TEST_HEX.toLatin1()), &text));
    QCOMPARE(text, u"test"_s);
}

void tst_LzmaText::textIsPackedInTheLocalEncodingAndReadAsUtf8()
{
    QString block;
    {
        const LocalEncoding latin1("ISO 8859-1");
        QVERIFY(Lzma::compress64(u"né"_s, &block));
    }
    const bool isLatin1 = LocalEncoding::canChange();
    QCOMPARE(QByteArray::fromBase64(block.toLatin1()), packed(isLatin1 ? "n\xE9" : "n\xC3\xA9"));

    QString text;
    QVERIFY(Lzma::decompress64(block, &text));
    QCOMPARE(text, isLatin1 ? u"n\uFFFD"_s : u"né"_s);
}

void tst_LzmaText::textIsCutAtAZeroByte()
{
    QString text;
    QVERIFY(unpack(packed(QByteArray("before\0after", 12)), &text));
    QCOMPARE(text, u"before"_s);
    QVERIFY(unpack(packed(QByteArray("\0", 1)), &text));
    QCOMPARE(text, QString());
}

void tst_LzmaText::textEndsWhereTheStreamEnds()
{
    QString text;
    QVERIFY(unpack(withDeclaredLength(packed("test"), 100000), &text));
    QCOMPARE(text, u"test"_s);
}

void tst_LzmaText::base64Of13BytesIsRejectedAndOf14IsTried()
{
    QString text = EARLIER;
    const QByteArray block = packed("");
    for (int size = 0; size <= 14; ++size)
        QVERIFY(!Lzma::decompress64(base64Of(block.left(size)), &text));
    QCOMPARE(text, EARLIER);
    // The shortest block there is.
    QVERIFY(Lzma::decompress64(base64Of(block), &text));
    QCOMPARE(text, QString());
}

void tst_LzmaText::base64IgnoresForeignCharacters()
{
    QString broken = TEST_BASE64;
    broken.insert(20, u"\r\n"_s).insert(5, QLatin1Char(' ')).append(QChar(0x20AC));
    QString text;
    QVERIFY(Lzma::decompress64(broken, &text));
    QCOMPARE(text, u"test"_s);
}

void tst_LzmaText::listIsReadWithoutItsBracketsAndWithBracketsAnywhere_data()
{
    QTest::addColumn<QString>("list");
    const QString bare = TEST_LIST.mid(1, TEST_LIST.size() - 2);
    QTest::newRow("with") << TEST_LIST;
    QTest::newRow("without") << bare;
    QTest::newRow("only the first") << QLatin1Char('[') + bare;
    QTest::newRow("only the last") << bare + QLatin1Char(']');
    QTest::newRow("many around") << u"]][["_s + bare + u"[]"_s;
    QTest::newRow("round each number")
        << QLatin1Char('[') + QString(bare).replace(QLatin1Char(','), u"],["_s) + QLatin1Char(']');
    QTest::newRow("inside a number") << QString(bare).replace(u"93"_s, u"9[]3"_s);
    QTest::newRow("with spaces") << QString(TEST_LIST).replace(QLatin1Char(','), u" , "_s);
}

void tst_LzmaText::listIsReadWithoutItsBracketsAndWithBracketsAnywhere()
{
    QFETCH(QString, list);
    QString text;
    QVERIFY(Lzma::decompress(list, &text));
    QCOMPARE(text, u"test"_s);
}

void tst_LzmaText::listElementsAreReadModulo256()
{
    // A text of 300 times "a" declares its length as 44, 1, 0, 0; 300 is 44 modulo 256.
    QString list;
    QVERIFY(Lzma::compress(QString(300, QLatin1Char('a')), &list));
    QVERIFY(list.startsWith(u"[93,0,64,0,0,44,1,0,0,"_s));
    list.replace(0, 22, u"[349,-256,64,0,0,300,1,0,0,"_s);
    QString text;
    QVERIFY(Lzma::decompress(list, &text));
    QCOMPARE(text, QString(300, QLatin1Char('a')));
}

void tst_LzmaText::listElementThatIsNoNumberIsZero_data()
{
    QTest::addColumn<QString>("zero");
    for (const char *zero : {"x", "", " ", "0x10", "4.5", "1e1", "99999999999", "\"0\"", "null"})
        QTest::addRow("'%s'", zero) << QString::fromLatin1(zero);
}

void tst_LzmaText::listElementThatIsNoNumberIsZero()
{
    QFETCH(QString, zero);
    QStringList numbers = TEST_LIST.split(QLatin1Char(','));
    // The upper half of the length and the first byte of the stream must be zero.
    for (int index : {6, 7, 8, 13}) {
        QCOMPARE(numbers.at(index), u"0"_s);
        numbers[index] = zero;
    }
    QString text;
    QVERIFY(Lzma::decompress(numbers.join(QLatin1Char(',')), &text));
    QCOMPARE(text, u"test"_s);
}

void tst_LzmaText::integersAreReadModulo256AndFromAnyType()
{
    QVariantList integers = integersOf(TEST_LIST);
    integers[0] = 93 + 256;
    integers[1] = -256;
    integers[2] = u"64"_s;
    integers[3] = u"x"_s;
    integers[4] = QVariant();
    integers[5] = 4.0; // as JSON numbers arrive
    integers[6] = false;
    integers[7] = QVariantList{1, 2};
    integers[8] = QVariantMap();
    QString text;
    QVERIFY(Lzma::decompress(integers, &text));
    QCOMPARE(text, u"test"_s);
}

void tst_LzmaText::signedBytesAsDevicesSendThemAreRead()
{
    QVariantList integers;
    for (char byte : QByteArray::fromHex(TEST_HEX.toLatin1()))
        integers.append(static_cast<int>(static_cast<signed char>(byte)));
    QVERIFY(integers.contains(-125));
    QString text;
    QVERIFY(Lzma::decompress(integers, &text));
    QCOMPARE(text, u"test"_s);
}

void tst_LzmaText::emptyListsFail_data()
{
    QTest::addColumn<QString>("list");
    QTest::newRow("nothing") << QString();
    QTest::newRow("brackets") << u"[]"_s;
    QTest::newRow("many brackets") << u"[[]]["_s;
}

void tst_LzmaText::emptyListsFail()
{
    QFETCH(QString, list);
    QString text = EARLIER;
    QVERIFY(!Lzma::decompress(list, &text));
    QVERIFY(!Lzma::decompress(QVariantList(), &text));
    QCOMPARE(text, EARLIER);
}

void tst_LzmaText::failureLeavesTheResultAlone_data()
{
    QTest::addColumn<QByteArray>("block");
    const QByteArray block = packed(lessonText(1000).toUtf8());
    const auto changed = [&block](int index, char value) {
        QByteArray copy = block;
        copy[index] = value;
        return copy;
    };
    QTest::newRow("corrupt stream") << changed(13, 1);
    QTest::newRow("wrong properties") << changed(0, static_cast<char>(230));
    QTest::newRow("input ends early") << block.left(block.size() - 6);
    QTest::newRow("declared too short") << withDeclaredLength(block, 10);
    QTest::newRow("12 bytes") << block.left(12);
    QTest::newRow("13 bytes") << block.left(13);
}

void tst_LzmaText::failureLeavesTheResultAlone()
{
    QFETCH(QByteArray, block);
    QString text = EARLIER;
    QCOMPARE(unpackInEveryForm(block, &text), QVector<bool>(4, false));
    QCOMPARE(text, EARLIER);
}

void tst_LzmaText::nothingIsLogged()
{
    LogCapture log;
    QString text;
    QVERIFY(Lzma::compress(u"test"_s, &text));
    QVERIFY(Lzma::decompress64(TEST_BASE64, &text));
    QVERIFY(!Lzma::decompress64(u"broken"_s, &text));
    QVERIFY(!Lzma::decompress(u"[1,2,x]"_s, &text));
    QVERIFY(!Lzma::decompress(QVariantList{1}, &text));
    QCOMPARE(log.messages(), QStringList());
}

void tst_LzmaText::operationsRunOnManyThreadsAtOnce()
{
    std::atomic_int right{0};
    std::vector<std::thread> threads;
    for (quint32 thread = 0; thread < 8; ++thread) {
        threads.emplace_back([thread, &right] {
            for (quint32 round = 0; round < 20; ++round) {
                const QString text = randomText(500, thread * 100 + round);
                QString block;
                QString back;
                if (Lzma::compress64(text, &block) && Lzma::decompress64(block, &back)
                    && back == text)
                    ++right;
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    QCOMPARE(right.load(), 160);
}

QTEST_GUILESS_MAIN(tst_LzmaText)
#include "tst_lzmatext.moc"
