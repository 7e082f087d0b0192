// The request engine: sends every request, remembers what is to run on its reply, waits, decodes the
// reply and runs that. The operations built on it are in the files beside this one.

#include "client/PresenterClient.h"

#include "client/JsonReply.h"
#include "collab/CollaborationMessageHandler.h"
#include "collab/PresenterCollab.h"
#include "collab/TarvoCollabMessage.h"
#include "compression/BoundedInflate.h"
#include "support/Http.h"
#include "support/Log.h"
#include "support/Utf8.h"
#include "support/Wait.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QPointer>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>

#include <utility>

namespace
{

// As a body comes, and inflated. The service's own replies have some KiB.
constexpr int MAX_REPLY_BYTES = 64 * 1024 * 1024;

// Compressed replies are inflated here.
constexpr char CONTENT_ENCODING_HEADER[] = "content-encoding";
constexpr char GZIP_ENCODING[] = "gzip";

const QLatin1String FORM_CONTENT_TYPE("multipart/form-data; charset=UTF-8; boundary=");

const QLatin1String SECURE_SCHEME("https");
constexpr int DEFAULT_HTTP_PORT = 80;

const QLatin1String ERROR_KEYS("errorMsgKeys");
const QLatin1String ERROR_MARK("error");

// A redirect target without its path.
QString baseAddress(const QUrl &target)
{
    QString base = target.scheme() + QLatin1String("://") + Tarvo::urlHost(target.host());
    // Only port 80 goes without saying; a stated 443 is kept.
    if (target.port() != -1 && target.port() != DEFAULT_HTTP_PORT)
        base += QLatin1Char(':') + QString::number(target.port());
    return base;
}

QString errorKeyIn(const QString &firstKey)
{
    return firstKey.contains(ERROR_MARK) ? firstKey : QString();
}

void logDroppedReply()
{
    TARVO_LOG(rest, "[PresenterClient] Reply dropped, larger than ", MAX_REPLY_BYTES, " bytes!");
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
        TARVO_LOG(rest, "[REST Responze.gzip] Compressed size: ", bytes.size());
        bool tooLarge = false;
        bytes = inflateAtMost(bytes, MAX_REPLY_BYTES, &tooLarge);
        if (tooLarge)
            logDroppedReply();
    }
    return Tarvo::utf8UpToZero(bytes);
}

} // namespace

const QString PresenterClient::MULTIPART_BOUNDARY = QStringLiteral("----boundary");

PresenterClient::PresenterClient(QObject *parent, QString server)
    : QObject(parent), protocolVersion(Tarvo::TarvoCollabMessage::PROTOCOL_VERSION),
      cookieJar(new Tarvo::CookieJar(this))
{
    setServerUrl(server);
    networkManager = makeManager();
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
    qDeleteAll(std::exchange(oldManagers, {}));
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

// While the destructor waits, a deleteLater() of the host's would delete the client again. The type is
// looked at first: children that the constructor makes send events before `ending` has a value.
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

// Sends a JSON text to a path of the service and waits for the reply. Returns whether the operation goes
// on; what became of the request is for the handlers to say.
bool PresenterClient::post(const QString &path, const QString &body, SuccessHandler success,
                           FailureHandler failure)
{
    return goesOnAfter(send(QUrl(serverUrl + path), body.toUtf8(), success, failure, false));
}

QNetworkReply *PresenterClient::send(const QUrl &url, const QByteArray &body,
                                     SuccessHandler success, FailureHandler failure, bool multipart)
{
    const QString contentType =
        multipart ? FORM_CONTENT_TYPE + MULTIPART_BOUNDARY : QString(Tarvo::JSON_CONTENT_TYPE);
    QNetworkRequest request = Tarvo::plainRequest(url, contentType);
    if (!tls.isNull())
        request.setSslConfiguration(tls);
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
    const bool inTime =
        Tarvo::Wait(QEventLoop::ExcludeUserInputEvents).until(ended, requestTimeoutMs);

    if (!self)
        return;
    if (!pending) {
        replyCallbacks.remove(reply); // the host has deleted it
    } else if (replyCallbacks.contains(pending)) {
        if (inTime)
            pending->abort();
        else
            giveUp(pending);
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
    const QString body = readBody(reply);
    noteReply(reply, body);
    const bool isAlive = survives([&] {
        if (!followRedirect(reply))
            handleReply(reply, body);
    });
    if (!isAlive)
        return; // and the reply is gone, too
    replyCallbacks.remove(reply);
    reply->deleteLater();
    dropOldManagers();
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
void PresenterClient::handleReply(QNetworkReply *reply, const QString &body)
{
    TARVO_LOG(rest, "[REST Response] ", body);
    if (reply == stopReply)
        noteStop();

    // A derived class's handlers have lost their object when the destructor waits.
    const CALLBACKS none{nullptr, nullptr};
    const CALLBACKS callbacks = ending ? none : replyCallbacks.value(reply, none);
    if (reply->error() == QNetworkReply::NoError) {
        if (callbacks.success)
            (this->*callbacks.success)(body);
        return;
    }

    TARVO_LOG(rest, "ERROR: ", Tarvo::withoutUserInfo(reply->errorString()), "\nRESPONSE: ", body);
    if (callbacks.failure)
        (this->*callbacks.failure)(reply, body);
}

// The service obeys a request that it neither redirects nor answers with an error key.
void PresenterClient::noteStop()
{
    const JsonReply reply(lastReply.text);
    stopConfirmed = lastReply.error == QNetworkReply::NoError && lastReply.redirect.isEmpty()
        && errorKeyIn(reply.firstOf(ERROR_KEYS)).isNull();
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
    errorKey = errorKeyIn(reply.toMap().value(ERROR_KEYS).toList().value(0).toString());
    return !errorKey.isNull();
}

void PresenterClient::loginFailureResponse(QNetworkReply *, QString body)
{
    const JsonReply reply(body);
    if (reply.isValid())
        lastErrorKey = errorKeyIn(reply.firstOf(ERROR_KEYS));
}

void PresenterClient::sessionStartFailureResponse(QNetworkReply *reply, QString body)
{
    loginFailureResponse(reply, body);
}

void PresenterClient::sessionFailureResponse(QNetworkReply *reply, QString body)
{
    sessionStartFailureResponse(reply, body);
}
