#include "lesson/Roster.h"

namespace Host
{

bool Roster::add(const Tarvo::Learner &learner)
{
    const int index = indexOf(learner.deviceId);
    if (index < 0) {
        m_learners.append(learner);
        return true;
    }
    m_learners[index] = learner;
    return false;
}

std::optional<Tarvo::Learner> Roster::remove(const QString &deviceId)
{
    const int index = indexOf(deviceId);
    if (index < 0)
        return std::nullopt;
    return m_learners.takeAt(index);
}

std::optional<Tarvo::Learner> Roster::find(const QString &word) const
{
    if (const int index = indexOf(word); index >= 0)
        return m_learners.at(index);

    QVector<Tarvo::Learner> namesakes;
    for (const Tarvo::Learner &learner : m_learners) {
        if (learner.userName == word)
            namesakes.append(learner);
    }
    if (namesakes.size() == 1)
        return namesakes.first();

    const int number = word.toInt();
    if (number >= 1 && number <= m_learners.size())
        return m_learners.at(number - 1);
    return std::nullopt;
}

QString Roster::nameOf(const QString &deviceId) const
{
    const int index = indexOf(deviceId);
    if (index < 0 || m_learners.at(index).userName.isEmpty())
        return deviceId;
    return m_learners.at(index).userName;
}

int Roster::indexOf(const QString &deviceId) const
{
    for (int i = 0; i < m_learners.size(); ++i) {
        if (m_learners.at(i).deviceId == deviceId)
            return i;
    }
    return -1;
}

} // namespace Host
