#pragma once

#include "sockjs/SockJSConnector.h"
#include "sockjs/SockJSXHRPolling.h"
#include "sockjs/SockJSXHRPollingWorker.h"

#include <QtWebSockets/QWebSocket>

// What the tests look at and set inside the transport's classes, which are its friends.
struct SockJSProbe {
    // SockJSXHRPollingWorker
    static QMutex &queueMutex(SockJSXHRPollingWorker &worker) { return worker.queueMutex; }
    static QList<XHRRequest *> &txQueue(SockJSXHRPollingWorker &worker) { return worker.txQueue; }
    static QList<XHRRequest *> &inFlight(SockJSXHRPollingWorker &worker) { return worker.inFlight; }
    static int &retryCount(SockJSXHRPollingWorker &worker) { return worker.retryCount; }
    static QDateTime &lastReceived(SockJSXHRPollingWorker &worker) { return worker.lastReceived; }
    static bool receivedNothingForLong(const SockJSXHRPollingWorker &worker)
    {
        return worker.receivedNothingForLong();
    }
    // A test may look at it from its own thread, which nothing of the library does.
    __attribute__((no_sanitize("thread"))) static int pauseMs(const SockJSXHRPollingWorker &worker)
    {
        return worker.pauseMs;
    }
    static void read(SockJSXHRPollingWorker &worker) { worker.onData(); }

    // SockJSXHRPolling
    static QString baseUrl(const SockJSXHRPolling &transport) { return transport.baseUrl; }
    static QString sessionUrl(const SockJSXHRPolling &transport) { return transport.sessionUrl; }
    static QString requestPath(const SockJSXHRPolling &transport) { return transport.requestPath; }
    static QNetworkCookieJar *cookieJar(SockJSXHRPolling &transport) { return transport.cookieJar; }
    static int requestsAlive(const SockJSXHRPolling &transport)
    {
        return transport.requests.size();
    }
    static bool keepsConnection(const SockJSXHRPolling &transport)
    {
        return transport.receivingSocket;
    }
    static SockJSXHRPollingWorker *worker(SockJSXHRPolling &transport) { return transport.worker; }

    // SockJSConnector
    static QList<SockJSConnector::PROTOCOL_TYPE> protocols(const SockJSConnector &connector)
    {
        return connector.protocols;
    }
    static bool ssl(const SockJSConnector &connector) { return connector.ssl; }
    static int port(const SockJSConnector &connector) { return connector.port; }
    static QString host(const SockJSConnector &connector) { return connector.host; }
    static QString path(const SockJSConnector &connector) { return connector.path; }
    static QString sessionId(const SockJSConnector &connector) { return connector.sessionId; }
    static QDateTime &lastActivity(SockJSConnector &connector) { return connector.lastActivity; }
    static QTimer *inactivityTimer(SockJSConnector &connector) { return connector.inactivityTimer; }
    static bool closing(const SockJSConnector &connector) { return connector.closing; }
    static int openState(const SockJSConnector &connector) { return connector.openState; }
    static SockJSXHRPolling *xhrPolling(SockJSConnector &connector) { return connector.xhrPolling; }
    static QWebSocket *webSocket(SockJSConnector &connector) { return connector.webSocket; }
    static bool tryNextProtocol(SockJSConnector &connector) { return connector.tryNextProtocol(); }
};
