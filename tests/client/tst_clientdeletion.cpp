// A client that is deleted with a session, or while it begins one.

#include "client/SessionTest.h"

#include "support/LogCapture.h"

#include <QtCore/QTimer>
#include <QtNetwork/QTcpServer>

class tst_ClientDeletion : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void clientDeletedWhileStarting_data();
    void clientDeletedWhileStarting();
    void clientDeletedWhileCreating_data();
    void clientDeletedWhileCreating();
    void clientDeletedWhileTheChannelOpens();
    void channelDeletedWhileItOpens();

    void destructionStopsTheSession();
    void destructionOfACreatedSessionSendsNothing();
    void clientDeletedFromConnectionClosed();
    void clientWithASessionDeletedDuringAWait();
    void clientDeletedWhileItLogsOut();
    void parentDeletedWhileTheClientGoes();
    void clientDeletedThatWasToBeDeletedLater();
    void clientToBeDeletedLaterWhileItStopsItsSession();
    void clientToBeDeletedLaterWhenItsChannelCloses();
    void clientDeletedByItsParentStopsTheSession();
};

void tst_ClientDeletion::clientDeletedWhileStarting_data()
{
    QTest::addColumn<int>("answered");
    QTest::newRow("finding the collaboration server") << 0;
    QTest::newRow("reading the tenant's features") << 1;
    QTest::newRow("starting") << 2;
    QTest::newRow("joining") << 3;
}

void tst_ClientDeletion::clientDeletedWhileStarting()
{
    QFETCH(int, answered);
    createSession();
    const QVector<Operation> operations = startOperations(bus->url());
    expectAll(operations.mid(0, answered));
    service->expect(operations[answered].path, operations[answered].body).silence().meanwhile([&] {
        if (answered == 3) // the session runs already, so the destructor stops it
            expectStop();
        delete client;
    });
    QVERIFY(!openChannel());
    QVERIFY(client.isNull());
    QVERIFY(!channel);
}

void tst_ClientDeletion::clientDeletedWhileCreating_data()
{
    QTest::addColumn<int>("answered");
    QTest::newRow("asking for the user") << 0;
    QTest::newRow("signing in again") << 1;
    QTest::newRow("creating") << 2;
}

void tst_ClientDeletion::clientDeletedWhileCreating()
{
    QFETCH(int, answered);
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!login());

    const QVector<Operation> operations = {
        {USER, "{}", "{}"}, {LOGIN, ANN, SUCCESS}, {CREATE, "{}"}};
    expectAll(operations.mid(0, answered));
    service->expect(operations[answered].path, operations[answered].body).silence().meanwhile([&] {
        delete client;
    });
    QVERIFY(!create());
    QVERIFY(client.isNull());
}

void tst_ClientDeletion::clientDeletedWhileTheChannelOpens()
{
    QTcpServer silent; // takes the connection and never answers the handshake
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    createSession();
    expectAll(startOperations(localUrl(silent.serverPort())));
    connect(
        &silent, &QTcpServer::newConnection, client,
        [&] {
            expectStop();
            delete client;
        },
        Qt::QueuedConnection);
    QVERIFY(!openChannel());
    QVERIFY(client.isNull());
    QVERIFY(!channel);
}

void tst_ClientDeletion::channelDeletedWhileItOpens()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    createSession();
    expectAll(startOperations(localUrl(silent.serverPort())));
    connect(
        &silent, &QTcpServer::newConnection, client,
        [&] { delete client->findChild<PresenterCollab *>(); }, Qt::QueuedConnection);
    QVERIFY(!openChannel());
    QVERIFY(!channel);
    QCOMPARE(client->getSessionToken(), u"TOKEN"_s);
    expectStop();
    QVERIFY(client->doStopSession());
}

void tst_ClientDeletion::destructionStopsTheSession()
{
    startSession();
    expectStop();
    delete client;
    QVERIFY(channel.isNull());
    QTRY_VERIFY(!bus->hasConnection());
    QCOMPARE(bus->messages().size(), 4); // the last words of the channel arrived
}

void tst_ClientDeletion::destructionOfACreatedSessionSendsNothing()
{
    createSession();
    LogCapture log;
    delete client;
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to stop!"});
}

void tst_ClientDeletion::clientDeletedFromConnectionClosed()
{
    startSession();
    connect(channel.data(), &PresenterCollab::connectionClosed, this, [&] { delete client; });
    expectStop(); // by the destructor
    QVERIFY(!client->doStopSession());
    QVERIFY(client.isNull());
}

void tst_ClientDeletion::clientWithASessionDeletedDuringAWait()
{
    startSession();
    service->expect(LEARNERS, TOKEN_BODY).silence().meanwhile([&] {
        expectStop(); // waited for inside the wait for the learners
        delete client;
    });
    QVERIFY(!client->doGetLearners());
    QVERIFY(client.isNull());
    QVERIFY(channel.isNull());
}

void tst_ClientDeletion::clientDeletedWhileItLogsOut()
{
    startSession();
    expectStop();
    service->expect(LOGOUT, "{}").silence().meanwhile([&] { delete client; });
    QVERIFY(!client->doLogout());
    QVERIFY(client.isNull());
}

void tst_ClientDeletion::parentDeletedWhileTheClientGoes()
{
    auto *parent = new QObject;
    client->setParent(parent);
    startSession();
    expectStop().hold().meanwhile([&] {
        delete parent;
        service->release();
    });
    delete client;
    QVERIFY(client.isNull());
}

void tst_ClientDeletion::clientDeletedThatWasToBeDeletedLater()
{
    startSession();
    expectStop().hold().meanwhile([&] { service->release(); });
    client->deleteLater();
    delete client; // the wait inside must not carry out the other
    QVERIFY(client.isNull());
}

void tst_ClientDeletion::clientToBeDeletedLaterWhileItStopsItsSession()
{
    startSession();
    expectStop().hold().meanwhile([&] {
        client->deleteLater();
        QTimer::singleShot(50, service.get(), [this] { service->release(); });
    });
    delete client;
    QVERIFY(client.isNull());
}

void tst_ClientDeletion::clientToBeDeletedLaterWhenItsChannelCloses()
{
    startSession();
    connect(channel.data(), &PresenterCollab::connectionClosed, client.data(),
            &QObject::deleteLater);
    expectStop().hold().meanwhile(
        [&] { QTimer::singleShot(50, service.get(), [this] { service->release(); }); });
    delete client;
    QVERIFY(client.isNull());
}

void tst_ClientDeletion::clientDeletedByItsParentStopsTheSession()
{
    auto *parent = new QObject;
    client->setParent(parent);
    const QPointer<QObject> sibling = new QObject(parent);
    startSession();
    expectStop();
    delete parent;
    QVERIFY(client.isNull());
    QVERIFY(sibling.isNull());
}

QTEST_GUILESS_MAIN(tst_ClientDeletion)
#include "tst_clientdeletion.moc"
