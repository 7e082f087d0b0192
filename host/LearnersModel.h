#pragma once

#include "model/Learner.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QHash>
#include <QtCore/QVector>

namespace Tarvo
{

// The learners of a session, a row each, in the order in which they came. Change notices wait for
// flush(), at most one a row; insertions and removals are told at once.
class LearnersModel : public QAbstractListModel
{
    Q_OBJECT

public:
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

    QString nameOf(const QString &deviceId) const;
};

} // namespace Tarvo
