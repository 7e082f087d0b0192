#include "CommandParser.h"
#include "Script.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Host;
using Tarvo::OrdinalType;
using Tarvo::PollType;

class tst_CommandParser : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void bareCommandsAreKnown();
    void everyKindOfPollIsKnownByItsName_data();
    void everyKindOfPollIsKnownByItsName();
    void everyLabellingIsKnownByItsName_data();
    void everyLabellingIsKnownByItsName();
    void pollTakesLabelsAndCount();
    void imageTellsFilesFromAddresses_data();
    void imageTellsFilesFromAddresses();
    void restOfTheLineIsTheLessonsName();
    void currentTakesTwoNumbers();
    void messageTakesLearnerAndText();
    void awaitTakesWhatHowManyAndHowLong();
    void otherArgumentsAreRead();
    void wordsAreQuotedAndEscaped_data();
    void wordsAreQuotedAndEscaped();
    void emptyLinesAndCommentsAreNoCommand_data();
    void emptyLinesAndCommentsAreNoCommand();
    void wrongLinesSayWhatIsWrong_data();
    void wrongLinesSayWhatIsWrong();
    void helpShowsEveryCommandAndName();
    void documentationShowsTheHelpAsItIs();
    void exampleScriptIsRead();
    void scriptKeepsCommandsWithTheirLines();
    void scriptReportsEveryWrongLine();
    void filesOfAScriptAreThoseBesideIt();
    void scriptThatCannotBeReadIsReported();
};

namespace
{

template<typename Record> Record parsed(const QString &line)
{
    const ParsedCommand result = parseCommand(line);
    if (!result.command || !std::holds_alternative<Record>(*result.command)) {
        qWarning("not read as expected: %s (%s)", qPrintable(line), qPrintable(result.error));
        QTest::qFail("not read as expected", __FILE__, __LINE__);
        return Record{};
    }
    return std::get<Record>(*result.command);
}

template<typename Record> bool isParsedAs(const QString &line)
{
    const ParsedCommand result = parseCommand(line);
    return result.command && std::holds_alternative<Record>(*result.command)
        && result.error.isEmpty();
}

} // namespace

void tst_CommandParser::bareCommandsAreKnown()
{
    QVERIFY(isParsedAs<Commands::Help>(u"help"_s));
    QVERIFY(isParsedAs<Commands::ListLearners>(u"learners"_s));
    QVERIFY(isParsedAs<Commands::Stop>(u"stop"_s));
    QVERIFY(isParsedAs<Commands::Pause>(u"pause"_s));
    QVERIFY(isParsedAs<Commands::Resume>(u"resume"_s));
    QVERIFY(isParsedAs<Commands::ShowResults>(u"results"_s));
    QVERIFY(isParsedAs<Commands::ShowCard>(u"card"_s));
    QVERIFY(isParsedAs<Commands::Quit>(u"  quit\t"_s));
}

void tst_CommandParser::everyKindOfPollIsKnownByItsName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("labels");
    QTest::addColumn<int>("count");

    // With the labels and the number of options that go without saying.
    QTest::newRow("true-false") << u"true-false"_s << 0 << 0 << 2;
    QTest::newRow("yes-no-other") << u"yes-no-other"_s << 1 << 4 << 3;
    QTest::newRow("multiple") << u"multiple"_s << 2 << 5 << 4;
    QTest::newRow("scale") << u"scale"_s << 3 << 7 << 5;
    QTest::newRow("sort") << u"sort"_s << 4 << 5 << 4;
    QTest::newRow("text") << u"text"_s << 5 << 10 << 0;
    QTest::newRow("word-seed") << u"word-seed"_s << 6 << 10 << 0;
    QTest::newRow("number") << u"number"_s << 7 << 10 << 0;
    QTest::newRow("creative") << u"creative"_s << 8 << 10 << 0;
    QTest::newRow("math-formula") << u"math-formula"_s << 9 << 10 << 0;
    QTest::newRow("math formula") << u"'math formula'"_s << 9 << 10 << 0;
}

void tst_CommandParser::everyKindOfPollIsKnownByItsName()
{
    QFETCH(QString, name);
    QFETCH(int, kind);
    QFETCH(int, labels);
    QFETCH(int, count);
    const auto poll = parsed<Commands::StartPoll>(u"poll "_s + name);
    QCOMPARE(int(poll.kind), kind);
    QCOMPARE(int(poll.ordinal), labels);
    QCOMPARE(poll.count, count);
}

void tst_CommandParser::everyLabellingIsKnownByItsName_data()
{
    QTest::addColumn<int>("labels");
    const QStringList names{u"true-false"_s,    u"yes-no"_s,       u"yes-no-maybe"_s,
                            u"yes-no-unsure"_s, u"yes-no-other"_s, u"alpha-upper"_s,
                            u"alpha-lower"_s,   u"number"_s,       u"agreement"_s,
                            u"confidence"_s,    u"generic"_s};
    for (int i = 0; i < names.size(); ++i)
        QTest::newRow(qPrintable(names.at(i))) << i;
}

void tst_CommandParser::everyLabellingIsKnownByItsName()
{
    QFETCH(int, labels);
    const QString line = u"poll multiple %1 3"_s.arg(QLatin1String(QTest::currentDataTag()));
    QCOMPARE(int(parsed<Commands::StartPoll>(line).ordinal), labels);
}

void tst_CommandParser::pollTakesLabelsAndCount()
{
    const auto poll = parsed<Commands::StartPoll>(u"poll sort alpha-lower 26"_s);
    QCOMPARE(poll.kind, PollType::SORT);
    QCOMPARE(poll.ordinal, OrdinalType::ALPHA_LOWER);
    QCOMPARE(poll.count, 26);
    QCOMPARE(parsed<Commands::StartPoll>(u"poll sort alpha-lower 0"_s).count, 0);
    QCOMPARE(parsed<Commands::StartPoll>(u"poll sort alpha-lower 100"_s).count, 100);
}

void tst_CommandParser::imageTellsFilesFromAddresses_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("source");
    QTest::addColumn<bool>("isAddress");
    QTest::addColumn<bool>("upload");

    QTest::newRow("file") << u"image slide.png"_s << u"slide.png"_s << false << false;
    QTest::newRow("path") << u"image /a/b.png"_s << u"/a/b.png"_s << false << false;
    QTest::newRow("blanks") << u"image 'my slide.png'"_s << u"my slide.png"_s << false << false;
    QTest::newRow("upload") << u"image --upload slide.png"_s << u"slide.png"_s << false << true;
    QTest::newRow("https") << u"image https://x.example/a.png"_s << u"https://x.example/a.png"_s
                           << true << false;
    QTest::newRow("data") << u"image data:image/png;base64,AA=="_s
                          << u"data:image/png;base64,AA=="_s << true << false;
}

void tst_CommandParser::imageTellsFilesFromAddresses()
{
    QFETCH(QString, line);
    const auto image = parsed<Commands::SetImage>(line);
    QTEST(image.source, "source");
    QTEST(image.isAddress, "isAddress");
    QTEST(image.upload, "upload");
}

void tst_CommandParser::restOfTheLineIsTheLessonsName()
{
    const auto lesson = parsed<Commands::SetLesson>(u"lesson L-7 Rivers of   Europe"_s);
    QCOMPARE(lesson.id, u"L-7"_s);
    QCOMPARE(lesson.name, u"Rivers of Europe"_s);
}

void tst_CommandParser::currentTakesTwoNumbers()
{
    const auto current = parsed<Commands::SetCurrentCard>(u"current 2 12"_s);
    QCOMPARE(current.number, 2);
    QCOMPARE(current.total, 12);
}

void tst_CommandParser::messageTakesLearnerAndText()
{
    auto message = parsed<Commands::SendMessage>(u"message all Well done, \"all of you\""_s);
    QCOMPARE(message.learner, QString());
    QCOMPARE(message.text, u"Well done, all of you"_s);
    QVERIFY(!message.review);
    QVERIFY(message.dismissible);

    message = parsed<Commands::SendMessage>(u"message --fixed --review Ada look here"_s);
    QCOMPARE(message.learner, u"Ada"_s);
    QCOMPARE(message.text, u"look here"_s);
    QVERIFY(message.review);
    QVERIFY(!message.dismissible);
}

void tst_CommandParser::awaitTakesWhatHowManyAndHowLong()
{
    auto learners = parsed<Commands::AwaitLearners>(u"await learners 5"_s);
    QCOMPARE(learners.count, 5);
    QCOMPARE(learners.timeoutMs, 30000);
    QCOMPARE(parsed<Commands::AwaitLearners>(u"await learners 5 7"_s).timeoutMs, 7000);

    QCOMPARE(parsed<Commands::AwaitResponses>(u"await responses 3 60"_s).count, 3);
    QCOMPARE(parsed<Commands::AwaitResponses>(u"await responses 3 60"_s).timeoutMs, 60000);
    QCOMPARE(parsed<Commands::AwaitResponses>(u"await responses all"_s).count,
             int(Commands::AwaitResponses::ALL));
}

void tst_CommandParser::otherArgumentsAreRead()
{
    QCOMPARE(parsed<Commands::Upload>(u"upload a.bin"_s).file, u"a.bin"_s);
    QCOMPARE(parsed<Commands::StartAssessment>(u"assessment quiz.json"_s).file, u"quiz.json"_s);
    QCOMPARE(parsed<Commands::RemoveLearner>(u"remove device-3"_s).learner, u"device-3"_s);
    QCOMPARE(parsed<Commands::Wait>(u"wait 1500"_s).milliseconds, 1500);
}

void tst_CommandParser::wordsAreQuotedAndEscaped_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("word");

    QTest::newRow("double quotes") << uR"(remove "a b")"_s << u"a b"_s;
    QTest::newRow("single quotes") << uR"(remove 'a "b"')"_s << uR"(a "b")"_s;
    QTest::newRow("escaped blank") << uR"(remove a\ b)"_s << u"a b"_s;
    QTest::newRow("escaped quote") << uR"(remove "a\"b")"_s << uR"(a"b)"_s;
    QTest::newRow("backslash in single quotes") << uR"(remove 'a\b')"_s << uR"(a\b)"_s;
    QTest::newRow("quotes inside a word") << uR"(remove a" "b)"_s << u"a b"_s;
    QTest::newRow("empty word") << uR"(remove "")"_s << u""_s;
    QTest::newRow("hash inside a word") << u"remove a#b"_s << u"a#b"_s;
    QTest::newRow("quoted hash") << u"remove '#b'"_s << u"#b"_s;
    QTest::newRow("comment behind") << u"remove a # not b"_s << u"a"_s;
    QTest::newRow("other letters") << u"remove 山田Ω"_s << u"山田Ω"_s;
}

void tst_CommandParser::wordsAreQuotedAndEscaped()
{
    QFETCH(QString, line);
    QTEST(parsed<Commands::RemoveLearner>(line).learner, "word");
}

void tst_CommandParser::emptyLinesAndCommentsAreNoCommand_data()
{
    QTest::addColumn<QString>("line");
    QTest::newRow("empty") << u""_s;
    QTest::newRow("blanks") << u" \t "_s;
    QTest::newRow("comment") << u"# poll"_s;
    QTest::newRow("indented comment") << u"   #poll"_s;
}

void tst_CommandParser::emptyLinesAndCommentsAreNoCommand()
{
    QFETCH(QString, line);
    const ParsedCommand result = parseCommand(line);
    QVERIFY(!result.command);
    QCOMPARE(result.error, QString());
}

void tst_CommandParser::wrongLinesSayWhatIsWrong_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("error");
    const auto row = [](const char *name, const char *line, const char *error) {
        QTest::newRow(name) << QString::fromUtf8(line) << QString::fromUtf8(error);
    };
    row("unknown", "dance", "There is no command 'dance'; help lists them.");
    row("case", "QUIT", "There is no command 'QUIT'; help lists them.");
    row("too few words", "poll", "Usage: poll KIND [LABELS [COUNT]]");
    row("too many words", "stop now", "Usage: stop");
    row("kind", "poll guess",
        "There is no kind of poll 'guess'; there are true-false, yes-no-other, multiple, scale, "
        "sort, text, word-seed, number, creative, math-formula.");
    row("labels", "poll sort roman 3",
        "There are no labels 'roman'; there are true-false, yes-no, yes-no-maybe, yes-no-unsure, "
        "yes-no-other, alpha-upper, alpha-lower, number, agreement, confidence, generic.");
    row("count no number", "poll sort number x", "COUNT is a whole number from 0 to 100, not 'x'.");
    row("count negative", "poll sort number -1",
        "COUNT is a whole number from 0 to 100, not '-1'.");
    row("count too large", "poll sort number 101",
        "COUNT is a whole number from 0 to 100, not '101'.");
    row("image twice", "image a b",
        "image takes one file or address, with --upload before it or without.");
    row("image upload of nothing", "image --upload",
        "image takes one file or address, with --upload before it or without.");
    row("image upload of an address", "image --upload http://x/a",
        "Only a file can be uploaded, not 'http://x/a'.");
    row("image empty", "image ''", "The name of the image is empty.");
    row("lesson without name", "lesson L", "Usage: lesson ID NAME");
    row("current above total", "current 4 3", "N is a whole number from 1 to 3, not '4'.");
    row("current zero", "current 0 3", "N is a whole number from 1 to 3, not '0'.");
    row("total zero", "current 1 0", "TOTAL is a whole number from 1 to 10000, not '0'.");
    row("message option", "message --loud all x", "message knows no option '--loud'.");
    row("message without text", "message --review all",
        "message needs a learner (or all) and a text.");
    row("wait", "wait 600001", "MS is a whole number from 0 to 600000, not '600001'.");
    row("await what", "await sunrise 1", "One can await learners or responses, not 'sunrise'.");
    row("await all learners", "await learners all",
        "N is a whole number from 0 to 1000000, not 'all'.");
    row("await seconds", "await responses 1 0",
        "SECONDS is a whole number from 1 to 3600, not '0'.");
    row("open quote", "remove \"a", "A quote is opened but not closed.");
    row("open escape", "remove a\\", "The line ends with a backslash.");
}

void tst_CommandParser::wrongLinesSayWhatIsWrong()
{
    QFETCH(QString, line);
    const ParsedCommand result = parseCommand(line);
    QVERIFY(!result.command);
    QTEST(result.error, "error");
}

void tst_CommandParser::helpShowsEveryCommandAndName()
{
    const QString help = commandHelp().join(QLatin1Char('\n'));
    for (const char *command :
         {"help", "learners", "poll KIND [LABELS [COUNT]]", "pause", "resume", "results", "stop",
          "image [--upload] FILE|URL", "card", "upload FILE", "lesson ID NAME", "current N TOTAL",
          "assessment FILE.json", "message [--review] [--fixed] LEARNER|all TEXT", "remove LEARNER",
          "await learners N [SECONDS]", "await responses N|all [SECONDS]", "wait MS", "quit"}) {
        QVERIFY2(help.contains(u"  %1 "_s.arg(QLatin1String(command))), command);
    }
    QVERIFY(
        help.contains(u"true-false, yes-no-other, multiple, scale, sort, text, word-seed, number, "
                      "creative, math-formula"_s));
    QVERIFY(help.contains(u"alpha-upper, alpha-lower, number, agreement, confidence, generic"_s));
}

void tst_CommandParser::documentationShowsTheHelpAsItIs()
{
    QFile page(QStringLiteral(DOCUMENTATION_FILE));
    QVERIFY(page.open(QIODevice::ReadOnly));
    const QString block = u"```text\n"_s + commandHelp().join(QLatin1Char('\n')) + u"\n```\n"_s;
    QVERIFY2(QString::fromUtf8(page.readAll()).contains(block), qPrintable(block));
}

void tst_CommandParser::exampleScriptIsRead()
{
    const Script script = readScript(QStringLiteral(EXAMPLE_SCRIPT));
    QCOMPARE(script.errors, QStringList());
    QVERIFY(std::holds_alternative<Commands::Quit>(script.lines.last().command));
}

void tst_CommandParser::scriptKeepsCommandsWithTheirLines()
{
    const Script script = parseScript(u"# a lesson\r\n\r\n  poll text\r\nquit"_s, u"lesson.txt"_s);
    QVERIFY2(script.errors.isEmpty(), qPrintable(script.errors.join(QLatin1Char('\n'))));
    QCOMPARE(script.lines.size(), 2);
    QVERIFY(std::holds_alternative<Commands::StartPoll>(script.lines.at(0).command));
    QCOMPARE(script.lines.at(0).number, 3);
    QCOMPARE(script.lines.at(0).text, u"poll text"_s);
    QVERIFY(std::holds_alternative<Commands::Quit>(script.lines.at(1).command));
    QCOMPARE(script.lines.at(1).number, 4);
}

void tst_CommandParser::scriptReportsEveryWrongLine()
{
    const Script script = parseScript(u"help\nhop\nstop now\n"_s, u"lesson.txt"_s);
    QCOMPARE(script.errors,
             QStringList({u"lesson.txt:2: There is no command 'hop'; help lists them."_s,
                          u"lesson.txt:3: Usage: stop"_s}));
}

void tst_CommandParser::filesOfAScriptAreThoseBesideIt()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath(u"lesson.txt"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("image a.png\nimage /x/b.png\nimage http://h/c.png\nupload sub/d.bin\n"
               "assessment e.json\n");
    file.close();
    const Script script = readScript(file.fileName());
    QCOMPARE(script.errors, QStringList());
    QCOMPARE(script.lines.size(), 5);
    const auto image = [&script](int line) {
        return std::get<Commands::SetImage>(script.lines.at(line).command).source;
    };
    QCOMPARE(image(0), folder.filePath(u"a.png"_s));
    QCOMPARE(image(1), u"/x/b.png"_s);
    QCOMPARE(image(2), u"http://h/c.png"_s);
    QCOMPARE(std::get<Commands::Upload>(script.lines.at(3).command).file,
             folder.filePath(u"sub/d.bin"_s));
    QCOMPARE(std::get<Commands::StartAssessment>(script.lines.at(4).command).file,
             folder.filePath(u"e.json"_s));
}

void tst_CommandParser::scriptThatCannotBeReadIsReported()
{
    const Script script = readScript(u"/nonexistent/lesson.txt"_s);
    QCOMPARE(script.errors,
             QStringList({u"/nonexistent/lesson.txt: cannot be read: No such file or "
                          "directory"_s}));
}

QTEST_GUILESS_MAIN(tst_CommandParser)
#include "tst_commandparser.moc"
