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

} // namespace

// ---- Settings -------------------------------------------------------------------------------------

void PresenterClient::setTrustedCertificates(const QList<QSslCertificate> &certificates)
{
    trustedCertificates = certificates;
    tls = Tarvo::trusting(certificates);
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

// They are handled like others that fail, from the event loop; the operations that wait for them hear of
// it there. One whose answer has come, and has only not been handled, is left alone.
void PresenterClient::abortRequests()
{
    const auto replies =
        networkManager->findChildren<QNetworkReply *>(QString(), Qt::FindDirectChildrenOnly);
    QList<QPointer<QNetworkReply>> open;
    for (QNetworkReply *reply : replies) {
        if (replyCallbacks.contains(reply) && !reply->isFinished())
            open.append(reply);
    }
    if (!open.isEmpty())
        ++aborts;
    for (const QPointer<QNetworkReply> &reply : qAsConst(open)) {
        if (reply)
            reply->abort();
    }
}

void PresenterClient::resetConnections()
{
    abortRequests();
    oldManagers.append(networkManager);
    networkManager = makeManager();
    dropOldManagers();
}

// A manager takes its replies with it, so it stays until they have been handled: the one that is being
// handled further up belongs to one, too.
void PresenterClient::dropOldManagers()
{
    const auto isUsed = [this](const QNetworkAccessManager *manager) {
        const auto replies =
            manager->findChildren<QNetworkReply *>(QString(), Qt::FindDirectChildrenOnly);
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
    lastReply.errorText = Tarvo::withoutUserInfo(reply->errorString());
    if (lastReply.error == QNetworkReply::NoError)
        lastReply.errorText.clear();
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
