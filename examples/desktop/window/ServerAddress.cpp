#include "window/ServerAddress.h"

#include <QtNetwork/QHostAddress>

namespace Desktop
{

namespace
{

QUrl urlOf(const QString &typed)
{
    const QString text = typed.trimmed();
    if (text.isEmpty() || text.contains(QLatin1String("://")))
        return QUrl(text, QUrl::StrictMode);
    return QUrl(QStringLiteral("https://") + text, QUrl::StrictMode);
}

bool isOfTheWeb(const QUrl &url)
{
    return url.scheme() == QLatin1String("http") || url.scheme() == QLatin1String("https");
}

} // namespace

ServerAddress::ServerAddress(const QString &typed) : m_url(urlOf(typed))
{
    if (typed.trimmed().isEmpty())
        m_complaint = tr("Type the address of the classroom service.");
    else if (!m_url.isValid() || m_url.host().isEmpty() || !isOfTheWeb(m_url))
        m_complaint = tr("This is no address of a service: it begins with http:// or https://.");
    else if (!m_url.userInfo().isEmpty()) // the address is remembered, and shown to the class
        m_complaint = tr("The address must not hold a name or a password.");
    else if (m_url.hasQuery() || m_url.hasFragment())
        m_complaint = tr("The address must end before the first ? or #.");
}

QString ServerAddress::text() const
{
    QString text = isValid() ? m_url.toString() : QString();
    while (text.endsWith(QLatin1Char('/')))
        text.chop(1);
    return text;
}

QString ServerAddress::joinAddress(const QString &code) const
{
    if (!isValid() || code.isEmpty())
        return QString();
    return text() + QLatin1String("/join/") + QString::fromLatin1(QUrl::toPercentEncoding(code));
}

bool ServerAddress::isOfThisMachine() const
{
    const QHostAddress address(m_url.host());
    return m_url.host() == QLatin1String("localhost") || address.isLoopback();
}

} // namespace Desktop
