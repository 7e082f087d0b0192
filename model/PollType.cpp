#include "model/PollType.h"

namespace Tarvo
{

QMap<PollType::POLL_TYPE, QString> PollType::POLL_TYPE_STR()
{
    return {
        {TRUE_FALSE, QStringLiteral("true-false")},
        {YES_NO_OTHER, QStringLiteral("yes-no-other")},
        {MULTIPLE, QStringLiteral("multiple")},
        {SCALE, QStringLiteral("scale")},
        {SORT, QStringLiteral("sort")},
        {TEXT, QStringLiteral("text")},
        {WORD_SEED, QStringLiteral("word-seed")},
        {NUMBER, QStringLiteral("number")},
        {CREATIVE, QStringLiteral("creative")},
        {MATH_FORMULA, QStringLiteral("math formula")}, // with a blank: devices expect it so
    };
}

QMap<QString, QString> PollType::POLL_TYPE_ID()
{
    // "true-false" and "yes-no-other" share an id: both are answered as a yes/no question.
    return {
        {QStringLiteral("true-false"), QStringLiteral("3c476afbcfce45eda0b44df4737c3d27")},
        {QStringLiteral("yes-no-other"), QStringLiteral("3c476afbcfce45eda0b44df4737c3d27")},
        {QStringLiteral("multiple"), QStringLiteral("8755bfc923cb492094df5c842a30da5f")},
        {QStringLiteral("scale"), QStringLiteral("c80eb89f2c7240fb83d53069bf4c1f2c")},
        {QStringLiteral("sort"), QStringLiteral("be8a3a7f5d624a798ec54900385a9eb8")},
        {QStringLiteral("text"), QStringLiteral("6efc81c52cfe4502976de55df9af2f89")},
        {QStringLiteral("word-seed"), QStringLiteral("cfd9a136d9c44699ae1d7f489f6c513b")},
        {QStringLiteral("number"), QStringLiteral("24e7bda40c4140f896648511a5782466")},
        {QStringLiteral("creative"), QStringLiteral("5446bd7896d54c7d84e2aeb75904ddab")},
        {QStringLiteral("math formula"), QStringLiteral("9f31dd1a55374c49a3127b8f94a1f1a6")},
    };
}

} // namespace Tarvo
