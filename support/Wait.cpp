#include "support/Wait.h"

#include <QtCore/QAbstractEventDispatcher>
#include <QtCore/QCoreApplication>
#include <QtCore/QDeadlineTimer>
#include <QtCore/QTimer>

namespace Tarvo
{

bool Wait::isPossible()
{
    return QCoreApplication::instance() && !QCoreApplication::closingDown();
}

bool Wait::until(const Condition &done, int limitMs) const
{
    if (done())
        return true;
    if (!isPossible())
        return false;

    QDeadlineTimer deadline(QDeadlineTimer::Forever);
    QTimer limit; // ends the sleep
    if (limitMs >= 0) {
        deadline.setPreciseRemainingTime(0, qint64(limitMs) * 1000 * 1000);
        limit.setTimerType(Qt::PreciseTimer);
        limit.start(limitMs);
    }

    // Not exec(), which ends with the application's quit().
    QEventLoop loop;
    while (!done()) {
        if (deadline.hasExpired() || !isPossible())
            return false;
        loop.processEvents(m_flags | QEventLoop::WaitForMoreEvents);
    }
    return true;
}

bool Wait::untilOrQuit(const Condition &done) const
{
    if (done())
        return true;
    if (!isPossible())
        return false;

    // A loop that is entered after the application was told to quit returns without a look at events.
    bool entered = false;
    bool ended = false;
    QEventLoop loop;
    // Once is enough, and wakes the thread: a loop that a slot of the host runs meanwhile would not
    // come to rest otherwise.
    const auto look = [&] {
        entered = true;
        if (ended || !done())
            return;
        ended = true;
        loop.quit();
    };
    auto *dispatcher = QAbstractEventDispatcher::instance();
    QObject::connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, &loop, look);
    QObject::connect(dispatcher, &QAbstractEventDispatcher::awake, &loop, look);
    loop.exec(m_flags);
    return entered ? done() : until(done);
}

} // namespace Tarvo
