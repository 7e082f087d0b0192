#include "DeadPort.h"
#include "DeafPort.h"
#include "FarEnd.h"
#include "OpeningRun.h"
#include "ProcessEntries.h"

#include <QtNetwork/QTcpServer>

using namespace Scripted;

// What the host may do while the robust way opens a connection, and in its slots: anything.
class tst_SockJSRobustHost : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void closingDuringAnAttemptIsToldOnce_data();
    void closingDuringAnAttemptIsToldOnce();
    void openingDuringAnAttemptReplacesIt_data();
    void openingDuringAnAttemptReplacesIt();
    void openingAfterClosingStillTellsTheEnd_data();
    void openingAfterClosingStillTellsTheEnd();
    void deletingDuringAnAttemptLeavesNothingBehind_data();
    void deletingDuringAnAttemptLeavesNothingBehind();
    void attemptsThatAreReplacedLeaveNothingBehind();
    void messageBeforeTheSessionIsOpenIsLost();
    void hostMayDoAnythingInASlot_data();
    void hostMayDoAnythingInASlot();
    void connectionOpenedInTheSlotOfALastMessageGoesOn();
};

namespace
{

// Servers that leave an attempt in each of its phases.
struct Phases {
    Phases()
    {
        for (QTcpServer *server : {&silent, &unopened}) {
            QObject::connect(server, &QTcpServer::newConnection, server, [=] {
                QTcpSocket *socket = server->nextPendingConnection();
                QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
            });
            if (!server->listen(QHostAddress::LocalHost))
                qFatal("no port");
        }
        bus.opensNoSessions();
    }
    void open(const QString &phase, SockJSConnector &connector) const
    {
        if (phase == u"handshake"_s)
            connector.open(serverUrl(silent.serverPort()), {WEBSOCKET});
        else if (phase == u"TLS, web socket"_s)
            connector.open(serverUrl(silent.serverPort(), u"wss"_s), {WEBSOCKET});
        else if (phase == u"TLS, XHR"_s)
            connector.open(serverUrl(silent.serverPort(), u"wss"_s), {XHR_POLLING});
        else if (phase == u"connection, XHR"_s)
            connector.open(serverUrl(deaf.port()), {XHR_POLLING});
        else if (phase == u"open frame, web socket"_s)
            connector.open(serverUrl(bus.port()), {WEBSOCKET});
        else if (phase == u"open frame, XHR"_s)
            connector.open(serverUrl(unopened.serverPort()), {XHR_STREAMING});
        else
            connector.open(serverUrl(1), {});
    }
    // Opens, and goes on until the phase has begun.
    void reach(const QString &phase, SockJSConnector &connector) const
    {
        open(phase, connector);
        if (phase != u"nothing left"_s)
            QTest::qWait(50);
        if (phase.startsWith(u"open frame"_s))
            QTRY_VERIFY(!connector.getTransport().isEmpty());
        else
            QCOMPARE(connector.getTransport(), QString());
    }

    QTcpServer silent;
    QTcpServer unopened;
    DeafPort deaf;
    EventBusServer bus;
};

// An attempt in one of its phases, and a server for the next.
struct Replaced {
    explicit Replaced(const QString &phase) { phases.reach(phase, run.connector); }

    Phases phases;
    EventBusServer other;
    LogCapture log;
    OpeningRun run;
};

// What the host does.
void doInSlot(const QString &action, SockJSConnector *connector, quint16 otherPort)
{
    if (action == u"close"_s)
        connector->close();
    if (action.startsWith(u"open"_s))
        connector->open(serverUrl(otherPort), {WEBSOCKET});
    if (action == u"wait"_s)
        QTest::qWait(100);
    if (action.endsWith(u"delete"_s))
        delete connector;
}

// Opens so that the end comes about.
void openUntil(const QString &end, SockJSConnector &connector, FarEnd &far)
{
    const DeadPort deadPort;
    if (end == u"failure"_s)
        connector.open(serverUrl(deadPort), {far.xhr ? XHR_STREAMING : WEBSOCKET});
    else
        far.open(connector);
    if (end == u"by the server"_s && !far.xhr) {
        QTRY_VERIFY(connector.isConnected());
        far.bus.closeConnection();
    }
}

void addPhases()
{
    QTest::addColumn<QString>("phase");
    for (const char *phase : {"handshake", "TLS, web socket", "TLS, XHR", "connection, XHR",
                              "open frame, web socket", "open frame, XHR"})
        QTest::newRow(phase) << QString(phase);
}

} // namespace

// What the toolkit starts once per process.
void tst_SockJSRobustHost::initTestCase()
{
    const LogCapture log;
    const Phases phases;
    for (const char *phase : {"TLS, web socket", "TLS, XHR"}) {
        OpeningRun run;
        phases.reach(phase, run.connector);
    }
}

void tst_SockJSRobustHost::closingDuringAnAttemptIsToldOnce_data()
{
    addPhases();
    QTest::newRow("nothing left") << u"nothing left"_s;
}

void tst_SockJSRobustHost::closingDuringAnAttemptIsToldOnce()
{
    QFETCH(QString, phase);
    const Phases phases;
    const LogCapture log;
    OpeningRun run;
    phases.reach(phase, run.connector);
    run.connector.close();
    run.connector.close();
    QCOMPARE(run.connector.getTransport(), QString());
    const QString end = phase == u"nothing left"_s ? u"1006 There is no transport to try"_s
                                                   : u"1000 Closed by the host"_s;
    QTRY_COMPARE(run.ends, QStringList{end});
    run.connector.close();
    QTest::qWait(200);
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.closed.at(0).at(0).toBool(), false);
    QCOMPARE(run.connected.size(), 0);
}

void tst_SockJSRobustHost::openingDuringAnAttemptReplacesIt_data()
{
    addPhases();
    QTest::newRow("nothing left") << u"nothing left"_s;
}

// Of a transport that stands the host knows already.
void tst_SockJSRobustHost::openingDuringAnAttemptReplacesIt()
{
    QFETCH(QString, phase);
    Replaced attempt(phase);
    OpeningRun &run = attempt.run;
    run.open(attempt.other.port());
    const QStringList ends =
        phase.startsWith(u"open frame"_s) ? QStringList{"1000 Closed by the host"} : QStringList();
    QCOMPARE(run.ends, ends);
    QCOMPARE(run.connector.getCloseCode(), 0);
    QTRY_COMPARE(run.connected.size(), 1);
    QTest::qWait(200);
    QCOMPARE(run.ends, ends);
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSRobustHost::openingAfterClosingStillTellsTheEnd_data()
{
    addPhases();
}

void tst_SockJSRobustHost::openingAfterClosingStillTellsTheEnd()
{
    QFETCH(QString, phase);
    Replaced attempt(phase);
    OpeningRun &run = attempt.run;
    run.connector.close();
    run.open(attempt.other.port());
    QTRY_COMPARE(run.connected.size(), 1);
    QTest::qWait(200);
    QCOMPARE(run.ends, QStringList{"1000 Closed by the host"});
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSRobustHost::deletingDuringAnAttemptLeavesNothingBehind_data()
{
    addPhases();
}

// Neither of those that were deleted at once, nor of those that had gone on for a while.
void tst_SockJSRobustHost::deletingDuringAnAttemptLeavesNothingBehind()
{
    QFETCH(QString, phase);
    const Phases phases;
    const LogCapture log;
    const int threadsBefore = threads();
    const int descriptorsBefore = descriptors();
    int closed = 0;
    for (int i = 0; i < 20; ++i) {
        auto *connector = new SockJSConnector;
        connector->setRobustTransport(true);
        connect(connector, &SockJSConnector::closed, this, [&] { ++closed; });
        phases.open(phase, *connector);
        if (i % 2 == 0)
            QTest::qWait(20);
        delete connector;
    }
    QTRY_VERIFY_WITH_TIMEOUT(threads() <= threadsBefore, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(descriptors() <= descriptorsBefore, 20000);
    QCOMPARE(closed, 0);
}

void tst_SockJSRobustHost::attemptsThatAreReplacedLeaveNothingBehind()
{
    const Phases phases;
    const LogCapture log;
    const int threadsBefore = threads();
    const int descriptorsBefore = descriptors();
    {
        OpeningRun run;
        for (int i = 0; i < 10; ++i) {
            for (const char *phase : {"handshake", "TLS, XHR", "connection, XHR",
                                      "open frame, web socket", "open frame, XHR"}) {
                phases.open(phase, run.connector);
                if (i % 2 == 0)
                    QTest::qWait(20);
            }
        }
        run.connector.close();
        QTRY_VERIFY(run.connector.findChildren<SockJSXHRPolling *>().isEmpty());
    }
    QTRY_VERIFY_WITH_TIMEOUT(threads() <= threadsBefore, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(descriptors() <= descriptorsBefore, 20000);
}

// The server would refuse it, and that would end the attempt.
void tst_SockJSRobustHost::messageBeforeTheSessionIsOpenIsLost()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), pause(300), send(FRAME_O)});
    server.onEveryOther({expectRequest(), send(reply("", "404 Not Found"))});
    QVERIFY(server.listen());
    const LogCapture log;
    OpeningRun run;
    run.open(server.port(), {XHR_POLLING});
    run.connector.sendMessage(u"too early"_s, false);
    QTRY_COMPARE(server.requests().size(), 1);
    run.connector.sendMessage(u"still too early"_s, false);
    QTRY_COMPARE(run.connected.size(), 1);
    run.connector.sendMessage(u"x"_s, false);
    QTRY_COMPARE(run.ends,
                 QStringList{"1006 A message could not be sent: The server answered with HTTP "
                             "status 404 Not Found"});
    QCOMPARE(bodyOf(server.requests().last()), QByteArray("[\n    \"x\"\n]\n"));
}

void tst_SockJSRobustHost::hostMayDoAnythingInASlot_data()
{
    QTest::addColumn<QString>("end");
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<QString>("action");
    for (const char *end : {"none", "failure", "by the server"}) {
        for (const bool xhr : {false, true}) {
            for (const char *action : {"close", "delete", "open", "open and delete", "wait"})
                QTest::addRow("%s, %s: %s", xhr ? "XHR" : "web socket", end, action)
                    << QString(end) << xhr << QString(action);
        }
    }
}

// In that of connected() when the end is none, else in that of closed().
void tst_SockJSRobustHost::hostMayDoAnythingInASlot()
{
    QFETCH(QString, end);
    QFETCH(bool, xhr);
    QFETCH(QString, action);
    EventBusServer other;
    FarEnd far(xhr);
    far.polled.onConnection(end == u"none"_s ? POLLED_OPEN
                                             : POLLED_OPEN
                                    + Script{expectRequest(), send(reply("c[4001,\"over\"]\n"))});
    const LogCapture log;
    auto *connector = new SockJSConnector;
    const QPointer<SockJSConnector> alive(connector);
    connector->setRobustTransport(true);
    int closed = 0;
    bool isDone = false;
    const auto act = [&] {
        if (!std::exchange(isDone, true))
            doInSlot(action, connector, other.port());
    };
    connect(connector, &SockJSConnector::closed, this, [&] { ++closed; });
    if (end == u"none"_s)
        connect(connector, &SockJSConnector::connected, this, act);
    else
        connect(connector, &SockJSConnector::closed, this, act);
    openUntil(end, *connector, far);
    QTRY_VERIFY(isDone);
    QTest::qWait(150);

    QCOMPARE(bool(alive), !action.endsWith(u"delete"_s));
    // One that nothing has ended yet goes on, and so does the one that was opened in the slot.
    QCOMPARE(alive && alive->isConnected(),
             action == u"open"_s || (action == u"wait"_s && end == u"none"_s));
    QCOMPARE(closed, action == u"wait"_s && end == u"none"_s ? 0 : 1);
    if (alive)
        alive->disconnect(this);
    delete alive;
}

// The end comes while the first slot waits; it hands the second message on, whose slot opens anew.
void tst_SockJSRobustHost::connectionOpenedInTheSlotOfALastMessageGoesOn()
{
    EventBusServer bus;
    EventBusServer other;
    const LogCapture log;
    OpeningRun run;
    connect(&run.connector, &SockJSConnector::sockJSMessage, this, [&](const QString &message) {
        if (message == u"2"_s) {
            run.open(other.port());
            return;
        }
        bus.closeConnection();
        QTRY_COMPARE(run.messages.size(), 2);
    });
    run.open(bus.port());
    QTRY_COMPARE(run.connected.size(), 1);
    bus.sendFrame(u"a[\"1\",\"2\"]"_s);
    QTRY_COMPARE(run.connected.size(), 2);
    QTest::qWait(200);
    QVERIFY(run.connector.isConnected());
    QCOMPARE(run.ends, QStringList{"1000 Closed by the host"});
}

QTEST_GUILESS_MAIN(tst_SockJSRobustHost)
#include "tst_sockjsrobusthost.moc"
