#pragma once

#include "host/Action.h"
#include "host/LiveClass.h"

#include <optional>

namespace Tarvo
{

// What can happen to a class: what its host calls, and what the service and the network do.
class ClassEvent
{
    Q_GADGET

public:
    enum Type : int {
        // Calls of the host.
        SignIn,
        CompleteRegistration,
        Start,
        Stop,
        SignOut,
        ReconnectNow,
        BeginActivity, // startPoll, ask, startAssessment
        Wish,          // pause, resume, stopActivity: made up for when the connection is back
        Message,       // what goes to the devices at once, or not at all
        Upload,

        // What happens.
        SignInAccepted,
        SignInRenewed, // a session is waiting for it
        SignInFailed,
        SignInFailedAgain, // a session is waiting for it
        ChannelOpened,
        StartFailed,
        SignInLost, // the service no longer knows who is signed in
        ChannelLost,
        SessionGone, // the service no longer knows the session
        StoppedByRemote,
        StopEnded,
        SignOutEnded
    };
    Q_ENUM(Type)
};

// The state that an event leads to; none when the event means nothing in this state: a call is refused
// then, and what happens is passed over.
std::optional<LiveClass::State> nextState(LiveClass::State state, ClassEvent::Type event);

// Which event a call of the host is.
ClassEvent::Type eventOf(Action::Type action);

} // namespace Tarvo
