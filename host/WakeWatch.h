#pragma once

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QSet>
#include <QtCore/QString>
#include <QtCore/QTimer>

#include <functional>

namespace Tarvo
{

// Notices that the computer has slept (the wall clock has run ahead of the monotonic one) and that a
// network has come up (there is an address that was not there before). Belongs to its thread.
class WakeWatch : public QObject
{
    Q_OBJECT

public:
    // What is looked at; tests give their own.
    struct Senses {
        std::function<qint64()> wallMs;
        std::function<qint64()> monotonicMs;
        std::function<QSet<QString>()> addresses; // that others may reach this machine by
    };
    static Senses system();

    explicit WakeWatch(QObject *parent = nullptr, Senses senses = system());

    // What is there now is what later looks compare with.
    void start();
    void stop();
    // Looks now; between start() and stop() that happens once a second by itself.
    void look();

Q_SIGNALS:
    // What connections there are may be dead, and what could not be reached may be reachable.
    void changed();

private:
    bool hasSlept();
    bool hasNewAddress();

    Senses m_senses;
    QTimer m_timer;
    qint64 m_lead = 0; // of the wall clock
    int m_looks = 0;
    QSet<QString> m_addresses;
};

} // namespace Tarvo
