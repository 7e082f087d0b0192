#include "ConnectorRun.h"
#include "DeadPort.h"
#include "Http.h"
#include "RawWebSocketServer.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

#include <cstdlib>

using namespace Scripted;

// The system names a proxy, through the environment: the polling connection and the posts go through
// it. The servers behind it do not exist; the proxy plays them.
class tst_SockJSProxy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void pollsAndPostsGoThroughTheProxy();
    void tlsIsTunnelled();
    void refusalOfTheProxyFailsTheStart();
    void deadProxyFailsTheStart();
    void websocketAttemptPutsTheProxyIntoTheEnvironment();
    void ownEntryStandsForTheProxyThatLedToIt();
    void systemIsAskedAtEveryAttempt();
    void entryIsWrittenOnlyWhenItChanges();
    void restartedTransportForgetsItsProxy();
    void reconnectionGoesThroughTheProxy();
    void applicationsProxyIsNotTheReceivingConnections_data();
    void applicationsProxyIsNotTheReceivingConnections();

private:
    quint16 m_port = 0;
    std::unique_ptr<ScriptedServer> m_proxy;
};

namespace
{

const QByteArray TUNNEL = "HTTP/1.1 200 Connection established\r\n\r\n";

QString behindTheProxy()
{
    return u"classroom.invalid"_s;
}

QByteArray address(quint16 port)
{
    return "127.0.0.1:" + QByteArray::number(port);
}

void nameProxy(quint16 port)
{
    qputenv("http_proxy", "http://" + address(port));
}

// A transport to the server behind the proxy.
struct Proxied {
    bool start(bool tls = false)
    {
        return transport.start(behindTheProxy(), tls ? 443 : 80, tls, u"/s"_s, false);
    }
    SockJSXHRPolling transport;
    QSignalSpy frames{&transport, &SockJSXHRPolling::textMessageReceived};
};

// A web-socket attempt that succeeds.
void attempt(RawWebSocketServer &server)
{
    SockJSConnector connector;
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    QVERIFY(SockJSProbe::webSocket(connector));
}

} // namespace

void tst_SockJSProxy::initTestCase()
{
    ScriptedServer server;
    QVERIFY(server.listen());
    m_port = server.port();
    qputenv("no_proxy", "");
}

void tst_SockJSProxy::init()
{
    nameProxy(m_port);
    m_proxy = std::make_unique<ScriptedServer>();
}

void tst_SockJSProxy::cleanup()
{
    QNetworkProxy::setApplicationProxy(QNetworkProxy::NoProxy);
    QVERIFY2(m_proxy->finished(), qPrintable(m_proxy->failure()));
    m_proxy.reset();
}

void tst_SockJSProxy::pollsAndPostsGoThroughTheProxy()
{
    m_proxy->onConnection({expectRequest(), send(TUNNEL), expectRequest(), send(FRAME_O)});
    m_proxy->onConnection({expectRequest(), send(NO_CONTENT)});
    QVERIFY(m_proxy->listen(m_port));
    Proxied proxied;
    QVERIFY(proxied.start());
    QTRY_COMPARE_WITH_TIMEOUT(proxied.frames.size(), 1, 20000);
    const QList<QByteArray> polled = m_proxy->requests(0);
    QVERIFY2(polled.at(0).startsWith("CONNECT classroom.invalid:80 HTTP/1.1\r\n"),
             polled.at(0).constData());
    QVERIFY(polled.at(1).startsWith("POST /s/xhr HTTP/1.1\r\nHost: classroom.invalid\r\n"));

    proxied.transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_proxy->requests(1).size(), 1, 20000);
    const QByteArray post = m_proxy->requests(1).at(0);
    QVERIFY2(post.startsWith("POST http://classroom.invalid/s/xhr_send HTTP/1.1\r\n")
                 || post.startsWith("POST http://classroom.invalid:80/s/xhr_send HTTP/1.1\r\n"),
             post.constData());
}

void tst_SockJSProxy::tlsIsTunnelled()
{
    TestCertificates certificates;
    certificates.trust();
    m_proxy->setCertificate(certificates.issue(behindTheProxy(), u"DNS:"_s + behindTheProxy()),
                            true);
    m_proxy->onConnection(
        {expectRequest(), send(TUNNEL), startTls(), expectRequest(), send(FRAME_O)});
    m_proxy->onConnection(
        {expectRequest(), send(TUNNEL), startTls(), expectRequest(), send(NO_CONTENT)});
    QVERIFY(m_proxy->listen(m_port));
    Proxied proxied;
    QVERIFY(proxied.start(true));
    QTRY_COMPARE_WITH_TIMEOUT(proxied.frames.size(), 1, 20000);
    proxied.transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_proxy->requests(1).size(), 2, 20000);
    const QByteArray connect = "CONNECT classroom.invalid:443 HTTP/1.1\r\n";
    QVERIFY(m_proxy->requests(0).at(0).startsWith(connect));
    QVERIFY(m_proxy->requests(1).at(0).startsWith(connect));
    QVERIFY(m_proxy->requests(1).at(1).startsWith("POST /s/xhr_send HTTP/1.1\r\n"));
}

void tst_SockJSProxy::refusalOfTheProxyFailsTheStart()
{
    m_proxy->onConnection({expectRequest(), send(reply("", "403 Forbidden"))});
    QVERIFY(m_proxy->listen(m_port));
    const LogCapture log;
    Proxied proxied;
    QVERIFY(!proxied.start());
    QCOMPARE(log.messages(), QStringList{"[SockJSXHRPolling] Proxy denied connection"});
}

void tst_SockJSProxy::deadProxyFailsTheStart()
{
    const LogCapture log;
    Proxied proxied;
    QVERIFY(!proxied.start());
    QCOMPARE(log.messages(), QStringList{"[SockJSXHRPolling] Proxy connection refused"});
}

void tst_SockJSProxy::websocketAttemptPutsTheProxyIntoTheEnvironment()
{
    QVERIFY(m_proxy->listen(m_port));
    const QByteArray before = qgetenv("http_proxy");
    QVERIFY(before.startsWith("http://"));
    RawWebSocketServer server;
    ConnectorRun run;
    run.open(server.port(), {NO_PROTOCOL});
    QCOMPARE(qgetenv("http_proxy"), before); // only a web-socket attempt sets it
    run.open(server.port());
    QCOMPARE(qgetenv("http_proxy"), address(m_port));
    QVERIFY(SockJSProbe::webSocket(run.connector));
    QCOMPARE(server.connections, 1);
    QCOMPARE(m_proxy->connectionCount(), 0); // the web socket itself goes straight
}

// The entry lacks the scheme, so the system's answer would be wrong while it stands there.
void tst_SockJSProxy::ownEntryStandsForTheProxyThatLedToIt()
{
    m_proxy->onConnection({expectRequest(), send(TUNNEL)});
    QVERIFY(m_proxy->listen(m_port));
    RawWebSocketServer server;
    attempt(server);
    QCOMPARE(qgetenv("http_proxy"), address(m_port));
    Proxied proxied;
    QVERIFY(proxied.start());
    QCOMPARE(m_proxy->connectionCount(), 1);
}

// A laptop moves: into a network with a proxy, on to one with another, and out again.
void tst_SockJSProxy::systemIsAskedAtEveryAttempt()
{
    qunsetenv("http_proxy");
    RawWebSocketServer server;
    attempt(server);
    QVERIFY(!qEnvironmentVariableIsSet("http_proxy"));

    nameProxy(m_port);
    attempt(server);
    QCOMPARE(qgetenv("http_proxy"), address(m_port));
    ScriptedServer second;
    second.onEveryOther({expectRequest(), send(TUNNEL)});
    QVERIFY(second.listen());
    nameProxy(second.port());
    attempt(server);
    QCOMPARE(qgetenv("http_proxy"), address(second.port()));
    Proxied tunnelled;
    QVERIFY(tunnelled.start());
    QCOMPARE(second.connectionCount(), 1);

    qunsetenv("http_proxy");
    attempt(server);
    QVERIFY(!qEnvironmentVariableIsSet("http_proxy"));
    ScriptedServer polled;
    polled.onEveryOther({expectRequest(), send(FRAME_O)});
    QVERIFY(polled.listen());
    SockJSXHRPolling direct;
    QVERIFY(direct.start(localhost(), polled.port(), false, u"/s"_s, false));
    QTRY_VERIFY(!polled.requests(0).isEmpty());
    QCOMPARE(second.connectionCount(), 1);
}

// Whoever has read the environment's entry may hold on to it.
void tst_SockJSProxy::entryIsWrittenOnlyWhenItChanges()
{
    RawWebSocketServer server;
    attempt(server);
    const char *const entry = ::getenv("http_proxy");
    attempt(server);
    QVERIFY(::getenv("http_proxy") == entry);
    nameProxy(1);
    attempt(server);
    QCOMPARE(QByteArray(::getenv("http_proxy")), QByteArray("127.0.0.1:1"));
    QCOMPARE(QByteArray(entry), address(m_port));
}

void tst_SockJSProxy::restartedTransportForgetsItsProxy()
{
    m_proxy->onEveryOther({expectRequest(), send(TUNNEL)});
    QVERIFY(m_proxy->listen(m_port));
    Proxied proxied;
    QVERIFY(proxied.start());
    qunsetenv("http_proxy");
    ScriptedServer direct;
    direct.onConnection({expectRequest(), pause(20000)});
    direct.onConnection({expectRequest(), send(NO_CONTENT)});
    QVERIFY(direct.listen());
    QVERIFY(proxied.transport.start(localhost(), direct.port(), false, u"/s"_s, false));
    proxied.transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE(direct.requests(1).size(), 1);
    QVERIFY(direct.requests(1).at(0).startsWith("POST /s/xhr_send HTTP/1.1\r\n"));
}

void tst_SockJSProxy::reconnectionGoesThroughTheProxy()
{
    m_proxy->onConnection({expectRequest(), send(TUNNEL), pause(200), close()});
    m_proxy->onConnection({expectRequest(), send(TUNNEL), expectRequest(), send(FRAME_O)});
    QVERIFY(m_proxy->listen(m_port));
    Proxied proxied;
    QVERIFY(proxied.start());
    QTRY_COMPARE_WITH_TIMEOUT(proxied.frames.size(), 1, 20000);
    QVERIFY(m_proxy->requests(1).at(0).startsWith("CONNECT classroom.invalid:80 HTTP/1.1\r\n"));
}

void tst_SockJSProxy::applicationsProxyIsNotTheReceivingConnections_data()
{
    QTest::addColumn<bool>("robust");
    QTest::newRow("default") << false;
    QTest::newRow("robust") << true;
}

// It is for the host's own requests; the system names none.
void tst_SockJSProxy::applicationsProxyIsNotTheReceivingConnections()
{
    QFETCH(bool, robust);
    qunsetenv("http_proxy");
    const DeadPort nobody;
    QNetworkProxy::setApplicationProxy({QNetworkProxy::HttpProxy, localhost(), nobody});
    ScriptedServer direct;
    direct.onConnection({expectRequest(), send(FRAME_O), expectRequest()});
    QVERIFY(direct.listen());
    SockJSXHRPolling transport;
    transport.setRobustTransport(robust);
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    // This machine's address, too, but none for which the toolkit leaves every proxy out.
    QVERIFY(transport.start(u"0.0.0.0"_s, direct.port(), false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
}

QTEST_GUILESS_MAIN(tst_SockJSProxy)
#include "tst_sockjsproxy.moc"
