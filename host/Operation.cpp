#include "host/Operation.h"

#include "host/OperationState.h"

#include <QtCore/QMetaObject>

#include <utility>

namespace Tarvo
{

void OperationState::add(QObject *context, Operation::Done done, Operation::Failed failed)
{
    Continuation continuation{context, std::move(done), std::move(failed)};
    if (m_finished)
        post(continuation);
    else
        m_waiting.push_back(std::move(continuation));
}

// What a continuation holds may be the last of something of the host's, which may come back here when it
// goes: the list is emptied before they go.
void OperationState::abandon()
{
    *m_wanted = false;
    m_wanted = std::make_shared<bool>(true);
    const Continuations dropped = std::exchange(m_waiting, {});
}

void OperationState::finish(const Failure &failure)
{
    if (m_finished)
        return;
    m_finished = true;
    m_failure = failure;
    const Continuations waiting = std::exchange(m_waiting, {});
    for (const Continuation &continuation : waiting)
        post(continuation);
}

void OperationState::post(const Continuation &continuation) const
{
    if (!continuation.context)
        return;
    const auto call = [wanted = m_wanted, failure = m_failure, done = continuation.done,
                       failed = continuation.failed] {
        if (!*wanted)
            return;
        if (failure && failed)
            failed(failure);
        else if (!failure && done)
            done();
    };
    QMetaObject::invokeMethod(continuation.context, call, Qt::QueuedConnection);
}

Operation::Operation() = default;

Operation::Operation(std::shared_ptr<OperationState> state) : m_state(std::move(state)) { }

int Operation::id() const
{
    return m_state ? m_state->id() : 0;
}

bool Operation::isFinished() const
{
    return m_state && m_state->isFinished();
}

Failure Operation::failure() const
{
    return m_state ? m_state->failure() : Failure();
}

const Operation &Operation::then(QObject *context, Done done, Failed failed) const
{
    if (!context)
        qWarning("Tarvo::Operation::then: without a context nothing is ever called");
    else if (m_state)
        m_state->add(context, std::move(done), std::move(failed));
    return *this;
}

// A continuation that goes may hold the last copy of the operation, and be held by this one.
void Operation::abandon() const
{
    if (const auto state = m_state)
        state->abandon();
}

} // namespace Tarvo
