#include "Runner.h"

#include "Performer.h"

#include <QtCore/QPointer>

#include <utility>

namespace Host
{

namespace
{

QString inSeconds(int milliseconds)
{
    constexpr double MS_PER_S = 1000;
    return QString::number(milliseconds / MS_PER_S);
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
    if (!m_lines.isEmpty() && !m_isStarting)
        emit queued();
}

void Runner::endOfCommands()
{
    m_isComplete = true;
    runNext();
}

void Runner::clear()
{
    m_lines.clear();
    m_performing.reset();
    m_waiting.reset();
    m_condition = nullptr;
    m_timer.stop();
    m_isComplete = false;
}

int Runner::pending() const
{
    return m_lines.size() + (isFree() ? 0 : 1);
}

void Runner::runNext()
{
    // Commands that end at once, and lines that a slot adds, are the business of the loop under way:
    // the stack is no deeper at the end of a long script than at its beginning.
    if (m_isStarting)
        return;
    m_isStarting = true;
    while (isFree() && !m_lines.isEmpty())
        start(m_lines.dequeue());
    m_isStarting = false;
    if (m_isComplete && isFree() && m_lines.isEmpty()) {
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
    if (std::holds_alternative<Commands::Quit>(line.command)) {
        clear();
        emit finished();
    } else if (const auto *wait = std::get_if<Commands::Wait>(&line.command)) {
        m_waiting = line;
        m_timer.start(wait->milliseconds);
    } else if (const auto *learners = std::get_if<Commands::AwaitLearners>(&line.command)) {
        await(line, learners->timeoutMs,
              [this, count = learners->count] { return m_performer.learnerCount() >= count; });
    } else if (const auto *responses = std::get_if<Commands::AwaitResponses>(&line.command)) {
        await(line, responses->timeoutMs, [this, awaited = *responses] {
            return m_performer.responseCount() >= awaitedResponses(awaited);
        });
    } else {
        perform(line);
    }
}

// ---- With the performer --------------------------------------------------------------------------

void Runner::perform(const ScriptLine &line)
{
    m_performing = line;
    const int number = ++m_number;
    m_performer.execute(
        line.command, [self = QPointer<Runner>(this), number](const std::optional<QString> &error) {
            if (self)
                self->performed(number, error);
        });
}

void Runner::performed(int number, const std::optional<QString> &error)
{
    if (!m_performing || number != m_number)
        return;
    const ScriptLine line = *m_performing;
    m_performing.reset();
    if (error)
        emit failed(line, *error);
    runNext();
}

// ---- Waiting -------------------------------------------------------------------------------------

void Runner::await(const ScriptLine &line, int timeoutMs, std::function<bool()> condition)
{
    if (condition())
        return;
    m_waiting = line;
    m_condition = std::move(condition);
    m_timer.start(timeoutMs);
}

void Runner::lookAtCondition()
{
    if (!m_condition || !m_condition())
        return;
    m_timer.stop();
    m_waiting.reset();
    m_condition = nullptr;
    runNext();
}

void Runner::waitIsOver()
{
    const ScriptLine line = *m_waiting;
    m_waiting.reset();
    if (std::exchange(m_condition, nullptr))
        emit failed(line, whyInVain(line.command));
    runNext();
}

QString Runner::whyInVain(const Command &command) const
{
    if (const auto *learners = std::get_if<Commands::AwaitLearners>(&command)) {
        return QStringLiteral("Only %1 of %2 learners are there after %3 s.")
            .arg(m_performer.learnerCount())
            .arg(learners->count)
            .arg(inSeconds(learners->timeoutMs));
    }
    const auto responses = std::get<Commands::AwaitResponses>(command);
    return QStringLiteral("Only %1 of %2 responses have come after %3 s.")
        .arg(m_performer.responseCount())
        .arg(awaitedResponses(responses))
        .arg(inSeconds(responses.timeoutMs));
}

int Runner::awaitedResponses(const Commands::AwaitResponses &awaited) const
{
    return awaited.count == Commands::AwaitResponses::ALL ? m_performer.expectedResponses()
                                                          : awaited.count;
}

} // namespace Host
