#include "CommandParser.h"
#include "support/Text.h"

#include <QtCore/QFile>
#include <QtTest/QtTest>

using namespace Host;

class tst_CommandHelp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void listOfCommandsFitsASmallTerminal();
    void listShowsEveryCommand();
    void everyCommandHasHelpOfItsOwn_data();
    void everyCommandHasHelpOfItsOwn();
    void examplesOfTheHelpAreCommands_data();
    void examplesOfTheHelpAreCommands();
    void helpNamesEveryKindAndLabel_data();
    void helpNamesEveryKindAndLabel();
    void limitsInTheHelpAreThoseOfTheCommands_data();
    void limitsInTheHelpAreThoseOfTheCommands();
    void awaitWaitsAsLongAsItsHelpSays();
    void unknownCommandIsSaid();
    void documentationShowsTheListAsItIs();
    void documentationShowsTheHelpOfEveryCommand_data();
    void documentationShowsTheHelpOfEveryCommand();
};

namespace
{

constexpr int COLUMNS = 79;
constexpr int ROWS = 22; // of 24: the command above, the prompt below

void everyCommand()
{
    QTest::addColumn<QString>("usage");
    const auto row = [](const char *name, const char *usage) {
        QTest::newRow(name) << QString::fromUtf8(usage);
    };
    row("poll", "poll KIND [LABELS [COUNT]]");
    row("ask", "ask \"TEXT\" [KIND] OPTION...");
    row("assessment", "assessment FILE.json");
    row("pause", "pause");
    row("resume", "resume");
    row("stop", "stop");
    row("results", "results");
    row("who", "who");
    row("learners", "learners");
    row("message", "message [--review] [--fixed] LEARNER|all TEXT");
    row("remove", "remove LEARNER");
    row("image", "image [--upload] FILE|URL");
    row("card", "card");
    row("upload", "upload FILE");
    row("lesson", "lesson ID NAME");
    row("current", "current N TOTAL");
    row("await", "await learners N [SECONDS]\nawait responses N|all [SECONDS]");
    row("wait", "wait MS");
    row("help", "help [COMMAND]");
    row("quit", "quit");
}

QString helpOn(const QString &command)
{
    return commandHelp(command).join(QLatin1Char('\n'));
}

QString documentation()
{
    QFile page(QStringLiteral(DOCUMENTATION_FILE));
    return page.open(QIODevice::ReadOnly) ? QString::fromUtf8(page.readAll()) : QString();
}

} // namespace

void tst_CommandHelp::listOfCommandsFitsASmallTerminal()
{
    const QStringList lines = commandHelp();
    QVERIFY2(lines.size() <= ROWS, qPrintable(QString::number(lines.size())));
    for (const QString &line : lines)
        QVERIFY2(line.size() <= COLUMNS, qPrintable(line));
}

void tst_CommandHelp::listShowsEveryCommand()
{
    const QString help = helpOn(QString());
    for (const char *command : {"poll KIND [LABELS [COUNT]]",
                                "ask \"TEXT\" [KIND] OPTION...",
                                "assessment FILE.json",
                                "pause",
                                "resume",
                                "stop",
                                "results",
                                "who",
                                "learners",
                                "message LEARNER|all TEXT",
                                "remove LEARNER",
                                "image FILE|URL",
                                "card",
                                "upload FILE",
                                "lesson ID NAME",
                                "current N TOTAL",
                                "await learners N [SECONDS]",
                                "await responses N|all [SECONDS]",
                                "wait MS",
                                "help [COMMAND]",
                                "quit"}) {
        QVERIFY2(help.contains(u"  %1 "_s.arg(QLatin1String(command))), command);
    }
}

void tst_CommandHelp::everyCommandHasHelpOfItsOwn_data()
{
    everyCommand();
}

void tst_CommandHelp::everyCommandHasHelpOfItsOwn()
{
    QFETCH(QString, usage);
    const QString command = QLatin1String(QTest::currentDataTag());
    QVERIFY2(helpOn(command).startsWith(usage + u"\n  "_s), qPrintable(helpOn(command)));
    const QStringList lines = commandHelp(command);
    QVERIFY2(lines.size() <= ROWS, qPrintable(QString::number(lines.size())));
    for (const QString &line : lines)
        QVERIFY2(line.size() <= COLUMNS, qPrintable(line));
}

void tst_CommandHelp::examplesOfTheHelpAreCommands_data()
{
    everyCommand();
}

void tst_CommandHelp::examplesOfTheHelpAreCommands()
{
    QFETCH(QString, usage);
    const QString label = u"  Example: "_s;
    const QStringList lines = commandHelp(QLatin1String(QTest::currentDataTag()));
    int examples = 0;
    for (const QString &line : lines.filter(label)) {
        QCOMPARE(parseCommand(line.mid(label.size())).error, QString());
        ++examples;
    }
    const bool hasWords = usage.contains(QLatin1Char(' '));
    QCOMPARE(examples > 0, hasWords);
}

void tst_CommandHelp::helpNamesEveryKindAndLabel_data()
{
    QTest::addColumn<QString>("command");
    QTest::addColumn<QStringList>("words");
    const QStringList kinds{u"true-false"_s, u"yes-no-other"_s, u"multiple"_s,
                            u"scale"_s,      u"sort"_s,         u"text"_s,
                            u"number"_s,     u"math-formula"_s, u"\"math formula\""_s};
    QTest::newRow("ask") << u"ask"_s << kinds;
    QTest::newRow("poll") << u"poll"_s << kinds + QStringList{u"word-seed"_s, u"creative"_s};
    QTest::newRow("labels") << u"poll"_s
                            << QStringList{u"true-false"_s,    u"yes-no"_s,       u"yes-no-maybe"_s,
                                           u"yes-no-unsure"_s, u"yes-no-other"_s, u"alpha-upper"_s,
                                           u"alpha-lower"_s,   u"number"_s,       u"agreement"_s,
                                           u"confidence"_s,    u"generic"_s};
}

void tst_CommandHelp::helpNamesEveryKindAndLabel()
{
    QFETCH(QString, command);
    QFETCH(QStringList, words);
    for (const QString &word : words) {
        const QRegularExpression whole(u"[ (]%1[,.; ]"_s.arg(word));
        QVERIFY2(helpOn(command).replace(QLatin1Char('\n'), QLatin1Char(' ')).contains(whole),
                 qPrintable(word));
    }
}

void tst_CommandHelp::limitsInTheHelpAreThoseOfTheCommands_data()
{
    QTest::addColumn<QString>("text"); // of the help on the command that is allowed
    QTest::addColumn<QString>("allowed");
    QTest::addColumn<QString>("refused");
    const auto row = [](const char *name, const char *text, const char *allowed,
                        const char *refused) {
        QTest::newRow(name) << QString::fromUtf8(text) << QString::fromUtf8(allowed)
                            << QString::fromUtf8(refused);
    };
    row("await", "up to 3600", "await learners 1 3600", "await learners 1 3601");
    row("wait", "at most 600000", "wait 600000", "wait 600001");
    row("current", "at most 10000", "current 1 10000", "current 1 10001");
    row("poll", "1 to 100 for multiple", "poll multiple number 1", "poll multiple number 0");
    row("poll, most", "1 to 100 for multiple", "poll sort number 100", "poll sort number 101");
    row("poll, creative", "0 to 100 for creative", "poll creative generic 0",
        "poll creative generic 101");
    row("poll, yes or no", "2 or 3\n  for true-false", "poll true-false number 3",
        "poll true-false number 4");
    row("poll, letters", "it is at most 26", "poll sort alpha-upper 26",
        "poll sort alpha-upper 27");
    row("poll, yes-no labels", "yes-no labels at most\n  3,", "poll sort yes-no 3",
        "poll sort yes-no 4");
    row("poll, no options", "0 for the others", "poll text generic 0", "poll text generic 1");
    row("ask", "1 to 26 for", "ask Q a b c d e f g h i j k l m n o p q r s t u v w x y z",
        "ask Q a b c d e f g h i j k l m n o p q r s t u v w x y z 27");
    row("ask, yes or no", "2 or 3 for true-false and yes-no-other", "ask Q true-false a b c",
        "ask Q true-false a");
    row("ask, no options", "none for the others", "ask Q number", "ask Q number 1");
}

void tst_CommandHelp::limitsInTheHelpAreThoseOfTheCommands()
{
    QFETCH(QString, text);
    QFETCH(QString, allowed);
    QFETCH(QString, refused);
    const QString help = helpOn(allowed.section(QLatin1Char(' '), 0, 0));
    QVERIFY2(help.contains(text), qPrintable(help));
    QCOMPARE(parseCommand(allowed).error, QString());
    QVERIFY(!parseCommand(refused).command);
}

void tst_CommandHelp::awaitWaitsAsLongAsItsHelpSays()
{
    QVERIFY(helpOn(u"await"_s).contains(u": 30 unless told otherwise,"_s));
    const std::optional<Command> await = parseCommand(u"await learners 1"_s).command;
    QVERIFY(await);
    QCOMPARE(std::get<Commands::AwaitLearners>(*await).timeoutMs, 30000);
}

void tst_CommandHelp::unknownCommandIsSaid()
{
    QCOMPARE(commandHelp(u"dance"_s),
             QStringList{u"There is no command 'dance'; help lists them."_s});
}

void tst_CommandHelp::documentationShowsTheListAsItIs()
{
    const QString block = u"```text\n"_s + helpOn(QString()) + u"\n```\n"_s;
    QVERIFY2(documentation().contains(block), qPrintable(block));
}

void tst_CommandHelp::documentationShowsTheHelpOfEveryCommand_data()
{
    everyCommand();
}

void tst_CommandHelp::documentationShowsTheHelpOfEveryCommand()
{
    const QString block = u"\n"_s + helpOn(QLatin1String(QTest::currentDataTag())) + u"\n"_s;
    QVERIFY2(documentation().contains(block), qPrintable(block));
}

QTEST_GUILESS_MAIN(tst_CommandHelp)
#include "tst_commandhelp.moc"
