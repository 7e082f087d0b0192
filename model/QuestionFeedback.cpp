#include "model/QuestionFeedback.h"

namespace Tarvo
{

QuestionFeedback::QuestionFeedback(QObject *parent) : QObject(parent) { }

} // namespace Tarvo
