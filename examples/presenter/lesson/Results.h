#pragma once

#include "console/Bars.h"
#include "lesson/Tally.h"

#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Host
{

// A question whose answers are counted.
struct CountedQuestion {
    QString id;    // that answers carry; empty: not known yet
    QString title; // shown above its bars; empty for the one question of a poll
    Tally tally;
};

// The answers to what is running, a poll or an assessment.
class Results
{
public:
    Results() = default;
    Results(QString title, QVector<CountedQuestion> questions);

    // Counts an answer; false when it belongs to none of these questions. A poll's question gets its
    // id inside the channel: the first answer tells it. Answers under an id in `past` belong to what
    // is over.
    bool count(const QString &deviceId, const QString &questionId, const QString &answer,
               const QSet<QString> &past);

    // Answers counted, one per learner and question.
    int responses() const;
    int questions() const { return m_questions.size(); }
    QSet<QString> questionIds() const;

    // The title with how many have answered, then the bars.
    QStringList lines(int learners, int columns, BarStyle style) const;

private:
    CountedQuestion *questionFor(const QString &id, const QSet<QString> &past);

    QString m_title;
    QVector<CountedQuestion> m_questions;
};

} // namespace Host
