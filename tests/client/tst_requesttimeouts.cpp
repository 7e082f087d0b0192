// What a service that does not answer in time does to every kind of operation. All of them wait at the
// same time, inside each other's waits, so that ten seconds are waited once.

#include "client/SessionTest.h"
#include "client/UploadForm.h"

#include "support/LogCapture.h"
#include "support/ScriptedServer.h"

#include <QtCore/QTimer>

#include <functional>

namespace
{

constexpr int LIMIT_MS = 10000;
// A loaded machine may notice the end of the wait late, never early.
constexpr int LATE_MS = 9000;
constexpr int EARLIEST_MS = LIMIT_MS - 50; // the clock starts after the timer's

const QString CANCELED = u"ERROR: Operation canceled\nRESPONSE: "_s;

// An operation, what it asks for in vain, and what it comes to.
struct Case {
    const char *name;
    QByteArray path;
    QByteArray body;                           // SERVER stands for the service's address
    std::function<QString(SessionTest &)> run; // the result, as text
    QString expected;
    void (*prepare)(SessionTest &) = nullptr;
    // Otherwise it is not answered at all.
    std::function<void(RestExchange &, RestService *)> answer = nullptr;

    std::shared_ptr<SessionTest> test = nullptr;
    QString result = QString();
    qint64 elapsedMs = -1;
};

// Nobody listens at the collaboration server, so that a stop waits for the service alone.
void startWithoutServer(SessionTest &test)
{
    test.createSession();
    test.expectAll(startOperations(localUrl(1)));
    test.openChannel();
}

} // namespace

class tst_RequestTimeouts : public SessionTest
{
    Q_OBJECT

public:
    tst_RequestTimeouts() : SessionTest(LIMIT_MS + LATE_MS) { }

private Q_SLOTS:
    void operationsFailAfterTenSeconds();
    void creationFailsAfterTenSeconds();
    void stepOfAStartFailsAfterTenSeconds_data();
    void stepOfAStartFailsAfterTenSeconds();
    void handshakeThatStallsFailsAfterTenSeconds();
    void clientDeletedWithALateRequestDoesNotWait();
};

static QList<Case> operations()
{
    const auto boolean = [](bool value) { return value ? u"true"_s : u"false"_s; };
    const auto check = [=](SessionTest &test) { return boolean(test.check()); };
    const auto raw = [](const char *bytes) {
        return [bytes](RestExchange &exchange, RestService *) { exchange.raw(bytes); };
    };
    return {
        {"check", CHECK, "", check, u"false"_s},
        {"answer after eleven seconds", CHECK, "", check, u"false"_s, nullptr,
         [](RestExchange &exchange, RestService *service) {
             exchange.hold().meanwhile([service] {
                 QTimer::singleShot(LIMIT_MS + 1000, service, [service] { service->release(); });
             });
         }},
        {"answer that begins and never ends", CHECK, "", check, u"false"_s, nullptr,
         raw("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\n{}")},
        {"answer whose header never ends", CHECK, "", check, u"false"_s, nullptr,
         raw("HTTP/1.1 200 OK\r\nX-Header: x\r\n")},
        {"password", LOGIN, ANN,
         [=](SessionTest &test) {
             const bool signedIn = test.login();
             return boolean(signedIn) + test.client->getLastErrorKey()
                 + boolean(test.client->isLoggedIn());
         },
         u"falsefalse"_s},
        {"access token", LOGIN, TOKEN_REQUEST,
         [](SessionTest &test) {
             return test.client->doGetAccessToken(u"u"_s, u"p"_s, u"d"_s, u"n"_s);
         },
         QString()},
        {"device token", LOGIN, DEVICE_LOGIN,
         [=](SessionTest &test) { return boolean(test.client->doLogin(u"u"_s, u"d"_s, u"t"_s)); },
         u"false"_s},
        {"registration", REGISTER, R"({"name":"n","sourceSystem":"Corvel"})",
         [=](SessionTest &test) {
             QString registration = uR"({"name":"n"})"_s;
             return boolean(test.loginWithOAuth(registration)) + registration;
         },
         u"false"_s},
        {"OAuth", OAUTH, oauthBody(u"SERVER"_s),
         [=](SessionTest &test) {
             QString registration;
             return boolean(test.loginWithOAuth(registration));
         },
         u"false"_s},
        {"OAuth access token", OAUTH, oauthBody(u"SERVER"_s, "c", DEVICE_FIELDS),
         [](SessionTest &test) {
             QString registration;
             return test.client->doGetOAuthAccessToken(u"x"_s, u"c"_s, u"d"_s, u"n"_s,
                                                       registration);
         },
         QString()},
        {"keep-alive", KEEP_ALIVE, "",
         [=](SessionTest &test) {
             test.client->sendKeepAlive();
             return boolean(test.client->isServerReachable());
         },
         u"false"_s},
        {"logout", LOGOUT, "{}",
         [=](SessionTest &test) { return boolean(test.client->doLogout()); }, u"false"_s,
         [](SessionTest &test) { test.signIn(); }},
        {"collaboration server", COLLAB_URL, "{}",
         [=](SessionTest &test) {
             const bool opened = test.openChannel();
             return boolean(opened) + boolean(test.channel);
         },
         u"falsefalse"_s},
        {"learners", LEARNERS, TOKEN_BODY,
         [=](SessionTest &test) { return boolean(test.client->doGetLearners()); }, u"true"_s,
         startWithoutServer},
        {"stop", STOP, TOKEN_BODY,
         [=](SessionTest &test) {
             const bool stopped = test.client->doStopSession();
             return boolean(stopped) + test.client->getSessionToken();
         },
         u"true"_s, startWithoutServer},
        {"user name", USER, "{}", [](SessionTest &test) { return test.client->doGetUserName(); },
         QString()},
        {"upload", UPLOAD, form("f", "d"),
         [=](SessionTest &test) {
             QString id = u"id"_s;
             QString path = u"path"_s;
             return boolean(test.client->doUploadResource(u"f"_s, "d", &id, &path)) + id + path;
         },
         u"falseidpath"_s},
    };
}

void tst_RequestTimeouts::operationsFailAfterTenSeconds()
{
    QList<Case> cases = operations();
    LogCapture log;
    for (Case &each : cases) {
        each.test = std::make_shared<SessionTest>(LIMIT_MS + LATE_MS);
        each.test->init();
        if (each.prepare)
            each.prepare(*each.test);
        RestService *asked = each.test->service.get();
        RestExchange &exchange =
            asked->expect(each.path, each.body.replace("SERVER", asked->url().toUtf8()));
        if (each.answer)
            each.answer(exchange, asked);
        else
            exchange.silence();
    }
    int running = cases.size();
    for (Case &each : cases) {
        QTimer::singleShot(0, each.test->client.data(), [&each, &running] {
            QElapsedTimer clock;
            clock.start();
            each.result = each.run(*each.test);
            each.elapsedMs = clock.elapsed();
            --running;
        });
    }
    QTRY_COMPARE_WITH_TIMEOUT(running, 0, LIMIT_MS + LATE_MS);
    QCOMPARE(log.count(CANCELED), cases.size());

    for (const Case &each : qAsConst(cases)) {
        QVERIFY2(each.elapsedMs >= EARLIEST_MS, each.name);
        QVERIFY2(each.elapsedMs < LIMIT_MS + LATE_MS, each.name);
        QVERIFY2(each.result == each.expected,
                 qPrintable(QString::fromUtf8(each.name) + ": " + each.result));
        if (!each.test->client->getSessionToken().isNull())
            each.test->expectStop();
        each.test->cleanup();
    }
}

// These ask for something else first, so they have their ten seconds to themselves.
void tst_RequestTimeouts::creationFailsAfterTenSeconds()
{
    service->expect(USER, "{}").json(ANN_IS_KNOWN);
    service->expect(CREATE, "{}").silence();
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!create());
    QVERIFY(clock.elapsed() >= EARLIEST_MS);
    QVERIFY(client->getSessionCode().isNull());
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_RequestTimeouts::stepOfAStartFailsAfterTenSeconds_data()
{
    QTest::addColumn<int>("silent");
    QTest::addColumn<QString>("sessionToken");
    QTest::addColumn<QString>("userToken");
    QTest::newRow("tenant's features") << 1 << u"TOKEN"_s << u"USER"_s;
    QTest::newRow("start") << 2 << QString() << u"USER"_s;
    QTest::newRow("join") << 3 << u"TOKEN"_s << QString();
}

void tst_RequestTimeouts::stepOfAStartFailsAfterTenSeconds()
{
    QFETCH(int, silent);
    QFETCH(QString, sessionToken);
    QFETCH(QString, userToken);
    createSession();
    const QVector<Operation> start = startOperations(bus->url());
    expectAll(start.mid(0, silent));
    service->expect(start[silent].path, start[silent].body).silence();
    expectAll(start.mid(silent + 1));
    LogCapture log;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(openChannel()); // it goes on without what was asked for
    QVERIFY(clock.elapsed() >= EARLIEST_MS);
    QVERIFY(channel);
    QCOMPARE(client->getSessionToken(), sessionToken);
    QCOMPARE(client->getUserToken(), userToken);
    QCOMPARE(log.count(CANCELED), 1);
    if (!sessionToken.isNull())
        expectStop();
    client->doStopSession();
}

void tst_RequestTimeouts::handshakeThatStallsFailsAfterTenSeconds()
{
    ScriptedServer server;
    server.onEveryOther({Scripted::expectMatch("\x16\x03\x01"), Scripted::expectEnd()});
    QVERIFY(server.listen());
    PresenterClient shaking(nullptr, localUrl(server.port(), u"https"_s));
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!shaking.doLogin(u"ann"_s, u"s3cret"_s));
    QVERIFY(clock.elapsed() >= EARLIEST_MS);
    QVERIFY(shaking.getLastErrorKey().isNull());
    for (int i = 0; i < server.connectionCount(); ++i) {
        QVERIFY(server.received(i).startsWith("\x16\x03\x01"));
        QVERIFY(!server.received(i).contains("s3cret"));
    }
}

void tst_RequestTimeouts::clientDeletedWithALateRequestDoesNotWait()
{
    service->expect("/x").silence();
    ask("/x");
    QTRY_COMPARE(service->requests().size(), 1);
    QElapsedTimer clock;
    clock.start();
    delete client;
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
}

QTEST_GUILESS_MAIN(tst_RequestTimeouts)
#include "tst_requesttimeouts.moc"
