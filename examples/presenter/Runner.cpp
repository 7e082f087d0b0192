#include "Runner.h"

#include "Performer.h"

namespace Host
{

namespace
{

// What a command is to the runner.
enum class Role {
    ForPerformer,
    Wait,
    AwaitLearners,
    AwaitResponses,
    Quit
};

Role roleOf(const Command &command)
{
    if (std::holds_alternative<Commands::Wait>(command))
        return Role::Wait;
    if (std::holds_alternative<Commands::AwaitLearners>(command))
        return Role::AwaitLearners;
    if (std::holds_alternative<Commands::AwaitResponses>(command))
        return Role::AwaitResponses;
    if (std::holds_alternative<Commands::Quit>(command))
        return Role::Quit;
    return Role::ForPerformer;
}

} // namespace

Runner::Runner(Performer &performer, QObject *parent) : QObject(parent), m_performer(performer)
{
    m_timer.setSingleShot(true);
    connect(&m_timer, &QTimer::timeout, this, &Runner::waitIsOver);
    connect(&performer, &Performer::changed, this, &Runner::lookAtCondition, Qt::QueuedConnection);
}

void Runner::add(const ScriptLine &line)
{
    m_lines.enqueue(line);
    runNext();
}

void Runner::endOfCommands()
{
    m_isComplete = true;
    runNext();
}

void Runner::clear()
{
    m_lines.clear();
    m_current.reset();
    m_condition = nullptr;
    m_timer.stop();
    m_isComplete = false;
}

void Runner::runNext()
{
    // A command that waits for the service lets the event loop turn, and more may be added meanwhile.
    while (!m_isBusy && !m_current && !m_lines.isEmpty())
        start(m_lines.dequeue());
    if (m_isComplete && !m_isBusy && !m_current && m_lines.isEmpty()) {
        m_isComplete = false;
        emit finished();
    }
}

void Runner::start(const ScriptLine &line)
{
    emit started(line);
    if (!line.error.isEmpty()) {
        emit failed(line, line.error);
        return;
    }
    switch (roleOf(line.command)) {
    case Role::Quit:
        clear();
        emit finished();
        return;
    case Role::Wait:
        m_current = line;
        m_timer.start(std::get<Commands::Wait>(line.command).milliseconds);
        return;
    case Role::AwaitLearners: {
        const auto awaited = std::get<Commands::AwaitLearners>(line.command);
        return await(line, awaited.timeoutMs,
                     [this, awaited] { return m_performer.learnerCount() >= awaited.count; });
    }
    case Role::AwaitResponses: {
        const auto awaited = std::get<Commands::AwaitResponses>(line.command);
        return await(line, awaited.timeoutMs, [this, awaited] {
            const bool isForAll = awaited.count == Commands::AwaitResponses::ALL;
            return m_performer.responseCount()
                >= (isForAll ? m_performer.expectedResponses() : awaited.count);
        });
    }
    case Role::ForPerformer:
        break;
    }
    m_isBusy = true;
    m_performer.execute(line.command, [this, line](const std::optional<QString> &error) {
        m_isBusy = false;
        if (error)
            emit failed(line, *error);
        emit idle();
        runNext();
    });
}

void Runner::await(const ScriptLine &line, int timeoutMs, std::function<bool()> condition)
{
    if (condition())
        return;
    m_current = line;
    m_condition = std::move(condition);
    m_timer.start(timeoutMs);
}

void Runner::lookAtCondition()
{
    if (!m_condition || !m_condition())
        return;
    m_timer.stop();
    m_current.reset();
    m_condition = nullptr;
    runNext();
}

void Runner::waitIsOver()
{
    const bool isAwait = bool(m_condition);
    const ScriptLine line = *m_current;
    m_current.reset();
    m_condition = nullptr;
    if (isAwait) {
        emit failed(line,
                    QStringLiteral("It has not come to that in time (learners: %1, responses: %2).")
                        .arg(m_performer.learnerCount())
                        .arg(m_performer.responseCount()));
    }
    runNext();
}

} // namespace Host
