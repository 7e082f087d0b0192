#include "results/ResultsTable.h"

#include "results/ResultColumns.h"

#include <QtWidgets/QHeaderView>

namespace Desktop
{

ReadableTable::ReadableTable(QWidget *parent) : QTableView(parent)
{
    setSelectionBehavior(SelectRows);
    setSelectionMode(SingleSelection);
    setEditTriggers(NoEditTriggers);
    setTabKeyNavigation(false); // the key leads to the next part of the window
    setWordWrap(false);
    setAlternatingRowColors(true);
    verticalHeader()->hide();
    horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    horizontalHeader()->setResizeContentsPrecision(0); // what can be seen
}

void ReadableTable::showSorted(QSortFilterProxyModel *model)
{
    model->setSortRole(SORT_ROLE);
    model->setSortCaseSensitivity(Qt::CaseInsensitive);
    setModel(model);
    setSortingEnabled(true);
    sortByColumn(-1, Qt::AscendingOrder);
}

PageFilter::PageFilter(ChartSource *source, QObject *parent)
    : QSortFilterProxyModel(parent), m_source(source)
{
    setSourceModel(new ResultColumns(source->results(), this));
    // Not before the columns know of the same rows as the source.
    connect(source, &ChartSource::changed, this, &PageFilter::follow, Qt::QueuedConnection);
    follow();
}

bool PageFilter::filterAcceptsRow(int row, const QModelIndex &parent) const
{
    const QModelIndex index = sourceModel()->index(row, 0, parent);
    return !m_isHidden && index.data(ResultColumns::QUESTION_ROLE).toString() == m_questionId;
}

void PageFilter::follow()
{
    const QString question = m_source->currentQuestionId();
    const bool isHidden = m_source->areAnswersHidden();
    if (question == m_questionId && isHidden == m_isHidden)
        return;
    m_questionId = question;
    m_isHidden = isHidden;
    invalidateFilter();
}

ResultsTable::ResultsTable(ChartSource *source, QWidget *parent) : ReadableTable(parent)
{
    setAccessibleName(tr("Results as a table"));
    showSorted(new PageFilter(source, this));
    horizontalHeader()->setSectionResizeMode(ResultColumns::AnswerColumn, QHeaderView::Stretch);
}

LearnersTable::LearnersTable(QAbstractItemModel *learners, QWidget *parent) : ReadableTable(parent)
{
    setAccessibleName(tr("Answers by learner"));
    auto *const sorted = new QSortFilterProxyModel(this);
    sorted->setSourceModel(new LearnerColumns(learners, sorted));
    showSorted(sorted);
    horizontalHeader()->setSectionResizeMode(LearnerColumns::AnswerColumn, QHeaderView::Stretch);
}

} // namespace Desktop
