#pragma once

#include "model/QuestionBase.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered with a formula: kind "math formula", with a blank. Adds no
/// properties; to the meta-object system it is a plain question.
class TARVOCLIENT_EXPORT QuestionMathFormula : public QuestionBase
{
    Q_DISABLE_COPY(QuestionMathFormula)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionMathFormula(QObject *parent) : QuestionBase(parent) { }

    QString getType() const override;
};

} // namespace Tarvo
