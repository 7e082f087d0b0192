#include "DeafPort.h"
#include "WorkerRun.h"

#include <QtCore/QElapsedTimer>

// The turns of the worker's loop with a socket that is not connected yet, and may never be.
class tst_SockJSWorkerTurns : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void workerThatRunsIsNotStartedAgain();
    void socketThatIsStillOnItsWayIsWaitedFor();
    void socketThatGetsNowhereIsReplaced();
    void closingDoesNotWaitForASocketThatGetsNowhere();
    void attemptThatIsNeverAnsweredTakesHalfAMinute();

private:
    // Starts a worker whose socket begins to connect, to whatever port, just before.
    static void connectOnItsWay(WorkerRun &run, quint16 port)
    {
        connect(&run.thread, &QThread::started, run.socket,
                [&run, port] { run.socket->connectToHost(localhost(), port); });
        run.start();
    }
};

void tst_SockJSWorkerTurns::workerThatRunsIsNotStartedAgain()
{
    using namespace Scripted;
    ServedWorker run({{expectMatch("first"), expectMatch("second")}});
    QVERIFY(run.begin());
    QMetaObject::invokeMethod(run.worker.get(), "process", Qt::QueuedConnection);
    run.queue(u"first"_s);
    run.queue(u"second"_s);
    run.verifyScripts();
    run.stop();
    QCOMPARE(run.ends, 1);
}

void tst_SockJSWorkerTurns::socketThatIsStillOnItsWayIsWaitedFor()
{
    using namespace Scripted;
    ScriptedFarEnd far({{expectMatch("first")}});
    WorkerRun run(new QTcpSocket, far.server.port());
    connectOnItsWay(run, far.server.port());
    run.queue(u"first"_s);
    far.verifyScripts();
    QCOMPARE(run.reconnections, 0);
}

void tst_SockJSWorkerTurns::socketThatGetsNowhereIsReplaced()
{
    using namespace Scripted;
    const DeafPort nowhere;
    ScriptedFarEnd far({{expectMatch("first")}});
    WorkerRun run(new QTcpSocket, far.server.port());
    connectOnItsWay(run, nowhere.port());
    QTRY_COMPARE_WITH_TIMEOUT(run.reconnections, 1, 20000);
    run.queue(u"first"_s);
    far.verifyScripts();
}

void tst_SockJSWorkerTurns::closingDoesNotWaitForASocketThatGetsNowhere()
{
    const DeafPort nowhere;
    WorkerRun run(new QTcpSocket, nowhere.port());
    connectOnItsWay(run, nowhere.port());
    QTest::qWait(100); // of the second that it is given
    run.stop();
    QCOMPARE(run.ends, 1);
    QCOMPARE(run.reconnections, 0);
}

void tst_SockJSWorkerTurns::attemptThatIsNeverAnsweredTakesHalfAMinute()
{
    const DeafPort port;
    const QString lost =
        u"[SockJSXHRPollingWorker] Connection lost, attempting to re-establish..."_s;
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    auto *socket = new QTcpSocket;
    socket->open(QIODevice::ReadWrite); // what is not open is no connection to be made again
    WorkerRun run(socket, port.port());
    run.start();
    QTRY_COMPARE_WITH_TIMEOUT(log.messages().count(lost), 2, 90000);
    QVERIFY(clock.elapsed() >= 30000);
}

QTEST_GUILESS_MAIN(tst_SockJSWorkerTurns)
#include "tst_sockjsworkerturns.moc"
