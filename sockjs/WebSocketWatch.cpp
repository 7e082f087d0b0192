#include "sockjs/WebSocketWatch.h"

#include "sockjs/WebSocketCloseFrame.h"

#include <QtNetwork/QTcpSocket>
#include <QtWebSockets/QWebSocket>

#include <limits>

namespace
{

constexpr int ANSWER_WAIT_MS = 10000;
// A pong cannot come in the middle of a frame, and a large frame takes its time on a slow network.
constexpr int FRAME_WAIT_MS = 30000;

} // namespace

WebSocketWatch::WebSocketWatch(QWebSocket *socket, int silenceMs)
    : QObject(socket), m_socket(socket)
{
    connect(socket, &QWebSocket::textFrameReceived, this, &WebSocketWatch::heard,
            Qt::QueuedConnection);
    connect(socket, &QWebSocket::binaryFrameReceived, this, &WebSocketWatch::heard,
            Qt::QueuedConnection);
    connect(socket, &QWebSocket::pong, this, &WebSocketWatch::heard, Qt::QueuedConnection);
    connect(&m_patience, &Patience::ended, this, &WebSocketWatch::onSilence);
    connect(&m_probing, &Patience::ended, this, &WebSocketWatch::onProbeUnanswered);
    // The toolkit ends a connection when nothing comes of a frame for 5 s. Here that is ours to
    // say.
    const QObject *reader = frameReaderOf(socket);
    const auto *line = socket->findChild<QTcpSocket *>(QString(), Qt::FindDirectChildrenOnly);
    if (reader && line)
        m_frameTimer = reader->findChild<QTimer *>();
    if (m_frameTimer) {
        m_frameTimer->setInterval(std::numeric_limits<int>::max());
        connect(line, &QTcpSocket::readyRead, this, [this] {
            m_isPartThere = false;
            onRead();
        });
        connect(line, &QTcpSocket::readyRead, this, &WebSocketWatch::onRead, Qt::QueuedConnection);
    }
    m_sinceHeard.start();
    setSilence(silenceMs);
}

void WebSocketWatch::setSilence(int ms)
{
    m_silenceMs = ms;
    m_sincePing.invalidate();
    if (ms > 0)
        m_patience.start(ms);
    else
        m_patience.stop();
}

void WebSocketWatch::probe(int timeoutMs)
{
    if (!m_probing.isActive())
        m_sinceProbe.start();
    m_probing.startOrShorten(qMax(0, timeoutMs));
    m_socket->ping();
}

void WebSocketWatch::heard()
{
    m_sinceHeard.start();
    m_probing.stop();
    setSilence(m_silenceMs);
}

// The toolkit starts its timer when it has read a part of a frame. Qt 6 does so in its slot, ahead of ours,
// and stops it again in another one, behind it; Qt 5 reads from the event loop. So this looks at it at both
// moments, and stops it, since nothing else does when the rest of the frame has come.
void WebSocketWatch::onRead()
{
    if (!m_frameTimer || !m_frameTimer->isActive())
        return;
    m_isPartThere = true;
    m_frameTimer->stop();
}

void WebSocketWatch::onSilence()
{
    if (!m_sincePing.isValid()) {
        m_sincePing.start();
        m_patience.start(ANSWER_WAIT_MS);
        m_socket->ping();
    } else if (const int rest = restForFrame(m_sincePing)) {
        m_patience.start(rest);
    } else {
        tellDeath();
    }
}

void WebSocketWatch::onProbeUnanswered()
{
    if (const int rest = restForFrame(m_sinceProbe))
        m_probing.start(rest);
    else
        tellDeath();
}

// How long what is missing of a frame may still take; 0 when no part of one has come.
int WebSocketWatch::restForFrame(const QElapsedTimer &sincePing) const
{
    return m_isPartThere ? int(qMax<qint64>(0, FRAME_WAIT_MS - sincePing.elapsed())) : 0;
}

void WebSocketWatch::tellDeath()
{
    m_patience.stop();
    m_probing.stop();
    Q_EMIT isDead(int(m_sinceHeard.elapsed()));
}
