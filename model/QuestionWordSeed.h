#pragma once

#include "model/QuestionBase.h"
#include "support/Export.h"

namespace Tarvo
{

/// A question that is answered with a word: kind "word-seed", with a hyphen. Adds no
/// properties; to the meta-object system it is a plain question.
class TARVOCLIENT_EXPORT QuestionWordSeed : public QuestionBase
{
    Q_DISABLE_COPY(QuestionWordSeed)

public:
    /// A question owned by `parent`, without a text.
    explicit QuestionWordSeed(QObject *parent) : QuestionBase(parent) { }

    QString getType() const override;
};

} // namespace Tarvo
