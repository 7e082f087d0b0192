#include "FarEnd.h"
#include "RawServers.h"

using namespace Scripted;

// What the host may do in slots connected to the connector: anything.
class tst_SockJSHostSlots : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostMayDoAnythingInASlot_data();
    void hostMayDoAnythingInASlot();
    void nestedLoopInASlotOfADyingSocketIsSafe();
    void messagesStopWhenTheirConnectionEnds_data();
    void messagesStopWhenTheirConnectionEnds();
    void messagesKeepTheirOrderWhenASlotWaits();
    void messagesOfAnEndedConnectionAreForgotten();
    void openFrameIsHeardBehindAnOpenstateSlotThatWaits();
};

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

    FarEnd far(xhr);
    far.polled.onConnection(POLLED_OPEN + Script{expectRequest(), send(reply("a[\"1\",\"2\"]\n"))});
    far.polled.onEveryOther({expectRequest(), send(reply(""))});
    EventBusServer other;

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

    far.open(*connector);
    if (!xhr) {
        // Where the host has opened elsewhere in the slot, this connection may be gone.
        QTRY_VERIFY(far.bus.connection() || done);
        // Several in one packet: the rest still comes when the first has ended everything.
        if (far.bus.connection()) {
            far.bus.sendFrame(u"a[\"1\",\"2\"]"_s);
            far.bus.sendFrame(u"a[\"3\"]"_s);
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
    OpeningServer server;
    server.answersPings = false;
    bool done = false;
    ConnectorRun run;
    connect(&run.connector, &SockJSConnector::sockJSMessage, this, [&] {
        run.connector.close();
        QTest::qWait(4500);
        done = true;
    });
    run.open(server.port());
    server.client->write(RawWebSocketServer::text("a[\"1\"]")
                         + RawWebSocketServer::text("a[\"2\"]"));
    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    QTest::qWait(50);
}

void tst_SockJSHostSlots::messagesStopWhenTheirConnectionEnds_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("robust");
    QTest::addColumn<QString>("last");
    for (const bool xhr : {false, true}) {
        for (const bool robust : {false, true}) {
            for (const char *last : {"1", "2", "3"})
                QTest::addRow("%s, %s, %s", xhr ? "XHR" : "web socket",
                              robust ? "robust" : "default", last)
                    << xhr << robust << QString(last);
        }
    }
}

// A slot closes; what else came in the same frame, and behind it, is not heard any more.
void tst_SockJSHostSlots::messagesStopWhenTheirConnectionEnds()
{
    QFETCH(bool, xhr);
    QFETCH(bool, robust);
    QFETCH(QString, last);
    const QStringList messages{"1", "2", "3"};
    FarEnd far(xhr);
    const QString frame = u"a[\"1\",\"2\",\"3\"]"_s;
    far.polled.onConnection(POLLED_OPEN + Script{expectRequest(), send(reply(frame.toUtf8()))});
    ConnectorRun run;
    run.connector.setRobustTransport(robust);
    connect(&run.connector, &SockJSConnector::sockJSMessage, this, [&](const QString &message) {
        if (message == last)
            run.connector.close();
    });
    far.open(run.connector);
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.size(), 1, 20000);
    if (!xhr) {
        far.bus.sendFrame(frame);
        far.bus.sendFrame(u"a[\"4\"]"_s);
    }
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    if (!xhr)
        QTRY_COMPARE(far.bus.closeCodes().size(), 1);
    QCOMPARE(run.texts(), messages.mid(0, messages.indexOf(last) + 1));
}

// Servers put several messages into one frame, and a slot that asks the service something waits.
void tst_SockJSHostSlots::messagesKeepTheirOrderWhenASlotWaits()
{
    EventBusServer bus;
    ConnectorRun run;
    connect(&run.connector, &SockJSConnector::sockJSMessage, this, [&](const QString &message) {
        if (message != u"1"_s)
            return;
        bus.sendFrame(u"a[\"4\",\"5\"]"_s);
        QVERIFY(QTest::qWaitFor([&] { return run.texts().contains(u"5"_s); }));
    });
    run.open(bus.port());
    QTRY_VERIFY(run.connector.isConnected());
    bus.sendFrame(u"a[\"1\",\"2\",\"3\"]"_s);
    QTRY_COMPARE(run.texts(), (QStringList{"1", "2", "3", "4", "5"}));
}

void tst_SockJSHostSlots::messagesOfAnEndedConnectionAreForgotten()
{
    EventBusServer bus;
    EventBusServer other;
    ConnectorRun run;
    connect(&run.connector, &SockJSConnector::sockJSMessage, this, [&](const QString &message) {
        if (message != u"1"_s)
            return;
        run.open(other.port());
        QTRY_VERIFY(run.connector.isConnected());
        other.sendFrame(u"a[\"other\"]"_s);
        QTest::qWait(200);
    });
    run.open(bus.port());
    QTRY_VERIFY(run.connector.isConnected());
    bus.sendFrame(u"a[\"1\",\"2\"]"_s);
    QTRY_COMPARE(run.texts(), (QStringList{"1", "other"}));
    other.sendFrame(u"a[\"last\"]"_s);
    QTRY_COMPARE(run.texts(), (QStringList{"1", "other", "last"}));
}

// The slot is called by hand while the attempt waits, and what called it goes on with a loop of its own.
void tst_SockJSHostSlots::openFrameIsHeardBehindAnOpenstateSlotThatWaits()
{
    EventBusServer bus;
    ConnectorRun run;
    QTimer::singleShot(0, this, [&] {
        run.connector.openstate1();
        QTest::qWait(300);
    });
    run.open(bus.port());
    QTRY_VERIFY_WITH_TIMEOUT(run.connector.isConnected(), 2000);
}

QTEST_GUILESS_MAIN(tst_SockJSHostSlots)
#include "tst_sockjshostslots.moc"
