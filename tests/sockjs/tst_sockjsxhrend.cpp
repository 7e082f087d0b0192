#include "DeadPort.h"
#include "OpenTransport.h"

#include <QtCore/QSemaphore>

using namespace Scripted;

// How the XHR transport ends: closed, lost, started anew or deleted.
class tst_SockJSXHREnd : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void failedStartTellsWhyAndLeavesNothing();
    void closeIsReportedOnce();
    void nothingIsAskedAfterClose();
    void lostServerIsReportedOnce();
    void secondStartReplacesTheFirst();
    void startInASlotPollsOnce();
    void destroyingFromASlotIsSafe();
};

void tst_SockJSXHREnd::failedStartTellsWhyAndLeavesNothing()
{
    const DeadPort port;
    const LogCapture log;
    SockJSXHRPolling transport;
    QSignalSpy ends(&transport, &SockJSXHRPolling::connectionClosed);
    QVERIFY(!transport.start(localhost(), port, false, u"/s"_s, false));
    QCOMPARE(log.messages(), QStringList{"[SockJSXHRPolling] Connection refused"});
    QVERIFY(!SockJSProbe::worker(transport));
    QCOMPARE(SockJSProbe::requestsAlive(transport), 0);
    transport.close();
    QCoreApplication::processEvents();
    QCOMPARE(ends.size(), 0);
}

void tst_SockJSXHREnd::closeIsReportedOnce()
{
    OpenTransport m{{expectEnd()}};
    QVERIFY(m.start());
    m.transport.close();
    m.transport.close();
    QCOMPARE(m.ends.size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(m.ends.size(), 1, 20000);
    m.transport.close();
    QVERIFY(m.server.finished());
    QCoreApplication::processEvents();
    QCOMPARE(m.ends.size(), 1);
    QCOMPARE(SockJSProbe::requestsAlive(m.transport), 0);
}

void tst_SockJSXHREnd::nothingIsAskedAfterClose()
{
    OpenTransport m{{}};
    QVERIFY(m.start());
    const int before = SockJSProbe::requestsAlive(m.transport);
    m.transport.close();
    m.log.clear();
    m.transport.onReconnected();
    QVERIFY(!m.transport.doRequestXHR(u"/s/xhr"_s, QString()));
    QCOMPARE(m.log.messages(),
             (QStringList{"[SockJSXHRPolling] Can't make request when in closed state!",
                          "[SockJSXHRPolling] Can't make request when in closed state!"}));
    QCOMPARE(SockJSProbe::requestsAlive(m.transport), before);
}

void tst_SockJSXHREnd::lostServerIsReportedOnce()
{
    OpenTransport m{{expect(POLL)}};
    QVERIFY(m.start());
    QVERIFY2(m.server.finished(), qPrintable(m.server.failure()));
    m.server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(m.ends.size(), 1, 20000);
    QCOMPARE(m.log.messages().last(),
             u"[SockJSXHRPollingWorker] Connection attempts exceeded retry limit!"_s);
    QVERIFY(!SockJSProbe::worker(m.transport));
    QCOMPARE(SockJSProbe::requestsAlive(m.transport), 0);
    m.transport.doPoll();
    m.transport.close();
    QCoreApplication::processEvents();
    QCOMPARE(m.ends.size(), 1);
}

void tst_SockJSXHREnd::secondStartReplacesTheFirst()
{
    OpenTransport m{{expect(POLL), send(FRAME_O), expectEnd()},
                    {expect(pollText("/t/xhr")), send(FRAME_O)}};
    QVERIFY(m.start());
    // Without events: the response stays on its way between the threads.
    QSemaphore underWay;
    connect(
        SockJSProbe::worker(m.transport), &SockJSXHRPollingWorker::receivedMessageResponse, this,
        [&underWay] { underWay.release(); }, Qt::DirectConnection);
    QVERIFY(underWay.tryAcquire(1, 20000));
    QVERIFY(m.start(u"/t"_s));
    QCOMPARE(m.frames.size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(m.frames.size(), 1, 20000);
    QVERIFY(m.server.finished());
    QCOMPARE(m.ends.size(), 0);
}

void tst_SockJSXHREnd::startInASlotPollsOnce()
{
    OpenTransport m{{expect(POLL), send(FRAME_O), expectEnd()},
                    {expect(pollText("/t/xhr")), expect(pollText("/own"))}};
    bool restarted = false;
    connect(&m.transport, &SockJSXHRPolling::textMessageReceived, this,
            [&] { restarted = m.start(u"/t"_s); });
    QVERIFY(m.start());
    QTRY_VERIFY_WITH_TIMEOUT(restarted, 20000);
    // A second poll would wait before it.
    QVERIFY(m.transport.doRequestXHR(u"/own"_s, QString()));
}

void tst_SockJSXHREnd::destroyingFromASlotIsSafe()
{
    ScriptedServer server;
    server.onConnection({expect(POLL), send(FRAME_O), expectEnd()});
    server.onConnection({expectEnd()});
    QVERIFY(server.listen());
    const auto startOneThatDiesOf = [&](auto signal) {
        auto *transport = new SockJSXHRPolling;
        connect(transport, signal, this, [transport] { delete transport; });
        QTEST_ASSERT(transport->start(localhost(), server.port(), false, u"/s"_s, false));
        return QPointer<SockJSXHRPolling>(transport);
    };
    const auto first = startOneThatDiesOf(&SockJSXHRPolling::textMessageReceived);
    QTRY_VERIFY_WITH_TIMEOUT(!first, 20000);
    const auto second = startOneThatDiesOf(&SockJSXHRPolling::connectionClosed);
    second->close();
    QTRY_VERIFY_WITH_TIMEOUT(!second, 20000);
    QVERIFY2(server.finished(), qPrintable(server.failure()));
}

QTEST_GUILESS_MAIN(tst_SockJSXHREnd)
#include "tst_sockjsxhrend.moc"
