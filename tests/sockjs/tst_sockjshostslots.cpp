#include "EventBus.h"
#include "RawWebSocketServer.h"
#include "SockJSProbe.h"
#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtTest/QtTest>

using namespace Scripted;

// What the host may do in slots connected to the connector: anything.
class tst_SockJSHostSlots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostMayDoAnythingInASlot_data();
    void hostMayDoAnythingInASlot();
    void nestedLoopInASlotOfADyingSocketIsSafe();
    void messagesStopWhenTheirConnectionEnds();
    void messagesKeepTheirOrderWhenASlotWaits();
    void messagesOfAnEndedConnectionAreForgotten();
    void openFrameIsHeardBehindAnOpenstateSlotThatWaits();
};

namespace
{

constexpr auto WEBSOCKET = SockJSConnector::WEBSOCKET;
constexpr auto XHR_POLLING = SockJSConnector::XHR_POLLING;

QUrl serverUrl(quint16 port)
{
    return QUrl(u"ws://127.0.0.1:%1"_s.arg(port));
}

} // namespace

void tst_SockJSHostSlots::hostMayDoAnythingInASlot_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QString>("action");
    for (const bool xhr : {false, true}) {
        for (const char *signal : {"connected", "message", "closed"}) {
            for (const char *action : {"close", "delete", "close and delete", "open",
                                       "open and delete", "wait", "wait and delete", "send"}) {
                QTest::addRow("%s, %s: %s", xhr ? "XHR" : "web socket", signal, action)
                    << xhr << signal << action;
            }
        }
    }
}

void tst_SockJSHostSlots::hostMayDoAnythingInASlot()
{
    QFETCH(bool, xhr);
    QFETCH(QString, signal);
    QFETCH(QString, action);

    EventBus bus;
    EventBus other;
    ScriptedServer polled;
    polled.onConnection(
        {expectRequest(), send(reply("o\n")), expectRequest(), send(reply("a[\"1\",\"2\"]\n"))});
    polled.onEveryOther({expectRequest(), send(reply(""))});
    QVERIFY(polled.listen());

    auto *connector = new SockJSConnector;
    const QPointer<SockJSConnector> alive(connector);
    int closed = 0;
    bool done = false;
    const auto act = [&] {
        if (done)
            return;
        done = true;
        if (action.startsWith(u"close"_s))
            connector->close();
        if (action.startsWith(u"open"_s))
            connector->open(serverUrl(other.port()), {WEBSOCKET});
        if (action.startsWith(u"wait"_s))
            QTest::qWait(50);
        if (action == u"send"_s)
            connector->sendMessage(u"x"_s, false);
        if (action.endsWith(u"delete"_s))
            delete connector;
    };
    connect(connector, &SockJSConnector::closed, this, [&] { ++closed; });
    if (signal == u"connected"_s)
        connect(connector, &SockJSConnector::connected, this, act);
    else if (signal == u"message"_s)
        connect(connector, &SockJSConnector::sockJSMessage, this, act);
    else
        connect(connector, &SockJSConnector::closed, this, act);

    connector->open(serverUrl(xhr ? polled.port() : bus.port()), {xhr ? XHR_POLLING : WEBSOCKET});
    if (!xhr) {
        QTRY_VERIFY(bus.client);
        // Several in one packet: the rest still comes when the first has ended everything. Two
        // server connections exist where the host opened again in the slot.
        if (bus.client) {
            bus.client->sendTextMessage(u"a[\"1\",\"2\"]"_s);
            bus.client->sendTextMessage(u"a[\"3\"]"_s);
        }
    }
    if (signal == u"closed"_s) {
        QTRY_VERIFY_WITH_TIMEOUT(connector->isConnected(), 20000);
        QTest::qWait(50);
        connector->close();
    }
    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    QTest::qWait(150);
    const bool deletes = action.endsWith(u"delete"_s);
    QCOMPARE(bool(alive), !deletes);
    if (alive) {
        const bool reopened = action == u"open"_s;
        if (reopened)
            QTRY_VERIFY(connector->isConnected());
        connector->disconnect(this);
        QSignalSpy last(connector, &SockJSConnector::closed);
        connector->close();
        const bool wasOpen = reopened || (signal != u"closed"_s && action != u"close"_s);
        QTRY_COMPARE_WITH_TIMEOUT(closed + last.size(),
                                  1 + (reopened ? 1 : 0) + (wasOpen || closed ? 0 : 1), 20000);
        delete connector;
    }
    QTest::qWait(20);
}

// A slot that waits keeps the socket's signal on the stack while the socket is given up and its
// patience ends.
void tst_SockJSHostSlots::nestedLoopInASlotOfADyingSocketIsSafe()
{
    RawWebSocketServer server;
    server.answersPings = false;
    server.behindHandshake = RawWebSocketServer::text("o");
    bool done = false;
    SockJSConnector connector;
    connect(&connector, &SockJSConnector::sockJSMessage, this, [&] {
        connector.close();
        QTest::qWait(4500);
        done = true;
    });
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    server.client->write(RawWebSocketServer::text("a[\"1\"]")
                         + RawWebSocketServer::text("a[\"2\"]"));
    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    QTest::qWait(50);
}

void tst_SockJSHostSlots::messagesStopWhenTheirConnectionEnds()
{
    EventBus bus;
    QStringList messages;
    SockJSConnector connector;
    connect(&connector, &SockJSConnector::sockJSMessage, this, [&](const QString &message) {
        messages.append(message);
        if (message == u"2"_s)
            connector.close();
    });
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector.isConnected());
    bus.client->sendTextMessage(u"a[\"1\",\"2\",\"3\"]"_s);
    bus.client->sendTextMessage(u"a[\"4\"]"_s);
    QTRY_COMPARE(bus.closeCodes.size(), 1);
    QCOMPARE(messages, (QStringList{"1", "2"}));
}

// Servers put several messages into one frame, and a slot that asks the service something waits.
void tst_SockJSHostSlots::messagesKeepTheirOrderWhenASlotWaits()
{
    EventBus bus;
    QStringList messages;
    SockJSConnector connector;
    connect(&connector, &SockJSConnector::sockJSMessage, this, [&](const QString &message) {
        messages.append(message);
        if (message != u"1"_s)
            return;
        bus.client->sendTextMessage(u"a[\"4\",\"5\"]"_s);
        QVERIFY(QTest::qWaitFor([&] { return messages.contains(u"5"_s); }));
    });
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector.isConnected());
    bus.client->sendTextMessage(u"a[\"1\",\"2\",\"3\"]"_s);
    QTRY_COMPARE(messages, (QStringList{"1", "2", "3", "4", "5"}));
}

void tst_SockJSHostSlots::messagesOfAnEndedConnectionAreForgotten()
{
    EventBus bus;
    EventBus other;
    QStringList messages;
    SockJSConnector connector;
    connect(&connector, &SockJSConnector::sockJSMessage, this, [&](const QString &message) {
        messages.append(message);
        if (message != u"1"_s)
            return;
        connector.open(serverUrl(other.port()), {WEBSOCKET});
        QTRY_VERIFY(connector.isConnected());
        other.client->sendTextMessage(u"a[\"other\"]"_s);
        QTest::qWait(200);
    });
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector.isConnected());
    bus.client->sendTextMessage(u"a[\"1\",\"2\"]"_s);
    QTRY_COMPARE(messages, (QStringList{"1", "other"}));
    QTest::qWait(50);
    QCOMPARE(messages, (QStringList{"1", "other"}));
}

// The slot is called by hand while the attempt waits, and what called it goes on with a loop of its own.
void tst_SockJSHostSlots::openFrameIsHeardBehindAnOpenstateSlotThatWaits()
{
    EventBus bus;
    SockJSConnector connector;
    QTimer::singleShot(0, this, [&] {
        connector.openstate1();
        QTest::qWait(300);
    });
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY_WITH_TIMEOUT(connector.isConnected(), 2000);
}

QTEST_GUILESS_MAIN(tst_SockJSHostSlots)
#include "tst_sockjshostslots.moc"
