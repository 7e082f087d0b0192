#include "CommandParser.h"

#include "CommandHelp.h"
#include "CommandWords.h"
#include "lessonfiles/QuestionKinds.h"

#include <algorithm>

namespace Host
{

namespace
{

using namespace Commands;
using Tarvo::OrdinalType;
using Tarvo::PollType;

constexpr int MAX_WAIT_MS = 10 * 60 * 1000;
constexpr int MAX_AWAIT_S = 3600;
constexpr int DEFAULT_AWAIT_S = 30;
constexpr int MS_PER_S = 1000;
constexpr int MAX_AWAITED = 1000000;
constexpr int MAX_CARDS = 10000;

// ---- Values --------------------------------------------------------------------------------------

ParsedCommand wrong(const QString &why)
{
    return {std::nullopt, why};
}

template<typename Record> ParsedCommand right(Record record)
{
    return {Command(std::move(record)), QString()};
}

std::optional<int> integer(const QString &word, int least, int most)
{
    bool isNumber = false;
    const int value = word.toInt(&isNumber);
    if (!isNumber || value < least || value > most)
        return std::nullopt;
    return value;
}

QString notAnInteger(const char *what, int least, int most, const QString &word)
{
    return QStringLiteral("%1 is a whole number from %2 to %3, not '%4'.")
        .arg(QLatin1String(what), QString::number(least), QString::number(most), word);
}

// Lessons and addresses stand in messages that devices take as they are, without any escaping.
bool isSendable(const QString &text)
{
    return std::none_of(text.begin(), text.end(), [](QChar character) {
        return character == QLatin1Char('"') || character == QLatin1Char('\\')
            || character < QLatin1Char(' ');
    });
}

ParsedCommand notSendable(const char *what)
{
    return wrong(QStringLiteral("%1 cannot hold double quotes, backslashes or control characters: "
                                "it would not reach the devices whole.")
                     .arg(QLatin1String(what)));
}

ParsedCommand empty(const char *what)
{
    return wrong(QStringLiteral("%1 is empty.").arg(QLatin1String(what)));
}

QString listOf(const QStringList &words)
{
    return words.join(QStringLiteral(", "));
}

// "1 to 26 options", "2 or 3 options".
QString optionsInWords(const CountRange &range)
{
    const QString between = range.most == range.least + 1 ? QStringLiteral("%1 or %2 options")
                                                          : QStringLiteral("%1 to %2 options");
    return between.arg(range.least).arg(range.most);
}

// ---- Commands ------------------------------------------------------------------------------------
// Each takes the words behind the command's name; their number has been looked at already.

template<typename Record> ParsedCommand parseBare(const QStringList &)
{
    return right(Record{});
}

ParsedCommand parseHelp(const QStringList &words)
{
    if (words.isEmpty())
        return right(Help{});
    if (!isCommandName(words.first()))
        return wrong(noSuchCommand(words.first()));
    return right(Help{words.first()});
}

ParsedCommand noSuchKind(const QString &word)
{
    return wrong(QStringLiteral("There is no kind of poll '%1'; there are %2.")
                     .arg(word, listOf(kindWords())));
}

ParsedCommand wrongCount(const StartPoll &poll, const CountRange &range, const QString &word)
{
    if (range.most == 0) {
        return wrong(QStringLiteral("A %1 poll has no options: leave COUNT out or let it be 0, "
                                    "not '%2'.")
                         .arg(wordFor(poll.kind), word));
    }
    return wrong(QStringLiteral("A %1 poll labelled %2 takes %3, not '%4'.")
                     .arg(wordFor(poll.kind), wordFor(poll.ordinal), optionsInWords(range), word));
}

ParsedCommand parsePoll(const QStringList &words)
{
    const auto kind = kindNamed(words.at(0));
    if (!kind)
        return noSuchKind(words.at(0));
    std::optional<OrdinalType::ORDINAL_TYPE> labels;
    if (words.size() > 1) {
        labels = labelsNamed(words.at(1));
        if (!labels) {
            return wrong(QStringLiteral("There are no labels '%1'; there are %2.")
                             .arg(words.at(1), listOf(labelWords())));
        }
    }
    StartPoll poll{*kind, labels.value_or(usualLabels(*kind)), usualCount(*kind, labels)};
    if (words.size() > 2) {
        const CountRange range = pollRange(poll.kind, poll.ordinal);
        const auto count = integer(words.at(2), range.least, range.most);
        if (!count)
            return wrongCount(poll, range, words.at(2));
        poll.count = *count;
    }
    return right(poll);
}

// What is wrong with the options; empty when nothing is.
QString wrongOptions(const Ask &ask)
{
    const CountRange range = askRange(ask.kind);
    const int count = ask.options.size();
    if (ask.options.contains(QString()))
        return QStringLiteral("OPTION %1 is empty.").arg(ask.options.indexOf(QString()) + 1);
    if (count == 0 && (range.most == 0 || knowsItsOptions(ask.kind)))
        return QString();
    if (range.most == 0) {
        return QStringLiteral("A %1 question takes no options, not %2.")
            .arg(wordFor(ask.kind), QString::number(count));
    }
    if (count >= range.least && count <= range.most)
        return QString();
    return QStringLiteral("A %1 question takes %2%3, not %4.")
        .arg(wordFor(ask.kind), optionsInWords(range),
             knowsItsOptions(ask.kind) ? QStringLiteral(", or none for its own") : QString(),
             QString::number(count));
}

ParsedCommand parseAsk(const QStringList &words)
{
    if (words.first().isEmpty())
        return empty("TEXT");
    Ask ask{words.first(), PollType::TEXT, words.mid(1)};
    const auto kind = ask.options.isEmpty() ? std::nullopt : kindNamed(ask.options.first());
    if (kind && !isAskable(*kind)) {
        return wrong(QStringLiteral("A %1 poll has no words of its own: use poll for it, or name "
                                    "one of %2.")
                         .arg(wordFor(*kind), listOf(askableKindWords())));
    }
    if (kind)
        ask.options.removeFirst();
    ask.kind = kind.value_or(ask.options.isEmpty() ? PollType::TEXT : PollType::MULTIPLE);
    const QString error = wrongOptions(ask);
    return error.isEmpty() ? right(ask) : wrong(error);
}

ParsedCommand parseImage(const QStringList &words)
{
    const bool upload = words.first() == QLatin1String("--upload");
    if (words.size() != (upload ? 2 : 1))
        return wrong(QStringLiteral("image takes one file or address, with --upload before it or "
                                    "without."));
    const QString &source = words.last();
    if (source.isEmpty())
        return empty("The name of the image");
    const bool isAddress =
        source.contains(QLatin1String("://")) || source.startsWith(QLatin1String("data:"));
    if (upload && isAddress)
        return wrong(QStringLiteral("Only a file can be uploaded, not '%1'.").arg(source));
    if (isAddress && !isSendable(source))
        return notSendable("An address");
    return right(SetImage{source, isAddress, upload});
}

ParsedCommand parseUpload(const QStringList &words)
{
    return words.first().isEmpty() ? empty("FILE") : right(Upload{words.first()});
}

ParsedCommand parseLesson(const QStringList &words)
{
    const SetLesson lesson{words.first(), QStringList(words.mid(1)).join(QLatin1Char(' '))};
    if (!isSendable(lesson.id))
        return notSendable("A lesson's id");
    if (!isSendable(lesson.name))
        return notSendable("A lesson's name");
    return right(lesson);
}

ParsedCommand parseCurrent(const QStringList &words)
{
    const auto total = integer(words.at(1), 1, MAX_CARDS);
    if (!total)
        return wrong(notAnInteger("TOTAL", 1, MAX_CARDS, words.at(1)));
    const auto number = integer(words.at(0), 1, *total);
    if (!number)
        return wrong(notAnInteger("N", 1, *total, words.at(0)));
    return right(SetCurrentCard{*number, *total});
}

ParsedCommand parseAssessment(const QStringList &words)
{
    return words.first().isEmpty() ? empty("FILE.json") : right(StartAssessment{words.first()});
}

ParsedCommand parseMessage(const QStringList &words)
{
    SendMessage message{QString(), QString(), false, true};
    QStringList rest = words;
    for (; !rest.isEmpty() && rest.first().startsWith(QLatin1String("--")); rest.removeFirst()) {
        if (rest.first() == QLatin1String("--review"))
            message.review = true;
        else if (rest.first() == QLatin1String("--fixed"))
            message.dismissible = false;
        else
            return wrong(QStringLiteral("message knows no option '%1'; it knows --review and "
                                        "--fixed.")
                             .arg(rest.first()));
    }
    if (rest.size() < 2)
        return wrong(QStringLiteral("message needs a learner (or all) and a text."));
    if (rest.first().isEmpty())
        return empty("LEARNER"); // which would be all
    if (rest.first() != QLatin1String("all"))
        message.learner = rest.first();
    message.text = QStringList(rest.mid(1)).join(QLatin1Char(' '));
    return message.text.trimmed().isEmpty() ? empty("TEXT") : right(message);
}

ParsedCommand parseRemove(const QStringList &words)
{
    return words.first().isEmpty() ? empty("LEARNER") : right(RemoveLearner{words.first()});
}

ParsedCommand parseWait(const QStringList &words)
{
    const auto milliseconds = integer(words.first(), 0, MAX_WAIT_MS);
    if (!milliseconds)
        return wrong(notAnInteger("MS", 0, MAX_WAIT_MS, words.first()));
    return right(Wait{*milliseconds});
}

ParsedCommand parseAwait(const QStringList &words)
{
    const bool forLearners = words.at(0) == QLatin1String("learners");
    if (!forLearners && words.at(0) != QLatin1String("responses")) {
        return wrong(
            QStringLiteral("One can await learners or responses, not '%1'.").arg(words.at(0)));
    }
    int timeoutMs = DEFAULT_AWAIT_S * MS_PER_S;
    if (words.size() > 2) {
        const auto seconds = integer(words.at(2), 1, MAX_AWAIT_S);
        if (!seconds)
            return wrong(notAnInteger("SECONDS", 1, MAX_AWAIT_S, words.at(2)));
        timeoutMs = *seconds * MS_PER_S;
    }
    if (!forLearners && words.at(1) == QLatin1String("all"))
        return right(AwaitResponses{AwaitResponses::ALL, timeoutMs});
    const auto count = integer(words.at(1), 0, MAX_AWAITED);
    if (!count)
        return wrong(notAnInteger("N", 0, MAX_AWAITED, words.at(1)));
    if (forLearners)
        return right(AwaitLearners{*count, timeoutMs});
    return right(AwaitResponses{*count, timeoutMs});
}

constexpr int ANY_NUMBER = 1000;

struct CommandRow {
    const char *name;
    int least; // words behind the name
    int most;
    ParsedCommand (*parse)(const QStringList &words);
};

constexpr CommandRow COMMAND_ROWS[] = {
    {"poll", 1, 3, &parsePoll},
    {"ask", 1, ANY_NUMBER, &parseAsk},
    {"assessment", 1, 1, &parseAssessment},
    {"pause", 0, 0, &parseBare<Pause>},
    {"resume", 0, 0, &parseBare<Resume>},
    {"stop", 0, 0, &parseBare<Stop>},
    {"results", 0, 0, &parseBare<ShowResults>},
    {"who", 0, 0, &parseBare<ShowAnswers>},
    {"learners", 0, 0, &parseBare<ListLearners>},
    {"message", 2, ANY_NUMBER, &parseMessage},
    {"remove", 1, 1, &parseRemove},
    {"image", 1, 2, &parseImage},
    {"card", 0, 0, &parseBare<ShowCard>},
    {"upload", 1, 1, &parseUpload},
    {"lesson", 2, ANY_NUMBER, &parseLesson},
    {"current", 2, 2, &parseCurrent},
    {"await", 2, 3, &parseAwait},
    {"wait", 1, 1, &parseWait},
    {"help", 0, 1, &parseHelp},
    {"quit", 0, 0, &parseBare<Quit>},
};

const CommandRow *rowNamed(const QString &name)
{
    for (const CommandRow &row : COMMAND_ROWS) {
        if (name == QLatin1String(row.name))
            return &row;
    }
    return nullptr;
}

} // namespace

ParsedCommand parseCommand(const QString &line)
{
    const Words words = readWords(line);
    if (!words.error.isEmpty())
        return wrong(words.error);
    if (words.list.isEmpty())
        return {};
    const CommandRow *row = rowNamed(words.list.first());
    if (!row)
        return wrong(noSuchCommand(words.list.first()));
    const QStringList arguments = words.list.mid(1);
    if (arguments.size() < row->least || arguments.size() > row->most)
        return wrong(QStringLiteral("Usage: %1").arg(usageOf(words.list.first())));
    return row->parse(arguments);
}

} // namespace Host
