#include "OpeningRun.h"
#include "RawServers.h"

#include <QtCore/QRegularExpression>

#include <algorithm>
#include <atomic>
#include <deque>
#include <thread>

// How the robust way notices that a web socket's line is dead, and that it is not.
class tst_SockJSRobustSilence : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void silentServerIsPinged();
    void framesAndPongsAreSignsOfLife_data();
    void framesAndPongsAreSignsOfLife();
    void pingsCanBeSwitchedOffAndOn();
    void defaultWaySendsNoPings();
    void deadLinesEnd();
    void hostThatIsBusyKeepsItsConnection();
};

namespace
{

using Server = RawWebSocketServer;

int pingsOf(const Server &server)
{
    return int(
        std::count_if(server.frames.begin(), server.frames.end(),
                      [](const Server::Frame &frame) { return frame.opcode == Server::PING; }));
}

// A server whose line dies or goes slow once the session is open, and how long the connector takes to
// notice.
struct Line {
    Line(const char *description, int silenceMs) : name(description)
    {
        server.answersPings = false;
        QObject::connect(&run.connector, &SockJSConnector::closed,
                         [this] { ms = timer.elapsed(); });
        run.connector.setSilenceTimeout(silenceMs);
        timer.start();
        run.open(server.port());
    }
    // Sends a frame with one text message in pieces, with so long a pause before each but the first.
    void sendSlowly(int pieces, int pauseMs)
    {
        const int size = FRAME.size() / pieces + 1;
        for (int i = 0; i < pieces; ++i)
            sendAfter(i * pauseMs, FRAME.mid(i * size, size));
    }
    // Sends so much of the frame, and the rest after 15 s.
    void sendSplit(int firstBytes)
    {
        sendAfter(0, FRAME.left(firstBytes));
        sendAfter(15000, FRAME.mid(firstBytes));
    }
    void sendAfter(int ms, const QByteArray &bytes)
    {
        QTimer::singleShot(ms, server.client, [=] { server.client->write(bytes); });
    }
    // Answers the ping, and is not watched from then on.
    void reviveAfter(int delayMs)
    {
        QTimer::singleShot(delayMs, server.client, [this] {
            server.client->write(Server::frame(Server::PONG, ""));
            run.connector.setSilenceTimeout(0);
        });
    }
    QString result() const
    {
        QString end = u"%1 ms"_s.arg(ms);
        if (ms == 0)
            end = u"lives"_s;
        else if (ms > 9500 && ms < 13000)
            end = u"10 s"_s;
        else if (ms > 29000 && ms < 33500)
            end = u"30 s"_s;
        return u"%1: %2, %3 messages"_s.arg(name, end).arg(run.messages.size());
    }

    inline static const QByteArray FRAME = Server::text("a[\"" + QByteArray(100, 'x') + "\"]");
    const QString name;
    qint64 ms = 0; // to the end
    QElapsedTimer timer;
    OpeningServer server;
    OpeningRun run;
};

bool areConnected(const std::deque<Line> &lines)
{
    return std::all_of(lines.begin(), lines.end(),
                       [](const Line &line) { return line.run.connector.isConnected(); });
}

QStringList resultsOf(const std::deque<Line> &lines)
{
    QStringList results;
    for (const Line &line : lines)
        results.append(line.result());
    return results;
}

const QStringList FATES = {
    "dead: 10 s, 0 messages",
    "a frame that never ends: 30 s, 0 messages",
    "a frame of 20 s: lives, 1 messages",
    "a frame that stalls for 15 s: lives, 1 messages",
    "a frame that has just begun: lives, 1 messages",
    "a frame that has just begun behind others: lives, 3 messages",
    "dead, not watched: lives, 0 messages",
    "dead, not watched any more: lives, 0 messages",
    "dead, after the usual time: 30 s, 0 messages",
};

// A server that goes on while the test's event loop does not turn.
class ServerThread
{
public:
    // Answers each ping after so long a time.
    explicit ServerThread(int answerMs)
        : m_thread([=] {
              QEventLoop loop;
              OpeningServer server;
              server.answersPings = false;
              int answered = 0;
              QTimer timer;
              QObject::connect(&timer, &QTimer::timeout, &loop, [&] {
                  m_pings = pingsOf(server);
                  for (; answered < m_pings; ++answered)
                      QTimer::singleShot(answerMs, server.client, [&server] {
                          server.client->write(Server::frame(Server::PONG, ""));
                      });
                  if (m_isOver)
                      loop.quit();
              });
              timer.start(20);
              m_port = server.port();
              loop.exec();
          })
    {
        while (m_port == 0)
            std::this_thread::yield();
    }
    ~ServerThread()
    {
        m_isOver = true;
        m_thread.join();
    }
    quint16 port() const { return quint16(m_port); }
    int pings() const { return m_pings; }

private:
    std::atomic<int> m_port{0};
    std::atomic<int> m_pings{0};
    std::atomic<bool> m_isOver{false};
    std::thread m_thread;
};

} // namespace

void tst_SockJSRobustSilence::silentServerIsPinged()
{
    OpeningServer server;
    const LogCapture log;
    OpeningRun run;
    run.connector.setSilenceTimeout(400);
    QElapsedTimer timer;
    timer.start();
    run.open(server.port());
    QTRY_COMPARE(pingsOf(server), 1);
    QVERIFY2(timer.elapsed() >= 400 && timer.elapsed() < 2000,
             qPrintable(QString::number(timer.elapsed())));
    QCOMPARE(server.frames.at(0).payload, QByteArray());
    QTRY_VERIFY(pingsOf(server) >= 3); // its answers keep it alive
    QCOMPARE(run.closed.size(), 0);
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSRobustSilence::framesAndPongsAreSignsOfLife_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("text") << Server::text("h");
    QTest::newRow("binary") << Server::frame(0x82, "x");
    QTest::newRow("pong") << Server::frame(Server::PONG, "");
    QTest::newRow("piece of a message") << Server::frame(0x01, "a");
}

void tst_SockJSRobustSilence::framesAndPongsAreSignsOfLife()
{
    QFETCH(QByteArray, frame);
    OpeningServer server;
    const LogCapture log;
    OpeningRun run;
    run.connector.setSilenceTimeout(1000);
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 1);
    QElapsedTimer timer;
    timer.start();
    bool isFirst = true;
    while (timer.elapsed() < 2500) {
        const bool isContinued = quint8(frame.at(0)) == 0x01 && !isFirst;
        server.client->write(isContinued ? Server::frame(0x00, "a") : frame);
        isFirst = false;
        QTest::qWait(100);
    }
    QCOMPARE(pingsOf(server), 0);
    QTRY_VERIFY(pingsOf(server) >= 1);
}

void tst_SockJSRobustSilence::pingsCanBeSwitchedOffAndOn()
{
    OpeningServer server;
    const LogCapture log;
    OpeningRun run;
    run.open(server.port());
    QTRY_COMPARE(run.connected.size(), 1);
    QTest::qWait(500);
    QCOMPARE(pingsOf(server), 0); // 20 s by default
    run.connector.setSilenceTimeout(200);
    QTRY_VERIFY(pingsOf(server) >= 1);
    run.connector.setSilenceTimeout(0);
    QTest::qWait(50); // for one that is on its way
    const int pings = pingsOf(server);
    QTest::qWait(1000);
    QCOMPARE(pingsOf(server), pings);
    run.connector.setSilenceTimeout(200);
    QTRY_VERIFY(pingsOf(server) > pings);
    QCOMPARE(run.closed.size(), 0);
}

void tst_SockJSRobustSilence::defaultWaySendsNoPings()
{
    OpeningServer server;
    const LogCapture log;
    OpeningRun run(false);
    run.connector.setSilenceTimeout(100);
    run.open(server.port());
    QCOMPARE(run.connected.size(), 1);
    run.connector.setSilenceTimeout(100);
    QTest::qWait(700);
    QCOMPARE(pingsOf(server), 0);
}

// All at the same time.
void tst_SockJSRobustSilence::deadLinesEnd()
{
    const LogCapture log;
    std::deque<Line> lines;
    Line &dead = lines.emplace_back("dead", 500);
    Line &slow = lines.emplace_back("a frame that never ends", 500);
    Line &slowButAlive = lines.emplace_back("a frame of 20 s", 500);
    Line &stalling = lines.emplace_back("a frame that stalls for 15 s", 500);
    Line &begun = lines.emplace_back("a frame that has just begun", 500);
    Line &behind = lines.emplace_back("a frame that has just begun behind others", 500);
    lines.emplace_back("dead, not watched", 0);
    Line &released = lines.emplace_back("dead, not watched any more", 500);
    Line &usual = lines.emplace_back("dead, after the usual time", 20000);
    QTRY_VERIFY(areConnected(lines));
    slow.sendSlowly(50, 2000);
    slowButAlive.sendSlowly(11, 2000);
    stalling.sendSplit(50);
    begun.sendSplit(2);
    behind.sendAfter(0, Line::FRAME.left(50));
    behind.sendAfter(100, Line::FRAME.mid(50) + Line::FRAME + Line::FRAME.left(2));
    behind.sendAfter(15000, Line::FRAME.mid(2));
    for (Line *answering : {&slowButAlive, &stalling, &begun, &behind})
        answering->reviveAfter(21000);
    QTRY_COMPARE(pingsOf(released.server), 1);
    released.run.connector.setSilenceTimeout(0);
    QCOMPARE(pingsOf(dead.server), 1);
    QTest::qWait(36000);
    QCOMPARE(resultsOf(lines), FATES);
    QCOMPARE(pingsOf(usual.server), 1);

    QCOMPARE(dead.run.connector.getCloseCode(), 1006);
    const QString reason = dead.run.connector.getCloseReason();
    const QRegularExpression words(u"^The server was silent for [0-9]{4,5} ms$"_s);
    QVERIFY2(words.match(reason).hasMatch(), qPrintable(reason));
}

// Longer than the wait for an answer, which comes meanwhile.
void tst_SockJSRobustSilence::hostThatIsBusyKeepsItsConnection()
{
    const ServerThread server(1000);
    const LogCapture log;
    OpeningRun run;
    run.connector.setSilenceTimeout(300);
    run.open(server.port());
    QTRY_COMPARE(server.pings(), 1);
    QThread::msleep(12000);
    QTest::qWait(2000);
    QCOMPARE(run.ends, QStringList());
    QVERIFY(run.connector.isConnected());
    QVERIFY(server.pings() >= 2);
}

QTEST_GUILESS_MAIN(tst_SockJSRobustSilence)
#include "tst_sockjsrobustsilence.moc"
