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
    QVERIFY(isParsedAs<Commands::Help>("help"));
    QVERIFY(isParsedAs<Commands::ListLearners>("learners"));
    QVERIFY(isParsedAs<Commands::Stop>("stop"));
    QVERIFY(isParsedAs<Commands::Pause>("pause"));
    QVERIFY(isParsedAs<Commands::Resume>("resume"));
    QVERIFY(isParsedAs<Commands::ShowResults>("results"));
    QVERIFY(isParsedAs<Commands::ShowCard>("card"));
    QVERIFY(isParsedAs<Commands::Quit>("  quit\t"));
}

void tst_CommandParser::everyKindOfPollIsKnownByItsName_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("labels");
    QTest::addColumn<int>("count");

    // With the labels and the number of options that go without saying.
    QTest::newRow("true-false") << "true-false" << 0 << 0 << 2;
    QTest::newRow("yes-no-other") << "yes-no-other" << 1 << 4 << 3;
    QTest::newRow("multiple") << "multiple" << 2 << 5 << 4;
    QTest::newRow("scale") << "scale" << 3 << 7 << 5;
    QTest::newRow("sort") << "sort" << 4 << 5 << 4;
    QTest::newRow("text") << "text" << 5 << 10 << 0;
    QTest::newRow("word-seed") << "word-seed" << 6 << 10 << 0;
    QTest::newRow("number") << "number" << 7 << 10 << 0;
    QTest::newRow("creative") << "creative" << 8 << 10 << 0;
    QTest::newRow("math-formula") << "math-formula" << 9 << 10 << 0;
    QTest::newRow("math formula") << "'math formula'" << 9 << 10 << 0;
}

void tst_CommandParser::everyKindOfPollIsKnownByItsName()
{
    QFETCH(QString, name);
    QFETCH(int, kind);
    QFETCH(int, labels);
    QFETCH(int, count);
    const auto poll = parsed<Commands::StartPoll>("poll " + name);
    QCOMPARE(int(poll.kind), kind);
    QCOMPARE(int(poll.ordinal), labels);
    QCOMPARE(poll.count, count);
}

void tst_CommandParser::everyLabellingIsKnownByItsName_data()
{
    QTest::addColumn<int>("labels");
    const QStringList names{"true-false",   "yes-no",      "yes-no-maybe", "yes-no-unsure",
                            "yes-no-other", "alpha-upper", "alpha-lower",  "number",
                            "agreement",    "confidence",  "generic"};
    for (int i = 0; i < names.size(); ++i)
        QTest::newRow(qPrintable(names.at(i))) << i;
}

void tst_CommandParser::everyLabellingIsKnownByItsName()
{
    QFETCH(int, labels);
    const QString line = QString("poll multiple %1 3").arg(QTest::currentDataTag());
    QCOMPARE(int(parsed<Commands::StartPoll>(line).ordinal), labels);
}

void tst_CommandParser::pollTakesLabelsAndCount()
{
    const auto poll = parsed<Commands::StartPoll>("poll sort alpha-lower 26");
    QCOMPARE(poll.kind, PollType::SORT);
    QCOMPARE(poll.ordinal, OrdinalType::ALPHA_LOWER);
    QCOMPARE(poll.count, 26);
    QCOMPARE(parsed<Commands::StartPoll>("poll sort alpha-lower 0").count, 0);
    QCOMPARE(parsed<Commands::StartPoll>("poll sort alpha-lower 100").count, 100);
}

void tst_CommandParser::imageTellsFilesFromAddresses_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("source");
    QTest::addColumn<bool>("isAddress");
    QTest::addColumn<bool>("upload");

    QTest::newRow("file") << "image slide.png"
                          << "slide.png" << false << false;
    QTest::newRow("path") << "image /a/b.png"
                          << "/a/b.png" << false << false;
    QTest::newRow("blanks") << "image 'my slide.png'"
                            << "my slide.png" << false << false;
    QTest::newRow("upload") << "image --upload slide.png"
                            << "slide.png" << false << true;
    QTest::newRow("https") << "image https://x.example/a.png"
                           << "https://x.example/a.png" << true << false;
    QTest::newRow("data") << "image data:image/png;base64,AA=="
                          << "data:image/png;base64,AA==" << true << false;
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
    const auto lesson = parsed<Commands::SetLesson>("lesson L-7 Rivers of   Europe");
    QCOMPARE(lesson.id, QString("L-7"));
    QCOMPARE(lesson.name, QString("Rivers of Europe"));
}

void tst_CommandParser::currentTakesTwoNumbers()
{
    const auto current = parsed<Commands::SetCurrentCard>("current 2 12");
    QCOMPARE(current.number, 2);
    QCOMPARE(current.total, 12);
}

void tst_CommandParser::messageTakesLearnerAndText()
{
    auto message = parsed<Commands::SendMessage>("message all Well done, \"all of you\"");
    QCOMPARE(message.learner, QString());
    QCOMPARE(message.text, QString("Well done, all of you"));
    QVERIFY(!message.review);
    QVERIFY(message.dismissible);

    message = parsed<Commands::SendMessage>("message --fixed --review Ada look here");
    QCOMPARE(message.learner, QString("Ada"));
    QCOMPARE(message.text, QString("look here"));
    QVERIFY(message.review);
    QVERIFY(!message.dismissible);
}

void tst_CommandParser::awaitTakesWhatHowManyAndHowLong()
{
    auto learners = parsed<Commands::AwaitLearners>("await learners 5");
    QCOMPARE(learners.count, 5);
    QCOMPARE(learners.timeoutMs, 30000);
    QCOMPARE(parsed<Commands::AwaitLearners>("await learners 5 7").timeoutMs, 7000);

    QCOMPARE(parsed<Commands::AwaitResponses>("await responses 3 60").count, 3);
    QCOMPARE(parsed<Commands::AwaitResponses>("await responses 3 60").timeoutMs, 60000);
    QCOMPARE(parsed<Commands::AwaitResponses>("await responses all").count,
             int(Commands::AwaitResponses::ALL));
}

void tst_CommandParser::otherArgumentsAreRead()
{
    QCOMPARE(parsed<Commands::Upload>("upload a.bin").file, QString("a.bin"));
    QCOMPARE(parsed<Commands::StartAssessment>("assessment quiz.json").file, QString("quiz.json"));
    QCOMPARE(parsed<Commands::RemoveLearner>("remove device-3").learner, QString("device-3"));
    QCOMPARE(parsed<Commands::Wait>("wait 1500").milliseconds, 1500);
}

void tst_CommandParser::wordsAreQuotedAndEscaped_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("word");

    QTest::newRow("double quotes") << R"(remove "a b")"
                                   << "a b";
    QTest::newRow("single quotes") << R"(remove 'a "b"')"
                                   << R"(a "b")";
    QTest::newRow("escaped blank") << R"(remove a\ b)"
                                   << "a b";
    QTest::newRow("escaped quote") << R"(remove "a\"b")"
                                   << R"(a"b)";
    QTest::newRow("backslash in single quotes") << R"(remove 'a\b')"
                                                << R"(a\b)";
    QTest::newRow("quotes inside a word") << R"(remove a" "b)"
                                          << "a b";
    QTest::newRow("empty word") << R"(remove "")"
                                << "";
    QTest::newRow("hash inside a word") << "remove a#b"
                                        << "a#b";
    QTest::newRow("quoted hash") << "remove '#b'"
                                 << "#b";
    QTest::newRow("comment behind") << "remove a # not b"
                                    << "a";
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
    QTest::newRow("empty") << "";
    QTest::newRow("blanks") << " \t ";
    QTest::newRow("comment") << "# poll";
    QTest::newRow("indented comment") << "   #poll";
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

    QTest::newRow("unknown") << "dance"
                             << "There is no command 'dance'; help lists them.";
    QTest::newRow("case") << "QUIT"
                          << "There is no command 'QUIT'; help lists them.";
    QTest::newRow("too few words") << "poll"
                                   << "Usage: poll KIND [LABELS [COUNT]]";
    QTest::newRow("too many words") << "stop now"
                                    << "Usage: stop";
    QTest::newRow("kind")
        << "poll guess"
        << "There is no kind of poll 'guess'; there are true-false, yes-no-other, "
           "multiple, scale, sort, text, word-seed, number, creative, "
           "math-formula.";
    QTest::newRow("labels") << "poll sort roman 3"
                            << "There are no labels 'roman'; there are true-false, yes-no, "
                               "yes-no-maybe, yes-no-unsure, yes-no-other, alpha-upper, "
                               "alpha-lower, number, agreement, confidence, generic.";
    QTest::newRow("count no number") << "poll sort number x"
                                     << "COUNT is a whole number from 0 to 100, not 'x'.";
    QTest::newRow("count negative") << "poll sort number -1"
                                    << "COUNT is a whole number from 0 to 100, not '-1'.";
    QTest::newRow("count too large") << "poll sort number 101"
                                     << "COUNT is a whole number from 0 to 100, not '101'.";
    QTest::newRow("image twice")
        << "image a b"
        << "image takes one file or address, with --upload before it or without.";
    QTest::newRow("image upload of nothing")
        << "image --upload"
        << "image takes one file or address, with --upload before it or without.";
    QTest::newRow("image upload of an address") << "image --upload http://x/a"
                                                << "Only a file can be uploaded, not 'http://x/a'.";
    QTest::newRow("image empty") << "image ''"
                                 << "The name of the image is empty.";
    QTest::newRow("lesson without name") << "lesson L"
                                         << "Usage: lesson ID NAME";
    QTest::newRow("current above total") << "current 4 3"
                                         << "N is a whole number from 1 to 3, not '4'.";
    QTest::newRow("current zero") << "current 0 3"
                                  << "N is a whole number from 1 to 3, not '0'.";
    QTest::newRow("total zero") << "current 1 0"
                                << "TOTAL is a whole number from 1 to 10000, not '0'.";
    QTest::newRow("message option") << "message --loud all x"
                                    << "message knows no option '--loud'.";
    QTest::newRow("message without text") << "message --review all"
                                          << "message needs a learner (or all) and a text.";
    QTest::newRow("wait") << "wait 600001"
                          << "MS is a whole number from 0 to 600000, not '600001'.";
    QTest::newRow("await what") << "await sunrise 1"
                                << "One can await learners or responses, not 'sunrise'.";
    QTest::newRow("await all learners") << "await learners all"
                                        << "N is a whole number from 0 to 1000000, not 'all'.";
    QTest::newRow("await seconds") << "await responses 1 0"
                                   << "SECONDS is a whole number from 1 to 3600, not '0'.";
    QTest::newRow("open quote") << "remove \"a"
                                << "A quote is opened but not closed.";
    QTest::newRow("open escape") << "remove a\\"
                                 << "The line ends with a backslash.";
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
    const QString help = commandHelp().join('\n');
    for (const char *command :
         {"help", "learners", "poll KIND [LABELS [COUNT]]", "pause", "resume", "results", "stop",
          "image [--upload] FILE|URL", "card", "upload FILE", "lesson ID NAME", "current N TOTAL",
          "assessment FILE.json", "message [--review] [--fixed] LEARNER|all TEXT", "remove LEARNER",
          "await learners N [SECONDS]", "await responses N|all [SECONDS]", "wait MS", "quit"}) {
        QVERIFY2(help.contains(QString("  %1 ").arg(command)), command);
    }
    QVERIFY(
        help.contains("true-false, yes-no-other, multiple, scale, sort, text, word-seed, number, "
                      "creative, math-formula"));
    QVERIFY(help.contains("alpha-upper, alpha-lower, number, agreement, confidence, generic"));
}

void tst_CommandParser::documentationShowsTheHelpAsItIs()
{
    QFile page(DOCUMENTATION_FILE);
    QVERIFY(page.open(QIODevice::ReadOnly));
    const QString block = "```text\n" + commandHelp().join('\n') + "\n```\n";
    QVERIFY2(QString::fromUtf8(page.readAll()).contains(block), qPrintable(block));
}

void tst_CommandParser::exampleScriptIsRead()
{
    const Script script = readScript(EXAMPLE_SCRIPT);
    QCOMPARE(script.errors, QStringList());
    QVERIFY(std::holds_alternative<Commands::Quit>(script.lines.last().command));
}

void tst_CommandParser::scriptKeepsCommandsWithTheirLines()
{
    const Script script = parseScript("# a lesson\r\n\r\n  poll text\r\nquit", "lesson.txt");
    QVERIFY2(script.errors.isEmpty(), qPrintable(script.errors.join('\n')));
    QCOMPARE(script.lines.size(), 2);
    QVERIFY(std::holds_alternative<Commands::StartPoll>(script.lines.at(0).command));
    QCOMPARE(script.lines.at(0).number, 3);
    QCOMPARE(script.lines.at(0).text, QString("poll text"));
    QVERIFY(std::holds_alternative<Commands::Quit>(script.lines.at(1).command));
    QCOMPARE(script.lines.at(1).number, 4);
}

void tst_CommandParser::scriptReportsEveryWrongLine()
{
    const Script script = parseScript("help\nhop\nstop now\n", "lesson.txt");
    QCOMPARE(script.errors,
             QStringList({"lesson.txt:2: There is no command 'hop'; help lists them.",
                          "lesson.txt:3: Usage: stop"}));
}

void tst_CommandParser::filesOfAScriptAreThoseBesideIt()
{
    const QTemporaryDir folder;
    QFile file(folder.filePath("lesson.txt"));
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
    QCOMPARE(image(0), folder.filePath("a.png"));
    QCOMPARE(image(1), QString("/x/b.png"));
    QCOMPARE(image(2), QString("http://h/c.png"));
    QCOMPARE(std::get<Commands::Upload>(script.lines.at(3).command).file,
             folder.filePath("sub/d.bin"));
    QCOMPARE(std::get<Commands::StartAssessment>(script.lines.at(4).command).file,
             folder.filePath("e.json"));
}

void tst_CommandParser::scriptThatCannotBeReadIsReported()
{
    const Script script = readScript("/nonexistent/lesson.txt");
    QCOMPARE(script.errors,
             QStringList({"/nonexistent/lesson.txt: cannot be read: No such file or "
                          "directory"}));
}

QTEST_GUILESS_MAIN(tst_CommandParser)
#include "tst_commandparser.moc"
