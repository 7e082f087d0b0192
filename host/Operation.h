#pragma once

#include "host/Failure.h"
#include "host/HostExport.h"

#include <QtCore/QMetaType>
#include <QtCore/QObject>

#include <functional>
#include <memory>

namespace Tarvo
{

class OperationState;

/// One call of a `LiveClass` that is under way, or has ended. A value: copies are the same operation.
///
/// A host that does not care drops it; the operation goes on all the same, and
/// `LiveClass::operationFinished()` tells its end. Belongs to the thread of its class.
class TARVOHOST_EXPORT Operation
{
    Q_GADGET
    /// What `id()` tells.
    Q_PROPERTY(int id READ id)
    /// What `isFinished()` tells.
    Q_PROPERTY(bool finished READ isFinished)

public:
    /// What follows when it has gone well.
    using Done = std::function<void()>;
    /// What follows when it has not.
    using Failed = std::function<void(const Failure &)>;

    /// No operation; its continuations are never called.
    Operation();

    /// What `LiveClass::operationFinished()` calls it; 0 for none.
    int id() const;
    /// Whether it has ended, well or not.
    bool isFinished() const;
    /// Why it failed; no failure before it has ended, and when it went well.
    Failure failure() const;

    /// Calls `done` when the operation has gone well, or `failed` when it has not: once, from the
    /// event loop, never from within this call, also when the operation has ended already. When
    /// `context`, which must live on the same thread, is gone by then, neither is called. When the
    /// class is deleted first, `failed` gets `Failure::Abandoned`. Any number of them may be added;
    /// they are called in this order.
    const Operation &then(QObject *context, Done done, Failed failed = {}) const;
    /// Calls none of the continuations that were added so far and have not been called: "stop telling
    /// me". What has been asked of the service is not taken back.
    void abandon() const;

private:
    friend class OperationTable;
    explicit Operation(std::shared_ptr<OperationState> state);

    std::shared_ptr<OperationState> m_state;
};

} // namespace Tarvo

Q_DECLARE_METATYPE(Tarvo::Operation)
