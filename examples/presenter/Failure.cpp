#include "Failure.h"

namespace Host
{

namespace
{

// Recorded by the client when the root of the service's certificate is not among the trusted ones.
const QLatin1String ROOT_MISSING("SSLRootCertificateMissing");

QString whatFailed(Step step)
{
    switch (step) {
    case Step::ReachService:
        return QStringLiteral("The classroom service does not answer as expected");
    case Step::SignIn:
        return QStringLiteral("Sign-in failed");
    case Step::StartSession:
        return QStringLiteral("The service created no session");
    case Step::OpenChannel:
        return QStringLiteral("The session could not be started on a collaboration server");
    case Step::Connect:
        return QStringLiteral("The collaboration server did not open the channel");
    case Step::KeepChannel:
        return QStringLiteral("The connection to the collaboration server was lost");
    }
    return QString();
}

QString whatToDo(const Failure &failure)
{
    if (failure.errorKey == ROOT_MISSING) {
        return QStringLiteral("The root of the service's certificate is not trusted here. Have it "
                              "installed on this machine, or name its file with --ca.");
    }
    switch (failure.step) {
    case Step::ReachService:
        return QStringLiteral(
            "Check --server and the network. A certificate that has expired or is "
            "for another name ends here, too; --verbose tells.");
    case Step::SignIn:
        return QStringLiteral("Check --user and --password.");
    case Step::StartSession:
    case Step::OpenChannel:
        return QStringLiteral("Try again in a moment; --verbose shows what the service answered.");
    case Step::Connect:
        if (failure.transport == QLatin1String("xhr-streaming")) {
            return QStringLiteral(
                "Over xhr-streaming frames arrive when the server ends a response; "
                "try --transport xhr-polling.");
        }
        return QStringLiteral(
            "Web sockets may be blocked on the way; try --transport xhr-polling.");
    case Step::KeepChannel:
        return QStringLiteral("Check the network and start a new session.");
    }
    return QString();
}

} // namespace

QStringList describe(const Failure &failure)
{
    const QString reason = failure.errorKey.isEmpty()
        ? QStringLiteral("no error key")
        : QStringLiteral("error key %1").arg(failure.errorKey);
    return {QStringLiteral("%1 (%2).").arg(whatFailed(failure.step), reason), whatToDo(failure)};
}

} // namespace Host
