#pragma once

#include "results/ChartSource.h"

#include <QtCore/QSortFilterProxyModel>
#include <QtWidgets/QTableView>

namespace Desktop
{

// A table that is read and sorted with the keyboard, too.
class ReadableTable : public QTableView
{
    Q_OBJECT

public:
    explicit ReadableTable(QWidget *parent = nullptr);

    // The rows of `model`, in its order until the user has them sorted.
    void showSorted(QSortFilterProxyModel *model);
};

// The rows of one question; none while answers are hidden.
class PageFilter : public QSortFilterProxyModel
{
    Q_OBJECT

public:
    PageFilter(ChartSource *source, QObject *parent);

protected:
    bool filterAcceptsRow(int row, const QModelIndex &parent) const override;

private:
    void follow();

    ChartSource *const m_source;
    QString m_questionId;
    bool m_isHidden = false;
};

// The diagram's rows as a table, with the words for screen readers. Hides what the diagram hides.
class ResultsTable : public ReadableTable
{
    Q_OBJECT

public:
    explicit ResultsTable(ChartSource *source, QWidget *parent = nullptr);
};

// Who has answered what. Its owner shows it only while names and answers may be seen.
class LearnersTable : public ReadableTable
{
    Q_OBJECT

public:
    explicit LearnersTable(QAbstractItemModel *learners, QWidget *parent = nullptr);
};

} // namespace Desktop
