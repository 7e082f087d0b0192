#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

// Handles events, asleep in between, until the condition holds or the time is over; says whether it
// holds.
template<typename Condition> bool comesTrue(Condition condition, int milliseconds)
{
    QTimer wakeUp;
    wakeUp.start(qMin(milliseconds, 1000));
    const QDeadlineTimer deadline(milliseconds);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
    return true;
}

// The same for a minute, and ends the program when the condition does not hold by then.
template<typename Condition> void waitUntil(const char *what, Condition condition)
{
    if (!comesTrue(condition, 60000))
        qFatal("Waited in vain: %s", what);
}
