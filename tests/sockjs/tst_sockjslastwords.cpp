#include "FarEnd.h"
#include "ProcessEntries.h"
#include "RawServers.h"
#include "support/Promptness.h"
#include "support/TestCertificates.h"

using namespace Scripted;

// Everything that was said before the end arrives, and then a goodbye, for which nobody waits long.
class tst_SockJSLastWords : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void nothingSaidIsLost_data();
    void nothingSaidIsLost();
    void nothingSaidIsLostWhileTheServerTalks_data();
    void nothingSaidIsLostWhileTheServerTalks();
    void goodbyeIsANormalCloseFrame();
    void silentServerIsNotWaitedForLongerThanTwoSeconds();
    void serverThatTakesNothingAtAllIsLeft();
    void deletingFlushesWhatTheSystemTakes();

private:
    TestCertificates m_certificates;
    TestCertificates::Identity m_identity;
};

namespace
{

constexpr auto TEXT = int(RawWebSocketServer::TEXT);
constexpr auto PING = int(RawWebSocketServer::PING);
constexpr auto CLOSE = int(RawWebSocketServer::CLOSE);

// What a host says last; the first message does not fit into the system's buffers.
const QString LARGE(5 * 1024 * 1024, QLatin1Char('x'));
const QString LAST = u"disconnect"_s;

void sayLastWords(SockJSConnector &connector)
{
    connector.sendMessage(LARGE, false);
    connector.sendMessage(LAST, false);
    connector.close();
}

QList<int> opcodes(const RawWebSocketServer &server)
{
    QList<int> list;
    for (const RawWebSocketServer::Frame &frame : server.frames)
        list.append(frame.opcode);
    return list;
}

} // namespace

void tst_SockJSLastWords::initTestCase()
{
    m_identity = m_certificates.issue(u"localhost"_s);
    m_certificates.trust();
}

void tst_SockJSLastWords::nothingSaidIsLost_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::addColumn<bool>("tls");
    QTest::newRow("web socket") << false << false;
    QTest::newRow("web socket, TLS") << false << true;
    QTest::newRow("XHR") << true << false;
    QTest::newRow("XHR, TLS") << true << true;
}

void tst_SockJSLastWords::nothingSaidIsLost()
{
    QFETCH(bool, xhr);
    QFETCH(bool, tls);
    FarEnd far(xhr, tls ? &m_identity : nullptr);
    far.polled.onConnection(POLLED_OPEN);
    far.polled.onConnection({expectRequest(), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)});
    ConnectorRun run;
    far.open(run.connector);
    QTRY_VERIFY_WITH_TIMEOUT(run.connector.isConnected(), 20000);

    sayLastWords(run.connector);
    QVERIFY(run.connector.isSending());
    QTRY_COMPARE_WITH_TIMEOUT(run.closed.size(), 1, 20000);
    if (xhr) {
        QTRY_COMPARE_WITH_TIMEOUT(far.polled.requests(1).size(), 2, 60000);
        QVERIFY(far.polled.requests(1).at(0).endsWith(framed(LARGE).toUtf8()));
        QVERIFY(far.polled.requests(1).at(1).endsWith(framed(LAST).toUtf8()));
    } else {
        QTRY_COMPARE_WITH_TIMEOUT(far.bus.frames().size(), 2, 60000);
        QVERIFY(far.bus.frames().at(0) == framed(LARGE));
        QCOMPARE(far.bus.frames().at(1), framed(LAST));
        QTRY_COMPARE_WITH_TIMEOUT(far.bus.closeCodes().size(), 1, 20000);
        QCOMPARE(far.bus.closeCodes().at(0), QWebSocketProtocol::CloseCodeNormal);
    }
    QTRY_VERIFY_WITH_TIMEOUT(!run.connector.isSending(), 20000);
}

void tst_SockJSLastWords::nothingSaidIsLostWhileTheServerTalks_data()
{
    QTest::addColumn<bool>("tls");
    QTest::newRow("plain") << false;
    QTest::newRow("TLS") << true;
}

// Unread data at a closed end makes the system reset the connection and drop what is on its way.
void tst_SockJSLastWords::nothingSaidIsLostWhileTheServerTalks()
{
    QFETCH(bool, tls);
    for (int i = 0; i < 5; ++i) {
        FarEnd far(false, tls ? &m_identity : nullptr);
        ConnectorRun run;
        far.open(run.connector);
        QTRY_VERIFY_WITH_TIMEOUT(run.connector.isConnected(), 20000);
        QTimer talk;
        connect(&talk, &QTimer::timeout, this, [&far] {
            if (far.bus.connection())
                far.bus.sendFrame(u"a[\"answer\"]"_s);
        });
        talk.start(0);
        sayLastWords(run.connector);
        QTRY_COMPARE_WITH_TIMEOUT(far.bus.frames().size(), 2, 60000);
        QTRY_COMPARE_WITH_TIMEOUT(far.bus.closeCodes().size(), 1, 20000);
        QCOMPARE(far.bus.closeCodes().at(0), QWebSocketProtocol::CloseCodeNormal);
    }
}

void tst_SockJSLastWords::goodbyeIsANormalCloseFrame()
{
    OpeningServer server;
    ConnectorRun run;
    run.open(server.port());
    run.connector.sendMessage(u"x"_s, false);
    run.connector.close();
    QTRY_COMPARE(opcodes(server), (QList<int>{TEXT, PING, CLOSE}));
    QCOMPARE(server.frames.at(2).payload, QByteArray("\x03\xe8")); // 1000
    QTRY_COMPARE(server.client->state(), QAbstractSocket::UnconnectedState);
}

void tst_SockJSLastWords::silentServerIsNotWaitedForLongerThanTwoSeconds()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        OpeningServer server;
        server.answersPings = false;
        ConnectorRun run;
        run.open(server.port());
        run.connector.sendMessage(u"x"_s, false);
        QElapsedTimer timer;
        timer.start();
        run.connector.close();
        QTRY_COMPARE_WITH_TIMEOUT(opcodes(server), (QList<int>{TEXT, PING}), 20000);
        // A pong that answers nothing is not the answer.
        server.client->write(RawWebSocketServer::frame(RawWebSocketServer::PONG, "x"));
        QTRY_COMPARE_WITH_TIMEOUT(server.frames.size(), 3, 20000);
        const qint64 ms = timer.elapsed();
        QVERIFY2(ms >= 1900, qPrintable(QString::number(ms)));
        promptness.take(ms, 2500);
        QCOMPARE(server.frames.at(2).opcode, CLOSE);
        QTRY_COMPARE_WITH_TIMEOUT(server.client->state(), QAbstractSocket::UnconnectedState, 20000);
    }
    VERIFY_PROMPT(promptness);
}

// With more to send than the system's buffers hold.
void tst_SockJSLastWords::serverThatTakesNothingAtAllIsLeft()
{
    const OpeningServer server;
    ConnectorRun run;
    run.open(server.port());
    const int before = descriptors();
    server.client->setReadBufferSize(1);
    server.client->disconnect(SIGNAL(readyRead()));
    run.connector.sendMessage(QString(20 * 1024 * 1024, QLatin1Char('x')), false);
    run.connector.close();
    QTRY_COMPARE_WITH_TIMEOUT(descriptors(), before - 1, 20000);
}

void tst_SockJSLastWords::deletingFlushesWhatTheSystemTakes()
{
    for (const bool closing : {false, true}) {
        RawWebSocketServer server;
        if (!closing)
            server.behindHandshake = RawWebSocketServer::text("o");
        auto *connector = new SockJSConnector;
        connector->open(serverUrl(server.port()), {WEBSOCKET});
        connector->sendMessage(u"last"_s, false);
        if (closing)
            connector->close();
        delete connector;
        QTRY_COMPARE(server.frames.size(), 3);
        QCOMPARE(server.frames.at(0).payload, framed(u"last"_s).toUtf8());
        QCOMPARE(server.frames.at(2).opcode, CLOSE);
        QCOMPARE(server.frames.at(2).payload, QByteArray("\x03\xe8"));
    }
}

QTEST_GUILESS_MAIN(tst_SockJSLastWords)
#include "tst_sockjslastwords.moc"
