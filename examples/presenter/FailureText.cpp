#include "FailureText.h"

namespace Host
{

namespace
{

using Tarvo::Failure;

// Where an option of this program is the way out.
const struct {
    Failure::Reason reason;
    bool isAboutServer; // which has been found once somebody is signed in
    const char *advice;
} ADVICE[] = {
    {Failure::Refused, true, "Check the port in --server, and whether the service runs."},
    {Failure::NameNotFound, true, "Check the name in --server, and the network."},
    {Failure::Unreachable, true, "Check the address in --server, and the network."},
    {Failure::Tls, true,
     "Check that --server names an https port, and this computer's date and time; "
     "the certificate may have expired, too. --verbose tells."},
    {Failure::UntrustedRoot, false,
     "Have the root of the service's certificate installed on this "
     "computer, or name its file with --ca."},
    {Failure::Silent, true, "Check the port in --server, and the network."},
    {Failure::ConnectionLost, true,
     "Check whether --server has to begin with https://, and the network."},
    {Failure::Maintenance, true,
     "Try again in a few minutes. If it stays so, check name, port and path in "
     "--server."},
    {Failure::SignInRefused, false, "Check --user and the password (TARVO_PASSWORD)."},
    {Failure::ChannelNotOpened, false,
     "Check the network, or name another transport with --transport. --verbose tells why."},
    {Failure::RefusedByService, false,
     "Try again in a moment; --verbose shows what the service answered."},
};

// Whatever answers there instead of the service, a page or an error, it is not what was meant.
bool isAnotherServer(const Failure &failure)
{
    const Failure::Reason reason = failure.reason();
    return failure.action() == Tarvo::Action::SignIn
        && (reason == Failure::RefusedByService || reason == Failure::SignInPage
            || reason == Failure::UnexpectedAnswer);
}

QString adviceFor(const Failure &failure)
{
    const bool isOnTheWay = failure.action() == Tarvo::Action::SignIn;
    for (const auto &row : ADVICE) {
        if (row.reason == failure.reason() && (isOnTheWay || !row.isAboutServer))
            return QString::fromLatin1(row.advice);
    }
    return failure.advice();
}

} // namespace

QStringList describe(const Failure &failure, const QString &server)
{
    if (isAnotherServer(failure)) {
        return {
            QStringLiteral("Signing in failed: what answers at %1 is not the classroom service.")
                .arg(server),
            QStringLiteral("Check name, port and path in --server. A guest network may want you "
                           "to sign in with a web browser first.")};
    }
    return {failure.message(), adviceFor(failure)};
}

QString describe(const Failure &failure)
{
    return failure.message() + QLatin1Char(' ') + failure.advice();
}

QStringList describeUnconfirmedStop()
{
    return {QStringLiteral("The service did not confirm that the session has stopped."),
            QStringLiteral("It may still be open there; on this computer the class has ended.")};
}

} // namespace Host
