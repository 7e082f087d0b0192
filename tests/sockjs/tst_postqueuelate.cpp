#include "Http.h"
#include "ScriptedFarEnd.h"
#include "sockjs/PostQueue.h"

#include <QtNetwork/QNetworkAccessManager>
#include <QtNetwork/QNetworkProxy>
#include <QtNetwork/QNetworkReply>

using namespace Scripted;

// What the queue hears of a post when the next one is under way already.
class tst_PostQueueLate : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answerOfThePostBeforeIsNoneToThisOne();
};

// The caller passes the reply on below the toolkit's own signal, so that the next post leaves before the queue
// has heard, from the event loop, how the answer came.
void tst_PostQueueLate::answerOfThePostBeforeIsNoneToThisOne()
{
    ScriptedFarEnd far({{expectRequest(), send(reply("ok")), expectRequest()}});
    QNetworkAccessManager manager;
    manager.setProxy(QNetworkProxy::NoProxy);
    PostQueue queue(&manager, PostQueue::robust(), nullptr);
    QSignalSpy silent(&queue, &PostQueue::silent);
    connect(&manager, &QNetworkAccessManager::finished, &queue, [&](QNetworkReply *reply) {
        reply->deleteLater();
        queue.replyFinished(reply);
        if (queue.isSending())
            queue.expectAnswer(300);
    });
    QNetworkRequest request(QUrl(u"http://127.0.0.1:%1/s"_s.arg(far.server.port())));
    request.setHeader(QNetworkRequest::ContentTypeHeader, u"text/plain"_s);
    queue.append(request, "first");
    queue.append(request, "second");
    QTRY_COMPARE(silent.size(), 1);
    QCOMPARE(silent.at(0).at(0).toInt(), 300);
    far.verifyScripts();
    queue.drop();
    QVERIFY(!queue.isSending());
}

QTEST_GUILESS_MAIN(tst_PostQueueLate)
#include "tst_postqueuelate.moc"
