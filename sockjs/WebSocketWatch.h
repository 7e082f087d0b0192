#pragma once

#include "sockjs/Patience.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>

class QWebSocket;

// Notices that a web socket's line is dead, which the system tells only after many minutes: after a
// silence, or when it is asked to, it sends a ping, and when neither a frame nor a pong follows, it
// says so.
//
// It lives on the socket's thread and is deleted with it, or before.
class WebSocketWatch : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(WebSocketWatch)

public:
    // A child of `socket`, which is connected.
    WebSocketWatch(QWebSocket *socket, int silenceMs);

    // After how long a silence the ping goes out; 0 for never. Takes effect at once.
    void setSilence(int ms);
    // Sends a ping now, which must be answered within `timeoutMs`, or earlier if an earlier probe says
    // so.
    void probe(int timeoutMs);

Q_SIGNALS:
    // Nothing has come for so long; the last thing that is emitted.
    void isDead(int silentForMs);

private:
    void heard();
    void onRead();
    void onSilence();
    void onProbeUnanswered();
    int restForFrame(const QElapsedTimer &sincePing) const;
    void tellDeath();

    QWebSocket *m_socket;
    QPointer<QTimer> m_frameTimer; // the toolkit's, for a part of a frame
    bool m_isPartThere = false;
    int m_silenceMs = 0;
    Patience m_patience{this};
    QElapsedTimer m_sinceHeard;
    QElapsedTimer m_sincePing; // not valid while none is unanswered
    Patience m_probing{this};  // runs while a probe is unanswered
    QElapsedTimer m_sinceProbe;
};
