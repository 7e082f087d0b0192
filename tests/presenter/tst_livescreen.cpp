#include "LiveScreen.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

class tst_LiveScreen : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void linesAreWrittenAbovePromptAndBlock();
    void cursorStandsWhereItIsInTheLine();
    void longInputShowsThePartAroundTheCursor();
    void blockIsCutToTheScreen();
    void leavingTakesBlockAndPromptOff();
    void typedControlCharactersAreNotWritten();
};

void tst_LiveScreen::linesAreWrittenAbovePromptAndBlock()
{
    LiveScreen screen;
    screen.setSize(40, 10);
    screen.setInput("> ", "st", 2);
    QCOMPARE(screen.redraw(), QString("> st\r\x1b[4C"));

    screen.setBlock({"A ###", "B #"});
    QCOMPARE(screen.redraw(), QString("\r\x1b[JA ###\nB #\n> st\r\x1b[4C"));

    // Two rows of the block stand above the prompt's row and are taken off with it.
    QCOMPARE(screen.print({"Ada joined", "Bo joined"}),
             QString("\r\x1b[2A\x1b[JAda joined\nBo joined\nA ###\nB #\n> st\r\x1b[4C"));

    screen.setBlock({});
    QCOMPARE(screen.redraw(), QString("\r\x1b[2A\x1b[J> st\r\x1b[4C"));
    QCOMPARE(screen.redraw(), QString("\r\x1b[J> st\r\x1b[4C"));
}

void tst_LiveScreen::cursorStandsWhereItIsInTheLine()
{
    LiveScreen screen;
    screen.setSize(40, 10);
    screen.setInput("> ", u"山b"_s, 1);
    QCOMPARE(screen.redraw(), u"> 山b\r\x1b[4C"_s);
    screen.setInput("", "ab", 0);
    QCOMPARE(screen.redraw(), QString("\r\x1b[Jab\r"));
}

void tst_LiveScreen::longInputShowsThePartAroundTheCursor()
{
    LiveScreen screen;
    screen.setSize(10, 10);
    screen.setInput("> ", "abcdefghijkl", 12);
    QCOMPARE(screen.redraw(), QString("defghijkl\r\x1b[9C"));
    screen.setInput("> ", "abcdefghijkl", 2);
    QCOMPARE(screen.redraw(), QString("\r\x1b[J> abcdefg\r\x1b[4C"));
    screen.setInput("> ", u"aaaaaa山山"_s, 8);
    QCOMPARE(screen.redraw(), u"\r\x1b[Jaaaaa山山\r\x1b[9C"_s);
    screen.setSize(1, 1);
    QCOMPARE(screen.redraw(), QString("\r\x1b[J\r"));
}

void tst_LiveScreen::blockIsCutToTheScreen()
{
    LiveScreen screen;
    screen.setSize(8, 4);
    screen.setInput("> ", "", 0);
    screen.setBlock({"0123456789", "b", "c"});
    QCOMPARE(screen.redraw(), u"0123456…\nb\nc\n> \r\x1b[2C"_s);
    screen.setBlock({"a", "b", "c", "d", "e"});
    QCOMPARE(screen.redraw(), u"\r\x1b[3A\x1b[Ja\nb\n… 3 more\n> \r\x1b[2C"_s);
    screen.setSize(8, 1);
    QCOMPARE(screen.redraw(), QString("\r\x1b[3A\x1b[J> \r\x1b[2C"));
}

void tst_LiveScreen::leavingTakesBlockAndPromptOff()
{
    LiveScreen screen;
    QCOMPARE(screen.leave(), QString());
    screen.setBlock({"a"});
    screen.redraw();
    QCOMPARE(screen.leave(), QString("\r\x1b[1A\x1b[J"));
    QCOMPARE(screen.leave(), QString());
}

void tst_LiveScreen::typedControlCharactersAreNotWritten()
{
    LiveScreen screen;
    screen.setInput("> ", QString("a\u009b") + "b", 3);
    QCOMPARE(screen.redraw(), QString("> a b\r\x1b[5C"));
}

QTEST_GUILESS_MAIN(tst_LiveScreen)
#include "tst_livescreen.moc"
