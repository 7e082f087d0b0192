// The client's ways to the service: what its requests trust and pass through, which connections they use,
// and what became of the last of them.

#include "client/PresenterClient.h"

#include "client/RetryAfter.h"
#include "support/Http.h"
#include "support/Trust.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QPointer>
#include <QtNetwork/QNetworkAccessManager>

#include <algorithm>

namespace
{

// Marks a reply that the client has given up waiting for.
constexpr char OVERDUE[] = "tarvoOverdue";
// The number of a request that an operation waits for.
constexpr char NUMBER[] = "tarvoNumber";

QList<QNetworkReply *> repliesOf(const QNetworkAccessManager *manager)
{
    return manager->findChildren<QNetworkReply *>(QString(), Qt::FindDirectChildrenOnly);
}

} // namespace

// ---- Settings -------------------------------------------------------------------------------------

void PresenterClient::setTrustedCertificates(const QList<QSslCertificate> &certificates)
{
    if (certificates == trustedCertificates)
        return;
    trustedCertificates = certificates;
    tls = Tarvo::trusting(certificates);
    // A manager makes a connection again with what it was first made with.
    renewManager();
}

void PresenterClient::setProxy(const QNetworkProxy &proxy)
{
    this->proxy = proxy;
    networkManager->setProxy(proxy);
}

QList<QNetworkCookie> PresenterClient::getCookies() const
{
    return cookieJar->allCookies();
}

void PresenterClient::setCookies(const QList<QNetworkCookie> &cookies)
{
    cookieJar->setAllCookies(cookies);
}

void PresenterClient::setRequestTimeout(int ms)
{
    requestTimeoutMs = qMax(0, ms);
}

void PresenterClient::setServerUrl(const QString &server)
{
    serverUrl = server;
    if (serverUrl.endsWith(QLatin1Char('/')))
        serverUrl.chop(1);
}

void PresenterClient::forgetCredentials()
{
    password.clear();
    loginDeviceAccessToken.clear();
    deviceAccessToken.clear();
    oauthCode.clear();
}

// ---- Connections ----------------------------------------------------------------------------------

// The service keeps its session in cookies: one jar for the client's whole life.
QNetworkAccessManager *PresenterClient::makeManager()
{
    auto *manager = new QNetworkAccessManager(this);
    Tarvo::shareCookieJar(cookieJar, manager);
    manager->setProxy(proxy);
    connect(manager, &QNetworkAccessManager::finished, this, &PresenterClient::queueFinished);
    connect(manager, &QNetworkAccessManager::sslErrors, this, &PresenterClient::slotSslErrors);
    connect(manager, &QNetworkAccessManager::authenticationRequired, this,
            &PresenterClient::authenticationRequired);
    return manager;
}

// Waits for the reply of an operation's request. Returns whether the operation goes on: not without the
// client, nor when the host has ended the request.
bool PresenterClient::goesOnAfter(QNetworkReply *reply)
{
    const int number = ++operationRequests;
    reply->setProperty(NUMBER, number);
    return survives([&] { waitForReply(reply); }) && !endedRequests.remove(number);
}

// They are handled like others that fail, from the event loop; the operations that wait for them hear of
// it there. One whose answer has come, and has only not been handled, is left alone.
void PresenterClient::abortRequests()
{
    QList<QPointer<QNetworkReply>> open;
    const auto managers = oldManagers + QList{networkManager};
    for (const QNetworkAccessManager *manager : managers) {
        const auto replies = repliesOf(manager);
        for (QNetworkReply *reply : replies) {
            if (replyCallbacks.contains(reply) && !reply->isFinished())
                open.append(reply);
        }
    }
    for (const QPointer<QNetworkReply> &reply : qAsConst(open)) {
        if (!reply)
            continue;
        if (const int number = reply->property(NUMBER).toInt())
            endedRequests.insert(number);
        reply->abort();
    }
}

void PresenterClient::resetConnections()
{
    abortRequests();
    renewManager();
}

void PresenterClient::renewManager()
{
    oldManagers.append(networkManager);
    networkManager = makeManager();
    dropOldManagers();
}

// A manager takes its replies with it, so it stays until they have been handled: the one that is being
// handled further up belongs to one, too.
void PresenterClient::dropOldManagers()
{
    const auto isUsed = [this](const QNetworkAccessManager *manager) {
        const auto replies = repliesOf(manager);
        return std::any_of(replies.begin(), replies.end(),
                           [this](QNetworkReply *reply) { return replyCallbacks.contains(reply); });
    };
    const QList<QNetworkAccessManager *> managers = oldManagers;
    for (QNetworkAccessManager *manager : managers) {
        if (isUsed(manager))
            continue;
        oldManagers.removeOne(manager);
        manager->deleteLater();
    }
}

// ---- What became of a request ---------------------------------------------------------------------

void PresenterClient::giveUp(QNetworkReply *reply)
{
    reply->setProperty(OVERDUE, true);
    reply->abort();
}

void PresenterClient::noteReply(const QNetworkReply *reply, const QString &body)
{
    const auto attribute = [reply](QNetworkRequest::Attribute name) {
        return reply->attribute(name);
    };

    lastReply = Reply();
    lastReply.error = reply->error();
    if (lastReply.error != QNetworkReply::NoError)
        lastReply.errorText = Tarvo::withoutUserInfo(reply->errorString());
    if (lastReply.error == QNetworkReply::OperationCanceledError
        && reply->property(OVERDUE).toBool()) {
        lastReply.error = QNetworkReply::TimeoutError;
        lastReply.errorText =
            QCoreApplication::translate("QAbstractSocket", "Socket operation timed out");
    }
    lastReply.httpStatus = attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
    lastReply.retryAfter =
        retryAfterSeconds(reply->rawHeader("Retry-After"), reply->rawHeader("Date"));
    const QUrl target = attribute(QNetworkRequest::RedirectionTargetAttribute).toUrl();
    if (!target.isEmpty())
        lastReply.redirect = reply->url().resolved(target);
    lastReply.text = body;
}
