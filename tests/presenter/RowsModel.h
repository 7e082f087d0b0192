#pragma once

#include <QtCore/QAbstractListModel>
#include <QtCore/QHash>
#include <QtCore/QVariant>
#include <QtCore/QVector>

// A list model whose rows are written down in a test.
class RowsModel : public QAbstractListModel
{
public:
    using Row = QHash<int, QVariant>; // by role

    explicit RowsModel(QVector<Row> rows) : m_rows(std::move(rows)) { }

    int rowCount(const QModelIndex &parent = {}) const override
    {
        return parent.isValid() ? 0 : m_rows.size();
    }
    QVariant data(const QModelIndex &index, int role) const override
    {
        return m_rows.value(index.row()).value(role);
    }

private:
    QVector<Row> m_rows;
};
