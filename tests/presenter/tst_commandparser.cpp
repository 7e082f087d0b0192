#include "CommandParser.h"
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
    void labelsAloneSayHowManyOptionsThereAre_data();
    void labelsAloneSayHowManyOptionsThereAre();
    void pollsThatCanBeAnsweredAreTaken_data();
    void pollsThatCanBeAnsweredAreTaken();
    void askTakesWordsKindAndOptions_data();
    void askTakesWordsKindAndOptions();
    void helpTakesACommand();
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
    QVERIFY(isParsedAs<Commands::ShowAnswers>(u"who"_s));
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
}

void tst_CommandParser::labelsAloneSayHowManyOptionsThereAre_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<int>("count");

    QTest::newRow("true and false") << u"poll multiple true-false"_s << 2;
    QTest::newRow("yes and no") << u"poll yes-no-other yes-no"_s << 2;
    QTest::newRow("yes, no and maybe") << u"poll sort yes-no-maybe"_s << 3;
    QTest::newRow("letters are as many as the kind") << u"poll yes-no-other alpha-upper"_s << 3;
    QTest::newRow("a scale of letters") << u"poll scale alpha-lower"_s << 5;
    QTest::newRow("no options, no labels") << u"poll text yes-no"_s << 0;
}

void tst_CommandParser::labelsAloneSayHowManyOptionsThereAre()
{
    QFETCH(QString, line);
    QTEST(parsed<Commands::StartPoll>(line).count, "count");
}

void tst_CommandParser::pollsThatCanBeAnsweredAreTaken_data()
{
    QTest::addColumn<int>("count");
    // The least and the most of each range; tst_CommandErrors has the numbers beside them.
    for (const char *poll :
         {"true-false true-false 2", "true-false true-false 3", "yes-no-other yes-no 2",
          "yes-no-other number 3", "multiple alpha-upper 1", "multiple alpha-upper 26",
          "multiple number 100", "scale agreement 1", "scale confidence 100", "sort alpha-lower 26",
          "sort yes-no-unsure 3", "text generic 0", "word-seed generic 0", "number generic 0",
          "creative generic 0", "creative generic 100", "math-formula generic 0"}) {
        QTest::newRow(poll) << QString::fromUtf8(poll).section(QLatin1Char(' '), -1).toInt();
    }
}

void tst_CommandParser::pollsThatCanBeAnsweredAreTaken()
{
    const QString line = u"poll "_s + QLatin1String(QTest::currentDataTag());
    QTEST(parsed<Commands::StartPoll>(line).count, "count");
}

void tst_CommandParser::askTakesWordsKindAndOptions_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("text");
    QTest::addColumn<PollType::POLL_TYPE>("kind");
    QTest::addColumn<QStringList>("options");
    const auto row = [](const char *name, const QString &line, const QString &text,
                        PollType::POLL_TYPE kind, const QStringList &options) {
        QTest::newRow(name) << line << text << kind << options;
    };
    row("text alone", u"ask \"Why so?\""_s, u"Why so?"_s, PollType::TEXT, {});
    row("options alone", u"ask Which? Don Po"_s, u"Which?"_s, PollType::MULTIPLE,
        {u"Don"_s, u"Po"_s});
    row("one option", u"ask 'All there?' 'I am'"_s, u"All there?"_s, PollType::MULTIPLE,
        {u"I am"_s});
    row("kind", u"ask Which? scale low high"_s, u"Which?"_s, PollType::SCALE,
        {u"low"_s, u"high"_s});
    row("kind without options", u"ask 'How many?' number"_s, u"How many?"_s, PollType::NUMBER, {});
    row("hyphen", u"ask Prove math-formula"_s, u"Prove"_s, PollType::MATH_FORMULA, {});
    row("blank", u"ask Prove 'math formula'"_s, u"Prove"_s, PollType::MATH_FORMULA, {});
    row("own options", u"ask Wet? true-false"_s, u"Wet?"_s, PollType::TRUE_FALSE, {});
    row("two for true and false", u"ask Wet? true-false Yes No"_s, u"Wet?"_s, PollType::TRUE_FALSE,
        {u"Yes"_s, u"No"_s});
    row("three for yes and no", u"ask Wet? yes-no-other Yes No Partly"_s, u"Wet?"_s,
        PollType::YES_NO_OTHER, {u"Yes"_s, u"No"_s, u"Partly"_s});
    row("option spelt like a kind", u"ask What? multiple text number"_s, u"What?"_s,
        PollType::MULTIPLE, {u"text"_s, u"number"_s});
    row("kind behind an option", u"ask What? shoes sort"_s, u"What?"_s, PollType::MULTIPLE,
        {u"shoes"_s, u"sort"_s});
    row("26 options", u"ask What? sort a b c d e f g h i j k l m n o p q r s t u v w x y z"_s,
        u"What?"_s, PollType::SORT,
        u"a b c d e f g h i j k l m n o p q r s t u v w x y z"_s.split(QLatin1Char(' ')));
}

void tst_CommandParser::askTakesWordsKindAndOptions()
{
    QFETCH(QString, line);
    const auto ask = parsed<Commands::Ask>(line);
    QTEST(ask.text, "text");
    QTEST(ask.kind, "kind");
    QTEST(ask.options, "options");
}

void tst_CommandParser::helpTakesACommand()
{
    QCOMPARE(parsed<Commands::Help>(u"help"_s).command, QString());
    QCOMPARE(parsed<Commands::Help>(u"help await"_s).command, u"await"_s);
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

QTEST_GUILESS_MAIN(tst_CommandParser)
#include "tst_commandparser.moc"
