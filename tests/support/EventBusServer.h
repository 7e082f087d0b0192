#pragma once

#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtNetwork/QHostAddress>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

// A collaboration server that speaks SockJS over web sockets and keeps what it receives, on the test's
// event loop. It opens every session at once, and sends only what the test tells it to.
class EventBusServer
{
public:
    // With a certificate, it speaks TLS.
    explicit EventBusServer(const TestCertificates::Identity *identity = nullptr)
        : m_server(u"event bus"_s,
                   identity ? QWebSocketServer::SecureMode : QWebSocketServer::NonSecureMode)
    {
        if (identity)
            m_server.setSslConfiguration(identity->serverConfiguration());
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("no port for the event bus");
        QObject::connect(&m_server, &QWebSocketServer::newConnection, &m_server, [this] {
            while (QWebSocket *socket = m_server.nextPendingConnection())
                add(socket);
        });
    }

    quint16 port() const { return m_server.serverPort(); }
    // The collaboration server URL that a channel opens.
    QString url() const { return u"http://127.0.0.1:%1"_s.arg(port()); }

    // Sessions that are made from now on wait for the test's own open frame.
    void opensNoSessions() { m_opensSessions = false; }

    // The paths that connections were opened on, oldest first.
    QStringList paths() const { return m_paths; }
    // The frames as they arrived, and the messages inside.
    QStringList frames() const { return m_frames; }
    QStringList messages() const { return m_messages; }
    // The messages after the three registrations that begin every session.
    QStringList published() const { return m_messages.mid(3); }
    // How connections ended, first to last.
    QList<QWebSocketProtocol::CloseCode> closeCodes() const { return m_closeCodes; }
    void clear()
    {
        m_frames.clear();
        m_messages.clear();
    }

    // The connection opened last.
    QWebSocket *connection() const { return m_socket; }
    bool hasConnection() const { return m_socket && m_socket->isValid(); }
    // Sends one event-bus message on the connection opened last.
    void send(const QString &message)
    {
        sendFrame(
            'a'
            + QString::fromUtf8(QJsonDocument(QJsonArray{message}).toJson(QJsonDocument::Compact)));
    }
    void sendFrame(const QString &frame) { m_socket->sendTextMessage(frame); }
    void closeConnection() { m_socket->close(); }

private:
    void add(QWebSocket *socket)
    {
        socket->setParent(&m_server);
        m_socket = socket;
        m_paths.append(socket->requestUrl().path());
        QObject::connect(socket, &QWebSocket::textMessageReceived, &m_server,
                         [this](const QString &frame) { take(frame); });
        QObject::connect(socket, &QWebSocket::disconnected, &m_server, [this, socket] {
            m_closeCodes.append(socket->closeCode());
            socket->deleteLater();
        });
        if (m_opensSessions)
            sendFrame(u"o"_s);
    }
    void take(const QString &frame)
    {
        m_frames.append(frame);
        const QJsonArray messages = QJsonDocument::fromJson(frame.toUtf8()).array();
        for (const QJsonValue &message : messages)
            m_messages.append(message.toString());
    }

    QPointer<QWebSocket> m_socket;
    QStringList m_paths;
    QStringList m_frames;
    QStringList m_messages;
    QList<QWebSocketProtocol::CloseCode> m_closeCodes;
    bool m_opensSessions = true;
    QWebSocketServer m_server;
};
