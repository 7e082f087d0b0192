#include "sockjs/SockJSConnector.h"

#include "sockjs/CloseReason.h"
#include "sockjs/Patience.h"
#include "sockjs/SockJSXHRPolling.h"
#include "sockjs/WebSocketCloseFrame.h"
#include "sockjs/WebSocketGoodbye.h"
#include "sockjs/WebSocketWatch.h"
#include "sockjs/XHRReceiver.h"
#include "support/Http.h"
#include "support/Json.h"
#include "support/Log.h"
#include "support/RandomId.h"
#include "support/SystemProxy.h"
#include "support/Trust.h"
#include "support/Utf8.h"
#include "support/Wait.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtCore/QRegularExpression>
#include <QtCore/QTimer>
#include <QtWebSockets/QWebSocket>

#include <algorithm>
#include <utility>

namespace
{

// The address of the event bus below the server's path. The server id is fixed.
const QLatin1String EVENT_BUS_PATH("/eventbus/119/");
const QLatin1String WEBSOCKET_SUFFIX("/websocket");
constexpr int DEFAULT_PORT = 80;
constexpr int DEFAULT_TLS_PORT = 443;
constexpr int NO_PORT = -1;

// Frames of the server. All others (heartbeats "h", close frames "c[...]") carry nothing for us.
const QLatin1String OPEN_FRAME("o");
constexpr QLatin1Char ARRAY_FRAME('a');

// A message, or a piece of one, that is larger ends the connection.
constexpr quint64 MAX_MESSAGE_BYTES = 16ULL * 1024 * 1024;

const QLatin1String CLOSED_BY_HOST("Closed by the host");
const QLatin1String CLOSED_FOR_INACTIVITY("Closed after an hour without messages");

constexpr int INACTIVITY_CHECK_MS = 1800000;
constexpr int MAX_INACTIVITY_S = 3600;

// Values of openState.
constexpr int OPEN_PENDING = 0;
constexpr int OPEN_CONNECTED = 1;
constexpr int OPEN_DISCONNECTED = 2;

// The toolkit puts the name of its own function before the reason why a handshake failed.
QString withoutFunctionName(QString reason)
{
    const QRegularExpression functionName(QStringLiteral("^QWebSocket\\w*::\\w+: "));
    return reason.remove(functionName);
}

} // namespace

SockJSConnector::SockJSConnector(QObject *parent)
    : QObject(parent), path(QLatin1String("")), attempt(std::make_unique<Patience>())
{
    connect(attempt.get(), &Patience::ended, this, &SockJSConnector::onOverdue);
}

SockJSConnector::~SockJSConnector()
{
    destroying = true;
    if (m_connected) {
        close();
        // The transport's own report would come too late.
        if (xhrPolling)
            onClosed();
    }
    endWebSocket(takeWebSocket());
}

QMap<SockJSConnector::PROTOCOL_TYPE, QString> SockJSConnector::PROTOCOL_TYPE_STR()
{
    return {
        {WEBSOCKET, QStringLiteral("websocket")},
        {XHR_STREAMING, QStringLiteral("xhr-streaming")},
        {XHR_POLLING, QStringLiteral("xhr-polling")},
    };
}

SockJSConnector::State SockJSConnector::state() const
{
    if (!webSocket && !xhrPolling)
        return State::IDLE;
    if (closing)
        return State::CLOSING;
    if (!adopted)
        return State::TRYING;
    return m_connected ? State::OPEN : State::PENDING;
}

QString SockJSConnector::getTransport() const
{
    const State current = state();
    return current == State::PENDING || current == State::OPEN ? transportName() : QString();
}

QString SockJSConnector::transportName() const
{
    if (webSocket)
        return PROTOCOL_TYPE_STR().value(WEBSOCKET);
    return PROTOCOL_TYPE_STR().value(xhrPolling->isStreaming() ? XHR_STREAMING : XHR_POLLING);
}

void SockJSConnector::setTrustedCertificates(const QList<QSslCertificate> &certificates)
{
    tls = Tarvo::trusting(certificates);
}

void SockJSConnector::setProxy(const QNetworkProxy &proxy)
{
    this->proxy = proxy;
}

// ---- Opening ------------------------------------------------------------------------------------

bool SockJSConnector::open(QUrl url, QList<PROTOCOL_TYPE> protocols)
{
    if (destroying)
        return false;
    // The host's slots run in here. When one of them closes or opens the connector, this call is
    // over.
    const QPointer<SockJSConnector> self(this);
    const bool ended = dropConnection();
    const int opened = nextGeneration();
    if (ended)
        Q_EMIT closed(closedForInactivity);
    if (!self || generation != opened)
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
    closeCode = 0;
    closeReason.clear();
    isRobust = robust;
    if (isRobust) {
        failures.clear();
        tryNext();
        return false;
    }

    sessionId = Tarvo::randomId();
    while (protocolIndex < this->protocols.size()) {
        const bool started = tryNextProtocol();
        if (!self || started || generation != opened)
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
    if (index < protocols.size()) {
        switch (protocols.at(index)) {
        case WEBSOCKET:
            return openWebsocket();
        case XHR_STREAMING:
            return openXHRPolling(true);
        case XHR_POLLING:
            return openXHRPolling(false);
        }
    }
    TARVO_LOG(sockjs, "[SockJSConnector] No more protocols found!");
    return false;
}

QString SockJSConnector::sessionPath() const
{
    return path + EVENT_BUS_PATH + sessionId;
}

QWebSocket *SockJSConnector::startWebSocket()
{
    const bool hasProxy = proxy.type() != QNetworkProxy::DefaultProxy;
    if (!hasProxy)
        Tarvo::announceProxy(Tarvo::systemProxy());
    const QString url = QLatin1String(ssl ? "wss://" : "ws://") + Tarvo::urlHost(host)
        + QLatin1Char(':') + QString::number(port) + sessionPath() + WEBSOCKET_SUFFIX;
    TARVO_LOG(sockjs, "[SockJSConnector] Websocket url = ", url);

    auto *socket = new QWebSocket;
    socket->setMaxAllowedIncomingMessageSize(MAX_MESSAGE_BYTES);
    socket->setMaxAllowedIncomingFrameSize(MAX_MESSAGE_BYTES);
    if (hasProxy)
        socket->setProxy(proxy);
    if (!tls.isNull())
        socket->setSslConfiguration(tls);
    endWebSocket(takeWebSocket());
    webSocket = socket;
    adopted = false;
    openState = OPEN_PENDING;
    hasCloseFrame = false;
    hearWebSocket();
    socket->open(QUrl(url));
    return socket;
}

bool SockJSConnector::openWebsocket()
{
    const QPointer<SockJSConnector> self(this);
    const QPointer<QWebSocket> socket(startWebSocket());
    if (isRobust)
        return true;
    // The host may close the connector meanwhile, open it again, or destroy it.
    const auto isOver = [&] { return !self || !socket || webSocket != socket; };
    const bool answered =
        Tarvo::Wait().untilOrQuit([&] { return isOver() || openState != OPEN_PENDING; });
    if (isOver())
        return false;

    if (openState == OPEN_CONNECTED) {
        adoptWebSocket();
        return true;
    }
    if (!answered)
        nextGeneration(); // the application is quitting: nothing more is tried
    endWebSocket(takeWebSocket());
    return false;
}

// Queued, so that nothing that follows, the host's slots least of all, runs below a function of the
// web socket; each of the calls may come when the socket is no longer the one in use.
void SockJSConnector::hearWebSocket()
{
    const QPointer<QWebSocket> socket(webSocket);
    const auto isInUse = [=] { return socket && socket == webSocket; };
    const auto hear = [=](auto signal, void (SockJSConnector::*receiver)()) {
        connect(
            socket, signal, this,
            [=] {
                if (isInUse())
                    (this->*receiver)();
            },
            Qt::QueuedConnection);
    };
    hear(&QWebSocket::connected, &SockJSConnector::onWebSocketConnected);
    hear(&QWebSocket::disconnected, &SockJSConnector::onWebSocketDisconnected);
    // A handshake that is refused on a connection that stays up shows as an error only.
    hear(QOverload<QAbstractSocket::SocketError>::of(&QWebSocket::error),
         &SockJSConnector::onWebSocketFailed);
    connect(
        socket, &QWebSocket::textMessageReceived, this,
        [=](const QString &frame) {
            if (isInUse() && adopted)
                onTextMessageReceived(frame);
        },
        Qt::QueuedConnection);
    // At once, so that it is known when the end is heard.
    connect(new WebSocketCloseFrame(webSocket), &WebSocketCloseFrame::came, this, [=] {
        if (isInUse())
            hasCloseFrame = true;
    });
}

// The transport is in use from here on, before the wait has noticed: the server's first frames may
// be right behind, having come in one packet with its answer to the handshake.
void SockJSConnector::onWebSocketConnected()
{
    if (state() != State::TRYING || openState == OPEN_DISCONNECTED)
        return;
    openstate1();
    adoptWebSocket();
}

void SockJSConnector::onWebSocketFailed()
{
    if (state() != State::TRYING)
        return;
    openstate2();
    if (isRobust)
        giveWay(withoutFunctionName(webSocket->errorString()));
}

void SockJSConnector::onWebSocketDisconnected()
{
    if (state() == State::TRYING) {
        onWebSocketFailed();
        return;
    }
    if (webSocket->closeCode() == QWebSocketProtocol::CloseCodeTooMuchData)
        TARVO_LOG(sockjs,
                  "[SockJSConnector] ERROR: A message was too large: ", webSocket->closeReason());
    if (isRobust)
        onTransportEnded(webSocketCloseCode(), webSocketCloseReason());
    else
        onClosed();
}

// A connection that ends without the server's close frame leaves the toolkit with its own code.
int SockJSConnector::webSocketCloseCode() const
{
    return webSocket && hasCloseFrame ? webSocket->closeCode() : Tarvo::Close::ABNORMAL;
}

// The server's words, or the toolkit's about a mistake of the server.
QString SockJSConnector::webSocketCloseReason() const
{
    if (!webSocket)
        return QStringLiteral("The connection to the server was lost");
    const QString reason = webSocket->closeReason();
    return hasCloseFrame || !reason.isEmpty() ? reason : webSocket->errorString();
}

void SockJSConnector::adoptWebSocket()
{
    if (adopted)
        return;
    adopted = true;
    TARVO_LOG(sockjs, "[SockJSConnector] CONNECTED via Websocket");
    if (isRobust)
        onStands();
}

bool SockJSConnector::openXHRPolling(bool streaming)
{
    auto *transport = new SockJSXHRPolling(this);
    transport->setRobustTransport(isRobust);
    transport->setHeartbeatTimeout(heartbeatTimeoutMs);
    transport->setTlsConfiguration(tls);
    transport->setProxy(proxy);
    xhrPolling = transport;
    if (!transport->start(host, port, ssl, sessionPath(), streaming)) {
        delete takeXHRPolling();
        return false;
    }
    connect(transport, &SockJSXHRPolling::textMessageReceived, this,
            &SockJSConnector::onTextMessageReceived);
    connect(transport, &SockJSXHRPolling::connectionClosed, this,
            &SockJSConnector::onXHRPollingClosed);
    if (isRobust)
        connect(transport->receiver, &XHRReceiver::connected, this,
                &SockJSConnector::onXHRPollingConnected);
    else
        onXHRPollingConnected();
    return true;
}

void SockJSConnector::onXHRPollingConnected()
{
    adopted = true;
    TARVO_LOG(sockjs, "[SockJSConnector] CONNECTED via xhr_",
              xhrPolling->isStreaming() ? "streaming" : "polling");
    if (isRobust)
        onStands();
}

void SockJSConnector::onXHRPollingClosed()
{
    if (isRobust)
        onTransportEnded(xhrPolling->getCloseCode(), xhrPolling->getCloseReason());
    else
        onClosed();
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
    if (frame == OPEN_FRAME && !m_connected) {
        m_connected = true;
        attempt->stop();
        Q_EMIT connected();
        return;
    }
    if (!frame.startsWith(ARRAY_FRAME))
        return;
    const QJsonArray messages = Tarvo::readJson(frame.mid(1).toUtf8()).array();
    for (const QJsonValue &message : messages)
        undelivered.append(message.isString() ? message.toString()
                                              : message.toVariant().toString());
    deliverMessages();
}

// A slot that waits lets the next frame in, whose messages come behind those of this one.
void SockJSConnector::deliverMessages()
{
    const QPointer<SockJSConnector> self(this);
    const int thisGeneration = generation;
    while (!undelivered.isEmpty()) {
        Q_EMIT sockJSMessage(undelivered.takeFirst());
        if (!self || generation != thisGeneration)
            return;
    }
}

void SockJSConnector::sendMessage(QString message, bool keepAlive)
{
    QByteArray frame = QJsonDocument(QJsonArray{message}).toJson(QJsonDocument::Indented);
    frame.replace("[ ", "[");
    frame.replace(" ]", "]");
    const QString text = Tarvo::utf8UpToZero(frame);
    if (!keepAlive)
        lastActivity = QDateTime::currentDateTimeUtc();
    // A post that comes before the server knows the session is refused, and the attempt ends with
    // it.
    const bool isTooEarly = isRobust && !m_connected && !closing;
    if (webSocket)
        webSocket->sendTextMessage(text);
    else if (xhrPolling && !isTooEarly)
        xhrPolling->sendTextMessage(text);
}

void SockJSConnector::sendMessage(QVariantMap message)
{
    const QJsonDocument document(QJsonObject::fromVariantMap(message));
    sendMessage(Tarvo::utf8UpToZero(document.toJson(QJsonDocument::Indented)), false);
}

bool SockJSConnector::isSending() const
{
    if (webSocket && webSocket->bytesToWrite() > 0)
        return true;
    if (findChild<WebSocketGoodbye *>(QString(), Qt::FindDirectChildrenOnly))
        return true;
    // Those that were given up stay children until they have sent all.
    const auto transports = findChildren<SockJSXHRPolling *>(QString(), Qt::FindDirectChildrenOnly);
    return std::any_of(transports.begin(), transports.end(),
                       [](const SockJSXHRPolling *transport) { return transport->isSending(); });
}

void SockJSConnector::onConnected()
{
    TARVO_LOG(sockjs, "[SockJSConnector] Websocket connected");
    m_connected = true;
    attempt->stop();
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
    if (QWebSocket *socket = takeWebSocket()) {
        WebSocketGoodbye::say(socket, this, WebSocketGoodbye::Limits());
        onClosed();
    } else if (xhrPolling) {
        nextGeneration();
        disconnect(xhrPolling, &SockJSXHRPolling::textMessageReceived, this, nullptr);
        xhrPolling->close();
    }
}

void SockJSConnector::onClosed()
{
    TARVO_LOG(sockjs, "[SockJSConnector] Websocket CLOSED");
    if (webSocket && !m_connected) {
        endWebSocket(takeWebSocket());
        nextGeneration();
        if (openXHRPolling(false)) {
            TARVO_LOG(sockjs, "[SockJSConnector] Fallback to XHR_Polling");
            return;
        }
    }
    if (closing)
        finishOnRequest();
    else
        finish(webSocketCloseCode(), webSocketCloseReason());
}

void SockJSConnector::finishOnRequest()
{
    finish(Tarvo::Close::NORMAL, requestedReason());
}

QString SockJSConnector::requestedReason() const
{
    return closedForInactivity ? CLOSED_FOR_INACTIVITY : CLOSED_BY_HOST;
}

void SockJSConnector::finish(int code, const QString &reason)
{
    releaseTransports();
    closeCode = code;
    closeReason = reason;
    Q_EMIT closed(closedForInactivity);
}

// Ends what an earlier open() left, so that it cannot be taken for the new connection. Returns
// whether the host is to hear of it: an attempt that nobody knows of yet ends without a word,
// unless the host has closed it and waits for one.
bool SockJSConnector::dropConnection()
{
    const State ending = state();
    if (ending == State::TRYING) {
        endWebSocket(takeWebSocket());
        delete takeXHRPolling();
        return false;
    }
    if (ending == State::IDLE)
        return false;
    closing = true;
    closeCode = Tarvo::Close::NORMAL;
    closeReason = requestedReason();
    if (QWebSocket *socket = takeWebSocket())
        WebSocketGoodbye::say(socket, this, WebSocketGoodbye::Limits());
    if (xhrPolling)
        xhrPolling->close();
    TARVO_LOG(sockjs, "[SockJSConnector] Websocket CLOSED");
    releaseTransports();
    return true;
}

void SockJSConnector::releaseTransports()
{
    endWebSocket(takeWebSocket());
    if (SockJSXHRPolling *transport = takeXHRPolling())
        transport->releaseWhenSent();
    m_connected = false;
    nextGeneration();
}

// What is left of a frame, or of the time to open, belongs to the connection that ends here.
int SockJSConnector::nextGeneration()
{
    attempt->stop();
    undelivered.clear();
    return ++generation;
}

QWebSocket *SockJSConnector::takeWebSocket()
{
    if (!webSocket)
        return nullptr;
    adopted = false;
    delete watch;
    watch = nullptr;
    disconnect(webSocket, nullptr, this, nullptr);
    return std::exchange(webSocket, nullptr);
}

SockJSXHRPolling *SockJSConnector::takeXHRPolling()
{
    if (!xhrPolling)
        return nullptr;
    adopted = false;
    if (xhrPolling->receiver)
        disconnect(xhrPolling->receiver, nullptr, this, nullptr);
    disconnect(xhrPolling, nullptr, this, nullptr);
    return std::exchange(xhrPolling, nullptr);
}
