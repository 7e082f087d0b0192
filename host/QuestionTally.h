#pragma once

#include "host/CountedQuestion.h"

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

#include <memory>
#include <optional>
#include <vector>

namespace Tarvo
{

// Rows that stand one below the other.
struct RowRange {
    int first = 0;
    int count = 0;
};

// Counts the answers to one question as they come. Each person counts once: who answers again
// replaces the answer given before.
//
// The rows are the choices in their order, then the free answers in the order in which they came.
// Answers change only their counts: rows come and go by insertArrivals() and removeRows(), so that a
// model can tell its views in time.
class QuestionTally
{
public:
    // Further free answers share one row, the last.
    static constexpr int MAX_FREE_ROWS = 10000;

    struct Row {
        QString choice; // its id, or the free answer
        QString label;  // what a person reads
        bool isFree = false;
        int count = 0;     // of the people who have chosen it
        int toldCount = 0; // when the changes were last taken
    };
    using RowPointer = std::shared_ptr<Row>;

    struct Answer {
        QString deviceId;
        QString text; // as it came
        int responseTimeMs = 0;
        std::optional<double> value; // on a scale
        QVector<RowPointer> rows;    // where it is counted
    };

    explicit QuestionTally(const CountedQuestion &question);
    Q_DISABLE_COPY(QuestionTally)

    void answer(const QString &deviceId, const QString &answer, int responseTimeMs);

    const QString &id() const { return m_id; }
    const QString &text() const { return m_text; }
    // In the order in which people first answered.
    const QVector<Answer> &answers() const { return m_answers; }
    // How many people have answered: what shares are taken of.
    int respondents() const { return m_answers.size(); }
    // Of the answers on a scale that are numbers; none for other questions.
    std::optional<double> average() const;

    int rowCount() const { return static_cast<int>(m_rows.size()); }
    const Row &row(int row) const { return *m_rows[static_cast<std::size_t>(row)]; }

    // Whether there may be rows of answers that nobody gives any more; asking forgets it.
    bool takeHasGone();
    // The last range of such rows before row `end`; empty when there is none.
    RowRange lastGone(int end) const;
    void removeRows(RowRange rows);

    // Where new rows belong, and how many there are.
    RowRange arrivals();
    void insertArrivals(RowRange rows);

    // The rows that tell something else than when this was last asked.
    QVector<RowRange> takeChanges();

private:
    void addChoice(const Choice &choice);
    Answer &answerOf(const QString &deviceId);
    QStringList choicesNamedIn(const QString &answer) const;
    bool isChoice(const QString &name) const;
    std::optional<double> valueOf(const QString &answer) const;
    QVector<RowPointer> count(const QStringList &names);
    RowPointer rowFor(const QString &name);
    void withdraw(const QVector<RowPointer> &rows);
    void dropUnchosen(const QVector<RowPointer> &rows);
    bool isRestShown() const { return !m_rows.empty() && m_rows.back() == m_rest; }
    bool hasEveryRowChanged();

    const QString m_id;
    const QString m_text;
    const PollType::POLL_TYPE m_kind;
    int m_choiceCount = 0;

    std::vector<RowPointer> m_rows;
    std::vector<RowPointer> m_arrived;  // not inserted yet
    const RowPointer m_rest;            // of the free answers that have no row of their own
    QHash<QString, RowPointer> m_rowOf; // by choice
    QHash<QString, double> m_valueOf;   // of choices that have a number beside their id
    int m_freeCount = 0;                // of the free answers that have a row and are given
    QVector<Answer> m_answers;
    QHash<QString, int> m_answerOf; // by device

    bool m_hasGone = false;
    bool m_isChanged = false;
    int m_toldRespondents = 0;
    std::optional<double> m_toldAverage;
    mutable std::optional<double> m_average;
    mutable bool m_isAverageKnown = true;
};

} // namespace Tarvo
