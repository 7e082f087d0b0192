// Requests of the host, states and jobs. Signing in, the session and coming back have files of their
// own.
#include "host/ClassRunner.h"

#include "host/ReplyReason.h"

#include "collab/PresenterCollab.h"

namespace Tarvo
{

namespace
{

constexpr int KEEP_ALIVE_MS = 60000;
constexpr int LOOK_MS = 10;

} // namespace

ClassRunner::ClassRunner(std::shared_ptr<ToRunner> requests, std::shared_ptr<ToHost> notices)
    : m_requests(std::move(requests)), m_notices(std::move(notices)), m_lesson(*m_notices)
{
    m_keepAlive.setInterval(KEEP_ALIVE_MS);
    m_opening.setInterval(LOOK_MS);
    for (QTimer *timer : {&m_openingLimit, &m_listing, &m_nextAttempt, &m_working})
        timer->setSingleShot(true);
    // A coarse timer may be later than the longest pause allows.
    m_nextAttempt.setTimerType(Qt::PreciseTimer);

    connect(&m_keepAlive, &QTimer::timeout, this,
            [this] { enqueue([this](int turn) { keepAlive(turn); }); });
    connect(&m_opening, &QTimer::timeout, this, &ClassRunner::lookAtChannel);
    connect(&m_openingLimit, &QTimer::timeout, this, &ClassRunner::channelNotOpened);
    connect(&m_probing, &QTimer::timeout, this, &ClassRunner::probe);
    connect(&m_listing, &QTimer::timeout, this,
            [this] { enqueue([this](int turn) { readLearners(turn); }); });
    connect(&m_nextAttempt, &QTimer::timeout, this, &ClassRunner::beginAttempt);
    connect(&m_working, &QTimer::timeout, this, [this] { m_backoff.reset(); });
    connect(&m_wake, &WakeWatch::changed, this, &ClassRunner::somethingChanged);
    connect(&m_lesson, &Lesson::listIsWanted, this, &ClassRunner::wantLearners);
    // The channel still has something to say when the lesson hears of the remote's wish.
    connect(
        &m_lesson, &Lesson::stopIsWanted, this,
        [this] {
            if (happens(ClassEvent::StoppedByRemote))
                endSession(Failure::EndedByRemote);
        },
        Qt::QueuedConnection);
    m_requests->open(this);
}

ClassRunner::~ClassRunner()
{
    m_requests->close();
}

// ---- Requests ------------------------------------------------------------------------------------

bool ClassRunner::event(QEvent *event)
{
    if (event->type() != ToRunner::WAKE)
        return QObject::event(event);
    for (const Request &request : m_requests->take())
        accept(request);
    return true;
}

// Nothing in here waits, so that the next request is looked at.
void ClassRunner::accept(const Request &request)
{
    if (request.action == Action::None) {
        request.run(*this, request.id);
        return;
    }
    const ClassEvent::Type event = eventOf(request.action);
    const auto next = nextState(m_state, event);
    if (m_isEnding) {
        finish(request.id, {request.action, Failure::Abandoned});
    } else if (!next) {
        const bool isOnlyGone =
            m_state == LiveClass::Reconnecting && nextState(LiveClass::Live, event);
        finish(request.id,
               {request.action, isOnlyGone ? Failure::NotConnected : Failure::NotAllowed});
    } else {
        enter(*next, *next == m_state ? m_reason : Failure::NoReason);
        request.run(*this, request.id);
    }
}

void ClassRunner::perform(int id, const std::function<Failure(Lesson &)> &what)
{
    finish(id, what(m_lesson));
}

// Questions that are made within one second share an id, so the next poll may have to wait a little.
void ClassRunner::startPoll(int id, const FixedPoll &poll)
{
    const int delayMs = m_lesson.pollDelayMs();
    if (delayMs == 0) {
        finish(id, m_lesson.startPoll(poll));
        return;
    }
    QTimer::singleShot(delayMs, this, [=] {
        if (nextState(m_state, ClassEvent::BeginActivity))
            startPoll(id, poll);
        else
            finish(id, {Action::StartPoll, whyInterrupted()});
    });
}

void ClassRunner::finish(int id, const Failure &failure)
{
    m_notices->post(Notices::OperationEnded{id, failure});
}

// ---- States --------------------------------------------------------------------------------------

bool ClassRunner::happens(ClassEvent::Type event, Failure::Reason reason)
{
    const auto next = nextState(m_state, event);
    if (next)
        enter(*next, reason);
    return next.has_value();
}

void ClassRunner::enter(LiveClass::State state, Failure::Reason reason)
{
    if (state == m_state && reason == m_reason)
        return;
    m_state = state;
    m_reason = reason;
    m_notices->post(Notices::StateIs{state, reason});
}

// ---- Jobs ----------------------------------------------------------------------------------------

void ClassRunner::enqueue(Job job)
{
    m_jobs.enqueue({m_turn, std::move(job)});
    if (!m_isWorking)
        QMetaObject::invokeMethod(this, &ClassRunner::work, Qt::QueuedConnection);
}

void ClassRunner::work()
{
    if (m_isWorking)
        return;
    m_isWorking = true;
    while (!m_jobs.isEmpty()) {
        const WaitingJob job = m_jobs.dequeue();
        job.run(job.turn);
    }
    m_isWorking = false;
}

void ClassRunner::interrupt()
{
    ++m_turn;
    if (m_isStopping)
        return; // the service is to hear of that
    abort();
}

// The job that waits ends.
void ClassRunner::abort()
{
    if (!m_client)
        return;
    m_client->abortRequests();
    if (!m_settings.isRobust)
        endOpening();
}

// Why what was asked for has not been sent.
Failure::Reason ClassRunner::whyInterrupted() const
{
    return m_state == LiveClass::Reconnecting ? Failure::NotConnected : Failure::Abandoned;
}

// The key of a certificate's trouble outlives it.
Failure::Reason ClassRunner::lastReason() const
{
    const PresenterClient::Reply reply = m_client->getLastReply();
    const bool isTls = reply.error == QNetworkReply::SslHandshakeFailedError;
    return reasonOf(reply, isTls ? m_client->getLastErrorKey() : QString());
}

Failure ClassRunner::lastFailure(Action::Type action, Failure::Reason otherwise) const
{
    const Failure::Reason reason = lastReason();
    return {action, reason == Failure::NoReason ? otherwise : reason,
            errorKeyOf(m_client->getLastReply())};
}

// ---- The end -------------------------------------------------------------------------------------

void ClassRunner::end()
{
    if (m_isEnding)
        return;
    m_isEnding = true;
    m_nextAttempt.stop();
    if (m_startId)
        finish(std::exchange(m_startId, 0), {Action::Start, Failure::Abandoned});
    interrupt();
    enqueue([this](int) { endNow(); });
}

void ClassRunner::hurry(int ms)
{
    QTimer::singleShot(ms, this, &ClassRunner::abort);
}

void ClassRunner::endNow()
{
    if (m_client && (m_hasSession || m_startIsUnclear)) {
        stopSession();
        enter(LiveClass::Ended, Failure::NoReason);
    }
    m_client.reset();
    Q_EMIT finished();
}

} // namespace Tarvo
