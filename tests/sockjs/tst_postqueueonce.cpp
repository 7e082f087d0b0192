#include "Posts.h"

#include <chrono>
#include <future>

Q_DECLARE_METATYPE(Scripted::Step)

using namespace Scripted;

// Posts that must not be posted twice, to servers that end connections without an answer, and what ends
// the posts and their connection.
class tst_PostQueueOnce : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void postIsNotRepeated_data();
    void postIsNotRepeated();
    void connectionThatHasEndedIsReplaced();
    void postIsTheSameOnTheWire_data();
    void postIsTheSameOnTheWire();
    void slowPostIsGivenUp_data();
    void slowPostIsGivenUp();
    void idleConnectionIsDropped();
    void nextPostPutsOffTheDrop();
    void connectionIsKeptByDefault();
    void droppedQueueSendsNothingMore();
    void droppedQueueWithoutPostsIsSilent();
    void queueGoesOnAfterADrop();

private:
    TestCertificates m_certificates;
};

namespace
{

const QByteArray LOST = "[\n    \"lost\"\n]\n";
const QByteArray NEXT = "[\n    \"next\"\n]\n";

PostQueue::Limits robust(int patienceMs, int longestMs, int idleMs)
{
    PostQueue::Limits limits = PostQueue::robust();
    limits.patienceMs = patienceMs;
    limits.longestMs = longestMs;
    limits.idleMs = idleMs;
    return limits;
}

// When the server's scripts have run to their ends, by the clock.
qint64 endOfScripts(const QElapsedTimer &clock, Posts &posts)
{
    std::future<qint64> end = std::async(std::launch::async, [&] {
        posts.server.finished();
        return clock.elapsed();
    });
    const auto isKnown = [&] {
        return end.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };
    return QTest::qWaitFor(isKnown, 30000) ? end.get() : -1;
}

} // namespace

void tst_PostQueueOnce::postIsNotRepeated_data()
{
    QTest::addColumn<bool>("tls");
    QTest::addColumn<Script>("script");
    QTest::addColumn<QByteArray>("message");

    const QByteArray large = "[\n    \"" + QByteArray(4000000, 'x') + "\"\n]\n";
    const Script first{expectRequest()};
    const Script kept{expectRequest(), send(NO_CONTENT), expectRequest()};
    const Script half{expectMatch("xxx")};
    for (const bool tls : {false, true}) {
        const QByteArray over = tls ? "TLS, " : "TCP, ";
        const auto add = [&](const QByteArray &name, const Script &script,
                             const QByteArray &message) {
            QTest::newRow((over + name).constData()) << tls << script << message;
        };
        add("first, closed", first + Script{close()}, LOST);
        add("first, reset", first + Script{Scripted::abort()}, LOST);
        add("first, cut off", first + Script{send("HTTP/1.1 2"), close()}, LOST);
        add("first, empty", first + Script{close()}, "");
        add("first, large", first + Script{close()}, large);
        add("kept, closed", kept + Script{close()}, LOST);
        add("kept, reset", kept + Script{Scripted::abort()}, LOST);
        add("kept, large", kept + Script{Scripted::abort()}, large);
        add("half read, closed", half + Script{close()}, large);
        add("half read, reset", half + Script{Scripted::abort()}, large);
    }
}

void tst_PostQueueOnce::postIsNotRepeated()
{
    QFETCH(bool, tls);
    QFETCH(Script, script);
    QFETCH(QByteArray, message);
    m_certificates.trust();
    const TestCertificates::Identity identity = m_certificates.issue(u"localhost"_s);
    Posts posts({script}, PostQueue::robust(), tls ? &identity : nullptr);
    posts.server.onEveryOther({expectRequest(), send(NO_CONTENT)});
    const bool isKept = script.size() > 3;
    if (isKept)
        posts.send("kept");
    QTRY_VERIFY_WITH_TIMEOUT(!posts->isSending(), 20000);
    posts.send(message);
    QTRY_VERIFY_WITH_TIMEOUT(!posts->isSending(), 20000);
    QVERIFY(posts.errors.last() != QNetworkReply::NoError);
    posts.send(NEXT);
    QTRY_VERIFY_WITH_TIMEOUT(!posts->isSending(), 20000);
    QCOMPARE(posts.errors.last(), QNetworkReply::NoError);
    QCOMPARE(posts.server.connectionCount(), 2);
    QCOMPARE(posts.server.received(0).count("POST "), isKept ? 2 : 1);
    QCOMPARE(posts.server.requests(1).size(), 1);
    QCOMPARE(bodyOf(posts.server.requests(1).first()), NEXT);
    QCOMPARE(posts.log.messages(), QStringList());
}

void tst_PostQueueOnce::connectionThatHasEndedIsReplaced()
{
    Posts posts({{expectRequest(), send(NO_CONTENT), close()}}, PostQueue::robust());
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QVERIFY2(posts.server.finished(), qPrintable(posts.server.failure())); // both ends are closed
    posts.server.onConnection({expectRequest(), send(NO_CONTENT)});
    posts.send(NEXT);
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 2, 20000);
    QCOMPARE(posts.errors, ANSWERED + ANSWERED);
    QCOMPARE(posts.server.requests(1).size(), 1);
}

void tst_PostQueueOnce::postIsTheSameOnTheWire_data()
{
    QTest::addColumn<QByteArray>("message");
    QTest::newRow("usual") << LOST;
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("zero bytes") << QByteArray("a\0b\0", 4);
    QTest::newRow("a buffer of the toolkit's") << QByteArray(16384, 'x');
    QTest::newRow("and one byte") << QByteArray(16385, 'x');
    QTest::newRow("large") << QByteArray(3000000, 'x');
}

void tst_PostQueueOnce::postIsTheSameOnTheWire()
{
    QFETCH(QByteArray, message);
    Posts posts{{expectRequest(), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)}};
    posts.send(message);
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    posts->setLimits(PostQueue::robust());
    posts.send(message);
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 2, 20000);
    const QList<QByteArray> requests = posts.server.requests(0);
    QCOMPARE(headerOf(requests.at(0), "Content-Length"), QByteArray::number(message.size()));
    QVERIFY(bodyOf(requests.at(0)) == message);
    QVERIFY(requests.at(1) == requests.at(0));
    QCOMPARE(posts.server.received(0).size(), 2 * requests.at(0).size());
    QCOMPARE(posts.log.messages(), QStringList());
}

void tst_PostQueueOnce::slowPostIsGivenUp_data()
{
    QTest::addColumn<int>("patienceMs");
    QTest::addColumn<int>("longestMs");
    QTest::addColumn<Script>("script");
    QTest::newRow("no progress") << 600 << 60000 << Script{expectRequest(), expectEnd()};
    QTest::newRow("too long in all") << 60000 << 600 << trickle(50, 100);
}

void tst_PostQueueOnce::slowPostIsGivenUp()
{
    QFETCH(int, patienceMs);
    QFETCH(int, longestMs);
    QFETCH(Script, script);
    Posts posts({script, {expectRequest(), send(NO_CONTENT)}},
                robust(patienceMs, longestMs, 60000));
    QElapsedTimer clock;
    clock.start();
    posts.send(LOST);
    posts.send(NEXT);
    QTRY_COMPARE_WITH_TIMEOUT(posts.bodies(), (QList<QByteArray>{LOST, NEXT}), 20000);
    QVERIFY2(clock.elapsed() >= 550 && clock.elapsed() < 4000,
             qPrintable(QString::number(clock.elapsed())));
    QTRY_COMPARE_WITH_TIMEOUT(posts.errors, GIVEN_UP + ANSWERED, 20000);
}

void tst_PostQueueOnce::idleConnectionIsDropped()
{
    Posts posts({{expectRequest(), send(NO_CONTENT), expectEnd()}}, PostQueue::robust());
    QElapsedTimer clock;
    connect(posts.operator->(), &PostQueue::drained, [&] { clock.start(); });
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    const qint64 end = endOfScripts(clock, posts);
    QVERIFY2(end >= 2980 && end < 6000, qPrintable(QString::number(end)));
    posts.server.onConnection({expectRequest(), send(NO_CONTENT)});
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 2, 20000);
    QCOMPARE(posts.errors, ANSWERED + ANSWERED);
    QCOMPARE(posts.server.connectionCount(), 2);
    QCOMPARE(posts.log.messages(), QStringList());
}

void tst_PostQueueOnce::nextPostPutsOffTheDrop()
{
    Posts posts({{expectRequest(), send(NO_CONTENT), expectRequest(), pause(1500), send(NO_CONTENT),
                  expectEnd()}},
                robust(60000, 60000, 500));
    QElapsedTimer clock;
    connect(posts.operator->(), &PostQueue::drained, [&] { clock.start(); });
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 2, 20000);
    QCOMPARE(posts.errors, ANSWERED + ANSWERED);
    const qint64 end = endOfScripts(clock, posts);
    QVERIFY2(end >= 480 && end < 4000, qPrintable(QString::number(end)));
}

void tst_PostQueueOnce::connectionIsKeptByDefault()
{
    Posts posts({{expectRequest(), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)}},
                robust(60000, 60000, 300));
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    posts->setLimits(PostQueue::Limits());
    QTest::qWait(1000); // for a drop that must not come
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 2, 20000);
    QCOMPARE(posts.server.connectionCount(), 1);
}

void tst_PostQueueOnce::droppedQueueSendsNothingMore()
{
    Posts posts({{expectRequest(), expectEnd()}}, PostQueue::robust());
    posts.send("under way");
    posts.send("waiting");
    QTRY_COMPARE_WITH_TIMEOUT(posts.bodies().size(), 1, 20000);
    posts->drop();
    posts.send("late");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    posts.send("later");
    QVERIFY(!posts->isSending());
    QVERIFY2(posts.server.finished(), qPrintable(posts.server.failure()));
    QCOMPARE(posts.errors, GIVEN_UP);
    QCOMPARE(posts.bodies(), QList<QByteArray>{"under way"});
    QCOMPARE(posts.server.connectionCount(), 1);
    QCOMPARE(posts.lost, QStringList());
}

void tst_PostQueueOnce::droppedQueueWithoutPostsIsSilent()
{
    Posts posts({}, PostQueue::robust());
    posts->drop();
    posts.send("late");
    QVERIFY(!posts->isSending());
    QVERIFY(posts.drained.isEmpty());
    QCOMPARE(posts.lost, QStringList());
}

void tst_PostQueueOnce::queueGoesOnAfterADrop()
{
    Posts posts({{expectRequest(), expectEnd()}, {expectRequest(), send(NO_CONTENT)}},
                PostQueue::robust());
    posts.send("under way");
    QTRY_COMPARE_WITH_TIMEOUT(posts.bodies().size(), 1, 20000);
    posts->drop();
    posts->goOn();
    posts.send("next");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, GIVEN_UP + ANSWERED);
    QCOMPARE(posts.bodies(), (QList<QByteArray>{"under way", "next"}));
}

QTEST_GUILESS_MAIN(tst_PostQueueOnce)
#include "tst_postqueueonce.moc"
