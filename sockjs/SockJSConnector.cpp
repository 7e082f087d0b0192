#include "sockjs/SockJSConnector.h"

#include "sockjs/EventBusSocket.h"
#include "sockjs/SockJSXHRPolling.h"
#include "sockjs/UrlHost.h"
#include "support/RandomId.h"
#include "support/SystemProxy.h"

#include <QtCore/QDebug>
#include <QtCore/QEventLoop>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <algorithm>
#include <cstdlib>

namespace
{

// The address of the event bus below the server's path. The server id is fixed.
const char EVENT_BUS_PATH[] = "/eventbus/119/";
const char WEBSOCKET_SUFFIX[] = "/websocket";
constexpr int DEFAULT_PORT = 80;
constexpr int DEFAULT_TLS_PORT = 443;
constexpr int NO_PORT = -1;

// Frames of the server. All others (heartbeats "h", close frames "c[...]") carry nothing for us.
const char OPEN_FRAME[] = "o";
constexpr char ARRAY_FRAME = 'a';

constexpr int INACTIVITY_CHECK_MS = 1800000;
constexpr int MAX_INACTIVITY_S = 3600;

// Values of openState.
constexpr int OPEN_PENDING = 0;
constexpr int OPEN_CONNECTED = 1;
constexpr int OPEN_DISCONNECTED = 2;

QDebug debug()
{
    return qDebug().noquote() << "[SockJSConnector]";
}

// Puts the proxy into the environment, for what else runs in this process. The entry becomes part of
// the environment, so it lives as long as the process; the system is asked for its proxy once, so it
// never changes.
void announceProxy(const QNetworkProxy &proxy)
{
    if (proxy.port() == 0)
        return;
    static QByteArray *const entry = new QByteArray("http_proxy=" + proxy.hostName().toLocal8Bit()
                                                    + ':' + QByteArray::number(proxy.port()));
    static const int result = putenv(entry->data());
    Q_UNUSED(result)
}

// Text up to the first zero byte.
QString toText(const QByteArray &json)
{
    return QString::fromUtf8(json.constData());
}

} // namespace

SockJSConnector::SockJSConnector(QObject *parent) : QObject(parent), path(QLatin1String("")) { }

SockJSConnector::~SockJSConnector()
{
    destroying = true;
    if (m_connected) {
        close();
        // The transport's own report would come too late.
        if (xhrPolling)
            onClosed();
    }
    if (EventBusSocket *socket = takeWebSocket())
        socket->end();
}

QMap<SockJSConnector::PROTOCOL_TYPE, QString> SockJSConnector::PROTOCOL_TYPE_STR()
{
    return {
        {WEBSOCKET, QStringLiteral("websocket")},
        {XHR_STREAMING, QStringLiteral("xhr-streaming")},
        {XHR_POLLING, QStringLiteral("xhr-polling")},
    };
}

// ---- Opening ------------------------------------------------------------------------------------

bool SockJSConnector::open(QUrl url, QList<PROTOCOL_TYPE> protocols)
{
    if (destroying)
        return false;
    const QPointer<SockJSConnector> self(this);
    const int thisOpen = ++openCalls;
    endConnection();
    if (!self || openCalls != thisOpen)
        return false;

    lastActivity = QDateTime::currentDateTimeUtc();
    closedForInactivity = false;
    if (!inactivityTimer) {
        inactivityTimer = new QTimer(this);
        connect(inactivityTimer, &QTimer::timeout, this, &SockJSConnector::onTimeout);
        inactivityTimer->start(INACTIVITY_CHECK_MS);
    }
    closing = false;
    readServerUrl(url);
    protocolIndex = 0;
    this->protocols = protocols;
    sessionId = Tarvo::randomId();

    // The host's slots run inside an attempt. When one of them closes or opens the connector, this
    // call is over.
    const int thisEpoch = epoch;
    while (protocolIndex < this->protocols.size()) {
        const bool started = tryNextProtocol();
        if (!self || started || epoch != thisEpoch)
            break;
    }
    return false;
}

void SockJSConnector::readServerUrl(const QUrl &url)
{
    path = url.path(QUrl::FullyDecoded);
    if (path.endsWith(QLatin1Char('/')))
        path.chop(1);
    host = url.host(QUrl::FullyDecoded);
    ssl = url.scheme() == QLatin1String("wss") || url.scheme() == QLatin1String("https");
    port = url.port(NO_PORT);
    if (port == NO_PORT)
        port = ssl ? DEFAULT_TLS_PORT : DEFAULT_PORT;
}

bool SockJSConnector::tryNextProtocol()
{
    const int index = protocolIndex++;
    if (index >= 0 && index < protocols.size()) {
        switch (protocols.at(index)) {
        case WEBSOCKET:
            return openWebsocket();
        case XHR_STREAMING:
            return openXHRPolling(true);
        case XHR_POLLING:
            return openXHRPolling(false);
        }
    }
    debug() << "No more protocols found!";
    return false;
}

QString SockJSConnector::sessionPath() const
{
    return path + QLatin1String(EVENT_BUS_PATH) + sessionId;
}

bool SockJSConnector::openWebsocket()
{
    announceProxy(Tarvo::systemProxy());
    const QString url = QLatin1String(ssl ? "wss://" : "ws://") + Tarvo::urlHost(host)
        + QLatin1Char(':') + QString::number(port) + sessionPath()
        + QLatin1String(WEBSOCKET_SUFFIX);
    debug() << "Websocket url =" << url;

    const QPointer<SockJSConnector> self(this);
    const QPointer<EventBusSocket> socket(new EventBusSocket);
    webSocket = socket;
    waitForWebsocket(QUrl(url));

    // The host may have closed the connector meanwhile, opened it again, or destroyed it.
    if (!self || !socket || webSocket != socket)
        return false;
    if (openState == OPEN_CONNECTED) {
        adoptWebsocket();
        return true;
    }
    // Still pending, the application is quitting: nothing more is tried.
    if (openState == OPEN_PENDING)
        ++epoch;
    takeWebSocket()->end();
    return false;
}

// Opens the web socket and dispatches events until it is connected, has failed or is let go of. The
// connector may be gone then.
void SockJSConnector::waitForWebsocket(const QUrl &url)
{
    EventBusSocket *const socket = webSocket;
    const auto failed = QOverload<QAbstractSocket::SocketError>::of(&QWebSocket::error);
    openState = OPEN_PENDING;
    connect(socket, &QWebSocket::connected, this, [this, socket, failed] {
        openstate1();
        // From here on an end is the connection's, no longer the attempt's.
        disconnect(socket, &QWebSocket::disconnected, this, &SockJSConnector::openstate2);
        disconnect(socket, failed, this, &SockJSConnector::openstate2);
    });
    connect(socket, &QWebSocket::disconnected, this, &SockJSConnector::openstate2);
    // A handshake that is refused on a connection that stays up shows as an error only.
    connect(socket, failed, this, &SockJSConnector::openstate2);

    QEventLoop wait;
    connect(socket, &QWebSocket::connected, &wait, &QEventLoop::quit);
    connect(socket, &QWebSocket::disconnected, &wait, &QEventLoop::quit);
    connect(socket, failed, &wait, &QEventLoop::quit);
    connect(socket, &EventBusSocket::letGo, &wait, &QEventLoop::quit);
    socket->open(url);
    if (openState == OPEN_PENDING)
        wait.exec();
}

// Makes the web socket that has just connected the transport in use.
void SockJSConnector::adoptWebsocket()
{
    EventBusSocket *const socket = webSocket;
    disconnect(socket, nullptr, this, nullptr);
    debug() << "CONNECTED via Websocket";
    connect(socket, &QWebSocket::disconnected, this, &SockJSConnector::onClosed);

    const QPointer<SockJSConnector> self(this);
    const QPointer<EventBusSocket> alive(socket);
    const auto isInUse = [&] { return self && alive && webSocket == socket; };
    while (isInUse() && socket->hasEarlyFrame())
        onTextMessageReceived(socket->takeEarlyFrame());
    if (!isInUse())
        return;
    socket->keepNoMoreFrames();
    connect(socket, &QWebSocket::textMessageReceived, this,
            &SockJSConnector::onTextMessageReceived);
    // The end may have come together with the beginning.
    if (socket->state() == QAbstractSocket::UnconnectedState)
        onClosed();
}

bool SockJSConnector::openXHRPolling(bool streaming)
{
    xhrPolling = new SockJSXHRPolling(this);
    if (!xhrPolling->start(host, port, ssl, sessionPath(), streaming)) {
        delete xhrPolling;
        xhrPolling = nullptr;
        return false;
    }
    debug() << QLatin1String("CONNECTED via xhr_")
            + QLatin1String(streaming ? "streaming" : "polling");
    connect(xhrPolling, &SockJSXHRPolling::textMessageReceived, this,
            &SockJSConnector::onTextMessageReceived);
    connect(xhrPolling, &SockJSXHRPolling::connectionClosed, this, &SockJSConnector::onClosed);
    return true;
}

void SockJSConnector::openstate1()
{
    openState = OPEN_CONNECTED;
}

void SockJSConnector::openstate2()
{
    openState = OPEN_DISCONNECTED;
}

// ---- Messages -----------------------------------------------------------------------------------

void SockJSConnector::onTextMessageReceived(QString frame)
{
    const EventBusSocket::Emission emission(webSocket);
    if (frame == QLatin1String(OPEN_FRAME) && !m_connected) {
        m_connected = true;
        Q_EMIT connected();
        return;
    }
    if (!frame.startsWith(QLatin1Char(ARRAY_FRAME)))
        return;
    const QPointer<SockJSConnector> self(this);
    const int thisEpoch = epoch;
    const QVariantList messages =
        QJsonDocument::fromJson(frame.mid(1).toUtf8()).array().toVariantList();
    for (const QVariant &message : messages) {
        Q_EMIT sockJSMessage(message.toString());
        if (!self || epoch != thisEpoch)
            return;
    }
}

void SockJSConnector::sendMessage(QString message, bool keepAlive)
{
    QByteArray frame = QJsonDocument(QJsonArray{message}).toJson(QJsonDocument::Indented);
    frame.replace("[ ", "[");
    frame.replace(" ]", "]");
    const QString text = toText(frame);
    if (!keepAlive)
        lastActivity = QDateTime::currentDateTimeUtc();
    if (webSocket)
        webSocket->sendTextMessage(text);
    else if (xhrPolling)
        xhrPolling->sendTextMessage(text);
}

void SockJSConnector::sendMessage(QVariantMap message)
{
    const QJsonDocument document(QJsonObject::fromVariantMap(message));
    sendMessage(toText(document.toJson(QJsonDocument::Indented)), false);
}

bool SockJSConnector::isSending() const
{
    if (webSocket && webSocket->bytesToWrite() > 0)
        return true;
    for (const QPointer<EventBusSocket> &socket : leaving) {
        if (socket)
            return true;
    }
    // Those that were given up stay children until they have sent all.
    const auto transports = findChildren<SockJSXHRPolling *>(QString(), Qt::FindDirectChildrenOnly);
    return std::any_of(transports.begin(), transports.end(),
                       [](const SockJSXHRPolling *transport) { return transport->isSending(); });
}

void SockJSConnector::onConnected()
{
    debug() << "Websocket connected";
    m_connected = true;
    Q_EMIT connected();
}

// ---- Closing ------------------------------------------------------------------------------------

void SockJSConnector::onTimeout()
{
    const qint64 inactive = lastActivity.secsTo(QDateTime::currentDateTimeUtc());
    if (inactive <= MAX_INACTIVITY_S || !m_connected)
        return;
    closedForInactivity = true;
    if (inactivityTimer)
        inactivityTimer->stop();
    close();
}

void SockJSConnector::close()
{
    m_connected = false;
    closing = true;
    ++epoch;
    if (EventBusSocket *socket = takeWebSocket()) {
        leaving.removeAll(nullptr);
        leaving.append(socket);
        socket->leave(this);
        onClosed();
    } else if (xhrPolling) {
        disconnect(xhrPolling, &SockJSXHRPolling::textMessageReceived, this, nullptr);
        xhrPolling->close();
    }
}

void SockJSConnector::onClosed()
{
    const EventBusSocket::Emission emission(webSocket);
    debug() << "Websocket CLOSED";
    if (EventBusSocket *socket = takeWebSocket()) {
        socket->end();
        if (!m_connected && !closing && openXHRPolling(false)) {
            debug() << "Fallback to XHR_Polling";
            return;
        }
    }
    if (SockJSXHRPolling *transport = takeXHRPolling())
        transport->releaseWhenSent();
    m_connected = false;
    ++epoch;
    Q_EMIT closed(closedForInactivity);
}

// Ends what an earlier open() left, so that its signals cannot be taken for the new connection's. An
// attempt that nobody has heard of yet ends without a word.
void SockJSConnector::endConnection()
{
    ++epoch;
    if (webSocket && openState != OPEN_CONNECTED) {
        takeWebSocket()->end();
        return;
    }
    if (!webSocket && !xhrPolling)
        return;
    const QPointer<SockJSConnector> self(this);
    const bool overXHR = xhrPolling;
    close();
    // The transport's own report would come when the new connection is up.
    if (self && overXHR)
        onClosed();
}

EventBusSocket *SockJSConnector::takeWebSocket()
{
    EventBusSocket *socket = webSocket;
    webSocket = nullptr;
    if (socket)
        disconnect(socket, nullptr, this, nullptr);
    return socket;
}

SockJSXHRPolling *SockJSConnector::takeXHRPolling()
{
    SockJSXHRPolling *transport = xhrPolling;
    xhrPolling = nullptr;
    if (transport)
        disconnect(transport, nullptr, this, nullptr);
    return transport;
}
