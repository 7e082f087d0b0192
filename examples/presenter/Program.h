#pragma once

#include "Options.h"
#include "Script.h"
#include "Session.h"
#include "console/Terminal.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <memory>

namespace Host
{

class Input;
class Lesson;
class Runner;

// The program from the command line read to its exit code: opens the session, feeds commands from the
// script, the prompt or the pipe into the lesson, and ends the session, whoever asks for it.
class Program : public QObject
{
    Q_OBJECT

public:
    // The script is used if the options name one.
    Program(Options options, Script script, Terminal &terminal);
    ~Program() override;

    void start();
    // The user wants out: Ctrl-C, or the system is shutting down.
    void interrupt();
    void screenChanged();

    enum ExitCode {
        Success = 0,
        Failed = 1, // and the reason was said
        WrongUsage = 2,
        Interrupted = 130 // before the session was open, as shells report SIGINT
    };

private:
    void sessionOpened();
    void sessionFailed(const Failure &failure);
    void sessionClosed();
    void takeScript();
    void takeInput();
    void lineTyped(const QString &text);
    void inputEnded();
    void commandStarted(const ScriptLine &line);
    void commandFailed(const ScriptLine &line, const QString &why);
    void timeIsUp();

    // Ends the session as soon as the library has returned to us; the first code given holds.
    void end(int exitCode);
    void endWhenFree();
    void endNow();

    const Options m_options;
    const Script m_script;
    Terminal &m_terminal;
    Session m_session;
    std::unique_ptr<Lesson> m_lesson; // while the session is open
    std::unique_ptr<Runner> m_runner;
    std::unique_ptr<Input> m_input;
    QTimer m_duration;
    int m_lineNumber = 0; // of standard input
    int m_exitCode = Success;
    bool m_isInLibrary = false; // waits for the service in a call of its own, not in a command
    bool m_isOpen = false;
    bool m_isEnding = false;
    bool m_isEnded = false;
};

} // namespace Host
