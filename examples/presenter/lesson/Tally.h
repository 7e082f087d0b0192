#pragma once

#include "console/Bars.h"

#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Host
{

// One answer that a question offers.
struct Choice {
    QString id;   // what learners answer with
    QString text; // what is shown beside it; may be the same
};

using TallyRow = BarRow;

// Counts the answers to one question. Each learner counts once: who answers again replaces the answer
// given before.
class Tally
{
public:
    // How an answer names choices.
    enum Reading {
        Whole,  // its text is one choice, commas included: also an order of options, or free text
        Several // it names choices, with commas between or none; each of them is counted
    };

    Tally() = default;
    Tally(QVector<Choice> choices, Reading reading);

    void answer(const QString &deviceId, const QString &answer);

    // How many learners have answered: what percentages are taken of.
    int respondents() const { return m_answers.size(); }
    // The choices in their order, chosen or not, then other answers, the most frequent first.
    QVector<TallyRow> rows() const;

private:
    QStringList choicesNamedIn(const QString &answer) const;
    bool isChoice(const QString &id) const;

    QVector<Choice> m_choices;
    Reading m_reading = Whole;
    QHash<QString, QString> m_answers; // by device
};

} // namespace Host
