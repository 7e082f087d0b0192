#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QObject>
#include <QtCore/QStringList>
#include <QtWebSockets/QWebSocket>
#include <QtWebSockets/QWebSocketServer>

// A collaboration server that opens every session over a web socket and keeps the messages it gets.
// Lives on the test's own event loop, on 127.0.0.1.
class EventBus : public QObject
{
public:
    EventBus() : m_server(QStringLiteral("event bus"), QWebSocketServer::NonSecureMode)
    {
        if (!m_server.listen(QHostAddress::LocalHost))
            qFatal("cannot listen: %s", qPrintable(m_server.errorString()));
        connect(&m_server, &QWebSocketServer::newConnection, this, &EventBus::accept);
    }
    ~EventBus() override
    {
        for (QWebSocket *connection : findChildren<QWebSocket *>())
            connection->disconnect(this);
    }

    QString url() const { return QStringLiteral("http://127.0.0.1:%1").arg(m_server.serverPort()); }
    const QStringList &messages() const { return m_messages; }
    int opened() const { return m_opened; }
    int openNow() const { return m_openNow; }

private:
    void accept()
    {
        QWebSocket *connection = m_server.nextPendingConnection();
        connection->setParent(this);
        ++m_opened;
        ++m_openNow;
        connect(connection, &QWebSocket::textMessageReceived, this, [this](const QString &frame) {
            for (const QJsonValue &message : QJsonDocument::fromJson(frame.toUtf8()).array())
                m_messages.append(message.toString());
        });
        connect(connection, &QWebSocket::disconnected, this, [this, connection] {
            --m_openNow;
            connection->deleteLater();
        });
        connection->sendTextMessage(QStringLiteral("o"));
    }

    QWebSocketServer m_server;
    QStringList m_messages;
    int m_opened = 0;
    int m_openNow = 0;
};
