#pragma once

#include "model/PropertyRecord.h"
#include "model/QuestionBase.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered with a number: kind "number".
class TARVOCLIENT_EXPORT QuestionNumeric : public QuestionBase
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionNumeric)

    /// How many decimals the answer may have.
    TARVO_PROPERTY(int, noOfDecimals, 0)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionNumeric(QObject *parent) : QuestionBase(parent) { }

    QString getType() const override { return QStringLiteral("number"); }
};

} // namespace Tarvo
