#pragma once

#include "model/OrdinalType.h"
#include "model/PollType.h"
#include "model/QuestionBase.h"
#include "support/Export.h"

#include <memory>

namespace Tarvo
{

/// The question object of a poll or of an assessment's question, or null for "word-seed", "creative"
/// and unknown kinds, which have none.
///
/// Kinds that have options get `count` of them, with the ids and texts that `ordinalType` gives (see
/// `OrdinalType`), and none when `count` is below 1. The caller owns the result.
TARVOCLIENT_EXPORT std::unique_ptr<QuestionBase> pollQuestion(PollType::POLL_TYPE pollType,
                                                              OrdinalType::ORDINAL_TYPE ordinalType,
                                                              int count);

} // namespace Tarvo
