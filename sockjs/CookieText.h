#pragma once

#include <QtCore/QString>
#include <QtNetwork/QNetworkCookie>

namespace Tarvo
{

// Cookies as the server reads them on the receiving connection: "name=value;" each, without a space
// between.
inline QString cookieText(const QList<QNetworkCookie> &cookies)
{
    QString text;
    for (const QNetworkCookie &cookie : cookies) {
        text += QStringLiteral("%0=%1;").arg(QString::fromUtf8(cookie.name()),
                                             QString::fromUtf8(cookie.value()));
    }
    return text;
}

// The header line with them; empty without cookies.
inline QString cookieLine(const QList<QNetworkCookie> &cookies)
{
    return cookies.isEmpty() ? QString()
                             : QStringLiteral("Cookie: %0\r\n").arg(cookieText(cookies));
}

} // namespace Tarvo
