#include "host/Roster.h"

namespace Tarvo
{

Roster::Change Roster::join(const Learner &learner)
{
    return put(learner, false);
}

Roster::Change Roster::list(const Learner &learner)
{
    return put(learner, true);
}

Roster::Change Roster::put(const Learner &learner, bool isListed)
{
    const auto entry = m_entries.find(learner.deviceId);
    if (entry == m_entries.end()) {
        if (m_entries.size() >= MAX_LEARNERS)
            return Nothing;
        m_entries.insert(learner.deviceId, {learner, isListed});
        return New;
    }
    entry->isListed = entry->isListed || isListed;
    if (entry->learner.userName == learner.userName
        && entry->learner.deviceType == learner.deviceType)
        return Nothing;
    entry->learner = learner;
    return Renamed;
}

bool Roster::remove(const QString &deviceId)
{
    return m_entries.remove(deviceId) > 0;
}

void Roster::clear()
{
    m_entries.clear();
}

} // namespace Tarvo
