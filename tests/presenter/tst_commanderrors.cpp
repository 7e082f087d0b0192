#include "CommandParser.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;

// What is said about lines that are no command.
class tst_CommandErrors : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pollsThatNobodyCouldAnswerAreRefused_data();
    void pollsThatNobodyCouldAnswerAreRefused();
    void wrongLinesSayWhatIsWrong_data();
    void wrongLinesSayWhatIsWrong();
    void wrongQuestionsSayWhatIsWrong_data();
    void wrongQuestionsSayWhatIsWrong();
    void wrongPicturesLessonsAndMessagesSayWhatIsWrong_data();
    void wrongPicturesLessonsAndMessagesSayWhatIsWrong();
    void wrongWaitsSayWhatIsWrong_data();
    void wrongWaitsSayWhatIsWrong();
};

namespace
{

void addColumns()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("error");
}

void row(const char *name, const char *line, const char *error)
{
    QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(error);
}

void compare()
{
    QFETCH(QString, line);
    const ParsedCommand result = parseCommand(line);
    QVERIFY(!result.command);
    QTEST(result.error, "error");
}

} // namespace

void tst_CommandErrors::pollsThatNobodyCouldAnswerAreRefused_data()
{
    QTest::addColumn<QString>("error");
    const auto refused = [](const char *poll, const char *error) {
        QTest::newRow(poll) << QString::fromUtf8(error);
    };
    refused("true-false true-false 1",
            "A true-false poll labelled true-false takes 2 or 3 options, not '1'.");
    refused("true-false number 4",
            "A true-false poll labelled number takes 2 or 3 options, not '4'.");
    refused("yes-no-other yes-no 1",
            "A yes-no-other poll labelled yes-no takes 2 or 3 options, not '1'.");
    refused("multiple alpha-upper 0",
            "A multiple poll labelled alpha-upper takes 1 to 26 options, not '0'.");
    refused("multiple alpha-lower 27",
            "A multiple poll labelled alpha-lower takes 1 to 26 options, not '27'.");
    refused("multiple yes-no-maybe 4",
            "A multiple poll labelled yes-no-maybe takes 1 to 3 options, not '4'.");
    refused("scale agreement 0",
            "A scale poll labelled agreement takes 1 to 100 options, not '0'.");
    refused("sort number 101", "A sort poll labelled number takes 1 to 100 options, not '101'.");
    refused("sort number -1", "A sort poll labelled number takes 1 to 100 options, not '-1'.");
    refused("sort number x", "A sort poll labelled number takes 1 to 100 options, not 'x'.");
    refused("creative generic 101",
            "A creative poll labelled generic takes 0 to 100 options, not '101'.");
    refused("text generic 1",
            "A text poll has no options: leave COUNT out or let it be 0, not '1'.");
    refused("word-seed generic 1",
            "A word-seed poll has no options: leave COUNT out or let it be 0, not '1'.");
    refused("number generic 5",
            "A number poll has no options: leave COUNT out or let it be 0, not '5'.");
    refused("math-formula generic 2",
            "A math-formula poll has no options: leave COUNT out or let it be 0, "
            "not '2'.");
}

void tst_CommandErrors::pollsThatNobodyCouldAnswerAreRefused()
{
    const ParsedCommand result = parseCommand(u"poll "_s + QLatin1String(QTest::currentDataTag()));
    QVERIFY(!result.command);
    QTEST(result.error, "error");
}

void tst_CommandErrors::wrongLinesSayWhatIsWrong_data()
{
    addColumns();
    row("unknown", "dance", "There is no command 'dance'; help lists them.");
    row("case", "QUIT", "There is no command 'QUIT'; help lists them.");
    row("too few words", "poll", "Usage: poll KIND [LABELS [COUNT]]");
    row("too many words", "stop now", "Usage: stop");
    row("help of nothing", "help dance", "There is no command 'dance'; help lists them.");
    row("open quote", "remove \"a", "A quote is opened but not closed.");
    row("open escape", "remove a\\", "The line ends with a backslash.");
}

void tst_CommandErrors::wrongLinesSayWhatIsWrong()
{
    compare();
}

void tst_CommandErrors::wrongQuestionsSayWhatIsWrong_data()
{
    addColumns();
    row("kind", "poll guess",
        "There is no kind of poll 'guess'; there are true-false, yes-no-other, multiple, scale, "
        "sort, text, word-seed, number, creative, math-formula.");
    row("labels", "poll sort roman 3",
        "There are no labels 'roman'; there are true-false, yes-no, yes-no-maybe, yes-no-unsure, "
        "yes-no-other, alpha-upper, alpha-lower, number, agreement, confidence, generic.");
    row("ask without text", "ask", "Usage: ask \"TEXT\" [KIND] OPTION...");
    row("ask nothing", "ask '' a b", "TEXT is empty.");
    row("ask an empty option", "ask Which? Don ''", "OPTION 2 is empty.");
    row("ask multiple without options", "ask Which? multiple",
        "A multiple question takes 1 to 26 options, not 0.");
    row("ask with 27 options",
        "ask Which? 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27",
        "A multiple question takes 1 to 26 options, not 27.");
    row("ask true-false with one", "ask Wet? true-false Yes",
        "A true-false question takes 2 or 3 options, or none for its own, not 1.");
    row("ask yes-no-other with four", "ask Wet? yes-no-other a b c d",
        "A yes-no-other question takes 2 or 3 options, or none for its own, not 4.");
    row("ask text with options", "ask Why? text a b", "A text question takes no options, not 2.");
    row("ask formula with options", "ask Prove math-formula a",
        "A math-formula question takes no options, not 1.");
    row("ask without a question", "ask Draw creative",
        "A creative poll has no words of its own: use poll for it, or name one of true-false, "
        "yes-no-other, multiple, scale, sort, text, number, math-formula.");
}

void tst_CommandErrors::wrongQuestionsSayWhatIsWrong()
{
    compare();
}

void tst_CommandErrors::wrongPicturesLessonsAndMessagesSayWhatIsWrong_data()
{
    addColumns();
    row("image twice", "image a b",
        "image takes one file or address, with --upload before it or without.");
    row("image upload of nothing", "image --upload",
        "image takes one file or address, with --upload before it or without.");
    row("image upload of an address", "image --upload http://x/a",
        "Only a file can be uploaded, not 'http://x/a'.");
    row("image empty", "image ''", "The name of the image is empty.");
    row("image quote", R"(image 'http://x/"a')",
        "An address cannot hold double quotes, backslashes or control characters: it would not "
        "reach the devices whole.");
    row("upload empty", "upload ''", "FILE is empty.");
    row("assessment empty", "assessment ''", "FILE.json is empty.");
    row("lesson id", R"(lesson 'L"1' Rivers)",
        "A lesson's id cannot hold double quotes, backslashes or control characters: it would not "
        "reach the devices whole.");
    row("lesson name", R"(lesson L-1 Rivers\\Lakes)",
        "A lesson's name cannot hold double quotes, backslashes or control characters: it would "
        "not "
        "reach the devices whole.");
    row("lesson of two lines", "lesson L-1 'Rivers\nLakes'",
        "A lesson's name cannot hold double quotes, backslashes or control characters: it would "
        "not "
        "reach the devices whole.");
    row("too many cards", "current 1 10001",
        "TOTAL is a whole number from 1 to 10000, not '10001'.");
    row("lesson without name", "lesson L", "Usage: lesson ID NAME");
    row("current above total", "current 4 3", "N is a whole number from 1 to 3, not '4'.");
    row("current zero", "current 0 3", "N is a whole number from 1 to 3, not '0'.");
    row("total zero", "current 1 0", "TOTAL is a whole number from 1 to 10000, not '0'.");
    row("message option", "message --loud all x",
        "message knows no option '--loud'; it knows --review and --fixed.");
    row("message to nobody", "message '' x", "LEARNER is empty.");
    row("message of nothing", "message all ' '", "TEXT is empty.");
    row("remove nobody", "remove ''", "LEARNER is empty.");
    row("message without text", "message --review all",
        "message needs a learner (or all) and a text.");
}

void tst_CommandErrors::wrongPicturesLessonsAndMessagesSayWhatIsWrong()
{
    compare();
}

void tst_CommandErrors::wrongWaitsSayWhatIsWrong_data()
{
    addColumns();
    row("wait", "wait 600001", "MS is a whole number from 0 to 600000, not '600001'.");
    row("await", "await learners",
        "Usage: await learners N [SECONDS], or await responses N|all [SECONDS]");
    row("await what", "await sunrise 1", "One can await learners or responses, not 'sunrise'.");
    row("await all learners", "await learners all",
        "N is a whole number from 0 to 1000000, not 'all'.");
    row("await seconds", "await responses 1 0",
        "SECONDS is a whole number from 1 to 3600, not '0'.");
    row("await too long", "await responses 1 3601",
        "SECONDS is a whole number from 1 to 3600, not '3601'.");
}

void tst_CommandErrors::wrongWaitsSayWhatIsWrong()
{
    compare();
}

QTEST_GUILESS_MAIN(tst_CommandErrors)
#include "tst_commanderrors.moc"
