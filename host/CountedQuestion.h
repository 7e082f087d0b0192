#pragma once

#include "host/Assessment.h"

namespace Tarvo
{

// A question whose answers are counted.
struct CountedQuestion {
    QString id;   // that answers carry
    QString text; // what is asked; empty for polls of the fixed kinds
    PollType::POLL_TYPE kind = PollType::MULTIPLE;
    QVector<Choice> choices;
};

} // namespace Tarvo
