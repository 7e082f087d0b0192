#include "EventBus.h"
#include "RawWebSocketServer.h"
#include "SockJSProbe.h"
#include "support/ScriptedServer.h"

#include <QtTest/QtTest>

using namespace Scripted;

// What the host may do in slots connected to the connector: anything.
class tst_SockJSHostSlots : public QObject
{
    Q_OBJECT

private slots:
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
    return QUrl(QStringLiteral("ws://127.0.0.1:%1").arg(port));
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
        if (action.startsWith(QStringLiteral("close")))
            connector->close();
        if (action.startsWith(QStringLiteral("open")))
            connector->open(serverUrl(other.port()), {WEBSOCKET});
        if (action.startsWith(QStringLiteral("wait")))
            QTest::qWait(50);
        if (action == QStringLiteral("send"))
            connector->sendMessage(QStringLiteral("x"), false);
        if (action.endsWith(QStringLiteral("delete")))
            delete connector;
    };
    connect(connector, &SockJSConnector::closed, this, [&] { ++closed; });
    if (signal == QStringLiteral("connected"))
        connect(connector, &SockJSConnector::connected, this, act);
    else if (signal == QStringLiteral("message"))
        connect(connector, &SockJSConnector::sockJSMessage, this, act);
    else
        connect(connector, &SockJSConnector::closed, this, act);

    connector->open(serverUrl(xhr ? polled.port() : bus.port()), {xhr ? XHR_POLLING : WEBSOCKET});
    if (!xhr) {
        QTRY_VERIFY(bus.client);
        // Several in one packet: the rest still comes when the first has ended everything. Two
        // server connections exist where the host opened again in the slot.
        if (bus.client) {
            bus.client->sendTextMessage(QStringLiteral("a[\"1\",\"2\"]"));
            bus.client->sendTextMessage(QStringLiteral("a[\"3\"]"));
        }
    }
    if (signal == QStringLiteral("closed")) {
        QTRY_VERIFY_WITH_TIMEOUT(connector->isConnected(), 20000);
        QTest::qWait(50);
        connector->close();
    }
    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    QTest::qWait(150);
    const bool deletes = action.endsWith(QStringLiteral("delete"));
    QCOMPARE(bool(alive), !deletes);
    if (alive) {
        const bool reopened = action == QStringLiteral("open");
        if (reopened)
            QTRY_VERIFY(connector->isConnected());
        connector->disconnect(this);
        QSignalSpy last(connector, &SockJSConnector::closed);
        connector->close();
        const bool wasOpen =
            reopened || (signal != QStringLiteral("closed") && action != QStringLiteral("close"));
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
        if (message == QStringLiteral("2"))
            connector.close();
    });
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector.isConnected());
    bus.client->sendTextMessage(QStringLiteral("a[\"1\",\"2\",\"3\"]"));
    bus.client->sendTextMessage(QStringLiteral("a[\"4\"]"));
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
        if (message != QStringLiteral("1"))
            return;
        bus.client->sendTextMessage(QStringLiteral("a[\"4\",\"5\"]"));
        QVERIFY(QTest::qWaitFor([&] { return messages.contains(QStringLiteral("5")); }));
    });
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector.isConnected());
    bus.client->sendTextMessage(QStringLiteral("a[\"1\",\"2\",\"3\"]"));
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
        if (message != QStringLiteral("1"))
            return;
        connector.open(serverUrl(other.port()), {WEBSOCKET});
        QTRY_VERIFY(connector.isConnected());
        other.client->sendTextMessage(QStringLiteral("a[\"other\"]"));
        QTest::qWait(200);
    });
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector.isConnected());
    bus.client->sendTextMessage(QStringLiteral("a[\"1\",\"2\"]"));
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
