#include "console/Printable.h"
#include "console/TextWidth.h"
#include "support/Promptness.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Printable : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void whatATerminalWouldObeyStandsAsAnEscape_data();
    void whatATerminalWouldObeyStandsAsAnEscape();
    void whatIsPrintableStaysAsItIs_data();
    void whatIsPrintableStaysAsItIs();
    void noControlCharacterIsLeft();
    void aLetterHasNoMoreThanEightMarks();
    void longTextsAreCutByCharacters_data();
    void longTextsAreCutByCharacters();
    void aLongTextIsPrintedUpToItsLimit();
    void elevenMegabytesCostNoMoreThanTheirBeginning();
};

namespace
{

QString codes(const QVector<uint> &codes)
{
    return QString::fromUcs4(codes.constData(), codes.size());
}

} // namespace

void tst_Printable::whatATerminalWouldObeyStandsAsAnEscape_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("shown");
    QTest::newRow("colour") << u"a\x1b[31mb"_s << u"a\\x1b[31mb"_s;
    QTest::newRow("title") << u"\x1b]0;x\x07"_s << u"\\x1b]0;x\\x07"_s;
    QTest::newRow("one-character introducer") << u"\u009b2J"_s << u"\\x9b2J"_s;
    QTest::newRow("zero byte") << QString(QChar(0)) << u"\\x00"_s;
    QTest::newRow("backspace, delete") << u"a\b\x7f"_s << u"a\\x08\\x7f"_s;
    QTest::newRow("line ends") << u"a\r\nb\tc"_s << u"a\\r\\nb\\tc"_s;
    QTest::newRow("line separators") << u"\u2028\u2029\u0085"_s << u"\\u2028\\u2029\\x85"_s;
    QTest::newRow("right to left override") << u"a\u202egpj.exe"_s << u"a\\u202egpj.exe"_s;
    QTest::newRow("isolate, mark") << u"\u2066\u200f"_s << u"\\u2066\\u200f"_s;
    QTest::newRow("arabic letter mark") << u"\u061c"_s << u"\\u061c"_s;
    QTest::newRow("soft hyphen") << u"a\u00adb"_s << u"a\\xadb"_s;
    QTest::newRow("zero-width blank") << u"a\u200bb"_s << u"a\\u200bb"_s;
    QTest::newRow("byte order mark") << u"\ufeffa"_s << u"\\ufeffa"_s;
    QTest::newRow("tags") << u"a\U000e0041\U000e007f"_s << u"a\\u{e0041}\\u{e007f}"_s;
    QTest::newRow("lone high surrogate") << QString(QChar(0xD800)) + u'x' << u"\\ud800x"_s;
    QTest::newRow("lone low surrogate") << u'x' + QString(QChar(0xDC00)) << u"x\\udc00"_s;
    QTest::newRow("no character") << QString(QChar(0xFFFF)) << u"\\uffff"_s;
    QTest::newRow("joiner at the end") << u"👩\u200d"_s << u"👩\\u200d"_s;
    QTest::newRow("joiner at the beginning") << u"\u200cA"_s << u"\\u200cA"_s;
    QTest::newRow("joiner before a blank") << u"a\u200d b"_s << u"a\\u200d b"_s;
    QTest::newRow("two joiners") << u"a\u200d\u200db"_s << u"a\\u200d\\u200db"_s;
    QTest::newRow("joiner before a control") << u"a\u200d\x1b"_s << u"a\\u200d\\x1b"_s;
}

void tst_Printable::whatATerminalWouldObeyStandsAsAnEscape()
{
    QFETCH(QString, text);
    QTEST(printable(text), "shown");
    QCOMPARE(printable(printable(text)), printable(text));
    QCOMPARE(Printable(text).text(), printable(text));
}

void tst_Printable::whatIsPrintableStaysAsItIs_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << u""_s;
    QTest::newRow("plain") << u"Ada: \\x1b, \"B\" ~"_s;
    QTest::newRow("accents") << u"é e\u0301"_s;
    QTest::newRow("right to left") << u"שלום عليكم"_s;
    QTest::newRow("family") << u"👩\u200D👩\u200D👧"_s;
    QTest::newRow("heart on fire") << u"❤\uFE0F\u200D🔥"_s;
    QTest::newRow("skin colour") << u"👍🏽"_s;
    QTest::newRow("joined letters") << u"می\u200cخواهم"_s;
    QTest::newRow("half form") << u"क्\u200Dष"_s;
    QTest::newRow("wide") << u"日本語 한글"_s;
    QTest::newRow("no-break blank") << u"a\u00a0b"_s;
    QTest::newRow("our own marks") << u"█▍…"_s;
}

void tst_Printable::whatIsPrintableStaysAsItIs()
{
    QFETCH(QString, text);
    QCOMPARE(printable(text), text);
}

void tst_Printable::noControlCharacterIsLeft()
{
    for (uint code = 0; code <= 0x10FFFF; ++code) {
        if (code == 0xD800)
            code = 0xE000;
        const QVector<uint> shown = printable(u"a"_s + codes({code}) + u"b"_s).toUcs4();
        for (const uint one : shown) {
            const QChar::Category category = QChar::category(one);
            const bool isJoiner = one == 0x200C || one == 0x200D;
            QVERIFY2(isJoiner
                         || (category != QChar::Other_Control && category != QChar::Other_Format
                             && category != QChar::Separator_Line
                             && category != QChar::Separator_Paragraph),
                     qPrintable(QString::number(code, 16)));
        }
    }
}

void tst_Printable::aLetterHasNoMoreThanEightMarks()
{
    QCOMPARE(printable(u"e"_s + QString(8, QChar(0x301))), u"e"_s + QString(8, QChar(0x301)));
    QCOMPARE(printable(u"e"_s + QString(100000, QChar(0x301)) + u"f"_s).left(9),
             u"e"_s + QString(8, QChar(0x301)));
    QCOMPARE(printable(u"e"_s + QString(100, QChar(0x301)) + u"f"_s),
             u"e"_s + QString(8, QChar(0x301)) + u"f"_s);
    // Each column of a line has its marks, and no more.
    QString text;
    for (int i = 0; i < 300; ++i)
        text += u"x"_s + QString(12, QChar(0x336));
    const QString line = elided(printable(text), 60);
    QCOMPARE(textWidth(line), 60);
    QCOMPARE(line.size(), 59 * 9 + 1);
}

void tst_Printable::longTextsAreCutByCharacters_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("kept");
    QTest::newRow("shorter") << u"ab"_s << u"ab"_s;
    QTest::newRow("as long") << u"abc"_s << u"abc"_s;
    QTest::newRow("longer") << u"abcd"_s << u"abc"_s;
    QTest::newRow("pairs") << u"😀😀😀😀"_s << u"😀😀😀"_s;
    QTest::newRow("three pairs") << u"😀😀😀"_s << u"😀😀😀"_s;
    QTest::newRow("pair at the limit") << u"ab😀d"_s << u"ab😀"_s;
    QTest::newRow("marks count") << u"e\u0301e\u0301"_s << u"e\u0301e"_s;
    QTest::newRow("lone surrogate") << u"ab"_s + QChar(0xD800) + u"d"_s << u"ab"_s + QChar(0xD800);
}

void tst_Printable::longTextsAreCutByCharacters()
{
    QFETCH(QString, text);
    QTEST(beginning(text, 3), "kept");
}

void tst_Printable::aLongTextIsPrintedUpToItsLimit()
{
    const QString whole(Printable::MAX_CHARACTERS, u'x');
    QCOMPARE(printable(whole), whole);
    const QString cut = printable(whole + u'x');
    QCOMPARE(cut, whole.left(Printable::MAX_CHARACTERS - 1) + QChar(0x2026));
    QCOMPARE(printable(cut), cut);
    // Escapes are longer than what they stand for.
    const QString escapes = printable(QString(Printable::MAX_CHARACTERS, QChar(0x202E)));
    QCOMPARE(escapes.size(), Printable::MAX_CHARACTERS);
    QVERIFY(escapes.endsWith(QChar(0x2026)));
}

void tst_Printable::elevenMegabytesCostNoMoreThanTheirBeginning()
{
    const QString words = u"words "_s.repeated(2 * 1024 * 1024);
    Promptness promptness;
    while (promptness.isOpen()) {
        QElapsedTimer clock;
        clock.start();
        const QStringList rows = wrapped(printable(words), 60);
        promptness.take(clock.elapsed(), 100);
        QCOMPARE(rows.size(), 67);
        QVERIFY(rows.last().endsWith(QChar(0x2026)));
    }
    VERIFY_PROMPT(promptness);
}

QTEST_GUILESS_MAIN(tst_Printable)
#include "tst_printable.moc"
