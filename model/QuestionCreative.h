#pragma once

#include "model/QuestionBaseWithOptions.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered with a work of the learner's own: kind "creative". Adds no
/// properties; to the meta-object system it is a plain question with options.
class TARVOCLIENT_EXPORT QuestionCreative : public QuestionBaseWithOptions
{
    Q_DISABLE_COPY(QuestionCreative)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionCreative(QObject *parent) : QuestionBaseWithOptions(parent) { }

    QString getType() const override;
};

} // namespace Tarvo
