#pragma once

#include <QtCore/QDeadlineTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>

class QWebSocket;

// Ends a web socket now and frees it. What the system takes without waiting still leaves, with a normal
// close frame. Null is fine.
void endWebSocket(QWebSocket *socket);

// Says goodbye on a web socket in the background, without losing what was sent: waits until the server
// has received all of it, closes with a normal close frame and goes.
//
// It owns the socket and is itself a child of `owner`; it deletes itself when it is done, and the
// socket ends with it when the owner is destroyed earlier.
class WebSocketGoodbye : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(WebSocketGoodbye)

public:
    // For either step.
    struct Limits {
        int patienceMs = 2000; // without progress
        // In all: a peer that takes a byte now and then is progress too, but not for ever.
        int longestMs = 60000;
    };

    // Takes over a socket that nobody else listens to any more. One that is not connected ends at once.
    static void say(QWebSocket *socket, QObject *owner, const Limits &limits);

    ~WebSocketGoodbye() override;

private:
    WebSocketGoodbye(QWebSocket *socket, QObject *owner, const Limits &limits);

    void onPong(quint64 elapsedMs, const QByteArray &payload);
    void closeSocket();
    void onNoProgress();
    void beginStep();
    void restartPatience();

    QWebSocket *m_socket;
    const Limits m_limits;
    QTimer m_patience;
    QDeadlineTimer m_longest;
    bool m_closed = false; // the close frame is sent; its answer is awaited
};
