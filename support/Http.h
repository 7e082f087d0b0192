#pragma once

#include <QtCore/QString>
#include <QtNetwork/QNetworkCookieJar>
#include <QtNetwork/QNetworkRequest>

class QNetworkAccessManager;
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

// A jar that can be emptied into another.
class CookieJar : public QNetworkCookieJar
{
public:
    using QNetworkCookieJar::allCookies;
    using QNetworkCookieJar::QNetworkCookieJar;
    using QNetworkCookieJar::setAllCookies;
};

// A jar for the manager's cookies, a child of `owner`: left to itself, the manager would own it.
CookieJar *makeCookieJar(QNetworkAccessManager *manager, QObject *owner);
// Has the manager use that jar, too, which stays its owner's.
void shareCookieJar(CookieJar *jar, QNetworkAccessManager *manager);

} // namespace Tarvo
