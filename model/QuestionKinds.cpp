// The kinds of question: the names by which learners' devices know them, and how a prior answer is
// read where that differs.

#include "model/QuestionCreative.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionWordSeed.h"
#include "model/QuestionYesNo.h"

namespace Tarvo
{

QuestionNumeric::QuestionNumeric(QObject *parent) : QuestionBase(parent) { }

QString QuestionNumeric::getType() const
{
    return QStringLiteral("number");
}

QuestionText::QuestionText(QObject *parent) : QuestionBase(parent) { }

QString QuestionText::getType() const
{
    return QStringLiteral("text");
}

QuestionMathFormula::QuestionMathFormula(QObject *parent) : QuestionBase(parent) { }

QString QuestionMathFormula::getType() const
{
    return QStringLiteral("math formula");
}

QuestionWordSeed::QuestionWordSeed(QObject *parent) : QuestionBase(parent) { }

QString QuestionWordSeed::getType() const
{
    return QStringLiteral("word-seed");
}

QuestionMultiChoice::QuestionMultiChoice(QObject *parent) : QuestionBaseWithOptions(parent) { }

QString QuestionMultiChoice::getType() const
{
    return QStringLiteral("multiple");
}

void QuestionMultiChoice::setPriorAnswer(QString answer)
{
    setPriorOptionPerCharacter(answer);
}

QuestionYesNo::QuestionYesNo(QObject *parent) : QuestionBaseWithOptions(parent) { }

QString QuestionYesNo::getType() const
{
    return trueFalse ? QStringLiteral("true-false") : QStringLiteral("yes-no-other");
}

QuestionSort::QuestionSort(QObject *parent) : QuestionBaseWithOptions(parent) { }

QString QuestionSort::getType() const
{
    return QStringLiteral("sort");
}

void QuestionSort::setPriorAnswer(QString answer)
{
    setPriorOptionPerCharacter(answer);
}

QuestionScale::QuestionScale(QObject *parent) : QuestionBaseWithOptions(parent) { }

QString QuestionScale::getType() const
{
    return QStringLiteral("scale");
}

QuestionCreative::QuestionCreative(QObject *parent) : QuestionBaseWithOptions(parent) { }

QString QuestionCreative::getType() const
{
    return QStringLiteral("creative");
}

} // namespace Tarvo
