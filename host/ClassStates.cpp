// The states of a live class, as one table.
#include "host/ClassStates.h"

#include <QtCore/QMetaEnum>

namespace Tarvo
{

namespace
{

using Event = ClassEvent;

constexpr int STATES = 9;

// A cell of the table: the next state, or that the event means nothing here.
enum Cell : signed char {
    NO = -1,
    OUT = LiveClass::SignedOut,
    SIGNING = LiveClass::SigningIn,
    NEEDED = LiveClass::SignInNeeded,
    IN = LiveClass::SignedIn,
    STARTING = LiveClass::Starting,
    LIVE = LiveClass::Live,
    RECONN = LiveClass::Reconnecting,
    STOPPING = LiveClass::Stopping,
    ENDED = LiveClass::Ended,
};

struct Row {
    Event::Type event;
    Cell next[STATES];
};

// clang-format off
const Row ROWS[] = {
    // in the state:               OUT      SIGNING   NEEDED    IN        STARTING  LIVE      RECONN    STOPPING ENDED
    {Event::SignIn,               {SIGNING, NO,       SIGNING,  NO,       NO,       NO,       NO,       NO,      NO}},
    {Event::CompleteRegistration, {SIGNING, NO,       NO,       NO,       NO,       NO,       NO,       NO,      NO}},
    {Event::Start,                {NO,      NO,       NO,       STARTING, NO,       NO,       NO,       NO,      STARTING}},
    {Event::Stop,                 {NO,      NO,       STOPPING, NO,       STOPPING, STOPPING, STOPPING, NO,      NO}},
    {Event::SignOut,              {NO,      STOPPING, STOPPING, STOPPING, STOPPING, STOPPING, STOPPING, NO,      STOPPING}},
    {Event::ReconnectNow,         {NO,      NO,       NO,       NO,       NO,       LIVE,     RECONN,   NO,      NO}},
    {Event::BeginActivity,        {NO,      NO,       NO,       NO,       NO,       LIVE,     NO,       NO,      NO}},
    {Event::Wish,                 {NO,      NO,       NEEDED,   NO,       NO,       LIVE,     RECONN,   NO,      NO}},
    {Event::Message,              {NO,      NO,       NO,       NO,       NO,       LIVE,     NO,       NO,      NO}},
    {Event::Upload,               {NO,      NO,       NO,       IN,       NO,       LIVE,     NO,       NO,      ENDED}},

    {Event::SignInAccepted,       {NO,      IN,       NO,       NO,       NO,       NO,       NO,       NO,      NO}},
    {Event::SignInRenewed,        {NO,      RECONN,   NO,       NO,       NO,       NO,       NO,       NO,      NO}},
    {Event::SignInFailed,         {NO,      OUT,      NO,       NO,       NO,       NO,       NO,       NO,      NO}},
    {Event::SignInFailedAgain,    {NO,      NEEDED,   NO,       NO,       NO,       NO,       NO,       NO,      NO}},
    {Event::ChannelOpened,        {NO,      NO,       NO,       NO,       LIVE,     NO,       LIVE,     NO,      NO}},
    {Event::StartFailed,          {NO,      NO,       NO,       NO,       IN,       NO,       NO,       NO,      NO}},
    {Event::SignInLost,           {NO,      NO,       NO,       NO,       OUT,      NO,       NEEDED,   NO,      NO}},
    {Event::ChannelLost,          {NO,      NO,       NO,       NO,       NO,       RECONN,   NO,       NO,      NO}},
    {Event::SessionGone,          {NO,      NO,       NO,       NO,       NO,       ENDED,    ENDED,    NO,      NO}},
    {Event::StoppedByRemote,      {NO,      NO,       NO,       NO,       NO,       STOPPING, NO,       NO,      NO}},
    {Event::StopEnded,            {NO,      NO,       NO,       NO,       NO,       NO,       NO,       ENDED,   NO}},
    {Event::SignOutEnded,         {NO,      NO,       NO,       NO,       NO,       NO,       NO,       OUT,     NO}},
};
// clang-format on

} // namespace

std::optional<LiveClass::State> nextState(LiveClass::State state, ClassEvent::Type event)
{
    for (const Row &row : ROWS) {
        if (row.event == event && row.next[state] != NO)
            return LiveClass::State(row.next[state]);
    }
    return std::nullopt;
}

ClassEvent::Type eventOf(Action::Type action)
{
    switch (action) {
    case Action::SignIn:
        return Event::SignIn;
    case Action::CompleteRegistration:
        return Event::CompleteRegistration;
    case Action::Start:
        return Event::Start;
    case Action::Stop:
        return Event::Stop;
    case Action::SignOut:
        return Event::SignOut;
    case Action::ReconnectNow:
        return Event::ReconnectNow;
    case Action::StartPoll:
    case Action::Ask:
    case Action::StartAssessment:
        return Event::BeginActivity;
    case Action::Pause:
    case Action::Resume:
    case Action::StopActivity:
        return Event::Wish;
    case Action::UploadImage:
        return Event::Upload;
    default:
        return Event::Message;
    }
}

} // namespace Tarvo
