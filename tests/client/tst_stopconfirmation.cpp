// Whether the service has confirmed that a session has ended.

#include "client/SessionTest.h"

#include <QtNetwork/QNetworkAccessManager>

class tst_StopConfirmation : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void stopIsConfirmedByTheServicesReply();
    void stopIsNotConfirmedOtherwise_data();
    void stopIsNotConfirmedOtherwise();
    void redirectedStopIsNotConfirmed_data();
    void redirectedStopIsNotConfirmed();
    void unansweredStopIsNotConfirmed();
    void endedStopIsNotConfirmed();
    void everyStopBeginsUnconfirmed();
    void confirmationIsSeenWhenTheReplyIsHandled();
    void destructorsStopIsConfirmedToo();
};

void tst_StopConfirmation::stopIsConfirmedByTheServicesReply()
{
    startSession();
    QVERIFY(!client->wasStopConfirmed());
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(client->wasStopConfirmed());
}

void tst_StopConfirmation::stopIsNotConfirmedOtherwise_data()
{
    addReplyColumns();
    addReply("error status", "500 Broken", "{}");
    addReply("error key", "200 OK", REFUSED);
    addReply("error status and key", "403 No", REFUSED);
}

void tst_StopConfirmation::stopIsNotConfirmedOtherwise()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    startSession();
    expectStop().status(status, reply);
    QVERIFY(client->doStopSession());
    QVERIFY(!client->wasStopConfirmed());
}

void tst_StopConfirmation::redirectedStopIsNotConfirmed_data()
{
    QTest::addColumn<QString>("location");
    QTest::newRow("followed") << u"http://127.0.0.1:1/"_s;
    QTest::newRow("not followed") << u"/login"_s;
}

void tst_StopConfirmation::redirectedStopIsNotConfirmed()
{
    QFETCH(QString, location);
    startSession();
    expectStop().redirect(location, "{}");
    QVERIFY(client->doStopSession());
    QVERIFY(!client->wasStopConfirmed());
}

void tst_StopConfirmation::unansweredStopIsNotConfirmed()
{
    startSession();
    client->setRequestTimeout(300);
    expectStop().silence();
    QVERIFY(client->doStopSession());
    QVERIFY(!client->wasStopConfirmed());
}

void tst_StopConfirmation::endedStopIsNotConfirmed()
{
    startSession();
    expectStop().silence().meanwhile([this] { client->abortRequests(); });
    QVERIFY(client->doStopSession());
    QVERIFY(!client->wasStopConfirmed());
    QCOMPARE(client->getLastReply().error, QNetworkReply::OperationCanceledError);
}

void tst_StopConfirmation::everyStopBeginsUnconfirmed()
{
    startSession();
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(client->wasStopConfirmed());
    QVERIFY(!client->doStopSession());
    QVERIFY(!client->wasStopConfirmed());

    bus->clear();
    startSession();
    expectStop();
    QVERIFY(client->doStopSession());
    bus->clear();
    startSession();
    bool before = true;
    connect(channel.data(), &PresenterCollab::connectionClosed, this,
            [&] { before = client->wasStopConfirmed(); });
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(!before);
    QVERIFY(client->wasStopConfirmed());
}

void tst_StopConfirmation::confirmationIsSeenWhenTheReplyIsHandled()
{
    startSession();
    QList<bool> seen;
    connect(client.data(), &PresenterClient::requestProcessed, this,
            [&] { seen.append(client->wasStopConfirmed()); });
    expectStop();
    QVERIFY(client->doStopSession());
    QCOMPARE(seen, QList<bool>{true});
}

// It emits nothing; but the network manager goes last, while the client can still be asked.
void tst_StopConfirmation::destructorsStopIsConfirmedToo()
{
    startSession();
    QList<bool> seen;
    const auto look = [this, &seen] { seen.append(client->wasStopConfirmed()); };
    expectStop().hold().meanwhile([this, look] {
        look();
        service->release();
    });
    connect(client->findChild<QNetworkAccessManager *>(), &QObject::destroyed, this, look);
    delete client;
    QCOMPARE(seen, (QList<bool>{false, true}));
}

QTEST_GUILESS_MAIN(tst_StopConfirmation)
#include "tst_stopconfirmation.moc"
