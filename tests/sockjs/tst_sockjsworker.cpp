#include "DeadPort.h"
#include "WorkerRun.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"
#include "support/TestCertificates.h"
#include "support/Text.h"

#include <QtCore/QProcess>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

#include <cstdio>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Scripted;

// The worker's queue, its loop and its connection.
class tst_SockJSWorker : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void requestsAreNumberedFromOne();
    void metaObjectIsAsDeclared();
    void queueTakes51Requests();
    void queueGivesUpOnItsMutexAfterASecond();
    void queueRefusesWhenClosing();
    void requestsAreWrittenOneATurnAndInOrder();
    void nullPayloadWritesNothingButAwaitsAResponse();
    void connectingTellsWhetherItWorked();
    void untrustedServerIsNotConnectedTo();
    void forceCloseEndsAnIdleWorkerAtOnce();
    void forceCloseBeforeTheThreadStartsEndsIt();
    void forceCloseEndsAReconnectionAtOnce();
    void closedSocketEndsAKeepAliveWorker();
    void closedSocketIsConnectedAgainWithoutKeepAlive();
    void lostConnectionIsMadeAgain_data();
    void lostConnectionIsMadeAgain();
    void elevenFailuresInARowEndTheWorker();
    void successResetsTheCountOfFailures();
    void failedTlsReconnectionsCount();
    void reconnectionMaySucceedAfterFailures();
    void lostConnectionHandsBackWhatWasNotAnswered();
    void serverThatClosesAtOnceIsAskedEverMoreRarely();
    void longerConnectionEndsTheRowOfPauses();
    void failedReconnectionsAreNotPausedFor();
    void forceCloseEndsAPauseAtOnce();
    void closingWithoutAnApplicationObject_data();
    void closingWithoutAnApplicationObject();
    void peerThatClosesWithoutReadingDoesNotHoldUpTheLoop();
    void nothingIsWrittenToALostConnection();
    void idleWorkerCostsNextToNoTime();
};

namespace
{

const QString LOST = u"[SockJSXHRPollingWorker] Connection lost, attempting to re-establish..."_s;
const QString GIVEN_UP = u"[SockJSXHRPollingWorker] Connection attempts exceeded retry limit!"_s;

QString localhost()
{
    return u"127.0.0.1"_s;
}

double processCpuMs()
{
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    const auto ms = [](const timeval &time) {
        return double(time.tv_sec) * 1000 + double(time.tv_usec) / 1000;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

const char WITHOUT_APPLICATION[] = "--without-application";

// What a worker does once the application object has gone, as the program's other self: prints the
// milliseconds that closing took, and the processor's in the two seconds before.
namespace WithoutApplication
{

// A server without an event loop, which takes connections by itself.
class Listener
{
public:
    Listener()
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        m_descriptor = ::socket(AF_INET, SOCK_STREAM, 0);
        auto *generic = reinterpret_cast<sockaddr *>(&address);
        if (::bind(m_descriptor, generic, size) != 0 || ::listen(m_descriptor, 50) != 0
            || ::getsockname(m_descriptor, generic, &size) != 0)
            qFatal("Cannot listen");
        m_port = ntohs(address.sin_port);
    }
    quint16 port() const { return m_port; }
    int accept() const { return ::accept(m_descriptor, nullptr, nullptr); }

private:
    int m_descriptor;
    quint16 m_port = 0;
};

void reconnectToSilence(const Listener &listener, QCoreApplication *application)
{
    // The first connection was plain; the worker takes it for lost and waits for a handshake.
    ::close(listener.accept());
    const int stalled = listener.accept();
    application->processEvents();
    Q_UNUSED(stalled)
}

int run(int argc, char **argv, const QString &scene)
{
    const Listener listener;
    auto application = std::make_unique<QCoreApplication>(argc, argv);
    const bool tls = scene == QLatin1String("reconnecting");
    QTcpSocket *socket = tls ? new QSslSocket : new QTcpSocket;
    socket->setProxy(QNetworkProxy::NoProxy);
    SockJSXHRPollingWorker worker(nullptr, socket, localhost(), listener.port(), tls, true);
    if (tls)
        socket->connectToHost(localhost(), listener.port());
    if (!(tls ? socket->waitForConnected(5000) : worker.connectToServer()))
        qFatal("Cannot connect");
    QThread thread;
    worker.moveToThread(&thread);
    socket->moveToThread(&thread);
    QObject::connect(&worker, &SockJSXHRPollingWorker::finished, &thread, &QThread::quit,
                     Qt::DirectConnection);
    QObject::connect(&thread, &QThread::started, &worker, &SockJSXHRPollingWorker::process);
    thread.start();

    if (tls)
        reconnectToSilence(listener, application.get());
    const int peer = tls ? -1 : listener.accept();
    if (scene == QLatin1String("pausing")) {
        ::close(peer);
        for (int i = 0; i < 4; ++i)
            ::close(listener.accept());
    }
    QThread::msleep(300);
    application.reset();
    if (scene == QLatin1String("data") && ::write(peer, "HTTP/1.1 200", 12) != 12)
        return 1;
    if (scene == QLatin1String("lost"))
        ::close(peer);

    const double cpuBefore = processCpuMs();
    QThread::msleep(2000);
    const double cpuMs = processCpuMs() - cpuBefore;
    QElapsedTimer timer;
    timer.start();
    worker.forceClose();
    thread.wait();
    printf("%lld %f", static_cast<long long>(timer.elapsed()), cpuMs);
    fflush(stdout);
    delete socket;
    // Not by way of the sanitizers: the thread may still be freeing what TLS keeps for each.
    _exit(0);
}

} // namespace WithoutApplication

} // namespace

// The first test of the program, so that the first requests of the process are made here.
void tst_SockJSWorker::requestsAreNumberedFromOne()
{
    QObject parent;
    auto *first = new XHRRequest(&parent, u"/a"_s, u"text"_s);
    const XHRRequest second(nullptr, QString(), QString());
    QCOMPARE(first->requestId(), 1);
    QCOMPARE(second.requestId(), 2);
    QCOMPARE(first->parent(), &parent);
    QCOMPARE(first->path(), u"/a"_s);
    QCOMPARE(first->payload(), u"text"_s);
    QCOMPARE(first->chunked, false);
    QCOMPARE(first->contentLength, 0);
}

void tst_SockJSWorker::metaObjectIsAsDeclared()
{
    const SockJSXHRPollingWorker worker(nullptr, nullptr, QString(), 0, false, true);
    const QMetaObject &meta = SockJSXHRPollingWorker::staticMetaObject;
    QList<QByteArray> methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(meta.method(i).methodSignature());
    QCOMPARE(methods,
             (QList<QByteArray>{"finished()", "reconnected()",
                                "receivedHeadersResponse(XHRRequest*,QStringMap)",
                                "receivedMessageResponse(XHRRequest*,QString)", "process()"}));
    QVERIFY(QMetaType::type("QStringMap") != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type("QStringMap"), qMetaTypeId<QStringMap>());
}

void tst_SockJSWorker::queueTakes51Requests()
{
    WorkerRun run(localhost(), 1);
    const LogCapture log;
    for (int i = 0; i < 51; ++i)
        QVERIFY(run.queue(u"x"_s));
    QCOMPARE(log.messages(), QStringList());
    QVERIFY(!run.queue(u"x"_s));
    QCOMPARE(log.messages(),
             QStringList{"[SockJSXHRPollingWorker] Async socket tx queue error: "
                         "Too many items in queue!"});
    QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 51);
}

void tst_SockJSWorker::queueGivesUpOnItsMutexAfterASecond()
{
    WorkerRun run(localhost(), 1);
    QVERIFY(run.queue(u"x"_s));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QMutexLocker locker(&SockJSProbe::queueMutex(*run.worker));
    QVERIFY(!run.queue(u"x"_s));
    QVERIFY2(timer.elapsed() >= 990, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(log.messages(),
             QStringList{"[SockJSXHRPollingWorker] Async socket tx queue error: "
                         "Failed to establish mutex lock!"});
    run.worker->transmitNextRequest();
    locker.unlock();
    QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 1);
    QCOMPARE(SockJSProbe::inFlight(*run.worker).size(), 0);
}

void tst_SockJSWorker::queueRefusesWhenClosing()
{
    WorkerRun run(localhost(), 1);
    run.worker->forceClose();
    const LogCapture log;
    QVERIFY(!run.queue(u"x"_s));
    QCOMPARE(log.messages(),
             QStringList{"[SockJSXHRPollingWorker] Async socket tx queue error: Socket closing!"});
    QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 0);
}

void tst_SockJSWorker::requestsAreWrittenOneATurnAndInOrder()
{
    ScriptedServer server;
    server.onConnection({expect("first \xc3\xa4"), expect("second")});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    QVERIFY(run.queue(u"first \u00e4"_s));
    QVERIFY(run.queue(u"second"_s));
    QElapsedTimer timer;
    timer.start();
    run.start();
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QVERIFY2(timer.elapsed() >= 1980, qPrintable(QString::number(timer.elapsed())));
    run.stop();
    QCOMPARE(SockJSProbe::inFlight(*run.worker).size(), 2);
    QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 0);
}

void tst_SockJSWorker::nullPayloadWritesNothingButAwaitsAResponse()
{
    ScriptedServer server;
    server.onConnection({expect("second")});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    QVERIFY(run.queue(QString()));
    QVERIFY(run.queue(u"second"_s));
    run.start();
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    run.stop();
    QCOMPARE(SockJSProbe::inFlight(*run.worker).size(), 2);
    QCOMPARE(server.received(0), QByteArray("second"));
}

void tst_SockJSWorker::connectingTellsWhetherItWorked()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    WorkerRun reached(localhost(), server.port());
    QVERIFY(reached.connectToServer());
    QCOMPARE(reached.socket->state(), QAbstractSocket::ConnectedState);
    const DeadPort port;
    WorkerRun refused(localhost(), port);
    QVERIFY(!refused.connectToServer());

    TestCertificates certificates;
    certificates.trust();
    ScriptedServer tlsServer;
    tlsServer.setCertificate(certificates.issue(u"localhost"_s));
    tlsServer.onConnection({});
    QVERIFY(tlsServer.listen());
    WorkerRun encrypted(localhost(), tlsServer.port(), true);
    QVERIFY(encrypted.connectToServer());
    QVERIFY(qobject_cast<QSslSocket *>(encrypted.socket)->isEncrypted());
}

void tst_SockJSWorker::untrustedServerIsNotConnectedTo()
{
    TestCertificates certificates;
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s));
    server.onEveryOther({});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port(), true);
    QVERIFY(!run.connectToServer());
    QVERIFY(!qobject_cast<QSslSocket *>(run.socket)->isEncrypted());
    QCOMPARE(server.received(0), QByteArray());
}

void tst_SockJSWorker::forceCloseEndsAnIdleWorkerAtOnce()
{
    ScriptedServer server;
    server.onEveryOther({});
    QVERIFY(server.listen());
    qint64 shortest = INT_MAX; // of three, on a machine that may be busy
    for (int i = 0; i < 3; ++i) {
        WorkerRun run(localhost(), server.port());
        QVERIFY(run.connectToServer());
        run.start();
        QTest::qWait(100); // it has begun to wait a second for data
        QElapsedTimer timer;
        timer.start();
        run.stop();
        shortest = qMin(shortest, timer.elapsed());
        QCOMPARE(run.ends, 1);
    }
    QVERIFY2(shortest < 500, qPrintable(QString::number(shortest)));
}

void tst_SockJSWorker::forceCloseBeforeTheThreadStartsEndsIt()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.worker->forceClose();
    run.start();
    QVERIFY(run.thread.wait(20000));
    run.stop();
    QCOMPARE(run.ends, 1);
}

void tst_SockJSWorker::forceCloseEndsAReconnectionAtOnce()
{
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s), true);
    server.onConnection({startTls(), close()});
    server.onConnection({pause(60000)}); // a handshake that is never answered
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port(), true);
    QVERIFY(run.connectToServer());
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 2, 20000);
    QTest::qWait(200);
    QElapsedTimer timer;
    timer.start();
    run.stop();
    QVERIFY2(timer.elapsed() < 5000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(run.ends, 1);
    QCOMPARE(run.reconnections, 0);
}

void tst_SockJSWorker::closedSocketEndsAKeepAliveWorker()
{
    const DeadPort port;
    WorkerRun run(localhost(), port);
    const LogCapture log;
    run.start();
    QVERIFY(run.thread.wait(20000));
    run.stop();
    QCOMPARE(run.ends, 1);
    QCOMPARE(log.messages(), QStringList());
}

void tst_SockJSWorker::closedSocketIsConnectedAgainWithoutKeepAlive()
{
    ScriptedServer server;
    server.onConnection({expect("next"), send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port(), false, false);
    QVERIFY(run.queue(u"next"_s));
    run.start();
    QTRY_COMPARE(run.messages, QStringList{"o"});
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(log.messages(), QStringList());
}

void tst_SockJSWorker::lostConnectionIsMadeAgain_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<bool>("reset");
    QTest::newRow("closed") << false << false;
    QTest::newRow("reset") << false << true;
    QTest::newRow("closed, TLS") << true << false;
    QTest::newRow("reset, TLS") << true << true;
}

// A socket whose peer has closed stays open for the toolkit, in the unconnected state.
void tst_SockJSWorker::lostConnectionIsMadeAgain()
{
    QFETCH(bool, tls);
    QFETCH(bool, reset);
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    if (tls)
        server.setCertificate(certificates.issue(u"localhost"_s));
    server.onConnection({pause(100), reset ? Scripted::abort() : Scripted::close()});
    server.onConnection({expect("next"), send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port(), tls);
    QVERIFY(run.connectToServer());
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    QVERIFY(run.queue(u"next"_s));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    run.stop();
    QCOMPARE(log.messages(), QStringList{LOST});
    QCOMPARE(run.ends, 1);
}

void tst_SockJSWorker::elevenFailuresInARowEndTheWorker()
{
    ScriptedServer server;
    server.onConnection({});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.start();
    server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 20000);
    QCOMPARE(log.count(LOST), 11);
    QCOMPARE(log.messages().last(), GIVEN_UP);
    QCOMPARE(log.messages().size(), 12);
    QVERIFY(run.thread.wait(20000));
}

void tst_SockJSWorker::successResetsTheCountOfFailures()
{
    ScriptedServer server;
    server.onConnection({pause(100), close()});
    server.onConnection({});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    SockJSProbe::retryCount(*run.worker) = 10;
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 20000);
    QCOMPARE(log.count(LOST), 1 + 11);
    QCOMPARE(log.count(GIVEN_UP), 1);
}

void tst_SockJSWorker::failedTlsReconnectionsCount()
{
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s), true);
    server.onConnection({startTls(), close()});
    server.onEveryOther({send("HTTP/1.1 400 Bad Request\r\n\r\n")}); // plain HTTP on the TLS port
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port(), true);
    QVERIFY(run.connectToServer());
    QVERIFY(run.queue(u"secret"_s));
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 30000);
    QCOMPARE(log.count(LOST), 11);
    QCOMPARE(log.count(GIVEN_UP), 1);
    for (int connection = 1; connection < server.connectionCount(); ++connection)
        QVERIFY(!server.received(connection).contains("secret"));
}

void tst_SockJSWorker::reconnectionMaySucceedAfterFailures()
{
    TestCertificates certificates;
    certificates.trust();
    ScriptedServer server;
    server.setCertificate(certificates.issue(u"localhost"_s), true);
    server.onConnection({startTls(), close()});
    server.onConnection({send("HTTP/1.1 400 Bad Request\r\n\r\n")}); // no TLS
    server.onConnection({close()});                                  // in the handshake
    server.onConnection(
        {startTls(), expect("next"), send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port(), true);
    QVERIFY(run.connectToServer());
    QVERIFY(run.queue(u"next"_s));
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 30000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    run.stop();
    QCOMPARE(run.reconnections, 1);
    QCOMPARE(log.messages(), (QStringList{LOST, LOST, LOST}));
    QCOMPARE(SockJSProbe::retryCount(*run.worker), 0);
}

// An answer on the new connection is never one to a request that was written to the old.
void tst_SockJSWorker::lostConnectionHandsBackWhatWasNotAnswered()
{
    const QByteArray good = "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n";
    ScriptedServer server;
    server.onConnection({expect("first"), expect("second"), expect("third"), send(good), close()});
    server.onConnection({expect("fourth"), send(good), expect("fifth"), close()});
    server.onConnection({});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    QList<XHRRequest *> requests;
    for (const char *text : {"first", "second", "third", "fourth", "fifth"}) {
        requests.append(run.makeRequest(QLatin1String(text)));
        QVERIFY(run.worker->queueRequest(requests.last()));
    }
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
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSWorker::serverThatClosesAtOnceIsAskedEverMoreRarely()
{
    ScriptedServer server;
    for (int i = 0; i < 6; ++i)
        server.onConnection({close()});
    server.onConnection({expect("next"), send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\no\n")});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    QVERIFY(run.queue(u"next"_s));
    QElapsedTimer timer;
    timer.start();
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 6, 20000);
    constexpr int FOUR_PAUSES_MS = 250 + 500 + 1000 + 2000;
    QVERIFY2(timer.elapsed() >= FOUR_PAUSES_MS, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(log.messages(), (QStringList{LOST, LOST, LOST, LOST, LOST}));
    QTRY_COMPARE_WITH_TIMEOUT(run.messages, QStringList{"o"}, 20000);
    constexpr int FIFTH_PAUSE_MS = 4000;
    QVERIFY2(timer.elapsed() >= FOUR_PAUSES_MS + FIFTH_PAUSE_MS,
             qPrintable(QString::number(timer.elapsed())));
    run.stop();
    QCOMPARE(run.reconnections, 6);
    QCOMPARE(log.count(LOST), 6);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSWorker::longerConnectionEndsTheRowOfPauses()
{
    ScriptedServer server;
    server.onConnection({close()});
    server.onConnection({close()});
    server.onConnection({close()});
    server.onConnection({pause(1300), close()});
    server.onConnection({close()});
    server.onConnection({});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 4, 20000);
    QCOMPARE(SockJSProbe::pauseMs(*run.worker), 500);
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 5, 20000);
    run.stop();
    QCOMPARE(SockJSProbe::pauseMs(*run.worker), 250);
}

void tst_SockJSWorker::failedReconnectionsAreNotPausedFor()
{
    ScriptedServer server;
    server.onConnection({close()});
    server.onConnection({pause(100), close()});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    server.stop();
    QElapsedTimer timer;
    timer.start();
    QTRY_COMPARE_WITH_TIMEOUT(run.ends, 1, 20000);
    // One pause, behind the connection that was short.
    QVERIFY2(timer.elapsed() < 2000, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(SockJSProbe::pauseMs(*run.worker), 250);
    QCOMPARE(log.count(LOST), 1 + 11);
    QCOMPARE(log.count(GIVEN_UP), 1);
}

void tst_SockJSWorker::forceCloseEndsAPauseAtOnce()
{
    ScriptedServer server;
    server.onEveryOther({close()});
    QVERIFY(server.listen());
    const LogCapture log;
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    run.start();
    // A pause of 2,000 ms begins.
    QTRY_COMPARE_WITH_TIMEOUT(server.connectionCount(), 5, 20000);
    QTest::qWait(200);
    QElapsedTimer timer;
    timer.start();
    run.stop();
    QVERIFY2(timer.elapsed() < 500, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(run.ends, 1);
    QCOMPARE(log.count(LOST), 4);
}

void tst_SockJSWorker::closingWithoutAnApplicationObject_data()
{
    QTest::addColumn<QString>("scene");
    QTest::newRow("idle") << u"idle"_s;
    QTest::newRow("data arrives") << u"data"_s;
    QTest::newRow("connection lost") << u"lost"_s;
    QTest::newRow("pausing") << u"pausing"_s;
    QTest::newRow("reconnecting to a handshake that stalls") << u"reconnecting"_s;
}

// In a process of its own, which WithoutApplication::run() is the whole of.
void tst_SockJSWorker::closingWithoutAnApplicationObject()
{
    QFETCH(QString, scene);
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QCoreApplication::applicationFilePath(),
                  {QLatin1String(WITHOUT_APPLICATION), scene});
    QVERIFY2(process.waitForFinished(20000), "The worker did not end.");
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    const QList<QByteArray> figures = process.readAllStandardOutput().split(' ');
    QCOMPARE(figures.size(), 2);
    const double closingMs = figures.at(0).toDouble();
    const double cpuMs = figures.at(1).toDouble();
    QVERIFY2(closingMs < 1000, figures.at(0).constData());
    // In two seconds: the turns go on, but none spins.
    QVERIFY2(cpuMs < 100, figures.at(1).constData());
    QCOMPARE(process.exitCode(), 0);
}

// The peer ends its half and then takes nothing more, with data of ours on the way.
void tst_SockJSWorker::peerThatClosesWithoutReadingDoesNotHoldUpTheLoop()
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
    WorkerRun run(localhost(), server.serverPort());
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

void tst_SockJSWorker::nothingIsWrittenToALostConnection()
{
    ScriptedServer server;
    server.onConnection({pause(300), close()});
    server.onConnection({expect("kept")});
    QVERIFY(server.listen());
    WorkerRun run(localhost(), server.port());
    QVERIFY(run.connectToServer());
    QVERIFY(run.queue(u"kept"_s));
    run.start();
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

void tst_SockJSWorker::idleWorkerCostsNextToNoTime()
{
    QTcpServer server; // the system accepts for it
    QVERIFY(server.listen(QHostAddress::LocalHost));
    WorkerRun run(localhost(), server.serverPort());
    QVERIFY(run.connectToServer());
    run.start();
    QThread::msleep(500);
    const double before = processCpuMs();
    constexpr unsigned long SECONDS = 4;
    QThread::msleep(SECONDS * 1000);
    const double perSecond = (processCpuMs() - before) / SECONDS;
    QVERIFY2(perSecond < 2.0, qPrintable(QString::number(perSecond)));
}

int main(int argc, char **argv)
{
    if (argc == 3 && QLatin1String(argv[1]) == QLatin1String(WITHOUT_APPLICATION))
        return WithoutApplication::run(argc, argv, QString::fromLocal8Bit(argv[2]));
    QCoreApplication application(argc, argv);
    tst_SockJSWorker test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_sockjsworker.moc"
