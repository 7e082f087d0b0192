#include "CommandHelp.h"
#include "CommandParser.h"
#include "CommandWords.h"
#include "lessonfiles/QuestionKinds.h"

#include <QtCore/QDir>

#include <algorithm>

namespace Host
{

namespace
{

// What the candidates depend on.
struct Place {
    QStringList arguments; // the complete ones before it
    QString word;          // what has been typed of it
    const QStringList &learners;

    int number() const { return arguments.size(); }
};

// Files and folders in the folder that the word names so far, with that folder before them.
QStringList filesAt(const Place &place, const QString &pattern)
{
    const QString folder = place.word.left(place.word.lastIndexOf(QLatin1Char('/')) + 1);
    QDir::Filters filters = QDir::AllDirs | QDir::Files | QDir::NoDotAndDotDot;
    if (place.word.mid(folder.size()).startsWith(QLatin1Char('.')))
        filters |= QDir::Hidden;
    const QFileInfoList entries = QDir(folder.isEmpty() ? QStringLiteral(".") : folder)
                                      .entryInfoList({pattern}, filters, QDir::Name);
    QStringList names;
    for (const QFileInfo &entry : entries) {
        names.append(folder + entry.fileName() + (entry.isDir() ? QStringLiteral("/") : QString()));
    }
    return names;
}

QStringList anyFileAt(const Place &place)
{
    return filesAt(place, QStringLiteral("*"));
}

// ---- Commands ------------------------------------------------------------------------------------

QStringList forHelp(const Place &place)
{
    return place.number() == 0 ? commandNames() : QStringList();
}

QStringList forPoll(const Place &place)
{
    if (place.number() == 0)
        return kindWords();
    return place.number() == 1 ? labelWords() : QStringList();
}

QStringList forAsk(const Place &place)
{
    return place.number() == 1 ? askableKindWords() : QStringList();
}

QStringList forImage(const Place &place)
{
    const QString upload = QStringLiteral("--upload");
    if (place.number() == 0)
        return QStringList{upload} + anyFileAt(place);
    return place.arguments == QStringList{upload} ? anyFileAt(place) : QStringList();
}

QStringList forUpload(const Place &place)
{
    return place.number() == 0 ? anyFileAt(place) : QStringList();
}

QStringList forAssessment(const Place &place)
{
    return place.number() == 0 ? filesAt(place, QStringLiteral("*.json")) : QStringList();
}

QStringList forMessage(const Place &place)
{
    QStringList options{QStringLiteral("--review"), QStringLiteral("--fixed")};
    for (const QString &argument : place.arguments) {
        if (options.removeAll(argument) == 0)
            return {}; // the learner stands there already
    }
    return options + QStringList{QStringLiteral("all")} + place.learners;
}

QStringList forRemove(const Place &place)
{
    return place.number() == 0 ? place.learners : QStringList();
}

QStringList forAwait(const Place &place)
{
    if (place.number() == 0)
        return {QStringLiteral("learners"), QStringLiteral("responses")};
    const bool isForResponses = place.arguments == QStringList{QStringLiteral("responses")};
    return isForResponses ? QStringList{QStringLiteral("all")} : QStringList();
}

struct CompletionRow {
    const char *command;
    QStringList (*candidates)(const Place &place);
};

constexpr CompletionRow COMPLETION_ROWS[] = {
    {"help", &forHelp},       {"poll", &forPoll},     {"ask", &forAsk},
    {"image", &forImage},     {"upload", &forUpload}, {"assessment", &forAssessment},
    {"message", &forMessage}, {"remove", &forRemove}, {"await", &forAwait},
};

QStringList candidates(const UnfinishedLine &line, const QStringList &learners)
{
    if (line.isInComment)
        return {};
    if (line.complete.isEmpty())
        return commandNames();
    for (const CompletionRow &row : COMPLETION_ROWS) {
        if (line.complete.first() == QLatin1String(row.command))
            return row.candidates({line.complete.mid(1), line.last, learners});
    }
    return {};
}

// Names come from devices and disks: what is no text cannot be typed, nor put at the prompt.
bool isTypeable(const QString &word)
{
    return !word.isEmpty() && std::all_of(word.begin(), word.end(), [](QChar character) {
        return character.isPrint() || character.isSurrogate();
    });
}

} // namespace

QStringList completions(const QString &lineUpToCursor, const QStringList &learners)
{
    const UnfinishedLine line = readUnfinished(lineUpToCursor);
    const QString typed = lineUpToCursor.mid(line.lastBegins);
    const QChar first = typed.isEmpty() ? QChar() : typed.at(0);
    QStringList words;
    const QStringList all = candidates(line, learners);
    for (const QString &word : all) {
        if (word.startsWith(line.last) && isTypeable(word))
            words.append(quoted(word, first));
    }
    words.removeDuplicates();
    return words;
}

int wordBegin(const QString &lineUpToCursor)
{
    return readUnfinished(lineUpToCursor).lastBegins;
}

} // namespace Host
