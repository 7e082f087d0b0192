#include "host/ResultsModel.h"

#include "host/LiveClass.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Tarvo
{

namespace
{

// What answers change about the rows that are there.
QVector<int> countedRoles()
{
    return {LiveClass::CountRole, LiveClass::ShareRole, LiveClass::AverageRole,
            LiveClass::RespondentsRole};
}

double shareOf(const QuestionTally::Row &row, const QuestionTally &tally)
{
    return tally.respondents() == 0 ? 0 : static_cast<double>(row.count) / tally.respondents();
}

QVariant averageOf(const QuestionTally &tally)
{
    const std::optional<double> average = tally.average();
    return average ? QVariant(*average) : QVariant();
}

} // namespace

ResultsModel::ResultsModel(QObject *parent) : QAbstractListModel(parent) { }

int ResultsModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : m_rowCount;
}

QVariant ResultsModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= m_rowCount)
        return {};
    const Question &question = questionAt(index.row());
    const QuestionTally &tally = *question.tally;
    const QuestionTally::Row &row = tally.row(index.row() - question.firstRow);
    switch (role) {
    case LiveClass::QuestionRole:
        return tally.id();
    case LiveClass::QuestionTextRole:
        return tally.text();
    case LiveClass::ChoiceRole:
        return row.choice;
    case Qt::DisplayRole:
    case LiveClass::LabelRole:
        return row.label;
    case LiveClass::CountRole:
        return row.count;
    case LiveClass::ShareRole:
        return shareOf(row, tally);
    case LiveClass::AverageRole:
        return averageOf(tally);
    case LiveClass::RespondentsRole:
        return tally.respondents();
    default:
        return {};
    }
}

QHash<int, QByteArray> ResultsModel::roleNames() const
{
    return {{Qt::DisplayRole, QByteArrayLiteral("display")},
            {LiveClass::QuestionRole, QByteArrayLiteral("question")},
            {LiveClass::QuestionTextRole, QByteArrayLiteral("questionText")},
            {LiveClass::ChoiceRole, QByteArrayLiteral("choice")},
            {LiveClass::LabelRole, QByteArrayLiteral("label")},
            {LiveClass::CountRole, QByteArrayLiteral("count")},
            {LiveClass::ShareRole, QByteArrayLiteral("share")},
            {LiveClass::AverageRole, QByteArrayLiteral("average")},
            {LiveClass::RespondentsRole, QByteArrayLiteral("respondents")}};
}

void ResultsModel::begin(const QVector<CountedQuestion> &questions)
{
    m_run = std::make_shared<Run>();
    m_isFlushing = false;
    const RunPointer run = m_run;
    removeAll();
    if (!run.expired())
        insertAll(questions);
}

void ResultsModel::removeAll()
{
    const bool hasRows = m_rowCount > 0;
    if (hasRows)
        beginRemoveRows({}, 0, m_rowCount - 1);
    m_questions.clear();
    m_questionOf.clear();
    m_rowCount = 0;
    if (hasRows)
        endRemoveRows();
}

void ResultsModel::insertAll(const QVector<CountedQuestion> &questions)
{
    std::vector<Question> fresh;
    int rows = 0;
    for (const CountedQuestion &question : questions) {
        fresh.push_back({std::make_unique<QuestionTally>(question), rows});
        rows += fresh.back().tally->rowCount();
    }

    if (rows > 0)
        beginInsertRows({}, 0, rows - 1);
    m_questions = std::move(fresh);
    for (int index = 0; index < questions.size(); ++index)
        m_questionOf.insert(questions.at(index).id, index);
    m_rowCount = rows;
    if (rows > 0)
        endInsertRows();
}

bool ResultsModel::answer(const QString &deviceId, const QString &questionId, const QString &answer,
                          int responseTimeMs)
{
    const auto question = m_questionOf.constFind(questionId);
    if (question == m_questionOf.constEnd())
        return false;
    at(question.value()).tally->answer(deviceId, answer, responseTimeMs);
    return true;
}

void ResultsModel::flush()
{
    if (std::exchange(m_isFlushing, true))
        return;
    const RunPointer run = m_run;
    for (int index = 0; !run.expired() && index < questionCount(); ++index)
        removeGone(at(index), run);
    if (!run.expired())
        tellChanges(run);
    for (int index = 0; !run.expired() && index < questionCount(); ++index)
        insertArrivals(at(index));
    if (!run.expired())
        m_isFlushing = false;
}

// From the end, whole ranges at once, so that little is moved for each.
void ResultsModel::removeGone(const Question &question, const RunPointer &run)
{
    QuestionTally &tally = *question.tally;
    if (!tally.takeHasGone())
        return;
    RowRange gone = tally.lastGone(tally.rowCount());
    while (gone.count > 0) {
        const int first = question.firstRow + gone.first;
        beginRemoveRows({}, first, first + gone.count - 1);
        tally.removeRows(gone);
        placeRows();
        endRemoveRows();
        if (run.expired())
            return;
        gone = tally.lastGone(gone.first);
    }
}

void ResultsModel::tellChanges(const RunPointer &run)
{
    const QVector<RowRange> changes = takeChanges();
    for (const RowRange &range : changes) {
        Q_EMIT dataChanged(index(range.first), index(range.first + range.count - 1),
                           countedRoles());
        if (run.expired())
            return;
    }
}

QVector<RowRange> ResultsModel::takeChanges()
{
    QVector<RowRange> changes;
    for (const Question &question : m_questions) {
        const QVector<RowRange> ranges = question.tally->takeChanges();
        for (const RowRange &range : ranges) {
            const int first = question.firstRow + range.first;
            if (!changes.isEmpty() && changes.last().first + changes.last().count == first)
                changes.last().count += range.count;
            else
                changes.append({first, range.count});
        }
    }
    return changes;
}

void ResultsModel::insertArrivals(const Question &question)
{
    const RowRange arrivals = question.tally->arrivals();
    if (arrivals.count == 0)
        return;
    const int first = question.firstRow + arrivals.first;
    beginInsertRows({}, first, first + arrivals.count - 1);
    question.tally->insertArrivals(arrivals);
    placeRows();
    endInsertRows();
}

const ResultsModel::Question &ResultsModel::questionAt(int row) const
{
    // Of questions without rows and the one after them, which begin at the same row, the last.
    const auto after = std::upper_bound(
        m_questions.begin(), m_questions.end(), row,
        [](int wanted, const Question &question) { return wanted < question.firstRow; });
    return *std::prev(after);
}

void ResultsModel::placeRows()
{
    m_rowCount = 0;
    for (Question &question : m_questions) {
        question.firstRow = m_rowCount;
        m_rowCount += question.tally->rowCount();
    }
}

} // namespace Tarvo
