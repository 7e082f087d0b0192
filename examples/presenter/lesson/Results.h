#pragma once

#include "console/Bars.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QHash>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// What is being asked, as its results are headed.
struct Asked {
    QString title;               // "Poll multiple"
    QStringList questions;       // what stands above the bars of each; may be empty
    int firstNumber = 1;         // of the questions
    QHash<QString, int> choices; // how many each question offers, by its id

    // Which of the questions has this id; -1 for none of them. The ids of an assessment's questions end
    // in their numbers.
    int indexOf(const QString &questionId) const;
};

// The rows of `LiveClass::results()` before anybody has answered: the choices.
QHash<QString, int> countChoices(const QAbstractItemModel &results);

// Answers counted in `LiveClass::results()`, one per learner and question.
int countResponses(const QAbstractItemModel &results);

// Lines that are shown, and how many more there would be.
struct ShownResults {
    QStringList lines;
    int further = 0;
};

// The title with how many have answered, then bars for each question: its choices in their order, then
// other answers, the most frequent first. Only those that fit into `mostLines` are sorted, measured and
// drawn: the others cost no more than their counting.
ShownResults shownResults(const QAbstractItemModel &results, const Asked &asked, int learners,
                          bool isPaused, int columns, BarStyle style, int mostLines);

// The same with as many lines as anybody would read, and how many more there would be.
QStringList resultLines(const QAbstractItemModel &results, const Asked &asked, int learners,
                        bool isPaused, int columns, BarStyle style);

} // namespace Host
