#pragma once

#include <QtCore/QDeadlineTimer>
#include <QtCore/QStringList>
#include <QtCore/QTimer>
#include <QtWebSockets/QWebSocket>

// The connector's web socket. It keeps the frames that come before anybody listens, and it knows how
// to go: without losing what was sent, and without being freed while one of its signals is on the
// stack.
//
// The connector owns it until it calls leave() or end(); from then on the socket frees itself. Both
// emit letGo() and then cut the socket's signals off from everyone.
class EventBusSocket : public QWebSocket
{
    Q_OBJECT

public:
    // Stands on the stack of every slot connected to the socket's signals while host code may run in
    // it; the socket is not freed before it is gone. Null is fine.
    class Emission
    {
    public:
        explicit Emission(EventBusSocket *socket);
        ~Emission();
        Emission(const Emission &) = delete;
        Emission &operator=(const Emission &) = delete;

    private:
        EventBusSocket *m_socket;
    };

    EventBusSocket();

    // The server's first frames may come in one packet with its answer to the handshake. They are
    // kept, in order, until told otherwise.
    bool hasEarlyFrame() const { return !m_earlyFrames.isEmpty(); }
    QString takeEarlyFrame() { return m_earlyFrames.takeFirst(); }
    void keepNoMoreFrames();

    // Says goodbye in the background: waits until the server has received all that was sent, closes
    // with a normal close frame and goes. Gives up after 2 s without progress. When `owner` is
    // destroyed meanwhile, the socket ends with it.
    void leave(const QObject *owner);
    // Goes now. What the system takes without waiting still leaves, with a normal close frame.
    void end();

Q_SIGNALS:
    void letGo();

private:
    void keepFrame(const QString &frame);
    void cutOff();
    void onPong(quint64 elapsedMs, const QByteArray &payload);
    void sayGoodbye();
    void onNoProgress();
    void restartPatience();
    void freeLater();

    QStringList m_earlyFrames;
    QTimer m_patience;
    QDeadlineTimer m_limit;
    bool m_saidGoodbye = false;
    int m_emissions = 0;   // of our signals, on the stack
    bool m_doomed = false; // to be freed when the last of them is over
};
