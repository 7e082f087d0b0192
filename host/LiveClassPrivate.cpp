#include "host/LiveClassPrivate.h"

#include "host/SessionKeeper.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtCore/QPointer>

namespace Tarvo
{

namespace
{

// What the notices may take of the host's thread before its other events have their turn.
constexpr qint64 SLICE_NS = 2000000;
// The models tell their changes together, at most 60 times a second.
constexpr int FLUSH_MS = 17;
// The learners that are put into the model at once.
constexpr int MAX_JOINING = 200;

} // namespace

LiveClassPrivate::LiveClassPrivate(LiveClass *owner) : q(owner)
{
    // A timer, and no event of our own: the toolkit takes posted events until there are none left.
    m_work.setSingleShot(true);
    m_flush.setSingleShot(true);
    m_flush.setTimerType(Qt::PreciseTimer);
    connect(&m_work, &QTimer::timeout, this, &LiveClassPrivate::work);
    connect(&m_flush, &QTimer::timeout, this, &LiveClassPrivate::flush);
    if (auto *application = QCoreApplication::instance()) {
        connect(application, &QCoreApplication::aboutToQuit, this,
                [this] { SessionKeeper::letGo(*m_toRunner); });
    }
    m_toHost->open(this);
    SessionKeeper::keep(m_toRunner, m_toHost);
}

LiveClassPrivate::~LiveClassPrivate()
{
    m_toHost->close();
    SessionKeeper::letGo(*m_toRunner);
}

// ---- Requests ------------------------------------------------------------------------------------

Operation LiveClassPrivate::request(Action::Type action, Call run)
{
    Operation operation = m_operations.begin();
    // After the application's end there is nobody left to ask.
    if (!m_toRunner->post({action, operation.id(), std::move(run)}))
        m_toHost->post(Notices::OperationEnded{operation.id(), {action, Failure::Abandoned}});
    return operation;
}

Operation LiveClassPrivate::perform(Action::Type action, std::function<Failure(Lesson &)> what)
{
    return request(action, [what = std::move(what)](ClassRunner &runner, int id) {
        runner.perform(id, what);
    });
}

Operation LiveClassPrivate::signIn(Credentials credentials)
{
    return request(Action::SignIn,
                   [settings = settings, credentials = std::move(credentials)](
                       ClassRunner &runner, int id) { runner.signIn(id, settings, credentials); });
}

// ---- Notices -------------------------------------------------------------------------------------

bool LiveClassPrivate::event(QEvent *event)
{
    if (event->type() != ToHost::WAKE)
        return QObject::event(event);
    if (!m_work.isActive())
        m_work.start(0);
    return true;
}

// What cannot be told yet stays in the mailbox, where it is counted. The host may do anything in a slot,
// deleting the class included.
void LiveClassPrivate::work()
{
    const QPointer<LiveClassPrivate> self(this);
    QElapsedTimer slice;
    slice.start();
    if (m_notices.empty())
        m_notices = m_toHost->take();
    while (!m_notices.empty() && slice.nsecsElapsed() < SLICE_NS) {
        const Notice notice = std::move(m_notices.front());
        m_notices.pop_front();
        if (!m_joining.isEmpty()
            && (!std::holds_alternative<Notices::LearnersAre>(notice)
                || m_joining.size() >= MAX_JOINING)) {
            letJoin();
            if (!self)
                return;
        }
        std::visit([this](const auto &one) { tell(one); }, notice);
        if (!self)
            return;
    }
    letJoin();
    if (!self)
        return;
    if (!m_notices.empty() || m_toHost->size() > 0)
        m_work.start(0);
}

void LiveClassPrivate::changed()
{
    if (!m_flush.isActive())
        m_flush.start(FLUSH_MS);
}

void LiveClassPrivate::flush()
{
    const QPointer<LiveClassPrivate> self(this);
    learners.flush();
    if (self)
        results.flush();
}

void LiveClassPrivate::tell(const Notices::StateIs &notice)
{
    const QPointer<LiveClassPrivate> self(this);
    const bool isNewReason = reason != notice.reason;
    const bool isNewState = state != notice.state;
    reason = notice.reason;
    state = notice.state;
    if (isNewReason)
        Q_EMIT q->reasonChanged();
    if (self && isNewState)
        Q_EMIT q->stateChanged();
}

void LiveClassPrivate::tell(const Notices::UserIs &notice)
{
    if (std::exchange(userName, notice.name) != notice.name)
        Q_EMIT q->userNameChanged();
}

void LiveClassPrivate::tell(const Notices::CodeIs &notice)
{
    if (std::exchange(sessionCode, notice.code) != notice.code)
        Q_EMIT q->sessionCodeChanged();
}

void LiveClassPrivate::tell(const Notices::TransportIs &notice)
{
    if (std::exchange(transport, notice.name) != notice.name)
        Q_EMIT q->transportChanged();
}

void LiveClassPrivate::tell(const Notices::AttemptIs &notice)
{
    if (attempt == notice.number && nextAttemptAt == notice.next)
        return;
    attempt = notice.number;
    nextAttemptAt = notice.next;
    Q_EMIT q->attemptChanged();
}

void LiveClassPrivate::tell(const Notices::ActivityIs &notice)
{
    if (std::exchange(activity, notice.activity) != notice.activity)
        Q_EMIT q->activityChanged();
}

void LiveClassPrivate::tell(const Notices::PausedIs &notice)
{
    if (std::exchange(isPaused, notice.isPaused) != notice.isPaused)
        Q_EMIT q->pausedChanged();
}

void LiveClassPrivate::tell(const Notices::QuestionsBegin &notice)
{
    const QPointer<LiveClassPrivate> self(this);
    learners.beginActivity();
    if (self)
        results.begin(notice.questions);
    if (self)
        changed();
}

void LiveClassPrivate::tell(const Notices::SessionBegins &)
{
    const QPointer<LiveClassPrivate> self(this);
    learners.clear();
    if (self)
        results.begin({});
}

void LiveClassPrivate::tell(const Notices::LearnersAre &notice)
{
    const QPointer<LiveClassPrivate> self(this);
    if (m_areJoiningNew != notice.areNew)
        letJoin();
    if (!self)
        return;
    m_joining += notice.learners;
    m_areJoiningNew = notice.areNew;
}

// They are in the model when the host hears of them.
void LiveClassPrivate::letJoin()
{
    const QPointer<LiveClassPrivate> self(this);
    const QVector<Learner> joining = std::exchange(m_joining, {});
    const bool areNew = m_areJoiningNew;
    if (joining.isEmpty())
        return;
    learners.join(joining);
    if (self)
        changed();
    for (const Learner &learner : joining) {
        if (!self || !areNew)
            return;
        Q_EMIT q->learnerJoined(learner);
    }
}

void LiveClassPrivate::tell(const Notices::LearnerIsGone &notice)
{
    const QPointer<LiveClassPrivate> self(this);
    if (notice.isRemoved)
        learners.remove(notice.deviceId);
    else
        learners.leave(notice.deviceId);
    if (!self)
        return;
    changed();
    Q_EMIT q->learnerLeft(notice.deviceId);
}

void LiveClassPrivate::tell(const Notices::AnswerCame &notice)
{
    if (notice.isLate) {
        Q_EMIT q->answeredLate(notice.deviceId, notice.questionId, notice.answer,
                               notice.responseTimeMs);
        return;
    }
    learners.answer(notice.deviceId, notice.answer);
    results.answer(notice.deviceId, notice.questionId, notice.answer, notice.responseTimeMs);
    changed();
    Q_EMIT q->answered(notice.deviceId, notice.questionId, notice.answer, notice.responseTimeMs);
}

void LiveClassPrivate::tell(const Notices::CommandCame &notice)
{
    Q_EMIT q->remoteCommand(notice.command, notice.data);
}

void LiveClassPrivate::tell(const Notices::RemoteIs &notice)
{
    Q_EMIT q->remoteChanged(notice.isThere);
}

void LiveClassPrivate::tell(const Notices::FileIsUploaded &notice)
{
    Q_EMIT q->uploaded(notice.id, notice.url);
}

void LiveClassPrivate::tell(const Notices::RegistrationIsNeeded &notice)
{
    Q_EMIT q->registrationNeeded(notice.data);
}

void LiveClassPrivate::tell(const Notices::SessionIsOver &notice)
{
    Q_EMIT q->ended(notice.reason);
}

void LiveClassPrivate::tell(const Notices::OperationEnded &notice)
{
    const QPointer<LiveClassPrivate> self(this);
    m_operations.finish(notice.id, notice.failure);
    Q_EMIT q->operationFinished(notice.id, notice.failure);
    if (self && notice.failure)
        Q_EMIT q->failed(notice.failure);
}

void LiveClassPrivate::tell(const Notices::SomethingFailed &notice)
{
    Q_EMIT q->failed(notice.failure);
}

} // namespace Tarvo
