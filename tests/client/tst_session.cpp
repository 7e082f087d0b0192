#include "client/PresenterClient.h"
#include "support/Text.h"

#include "client/RestService.h"
#include "collab/PresenterCollab.h"
#include "sockjs/DeadPort.h"
#include "support/EventBusServer.h"
#include "support/LogCapture.h"
#include "support/TestCertificates.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QTimer>
#include <QtNetwork/QTcpServer>
#include <QtTest/QtTest>

#include <functional>

namespace
{

// A wait that ends by itself takes 10 s; all that is ended otherwise must be well below.
constexpr int AT_ONCE_MS = 8000;

const QByteArray LOGIN = "/vantora/login/submit";
const QByteArray USER = "/vantora/login/user";
const QByteArray LOGOUT = "/vantora/login/logout";
const QByteArray CREATE = "/vantora/session/create";
const QByteArray COLLAB_URL = "/vantora/session/getcollabserverurl";
const QByteArray FEATURES = "/vantora/config/findTenantFeatureDetails";
const QByteArray START = "/vantora/session/start";
const QByteArray JOIN = "/vantora/classroom/session/join";
const QByteArray LEARNERS = "/vantora/session/getusers";
const QByteArray STOP = "/vantora/session/stop";

const QByteArray ANN = R"({"userId":"ann","password":"pw","sourceSystem":"Corvel"})";
const QByteArray NO_JSON = "<html>";
const QByteArray REFUSED = R"({"errorMsgKeys":["session.error.refused"]})";

const QByteArray WEB_SOCKET = R"({"data":{"sockJSProtocols":["websocket"]}})";
const QByteArray JOIN_BODY =
    R"({"userName":"SessionStarter","sessionCode":"CODE","mode":"presenter","deviceName":"ann_SessionStarter","deviceType":"presenter"})";
const QByteArray TOKEN_BODY = R"({"sessionToken":"TOKEN"})";
QByteArray startBody(const QString &collabUrl)
{
    return "{\"sessionCode\": \"CODE\",\"serverUrl\":\"" + collabUrl.toUtf8()
        + "\",\"sourceSystem\":\"Corvel\",\"version\":\"3.0.0\"}";
}

} // namespace

using Action = std::function<void()>;

class tst_Session : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void sessionIsCreatedForASignedInTeacher_data();
    void sessionIsCreatedForASignedInTeacher();
    void teacherIsSignedInAgainFirst();
    void teacherIsSignedInAgainWithoutAReplyToTheUserQuery();
    void failedSignInStopsTheSession();
    void failedSignInKeepsTheEarlierSession();
    void signedOutClientWithoutCredentialsSendsNoMore();
    void earlierErrorKeyStandsWhenNobodyIsSignedIn();
    void emptyCodeAndTokenCountAsASession();
    void failedCreationIsReported_data();
    void failedCreationIsReported();
    void newSessionForgetsTheEarlierOne();

    void sessionIsStartedJoinedAndItsChannelOpened();
    void valuesAreSentAsTheyAre();
    void channelGetsTheTransports_data();
    void channelGetsTheTransports();
    void emptyOverrideGoesBackToTheTenantsTransports();
    void missingCollaborationServerEndsTheStart_data();
    void missingCollaborationServerEndsTheStart();
    void earlierCollaborationServerIsUsedWhenTheQueryFails();
    void refusedStartMakesNoChannel();
    void refusedStartWithoutAKeyForgetsAnEarlierKey();
    void untrustedServiceEndsTheStartEvenWithAnEarlierServer();
    void failedStartWithoutAnErrorKeyGoesOn_data();
    void failedStartWithoutAnErrorKeyGoesOn();
    void failedJoinIsNotDetected_data();
    void failedJoinIsNotDetected();
    void channelIsMadeEvenIfItCannotConnect();
    void secondChannelLeavesTheFirst();
    void secondChannelIsKeptWhenTheHostDeletesTheFirst();

    void learnersAreListed_data();
    void learnersAreListed();
    void failedLearnersRequestKeepsTheList_data();
    void failedLearnersRequestKeepsTheList();
    void learnersWithoutASessionSendNothing();

    void stopClosesTheChannelAndTellsTheService();
    void stopSucceedsWhateverTheServiceSays_data();
    void stopSucceedsWhateverTheServiceSays();
    void redirectedStopEndsTheSessionAndIsNotRepeated();
    void stopWithoutASessionSendsNothing();
    void stopOfACreatedSessionSendsNothing();
    void stopWithoutAChannelTellsTheService();
    void stopAfterTheHostDeletedTheChannelTellsTheService();
    void logoutStopsTheSessionFirst();
    void logoutWithoutSignInStillStopsTheSession();
    void logoutWithACreatedSessionOnlySignsOut();

    void destructionStopsTheSession();
    void destructionOfACreatedSessionSendsNothing();
    void clientDeletedWhileStarting_data();
    void clientDeletedWhileStarting();
    void clientDeletedWhileCreating_data();
    void clientDeletedWhileCreating();
    void clientDeletedWhileTheChannelOpens();
    void channelDeletedWhileItOpens();
    void clientDeletedFromConnectionClosed();
    void channelDeletedFromConnectionClosed();
    void sessionStoppedFromConnectionClosed();
    void channelThatTheHostCutOffIsForgotten();
    void clientWithASessionDeletedDuringAWait();
    void clientDeletedWhileItLogsOut();
    void parentDeletedWhileTheClientGoes();
    void clientDeletedThatWasToBeDeletedLater();
    void clientToBeDeletedLaterWhileItStopsItsSession();
    void clientToBeDeletedLaterWhenItsChannelCloses();
    void clientDeletedByItsParentStopsTheSession();

private:
    void createSession(PresenterClient &client);
    void scriptStart(const QByteArray &features = "{}", const QString &collabUrl = QString());
    PresenterCollab *startSession(PresenterClient &client);

    std::unique_ptr<EventBusServer> bus;
    std::unique_ptr<RestService> service;
};

void tst_Session::init()
{
    bus.reset(new EventBusServer);
    service.reset(new RestService);
}

void tst_Session::cleanup()
{
    QCOMPARE(service->faults(), QStringList());
}

// Signs ann in and creates session CODE.
void tst_Session::createSession(PresenterClient &client)
{
    service->expect(LOGIN, ANN).json(R"({"infoMsgs":["success"]})");
    client.doLogin(u"ann"_s, u"pw"_s);
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    if (!client.doStartSession(QString()))
        qFatal("no session");
}

// The four requests of a start that succeeds, on a collaboration server other than the bus if one is
// named.
void tst_Session::scriptStart(const QByteArray &features, const QString &collabUrl)
{
    const QString url = collabUrl.isEmpty() ? bus->url() : collabUrl;
    service->expect(COLLAB_URL, "{}").json("{\"data\":{\"url\":\"" + url.toUtf8() + "\"}}");
    service->expect(FEATURES, "{}").json(features);
    service->expect(START, startBody(url)).json(R"({"data":{"sessionToken":"TOKEN"}})");
    service->expect(JOIN, JOIN_BODY).json(R"({"data":{"userToken":"USER"}})");
}

// Goes on to a session with an open channel.
PresenterCollab *tst_Session::startSession(PresenterClient &client)
{
    createSession(client);
    scriptStart(WEB_SOCKET);
    PresenterCollab *channel = nullptr;
    if (!client.startWebsocket(&channel))
        qFatal("no channel");
    if (!QTest::qWaitFor([&] { return channel->isConnected() && bus->messages().size() == 3; }))
        qFatal("channel not open");
    return channel;
}

// ---- Creating -------------------------------------------------------------------------------------

void tst_Session::sessionIsCreatedForASignedInTeacher_data()
{
    QTest::addColumn<QString>("ignored");
    QTest::newRow("null") << QString();
    QTest::newRow("empty") << "";
    QTest::newRow("anything") << "{\"%1\":1}";
}

void tst_Session::sessionIsCreatedForASignedInTeacher()
{
    QFETCH(QString, ignored);
    PresenterClient client(nullptr, service->url());
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CO%1DE"}})");
    QVERIFY(client.doStartSession(ignored));
    QCOMPARE(client.getSessionCode(), u"CO%1DE"_s);
    QVERIFY(client.getSessionToken().isNull());
}

void tst_Session::teacherIsSignedInAgainFirst()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).json(R"({"infoMsgs":["success"]})");
    QVERIFY(client.doLogin(u"ann"_s, u"pw"_s));

    // The query clears the user id; signing in again still knows it.
    service->expect(USER, "{}").json(R"({"data":{}})");
    service->expect(LOGIN, ANN).json(R"({"infoMsgs":["success"]})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    QVERIFY(client.doStartSession(QString()));
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
}

void tst_Session::teacherIsSignedInAgainWithoutAReplyToTheUserQuery()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    service->expect(USER, "{}").status("500 Broken");
    service->expect(LOGIN, ANN).json(R"({"infoMsgs":["success"]})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    QVERIFY(client.doStartSession(QString()));
}

void tst_Session::failedSignInStopsTheSession()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    service->expect(USER, "{}").json("{}");
    service->expect(LOGIN, ANN).status("403 No", R"({"errorMsgKeys":["login.error.password"]})");
    QVERIFY(!client.doStartSession(QString()));
    QCOMPARE(client.getLastErrorKey(), u"login.error.password"_s);
    QVERIFY(client.getSessionCode().isNull());
}

void tst_Session::failedSignInKeepsTheEarlierSession()
{
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(USER, "{}").json("{}");
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!client.doStartSession(QString()));
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
    QCOMPARE(client.getSessionToken(), u"TOKEN"_s);
    service->expect(STOP, TOKEN_BODY);
}

void tst_Session::signedOutClientWithoutCredentialsSendsNoMore()
{
    PresenterClient client(nullptr, service->url());
    service->expect(USER, "{}").json("{}");
    QVERIFY(!client.doStartSession(QString()));
    QCOMPARE(service->requests().size(), 1);
}

void tst_Session::earlierErrorKeyStandsWhenNobodyIsSignedIn()
{
    PresenterClient client(nullptr, service->url());
    service->expect(LOGIN, R"({"userId":"","password":"pw","sourceSystem":"Corvel"})")
        .status("403 No", R"({"errorMsgKeys":["login.error.password"]})");
    QVERIFY(!client.doLogin(QString(), u"pw"_s));
    service->expect(USER, "{}").json("{}");
    QVERIFY(!client.doStartSession(QString()));
    QCOMPARE(client.getLastErrorKey(), u"login.error.password"_s);
}

void tst_Session::emptyCodeAndTokenCountAsASession()
{
    PresenterClient client(nullptr, service->url());
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":""}})");
    QVERIFY(client.doStartSession(QString()));

    const QByteArray url = bus->url().toUtf8();
    service->expect(COLLAB_URL, "{}").json("{\"data\":{\"url\":\"" + url + "\"}}");
    service->expect(FEATURES, "{}").json(WEB_SOCKET);
    service
        ->expect(START,
                 "{\"sessionCode\": \"\",\"serverUrl\":\"" + url
                     + "\",\"sourceSystem\":\"Corvel\",\"version\":\"3.0.0\"}")
        .json(R"({"data":{"sessionToken":""}})");
    service->expect(JOIN, QByteArray(JOIN_BODY).replace("CODE", "")).json("{}");
    PresenterCollab *channel = nullptr;
    QVERIFY(client.startWebsocket(&channel));

    service->expect(LEARNERS, R"({"sessionToken":""})");
    QVERIFY(client.doGetLearners());
    service->expect(STOP, R"({"sessionToken":""})");
    QVERIFY(client.doStopSession());
}

void tst_Session::failedCreationIsReported_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QString>("key");
    QTest::newRow("refused with a key")
        << QByteArray("403 No") << REFUSED << "session.error.refused";
    QTest::newRow("refused without a key") << QByteArray("403 No") << QByteArray("{}") << QString();
    QTest::newRow("refused, not in JSON") << QByteArray("500 Broken") << NO_JSON << QString();
    QTest::newRow("no code") << QByteArray("200 OK") << QByteArray(R"({"data":{}})") << QString();
    QTest::newRow("null code") << QByteArray("200 OK")
                               << QByteArray(R"({"data":{"sessionCode":null}})") << QString();
    QTest::newRow("code of a wrong kind")
        << QByteArray("200 OK") << QByteArray(R"({"data":{"sessionCode":["c"]}})") << QString();
    QTest::newRow("keys of a good reply are not read")
        << QByteArray("200 OK") << REFUSED << QString();
    QTest::newRow("no json") << QByteArray("200 OK") << NO_JSON << QString();
}

void tst_Session::failedCreationIsReported()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    QFETCH(QString, key);
    PresenterClient client(nullptr, service->url());
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").status(status, reply);
    QVERIFY(!client.doStartSession(QString()));
    QVERIFY(client.getSessionCode().isNull());
    QCOMPARE(client.getLastErrorKey(), key);
    QVERIFY(client.isLoggedIn());
}

void tst_Session::newSessionForgetsTheEarlierOne()
{
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").status("403 No", REFUSED);
    QVERIFY(!client.doStartSession(QString()));
    QVERIFY(client.getSessionCode().isNull());
    QVERIFY(client.getSessionToken().isNull());
    QCOMPARE(client.getLastErrorKey(), u"session.error.refused"_s);

    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"SECOND"}})");
    QVERIFY(client.doStartSession(QString()));
    QVERIFY(client.getLastErrorKey().isNull());
    QCOMPARE(client.getSessionCode(), u"SECOND"_s);
}

// ---- Starting and joining -------------------------------------------------------------------------

void tst_Session::sessionIsStartedJoinedAndItsChannelOpened()
{
    PresenterClient client(nullptr, service->url());
    createSession(client);
    scriptStart(R"({"data":{"sockJSProtocols":["websocket","xhr-polling"]}})");
    PresenterCollab *channel = nullptr;
    LogCapture log;
    QVERIFY(client.startWebsocket(&channel));
    QVERIFY(channel);
    QCOMPARE(channel->parent(), &client);
    QCOMPARE(channel->getSessionCode(), u"CODE"_s);
    QCOMPARE(channel->getSessionToken(), u"TOKEN"_s);
    QCOMPARE(channel->getUserToken(), u"USER"_s);
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
    QCOMPARE(client.getSessionToken(), u"TOKEN"_s);
    QCOMPARE(client.getUserToken(), u"USER"_s);
    QCOMPARE(client.getCollabServerUrl(), bus->url());

    QCOMPARE(log.messages().mid(0, 6),
             (QStringList{
                 "[REST Response] {\"data\":{\"url\":\"" + bus->url() + "\"}}",
                 R"([REST Response] {"data":{"sockJSProtocols":["websocket","xhr-polling"]}})",
                 R"([REST Response] {"data":{"sessionToken":"TOKEN"}})",
                 R"([REST Response] {"data":{"userToken":"USER"}})",
                 "TOKEN " + bus->url(),
                 "Connecting to collaboration server: " + bus->url() + " [websocket, xhr-polling]",
             }));

    QTRY_COMPARE(bus->messages(),
                 (QStringList{
                     R"({"type":"register","address":"TOKEN"})",
                     R"({"type":"register","address":"TOKEN.presenter"})",
                     R"({"type":"register","address":"TOKEN.presenter.USER"})",
                 }));
    service->expect(STOP, TOKEN_BODY);
}

void tst_Session::valuesAreSentAsTheyAre()
{
    PresenterClient client(nullptr, service->url());
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"%1a%20"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"%2%0"}})");
    QVERIFY(client.doStartSession(QString()));

    const QString url = bus->url() + u"/%1/%20"_s;
    service->expect(COLLAB_URL, "{}").json("{\"data\":{\"url\":\"" + url.toUtf8() + "\"}}");
    service->expect(FEATURES, "{}").json(WEB_SOCKET);
    service
        ->expect(START,
                 "{\"sessionCode\": \"%2%0\",\"serverUrl\":\"" + url.toUtf8()
                     + "\",\"sourceSystem\":\"Corvel\",\"version\":\"3.0.0\"}")
        .json(R"({"data":{"sessionToken":"t%0%1%%"}})");
    service
        ->expect(
            JOIN,
            R"({"userName":"SessionStarter","sessionCode":"%2%0","mode":"presenter","deviceName":"%1a%20_SessionStarter","deviceType":"presenter"})")
        .json(R"({"data":{"userToken":"u%1"}})");
    PresenterCollab *channel = nullptr;
    QVERIFY(client.startWebsocket(&channel));
    QCOMPARE(channel->getSessionToken(), u"t%0%1%%"_s);
    QCOMPARE(channel->getUserToken(), u"u%1"_s);

    service->expect(LEARNERS, R"({"sessionToken":"t%0%1%%"})");
    QVERIFY(client.doGetLearners());
    service->expect(STOP, R"({"sessionToken":"t%0%1%%"})");
    QVERIFY(client.doStopSession());
}

void tst_Session::channelGetsTheTransports_data()
{
    QTest::addColumn<QStringList>("overriding");
    QTest::addColumn<QByteArray>("features");
    QTest::addColumn<QString>("transports");
    QTest::newRow("of the tenant, in its order")
        << QStringList()
        << QByteArray(R"({"data":{"sockJSProtocols":["websocket","xhr-streaming","unknown"]}})")
        << "websocket, xhr-streaming, unknown";
    QTest::newRow("none") << QStringList() << QByteArray(R"({"data":{}})") << "";
    QTest::newRow("not in JSON") << QStringList() << NO_JSON << "";
    QTest::newRow("a bare text") << QStringList()
                                 << QByteArray(R"({"data":{"sockJSProtocols":"websocket"}})")
                                 << "websocket";
    QTest::newRow("one instead of three")
        << QStringList{"websocket"}
        << QByteArray(R"({"data":{"sockJSProtocols":["xhr-polling","xhr-streaming","websocket"]}})")
        << "websocket";
    QTest::newRow("two instead of none")
        << QStringList{"websocket", "xhr-polling"} << QByteArray("{}") << "websocket, xhr-polling";
}

void tst_Session::channelGetsTheTransports()
{
    QFETCH(QStringList, overriding);
    QFETCH(QByteArray, features);
    QFETCH(QString, transports);
    PresenterClient client(nullptr, service->url());
    client.setSockJSOverrideProtocols(overriding);
    createSession(client);
    scriptStart(features);
    PresenterCollab *channel = nullptr;
    LogCapture log;
    QVERIFY(client.startWebsocket(&channel));
    QCOMPARE(
        log.startingWith(u"Connecting to collaboration server"_s),
        QStringList{"Connecting to collaboration server: " + bus->url() + " [" + transports + "]"});
    QCOMPARE(log.contains(u"[SockJSConnector] No protocols specified. Using defaults."_s),
             transports.isEmpty());
    service->expect(STOP, TOKEN_BODY);
}

void tst_Session::emptyOverrideGoesBackToTheTenantsTransports()
{
    PresenterClient client(nullptr, service->url());
    client.setSockJSOverrideProtocols({u"xhr-polling"_s});
    client.setSockJSOverrideProtocols({});
    createSession(client);
    scriptStart(WEB_SOCKET);
    PresenterCollab *channel = nullptr;
    LogCapture log;
    QVERIFY(client.startWebsocket(&channel));
    QVERIFY(log.contains("Connecting to collaboration server: " + bus->url() + " [websocket]"));
    service->expect(STOP, TOKEN_BODY);
}

void tst_Session::missingCollaborationServerEndsTheStart_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("error status") << QByteArray("500 Broken") << REFUSED;
    QTest::newRow("no json") << QByteArray("200 OK") << NO_JSON;
    QTest::newRow("no url") << QByteArray("200 OK") << QByteArray(R"({"data":{}})");
    QTest::newRow("empty url") << QByteArray("200 OK") << QByteArray(R"({"data":{"url":""}})");
}

void tst_Session::missingCollaborationServerEndsTheStart()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    PresenterClient client(nullptr, service->url());
    createSession(client);
    service->expect(COLLAB_URL, "{}").status(status, reply);
    auto *untouched = reinterpret_cast<PresenterCollab *>(1);
    PresenterCollab *channel = untouched;
    LogCapture log;
    QVERIFY(!client.startWebsocket(&channel));
    QCOMPARE(channel, untouched);
    QCOMPARE(log.messages().last(), u"ERROR: Failed to get collab server URL!"_s);
    QVERIFY(client.getLastErrorKey().isNull()); // no failure handler
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
}

void tst_Session::earlierCollaborationServerIsUsedWhenTheQueryFails()
{
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());

    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    QVERIFY(client.doStartSession(QString()));
    service->expect(COLLAB_URL, "{}").status("500 Broken");
    service->expect(FEATURES, "{}").status("500 Broken");
    service->expect(START, startBody(bus->url())).json(R"({"data":{"sessionToken":"TOKEN2"}})");
    service->expect(JOIN, JOIN_BODY).json(R"({"data":{"userToken":"USER2"}})");
    PresenterCollab *channel = nullptr;
    LogCapture log;
    QVERIFY(client.startWebsocket(&channel));
    QVERIFY(log.contains("Connecting to collaboration server: " + bus->url() + " [websocket]"));
    QCOMPARE(channel->getSessionToken(), u"TOKEN2"_s);
    service->expect(STOP, R"({"sessionToken":"TOKEN2"})");
}

void tst_Session::refusedStartMakesNoChannel()
{
    PresenterClient client(nullptr, service->url());
    createSession(client);
    service->expect(COLLAB_URL, "{}").json(R"({"data":{"url":"http://127.0.0.1:1"}})");
    service->expect(FEATURES, "{}");
    service->expect(START, startBody(u"http://127.0.0.1:1"_s)).status("409 No", REFUSED);
    PresenterCollab *channel = nullptr;
    QVERIFY(!client.startWebsocket(&channel));
    QVERIFY(!channel);
    QVERIFY(!client.findChild<PresenterCollab *>());
    QCOMPARE(client.getLastErrorKey(), u"session.error.refused"_s);
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
    QVERIFY(client.getSessionToken().isNull());
}

void tst_Session::refusedStartWithoutAKeyForgetsAnEarlierKey()
{
    PresenterClient client(nullptr, service->url());
    createSession(client);
    service->expect(LOGIN, ANN).status("403 No", R"({"errorMsgKeys":["login.error"]})");
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));

    service->expect(COLLAB_URL, "{}").json("{\"data\":{\"url\":\"" + bus->url().toUtf8() + "\"}}");
    service->expect(FEATURES, "{}").json(WEB_SOCKET);
    service->expect(START, startBody(bus->url())).status("409 No", "{}");
    service->expect(JOIN, JOIN_BODY).json("{}");
    PresenterCollab *channel = nullptr;
    QVERIFY(client.startWebsocket(&channel));
    QVERIFY(client.getLastErrorKey().isNull());
}

void tst_Session::untrustedServiceEndsTheStartEvenWithAnEarlierServer()
{
    TestCertificates certificates;
    certificates.trustNobody();
    RestService untrusted(certificates.issue(u"localhost"_s).serverConfiguration());
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"ann"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"CODE"}})");
    QVERIFY(client.doStartSession(QString()));

    // From here on nothing is sent, as nobody's certificate is trusted.
    service->expect(COLLAB_URL, "{}").redirect(untrusted.url().toUtf8());
    PresenterCollab *channel = nullptr;
    QVERIFY(!client.startWebsocket(&channel));
    QVERIFY(!channel);
    QCOMPARE(client.getLastErrorKey(), u"SSLRootCertificateMissing"_s);
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
    QVERIFY(client.getSessionToken().isNull());
    QVERIFY(untrusted.requests().isEmpty());
}

void tst_Session::failedStartWithoutAnErrorKeyGoesOn_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("error status") << QByteArray("500 Broken") << NO_JSON;
    QTest::newRow("no token") << QByteArray("200 OK") << QByteArray("{}");
    QTest::newRow("keys of a good reply are not read") << QByteArray("200 OK") << REFUSED;
}

void tst_Session::failedStartWithoutAnErrorKeyGoesOn()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    PresenterClient client(nullptr, service->url());
    createSession(client);
    service->expect(COLLAB_URL, "{}").json("{\"data\":{\"url\":\"" + bus->url().toUtf8() + "\"}}");
    service->expect(FEATURES, "{}").json(WEB_SOCKET);
    service->expect(START, startBody(bus->url())).status(status, reply);
    service->expect(JOIN, JOIN_BODY).json(R"({"data":{"userToken":"USER"}})");
    PresenterCollab *channel = nullptr;
    QVERIFY(client.startWebsocket(&channel));
    QVERIFY(channel);
    QVERIFY(channel->getSessionToken().isNull());
    QVERIFY(client.getSessionToken().isNull());
}

void tst_Session::failedJoinIsNotDetected_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("error status") << QByteArray("403 No") << REFUSED;
    QTest::newRow("no json") << QByteArray("200 OK") << NO_JSON;
    QTest::newRow("no token") << QByteArray("200 OK") << QByteArray("{}");
}

void tst_Session::failedJoinIsNotDetected()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    PresenterClient client(nullptr, service->url());
    createSession(client);
    service->expect(COLLAB_URL, "{}").json("{\"data\":{\"url\":\"" + bus->url().toUtf8() + "\"}}");
    service->expect(FEATURES, "{}").json(WEB_SOCKET);
    service->expect(START, startBody(bus->url())).json(R"({"data":{"sessionToken":"TOKEN"}})");
    service->expect(JOIN, JOIN_BODY).status(status, reply);
    PresenterCollab *channel = nullptr;
    QVERIFY(client.startWebsocket(&channel));
    QVERIFY(channel->getUserToken().isNull());
    QVERIFY(client.getLastErrorKey().isNull());
    service->expect(STOP, TOKEN_BODY);
}

void tst_Session::channelIsMadeEvenIfItCannotConnect()
{
    const DeadPort port;
    const QString url = u"http://127.0.0.1:%1"_s.arg(quint16(port));
    PresenterClient client(nullptr, service->url());
    createSession(client);
    scriptStart(WEB_SOCKET, url);
    PresenterCollab *channel = nullptr;
    QVERIFY(client.startWebsocket(&channel));
    QVERIFY(channel);
    QVERIFY(!channel->isConnected());
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
}

void tst_Session::secondChannelLeavesTheFirst()
{
    PresenterClient client(nullptr, service->url());
    const QPointer<PresenterCollab> first = startSession(client);
    scriptStart(WEB_SOCKET);
    PresenterCollab *second = nullptr;
    QVERIFY(client.startWebsocket(&second));
    QVERIFY(first);
    QVERIFY(second != first);
    QCOMPARE(first->parent(), &client);
    QVERIFY(first->isConnected());
    QTRY_VERIFY(second->isConnected());

    // Only the second is closed with the session; the first goes with the client.
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    QVERIFY(first->isConnected());
    QVERIFY(!second->isConnected());
}

void tst_Session::secondChannelIsKeptWhenTheHostDeletesTheFirst()
{
    PresenterClient client(nullptr, service->url());
    const PresenterCollab *first = startSession(client);
    scriptStart(WEB_SOCKET);
    PresenterCollab *second = nullptr;
    QVERIFY(client.startWebsocket(&second));
    QTRY_VERIFY(second->isConnected());
    delete first;
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    QVERIFY(!second->isConnected());
}

// ---- Learners -------------------------------------------------------------------------------------

void tst_Session::learnersAreListed_data()
{
    QTest::addColumn<QByteArray>("users");
    QTest::addColumn<QStringList>("learners");
    QTest::newRow("learners alone") << QByteArray(R"([
            {"mode":"learner","userToken":"d1","userName":"Änn","deviceType":"tablet"},
            {"mode":"Learner","userToken":"d2","userName":"Bob","deviceType":"tablet"},
            {"mode":"presenter","userToken":"d3","userName":"SessionStarter","deviceType":"presenter"}])")
                                    << QStringList{u"d1 Änn tablet"_s};
    QTest::newRow("in order") << QByteArray(R"([
            {"mode":"learner","userToken":"d2","userName":"B","deviceType":"phone"},
            {"mode":"learner","userToken":"d1","userName":"A","deviceType":"tablet"}])")
                              << QStringList{"d2 B phone", "d1 A tablet"};
    QTest::newRow("missing fields") << QByteArray(R"([{"mode":"learner"}])") << QStringList{"  "};
    QTest::newRow("numbers as text")
        << QByteArray(R"([{"mode":"learner","userToken":7,"userName":8,"deviceType":9}])")
        << QStringList{"7 8 9"};
    QTest::newRow("wrong kinds") << QByteArray(
        R"([1,"learner",null,["learner"],{"mode":["learner"]},{"mode":null}])")
                                 << QStringList();
    QTest::newRow("empty") << QByteArray("[]") << QStringList();
}

void tst_Session::learnersAreListed()
{
    QFETCH(QByteArray, users);
    QFETCH(QStringList, learners);
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(LEARNERS, TOKEN_BODY)
        .json(R"({"data":{"users":[{"mode":"learner","userToken":"earlier"}]}})");
    QVERIFY(client.doGetLearners());
    QCOMPARE(client.getLearners().size(), 1);

    service->expect(LEARNERS, TOKEN_BODY).json("{\"data\":{\"users\":" + users + "}}");
    QVERIFY(client.doGetLearners());
    QStringList found;
    for (const Tarvo::Learner &learner : client.getLearners())
        found.append(learner.deviceId + ' ' + learner.userName + ' ' + learner.deviceType);
    QCOMPARE(found, learners);
    service->expect(STOP, TOKEN_BODY);
}

void tst_Session::failedLearnersRequestKeepsTheList_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("error status") << QByteArray("500 Broken") << REFUSED;
    QTest::newRow("no json") << QByteArray("200 OK") << NO_JSON;
    QTest::newRow("no users") << QByteArray("200 OK") << QByteArray(R"({"data":{}})");
    QTest::newRow("users of a wrong kind")
        << QByteArray("200 OK") << QByteArray(R"({"data":{"users":{"mode":"learner"}}})");
    QTest::newRow("users as a bare text")
        << QByteArray("200 OK") << QByteArray(R"({"data":{"users":"learner"}})");
    QTest::newRow("null users") << QByteArray("200 OK") << QByteArray(R"({"data":{"users":null}})");
}

void tst_Session::failedLearnersRequestKeepsTheList()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(LEARNERS, TOKEN_BODY)
        .json(R"({"data":{"users":[{"mode":"learner","userToken":"d1"}]}})");
    QVERIFY(client.doGetLearners());
    service->expect(LEARNERS, TOKEN_BODY).status(status, reply);
    QVERIFY(client.doGetLearners());
    QCOMPARE(client.getLearners().size(), 1);
    QCOMPARE(client.getLearners().first().deviceId, u"d1"_s);
    QVERIFY(client.getLastErrorKey().isNull());
    service->expect(STOP, TOKEN_BODY);
}

void tst_Session::learnersWithoutASessionSendNothing()
{
    PresenterClient client(nullptr, service->url());
    LogCapture log;
    QVERIFY(!client.doGetLearners());
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to get users for!"});
    QVERIFY(service->requests().isEmpty());
}

// ---- Stopping -------------------------------------------------------------------------------------

void tst_Session::stopClosesTheChannelAndTellsTheService()
{
    PresenterClient client(nullptr, service->url());
    PresenterCollab *channel = startSession(client);
    QSignalSpy closed(channel, &PresenterCollab::connectionClosed);
    bool closedBeforeTheRequest = false;
    service->expect(STOP, TOKEN_BODY).json("{}").hold().meanwhile([&] {
        closedBeforeTheRequest = closed.count() == 1;
        service->release();
    });
    LogCapture log;
    QVERIFY(client.doStopSession());
    QVERIFY(closedBeforeTheRequest);
    QVERIFY(!channel->isConnected());
    QCOMPARE(closed.count(), 1);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(client.getSessionToken().isNull());
    QVERIFY(client.getSessionCode().isNull());
    const QStringList lines = log.messages();
    QCOMPARE(lines.count(u"[PresenterClient] Stopping session, closing websocket..."_s), 1);
    QVERIFY(lines.indexOf(u"[PresenterClient] Stopping session, closing websocket..."_s)
            > lines.indexOf(u"[REST Response] {}"_s));

    QTRY_VERIFY(!bus->hasConnection());
    QCOMPARE(bus->messages().size(), 4);
    QVERIFY(bus->messages().last().contains(uR"("type":"disconnect")"_s));
}

void tst_Session::stopSucceedsWhateverTheServiceSays_data()
{
    QTest::addColumn<QByteArray>("status");
    QTest::addColumn<QByteArray>("reply");
    QTest::newRow("error status") << QByteArray("500 Broken") << REFUSED;
    QTest::newRow("no json") << QByteArray("200 OK") << NO_JSON;
    QTest::newRow("failure told in JSON") << QByteArray("200 OK") << REFUSED;
}

void tst_Session::stopSucceedsWhateverTheServiceSays()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(STOP, TOKEN_BODY).status(status, reply);
    QVERIFY(client.doStopSession());
    QVERIFY(client.getSessionToken().isNull());
    QVERIFY(client.getSessionCode().isNull());
    QVERIFY(client.getLastErrorKey().isNull());
    QVERIFY(client.isLoggedIn());

    QVERIFY(!client.doStopSession());
}

void tst_Session::redirectedStopEndsTheSessionAndIsNotRepeated()
{
    RestService present;
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(STOP, TOKEN_BODY).redirect(present.url().toUtf8() + STOP);
    QVERIFY(client.doStopSession());
    QVERIFY(client.getSessionToken().isNull());
    QVERIFY(client.getSessionCode().isNull());
    QCOMPARE(client.getServerUrl(), present.url());
    QVERIFY(present.requests().isEmpty());
}

void tst_Session::stopWithoutASessionSendsNothing()
{
    PresenterClient client(nullptr, service->url());
    LogCapture log;
    QVERIFY(!client.doStopSession());
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to stop!"});
    QVERIFY(service->requests().isEmpty());
}

void tst_Session::stopOfACreatedSessionSendsNothing()
{
    PresenterClient client(nullptr, service->url());
    createSession(client);
    LogCapture log;
    QVERIFY(!client.doStopSession());
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to stop!"});
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
}

void tst_Session::stopWithoutAChannelTellsTheService()
{
    PresenterClient client(nullptr, service->url());
    createSession(client);
    // The start succeeds, but an error from before it keeps the channel from being made.
    service->expect(LOGIN, ANN).status("403 No", R"({"errorMsgKeys":["login.error"]})");
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    service->expect(COLLAB_URL, "{}").json(R"({"data":{"url":"http://127.0.0.1:1"}})");
    service->expect(FEATURES, "{}");
    service->expect(START, startBody(u"http://127.0.0.1:1"_s))
        .json(R"({"data":{"sessionToken":"TOKEN"}})");
    PresenterCollab *channel = nullptr;
    QVERIFY(!client.startWebsocket(&channel));
    QCOMPARE(client.getSessionToken(), u"TOKEN"_s);

    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    QVERIFY(client.getSessionToken().isNull());
}

void tst_Session::stopAfterTheHostDeletedTheChannelTellsTheService()
{
    PresenterClient client(nullptr, service->url());
    delete startSession(client);
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    QVERIFY(client.getSessionToken().isNull());
}

void tst_Session::logoutStopsTheSessionFirst()
{
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(STOP, TOKEN_BODY);
    service->expect(LOGOUT, "{}");
    QVERIFY(client.doLogout());
    QVERIFY(client.getSessionToken().isNull());
    QVERIFY(!client.isLoggedIn());
}

void tst_Session::logoutWithACreatedSessionOnlySignsOut()
{
    PresenterClient client(nullptr, service->url());
    createSession(client);
    service->expect(LOGOUT, "{}");
    LogCapture log;
    QVERIFY(client.doLogout());
    QVERIFY(log.contains(u"[PresenterClient] No session to stop!"_s));
    QCOMPARE(client.getSessionCode(), u"CODE"_s);
    QVERIFY(!client.isLoggedIn());
}

void tst_Session::logoutWithoutSignInStillStopsTheSession()
{
    PresenterClient client(nullptr, service->url());
    startSession(client);
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!client.doLogin(u"ann"_s, u"pw"_s));
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doLogout());
    QVERIFY(client.getSessionToken().isNull());
}

// ---- The client's end -----------------------------------------------------------------------------

void tst_Session::destructionStopsTheSession()
{
    QPointer<PresenterCollab> channel;
    {
        PresenterClient client(nullptr, service->url());
        channel = startSession(client);
        service->expect(STOP, TOKEN_BODY);
    }
    QVERIFY(channel.isNull());
    QTRY_VERIFY(!bus->hasConnection());
    QCOMPARE(bus->messages().size(), 4); // the last words of the channel arrived
}

void tst_Session::destructionOfACreatedSessionSendsNothing()
{
    auto *client = new PresenterClient(nullptr, service->url());
    createSession(*client);
    LogCapture log;
    delete client;
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to stop!"});
}

void tst_Session::clientDeletedWhileStarting_data()
{
    QTest::addColumn<int>("answered");
    QTest::newRow("finding the collaboration server") << 0;
    QTest::newRow("reading the tenant's features") << 1;
    QTest::newRow("starting") << 2;
    QTest::newRow("joining") << 3;
}

void tst_Session::clientDeletedWhileStarting()
{
    QFETCH(int, answered);
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    createSession(*client);

    const QByteArray url = bus->url().toUtf8();
    const QByteArray paths[] = {COLLAB_URL, FEATURES, START, JOIN};
    const QByteArray bodies[] = {"{}", "{}", startBody(bus->url()), JOIN_BODY};
    const QByteArray replies[] = {"{\"data\":{\"url\":\"" + url + "\"}}", "{}",
                                  R"({"data":{"sessionToken":"TOKEN"}})"};
    for (int i = 0; i < answered; ++i)
        service->expect(paths[i], bodies[i]).json(replies[i]);
    service->expect(paths[answered], bodies[answered]).silence().meanwhile([&] {
        if (answered == 3) // the session runs already, so the destructor stops it
            service->expect(STOP, TOKEN_BODY);
        delete client;
    });

    PresenterCollab *channel = nullptr;
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client->startWebsocket(&channel));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.isNull());
    QVERIFY(!channel);
}

void tst_Session::clientDeletedWhileCreating_data()
{
    QTest::addColumn<int>("answered");
    QTest::newRow("asking for the user") << 0;
    QTest::newRow("signing in again") << 1;
    QTest::newRow("creating") << 2;
}

void tst_Session::clientDeletedWhileCreating()
{
    QFETCH(int, answered);
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!client->doLogin(u"ann"_s, u"pw"_s));

    const QByteArray paths[] = {USER, LOGIN, CREATE};
    const QByteArray bodies[] = {"{}", ANN, "{}"};
    const QByteArray replies[] = {"{}", R"({"infoMsgs":["success"]})"};
    for (int i = 0; i < answered; ++i)
        service->expect(paths[i], bodies[i]).json(replies[i]);
    service->expect(paths[answered], bodies[answered]).silence().meanwhile([&] { delete client; });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client->doStartSession(QString()));
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.isNull());
}

void tst_Session::clientDeletedWhileTheChannelOpens()
{
    QTcpServer silent; // takes the connection and never answers the handshake
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QString url = u"http://127.0.0.1:%1"_s.arg(silent.serverPort());
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    createSession(*client);
    scriptStart(WEB_SOCKET, url);
    connect(
        &silent, &QTcpServer::newConnection, client,
        [&] {
            service->expect(STOP, TOKEN_BODY);
            delete client;
        },
        Qt::QueuedConnection);
    PresenterCollab *channel = nullptr;
    QVERIFY(!client->startWebsocket(&channel));
    QVERIFY(client.isNull());
    QVERIFY(!channel);
}

void tst_Session::channelDeletedWhileItOpens()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    const QString url = u"http://127.0.0.1:%1"_s.arg(silent.serverPort());
    PresenterClient client(nullptr, service->url());
    createSession(client);
    scriptStart(WEB_SOCKET, url);
    connect(
        &silent, &QTcpServer::newConnection, &client,
        [&] { delete client.findChild<PresenterCollab *>(); }, Qt::QueuedConnection);
    PresenterCollab *channel = nullptr;
    QVERIFY(!client.startWebsocket(&channel));
    QVERIFY(!channel);
    QCOMPARE(client.getSessionToken(), u"TOKEN"_s);
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
}

void tst_Session::clientDeletedFromConnectionClosed()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    PresenterCollab *channel = startSession(*client);
    connect(channel, &PresenterCollab::connectionClosed, this, [&] { delete client; });
    service->expect(STOP, TOKEN_BODY); // by the destructor
    QVERIFY(!client->doStopSession());
    QVERIFY(client.isNull());
}

void tst_Session::channelDeletedFromConnectionClosed()
{
    PresenterClient client(nullptr, service->url());
    PresenterCollab *channel = startSession(client);
    connect(channel, &PresenterCollab::connectionClosed, this, [&] { delete channel; });
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    QVERIFY(client.getSessionToken().isNull());
}

void tst_Session::sessionStoppedFromConnectionClosed()
{
    // Both calls tell the service; the outer one, too, names the session that it was asked to stop.
    PresenterClient client(nullptr, service->url());
    PresenterCollab *channel = startSession(client);
    bool inner = false;
    connect(channel, &PresenterCollab::connectionClosed, this,
            [&] { inner = client.doStopSession(); });
    service->expect(STOP, TOKEN_BODY);
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    QVERIFY(inner);
}

void tst_Session::channelThatTheHostCutOffIsForgotten()
{
    PresenterClient client(nullptr, service->url());
    PresenterCollab *channel = startSession(client);
    channel->disconnect(); // everybody, the client too
    delete channel;
    service->expect(STOP, TOKEN_BODY);
    QVERIFY(client.doStopSession());
    QVERIFY(client.getSessionToken().isNull());
}

void tst_Session::clientWithASessionDeletedDuringAWait()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    QPointer<PresenterCollab> channel = startSession(*client);
    service->expect(LEARNERS, TOKEN_BODY).silence().meanwhile([&] {
        service->expect(STOP, TOKEN_BODY); // waited for inside the wait for the learners
        delete client;
    });
    QElapsedTimer clock;
    clock.start();
    QVERIFY(!client->doGetLearners());
    QVERIFY(clock.elapsed() < AT_ONCE_MS);
    QVERIFY(client.isNull());
    QVERIFY(channel.isNull());
}

void tst_Session::clientDeletedWhileItLogsOut()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    startSession(*client);
    service->expect(STOP, TOKEN_BODY);
    service->expect(LOGOUT, "{}").silence().meanwhile([&] { delete client; });
    QVERIFY(!client->doLogout());
    QVERIFY(client.isNull());
}

void tst_Session::parentDeletedWhileTheClientGoes()
{
    auto *parent = new QObject;
    QPointer<PresenterClient> client = new PresenterClient(parent, service->url());
    startSession(*client);
    service->expect(STOP, TOKEN_BODY).hold().meanwhile([&] {
        delete parent;
        service->release();
    });
    delete client;
    QVERIFY(client.isNull());
}

void tst_Session::clientDeletedThatWasToBeDeletedLater()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    startSession(*client);
    service->expect(STOP, TOKEN_BODY).hold().meanwhile([&] { service->release(); });
    client->deleteLater();
    delete client; // the wait inside must not carry out the other
    QVERIFY(client.isNull());
}

void tst_Session::clientToBeDeletedLaterWhileItStopsItsSession()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    startSession(*client);
    service->expect(STOP, TOKEN_BODY).hold().meanwhile([&] {
        client->deleteLater();
        QTimer::singleShot(50, service.get(), [this] { service->release(); });
    });
    delete client;
    QVERIFY(client.isNull());
}

void tst_Session::clientToBeDeletedLaterWhenItsChannelCloses()
{
    QPointer<PresenterClient> client = new PresenterClient(nullptr, service->url());
    connect(startSession(*client), &PresenterCollab::connectionClosed, client.data(),
            &QObject::deleteLater);
    service->expect(STOP, TOKEN_BODY).hold().meanwhile([&] {
        QTimer::singleShot(50, service.get(), [this] { service->release(); });
    });
    delete client;
    QVERIFY(client.isNull());
}

void tst_Session::clientDeletedByItsParentStopsTheSession()
{
    auto *parent = new QObject;
    QPointer<PresenterClient> client = new PresenterClient(parent, service->url());
    const QPointer<QObject> sibling = new QObject(parent);
    startSession(*client);
    service->expect(STOP, TOKEN_BODY);
    delete parent;
    QVERIFY(client.isNull());
    QVERIFY(sibling.isNull());
}

QTEST_GUILESS_MAIN(tst_Session)
#include "tst_session.moc"
