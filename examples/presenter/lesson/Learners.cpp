#include "lesson/Learners.h"

#include "console/Printable.h"
#include "console/TextWidth.h"

#include "host/LiveClass.h"

#include <QtCore/QVector>

#include <algorithm>

namespace Host
{

namespace
{

using Tarvo::LiveClass;

// Free answers can be as long as a device likes.
constexpr int SHOWN_COLUMNS = 60;
// Longer names are cut where answers stand beside them.
constexpr int MAX_NAME_COLUMNS = 24;

struct Row {
    int number = 0; // 0: gone
    QString deviceId;
    QString name;
    QString deviceType;
    bool hasAnswered = false;
    QString answer;
};

QModelIndex indexOf(const QAbstractItemModel &learners, const QString &deviceId)
{
    for (int row = 0; row < learners.rowCount(); ++row) {
        const QModelIndex index = learners.index(row, 0);
        if (index.data(LiveClass::DeviceIdRole).toString() == deviceId)
            return index;
    }
    return QModelIndex();
}

QVector<Row> rowsOf(const QAbstractItemModel &learners)
{
    QVector<Row> rows;
    int number = 0;
    for (int i = 0; i < learners.rowCount(); ++i) {
        const QModelIndex index = learners.index(i, 0);
        const bool isPresent = index.data(LiveClass::PresentRole).toBool();
        rows.append({isPresent ? ++number : 0, index.data(LiveClass::DeviceIdRole).toString(),
                     index.data(Qt::DisplayRole).toString(),
                     index.data(LiveClass::DeviceTypeRole).toString(),
                     index.data(LiveClass::AnsweredRole).toBool(),
                     index.data(LiveClass::LastAnswerRole).toString()});
    }
    return rows;
}

QVector<Row> presentRowsOf(const QAbstractItemModel &learners)
{
    QVector<Row> rows = rowsOf(learners);
    rows.erase(
        std::remove_if(rows.begin(), rows.end(), [](const Row &row) { return row.number == 0; }),
        rows.end());
    return rows;
}

FoundLearner found(const Row &row)
{
    return {row.deviceId, row.name, row.deviceType, QString()};
}

FoundLearner notFound(const QString &why)
{
    return {QString(), QString(), QString(), why};
}

// "1, 4 or 5"
QString choiceOf(const QVector<Row> &rows)
{
    QStringList numbers;
    for (const Row &row : rows)
        numbers.append(QString::number(row.number));
    const QString last = numbers.takeLast();
    return numbers.join(QStringLiteral(", ")) + QStringLiteral(" or ") + last;
}

QString answerText(const Row &row)
{
    if (!row.hasAnswered)
        return QStringLiteral("not yet");
    const QString answer = printable(beginning(row.answer)).trimmed();
    return answer.isEmpty() ? QStringLiteral("(empty)") : answer;
}

} // namespace

FoundLearner findLearner(const QAbstractItemModel &learners, const QString &word)
{
    const QVector<Row> rows = presentRowsOf(learners);
    QVector<Row> namesakes;
    for (const Row &row : rows) {
        if (row.deviceId == word)
            return found(row);
        if (row.name == word)
            namesakes.append(row);
    }
    if (namesakes.size() == 1)
        return found(namesakes.first());
    const int number = word.toInt();
    if (number >= 1 && number <= rows.size())
        return found(rows.at(number - 1));
    if (namesakes.isEmpty())
        return notFound(QStringLiteral("There is no learner '%1'.").arg(word));
    return notFound(QStringLiteral("%1 learners are called %2: use %3.")
                        .arg(QString::number(namesakes.size()), word, choiceOf(namesakes)));
}

QString nameOf(const QAbstractItemModel &learners, const QString &deviceId)
{
    const QModelIndex index = indexOf(learners, deviceId);
    return shown(index.isValid() ? index.data().toString() : deviceId);
}

QString nameAndDevice(const QAbstractItemModel &learners, const QString &deviceId)
{
    const QModelIndex index = indexOf(learners, deviceId);
    if (!index.isValid())
        return QString();
    return nameAndDevice(index.data().toString(), index.data(LiveClass::DeviceTypeRole).toString());
}

QString nameAndDevice(const QString &name, const QString &deviceType)
{
    return QStringLiteral("%1 (%2)").arg(shown(name), shown(deviceType));
}

QStringList namesOf(const QAbstractItemModel &learners)
{
    QStringList names;
    const QVector<Row> rows = presentRowsOf(learners);
    for (const Row &row : rows)
        names.append(row.name);
    return names;
}

QString learnersInWords(int count)
{
    return count == 1 ? QStringLiteral("1 learner") : QStringLiteral("%1 learners").arg(count);
}

QStringList learnerLines(const QAbstractItemModel &learners)
{
    const QVector<Row> rows = presentRowsOf(learners);
    QStringList lines{learnersInWords(rows.size()) + QLatin1Char(rows.isEmpty() ? '.' : ':')};
    for (const Row &row : rows) {
        lines.append(QStringLiteral("%1. %2, device %3")
                         .arg(QString::number(row.number), nameAndDevice(row.name, row.deviceType),
                              shown(row.deviceId)));
    }
    return lines;
}

QStringList answerLines(const QAbstractItemModel &learners, int columns)
{
    const QVector<Row> rows = rowsOf(learners);
    int nameColumns = 0;
    int answered = 0;
    for (const Row &row : rows) {
        nameColumns = std::clamp(textWidth(shown(row.name)), nameColumns, MAX_NAME_COLUMNS);
        answered += row.hasAnswered ? 1 : 0;
    }
    const int numberColumns = QString::number(rows.size()).size() + 2;

    QStringList lines{QStringLiteral("%1 of %2 answered%3")
                          .arg(QString::number(answered), learnersInWords(rows.size()),
                               rows.isEmpty() ? QStringLiteral(".") : QStringLiteral(":"))};
    for (const Row &row : rows) {
        const QString number =
            row.number == 0 ? QStringLiteral("-") : QStringLiteral("%1.").arg(row.number);
        lines.append(padded(number, numberColumns)
                     + padded(elided(shown(row.name), nameColumns), nameColumns + 2)
                     + (row.number == 0 ? QStringLiteral("(gone) ") : QString()) + answerText(row));
    }
    for (QString &line : lines)
        line = elided(line, qMax(1, columns));
    return lines;
}

QString shown(const QString &textOfOthers)
{
    return elided(printable(beginning(textOfOthers)), SHOWN_COLUMNS);
}

} // namespace Host
