#include "DeadPort.h"
#include "FarEnd.h"
#include "RawServers.h"

using namespace Scripted;

// How connections end: once, in every state, and before the next one begins.
class tst_SockJSClosing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void closedComesOnce_data();
    void closedComesOnce();
    void closeWithoutAConnectionIsSilent();
    void closeDuringAnAttemptEndsTheWait();
    void deletingDuringAnAttemptEndsTheWait();
    void openingDuringAnAttemptReplacesIt();
    void openingAnOpenConnectorClosesItFirst_data();
    void openingAnOpenConnectorClosesItFirst();
    void openingInTheClosedSlotWins_data();
    void openingInTheClosedSlotWins();
    void openingWhileXhrClosesReportsTheOldOneFirst();
    void lateXhrFramesAreNotHeardAfterClose();
};

namespace
{

// A connector whose beginnings and ends are written down in their order.
struct OrderedRun : ConnectorRun {
    OrderedRun()
    {
        const auto write = [this](auto signal, const QString &name) {
            QObject::connect(&connector, signal, &writer, [=] { events.append(name); });
        };
        write(&SockJSConnector::connected, u"connected"_s);
        write(&SockJSConnector::closed, u"closed"_s);
    }
    QStringList events;
    QObject writer; // goes before the connector, which ends then
};

const QStringList REOPENED = {"connected", "closed", "connected"};

} // namespace

void tst_SockJSClosing::closedComesOnce_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("sessionOpen");
    QTest::addColumn<bool>("dataPending");
    QTest::addColumn<bool>("serverCloses");
    QTest::newRow("web socket, before the open frame") << false << false << false << false;
    QTest::newRow("web socket, idle") << false << true << false << false;
    QTest::newRow("web socket, data pending") << false << true << true << false;
    QTest::newRow("web socket, by the server") << false << true << false << true;
    QTest::newRow("web socket, by the server, data pending") << false << true << true << true;
    QTest::newRow("XHR, before the open frame") << true << false << false << false;
    QTest::newRow("XHR, idle") << true << true << false << false;
    QTest::newRow("XHR, data pending") << true << true << true << false;
    QTest::newRow("XHR, by the server") << true << true << false << true;
}

void tst_SockJSClosing::closedComesOnce()
{
    QFETCH(bool, xhr);
    QFETCH(bool, sessionOpen);
    QFETCH(bool, dataPending);
    QFETCH(bool, serverCloses);
    FarEnd far(xhr);
    if (!sessionOpen)
        far.bus.opensNoSessions();
    far.polled.onConnection(sessionOpen ? POLLED_OPEN : Script());
    far.polled.onEveryOther({expectRequest(), send(reply(""))});

    ConnectorRun run;
    far.open(run.connector);
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.size(), sessionOpen ? 1 : 0, 20000);
    if (!xhr)
        QTRY_COMPARE(far.bus.paths().size(), 1);
    if (dataPending)
        run.connector.sendMessage(QString(5000000, QLatin1Char('x')), false);
    if (!serverCloses) {
        run.connector.close();
        // A web socket's end is told at once, that of the polling thread from the event loop.
        QCOMPARE(run.closed.size(), xhr ? 0 : 1);
        run.connector.close();
    } else if (xhr) {
        far.polled.stop();
    } else {
        far.bus.closeConnection();
    }
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    QVERIFY(!run.connector.isConnected());
    run.connector.close();
    QTest::qWait(100);
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
    QCOMPARE(run.log.count(CLOSED_LINE), 1);
    QCOMPARE(run.connected.size(), sessionOpen ? 1 : 0);
}

void tst_SockJSClosing::closeWithoutAConnectionIsSilent()
{
    ConnectorRun run;
    run.connector.close();
    const DeadPort port;
    run.open(port);
    run.connector.close();
    QCOMPARE(run.closed.size(), 0);
    QCOMPARE(run.log.count(CLOSED_LINE), 0);
}

void tst_SockJSClosing::closeDuringAnAttemptEndsTheWait()
{
    const StallingServer server;
    ConnectorRun run;
    QTimer::singleShot(100, &run.connector, &SockJSConnector::close);
    QVERIFY(!run.open(server.port(), {WEBSOCKET, XHR_POLLING}));
    QCOMPARE(run.closed.size(), 1);
    QVERIFY(!SockJSProbe::webSocket(run.connector));
    QVERIFY(!SockJSProbe::xhrPolling(run.connector));
    QTest::qWait(50);
    QCOMPARE(run.closed.size(), 1);
}

void tst_SockJSClosing::deletingDuringAnAttemptEndsTheWait()
{
    const StallingServer server;
    auto *connector = new SockJSConnector;
    QSignalSpy closed(connector, &SockJSConnector::closed);
    QTimer::singleShot(100, this, [connector] { delete connector; });
    QVERIFY(!connector->open(serverUrl(server.port()), {WEBSOCKET, XHR_POLLING}));
    QCOMPARE(closed.size(), 0);
    QTRY_COMPARE(server.client->state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(server.connections, 1);
}

void tst_SockJSClosing::openingDuringAnAttemptReplacesIt()
{
    const StallingServer silent;
    EventBusServer bus;
    ConnectorRun run;
    QTimer::singleShot(100, this, [&] { run.open(bus.port()); });
    QVERIFY(!run.open(silent.port(), {WEBSOCKET, XHR_POLLING}));
    QTRY_COMPARE(run.connected.size(), 1);
    QCOMPARE(run.closed.size(), 0);
    QCOMPARE(silent.connections, 1);
    run.connector.sendMessage(u"x"_s, false);
    QTRY_COMPARE(bus.frames(), QStringList{framed(u"x"_s)});
}

void tst_SockJSClosing::openingAnOpenConnectorClosesItFirst_data()
{
    addBothFarEnds();
}

void tst_SockJSClosing::openingAnOpenConnectorClosesItFirst()
{
    QFETCH(bool, xhr);
    FarEnd far(xhr);
    far.polled.onConnection(POLLED_OPEN + Script{expectMatch("\r\n\r\n\r\n\r\n"), expectEnd()});
    OrderedRun run;
    far.open(run.connector);
    QTRY_COMPARE_WITH_TIMEOUT(run.events, QStringList{"connected"}, 20000);

    run.open(far.bus.port());
    QTRY_COMPARE(run.events, REOPENED);
    run.connector.sendMessage(u"x"_s, false);
    QTRY_COMPARE(far.bus.frames(), QStringList{framed(u"x"_s)});
    // The old connection's end is not taken for the new one's.
    QTest::qWait(200);
    QCOMPARE(run.events, REOPENED);
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSClosing::openingInTheClosedSlotWins_data()
{
    addBothFarEnds();
}

// A host that opens anew whenever the connection ends does not fall into a loop.
void tst_SockJSClosing::openingInTheClosedSlotWins()
{
    QFETCH(bool, xhr);
    FarEnd first(xhr);
    first.polled.onConnection(POLLED_OPEN);
    EventBusServer second;
    EventBusServer third;
    ConnectorRun run;
    connect(&run.connector, &SockJSConnector::closed, this, [&] { run.open(second.port()); });
    first.open(run.connector);
    QTRY_COMPARE_WITH_TIMEOUT(run.connected.size(), 1, 20000);
    run.open(third.port());
    QTRY_COMPARE(run.connected.size(), 2);
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(second.paths().size(), 1);
    QCOMPARE(third.paths().size(), 0);
    run.connector.disconnect(this);
}

void tst_SockJSClosing::openingWhileXhrClosesReportsTheOldOneFirst()
{
    FarEnd far(true);
    far.polled.onConnection(POLLED_OPEN);
    OrderedRun run;
    far.open(run.connector);
    QTRY_COMPARE_WITH_TIMEOUT(run.events, QStringList{"connected"}, 20000);
    run.connector.close();
    run.open(far.bus.port());
    QTRY_COMPARE(run.events, REOPENED);
    QTest::qWait(200);
    QCOMPARE(run.events, REOPENED);
}

void tst_SockJSClosing::lateXhrFramesAreNotHeardAfterClose()
{
    FarEnd far(true);
    far.polled.onConnection(POLLED_OPEN);
    ConnectorRun run;
    far.open(run.connector);
    // The frame is on its way between the threads when the host closes.
    QVERIFY2(far.polled.finished(), qPrintable(far.polled.failure()));
    QThread::msleep(200);
    run.connector.close();
    QTRY_COMPARE(run.closed.size(), 1);
    QCOMPARE(run.connected.size(), 0);
    QVERIFY(!run.connector.isConnected());
}

QTEST_GUILESS_MAIN(tst_SockJSClosing)
#include "tst_sockjsclosing.moc"
