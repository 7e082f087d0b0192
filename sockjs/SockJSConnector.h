#pragma once

#include "support/Export.h"

#include <QtCore/QDateTime>
#include <QtCore/QList>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QUrl>
#include <QtCore/QVariant>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QSslCertificate>
#include <QtNetwork/QSslConfiguration>

#include <memory>

class Patience;
class QTimer;
class QWebSocket;
class SockJSXHRPolling;
class WebSocketWatch;

/// The client end of a SockJS connection to the collaboration server's event bus.
///
/// It chooses the transport (a web socket, or HTTP polling or streaming), builds the SockJS URLs,
/// takes the frames that arrive apart into single text messages, frames the outgoing ones, and
/// closes the connection after an hour without outgoing messages.
///
/// **Signals.** `connected()` when the server has opened the session; `sockJSMessage()` for each
/// message; `closed()` exactly once for every connection, whoever ended it. All are emitted
/// directly, on the thread that the connector lives on, and the host may do anything in a slot:
/// send, `close()`, `open()` again, delete the connector.
///
/// **Life.** A connection that is given up is not cut off: what was sent still leaves in the
/// background, while the event loop turns. Deleting the connector ends everything at once; only
/// what the system takes without waiting still goes out then.
class TARVOCLIENT_EXPORT SockJSConnector : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(SockJSConnector)

public:
    /// The SockJS transports.
    enum PROTOCOL_TYPE {
        WEBSOCKET = 1,
        XHR_STREAMING = 2,
        XHR_POLLING = 4,
    };
    Q_ENUM(PROTOCOL_TYPE)

    /// A connector without a connection.
    explicit SockJSConnector(QObject *parent = nullptr);
    /// Closes the connection if its session is open, which emits `closed()`. A slot that deletes
    /// the connector must not do so once more then: a QPointer still points to it.
    ~SockJSConnector() override;

    /// The transports' wire names: "websocket", "xhr-streaming", "xhr-polling". The keys, walked in
    /// order, are the default order in which transports are tried.
    static QMap<PROTOCOL_TYPE, QString> PROTOCOL_TYPE_STR();

    // ---- The robust transport --------------------------------------------------------------------

    /// Whether connections that are opened from now on use the robust transport; off by default,
    /// and without effect on the connection in use. docs/connection.md puts the two ways side by
    /// side.
    ///
    /// With it on, `open()` returns at once and never blocks the event loop. Each transport has 10
    /// s to stand (name, connection, TLS, handshake) and 5 s more for the server's "o"; one that
    /// has not, or that the server refuses, gives way to the next of the list, under a session id
    /// of its own, and after the last `closed()` comes from the event loop. Over HTTP a frame is
    /// delivered when it arrives, requests and posts leave without waiting, and what cannot go on
    /// without losing a message ends the connection, which `getCloseCode()` and `getCloseReason()`
    /// explain.
    void setRobustTransport(bool robust);
    /// Whether connections that are opened from now on use the robust transport.
    bool isRobustTransport() const { return robust; }
    /// How long the receiving side of a robust HTTP transport may be silent, in milliseconds, once
    /// the server has sent a heartbeat on it, before the connection ends with code 1006: 60,000 by
    /// default, 0 for any time. Takes effect at once.
    void setHeartbeatTimeout(int ms);
    /// After how many milliseconds without a frame or a pong a robust web socket sends a ping:
    /// 20,000 by default, 0 for never. When neither follows within 10,000 ms (30,000 ms while a
    /// part of a frame has arrived), the connection ends with code 1006. Takes effect at once.
    void setSilenceTimeout(int ms);
    /// Asks the server of a robust connection for a sign of life at once; without one, or before its
    /// session is open, nothing happens. When none comes within `timeoutMs`, the connection ends
    /// with code 1006. Of several probes the one that ends first counts.
    ///
    /// Over a web socket that is a ping, and the sign any frame or pong; a part of a frame has up to
    /// 30,000 ms to become whole. Over HTTP `message` is posted, as `sendMessage(message, true)` does,
    /// and the sign is the server's answer, or that to a post that is under way anyway.
    void probe(const QString &message, int timeoutMs);
    /// Why the connection has ended, valid from `closed()` until the next `open()`; 0 before.
    ///
    /// The server's own code, from a close frame of SockJS over HTTP and from that of the web
    /// socket; 1000 after the host's own `close()` or `open()`, or an hour without messages; 1006 for
    /// the rest, and by default for every connection over XHR that is lost.
    int getCloseCode() const { return closeCode; }
    /// The reason in words: the server's own, or the library's for the codes 1000 and 1006.
    QString getCloseReason() const { return closeReason; }

    // ---- The network -----------------------------------------------------------------------------

    /// Certificates to trust beside the system's, for connections that are opened from now on, over
    /// whichever transport.
    void setTrustedCertificates(const QList<QSslCertificate> &certificates);
    /// The proxy for connections that are opened from now on. With one of type DefaultProxy, as by
    /// default, the system is asked, and its proxy announced in the environment.
    void setProxy(const QNetworkProxy &proxy);

    // ---- A connection ----------------------------------------------------------------------------

    /// Starts a new SockJS session at `url` (scheme "wss" or "https" for TLS; the port defaults to
    /// 443 with TLS and 80 without), over the first of `protocols` that can be started.
    ///
    /// Always returns false: `connected()` and `closed()` tell the outcome. A connection that is
    /// still in use is closed first, which emits `closed()`.
    ///
    /// Without the robust transport no signal is emitted when no transport could be started, and
    /// this waits. A web-socket attempt waits, without a time limit, until the server has answered
    /// or refused; events are dispatched meanwhile, so the host's slots run and may `close()`,
    /// `open()` again or delete the connector, each of which ends the wait. An XHR attempt blocks
    /// for up to 30,000 ms.
    bool open(QUrl url, QList<PROTOCOL_TYPE> protocols);
    /// Ends the connection, or the attempt in progress. `closed()` is emitted before this returns
    /// when the transport is a web socket, and from the event loop when it is XHR, by default once
    /// the transport's thread has ended. Without a connection nothing happens.
    void close();
    /// Sends one text message, in a SockJS frame, on the transport in use; without one it is lost
    /// silently, and over a robust HTTP transport also before `connected()`. Does not wait.
    /// `keepAlive` marks the channel's ping, which does not count as activity.
    ///
    /// In what goes out, every "[ " has lost its space and every " ]" too, inside the message as
    /// well: the service knows the frames so.
    void sendMessage(QString message, bool keepAlive);
    /// Sends a map as JSON text; counts as activity.
    void sendMessage(QVariantMap message);

    /// Whether the SockJS session is open: the server's "o" frame was seen and nothing has ended
    /// it.
    bool isConnected() const { return m_connected; }
    /// The wire name of the transport that has started, "websocket", "xhr-streaming" or
    /// "xhr-polling", also before the session is open; empty before one has started, and from
    /// `close()` on.
    QString getTransport() const;
    /// Whether messages are still leaving, on this connection or on one that was given up.
    bool isSending() const;

Q_SIGNALS:
    /// The server has opened the session: messages can be sent, and will be heard.
    void connected();
    /// One message of a SockJS array frame. Messages keep their order, also when a slot waits in an
    /// event loop of its own; those that are left of a frame then come before the next one's.
    void sockJSMessage(QString message);
    /// Declared for hosts that connect to it; never emitted.
    void error(int errorCode);
    /// The connection has ended; true when it was closed after an hour without outgoing messages.
    /// With the robust transport it also comes, from the event loop, when none could be opened.
    void closed(bool bClosedForInactivity);

public Q_SLOTS:
    /// Opens the session by hand: sets the connected state and emits `connected()`. Not used here.
    void onConnected();
    /// The transport has ended. Before the session was open, a web socket that nobody asked to
    /// close gives way to XHR polling; in every other case `closed()` follows. With the robust
    /// transport only an end that the host asked for comes here.
    void onClosed();
    /// Takes one SockJS frame.
    void onTextMessageReceived(QString frame);
    /// Closes a connected session when more than 3,600 s have passed without outgoing messages.
    void onTimeout();
    /// Ends the wait for a web socket: it stands.
    void openstate1();
    /// Ends the wait for a web socket: it has failed.
    void openstate2();

protected:
    /// Starts a web socket and, without the robust transport, waits for it. False when it has failed.
    bool openWebsocket();
    /// Starts HTTP polling, or streaming. False when it has failed.
    bool openXHRPolling(bool streaming);
    /// Starts the next transport of the list. False when that fails at once, and when none is left.
    bool tryNextProtocol();

private:
    friend struct SockJSProbe;

    // What the connector is doing. Nothing is kept for it: the members below tell, some of which
    // the public slots set.
    enum class State {
        IDLE,    // there is no transport
        TRYING,  // an attempt waits for its answer; nobody has heard of it yet
        PENDING, // a transport is up, and the server has not said "o" yet
        OPEN,    // the session is open
        CLOSING, // close() was called, and the XHR transport has not ended yet
    };
    State state() const;

    void readServerUrl(const QUrl &url);
    QString sessionPath() const;

    QString transportName() const;
    QWebSocket *startWebSocket();
    void hearWebSocket();
    void onWebSocketConnected();
    void onWebSocketFailed();
    void onWebSocketDisconnected();
    void adoptWebSocket();
    int webSocketCloseCode() const;
    QString webSocketCloseReason() const;
    void onXHRPollingConnected();
    void onXHRPollingClosed();
    QWebSocket *takeWebSocket();
    SockJSXHRPolling *takeXHRPolling();
    bool dropConnection();
    void releaseTransports();
    int nextGeneration();
    void deliverMessages();
    void finish(int code, const QString &reason);
    void finishOnRequest();
    QString requestedReason() const;

    // The robust way: SockJSConnectorRobust.cpp.
    void tryNext();
    void giveWay(const QString &reason);
    void giveUp();
    void endTransports();
    void onStands();
    void onOverdue();
    bool deliverLastMessages();
    void onTransportEnded(int code, const QString &reason);

    QList<PROTOCOL_TYPE> protocols; // to try, in order
    int protocolIndex = 0;          // the next entry to try
    bool ssl = false;
    int port = -1;
    QString host;
    QString sessionId;
    QString path; // the server URL's, without a trailing "/"
    bool closedForInactivity = false;
    QDateTime lastActivity;
    QTimer *inactivityTimer = nullptr;      // a child; made by the first open()
    bool closing = false;                   // close() was called since the last open()
    bool m_connected = false;               // the "o" frame was seen
    SockJSXHRPolling *xhrPolling = nullptr; // a child; in use
    QWebSocket *webSocket = nullptr;        // owned; in use, or being tried
    int openState = 0; // of the web-socket attempt: 0 pending, 1 connected, 2 not

    bool adopted = false;    // the transport's attempt has succeeded: it is in use
    int generation = 0;      // changes whenever a connection begins or ends
    bool destroying = false; // the destructor is running
    QStringList undelivered; // messages of frames that have come, the next one first

    int closeCode = 0; // of the last connection, once it has ended
    QString closeReason;
    bool hasCloseFrame = false; // the web socket has been closed by the server's word

    bool robust = false;   // what the next open() does
    bool isRobust = false; // what the last one did
    int heartbeatTimeoutMs = 60000;
    int silenceTimeoutMs = 20000;
    std::unique_ptr<Patience> attempt; // with the transport that is being tried
    WebSocketWatch *watch = nullptr;   // the web socket's child; looks after it while it is in use
    QStringList failures;              // why the transports tried so far gave way

    QSslConfiguration tls; // null for the toolkit's default
    QNetworkProxy proxy;   // of type DefaultProxy for the system's
};
