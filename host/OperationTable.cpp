#include "host/OperationTable.h"

#include "host/OperationState.h"

#include <utility>

namespace Tarvo
{

OperationTable::~OperationTable()
{
    const auto running = std::exchange(m_running, {});
    for (const auto &state : running)
        state->finish(Failure(Action::None, Failure::Abandoned));
}

Operation OperationTable::begin()
{
    const auto state = std::make_shared<OperationState>(++m_lastId);
    m_running.insert(state->id(), state);
    return Operation(state);
}

bool OperationTable::finish(int id, const Failure &failure)
{
    const std::shared_ptr<OperationState> state = m_running.take(id);
    if (!state)
        return false;
    state->finish(failure);
    return true;
}

} // namespace Tarvo
