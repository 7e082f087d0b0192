#include "sockjs/SockJSXHRPolling.h"

#include "sockjs/SockJSXHRPollingWorker.h"
#include "sockjs/UrlHost.h"
#include "support/SystemProxy.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QEvent>
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

namespace
{

// Behind the session path.
const char POLLING_SUFFIX[] = "/xhr";
const char STREAMING_SUFFIX[] = "/xhr_streaming";
const char SENDING_SUFFIX[] = "/xhr_send";
// The path of a request whose response is followed by the next one. "/xhr_streaming" is left out on
// purpose: a stream that has ended starts no new one.
const char REPEATED_PATH_END[] = "xhr";

// A post that makes no progress for this long is given up.
constexpr int POST_TIMEOUT_MS = 30000;

QDebug debug()
{
    return qDebug().noquote() << "[SockJSXHRPolling]";
}

QString connectionHeader(bool keepAlive)
{
    return keepAlive ? QStringLiteral("keep-alive") : QStringLiteral("close");
}

} // namespace

SockJSXHRPolling::SockJSXHRPolling(QObject *parent)
    : QObject(parent), networkAccessManager(new QNetworkAccessManager(this)),
      cookieJar(new QNetworkCookieJar(this))
{
    networkAccessManager->setCookieJar(cookieJar);
    cookieJar->setParent(this); // the manager took it over
    connect(networkAccessManager, &QNetworkAccessManager::finished, this,
            &SockJSXHRPolling::onNAMRequestFinished);
}

SockJSXHRPolling::~SockJSXHRPolling()
{
    releaseWorker();
    // The manager first: it uses the jar.
    delete networkAccessManager;
}

// ---- The polling connection ---------------------------------------------------------------------

bool SockJSXHRPolling::start(QString host, int port, bool ssl, QString path, bool streaming)
{
    releaseWorker();
    closed = false;
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

    const QNetworkProxy proxy = Tarvo::systemProxy();
    QTcpSocket *socket = ssl ? new QSslSocket : new QTcpSocket;
    socket->setProxy(proxy);
    networkAccessManager->setProxy(proxy.port() != 0 ? proxy
                                                     : QNetworkProxy(QNetworkProxy::DefaultProxy));

    worker = new SockJSXHRPollingWorker(nullptr, socket, host, port, ssl, keepAlive);
    if (!worker->connectToServer()) {
        debug() << socket->errorString();
        delete socket;
        releaseWorker();
        return false;
    }
    startWorkerThread(socket);
    doPoll();
    return true;
}

// The worker's and its socket's life from here on:
//
//   forceClose() or a lost connection
//     worker::finished  -> thread::quit, at once, so that the thread ends without our event loop
//       thread::finished  -> socket::deleteLater, in the thread, as it ends
//     worker::finished  => onWorkerFinished, from our event loop: frees thread, worker, requests
//
// The destructor does not wait for our event loop; it does the last step itself. The worker is freed
// here, not by its thread, because until then it is called from here.
void SockJSXHRPolling::startWorkerThread(QTcpSocket *socket)
{
    workerThread = new QThread;
    workerThread->setObjectName(QStringLiteral("sockjs-xhr"));
    socket->moveToThread(workerThread);
    worker->moveToThread(workerThread);

    using Worker = SockJSXHRPollingWorker;
    connect(worker, &Worker::receivedHeadersResponse, this,
            &SockJSXHRPolling::onReceivedHeadersResponse);
    connect(worker, &Worker::receivedMessageResponse, this,
            &SockJSXHRPolling::onReceivedMessageResponse);
    connect(worker, &Worker::reconnected, this, &SockJSXHRPolling::onWorkerReconnected);
    connect(worker, &Worker::finished, this, &SockJSXHRPolling::onWorkerFinished);
    connect(worker, &Worker::finished, workerThread, &QThread::quit, Qt::DirectConnection);
    connect(workerThread, &QThread::started, worker, &Worker::process);
    connect(workerThread, &QThread::finished, socket, &QObject::deleteLater);
    workerThread->start(QThread::InheritPriority);
}

void SockJSXHRPolling::onWorkerFinished()
{
    releaseWorker();
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
    // What it reported last and has not been heard yet speaks of requests that go here.
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
    lastRequest = nullptr;
    qDeleteAll(requests);
    requests.clear();
}

void SockJSXHRPolling::close()
{
    closed = true;
    if (worker)
        worker->forceClose();
}

void SockJSXHRPolling::doPoll()
{
    doRequestXHR(requestPath + QLatin1String(streaming ? STREAMING_SUFFIX : POLLING_SUFFIX),
                 QLatin1String(""));
}

bool SockJSXHRPolling::doRequestXHR(const QString &path, const QString &payload)
{
    if (closed) {
        debug() << "Can't make request when in closed state!";
        return false;
    }
    if (!worker)
        return false;

    QString header = QStringLiteral("Host: %0\r\n").arg(Tarvo::urlHost(host));
    header += QStringLiteral("Connection: %0\r\n").arg(connectionHeader(keepAlive));
    header += QLatin1String("Accept-Encoding: identity\r\n");
    header += QLatin1String("Content-Type: application/json\r\n");
    header += QStringLiteral("Content-Length: %0\r\n").arg(payload.length());
    if (getCookieCount() > 0)
        header += QStringLiteral("Cookie: %0\r\n").arg(getCookieString());
    // The server expects the two line ends behind the payload, which its length does not count.
    const QString text =
        QStringLiteral("POST %0 HTTP/1.1\r\n%1\r\n%2\r\n\r\n").arg(path, header, payload);

    auto *request = new XHRRequest(nullptr, path, text);
    requests.append(request);
    if (worker->queueRequest(request))
        return true;
    freeRequest(request);
    return false;
}

void SockJSXHRPolling::freeRequest(XHRRequest *request)
{
    requests.removeOne(request);
    delete request;
}

void SockJSXHRPolling::onReceivedHeadersResponse(XHRRequest *request, QStringMap headers)
{
    if (lastRequest != request)
        freeRequest(lastRequest);
    lastRequest = request;

    for (auto header = headers.constBegin(); header != headers.constEnd(); ++header) {
        if (!header.key().contains(QLatin1String("Set-Cookie")))
            continue;
        cookieJar->setCookiesFromUrl(QNetworkCookie::parseCookies(header->toUtf8()),
                                     QUrl(sessionUrl));
        debug() << "parsed cookies";
    }
}

void SockJSXHRPolling::onReceivedMessageResponse(XHRRequest *request, QString message)
{
    const bool repeat = request->path().endsWith(QLatin1String(REPEATED_PATH_END));
    debug() << "RECEIVED:" << message;
    const QPointer<SockJSXHRPolling> self(this);
    Q_EMIT textMessageReceived(message);
    if (self && repeat)
        doPoll();
}

void SockJSXHRPolling::onReconnected()
{
    doPoll();
}

// A poll that has not gone out on the lost connection goes out on the new one. A second beside it would
// go round for ever, and servers end a session that is polled twice at a time.
void SockJSXHRPolling::onWorkerReconnected()
{
    if (!closed && worker && !requests.isEmpty() && worker->isForThisConnection(*requests.last()))
        return;
    onReconnected();
}

QString SockJSXHRPolling::getCookieString()
{
    QString text;
    const QList<QNetworkCookie> cookies = cookieJar->cookiesForUrl(QUrl(sessionUrl));
    for (const QNetworkCookie &cookie : cookies) {
        text += QStringLiteral("%0=%1;").arg(QString::fromUtf8(cookie.name()),
                                             QString::fromUtf8(cookie.value()));
    }
    return text;
}

int SockJSXHRPolling::getCookieCount()
{
    return cookieJar->cookiesForUrl(QUrl(sessionUrl)).size();
}

// ---- Sending ------------------------------------------------------------------------------------

void SockJSXHRPolling::sendTextMessage(QString message)
{
    postQueue.append(message.toUtf8());
    postNextMessage();
}

void SockJSXHRPolling::postNextMessage()
{
    if (postReply || postQueue.isEmpty())
        return;
    QNetworkRequest request(QUrl(sessionUrl + QLatin1String(SENDING_SUFFIX)));
    request.setRawHeader("accept-encoding", "identity");
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      QStringLiteral("application/json; charset=UTF-8"));
    request.setRawHeader("Connection", connectionHeader(keepAlive).toLatin1());
    request.setTransferTimeout(POST_TIMEOUT_MS);
    postReply = networkAccessManager->post(request, postQueue.takeFirst());
}

void SockJSXHRPolling::onNAMRequestFinished(QNetworkReply *reply)
{
    if (reply->error() != QNetworkReply::NoError)
        debug() << "xhr_send error:" << reply->errorString();
    reply->deleteLater();
    if (reply != postReply)
        return;
    postReply = nullptr;
    postNextMessage();
    if (released)
        releaseWhenSent();
}

// The connector's goodbye: the transport ends itself once its last message has left.
void SockJSXHRPolling::releaseWhenSent()
{
    released = true;
    if (!postReply)
        deleteLater();
}
