#include "OpeningRun.h"
#include "RawServers.h"
#include "RobustRun.h"
#include "support/Promptness.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <optional>

using namespace Scripted;

namespace
{

const QString PING = uR"({"type":"ping"})"_s;
const QByteArray POSTED_PING = "[\n    \"{\\\"type\\\":\\\"ping\\\"}\"\n]\n";
constexpr int LATE_MS = 3000; // a loaded machine may notice an end late, never early

int pingsOf(const RawWebSocketServer &server)
{
    return int(std::count_if(server.frames.begin(), server.frames.end(), [](const auto &frame) {
        return frame.opcode == RawWebSocketServer::PING;
    }));
}

// An open web socket whose server leaves pings unanswered.
struct MuteRun {
    MuteRun()
    {
        server.answersPings = false;
        run.connector.setSilenceTimeout(0);
        run.open(server.port());
        if (!QTest::qWaitFor([this] { return run.connector.isConnected(); }))
            qFatal("no session");
        QObject::connect(&run.connector, &SockJSConnector::closed, &run.connector,
                         [this] { endedMs = timer.elapsed(); });
        timer.start();
    }
    void probe(int ms) { run.connector.probe(PING, ms); }
    bool lives(int ms)
    {
        QTest::qWait(ms);
        return run.ends.isEmpty() && run.connector.isConnected();
    }
    void verifyEnd(int ms)
    {
        QTRY_COMPARE_WITH_TIMEOUT(run.ends.size(), 1, ms + LATE_MS);
        QVERIFY2(endedMs >= ms - ms / 10 && endedMs < ms + LATE_MS,
                 qPrintable(QString::number(endedMs)));
        const QRegularExpression words(u"^1006 The server was silent for [0-9]+ ms$"_s);
        QVERIFY2(words.match(run.ends.first()).hasMatch(), qPrintable(run.ends.first()));
    }

    const LogCapture log;
    OpeningServer server;
    OpeningRun run;
    QElapsedTimer timer;
    qint64 endedMs = 0;
};

} // namespace

// A host asks at once whether the server is still there.
class tst_SockJSProbe : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void webSocketIsPingedAtOnce();
    void silentWebSocketEnds();
    void everyFrameIsASignOfLife_data();
    void everyFrameIsASignOfLife();
    void frameThatHasBegunIsWaitedFor();
    void firstOfSeveralEndsCounts_data();
    void firstOfSeveralEndsCounts();
    void answeredProbeIsOver();
    void silenceTimeoutLeavesAProbeAlone();

    void messageIsPostedAndItsAnswerIsTheSign_data() { addBothWays(); }
    void messageIsPostedAndItsAnswerIsTheSign();
    void unansweredMessageEndsTheConnection_data() { addBothWays(); }
    void unansweredMessageEndsTheConnection();
    void unansweredPostsOfAnEarlierConnectionEndNothing();
    void answerThatHasBegunIsASign();
    void postUnderWayTakesTheMessagesPlace();
    void postUnderWayThatIsNotAnsweredEndsTheConnection();
    void secondProbePostsNothing();
    void probeIsNoActivity();
    void closeEndsAProbe_data();
    void closeEndsAProbe();

    void nothingIsAskedOtherwise_data();
    void nothingIsAskedOtherwise();
    void frameThatNeverEndsIsGivenUp();

private:
    std::optional<MuteRun> m_stalling; // since the beginning
};

namespace
{

// What opens a session over HTTP, and leaves the next receiving request unanswered.
Script receiving(bool streaming)
{
    if (streaming)
        return {expectRequest(), send(CHUNKED + chunk("o\n")), pause(60000)};
    return {expectRequest(), send(FRAME_O), expectRequest(), pause(60000)};
}

// An open session over HTTP, whose posts are answered by this script.
struct HttpRun : RobustRun {
    explicit HttpRun(const Script &posts, bool streaming = false)
        : RobustRun({receiving(streaming), posts})
    {
        open(streaming);
        if (!waitForSession())
            qFatal("no session");
    }
    void probe(int ms) { connector.probe(PING, ms); }
    QList<QByteArray> posts() const
    {
        return server.connectionCount() > 1 ? server.requests(1) : QList<QByteArray>();
    }
};

const Script UNANSWERED = {expectRequest(), pause(60000)};

} // namespace

void tst_SockJSProbe::initTestCase()
{
    m_stalling.emplace();
    m_stalling->server.client->write(RawWebSocketServer::text("a[\"hi\"]").left(5));
    QTest::qWait(100);
    m_stalling->probe(300);
}

// ---- Web socket -----------------------------------------------------------------------------------

void tst_SockJSProbe::webSocketIsPingedAtOnce()
{
    Promptness promptness;
    while (promptness.isOpen()) {
        MuteRun mute;
        mute.server.answersPings = true;
        mute.timer.start();
        mute.probe(500);
        QTRY_COMPARE_WITH_TIMEOUT(pingsOf(mute.server), 1, 20000);
        promptness.take(mute.timer.elapsed(), 400);
        QVERIFY(mute.lives(900));
        QCOMPARE(pingsOf(mute.server), 1);
    }
    VERIFY_PROMPT(promptness);
}

void tst_SockJSProbe::silentWebSocketEnds()
{
    MuteRun mute;
    mute.probe(500);
    mute.verifyEnd(500);
    QCOMPARE(pingsOf(mute.server), 1);
    QCOMPARE(mute.run.closed, QList<QVariantList>{{false}});
}

void tst_SockJSProbe::everyFrameIsASignOfLife_data()
{
    using Server = RawWebSocketServer;
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("text") << Server::text("h");
    QTest::newRow("binary") << Server::frame(0x82, "x");
    QTest::newRow("pong") << Server::frame(Server::PONG, "");
    QTest::newRow("piece of a message") << Server::frame(0x01, "a");
}

void tst_SockJSProbe::everyFrameIsASignOfLife()
{
    QFETCH(QByteArray, frame);
    MuteRun mute;
    mute.probe(600);
    QTRY_COMPARE(pingsOf(mute.server), 1);
    mute.server.client->write(frame);
    QVERIFY(mute.lives(900));
}

void tst_SockJSProbe::frameThatHasBegunIsWaitedFor()
{
    const QByteArray frame = RawWebSocketServer::text("a[\"hi\"]");
    MuteRun mute;
    mute.server.client->write(frame.left(5));
    QTest::qWait(100);
    mute.probe(300);
    QVERIFY(mute.lives(900));
    mute.server.client->write(frame.mid(5));
    QTRY_COMPARE(mute.run.messages.size(), 1);
    QVERIFY(mute.lives(600));
}

void tst_SockJSProbe::firstOfSeveralEndsCounts_data()
{
    QTest::addColumn<int>("first");
    QTest::addColumn<int>("second");
    QTest::newRow("the first") << 500 << 60000;
    QTest::newRow("the second") << 60000 << 500;
}

void tst_SockJSProbe::firstOfSeveralEndsCounts()
{
    QFETCH(int, first);
    QFETCH(int, second);
    MuteRun mute;
    mute.probe(first);
    mute.probe(second);
    mute.verifyEnd(500);
}

void tst_SockJSProbe::answeredProbeIsOver()
{
    MuteRun mute;
    mute.server.answersPings = true;
    mute.probe(500);
    QTRY_COMPARE(pingsOf(mute.server), 1);
    QVERIFY(mute.lives(200));
    mute.server.answersPings = false;
    mute.timer.start();
    mute.probe(800); // which the end of the first does not cut short
    mute.verifyEnd(800);
}

void tst_SockJSProbe::silenceTimeoutLeavesAProbeAlone()
{
    MuteRun mute;
    mute.probe(500);
    mute.run.connector.setSilenceTimeout(60000);
    mute.run.connector.setSilenceTimeout(0);
    mute.verifyEnd(500);
}

// ---- HTTP -----------------------------------------------------------------------------------------

void tst_SockJSProbe::messageIsPostedAndItsAnswerIsTheSign()
{
    QFETCH(bool, streaming);
    HttpRun run({expectRequest(), pause(200), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)},
                streaming);
    for (int post = 1; post <= 2; ++post) {
        run.probe(600);
        QTRY_COMPARE(run.posts().size(), post);
        QCOMPARE(bodyOf(run.posts().last()), POSTED_PING);
        QTest::qWait(900);
        QVERIFY(run.connector.isConnected());
    }
    QCOMPARE(run.closed.size(), 0);
}

void tst_SockJSProbe::unansweredMessageEndsTheConnection()
{
    QFETCH(bool, streaming);
    HttpRun run(UNANSWERED, streaming);
    QElapsedTimer timer;
    timer.start();
    run.probe(500);
    QTRY_COMPARE(run.closed.size(), 1);
    QVERIFY2(timer.elapsed() >= 450 && timer.elapsed() < 500 + LATE_MS,
             qPrintable(QString::number(timer.elapsed())));
    run.verifyEnd(1006, u"The server did not answer within 500 ms"_s);
    QCOMPARE(run.posts().size(), 1);
}

void tst_SockJSProbe::unansweredPostsOfAnEarlierConnectionEndNothing()
{
    RobustRun run({receiving(false), UNANSWERED, receiving(false)});
    run.open();
    QVERIFY(run.waitForSession());
    run.connector.probe(PING, 500);
    QTRY_COMPARE(run.server.connectionCount(), 2);
    run.open(); // ends the first
    QVERIFY(run.waitForSession());
    QTest::qWait(1000);
    QCOMPARE(run.closed.size(), 1);
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSProbe::answerThatHasBegunIsASign()
{
    HttpRun run({expectRequest(), send(plain(2, "x")), pause(60000)});
    run.probe(500);
    QTest::qWait(900);
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSProbe::postUnderWayTakesTheMessagesPlace()
{
    HttpRun run({expectRequest(), pause(300), send(NO_CONTENT), pause(60000)});
    run.connector.sendMessage(u"hello"_s, false);
    run.probe(900);
    QTest::qWait(1500);
    QVERIFY(run.connector.isConnected());
    QCOMPARE(run.posts().size(), 1);
    QCOMPARE(bodyOf(run.posts().first()), QByteArray("[\n    \"hello\"\n]\n"));
}

void tst_SockJSProbe::postUnderWayThatIsNotAnsweredEndsTheConnection()
{
    HttpRun run(UNANSWERED);
    run.connector.sendMessage(u"hello"_s, false);
    run.probe(500);
    run.verifyEnd(1006, u"The server did not answer within 500 ms"_s);
}

void tst_SockJSProbe::secondProbePostsNothing()
{
    HttpRun run(UNANSWERED);
    run.probe(60000);
    run.probe(500);
    run.probe(60000);
    run.verifyEnd(1006, u"The server did not answer within 500 ms"_s);
    QCOMPARE(run.posts().size(), 1);
}

void tst_SockJSProbe::probeIsNoActivity()
{
    HttpRun run({expectRequest(), send(NO_CONTENT)});
    QDateTime &lastActivity = SockJSProbe::lastActivity(run.connector);
    const QDateTime longAgo(QDate(2000, 1, 1), QTime(0, 0), Qt::UTC);
    lastActivity = longAgo;
    run.probe(5000);
    QTRY_COMPARE(run.posts().size(), 1);
    QCOMPARE(lastActivity, longAgo);
}

void tst_SockJSProbe::closeEndsAProbe_data()
{
    QTest::addColumn<bool>("xhr");
    QTest::newRow("web socket") << false;
    QTest::newRow("XHR") << true;
}

void tst_SockJSProbe::closeEndsAProbe()
{
    QFETCH(bool, xhr);
    MuteRun mute;
    HttpRun run(UNANSWERED);
    SockJSConnector &connector = xhr ? run.connector : mute.run.connector;
    const QSignalSpy &closed = xhr ? run.closed : mute.run.closed;
    connector.probe(PING, 300);
    connector.close();
    QTRY_COMPARE(closed.size(), 1);
    QTest::qWait(700);
    QCOMPARE(closed.size(), 1);
    QCOMPARE(connector.getCloseCode(), 1000);
}

// ---- When nothing is asked ------------------------------------------------------------------------

void tst_SockJSProbe::nothingIsAskedOtherwise_data()
{
    QTest::addColumn<bool>("isRobust");
    QTest::addColumn<QByteArray>("open");
    QTest::newRow("default way") << false << RawWebSocketServer::text("o");
    QTest::newRow("not open") << true << QByteArray();
}

void tst_SockJSProbe::nothingIsAskedOtherwise()
{
    QFETCH(bool, isRobust);
    QFETCH(QByteArray, open);
    const LogCapture log;
    RawWebSocketServer server;
    server.behindHandshake = open;
    server.answersPings = false;
    OpeningRun run(isRobust);
    run.connector.probe(PING, 100); // there is no connection
    run.open(server.port());
    QTRY_COMPARE(run.connector.getTransport(), u"websocket"_s);
    run.connector.probe(PING, 100);
    QTest::qWait(700);
    QCOMPARE(server.frames.size(), 0);
    QCOMPARE(run.ends, QStringList());
}

// ---- At last --------------------------------------------------------------------------------------

void tst_SockJSProbe::frameThatNeverEndsIsGivenUp()
{
    m_stalling->verifyEnd(30000);
    m_stalling.reset();
}

QTEST_GUILESS_MAIN(tst_SockJSProbe)
#include "tst_sockjsprobe.moc"
