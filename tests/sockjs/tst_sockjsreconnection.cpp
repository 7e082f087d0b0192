#include "WorkerRun.h"
#include "support/Promptness.h"
#include "support/TestCertificates.h"

#include <QtNetwork/QTcpServer>

#include <sys/socket.h>
#include <unistd.h>

using namespace Scripted;

// How the worker makes a lost connection again, how often and after which pauses.
class tst_SockJSReconnection : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void closedSocketIsConnectedAgainWithoutKeepAlive();
    void lostConnectionIsMadeAgain_data();
    void lostConnectionIsMadeAgain();
    void elevenFailuresInARowEndTheWorker();
    void successResetsTheCountOfFailures();
    void failedTlsReconnectionsCount();
    void reconnectionMaySucceedAfterFailures();
    void lostConnectionHandsBackWhatWasNotAnswered();
    void nothingIsWrittenToALostConnection();
    void peerThatClosesWithoutReadingDoesNotHoldUpTheLoop();
    void serverThatClosesAtOnceIsAskedEverMoreRarely();
    void longerConnectionEndsTheRowOfPauses();
    void failedReconnectionsAreNotPausedFor();
    void forceCloseEndsAPauseAtOnce();
    void forceCloseEndsAReconnectionAtOnce();

private:
    TestCertificates m_certificates;
    TestCertificates::Identity m_identity;
};

namespace
{

const QString LOST = u"[SockJSXHRPollingWorker] Connection lost, attempting to re-establish..."_s;
const QString GIVEN_UP = u"[SockJSXHRPollingWorker] Connection attempts exceeded retry limit!"_s;
const Script ANSWER_TO_NEXT = {expect("next"), send(FRAME_O)};

} // namespace

void tst_SockJSReconnection::initTestCase()
{
    m_identity = m_certificates.issue(u"localhost"_s);
    m_certificates.trust();
}

void tst_SockJSReconnection::closedSocketIsConnectedAgainWithoutKeepAlive()
{
    ScriptedServer server;
    server.onConnection(ANSWER_TO_NEXT);
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(server.port(), false, false);
    QVERIFY(run.queue(u"next"_s));
    run.start();
    QTRY_COMPARE(run.messages, QStringList{"o"});
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(log.messages(), QStringList());
}

void tst_SockJSReconnection::lostConnectionIsMadeAgain_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<bool>("reset");
    QTest::newRow("closed") << false << false;
    QTest::newRow("reset") << false << true;
    QTest::newRow("closed, TLS") << true << false;
    QTest::newRow("reset, TLS") << true << true;
}

// A socket whose peer has closed stays open for the toolkit, in the unconnected state.
void tst_SockJSReconnection::lostConnectionIsMadeAgain()
{
    QFETCH(bool, tls);
    QFETCH(bool, reset);
    ServedWorker run({{pause(100), reset ? Scripted::abort() : Scripted::close()}, ANSWER_TO_NEXT},
                     tls ? &m_identity : nullptr);
    QVERIFY(run.begin());
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    QVERIFY(run.queue(u"next"_s));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 20000);
    run.stop();
    QCOMPARE(run.log.messages(), QStringList{LOST});
    QCOMPARE(run.ends, 1);
}

void tst_SockJSReconnection::elevenFailuresInARowEndTheWorker()
{
    ServedWorker run{};
    run.server.onEveryOther({}); // it may be gone before it has taken the connection
    QVERIFY(run.begin());
    run.server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 20000);
    QCOMPARE(run.log.count(LOST), 11);
    QCOMPARE(run.log.messages().last(), GIVEN_UP);
    QCOMPARE(run.log.messages().size(), 12);
    QVERIFY(run.thread.wait(20000));
}

void tst_SockJSReconnection::successResetsTheCountOfFailures()
{
    ServedWorker run{{pause(100), close()}, {}};
    SockJSProbe::retryCount(*run.worker) = 10;
    QVERIFY(run.begin());
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    run.server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 20000);
    QCOMPARE(run.log.count(LOST), 1 + 11);
    QCOMPARE(run.log.count(GIVEN_UP), 1);
}

void tst_SockJSReconnection::failedTlsReconnectionsCount()
{
    ServedWorker run({{startTls(), close()}}, &m_identity, true);
    run.server.onEveryOther({send("HTTP/1.1 400 Bad Request\r\n\r\n")}); // plain HTTP
    QVERIFY(run.queue(u"secret"_s));
    QVERIFY(run.begin());
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 30000);
    QCOMPARE(run.log.count(LOST), 11);
    QCOMPARE(run.log.count(GIVEN_UP), 1);
    for (int connection = 1; connection < run.server.connectionCount(); ++connection)
        QVERIFY(!run.server.received(connection).contains("secret"));
}

void tst_SockJSReconnection::reconnectionMaySucceedAfterFailures()
{
    ServedWorker run({{startTls(), close()},
                      {send("HTTP/1.1 400 Bad Request\r\n\r\n")}, // no TLS
                      {close()},                                  // in the handshake
                      Script{startTls()} + ANSWER_TO_NEXT},
                     &m_identity, true);
    QVERIFY(run.queue(u"next"_s));
    QVERIFY(run.begin());
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 30000);
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(run.log.messages(), (QStringList{LOST, LOST, LOST}));
    QCOMPARE(SockJSProbe::retryCount(*run.worker), 0);
}

// An answer on the new connection is never one to a request that was written to the old.
void tst_SockJSReconnection::lostConnectionHandsBackWhatWasNotAnswered()
{
    ServedWorker run{{expect("first"), expect("second"), expect("third"), send(FRAME_O), close()},
                     {expect("fourth"), send(FRAME_O), expect("fifth"), close()},
                     {}};
    QList<XHRRequest *> requests;
    for (const char *text : {"first", "second", "third", "fourth", "fifth"}) {
        requests.append(run.makeRequest(QLatin1String(text)));
        QVERIFY(run.worker->queueRequest(requests.last()));
    }
    QVERIFY(run.connectToServer());
    QCOMPARE(run.worker->takeUnanswered(), QList<XHRRequest *>());
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    QCOMPARE(run.worker->takeUnanswered(), requests.mid(1, 2));
    QCOMPARE(run.worker->takeUnanswered(), QList<XHRRequest *>());
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 2, 20000);
    QCOMPARE(run.worker->takeUnanswered(), requests.mid(4));
    run.stop();
    QCOMPARE(run.answered, (QList<XHRRequest *>{requests.at(0), requests.at(3)}));
    QCOMPARE(run.messages, (QStringList{"o", "o"}));
}

void tst_SockJSReconnection::nothingIsWrittenToALostConnection()
{
    ServedWorker run{{pause(300), close()}, {expect("kept")}};
    QVERIFY(run.queue(u"kept"_s));
    QVERIFY(run.begin());
}

// The peer ends its half and then takes nothing more, with data of ours on the way.
void tst_SockJSReconnection::peerThatClosesWithoutReadingDoesNotHoldUpTheLoop()
{
    struct Server : QTcpServer {
        void incomingConnection(qintptr descriptor) override
        {
            descriptors.append(int(descriptor));
        }
        ~Server() override
        {
            for (const int descriptor : qAsConst(descriptors))
                ::close(descriptor);
        }
        QList<int> descriptors;
    } server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    WorkerRun run(server.serverPort());
    QVERIFY(run.connectToServer());
    QTRY_COMPARE(server.descriptors.size(), 1);
    QVERIFY(run.queue(QString(30 * 1024 * 1024, QLatin1Char('x'))));
    run.start();
    // Written in the first idle turn; more than the system's buffers hold.
    QTRY_COMPARE(run.queued(), 0);
    QTest::qWait(300);
    QCOMPARE(::shutdown(server.descriptors.first(), SHUT_WR), 0);
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    QTRY_COMPARE(server.descriptors.size(), 2);
}

void tst_SockJSReconnection::serverThatClosesAtOnceIsAskedEverMoreRarely()
{
    const Script closing{close()};
    ServedWorker run{closing, closing, closing, closing, closing, closing, ANSWER_TO_NEXT};
    QVERIFY(run.queue(u"next"_s));
    QVERIFY(run.connectToServer());
    QElapsedTimer timer;
    timer.start();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.server.connectionCount(), 6, 20000);
    constexpr int FOUR_PAUSES_MS = 250 + 500 + 1000 + 2000;
    QVERIFY2(timer.elapsed() >= FOUR_PAUSES_MS, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(run.log.messages(), (QStringList{LOST, LOST, LOST, LOST, LOST}));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 20000);
    constexpr int FIFTH_PAUSE_MS = 4000;
    QVERIFY2(timer.elapsed() >= FOUR_PAUSES_MS + FIFTH_PAUSE_MS,
             qPrintable(QString::number(timer.elapsed())));
    run.stop();
    QCOMPARE(run.reconnections, 6);
    QCOMPARE(run.log.count(LOST), 6);
}

void tst_SockJSReconnection::longerConnectionEndsTheRowOfPauses()
{
    const Script closing{close()};
    ServedWorker run{closing, closing, closing, {pause(1300), close()}, closing, {}};
    const auto *worker = run.worker.get();
    QList<int> pauses; // before each reconnection, noted on the worker's thread
    connect(
        worker, &SockJSXHRPollingWorker::reconnected, worker,
        [&] { pauses += SockJSProbe::pauseMs(*worker); }, Qt::DirectConnection);
    QVERIFY(run.begin());
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 5, 20000);
    run.stop();
    QCOMPARE(pauses, (QList<int>{0, 250, 500, 0, 250}));
}

void tst_SockJSReconnection::failedReconnectionsAreNotPausedFor()
{
    ServedWorker run{{close()}, {pause(100), close()}};
    QVERIFY(run.begin());
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    run.server.stop();
    QElapsedTimer timer;
    timer.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 20000);
    // One pause, behind the connection that was short.
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(SockJSProbe::pauseMs(*run.worker), 250);
    QCOMPARE(run.log.count(LOST), 1 + 11);
    QCOMPARE(run.log.count(GIVEN_UP), 1);
}

void tst_SockJSReconnection::forceCloseEndsAPauseAtOnce()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        ServedWorker run{};
        run.server.onEveryOther({close()});
        QVERIFY(run.begin());
        // A pause of 2,000 ms begins.
        QTRY_COMPARE_WITH_TIMEOUT(run.server.connectionCount(), 5, 20000);
        QTest::qWait(200);
        QElapsedTimer timer;
        timer.start();
        run.stop();
        promptness.take(timer.elapsed(), 500);
        QCOMPARE(run.ends, 1);
        QCOMPARE(run.log.count(LOST), 4);
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSReconnection::forceCloseEndsAReconnectionAtOnce()
{
    ServedWorker run({{startTls(), close()}, {}}, &m_identity, true); // no second handshake
    QVERIFY(run.begin());
    QTRY_COMPARE_WITH_TIMEOUT(run.server.connectionCount(), 2, 20000);
    QTest::qWait(200);
    QElapsedTimer timer;
    timer.start();
    run.stop();
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(run.ends, 1);
    QCOMPARE(run.reconnections, 0);
}

QTEST_GUILESS_MAIN(tst_SockJSReconnection)
#include "tst_sockjsreconnection.moc"
