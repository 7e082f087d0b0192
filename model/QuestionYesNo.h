#pragma once

#include "model/QuestionBaseWithOptions.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered by yes or no, or by true or false.
class TARVOCLIENT_EXPORT QuestionYesNo : public QuestionBaseWithOptions
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionYesNo)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionYesNo(QObject *parent) : QuestionBaseWithOptions(parent) { }

    QString getType() const override
    {
        return trueFalse ? QStringLiteral("true-false") : QStringLiteral("yes-no-other");
    }

    /// Which of its two kinds the question is: "true-false", or else "yes-no-other".
    bool trueFalse = false;
};

} // namespace Tarvo
