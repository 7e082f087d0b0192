#include "sockjs/PostQueue.h"

#include "support/Wait.h"

#include <QtCore/QIODevice>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkReply>

#include <algorithm>
#include <cstring>

namespace
{

// A message as the connector frames it is the indented JSON of an array: its elements stand between
// these two. Others are not looked into.
const QLatin1String OPENING("[\n");
const QLatin1String CLOSING("\n]\n");
const QLatin1String SEPARATOR(",\n");
constexpr int FRAME_SIZE = 5; // of the opening and the closing

bool isFramed(const QByteArray &message)
{
    return message.size() > FRAME_SIZE && message.startsWith(OPENING.data())
        && message.endsWith(CLOSING.data());
}

// The bytes of a post, to be read once. When a connection ends without an answer, the toolkit posts
// again whatever it can read again from the start; here it only can while not a byte has been read.
class ReadOnce : public QIODevice
{
public:
    explicit ReadOnce(const QByteArray &bytes) : m_bytes(bytes)
    {
        open(QIODevice::ReadOnly | QIODevice::Unbuffered);
    }

    // Known, so that the toolkit announces it.
    qint64 size() const override { return m_bytes.size(); }
    // An empty post has no first byte.
    bool seek(qint64 position) override { return position == pos() && !m_bytes.isEmpty(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const qint64 count = std::min(maxSize, m_bytes.size() - pos());
        std::memcpy(data, m_bytes.constData() + pos(), static_cast<size_t>(count));
        return count;
    }
    qint64 writeData(const char *, qint64) override { return -1; }

private:
    const QByteArray m_bytes;
};

} // namespace

PostQueue::Limits PostQueue::robust()
{
    Limits limits;
    limits.patienceMs = 10000;
    limits.longestMs = 60000;
    limits.joinedBytes = 64LL * 1024;
    limits.idleMs = 3000;
    limits.lastLookMs = Patience::LAST_LOOK_MS;
    limits.mayRepeat = false;
    return limits;
}

PostQueue::PostQueue(QNetworkAccessManager *manager, const Limits &limits, QObject *parent)
    : QObject(parent), m_manager(manager), m_limits(limits)
{
    m_idle.setTimerType(Qt::PreciseTimer); // a coarse one may be early
    for (QTimer *timer : {&m_remaining, &m_idle})
        timer->setSingleShot(true);
    connect(&m_patience, &Patience::ended, this, &PostQueue::giveUp);
    connect(&m_longest, &Patience::ended, this, &PostQueue::giveUp);
    connect(&m_answering, &Patience::ended, this, [this] { Q_EMIT silent(m_answeringMs); });
    connect(&m_remaining, &QTimer::timeout, this, &PostQueue::onTimeIsUp);
    connect(&m_idle, &QTimer::timeout, manager, &QNetworkAccessManager::clearConnectionCache);
}

void PostQueue::setLimits(const Limits &limits)
{
    m_limits = limits;
    if (!m_reply)
        limitIdleness();
}

void PostQueue::append(const QNetworkRequest &request, const QByteArray &message)
{
    if (m_dropped)
        return;
    // Nothing would carry it, and the toolkit would never free what it made for it.
    if (!Tarvo::Wait::isPossible()) {
        Q_EMIT lost(QStringLiteral("The application has ended"));
        return;
    }
    if (m_waitingBytes + message.size() > m_limits.waitingBytes) {
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
    m_idle.stop();
    m_reply = post(takeNext());
    m_patience.start(m_limits.patienceMs, m_limits.lastLookMs);
    m_longest.start(m_limits.longestMs, m_limits.lastLookMs);

    const int number = ++m_posts;
    const auto onUploadProgress = [=] { this->onUploadProgress(number); };
    const auto onProgress = [=] { this->onProgress(number); };
    const auto onAnswer = [=] { this->onAnswer(number); };
    connect(m_reply, &QNetworkReply::uploadProgress, this, onUploadProgress, Qt::QueuedConnection);
    connect(m_reply, &QNetworkReply::downloadProgress, this, onProgress, Qt::QueuedConnection);
    connect(m_reply, &QNetworkReply::metaDataChanged, this, onAnswer, Qt::QueuedConnection);
    connect(m_reply, &QNetworkReply::readyRead, this, onAnswer, Qt::QueuedConnection);
}

QNetworkReply *PostQueue::post(const Post &next)
{
    if (m_limits.mayRepeat)
        return m_manager->post(next.request, next.message);
    auto *body = new ReadOnce(next.message);
    QNetworkReply *reply = m_manager->post(next.request, body);
    body->setParent(reply);
    return reply;
}

// The message whose turn it is, with those behind it that leave in the same post.
PostQueue::Post PostQueue::takeNext()
{
    const int count = countNext();
    Post next = take();
    if (count == 1)
        return next;
    next.message.chop(CLOSING.size());
    for (int i = 1; i < count; ++i) {
        const QByteArray message = take().message;
        next.message += SEPARATOR.data();
        next.message.append(message.constData() + OPENING.size(), message.size() - FRAME_SIZE);
    }
    next.message += CLOSING.data();
    return next;
}

// How many messages the next post carries.
int PostQueue::countNext() const
{
    const Post &first = m_waiting.first();
    if (!isFramed(first.message))
        return 1;
    qint64 size = first.message.size();
    int count = 1;
    for (; count < m_waiting.size(); ++count) {
        const Post &next = m_waiting.at(count);
        size += SEPARATOR.size() + next.message.size() - FRAME_SIZE;
        if (size > m_limits.joinedBytes || !isFramed(next.message)
            || next.request.url() != first.request.url())
            break;
    }
    return count;
}

PostQueue::Post PostQueue::take()
{
    Post post = m_waiting.takeFirst();
    m_waitingBytes -= post.message.size();
    return post;
}

void PostQueue::onProgress(int post)
{
    if (post != m_posts || !m_patience.isActive())
        return;
    m_patience.start(m_limits.patienceMs, m_limits.lastLookMs);
    Q_EMIT progressed();
}

// The system takes some of a post without the far end, so that this is no answer yet.
void PostQueue::onUploadProgress(int post)
{
    onProgress(post);
    if (post == m_postBefore && m_answering.isActive())
        m_answering.start(m_answeringMs);
}

// The toolkit does not tell of every byte as a progress.
void PostQueue::onAnswer(int post)
{
    if (post == m_posts)
        m_answering.stop();
}

void PostQueue::expectAnswer(int timeoutMs)
{
    const int ms = qMax(0, timeoutMs);
    const bool isFirst = !m_answering.isActive();
    if (isFirst)
        m_postBefore = m_reply ? m_posts : 0;
    m_answeringMs = isFirst ? ms : qMin(ms, m_answeringMs);
    m_answering.startOrShorten(ms);
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
    m_answering.stop();
    if (!m_waiting.isEmpty()) {
        sendNext();
        return;
    }
    m_remaining.stop();
    limitIdleness();
    Q_EMIT drained();
}

// A server drops a connection that stays idle, and a post that meets it on its way then is lost.
void PostQueue::limitIdleness()
{
    if (m_limits.idleMs > 0)
        m_idle.start(m_limits.idleMs);
    else
        m_idle.stop();
}

void PostQueue::finish()
{
    m_finishing = true;
    m_answering.stop();
    limitRest();
}

void PostQueue::drop()
{
    m_dropped = true;
    m_answering.stop();
    forgetWaiting();
    giveUp();
}

void PostQueue::goOn()
{
    m_finishing = false;
    m_dropped = false;
    m_remaining.stop();
    m_answering.stop();
}

void PostQueue::limitRest()
{
    if (m_finishing && m_reply && !m_remaining.isActive())
        m_remaining.start(m_limits.remainingMs);
}

void PostQueue::onTimeIsUp()
{
    if (!m_waiting.isEmpty())
        Q_EMIT lost(QStringLiteral("%0 messages were not sent in time").arg(m_waiting.size()));
    forgetWaiting();
    giveUp();
}

void PostQueue::forgetWaiting()
{
    m_waiting.clear();
    m_waitingBytes = 0;
}
