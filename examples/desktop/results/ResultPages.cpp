#include "results/ResultPages.h"

#include <algorithm>
#include <utility>

namespace Desktop
{

using Tarvo::LiveClass;

ResultPages::ResultPages(QAbstractItemModel *results, QObject *parent)
    : QObject(parent), m_results(results)
{
    connect(results, &QAbstractItemModel::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) { takeIn(first, last); });
    connect(results, &QAbstractItemModel::rowsRemoved, this,
            [this](const QModelIndex &, int first, int last) { drop(first, last); });
    connect(results, &QAbstractItemModel::modelReset, this, &ResultPages::takeInAnew);
    connect(results, &QAbstractItemModel::dataChanged, this, &ResultPages::changed);
    takeInAnew();
}

int ResultPages::count() const
{
    return questions().size();
}

ResultPage ResultPages::page(int index) const
{
    if (index < 0 || index >= count())
        return {};
    const Question &question = questions().at(index);
    ResultPage page;
    page.id = id(index);
    page.text = text(index);
    page.respondents = value(question.firstRow, LiveClass::RespondentsRole).toInt();
    const QVariant average = value(question.firstRow, LiveClass::AverageRole);
    if (average.isValid())
        page.average = average.toDouble();
    page.rows = shownOrder(question);
    return page;
}

ResultRow ResultPages::row(int modelRow) const
{
    ResultRow row;
    row.choice = value(modelRow, LiveClass::ChoiceRole).toString();
    row.label = value(modelRow, LiveClass::LabelRole).toString();
    row.count = value(modelRow, LiveClass::CountRole).toInt();
    row.share = value(modelRow, LiveClass::ShareRole).toDouble();
    row.isFree = m_isFree.value(modelRow);
    return row;
}

QVariant ResultPages::value(int row, int role) const
{
    return m_results->index(row, 0).data(role);
}

QString ResultPages::told(int index, int role) const
{
    if (index < 0 || index >= count())
        return QString();
    return value(questions().at(index).firstRow, role).toString();
}

// Choices are there before anybody has answered; a free answer comes with somebody who gives it, and is its
// own label.
bool ResultPages::looksFree(int row) const
{
    if (value(row, LiveClass::CountRole).toInt() == 0)
        return false;
    const QString choice = value(row, LiveClass::ChoiceRole).toString();
    return choice.isEmpty() || choice == value(row, LiveClass::LabelRole).toString();
}

void ResultPages::takeIn(int first, int last)
{
    m_isFree.insert(first, last - first + 1, false);
    for (int row = first; row <= last; ++row)
        m_isFree[row] = looksFree(row);
    m_areQuestionsKnown = false;
    Q_EMIT changed();
}

void ResultPages::drop(int first, int last)
{
    m_isFree.remove(first, last - first + 1);
    m_areQuestionsKnown = false;
    Q_EMIT changed();
}

void ResultPages::takeInAnew()
{
    m_isFree.clear();
    m_areQuestionsKnown = false;
    takeIn(0, m_results->rowCount() - 1);
}

const QVector<ResultPages::Question> &ResultPages::questions() const
{
    if (std::exchange(m_areQuestionsKnown, true))
        return m_questions;
    m_questions.clear();
    QString last;
    for (int row = 0; row < m_isFree.size(); ++row) {
        const QString id = value(row, LiveClass::QuestionRole).toString();
        if (m_questions.isEmpty() || id != last)
            m_questions.append({row, 0});
        ++m_questions.last().rowCount;
        last = id;
    }
    return m_questions;
}

QVector<int> ResultPages::shownOrder(const Question &question) const
{
    QVector<int> rows;
    QVector<std::pair<int, int>> free; // count, row
    for (int row = question.firstRow; row < question.firstRow + question.rowCount; ++row) {
        if (m_isFree.at(row))
            free.append({value(row, LiveClass::CountRole).toInt(), row});
        else
            rows.append(row);
    }
    std::stable_sort(free.begin(), free.end(),
                     [](const auto &one, const auto &other) { return one.first > other.first; });
    for (const auto &countedRow : qAsConst(free))
        rows.append(countedRow.second);
    return rows;
}

} // namespace Desktop
