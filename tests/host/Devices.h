#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QThread>

#include <atomic>

// The devices of a session's learners, on a thread of their own: they go on while the test's is busy or
// stands still, and nothing lies between them and the service. They share one connection, on which tests
// may speak for everybody.
//
// What they are told to do returns at once; what they are asked waits for their thread.
class Devices
{
public:
    // Has a service take as many as a test brings, for as long as it lasts: it knows them by their joining
    // alone, since none of them has a line of its own.
    static QStringList serviceOptions();

    // `url` is the service's own, an http one.
    explicit Devices(const QString &url);
    ~Devices();
    Q_DISABLE_COPY_MOVE(Devices)

    // More learners come to the session: "Learner 1", "Learner 2", ...
    void join(const QString &sessionCode, int count);
    // The session's presenters hear of more learners, but the service does not know them: they cost
    // little. Somebody must have joined before.
    void pretendToJoin(int count);
    // How many of them, of both kinds, presenters have been told of.
    int announced() const { return m_announced; }
    // What the devices are addressed by, in the order in which they came.
    QStringList ids() const;
    // How many messages of a type have come to the connection.
    int heard(const QString &type) const;

    // Every device chooses one of the choices, in turn, and says so again every 200 ms, as devices do
    // to make up for what was lost, until it is confirmed. An answer's time is its number, from 1 on.
    void answer(const QString &question, const QStringList &choices);
    // The same once.
    void answerOnce(const QString &question, const QStringList &choices);
    // Nobody repeats an answer any more, from now on.
    void confirm();
    // How many devices have chosen what, in the latest answer.
    QMap<QString, int> chosen() const;
    // How many messages with answers have left.
    int answersSent() const { return m_answersSent; }

private:
    class Crowd;

    QThread m_thread;
    std::atomic<int> m_announced{0};
    std::atomic<int> m_answersSent{0};
    Crowd *m_crowd; // lives on the thread
};
