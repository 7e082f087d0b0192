#include "console/Bars.h"
#include "console/TextWidth.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_Bars : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void barsAreDrawnToScale_data();
    void barsAreDrawnToScale();
    void eighthsOfAColumnAreDrawn();
    void percentagesAreRoundedToTheNearest_data();
    void percentagesAreRoundedToTheNearest();
    void whatWasChosenAtAllShowsAndOnlyAllFillsTheLine();
    void noLineIsEverTooWide_data();
    void noLineIsEverTooWide();
    void numbersSurviveEveryWidth();
    void wideCharactersKeepTheColumnsAligned();
    void controlCharactersNeverReachTheScreen();
    void nothingToShowIsNoLine();
    void widthsAreThoseOfTheTerminal_data();
    void widthsAreThoseOfTheTerminal();
    void longTextsEndInAnEllipsis_data();
    void longTextsEndInAnEllipsis();
    void longTextsAreBrokenAtBlanks_data();
    void longTextsAreBrokenAtBlanks();
};

namespace
{

QString block(int count)
{
    return QString(count, QChar(0x2588));
}

} // namespace

void tst_Bars::barsAreDrawnToScale_data()
{
    QTest::addColumn<int>("columns");
    QTest::addColumn<QStringList>("lines");

    // 3 of 5 and 2 of 5, under two labels.
    QTest::newRow("40 columns") << 40
                                << QStringList{u"A TRUE   #############           3   60%"_s,
                                               u"B FALSE  #########               2   40%"_s};
    // A long label gives up half of what the numbers leave.
    QTest::newRow("24 columns") << 24
                                << QStringList{u"A TRUE  ####     3   60%"_s,
                                               u"B FAL…  ###      2   40%"_s};
    QTest::newRow("no room for a bar")
        << 18 << QStringList{u"A TRUE   3   60%"_s, u"B FALSE  2   40%"_s};
    QTest::newRow("numbers below")
        << 10 << QStringList{u"A TRUE"_s, u"3 60%"_s, u"B FALSE"_s, u"2 40%"_s};
}

void tst_Bars::barsAreDrawnToScale()
{
    QFETCH(int, columns);
    const QStringList lines =
        renderBars({{u"A TRUE"_s, 3}, {u"B FALSE"_s, 2}}, 5, columns, BarStyle::Ascii);
    QTEST(lines, "lines");
}

void tst_Bars::eighthsOfAColumnAreDrawn()
{
    // 23 columns leave 11 to the bar: 1/8 of them is 11 eighths, 1/2 is 44 eighths.
    const QStringList lines =
        renderBars({{u"A"_s, 1}, {u"B"_s, 4}, {u"C"_s, 8}}, 8, 23, BarStyle::Blocks);
    QCOMPARE(
        lines,
        QStringList(
            {u"A  "_s + block(1) + QChar(0x258D) + QString(9, QLatin1Char(' ')) + u"  1   13%"_s,
             u"B  "_s + block(5) + QChar(0x258C) + QString(5, QLatin1Char(' ')) + u"  4   50%"_s,
             u"C  "_s + block(11) + u"  8  100%"_s}));
}

void tst_Bars::percentagesAreRoundedToTheNearest_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("total");
    QTest::addColumn<int>("percent");
    QTest::newRow("nobody asked") << 0 << 0 << 0;
    QTest::newRow("nobody") << 0 << 7 << 0;
    QTest::newRow("a third") << 1 << 3 << 33;
    QTest::newRow("two thirds") << 2 << 3 << 67;
    QTest::newRow("an eighth") << 1 << 8 << 13;
    QTest::newRow("half of a percent") << 1 << 200 << 1;
    QTest::newRow("less than half of one") << 1 << 201 << 0;
    QTest::newRow("all") << 7 << 7 << 100;
    QTest::newRow("many") << 2000000000 << 2000000000 << 100;
}

void tst_Bars::percentagesAreRoundedToTheNearest()
{
    QFETCH(int, count);
    QFETCH(int, total);
    QTEST(percentage(count, total), "percent");
}

void tst_Bars::whatWasChosenAtAllShowsAndOnlyAllFillsTheLine()
{
    const QStringList lines = renderBars(
        {{u"A"_s, 1}, {u"B"_s, 9999}, {u"C"_s, 10000}, {u"D"_s, 0}}, 10000, 40, BarStyle::Ascii);
    QCOMPARE(lines,
             QStringList({u"A  #                             1    0%"_s,
                          u"B  #######################    9999  100%"_s,
                          u"C  ########################  10000  100%"_s,
                          u"D                                0    0%"_s}));
}

void tst_Bars::noLineIsEverTooWide_data()
{
    QTest::addColumn<int>("style");
    QTest::newRow("blocks") << int(BarStyle::Blocks);
    QTest::newRow("ascii") << int(BarStyle::Ascii);
}

void tst_Bars::noLineIsEverTooWide()
{
    QFETCH(int, style);
    const QVector<BarRow> rows{{u"A"_s, 1},
                               {QString(300, QLatin1Char('x')), 23},
                               {u"山田太郎と花子"_s, 1234567},
                               {u"e\u0301te\u0301"_s, 0},
                               {u""_s, 5}};
    for (int columns = 0; columns <= 400; ++columns) {
        const QStringList lines = renderBars(rows, 1234567, columns, BarStyle(style));
        QVERIFY(lines.size() >= rows.size());
        for (const QString &line : lines)
            QVERIFY2(textWidth(line) <= qMax(1, columns), qPrintable(line));
    }
}

void tst_Bars::numbersSurviveEveryWidth()
{
    for (int columns = 1; columns <= 60; ++columns) {
        const QStringList lines =
            renderBars({{u"A long label"_s, 1234}}, 4936, columns, BarStyle::Ascii);
        const QString text =
            lines.join(QString()).remove(QLatin1Char(' ')).remove(QLatin1Char('#'));
        QVERIFY2(text.endsWith(u"123425%"_s), qPrintable(text));
    }
    QCOMPARE(renderBars({{u"Yes"_s, 12}}, 24, 4, BarStyle::Ascii),
             QStringList({u"Yes"_s, u"12 5"_s, u"0%"_s}));
}

void tst_Bars::wideCharactersKeepTheColumnsAligned()
{
    const QStringList lines =
        renderBars({{u"日本"_s, 1}, {u"abcd"_s, 1}, {u"a\u0308bcd"_s, 1}, {u"😀ok"_s, 1}}, 4, 30,
                   BarStyle::Ascii);
    for (const QString &line : lines) {
        QCOMPARE(textWidth(line), 30);
        QCOMPARE(textWidth(line.left(line.indexOf(QLatin1Char('#')))), 6);
    }
}

void tst_Bars::controlCharactersNeverReachTheScreen()
{
    const QStringList lines =
        renderBars({{u"a\x1b[2Jb\nc\u202Ed\u0007"_s, 1}}, 1, 60, BarStyle::Ascii);
    QCOMPARE(lines.size(), 1);
    QVERIFY2(lines.first().startsWith(u"a\\x1b[2Jb\\nc\\u202ed\\x07  ##"_s),
             qPrintable(lines.first()));
}

void tst_Bars::nothingToShowIsNoLine()
{
    QCOMPARE(renderBars({}, 0, 80, BarStyle::Ascii), QStringList());
}

void tst_Bars::widthsAreThoseOfTheTerminal_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("width");
    QTest::newRow("empty") << u""_s << 0;
    QTest::newRow("plain") << u"abc"_s << 3;
    QTest::newRow("accent") << u"é"_s << 1;
    QTest::newRow("combining accent") << u"e\u0301"_s << 1;
    QTest::newRow("wide") << u"日本語"_s << 6;
    QTest::newRow("hangul") << u"한글"_s << 4;
    QTest::newRow("full-width form") << u"Ａ"_s << 2;
    QTest::newRow("half-width form") << u"ｱ"_s << 1;
    QTest::newRow("pictograph outside the first plane") << u"😀"_s << 2;
    // Most terminals draw the parts of a joined pictograph beside each other.
    QTest::newRow("joined pictographs") << u"👩\u200D👧"_s << 4;
    QTest::newRow("flag of two letters") << u"🇪🇺"_s << 2;
    QTest::newRow("variation selector") << u"❤\uFE0F"_s << 1;
    QTest::newRow("zero-width blank") << u"a\u200Bb"_s << 2;
    QTest::newRow("korean letters") << u"\u1112\u1161\u11AB"_s << 2;
    QTest::newRow("vowel sign beside its letter") << u"का"_s << 2;
    QTest::newRow("vowel sign above its letter") << u"के"_s << 1;
    QTest::newRow("cyrillic") << u"Жук"_s << 3;
}

void tst_Bars::widthsAreThoseOfTheTerminal()
{
    QFETCH(QString, text);
    QTEST(textWidth(text), "width");
}

void tst_Bars::longTextsEndInAnEllipsis_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("columns");
    QTest::addColumn<QString>("elided");
    const QString dots(QChar(0x2026));
    QTest::newRow("fits") << u"abc"_s << 3 << u"abc"_s;
    QTest::newRow("one too long") << u"abcd"_s << 3 << u"ab"_s + dots;
    QTest::newRow("one column") << u"abcd"_s << 1 << dots;
    QTest::newRow("no column") << u"abcd"_s << 0 << u""_s;
    QTest::newRow("wide fits") << u"日本"_s << 4 << u"日本"_s;
    QTest::newRow("wide cut") << u"日本"_s << 3 << u"日"_s + dots;
    QTest::newRow("wide leaves a gap") << u"日本"_s << 2 << dots;
    QTest::newRow("accent stays with its letter")
        << u"e\u0301e\u0301e\u0301"_s << 2 << u"e\u0301"_s + dots;
    QTest::newRow("surrogates stay together") << u"a😀b"_s << 3 << u"a"_s + dots;
}

void tst_Bars::longTextsEndInAnEllipsis()
{
    QFETCH(QString, text);
    QFETCH(int, columns);
    QTEST(elided(text, columns), "elided");
    QVERIFY(textWidth(elided(text, columns)) <= columns);
}

void tst_Bars::longTextsAreBrokenAtBlanks_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("rows");
    QTest::newRow("fits") << u"one  two ab"_s << QStringList{u"one  two ab"_s};
    QTest::newRow("two rows") << u"one two three four"_s
                              << QStringList{u"one two"_s, u"three four"_s};
    QTest::newRow("filled to the last column")
        << u"one two abc def"_s << QStringList{u"one two abc"_s, u"def"_s};
    QTest::newRow("several blanks")
        << u"one two    three"_s << QStringList{u"one two"_s, u"three"_s};
    QTest::newRow("indented") << u"  one two three"_s << QStringList{u"  one two"_s, u"three"_s};
    QTest::newRow("a long word stays whole")
        << u"see http://a.example now"_s << QStringList{u"see"_s, u"http://a.example"_s, u"now"_s};
    QTest::newRow("wide") << u"山山山 山山山"_s << QStringList{u"山山山"_s, u"山山山"_s};
    QTest::newRow("blanks at the end") << u"one two abc   "_s << QStringList{u"one two abc"_s};
    QTest::newRow("nothing") << u""_s << QStringList{u""_s};
}

void tst_Bars::longTextsAreBrokenAtBlanks()
{
    QFETCH(QString, text);
    QTEST(wrapped(text, 11), "rows");
}

QTEST_GUILESS_MAIN(tst_Bars)
#include "tst_bars.moc"
