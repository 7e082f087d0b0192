#include "model/OrdinalType.h"

namespace Tarvo
{

QMap<OrdinalType::ORDINAL_TYPE, QString> OrdinalType::ORDINAL_TYPE_STR()
{
    return {
        {TRUE_FALSE, QStringLiteral("true-false")},
        {YES_NO, QStringLiteral("yes-no")},
        {YES_NO_MAYBE, QStringLiteral("yes-no-maybe")},
        {YES_NO_UNSURE, QStringLiteral("yes-no-unsure")},
        {YES_NO_OTHER, QStringLiteral("yes-no-other")},
        {ALPHA_UPPER, QStringLiteral("alpha-upper")},
        {ALPHA_LOWER, QStringLiteral("alpha-lower")},
        {NUMBER, QStringLiteral("number")},
        {AGREEMENT, QStringLiteral("agreement")},
        {CONFIDENCE, QStringLiteral("confidence")},
        {GENERIC, QStringLiteral("generic")},
    };
}

} // namespace Tarvo
