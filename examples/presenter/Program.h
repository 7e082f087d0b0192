#pragma once

#include "Options.h"
#include "Script.h"
#include "console/Terminal.h"

#include "host/LiveClass.h"

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtNetwork/QSslCertificate>

#include <memory>

namespace Host
{

class Input;
class Lesson;
class Runner;

// The program from the command line read to its exit code: signs in, starts the class, feeds commands
// from the script, the prompt or the pipe into the lesson, and ends the class, whoever asks for it.
class Program : public QObject
{
    Q_OBJECT

public:
    // The script is used if the options name one. The roots are trusted beside the system's.
    Program(Options options, Script script, const QList<QSslCertificate> &roots,
            Terminal &terminal);
    ~Program() override;

    void start();
    // Ctrl-C.
    void interrupt();
    // The system wants the program to end.
    void terminate();
    void screenChanged();
    // After Ctrl-Z, or whatever has stopped the process.
    void continued();

private:
    void setUpClass(const QList<QSslCertificate> &roots);
    Tarvo::Operation signIn();
    void startClass();
    void cameNotIn(const Tarvo::Failure &failure);
    void classOpened();
    void classEnded(Tarvo::Failure::Reason reason);
    void stateChanged();
    void signInAgain();

    void takeScript();
    void takeInput();
    void showPrompt();
    void lineTyped(const QString &text);
    void inputEnded();
    void commandStarted(const ScriptLine &line);
    void tellOfQueue();
    void commandFailed(const ScriptLine &line, const QString &why);
    void commandsEnded();
    void timeIsUp();

    // Whether the user has asked to leave once before; says how to otherwise.
    bool isMeant(const QString &howTo);
    // Ends the class, if there is one, and then the program; the first code given holds.
    void leave(int exitCode);
    void stopClass();
    void signOut();
    void giveUp();
    void complain(const QStringList &lines);
    void quit();

    const Options m_options;
    const Script m_script;
    const bool m_isTyped; // what comes on standard input, by the teacher
    Terminal &m_terminal;
    Tarvo::LiveClass m_live;
    std::unique_ptr<Lesson> m_lesson; // from when the class is open
    std::unique_ptr<Runner> m_runner;
    std::unique_ptr<Input> m_input;
    QTimer m_duration;
    QTimer m_patience;    // before it is said that the end takes its time
    QTimer m_queue;       // before it is said that commands wait
    int m_lineNumber = 0; // of standard input
    int m_exitCode = ExitCode::Success;
    bool m_isMeant = false;
    bool m_isLeaving = false;
    bool m_isUnconfirmed = false; // the stop
    bool m_isOver = false;        // the class; what is left is to sign out
};

} // namespace Host
