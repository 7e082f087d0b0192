#include "console/LiveScreen.h"
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
    void clearedScreenKeepsBlockAndPrompt();
    void typedControlCharactersAreNotWritten();
};

void tst_LiveScreen::linesAreWrittenAbovePromptAndBlock()
{
    LiveScreen screen;
    screen.setSize(40, 10);
    screen.setInput(u"> "_s, u"st"_s, 2);
    QCOMPARE(screen.redraw(), u"> st\r\x1b[4C"_s);

    screen.setBlock({u"A ###"_s, u"B #"_s});
    QCOMPARE(screen.redraw(), u"\r\x1b[JA ###\nB #\n> st\r\x1b[4C"_s);

    // Two rows of the block stand above the prompt's row and are taken off with it.
    QCOMPARE(screen.print({u"Ada joined"_s, u"Bo joined"_s}),
             u"\r\x1b[2A\x1b[JAda joined\nBo joined\nA ###\nB #\n> st\r\x1b[4C"_s);

    screen.setBlock({});
    QCOMPARE(screen.redraw(), u"\r\x1b[2A\x1b[J> st\r\x1b[4C"_s);
    QCOMPARE(screen.redraw(), u"\r\x1b[J> st\r\x1b[4C"_s);
}

void tst_LiveScreen::cursorStandsWhereItIsInTheLine()
{
    LiveScreen screen;
    screen.setSize(40, 10);
    screen.setInput(u"> "_s, u"山b"_s, 1);
    QCOMPARE(screen.redraw(), u"> 山b\r\x1b[4C"_s);
    screen.setInput(u""_s, u"ab"_s, 0);
    QCOMPARE(screen.redraw(), u"\r\x1b[Jab\r"_s);
}

void tst_LiveScreen::longInputShowsThePartAroundTheCursor()
{
    LiveScreen screen;
    screen.setSize(10, 10);
    screen.setInput(u"> "_s, u"abcdefghijkl"_s, 12);
    QCOMPARE(screen.redraw(), u"defghijkl\r\x1b[9C"_s);
    screen.setInput(u"> "_s, u"abcdefghijkl"_s, 2);
    QCOMPARE(screen.redraw(), u"\r\x1b[J> abcdefg\r\x1b[4C"_s);
    screen.setInput(u"> "_s, u"aaaaaa山山"_s, 8);
    QCOMPARE(screen.redraw(), u"\r\x1b[Jaaaaa山山\r\x1b[9C"_s);
    screen.setSize(1, 1);
    QCOMPARE(screen.redraw(), u"\r\x1b[J\r"_s);
}

void tst_LiveScreen::blockIsCutToTheScreen()
{
    LiveScreen screen;
    screen.setSize(8, 4);
    screen.setInput(u"> "_s, u""_s, 0);
    screen.setBlock({u"0123456789"_s, u"b"_s, u"c"_s});
    QCOMPARE(screen.redraw(), u"0123456…\nb\nc\n> \r\x1b[2C"_s);
    screen.setBlock({u"a"_s, u"b"_s, u"c"_s, u"d"_s, u"e"_s});
    QCOMPARE(screen.redraw(), u"\r\x1b[3A\x1b[Ja\nb\n… 3 more\n> \r\x1b[2C"_s);
    // Lines that were not made are counted, too.
    screen.setBlock({u"a"_s, u"b"_s, u"c"_s}, 297);
    QCOMPARE(screen.redraw(), u"\r\x1b[3A\x1b[Ja\nb\n… 298 m…\n> \r\x1b[2C"_s);
    screen.setSize(8, 1);
    QCOMPARE(screen.redraw(), u"\r\x1b[3A\x1b[J> \r\x1b[2C"_s);
}

void tst_LiveScreen::leavingTakesBlockAndPromptOff()
{
    LiveScreen screen;
    QCOMPARE(screen.leave(), QString());
    screen.setBlock({u"a"_s});
    screen.redraw();
    QCOMPARE(screen.leave(), u"\r\x1b[1A\x1b[J"_s);
    QCOMPARE(screen.leave(), QString());
}

void tst_LiveScreen::clearedScreenKeepsBlockAndPrompt()
{
    LiveScreen screen;
    screen.setBlock({u"a"_s});
    screen.setInput(u"> "_s, u""_s, 0);
    screen.redraw();
    QCOMPARE(screen.clear(), u"\x1b[H\x1b[2Ja\n> \r\x1b[2C"_s);
    QCOMPARE(screen.redraw(), u"\r\x1b[1A\x1b[Ja\n> \r\x1b[2C"_s);
}

void tst_LiveScreen::typedControlCharactersAreNotWritten()
{
    LiveScreen screen;
    screen.setInput(u"> "_s, u"a\u009b"_s + u"b"_s, 3);
    QCOMPARE(screen.redraw(), u"> a\\x9bb\r\x1b[8C"_s);
}

QTEST_GUILESS_MAIN(tst_LiveScreen)
#include "tst_livescreen.moc"
