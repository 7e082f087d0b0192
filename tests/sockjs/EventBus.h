#pragma once

#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtCore/QPointer>
#include <QtNetwork/QSslKey>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

// A web-socket server that says "o" to each client and keeps what it hears, on the test's event loop.
class EventBus
{
public:
    explicit EventBus(const TestCertificates::Identity *identity = nullptr)
        : m_server(QString(),
                   identity ? QWebSocketServer::SecureMode : QWebSocketServer::NonSecureMode)
    {
        if (identity)
            m_server.setSslConfiguration(identity->serverConfiguration());
        QObject::connect(&m_server, &QWebSocketServer::newConnection, &m_server, [this] {
            QWebSocket *socket = m_server.nextPendingConnection();
            socket->setParent(&m_server);
            client = socket;
            ++connections;
            QObject::connect(socket, &QWebSocket::textMessageReceived, &m_server,
                             [this](const QString &text) { heard.append(text); });
            QObject::connect(socket, &QWebSocket::disconnected, &m_server, [this, socket] {
                closeCodes.append(socket->closeCode());
                socket->deleteLater();
            });
            if (saysOpen)
                socket->sendTextMessage(u"o"_s);
        });
        m_server.listen(QHostAddress::LocalHost);
    }

    quint16 port() const { return m_server.serverPort(); }

    bool saysOpen = true;
    QPointer<QWebSocket> client;
    int connections = 0;
    QStringList heard;
    QList<QWebSocketProtocol::CloseCode> closeCodes;

private:
    QWebSocketServer m_server;
};
