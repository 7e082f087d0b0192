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
        std::function<QSet<QString>()>
            addresses; // of this machine's interfaces, but the loopback's
    };
    static Senses system();

    explicit WakeWatch(QObject *parent = nullptr, Senses senses = system());

    void start();
    void stop();

Q_SIGNALS:
    // What connections there are may be dead, and what could not be reached may be reachable.
    void changed();

private:
    void look();

    Senses m_senses;
    QTimer m_timer;
    qint64 m_lead = 0; // of the wall clock
    QSet<QString> m_addresses;
};

} // namespace Tarvo
