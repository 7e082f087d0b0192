#pragma once

#include <QtCore/QAbstractTableModel>
#include <QtCore/QString>

namespace Desktop
{

// A list model's rows as a table for views: one row each, in columns. Does not own the list.
class ColumnsModel : public QAbstractTableModel
{
    Q_OBJECT
    Q_DISABLE_COPY(ColumnsModel)

public:
    ColumnsModel(QAbstractItemModel *list, int columns, QObject *parent);

    int rowCount(const QModelIndex &parent = {}) const override;
    int columnCount(const QModelIndex &parent = {}) const override;

protected:
    QVariant listed(int row, int role) const;

private:
    QAbstractItemModel *const m_list;
    const int m_columns;
    int m_rowCount = 0;
};

// What is sorted by in both tables: a number or the whole text.
constexpr int SORT_ROLE = Qt::UserRole;

// The choices and answers with their figures.
class ResultColumns : public ColumnsModel
{
    Q_OBJECT

public:
    enum Column : int {
        AnswerColumn,
        CountColumn,
        ShareColumn,
        COLUMNS
    };
    static constexpr int QUESTION_ROLE = Qt::UserRole + 1; // the question's id

    explicit ResultColumns(QAbstractItemModel *results, QObject *parent = nullptr);

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    QVariant shown(int row, int column) const;
    QVariant sortValue(int row, int column) const;
    QString inWords(int row) const;
};

// The learners with what each has answered last.
class LearnerColumns : public ColumnsModel
{
    Q_OBJECT

public:
    enum Column : int {
        NameColumn,
        AnswerColumn,
        COLUMNS
    };

    explicit LearnerColumns(QAbstractItemModel *learners, QObject *parent = nullptr);

    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation,
                        int role = Qt::DisplayRole) const override;

private:
    QString answerOf(int row) const;
};

} // namespace Desktop
