#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// How far a session got before it failed.
enum class Step {
    ReachService,
    SignIn,
    StartSession,
    OpenChannel, // find, start and join the session at its collaboration server
    Connect,     // wait until the channel carries messages
    KeepChannel
};

// A failure as the user is told: what did not work, the key under which the service or the TLS policy
// gave its reason, how the channel ended, and what to do.
struct Failure {
    Step step;
    QString errorKey;  // empty: no reason was given
    QString transport; // that carried the channel, or was to carry it; may be empty
    // Of the channel's end, over the robust transport; 0 and empty otherwise.
    int closeCode = 0;
    QString closeReason;
};

// One line each: what failed, with the key or the channel's reason; what to do about it.
QStringList describe(const Failure &failure);

} // namespace Host
