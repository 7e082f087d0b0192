#pragma once

#include "support/Text.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QStringList>
#include <QtTest/QAbstractItemModelTester>

// What a list model tells its views, in words such as "insert 0-2", "change 1-1" and "remove 3-3", while
// the model tester watches that it tells the truth.
class ModelNotices : public QObject
{
public:
    explicit ModelNotices(QAbstractItemModel *model)
        : m_tester(model, QAbstractItemModelTester::FailureReportingMode::Fatal)
    {
        using Model = QAbstractItemModel;
        connect(
            model, &Model::rowsInserted, this,
            [this](const QModelIndex &, int first, int last) { note(u"insert"_s, first, last); });
        connect(model, &Model::rowsRemoved, this, [this](const QModelIndex &, int first, int last) {
            note(u"remove"_s, first, last);
        });
        connect(
            model, &Model::dataChanged, this,
            [this](const QModelIndex &first, const QModelIndex &last, const QVector<int> &roles) {
                note(u"change"_s, first.row(), last.row());
                m_roles = roles;
            });
        connect(model, &Model::modelReset, this, [this] { m_notices.append(u"reset"_s); });
        connect(model, &Model::layoutChanged, this, [this] { m_notices.append(u"layout"_s); });
    }

    // Since the last time.
    QStringList take()
    {
        QStringList notices;
        notices.swap(m_notices);
        return notices;
    }
    // Of the last change.
    QVector<int> roles() const { return m_roles; }

private:
    void note(const QString &what, int first, int last)
    {
        m_notices.append(u"%1 %2-%3"_s.arg(what).arg(first).arg(last));
    }

    QAbstractItemModelTester m_tester;
    QStringList m_notices;
    QVector<int> m_roles;
};

// A role of all rows.
inline QStringList textsOf(const QAbstractItemModel &model, int role)
{
    QStringList texts;
    for (int row = 0; row < model.rowCount(); ++row)
        texts.append(model.index(row, 0).data(role).toString());
    return texts;
}
