#include "CpuTime.h"
#include "DeadPort.h"
#include "WorkerRun.h"
#include "support/MetaMethods.h"
#include "support/Promptness.h"
#include "support/TestCertificates.h"

#include <QtCore/QProcess>
#include <QtNetwork/QTcpServer>

#include <cstdio>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Scripted;

// The worker's queue, its loop and its end.
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
    void closedSocketEndsAKeepAliveWorker();
    void closingWithoutAnApplicationObject_data();
    void closingWithoutAnApplicationObject();
    void idleWorkerCostsNextToNoTime();
};

namespace
{

const QString REFUSED = u"[SockJSXHRPollingWorker] Async socket tx queue error: "_s;

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
    WorkerRun run(listener.port(), tls);
    if (tls)
        run.socket->connectToHost(localhost(), listener.port());
    if (!(tls ? run.socket->waitForConnected(5000) : run.connectToServer()))
        qFatal("Cannot connect");
    run.start();

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

    const double before = cpuMs(CLOCK_PROCESS_CPUTIME_ID);
    QThread::msleep(2000);
    const double usedMs = cpuMs(CLOCK_PROCESS_CPUTIME_ID) - before;
    QElapsedTimer timer;
    timer.start();
    run.worker->forceClose();
    run.thread.wait();
    printf("%lld %f", static_cast<long long>(timer.elapsed()), usedMs);
    fflush(stdout);
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
    QCOMPARE(methodsOf(SockJSXHRPollingWorker::staticMetaObject),
             (QStringList{"finished()", "reconnected()",
                          "receivedHeadersResponse(XHRRequest*,QStringMap)",
                          "receivedMessageResponse(XHRRequest*,QString)", "process()"}));
    QVERIFY(QMetaType::type("QStringMap") != QMetaType::UnknownType);
    QCOMPARE(QMetaType::type("QStringMap"), qMetaTypeId<QStringMap>());
}

void tst_SockJSWorker::queueTakes51Requests()
{
    WorkerRun run(1);
    const LogCapture log;
    for (int i = 0; i < 51; ++i)
        QVERIFY(run.queue(u"x"_s));
    QCOMPARE(log.messages(), QStringList());
    QVERIFY(!run.queue(u"x"_s));
    QCOMPARE(log.messages(), QStringList{REFUSED + u"Too many items in queue!"_s});
    QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 51);
}

void tst_SockJSWorker::queueGivesUpOnItsMutexAfterASecond()
{
    WorkerRun run(1);
    QVERIFY(run.queue(u"x"_s));
    const LogCapture log;
    QElapsedTimer timer;
    timer.start();
    QMutexLocker locker(&SockJSProbe::queueMutex(*run.worker));
    QVERIFY(!run.queue(u"x"_s));
    QVERIFY2(timer.elapsed() >= 990, qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(log.messages(), QStringList{REFUSED + u"Failed to establish mutex lock!"_s});
    run.worker->transmitNextRequest();
    locker.unlock();
    QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 1);
    QCOMPARE(SockJSProbe::inFlight(*run.worker).size(), 0);
}

void tst_SockJSWorker::queueRefusesWhenClosing()
{
    WorkerRun run(1);
    run.worker->forceClose();
    const LogCapture log;
    QVERIFY(!run.queue(u"x"_s));
    QCOMPARE(log.messages(), QStringList{REFUSED + u"Socket closing!"_s});
    QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 0);
}

void tst_SockJSWorker::requestsAreWrittenOneATurnAndInOrder()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        ServedWorker run{{expect("first \xc3\xa4"), expect("second")}};
        QVERIFY(run.queue(u"first \u00e4"_s));
        QVERIFY(run.queue(u"second"_s));
        QVERIFY(run.connectToServer());
        QElapsedTimer timer;
        timer.start();
        run.start();
        QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
        const qint64 ms = timer.elapsed();
        QVERIFY2(ms >= 1980, qPrintable(QString::number(ms)));
        promptness.take(ms, 2500);
        run.stop();
        QCOMPARE(SockJSProbe::inFlight(*run.worker).size(), 2);
        QCOMPARE(SockJSProbe::txQueue(*run.worker).size(), 0);
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSWorker::nullPayloadWritesNothingButAwaitsAResponse()
{
    ServedWorker run{{expect("second")}};
    QVERIFY(run.queue(QString()));
    QVERIFY(run.queue(u"second"_s));
    QVERIFY(run.begin());
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure()));
    run.stop();
    QCOMPARE(SockJSProbe::inFlight(*run.worker).size(), 2);
    QCOMPARE(run.server.received(0), QByteArray("second"));
}

void tst_SockJSWorker::connectingTellsWhetherItWorked()
{
    {
        ServedWorker reached{{}};
        QVERIFY(reached.connectToServer());
        QCOMPARE(reached.socket->state(), QAbstractSocket::ConnectedState);
    }
    const DeadPort port;
    WorkerRun refused(port);
    QVERIFY(!refused.connectToServer());

    TestCertificates certificates;
    certificates.trust();
    const TestCertificates::Identity identity = certificates.issue(u"localhost"_s);
    ServedWorker encrypted({{}}, &identity);
    QVERIFY(encrypted.connectToServer());
    QVERIFY(qobject_cast<QSslSocket *>(encrypted.socket)->isEncrypted());
    encrypted.stop(); // without a loop, the server would wait for the end of the handshake
}

void tst_SockJSWorker::untrustedServerIsNotConnectedTo()
{
    TestCertificates certificates;
    const TestCertificates::Identity identity = certificates.issue(u"localhost"_s);
    ServedWorker run({}, &identity);
    run.server.onEveryOther({});
    QVERIFY(!run.connectToServer());
    QVERIFY(!qobject_cast<QSslSocket *>(run.socket)->isEncrypted());
    QCOMPARE(run.server.received(0), QByteArray());
}

void tst_SockJSWorker::forceCloseEndsAnIdleWorkerAtOnce()
{
    qint64 shortest = INT_MAX; // of three, on a machine that may be busy
    for (int i = 0; i < 3; ++i) {
        ServedWorker run{{}};
        QVERIFY(run.begin());
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
    ServedWorker run{{}};
    QVERIFY(run.connectToServer());
    run.worker->forceClose();
    run.start();
    QVERIFY(run.thread.wait(20000));
    run.stop();
    QCOMPARE(run.ends, 1);
}

void tst_SockJSWorker::closedSocketEndsAKeepAliveWorker()
{
    const DeadPort port;
    WorkerRun run(port);
    const LogCapture log;
    run.start();
    QVERIFY(run.thread.wait(20000));
    run.stop();
    QCOMPARE(run.ends, 1);
    QCOMPARE(log.messages(), QStringList());
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
    const double usedMs = figures.at(1).toDouble();
    QVERIFY2(closingMs < 1000, figures.at(0).constData());
    // In two seconds: the turns go on, but none spins.
    QVERIFY2(usedMs < 100, figures.at(1).constData());
    QCOMPARE(process.exitCode(), 0);
}

void tst_SockJSWorker::idleWorkerCostsNextToNoTime()
{
    QTcpServer server; // the system accepts for it
    QVERIFY(server.listen(QHostAddress::LocalHost));
    WorkerRun run(server.serverPort());
    QVERIFY(run.begin());
    QThread::msleep(500);
    const double before = cpuMs(CLOCK_PROCESS_CPUTIME_ID);
    constexpr unsigned long SECONDS = 4;
    QThread::msleep(SECONDS * 1000);
    const double perSecond = (cpuMs(CLOCK_PROCESS_CPUTIME_ID) - before) / SECONDS;
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
