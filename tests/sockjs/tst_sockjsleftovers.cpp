#include "FarEnd.h"
#include "ProcessEntries.h"
#include "support/TestCertificates.h"

#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

using namespace Scripted;

// Connectors that go, and connections that come and go, leave nothing behind.
class tst_SockJSLeftovers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void deletingReportsAnOpenSessionOnce_data();
    void deletingReportsAnOpenSessionOnce();
    void openIsRefusedWhileTheConnectorGoes();
    void deletingLeavesNothingBehind_data();
    void deletingLeavesNothingBehind();
    void twoHundredCyclesLeaveNothingBehind_data();
    void twoHundredCyclesLeaveNothingBehind();

private:
    TestCertificates m_certificates;
    TestCertificates::Identity m_identity;
};

void tst_SockJSLeftovers::initTestCase()
{
    m_identity = m_certificates.issue(u"localhost"_s);
    m_certificates.trust();
}

void tst_SockJSLeftovers::deletingReportsAnOpenSessionOnce_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("sessionOpen");
    QTest::newRow("web socket, open") << false << true;
    QTest::newRow("web socket, before the open frame") << false << false;
    QTest::newRow("XHR, open") << true << true;
    QTest::newRow("XHR, before the open frame") << true << false;
}

void tst_SockJSLeftovers::deletingReportsAnOpenSessionOnce()
{
    QFETCH(bool, xhr);
    QFETCH(bool, sessionOpen);
    FarEnd far(xhr);
    if (!sessionOpen)
        far.bus.opensNoSessions();
    far.polled.onConnection(sessionOpen ? POLLED_OPEN : Script());
    auto *connector = new SockJSConnector;
    QSignalSpy closed(connector, &SockJSConnector::closed);
    far.open(*connector);
    QTRY_COMPARE_WITH_TIMEOUT(connector->isConnected(), sessionOpen, 20000);
    delete connector;
    QCOMPARE(closed.size(), sessionOpen ? 1 : 0);
}

void tst_SockJSLeftovers::openIsRefusedWhileTheConnectorGoes()
{
    EventBusServer bus;
    auto *connector = new SockJSConnector;
    connector->open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector->isConnected());
    connect(connector, &SockJSConnector::closed, this,
            [&] { connector->open(serverUrl(bus.port()), {WEBSOCKET}); });
    delete connector;
    // The server takes connections in their order.
    SockJSConnector next;
    next.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(next.isConnected());
    QCOMPARE(bus.paths().size(), 2);
}

void tst_SockJSLeftovers::deletingLeavesNothingBehind_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<bool>("reconnecting");
    QTest::addColumn<bool>("posting");
    QTest::newRow("idle") << false << false << false;
    QTest::newRow("idle, TLS") << true << false << false;
    QTest::newRow("posting") << false << false << true;
    QTest::newRow("reconnecting to a handshake that stalls") << true << true << false;
}

// Without another turn of the event loop.
void tst_SockJSLeftovers::deletingLeavesNothingBehind()
{
    QFETCH(bool, tls);
    QFETCH(bool, reconnecting);
    QFETCH(bool, posting);
    {
        const SockJSXHRPolling once; // what the toolkit starts once per process
        QTest::qWait(50);
    }
    ScriptedServer server;
    server.setDeadline(60000);
    if (tls)
        server.setCertificate(m_identity, true);
    server.onConnection(
        tls ? (reconnecting ? Script{startTls(), pause(300), close()} : Script{startTls()})
            : Script{});
    server.onEveryOther(posting ? Script{expectRequest(), pause(60000)} : Script{pause(60000)});
    QVERIFY(server.listen());
    QTest::qWait(50);
    const int threadsBefore = threads();
    auto *connector = new SockJSConnector;
    connector->open(serverUrl(server.port(), tls ? u"wss"_s : u"ws"_s), {XHR_POLLING});
    QVERIFY(SockJSProbe::xhrPolling(*connector));
    if (posting)
        connector->sendMessage(u"x"_s, false);
    if (reconnecting || posting)
        QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 2, 20000);
    QTest::qWait(300);
    QVERIFY(threads() > threadsBefore);
    const int serverThreads = server.connectionCount();
    QElapsedTimer timer;
    timer.start();
    delete connector;
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    // A thread that has been joined may still be listed for a moment; no event loop turns here.
    for (int i = 0; i < 100 && threads() > threadsBefore + serverThreads; ++i)
        QThread::msleep(20);
    QVERIFY2(threads() <= threadsBefore + serverThreads, qPrintable(QString::number(threads())));
}

void tst_SockJSLeftovers::twoHundredCyclesLeaveNothingBehind_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("sending");
    QTest::newRow("web socket") << false << true;
    QTest::newRow("XHR") << true << false;
    QTest::newRow("XHR, with a post each") << true << true;
}

void tst_SockJSLeftovers::twoHundredCyclesLeaveNothingBehind()
{
    QFETCH(bool, xhr);
    QFETCH(bool, sending);
    EventBusServer bus;
    QTcpServer polled; // answers posts, keeps polls waiting
    connect(&polled, &QTcpServer::newConnection, this, [&polled] {
        QTcpSocket *socket = polled.nextPendingConnection();
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, socket, [socket] {
            if (socket->readAll().contains("/xhr_send"))
                socket->write(NO_CONTENT);
        });
    });
    QVERIFY(polled.listen(QHostAddress::LocalHost));

    SockJSConnector connector;
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    int threadsBefore = 0;
    int descriptorsBefore = 0;
    constexpr int WARM_UP = 3;
    for (int i = 0; i < 200 + WARM_UP; ++i) {
        connector.open(serverUrl(xhr ? polled.serverPort() : bus.port()),
                       {xhr ? XHR_POLLING : WEBSOCKET});
        if (!xhr)
            QTRY_VERIFY_WITH_TIMEOUT(connector.isConnected(), 20000);
        if (sending)
            connector.sendMessage(u"x"_s, false);
        connector.close();
        QTRY_COMPARE_WITH_TIMEOUT(closed.size(), i + 1, 20000);
        if (i == WARM_UP - 1) {
            QTRY_COMPARE_WITH_TIMEOUT(connector.findChildren<SockJSXHRPolling *>().size(), 0,
                                      20000);
            QTest::qWait(500);
            threadsBefore = threads();
            descriptorsBefore = descriptors();
        }
    }
    QTRY_COMPARE_WITH_TIMEOUT(connector.findChildren<SockJSXHRPolling *>().size(), 0, 60000);
    QTRY_VERIFY_WITH_TIMEOUT(threads() <= threadsBefore, 20000);
    QTRY_VERIFY_WITH_TIMEOUT(descriptors() <= descriptorsBefore, 20000);
    QCOMPARE(connector.children().size(), 1); // the inactivity timer
}

QTEST_GUILESS_MAIN(tst_SockJSLeftovers)
#include "tst_sockjsleftovers.moc"
