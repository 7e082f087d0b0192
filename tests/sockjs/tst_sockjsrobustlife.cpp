#include "ProcessEntries.h"
#include "RobustRun.h"

#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

using namespace Scripted;

// What the host may do with a connector that uses the robust transport: anything, at any time.
class tst_SockJSRobustLife : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void hostMayDoAnythingInASlot_data();
    void hostMayDoAnythingInASlot();
    void hostMayEndAnyState_data();
    void hostMayEndAnyState();
    void transportMayBeDeletedInItsSlots_data();
    void transportMayBeDeletedInItsSlots();
    void closeCodeIsKnownWhenTheHostOpensAgain();
    void cyclesLeaveNothingBehind_data();
    void cyclesLeaveNothingBehind();
};

namespace
{

// What every connection of a willing server brings: posts come on connections of their own.
const Script SESSION = POLLED_OPEN + Script{expectRequest(), send(reply("a[\"1\",\"2\"]\n"))}
    + Script{expectRequest(), pause(60000)};

} // namespace

void tst_SockJSRobustLife::hostMayDoAnythingInASlot_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QString>("action");
    for (const bool streaming : {false, true}) {
        for (const char *signal : {"connected", "message", "closed"}) {
            for (const char *action : {"close", "delete", "close and delete", "open",
                                       "open and delete", "wait", "wait and delete", "send"})
                QTest::addRow("%s, %s: %s", streaming ? "streaming" : "polling", signal, action)
                    << streaming << signal << action;
        }
    }
}

void tst_SockJSRobustLife::hostMayDoAnythingInASlot()
{
    QFETCH(bool, streaming);
    QFETCH(QString, signal);
    QFETCH(QString, action);
    // The first session ends by the server's word, the others stay.
    ScriptedServer server;
    server.onConnection(POLLED_OPEN + Script{expectRequest(), send(reply("a[\"1\",\"2\"]\n"))}
                        + SAYS_GOODBYE);
    server.onEveryOther(SESSION);
    QVERIFY(server.listen());
    const Protocols protocols{streaming ? XHR_STREAMING : XHR_POLLING};

    const QPointer<SockJSConnector> connector(new SockJSConnector);
    connector->setRobustTransport(true);
    int ends = 0;
    bool done = false;
    const auto act = [&] {
        if (std::exchange(done, true))
            return;
        if (action.startsWith(u"wait"_s))
            QTest::qWait(50);
        if (action.startsWith(u"close"_s))
            connector->close();
        if (action.startsWith(u"open"_s))
            connector->open(serverUrl(server.port()), protocols);
        if (action == u"send"_s)
            connector->sendMessage(u"x"_s, false);
        if (action.endsWith(u"delete"_s))
            delete connector.data();
    };
    connect(connector, &SockJSConnector::closed, this, [&] { ++ends; });
    const auto actOn = [&](const QString &name, auto member) {
        if (signal == name)
            connect(connector, member, this, act);
    };
    actOn(u"connected"_s, &SockJSConnector::connected);
    actOn(u"message"_s, &SockJSConnector::sockJSMessage);
    actOn(u"closed"_s, &SockJSConnector::closed);
    connector->open(serverUrl(server.port()), protocols);

    QTRY_VERIFY_WITH_TIMEOUT(done, 20000);
    // A close() is told from the event loop, to a connector that is still there.
    const int expected = action == u"close and delete"_s && signal != u"closed"_s ? 0 : 1;
    QTRY_COMPARE_WITH_TIMEOUT(ends, expected, 20000);
    QCOMPARE(!connector, action.endsWith(u"delete"_s));
    if (action == u"open"_s)
        QTRY_VERIFY_WITH_TIMEOUT(connector->isConnected(), 20000);
    QTest::qWait(50);
    QCOMPARE(ends, expected);
    delete connector.data();
}

void tst_SockJSRobustLife::hostMayEndAnyState_data()
{
    QTest::addColumn<QString>("state");
    QTest::addColumn<QString>("action");
    for (const char *state :
         {"connecting", "asking", "open", "posting", "mending", "refused", "closing", "ended"}) {
        for (const char *action : {"close", "delete", "open", "close and open"})
            QTest::addRow("%s: %s", state, action) << state << action;
    }
}

void tst_SockJSRobustLife::hostMayEndAnyState()
{
    QFETCH(QString, state);
    QFETCH(QString, action);
    ScriptedServer server;
    if (state == u"asking"_s)
        server.onConnection({expectRequest(), pause(60000)});
    else if (state == u"mending"_s)
        server.onConnection(POLLED_OPEN + Script{expectRequest(), close()});
    else if (state == u"ended"_s)
        server.onConnection(POLLED_OPEN + SAYS_GOODBYE);
    else if (state != u"refused"_s)
        server.onConnection(SESSION);
    if (state == u"posting"_s)
        server.onConnection({expectRequest(), pause(60000)});
    server.onEveryOther(SESSION);
    QVERIFY(server.listen());
    QTcpServer refusing;
    refusing.listen(QHostAddress::LocalHost);
    const quint16 deadPort = refusing.serverPort();
    refusing.close();

    const QPointer<SockJSConnector> connector(new SockJSConnector);
    connector->setRobustTransport(true);
    QSignalSpy closed(connector, &SockJSConnector::closed);
    connector->open(serverUrl(state == u"refused"_s ? deadPort : server.port()), {XHR_POLLING});
    if (state == u"asking"_s)
        QTRY_COMPARE_WITH_TIMEOUT(server.requests().size(), 1, 20000);
    else if (state == u"ended"_s)
        QTRY_COMPARE_WITH_TIMEOUT(closed.size(), 1, 20000);
    else if (state == u"mending"_s)
        QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 2, 20000);
    else if (state != u"connecting"_s && state != u"refused"_s)
        QTRY_VERIFY_WITH_TIMEOUT(connector->isConnected(), 20000);
    if (state == u"posting"_s) {
        connector->sendMessage(u"x"_s, false);
        QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 2, 20000);
    }
    if (state == u"closing"_s)
        connector->close();

    QElapsedTimer timer;
    timer.start();
    if (action.startsWith(u"close"_s))
        connector->close();
    if (action.endsWith(u"open"_s))
        connector->open(serverUrl(server.port()), {XHR_POLLING});
    if (action == u"delete"_s)
        delete connector.data();
    QVERIFY2(timer.elapsed() < 1000, qPrintable(QString::number(timer.elapsed())));
    if (action.endsWith(u"open"_s))
        QTRY_VERIFY_WITH_TIMEOUT(connector->isConnected(), 20000);
    else if (action == u"close"_s)
        QTRY_COMPARE_WITH_TIMEOUT(closed.size(), 1, 20000);
    QTest::qWait(50);
    QVERIFY2(closed.size() <= 1, qPrintable(QString::number(closed.size())));
    delete connector.data();
}

void tst_SockJSRobustLife::transportMayBeDeletedInItsSlots_data()
{
    QTest::addColumn<QString>("signal");
    QTest::newRow("frame") << "frame";
    QTest::newRow("end") << "end";
}

void tst_SockJSRobustLife::transportMayBeDeletedInItsSlots()
{
    QFETCH(QString, signal);
    ScriptedServer server;
    server.onConnection(POLLED_OPEN + SAYS_GOODBYE);
    QVERIFY(server.listen());
    const QPointer<SockJSXHRPolling> transport(new SockJSXHRPolling);
    transport->setRobustTransport(true);
    const auto act = [&] { delete transport.data(); };
    if (signal == u"frame"_s)
        connect(transport, &SockJSXHRPolling::textMessageReceived, this, act);
    else
        connect(transport, &SockJSXHRPolling::connectionClosed, this, act);
    QVERIFY(transport->start(localhost(), server.port(), false, u"/s"_s, false));
    QTRY_VERIFY_WITH_TIMEOUT(!transport, 20000);
    QTest::qWait(50);
}

void tst_SockJSRobustLife::closeCodeIsKnownWhenTheHostOpensAgain()
{
    RobustRun run({SESSION, SESSION});
    QList<int> codes;
    connect(&run.connector, &SockJSConnector::closed, this,
            [&] { codes.append(run.connector.getCloseCode()); });
    run.open();
    QVERIFY(run.waitForSession());
    run.open();
    QCOMPARE(codes, QList<int>{1000});
    QCOMPARE(run.connector.getCloseCode(), 0);
    QCOMPARE(run.connector.getCloseReason(), QString());
}

void tst_SockJSRobustLife::cyclesLeaveNothingBehind_data()
{
    QTest::addColumn<bool>("streaming");
    QTest::addColumn<bool>("sending");
    QTest::newRow("polling") << false << false;
    QTest::newRow("streaming, with a post each") << true << true;
}

void tst_SockJSRobustLife::cyclesLeaveNothingBehind()
{
    QFETCH(bool, streaming);
    QFETCH(bool, sending);
    QTcpServer server; // answers posts, opens sessions, keeps further polls waiting
    connect(&server, &QTcpServer::newConnection, this, [&server] {
        QTcpSocket *socket = server.nextPendingConnection();
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, socket, [socket] {
            const bool isFirst = socket->objectName().isEmpty();
            socket->setObjectName(u"asked"_s);
            if (socket->readAll().contains("/xhr_send"))
                socket->write(NO_CONTENT);
            else if (isFirst)
                socket->write(FRAME_O);
        });
    });
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SockJSConnector connector;
    connector.setRobustTransport(true);
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    const auto isQuiet = [&] { return connector.findChildren<SockJSXHRPolling *>().isEmpty(); };
    int threadsBefore = 0;
    int descriptorsBefore = 0;
    constexpr int WARM_UP = 3;
    for (int i = 0; i < 100 + WARM_UP; ++i) {
        connector.open(serverUrl(server.serverPort()), {streaming ? XHR_STREAMING : XHR_POLLING});
        QTRY_VERIFY_WITH_TIMEOUT(connector.isConnected(), 20000);
        if (sending)
            connector.sendMessage(u"x"_s, false);
        connector.close();
        QTRY_COMPARE_WITH_TIMEOUT(closed.size(), i + 1, 20000);
        if (i != WARM_UP - 1)
            continue;
        QTRY_VERIFY_WITH_TIMEOUT(isQuiet(), 20000);
        QTest::qWait(500);
        threadsBefore = threads();
        descriptorsBefore = descriptors();
    }
    QTRY_VERIFY_WITH_TIMEOUT(isQuiet(), 60000);
    QTRY_VERIFY_WITH_TIMEOUT(threads() <= threadsBefore, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(descriptors() <= descriptorsBefore, 20000);
    QCOMPARE(connector.children().size(), 1); // the inactivity timer
}

QTEST_GUILESS_MAIN(tst_SockJSRobustLife)
#include "tst_sockjsrobustlife.moc"
