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
// await when it is over. A line that could not be read fails when its turn comes.
class Runner : public QObject
{
    Q_OBJECT

public:
    explicit Runner(Performer &performer, QObject *parent = nullptr);

    void add(const ScriptLine &line);
    // Nothing is added any more; finished() follows the last command.
    void endOfCommands();
    // Gives up what is not done; what becomes of a command that is being carried out is not told.
    void clear();

    // How many commands are not done.
    int pending() const;

Q_SIGNALS:
    void started(const Host::ScriptLine &line);
    // The next command runs all the same, unless a slot clears the rest.
    void failed(const Host::ScriptLine &line, const QString &why);
    void queued();   // a line was added behind one that is not over
    void finished(); // quit, or the last command is done

private:
    void runNext();
    void start(const ScriptLine &line);
    void perform(const ScriptLine &line);
    void performed(int number, const std::optional<QString> &error);
    void await(const ScriptLine &line, int timeoutMs, std::function<bool()> condition);
    void lookAtCondition();
    void waitIsOver();
    QString whyInVain(const Command &command) const;
    int awaitedResponses(const Commands::AwaitResponses &awaited) const;
    bool isFree() const { return !m_performing && !m_waiting; }

    Performer &m_performer;
    QQueue<ScriptLine> m_lines;
    std::optional<ScriptLine> m_performing;
    std::optional<ScriptLine> m_waiting; // the wait or await that the others are behind
    std::function<bool()> m_condition;   // of an await
    QTimer m_timer;                      // the end of a wait, the limit of an await
    int m_number = 0;                    // of the last command that went to the performer
    bool m_isStarting = false;
    bool m_isComplete = false;
};

} // namespace Host
