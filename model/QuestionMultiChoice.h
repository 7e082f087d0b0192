#pragma once

#include "model/PropertyRecord.h"
#include "model/QuestionBaseWithOptions.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered by choosing one or several options: kind "multiple".
class TARVOCLIENT_EXPORT QuestionMultiChoice : public QuestionBaseWithOptions
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionMultiChoice)

    /// How many options are correct.
    TARVO_PROPERTY(int, numberOfCorrectOptions, 1)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionMultiChoice(QObject *parent) : QuestionBaseWithOptions(parent) { }

    QString getType() const override { return QStringLiteral("multiple"); }

    /// Makes the options chosen that the characters of `answer` name, one each.
    void setPriorAnswer(QString answer) override;
};

} // namespace Tarvo
