#include "host/Roster.h"

#include <algorithm>
#include <utility>

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
        m_entries.insert(learner.deviceId, {learner, isListed, ++m_lastNumber});
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

QVector<Learner> Roster::learners() const
{
    QVector<Entry> entries;
    entries.reserve(m_entries.size());
    for (const Entry &entry : m_entries)
        entries.append(entry);
    std::sort(entries.begin(), entries.end(),
              [](const Entry &one, const Entry &other) { return one.number < other.number; });
    QVector<Learner> learners;
    learners.reserve(entries.size());
    for (const Entry &entry : std::as_const(entries))
        learners.append(entry.learner);
    return learners;
}

void Roster::clear()
{
    m_entries.clear();
}

} // namespace Tarvo
