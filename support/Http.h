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

// A request over HTTP/1.1 for a body as it is: the toolkit leaves a compressed one alone when the request
// names its encodings itself, and follows no redirect.
QNetworkRequest plainRequest(const QUrl &url, const QString &contentType);

// A host as it stands in URLs and in the header "Host": an IPv6 address in brackets.
QString urlHost(const QString &host);

// A text that is to be printed without what stands before the host in its URLs: user and password. A
// text without such stays as it is.
QString withoutUserInfo(QString text);

// A jar for the manager's cookies, a child of `owner`; a manager takes a jar for its own otherwise.
QNetworkCookieJar *makeCookieJar(QNetworkAccessManager *manager, QObject *owner);

} // namespace Tarvo
