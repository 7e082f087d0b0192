#include "RawServers.h"
#include "RobustRun.h"

using namespace Scripted;

// What the connector makes of calls and frames that meet the end, or the beginning, of a connection.
class tst_SockJSConnectorEnds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostMayDeleteAConnectorThatItOpensAgain();
    void hostMayDoAnythingInASlotOfTheLastMessage_data();
    void hostMayDoAnythingInASlotOfTheLastMessage();
    void deathThatIsToldBehindACloseIsNoEndOfItsOwn();
    void closeFrameOfAnEarlierConnectionIsNotThisOnes();
    void secondPongDoesNotCloseTwice();
    void largeMessageIsBeingSentUntilItHasLeft();
    void messageBehindACloseStillLeaves();
    void openstate1InAnAttemptTakesTheConnectionAsItStands();
    void openstate2InARobustAttemptEndsItWhateverComes();
};

void tst_SockJSConnectorEnds::hostMayDeleteAConnectorThatItOpensAgain()
{
    EventBusServer bus;
    auto *connector = new SockJSConnector;
    const QPointer<SockJSConnector> alive(connector);
    connector->open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector->isConnected());
    connect(connector, &SockJSConnector::closed, this, [&] { delete connector; });
    connector->open(serverUrl(bus.port()), {WEBSOCKET});
    QVERIFY(!alive);
    QTRY_COMPARE(bus.closeCodes().size(), 1);
    QCOMPARE(bus.paths().size(), 1);
}

void tst_SockJSConnectorEnds::hostMayDoAnythingInASlotOfTheLastMessage_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<QString>("action");
    for (const bool xhr : {false, true}) {
        for (const char *action : {"nothing", "close", "delete", "open", "open and wait"})
            QTest::addRow("%s: %s", xhr ? "XHR" : "web socket", action) << xhr << action;
    }
}

// The slot of the first message waits until the second has been told, which the end of the connection brings
// about.
void tst_SockJSConnectorEnds::hostMayDoAnythingInASlotOfTheLastMessage()
{
    QFETCH(bool, xhr);
    QFETCH(QString, action);
    const QByteArray frame = "a[\"1\",\"2\"]";
    ScriptedServer polled;
    polled.onConnection(POLLED_OPEN
                        + Script{expectRequest(), send(reply(frame + "\nc[3000,\"Go away!\"]\n"))});
    QVERIFY(polled.listen());
    OpeningServer raw(RawWebSocketServer::text(frame)
                      + RawWebSocketServer::frame(RawWebSocketServer::CLOSE, "\x0b\xb8Go away!"));
    EventBusServer other;

    auto *connector = new SockJSConnector;
    const QPointer<SockJSConnector> alive(connector);
    connector->setRobustTransport(true);
    QStringList texts;
    int closed = 0;
    connect(connector, &SockJSConnector::closed, this, [&] { ++closed; });
    connect(connector, &SockJSConnector::sockJSMessage, this, [&](const QString &text) {
        texts.append(text);
        if (text == u"1"_s) {
            QVERIFY(QTest::qWaitFor([&] { return texts.size() == 2; }, 20000));
            return;
        }
        if (action == u"close"_s)
            connector->close();
        else if (action == u"delete"_s)
            delete connector;
        else if (action.startsWith(u"open"_s))
            connector->open(serverUrl(other.port()), {WEBSOCKET});
        if (action.endsWith(u"wait"_s))
            QTest::qWait(100);
    });
    connector->open(serverUrl(xhr ? polled.port() : raw.port()), {xhr ? XHR_POLLING : WEBSOCKET});
    QTRY_COMPARE_WITH_TIMEOUT(texts, (QStringList{"1", "2"}), 20000);
    QTRY_COMPARE(closed, 1);
    QTest::qWait(100);
    QCOMPARE(closed, 1);
    QCOMPARE(bool(alive), action != u"delete"_s);
    if (action.startsWith(u"open"_s))
        QTRY_VERIFY(connector->isConnected());
    else if (alive)
        QCOMPARE(connector->getCloseCode(), action == u"close"_s ? 1000 : 3000);
    if (alive)
        alive->disconnect(this);
    delete alive.data();
}

// What watches a web socket says so from the event loop.
void tst_SockJSConnectorEnds::deathThatIsToldBehindACloseIsNoEndOfItsOwn()
{
    OpeningServer server;
    RobustRun run;
    run.open(server.port(), {WEBSOCKET});
    QVERIFY(run.waitForSession());
    QObject *watch = nullptr;
    for (QObject *child : SockJSProbe::webSocket(run.connector)->children()) {
        if (child->inherits("WebSocketWatch"))
            watch = child;
    }
    QVERIFY(watch);
    QVERIFY(QMetaObject::invokeMethod(watch, "isDead", Qt::DirectConnection, Q_ARG(int, 60000)));
    run.connector.close();
    QTest::qWait(100);
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.connector.getCloseCode(), 1000);
}

void tst_SockJSConnectorEnds::closeFrameOfAnEarlierConnectionIsNotThisOnes()
{
    OpeningServer earlier;
    earlier.answersPings = false;
    OpeningServer server;
    ConnectorRun run;
    run.open(earlier.port());
    QTRY_COMPARE(run.connected.size(), 1);
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 2);
    QTRY_COMPARE(earlier.frames.size(), 1);
    QCOMPARE(earlier.frames.at(0).opcode, int(RawWebSocketServer::PING));
    earlier.client->write(RawWebSocketServer::frame(RawWebSocketServer::CLOSE, "\x0b\xb8"));
    QTRY_COMPARE(earlier.frames.size(), 2);
    server.client->abort();
    QTRY_COMPARE(run.closed.size(), 2);
    QCOMPARE(run.connector.getCloseCode(), 1006);
}

void tst_SockJSConnectorEnds::secondPongDoesNotCloseTwice()
{
    OpeningServer server;
    server.answersPings = false;
    ConnectorRun run;
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 1);
    run.connector.close();
    QTRY_COMPARE(server.frames.size(), 1);
    const QByteArray pong =
        RawWebSocketServer::frame(RawWebSocketServer::PONG, server.frames.at(0).payload);
    server.client->write(pong + pong);
    QTRY_VERIFY(!run.connector.isSending());
    QTRY_COMPARE(server.client->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(server.frames.size(), 2);
    QCOMPARE(server.frames.at(1).opcode, int(RawWebSocketServer::CLOSE));
}

void tst_SockJSConnectorEnds::largeMessageIsBeingSentUntilItHasLeft()
{
    EventBusServer bus;
    ConnectorRun run;
    run.open(bus.port());
    QTRY_VERIFY(run.connector.isConnected());
    QVERIFY(!run.connector.isSending());
    const QString large(8 * 1024 * 1024, QLatin1Char('x'));
    run.connector.sendMessage(large, false);
    QVERIFY(run.connector.isSending());
    QTRY_COMPARE_WITH_TIMEOUT(bus.messages().size(), 1, 20000);
    QCOMPARE(bus.messages().at(0).size(), large.size());
    QVERIFY(!run.connector.isSending());
}

void tst_SockJSConnectorEnds::messageBehindACloseStillLeaves()
{
    RobustRun run({POLLED_OPEN, {expectRequest(), send(NO_CONTENT)}});
    run.open();
    QVERIFY(run.waitForSession());
    run.connector.close();
    run.connector.sendMessage(u"last"_s, false);
    QTRY_COMPARE(run.closed.size(), 1);
    QTRY_COMPARE(run.server.requests(1).size(), 1);
    QCOMPARE(bodyOf(run.server.requests(1).at(0)), framed(u"last"_s).toUtf8());
}

// A slot of the host that leaves the attempt's wait before the handshake is answered.
void tst_SockJSConnectorEnds::openstate1InAnAttemptTakesTheConnectionAsItStands()
{
    StallingServer server;
    ConnectorRun run;
    QTimer::singleShot(100, &run.connector, [&] { run.connector.openstate1(); });
    run.open(server.port());
    QCOMPARE(run.log.messages().count(CONNECTED_LINE), 1);
    QTRY_VERIFY(server.request().endsWith("\r\n\r\n"));
    server.behindHandshake = RawWebSocketServer::text("o");
    server.answerNow();
    QTRY_COMPARE(run.connected.size(), 1);
    QCOMPARE(run.log.messages().count(CONNECTED_LINE), 1);
}

// In the robust way, nobody waits for the slot to have been called, and the attempt has its time.
void tst_SockJSConnectorEnds::openstate2InARobustAttemptEndsItWhateverComes()
{
    OpeningServer server;
    RobustRun run;
    run.open(server.port(), {WEBSOCKET});
    connect(SockJSProbe::webSocket(run.connector), &QWebSocket::connected, &run.connector,
            &SockJSConnector::openstate2);
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 30000);
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(run.connector.getCloseReason(),
             u"No transport could be opened: websocket: the server does not answer"_s);
}

QTEST_GUILESS_MAIN(tst_SockJSConnectorEnds)
#include "tst_sockjsconnectorends.moc"
