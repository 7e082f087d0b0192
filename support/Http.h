#pragma once

#include <QtCore/QString>
#include <QtNetwork/QNetworkRequest>

class QNetworkAccessManager;
class QNetworkCookieJar;
class QObject;
class QUrl;

// What the requests to the service and those to the collaboration server have in common.
namespace Tarvo
{

const QLatin1String JSON_CONTENT_TYPE("application/json; charset=UTF-8");

// A request over HTTP/1.1 that follows no redirect. It names its encodings itself, so that the toolkit
// hands out a compressed body as it came.
QNetworkRequest plainRequest(const QUrl &url, const QString &contentType);

// A host as it stands in URLs and in the header "Host": an IPv6 address in brackets.
QString urlHost(const QString &host);

// The text without user and password in its URLs, fit to be printed.
QString withoutUserInfo(QString text);

// A jar for the manager's cookies, a child of `owner`: left to itself, the manager would own it.
QNetworkCookieJar *makeCookieJar(QNetworkAccessManager *manager, QObject *owner);

} // namespace Tarvo
