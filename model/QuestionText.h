#pragma once

#include "model/PropertyRecord.h"
#include "model/QuestionBase.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered with a text: kind "text".
class TARVOCLIENT_EXPORT QuestionText : public QuestionBase
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionText)

    /// How many characters the answer may have.
    TARVO_PROPERTY(int, maxChars, 0)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionText(QObject *parent) : QuestionBase(parent) { }

    QString getType() const override { return QStringLiteral("text"); }
};

} // namespace Tarvo
