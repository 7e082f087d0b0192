// Coming back when the connection is lost: when the next attempt begins, what it does, and what becomes
// of it.
#include "host/ClassRunner.h"

#include "host/ReplyReason.h"

#include "collab/PresenterCollab.h"

namespace Tarvo
{

namespace
{

constexpr int MAX_RETRY_AFTER_S = 3600;

} // namespace

void ClassRunner::lose(Failure::Reason reason)
{
    if (!happens(ClassEvent::ChannelLost, reason))
        return;
    interrupt();
    m_lesson.wentAway();
    m_attempt = 0;
    m_attemptBegan.invalidate();
    scheduleAttempt(-1);
}

// The pause counts from the beginning of the attempt before.
void ClassRunner::scheduleAttempt(int retryAfterS)
{
    ++m_attempt;
    const qint64 elapsed = m_attemptBegan.isValid() ? m_attemptBegan.elapsed() : 0;
    qint64 wait = qMax<qint64>(0, m_backoff.next() - elapsed);
    if (retryAfterS > 0)
        wait = qMax<qint64>(wait, qMin(retryAfterS, MAX_RETRY_AFTER_S) * 1000LL);
    m_nextAttempt.start(int(wait));
    tellAttempt();
}

void ClassRunner::tellAttempt()
{
    const QDateTime next = m_nextAttempt.isActive()
        ? QDateTime::currentDateTimeUtc().addMSecs(m_nextAttempt.remainingTime())
        : QDateTime();
    m_notices->post(Notices::AttemptIs{m_attempt, next});
}

void ClassRunner::beginAttempt()
{
    for (QTimer *timer : {&m_nextAttempt, &m_opening, &m_openingLimit})
        timer->stop();
    m_channelIs = Channel::None; // an attempt that is still under way does not count
    m_attempt = qMax(1, m_attempt);
    m_isAttempting = true;
    m_attemptBegan.start();
    tellAttempt();
    enqueue([this](int turn) { attemptNow(turn); });
}

void ClassRunner::attemptNow(int turn)
{
    if (isInterrupted(turn) || m_state != LiveClass::Reconnecting || !m_isAttempting)
        return;
    const Failure::Reason reason = prepareAttempt(turn);
    if (isInterrupted(turn) || m_state != LiveClass::Reconnecting || !m_isAttempting)
        return;
    if (reason == Failure::SignInOver || reason == Failure::SignInRefused)
        loseSignIn();
    else if (reason != Failure::NoReason)
        attemptFailed(reason, m_client->getLastReply().retryAfter);
    else
        openChannel(Channel::Opening);
}

// Nothing of the connections that were lost is used again, but the cookies are.
Failure::Reason ClassRunner::prepareAttempt(int turn)
{
    m_client->resetConnections();
    m_client->setProxy(proxy());
    m_client->setServerUrl(m_serverUrl);
    m_client->doGetUserName();
    const Failure::Reason reason = lastReason();
    if (reason != Failure::NoReason || isInterrupted(turn) || m_client->isLoggedIn())
        return reason;
    if (!m_settings.keepsPassword)
        return Failure::SignInOver;
    if (signInAgain(turn))
        return Failure::NoReason;
    const Failure::Reason why = lastReason();
    const bool isRefused = m_credentials.secret.isEmpty() || why == Failure::NoReason;
    return isRefused ? Failure::SignInRefused : why;
}

// Trying it for ever would lock the teacher out.
void ClassRunner::loseSignIn()
{
    m_isAttempting = false;
    m_channelIs = Channel::None;
    m_credentials.secret.clear();
    m_client->forgetCredentials();
    m_signInLossIsTold = true;
    m_attempt = 0;
    happens(ClassEvent::SignInLost, Failure::SignInOver);
    tellAttempt();
    m_notices->post(Notices::SomethingFailed{{Action::None, Failure::SignInOver}});
}

void ClassRunner::attemptFailed(Failure::Reason reason, int retryAfterS)
{
    if (m_state != LiveClass::Reconnecting || !m_isAttempting)
        return;
    m_isAttempting = false;
    m_channelIs = Channel::None;
    m_opening.stop();
    m_openingLimit.stop();
    m_probing.stop();
    enter(m_state, reason);
    scheduleAttempt(retryAfterS);
}

void ClassRunner::reconnectNow(int id)
{
    somethingChanged();
    finish(id);
}

// Over HTTP what is sent may get through while what is received has no connection any more, so a
// channel there is opened anew rather than asked.
void ClassRunner::lookAfterChannel()
{
    const bool isWebSocket = m_channel && m_channel->getTransport() == QLatin1String("websocket");
    if (isWebSocket || !m_settings.isRobust)
        probe();
    else if (m_channelIs == Channel::Open)
        openChannel(Channel::Renewing);
}

// The computer has slept, or a network has come up: the connection may be dead, and what could not be
// reached may be there now. An attempt that began before is not waited for.
void ClassRunner::somethingChanged()
{
    if (m_state == LiveClass::Live) {
        lookAfterChannel();
    } else if (m_state == LiveClass::Reconnecting) {
        interrupt();
        beginAttempt();
    }
}

} // namespace Tarvo
