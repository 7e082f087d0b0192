#include "e2e/LiveSession.h"
#include "support/Text.h"

#include "support/LogCapture.h"

// What comes of xhr-streaming against a stock SockJS server: a chunked body is handed on when its end
// chunk has been read, and a streaming response ends only at the server's limit of 128 KiB. Until then
// not even the opening frame arrives, so that the session does not open.
class tst_LiveStreaming : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nothingIsDeliveredBeforeTheResponseEnds();
    void framesArriveTogetherWhenTheResponseEnds();
};

namespace
{

const QString CONNECTED = u"[SockJSConnector] CONNECTED via xhr_streaming"_s;
const QString CHUNKED = u"[SockJSXHRPollingWorker] Detected transfer-encoding: chunked header"_s;

bool startStreaming(LiveSession &session)
{
    PresenterCollab *channel = nullptr;
    const bool isStarted = session.client->doLogin(u"teacher"_s, u"secret"_s)
        && session.client->doStartSession(QString()) && session.client->startWebsocket(&channel);
    session.channel = channel;
    return isStarted && channel;
}

} // namespace

void tst_LiveStreaming::nothingIsDeliveredBeforeTheResponseEnds()
{
    const LogCapture log;
    const Far far(false);
    LiveSession session(*far, u"xhr-streaming"_s);
    QVERIFY(startStreaming(session));
    QVERIFY(log.contains(CONNECTED));
    QCOMPARE(session.channel->getTransport(), u"xhr-streaming"_s);

    // The server holds the connection open and has sent the opening frame in a chunk of its own...
    QCOMPARE(far->journal(u"open"_s, {{u"transport"_s, u"xhr-streaming"_s}}).size(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(CHUNKED), LONG_MS);
    // ... which is not handed on: in twice the time that polling takes the channel has not opened, and
    // a host that publishes is told so.
    QVERIFY(!QTest::qWaitFor([&session] { return session.channel->isConnected(); }, 8000));
    session.channel->sendHeavy();
    QVERIFY(log.contains(u"[PresenterCollab] SockJS socket not connected!"_s));
    QCOMPARE(far->countNow(u"register"_s, {{u"transport"_s, u"xhr-streaming"_s}}), 0);
    QVERIFY(session.client->doStopSession());
}

void tst_LiveStreaming::framesArriveTogetherWhenTheResponseEnds()
{
    const LogCapture log;
    const Far far(false);
    LiveSession session(*far, u"xhr-streaming"_s);
    QVERIFY(startStreaming(session));
    QCOMPARE(far->journal(u"open"_s, {{u"transport"_s, u"xhr-streaming"_s}}).size(), 1);
    QTRY_VERIFY_WITH_TIMEOUT(log.contains(CHUNKED), LONG_MS);

    // The server ends the session: the stream gets its close frame and its end chunk, and what had
    // gathered, the opening frame with it, is handed on as one frame.
    far->remove(u"connections?transport=xhr-streaming"_s);
    QTRY_VERIFY_WITH_TIMEOUT(!log.startingWith(u"[SockJSXHRPolling] RECEIVED: "_s).isEmpty(),
                             LONG_MS);
    const QStringList received = log.startingWith(u"[SockJSXHRPolling] RECEIVED: "_s);
    QCOMPARE(received.size(), 1);
    QVERIFY2(received.first().contains(u"o\n"_s)
                 && received.first().contains(u"c[1001,\"Going away\"]"_s),
             qPrintable(received.first().right(80)));
    QVERIFY(!session.channel->isConnected());
    QVERIFY(session.client->doStopSession());
}

QTEST_GUILESS_MAIN(tst_LiveStreaming)
#include "tst_livestreaming.moc"
