#include "CommandParser.h"

#include <QtCore/QMap>

namespace Host
{

namespace
{

using namespace Commands;
using Tarvo::OrdinalType;
using Tarvo::PollType;

constexpr int MAX_OPTIONS = 100;
constexpr int MAX_WAIT_MS = 10 * 60 * 1000;
constexpr int MAX_AWAIT_S = 3600;
constexpr int DEFAULT_AWAIT_S = 30;
constexpr int MS_PER_S = 1000;

// ---- Words ---------------------------------------------------------------------------------------

struct Words {
    QStringList list;
    QString error;
};

// A word that has begun is kept also when it is empty: "" is an argument.
class WordReader
{
public:
    Words read(const QString &line)
    {
        for (const QChar character : line) {
            if (!m_inWord && character == QLatin1Char('#'))
                break;
            take(character);
        }
        if (!m_quote.isNull())
            return {{}, QStringLiteral("A quote is opened but not closed.")};
        if (m_isEscaped)
            return {{}, QStringLiteral("The line ends with a backslash.")};
        endWord();
        return {m_words, QString()};
    }

private:
    void take(QChar character)
    {
        if (m_isEscaped) {
            m_word.append(character);
            m_isEscaped = false;
        } else if (character == QLatin1Char('\\') && m_quote != QLatin1Char('\'')) {
            m_inWord = true;
            m_isEscaped = true;
        } else if (!m_quote.isNull()) {
            if (character == m_quote)
                m_quote = QChar();
            else
                m_word.append(character);
        } else if (character == QLatin1Char('"') || character == QLatin1Char('\'')) {
            m_inWord = true;
            m_quote = character;
        } else if (character.isSpace()) {
            endWord();
        } else {
            m_inWord = true;
            m_word.append(character);
        }
    }

    void endWord()
    {
        if (m_inWord)
            m_words.append(m_word);
        m_word.clear();
        m_inWord = false;
    }

    QStringList m_words;
    QString m_word;
    QChar m_quote;
    bool m_inWord = false;
    bool m_isEscaped = false;
};

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

// A value by its wire name; blanks may be written as hyphens.
template<typename Key>
std::optional<Key> valueNamed(const QMap<Key, QString> &names, const QString &word)
{
    for (auto name = names.constBegin(); name != names.constEnd(); ++name) {
        QString hyphenated = name.value();
        hyphenated.replace(QLatin1Char(' '), QLatin1Char('-'));
        if (word == name.value() || word == hyphenated)
            return name.key();
    }
    return std::nullopt;
}

template<typename Key> QString listed(const QMap<Key, QString> &names)
{
    QStringList words = names.values();
    for (QString &word : words)
        word.replace(QLatin1Char(' '), QLatin1Char('-'));
    return words.join(QStringLiteral(", "));
}

// What a teacher most likely means by a kind of poll alone.
struct PollDefaults {
    OrdinalType::ORDINAL_TYPE ordinal;
    int count;
};

PollDefaults defaultsFor(PollType::POLL_TYPE kind)
{
    switch (kind) {
    case PollType::TRUE_FALSE:
        return {OrdinalType::TRUE_FALSE, 2};
    case PollType::YES_NO_OTHER:
        return {OrdinalType::YES_NO_OTHER, 3};
    case PollType::MULTIPLE:
    case PollType::SORT:
        return {OrdinalType::ALPHA_UPPER, 4};
    case PollType::SCALE:
        return {OrdinalType::NUMBER, 5};
    case PollType::TEXT:
    case PollType::WORD_SEED:
    case PollType::NUMBER:
    case PollType::CREATIVE:
    case PollType::MATH_FORMULA:
        break;
    }
    return {OrdinalType::GENERIC, 0};
}

// ---- Commands ------------------------------------------------------------------------------------
// Each takes the words behind the command's name; their number has been looked at already.

template<typename Record> ParsedCommand parseBare(const QStringList &)
{
    return right(Record{});
}

ParsedCommand parsePoll(const QStringList &words)
{
    const auto kind = valueNamed(PollType::POLL_TYPE_STR(), words.at(0));
    if (!kind) {
        return wrong(QStringLiteral("There is no kind of poll '%1'; there are %2.")
                         .arg(words.at(0), listed(PollType::POLL_TYPE_STR())));
    }
    const PollDefaults defaults = defaultsFor(*kind);
    StartPoll poll{*kind, defaults.ordinal, defaults.count};
    if (words.size() > 1) {
        const auto ordinal = valueNamed(OrdinalType::ORDINAL_TYPE_STR(), words.at(1));
        if (!ordinal) {
            return wrong(QStringLiteral("There are no labels '%1'; there are %2.")
                             .arg(words.at(1), listed(OrdinalType::ORDINAL_TYPE_STR())));
        }
        poll.ordinal = *ordinal;
    }
    if (words.size() > 2) {
        const auto count = integer(words.at(2), 0, MAX_OPTIONS);
        if (!count)
            return wrong(notAnInteger("COUNT", 0, MAX_OPTIONS, words.at(2)));
        poll.count = *count;
    }
    return right(poll);
}

ParsedCommand parseImage(const QStringList &words)
{
    const bool upload = words.first() == QLatin1String("--upload");
    if (words.size() != (upload ? 2 : 1))
        return wrong(QStringLiteral("image takes one file or address, with --upload before it or "
                                    "without."));
    const QString &source = words.last();
    if (source.isEmpty())
        return wrong(QStringLiteral("The name of the image is empty."));
    const bool isAddress =
        source.contains(QLatin1String("://")) || source.startsWith(QLatin1String("data:"));
    if (upload && isAddress)
        return wrong(QStringLiteral("Only a file can be uploaded, not '%1'.").arg(source));
    return right(SetImage{source, isAddress, upload});
}

ParsedCommand parseUpload(const QStringList &words)
{
    return right(Upload{words.first()});
}

ParsedCommand parseLesson(const QStringList &words)
{
    return right(SetLesson{words.first(), QStringList(words.mid(1)).join(QLatin1Char(' '))});
}

ParsedCommand parseCurrent(const QStringList &words)
{
    constexpr int MAX_CARDS = 10000;
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
    return right(StartAssessment{words.first()});
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
            return wrong(QStringLiteral("message knows no option '%1'.").arg(rest.first()));
    }
    if (rest.size() < 2)
        return wrong(QStringLiteral("message needs a learner (or all) and a text."));
    if (rest.first() != QLatin1String("all"))
        message.learner = rest.first();
    message.text = QStringList(rest.mid(1)).join(QLatin1Char(' '));
    return right(message);
}

ParsedCommand parseRemove(const QStringList &words)
{
    return right(RemoveLearner{words.first()});
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
    constexpr int MAX_AWAITED = 1000000;
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
    const char *arguments;
    const char *help;
    int least; // words behind the name
    int most;
    ParsedCommand (*parse)(const QStringList &words);
};

// clang-format off
constexpr CommandRow COMMAND_ROWS[] = {
    {"help",       "",                          "show this list",                                                0, 0, &parseBare<Help>},
    {"learners",   "",                          "list the learners who are there",                               0, 0, &parseBare<ListLearners>},
    {"poll",       "KIND [LABELS [COUNT]]",     "start a poll with COUNT options",                               1, 3, &parsePoll},
    {"pause",      "",                          "pause the poll or assessment",                                  0, 0, &parseBare<Pause>},
    {"resume",     "",                          "go on with it",                                                 0, 0, &parseBare<Resume>},
    {"results",    "",                          "show the results so far",                                       0, 0, &parseBare<ShowResults>},
    {"stop",       "",                          "stop the poll or assessment and show its results",              0, 0, &parseBare<Stop>},
    {"image",      "[--upload] FILE|URL",       "set the image of the next poll or card",                        1, 2, &parseImage},
    {"card",       "",                          "show the image as a card of its own",                           0, 0, &parseBare<ShowCard>},
    {"upload",     "FILE",                      "put a file into the service's store",                           1, 1, &parseUpload},
    {"lesson",     "ID NAME",                   "tell the remote which lesson this is",                          2, ANY_NUMBER, &parseLesson},
    {"current",    "N TOTAL",                   "tell the remote that card N of TOTAL is shown",                 2, 2, &parseCurrent},
    {"assessment", "FILE.json",                 "start an assessment; each learner asks for its questions",      1, 1, &parseAssessment},
    {"message",    "[--review] [--fixed] LEARNER|all TEXT", "show a text on a learner's device",                 2, ANY_NUMBER, &parseMessage},
    {"remove",     "LEARNER",                   "remove a learner from the session",                             1, 1, &parseRemove},
    {"await",      "learners N [SECONDS]",      "wait until N learners are there (30 s at most)",                2, 3, &parseAwait},
    {"await",      "responses N|all [SECONDS]", "wait until N responses have come, or everybody's (30 s at most)", 2, 3, &parseAwait},
    {"wait",       "MS",                        "wait for MS milliseconds",                                      1, 1, &parseWait},
    {"quit",       "",                          "stop the session and leave",                                    0, 0, &parseBare<Quit>},
};
// clang-format on

const CommandRow *rowNamed(const QString &name)
{
    for (const CommandRow &row : COMMAND_ROWS) {
        if (name == QLatin1String(row.name))
            return &row;
    }
    return nullptr;
}

QString usage(const CommandRow &row)
{
    return (QLatin1String(row.name) + QLatin1Char(' ') + QLatin1String(row.arguments)).trimmed();
}

} // namespace

ParsedCommand parseCommand(const QString &line)
{
    const Words words = WordReader().read(line);
    if (!words.error.isEmpty())
        return wrong(words.error);
    if (words.list.isEmpty())
        return {};
    const CommandRow *row = rowNamed(words.list.first());
    if (!row) {
        return wrong(
            QStringLiteral("There is no command '%1'; help lists them.").arg(words.list.first()));
    }
    const QStringList arguments = words.list.mid(1);
    if (arguments.size() < row->least || arguments.size() > row->most)
        return wrong(QStringLiteral("Usage: %1").arg(usage(*row)));
    return row->parse(arguments);
}

QStringList commandHelp()
{
    int widest = 0;
    for (const CommandRow &row : COMMAND_ROWS)
        widest = qMax(widest, usage(row).size());
    QStringList lines;
    for (const CommandRow &row : COMMAND_ROWS) {
        lines.append(QStringLiteral("  %1  %2")
                         .arg(usage(row).leftJustified(widest), QLatin1String(row.help)));
    }
    lines.append(QStringLiteral("KIND: %1").arg(listed(PollType::POLL_TYPE_STR())));
    lines.append(QStringLiteral("LABELS: %1").arg(listed(OrdinalType::ORDINAL_TYPE_STR())));
    lines.append(
        QStringLiteral("LEARNER: a device id, a name, or the number in the list of learners"));
    return lines;
}

} // namespace Host
