#include "DeadPort.h"
#include "OpenTransport.h"

#include <atomic>

using namespace Scripted;

// The polling transport called out of turn: before it has started, after it was closed, in the middle of a
// reconnection, and with its public slots called by hand.
class tst_SockJSTransportCalls : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void messageBeforeTheStartIsLost();
    void messageAfterAStartThatFailedIsLost();
    void answersAreExpectedOfAnOpenRobustTransportOnly();
    void bodyOfNoRequestIsAFrameWithoutAPoll();
    void headerGivenByHandTwiceIsOneRequest();
    void requestThatASlotByHandTookForDoneIsFreedWithTheNextHeader();
    void reconnectionThatIsHeardAfterTheCloseAsksForNothing();
    void closeInAPauseBetweenConnectionsKeepsNone();
    void startBehindACloseIsNotEndedByIt();
    void messageBehindOneThatIsLostAfterTheCloseStillLeaves();
    void whatComesOnAConnectionThatStandsAfterTheCloseIsNotHeard();
};

namespace
{

const QString CLOSED_REQUEST = u"[SockJSXHRPolling] Can't make request when in closed state!"_s;

} // namespace

void tst_SockJSTransportCalls::messageBeforeTheStartIsLost()
{
    LogCapture log;
    SockJSXHRPolling transport;
    transport.sendTextMessage(u"x"_s);
    QVERIFY(transport.isSending());
    QTRY_VERIFY(!transport.isSending());
    QCOMPARE(log.messages().count(u"[SockJSXHRPolling] xhr_send error: Protocol \"\" is unknown"_s),
             1);
}

void tst_SockJSTransportCalls::messageAfterAStartThatFailedIsLost()
{
    const DeadPort port;
    LogCapture log;
    SockJSXHRPolling transport;
    QVERIFY(!transport.start(localhost(), port, false, u"/s"_s, false));
    transport.sendTextMessage(u"x"_s);
    QTRY_VERIFY(!transport.isSending());
    QCOMPARE(log.messages().count(u"[SockJSXHRPolling] xhr_send error: Connection refused"_s), 1);
}

void tst_SockJSTransportCalls::answersAreExpectedOfAnOpenRobustTransportOnly()
{
    OpenTransport byDefault({{expectRequest()}});
    QVERIFY(byDefault.start());
    byDefault.transport.expectAnswer(0);

    OpenTransport closed({{expectRequest()}});
    closed.transport.setRobustTransport(true);
    QVERIFY(closed.start());
    closed.verifyScripts();
    closed.transport.close();
    closed.transport.expectAnswer(0);
    QTRY_COMPARE(closed.ends.size(), 1);
    QTest::qWait(300);
    QCOMPARE(byDefault.ends.size(), 0);
    QCOMPARE(closed.ends.size(), 1);
    QCOMPARE(closed.transport.getCloseCode(), 0);
}

void tst_SockJSTransportCalls::bodyOfNoRequestIsAFrameWithoutAPoll()
{
    OpenTransport open({{expectRequest()}});
    QVERIFY(open.start());
    open.verifyScripts();
    open.transport.onReceivedMessageResponse(nullptr, u"h"_s);
    QCOMPARE(open.frames.size(), 1);
    QCOMPARE(open.frames.at(0).at(0).toString(), u"h"_s);
    QCOMPARE(SockJSProbe::requestsAlive(open.transport), 1);
}

void tst_SockJSTransportCalls::headerGivenByHandTwiceIsOneRequest()
{
    OpenTransport open({{expectRequest()}});
    QVERIFY(open.start());
    QPointer<XHRRequest> request(new XHRRequest(nullptr, u"/s/xhr"_s, QString()));
    open.transport.onReceivedHeadersResponse(request, {{u"Set-Cookie"_s, u"a=1"_s}});
    open.transport.onReceivedHeadersResponse(request, {{u"Set-Cookie"_s, u"b=2"_s}});
    QVERIFY(request);
    QCOMPARE(open.transport.getCookieCount(), 2);
    open.transport.onReceivedHeadersResponse(nullptr, {});
    QVERIFY(!request);
}

// The worker still reads the body of the request that was answered last.
void tst_SockJSTransportCalls::requestThatASlotByHandTookForDoneIsFreedWithTheNextHeader()
{
    OpenTransport open(
        {{expectRequest(), send(FRAME_O), expectRequest(), send(plain(4, "h\n")), pause(300),
          send("h\n"), expectRequest(), send(reply("h\n")), expectRequest()}});
    QVERIFY(open.start());
    QTRY_COMPARE(open.frames.size(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(open.server.requests(0).size(), 2, 20000);
    open.transport.onReceivedHeadersResponse(nullptr, {});
    QTRY_COMPARE_WITH_TIMEOUT(open.frames.size(), 3, 20000);
    QCOMPARE(open.frames.at(1).at(0).toString(), u"h\nh"_s);
    open.verifyScripts();
    // The request that was answered last, and the one that waits for its answer.
    QCOMPARE(SockJSProbe::requestsAlive(open.transport), 2);
}

void tst_SockJSTransportCalls::reconnectionThatIsHeardAfterTheCloseAsksForNothing()
{
    OpenTransport open({{expectRequest(), close()}, {}});
    QVERIFY(open.start());
    std::atomic_bool isMade{false};
    connect(
        SockJSProbe::worker(open.transport), &SockJSXHRPollingWorker::reconnected, this,
        [&] { isMade = true; }, Qt::DirectConnection);
    const QDeadlineTimer deadline(20000);
    while (!isMade && !deadline.hasExpired()) // without a turn of the event loop
        QThread::msleep(1);
    QVERIFY(isMade);
    open.transport.close();
    QTRY_COMPARE(open.ends.size(), 1);
    QCOMPARE(open.log.messages().count(CLOSED_REQUEST), 1);
    QCOMPARE(open.server.received(1), QByteArray());
}

// The pauses behind short connections grow to seconds. A post without an answer would have a connection kept.
void tst_SockJSTransportCalls::closeInAPauseBetweenConnectionsKeepsNone()
{
    OpenTransport open({{expectRequest(), pause(500), close()}, {expectRequest()}});
    open.server.onEveryOther({close()});
    QVERIFY(open.start());
    open.transport.sendTextMessage(u"x"_s);
    QTRY_VERIFY_WITH_TIMEOUT(SockJSProbe::pauseMs(*SockJSProbe::worker(open.transport)) >= 1000,
                             20000);
    open.transport.close();
    QTRY_COMPARE(open.ends.size(), 1);
    QVERIFY(open.transport.isSending());
    QVERIFY(!SockJSProbe::keepsConnection(open.transport));
}

void tst_SockJSTransportCalls::startBehindACloseIsNotEndedByIt()
{
    OpenTransport open({});
    open.server.onEveryOther({}); // the first connection may end before it has asked for anything
    open.transport.setRobustTransport(true);
    QVERIFY(open.start());
    open.transport.close();
    QVERIFY(open.start());
    const auto isAsked = [&] {
        for (int i = 0; i < open.server.connectionCount(); ++i) {
            if (open.server.received(i).startsWith("POST "))
                return true;
        }
        return false;
    };
    QTRY_VERIFY(isAsked());
    QTest::qWait(100);
    QCOMPARE(open.ends.size(), 0);
    open.transport.close();
    QTRY_COMPARE(open.ends.size(), 1);
}

// An open transport would send nothing behind the gap.
void tst_SockJSTransportCalls::messageBehindOneThatIsLostAfterTheCloseStillLeaves()
{
    OpenTransport open(
        {{expectRequest()}, {expectRequest(), pause(500), Scripted::abort()}, {expectRequest()}});
    open.transport.setRobustTransport(true);
    QVERIFY(open.start());
    QTRY_COMPARE(open.server.requests().size(), 1);
    open.transport.sendTextMessage(u"lost"_s);
    QTRY_COMPARE(open.server.requests().size(), 2);
    open.transport.sendTextMessage(u"behind"_s);
    open.transport.close();
    QTRY_COMPARE(open.server.requests().size(), 3);
    QCOMPARE(bodyOf(open.server.requests(2).at(0)), QByteArray("behind"));
    QCOMPARE(open.ends.size(), 1);
    QCOMPARE(open.transport.getCloseCode(), 0);
}

void tst_SockJSTransportCalls::whatComesOnAConnectionThatStandsAfterTheCloseIsNotHeard()
{
    OpenTransport open({});
    open.server.onEveryOther({expectRequest(), send(FRAME_O)});
    open.transport.setRobustTransport(true);
    QVERIFY(open.start());
    open.transport.sendTextMessage(u"x"_s);
    open.transport.close();
    QTRY_VERIFY(!open.transport.isSending());
    QTRY_COMPARE(open.ends.size(), 1);
    QCOMPARE(open.frames.size(), 0);
}

QTEST_GUILESS_MAIN(tst_SockJSTransportCalls)
#include "tst_sockjstransportcalls.moc"
