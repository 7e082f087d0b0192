#include "console/LineEditor.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_LineEditor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keysEditTheLine_data();
    void keysEditTheLine();
    void enterHandsTheLineOver();
    void severalLinesInOneReadAreHandedOverOneByOne();
    void aLetterCutByAReadArrivesWhole();
    void endOfInputOnlyOnAnEmptyLine();
    void earlierLinesAreRecalled();
};

void tst_LineEditor::keysEditTheLine_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("cursor");

    QTest::newRow("typed") << QByteArray("abc") << u"abc"_s << 3;
    QTest::newRow("tab is a blank") << QByteArray("a\tb") << u"a b"_s << 3;
    QTest::newRow("backspace") << QByteArray("abc\x7f\b") << u"a"_s << 1;
    QTest::newRow("backspace at the beginning") << QByteArray("\x7f") << u""_s << 0;
    QTest::newRow("backspace takes a letter with its accent")
        << QByteArray("ae\xCC\x81\x7f") << u"a"_s << 1;
    QTest::newRow("backspace takes both surrogates")
        << QByteArray("a\xF0\x9F\x98\x80\x7f") << u"a"_s << 1;
    QTest::newRow("left and insert") << QByteArray("ac\x1b[Db") << u"abc"_s << 2;
    QTest::newRow("right") << QByteArray("ac\x1b[D\x1b[D\x1b[Cb") << u"abc"_s << 2;
    QTest::newRow("right at the end") << QByteArray("a\x1b[Cb") << u"ab"_s << 2;
    QTest::newRow("left past the beginning") << QByteArray("a\x1b[D\x1b[D\x1b[Db") << u"ba"_s << 1;
    QTest::newRow("application arrows") << QByteArray("ac\x1bODb") << u"abc"_s << 2;
    QTest::newRow("home and end") << QByteArray("b\x1b[Ha\x1b[Fc") << u"abc"_s << 3;
    QTest::newRow("other home and end") << QByteArray("b\x1b[1~a\x1b[4~c") << u"abc"_s << 3;
    QTest::newRow("delete") << QByteArray("abc\x1b[D\x1b[D\x1b[3~") << u"ac"_s << 1;
    QTest::newRow("Ctrl-A, Ctrl-E") << QByteArray("b\001a\005c") << u"abc"_s << 3;
    QTest::newRow("Ctrl-B, Ctrl-F") << QByteArray("ac\002b\006d") << u"abcd"_s << 4;
    QTest::newRow("Ctrl-U") << QByteArray("abc\x1b[D\x15") << u"c"_s << 0;
    QTest::newRow("Ctrl-K") << QByteArray("abc\x1b[D\x0b") << u"ab"_s << 2;
    QTest::newRow("Ctrl-W") << QByteArray("poll sort  \x17") << u"poll "_s << 5;
    QTest::newRow("Ctrl-D deletes") << QByteArray("ab\x01\x04") << u"b"_s << 0;
    QTest::newRow("other keys do nothing")
        << QByteArray("a\x1b[5~\x1b[1;5X\x07\x1bqb") << u"ab"_s << 2;
}

void tst_LineEditor::keysEditTheLine()
{
    QFETCH(QByteArray, keys);
    LineEditor editor;
    editor.type(keys);
    QTEST(editor.text(), "text");
    QTEST(editor.cursor(), "cursor");
}

void tst_LineEditor::enterHandsTheLineOver()
{
    LineEditor editor;
    QStringList lines;
    editor.onLine = [&lines](const QString &line) { lines.append(line); };
    editor.type("bc\x1b[Ha\r");
    QCOMPARE(lines, QStringList({u"abc"_s}));
    QCOMPARE(editor.text(), QString());
    QCOMPARE(editor.cursor(), 0);
    editor.type("\n");
    QCOMPARE(lines, QStringList({u"abc"_s, u""_s}));
}

void tst_LineEditor::severalLinesInOneReadAreHandedOverOneByOne()
{
    LineEditor editor;
    QStringList lines;
    editor.onLine = [&lines](const QString &line) { lines.append(line); };
    editor.type("one\ntwo\nthr");
    QCOMPARE(lines, QStringList({u"one"_s, u"two"_s}));
    QCOMPARE(editor.text(), u"thr"_s);
}

void tst_LineEditor::aLetterCutByAReadArrivesWhole()
{
    LineEditor editor;
    editor.type("\xE5\xB1");
    editor.type("\xB1\xF0\x9F");
    editor.type("\x98\x80");
    QCOMPARE(editor.text(), u"山😀"_s);
}

void tst_LineEditor::endOfInputOnlyOnAnEmptyLine()
{
    LineEditor editor;
    int ends = 0;
    editor.onEndOfInput = [&ends] { ++ends; };
    editor.type("a\x04");
    QCOMPARE(ends, 0);
    editor.type("\x7f\x04");
    QCOMPARE(ends, 1);
}

void tst_LineEditor::earlierLinesAreRecalled()
{
    const QByteArray up("\x1b[A");
    const QByteArray down("\x1b[B");
    LineEditor editor;
    editor.type("one\ntwo\ntwo\n\nthr");
    editor.type(up);
    QCOMPARE(editor.text(), u"two"_s);
    editor.type(up);
    QCOMPARE(editor.text(), u"one"_s);
    QCOMPARE(editor.cursor(), 3);
    editor.type(up);
    QCOMPARE(editor.text(), u"one"_s);
    editor.type(down + down);
    QCOMPARE(editor.text(), u"thr"_s);
    editor.type(down);
    QCOMPARE(editor.text(), u"thr"_s);
    editor.type("\x10"); // Ctrl-P
    QCOMPARE(editor.text(), u"two"_s);
    editor.type("\x0e"); // Ctrl-N
    QCOMPARE(editor.text(), u"thr"_s);
}

QTEST_GUILESS_MAIN(tst_LineEditor)
#include "tst_lineeditor.moc"
