// The request engine: sends every request, remembers what is to run on its reply, waits, decodes the
// reply and runs that. The operations built on it are in the files beside this one.

#include "client/PresenterClient.h"

#include "client/JsonReply.h"
#include "collab/CollaborationMessageHandler.h"
#include "collab/PresenterCollab.h"
#include "collab/TarvoCollabMessage.h"
#include "compression/BoundedInflate.h"
#include "support/PrintableUrl.h"
#include "support/Wait.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDebug>
#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkCookieJar>
#include <QtNetwork/QNetworkRequest>

#include <utility>

namespace
{

constexpr int REPLY_WAIT_MS = 10000;

// As a body comes, and inflated. The service's own replies have some KiB.
constexpr int MAX_REPLY_BYTES = 64 * 1024 * 1024;

// Compressed replies are inflated here, so the toolkit must not do it: it does not when the request
// names its encodings itself.
constexpr char ACCEPT_ENCODING_HEADER[] = "accept-encoding";
constexpr char ACCEPT_ENCODING[] = "identity";
constexpr char CONTENT_ENCODING_HEADER[] = "content-encoding";
constexpr char GZIP_ENCODING[] = "gzip";

const QLatin1String JSON_CONTENT_TYPE("application/json; charset=UTF-8");
const QLatin1String FORM_CONTENT_TYPE("multipart/form-data; charset=UTF-8; boundary=");

const QLatin1String SECURE_SCHEME("https");
constexpr int DEFAULT_HTTP_PORT = 80;

const QLatin1String ERROR_KEYS("errorMsgKeys");
const QLatin1String ERROR_MARK("error");

// A redirect target without its path.
QString baseAddress(const QUrl &target)
{
    QString host = target.host();
    if (host.contains(QLatin1Char(':')))
        host = QLatin1Char('[') + host + QLatin1Char(']');
    QString base = target.scheme() + QLatin1String("://") + host;
    // Only port 80 goes without saying; a stated 443 is kept.
    if (target.port() != -1 && target.port() != DEFAULT_HTTP_PORT)
        base += QLatin1Char(':') + QString::number(target.port());
    return base;
}

void logDroppedReply()
{
    qDebug().noquote() << "[PresenterClient] Reply dropped, larger than" << MAX_REPLY_BYTES
                       << "bytes!";
}

// Nobody reads the reply before it has finished, so what is there is what has come.
void abortTooLarge(QNetworkReply *reply)
{
    const qint64 announced = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong();
    if (qMax(announced, reply->bytesAvailable()) <= MAX_REPLY_BYTES)
        return;
    logDroppedReply();
    reply->abort();
}

QString readBody(QNetworkReply *reply)
{
    QByteArray bytes = reply->isOpen() ? reply->readAll() : QByteArray(); // closed when aborted
    if (reply->rawHeader(CONTENT_ENCODING_HEADER) == GZIP_ENCODING) {
        qDebug().noquote() << "[REST Responze.gzip] Compressed size:" << bytes.size();
        bool tooLarge = false;
        bytes = inflateAtMost(bytes, MAX_REPLY_BYTES, &tooLarge);
        if (tooLarge)
            logDroppedReply();
    }
    return QString::fromUtf8(bytes.constData()); // ends at the first NUL
}

} // namespace

const QString PresenterClient::MULTIPART_BOUNDARY = QStringLiteral("----boundary");

PresenterClient::PresenterClient(QObject *parent, QString server)
    : QObject(parent), protocolVersion(Tarvo::TarvoCollabMessage::PROTOCOL_VERSION),
      serverUrl(server), networkManager(new QNetworkAccessManager(this))
{
    if (serverUrl.endsWith(QLatin1Char('/')))
        serverUrl.chop(1);

    // The service keeps its session in cookies: one jar for the client's whole life.
    auto *cookieJar = new QNetworkCookieJar(this);
    networkManager->setCookieJar(cookieJar);
    cookieJar->setParent(this); // setting it had made the manager its parent

    connect(networkManager, &QNetworkAccessManager::finished, this,
            &PresenterClient::queueFinished);
    connect(networkManager, &QNetworkAccessManager::sslErrors, this,
            &PresenterClient::slotSslErrors);
    connect(networkManager, &QNetworkAccessManager::authenticationRequired, this,
            &PresenterClient::authenticationRequired);
    connect(this, &PresenterClient::requestProcessed, this, [this] { ++processed; });
    connect(&pingTimer, &QTimer::timeout, this, &PresenterClient::onPingTimer);
}

PresenterClient::~PresenterClient()
{
    // Stopping waits, so events of the host run: nobody may delete the client again meanwhile.
    ending = true;
    if (hasSession()) {
        setParent(nullptr);
        pingTimer.stop();
        silence();
        if (!stopReply)
            doStopSession();
        else if (replyCallbacks.contains(stopReply))
            waitForReply(stopReply);
    }
    delete networkManager;
    networkManager = nullptr;
}

// A host that deletes the client in a slot would do so a second time. destroyed() is emitted all the
// same, by the toolkit.
void PresenterClient::silence()
{
    blockSignals(true);
    const auto channels = findChildren<PresenterCollab *>();
    for (PresenterCollab *channel : channels) {
        channel->blockSignals(true);
        channel->messageHandler()->blockSignals(true);
    }
}

// While the destructor waits, a deleteLater() of the host's comes too late. The type is looked at first:
// a child that is made in the constructor brings an event before the flag is set.
bool PresenterClient::event(QEvent *event)
{
    if (event->type() == QEvent::DeferredDelete && ending)
        return true;
    return QObject::event(event);
}

void PresenterClient::doRequest(bool wait, const QUrl &url, const QByteArray &body,
                                SuccessHandler success, FailureHandler failure, bool multipart)
{
    QNetworkReply *reply = send(url, body, success, failure, multipart);
    if (wait)
        waitForReply(reply);
}

void PresenterClient::doRequest(bool wait, const QUrl &url, const QString &body,
                                SuccessHandler success, FailureHandler failure, bool multipart)
{
    doRequest(wait, url, body.toUtf8(), success, failure, multipart);
}

void PresenterClient::doRequest(bool wait, const QUrl &url, const QString &body,
                                SuccessHandler success)
{
    doRequest(wait, url, body, success, nullptr, false);
}

// Sends a JSON text to a path of the service and waits for the reply. Returns whether the client still
// exists afterwards: if not, the caller must return without touching it.
bool PresenterClient::post(const QString &path, const QString &body, SuccessHandler success,
                           FailureHandler failure)
{
    const QPointer<PresenterClient> self(this);
    doRequest(true, QUrl(serverUrl + path), body, success, failure, false);
    return !self.isNull();
}

QNetworkReply *PresenterClient::send(const QUrl &url, const QByteArray &body,
                                     SuccessHandler success, FailureHandler failure, bool multipart)
{
    QNetworkRequest request(url);
    request.setRawHeader(ACCEPT_ENCODING_HEADER, ACCEPT_ENCODING);
    request.setHeader(QNetworkRequest::ContentTypeHeader,
                      multipart ? FORM_CONTENT_TYPE + MULTIPART_BOUNDARY
                                : QString(JSON_CONTENT_TYPE));

    QNetworkReply *reply = networkManager->post(request, body);
    replyCallbacks.insert(reply, CALLBACKS{success, failure});
    connect(reply, &QNetworkReply::readyRead, reply, [reply] { abortTooLarge(reply); });
    return reply;
}

// Ends with the first reply that is handled, whichever it is, and then aborts its own if that is still
// missing; so of requests made inside each other's waits, one gets its reply and the others fail.
void PresenterClient::waitForReply(QNetworkReply *reply)
{
    const QPointer<PresenterClient> self(this);
    const QPointer<QNetworkReply> pending(reply);
    const int before = processed;
    // The destructor's own wait hears no signal, but sees its reply go.
    const auto ended = [&] {
        return !self || !pending || processed != before || !replyCallbacks.contains(reply);
    };
    Tarvo::Wait(QEventLoop::ExcludeUserInputEvents).until(ended, REPLY_WAIT_MS);

    if (!self)
        return;
    if (!pending) {
        replyCallbacks.remove(reply); // the host has deleted it
    } else if (replyCallbacks.contains(pending)) {
        pending->abort();
        QCoreApplication::sendPostedEvents(&replyReceiver, QEvent::MetaCall);
    }
}

// What a reply brings runs code of the host, which must not happen below a signal of the toolkit. One
// that is deleted meanwhile is forgotten.
void PresenterClient::queueFinished(QNetworkReply *reply)
{
    auto handle = [this, finished = QPointer<QNetworkReply>(reply)] {
        if (finished)
            slotRequestFinished(finished);
    };
    QMetaObject::invokeMethod(&replyReceiver, std::move(handle), Qt::QueuedConnection);
}

void PresenterClient::slotRequestFinished(QNetworkReply *reply)
{
    const QPointer<PresenterClient> self(this);
    if (!followRedirect(reply))
        handleReply(reply);
    if (!self)
        return; // and the reply is gone, too
    replyCallbacks.remove(reply);
    reply->deleteLater();
    Q_EMIT requestProcessed();
}

// Moves the client to the address that the service redirects to. The request is not repeated: the
// caller finds everything but the address as it was.
bool PresenterClient::followRedirect(const QNetworkReply *reply)
{
    const QUrl target = reply->attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (target.isEmpty())
        return false;
    if (target.scheme() != QUrl(serverUrl).scheme() && target.scheme() != SECURE_SCHEME)
        return false;

    serverReachable = true;
    serverUrl = baseAddress(target);
    return true;
}

// Only the transport decides here what failed. A reply that came whole and says in its keys that the
// operation failed goes to the success handler, which reads them.
void PresenterClient::handleReply(QNetworkReply *reply)
{
    const QString body = readBody(reply);
    qDebug().noquote() << "[REST Response]" << body;

    // A derived class's handlers have lost their object when the destructor waits.
    const CALLBACKS none{nullptr, nullptr};
    const CALLBACKS callbacks = ending ? none : replyCallbacks.value(reply, none);
    if (reply->error() == QNetworkReply::NoError) {
        if (callbacks.success)
            (this->*callbacks.success)(body);
        return;
    }

    qDebug().noquote() << QStringLiteral("ERROR: %0\nRESPONSE: %1")
                              .arg(Tarvo::withoutUserInfo(reply->errorString()), body);
    if (callbacks.failure)
        (this->*callbacks.failure)(reply, body);
}

void PresenterClient::authenticationRequired(QNetworkReply *, QAuthenticator *authenticator)
{
    if (!httpUser.isEmpty())
        authenticator->setUser(httpUser);
    if (!httpPassword.isEmpty())
        authenticator->setPassword(httpPassword);
}

bool PresenterClient::isErrorInErrorMsgKeys(const QVariant &reply, QString &errorKey)
{
    errorKey.clear();
    const QVariantList keys = reply.toMap().value(ERROR_KEYS).toList();
    const QString key = keys.value(0).toString();
    if (!key.contains(ERROR_MARK))
        return false;
    errorKey = key;
    return true;
}

void PresenterClient::loginFailureResponse(QNetworkReply *, QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        isErrorInErrorMsgKeys(QVariantMap{{ERROR_KEYS, QStringList{reply.firstOf(ERROR_KEYS)}}},
                              lastErrorKey);
}

void PresenterClient::sessionStartFailureResponse(QNetworkReply *reply, QString body)
{
    loginFailureResponse(reply, body);
}

void PresenterClient::sessionFailureResponse(QNetworkReply *reply, QString body)
{
    sessionStartFailureResponse(reply, body);
}
