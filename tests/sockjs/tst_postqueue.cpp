#include "Posts.h"

using namespace Scripted;

// Posts that leave one after another, to servers that answer, stall and trickle.
class tst_PostQueue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void limitsOfATransport();
    void postsLeaveOneAfterAnother();
    void postWithoutProgressIsGivenUp();
    void progressKeepsAPostGoing();
    void postIsGivenUpWhenItTakesTooLongInAll();
    void whatIsLeftHasALimitInAll();
    void limitForWhatIsLeftHoldsForLatecomers();
    void limitForWhatIsLeftIsTakenBack();
    void whatWaitsIsBounded();
    void foreignRepliesAreNotItsOwn();
};

namespace
{

PostQueue::Limits limits(int patienceMs, int longestMs, int remainingMs)
{
    PostQueue::Limits limits;
    limits.patienceMs = patienceMs;
    limits.longestMs = longestMs;
    limits.remainingMs = remainingMs;
    return limits;
}

} // namespace

void tst_PostQueue::limitsOfATransport()
{
    const PostQueue::Limits limits;
    QCOMPARE(limits.patienceMs, 30000);
    QCOMPARE(limits.longestMs, 120000);
    QCOMPARE(limits.remainingMs, 30000);
    QCOMPARE(limits.waitingBytes, qint64(67108864));
}

void tst_PostQueue::postsLeaveOneAfterAnother()
{
    Posts posts{{expectRequest(), pause(200), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)}};
    QVERIFY(!posts->isSending());
    posts.send("first");
    posts.send("second");
    QVERIFY(posts->isSending());
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QVERIFY(!posts->isSending());
    QVERIFY(posts.server.requests(0).at(0).endsWith("first"));
    QVERIFY(posts.server.requests(0).at(1).endsWith("second"));
    QVERIFY(!posts.progressed.isEmpty());
    QCOMPARE(posts.lost, QStringList());
}

void tst_PostQueue::postWithoutProgressIsGivenUp()
{
    Posts posts({{expectRequest(), expectEnd()}, {expectRequest(), send(NO_CONTENT)}},
                limits(500, 60000, 60000));
    posts.send("given up");
    posts.send("next");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, GIVEN_UP + ANSWERED);
    QVERIFY(posts.server.requests(1).at(0).endsWith("next"));
}

void tst_PostQueue::progressKeepsAPostGoing()
{
    Posts posts({trickle(8, 400)}, limits(1500, 60000, 60000));
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, ANSWERED);
    QVERIFY(posts.progressed.size() >= 8);
}

void tst_PostQueue::postIsGivenUpWhenItTakesTooLongInAll()
{
    Posts posts({trickle(50, 200)}, limits(60000, 1000, 60000));
    QElapsedTimer clock;
    clock.start();
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QVERIFY2(clock.elapsed() >= 950 && clock.elapsed() < 8000,
             qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(posts.errors, GIVEN_UP);
}

void tst_PostQueue::whatIsLeftHasALimitInAll()
{
    Posts posts({}, limits(400, 60000, 1000));
    posts.server.onEveryOther({expectRequest(), expectEnd()});
    for (int i = 0; i < 10; ++i)
        posts.send("x");
    QElapsedTimer clock;
    clock.start();
    posts->finish();
    posts->finish(); // which does not start anew
    QTRY_VERIFY_WITH_TIMEOUT(!posts->isSending(), 20000);
    QVERIFY2(clock.elapsed() >= 950 && clock.elapsed() < 3500,
             qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(posts.lost.size(), 1);
    const int given = posts.errors.size();
    QCOMPARE(posts.lost.first(), u"%1 messages were not sent in time"_s.arg(10 - given));
    QCOMPARE(posts.drained.size(), 1);
}

void tst_PostQueue::limitForWhatIsLeftHoldsForLatecomers()
{
    Posts posts({}, limits(60000, 60000, 500));
    posts.server.onEveryOther({expectRequest(), expectEnd()});
    posts->finish();
    posts.send("x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, GIVEN_UP);
}

void tst_PostQueue::limitForWhatIsLeftIsTakenBack()
{
    Posts posts({{expectRequest(), pause(1200), send(NO_CONTENT)}}, limits(60000, 60000, 400));
    posts.send("x");
    posts->finish();
    posts->goOn();
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, ANSWERED);
}

void tst_PostQueue::whatWaitsIsBounded()
{
    PostQueue::Limits limits;
    limits.waitingBytes = 10;
    Posts posts({{expectRequest(), pause(300), send(NO_CONTENT), expectRequest(), send(NO_CONTENT),
                  expectRequest(), send(NO_CONTENT)}},
                limits);
    posts.send("under way");
    posts.send("12345");
    posts.send("67890");
    posts.send("x");
    QCOMPARE(posts.lost, QStringList{"Too much waits to be sent, 1 bytes are dropped"});
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.server.requests(0).size(), 3);
    posts.send("12345678901"); // more than may wait, ever
    QCOMPARE(posts.lost.size(), 2);
    QVERIFY(!posts->isSending());
}

void tst_PostQueue::foreignRepliesAreNotItsOwn()
{
    Posts posts{{expectRequest(), pause(300), send(NO_CONTENT)}};
    posts->replyFinished(nullptr);
    posts.drained.clear(); // nothing was there to be drained
    posts.send("x");
    posts->replyFinished(nullptr);
    QNetworkAccessManager manager;
    std::unique_ptr<QNetworkReply> foreign(
        manager.get(QNetworkRequest(QUrl(u"http://127.0.0.1:1/"_s))));
    posts->replyFinished(foreign.get());
    QVERIFY(posts->isSending());
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, ANSWERED);
}

QTEST_GUILESS_MAIN(tst_PostQueue)
#include "tst_postqueue.moc"
