// Each kind without a meta-object of its own has a function here, and so its virtual table in the library.

#include "model/QuestionCreative.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionWordSeed.h"

namespace Tarvo
{

QString QuestionMathFormula::getType() const
{
    return QStringLiteral("math formula");
}

QString QuestionWordSeed::getType() const
{
    return QStringLiteral("word-seed");
}

QString QuestionScale::getType() const
{
    return QStringLiteral("scale");
}

QString QuestionCreative::getType() const
{
    return QStringLiteral("creative");
}

void QuestionMultiChoice::setPriorAnswer(QString answer)
{
    setPriorOptionPerCharacter(answer);
}

void QuestionSort::setPriorAnswer(QString answer)
{
    setPriorOptionPerCharacter(answer);
}

} // namespace Tarvo
