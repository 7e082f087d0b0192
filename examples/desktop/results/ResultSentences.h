#pragma once

#include "results/ResultPages.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QString>

namespace Desktop
{

// What is said of results, for eyes and for screen readers.
class ResultSentences
{
    Q_DECLARE_TR_FUNCTIONS(Desktop::ResultSentences)

public:
    ResultSentences() = delete;

    // "12 of 30 have answered."
    static QString answered(int answered, int learners);
    // "Average 3.4"; empty without one.
    static QString average(const ResultPage &page);
    // "40%"
    static QString percentage(double share);
    // "Yes: 12 of 30, 40 percent"
    static QString row(const ResultRow &row, int respondents);
};

} // namespace Desktop
