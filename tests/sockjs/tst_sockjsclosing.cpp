#include "DeadPort.h"
#include "EventBus.h"
#include "RawWebSocketServer.h"
#include "SockJSProbe.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtCore/QDir>
#include <QtNetwork/QSslKey>
#include <QtTest/QtTest>
#include <QtWebSockets/QWebSocketServer>

using namespace Scripted;
using Protocols = QList<SockJSConnector::PROTOCOL_TYPE>;

// How connections end: once, in every state, with everything said and nothing left behind.
class tst_SockJSClosing : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
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
    void nothingSaidIsLost_data();
    void nothingSaidIsLost();
    void nothingSaidIsLostWhileTheServerTalks_data();
    void nothingSaidIsLostWhileTheServerTalks();
    void goodbyeIsANormalCloseFrame();
    void silentServerIsNotWaitedForLongerThanTwoSeconds();
    void deletingFlushesWhatTheSystemTakes();
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

namespace
{

constexpr auto WEBSOCKET = SockJSConnector::WEBSOCKET;
constexpr auto XHR_POLLING = SockJSConnector::XHR_POLLING;

const QString CLOSED_LINE = u"[SockJSConnector] Websocket CLOSED"_s;

QUrl serverUrl(quint16 port, bool tls = false)
{
    return QUrl(u"%1://127.0.0.1:%2"_s.arg(tls ? u"wss"_s : u"ws"_s).arg(port));
}

int entries(const QString &folder)
{
    return QDir(folder).entryList(QDir::AllEntries | QDir::System | QDir::NoDotAndDotDot).size();
}

int threads()
{
    return entries(u"/proc/self/task"_s);
}

int descriptors()
{
    return entries(u"/proc/self/fd"_s);
}

const Script POLLED_OPEN = {expectRequest(), send(reply("o\n"))};

// The messages of a framed text, as the server reads them.
QString framed(const QString &message)
{
    return u"[\n    \"%1\"\n]\n"_s.arg(message);
}

} // namespace

void tst_SockJSClosing::initTestCase()
{
    m_identity = m_certificates.issue(u"localhost"_s);
    m_certificates.trust();
}

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

    EventBus bus;
    bus.saysOpen = sessionOpen;
    ScriptedServer polled;
    polled.onConnection(sessionOpen ? POLLED_OPEN : Script());
    polled.onEveryOther({expectRequest(), send(reply(""))});
    QVERIFY(polled.listen());

    const LogCapture log;
    SockJSConnector connector;
    QSignalSpy connected(&connector, &SockJSConnector::connected);
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    connector.open(serverUrl(xhr ? polled.port() : bus.port()), {xhr ? XHR_POLLING : WEBSOCKET});
    QTRY_COMPARE_WITH_TIMEOUT(connected.size(), sessionOpen ? 1 : 0, 20000);
    if (!xhr)
        QTRY_COMPARE(bus.connections, 1);
    if (dataPending)
        connector.sendMessage(QString(5000000, QLatin1Char('x')), false);
    if (!serverCloses) {
        connector.close();
        // A web socket's end is told at once, that of the polling thread from the event loop.
        QCOMPARE(closed.size(), xhr ? 0 : 1);
        connector.close();
    } else if (xhr) {
        polled.stop();
    } else {
        bus.client->close();
    }
    QTRY_COMPARE_WITH_TIMEOUT(closed.size(), 1, 20000);
    QVERIFY(!connector.isConnected());
    connector.close();
    QTest::qWait(100);
    QCOMPARE(closed.size(), 1);
    QCOMPARE(closed.at(0).at(0).toBool(), false);
    QCOMPARE(log.count(CLOSED_LINE), 1);
    QCOMPARE(connected.size(), sessionOpen ? 1 : 0);
}

void tst_SockJSClosing::closeWithoutAConnectionIsSilent()
{
    const LogCapture log;
    SockJSConnector connector;
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    connector.close();
    const DeadPort port;
    connector.open(serverUrl(port), {WEBSOCKET});
    log.messages();
    connector.close();
    QCOMPARE(closed.size(), 0);
    QCOMPARE(log.count(CLOSED_LINE), 0);
}

void tst_SockJSClosing::closeDuringAnAttemptEndsTheWait()
{
    RawWebSocketServer server;
    server.answersHandshake = false;
    SockJSConnector connector;
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    QTimer::singleShot(100, &connector, &SockJSConnector::close);
    QVERIFY(!connector.open(serverUrl(server.port()), {WEBSOCKET, XHR_POLLING}));
    QCOMPARE(closed.size(), 1);
    QVERIFY(!SockJSProbe::webSocket(connector));
    QVERIFY(!SockJSProbe::xhrPolling(connector));
    QTest::qWait(50);
    QCOMPARE(closed.size(), 1);
}

void tst_SockJSClosing::deletingDuringAnAttemptEndsTheWait()
{
    RawWebSocketServer server;
    server.answersHandshake = false;
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
    RawWebSocketServer silent;
    silent.answersHandshake = false;
    EventBus bus;
    SockJSConnector connector;
    QSignalSpy connected(&connector, &SockJSConnector::connected);
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    QTimer::singleShot(100, this, [&] { connector.open(serverUrl(bus.port()), {WEBSOCKET}); });
    QVERIFY(!connector.open(serverUrl(silent.port()), {WEBSOCKET, XHR_POLLING}));
    QTRY_COMPARE(connected.size(), 1);
    QCOMPARE(closed.size(), 0);
    QCOMPARE(silent.connections, 1);
    connector.sendMessage(u"x"_s, false);
    QTRY_COMPARE(bus.heard, QStringList{framed(u"x"_s)});
}

void tst_SockJSClosing::openingAnOpenConnectorClosesItFirst_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::newRow("web socket") << false;
    QTest::newRow("XHR") << true;
}

void tst_SockJSClosing::openingAnOpenConnectorClosesItFirst()
{
    QFETCH(bool, xhr);
    EventBus bus;
    ScriptedServer polled;
    polled.onConnection(POLLED_OPEN + Script{expectMatch("\r\n\r\n\r\n\r\n"), expectEnd()});
    QVERIFY(polled.listen());
    QStringList events;
    SockJSConnector connector;
    connect(&connector, &SockJSConnector::connected, this, [&] { events.append("connected"); });
    connect(&connector, &SockJSConnector::closed, this, [&] { events.append("closed"); });
    connector.open(serverUrl(xhr ? polled.port() : bus.port()), {xhr ? XHR_POLLING : WEBSOCKET});
    QTRY_COMPARE_WITH_TIMEOUT(events, QStringList{"connected"}, 20000);

    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_COMPARE(events, (QStringList{"connected", "closed", "connected"}));
    connector.sendMessage(u"x"_s, false);
    QTRY_COMPARE(bus.heard, QStringList{framed(u"x"_s)});
    // The old connection's end is not taken for the new one's.
    QTest::qWait(200);
    QCOMPARE(events.size(), 3);
    QVERIFY(connector.isConnected());
}

void tst_SockJSClosing::openingInTheClosedSlotWins_data()
{
    openingAnOpenConnectorClosesItFirst_data();
}

// A host that opens anew whenever the connection ends does not fall into a loop.
void tst_SockJSClosing::openingInTheClosedSlotWins()
{
    QFETCH(bool, xhr);
    EventBus first;
    EventBus second;
    EventBus third;
    ScriptedServer polled;
    polled.onConnection(POLLED_OPEN);
    QVERIFY(polled.listen());
    SockJSConnector connector;
    QSignalSpy connected(&connector, &SockJSConnector::connected);
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    connect(&connector, &SockJSConnector::closed, this,
            [&] { connector.open(serverUrl(second.port()), {WEBSOCKET}); });
    connector.open(serverUrl(xhr ? polled.port() : first.port()), {xhr ? XHR_POLLING : WEBSOCKET});
    QTRY_COMPARE_WITH_TIMEOUT(connected.size(), 1, 20000);
    connector.open(serverUrl(third.port()), {WEBSOCKET});
    QTRY_COMPARE(connected.size(), 2);
    QCOMPARE(closed.size(), 1);
    QCOMPARE(second.connections, 1);
    QCOMPARE(third.connections, 0);
    connector.disconnect(this);
}

void tst_SockJSClosing::openingWhileXhrClosesReportsTheOldOneFirst()
{
    ScriptedServer polled;
    polled.onConnection(POLLED_OPEN);
    QVERIFY(polled.listen());
    EventBus bus;
    QStringList events;
    SockJSConnector connector;
    connect(&connector, &SockJSConnector::connected, this, [&] { events.append("connected"); });
    connect(&connector, &SockJSConnector::closed, this, [&] { events.append("closed"); });
    connector.open(serverUrl(polled.port()), {XHR_POLLING});
    QTRY_COMPARE_WITH_TIMEOUT(events.size(), 1, 20000);
    connector.close();
    connector.open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_COMPARE(events, (QStringList{"connected", "closed", "connected"}));
    QTest::qWait(200);
    QCOMPARE(events.size(), 3);
}

void tst_SockJSClosing::lateXhrFramesAreNotHeardAfterClose()
{
    ScriptedServer polled;
    polled.onConnection(POLLED_OPEN);
    QVERIFY(polled.listen());
    SockJSConnector connector;
    QSignalSpy connected(&connector, &SockJSConnector::connected);
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    connector.open(serverUrl(polled.port()), {XHR_POLLING});
    // The frame is on its way between the threads when the host closes.
    QVERIFY2(polled.finished(), qPrintable(polled.failure()));
    QThread::msleep(200);
    connector.close();
    QTRY_COMPARE(closed.size(), 1);
    QCOMPARE(connected.size(), 0);
    QVERIFY(!connector.isConnected());
}

void tst_SockJSClosing::nothingSaidIsLost_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("tls");
    QTest::newRow("web socket") << false << false;
    QTest::newRow("web socket, TLS") << false << true;
    QTest::newRow("XHR") << true << false;
    QTest::newRow("XHR, TLS") << true << true;
}

void tst_SockJSClosing::nothingSaidIsLost()
{
    QFETCH(bool, xhr);
    QFETCH(bool, tls);
    EventBus bus(tls ? &m_identity : nullptr);
    ScriptedServer polled;
    if (tls)
        polled.setCertificate(m_identity);
    polled.onConnection(POLLED_OPEN);
    polled.onConnection({expectRequest(), send(reply("", "204 No Content")), expectRequest(),
                         send(reply("", "204 No Content"))});
    QVERIFY(polled.listen());

    SockJSConnector connector;
    QSignalSpy closed(&connector, &SockJSConnector::closed);
    connector.open(serverUrl(xhr ? polled.port() : bus.port(), tls),
                   {xhr ? XHR_POLLING : WEBSOCKET});
    QTRY_VERIFY_WITH_TIMEOUT(connector.isConnected(), 20000);

    const QString large(5 * 1024 * 1024, QLatin1Char('x'));
    connector.sendMessage(large, false);
    connector.sendMessage(u"disconnect"_s, false);
    connector.close();
    QVERIFY(connector.isSending());
    QTRY_COMPARE_WITH_TIMEOUT(closed.size(), 1, 20000);

    const QString last = framed(u"disconnect"_s);
    if (xhr) {
        QTRY_COMPARE_WITH_TIMEOUT(polled.requests(1).size(), 2, 60000);
        QVERIFY(polled.requests(1).at(0).endsWith(framed(large).toUtf8()));
        QVERIFY(polled.requests(1).at(1).endsWith(last.toUtf8()));
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(bus.heard.size(), 2, 60000);
        QVERIFY(bus.heard.at(0) == framed(large));
        QCOMPARE(bus.heard.at(1), last);
        QTRY_COMPARE_WITH_TIMEOUT(bus.closeCodes.size(), 1, 20000);
        QCOMPARE(bus.closeCodes.at(0), QWebSocketProtocol::CloseCodeNormal);
    }
    QTRY_VERIFY_WITH_TIMEOUT(!connector.isSending(), 20000);
}

void tst_SockJSClosing::nothingSaidIsLostWhileTheServerTalks_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("TLS") << true;
}

// Unread data at a closed end makes the system reset the connection and drop what is on its way.
void tst_SockJSClosing::nothingSaidIsLostWhileTheServerTalks()
{
    QFETCH(bool, tls);
    for (int i = 0; i < 5; ++i) {
        EventBus bus(tls ? &m_identity : nullptr);
        SockJSConnector connector;
        connector.open(serverUrl(bus.port(), tls), {WEBSOCKET});
        QTRY_VERIFY_WITH_TIMEOUT(connector.isConnected(), 20000);
        QTimer talk;
        connect(&talk, &QTimer::timeout, this, [&bus] {
            if (bus.client)
                bus.client->sendTextMessage(u"a[\"answer\"]"_s);
        });
        talk.start(0);
        const QString large(5 * 1024 * 1024, QLatin1Char('x'));
        connector.sendMessage(large, false);
        connector.sendMessage(u"disconnect"_s, false);
        connector.close();
        QTRY_COMPARE_WITH_TIMEOUT(bus.heard.size(), 2, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(bus.closeCodes.size(), 1, 20000);
        QCOMPARE(bus.closeCodes.at(0), QWebSocketProtocol::CloseCodeNormal);
    }
}

void tst_SockJSClosing::goodbyeIsANormalCloseFrame()
{
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    SockJSConnector connector;
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    connector.sendMessage(u"x"_s, false);
    connector.close();
    QTRY_COMPARE(server.frames.size(), 3);
    QCOMPARE(server.frames.at(0).opcode, int(RawWebSocketServer::TEXT));
    QCOMPARE(server.frames.at(1).opcode, int(RawWebSocketServer::PING));
    QCOMPARE(server.frames.at(2).opcode, int(RawWebSocketServer::CLOSE));
    QCOMPARE(server.frames.at(2).payload, QByteArray("\x03\xe8")); // 1000
    QTRY_COMPARE(server.client->state(), QAbstractSocket::UnconnectedState);
}

void tst_SockJSClosing::silentServerIsNotWaitedForLongerThanTwoSeconds()
{
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    server.answersPings = false;
    SockJSConnector connector;
    connector.open(serverUrl(server.port()), {WEBSOCKET});
    connector.sendMessage(u"x"_s, false);
    QElapsedTimer timer;
    timer.start();
    connector.close();
    QTRY_COMPARE(server.frames.size(), 2);
    QCOMPARE(server.frames.at(1).opcode, int(RawWebSocketServer::PING));
    // A pong that answers nothing is not the answer.
    server.client->write(RawWebSocketServer::frame(RawWebSocketServer::PONG, "x"));
    QTRY_COMPARE_WITH_TIMEOUT(server.frames.size(), 3, 20000);
    QVERIFY2(timer.elapsed() >= 1900, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(server.frames.at(2).opcode, int(RawWebSocketServer::CLOSE));
    QTRY_COMPARE_WITH_TIMEOUT(server.client->state(), QAbstractSocket::UnconnectedState, 20000);

    // One that takes nothing at all, with more to send than the system's buffers hold.
    RawWebSocketServer second;
    second.behindHandshake = RawWebSocketServer::text("o");
    connector.open(serverUrl(second.port()), {WEBSOCKET});
    const int before = descriptors();
    second.client->setReadBufferSize(1);
    second.client->disconnect(SIGNAL(readyRead()));
    connector.sendMessage(QString(20 * 1024 * 1024, QLatin1Char('x')), false);
    connector.close();
    QTRY_COMPARE_WITH_TIMEOUT(descriptors(), before - 1, 20000);
}

void tst_SockJSClosing::deletingFlushesWhatTheSystemTakes()
{
    RawWebSocketServer server;
    server.behindHandshake = RawWebSocketServer::text("o");
    auto *connector = new SockJSConnector;
    connector->open(serverUrl(server.port()), {WEBSOCKET});
    connector->sendMessage(u"last"_s, false);
    delete connector;
    QTRY_COMPARE(server.frames.size(), 3);
    QCOMPARE(server.frames.at(0).payload, framed(u"last"_s).toUtf8());
    QCOMPARE(server.frames.at(2).opcode, int(RawWebSocketServer::CLOSE));
    QCOMPARE(server.frames.at(2).payload, QByteArray("\x03\xe8"));

    // The same for one that was closed just before.
    RawWebSocketServer second;
    connector = new SockJSConnector;
    connector->open(serverUrl(second.port()), {WEBSOCKET});
    connector->sendMessage(u"last"_s, false);
    connector->close();
    delete connector;
    QTRY_COMPARE(second.frames.size(), 3);
    QCOMPARE(second.frames.at(0).payload, framed(u"last"_s).toUtf8());
    QCOMPARE(second.frames.at(2).opcode, int(RawWebSocketServer::CLOSE));
}

void tst_SockJSClosing::deletingReportsAnOpenSessionOnce_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("sessionOpen");
    QTest::newRow("web socket, open") << false << true;
    QTest::newRow("web socket, before the open frame") << false << false;
    QTest::newRow("XHR, open") << true << true;
    QTest::newRow("XHR, before the open frame") << true << false;
}

void tst_SockJSClosing::deletingReportsAnOpenSessionOnce()
{
    QFETCH(bool, xhr);
    QFETCH(bool, sessionOpen);
    EventBus bus;
    bus.saysOpen = sessionOpen;
    ScriptedServer polled;
    polled.onConnection(sessionOpen ? POLLED_OPEN : Script());
    QVERIFY(polled.listen());
    auto *connector = new SockJSConnector;
    QSignalSpy closed(connector, &SockJSConnector::closed);
    connector->open(serverUrl(xhr ? polled.port() : bus.port()), {xhr ? XHR_POLLING : WEBSOCKET});
    QTRY_COMPARE_WITH_TIMEOUT(connector->isConnected(), sessionOpen, 20000);
    delete connector;
    QCOMPARE(closed.size(), sessionOpen ? 1 : 0);
}

void tst_SockJSClosing::openIsRefusedWhileTheConnectorGoes()
{
    EventBus bus;
    auto *connector = new SockJSConnector;
    connector->open(serverUrl(bus.port()), {WEBSOCKET});
    QTRY_VERIFY(connector->isConnected());
    connect(connector, &SockJSConnector::closed, this,
            [&] { connector->open(serverUrl(bus.port()), {WEBSOCKET}); });
    delete connector;
    QTest::qWait(100);
    QCOMPARE(bus.connections, 1);
}

void tst_SockJSClosing::deletingLeavesNothingBehind_data()
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
void tst_SockJSClosing::deletingLeavesNothingBehind()
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
    connector->open(serverUrl(server.port(), tls), {XHR_POLLING});
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

void tst_SockJSClosing::twoHundredCyclesLeaveNothingBehind_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("sending");
    QTest::newRow("web socket") << false << true;
    QTest::newRow("XHR") << true << false;
    QTest::newRow("XHR, with a post each") << true << true;
}

void tst_SockJSClosing::twoHundredCyclesLeaveNothingBehind()
{
    QFETCH(bool, xhr);
    QFETCH(bool, sending);
    EventBus bus;
    QTcpServer polled; // answers posts, keeps polls waiting
    connect(&polled, &QTcpServer::newConnection, this, [&polled] {
        QTcpSocket *socket = polled.nextPendingConnection();
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QTcpSocket::readyRead, socket, [socket] {
            if (socket->readAll().contains("/xhr_send"))
                socket->write(reply("", "204 No Content"));
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

QTEST_GUILESS_MAIN(tst_SockJSClosing)
#include "tst_sockjsclosing.moc"
