// Replies that the host deletes before the client has handled them.

#include "client/RequestTest.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>

class tst_DeletedReplies : public RequestTest
{
    Q_OBJECT

private Q_SLOTS:
    void replyThatIsDeletedBehindItsEndIsForgotten();
    void replyThatTheEndOfAnotherDeletesIsPassedOver();
};

namespace
{

// Deletes a reply from the event loop, before what else waits there.
class Deleter : public QObject
{
public:
    explicit Deleter(QNetworkReply *reply) : QObject(reply), m_reply(reply) { }
    void deleteFirst()
    {
        QCoreApplication::postEvent(this, new QEvent(QEvent::User), Qt::HighEventPriority);
    }

protected:
    bool event(QEvent *event) override
    {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        setParent(nullptr);
        delete m_reply;
        deleteLater();
        return true;
    }

private:
    QNetworkReply *const m_reply;
};

} // namespace

void tst_DeletedReplies::replyThatIsDeletedBehindItsEndIsForgotten()
{
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    bool hasEnded = false;
    service->expect(PATH).hold().meanwhile([&] {
        auto *reply = client->findChild<QNetworkReply *>();
        auto *deleter = new Deleter(reply);
        connect(reply, &QNetworkReply::finished, deleter, [&hasEnded, deleter] {
            hasEnded = true;
            deleter->deleteFirst();
        });
        service->release();
    });
    QVERIFY(!client->request());
    QVERIFY(hasEnded);
    QVERIFY(client->failed.isEmpty());
    QCOMPARE(processed.size(), 0);
    service->expect(PATH);
    QVERIFY(client->request());
    QCOMPARE(processed.size(), 1);
}

void tst_DeletedReplies::replyThatTheEndOfAnotherDeletesIsPassedOver()
{
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    service->expect(PATH).silence();
    service->expect(PATH).silence();
    ask(PATH);
    ask(PATH);
    QTRY_COMPARE(service->requests().size(), 2);
    const QList<QNetworkReply *> replies = client->findChildren<QNetworkReply *>();
    QCOMPARE(replies.size(), 2);
    QPointer<QNetworkReply> first(replies.at(0));
    QPointer<QNetworkReply> second(replies.at(1));
    connect(first, &QNetworkReply::finished, this, [=] { delete second; });
    connect(second, &QNetworkReply::finished, this, [=] { delete first; });
    client->abortRequests();
    QCOMPARE(first.isNull() + second.isNull(), 1);
    QTRY_COMPARE(processed.size(), 1);
    QTRY_VERIFY(client->findChildren<QNetworkReply *>().isEmpty());
    service->expect(PATH);
    QVERIFY(client->request());
}

QTEST_GUILESS_MAIN(tst_DeletedReplies)
#include "tst_deletedreplies.moc"
