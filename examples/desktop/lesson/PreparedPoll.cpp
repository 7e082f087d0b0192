#include "lesson/PreparedPoll.h"

#include "lessonfiles/QuestionKinds.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QSaveFile>

namespace Desktop
{

namespace
{

using Tarvo::OrdinalType;
using Tarvo::PollType;

constexpr int MAX_KILOBYTES = 1000;

const QLatin1String POLLS("polls");
const QLatin1String KIND("kind");
const QLatin1String LABELS("labels");
const QLatin1String COUNT("count");
const QLatin1String TEXT("text");
const QLatin1String OPTIONS("options");

QStringList lettersUpTo(int count)
{
    QStringList letters;
    for (int i = 0; i < count; ++i)
        letters.append(QChar('A' + i));
    return letters;
}

QJsonObject toObject(const PreparedPoll &poll)
{
    QJsonObject json{{KIND, Host::wordFor(poll.kind)}};
    if (!poll.text.isEmpty())
        json.insert(TEXT, poll.text);
    if (!poll.options.isEmpty())
        json.insert(OPTIONS, QJsonArray::fromStringList(poll.options));
    if (poll.options.isEmpty() && poll.count > 0) {
        json.insert(LABELS, Host::wordFor(poll.labels));
        json.insert(COUNT, poll.count);
    }
    return json;
}

} // namespace

// ---- Asking --------------------------------------------------------------------------------------

bool PreparedPoll::isAskedInWords() const
{
    return Host::isAskable(kind) && !text.trimmed().isEmpty();
}

Tarvo::Operation PreparedPoll::askIn(Tarvo::LiveClass &live) const
{
    const bool hasOptions = Host::askRange(kind).most > 0 && !Host::knowsItsOptions(kind);
    if (!isAskedInWords())
        return live.startPoll(kind, labels, options.isEmpty() ? count : options.size());
    if (!hasOptions)
        return live.ask(text, kind);
    return live.ask(text, kind, options.isEmpty() ? lettersUpTo(count) : options);
}

// ---- Reading -------------------------------------------------------------------------------------

PreparedPollsRead PreparedPollsFile::read(const QString &fileName)
{
    const QFileInfo info(fileName);
    if (info.exists() && !info.isFile()) // a pipe would never end
        return {{}, tr("%1 is no ordinary file.").arg(fileName)};
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, tr("%1 cannot be opened: %2.").arg(fileName, file.errorString())};
    const QByteArray json = file.read(MAX_KILOBYTES * 1000 + 1);
    if (json.size() > MAX_KILOBYTES * 1000)
        return {{}, tr("%1 is larger than %2 kB.").arg(fileName).arg(MAX_KILOBYTES)};
    PreparedPollsRead result = parse(json);
    if (!result.error.isEmpty())
        result.error.prepend(fileName + QLatin1String(": "));
    return result;
}

PreparedPollsRead PreparedPollsFile::parse(const QByteArray &json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        const int line = json.left(error.offset).count('\n') + 1;
        return {{}, tr("Line %1: %2.").arg(line).arg(error.errorString())};
    }
    if (!document.object().value(POLLS).isArray())
        return {{}, tr("There is no list \"polls\" in it.")};
    const QJsonArray polls = document.object().value(POLLS).toArray();
    if (polls.size() > MAX_POLLS)
        return {{}, tr("There are more than %1 polls in it.").arg(MAX_POLLS)};
    PreparedPollsRead result;
    for (const QJsonValue &value : polls) {
        PreparedPoll poll;
        const QString wrong = readPoll(value.toObject(), poll);
        if (!wrong.isEmpty())
            return {{}, tr("Poll %1: %2").arg(result.polls.size() + 1).arg(wrong)};
        result.polls.append(poll);
    }
    return result;
}

QString PreparedPollsFile::readPoll(const QJsonObject &json, PreparedPoll &poll)
{
    const QString kindName = json.value(KIND).toString();
    const auto kind = Host::kindNamed(kindName);
    if (!kind)
        return tr("There is no kind of poll \"%1\".").arg(kindName.left(MAX_OPTION));
    poll.kind = *kind;
    poll.labels = Host::usualLabels(poll.kind);
    if (json.contains(LABELS)) {
        const auto labels = Host::labelsNamed(json.value(LABELS).toString());
        if (!labels)
            return tr("There are no such \"labels\".");
        poll.labels = *labels;
    }
    poll.text = json.value(TEXT).toString();
    if (poll.text.size() > MAX_TEXT)
        return tr("Its text is longer than %1 characters.").arg(MAX_TEXT);
    return readOptions(json, poll);
}

QString PreparedPollsFile::readOptions(const QJsonObject &json, PreparedPoll &poll)
{
    const QJsonArray options = json.value(OPTIONS).toArray();
    if (options.size() > MAX_OPTIONS)
        return tr("It has more than %1 options.").arg(MAX_OPTIONS);
    for (const QJsonValue &option : options) {
        if (!option.isString() || option.toString().size() > MAX_OPTION)
            return tr("Its options are texts of up to %1 characters.").arg(MAX_OPTION);
        poll.options.append(option.toString());
    }
    const auto range = Host::pollRange(poll.kind, poll.labels);
    const int usual = Host::usualCount(poll.kind, poll.labels);
    poll.count = json.value(COUNT).toInt(options.isEmpty() ? usual : options.size());
    if (poll.count < range.least || poll.count > range.most)
        return tr("It has %1 options; it takes %2 to %3.")
            .arg(poll.count)
            .arg(range.least)
            .arg(range.most);
    return QString();
}

// ---- Writing -------------------------------------------------------------------------------------

QByteArray PreparedPollsFile::toJson(const QVector<PreparedPoll> &polls)
{
    QJsonArray array;
    for (const PreparedPoll &poll : polls)
        array.append(toObject(poll));
    return QJsonDocument(QJsonObject{{POLLS, array}}).toJson();
}

QString PreparedPollsFile::write(const QString &fileName, const QVector<PreparedPoll> &polls)
{
    QDir().mkpath(QFileInfo(fileName).absolutePath());
    QSaveFile file(fileName);
    const bool isOpen = file.open(QIODevice::WriteOnly);
    if (isOpen)
        file.write(toJson(polls));
    if (isOpen && file.commit())
        return QString();
    return tr("%1 could not be written: %2.").arg(fileName, file.errorString());
}

} // namespace Desktop
