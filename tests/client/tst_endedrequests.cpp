// Requests that the host ends, and connections that it drops.

#include "client/RequestTest.h"
#include "client/SessionTest.h"

#include "support/LogCapture.h"

#include <QtCore/QTimer>
#include <QtNetwork/QNetworkAccessManager>

#include <functional>

namespace
{

constexpr int PROMPTLY_MS = 2000;

} // namespace

class tst_EndedRequests : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void waitingOperationReturns_data();
    void waitingOperationReturns();
    void requestThatNobodyWaitsForFails();
    void nothingIsEndedWithoutARequest();
    void operationSendsNothingMore();
    void startStopsAtEveryStep_data();
    void startStopsAtEveryStep();
    void logoutStopsBehindTheStop();
    void operationsInsideEachOtherAllReturn();
    void replyThatHasComeIsHandled();
    void requestsCanBeEndedInEverySlot();
    void clientCanBeDeletedByWhatRunsThen();

    void nextRequestMakesANewConnection();
    void connectionsAreDroppedBelowAWait();
    void connectionsAreDroppedBelowAReplyThatIsHandled();
    void newConnectionsAreLikeTheOldOnes();
    void oldManagersGo();

private:
    // Ends what is open as soon as a request has come.
    std::function<void()> ending()
    {
        return [this] { client->abortRequests(); };
    }
    int managers() const { return client->findChildren<QNetworkAccessManager *>().size(); }
};

// ---- Ending requests ------------------------------------------------------------------------------

void tst_EndedRequests::waitingOperationReturns_data()
{
    QTest::addColumn<bool>("reset");
    QTest::newRow("requests ended") << false;
    QTest::newRow("connections dropped") << true;
}

void tst_EndedRequests::waitingOperationReturns()
{
    QFETCH(bool, reset);
    service->expect(LOGIN, ANN).silence().meanwhile([&] {
        if (reset)
            client->resetConnections();
        else
            client->abortRequests();
    });
    QElapsedTimer clock;
    clock.start();
    LogCapture log;
    QVERIFY(!login());
    QVERIFY2(clock.elapsed() < PROMPTLY_MS, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(!client->isLoggedIn());
    QCOMPARE(client->getLastReply().error, QNetworkReply::OperationCanceledError);
    QCOMPARE(client->getLastReply().errorText, u"Operation canceled"_s);
    QCOMPARE(log.count(u"ERROR: Operation canceled\nRESPONSE: "_s), 1);
    signIn();
}

void tst_EndedRequests::requestThatNobodyWaitsForFails()
{
    NotingClient noting(nullptr, service->url());
    const QUrl url(service->url(PATH));
    service->expect(PATH).silence();
    noting.doRequest(false, url, QByteArray(), NotingClient::SUCCESS_HANDLER,
                     NotingClient::FAILURE_HANDLER, false);
    QTRY_COMPARE(service->requests().size(), 1);
    QSignalSpy processed(&noting, &PresenterClient::requestProcessed);
    noting.abortRequests();
    QCOMPARE(noting.failed.size(), 0); // from the event loop, like all others
    QTRY_COMPARE(noting.failed.size(), 1);
    QCOMPARE(noting.error, QNetworkReply::OperationCanceledError);
    QCOMPARE(processed.size(), 1);
    noting.abortRequests();
    QTest::qWait(50);
    QCOMPARE(processed.size(), 1);
}

void tst_EndedRequests::nothingIsEndedWithoutARequest()
{
    client->abortRequests();
    client->resetConnections();
    signIn();
    client->abortRequests();
    service->expect(CHECK);
    QVERIFY(check());
}

void tst_EndedRequests::operationSendsNothingMore()
{
    signIn();
    service->expect(USER, "{}").silence().meanwhile(ending());
    QVERIFY(!create());
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    service->expect(CREATE, "{}").silence().meanwhile(ending());
    QVERIFY(!create());
    QVERIFY(client->getSessionCode().isNull());
}

void tst_EndedRequests::startStopsAtEveryStep_data()
{
    QTest::addColumn<int>("step");
    QTest::newRow("collaboration server") << 0;
    QTest::newRow("tenant's features") << 1;
    QTest::newRow("start") << 2;
    QTest::newRow("join") << 3;
}

void tst_EndedRequests::startStopsAtEveryStep()
{
    QFETCH(int, step);
    createSession();
    const QVector<Operation> start = startOperations(bus->url());
    expectAll(start.mid(0, step));
    service->expect(start[step].path, start[step].body).silence().meanwhile(ending());
    QVERIFY(!openChannel());
    QVERIFY(!channel);
    QVERIFY(!bus->connection());
    if (!client->getSessionToken().isNull())
        expectStop();
    client->doStopSession();
}

void tst_EndedRequests::logoutStopsBehindTheStop()
{
    startSession();
    expectStop().silence().meanwhile(ending());
    QVERIFY(!client->doLogout());
    QVERIFY(client->isLoggedIn());
}

void tst_EndedRequests::operationsInsideEachOtherAllReturn()
{
    QStringList results;
    service->expect(CHECK).silence().meanwhile([&] {
        service->expect(LOGIN, ANN).silence().meanwhile(ending());
        results.append(login() ? u"signed in"_s : u"not signed in"_s);
    });
    QElapsedTimer clock;
    clock.start();
    results.append(check() ? u"reached"_s : u"not reached"_s);
    QCOMPARE(results, (QStringList{u"not signed in"_s, u"not reached"_s}));
    QVERIFY2(clock.elapsed() < PROMPTLY_MS, qPrintable(QString::number(clock.elapsed())));
}

void tst_EndedRequests::replyThatHasComeIsHandled()
{
    // Directly below the toolkit's signal, when the reply is there and nothing else is open.
    connect(client->findChild<QNetworkAccessManager *>(), &QNetworkAccessManager::finished, this,
            ending());
    service->expect(CHECK);
    QVERIFY(check());
    QCOMPARE(client->getLastReply().error, QNetworkReply::NoError);
}

void tst_EndedRequests::requestsCanBeEndedInEverySlot()
{
    int processed = 0;
    connect(client.data(), &PresenterClient::requestProcessed, this, [&] {
        ++processed;
        client->abortRequests();
        client->resetConnections();
    });
    service->expect("/x").silence();
    ask("/x");
    QTRY_COMPARE(service->requests().size(), 1);
    signIn();
    QVERIFY(client->isLoggedIn()); // though another request was ended
    QTRY_COMPARE(processed, 2);
    service->expect(CHECK);
    QVERIFY(check());
}

void tst_EndedRequests::clientCanBeDeletedByWhatRunsThen()
{
    connect(client.data(), &PresenterClient::requestProcessed, this, [this] { delete client; });
    service->expect(CHECK).silence().meanwhile([this] { client->resetConnections(); });
    QVERIFY(!check());
    QVERIFY(!client);
}

// ---- Dropping connections -------------------------------------------------------------------------

void tst_EndedRequests::nextRequestMakesANewConnection()
{
    service->expect(CHECK);
    QVERIFY(check());
    QCOMPARE(service->openConnections(), 1);
    client->resetConnections();
    QTRY_COMPARE(service->openConnections(), 0);
    service->expect(CHECK);
    QVERIFY(check());
    QCOMPARE(service->openConnections(), 1);
}

void tst_EndedRequests::connectionsAreDroppedBelowAWait()
{
    service->expect("/x").silence();
    ask("/x");
    QTRY_COMPARE(service->requests().size(), 1);
    service->expect(LOGIN, ANN).silence().meanwhile([&] {
        client->resetConnections();
        QCOMPARE(managers(), 2); // replies of the old one have not been handled
    });
    QVERIFY(!login());
    QTRY_COMPARE(managers(), 1);
    service->expect(CHECK);
    QVERIFY(check());
}

// The reply whose slot runs belongs to a manager that is dropped meanwhile, in a wait further down.
void tst_EndedRequests::connectionsAreDroppedBelowAReplyThatIsHandled()
{
    NotingClient noting(nullptr, service->url());
    noting.whenSucceeding = [&] {
        service->expect(CHECK).silence().meanwhile([&] { noting.resetConnections(); });
        QVERIFY(!noting.checkServer(QString(), QString()));
        QTest::qWait(100); // for what is to be deleted
        QCOMPARE(noting.findChildren<QNetworkAccessManager *>().size(), 2);
    };
    service->expect(PATH);
    QVERIFY(noting.request());
    QTRY_COMPARE(noting.findChildren<QNetworkAccessManager *>().size(), 1);
}

void tst_EndedRequests::newConnectionsAreLikeTheOldOnes()
{
    service->expect(CHECK).status("200 OK", "{}", "Set-Cookie: SESSION=s1; Path=/\r\n");
    QVERIFY(check());
    client->resetConnections();
    service->expect(CHECK).status("401 Who", "", CHALLENGE);
    service->expect(CHECK);
    QVERIFY(client->checkServer(u"ann"_s, u"pw"_s));
    QCOMPARE(service->lastRequest().headerLines("cookie"), QList<QByteArray>{"Cookie: SESSION=s1"});
    QCOMPARE(service->lastRequest().headerLines("authorization"),
             QList<QByteArray>{"Authorization: Basic YW5uOnB3"});
    QCOMPARE(client->getCookies().size(), 1);
}

void tst_EndedRequests::oldManagersGo()
{
    for (int i = 0; i < 5; ++i) {
        service->expect(CHECK);
        QVERIFY(check());
        client->resetConnections();
    }
    QTRY_COMPARE(managers(), 1);
    client->resetConnections();
    delete client; // with an old one left
}

QTEST_GUILESS_MAIN(tst_EndedRequests)
#include "tst_endedrequests.moc"
