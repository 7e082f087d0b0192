#include "DeadPort.h"
#include "FarEnd.h"
#include "TunnelProxy.h"
#include "support/TestCertificates.h"

#include <QtNetwork/QNetworkProxy>

using namespace Scripted;

// The certificates and the proxy that a host names hold for every transport, in both ways, and for
// posts.
class tst_SockJSNetworkSettings : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void certificatesAreTrusted_data() { addRows(); }
    void certificatesAreTrusted();
    void otherCertificatesAreNot_data() { addRows(); }
    void otherCertificatesAreNot();
    void certificatesCanBeTakenBack();
    void connectionThatIsMadeAgainTrustsThemToo();

    void everythingIsTunnelled_data();
    void everythingIsTunnelled();
    void pollsOfTheDefaultWayAreTunnelled();
    void noProxyGoesBeforeTheSystems_data();
    void noProxyGoesBeforeTheSystems();
    void proxyCanBeTakenBack();

private:
    static void addRows();

    TestCertificates m_authority; // trusted by nobody but by what the host sets
    TestCertificates m_other{u"Other Root"_s};
    TestCertificates::Identity m_identity;
};

namespace
{

const QByteArray POSTED = "[\n    \"hello\"\n]\n";
const QByteArray TUNNEL = "HTTP/1.1 200 Connection established\r\n\r\n";

// A connector, and the servers of all transports, of which it opens the one of the row.
struct Run : ConnectorRun {
    explicit Run(const TestCertificates::Identity *identity = nullptr)
        : far(isOverHttp(), identity), tls(identity)
    {
        QFETCH(bool, robust);
        connector.setRobustTransport(robust);
        far.polled.onConnection(
            protocol() == XHR_STREAMING
                ? Script{expectRequest(), send(CHUNKED + chunk("o\n")), pause(60000)}
                : POLLED_OPEN + Script{expectRequest(), pause(60000)});
        far.polled.onConnection({expectRequest(), send(NO_CONTENT), expectEnd()});
    }
    static SockJSConnector::PROTOCOL_TYPE protocol()
    {
        QFETCH(SockJSConnector::PROTOCOL_TYPE, transport);
        return transport;
    }
    static bool isOverHttp() { return protocol() != WEBSOCKET; }
    quint16 port() const { return isOverHttp() ? far.polled.port() : far.bus.port(); }

    void open() { connector.open(serverUrl(port(), tls ? u"wss"_s : u"ws"_s), {protocol()}); }
    // A name that only a proxy knows.
    void openBehindAProxy()
    {
        connector.open(
            QUrl(tls ? u"wss://localhost.invalid/bus/"_s : u"ws://localhost.invalid/bus/"_s),
            {protocol()});
    }
    // The session opens, and a message arrives.
    void verifyBothDirections()
    {
        QTRY_COMPARE_WITH_TIMEOUT(connected.size(), 1, 20000);
        connector.sendMessage(u"hello"_s, false);
        if (!isOverHttp()) {
            QTRY_COMPARE(far.bus.messages(), QStringList{u"hello"_s});
            return;
        }
        QTRY_COMPARE_WITH_TIMEOUT(far.polled.connectionCount(), 2, 20000);
        QTRY_COMPARE(far.polled.requests(1).size(), 1);
        QCOMPARE(bodyOf(far.polled.requests(1).first()), POSTED);
    }

    FarEnd far;
    const bool tls;
};

QNetworkProxy httpProxy(quint16 port)
{
    return QNetworkProxy(QNetworkProxy::HttpProxy, localhost(), port);
}

} // namespace

void tst_SockJSNetworkSettings::initTestCase()
{
    m_identity =
        m_authority.issue(u"localhost"_s, u"DNS:localhost,DNS:localhost.invalid,IP:127.0.0.1"_s);
    m_other.trust();
    qputenv("no_proxy", "");
}

void tst_SockJSNetworkSettings::init()
{
    qunsetenv("http_proxy");
}

void tst_SockJSNetworkSettings::cleanup()
{
    qunsetenv("http_proxy");
}

void tst_SockJSNetworkSettings::addRows()
{
    QTest::addColumn<SockJSConnector::PROTOCOL_TYPE>("transport");
    QTest::addColumn<bool>("robust");
    QTest::newRow("web socket") << WEBSOCKET << true;
    QTest::newRow("streaming") << XHR_STREAMING << true;
    QTest::newRow("polling") << XHR_POLLING << true;
    QTest::newRow("web socket, the default way") << WEBSOCKET << false;
    QTest::newRow("polling, the default way") << XHR_POLLING << false;
}

// ---- Certificates ---------------------------------------------------------------------------------

void tst_SockJSNetworkSettings::certificatesAreTrusted()
{
    Run run(&m_identity);
    run.connector.setTrustedCertificates({m_authority.root()});
    run.open();
    run.verifyBothDirections();
}

void tst_SockJSNetworkSettings::otherCertificatesAreNot()
{
    Run run(&m_identity);
    run.connector.setTrustedCertificates({m_other.root()});
    run.open();
    QFETCH(bool, robust);
    QTRY_COMPARE(run.closed.size(), robust ? 1 : 0);
    QTest::qWait(300);
    QVERIFY(run.connected.isEmpty());
    QVERIFY(run.far.polled.requests().isEmpty());
    QVERIFY(run.far.bus.paths().isEmpty());
    QCOMPARE(run.closed.size(), robust ? 1 : 0);
}

void tst_SockJSNetworkSettings::certificatesCanBeTakenBack()
{
    EventBusServer bus(&m_identity);
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.connector.setTrustedCertificates({m_authority.root()});
    run.connector.setTrustedCertificates({});
    run.connector.open(serverUrl(bus.port(), u"wss"_s), {WEBSOCKET});
    QTRY_COMPARE(run.closed.size(), 1);
    QCOMPARE(run.connector.getCloseCode(), 1006);
    QVERIFY(bus.paths().isEmpty());
}

void tst_SockJSNetworkSettings::connectionThatIsMadeAgainTrustsThemToo()
{
    FarEnd far(true, &m_identity);
    far.polled.onConnection(
        {expectRequest(), send(reply("o\n", "200 OK", "Connection: close\r\n")), close()});
    far.polled.onConnection({expectRequest(), send(reply("a[\"hi\"]\n")), pause(60000)});
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.connector.setTrustedCertificates({m_authority.root()});
    far.open(run.connector);
    QTRY_COMPARE(run.texts(), QStringList{u"hi"_s});
}

// ---- The proxy ------------------------------------------------------------------------------------

// The proxy runs on the test's event loop, which the default way does not let turn over HTTP.
void tst_SockJSNetworkSettings::everythingIsTunnelled_data()
{
    QTest::addColumn<SockJSConnector::PROTOCOL_TYPE>("transport");
    QTest::addColumn<bool>("robust");
    QTest::addColumn<bool>("tls");
    for (const bool tls : {false, true}) {
        const char *security = tls ? "TLS" : "TCP";
        QTest::addRow("web socket, %s", security) << WEBSOCKET << true << tls;
        QTest::addRow("streaming, %s", security) << XHR_STREAMING << true << tls;
        QTest::addRow("polling, %s", security) << XHR_POLLING << true << tls;
        QTest::addRow("web socket, the default way, %s", security) << WEBSOCKET << false << tls;
    }
}

// The system's proxy lets nobody out, and is not announced.
void tst_SockJSNetworkSettings::everythingIsTunnelled()
{
    QFETCH(bool, tls);
    const DeadPort nobody;
    const QByteArray systems = "http://127.0.0.1:" + QByteArray::number(quint16(nobody));
    qputenv("http_proxy", systems);
    Run run(tls ? &m_identity : nullptr);
    TunnelProxy proxy(run.port());
    run.connector.setProxy(httpProxy(proxy.port()));
    run.connector.setTrustedCertificates({m_authority.root()});
    run.openBehindAProxy();
    run.verifyBothDirections();
    QCOMPARE(proxy.tunnels, run.isOverHttp() ? 2 : 1);
    for (const QByteArray &request : qAsConst(proxy.requests))
        QVERIFY2(request.startsWith("CONNECT localhost.invalid:"), request.constData());
    QCOMPARE(qgetenv("http_proxy"), systems);
}

void tst_SockJSNetworkSettings::pollsOfTheDefaultWayAreTunnelled()
{
    ScriptedServer proxy;
    proxy.onConnection(
        {expectRequest(), send(TUNNEL), expectRequest(), send(FRAME_O), pause(60000)});
    proxy.onConnection({expectRequest(), send(NO_CONTENT), expectEnd()});
    QVERIFY(proxy.listen());
    ConnectorRun run;
    run.connector.setProxy(httpProxy(proxy.port()));
    run.connector.open(QUrl(u"http://localhost.invalid/bus/"_s), {XHR_POLLING});
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.size(), 1, 20000);
    QVERIFY(proxy.requests(0).first().startsWith("CONNECT localhost.invalid:80 HTTP/1.1\r\n"));
    run.connector.sendMessage(u"hello"_s, false);
    QTRY_COMPARE(proxy.connectionCount(), 2);
    QTRY_COMPARE(proxy.requests(1).size(), 1);
    QCOMPARE(bodyOf(proxy.requests(1).first()), POSTED);
}

void tst_SockJSNetworkSettings::noProxyGoesBeforeTheSystems_data()
{
    addRows();
}

void tst_SockJSNetworkSettings::noProxyGoesBeforeTheSystems()
{
    const DeadPort nobody;
    qputenv("http_proxy", "http://127.0.0.1:" + QByteArray::number(quint16(nobody)));
    QNetworkProxy::setApplicationProxy(httpProxy(nobody));
    Run run;
    run.connector.setProxy(QNetworkProxy::NoProxy);
    run.open();
    run.verifyBothDirections();
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
}

void tst_SockJSNetworkSettings::proxyCanBeTakenBack()
{
    EventBusServer bus;
    TunnelProxy proxy(bus.port());
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.connector.setProxy(httpProxy(proxy.port()));
    run.connector.setProxy(QNetworkProxy());
    run.open(bus.port());
    QTRY_COMPARE(run.connected.size(), 1);
    QCOMPARE(proxy.tunnels, 0);
}

QTEST_GUILESS_MAIN(tst_SockJSNetworkSettings)
#include "tst_sockjsnetworksettings.moc"
