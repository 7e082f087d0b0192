// The kinds of question whose prior answer names one option with each character.

#include "model/QuestionMultiChoice.h"
#include "model/QuestionSort.h"

namespace Tarvo
{

void QuestionMultiChoice::setPriorAnswer(QString answer)
{
    setPriorOptionPerCharacter(answer);
}

void QuestionSort::setPriorAnswer(QString answer)
{
    setPriorOptionPerCharacter(answer);
}

} // namespace Tarvo
