#pragma once

#include <QtCore/QDeadlineTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>

class QWebSocket;

// Ends a web socket now and frees it. What the system takes without waiting still leaves, with a normal
// close frame. Null is fine.
void endWebSocket(QWebSocket *socket);

// Says goodbye on a web socket in the background, without losing what was sent: waits until the server
// has received all of it, closes with a normal close frame and goes. Gives up after 2 s without
// progress, and 60 s in all for either step.
//
// It owns the socket and is itself a child of `owner`; it deletes itself when it is done, and the
// socket ends with it when the owner is destroyed earlier.
class WebSocketGoodbye : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(WebSocketGoodbye)

public:
    // Takes over a socket that nobody else listens to any more. One that is not connected ends at once.
    static void say(QWebSocket *socket, QObject *owner);

    ~WebSocketGoodbye() override;

private:
    WebSocketGoodbye(QWebSocket *socket, QObject *owner);

    void onPong(quint64 elapsedMs, const QByteArray &payload);
    void closeSocket();
    void onNoProgress();
    void restartPatience();

    QWebSocket *m_socket;
    QTimer m_patience;
    QDeadlineTimer m_limit;
    bool m_closed = false; // the close frame is sent; its answer is awaited
};
