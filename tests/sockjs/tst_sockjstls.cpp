#include "ConnectorRun.h"
#include "Http.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"

using namespace Scripted;

// Both transports against far ends that do not give the TLS connection that was asked for: the attempt
// fails, the host hears nothing, or with the robust transport why, and nothing leaves in clear.
class tst_SockJSTls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void attemptFailsAndNothingIsSentInClear_data();
    void attemptFailsAndNothingIsSentInClear();
    void robustTransportGivesWayWithAReason_data();
    void robustTransportGivesWayWithAReason();
    void webSocketWhoseHandshakeStallsCanBeClosed();

private:
    void play(ScriptedServer &server, int farEnd);
    static void verifyNothingInClear(ScriptedServer &server);

    TestCertificates m_trusted{u"Trusted Root"_s};
    TestCertificates m_foreign{u"Foreign Root"_s};
};

namespace
{

enum FarEnd {
    CLOSES,
    SPEAKS_PLAIN_HTTP,
    HAS_A_FOREIGN_ROOT,
    HAS_ANOTHER_NAME,
    HAS_EXPIRED,
};

} // namespace

// Makes the server such a far end.
void tst_SockJSTls::play(ScriptedServer &server, int farEnd)
{
    m_trusted.trust();
    switch (farEnd) {
    case CLOSES:
        server.setCertificate(m_trusted.issue(u"localhost"_s), true);
        server.onEveryOther({pause(50), close()});
        break;
    case SPEAKS_PLAIN_HTTP:
        server.setCertificate(m_trusted.issue(u"localhost"_s), true);
        server.onEveryOther({send(FRAME_O)});
        break;
    case HAS_A_FOREIGN_ROOT:
        server.setCertificate(m_foreign.issue(u"localhost"_s));
        server.onEveryOther({});
        break;
    case HAS_ANOTHER_NAME:
        server.setCertificate(m_trusted.issue(u"elsewhere"_s, u"DNS:elsewhere.example"_s));
        server.onEveryOther({});
        break;
    case HAS_EXPIRED:
        server.setCertificate(m_trusted.issueExpired(u"localhost"_s));
        server.onEveryOther({});
        break;
    }
    QVERIFY(server.listen());
}

void tst_SockJSTls::verifyNothingInClear(ScriptedServer &server)
{
    QVERIFY(server.connectionCount() > 0);
    server.stop();
    for (int i = 0; i < server.connectionCount(); ++i)
        QVERIFY2(!server.received(i).contains("eventbus"), server.received(i).constData());
}

void tst_SockJSTls::attemptFailsAndNothingIsSentInClear_data()
{
    QTest::addColumn<SockJSConnector::PROTOCOL_TYPE>("transport");
    QTest::addColumn<int>("farEnd");
    const QVector<QPair<SockJSConnector::PROTOCOL_TYPE, const char *>> transports = {
        {WEBSOCKET, "web socket"},
        {XHR_POLLING, "polling"},
    };
    const QVector<QPair<FarEnd, const char *>> farEnds = {
        {CLOSES, "closes in the handshake"},
        {SPEAKS_PLAIN_HTTP, "speaks plain HTTP"},
        {HAS_A_FOREIGN_ROOT, "has a foreign root"},
        {HAS_ANOTHER_NAME, "has another name"},
        {HAS_EXPIRED, "has expired"},
    };
    for (const auto &transport : transports) {
        for (const auto &farEnd : farEnds) {
            QTest::addRow("%s, server %s", transport.second, farEnd.second)
                << transport.first << int(farEnd.first);
        }
    }
}

void tst_SockJSTls::attemptFailsAndNothingIsSentInClear()
{
    QFETCH(SockJSConnector::PROTOCOL_TYPE, transport);
    QFETCH(int, farEnd);
    ScriptedServer server;
    play(server, farEnd);

    ConnectorRun run;
    QVERIFY(!run.connector.open(serverUrl(server.port(), u"https"_s), {transport}));
    QCoreApplication::processEvents();

    QVERIFY(!run.connector.isConnected());
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(run.closed.size(), 0);
    QVERIFY(run.log.startingWith(u"[SockJSConnector] CONNECTED"_s).isEmpty());
    QCOMPARE(run.log.startingWith(u"[SockJSXHRPolling] "_s).size(),
             transport == XHR_POLLING ? 1 : 0);
    verifyNothingInClear(server);
}

void tst_SockJSTls::robustTransportGivesWayWithAReason_data()
{
    QTest::addColumn<SockJSConnector::PROTOCOL_TYPE>("transport");
    QTest::addColumn<int>("farEnd");
    QTest::addColumn<QString>("reason");
    const auto row = [](FarEnd farEnd, const char *name, const char *why) {
        QTest::addRow("web socket, server %s", name)
            << WEBSOCKET << int(farEnd) << u"websocket: "_s + QLatin1String(why);
        QTest::addRow("polling, server %s", name)
            << XHR_POLLING << int(farEnd)
            << u"xhr-polling: The server cannot be reached: "_s + QLatin1String(why);
    };
    row(CLOSES, "closes in the handshake", "The remote host closed the connection");
    row(SPEAKS_PLAIN_HTTP, "speaks plain HTTP", "Error during SSL handshake: ");
    row(HAS_A_FOREIGN_ROOT, "has a foreign root",
        "The issuer certificate of a locally looked up certificate could not be found");
    row(HAS_ANOTHER_NAME, "has another name",
        "The host name did not match any of the valid hosts for this certificate");
    row(HAS_EXPIRED, "has expired", "The certificate has expired");
}

void tst_SockJSTls::robustTransportGivesWayWithAReason()
{
    QFETCH(SockJSConnector::PROTOCOL_TYPE, transport);
    QFETCH(int, farEnd);
    QFETCH(QString, reason);
    ScriptedServer server;
    play(server, farEnd);

    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.connector.open(serverUrl(server.port(), u"https"_s), {transport});
    QTRY_COMPARE(run.closed, QList<QVariantList>{{false}});
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(run.connector.getCloseCode(), 1006);
    // The words for a failed handshake go on with those of the TLS library.
    const QString told = run.connector.getCloseReason();
    QVERIFY2(told.startsWith(u"No transport could be opened: "_s + reason), qPrintable(told));
    verifyNothingInClear(server);
}

// The attempt itself waits without a limit; the host ends it.
void tst_SockJSTls::webSocketWhoseHandshakeStallsCanBeClosed()
{
    m_trusted.trust();
    ScriptedServer server;
    server.setCertificate(m_trusted.issue(u"localhost"_s), true);
    server.onConnection({pause(60000)});
    QVERIFY(server.listen());

    ConnectorRun run;
    QTimer::singleShot(500, &run.connector, &SockJSConnector::close);
    QVERIFY(!run.connector.open(serverUrl(server.port(), u"https"_s), {WEBSOCKET}));
    QCOMPARE(run.closed.size(), 1);
    QCOMPARE(run.closed.at(0), QVariantList{false});
}

QTEST_GUILESS_MAIN(tst_SockJSTls)
#include "tst_sockjstls.moc"
