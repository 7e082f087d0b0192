// What a service that does not answer in time does to every kind of operation. All of them wait at the
// same time, inside each other's waits, so that ten seconds are waited once.

#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/RestService.h"
#include "support/LogCapture.h"
#include "support/ScriptedServer.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <functional>

namespace
{

constexpr int LIMIT_MS = 10000;
// A loaded machine may notice the end of the wait late, never early.
constexpr int LATE_MS = 9000;

const QByteArray CHECK = "/vantora";
const QByteArray LOGIN = "/vantora/login/submit";
const QByteArray TOKEN_BODY = R"({"sessionToken":"TOKEN"})";
const QByteArray UPLOAD = "/vantora/resource/uploadResourceFile";
// One client with a service of its own, and what its operation came to.
struct Case {
    const char *name;
    std::function<void(RestService &)> script;
    std::function<QString(PresenterClient &)> run; // the result, as text
    QString expected;
    // Scripts and asks what has to be answered before.
    std::function<void(RestService &, PresenterClient &)> prepare = nullptr;

    QString result = QString();
    qint64 elapsedMs = -1;
};

void signIn(RestService &service, PresenterClient &client)
{
    service.expect(LOGIN, R"({"userId":"u","password":"p","sourceSystem":"Corvel"})")
        .json(R"({"infoMsgs":["success"]})");
    client.doLogin(u"u"_s, u"p"_s);
}

void expectSignedIn(RestService &service)
{
    service.expect("/vantora/login/user", "{}").json(R"({"data":{"userLoginId":"u"}})");
}

void createSession(RestService &service, PresenterClient &client)
{
    expectSignedIn(service);
    service.expect("/vantora/session/create", "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    client.doStartSession(QString());
}

// The first `answered` requests of a start, then one that is not answered if there is such, then the
// rest. Nothing listens at the collaboration server.
constexpr int WHOLE_START = 4;

void expectStart(RestService &service, int answered = WHOLE_START)
{
    const struct {
        QByteArray path;
        QByteArray body;
        QByteArray reply;
    } requests[WHOLE_START] = {
        {"/vantora/session/getcollabserverurl", "{}", R"({"data":{"url":"http://127.0.0.1:1"}})"},
        {"/vantora/config/findTenantFeatureDetails", "{}",
         R"({"data":{"sockJSProtocols":["websocket"]}})"},
        {"/vantora/session/start",
         R"({"sessionCode": "CODE","serverUrl":"http://127.0.0.1:1","sourceSystem":"Corvel","version":"3.0.0"})",
         R"({"data":{"sessionToken":"TOKEN"}})"},
        {"/vantora/classroom/session/join",
         R"({"userName":"SessionStarter","sessionCode":"CODE","mode":"presenter","deviceName":"u_SessionStarter","deviceType":"presenter"})",
         R"({"data":{"userToken":"USER"}})"},
    };
    for (int i = 0; i < WHOLE_START; ++i) {
        RestExchange &exchange = service.expect(requests[i].path, requests[i].body);
        if (i == answered)
            exchange.silence();
        else
            exchange.json(requests[i].reply);
    }
}

void startSession(RestService &service, PresenterClient &client)
{
    createSession(service, client);
    expectStart(service);
    PresenterCollab *channel = nullptr;
    client.startWebsocket(&channel);
}

} // namespace

class tst_RequestTimeouts : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void operationsFailAfterTenSeconds();
    void creationFailsAfterTenSeconds();
    void stepOfAStartFailsAfterTenSeconds_data();
    void stepOfAStartFailsAfterTenSeconds();
    void handshakeThatStallsFailsAfterTenSeconds();
    void clientDeletedWithALateRequestDoesNotWait();
};

void tst_RequestTimeouts::operationsFailAfterTenSeconds()
{
    const auto boolean = [](bool value) { return value ? u"true"_s : u"false"_s; };
    QList<Case> cases = {
        {"check", [](RestService &service) { service.expect(CHECK).silence(); },
         [=](PresenterClient &client) { return boolean(client.checkServer(QString(), QString())); },
         u"false"_s},
        {"answer after eleven seconds",
         [](RestService &service) {
             service.expect(CHECK).hold().meanwhile([&service] {
                 QTimer::singleShot(LIMIT_MS + 1000, &service, [&service] { service.release(); });
             });
         },
         [=](PresenterClient &client) { return boolean(client.checkServer(QString(), QString())); },
         u"false"_s},
        {"answer that begins and never ends",
         [](RestService &service) {
             service.expect(CHECK).raw("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n{}");
         },
         [=](PresenterClient &client) { return boolean(client.checkServer(QString(), QString())); },
         u"false"_s},
        {"answer whose header never ends",
         [](RestService &service) {
             service.expect(CHECK).raw("HTTP/1.1 200 OK\r\nX-Header: x\r\n");
         },
         [=](PresenterClient &client) { return boolean(client.checkServer(QString(), QString())); },
         u"false"_s},
        {"password",
         [](RestService &service) {
             service.expect(LOGIN, R"({"userId":"u","password":"p","sourceSystem":"Corvel"})")
                 .silence();
         },
         [=](PresenterClient &client) {
             const bool signedIn = client.doLogin(u"u"_s, u"p"_s);
             return boolean(signedIn) + client.getLastErrorKey() + boolean(client.isLoggedIn());
         },
         u"falsefalse"_s},
        {"access token",
         [](RestService &service) {
             service
                 .expect(
                     LOGIN,
                     R"({"userId":"u","password":"p","deviceId":"d","deviceName":"n","sourceSystem":"Corvel"})")
                 .silence();
         },
         [](PresenterClient &client) {
             return client.doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s);
         },
         QString()},
        {"device token",
         [](RestService &service) {
             service
                 .expect(
                     LOGIN,
                     R"({"userId":"u","deviceId":"d","deviceAccessToken":"t","sourceSystem":"Corvel"})")
                 .silence();
         },
         [=](PresenterClient &client) { return boolean(client.doLogin(u"u"_s, u"d"_s, u"t"_s)); },
         u"false"_s},
        {"registration",
         [](RestService &service) {
             service
                 .expect("/vantora/register/oauth/submit",
                         R"({"name":"n","sourceSystem":"Corvel"})")
                 .silence();
         },
         [=](PresenterClient &client) {
             QString registration = uR"({"name":"n"})"_s;
             return boolean(client.doLoginWithOAuth(u"x"_s, u"c"_s, registration)) + registration;
         },
         u"false"_s},
        {"OAuth",
         [](RestService &service) {
             service
                 .expect("/vantora/login/oauth/x/callback",
                         "{\"code\":\"c\",\"callbackUrl\":\"" + service.url().toUtf8()
                             + "\",\"sourceSystem\":\"Corvel\"}")
                 .silence();
         },
         [=](PresenterClient &client) {
             QString registration;
             return boolean(client.doLoginWithOAuth(u"x"_s, u"c"_s, registration));
         },
         u"false"_s},
        {"OAuth access token",
         [](RestService &service) {
             service
                 .expect("/vantora/login/oauth/x/callback",
                         "{\"code\":\"c\",\"callbackUrl\":\"" + service.url().toUtf8()
                             + "\",\"deviceId\":\"d\",\"deviceName\":\"n\",\"sourceSystem\":"
                               "\"Corvel\"}")
                 .silence();
         },
         [](PresenterClient &client) {
             QString registration;
             return client.doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s, registration);
         },
         QString()},
        {"keep-alive",
         [](RestService &service) { service.expect("/vantora/login/keepSessionAlive").silence(); },
         [=](PresenterClient &client) {
             client.sendKeepAlive();
             return boolean(client.isServerReachable());
         },
         u"false"_s},
        {"logout",
         [](RestService &service) { service.expect("/vantora/login/logout", "{}").silence(); },
         [=](PresenterClient &client) { return boolean(client.doLogout()); }, u"false"_s, signIn},
        {"collaboration server",
         [](RestService &service) {
             service.expect("/vantora/session/getcollabserverurl", "{}").silence();
         },
         [=](PresenterClient &client) {
             PresenterCollab *channel = nullptr;
             return boolean(client.startWebsocket(&channel)) + boolean(channel);
         },
         u"falsefalse"_s},
        {"learners",
         [](RestService &service) {
             service.expect("/vantora/session/getusers", TOKEN_BODY).silence();
         },
         [=](PresenterClient &client) { return boolean(client.doGetLearners()); }, u"true"_s,
         startSession},
        {"stop",
         [](RestService &service) {
             service.expect("/vantora/session/stop", TOKEN_BODY).silence();
         },
         [=](PresenterClient &client) {
             const bool stopped = client.doStopSession();
             return boolean(stopped) + client.getSessionToken();
         },
         u"true"_s, startSession},
        {"user name",
         [](RestService &service) { service.expect("/vantora/login/user", "{}").silence(); },
         [](PresenterClient &client) { return client.doGetUserName(); }, QString()},
        {"upload", [](RestService &service) { service.expect(UPLOAD).silence(); },
         [=](PresenterClient &client) {
             QString id = u"id"_s;
             QString path = u"path"_s;
             return boolean(client.doUploadResource(u"f"_s, "d", &id, &path)) + id + path;
         },
         u"falseidpath"_s},
    };

    LogCapture log;
    std::vector<std::unique_ptr<RestService>> services;
    std::vector<std::unique_ptr<PresenterClient>> clients;
    int running = cases.size();
    int requests = 0;
    for (Case &each : cases) {
        RestService &service = *services.emplace_back(new RestService);
        PresenterClient &client =
            *clients.emplace_back(new PresenterClient(nullptr, service.url()));
        if (each.prepare)
            each.prepare(service, client);
        requests += service.requests().size() + 1;
        each.script(service);
    }
    for (int i = 0; i < cases.size(); ++i) {
        Case &each = cases[i];
        PresenterClient &client = *clients[std::size_t(i)];
        QTimer::singleShot(0, &client, [&each, &client, &running] {
            QElapsedTimer clock;
            clock.start();
            each.result = each.run(client);
            each.elapsedMs = clock.elapsed();
            --running;
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(running, 0, LIMIT_MS + LATE_MS);

    for (const Case &each : qAsConst(cases)) {
        QVERIFY2(each.elapsedMs >= LIMIT_MS - 50, each.name); // the clock starts after the timer's
        QVERIFY2(each.elapsedMs < LIMIT_MS + LATE_MS, each.name);
        QVERIFY2(each.result == each.expected,
                 qPrintable(QString::fromUtf8(each.name) + ": " + each.result));
    }
    QCOMPARE(log.count(u"ERROR: Operation canceled\nRESPONSE: "_s), cases.size());
    for (const auto &service : services)
        requests -= service->requests().size();
    QCOMPARE(requests, 0); // one each after what was asked to prepare it
}

// These ask for something else first, so they have their ten seconds to themselves.
void tst_RequestTimeouts::creationFailsAfterTenSeconds()
{
    RestService service;
    PresenterClient client(nullptr, service.url());
    expectSignedIn(service);
    service.expect("/vantora/session/create", "{}").silence();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.doStartSession(QString()));
    QVERIFY(clock.elapsed() >= LIMIT_MS - 50);
    QVERIFY(clock.elapsed() < LIMIT_MS + LATE_MS);
    QVERIFY(client.getSessionCode().isNull());
    QVERIFY(client.getLastErrorKey().isNull());
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestTimeouts::stepOfAStartFailsAfterTenSeconds_data()
{
    QTest::addColumn<int>("silent");
    QTest::addColumn<QString>("sessionToken");
    QTest::addColumn<QString>("userToken");
    QTest::newRow("tenant's features") << 1 << "TOKEN"
                                       << "USER";
    QTest::newRow("start") << 2 << QString() << "USER";
    QTest::newRow("join") << 3 << "TOKEN" << QString();
}

void tst_RequestTimeouts::stepOfAStartFailsAfterTenSeconds()
{
    QFETCH(int, silent);
    QFETCH(QString, sessionToken);
    QFETCH(QString, userToken);
    RestService service;
    PresenterClient client(nullptr, service.url());
    createSession(service, client);
    expectStart(service, silent);
    PresenterCollab *channel = nullptr;
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(client.startWebsocket(&channel)); // it goes on without what was asked for
    QVERIFY(clock.elapsed() >= LIMIT_MS - 50);
    QVERIFY(clock.elapsed() < LIMIT_MS + LATE_MS);
    QVERIFY(channel);
    QCOMPARE(client.getSessionToken(), sessionToken);
    QCOMPARE(client.getUserToken(), userToken);
    QCOMPARE(log.count(u"ERROR: Operation canceled\nRESPONSE: "_s), 1);
    if (!sessionToken.isNull())
        service.expect("/vantora/session/stop", TOKEN_BODY);
    client.doStopSession();
    QCOMPARE(service.faults(), QStringList());
}

void tst_RequestTimeouts::handshakeThatStallsFailsAfterTenSeconds()
{
    ScriptedServer server;
    server.onEveryOther({Scripted::expectMatch("\x16\x03\x01"), Scripted::expectEnd()});
    QVERIFY(server.listen());
    PresenterClient client(nullptr, u"https://127.0.0.1:%1"_s.arg(server.port()));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client.doLogin(u"ann"_s, u"s3cret"_s));
    QVERIFY(clock.elapsed() >= LIMIT_MS - 50);
    QVERIFY(clock.elapsed() < LIMIT_MS + LATE_MS);
    QVERIFY(client.getLastErrorKey().isNull());
    for (int i = 0; i < server.connectionCount(); ++i) {
        QVERIFY(server.received(i).startsWith("\x16\x03\x01"));
        QVERIFY(!server.received(i).contains("s3cret"));
    }
}

void tst_RequestTimeouts::clientDeletedWithALateRequestDoesNotWait()
{
    RestService service;
    service.expect("/x").silence();
    auto *client = new PresenterClient(nullptr, service.url());
    client->doRequest(false, QUrl(service.url() + "/x"), QByteArray(), nullptr, nullptr, false);
    QTRY_COMPARE(service.requests().size(), 1);
    QElapsedTimer clock;
    clock.start();
    delete client;
    QVERIFY(clock.elapsed() < LIMIT_MS - 2000);
}

QTEST_GUILESS_MAIN(tst_RequestTimeouts)
#include "tst_requesttimeouts.moc"
