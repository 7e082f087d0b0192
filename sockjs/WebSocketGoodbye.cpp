#include "sockjs/WebSocketGoodbye.h"

#include <QtNetwork/QSslSocket>
#include <QtWebSockets/QWebSocket>

namespace
{

// Tells the answer to the last ping from pongs that a server sends of itself.
const char LAST_PING[] = "bye";

} // namespace

void endWebSocket(QWebSocket *socket)
{
    if (!socket)
        return;
    if (socket->state() == QAbstractSocket::ConnectedState) {
        socket->close(QWebSocketProtocol::CloseCodeNormal);
    } else {
        socket->flush();
        socket->abort();
    }
    delete socket;
}

void WebSocketGoodbye::say(QWebSocket *socket, QObject *owner, const Limits &limits)
{
    if (socket->state() == QAbstractSocket::ConnectedState)
        new WebSocketGoodbye(socket, owner, limits);
    else
        endWebSocket(socket);
}

// Closing the connection right away would lose messages: data of the server that nobody reads any
// more, then or later, makes the system reset the connection and drop what it has not delivered yet.
// A ping is answered when everything before it has been received, so the answer is waited for first,
// and the server's messages are read and dropped meanwhile.
WebSocketGoodbye::WebSocketGoodbye(QWebSocket *socket, QObject *owner, const Limits &limits)
    : QObject(owner), m_socket(socket), m_limits(limits)
{
    m_patience.setSingleShot(true);
    connect(&m_patience, &QTimer::timeout, this, &WebSocketGoodbye::onNoProgress);

    connect(m_socket, &QWebSocket::pong, this, &WebSocketGoodbye::onPong, Qt::QueuedConnection);
    connect(m_socket, &QWebSocket::disconnected, this, &QObject::deleteLater, Qt::QueuedConnection);
    connect(m_socket, &QWebSocket::bytesWritten, this, &WebSocketGoodbye::restartPatience,
            Qt::QueuedConnection);
    // With TLS, bytesWritten only tells of the encryption.
    if (const auto *tlsSocket = m_socket->findChild<QSslSocket *>())
        connect(tlsSocket, &QSslSocket::encryptedBytesWritten, this,
                &WebSocketGoodbye::restartPatience, Qt::QueuedConnection);

    beginStep();
    m_socket->ping(LAST_PING);
}

WebSocketGoodbye::~WebSocketGoodbye()
{
    endWebSocket(m_socket);
}

void WebSocketGoodbye::onPong(quint64, const QByteArray &payload)
{
    if (payload == LAST_PING)
        closeSocket();
}

void WebSocketGoodbye::beginStep()
{
    m_longest.setRemainingTime(m_limits.longestMs);
    restartPatience();
}

void WebSocketGoodbye::restartPatience()
{
    if (!m_longest.hasExpired())
        m_patience.start(m_limits.patienceMs);
}

void WebSocketGoodbye::onNoProgress()
{
    if (m_closed)
        deleteLater();
    else
        closeSocket();
}

void WebSocketGoodbye::closeSocket()
{
    if (m_closed)
        return;
    m_closed = true;
    beginStep();
    m_socket->close(QWebSocketProtocol::CloseCodeNormal);
}
