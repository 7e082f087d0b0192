#include "sockjs/WebSocketWatch.h"

#include "sockjs/WebSocketCloseFrame.h"

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
    // The toolkit ends a connection when nothing comes of a frame for 5 s. Here that is ours to
    // say.
    const QObject *reader = frameReaderOf(socket);
    m_frameTimer = reader ? reader->findChild<QTimer *>() : nullptr;
    if (m_frameTimer)
        m_frameTimer->setInterval(std::numeric_limits<int>::max());
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

void WebSocketWatch::heard()
{
    m_sinceHeard.start();
    setSilence(m_silenceMs);
}

void WebSocketWatch::onSilence()
{
    if (!m_sincePing.isValid()) {
        m_sincePing.start();
        m_patience.start(ANSWER_WAIT_MS);
        m_socket->ping();
    } else if (m_frameTimer && m_frameTimer->isActive() && !m_sincePing.hasExpired(FRAME_WAIT_MS)) {
        m_patience.start(int(FRAME_WAIT_MS - m_sincePing.elapsed()));
    } else {
        Q_EMIT isDead(int(m_sinceHeard.elapsed()));
    }
}
