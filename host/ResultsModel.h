#pragma once

#include "host/CountedQuestion.h"
#include "host/QuestionTally.h"

#include <QtCore/QAbstractListModel>
#include <QtCore/QHash>
#include <QtCore/QVector>

#include <memory>
#include <vector>

namespace Tarvo
{

// The answers to what is running, or ran last: a row for each choice of each question, in their
// order, and one for each different free answer, at the end of its question's rows. Changes, new free
// answers and those that nobody gives any more wait for flush(), which tells at most one notice a row;
// begin() is told at once.
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

    int questionCount() const { return static_cast<int>(m_questions.size()); }
    const QuestionTally &question(int index) const { return *at(index).tally; }

private:
    struct Question {
        std::unique_ptr<QuestionTally> tally;
        int firstRow = 0;
    };

    // Gone when other questions begin, and with the model: whoever is told of a change may do both.
    struct Run {
    };
    using RunPointer = std::weak_ptr<Run>;

    const Question &at(int index) const { return m_questions[static_cast<std::size_t>(index)]; }
    const Question &questionAt(int row) const;
    void removeAll();
    void insertAll(const QVector<CountedQuestion> &questions);
    void placeRows();

    void removeGone(const Question &question, const RunPointer &run);
    void tellChanges(const RunPointer &run);
    QVector<RowRange> takeChanges();
    void insertArrivals(const Question &question);

    std::vector<Question> m_questions;
    QHash<QString, int> m_questionOf; // by id
    int m_rowCount = 0;
    std::shared_ptr<Run> m_run = std::make_shared<Run>();
    bool m_isFlushing = false;
};

} // namespace Tarvo
