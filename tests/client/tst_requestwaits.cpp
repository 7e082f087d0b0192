// What may happen while an operation waits: the host's events, other operations, the client's end.

#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/RestService.h"
#include "support/LogCapture.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtNetwork/QNetworkAccessManager>
#include <QtTest/QtTest>

#include <functional>

namespace
{

// A wait that ends by itself takes 10 s; all that is ended otherwise must be well below.
constexpr int AT_ONCE_MS = 8000;

const QByteArray USER = "/vantora/login/user";
const QByteArray CHECK = "/vantora";
const QByteArray KEEP_ALIVE = "/vantora/login/keepSessionAlive";
const QByteArray SIGNED_IN = R"({"data":{"userLoginId":"ann"}})";

using Operation = std::function<bool(PresenterClient *)>;

void keepAlive(PresenterClient *client)
{
    QMetaObject::invokeMethod(client, "onPingTimer");
}

// Deletes itself in the handler of its reply.
class SelfDeleting : public PresenterClient
{
public:
    using PresenterClient::PresenterClient;
    void send(const QUrl &url)
    {
        doRequest(true, url, QByteArray(), static_cast<SuccessHandler>(&SelfDeleting::onSuccess),
                  static_cast<FailureHandler>(&SelfDeleting::onFailure), false);
    }

private:
    void onSuccess(QString) { delete this; }
    void onFailure(QNetworkReply *, QString) { delete this; }
};

} // namespace

Q_DECLARE_METATYPE(Operation)

class tst_RequestWaits : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void timersOfTheHostRunDuringAWait();
    void keepAliveAnsweredFirstEndsTheWaitAroundIt();
    void operationAnsweredFirstEndsTheKeepAliveInsideIt();
    void secondOperationAnsweredFirstEndsTheFirst();
    void replyOfARequestThatNobodyWaitsForEndsAWait();
    void clientsDoNotEndEachOthersWaits();
    void operationMayBeCalledFromRequestProcessed();

    void deletedDuringAWaitReturnsAtOnce_data();
    void deletedDuringAWaitReturnsAtOnce();
    void deletedFromRequestProcessed_data();
    void deletedFromRequestProcessed();
    void deletedFromRequestProcessedOfAnAbortedRequest();
    void deletedInsideTwoWaitsEndsBoth();
    void deletedInItsOwnHandler_data();
    void deletedInItsOwnHandler();
    void deletedLaterDuringAWait();
    void deletedWithItsParentDuringAWait();
    void openRequestsGoWithTheClient();
    void openRequestsGoWithAClientDeletedInRequestProcessed();
    void replyDeletedByTheHostEndsItsWait();
    void hostRunsBelowNoSignalOfTheToolkit_data();
    void hostRunsBelowNoSignalOfTheToolkit();

    void quitDoesNotCutAWaitShort();
};

void tst_RequestWaits::timersOfTheHostRunDuringAWait()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, &service, [&] {
        if (++ticks == 5)
            service.release();
    });
    service.expect(CHECK).hold().meanwhile([&] { timer.start(1); });
    QVERIFY(client.checkServer(QString(), QString()));
    QVERIFY(ticks >= 5);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::keepAliveAnsweredFirstEndsTheWaitAroundIt()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    QSignalSpy processed(&client, &PresenterClient::requestProcessed);
    service.expect(USER, "{}").silence().meanwhile([&] { keepAlive(&client); });
    service.expect(KEEP_ALIVE).json("{}");
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(client.doGetUserName().isNull());
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.isServerReachable());
    QCOMPARE(processed.count(), 2);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] {}", "[REST Response] ",
                          "ERROR: Operation canceled\nRESPONSE: "}));
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::operationAnsweredFirstEndsTheKeepAliveInsideIt()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect(USER, "{}").json(SIGNED_IN).hold().meanwhile([&] { keepAlive(&client); });
    service.expect(KEEP_ALIVE).silence().meanwhile([&] { service.release(); });
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QCOMPARE(client.doGetUserName(), u"ann"_s);
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(!client.isServerReachable());
    QCOMPARE(log.count("ERROR: Operation canceled\nRESPONSE: "), 1);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::secondOperationAnsweredFirstEndsTheFirst()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    QString innerUser;
    service.expect(CHECK).silence().meanwhile([&] { innerUser = client.doGetUserName(); });
    service.expect(USER, "{}").json(SIGNED_IN);
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.checkServer(QString(), QString()));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QCOMPARE(innerUser, u"ann"_s);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::replyOfARequestThatNobodyWaitsForEndsAWait()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect(CHECK).silence().meanwhile([&] {
        client.doRequest(false, QUrl(service.url() + "/vantora/x"), QByteArray(), nullptr, nullptr,
                         false);
    });
    service.expect("/vantora/x");
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.checkServer(QString(), QString()));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::clientsDoNotEndEachOthersWaits()
{
    RestService service;
    PresenterClient first(nullptr, service.url());
    PresenterClient second(nullptr, service.url());
    bool secondResult = false;
    service.expect(CHECK).hold().meanwhile([&] {
        secondResult = second.checkServer(QString(), QString());
        service.release();
    });
    service.expect(CHECK);
    QVERIFY(first.checkServer(QString(), QString()));
    QVERIFY(secondResult);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::operationMayBeCalledFromRequestProcessed()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    QString user;
    QMetaObject::Connection once;
    once = connect(&client, &PresenterClient::requestProcessed, &service, [&] {
        disconnect(once);
        user = client.doGetUserName();
    });
    service.expect(CHECK);
    service.expect(USER, "{}").json(SIGNED_IN);
    QVERIFY(client.checkServer(QString(), QString()));
    QCOMPARE(user, u"ann"_s);
    QCOMPARE(service.faults(), QStringList());
}

// ---- The client's end -----------------------------------------------------------------------------

// Every operation with its only request. True means that the operation returned what says "failed".
static void addOperations()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<Operation>("operation");
    QTest::newRow("check") << CHECK << QByteArray() << Operation([=](PresenterClient *client) {
        return !client->checkServer(u"u"_s, u"p"_s);
    });
    QTest::newRow("password")
        << QByteArray("/vantora/login/submit")
        << QByteArray(R"({"userId":"u","password":"p","sourceSystem":"Corvel"})")
        << Operation([=](PresenterClient *client) { return !client->doLogin(u"u"_s, u"p"_s); });
    QTest::newRow("device token")
        << QByteArray("/vantora/login/submit")
        << QByteArray(
               R"({"userId":"u","deviceId":"d","deviceAccessToken":"t","sourceSystem":"Corvel"})")
        << Operation(
               [=](PresenterClient *client) { return !client->doLogin(u"u"_s, u"d"_s, u"t"_s); });
    QTest::newRow("registration") << QByteArray("/vantora/register/oauth/submit")
                                  << QByteArray(R"({"name":"n","sourceSystem":"Corvel"})")
                                  << Operation([=](PresenterClient *client) {
                                         QString registration = uR"({"name":"n"})"_s;
                                         return !client->doLoginWithOAuth(u"x"_s, u"c"_s,
                                                                          registration)
                                             && registration == uR"({"name":"n"})"_s;
                                     });
    QTest::newRow("access token")
        << QByteArray("/vantora/login/submit")
        << QByteArray(
               R"({"userId":"u","password":"p","deviceId":"d","deviceName":"n","sourceSystem":"Corvel"})")
        << Operation([=](PresenterClient *client) {
               return client->doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s).isNull();
           });
    QTest::newRow("user name") << USER << QByteArray("{}")
                               << Operation([](PresenterClient *client) {
                                      return client->doGetUserName().isNull();
                                  });
    QTest::newRow("keep-alive") << KEEP_ALIVE << QByteArray()
                                << Operation([](PresenterClient *client) {
                                       client->sendKeepAlive();
                                       return true;
                                   });
    QTest::newRow("ping timer") << KEEP_ALIVE << QByteArray()
                                << Operation([](PresenterClient *client) {
                                       keepAlive(client);
                                       return true;
                                   });
    QTest::newRow("bare request") << QByteArray(
        "/x") << QByteArray("b") << Operation([](PresenterClient *client) {
        client->doRequest(true, QUrl(client->getServerUrl() + "/x"), QByteArray("b"), nullptr,
                          nullptr, false);
        return true;
    });
}

void tst_RequestWaits::deletedDuringAWaitReturnsAtOnce_data()
{
    addOperations();
}

void tst_RequestWaits::deletedDuringAWaitReturnsAtOnce()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, body);
    QFETCH(Operation, operation);
    RestService service;
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service.url());
    service.expect(path, body).silence().meanwhile([&] { delete client; });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(operation(client));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::deletedFromRequestProcessed_data()
{
    addOperations();
}

void tst_RequestWaits::deletedFromRequestProcessed()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, body);
    QFETCH(Operation, operation);
    RestService service;
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service.url());
    connect(client, &PresenterClient::requestProcessed, &service, [&] { delete client; });
    service.expect(path, body)
        .json(R"({"infoMsgs":["success"],"data":{"userLoginId":"u","deviceAccessToken":"t"}})");
    QVERIFY(operation(client));
    QVERIFY(client.isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::deletedFromRequestProcessedOfAnAbortedRequest()
{
    RestService service;
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service.url());
    int processed = 0;
    connect(client, &PresenterClient::requestProcessed, &service, [&] {
        if (++processed == 2) // the keep-alive's came first and ended the wait
            delete client;
    });
    service.expect(USER, "{}").silence().meanwhile([&] { keepAlive(client); });
    service.expect(KEEP_ALIVE);
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(client.isNull());
    QCOMPARE(processed, 2);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::deletedInsideTwoWaitsEndsBoth()
{
    RestService service;
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service.url());
    bool innerReturnedNull = false;
    service.expect(CHECK).silence().meanwhile(
        [&] { innerReturnedNull = client->doGetUserName().isNull(); });
    service.expect(USER, "{}").silence().meanwhile([&] { delete client; });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client->checkServer(QString(), QString()));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(innerReturnedNull);
    QVERIFY(client.isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::deletedInItsOwnHandler_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::newRow("success") << QByteArray("200 OK");
    QTest::newRow("failure") << QByteArray("500 Broken");
}

void tst_RequestWaits::deletedInItsOwnHandler()
{
    QFETCH(QByteArray, status);
    RestService service;
    QPointer<SelfDeleting> client = new SelfDeleting(nullptr, service.url());
    service.expect("/x").status(status);
    client->send(QUrl(service.url() + "/x"));
    QVERIFY(client.isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::deletedLaterDuringAWait()
{
    RestService service;
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service.url());
    service.expect(USER, "{}").silence().meanwhile([&] { client->deleteLater(); });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::deletedWithItsParentDuringAWait()
{
    RestService service;
    auto *parent = new QObject;
    QPointer<PresenterClient> client = new PresenterClient(parent, service.url());
    service.expect(USER, "{}").silence().meanwhile([&] { delete parent; });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::openRequestsGoWithTheClient()
{
    RestService service;
    auto *client = new PresenterClient(nullptr, service.url());
    service.expect("/x").silence();
    client->doRequest(false, QUrl(service.url() + "/x"), QByteArray(), nullptr, nullptr, false);
    QTRY_COMPARE(service.requests().size(), 1);
    const QPointer<QNetworkAccessManager> manager = client->findChild<QNetworkAccessManager *>();
    const QPointer<QNetworkReply> reply = client->findChild<QNetworkReply *>();
    QVERIFY(manager && reply);

    // No event loop needs to run for it: a host may delete its client as the last thing it does.
    delete client;
    QVERIFY(manager.isNull());
    QVERIFY(reply.isNull());
    QTRY_COMPARE(service.openConnections(), 0);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::openRequestsGoWithAClientDeletedInRequestProcessed()
{
    RestService service;
    auto *client = new PresenterClient(nullptr, service.url());
    const QPointer<QNetworkAccessManager> manager = client->findChild<QNetworkAccessManager *>();
    bool gone = false;
    connect(client, &PresenterClient::requestProcessed, &service, [&] {
        delete client;
        gone = manager.isNull();
    });
    service.expect("/silent").silence();
    client->doRequest(false, QUrl(service.url() + "/silent"), QByteArray(), nullptr, nullptr,
                      false);
    QTRY_COMPARE(service.requests().size(), 1);
    service.expect("/x");
    client->doRequest(true, QUrl(service.url() + "/x"), QByteArray(), nullptr, nullptr, false);
    QVERIFY(gone);
    QTRY_COMPARE(service.openConnections(), 0);
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::replyDeletedByTheHostEndsItsWait()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect(CHECK).silence().meanwhile([&] { delete client.findChild<QNetworkReply *>(); });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.checkServer(QString(), QString()));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);

    service.expect(CHECK);
    QVERIFY(client.checkServer(QString(), QString()));
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestWaits::hostRunsBelowNoSignalOfTheToolkit_data()
{
    QTest::addColumn<bool>("aborted");
    QTest::newRow("answered") << false;
    QTest::newRow("aborted") << true;
}

void tst_RequestWaits::hostRunsBelowNoSignalOfTheToolkit()
{
    QFETCH(bool, aborted);
    RestService service;
    PresenterClient client(nullptr, service.url());
    QSignalSpy processed(&client, &PresenterClient::requestProcessed);
    QList<int> processedBefore;
    connect(client.findChild<QNetworkAccessManager *>(), &QNetworkAccessManager::finished, &client,
            [&] { processedBefore.append(processed.count()); });
    RestExchange &asked = service.expect(CHECK);
    if (aborted) {
        asked.silence().meanwhile([&] { keepAlive(&client); });
        service.expect(KEEP_ALIVE);
    }
    QCOMPARE(client.checkServer(QString(), QString()), true); // or the keep-alive has said so
    // Every signal had returned before its reply was handled, and all were before the operation did.
    QCOMPARE(processedBefore, aborted ? (QList<int>{0, 1}) : QList<int>{0});
    QCOMPARE(processed.count(), processedBefore.size());
    QCOMPARE(service.faults(), QStringList());
}

// ---- The application's end ------------------------------------------------------------------------

void tst_RequestWaits::quitDoesNotCutAWaitShort()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    service.expect(CHECK).hold().meanwhile([&] {
        QCoreApplication::quit();
        QTimer::singleShot(50, &service, [&] { service.release(); });
    });
    service.expect(USER, "{}").json(SIGNED_IN);
    bool reached = false;
    QString user;
    QTimer::singleShot(0, &client, [&] {
        reached = client.checkServer(QString(), QString());
        user = client.doGetUserName(); // nor does an earlier one
    });
    QCoreApplication::exec();
    QVERIFY(reached);
    QCOMPARE(user, u"ann"_s);

    // Nor one that nothing but the wait has heard of.
    QCoreApplication::quit();
    service.expect(CHECK);
    QVERIFY(client.checkServer(QString(), QString()));
    QCOMPARE(service.faults(), QStringList());
}

QTEST_GUILESS_MAIN(tst_RequestWaits)
#include "tst_requestwaits.moc"
