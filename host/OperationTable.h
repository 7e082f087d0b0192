#pragma once

#include "host/Operation.h"

#include <QtCore/QMap>

namespace Tarvo
{

// The operations of one class that are under way. Lives on the class's thread.
class OperationTable
{
public:
    OperationTable() = default;
    // Whoever waits for an operation hears that it is abandoned.
    ~OperationTable();
    Q_DISABLE_COPY_MOVE(OperationTable)

    // Begins an operation under a new id, from 1 on.
    Operation begin();
    // Ends it; ids that are not under way are passed over. A failure of NoReason means that it went
    // well. Returns whether it was under way.
    bool finish(int id, const Failure &failure);

private:
    QMap<int, std::shared_ptr<OperationState>> m_running;
    int m_lastId = 0;
};

} // namespace Tarvo
