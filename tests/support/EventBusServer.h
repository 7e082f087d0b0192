#pragma once

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

// A collaboration server that speaks SockJS over web sockets and keeps what it receives. It opens
// every session at once, and sends only what the test tells it to.
class EventBusServer
{
public:
    EventBusServer()
    {
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("no port for the event bus");
        QObject::connect(&m_server, &QWebSocketServer::newConnection, &m_server, [this] {
            while (QWebSocket *socket = m_server.nextPendingConnection())
                add(socket);
        });
    }

    // The collaboration server URL that a channel opens.
    QString url() const { return u"http://127.0.0.1:%1"_s.arg(m_server.serverPort()); }

    // The paths that connections were opened on, oldest first.
    QStringList paths() const { return m_paths; }
    // The frames as they arrived, and the messages inside.
    QStringList frames() const { return m_frames; }
    QStringList messages() const { return m_messages; }
    // The messages after the three registrations that begin every session.
    QStringList published() const { return m_messages.mid(3); }
    void clear()
    {
        m_frames.clear();
        m_messages.clear();
    }

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
        QObject::connect(socket, &QWebSocket::disconnected, socket, &QObject::deleteLater);
        socket->sendTextMessage(u"o"_s);
    }
    void take(const QString &frame)
    {
        m_frames.append(frame);
        const QJsonArray messages = QJsonDocument::fromJson(frame.toUtf8()).array();
        for (const QJsonValue &message : messages)
            m_messages.append(message.toString());
    }

    QWebSocketServer m_server{u"event bus"_s, QWebSocketServer::NonSecureMode};
    QPointer<QWebSocket> m_socket;
    QStringList m_paths;
    QStringList m_frames;
    QStringList m_messages;
};
