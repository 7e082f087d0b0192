#pragma once

#include "model/QuestionBaseWithOptions.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered with a place on a scale: kind "scale". Adds no properties; to
/// the meta-object system it is a plain question with options.
class TARVOCLIENT_EXPORT QuestionScale : public QuestionBaseWithOptions
{
    Q_DISABLE_COPY(QuestionScale)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionScale(QObject *parent) : QuestionBaseWithOptions(parent) { }

    QString getType() const override;
};

} // namespace Tarvo
