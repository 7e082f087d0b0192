#pragma once

#include "sockjs/XHRRequest.h"
#include "support/Export.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QSslConfiguration>

class PostQueue;
class QNetworkAccessManager;
class QNetworkCookieJar;
class QNetworkReply;
class QTcpSocket;
class QThread;
class SockJSXHRPollingWorker;
class XHRReceiver;

/// The SockJS transport over plain HTTP, for networks that let no web socket through.
///
/// **Receiving** runs over one persistent connection, written by hand, on a worker thread: requests
/// for "/xhr" (polling), the next one after each response, or one for "/xhr_streaming". **Sending**
/// runs apart from it, as POST requests to "/xhr_send" through a network access manager; they leave
/// one after another, so that messages cannot overtake each other. A post that makes no progress
/// for 30,000 ms, or takes 120,000 ms in all, is given up; at most 64 MiB of messages wait for
/// their turn. What is lost is logged. Both halves share the server's cookies and the
/// proxy, the system's by default. HTTP status codes are not read on either.
///
/// **The robust way.** After `setRobustTransport(true)` an XHRReceiver takes the worker's place: it
/// asks by itself, as soon as the answer before is whole, delivers frames as they arrive, and tells
/// why it ends. Messages that wait leave in one post, at most 10,000 ms without progress and 60,000
/// ms in all, and one that fails ends the connection, as does every status but 200 and 204.
///
/// **Life.** The connector makes the transport and drives it on its own thread, the host's.
/// `close()` ends the receiving half; posts that are waiting then still leave, for up to 30,000 ms
/// and as long as the transport lives. Servers end a session when its receiving connection goes, so
/// that stays up for them meanwhile, unheard. The transport may be deleted in any state, also from
/// a slot connected to it: the worker's thread, its socket and all requests are then gone when the
/// destructor returns, which takes milliseconds.
class TARVOCLIENT_EXPORT SockJSXHRPolling : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(SockJSXHRPolling)

public:
    /// A transport that is not started.
    explicit SockJSXHRPolling(QObject *parent = nullptr);
    ~SockJSXHRPolling() override;

    /// Which way the next `start()` takes; the robust one does not block, and returns true.
    void setRobustTransport(bool robust) { this->robust = robust; }
    /// For the robust way: milliseconds without a byte from the server, once it has sent
    /// heartbeats, before the connection ends; 0 for any time.
    void setHeartbeatTimeout(int ms);
    /// The TLS settings of both halves, to be made before `start()`; a null configuration stands for
    /// the toolkit's default.
    void setTlsConfiguration(const QSslConfiguration &configuration) { tls = configuration; }
    /// Their proxy; one of type DefaultProxy, as by default, stands for the system's.
    void setProxy(const QNetworkProxy &proxy) { ownProxy = proxy; }
    /// For the robust way: ends the connection unless an answer to the post under way, or else to
    /// the next one, comes within `timeoutMs`. A post that still goes out then has that long from
    /// its last progress on.
    void expectAnswer(int timeoutMs);
    /// Why the connection ended by itself, in the robust way: from `connectionClosed()` on; 0
    /// before.
    int getCloseCode() const { return closeCode; }
    /// The reason in words, in the robust way.
    QString getCloseReason() const { return closeReason; }

    /// Connects to `host`:`port`, with TLS when `ssl`, and starts polling under the session path
    /// `path`; `streaming` takes "/xhr_streaming" instead of "/xhr". Blocks the calling thread
    /// while the name is looked up and then for up to 30,000 ms. False, with a debug line, when no
    /// connection came about. An earlier connection ends without a word.
    bool start(QString host, int port, bool ssl, QString path, bool streaming);
    /// Posts one framed message to "/xhr_send". Returns at once; a failure is logged, not reported.
    /// Works after `close()` too: such messages have 30,000 ms in all, counted from the first of
    /// those that wait together.
    void sendTextMessage(QString message);
    /// Whether messages are still on their way to "/xhr_send", or wait for their turn. False within
    /// 30,000 ms after `close()`, when nothing more is sent.
    bool isSending() const;
    /// Whether `start()` was told to stream.
    bool isStreaming() const { return streaming; }
    /// Ends the polling. `connectionClosed()` follows from the event loop, once the worker has
    /// ended.
    void close();

    /// Queues a raw POST for `path` with the body `payload` on the worker's connection. False, with
    /// a debug line, when the transport is closed or the queue refused it; false in the robust way,
    /// whose connection is for its own requests.
    bool doRequestXHR(const QString &path, const QString &payload);
    /// Queues the next polling request.
    void doPoll();
    /// The cookies for the session's address as "name=value;" pairs without a space between.
    QString getCookieString();
    /// How many cookies there are for the session's address.
    int getCookieCount();

Q_SIGNALS:
    /// The receiving half has ended: after `close()`, because the server could not be reached any
    /// more, or, in the robust way, for what `getCloseReason()` says. Emitted once for a `start()`
    /// that succeeded.
    void connectionClosed();
    /// The body of one response: one SockJS frame.
    void textMessageReceived(QString message);

public Q_SLOTS:
    /// Takes over the cookies of a response's header.
    void onReceivedHeadersResponse(XHRRequest *request, QStringMap headers);
    /// Delivers the body of a response, and asks for the next when the request was a polling one.
    void onReceivedMessageResponse(XHRRequest *request, QString message);
    /// A post has been answered, or has failed: lets the next one leave.
    void onNAMRequestFinished(QNetworkReply *reply);
    /// Queues a polling request, whether or not one is out.
    void onReconnected();

private:
    friend class SockJSConnector;
    friend struct SockJSProbe;

    bool startWorker(bool ssl, const QNetworkProxy &proxy);
    void startWorkerThread();
    bool startReceiver(bool ssl, const QNetworkProxy &proxy);
    void letReceiverGo();
    void endAtOnce(int code, const QString &reason);
    void abandon();
    QString pollPath() const;
    QString requestHeader(const QString &path, const QString &payload) const;
    void storeCookies(const QByteArray &setCookies);
    void deliver(const QString &frame);
    void onWorkerReceivedHeaders(XHRRequest *request, QStringMap headers);
    void onWorkerReconnected();
    void onWorkerFinished();
    void releaseWorker();
    void freeRequest(XHRRequest *request);

    QString failureOf(const QNetworkReply *reply) const;
    void onMessageLost(const QString &reason);
    void onSilent(int forMs);
    void keepReceivingSocket();
    void dropReceivingConnection();
    void releaseWhenSent();

    QNetworkAccessManager *networkAccessManager; // a child; carries the posts
    QNetworkCookieJar *cookieJar; // a child; holds the polling connection's cookies too
    QString host;
    int port = 0;
    QString requestPath; // the session path with one leading "/"
    QString baseUrl;
    QString sessionUrl;
    bool closed = false;    // close() was called
    bool keepAlive = false; // start() sets it
    bool streaming = false;
    SockJSXHRPollingWorker *worker = nullptr; // lives on workerThread; freed after that has ended
    QThread *workerThread = nullptr;
    XHRRequest *lastRequest = nullptr; // whose response is being read

    QList<XHRRequest *> requests;  // all that are not freed yet, lastRequest included
    XHRRequest *reading = nullptr; // whose header the worker reported last
    int generation = 0;            // of the worker; what an earlier one reported is not heard

    PostQueue *posts;      // a child; the messages on their way to "/xhr_send"
    bool released = false; // the connector has let go; ends itself when all is sent

    // The polling connection: the worker's while that runs, then kept for the posts that wait.
    QTcpSocket *receivingSocket = nullptr;
    QTimer receivingPatience; // with those, when they make no progress

    bool robust = false; // what the next start() does
    XHRReceiver *receiver =
        nullptr;           // a child; takes the place of worker and socket, and is kept like it
    bool hasHeard = false; // the receiver has delivered a frame
    int heartbeatTimeoutMs = 60000;
    int closeCode = 0;
    QString closeReason;

    QSslConfiguration tls; // null for the default
    QNetworkProxy ownProxy;
};
