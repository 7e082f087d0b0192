#include "lesson/Results.h"

#include "console/TextWidth.h"

namespace Host
{

Results::Results(QString title, QVector<CountedQuestion> questions)
    : m_title(std::move(title)), m_questions(std::move(questions))
{
}

bool Results::count(const QString &deviceId, const QString &questionId, const QString &answer,
                    const QSet<QString> &past)
{
    CountedQuestion *question = questionFor(questionId, past);
    if (!question)
        return false;
    question->id = questionId;
    question->tally.answer(deviceId, answer);
    return true;
}

int Results::responses() const
{
    int responses = 0;
    for (const CountedQuestion &question : m_questions)
        responses += question.tally.respondents();
    return responses;
}

QSet<QString> Results::questionIds() const
{
    QSet<QString> ids;
    for (const CountedQuestion &question : m_questions) {
        if (!question.id.isEmpty())
            ids.insert(question.id);
    }
    return ids;
}

QStringList Results::lines(int learners, int columns, BarStyle style) const
{
    const int expected = learners * m_questions.size();
    QStringList lines{QStringLiteral("%1: %2 of %3 answered")
                          .arg(m_title, QString::number(responses()),
                               QString::number(qMax(expected, responses())))};
    for (const CountedQuestion &question : m_questions) {
        if (!question.title.isEmpty())
            lines.append(question.title);
        lines += renderBars(question.tally.rows(), question.tally.respondents(), columns, style);
    }
    for (QString &line : lines)
        line = elided(line, qMax(1, columns));
    return lines;
}

CountedQuestion *Results::questionFor(const QString &id, const QSet<QString> &past)
{
    CountedQuestion *unnamed = nullptr;
    for (CountedQuestion &question : m_questions) {
        if (question.id == id)
            return &question;
        if (question.id.isEmpty())
            unnamed = &question;
    }
    return past.contains(id) ? nullptr : unnamed;
}

} // namespace Host
