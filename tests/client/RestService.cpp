#include "client/RestService.h"

#include "client/Operations.h"

#include <QtNetwork/QSslSocket>
#include <QtNetwork/QTcpServer>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace
{

// The toolkit sends a request's header and body apart, and holds the body back until the header has
// been acknowledged; the system would take 40 ms for that. Holds until the next packet.
void acknowledgeAtOnce(const QTcpSocket *connection)
{
    const int on = 1;
    setsockopt(static_cast<int>(connection->socketDescriptor()), IPPROTO_TCP, TCP_QUICKACK, &on,
               sizeof on);
}

} // namespace

QList<QByteArray> RestRequest::headerLines(const QByteArray &name) const
{
    QList<QByteArray> found;
    QList<QByteArray> lines = head.split('\n');
    lines.removeFirst();
    for (const QByteArray &line : qAsConst(lines)) {
        if (line.toLower().startsWith(name + ':'))
            found.append(line.trimmed());
    }
    return found;
}

RestExchange &RestExchange::status(const QByteArray &status, const QByteArray &body,
                                   const QByteArray &headerLines)
{
    return raw(Scripted::reply(body, status, headerLines));
}

RestExchange &RestExchange::raw(const QByteArray &bytes)
{
    m_answer = bytes;
    return *this;
}

RestExchange &RestExchange::redirect(const QString &location, const QByteArray &body)
{
    return status("302 Found", body, "Location: " + location.toUtf8() + "\r\n");
}

RestExchange &RestExchange::silence()
{
    m_way = Silence;
    return *this;
}

RestExchange &RestExchange::hangUp()
{
    m_way = HangUp;
    return *this;
}

RestExchange &RestExchange::hold()
{
    m_way = Hold;
    return *this;
}

RestExchange &RestExchange::meanwhile(std::function<void()> action)
{
    m_meanwhile = std::move(action);
    return *this;
}

// Hands every connection to the service, encrypted if it speaks TLS.
class RestService::Server : public QTcpServer
{
public:
    Server(RestService *service, const QSslConfiguration &tls) : m_service(service), m_tls(tls) { }

protected:
    void incomingConnection(qintptr descriptor) override
    {
        QTcpSocket *connection = m_service->m_tls ? new QSslSocket(this) : new QTcpSocket(this);
        connection->setSocketDescriptor(descriptor);
        connect(connection, &QTcpSocket::readyRead, m_service,
                [this, connection] { m_service->read(connection); });
        connect(connection, &QTcpSocket::disconnected, connection, &QObject::deleteLater);
        if (auto *encrypted = qobject_cast<QSslSocket *>(connection)) {
            encrypted->setSslConfiguration(m_tls);
            encrypted->startServerEncryption();
        }
    }

private:
    RestService *m_service;
    QSslConfiguration m_tls;
};

RestService::RestService(const QSslConfiguration &tls)
    : m_server(new Server(this, tls)), m_tls(!tls.localCertificate().isNull())
{
    if (!m_server->listen(QHostAddress::LocalHost))
        m_faults.append(u"cannot listen: "_s + m_server->errorString());
}

RestService::~RestService()
{
    for (QTcpSocket *connection : m_server->findChildren<QTcpSocket *>())
        connection->disconnect(this);
}

QString RestService::url(const QByteArray &path) const
{
    return localUrl(port(), m_tls ? u"https"_s : u"http"_s) + QString::fromUtf8(path);
}

quint16 RestService::port() const
{
    return m_server->serverPort();
}

RestExchange &RestService::expect(const QByteArray &path, const QByteArray &body)
{
    m_script.emplace_back(path, body);
    return m_script.back();
}

void RestService::release()
{
    if (m_held.empty()) {
        m_faults.append(u"nothing held to release"_s);
        return;
    }
    const auto [connection, bytes] = m_held.front();
    m_held.pop_front();
    if (connection)
        connection->write(bytes);
}

QStringList RestService::faults() const
{
    QStringList faults = m_faults;
    for (const RestExchange &exchange : m_script)
        faults.append(u"never asked: "_s + QString::fromUtf8(exchange.m_path));
    return faults;
}

int RestService::openConnections() const
{
    return m_server->findChildren<QTcpSocket *>().size();
}

// What has come of a request stays in the socket's buffer until the request is whole.
void RestService::read(QTcpSocket *connection)
{
    acknowledgeAtOnce(connection);
    const QByteArray bytes = connection->peek(connection->bytesAvailable());
    const int headEnd = bytes.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return;

    RestRequest request;
    request.head = bytes.left(headEnd);
    const QList<QByteArray> lengths = request.headerLines("content-length");
    const int length = lengths.isEmpty() ? 0 : lengths.first().mid(15).trimmed().toInt();
    const int total = headEnd + 4 + length;
    if (bytes.size() < total)
        return;

    request.body = bytes.mid(headEnd + 4, length);
    connection->skip(total);
    m_requests.append(request);
    respond(connection, request);
}

void RestService::respond(QTcpSocket *connection, const RestRequest &request)
{
    if (m_script.empty()) {
        m_faults.append(u"unscripted: "_s + QString::fromUtf8(request.requestLine()));
        connection->write(Scripted::reply({}, "501 Not Implemented"));
        return;
    }
    const RestExchange exchange = m_script.front();
    m_script.pop_front();

    const QByteArray requestLine = "POST " + exchange.m_path + " HTTP/1.1";
    if (request.requestLine() != requestLine || request.body != exchange.m_body) {
        m_faults.append(u"asked %1 with %2 instead of %3 with %4"_s.arg(
            QString::fromUtf8(request.requestLine()), QString::fromUtf8(request.body),
            QString::fromUtf8(requestLine), QString::fromUtf8(exchange.m_body)));
    }

    if (exchange.m_way == RestExchange::Answer)
        connection->write(exchange.m_answer);
    else if (exchange.m_way == RestExchange::Hold)
        m_held.emplace_back(connection, exchange.m_answer);
    else if (exchange.m_way == RestExchange::HangUp)
        connection->disconnectFromHost();
    if (exchange.m_meanwhile)
        QMetaObject::invokeMethod(this, exchange.m_meanwhile, Qt::QueuedConnection);
}
