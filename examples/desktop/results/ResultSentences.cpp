#include "results/ResultSentences.h"
#include "texts/ShownText.h"

#include <QtCore/QLocale>
#include <QtCore/QtMath>

#include <cmath>

namespace Desktop
{

namespace
{

constexpr int HUNDRED = 100;
constexpr double SHORT_ENOUGH = 1e6; // to be written with all its digits

QString number(int value)
{
    return QLocale().toString(value);
}

} // namespace

QString ResultSentences::answered(int answered, int learners)
{
    if (answered == 0)
        return tr("Nobody has answered yet.");
    if (answered == 1)
        return tr("%1 of %2 has answered.").arg(number(answered), number(learners));
    return tr("%1 of %2 have answered.").arg(number(answered), number(learners));
}

QString ResultSentences::average(const ResultPage &page)
{
    if (!page.average)
        return QString();
    const bool isShort = std::abs(*page.average) < SHORT_ENOUGH;
    return tr("Average %1")
        .arg(isShort ? QLocale().toString(*page.average, 'f', 1)
                     : QLocale().toString(*page.average, 'g', 3));
}

QString ResultSentences::percentage(double share)
{
    return tr("%1%").arg(number(qRound(share * HUNDRED)));
}

QString ResultSentences::row(const ResultRow &row, int respondents)
{
    const QString figures =
        tr("%1 of %2, %3 percent")
            .arg(number(row.count), number(respondents), number(qRound(row.share * HUNDRED)));
    // Both at once, so that a "%2" in the answer is not filled in.
    return tr("%1: %2").arg(quotedText(row.label, row.label.size()), figures);
}

} // namespace Desktop
