#include "lesson/Results.h"

#include "console/TextWidth.h"

#include "host/LiveClass.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace Host
{

namespace
{

using Tarvo::LiveClass;

// An answer can have thousands of characters, which no window shows.
constexpr int MAX_LABEL_LENGTH = 500;

std::optional<double> finiteNumber(const QString &text)
{
    bool isNumber = false;
    const double value =
        text.toDouble(&isNumber); // which also reads "nan", which has no place in an order
    if (!isNumber || !std::isfinite(value))
        return std::nullopt;
    return value;
}

// The most frequent first; numbers that are as frequent in the order of their values.
bool comesBefore(const BarRow &a, const BarRow &b)
{
    if (a.count != b.count)
        return a.count > b.count;
    const std::optional<double> valueOfA = finiteNumber(a.label);
    const std::optional<double> valueOfB = finiteNumber(b.label);
    if (valueOfA.has_value() != valueOfB.has_value())
        return valueOfA.has_value();
    return valueOfA ? *valueOfA < *valueOfB : a.label < b.label;
}

// One question's part of the results.
struct Counted {
    QVector<BarRow> rows;
    int choices = 0;
    int respondents = 0;
};

QVector<Counted> countedIn(const QAbstractItemModel &results, const Asked &asked)
{
    QVector<Counted> questions(asked.questions.size());
    for (int row = 0; row < results.rowCount(); ++row) {
        const QModelIndex index = results.index(row, 0);
        const QString id = index.data(LiveClass::QuestionRole).toString();
        const int place = asked.indexOf(id);
        if (place < 0)
            continue;
        Counted &question = questions[place];
        question.rows.append({index.data(LiveClass::LabelRole).toString().left(MAX_LABEL_LENGTH),
                              index.data(LiveClass::CountRole).toInt()});
        question.choices = asked.choices.value(id);
        question.respondents = index.data(LiveClass::RespondentsRole).toInt();
    }
    for (Counted &question : questions)
        std::stable_sort(question.rows.begin() + qMin(question.choices, question.rows.size()),
                         question.rows.end(), comesBefore);
    return questions;
}

} // namespace

int Asked::indexOf(const QString &questionId) const
{
    if (questions.size() == 1)
        return 0;
    const int dash = questionId.lastIndexOf(QLatin1Char('-'));
    bool isNumber = false;
    const int index = questionId.mid(dash + 1).toInt(&isNumber) - firstNumber;
    return isNumber && index >= 0 && index < questions.size() ? index : -1;
}

QHash<QString, int> countChoices(const QAbstractItemModel &results)
{
    QHash<QString, int> choices;
    for (int row = 0; row < results.rowCount(); ++row)
        ++choices[results.index(row, 0).data(LiveClass::QuestionRole).toString()];
    return choices;
}

int countResponses(const QAbstractItemModel &results)
{
    QHash<QString, int> respondents;
    for (int row = 0; row < results.rowCount(); ++row) {
        const QModelIndex index = results.index(row, 0);
        respondents.insert(index.data(LiveClass::QuestionRole).toString(),
                           index.data(LiveClass::RespondentsRole).toInt());
    }
    int responses = 0;
    for (const int count : qAsConst(respondents))
        responses += count;
    return responses;
}

QStringList resultLines(const QAbstractItemModel &results, const Asked &asked, int learners,
                        bool isPaused, int columns, BarStyle style)
{
    const int responses = countResponses(results);
    const int expected = learners * asked.questions.size();
    QStringList lines{QStringLiteral("%1%2: %3 of %4 answered")
                          .arg(asked.title, isPaused ? QStringLiteral(" (paused)") : QString(),
                               QString::number(responses),
                               QString::number(qMax(expected, responses)))};
    const QVector<Counted> questions = countedIn(results, asked);
    for (int i = 0; i < questions.size(); ++i) {
        if (!asked.questions.at(i).isEmpty())
            lines.append(asked.questions.at(i));
        const Counted &question = questions.at(i);
        lines += renderBars(question.rows, question.respondents, columns, style);
    }
    for (QString &line : lines)
        line = elided(printable(line), qMax(1, columns));
    return lines;
}

} // namespace Host
