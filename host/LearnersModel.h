#pragma once

#include "model/Learner.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QHash>
#include <QtCore/QVector>

#include <memory>
#include <vector>

namespace Tarvo
{

// The learners of a session, a row each, in the order in which they came. Change notices wait for
// flush(), at most one a row; insertions and removals are told at once.
class LearnersModel : public QAbstractListModel
{
    Q_OBJECT

public:
    // More learners are not shown.
    static constexpr int MAX_ROWS = 20000;

    explicit LearnersModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Somebody came, or came back, or has another name now.
    void join(const QVector<Learner> &learners);
    // Somebody is gone; the row stays, as not present, until the next activity.
    void leave(const QString &deviceId);
    // Somebody is not to be seen any more.
    void remove(const QString &deviceId);
    // Nobody is in the session any more.
    void clear();
    // An activity begins: nobody has answered, and who is gone is not shown any more.
    void beginActivity();
    void answer(const QString &deviceId, const QString &answer);
    // Tells what has changed since the last time.
    void flush();

    // The name that somebody has, or had when the row was removed during the activity; empty for
    // others.
    QString nameOf(const QString &deviceId) const;

private:
    struct Row;

    // Who is new among them, for the end of the list; the others' rows are brought up to date.
    std::vector<Row *> takeIn(const QVector<Learner> &learners);
    void comeBack(Row *row, const Learner &learner);
    void change(Row *row, int aspects);
    void removeRange(int first, int last);
    // Removes the last rows before `end` of people who are gone; returns the row to go on before.
    int removeLastGone(int end);
    // Tells the next change from this row on; returns the row to go on with.
    int tellChange(int from);

    QHash<QString, std::shared_ptr<Row>> m_rowOf; // by device
    std::vector<Row *> m_rows;                    // as they are shown
    QHash<QString, QString> m_nameOfGone; // by device; whose rows were removed during the activity
    bool m_isChanged = false;
};

} // namespace Tarvo
