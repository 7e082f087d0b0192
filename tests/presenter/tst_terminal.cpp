#include "ProgramOnTerminal.h"
#include "support/Text.h"

#include <QtTest/QtTest>

class tst_Terminal : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keysChangeTheScreen_data();
    void keysChangeTheScreen();
    void resultsLeaveTheLineAlone_data();
    void resultsLeaveTheLineAlone();
    void newsAreDrawnTenTimesASecond();
    void newsAreNotKeptBackWithoutEnd();
    void newsKeepTheirPlace();
    void interruptReachesTheProgram();
    void interruptEndsASearch();
    void endOfInputIsTold();
    void promptClosesInsideOfALine();
    void promptClosesInsideOfASearch_data();
    void promptClosesInsideOfASearch();
    void terminalIsSetUpAgainAfterwards();
    void whatTheShellWroteStays();
    void newSizeIsDrawn();
    void passwordIsNotShown_data();
    void passwordIsNotShown();
};

namespace
{

constexpr int LIMIT_MS = ProgramOnTerminal::LIMIT_MS;
constexpr tcflag_t COOKED = ECHO | ICANON | ISIG;

// A program whose prompt is there.
class Program : public ProgramOnTerminal
{
public:
    Program() : ProgramOnTerminal(TERMINAL_PROGRAM, nullptr) { screen(u"> |"_s); }
};

void add(const char *name, const QByteArray &keys, const QString &screen)
{
    QTest::newRow(name) << keys << screen;
}

void addLines()
{
    add("typed", "abc", u"> abc|"_s);
    add("line", "abc\r", u"got 'abc'\n> |"_s);
    add("wide", "山é\x1b[D", u"> 山|é"_s);
    add("combining", "e\xCC\x81x", u"> e\u0301x|"_s);
    add("several lines", "one\ntwo\nth", u"got 'one'\ngot 'two'\n> th|"_s);
    add("control characters do no harm",
        QByteArray("a\x1b[2J\x1b[15~\xC2\x9B\x1b\x00\x07\x16\x1bxq\nb", 21), u"got 'aq'\n> b|"_s);
    add("longer than the window", "0123456789012345678901234567890123456789xyz",
        u"456789012345678901234567890123456789xyz|"_s);
    add("wider than the window when printed", "one two three four five six seven eight\r",
        u"got 'one two three four five six seven\neight'\n> |"_s);
    add("control characters in what is printed", "colour\r", u"a\\x1b[31mb\n> |"_s);
    add("Ctrl-L", "bars\rab\014", u"A ###\nB #\n> ab|"_s);
    add("Ctrl-U", "abc\025d", u"> d|"_s);
    add("prompt", "prompt\rab", u"class> ab|"_s);
}

void addHistory()
{
    add("history", "one\rtwo\r\x1b[A\x1b[A", u"got 'one'\ngot 'two'\n> one|"_s);
    add("not behind a blank", "one\r two\r\x1b[A", u"got 'one'\ngot ' two'\n> one|"_s);
    add("search", "one\rtwo\r\022n", u"got 'one'\ngot 'two'\n(search 'n') > o|ne"_s);
    add("search, key", "one\rtwo\r\022n\x1b[C", u"got 'one'\ngot 'two'\n> on|e"_s);
    add("search, Enter", "one\rtwo\r\022n\r", u"got 'one'\ngot 'two'\ngot 'one'\n> |"_s);
    add("search in vain", "one\r\022x", u"got 'one'\n(nothing like 'x') > |"_s);
}

void addCompletions()
{
    add("Tab, one candidate", "a l\t", u"> a learners |"_s);
    add("Tab, several", "p\t", u"poll     pause    prompt   proceed\n> p|"_s);
    add("Tab, their beginning", "pr\t", u"prompt   proceed\n> pro|"_s);
    add("Tab, none", "x\t", u"> x|"_s);
    add("Tab inside of the line", "pau x\x1b[D\x1b[D\t", u"> pause | x"_s);
}

} // namespace

#define VERIFY_SCREEN(program, expected) QCOMPARE((program).screen(expected), expected)

void tst_Terminal::keysChangeTheScreen_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("screen");
    addLines();
    addHistory();
    addCompletions();
}

void tst_Terminal::keysChangeTheScreen()
{
    QFETCH(QByteArray, keys);
    QFETCH(QString, screen);
    Program program;
    program.type(keys);
    VERIFY_SCREEN(program, screen);
}

void tst_Terminal::resultsLeaveTheLineAlone_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QByteArray>("moreKeys");
    QTest::addColumn<QString>("after");

    QTest::newRow("half a line") << QByteArray("abd\x1b[D") << u"> ab|d"_s << QByteArray("c")
                                 << u"> abc|d"_s;
    QTest::newRow("wide") << QByteArray("山\x1b[D") << u"> |山"_s << QByteArray("田")
                          << u"> 田|山"_s;
    QTest::newRow("search") << QByteArray("\x12"
                                          "so")
                            << u"(search 'so') > |soon"_s << QByteArray("o\x1b[F!")
                            << u"> soon!|"_s;
    QTest::newRow("long") << QByteArray(45, 'x') << QString(39, u'x') + u"|"_s << QByteArray("y")
                          << QString(38, u'x') + u"y|"_s;
}

void tst_Terminal::resultsLeaveTheLineAlone()
{
    QFETCH(QByteArray, keys);
    QFETCH(QString, before);
    QFETCH(QByteArray, moreKeys);
    QFETCH(QString, after);
    Program program;
    program.type("bars\rsoon\r" + keys);
    VERIFY_SCREEN(program, u"A ###\nB #\n"_s + before);
    program.signal(SIGUSR1);
    VERIFY_SCREEN(program, u"Ada joined\nA ####\n"_s + before);
    program.type(moreKeys);
    VERIFY_SCREEN(program, u"Ada joined\nA ####\n"_s + after);
}

void tst_Terminal::newsAreDrawnTenTimesASecond()
{
    QElapsedTimer clock;
    clock.start();
    Program program;
    const QByteArray keys = "much\rab";
    program.type(keys);
    VERIFY_SCREEN(program,
                  u"news 795\nnews 796\nnews 797\nnews 798\nnews 799\nnews 800\n"
                  "800 of 800\n> ab|"_s);
    const int atMost = int(clock.elapsed() / 100) + keys.size() + 2;
    QVERIFY2(program.erasures() <= atMost, qPrintable(QString::number(program.erasures())));
}

void tst_Terminal::newsAreNotKeptBackWithoutEnd()
{
    Program program;
    program.type("at once\r");
    QCOMPARE(program.exitCode(), 6);
    int last = 0; // that stands there whole: what has been read may end inside of a line
    const auto readNews = [&] {
        const QString line = program.screenNow().section(u"news "_s, -1).section(u'\n', 0, 0);
        last = qMax(last, line.toInt());
        return last;
    };
    QTRY_VERIFY_WITH_TIMEOUT(readNews() > 2400 - 1000, LIMIT_MS);
}

void tst_Terminal::newsKeepTheirPlace()
{
    Program program;
    program.type("between\r");
    VERIFY_SCREEN(program, u"one\ntwo\nthree\nfour\nfive\nsix\n|"_s);
    QCOMPARE(program.exitCode(), 5);
}

void tst_Terminal::interruptReachesTheProgram()
{
    Program program;
    program.type("abc");
    VERIFY_SCREEN(program, u"> abc|"_s);
    program.type("\x03");
    VERIFY_SCREEN(program, u"thrown away\n> |"_s);
    program.type("\x03");
    VERIFY_SCREEN(program, u"thrown away\ninterrupted\n> |"_s);
    program.type("ab\x1b");
    VERIFY_SCREEN(program, u"thrown away\ninterrupted\n> ab|"_s);
    program.type("\x03");
    VERIFY_SCREEN(program, u"thrown away\ninterrupted\nthrown away\n> |"_s);
}

void tst_Terminal::interruptEndsASearch()
{
    Program program;
    program.type("one\r\x12o");
    VERIFY_SCREEN(program, u"got 'one'\n(search 'o') > |one"_s);
    program.type("\x03");
    VERIFY_SCREEN(program, u"got 'one'\nthrown away\n> |"_s);
}

void tst_Terminal::endOfInputIsTold()
{
    Program program;
    QCOMPARE(program.modes(), tcflag_t(ISIG));
    program.type("a\x04\x7f");
    VERIFY_SCREEN(program, u"> |"_s);
    program.type("\x04");
    QCOMPARE(program.exitCode(), 2);
    VERIFY_SCREEN(program, u"ended\n|"_s);
    QCOMPARE(program.modes(), COOKED);
}

void tst_Terminal::promptClosesInsideOfALine()
{
    Program program;
    program.type("bars\rclose\rnever seen\r");
    QCOMPARE(program.exitCode(), 3);
    VERIFY_SCREEN(program, u"closed\n|"_s);
    QCOMPARE(program.modes(), COOKED);
}

void tst_Terminal::promptClosesInsideOfASearch_data()
{
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("and the program returns") << QByteArray("close soon");
    QTest::newRow("and the program ends there") << QByteArray("leave soon");
}

void tst_Terminal::promptClosesInsideOfASearch()
{
    QFETCH(QByteArray, line);
    Program program;
    program.type(line + "\r\x12s");
    VERIFY_SCREEN(program, u"(search 's') > "_s + QString(line).replace(u" "_s, u" |"_s));
    program.signal(SIGUSR1);
    QCOMPARE(program.exitCode(), 4);
    VERIFY_SCREEN(program, u"closed\n|"_s);
    QCOMPARE(program.modes(), COOKED);
}

// As after Ctrl-Z and fg: the shell had the terminal in between.
void tst_Terminal::terminalIsSetUpAgainAfterwards()
{
    Program program;
    program.type("ab");
    VERIFY_SCREEN(program, u"> ab|"_s);
    program.setModes(COOKED);
    program.signal(SIGCONT);
    QTRY_COMPARE_WITH_TIMEOUT(program.modes(), tcflag_t(ISIG), LIMIT_MS);
    program.type("c\r");
    VERIFY_SCREEN(program, u"got 'abc'\n> |"_s);
}

void tst_Terminal::whatTheShellWroteStays()
{
    Program program;
    program.type("bars\rab");
    VERIFY_SCREEN(program, u"A ###\nB #\n> ab|"_s);
    program.signal(SIGCONT);
    VERIFY_SCREEN(program, u"A ###\nB #\nA ###\nB #\n> ab|"_s);
}

void tst_Terminal::newSizeIsDrawn()
{
    Program program;
    program.type("0123456789012345");
    VERIFY_SCREEN(program, u"> 0123456789012345|"_s);
    program.resize(10, 4);
    VERIFY_SCREEN(program, u"789012345|"_s);
    program.type("x");
    VERIFY_SCREEN(program, u"89012345x|"_s);
}

void tst_Terminal::passwordIsNotShown_data()
{
    QTest::addColumn<QByteArray>("keys");
    QTest::addColumn<QString>("screen");
    QTest::newRow("typed") << QByteArray("sécrex\x7ft\r") << u"Password:\nIt is 'sécret'.\n|"_s;
    QTest::newRow("Ctrl-C") << QByteArray("sec\x03") << u"Password:\nThere is none.\n|"_s;
    QTest::newRow("end of input") << QByteArray("\x04") << u"Password:\nThere is none.\n|"_s;
    QTest::newRow("nothing typed") << QByteArray("\r") << u"Password:\nThere is none.\n|"_s;
}

void tst_Terminal::passwordIsNotShown()
{
    QFETCH(QByteArray, keys);
    QFETCH(QString, screen);
    ProgramOnTerminal program(TERMINAL_PROGRAM, "ask");
    VERIFY_SCREEN(program, u"Password: |"_s);
    QTRY_VERIFY_WITH_TIMEOUT(program.sleeps(), LIMIT_MS);
    program.type(keys);
    VERIFY_SCREEN(program, screen);
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.modes(), COOKED);
}

QTEST_GUILESS_MAIN(tst_Terminal)
#include "tst_terminal.moc"
