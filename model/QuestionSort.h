#pragma once

#include "model/QuestionBaseWithOptions.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered by ordering the options: kind "sort". Adds no properties; to the
/// meta-object system it is a plain question with options.
class TARVOCLIENT_EXPORT QuestionSort : public QuestionBaseWithOptions
{
    Q_DISABLE_COPY(QuestionSort)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionSort(QObject *parent) : QuestionBaseWithOptions(parent) { }

    QString getType() const override { return QStringLiteral("sort"); }

    /// Puts the options into the order in which the characters of `answer` name them.
    void setPriorAnswer(QString answer) override;
};

} // namespace Tarvo
