#pragma once

#include "host/CountedQuestion.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QHash>
#include <QtCore/QVector>

namespace Tarvo
{

// The answers to what is running, or ran last: a row for each choice of each question, in their order,
// and one for each different free answer, at the end of its question's rows. Change notices wait for
// flush(), at most one a row; insertions and removals are told at once.
class ResultsModel : public QAbstractListModel
{
    Q_OBJECT

public:
    explicit ResultsModel(QObject *parent = nullptr);

    int rowCount(const QModelIndex &parent = {}) const override;
    QVariant data(const QModelIndex &index, int role = Qt::DisplayRole) const override;
    QHash<int, QByteArray> roleNames() const override;

    // Shows these questions, without answers, in place of the former ones.
    void begin(const QVector<CountedQuestion> &questions);
    // Counts an answer; who answers again replaces the answer given before. False when the question is
    // not one of these.
    bool answer(const QString &deviceId, const QString &questionId, const QString &answer,
                int responseTimeMs);
    // Tells what has changed since the last time.
    void flush();
};

} // namespace Tarvo
