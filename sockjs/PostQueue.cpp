#include "sockjs/PostQueue.h"

#include "support/Wait.h"

#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkReply>

PostQueue::PostQueue(QNetworkAccessManager *manager, const Limits &limits, QObject *parent)
    : QObject(parent), m_manager(manager), m_maxWaitingBytes(limits.waitingBytes)
{
    m_patience.setInterval(limits.patienceMs);
    m_longest.setInterval(limits.longestMs);
    m_remaining.setInterval(limits.remainingMs);
    for (QTimer *timer : {&m_patience, &m_longest, &m_remaining})
        timer->setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &PostQueue::giveUp);
    connect(&m_longest, &QTimer::timeout, this, &PostQueue::giveUp);
    connect(&m_remaining, &QTimer::timeout, this, &PostQueue::onTimeIsUp);
}

void PostQueue::append(const QNetworkRequest &request, const QByteArray &message)
{
    // Nothing would carry it, and the toolkit would never free what it made for it.
    if (!Tarvo::Wait::isPossible()) {
        Q_EMIT lost(QStringLiteral("The application has ended"));
        return;
    }
    if (m_waitingBytes + message.size() > m_maxWaitingBytes) {
        Q_EMIT lost(
            QStringLiteral("Too much waits to be sent, %0 bytes are dropped").arg(message.size()));
        return;
    }
    m_waiting.append({request, message});
    m_waitingBytes += message.size();
    if (!m_reply)
        sendNext();
    limitRest();
}

void PostQueue::sendNext()
{
    const Post post = m_waiting.takeFirst();
    m_waitingBytes -= post.message.size();
    m_reply = m_manager->post(post.request, post.message);
    m_patience.start();
    m_longest.start();

    const int number = ++m_posts;
    const auto onProgress = [=] { this->onProgress(number); };
    connect(m_reply, &QNetworkReply::uploadProgress, this, onProgress, Qt::QueuedConnection);
    connect(m_reply, &QNetworkReply::downloadProgress, this, onProgress, Qt::QueuedConnection);
}

void PostQueue::onProgress(int post)
{
    if (post != m_posts || !m_patience.isActive())
        return;
    m_patience.start();
    Q_EMIT progressed();
}

// The reply ends with an error, and comes back as one that has finished.
void PostQueue::giveUp()
{
    m_patience.stop();
    m_longest.stop();
    if (m_reply)
        m_reply->abort();
}

void PostQueue::replyFinished(const QNetworkReply *reply)
{
    if (reply != m_reply)
        return;
    m_reply = nullptr;
    m_patience.stop();
    m_longest.stop();
    if (!m_waiting.isEmpty()) {
        sendNext();
        return;
    }
    m_remaining.stop();
    Q_EMIT drained();
}

void PostQueue::finish()
{
    m_finishing = true;
    limitRest();
}

void PostQueue::goOn()
{
    m_finishing = false;
    m_remaining.stop();
}

void PostQueue::limitRest()
{
    if (m_finishing && m_reply && !m_remaining.isActive())
        m_remaining.start();
}

void PostQueue::onTimeIsUp()
{
    if (!m_waiting.isEmpty())
        Q_EMIT lost(QStringLiteral("%0 messages were not sent in time").arg(m_waiting.size()));
    m_waiting.clear();
    m_waitingBytes = 0;
    giveUp();
}
