#pragma once

#include "model/Learner.h"

#include <QtCore/QHash>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVector>

namespace Tarvo
{

// Who belongs to a session. Who joins is there at once, but belongs only when the service lists the
// device, too: what a device says of itself is not enough to be counted.
class Roster
{
public:
    // Everybody beyond is not taken.
    static constexpr int MAX_LEARNERS = 20000;

    enum Change {
        Nothing, // known already, or too many
        New,
        Renamed
    };

    // A device says that it has joined.
    Change join(const Learner &learner);
    // The service lists it.
    Change list(const Learner &learner);
    // Returns whether it was there.
    bool remove(const QString &deviceId);
    void clear();

    bool isThere(const QString &deviceId) const { return m_entries.contains(deviceId); }
    bool belongs(const QString &deviceId) const { return m_entries.value(deviceId).isListed; }
    QStringList deviceIds() const { return m_entries.keys(); }
    // Everybody, in the order in which they came.
    QVector<Learner> learners() const;

private:
    struct Entry {
        Learner learner;
        bool isListed = false;
        qint64 number = 0; // whoever came later has a higher one
    };
    Change put(const Learner &learner, bool isListed);

    QHash<QString, Entry> m_entries; // by device id
    qint64 m_lastNumber = 0;
};

} // namespace Tarvo
