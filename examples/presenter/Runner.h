#pragma once

#include "Script.h"

#include <QtCore/QObject>
#include <QtCore/QQueue>
#include <QtCore/QTimer>

#include <functional>
#include <optional>

namespace Host
{

class Performer;

// Runs commands one after another: each when the one before is done, and those behind a wait or an
// await when it is over.
class Runner : public QObject
{
    Q_OBJECT

public:
    explicit Runner(Performer &performer, QObject *parent = nullptr);

    void add(const ScriptLine &line);
    // Nothing is added any more; finished() follows the last command.
    void endOfCommands();
    // Gives up what has not run yet.
    void clear();

    int pending() const { return m_lines.size() + (m_current ? 1 : 0); }
    // A command is being carried out right now and may be waiting for the service.
    bool isBusy() const { return m_isBusy; }

Q_SIGNALS:
    void started(const Host::ScriptLine &line);
    // The next command runs all the same, unless a slot clears the rest.
    void failed(const Host::ScriptLine &line, const QString &why);
    void finished(); // quit, or the last command is done
    void idle();     // a command has come back; isBusy() is false again

private:
    void runNext();
    void start(const ScriptLine &line);
    void await(const ScriptLine &line, int timeoutMs, std::function<bool()> condition);
    void lookAtCondition();
    void waitIsOver();

    Performer &m_performer;
    QQueue<ScriptLine> m_lines;
    std::optional<ScriptLine> m_current; // the wait or await that the others are behind
    std::function<bool()> m_condition;   // of an await
    QTimer m_timer;                      // the end of a wait, the limit of an await
    bool m_isBusy = false;
    bool m_isComplete = false;
};

} // namespace Host
