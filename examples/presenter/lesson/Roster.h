#pragma once

#include "model/Learner.h"

#include <QtCore/QVector>

#include <optional>

namespace Host
{

// The learners of the session, in the order in which they joined.
class Roster
{
public:
    // False when the device was there already; its name and type are taken over all the same.
    bool add(const Tarvo::Learner &learner);
    // The learner who has left; none when the device was not there.
    std::optional<Tarvo::Learner> remove(const QString &deviceId);

    int count() const { return m_learners.size(); }
    const QVector<Tarvo::Learner> &learners() const { return m_learners; }

    // By device id, else by name if only one learner has it, else by number in the order of joining,
    // from 1.
    std::optional<Tarvo::Learner> find(const QString &word) const;
    // The learner's name, or the device id where there is none.
    QString nameOf(const QString &deviceId) const;

private:
    int indexOf(const QString &deviceId) const;

    QVector<Tarvo::Learner> m_learners;
};

} // namespace Host
