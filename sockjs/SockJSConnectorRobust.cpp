// The robust way to open a connection and to end one: every transport of the list has its time, one
// that fails gives way to the next, and every end has a reason. Nothing in here waits.
#include "sockjs/SockJSConnector.h"

#include "sockjs/CloseReason.h"
#include "sockjs/Patience.h"
#include "sockjs/SockJSXHRPolling.h"
#include "sockjs/WebSocketGoodbye.h"
#include "sockjs/WebSocketWatch.h"
#include "support/Log.h"
#include "support/RandomId.h"

#include <QtCore/QPointer>
#include <QtWebSockets/QWebSocket>

namespace
{

// For the name, the connection, TLS and the handshake.
constexpr int STANDING_MS = 10000;
// Over HTTP the receiver minds that and knows more; it only has to have been given its thread.
constexpr int RECEIVER_MS = 11000;
// From there to the server's "o".
constexpr int OPENING_MS = 5000;

} // namespace

void SockJSConnector::setRobustTransport(bool robust)
{
    this->robust = robust;
}

void SockJSConnector::setHeartbeatTimeout(int ms)
{
    heartbeatTimeoutMs = ms;
    if (xhrPolling)
        xhrPolling->setHeartbeatTimeout(ms);
}

void SockJSConnector::setSilenceTimeout(int ms)
{
    silenceTimeoutMs = ms;
    if (watch)
        watch->setSilence(ms);
}

// A post that is under way already will have to be answered anyway.
void SockJSConnector::probe(const QString &message, int timeoutMs)
{
    if (!isRobust || state() != State::OPEN)
        return;
    if (watch)
        watch->probe(timeoutMs);
    if (!xhrPolling)
        return;
    xhrPolling->expectAnswer(timeoutMs);
    if (!xhrPolling->isSending())
        sendMessage(message, true);
}

// ---- Opening ------------------------------------------------------------------------------------

// Tries the next transport of the list, under a session id of its own: a stream that something
// between us and the server holds back has opened its session there already.
void SockJSConnector::tryNext()
{
    bool isTrying = false;
    while (!isTrying && protocolIndex < protocols.size()) {
        sessionId = Tarvo::uniqueRandomId();
        isTrying = tryNextProtocol();
    }
    if (isTrying)
        attempt->start(webSocket ? STANDING_MS : RECEIVER_MS);
    else
        giveUp();
}

// From the event loop, since open() may have called.
void SockJSConnector::giveUp()
{
    const QString reason = failures.isEmpty() ? QStringLiteral("There is no transport to try")
                                              : QStringLiteral("No transport could be opened: %0")
                                                    .arg(failures.join(QLatin1String("; ")));
    const int given = generation;
    const auto tell = [=] {
        if (generation != given)
            return;
        TARVO_LOG(sockjs, "[SockJSConnector] ", reason);
        finish(Tarvo::Close::ABNORMAL, reason);
    };
    QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
}

void SockJSConnector::onStands()
{
    attempt->start(OPENING_MS);
    if (!webSocket)
        return;
    watch = new WebSocketWatch(webSocket, silenceTimeoutMs);
    const int watched = generation;
    connect(
        watch, &WebSocketWatch::isDead, this,
        [=](int silentForMs) {
            if (generation == watched)
                onTransportEnded(
                    Tarvo::Close::ABNORMAL,
                    QStringLiteral("The server was silent for %0 ms").arg(silentForMs));
        },
        Qt::QueuedConnection);
}

void SockJSConnector::onOverdue()
{
    giveWay(state() == State::TRYING ? QStringLiteral("the server does not answer")
                                     : QStringLiteral("the server does not open the session"));
}

void SockJSConnector::giveWay(const QString &reason)
{
    const QString name = transportName();
    TARVO_LOG(sockjs, "[SockJSConnector] ", name, " gives way: ", reason);
    failures.append(name + QLatin1String(": ") + reason);
    endTransports();
    tryNext();
}

// ---- Ending -------------------------------------------------------------------------------------

// What a server says before it has opened the session is meant for this session only when another
// connection holds that; any other word of its own is its answer to us.
void SockJSConnector::onTransportEnded(int code, const QString &reason)
{
    const bool mayGiveWay =
        webSocket || code == Tarvo::Close::ABNORMAL || code == Tarvo::Close::ANOTHER_CONNECTION;
    if (!closing && !m_connected && mayGiveWay) {
        giveWay(reason);
        return;
    }
    if (!deliverLastMessages())
        return;
    TARVO_LOG(sockjs, "[SockJSConnector] Websocket CLOSED");
    if (closing) {
        finishOnRequest();
        return;
    }
    TARVO_LOG(sockjs, "[SockJSConnector] Connection ended with code ", code, ": ", reason);
    endTransports();
    finish(code, reason);
}

// A slot of the host that waits may have left some; and these slots may close and open, too.
// Returns whether the connection that ends is still to be told of.
bool SockJSConnector::deliverLastMessages()
{
    const QPointer<SockJSConnector> self(this);
    const QPointer<QWebSocket> socket(webSocket);
    const QPointer<SockJSXHRPolling> transport(xhrPolling);
    deliverMessages();
    return self && (socket ? socket == webSocket : transport && transport == xhrPolling);
}

// At once: nothing can be said on them any more.
void SockJSConnector::endTransports()
{
    if (xhrPolling)
        xhrPolling->abandon();
    releaseTransports();
}
