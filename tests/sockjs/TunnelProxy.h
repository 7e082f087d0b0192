#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

// An HTTP proxy that makes tunnels, and nothing else. They lead to a server on this machine,
// whatever the name that is asked for. It runs on the test's event loop.
class TunnelProxy
{
public:
    explicit TunnelProxy(quint16 target) : target(target)
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            while (QTcpSocket *client = m_server.nextPendingConnection())
                take(client);
        });
        m_server.listen(QHostAddress::LocalHost);
    }

    quint16 port() const { return m_server.serverPort(); }

    // Where the next tunnel leads.
    quint16 target;
    // As in "Proxy-Authorization: Basic"; a request without them is answered with 407.
    QByteArray credentials;
    // How many tunnels it makes before it answers every further request so.
    int tunnelsUntilRefusal = -1;
    QByteArray refusal = "HTTP/1.1 403 Forbidden\r\nContent-Length: 0\r\n\r\n";

    // What it was asked, header by header, and how many tunnels it has made.
    QList<QByteArray> requests;
    int tunnels = 0;

    // Breaks off every tunnel.
    void breakOff()
    {
        for (QTcpSocket *client : m_server.findChildren<QTcpSocket *>())
            client->abort();
    }

private:
    void take(QTcpSocket *client)
    {
        QObject::connect(client, &QTcpSocket::readyRead, client, [this, client] { read(client); });
    }

    void read(QTcpSocket *client)
    {
        const QByteArray request = client->peek(client->bytesAvailable());
        if (!request.endsWith("\r\n\r\n"))
            return;
        client->readAll();
        requests.append(request);
        if (!credentials.isEmpty()
            && !request.contains("\r\nProxy-Authorization: Basic " + credentials + "\r\n")) {
            client->write(
                "HTTP/1.1 407 Proxy Authentication Required\r\n"
                "Proxy-Authenticate: Basic realm=\"school\"\r\nContent-Length: 0\r\n\r\n");
        } else if (tunnels == tunnelsUntilRefusal) {
            client->write(refusal);
        } else {
            ++tunnels;
            lead(client);
        }
    }

    void lead(QTcpSocket *client)
    {
        client->disconnect(client);
        auto *server = new QTcpSocket(client);
        const auto join = [](QTcpSocket *from, QTcpSocket *to) {
            QObject::connect(from, &QTcpSocket::readyRead, to,
                             [from, to] { to->write(from->readAll()); });
            QObject::connect(from, &QTcpSocket::disconnected, to, &QTcpSocket::disconnectFromHost);
        };
        join(client, server);
        join(server, client);
        server->connectToHost(QHostAddress(QHostAddress::LocalHost), target);
        client->write("HTTP/1.1 200 Connection established\r\n\r\n");
    }

    QTcpServer m_server;
};
