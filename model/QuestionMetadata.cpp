#include "model/QuestionMetadata.h"

namespace Tarvo
{

QuestionMetadata::QuestionMetadata(QObject *parent) : QObject(parent) { }

} // namespace Tarvo
