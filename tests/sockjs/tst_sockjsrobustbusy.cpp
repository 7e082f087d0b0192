#include "RobustRun.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>

using namespace Scripted;

// A host that does not let its event loop turn: its session lives, and the server has to wait when
// the host has too much to take.
class tst_SockJSRobustBusy : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sessionLivesWhileTheHostIsBusy();
    void serverWaitsForABusyHost_data();
    void serverWaitsForABusyHost();
    void everythingArrivesBehindAFullBacklog_data();
    void everythingArrivesBehindAFullBacklog();
    void whatNobodyAskedForIsSeenBehindAFullBacklog();
};

namespace
{

qint64 residentMiB()
{
    QFile file(u"/proc/self/statm"_s);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    return file.readAll().split(' ').value(1).toLongLong() * 4096 / (1024 * 1024);
}

// Those of the server are among them, too. The address sanitizer keeps what is freed, up to 256 MiB, and the
// thread sanitizer keeps books about what is touched.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr qint64 MOST_GROWTH_MIB = 600;
#else
constexpr qint64 MOST_GROWTH_MIB = 250;
#endif

// Keeps the host busy until the server has seen so many requests, or for too long.
void beBusyUntilRequest(const RobustRun &run, int count)
{
    const QDeadlineTimer deadline(30000);
    while (run.requestCount() < count && !deadline.hasExpired())
        QThread::msleep(10);
}

} // namespace

// The server gives up a session that is not polled for five seconds.
void tst_SockJSRobustBusy::sessionLivesWhileTheHostIsBusy()
{
    Script script = POLLED_OPEN;
    QStringList texts;
    for (int i = 1; i <= 14; ++i) {
        const QByteArray number = QByteArray::number(i);
        script += {expectRequest(), pause(500), send(reply("a[\"" + number + "\"]\n"))};
        texts += QString::fromLatin1(number);
    }
    RobustRun run({script + Script{expectRequest()}});
    run.open();
    QVERIFY(run.waitForSession());
    QElapsedTimer busy;
    busy.start();
    beBusyUntilRequest(run, 16);
    QVERIFY(busy.elapsed() > 5000);
    QCOMPARE(run.requestCount(), 16);
    QTRY_COMPARE_WITH_TIMEOUT(run.texts(), texts, 1000);
    QVERIFY(run.connector.isConnected());
}

void tst_SockJSRobustBusy::serverWaitsForABusyHost_data()
{
    QTest::addColumn<QByteArray>("frame");
    QTest::newRow("large frames") << QByteArray("a[\"" + QByteArray(1000000, 'x') + "\"]\n");
    QTest::newRow("usual frames") << QByteArray("a[\"" + QByteArray(1000, 'x') + "\"]\n");
    QTest::newRow("small frames") << QByteArray("a[\"x\"]\n");
    QTest::newRow("heartbeats") << QByteArray("h\n");
}

void tst_SockJSRobustBusy::serverWaitsForABusyHost()
{
    QFETCH(QByteArray, frame);
    const int frames = 100 * 1024 * 1024 / frame.size();
    RobustRun run(
        {POLLED_OPEN
         + Script{expectRequest(), send(plain(frames * frame.size())), send(frame.repeated(frames))}
         + SAYS_GOODBYE});
    run.server.setDeadline(120000);
    run.open();
    QVERIFY(run.waitForSession());
    const qint64 before = residentMiB();
    QThread::msleep(3000);
    const qint64 grown = residentMiB() - before;
    QVERIFY2(grown < MOST_GROWTH_MIB, qPrintable(QString::number(grown)));
}

void tst_SockJSRobustBusy::everythingArrivesBehindAFullBacklog_data()
{
    addBothWays();
}

void tst_SockJSRobustBusy::everythingArrivesBehindAFullBacklog()
{
    QFETCH(bool, streaming);
    constexpr int FRAMES = 60;
    QByteArray body;
    for (int i = 0; i < FRAMES; ++i)
        body += "a[\"" + QByteArray::number(i) + QByteArray(1000000, ' ') + "\"]\n";
    RobustRun run({POLLED_OPEN + Script{expectRequest(), send(reply(body))} + SAYS_GOODBYE});
    run.open(streaming);
    QVERIFY(run.waitForSession());
    beBusyUntilRequest(run, 2);
    QThread::msleep(1000);
    QCOMPARE(run.requestCount(), 2);
    run.verifyGoodbye();
    QCOMPARE(run.messages.size(), FRAMES);
    for (int i = 0; i < FRAMES; ++i)
        QCOMPARE(run.messages.at(i).at(0).toString().trimmed(), QString::number(i));
}

void tst_SockJSRobustBusy::whatNobodyAskedForIsSeenBehindAFullBacklog()
{
    const QByteArray frame = "a[\"" + QByteArray(12 * 1000 * 1000, 'x') + "\"]\n";
    // The host is busy after the first pause, and takes no frame; after the second all have come.
    RobustRun run({POLLED_OPEN
                   + Script{expectRequest(), pause(2000), send(reply(frame.repeated(3))),
                            pause(2000), send(reply("a[\"y\"]\n"))}});
    run.open();
    QVERIFY(run.waitForSession());
    QVERIFY2(run.server.finished(), qPrintable(run.server.failure())); // no event of ours meanwhile
    QThread::msleep(2000); // the last of it has been sent, and comes
    run.verifyEnd(1006, u"The server sent what nobody had asked for"_s);
    QCOMPARE(run.texts().size(), 3);
}

QTEST_GUILESS_MAIN(tst_SockJSRobustBusy)
#include "tst_sockjsrobustbusy.moc"
