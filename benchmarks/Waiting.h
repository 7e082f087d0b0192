#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

// Handles events, asleep in between, until the condition holds; ends the program when it does not
// within a minute.
template<typename Condition> void waitUntil(const char *what, Condition condition)
{
    QTimer wakeUp;
    wakeUp.start(1000);
    const QDeadlineTimer deadline(60000);
    while (!condition()) {
        if (deadline.hasExpired())
            qFatal("Waited in vain: %s", what);
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}
