// What the channel hands on to its connection: the robust transport, its limits, and the pings.
#include "OpenChannel.h"
#include "sockjs/RawServers.h"
#include "sockjs/SockJSProbe.h"
#include "support/ScriptedServer.h"

#include <QtCore/QTimer>
#include <QtTest/QtTest>

class tst_RobustChannel : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void robustOpenReturnsBeforeTheChannelIsOpen();
    void switchIsOffByDefault();
    void failureOfAllTransportsIsTold();
    void endOfTheServerIsTold();
    void endOfTheHostIsTold();
    void heartbeatTimeoutIsHandedOn();
    void silenceTimeoutIsHandedOn();

    void pingIntervalIsAMinute_data();
    void pingIntervalIsAMinute();
    void pingIntervalTakesEffectAtOnce_data();
    void pingIntervalTakesEffectAtOnce();
    void pingIntervalBeforeTheConnectionWaitsForIt_data();
    void pingIntervalBeforeTheConnectionWaitsForIt();
    void endedChannelPingsNoMore_data();
    void endedChannelPingsNoMore();
};

namespace
{

const QString PING = uR"({"type":"ping"})"_s;

SockJSConnector &connectorOf(const PresenterCollab &channel)
{
    return *channel.findChild<SockJSConnector *>();
}

QTimer *pingTimer(const PresenterCollab &channel)
{
    return channel.findChild<QTimer *>(QString(), Qt::FindDirectChildrenOnly);
}

// A channel over the robust transport to a server that somebody else runs, and the words of its ends.
struct RobustChannel {
    explicit RobustChannel(quint16 port)
        : channel(nullptr, u"http://127.0.0.1:%1"_s.arg(port), u"CODE"_s, u"session"_s,
                  u"teacher"_s)
    {
        channel.setRobustTransport(true);
        QObject::connect(&channel, &PresenterCollab::connectionClosed, &channel, [this] {
            ends.append(u"%1 %2"_s.arg(channel.getCloseCode()).arg(channel.getCloseReason()));
        });
    }
    LogCapture log;
    QStringList ends;
    PresenterCollab channel;
};

void addBothWays()
{
    QTest::addColumn<bool>("robust");
    QTest::newRow("robust") << true;
    QTest::newRow("default") << false;
}

} // namespace

// ---- The transport -------------------------------------------------------------------------------

void tst_RobustChannel::robustOpenReturnsBeforeTheChannelIsOpen()
{
    OpenChannel host;
    const LogCapture log;
    host.channel.setRobustTransport(true);
    QVERIFY(connectorOf(host.channel).isRobustTransport());
    host.channel.open({u"websocket"_s});
    QCOMPARE(host.channel.getTransport(), QString());
    QVERIFY(!host.channel.isConnected());
    QTRY_VERIFY(host.channel.isConnected());
    QCOMPARE(host.channel.getTransport(), u"websocket"_s);
    QTRY_COMPARE(host.bus.messages(),
                 (QStringList{R"({"type":"register","address":"session"})",
                              R"({"type":"register","address":"session.presenter"})",
                              R"({"type":"register","address":"session.presenter.teacher"})"}));
}

void tst_RobustChannel::switchIsOffByDefault()
{
    OpenChannel host;
    const LogCapture log;
    QVERIFY(!connectorOf(host.channel).isRobustTransport());
    host.channel.open({u"websocket"_s});
    QCOMPARE(host.channel.getTransport(), u"websocket"_s);
    host.channel.setRobustTransport(true);
    host.channel.setRobustTransport(false);
    QVERIFY(!connectorOf(host.channel).isRobustTransport());
}

// Nothing listens on port 1.
void tst_RobustChannel::failureOfAllTransportsIsTold()
{
    RobustChannel host(1);
    host.channel.open({u"websocket"_s, u"xhr-polling"_s});
    QCOMPARE(host.ends, QStringList());
    QTRY_COMPARE(host.ends,
                 QStringList{"1006 No transport could be opened: websocket: Connection refused; "
                             "xhr-polling: The server cannot be reached: Connection refused"});
    QVERIFY(!pingTimer(host.channel)->isActive());
}

void tst_RobustChannel::endOfTheServerIsTold()
{
    OpeningServer server;
    RobustChannel host(server.port());
    host.channel.open({u"websocket"_s});
    QTRY_VERIFY(host.channel.isConnected());
    QCOMPARE(host.channel.getCloseCode(), 0);
    QCOMPARE(host.channel.getCloseReason(), QString());
    server.client->write(RawWebSocketServer::frame(RawWebSocketServer::CLOSE,
                                                   QByteArray("\x0f\xa1", 2) + "class over"));
    QTRY_COMPARE(host.ends, QStringList{"4001 class over"});
    host.channel.open({u"websocket"_s});
    QCOMPARE(host.channel.getCloseCode(), 0);
    QCOMPARE(host.channel.getCloseReason(), QString());
}

void tst_RobustChannel::endOfTheHostIsTold()
{
    OpeningServer server;
    RobustChannel host(server.port());
    host.channel.open({u"websocket"_s});
    QTRY_VERIFY(host.channel.isConnected());
    host.channel.close();
    QTRY_COMPARE(host.ends, QStringList{"1000 Closed by the host"});
}

void tst_RobustChannel::heartbeatTimeoutIsHandedOn()
{
    using namespace Scripted;
    ScriptedServer server;
    server.onConnection({expectRequest(), send(reply("o\n")), expectRequest(), send(reply("h\n")),
                         expectRequest(), pause(2000)});
    server.onEveryOther({expectRequest(), send(reply("", "204 No Content"))});
    QVERIFY(server.listen());
    RobustChannel host(server.port());
    host.channel.setHeartbeatTimeout(400);
    host.channel.open({u"xhr-polling"_s});
    QTRY_COMPARE(host.ends, QStringList{"1006 The server was silent for 400 ms"});
}

void tst_RobustChannel::silenceTimeoutIsHandedOn()
{
    OpeningServer server;
    RobustChannel host(server.port());
    host.channel.setSilenceTimeout(200);
    host.channel.open({u"websocket"_s});
    QTRY_VERIFY(host.channel.isConnected());
    const auto isPing = [](const RawWebSocketServer::Frame &frame) {
        return frame.opcode == RawWebSocketServer::PING;
    };
    QTRY_VERIFY(std::any_of(server.frames.cbegin(), server.frames.cend(), isPing));
}

// ---- Pings ---------------------------------------------------------------------------------------

void tst_RobustChannel::pingIntervalIsAMinute_data()
{
    addBothWays();
}

void tst_RobustChannel::pingIntervalIsAMinute()
{
    QFETCH(bool, robust);
    OpenChannel host;
    const LogCapture log;
    host.channel.setRobustTransport(robust);
    QVERIFY(host.open());
    QVERIFY(pingTimer(host.channel)->isActive());
    QVERIFY(!pingTimer(host.channel)->isSingleShot());
    QCOMPARE(pingTimer(host.channel)->interval(), 60000);
}

void tst_RobustChannel::pingIntervalTakesEffectAtOnce_data()
{
    addBothWays();
}

void tst_RobustChannel::pingIntervalTakesEffectAtOnce()
{
    QFETCH(bool, robust);
    OpenChannel host;
    const LogCapture log;
    host.channel.setRobustTransport(robust);
    QVERIFY(host.open());
    host.channel.setPingInterval(50);
    QCOMPARE(host.published(3).mid(0, 3), (QStringList{PING, PING, PING}));
    host.channel.setPingInterval(0);
    QVERIFY(!pingTimer(host.channel)->isActive());
    QTest::qWait(50); // for one that is on its way
    const int pings = host.bus.published().size();
    QTest::qWait(300);
    QCOMPARE(host.bus.published().size(), pings);
    host.channel.setPingInterval(50);
    QTRY_VERIFY(host.bus.published().size() >= pings + 2);
    host.channel.setPingInterval(-1);
    QVERIFY(!pingTimer(host.channel)->isActive());
}

void tst_RobustChannel::pingIntervalBeforeTheConnectionWaitsForIt_data()
{
    addBothWays();
}

void tst_RobustChannel::pingIntervalBeforeTheConnectionWaitsForIt()
{
    QFETCH(bool, robust);
    OpenChannel host;
    host.bus.opensNoSessions();
    const LogCapture log;
    host.channel.setRobustTransport(robust);
    host.channel.setPingInterval(50);
    QVERIFY(!pingTimer(host.channel)->isActive());
    host.channel.open({u"websocket"_s});
    QTRY_VERIFY(host.bus.hasConnection());
    host.channel.setPingInterval(60);
    QTest::qWait(200);
    QVERIFY(!pingTimer(host.channel)->isActive());
    QCOMPARE(host.bus.messages(), QStringList());
    host.bus.sendFrame(u"o"_s);
    QTRY_VERIFY(host.bus.published().size() >= 2);
    QCOMPARE(pingTimer(host.channel)->interval(), 60);
}

void tst_RobustChannel::endedChannelPingsNoMore_data()
{
    addBothWays();
}

void tst_RobustChannel::endedChannelPingsNoMore()
{
    QFETCH(bool, robust);
    OpenChannel host;
    const LogCapture log;
    host.channel.setRobustTransport(robust);
    QVERIFY(host.open());
    const QSignalSpy closed(&host.channel, &PresenterCollab::connectionClosed);
    host.bus.closeConnection();
    QTRY_COMPARE(closed.size(), 1);
    host.channel.setPingInterval(20);
    QVERIFY(!pingTimer(host.channel)->isActive());

    host.bus.clear();
    host.channel.setPingInterval(0);
    QVERIFY(host.open());
    QVERIFY(!pingTimer(host.channel)->isActive());
}

QTEST_GUILESS_MAIN(tst_RobustChannel)
#include "tst_robustchannel.moc"
