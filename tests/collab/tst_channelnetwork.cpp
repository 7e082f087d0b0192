// What the channel hands on of the network: certificates, the proxy, probes; and the ids by which
// answers to its polls are known.
#include "OpenChannel.h"
#include "sockjs/RawServers.h"
#include "sockjs/TunnelProxy.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

#include <QtTest/QtTest>

class tst_ChannelNetwork : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void certificatesAreHandedOn_data();
    void certificatesAreHandedOn();
    void proxyIsHandedOn();
    void probeEndsAMuteWebSocket();
    void probePostsThePing();
    void probeOfAClosedChannelDoesNothing();
    void answersToAPollCarryTheQuestionsId_data();
    void answersToAPollCarryTheQuestionsId();
};

namespace
{

// A channel over the robust transport.
struct Channel : PresenterCollab {
    explicit Channel(const QString &server)
        : PresenterCollab(nullptr, server, u"CODE"_s, u"session"_s, u"teacher"_s)
    {
        setRobustTransport(true);
    }
    const LogCapture log;
    QSignalSpy closed{this, &PresenterCollab::connectionClosed};
};

QString httpUrl(quint16 port)
{
    return u"http://127.0.0.1:%1"_s.arg(port);
}

} // namespace

void tst_ChannelNetwork::certificatesAreHandedOn_data()
{
    QTest::addColumn<bool>("trusted");
    QTest::newRow("trusted") << true;
    QTest::newRow("not trusted") << false;
}

void tst_ChannelNetwork::certificatesAreHandedOn()
{
    QFETCH(bool, trusted);
    TestCertificates authority;
    const TestCertificates::Identity identity = authority.issue(u"localhost"_s);
    EventBusServer bus(&identity);
    Channel channel(u"https://127.0.0.1:%1"_s.arg(bus.port()));
    if (trusted)
        channel.setTrustedCertificates({authority.root()});
    channel.open({u"websocket"_s});
    QTRY_VERIFY(channel.isConnected() || !channel.closed.isEmpty());
    QCOMPARE(channel.isConnected(), trusted);
}

void tst_ChannelNetwork::proxyIsHandedOn()
{
    EventBusServer bus;
    TunnelProxy proxy(bus.port());
    Channel channel(u"http://classroom.invalid"_s);
    channel.setProxy(QNetworkProxy(QNetworkProxy::HttpProxy, u"127.0.0.1"_s, proxy.port()));
    channel.open({u"websocket"_s});
    QTRY_COMPARE(bus.messages().size(), 3);
    QCOMPARE(proxy.tunnels, 1);
}

void tst_ChannelNetwork::probeEndsAMuteWebSocket()
{
    OpeningServer server;
    server.answersPings = false;
    Channel channel(httpUrl(server.port()));
    channel.open({u"websocket"_s});
    QTRY_VERIFY(channel.isConnected());
    channel.probe(200);
    QTRY_COMPARE(channel.closed.size(), 1);
    QCOMPARE(channel.getCloseCode(), 1006);
    QVERIFY(channel.getCloseReason().startsWith(u"The server was silent for "_s));
}

void tst_ChannelNetwork::probePostsThePing()
{
    using namespace Scripted;
    ScriptedServer server;
    server.onConnection({expectRequest(), send(reply("o\n")), expectRequest(), pause(60000)});
    const QByteArray taken = reply("", "204 No Content");
    // The first registration, the two others together, the ping.
    server.onConnection({expectRequest(), send(taken), expectRequest(), send(taken),
                         expectRequest(), pause(60000)});
    QVERIFY(server.listen());
    Channel channel(httpUrl(server.port()));
    channel.open({u"xhr-polling"_s});
    QTRY_VERIFY(channel.isConnected());
    QTRY_VERIFY(!channel.hasUnsentMessages());
    channel.probe(500);
    QTRY_COMPARE(server.requests(1).size(), 3);
    QVERIFY(server.requests(1).last().endsWith("[\n    \"{\\\"type\\\":\\\"ping\\\"}\"\n]\n"));
    QTRY_COMPARE(channel.closed.size(), 1);
    QCOMPARE(channel.getCloseReason(), u"The server did not answer within 500 ms"_s);
}

void tst_ChannelNetwork::probeOfAClosedChannelDoesNothing()
{
    OpenChannel host;
    host.channel.probe(1);
    host.channel.setRobustTransport(true);
    host.channel.probe(1);
    QVERIFY(host.open());
    host.channel.close();
    host.channel.probe(1);
    QTest::qWait(300);
    QCOMPARE(host.channel.getCloseCode(), 1000);
}

void tst_ChannelNetwork::answersToAPollCarryTheQuestionsId_data()
{
    QTest::addColumn<int>("kind");
    for (size_t kind = 0; kind < std::size(pollKinds); ++kind)
        QTest::addRow("%d %s", pollKinds[kind].value, pollKinds[kind].name) << int(kind);
}

void tst_ChannelNetwork::answersToAPollCarryTheQuestionsId()
{
    QFETCH(int, kind);
    OpenChannel host;
    QVERIFY(host.open());
    QVERIFY(host.channel.getCurrentQuestionId().isEmpty());
    host.channel.startPoll(pollKinds[kind].type(), Tarvo::OrdinalType::ALPHA_UPPER, 3, 0);
    const QString id = host.sent(0).object().value("id").toString();
    QVERIFY(!id.isEmpty());
    QCOMPARE(host.channel.getCurrentQuestionId(), id);
    QCOMPARE(id == host.channel.getCurrentPollId(), pollKinds[kind].className == nullptr);
}

QTEST_GUILESS_MAIN(tst_ChannelNetwork)
#include "tst_channelnetwork.moc"
