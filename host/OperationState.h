#pragma once

#include "host/Operation.h"

#include <QtCore/QPointer>

#include <memory>
#include <vector>

namespace Tarvo
{

// What all copies of an operation share. Calls nobody itself: continuations are posted to the event loop
// of their context, which drops them when the context goes.
class OperationState
{
public:
    explicit OperationState(int id) : m_id(id) { }

    int id() const { return m_id; }
    bool isFinished() const { return m_finished; }
    Failure failure() const { return m_failure; }

    void add(QObject *context, Operation::Done done, Operation::Failed failed);
    void abandon();
    // Ends the operation, once; a failure of NoReason means that it went well.
    void finish(const Failure &failure);

private:
    struct Continuation {
        QPointer<QObject> context;
        Operation::Done done;
        Operation::Failed failed;
    };
    using Continuations = std::vector<Continuation>;

    void post(const Continuation &continuation) const;

    const int m_id;
    bool m_finished = false;
    Failure m_failure;
    Continuations m_waiting; // for the end
    // Whether the continuations that were added since the last abandon() are still to be called. The
    // posted ones hold it, too, and not the state: they may hold copies of the operation.
    std::shared_ptr<bool> m_wanted = std::make_shared<bool>(true);
};

} // namespace Tarvo
