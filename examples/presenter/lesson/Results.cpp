#include "lesson/Results.h"

#include "console/Printable.h"
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

// Of results that are printed.
constexpr int MOST_LINES = 1000;
// Longer answers are no numbers.
constexpr int MAX_NUMBER_LENGTH = 40;

std::optional<double> finiteNumber(const QString &text)
{
    if (text.size() > MAX_NUMBER_LENGTH)
        return std::nullopt;
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
    if (valueOfA && *valueOfA != *valueOfB)
        return *valueOfA < *valueOfB;
    return QStringView(a.label).left(KEPT_CHARACTERS) < QStringView(b.label).left(KEPT_CHARACTERS);
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
        question.rows.append({index.data(LiveClass::LabelRole).toString(),
                              index.data(LiveClass::CountRole).toInt()});
        question.choices = asked.choices.value(id);
        question.respondents = index.data(LiveClass::RespondentsRole).toInt();
    }
    return questions;
}

// The first rows of a question, as many as there are lines for; an answer can have thousands of
// characters, which no window shows.
QVector<BarRow> firstRows(Counted question, int count)
{
    QVector<BarRow> &rows = question.rows;
    const int shown = qBound(0, count, rows.size());
    const int choices = qMin(question.choices, rows.size());
    if (shown > choices)
        std::partial_sort(rows.begin() + choices, rows.begin() + shown, rows.end(), comesBefore);
    rows.resize(shown);
    for (BarRow &row : rows)
        row.label = beginning(row.label);
    return rows;
}

QString heading(const Asked &asked, bool isPaused, int responses, int expected)
{
    return QStringLiteral("%1%2: %3 of %4 answered")
        .arg(asked.title, isPaused ? QStringLiteral(" (paused)") : QString(),
             QString::number(responses), QString::number(qMax(expected, responses)));
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

ShownResults shownResults(const QAbstractItemModel &results, const Asked &asked, int learners,
                          bool isPaused, int columns, BarStyle style, int mostLines)
{
    const int expected = learners * asked.questions.size();
    const QVector<Counted> questions = countedIn(results, asked);
    int responses = 0;
    for (const Counted &question : questions)
        responses += question.respondents;
    ShownResults shown{{heading(asked, isPaused, responses, expected)}};
    for (int i = 0; i < questions.size(); ++i) {
        if (!asked.questions.at(i).isEmpty())
            shown.lines.append(asked.questions.at(i));
        const Counted &question = questions.at(i);
        const QVector<BarRow> rows = firstRows(question, mostLines - shown.lines.size());
        shown.lines += renderBars(rows, question.respondents, columns, style);
        shown.further += question.rows.size() - rows.size();
    }
    for (QString &line : shown.lines)
        line = elided(printable(line), qMax(1, columns));
    return shown;
}

QStringList resultLines(const QAbstractItemModel &results, const Asked &asked, int learners,
                        bool isPaused, int columns, BarStyle style)
{
    ShownResults shown =
        shownResults(results, asked, learners, isPaused, columns, style, MOST_LINES);
    if (shown.further > 0)
        shown.lines.append(elided(QStringLiteral("… %1 more").arg(shown.further), columns));
    return shown.lines;
}

} // namespace Host
