#pragma once

#include "model/OrdinalType.h"
#include "model/PollType.h"
#include "model/QuestionBase.h"
#include "support/Export.h"

#include <memory>

namespace Tarvo
{

/// The question object of a poll or of an assessment's question; null for "word-seed" and "creative" polls,
/// which are sent without one, and for unknown kinds.
///
/// Kinds that have options get `count` of them, with the ids and texts that `ordinalType` gives: letters,
/// numbers, or yes (true), no (false) and don't know; none when `count` is below 1.
TARVOCLIENT_EXPORT std::unique_ptr<QuestionBase> pollQuestion(PollType::POLL_TYPE pollType,
                                                              OrdinalType::ORDINAL_TYPE ordinalType,
                                                              int count);

} // namespace Tarvo
