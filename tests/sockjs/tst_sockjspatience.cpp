#include "DeafPort.h"
#include "Http.h"
#include "SockJSProbe.h"
#include "support/LogCapture.h"
#include "support/TestCertificates.h"

#include <QtNetwork/QSslSocket>
#include <QtTest/QtTest>

#include <thread>

using namespace Scripted;

// The waits of thirty seconds, all at the same time.
class tst_SockJSPatience : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void waitsOfThirtySeconds();
};

namespace
{

// How long a worker tries to connect, and with what result.
struct Attempt {
    bool connected = true;
    qint64 ms = 0;

    void run(quint16 port, bool ssl)
    {
        const std::unique_ptr<QTcpSocket> socket(ssl ? new QSslSocket : new QTcpSocket);
        socket->setProxy(QNetworkProxy::NoProxy);
        SockJSXHRPollingWorker worker(nullptr, socket.get(), localhost(), port, ssl, true);
        QElapsedTimer timer;
        timer.start();
        connected = worker.connectToServer();
        ms = timer.elapsed();
    }
};

} // namespace

void tst_SockJSPatience::waitsOfThirtySeconds()
{
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer stalling; // answers no handshake
    stalling.setCertificate(certificates.issue(u"localhost"_s), true);
    stalling.setDeadline(60000);
    stalling.onConnection({pause(60000)});
    QVERIFY(stalling.listen());
    const DeafPort deaf;
    Attempt handshake;
    Attempt connection;
    std::thread handshakeThread([&] { handshake.run(stalling.port(), true); });
    std::thread connectionThread([&] { connection.run(deaf.port(), false); });

    ScriptedServer mute; // takes posts and answers the second only
    mute.setDeadline(60000);
    mute.onConnection({});
    mute.onConnection({expectRequest(), expectEnd()});
    mute.onConnection({expectRequest(), send(NO_CONTENT)});
    QVERIFY(mute.listen());
    const LogCapture log;
    SockJSXHRPolling transport;
    QVERIFY(transport.start(localhost(), mute.port(), false, u"/s"_s, false));
    QElapsedTimer timer;
    timer.start();
    transport.sendTextMessage(u"given up"_s);
    transport.sendTextMessage(u"next"_s);
    QTRY_COMPARE_WITH_TIMEOUT(mute.requests(2).size(), 1, 60000);
    const qint64 givenUpAfter = timer.elapsed();

    connectionThread.join();
    handshakeThread.join();
    QVERIFY2(givenUpAfter > 29000 && givenUpAfter < 45000,
             qPrintable(QString::number(givenUpAfter)));
    QCOMPARE(log.messages().join(u'\n'),
             u"[SockJSXHRPolling] xhr_send error: Operation canceled"_s);
    QVERIFY(mute.requests(2).at(0).endsWith("next"));
    for (const Attempt &attempt : {handshake, connection}) {
        QVERIFY(!attempt.connected);
        QVERIFY2(attempt.ms > 29000 && attempt.ms < 45000, qPrintable(QString::number(attempt.ms)));
    }
}

QTEST_GUILESS_MAIN(tst_SockJSPatience)
#include "tst_sockjspatience.moc"
