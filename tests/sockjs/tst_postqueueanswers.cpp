#include "Posts.h"

#include <QtNetwork/QTcpServer>
#include <QtNetwork/QTcpSocket>

using namespace Scripted;

// Waiting for a sign of the far end's life: what counts as one, and what does not.
class tst_PostQueueAnswers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void postThatGoesOutSlowlyIsWaitedFor();
    void waitWithoutAPostEnds();
    void failedPostIsToldAsSuch();
    void whatIsDroppedIsNotWaitedFor();
};

namespace
{

// Takes a post slowly, and nothing any more once it is told to stop. On the test's event loop.
class SlowServer
{
public:
    SlowServer()
    {
        QObject::connect(&m_server, &QTcpServer::newConnection, &m_server, [this] {
            QTcpSocket *client = m_server.nextPendingConnection();
            client->setReadBufferSize(CHUNK_BYTES);
            QObject::connect(&m_timer, &QTimer::timeout, client,
                             [this, client] { taken += client->read(CHUNK_BYTES).size(); });
        });
        m_timer.start(10);
        m_server.listen(QHostAddress::LocalHost);
    }
    quint16 port() const { return m_server.serverPort(); }
    void stop() { m_timer.stop(); }

    qint64 taken = 0;

private:
    static constexpr qint64 CHUNK_BYTES = 64LL * 1024;

    QTimer m_timer;
    QTcpServer m_server;
};

} // namespace

// Its beginning disappears in the system's buffers; the rest goes out as the server takes it.
void tst_PostQueueAnswers::postThatGoesOutSlowlyIsWaitedFor()
{
    SlowServer server;
    QNetworkAccessManager manager;
    PostQueue queue(&manager, PostQueue::Limits(), nullptr);
    QSignalSpy silent(&queue, &PostQueue::silent);
    QNetworkRequest request(QUrl(u"http://127.0.0.1:%1/s"_s.arg(server.port())));
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
    queue.append(request, QByteArray(48 * 1024 * 1024, 'x'));
    queue.expectAnswer(2000);
    QTest::qWait(5000);
    QVERIFY(server.taken > 0);
    QCOMPARE(silent.size(), 0);
    server.stop();
    QTRY_COMPARE_WITH_TIMEOUT(silent, QList<QVariantList>{{2000}}, 20000);
}

void tst_PostQueueAnswers::waitWithoutAPostEnds()
{
    Posts posts{};
    QSignalSpy silent(posts.operator->(), &PostQueue::silent);
    posts->expectAnswer(100);
    QTRY_COMPARE(silent, QList<QVariantList>{{100}});
}

void tst_PostQueueAnswers::failedPostIsToldAsSuch()
{
    Posts posts{{expectRequest(), pause(100), close()}};
    QSignalSpy silent(posts.operator->(), &PostQueue::silent);
    posts->setLimits(PostQueue::robust());
    posts.send("x");
    posts->expectAnswer(400);
    QTRY_COMPARE(posts.errors.size(), 1);
    QTest::qWait(800);
    QCOMPARE(silent.size(), 0);
}

void tst_PostQueueAnswers::whatIsDroppedIsNotWaitedFor()
{
    for (void (PostQueue::*end)() : {&PostQueue::drop, &PostQueue::finish, &PostQueue::goOn}) {
        Posts posts{};
        QSignalSpy silent(posts.operator->(), &PostQueue::silent);
        posts->expectAnswer(100);
        (posts.operator->()->*end)();
        QTest::qWait(400);
        QCOMPARE(silent.size(), 0);
    }
}

QTEST_GUILESS_MAIN(tst_PostQueueAnswers)
#include "tst_postqueueanswers.moc"
