#pragma once

#include "host/LiveClass.h"

#include <QtCore/QHash>
#include <QtCore/QObject>

namespace Host
{

struct Asked;
class Terminal;

// Tells what happens in the class by itself: who comes and goes, what comes in, what the remote wants,
// and how the connection is lost and comes back.
class News : public QObject
{
    Q_OBJECT

public:
    // Begins with who is there already. `asked` is what the answers are to, and changes.
    News(Tarvo::LiveClass &live, const Asked &asked, Terminal &terminal);

    // Of learners that have been told of.
    int learnerCount() const { return m_learnerCount; }
    bool hasRemote() const { return m_hasRemote; }

private:
    void tellWhoIsThere();
    void tellJoined(const QString &name, const QString &deviceType);
    void learnerJoined(const Tarvo::Learner &learner);
    void learnerLeft(const QString &deviceId);
    void answered(const QString &deviceId, const QString &question, const QString &answer);
    void answeredLate(const QString &deviceId, const QString &question, const QString &answer);
    QString nameOf(const QString &deviceId);
    void remoteChanged(bool isThere);
    void failed(const Tarvo::Failure &failure);
    bool isGoingOn() const;
    void stateChanged();
    void reasonChanged();
    void attemptChanged();

    Tarvo::LiveClass &m_live;
    const Asked &m_asked;
    Terminal &m_terminal;
    int m_learnerCount = 0;
    QHash<QString, QString> m_names; // by device, as far as they have been looked up
    bool m_hasRemote = false;
    bool m_isAway = false;
    Tarvo::Failure::Reason m_toldReason = Tarvo::Failure::NoReason; // why it is away
};

} // namespace Host
