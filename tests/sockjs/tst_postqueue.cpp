#include "sockjs/PostQueue.h"
#include "support/ScriptedServer.h"
#include "support/Text.h"

#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QNetworkReply>
#include <QtTest/QtTest>

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

const QByteArray NO_CONTENT = reply("", "204 No Content");

// A queue for one server, with what it reports.
class Posts
{
public:
    explicit Posts(const PostQueue::Limits &limits = {})
        : m_queue(&m_manager, limits, nullptr), progressed(&m_queue, &PostQueue::progressed),
          drained(&m_queue, &PostQueue::drained)
    {
        m_manager.setProxy(QNetworkProxy::NoProxy);
        QObject::connect(
            &m_manager, &QNetworkAccessManager::finished, &m_queue,
            [this](QNetworkReply *reply) {
                errors.append(reply->error());
                reply->deleteLater();
                m_queue.replyFinished(reply);
            },
            Qt::QueuedConnection);
        QObject::connect(&m_queue, &PostQueue::lost,
                         [this](const QString &reason) { lost.append(reason); });
    }

    void send(const ScriptedServer &server, const QByteArray &message)
    {
        QNetworkRequest request(QUrl(u"http://127.0.0.1:%1/s"_s.arg(server.port())));
        request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
        m_queue.append(request, message);
    }
    PostQueue *operator->() { return &m_queue; }

private:
    QNetworkAccessManager m_manager;
    PostQueue m_queue;

public:
    QSignalSpy progressed;
    QSignalSpy drained;
    QList<QNetworkReply::NetworkError> errors;
    QStringList lost;
};

PostQueue::Limits limits(int patienceMs, int longestMs, int remainingMs)
{
    PostQueue::Limits limits;
    limits.patienceMs = patienceMs;
    limits.longestMs = longestMs;
    limits.remainingMs = remainingMs;
    return limits;
}

// An answer whose body comes byte by byte, with so long a pause before each.
Script trickle(int bytes, int pauseMs)
{
    Script script{
        expectRequest(),
        send("HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(bytes) + "\r\n\r\n")};
    for (int i = 0; i < bytes; ++i)
        script << pause(pauseMs) << send("x");
    return script;
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
    ScriptedServer server;
    server.onConnection(
        {expectRequest(), pause(200), send(NO_CONTENT), expectRequest(), send(NO_CONTENT)});
    QVERIFY(server.listen());
    Posts posts;
    QVERIFY(!posts->isSending());
    posts.send(server, "first");
    posts.send(server, "second");
    QVERIFY(posts->isSending());
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QVERIFY(!posts->isSending());
    QVERIFY(server.requests(0).at(0).endsWith("first"));
    QVERIFY(server.requests(0).at(1).endsWith("second"));
    QVERIFY2(server.finished(), qPrintable(server.failure()));
    QVERIFY(!posts.progressed.isEmpty());
    QCOMPARE(posts.lost, QStringList());
}

void tst_PostQueue::postWithoutProgressIsGivenUp()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), expectEnd()});
    server.onConnection({expectRequest(), send(NO_CONTENT)});
    QVERIFY(server.listen());
    Posts posts(limits(500, 60000, 60000));
    posts.send(server, "given up");
    posts.send(server, "next");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors,
             (QList<QNetworkReply::NetworkError>{QNetworkReply::OperationCanceledError,
                                                 QNetworkReply::NoError}));
    QVERIFY(server.requests(1).at(0).endsWith("next"));
}

void tst_PostQueue::progressKeepsAPostGoing()
{
    ScriptedServer server;
    server.onConnection(trickle(8, 400));
    QVERIFY(server.listen());
    Posts posts(limits(1500, 60000, 60000));
    posts.send(server, "x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, QList<QNetworkReply::NetworkError>{QNetworkReply::NoError});
    QVERIFY(posts.progressed.size() >= 8);
}

void tst_PostQueue::postIsGivenUpWhenItTakesTooLongInAll()
{
    ScriptedServer server;
    server.onConnection(trickle(50, 200));
    QVERIFY(server.listen());
    Posts posts(limits(60000, 1000, 60000));
    QElapsedTimer clock;
    clock.start();
    posts.send(server, "x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QVERIFY2(clock.elapsed() >= 950 && clock.elapsed() < 8000,
             qPrintable(QString::number(clock.elapsed())));
    QCOMPARE(posts.errors,
             QList<QNetworkReply::NetworkError>{QNetworkReply::OperationCanceledError});
}

void tst_PostQueue::whatIsLeftHasALimitInAll()
{
    ScriptedServer server;
    server.onEveryOther({expectRequest(), expectEnd()});
    QVERIFY(server.listen());
    Posts posts(limits(400, 60000, 1000));
    for (int i = 0; i < 10; ++i)
        posts.send(server, "x");
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
    ScriptedServer server;
    server.onEveryOther({expectRequest(), expectEnd()});
    QVERIFY(server.listen());
    Posts posts(limits(60000, 60000, 500));
    posts->finish();
    posts.send(server, "x");
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors,
             QList<QNetworkReply::NetworkError>{QNetworkReply::OperationCanceledError});
}

void tst_PostQueue::limitForWhatIsLeftIsTakenBack()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), pause(1200), send(NO_CONTENT)});
    QVERIFY(server.listen());
    Posts posts(limits(60000, 60000, 400));
    posts.send(server, "x");
    posts->finish();
    posts->goOn();
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(posts.errors, QList<QNetworkReply::NetworkError>{QNetworkReply::NoError});
}

void tst_PostQueue::whatWaitsIsBounded()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), pause(300), send(NO_CONTENT), expectRequest(),
                         send(NO_CONTENT), expectRequest(), send(NO_CONTENT)});
    QVERIFY(server.listen());
    PostQueue::Limits limits;
    limits.waitingBytes = 10;
    Posts posts(limits);
    posts.send(server, "under way");
    posts.send(server, "12345");
    posts.send(server, "67890");
    posts.send(server, "x");
    QCOMPARE(posts.lost, QStringList{"Too much waits to be sent, 1 bytes are dropped"});
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
    QCOMPARE(server.requests(0).size(), 3);
    posts.send(server, "12345678901"); // more than may wait, ever
    QCOMPARE(posts.lost.size(), 2);
    QVERIFY(!posts->isSending());
}

void tst_PostQueue::foreignRepliesAreNotItsOwn()
{
    ScriptedServer server;
    server.onConnection({expectRequest(), pause(300), send(NO_CONTENT)});
    QVERIFY(server.listen());
    Posts posts;
    posts->replyFinished(nullptr);
    posts.send(server, "x");
    QNetworkAccessManager manager;
    std::unique_ptr<QNetworkReply> foreign(
        manager.get(QNetworkRequest(QUrl(u"http://127.0.0.1:1/"_s))));
    posts->replyFinished(foreign.get());
    QVERIFY(posts->isSending());
    QTRY_COMPARE_WITH_TIMEOUT(posts.drained.size(), 1, 20000);
}

QTEST_GUILESS_MAIN(tst_PostQueue)
#include "tst_postqueue.moc"
