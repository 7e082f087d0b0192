#include "support/SystemProxy.h"

#include "support/Text.h"

#include <QtNetwork/QNetworkProxyFactory>
#include <QtNetwork/QNetworkProxyQuery>
#include <QtTest/QtTest>

namespace
{

// What the system is asked, and what it answers.
QList<QNetworkProxyQuery> asked;
QList<QNetworkProxy> answer;

} // namespace

// Takes the toolkit's place in this program: what a system says depends on the machine.
QList<QNetworkProxy> QNetworkProxyFactory::systemProxyForQuery(const QNetworkProxyQuery &query)
{
    asked.append(query);
    return answer;
}

// Which of the proxies that the system names is taken.
class tst_SystemProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup();
    void systemIsAskedForAPublicAddress();
    void firstProxyIsTaken();
    void systemWithoutAProxyMeansNone_data();
    void systemWithoutAProxyMeansNone();
};

namespace
{

QNetworkProxy proxy(const QString &host, quint16 port)
{
    return QNetworkProxy(QNetworkProxy::HttpProxy, host, port);
}

} // namespace

void tst_SystemProxy::cleanup()
{
    asked.clear();
    answer.clear();
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
}

void tst_SystemProxy::systemIsAskedForAPublicAddress()
{
    Tarvo::systemProxy();
    QCOMPARE(asked.size(), 1);
    QCOMPARE(asked.first().url(), QUrl(u"http://www.example.com/"_s));
    QCOMPARE(asked.first().queryType(), QNetworkProxyQuery::UrlRequest);
}

void tst_SystemProxy::firstProxyIsTaken()
{
    answer = {proxy(u"first"_s, 1), proxy(u"second"_s, 2), QNetworkProxy::NoProxy};
    QCOMPARE(Tarvo::systemProxy(), answer.first());
    answer = {QNetworkProxy(QNetworkProxy::Socks5Proxy, u"socks"_s, 3), proxy(u"second"_s, 2)};
    QCOMPARE(Tarvo::systemProxy(), answer.first());
}

void tst_SystemProxy::systemWithoutAProxyMeansNone_data()
{
    QTest::addColumn<QList<QNetworkProxy>>("proxies");
    using Proxies = QList<QNetworkProxy>;
    QTest::newRow("nothing") << Proxies();
    QTest::newRow("none") << Proxies{QNetworkProxy::NoProxy};
    QTest::newRow("none, then another") << Proxies{QNetworkProxy::NoProxy, proxy(u"second"_s, 2)};
    QTest::newRow("without a port, then another") << Proxies{proxy(u"a"_s, 0), proxy(u"b"_s, 2)};
    QTest::newRow("the application's") << Proxies{QNetworkProxy::DefaultProxy};
}

// Not the application's, which a proxy of the default type would stand for.
void tst_SystemProxy::systemWithoutAProxyMeansNone()
{
    QFETCH(QList<QNetworkProxy>, proxies);
    answer = proxies;
    QNetworkProxy::setApplicationProxy(proxy(u"application"_s, 4));
    const QNetworkProxy taken = Tarvo::systemProxy();
    QCOMPARE(taken.type(), QNetworkProxy::NoProxy);
    QCOMPARE(taken.hostName(), QString());
    QCOMPARE(taken.port(), quint16(0));
}

QTEST_GUILESS_MAIN(tst_SystemProxy)
#include "tst_systemproxy.moc"
