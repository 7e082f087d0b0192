#include "OutageProxy.h"

#include "ClassroomName.h"
#include "support/Text.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QQueue>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

#include <memory>
#include <vector>

#include <sys/socket.h>

namespace
{

const QByteArray BAD_GATEWAY = "HTTP/1.1 502 Bad Gateway\r\nContent-Type: text/html\r\n"
                               "Content-Length: 37\r\nConnection: close\r\n\r\n"
                               "<html><h1>502 Bad Gateway</h1></html>";
// What a client still says while it reads that is not to reset the connection.
constexpr int LINGER_MS = 500;

void resetConnection(QTcpSocket *socket)
{
    const linger atOnce = {1, 0};
    ::setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket->abort();
}

void swallow(QTcpSocket *socket)
{
    QObject::connect(socket, &QTcpSocket::readyRead, socket, [socket] { socket->readAll(); });
    socket->readAll();
}

void answerWithBadGateway(QTcpSocket *client)
{
    QObject::connect(client, &QTcpSocket::readyRead, client, [client] {
        if (!client->peek(client->bytesAvailable()).contains("\r\n\r\n"))
            return;
        client->disconnect(client);
        swallow(client);
        client->write(BAD_GATEWAY);
        QTimer::singleShot(LINGER_MS, client, &QTcpSocket::disconnectFromHost);
    });
}

} // namespace

// One direction of a connection.
class OutageProxy::Lane : public QObject
{
public:
    Lane(QTcpSocket *from, QTcpSocket *to, const int &delayMs)
        : m_from(from), m_to(to), m_delayMs(delayMs)
    {
        m_next.setSingleShot(true);
        m_next.setTimerType(Qt::PreciseTimer);
        connect(&m_next, &QTimer::timeout, this, &Lane::deliver);
        connect(from, &QTcpSocket::readyRead, this, &Lane::take);
        connect(from, &QTcpSocket::stateChanged, this, [this](QTcpSocket::SocketState state) {
            if (state == QTcpSocket::UnconnectedState)
                end();
        });
    }

    void setHeld(bool held)
    {
        m_isHeld = held;
        deliver();
    }
    void refuseWebSockets() { m_refusesWebSockets = true; }

private:
    struct Piece {
        QDeadlineTimer due;
        QByteArray bytes; // null for the end
    };

    void take()
    {
        const QByteArray bytes = m_from->readAll();
        if (m_refusesWebSockets && bytes.toLower().contains("upgrade: websocket"))
            return m_from->disconnectFromHost();
        if (!bytes.isEmpty())
            m_waiting.enqueue({QDeadlineTimer(m_delayMs, Qt::PreciseTimer), bytes});
        deliver();
    }

    void end()
    {
        take();
        m_waiting.enqueue({QDeadlineTimer(m_delayMs, Qt::PreciseTimer), QByteArray()});
        deliver();
    }

    void deliver()
    {
        while (!m_isHeld && !m_waiting.isEmpty() && m_waiting.head().due.hasExpired()) {
            const QByteArray bytes = m_waiting.dequeue().bytes;
            if (bytes.isNull())
                m_to->disconnectFromHost();
            else if (m_to->isValid())
                m_to->write(bytes);
        }
        if (!m_isHeld && !m_waiting.isEmpty())
            m_next.start(int(m_waiting.head().due.remainingTime()));
    }

    QTcpSocket *m_from;
    QTcpSocket *m_to;
    const int &m_delayMs;
    bool m_isHeld = false;
    bool m_refusesWebSockets = false;
    QQueue<Piece> m_waiting;
    QTimer m_next;
};

// A connection to the service on behalf of a client's.
class OutageProxy::Link
{
public:
    Link(QTcpSocket *client, quint16 service, const int &replyDelayMs) : m_client(client)
    {
        static const int AT_ONCE = 0;
        m_client->setSocketOption(QTcpSocket::LowDelayOption, 1);
        m_service.setSocketOption(QTcpSocket::LowDelayOption, 1);
        m_service.connectToHost(QHostAddress(QHostAddress::LocalHost), service);
        m_there = std::make_unique<Lane>(m_client, &m_service, AT_ONCE);
        m_back = std::make_unique<Lane>(&m_service, m_client, replyDelayMs);
    }

    void setHeld(bool held)
    {
        for (Lane *lane : {m_there.get(), m_back.get()}) {
            if (lane)
                lane->setHeld(held);
        }
    }
    void refuseWebSockets() { m_there->refuseWebSockets(); }
    void close()
    {
        if (takeLanesAway()) {
            m_client->disconnectFromHost();
            m_service.disconnectFromHost();
        }
    }
    void reset()
    {
        if (takeLanesAway()) {
            resetConnection(m_client);
            resetConnection(&m_service);
        }
    }
    void mute()
    {
        if (takeLanesAway()) {
            swallow(m_client);
            swallow(&m_service);
        }
    }

private:
    // False when that was done before: what became of the connection then holds.
    bool takeLanesAway()
    {
        m_back.reset();
        return std::exchange(m_there, nullptr) != nullptr;
    }

    QTcpSocket *m_client; // a child of the listening socket
    QTcpSocket m_service;
    std::unique_ptr<Lane> m_there;
    std::unique_ptr<Lane> m_back;
};

class OutageProxy::Gate : public QObject
{
public:
    Gate(quint16 service, std::atomic<int> &connections)
        : m_service(service), m_connections(connections)
    {
        connect(&m_server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *client = m_server.nextPendingConnection())
                take(client);
        });
    }

    quint16 open()
    {
        m_reserved.bind(QHostAddress(QHostAddress::LocalHost), 0, QTcpSocket::ShareAddress);
        listen();
        return m_reserved.localPort();
    }

    void setMode(Mode mode)
    {
        while (m_server.waitForNewConnection(0))
            ; // who has come by now came in the old mode
        m_mode = mode;
        setClassroomNameKnown(mode != NameGone);
        if (mode == Restart || mode == NameGone)
            m_server.close();
        else if (!m_server.isListening())
            listen();
        for (const auto &link : m_links)
            treat(*link);
    }

    int replyDelayMs = 0;

private:
    void listen()
    {
        if (!m_server.listen(QHostAddress::LocalHost, m_reserved.localPort()))
            qFatal("no port for the proxy");
    }

    void take(QTcpSocket *client)
    {
        ++m_connections;
        if (m_mode == Reset) {
            resetConnection(client);
        } else if (m_mode == BadGateway) {
            answerWithBadGateway(client);
        } else {
            m_links.push_back(std::make_unique<Link>(client, m_service, replyDelayMs));
            if (m_mode == NoWebSockets)
                m_links.back()->refuseWebSockets();
            else
                treat(*m_links.back());
        }
    }

    void treat(Link &link)
    {
        switch (m_mode) {
        case Pass:
        case Stall:
            return link.setHeld(m_mode == Stall);
        case Restart:
        case NameGone:
        case BadGateway:
        case NoWebSockets:
            return link.close();
        case Reset:
            return link.reset();
        case Mute:
            return link.mute();
        }
    }

    quint16 m_service;
    std::atomic<int> &m_connections;
    Mode m_mode = Pass;
    QTcpSocket m_reserved{this}; // nobody else gets the port while nobody listens on it
    QTcpServer m_server{this};
    std::vector<std::unique_ptr<Link>> m_links;
};

OutageProxy::OutageProxy(quint16 service) : m_gate(new Gate(service, m_connections))
{
    m_gate->moveToThread(&m_thread);
    QObject::connect(&m_thread, &QThread::finished, m_gate, &QObject::deleteLater);
    m_thread.start();
    QMetaObject::invokeMethod(
        m_gate, [this] { m_port = m_gate->open(); }, Qt::BlockingQueuedConnection);
}

OutageProxy::~OutageProxy()
{
    setClassroomNameKnown(true);
    m_thread.quit();
    m_thread.wait();
}

QString OutageProxy::url() const
{
    return u"http://%1:%2"_s.arg(classroomName()).arg(m_port);
}

void OutageProxy::setMode(Mode mode)
{
    QMetaObject::invokeMethod(
        m_gate, [this, mode] { m_gate->setMode(mode); }, Qt::BlockingQueuedConnection);
}

void OutageProxy::delayReplies(int ms)
{
    QMetaObject::invokeMethod(
        m_gate, [this, ms] { m_gate->replyDelayMs = ms; }, Qt::BlockingQueuedConnection);
}
