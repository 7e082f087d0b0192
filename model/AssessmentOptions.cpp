#include "model/AssessmentOptions.h"

namespace Tarvo
{

AssessmentOptions::AssessmentOptions(QObject *parent) : QObject(parent) { }

QVariantMap AssessmentOptions::notLeveled()
{
    return {{QStringLiteral("leveled"), false}};
}

} // namespace Tarvo
