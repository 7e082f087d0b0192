#include "Program.h"

#include "CommandParser.h"
#include "Runner.h"
#include "console/Input.h"
#include "lesson/Lesson.h"

#include <QtCore/QCoreApplication>

#include <unistd.h>

namespace Host
{

Program::Program(Options options, Script script, Terminal &terminal)
    : m_options(std::move(options)), m_script(std::move(script)), m_terminal(terminal),
      m_session(m_options)
{
    m_duration.setSingleShot(true);
    connect(&m_duration, &QTimer::timeout, this, &Program::timeIsUp);
    connect(&m_session, &Session::opened, this, &Program::sessionOpened);
    connect(&m_session, &Session::failed, this, &Program::sessionFailed);
    connect(&m_session, &Session::closed, this, &Program::sessionClosed);
}

Program::~Program() = default;

void Program::start()
{
    m_terminal.print(QStringLiteral("Signing in to %1 as %2 ...")
                         .arg(m_options.server.toString(), m_options.user));
    m_isInLibrary = true;
    const std::optional<Failure> failure = m_session.start();
    m_isInLibrary = false;
    if (m_session.isInterrupted())
        end(Interrupted);
    else if (failure)
        sessionFailed(*failure);
}

void Program::interrupt()
{
    const bool isSecondTime = m_isEnding || m_session.isInterrupted();
    if (isSecondTime) {
        m_terminal.closePrompt();
        ::_exit(Interrupted);
    }
    if (m_isInLibrary && !m_isOpen)
        m_session.interrupt(); // start() goes on when it has come back
    else
        end(m_isOpen ? Success : Interrupted);
}

void Program::screenChanged()
{
    m_terminal.restore();
    if (m_lesson)
        m_lesson->redraw();
}

// ---- The session ---------------------------------------------------------------------------------

void Program::sessionOpened()
{
    m_isOpen = true;
    m_terminal.print(QStringLiteral("Session %1 is open over %2.")
                         .arg(m_session.client().getSessionCode(), m_session.transport()));
    m_lesson = std::make_unique<Lesson>(m_session.client(), *m_session.channel(), m_terminal);
    m_runner = std::make_unique<Runner>(*m_lesson);
    connect(m_lesson.get(), &Lesson::stopRequested, this, [this] { end(Success); });
    connect(m_runner.get(), &Runner::started, this, &Program::commandStarted);
    connect(m_runner.get(), &Runner::failed, this, &Program::commandFailed);
    connect(m_runner.get(), &Runner::finished, this, [this] { end(Success); });
    connect(m_runner.get(), &Runner::idle, this, &Program::endWhenFree);
    if (m_options.durationMs > 0)
        m_duration.start(m_options.durationMs);
    m_isInLibrary = true;
    m_lesson->findLearners();
    m_isInLibrary = false;
    if (m_isEnding) // asked for while the service was asked
        return endWhenFree();
    if (m_options.scriptFile.isEmpty())
        takeInput();
    else
        takeScript();
}

void Program::sessionFailed(const Failure &failure)
{
    const QStringList lines = describe(failure);
    for (const QString &line : lines)
        m_terminal.complain(QStringLiteral("tarvo-presenter: ") + line);
    end(Failed);
}

void Program::end(int exitCode)
{
    if (m_isEnding)
        return;
    m_isEnding = true;
    m_exitCode = exitCode;
    m_duration.stop();
    if (m_runner)
        m_runner->clear();
    endWhenFree();
}

void Program::endWhenFree()
{
    // The client carries one request at a time: stopping the session has to wait until the operation
    // in progress has come back.
    const bool isFree = !m_isInLibrary && !(m_runner && m_runner->isBusy());
    if (m_isEnding && isFree)
        QTimer::singleShot(0, this, &Program::endNow); // the input may be calling us
}

void Program::endNow()
{
    if (m_isEnded)
        return;
    m_isEnded = true;
    m_input.reset();
    m_terminal.closePrompt();
    m_session.stop();
}

void Program::sessionClosed()
{
    if (m_isOpen)
        m_terminal.print(QStringLiteral("Session stopped."));
    QCoreApplication::exit(m_exitCode);
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
    m_terminal.setPrompt(QStringLiteral("lesson> "));
    if (m_terminal.openPrompt())
        m_terminal.print(QStringLiteral("Type help for the commands, quit to leave."));
    m_input = std::make_unique<Input>(m_terminal);
    connect(m_input.get(), &Input::line, this, &Program::lineTyped);
    connect(m_input.get(), &Input::ended, this, &Program::inputEnded);
    m_input->start();
}

void Program::lineTyped(const QString &text)
{
    ++m_lineNumber;
    if (m_isEnding)
        return; // what had been read already
    ParsedCommand parsed = parseCommand(text);
    if (parsed.command)
        m_runner->add({std::move(*parsed.command), text.trimmed(), m_lineNumber, QString()});
    else if (!parsed.error.isEmpty())
        commandFailed({Commands::Help{}, text.trimmed(), m_lineNumber, QString()}, parsed.error);
}

void Program::inputEnded()
{
    if (m_isEnding)
        return;
    // With a duration, no input at all (such as /dev/null) does not end the session before its time.
    if (m_options.durationMs == 0 || !Input::isNone())
        m_runner->endOfCommands();
}

void Program::commandStarted(const ScriptLine &line)
{
    m_terminal.print(QStringLiteral("> %1").arg(line.text));
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
    m_terminal.complain(QStringLiteral("tarvo-presenter: %1:%2: %3: %4")
                            .arg(source, QString::number(line.number), line.text, why));
    end(Failed);
}

void Program::timeIsUp()
{
    if (const int pending = m_runner->pending(); pending > 0)
        m_terminal.print(QStringLiteral("Time is up; %1 commands have not run.").arg(pending));
    end(Success);
}

} // namespace Host
