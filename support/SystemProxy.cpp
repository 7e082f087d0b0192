#include "support/SystemProxy.h"

#include <QtCore/QUrl>
#include <QtNetwork/QNetworkProxyFactory>
#include <QtNetwork/QNetworkProxyQuery>

namespace Tarvo
{

namespace
{

QNetworkProxy querySystemProxy()
{
    const QNetworkProxyQuery query(QUrl(QStringLiteral("http://www.example.com/")),
                                   QNetworkProxyQuery::UrlRequest);
    const QList<QNetworkProxy> proxies = QNetworkProxyFactory::systemProxyForQuery(query);
    if (proxies.isEmpty() || proxies.first().port() == 0)
        return QNetworkProxy(QNetworkProxy::NoProxy);
    return proxies.first();
}

} // namespace

QNetworkProxy systemProxy()
{
    static const QNetworkProxy proxy = querySystemProxy();
    return proxy;
}

} // namespace Tarvo
