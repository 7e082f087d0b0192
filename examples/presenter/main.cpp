// tarvo-presenter: a console host for live class sessions, on the host kit.

#include "Diagnostics.h"
#include "Options.h"
#include "Program.h"
#include "Script.h"
#include "console/SignalPipe.h"
#include "console/Terminal.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QTimer>
#include <QtNetwork/QSsl>
#include <QtNetwork/QSslCertificate>

#include <csignal>
#include <optional>
#include <unistd.h>

using namespace Host;

namespace
{

// The certificates in the file.
QList<QSslCertificate> readRoots(const QString &fileName)
{
    const QList<QSslCertificate> roots = QSslCertificate::fromPath(fileName, QSsl::Pem);
    return roots.isEmpty() ? QSslCertificate::fromPath(fileName, QSsl::Der) : roots;
}

int refuse(Terminal &terminal, const QStringList &reasons)
{
    for (const QString &reason : reasons)
        terminal.complain(QStringLiteral("tarvo-presenter: ") + reason);
    terminal.complain(QStringLiteral("Try --help."));
    return ExitCode::WrongUsage;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarvo-presenter"));
    std::signal(SIGPIPE, SIG_IGN); // who stops reading our output does not end the session

    Terminal terminal;
    ParsedOptions parsed =
        parseOptions(QCoreApplication::arguments(), qEnvironmentVariable("TARVO_PASSWORD"),
                     isatty(STDIN_FILENO) != 0);
    if (parsed.action == ParsedOptions::ShowHelp) {
        terminal.print(parsed.text.trimmed());
        return ExitCode::Success;
    }
    if (parsed.action == ParsedOptions::Refuse)
        return refuse(terminal, {parsed.text});

    Script script;
    if (!parsed.options.scriptFile.isEmpty())
        script = readScript(parsed.options.scriptFile);
    if (!script.errors.isEmpty())
        return refuse(terminal, script.errors);
    QList<QSslCertificate> furtherRoots;
    if (!parsed.options.caFile.isEmpty()) {
        furtherRoots = readRoots(parsed.options.caFile);
        if (furtherRoots.isEmpty()) {
            return refuse(terminal,
                          {QStringLiteral("%1 holds no certificate.").arg(parsed.options.caFile)});
        }
    }

    if (parsed.options.askPassword) {
        const QString prompt = QStringLiteral("Password for %1: ").arg(parsed.options.user);
        const std::optional<QString> password = Terminal::askPassword(prompt);
        if (!password)
            return ExitCode::Interrupted;
        parsed.options.password = *password;
    }

    Diagnostics::Sink sink;
    if (parsed.options.verbose)
        sink = [&terminal](const QString &line) { terminal.diagnostic(line); };
    const Diagnostics diagnostics(sink);
    Program program(parsed.options, script, furtherRoots, terminal);
    const SignalPipe signalPipe;
    QObject::connect(&signalPipe, &SignalPipe::interrupted, &program, &Program::interrupt);
    QObject::connect(&signalPipe, &SignalPipe::terminated, &program, &Program::terminate);
    QObject::connect(&signalPipe, &SignalPipe::screenChanged, &program, &Program::screenChanged);
    QTimer::singleShot(0, &program, &Program::start);
    return QCoreApplication::exec();
}
