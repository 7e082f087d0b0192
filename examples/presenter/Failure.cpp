#include "Failure.h"

#include "console/TextWidth.h"

namespace Host
{

namespace
{

// Recorded by the client when the root of the service's certificate is not among the trusted ones.
const QLatin1String ROOT_MISSING("SSLRootCertificateMissing");

// What the library gives when it is not the server that ended the connection.
constexpr int BROKEN = 1006;

// By the server, or by the library after an hour without messages.
bool wasClosedOnPurpose(const Failure &failure)
{
    return failure.closeCode != 0 && failure.closeCode != BROKEN;
}

QString whatFailed(const Failure &failure)
{
    switch (failure.step) {
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
        if (wasClosedOnPurpose(failure))
            return QStringLiteral("The connection to the collaboration server was closed");
        return QStringLiteral("The connection to the collaboration server was lost");
    }
    return QString();
}

QString why(const Failure &failure)
{
    QStringList reasons;
    if (!failure.errorKey.isEmpty())
        reasons.append(QStringLiteral("error key ") + failure.errorKey);
    if (failure.closeCode != 0) {
        const QString words = printable(failure.closeReason).trimmed();
        reasons.append(QStringLiteral("code ") + QString::number(failure.closeCode)
                       + (words.isEmpty() ? QString() : QStringLiteral(": ") + words));
    }
    return reasons.isEmpty() ? QStringLiteral("no error key") : reasons.join(QStringLiteral(", "));
}

QString whatToDoAboutAnUnopenedChannel(const Failure &failure)
{
    if (failure.closeCode != 0) // every transport that was asked for has been tried
        return QStringLiteral("Check the network, or name another transport with --transport.");
    if (failure.transport == QLatin1String("xhr-streaming")) {
        return QStringLiteral("Over xhr-streaming frames arrive when the server ends a response; "
                              "try --transport xhr-polling.");
    }
    return QStringLiteral("Web sockets may be blocked on the way; try --transport xhr-polling.");
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
        return whatToDoAboutAnUnopenedChannel(failure);
    case Step::KeepChannel:
        if (wasClosedOnPurpose(failure))
            return QStringLiteral("Start a new session.");
        return QStringLiteral("Check the network and start a new session.");
    }
    return QString();
}

} // namespace

QStringList describe(const Failure &failure)
{
    return {QStringLiteral("%1 (%2).").arg(whatFailed(failure), why(failure)), whatToDo(failure)};
}

} // namespace Host
