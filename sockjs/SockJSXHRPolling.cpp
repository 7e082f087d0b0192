#include "sockjs/SockJSXHRPolling.h"

#include "sockjs/CloseReason.h"
#include "sockjs/CookieText.h"
#include "sockjs/PostQueue.h"
#include "sockjs/SockJSXHRPollingWorker.h"
#include "sockjs/XHRReceiver.h"
#include "support/Http.h"
#include "support/Log.h"
#include "support/SystemProxy.h"

#include <QtCore/QPointer>
#include <QtCore/QThread>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkCookie>
#include <QtNetwork/QNetworkCookieJar>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QNetworkRequest>
#include <QtNetwork/QSslSocket>

#include <algorithm>
#include <utility>

namespace
{

// Behind the session path.
const QLatin1String POLLING_SUFFIX("/xhr");
const QLatin1String STREAMING_SUFFIX("/xhr_streaming");
const QLatin1String SENDING_SUFFIX("/xhr_send");
// The path of a request whose response is followed by the next one. "/xhr_streaming" is left out on
// purpose: a stream that has ended starts no new one.
const QLatin1String REPEATED_PATH_END("xhr");

// How long the polling connection is kept for posts that make no progress.
constexpr int RECEIVING_PATIENCE_MS = 2000;

const QLatin1String LINE_END("\r\n");
// Behind the payload of the worker's requests, whose length does not count them: the server expects
// them.
const QLatin1String LINE_ENDS_BEHIND("\r\n\r\n");

constexpr int STATUS_OK = 200;
constexpr int STATUS_NO_CONTENT = 204;

// A proxy that asks for credentials first would have a post sent twice, unless it is tunnelled
// through. Where the system names none, an application's own may carry the posts.
QNetworkProxy postingProxy(QNetworkProxy proxy, bool isSystems, bool isRobust)
{
    if (isSystems && proxy.port() == 0)
        return QNetworkProxy(QNetworkProxy::DefaultProxy);
    if (isRobust)
        proxy.setCapabilities(proxy.capabilities() & ~QNetworkProxy::CachingCapability);
    return proxy;
}

QString connectionHeader(bool keepAlive)
{
    return keepAlive ? QStringLiteral("keep-alive") : QStringLiteral("close");
}

// Why a post has no answer, where the toolkit has no words for it.
QString withoutAnswer(const QNetworkReply *reply)
{
    switch (reply->error()) {
    case QNetworkReply::ContentReSendError:
        return QStringLiteral("The connection ended without an answer");
    case QNetworkReply::OperationCanceledError:
        return QStringLiteral("The server does not answer");
    default:
        return reply->errorString();
    }
}

} // namespace

SockJSXHRPolling::SockJSXHRPolling(QObject *parent)
    : QObject(parent), networkAccessManager(new QNetworkAccessManager(this)),
      cookieJar(Tarvo::makeCookieJar(networkAccessManager, this)),
      posts(new PostQueue(networkAccessManager, PostQueue::Limits(), this))
{
    connect(networkAccessManager, &QNetworkAccessManager::finished, this,
            &SockJSXHRPolling::onNAMRequestFinished, Qt::QueuedConnection);

    receivingPatience.setSingleShot(true);
    receivingPatience.setInterval(RECEIVING_PATIENCE_MS);
    connect(&receivingPatience, &QTimer::timeout, this, &SockJSXHRPolling::dropReceivingConnection);
    connect(posts, &PostQueue::progressed, this, [this] {
        if (receivingPatience.isActive())
            receivingPatience.start();
    });
    connect(posts, &PostQueue::lost, this, &SockJSXHRPolling::onMessageLost);
    connect(posts, &PostQueue::silent, this, &SockJSXHRPolling::onSilent);
    connect(posts, &PostQueue::drained, this, [this] {
        // Until the worker has ended, the socket is its own; and an open class goes on receiving.
        if (!worker && (closed || !receiver))
            dropReceivingConnection();
        if (released)
            deleteLater();
    });
}

SockJSXHRPolling::~SockJSXHRPolling()
{
    releaseWorker();
    dropReceivingConnection();
    // The manager first: it uses the jar.
    delete networkAccessManager;
}

// ---- The polling connection ---------------------------------------------------------------------

bool SockJSXHRPolling::start(QString host, int port, bool ssl, QString path, bool streaming)
{
    releaseWorker();
    dropReceivingConnection();
    posts->goOn();
    posts->setLimits(robust ? PostQueue::robust() : PostQueue::Limits());
    closed = false;
    closeCode = 0;
    closeReason.clear();
    this->host = host;
    keepAlive = true;
    this->port = port;
    this->streaming = streaming;

    const QLatin1Char slash('/');
    const QString relativePath = path.startsWith(slash) ? path.mid(1) : path;
    requestPath = slash + relativePath;
    baseUrl = QStringLiteral("http%0://%1:%2")
                  .arg(ssl ? QStringLiteral("s") : QString(), Tarvo::urlHost(host),
                       QString::number(port));
    sessionUrl = QStringLiteral("%0/%1").arg(baseUrl, relativePath);
    if (sessionUrl.endsWith(slash))
        sessionUrl.chop(1);

    const bool isSystems = ownProxy.type() == QNetworkProxy::DefaultProxy;
    const QNetworkProxy proxy = isSystems ? Tarvo::systemProxy() : ownProxy;
    networkAccessManager->setProxy(postingProxy(proxy, isSystems, robust));
    return robust ? startReceiver(ssl, proxy) : startWorker(ssl, proxy);
}

bool SockJSXHRPolling::startWorker(bool ssl, const QNetworkProxy &proxy)
{
    QTcpSocket *socket = ssl ? new QSslSocket : new QTcpSocket;
    socket->setProxy(proxy);
    if (ssl && !tls.isNull())
        qobject_cast<QSslSocket *>(socket)->setSslConfiguration(tls);
    receivingSocket = socket;
    worker = new SockJSXHRPollingWorker(nullptr, socket, host, port, ssl, keepAlive);
    if (!worker->connectToServer()) {
        TARVO_LOG(sockjs, "[SockJSXHRPolling] ", socket->errorString());
        releaseWorker();
        dropReceivingConnection();
        return false;
    }
    startWorkerThread();
    doPoll();
    return true;
}

// The worker's and its socket's life from here on:
//
//   forceClose() or a lost connection
//     worker::finished  -> the socket comes back to our thread
//     worker::finished  -> thread::quit, at once, so that the thread ends without our event loop
//     worker::finished  => onWorkerFinished, from our event loop: frees thread, worker, requests
//
// The destructor does not wait for our event loop; it does the last step itself. The worker is
// freed here, not by its thread, because until then it is called from here.
void SockJSXHRPolling::startWorkerThread()
{
    workerThread = new QThread;
    workerThread->setObjectName(QStringLiteral("sockjs-xhr"));
    receivingSocket->moveToThread(workerThread);
    worker->moveToThread(workerThread);

    using Worker = SockJSXHRPollingWorker;
    const int run = generation;
    const auto hear = [=](auto signal, auto receiver) {
        connect(worker, signal, this, [=](const auto &...values) {
            if (run == generation)
                (this->*receiver)(values...);
        });
    };
    hear(&Worker::receivedHeadersResponse, &SockJSXHRPolling::onWorkerReceivedHeaders);
    hear(&Worker::receivedMessageResponse, &SockJSXHRPolling::onReceivedMessageResponse);
    hear(&Worker::reconnected, &SockJSXHRPolling::onWorkerReconnected);
    hear(&Worker::finished, &SockJSXHRPolling::onWorkerFinished);

    QTcpSocket *const socket = receivingSocket;
    QThread *const home = thread();
    connect(
        worker, &Worker::finished, socket, [=] { socket->moveToThread(home); },
        Qt::DirectConnection);
    connect(worker, &Worker::finished, workerThread, &QThread::quit, Qt::DirectConnection);
    connect(workerThread, &QThread::started, worker, &Worker::process);
    workerThread->start(QThread::InheritPriority);
}

void SockJSXHRPolling::onWorkerFinished()
{
    releaseWorker();
    keepReceivingSocket();
    Q_EMIT connectionClosed();
}

// Ends the worker, if there is one, and frees what belongs to it. Its thread needs no more than one
// turn for that, and is woken for it.
void SockJSXHRPolling::releaseWorker()
{
    if (workerThread) {
        worker->forceClose();
        workerThread->wait();
    }
    delete worker;
    worker = nullptr;
    delete workerThread;
    workerThread = nullptr;
    ++generation; // what it reported last and has not been heard yet speaks of requests that go here
    lastRequest = nullptr;
    reading = nullptr;
    qDeleteAll(requests);
    requests.clear();
}

// Servers end a session, and drop its messages, when the receiving connection goes, so that stays
// up until the posts that wait have been answered. Nothing that arrives on it is heard any more.
void SockJSXHRPolling::keepReceivingSocket()
{
    if (!posts->isSending() || receivingSocket->state() != QAbstractSocket::ConnectedState) {
        dropReceivingConnection();
        return;
    }
    QTcpSocket *const socket = receivingSocket;
    connect(
        socket, &QIODevice::readyRead, socket, [=] { socket->readAll(); }, Qt::QueuedConnection);
    receivingPatience.start();
}

void SockJSXHRPolling::dropReceivingConnection()
{
    receivingPatience.stop();
    delete receivingSocket;
    receivingSocket = nullptr;
    delete receiver;
    receiver = nullptr;
}

void SockJSXHRPolling::close()
{
    const bool wasClosed = std::exchange(closed, true);
    posts->finish();
    if (worker)
        worker->forceClose();
    else if (receiver && !wasClosed)
        letReceiverGo();
}

void SockJSXHRPolling::doPoll()
{
    doRequestXHR(pollPath(), QLatin1String(""));
}

QString SockJSXHRPolling::pollPath() const
{
    return requestPath + (streaming ? STREAMING_SUFFIX : POLLING_SUFFIX);
}

bool SockJSXHRPolling::doRequestXHR(const QString &path, const QString &payload)
{
    if (closed) {
        TARVO_LOG(sockjs, "[SockJSXHRPolling] Can't make request when in closed state!");
        return false;
    }
    if (!worker)
        return false;

    const QString text = requestHeader(path, payload)
        + Tarvo::cookieLine(cookieJar->cookiesForUrl(QUrl(sessionUrl))) + LINE_END + payload
        + LINE_ENDS_BEHIND;
    auto *request = new XHRRequest(nullptr, path, text);
    requests.append(request);
    if (worker->queueRequest(request))
        return true;
    freeRequest(request);
    return false;
}

// All lines but the cookies and the empty one.
QString SockJSXHRPolling::requestHeader(const QString &path, const QString &payload) const
{
    QString header = QStringLiteral("POST %0 HTTP/1.1\r\n").arg(path);
    header += QStringLiteral("Host: %0\r\n").arg(Tarvo::urlHost(host));
    header += QStringLiteral("Connection: %0\r\n").arg(connectionHeader(keepAlive));
    header += QLatin1String("Accept-Encoding: identity\r\n");
    header += QLatin1String("Content-Type: application/json\r\n");
    header += QStringLiteral("Content-Length: %0\r\n").arg(payload.length());
    return header;
}

void SockJSXHRPolling::freeRequest(XHRRequest *request)
{
    requests.removeOne(request);
    delete request;
}

void SockJSXHRPolling::onWorkerReceivedHeaders(XHRRequest *request, QStringMap headers)
{
    if (reading != lastRequest)
        freeRequest(reading); // the slot was called by hand meanwhile
    reading = request;
    onReceivedHeadersResponse(request, headers);
}

void SockJSXHRPolling::onReceivedHeadersResponse(XHRRequest *request, QStringMap headers)
{
    // The worker still speaks of the one whose body it reads.
    if (lastRequest != request && lastRequest != reading)
        freeRequest(lastRequest);
    lastRequest = request;

    for (auto header = headers.constBegin(); header != headers.constEnd(); ++header) {
        if (!header.key().contains(QLatin1String("Set-Cookie")))
            continue;
        storeCookies(header->toUtf8());
    }
}

void SockJSXHRPolling::storeCookies(const QByteArray &setCookies)
{
    cookieJar->setCookiesFromUrl(QNetworkCookie::parseCookies(setCookies), QUrl(sessionUrl));
    TARVO_LOG(sockjs, "[SockJSXHRPolling] parsed cookies");
}

void SockJSXHRPolling::onReceivedMessageResponse(XHRRequest *request, QString message)
{
    const bool repeat = request && request->path().endsWith(REPEATED_PATH_END);
    const QPointer<SockJSXHRPolling> self(this);
    const int run = generation;
    deliver(message);
    // A start() in the slot has sent a poll of its own.
    if (self && repeat && run == generation)
        doPoll();
}

void SockJSXHRPolling::deliver(const QString &frame)
{
    TARVO_LOG(sockjs, "[SockJSXHRPolling] RECEIVED: ", frame);
    Q_EMIT textMessageReceived(frame);
}

void SockJSXHRPolling::onReconnected()
{
    doPoll();
}

// What was not answered on the lost connection never will be. A poll that has not gone out on it
// goes out on the new one: a second beside it would go round for ever, and servers end a session
// that is polled twice at a time.
void SockJSXHRPolling::onWorkerReconnected()
{
    const QList<XHRRequest *> unanswered = worker->takeUnanswered();
    for (XHRRequest *request : unanswered)
        freeRequest(request);
    const bool isPollOut =
        std::any_of(requests.cbegin(), requests.cend(), [this](const XHRRequest *request) {
            return request != reading && request->path() == pollPath();
        });
    if (closed || !isPollOut)
        onReconnected();
}

QString SockJSXHRPolling::getCookieString()
{
    return Tarvo::cookieText(cookieJar->cookiesForUrl(QUrl(sessionUrl)));
}

int SockJSXHRPolling::getCookieCount()
{
    return cookieJar->cookiesForUrl(QUrl(sessionUrl)).size();
}

// ---- The receiver ---------------------------------------------------------------------------------

bool SockJSXHRPolling::startReceiver(bool ssl, const QNetworkProxy &proxy)
{
    receiver = new XHRReceiver({host, port, ssl, proxy, tls}, this);
    connect(receiver, &XHRReceiver::frameCame, this, [this](const QString &frame) {
        hasHeard = true;
        deliver(frame);
    });
    connect(receiver, &XHRReceiver::cookiesCame, this, &SockJSXHRPolling::storeCookies);
    connect(receiver, &XHRReceiver::ended, this, &SockJSXHRPolling::endAtOnce);
    receiver->setHeartbeatTimeout(heartbeatTimeoutMs);
    hasHeard = false;
    const QUrl url(sessionUrl);
    receiver->start(
        {requestHeader(pollPath(), QString()).toUtf8(), url, cookieJar->cookiesForUrl(url)});
    return true;
}

void SockJSXHRPolling::setHeartbeatTimeout(int ms)
{
    heartbeatTimeoutMs = ms;
    if (receiver)
        receiver->setHeartbeatTimeout(ms);
}

// close() was called. The polls go on, unheard, until what waits has been posted.
void SockJSXHRPolling::letReceiverGo()
{
    receiver->mute();
    const int run = generation;
    const auto tell = [=] {
        if (run != generation)
            return;
        if (posts->isSending())
            receivingPatience.start();
        else
            dropReceivingConnection();
        Q_EMIT connectionClosed();
    };
    QMetaObject::invokeMethod(this, tell, Qt::QueuedConnection);
}

// Nothing more is received, and nothing more sent.
void SockJSXHRPolling::endAtOnce(int code, const QString &reason)
{
    abandon();
    closeCode = code;
    closeReason = reason;
    Q_EMIT connectionClosed();
}

void SockJSXHRPolling::abandon()
{
    closed = true;
    ++generation;
    posts->drop();
    if (XHRReceiver *gone = std::exchange(receiver, nullptr)) {
        gone->disconnect();
        gone->deleteLater(); // it may be the one that has called
    }
}

// ---- Sending ------------------------------------------------------------------------------------

bool SockJSXHRPolling::isSending() const
{
    return posts->isSending();
}

void SockJSXHRPolling::sendTextMessage(QString message)
{
    QNetworkRequest request =
        Tarvo::plainRequest(QUrl(sessionUrl + SENDING_SUFFIX), Tarvo::JSON_CONTENT_TYPE);
    request.setRawHeader("Connection", connectionHeader(keepAlive).toLatin1());
    if (!tls.isNull())
        request.setSslConfiguration(tls);
    posts->append(request, message.toUtf8());
}

void SockJSXHRPolling::onNAMRequestFinished(QNetworkReply *reply)
{
    const QString failure = failureOf(reply);
    if (!failure.isEmpty())
        onMessageLost(failure);
    reply->deleteLater();
    posts->replyFinished(reply);
    if (receiver)
        receiver->addCookies(reply->rawHeader("Set-Cookie"));
}

// Empty when the server has taken the post.
QString SockJSXHRPolling::failureOf(const QNetworkReply *reply) const
{
    if (!receiver)
        return reply->error() == QNetworkReply::NoError ? QString() : reply->errorString();
    const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    if (status == 0)
        return withoutAnswer(reply);
    if (status == STATUS_OK || status == STATUS_NO_CONTENT)
        return QString();
    const QString phrase = reply->attribute(QNetworkRequest::HttpReasonPhraseAttribute).toString();
    return Tarvo::Close::httpFailure(status, phrase.toUtf8(), hasHeard);
}

// The robust way sends nothing behind a gap, and tells of it once what has come before is heard.
void SockJSXHRPolling::onMessageLost(const QString &reason)
{
    TARVO_LOG(sockjs, "[SockJSXHRPolling] xhr_send error: ", reason);
    if (!receiver || closed)
        return;
    posts->drop();
    receiver->end(Tarvo::Close::ABNORMAL,
                  QStringLiteral("A message could not be sent: %0").arg(reason));
}

void SockJSXHRPolling::expectAnswer(int timeoutMs)
{
    if (receiver && !closed)
        posts->expectAnswer(timeoutMs);
}

void SockJSXHRPolling::onSilent(int forMs)
{
    receiver->end(Tarvo::Close::ABNORMAL,
                  QStringLiteral("The server did not answer within %0 ms").arg(forMs));
    posts->drop();
}

// The connector's goodbye: the transport ends itself once its last message has left.
void SockJSXHRPolling::releaseWhenSent()
{
    released = true;
    posts->finish();
    if (!posts->isSending())
        deleteLater();
}
