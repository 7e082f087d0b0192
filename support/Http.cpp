#include "support/Http.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkAccessManager>

namespace Tarvo
{

QNetworkRequest plainRequest(const QUrl &url, const QString &contentType)
{
    QNetworkRequest request(url);
    request.setRawHeader("accept-encoding", "identity");
    request.setAttribute(QNetworkRequest::Http2AllowedAttribute, false);
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute,
                         QNetworkRequest::ManualRedirectPolicy);
    request.setHeader(QNetworkRequest::ContentTypeHeader, contentType);
    return request;
}

QString urlHost(const QString &host)
{
    return host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
}

QString withoutUserInfo(QString text)
{
    // Not static: a client may outlive what a function keeps.
    const QRegularExpression userInfo(QStringLiteral("(?<=://)[^/?#]*@"));
    return text.remove(userInfo);
}

CookieJar *makeCookieJar(QNetworkAccessManager *manager, QObject *owner)
{
    auto *jar = new CookieJar(owner);
    shareCookieJar(jar, manager);
    return jar;
}

void shareCookieJar(CookieJar *jar, QNetworkAccessManager *manager)
{
    QObject *const owner = jar->parent();
    manager->setCookieJar(jar);
    jar->setParent(owner);
}

} // namespace Tarvo
