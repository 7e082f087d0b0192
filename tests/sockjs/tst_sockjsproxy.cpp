#include "RawWebSocketServer.h"
#include "SockJSProbe.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtNetwork/QSslKey>
#include <QtTest/QtTest>

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

// A web-socket attempt that succeeds.
void attempt(RawWebSocketServer &server)
{
    SockJSConnector connector;
    connector.open(QUrl(u"ws://127.0.0.1:%1"_s.arg(server.port())), {SockJSConnector::WEBSOCKET});
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
    m_proxy.reset();
}

void tst_SockJSProxy::pollsAndPostsGoThroughTheProxy()
{
    m_proxy->onConnection({expectRequest(), send(TUNNEL), expectRequest(), send(reply("o\n"))});
    m_proxy->onConnection({expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(m_proxy->listen(m_port));
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(behindTheProxy(), 80, false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    const QList<QByteArray> polled = m_proxy->requests(0);
    QVERIFY2(polled.at(0).startsWith("CONNECT classroom.invalid:80 HTTP/1.1\r\n"),
             polled.at(0).constData());
    QVERIFY(polled.at(1).startsWith("POST /s/xhr HTTP/1.1\r\nHost: classroom.invalid\r\n"));

    transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_proxy->requests(1).size(), 1, 20000);
    const QByteArray post = m_proxy->requests(1).at(0);
    QVERIFY2(post.startsWith("POST http://classroom.invalid/s/xhr_send HTTP/1.1\r\n")
                 || post.startsWith("POST http://classroom.invalid:80/s/xhr_send HTTP/1.1\r\n"),
             post.constData());
    QVERIFY2(m_proxy->finished(), qPrintable(m_proxy->failure()));
}

void tst_SockJSProxy::tlsIsTunnelled()
{
    TestCertificates certificates;
    certificates.trust();
    m_proxy->setCertificate(certificates.issue(behindTheProxy(), u"DNS:"_s + behindTheProxy()),
                            true);
    m_proxy->onConnection(
        {expectRequest(), send(TUNNEL), startTls(), expectRequest(), send(reply("o\n"))});
    m_proxy->onConnection({expectRequest(), send(TUNNEL), startTls(), expectRequest(),
                           send(reply("", "204 No Content"))});
    QVERIFY(m_proxy->listen(m_port));
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(behindTheProxy(), 443, true, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m_proxy->requests(1).size(), 2, 20000);
    for (int connection : {0, 1}) {
        QVERIFY(m_proxy->requests(connection)
                    .at(0)
                    .startsWith("CONNECT classroom.invalid:443 HTTP/1.1\r\n"));
    }
    QVERIFY(m_proxy->requests(1).at(1).startsWith("POST /s/xhr_send HTTP/1.1\r\n"));
    QVERIFY2(m_proxy->finished(), qPrintable(m_proxy->failure()));
}

void tst_SockJSProxy::refusalOfTheProxyFailsTheStart()
{
    m_proxy->onConnection({expectRequest(), send(reply("", "403 Forbidden"))});
    QVERIFY(m_proxy->listen(m_port));
    const LogCapture log;
    SockJSXHRPolling transport;
    QVERIFY(!transport.start(behindTheProxy(), 80, false, u"/s"_s, false));
    QCOMPARE(log.messages(), QStringList{"[SockJSXHRPolling] Proxy denied connection"});
}

void tst_SockJSProxy::deadProxyFailsTheStart()
{
    const LogCapture log;
    SockJSXHRPolling transport;
    QVERIFY(!transport.start(behindTheProxy(), 80, false, u"/s"_s, false));
    QCOMPARE(log.messages(), QStringList{"[SockJSXHRPolling] Proxy connection refused"});
}

void tst_SockJSProxy::websocketAttemptPutsTheProxyIntoTheEnvironment()
{
    QVERIFY(m_proxy->listen(m_port));
    const QByteArray before = qgetenv("http_proxy");
    QVERIFY(before.startsWith("http://"));
    RawWebSocketServer server;
    SockJSConnector connector;
    const QUrl url(u"ws://127.0.0.1:%1"_s.arg(server.port()));
    connector.open(url, {SockJSConnector::PROTOCOL_TYPE(3)});
    QCOMPARE(qgetenv("http_proxy"), before); // only a web-socket attempt sets it
    connector.open(url, {SockJSConnector::WEBSOCKET});
    QCOMPARE(qgetenv("http_proxy"), address(m_port));
    QVERIFY(SockJSProbe::webSocket(connector));
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
    SockJSXHRPolling transport;
    QVERIFY(transport.start(behindTheProxy(), 80, false, u"/s"_s, false));
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
    SockJSXHRPolling tunnelled;
    QVERIFY(tunnelled.start(behindTheProxy(), 80, false, u"/s"_s, false));
    QCOMPARE(second.connectionCount(), 1);

    qunsetenv("http_proxy");
    attempt(server);
    QVERIFY(!qEnvironmentVariableIsSet("http_proxy"));
    ScriptedServer polled;
    polled.onEveryOther({expectRequest(), send(reply("o\n"))});
    QVERIFY(polled.listen());
    SockJSXHRPolling direct;
    QVERIFY(direct.start(u"127.0.0.1"_s, polled.port(), false, u"/s"_s, false));
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
    SockJSXHRPolling transport;
    QVERIFY(transport.start(behindTheProxy(), 80, false, u"/s"_s, false));
    qunsetenv("http_proxy");
    ScriptedServer direct;
    direct.onConnection({expectRequest(), pause(20000)});
    direct.onConnection({expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(direct.listen());
    QVERIFY(transport.start(u"127.0.0.1"_s, direct.port(), false, u"/s"_s, false));
    transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE(direct.requests(1).size(), 1);
    QVERIFY(direct.requests(1).at(0).startsWith("POST /s/xhr_send HTTP/1.1\r\n"));
}

void tst_SockJSProxy::reconnectionGoesThroughTheProxy()
{
    m_proxy->onConnection({expectRequest(), send(TUNNEL), pause(200), close()});
    m_proxy->onConnection({expectRequest(), send(TUNNEL), expectRequest(), send(reply("o\n"))});
    QVERIFY(m_proxy->listen(m_port));
    SockJSXHRPolling transport;
    QSignalSpy frames(&transport, &SockJSXHRPolling::textMessageReceived);
    QVERIFY(transport.start(behindTheProxy(), 80, false, u"/s"_s, false));
    QTRY_COMPARE_WITH_TIMEOUT(frames.size(), 1, 20000);
    QVERIFY(m_proxy->requests(1).at(0).startsWith("CONNECT classroom.invalid:80 HTTP/1.1\r\n"));
}

QTEST_GUILESS_MAIN(tst_SockJSProxy)
#include "tst_sockjsproxy.moc"
