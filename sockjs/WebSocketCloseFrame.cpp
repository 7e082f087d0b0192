#include "sockjs/WebSocketCloseFrame.h"

#include <QtWebSockets/QWebSocket>

#include <algorithm>

QObject *frameReaderOf(const QWebSocket *socket)
{
    const QObjectList &children = socket->children();
    const auto reader = std::find_if(children.begin(), children.end(), [](const QObject *child) {
        return child->inherits("QWebSocketDataProcessor");
    });
    return reader != children.end() ? *reader : nullptr;
}

WebSocketCloseFrame::WebSocketCloseFrame(QWebSocket *socket) : QObject(socket)
{
    // The meta-object system knows the signal without a blank in its name.
    // clang-format off
    if (const QObject *reader = frameReaderOf(socket))
        connect(reader, SIGNAL(closeReceived(QWebSocketProtocol::CloseCode,QString)), this,
                SIGNAL(came()));
    // clang-format on
    else
        connect(socket, &QWebSocket::aboutToClose, this, &WebSocketCloseFrame::came);
}
