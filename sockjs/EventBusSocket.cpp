#include "sockjs/EventBusSocket.h"

#include <QtNetwork/QSslSocket>

namespace
{

constexpr int PATIENCE_MS = 2000;
// A peer that takes a byte now and then is progress too, but not for ever.
constexpr int LONGEST_GOODBYE_MS = 60000;
// Tells the answer to the last ping from pongs that a server sends of itself.
const char LAST_PING[] = "bye";

} // namespace

EventBusSocket::Emission::Emission(EventBusSocket *socket) : m_socket(socket)
{
    if (m_socket)
        ++m_socket->m_emissions;
}

EventBusSocket::Emission::~Emission()
{
    if (m_socket && --m_socket->m_emissions == 0 && m_socket->m_doomed)
        m_socket->deleteLater();
}

EventBusSocket::EventBusSocket()
{
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &EventBusSocket::onNoProgress);
    connect(this, &QWebSocket::textMessageReceived, this, &EventBusSocket::keepFrame);
}

void EventBusSocket::keepFrame(const QString &frame)
{
    m_earlyFrames.append(frame);
}

void EventBusSocket::keepNoMoreFrames()
{
    disconnect(this, &QWebSocket::textMessageReceived, this, &EventBusSocket::keepFrame);
}

void EventBusSocket::cutOff()
{
    Q_EMIT letGo();
    disconnect();
    m_patience.stop();
}

// Closing the connection right away would lose messages: data of the server that nobody reads any
// more, then or later, makes the system reset the connection and drop what it has not delivered yet.
// A ping is answered when everything before it has been received, so the answer is waited for first,
// and the server's messages are read and dropped meanwhile.
void EventBusSocket::leave(const QObject *owner)
{
    cutOff();
    if (state() != QAbstractSocket::ConnectedState) {
        end();
        return;
    }
    connect(owner, &QObject::destroyed, this, &EventBusSocket::end);
    connect(this, &QWebSocket::pong, this, &EventBusSocket::onPong);
    connect(this, &QWebSocket::disconnected, this, &EventBusSocket::freeLater);
    connect(this, &QWebSocket::bytesWritten, this, &EventBusSocket::restartPatience);
    // With TLS, bytesWritten only tells of the encryption.
    if (const auto *tlsSocket = findChild<QSslSocket *>())
        connect(tlsSocket, &QSslSocket::encryptedBytesWritten, this,
                &EventBusSocket::restartPatience);
    m_limit.setRemainingTime(LONGEST_GOODBYE_MS);
    restartPatience();
    ping(LAST_PING);
}

void EventBusSocket::onPong(quint64, const QByteArray &payload)
{
    if (payload == LAST_PING)
        sayGoodbye();
}

void EventBusSocket::restartPatience()
{
    if (!m_limit.hasExpired())
        m_patience.start(PATIENCE_MS);
}

void EventBusSocket::onNoProgress()
{
    if (m_saidGoodbye)
        freeLater();
    else
        sayGoodbye();
}

void EventBusSocket::sayGoodbye()
{
    if (m_saidGoodbye)
        return;
    m_saidGoodbye = true;
    m_limit.setRemainingTime(LONGEST_GOODBYE_MS);
    restartPatience();
    close(QWebSocketProtocol::CloseCodeNormal);
}

void EventBusSocket::end()
{
    cutOff();
    if (state() == QAbstractSocket::ConnectedState) {
        close(QWebSocketProtocol::CloseCodeNormal);
    } else {
        flush();
        abort();
    }
    if (m_emissions > 0)
        m_doomed = true;
    else
        delete this;
}

void EventBusSocket::freeLater()
{
    cutOff();
    if (m_emissions > 0)
        m_doomed = true;
    else
        deleteLater();
}
