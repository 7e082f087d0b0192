// What may happen while an operation waits: the host's events, other operations, the client's end.

#include "client/ServiceTest.h"

#include "support/LogCapture.h"

#include <QtCore/QTimer>
#include <QtNetwork/QNetworkAccessManager>

#include <functional>

namespace
{

// An operation with a request of its own. True means that it returned what says "failed".
using Run = std::function<bool(PresenterClient *)>;

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

Q_DECLARE_METATYPE(Run)

class tst_RequestWaits : public ClientTest
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
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, service.get(), [&] {
        if (++ticks == 5)
            service->release();
    });
    service->expect(CHECK).hold().meanwhile([&] { timer.start(1); });
    QVERIFY(check());
    QVERIFY(ticks >= 5);
}

void tst_RequestWaits::keepAliveAnsweredFirstEndsTheWaitAroundIt()
{
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    service->expect(USER, "{}").silence().meanwhile([&] { keepAlive(client); });
    service->expect(KEEP_ALIVE).json("{}");
    LogCapture log;
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(client->isServerReachable());
    QCOMPARE(processed.count(), 2);
    QCOMPARE(log.messages(),
             (QStringList{"[REST Response] {}", "[REST Response] ",
                          "ERROR: Operation canceled\nRESPONSE: "}));
}

void tst_RequestWaits::operationAnsweredFirstEndsTheKeepAliveInsideIt()
{
    service->expect(USER, "{}").json(ANN_IS_KNOWN).hold().meanwhile([&] { keepAlive(client); });
    service->expect(KEEP_ALIVE).silence().meanwhile([&] { service->release(); });
    LogCapture log;
    QCOMPARE(client->doGetUserName(), u"ann"_s);
    QVERIFY(!client->isServerReachable());
    QCOMPARE(log.count("ERROR: Operation canceled\nRESPONSE: "), 1);
}

void tst_RequestWaits::secondOperationAnsweredFirstEndsTheFirst()
{
    QString innerUser;
    service->expect(CHECK).silence().meanwhile([&] { innerUser = client->doGetUserName(); });
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    QVERIFY(!check());
    QCOMPARE(innerUser, u"ann"_s);
}

void tst_RequestWaits::replyOfARequestThatNobodyWaitsForEndsAWait()
{
    service->expect(CHECK).silence().meanwhile([&] { ask("/vantora/x"); });
    service->expect("/vantora/x");
    QVERIFY(!check());
}

void tst_RequestWaits::clientsDoNotEndEachOthersWaits()
{
    PresenterClient second(nullptr, service->url());
    bool secondResult = false;
    service->expect(CHECK).hold().meanwhile([&] {
        secondResult = second.checkServer(QString(), QString());
        service->release();
    });
    service->expect(CHECK);
    QVERIFY(check());
    QVERIFY(secondResult);
}

void tst_RequestWaits::operationMayBeCalledFromRequestProcessed()
{
    QString user;
    QMetaObject::Connection once;
    once = connect(client.data(), &PresenterClient::requestProcessed, service.get(), [&] {
        disconnect(once);
        user = client->doGetUserName();
    });
    service->expect(CHECK);
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    QVERIFY(check());
    QCOMPARE(user, u"ann"_s);
}

// ---- The client's end ----------------------------------------------------------------------------

// Every operation with its only request.
static void addRuns()
{
    QTest::addColumn<QByteArray>("path");
    QTest::addColumn<QByteArray>("body");
    QTest::addColumn<Run>("run");
    const auto row = [](const char *name, const QByteArray &path, const QByteArray &body,
                        const Run &run) { QTest::newRow(name) << path << body << run; };
    row("check", CHECK, "", [](auto *client) { return !client->checkServer(u"u"_s, u"p"_s); });
    row("password", LOGIN, ANN, [](auto *client) { return !client->doLogin(u"ann"_s, u"pw"_s); });
    row("device token", LOGIN, DEVICE_LOGIN,
        [](auto *client) { return !client->doLogin(u"u"_s, u"d"_s, u"t"_s); });
    row("registration", REGISTER, R"({"name":"n","sourceSystem":"Corvel"})", [](auto *client) {
        QString registration = uR"({"name":"n"})"_s;
        return !client->doLoginWithOAuth(u"x"_s, u"c"_s, registration)
            && registration == uR"({"name":"n"})"_s;
    });
    row("access token", LOGIN, TOKEN_REQUEST, [](auto *client) {
        return client->doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s).isNull();
    });
    row("user name", USER, "{}", [](auto *client) { return client->doGetUserName().isNull(); });
    row("keep-alive", KEEP_ALIVE, "", [](auto *client) {
        client->sendKeepAlive();
        return true;
    });
    row("ping timer", KEEP_ALIVE, "", [](auto *client) {
        keepAlive(client);
        return true;
    });
    row("bare request", "/x", "b", [](auto *client) {
        client->doRequest(true, QUrl(client->getServerUrl() + "/x"), QByteArray("b"), nullptr,
                          nullptr, false);
        return true;
    });
}

void tst_RequestWaits::deletedDuringAWaitReturnsAtOnce_data()
{
    addRuns();
}

void tst_RequestWaits::deletedDuringAWaitReturnsAtOnce()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, body);
    QFETCH(Run, run);
    service->expect(path, body).silence().meanwhile([&] { delete client; });
    QVERIFY(run(client));
    QVERIFY(client.isNull());
}

void tst_RequestWaits::deletedFromRequestProcessed_data()
{
    addRuns();
}

void tst_RequestWaits::deletedFromRequestProcessed()
{
    QFETCH(QByteArray, path);
    QFETCH(QByteArray, body);
    QFETCH(Run, run);
    connect(client.data(), &PresenterClient::requestProcessed, service.get(),
            [&] { delete client; });
    service->expect(path, body)
        .json(R"({"infoMsgs":["success"],"data":{"userLoginId":"u","deviceAccessToken":"t"}})");
    QVERIFY(run(client));
    QVERIFY(client.isNull());
}

void tst_RequestWaits::deletedFromRequestProcessedOfAnAbortedRequest()
{
    int processed = 0;
    connect(client.data(), &PresenterClient::requestProcessed, service.get(), [&] {
        if (++processed == 2) // the keep-alive's came first and ended the wait
            delete client;
    });
    service->expect(USER, "{}").silence().meanwhile([&] { keepAlive(client); });
    service->expect(KEEP_ALIVE);
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(client.isNull());
    QCOMPARE(processed, 2);
}

void tst_RequestWaits::deletedInsideTwoWaitsEndsBoth()
{
    bool innerReturnedNull = false;
    service->expect(CHECK).silence().meanwhile(
        [&] { innerReturnedNull = client->doGetUserName().isNull(); });
    service->expect(USER, "{}").silence().meanwhile([&] { delete client; });
    QVERIFY(!check());
    QVERIFY(innerReturnedNull);
    QVERIFY(client.isNull());
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
    const QPointer<SelfDeleting> deleting = new SelfDeleting(nullptr, service->url());
    service->expect("/x").status(status);
    deleting->send(QUrl(service->url("/x")));
    QVERIFY(deleting.isNull());
}

void tst_RequestWaits::deletedLaterDuringAWait()
{
    service->expect(USER, "{}").silence().meanwhile([&] { client->deleteLater(); });
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(client.isNull());
}

void tst_RequestWaits::deletedWithItsParentDuringAWait()
{
    auto *parent = new QObject;
    client->setParent(parent);
    service->expect(USER, "{}").silence().meanwhile([&] { delete parent; });
    QVERIFY(client->doGetUserName().isNull());
    QVERIFY(client.isNull());
}

void tst_RequestWaits::openRequestsGoWithTheClient()
{
    service->expect("/x").silence();
    ask("/x");
    QTRY_COMPARE(service->requests().size(), 1);
    const QPointer<QNetworkAccessManager> manager = client->findChild<QNetworkAccessManager *>();
    const QPointer<QNetworkReply> reply = client->findChild<QNetworkReply *>();
    QVERIFY(manager && reply);

    // No event loop needs to run for it: a host may delete its client as the last thing it does.
    delete client;
    QVERIFY(manager.isNull());
    QVERIFY(reply.isNull());
    QTRY_COMPARE(service->openConnections(), 0);
}

void tst_RequestWaits::openRequestsGoWithAClientDeletedInRequestProcessed()
{
    const QPointer<QNetworkAccessManager> manager = client->findChild<QNetworkAccessManager *>();
    bool gone = false;
    connect(client.data(), &PresenterClient::requestProcessed, service.get(), [&] {
        delete client;
        gone = manager.isNull();
    });
    service->expect("/silent").silence();
    ask("/silent");
    QTRY_COMPARE(service->requests().size(), 1);
    service->expect("/x");
    client->doRequest(true, QUrl(service->url("/x")), QByteArray(), nullptr, nullptr, false);
    QVERIFY(gone);
    QTRY_COMPARE(service->openConnections(), 0);
}

void tst_RequestWaits::replyDeletedByTheHostEndsItsWait()
{
    service->expect(CHECK).silence().meanwhile(
        [&] { delete client->findChild<QNetworkReply *>(); });
    QVERIFY(!check());

    service->expect(CHECK);
    QVERIFY(check());
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
    QSignalSpy processed(client.data(), &PresenterClient::requestProcessed);
    QList<int> processedBefore;
    connect(client->findChild<QNetworkAccessManager *>(), &QNetworkAccessManager::finished,
            &processed, [&] { processedBefore.append(processed.count()); });
    RestExchange &asked = service->expect(CHECK);
    if (aborted) {
        asked.silence().meanwhile([&] { keepAlive(client); });
        service->expect(KEEP_ALIVE);
    }
    QCOMPARE(check(), true); // or the keep-alive has said so
    // Every signal had returned before its reply was handled, and all were before the operation did.
    QCOMPARE(processedBefore, aborted ? (QList<int>{0, 1}) : QList<int>{0});
    QCOMPARE(processed.count(), processedBefore.size());
}

// ---- The application's end -----------------------------------------------------------------------

void tst_RequestWaits::quitDoesNotCutAWaitShort()
{
    service->expect(CHECK).hold().meanwhile([&] {
        QCoreApplication::quit();
        QTimer::singleShot(50, service.get(), [&] { service->release(); });
    });
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    bool reached = false;
    QString user;
    QTimer::singleShot(0, client.data(), [&] {
        reached = check();
        user = client->doGetUserName(); // nor does an earlier one
    });
    QCoreApplication::exec();
    QVERIFY(reached);
    QCOMPARE(user, u"ann"_s);

    // Nor one that nothing but the wait has heard of.
    QCoreApplication::quit();
    service->expect(CHECK);
    QVERIFY(check());
}

QTEST_GUILESS_MAIN(tst_RequestWaits)
#include "tst_requestwaits.moc"
