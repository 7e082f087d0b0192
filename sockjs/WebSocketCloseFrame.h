#pragma once

#include <QtCore/QObject>

class QWebSocket;

// The part of a web socket that reads the frames, a child without a public type; null if there is
// none.
QObject *frameReaderOf(const QWebSocket *socket);

// Tells of the server's close frame. From outside, the toolkit's own goodbye to a server that makes
// a mistake looks the same.
//
// A child of the socket.
class WebSocketCloseFrame : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(WebSocketCloseFrame)

public:
    explicit WebSocketCloseFrame(QWebSocket *socket);

Q_SIGNALS:
    // Before the socket tells of its end.
    void came();
};
