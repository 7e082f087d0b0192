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
    void closedTransportStartsAgain_data();
    void closedTransportStartsAgain();
    void startRightBehindCloseIsNotEndedByIt_data();
    void startRightBehindCloseIsNotEndedByIt();
    void startForgetsWhyTheLastConnectionEnded();
    void destroyingFromASlotIsSafe();
};

namespace
{

void addBothWays()
{
    QTest::addColumn<bool>("robust");
    QTest::newRow("default") << false;
    QTest::newRow("robust") << true;
}

// Only the worker's requests have line ends that their length does not count.
QByteArray poll(const QByteArray &path, bool robust)
{
    const QByteArray text = pollText(path);
    return robust ? text.chopped(4) : text;
}

} // namespace

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

void tst_SockJSXHREnd::closedTransportStartsAgain_data()
{
    addBothWays();
}

// The first connection ends inside an answer, of which the second knows nothing.
void tst_SockJSXHREnd::closedTransportStartsAgain()
{
    QFETCH(bool, robust);
    const QByteArray second = poll("/t/xhr", robust);
    OpenTransport m{
        {expect(poll("/s/xhr", robust)),
         send("HTTP/1.1 200 OK\r\nSet-Cookie: a=1; Path=/s\r\n"
              "Content-Length: 30\r\n\r\na[\"half"),
         expectEnd()},
        {expect(second), send(FRAME_O), expect(second), send(reply("a[\"hi\"]\n")), expect(second)},
        {expectRequest(), send(NO_CONTENT)}};
    m.transport.setRobustTransport(robust);
    QVERIFY(m.start());
    const QString headerLine = u"[SockJSXHRPolling] parsed cookies"_s;
    QTRY_VERIFY_WITH_TIMEOUT(m.log.contains(headerLine), 20000);
    m.transport.close();
    QTRY_COMPARE_WITH_TIMEOUT(m.ends.size(), 1, 20000);

    QVERIFY(m.start(u"/t"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m.texts(), (QStringList{"o", "a[\"hi\"]"}), 20000);
    m.transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(2).size(), 1, 20000);
    QVERIFY(m.server.requests(2).at(0).startsWith("POST /t/xhr_send HTTP/1.1\r\n"));
    QTRY_VERIFY_WITH_TIMEOUT(!m.transport.isSending(), 20000);
    QTRY_COMPARE_WITH_TIMEOUT(m.server.received(1), second + second + second, 20000);
    QCOMPARE(m.ends.size(), 1);
    m.transport.close();
    QTRY_COMPARE_WITH_TIMEOUT(m.ends.size(), 2, 20000);
}

void tst_SockJSXHREnd::startRightBehindCloseIsNotEndedByIt_data()
{
    addBothWays();
}

// The end of the first connection is on its way to the host when the second begins.
void tst_SockJSXHREnd::startRightBehindCloseIsNotEndedByIt()
{
    QFETCH(bool, robust);
    const QByteArray second = poll("/t/xhr", robust);
    OpenTransport m{{expect(poll("/s/xhr", robust)), expectEnd()},
                    {expect(second), send(FRAME_O), expect(second)}};
    m.transport.setRobustTransport(robust);
    QVERIFY(m.start());
    QTRY_VERIFY_WITH_TIMEOUT(!m.server.received(0).isEmpty(), 20000);
    m.transport.close();
    QThread::msleep(200);
    QVERIFY(m.start(u"/t"_s));
    QTRY_COMPARE_WITH_TIMEOUT(m.server.received(1), second + second, 20000);
    QTRY_COMPARE_WITH_TIMEOUT(m.texts(), QStringList{"o"}, 20000);
    QCOMPARE(m.ends.size(), 0);
}

void tst_SockJSXHREnd::startForgetsWhyTheLastConnectionEnded()
{
    OpenTransport m{
        {expectRequest(), send(FRAME_O), expectRequest(), send(reply("c[3000,\"Go away!\"]\n"))},
        {expectRequest()},
        {expectRequest(), send(reply("", "404 Not Found"))}};
    m.transport.setRobustTransport(true);
    QVERIFY(m.start());
    QTRY_COMPARE_WITH_TIMEOUT(m.ends.size(), 1, 20000);
    QCOMPARE(m.transport.getCloseCode(), 3000);

    m.log.clear();
    QVERIFY(m.start(u"/t"_s));
    QCOMPARE(m.transport.getCloseCode(), 0);
    QCOMPARE(m.transport.getCloseReason(), QString());
    QTRY_COMPARE_WITH_TIMEOUT(m.server.requests(1).size(), 1, 20000);
    m.transport.sendTextMessage(u"x"_s);
    QTRY_COMPARE_WITH_TIMEOUT(m.ends.size(), 2, 20000);
    // Without a word about an answer that came before: the connection has had none.
    const QString failure = u"The server answered with HTTP status 404 Not Found"_s;
    QCOMPARE(m.log.messages(), QStringList{u"[SockJSXHRPolling] xhr_send error: "_s + failure});
    QCOMPARE(m.transport.getCloseCode(), 1006);
    QCOMPARE(m.transport.getCloseReason(), u"A message could not be sent: "_s + failure);
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
