#include "host/ReplyReason.h"

#include "support/Json.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

namespace Tarvo
{

namespace
{

using Error = QNetworkReply::NetworkError;

// What the client says when the root of the service's certificate is not trusted here.
const QLatin1String ROOT_CERTIFICATE_MISSING("SSLRootCertificateMissing");

const QLatin1String ERROR_KEYS("errorMsgKeys");
const QLatin1String ERROR_MARK("error"); // is part of every error key
const int MAX_KEY_LENGTH = 200;

// The longest body that is read, in characters. The service's own have some KiB, and JSON swells when it
// is read.
const int MAX_READ_LENGTH = 2 * 1024 * 1024;

const int UNAUTHORIZED = 401;
const int PROXY_AUTHENTICATION_REQUIRED = 407;
const int NETWORK_AUTHENTICATION_REQUIRED = 511; // what a guest network says

// No answer came, or not all of it.
const struct {
    Error error;
    Failure::Reason reason;
} ON_THE_WAY[] = {
    {Error::ConnectionRefusedError, Failure::Refused},
    {Error::RemoteHostClosedError, Failure::ConnectionLost},
    {Error::HostNotFoundError, Failure::NameNotFound},
    {Error::TimeoutError, Failure::Silent},
    {Error::OperationCanceledError, Failure::Silent},
    {Error::SslHandshakeFailedError, Failure::Tls},
    {Error::TemporaryNetworkFailureError, Failure::Unreachable},
    {Error::NetworkSessionFailedError, Failure::Unreachable},
    {Error::BackgroundRequestNotAllowedError, Failure::Unreachable},
    {Error::TooManyRedirectsError, Failure::SignInPage},
    {Error::InsecureRedirectError, Failure::SignInPage},
    {Error::UnknownNetworkError, Failure::Unreachable},
    {Error::ContentReSendError, Failure::ConnectionLost},
};

// The service cannot serve now, whatever it says beside that.
const int BUSY[] = {429, 502, 503, 504};

// The first row counts whose part the key contains.
const struct {
    QLatin1String part;
    Failure::Reason reason;
} KEYS[] = {
    {QLatin1String("login.error.wrong"), Failure::SignInRefused},
    {QLatin1String("register.error"), Failure::SignInRefused},
    {QLatin1String("notSignedIn"), Failure::SignInOver},
    {QLatin1String("unknownSession"), Failure::SessionOver},
    {QLatin1String("session.error.unknown"), Failure::SessionOver},
};

bool isBetween(int value, int first, int last)
{
    return value >= first && value <= last;
}

// The toolkit's numbers: up to 99 it is about the connection, up to 199 about the proxy; then come what
// the client (up to 299) and what the service (from 400 on) has done wrong.
bool isProxyTrouble(const PresenterClient::Reply &reply)
{
    return isBetween(reply.error, Error::ProxyConnectionRefusedError, Error::UnknownProxyError)
        || reply.httpStatus == PROXY_AUTHENTICATION_REQUIRED;
}

bool isRedirected(const PresenterClient::Reply &reply)
{
    return isBetween(reply.httpStatus, 300, 399) || !reply.redirect.isEmpty()
        || reply.httpStatus == NETWORK_AUTHENTICATION_REQUIRED;
}

bool isError(const PresenterClient::Reply &reply)
{
    return reply.error != Error::NoError || reply.httpStatus >= 400;
}

bool isBusy(const PresenterClient::Reply &reply)
{
    if (isError(reply) && reply.retryAfter >= 0)
        return true;
    for (const int status : BUSY) {
        if (reply.httpStatus == status)
            return true;
    }
    return false;
}

bool isUnauthorized(const PresenterClient::Reply &reply)
{
    return reply.httpStatus == UNAUTHORIZED || reply.error == Error::AuthenticationRequiredError;
}

Failure::Reason onTheWay(const PresenterClient::Reply &reply, const QString &key)
{
    for (const auto &row : ON_THE_WAY) {
        if (row.error != reply.error)
            continue;
        const bool missesRoot = row.reason == Failure::Tls && key == ROOT_CERTIFICATE_MISSING;
        return missesRoot ? Failure::UntrustedRoot : row.reason;
    }
    return isBetween(reply.error, 1, 99) ? Failure::ConnectionLost : Failure::NoReason;
}

Failure::Reason instead(const PresenterClient::Reply &reply)
{
    if (isProxyTrouble(reply))
        return Failure::ProxyTrouble;
    if (isRedirected(reply))
        return Failure::SignInPage;
    return isBusy(reply) ? Failure::Maintenance : Failure::NoReason;
}

Failure::Reason reasonOfKey(const QString &key)
{
    for (const auto &row : KEYS) {
        if (key.contains(row.part))
            return row.reason;
    }
    return key.isEmpty() ? Failure::NoReason : Failure::RefusedByService;
}

Failure::Reason reasonOfError(const PresenterClient::Reply &reply, const QString &key)
{
    const Failure::Reason told = reasonOfKey(key);
    if (isUnauthorized(reply))
        return told == Failure::SignInRefused ? told : Failure::SignInOver;
    if (told != Failure::NoReason)
        return told;
    if (reply.httpStatus >= 500 || isBetween(reply.error, 400, 499))
        return Failure::Maintenance;
    return reply.httpStatus >= 400 || isBetween(reply.error, 200, 299) ? Failure::RefusedByService
                                                                       : Failure::UnexpectedAnswer;
}

bool isJsonObject(const QString &text)
{
    if (text.size() <= MAX_READ_LENGTH)
        return readJson(text.toUtf8()).isObject();
    const QString trimmed = text.trimmed();
    return trimmed.startsWith(QLatin1Char('{')) && trimmed.endsWith(QLatin1Char('}'));
}

// A guest network answers anything with its own page.
Failure::Reason reasonOfBody(const PresenterClient::Reply &reply)
{
    if (isJsonObject(reply.text))
        return Failure::NoReason;
    if (reply.text.trimmed().startsWith(QLatin1Char('<')))
        return Failure::SignInPage;
    return reply.httpStatus == 0 ? Failure::Silent : Failure::UnexpectedAnswer;
}

} // namespace

// The client's last error key may be of an earlier request, which the reply's own is not; it counts where
// an error has none of its own.
Failure::Reason reasonOf(const PresenterClient::Reply &reply, const QString &key)
{
    for (const Failure::Reason reason : {onTheWay(reply, key), instead(reply)}) {
        if (reason != Failure::NoReason)
            return reason;
    }
    const QString own = errorKeyOf(reply);
    if (isError(reply))
        return reasonOfError(reply, own.isEmpty() ? key : own);
    return own.isEmpty() ? reasonOfBody(reply) : reasonOfKey(own);
}

QString errorKeyOf(const PresenterClient::Reply &reply)
{
    if (reply.text.size() > MAX_READ_LENGTH)
        return QString();
    const QJsonObject body = readJson(reply.text.toUtf8()).object();
    const QString key = body.value(ERROR_KEYS).toArray().at(0).toString();
    return key.contains(ERROR_MARK) ? key.left(MAX_KEY_LENGTH) : QString();
}

} // namespace Tarvo
