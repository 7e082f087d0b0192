#include "sockjs/WebSocketCloseFrame.h"

#include <QtWebSockets/QWebSocket>

WebSocketCloseFrame::WebSocketCloseFrame(QWebSocket *socket) : QObject(socket)
{
    // Only the toolkit's reader of frames knows, a child without a public type.
    const QObjectList children = socket->children();
    for (QObject *child : children) {
        if (child->inherits("QWebSocketDataProcessor")) {
            connect(child, SIGNAL(closeReceived(QWebSocketProtocol::CloseCode, QString)), this,
                    SIGNAL(came()));
            return;
        }
    }
    connect(socket, &QWebSocket::aboutToClose, this, &WebSocketCloseFrame::came);
}
