// A computer on which Qt 6 finds no plug-in for TLS: what asks for TLS fails at once and with a reason, and nothing
// leaves in clear.

#include "client/PresenterClient.h"
#include "sockjs/ConnectorRun.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QLoggingCategory>
#include <QtNetwork/QNetworkReply>
#include <QtNetwork/QSslSocket>
#include <QtTest/QtTest>

#include <memory>

namespace
{

constexpr int AT_ONCE_MS = 4000; // what waits for a connection waits 10 s
const QString REASON = u"TLS initialization failed"_s;

} // namespace

class tst_WithoutTls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();
    void requestFails();
    void attemptFails_data();
    void attemptFails();
    void robustTransportGivesWayWithAReason_data();
    void robustTransportGivesWayWithAReason();

private:
    std::unique_ptr<ScriptedServer> m_server;
    QElapsedTimer m_clock;
};

// The plug-in that only reads certificates; before anything has asked for TLS.
void tst_WithoutTls::initTestCase()
{
    QLoggingCategory::setFilterRules(u"qt.network.ssl.warning=false"_s);
    QVERIFY(QSslSocket::setActiveBackend(u"cert-only"_s));
    QVERIFY(!QSslSocket::supportsSsl());
}

void tst_WithoutTls::init()
{
    m_server = std::make_unique<ScriptedServer>();
    m_server->onEveryOther({});
    QVERIFY(m_server->listen());
    m_clock.start();
}

void tst_WithoutTls::cleanup()
{
    QVERIFY2(m_clock.elapsed() < AT_ONCE_MS, qPrintable(QString::number(m_clock.elapsed())));
    m_server->stop();
    for (int i = 0; i < m_server->connectionCount(); ++i)
        QCOMPARE(m_server->received(i), QByteArray());
    m_server.reset();
}

void tst_WithoutTls::requestFails()
{
    PresenterClient client(nullptr, u"https://127.0.0.1:%1"_s.arg(m_server->port()));
    const LogCapture log;
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    QCOMPARE(client.getLastReply().error, QNetworkReply::UnknownNetworkError);
    QCOMPARE(client.getLastReply().errorText, REASON);
    QVERIFY(client.getLastErrorKey().isNull());
    QCOMPARE(log.messages().last(), u"ERROR: "_s + REASON + u"\nRESPONSE: "_s);
}

void tst_WithoutTls::attemptFails_data()
{
    QTest::addColumn<SockJSConnector::PROTOCOL_TYPE>("transport");
    QTest::addColumn<QString>("line");
    const QString reason = u"[SockJSXHRPolling] "_s + REASON;
    QTest::newRow("web socket") << WEBSOCKET << QString();
    QTest::newRow("streaming") << XHR_STREAMING << reason;
    QTest::newRow("polling") << XHR_POLLING << reason;
}

void tst_WithoutTls::attemptFails()
{
    QFETCH(SockJSConnector::PROTOCOL_TYPE, transport);
    QFETCH(QString, line);
    ConnectorRun run;
    QVERIFY(!run.connector.open(serverUrl(m_server->port(), u"https"_s), {transport}));
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(run.closed.size(), 0);
    QCOMPARE(run.log.startingWith(u"[SockJSXHRPolling] "_s).value(0), line);
}

void tst_WithoutTls::robustTransportGivesWayWithAReason_data()
{
    QTest::addColumn<SockJSConnector::PROTOCOL_TYPE>("transport");
    QTest::addColumn<QString>("reason");
    const QString cannot = u": The server cannot be reached: "_s + REASON;
    QTest::newRow("web socket") << WEBSOCKET
                                << u"websocket: SSL Sockets are not supported on this platform."_s;
    QTest::newRow("streaming") << XHR_STREAMING << u"xhr-streaming"_s + cannot;
    QTest::newRow("polling") << XHR_POLLING << u"xhr-polling"_s + cannot;
}

void tst_WithoutTls::robustTransportGivesWayWithAReason()
{
    QFETCH(SockJSConnector::PROTOCOL_TYPE, transport);
    QFETCH(QString, reason);
    ConnectorRun run;
    run.connector.setRobustTransport(true);
    run.connector.open(serverUrl(m_server->port(), u"https"_s), {transport});
    QTRY_COMPARE(run.closed, QList<QVariantList>{{false}});
    QCOMPARE(run.connected.size(), 0);
    QCOMPARE(run.connector.getCloseCode(), 1006);
    QCOMPARE(run.connector.getCloseReason(), u"No transport could be opened: "_s + reason);
}

QTEST_GUILESS_MAIN(tst_WithoutTls)
#include "tst_withouttls.moc"
