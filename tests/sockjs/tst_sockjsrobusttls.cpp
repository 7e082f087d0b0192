#include "FarEnd.h"
#include "ToolkitWords.h"
#include "TunnelProxy.h"
#include "support/TestCertificates.h"

using namespace Scripted;
Q_DECLARE_METATYPE(Scripted::Step)

// The robust transport over HTTP with TLS: ends of connections are what they are without, and a server
// that takes the place of ours gets nothing.
class tst_SockJSRobustTls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanup();
    void endBetweenAnswersIsNoEnd_data();
    void endBetweenAnswersIsNoEnd();
    void endInsideAnAnswerEndsTheConnection_data();
    void endInsideAnAnswerEndsTheConnection();
    void lastBytesAreReadBeforeTheEnd_data();
    void lastBytesAreReadBeforeTheEnd();
    void impostorGetsNoPost();
    void impostorGetsNoRequest();

private:
    const TestCertificates::Identity *identity() const;

    TestCertificates m_certificates;
    TestCertificates m_foreign{u"Foreign Root"_s};
    TestCertificates::Identity m_identity;
};

namespace
{

const QByteArray FRAME = "a[\"hi\"]\n";
const QByteArray LAST = "HTTP/1.1 200 OK\r\nConnection: close\r\n";

void addRow(const char *name, const Script &script)
{
    for (const bool tls : {false, true})
        QTest::addRow("%s, %s", tls ? "TLS" : "TCP", name) << tls << script;
}

void openRobustly(SockJSConnector &connector, const FarEnd &far)
{
    connector.setRobustTransport(true);
    far.open(connector);
}

// Over a proxy, which decides what is behind the name.
void openOver(const TunnelProxy &proxy, SockJSConnector &connector)
{
    qputenv("http_proxy", "http://127.0.0.1:" + QByteArray::number(proxy.port()));
    connector.setRobustTransport(true);
    connector.open(QUrl(u"https://classroom.invalid/bus/"_s), {XHR_POLLING});
}

} // namespace

void tst_SockJSRobustTls::initTestCase()
{
    m_identity =
        m_certificates.issue(u"localhost"_s, u"DNS:classroom.invalid,DNS:localhost,IP:127.0.0.1"_s);
    m_certificates.trust();
}

void tst_SockJSRobustTls::cleanup()
{
    qunsetenv("http_proxy");
}

const TestCertificates::Identity *tst_SockJSRobustTls::identity() const
{
    QFETCH(bool, tls);
    return tls ? &m_identity : nullptr;
}

void tst_SockJSRobustTls::endBetweenAnswersIsNoEnd_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<Script>("end");
    addRow("at once", {close()});
    addRow("later", {pause(200), close()});
    addRow("behind the next request", {expectRequest(), close()});
}

void tst_SockJSRobustTls::endBetweenAnswersIsNoEnd()
{
    QFETCH(Script, end);
    FarEnd far(true, identity());
    far.polled.onConnection(POLLED_OPEN + end);
    far.polled.onConnection({expectRequest(), send(reply(FRAME)), expectRequest(), pause(60000)});
    ConnectorRun run;
    openRobustly(run.connector, far);
    QTRY_COMPARE(run.texts(), QStringList{u"hi"_s});
    QTRY_COMPARE(far.polled.requests(1).size(), 2);
    QCOMPARE(run.connected.size(), 1);
    QCOMPARE(run.closed.size(), 0);
    QCOMPARE(far.polled.connectionCount(), 2);
}

void tst_SockJSRobustTls::endInsideAnAnswerEndsTheConnection_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<Script>("answer");
    addRow("header", {send("HTTP/1.1 200 OK\r\nContent-"), close()});
    addRow("length", {send(plain(100, FRAME + "a[\"lost\"]")), close()});
    addRow("chunks", {send(CHUNKED + chunk(FRAME + "a[\"lost\"]")), close()});
    addRow("chunk", {send(CHUNKED + "64\r\n" + FRAME), close()});
    addRow("reset", {send(plain(100, FRAME)), pause(200), Scripted::abort()});
}

void tst_SockJSRobustTls::endInsideAnAnswerEndsTheConnection()
{
    QFETCH(Script, answer);
    FarEnd far(true, identity());
    far.polled.onConnection(POLLED_OPEN + Script{expectRequest()} + answer);
    ConnectorRun run;
    openRobustly(run.connector, far);
    QTRY_COMPARE(run.closed, QList<QVariantList>{{false}});
    QCOMPARE(run.connector.getCloseCode(), 1006);
    const QString reason = run.connector.getCloseReason();
    QVERIFY2(reason.startsWith(u"The connection to the server broke: "_s), qPrintable(reason));
    const bool hasFrame = answer.first().bytes.contains(FRAME);
    QCOMPARE(run.texts(), hasFrame ? QStringList{u"hi"_s} : QStringList());
    QCOMPARE(far.polled.connectionCount(), 1);
}

// More than the toolkit reads ahead, with the end right behind it.
void tst_SockJSRobustTls::lastBytesAreReadBeforeTheEnd_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<Script>("answer");
    const QByteArray frames = FRAME.repeated(200000) + "c[3000,\"Go away!\"]";
    addRow("length", {send(reply(frames)), close()});
    addRow("chunks", {send(CHUNKED + chunk(frames) + END_CHUNK), close()});
    addRow("until the end", {send(LAST + "\r\n" + frames), close()});
}

void tst_SockJSRobustTls::lastBytesAreReadBeforeTheEnd()
{
    QFETCH(Script, answer);
    FarEnd far(true, identity());
    far.polled.onConnection(POLLED_OPEN + Script{expectRequest()} + answer);
    ConnectorRun run;
    openRobustly(run.connector, far);
    QTRY_COMPARE_WITH_TIMEOUT(run.closed, QList<QVariantList>{{false}}, 20000);
    QCOMPARE(run.messages.size(), 200000);
    QCOMPARE(run.connector.getCloseCode(), 3000);
    QCOMPARE(run.connector.getCloseReason(), u"Go away!"_s);
}

// Another server has the classroom's address now.
void tst_SockJSRobustTls::impostorGetsNoPost()
{
    FarEnd far(true, &m_identity);
    far.polled.onConnection(POLLED_OPEN + Script{expectRequest(), pause(60000)});
    const TestCertificates::Identity foreign = m_foreign.issue(u"x"_s, u"DNS:classroom.invalid"_s);
    FarEnd impostor(true, &foreign);
    impostor.polled.onEveryOther({expectRequest(), send(NO_CONTENT)});
    TunnelProxy proxy(far.polled.port());
    ConnectorRun run;
    openOver(proxy, run.connector);
    QTRY_COMPARE(run.connected.size(), 1);
    proxy.target = impostor.polled.port();
    run.connector.sendMessage(u"secret"_s, false);
    QTRY_COMPARE(run.closed, QList<QVariantList>{{false}});
    QCOMPARE(run.connector.getCloseReason(),
             u"A message could not be sent: "_s
                 + handshakeFailed(u"The issuer certificate of a locally looked up certificate "
                                   "could not be found"_s));
    QCOMPARE(impostor.polled.connectionCount(), 1);
    QCOMPARE(impostor.polled.requests(), QList<QByteArray>());
}

void tst_SockJSRobustTls::impostorGetsNoRequest()
{
    FarEnd far(true, &m_identity);
    far.polled.onConnection({expectRequest(), send(LAST + "\r\no\n"), pause(200), close()});
    const TestCertificates::Identity foreign = m_foreign.issue(u"x"_s, u"DNS:classroom.invalid"_s);
    FarEnd impostor(true, &foreign);
    impostor.polled.onEveryOther({expectRequest(), send(FRAME_O)});
    TunnelProxy proxy(far.polled.port());
    ConnectorRun run;
    openOver(proxy, run.connector);
    QTRY_COMPARE(run.connected.size(), 1);
    proxy.target = impostor.polled.port();
    QTRY_COMPARE_WITH_TIMEOUT(run.closed, QList<QVariantList>{{false}}, 20000);
    QCOMPARE(run.connector.getCloseCode(), 1006);
    const QString reason = run.connector.getCloseReason();
    QVERIFY2(reason.startsWith(u"The server cannot be reached any more: "_s), qPrintable(reason));
    QVERIFY(impostor.polled.connectionCount() > 1);
    QCOMPARE(impostor.polled.requests(), QList<QByteArray>());
}

QTEST_GUILESS_MAIN(tst_SockJSRobustTls)
#include "tst_sockjsrobusttls.moc"
