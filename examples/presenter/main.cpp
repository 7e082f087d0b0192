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

// What the options name is read before anything is sent. Returns how the program ends if that fails.
std::optional<int> readInputs(const Options &options, Script *script,
                              QList<QSslCertificate> *furtherRoots, Terminal &terminal)
{
    if (!options.scriptFile.isEmpty())
        *script = readScript(options.scriptFile,
                             options.allowFiles ? LessonFiles::Anywhere : LessonFiles::InItsFolder);
    if (!script->errors.isEmpty())
        return refuse(terminal, script->errors);
    if (options.caFile.isEmpty())
        return std::nullopt;
    *furtherRoots = readRoots(options.caFile);
    if (furtherRoots->isEmpty())
        return refuse(terminal, {QStringLiteral("%1 holds no certificate.").arg(options.caFile)});
    return std::nullopt;
}

bool askPassword(Options *options, Terminal &terminal)
{
    const QString prompt = QStringLiteral("Password for %1: ").arg(options->user);
    const std::optional<QString> password = Terminal::askPassword(prompt);
    if (!password)
        terminal.complain(QStringLiteral("tarvo-presenter: No password was typed."));
    options->password = password.value_or(QString());
    return password.has_value();
}

int runProgram(const Options &options, const Script &script,
               const QList<QSslCertificate> &furtherRoots, Terminal &terminal)
{
    Diagnostics::Sink sink;
    if (options.verbose)
        sink = [&terminal](const QString &line) { terminal.complain(line); };
    const Diagnostics diagnostics(sink);
    Program program(options, script, furtherRoots, terminal);
    const SignalPipe signalPipe;
    QObject::connect(&signalPipe, &SignalPipe::interrupted, &program, &Program::interrupt);
    QObject::connect(&signalPipe, &SignalPipe::terminated, &program, &Program::terminate);
    QObject::connect(&signalPipe, &SignalPipe::screenChanged, &program, &Program::screenChanged);
    QObject::connect(&signalPipe, &SignalPipe::continued, &program, &Program::continued);
    QTimer::singleShot(0, &program, &Program::start);
    return QCoreApplication::exec();
}

} // namespace

int main(int argc, char *argv[])
{
    makeDiagnosticsPrintable();
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("tarvo-presenter"));
    std::signal(SIGPIPE, SIG_IGN); // who stops reading our output does not end the session

    Terminal terminal;
    ParsedOptions parsed =
        parseOptions(QCoreApplication::arguments(), qEnvironmentVariable("TARVO_PASSWORD"),
                     isatty(STDIN_FILENO) != 0);
    if (parsed.action == ParsedOptions::ShowHelp) {
        terminal.print(parsed.text.trimmed().split(QLatin1Char('\n')));
        return ExitCode::Success;
    }
    if (parsed.action == ParsedOptions::Refuse)
        return refuse(terminal, {parsed.text});

    Script script;
    QList<QSslCertificate> furtherRoots;
    if (const auto exitCode = readInputs(parsed.options, &script, &furtherRoots, terminal))
        return *exitCode;
    if (parsed.options.askPassword && !askPassword(&parsed.options, terminal))
        return ExitCode::Interrupted;
    return runProgram(parsed.options, script, furtherRoots, terminal);
}
