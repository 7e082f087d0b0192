#include "support/SystemProxy.h"

#include <QtCore/QHash>
#include <QtCore/QMutex>
#include <QtCore/QUrl>
#include <QtNetwork/QNetworkProxyFactory>
#include <QtNetwork/QNetworkProxyQuery>

#include <cstdlib>

namespace Tarvo
{

namespace
{

const char VARIABLE[] = "http_proxy";

// What was announced last. Never destroyed: the environment outlives every static object.
struct Announcement {
    QMutex mutex; // guards what follows
    QNetworkProxy proxy;
    QByteArray value;
    // The entries, by their values. They have become part of the environment, and whoever has read one
    // may hold on to it, so each is made once and kept.
    QHash<QByteArray, QByteArray *> entries;
};

Announcement &announcement()
{
    static auto *const instance = new Announcement;
    return *instance;
}

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
    Announcement &announced = announcement();
    QMutexLocker lock(&announced.mutex);
    if (!announced.value.isEmpty() && qgetenv(VARIABLE) == announced.value)
        return announced.proxy;
    lock.unlock();
    return querySystemProxy();
}

void announceProxy(const QNetworkProxy &proxy)
{
    if (proxy.port() == 0)
        return;
    const QByteArray value =
        proxy.hostName().toLocal8Bit() + ':' + QByteArray::number(proxy.port());

    Announcement &announced = announcement();
    const QMutexLocker lock(&announced.mutex);
    announced.proxy = proxy;
    announced.value = value;
    if (qgetenv(VARIABLE) == value)
        return;
    QByteArray *&entry = announced.entries[value];
    if (!entry)
        entry = new QByteArray(QByteArray(VARIABLE) + '=' + value);
    putenv(entry->data());
}

} // namespace Tarvo
