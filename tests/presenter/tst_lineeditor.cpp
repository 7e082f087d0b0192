#include "console/LineEditor.h"
#include "support/Text.h"

#include <QtTest/QtTest>

#include <pty.h>
#include <unistd.h>

using namespace Host;

class tst_LineEditor : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void keysEditTheLine_data();
    void keysEditTheLine();
    void enterHandsTheLineOver();
    void severalLinesInOneReadAreHandedOverOneByOne();
    void aLetterCutByAReadArrivesWhole();
    void endOfInputOnlyOnAnEmptyLine();
    void earlierLinesAreRecalled();
    void halfALineIsThrownAway();
    void completionGetsTheLineUpToTheCursor();
    void completionReplacesWordsWithBlanks_data();
    void completionReplacesWordsWithBlanks();
    void handlerMayCloseTheEditor();
};

namespace
{

class OpenEditor : public LineEditor
{
public:
    OpenEditor()
    {
        if (!open())
            qFatal("no line editor");
        connect(this, &LineEditor::line, this, [this](const QString &line) { lines.append(line); });
    }

    QStringList lines;
};

} // namespace

// Standard input becomes a terminal: a simple one, since terminfo never frees what it knows of more.
void tst_LineEditor::initTestCase()
{
    qputenv("TERM", "dumb");
    int master = -1;
    int slave = -1;
    QCOMPARE(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    QCOMPARE(dup2(slave, STDIN_FILENO), STDIN_FILENO);
}

void tst_LineEditor::keysEditTheLine_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("cursor");

    QTest::newRow("typed") << QByteArray("abc") << u"abc"_s << 3;
    QTest::newRow("tab without candidates") << QByteArray("a\tb") << u"ab"_s << 2;
    QTest::newRow("backspace") << QByteArray("abc\x7f\b") << u"a"_s << 1;
    QTest::newRow("backspace at the beginning") << QByteArray("\x7f") << u""_s << 0;
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
    QTest::newRow("Ctrl-U") << QByteArray("abc\x1b[D\x15") << u""_s << 0;
    QTest::newRow("Ctrl-K") << QByteArray("abc\x1b[D\x0b") << u"ab"_s << 2;
    QTest::newRow("Ctrl-W") << QByteArray("poll sort  \x17") << u"poll "_s << 5;
    QTest::newRow("Ctrl-D deletes") << QByteArray("ab\x01\x04") << u"b"_s << 0;
    QTest::newRow("other keys do nothing")
        << QByteArray("a\x1b[5~\x1b[1;5X\x07\x1bq\x16\x1bxb") << u"ab"_s << 2;
}

void tst_LineEditor::keysEditTheLine()
{
    QFETCH(QByteArray, keys);
    OpenEditor editor;
    editor.type(keys);
    QTEST(editor.text(), "text");
    QTEST(editor.cursor(), "cursor");
}

void tst_LineEditor::enterHandsTheLineOver()
{
    OpenEditor editor;
    editor.type("bc\x1b[Ha\r");
    QCOMPARE(editor.lines, QStringList({u"abc"_s}));
    QCOMPARE(editor.text(), QString());
    QCOMPARE(editor.cursor(), 0);
    editor.type("\n");
    QCOMPARE(editor.lines, QStringList({u"abc"_s, u""_s}));
}

void tst_LineEditor::severalLinesInOneReadAreHandedOverOneByOne()
{
    OpenEditor editor;
    editor.type("one\ntwo\nthr");
    QCOMPARE(editor.lines, QStringList({u"one"_s, u"two"_s}));
    QCOMPARE(editor.text(), u"thr"_s);
}

void tst_LineEditor::aLetterCutByAReadArrivesWhole()
{
    OpenEditor editor;
    editor.type("\xE5\xB1");
    editor.type("\xB1\xF0\x9F");
    editor.type("\x98\x80");
    QCOMPARE(editor.text(), u"山😀"_s);
}

void tst_LineEditor::endOfInputOnlyOnAnEmptyLine()
{
    OpenEditor editor;
    const QSignalSpy ends(&editor, &LineEditor::ended);
    editor.type("a\x04");
    QCOMPARE(ends.count(), 0);
    editor.type("\x7f\x04");
    QCOMPARE(ends.count(), 1);
}

void tst_LineEditor::earlierLinesAreRecalled()
{
    const QByteArray up("\x1b[A");
    const QByteArray down("\x1b[B");
    OpenEditor editor;
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

void tst_LineEditor::halfALineIsThrownAway()
{
    OpenEditor editor;
    QVERIFY(!editor.clear());
    editor.type("one");
    QVERIFY(editor.clear());
    QCOMPARE(editor.text(), u""_s);
    QVERIFY(!editor.clear());
    editor.type("two\r");
    QCOMPARE(editor.lines, QStringList({u"two"_s}));
}

void tst_LineEditor::completionGetsTheLineUpToTheCursor()
{
    OpenEditor editor;
    QStringList asked;
    editor.completion = [&asked](const QString &upToCursor) {
        asked.append(upToCursor);
        return Candidates{3, {u"lessons/"_s}};
    };
    editor.type("ab les x\x1b[D\x1b[D\t");
    QCOMPARE(asked, QStringList({u"ab les"_s}));
    QCOMPARE(editor.text(), u"ab lessons/ x"_s);
    QCOMPARE(editor.cursor(), 11);
}

void tst_LineEditor::completionReplacesWordsWithBlanks_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QStringList>("words");
    QTest::addColumn<QString>("text");

    const QStringList one{u"\"Ada L.\""_s};
    const QStringList two{u"\"Ada L.\""_s, u"\"Ada M.\""_s};
    QTest::newRow("quotes opened") << QByteArray("to \"Ada L\t") << one << u"to \"Ada L.\" "_s;
    QTest::newRow("no quotes yet") << QByteArray("to Ad\t") << one << u"to \"Ada L.\" "_s;
    QTest::newRow("their beginning") << QByteArray("to \"A\t") << two << u"to \"Ada "_s;
    QTest::newRow("nothing in common") << QByteArray("to A\t") << two << u"to A"_s;
}

void tst_LineEditor::completionReplacesWordsWithBlanks()
{
    QFETCH(QByteArray, keys);
    QFETCH(QStringList, words);
    OpenEditor editor;
    editor.completion = [&words](const QString &) { return Candidates{3, words}; };
    editor.type(keys);
    QTEST(editor.text(), "text");
}

void tst_LineEditor::handlerMayCloseTheEditor()
{
    OpenEditor editor;
    connect(&editor, &LineEditor::line, &editor, &LineEditor::close);
    editor.type("one\rtwo\r");
    QCOMPARE(editor.lines, QStringList({u"one"_s}));
    editor.type("three\r");
    QCOMPARE(editor.lines, QStringList({u"one"_s}));
}

QTEST_GUILESS_MAIN(tst_LineEditor)
#include "tst_lineeditor.moc"
