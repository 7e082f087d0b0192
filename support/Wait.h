#pragma once

#include <QtCore/QEventLoop>

#include <functional>

namespace Tarvo
{

// The one nested wait: dispatches the events of the calling thread until a condition holds, and sleeps
// while nothing happens.
//
// Slots and timers of the host run meanwhile and may do anything, deleting the object that waits
// included, so the condition is the place to ask whether that one still exists. It is looked at first,
// and then whenever something has happened.
//
// Where no events are delivered, a wait returns at once.
class Wait
{
public:
    using Condition = std::function<bool()>;

    static constexpr int NO_LIMIT = -1;

    // Whether the toolkit delivers events: not without an application object, nor below one that is
    // being destroyed.
    static bool isPossible();

    explicit Wait(QEventLoop::ProcessEventsFlags flags = QEventLoop::AllEvents) : m_flags(flags) { }

    // Waits for `done`, at most `limitMs`. A quit() of the application, earlier or meanwhile, does not
    // cut this short. Returns whether `done` holds.
    bool until(const Condition &done, int limitMs = NO_LIMIT) const;

    // Waits for `done`, or for the application to be told to quit. An application that was told so
    // before does not count: its host has gone on to a loop of its own. Returns whether `done` holds.
    bool untilOrQuit(const Condition &done) const;

private:
    QEventLoop::ProcessEventsFlags m_flags;
};

} // namespace Tarvo
