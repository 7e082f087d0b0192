#include "Program.h"

#include "CommandParser.h"
#include "FailureText.h"
#include "Runner.h"
#include "console/Input.h"
#include "lesson/Lesson.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>

#include <unistd.h>

namespace Host
{

namespace
{

using Tarvo::Failure;
using Tarvo::LiveClass;

// Answers that are there already are shown before the class ends.
constexpr int SETTLE_MS = 40;
// An end that takes longer is worth a line.
constexpr int PATIENCE_MS = 500;
// So is a line that was typed ahead, unless its turn comes at once.
constexpr int QUEUE_MS = 200;

const QLatin1String HOW_TO_LEAVE("Ctrl-C or Ctrl-D again, or quit, ends the session.");

QString inWords(int commands)
{
    return commands == 1 ? QStringLiteral("1 command")
                         : QStringLiteral("%1 commands").arg(commands);
}

} // namespace

Program::Program(Options options, Script script, const QList<QSslCertificate> &roots,
                 Terminal &terminal)
    : m_options(std::move(options)), m_script(std::move(script)),
      m_isTyped(isatty(STDIN_FILENO) != 0), m_terminal(terminal)
{
    setUpClass(roots);
    m_duration.setSingleShot(true);
    m_patience.setSingleShot(true);
    m_queue.setSingleShot(true);
    connect(&m_queue, &QTimer::timeout, this, &Program::tellOfQueue);
    connect(&m_duration, &QTimer::timeout, this, &Program::timeIsUp);
    connect(&m_patience, &QTimer::timeout, this,
            [this] { m_terminal.print(QStringLiteral("Stopping ..., Ctrl-C again to give up")); });
    connect(&m_live, &LiveClass::stateChanged, this, &Program::stateChanged);
    connect(&m_live, &LiveClass::pausedChanged, this, &Program::showPrompt);
    connect(&m_live, &LiveClass::ended, this, &Program::classEnded);
    connect(&m_live, &LiveClass::failed, this, [this](const Failure &failure) {
        m_isUnconfirmed = m_isUnconfirmed || failure.reason() == Failure::StopUnconfirmed;
    });
}

Program::~Program() = default;

void Program::setUpClass(const QList<QSslCertificate> &roots)
{
    if (!m_options.transport.isEmpty())
        m_live.setTransports({m_options.transport});
    m_live.setRobustTransport(!m_options.compatibleTransport);
    m_live.setTrustedCertificates(roots);
    m_live.setKeepPassword(true); // we have it in memory anyway
}

// ---- Into the class ------------------------------------------------------------------------------

void Program::start()
{
    m_terminal.print(QStringLiteral("Signing in to %1 as %2 ...")
                         .arg(m_options.server.toString(), m_options.user));
    signIn().then(this, [this] { startClass(); });
}

Tarvo::Operation Program::signIn()
{
    const Tarvo::Operation operation =
        m_live.signIn(m_options.server.toString(), m_options.user, m_options.password);
    operation.then(this, {}, [this](const Failure &failure) { cameNotIn(failure); });
    return operation;
}

void Program::startClass()
{
    if (m_isLeaving)
        return;
    m_live.start().then(
        this, [this] { classOpened(); }, [this](const Failure &failure) { cameNotIn(failure); });
}

void Program::cameNotIn(const Failure &failure)
{
    if (m_isLeaving)
        return;
    complain(describe(failure, m_options.server.toString()));
    leave(ExitCode::Failed);
}

void Program::classOpened()
{
    if (m_isLeaving)
        return;
    m_terminal.print(QStringLiteral("Session %1 is open over %2.")
                         .arg(m_live.sessionCode(), m_live.transport()));
    m_lesson = std::make_unique<Lesson>(m_live, m_terminal);
    m_runner = std::make_unique<Runner>(*m_lesson);
    connect(m_runner.get(), &Runner::started, this, &Program::commandStarted);
    connect(m_runner.get(), &Runner::queued, this, [this] {
        if (m_terminal.hasPrompt())
            m_queue.start(QUEUE_MS);
    });
    connect(m_runner.get(), &Runner::failed, this, &Program::commandFailed);
    connect(m_runner.get(), &Runner::finished, this, &Program::commandsEnded);
    if (m_options.durationMs > 0)
        m_duration.start(m_options.durationMs);
    if (m_options.scriptFile.isEmpty())
        takeInput();
    else
        takeScript();
}

void Program::stateChanged()
{
    switch (m_live.state()) {
    case LiveClass::SignInNeeded:
        if (!m_isLeaving)
            signInAgain();
        break;
    case LiveClass::Stopping:
    case LiveClass::Ended:
        // Perhaps without our having asked for it. Everybody is still there to be counted.
        if (m_lesson)
            m_lesson->wrapUp();
        break;
    default:
        break;
    }
}

void Program::signInAgain()
{
    m_terminal.print(QStringLiteral("Signing in again as %1 ...").arg(m_options.user));
    signIn();
}

// ---- Commands ------------------------------------------------------------------------------------

void Program::takeScript()
{
    for (const ScriptLine &line : m_script.lines)
        m_runner->add(line);
    // Without a duration the session ends with its script.
    if (m_options.durationMs == 0)
        m_runner->endOfCommands();
}

void Program::takeInput()
{
    showPrompt();
    m_terminal.setCompletion([this](const QString &line) {
        return Candidates{wordBegin(line), completions(line, m_lesson->learnerNames())};
    });
    if (m_terminal.openPrompt())
        m_terminal.print(QStringLiteral("Type help for the commands, quit to leave."));
    m_input = std::make_unique<Input>(m_terminal);
    connect(m_input.get(), &Input::line, this, &Program::lineTyped);
    connect(m_input.get(), &Input::ended, this, &Program::inputEnded);
    m_input->start();
}

void Program::showPrompt()
{
    m_terminal.setPrompt(m_live.isPaused() ? QStringLiteral("(paused) > ") : QStringLiteral("> "));
}

void Program::lineTyped(const QString &text)
{
    ++m_lineNumber;
    if (m_isLeaving)
        return; // what had been read already
    std::optional<ScriptLine> line = readLine(text, m_lineNumber);
    if (!line)
        return;
    if (!m_isTyped && !m_options.allowFiles)
        confineFiles(line->command, QDir::currentPath());
    if (!std::holds_alternative<Commands::Quit>(line->command))
        m_isMeant = false;
    m_runner->add(*line);
}

void Program::inputEnded()
{
    if (m_isLeaving)
        return;
    if (m_terminal.hasPrompt()) {
        const bool isTerminalGone = isatty(STDIN_FILENO) == 0;
        if (isTerminalGone || isMeant(HOW_TO_LEAVE))
            leave(ExitCode::Success);
        return;
    }
    // With a duration, no input at all (such as /dev/null) does not end the session before its time.
    if (m_options.durationMs == 0 || !Input::isNone())
        m_runner->endOfCommands();
}

void Program::commandStarted(const ScriptLine &line)
{
    m_terminal.print(QStringLiteral("> %1").arg(line.text));
}

void Program::tellOfQueue()
{
    const int waiting = m_runner->pending() - 1;
    if (waiting > 0)
        m_terminal.print(inWords(waiting) + QLatin1String(waiting == 1 ? " waits" : " wait"));
}

void Program::commandFailed(const ScriptLine &line, const QString &why)
{
    if (m_terminal.hasPrompt()) {
        m_terminal.print(why);
        return;
    }
    // Nobody sits at a script or a pipe to try again, and the commands behind count on this one.
    const QString source =
        m_options.scriptFile.isEmpty() ? QStringLiteral("standard input") : m_options.scriptFile;
    complain({QStringLiteral("%1:%2: %3: %4")
                  .arg(source, QString::number(line.number), line.text, why)});
    leave(ExitCode::Failed);
}

void Program::screenChanged()
{
    m_terminal.fitToWindow();
    if (m_lesson)
        m_lesson->redraw();
}

void Program::continued()
{
    m_terminal.restore();
    screenChanged(); // perhaps meanwhile
}

// The last one is done, or was quit.
void Program::commandsEnded()
{
    const bool isAsked = m_terminal.hasPrompt() && m_lesson->isRunning();
    if (!isAsked || isMeant(QStringLiteral("Something is running; quit again ends the session.")))
        leave(ExitCode::Success);
}

void Program::timeIsUp()
{
    if (const int pending = m_runner->pending(); pending > 0)
        m_terminal.print(QStringLiteral("Time is up with %1 to go.").arg(inWords(pending)));
    leave(ExitCode::Success);
}

// ---- Out of the class ----------------------------------------------------------------------------

void Program::interrupt()
{
    if (m_isLeaving)
        return giveUp();
    if (!m_lesson)
        return leave(ExitCode::Interrupted);
    if (m_terminal.hasPrompt() && (m_terminal.clearLine() || !isMeant(HOW_TO_LEAVE)))
        return;
    leave(ExitCode::Success);
}

// A window that is closed tells it more than once, by the shell and by the system: that is not to give
// up, and the end does not take for ever.
void Program::terminate()
{
    leave(m_lesson ? ExitCode::Success : ExitCode::Interrupted);
}

bool Program::isMeant(const QString &howTo)
{
    if (m_isMeant)
        return true;
    m_isMeant = true;
    m_terminal.print(howTo);
    return false;
}

void Program::leave(int exitCode)
{
    if (m_isLeaving)
        return;
    m_isLeaving = true;
    m_exitCode = exitCode;
    m_duration.stop();
    m_queue.stop();
    m_patience.start(PATIENCE_MS);
    if (m_runner)
        m_runner->clear();
    if (m_lesson)
        QTimer::singleShot(SETTLE_MS, this, &Program::stopClass);
    else
        signOut();
}

void Program::stopClass()
{
    if (m_isOver)
        return;
    m_lesson->wrapUp();
    m_terminal.closePrompt();
    // While it signs in again, the class is only stopped together with that.
    m_live.stop().then(this, {}, [this](const Failure &failure) {
        if (failure.reason() == Failure::NotAllowed)
            m_live.signOut();
    });
}

// By us or by others; failed() has come before if the service has not confirmed it.
void Program::classEnded(Failure::Reason reason)
{
    if (m_isOver || !m_lesson)
        return; // before it was open: signOut() goes on
    m_isOver = true;
    m_terminal.closePrompt();
    leave(ExitCode::Success);
    m_patience.stop();
    if (m_isUnconfirmed) {
        complain(describeUnconfirmedStop());
        m_exitCode = ExitCode::Failed;
        return quit();
    }
    if (reason == Failure::NoReason || reason == Failure::EndedByRemote) {
        m_terminal.print(QStringLiteral("Session stopped."));
    } else {
        complain(describe(Failure(Tarvo::Action::None, reason), m_options.server.toString()));
        m_exitCode = ExitCode::Failed;
    }
    signOut();
}

void Program::signOut()
{
    m_live.signOut().then(
        this, [this] { quit(); },
        [this](const Failure &failure) {
            if (failure.reason() == Failure::StopUnconfirmed) {
                complain(describeUnconfirmedStop());
                m_exitCode = ExitCode::Failed;
            }
            quit();
        });
}

// At once: deleting the class would wait for it.
void Program::giveUp()
{
    if (m_lesson)
        m_lesson->wrapUp();
    m_terminal.closePrompt();
    if (m_lesson && !m_isOver) {
        complain(describeUnconfirmedStop());
        m_exitCode = ExitCode::Failed;
    }
    ::_exit(m_exitCode);
}

void Program::complain(const QStringList &lines)
{
    for (const QString &line : lines)
        m_terminal.complain(QStringLiteral("tarvo-presenter: ") + line);
}

void Program::quit()
{
    m_patience.stop();
    m_terminal.closePrompt();
    QCoreApplication::exit(m_exitCode);
}

} // namespace Host
