// From a session that was created to its open channel.

#include "client/SessionTest.h"

#include "sockjs/DeadPort.h"
#include "support/LogCapture.h"
#include "support/TestCertificates.h"

class tst_SessionStart : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
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
};

void tst_SessionStart::sessionIsStartedJoinedAndItsChannelOpened()
{
    createSession();
    expectAll(startOperations(bus->url(), R"(websocket","xhr-polling)"));
    LogCapture log;
    QVERIFY(openChannel());
    QVERIFY(channel);
    QCOMPARE(channel->parent(), client.data());
    QCOMPARE(channel->getSessionCode(), u"CODE"_s);
    QCOMPARE(channel->getSessionToken(), u"TOKEN"_s);
    QCOMPARE(channel->getUserToken(), u"USER"_s);
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
    QCOMPARE(client->getSessionToken(), u"TOKEN"_s);
    QCOMPARE(client->getUserToken(), u"USER"_s);
    QCOMPARE(client->getCollabServerUrl(), bus->url());

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
    expectStop();
}

void tst_SessionStart::valuesAreSentAsTheyAre()
{
    service->expect(USER, "{}").json(R"({"data":{"userLoginId":"%1a%20"}})");
    service->expect(CREATE, "{}").json(R"({"data":{"sessionCode":"%2%0"}})");
    QVERIFY(create());

    const QString url = bus->url() + u"/%1/%20"_s;
    expectAll(startOperations(url).mid(0, 2));
    service->expect(START, startBody(url, "%2%0")).json(R"({"data":{"sessionToken":"t%0%1%%"}})");
    service
        ->expect(
            JOIN,
            R"({"userName":"SessionStarter","sessionCode":"%2%0","mode":"presenter","deviceName":"%1a%20_SessionStarter","deviceType":"presenter"})")
        .json(R"({"data":{"userToken":"u%1"}})");
    QVERIFY(openChannel());
    QCOMPARE(channel->getSessionToken(), u"t%0%1%%"_s);
    QCOMPARE(channel->getUserToken(), u"u%1"_s);

    service->expect(LEARNERS, R"({"sessionToken":"t%0%1%%"})");
    QVERIFY(client->doGetLearners());
    service->expect(STOP, R"({"sessionToken":"t%0%1%%"})");
    QVERIFY(client->doStopSession());
}

void tst_SessionStart::channelGetsTheTransports_data()
{
    QTest::addColumn<QStringList>("overriding");
    QTest::addColumn<QByteArray>("features");
    QTest::addColumn<QString>("transports");
    const auto row = [](const char *name, const QStringList &overriding, const char *features,
                        const char *transports) {
        QTest::newRow(name) << overriding << QByteArray(features) << transports;
    };
    row("of the tenant, in its order", {},
        R"({"data":{"sockJSProtocols":["websocket","xhr-streaming","unknown"]}})",
        "websocket, xhr-streaming, unknown");
    row("none", {}, R"({"data":{}})", "");
    row("not in JSON", {}, NO_JSON, "");
    row("a bare text", {}, R"({"data":{"sockJSProtocols":"websocket"}})", "websocket");
    row("one instead of three", {"websocket"},
        R"({"data":{"sockJSProtocols":["xhr-polling","xhr-streaming","websocket"]}})", "websocket");
    row("two instead of none", {"websocket", "xhr-polling"}, "{}", "websocket, xhr-polling");
}

void tst_SessionStart::channelGetsTheTransports()
{
    QFETCH(QStringList, overriding);
    QFETCH(QByteArray, features);
    QFETCH(QString, transports);
    client->setSockJSOverrideProtocols(overriding);
    createSession();
    QVector<Operation> start = startOperations(bus->url());
    start[1].reply = features;
    expectAll(start);
    LogCapture log;
    QVERIFY(openChannel());
    QCOMPARE(
        log.startingWith(u"Connecting to collaboration server"_s),
        QStringList{"Connecting to collaboration server: " + bus->url() + " [" + transports + "]"});
    QCOMPARE(log.contains(u"[SockJSConnector] No protocols specified. Using defaults."_s),
             transports.isEmpty());
    expectStop();
}

void tst_SessionStart::emptyOverrideGoesBackToTheTenantsTransports()
{
    client->setSockJSOverrideProtocols({u"xhr-polling"_s});
    client->setSockJSOverrideProtocols({});
    createSession();
    expectAll(startOperations(bus->url()));
    LogCapture log;
    QVERIFY(openChannel());
    QVERIFY(log.contains("Connecting to collaboration server: " + bus->url() + " [websocket]"));
    expectStop();
}

void tst_SessionStart::missingCollaborationServerEndsTheStart_data()
{
    addReplyColumns();
    addReply("error status", "500 Broken", REFUSED);
    addReply("no json", "200 OK", NO_JSON);
    addReply("no url", "200 OK", R"({"data":{}})");
    addReply("empty url", "200 OK", R"({"data":{"url":""}})");
}

void tst_SessionStart::missingCollaborationServerEndsTheStart()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    createSession();
    service->expect(COLLAB_URL, "{}").status(status, reply);
    auto *untouched = reinterpret_cast<PresenterCollab *>(1);
    PresenterCollab *opened = untouched;
    LogCapture log;
    QVERIFY(!client->startWebsocket(&opened));
    QCOMPARE(opened, untouched);
    QCOMPARE(log.messages().last(), u"ERROR: Failed to get collab server URL!"_s);
    QVERIFY(client->getLastErrorKey().isNull()); // no failure handler
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
}

void tst_SessionStart::earlierCollaborationServerIsUsedWhenTheQueryFails()
{
    startSession();
    expectStop();
    QVERIFY(client->doStopSession());

    expectCreation();
    QVERIFY(create());
    service->expect(COLLAB_URL, "{}").status("500 Broken");
    service->expect(FEATURES, "{}").status("500 Broken");
    service->expect(START, startBody(bus->url())).json(R"({"data":{"sessionToken":"TOKEN2"}})");
    service->expect(JOIN, JOIN_BODY).json(R"({"data":{"userToken":"USER2"}})");
    LogCapture log;
    QVERIFY(openChannel());
    QVERIFY(log.contains("Connecting to collaboration server: " + bus->url() + " [websocket]"));
    QCOMPARE(channel->getSessionToken(), u"TOKEN2"_s);
    service->expect(STOP, R"({"sessionToken":"TOKEN2"})");
}

void tst_SessionStart::refusedStartMakesNoChannel()
{
    createSession();
    expectStart(localUrl(1)).status("409 No", REFUSED);
    QVERIFY(!openChannel());
    QVERIFY(!channel);
    QVERIFY(!client->findChild<PresenterCollab *>());
    QCOMPARE(client->getLastErrorKey(), u"session.error.refused"_s);
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
    QVERIFY(client->getSessionToken().isNull());
}

void tst_SessionStart::refusedStartWithoutAKeyForgetsAnEarlierKey()
{
    createSession();
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!login());

    expectStart(bus->url()).status("409 No", "{}");
    service->expect(JOIN, JOIN_BODY).json("{}");
    QVERIFY(openChannel());
    QVERIFY(client->getLastErrorKey().isNull());
}

void tst_SessionStart::untrustedServiceEndsTheStartEvenWithAnEarlierServer()
{
    TestCertificates certificates;
    certificates.trustNobody();
    RestService untrusted(certificates.issue(u"localhost"_s).serverConfiguration());
    startSession();
    expectStop();
    QVERIFY(client->doStopSession());
    expectCreation();
    QVERIFY(create());

    // From here on nothing is sent, as nobody's certificate is trusted.
    service->expect(COLLAB_URL, "{}").redirect(untrusted.url());
    QVERIFY(!openChannel());
    QVERIFY(!channel);
    QCOMPARE(client->getLastErrorKey(), u"SSLRootCertificateMissing"_s);
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
    QVERIFY(client->getSessionToken().isNull());
    QVERIFY(untrusted.requests().isEmpty());
}

void tst_SessionStart::failedStartWithoutAnErrorKeyGoesOn_data()
{
    addReplyColumns();
    addReply("error status", "500 Broken", NO_JSON);
    addReply("no token", "200 OK", "{}");
    addReply("keys of a good reply are not read", "200 OK", REFUSED);
}

void tst_SessionStart::failedStartWithoutAnErrorKeyGoesOn()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    createSession();
    expectStart(bus->url()).status(status, reply);
    service->expect(JOIN, JOIN_BODY).json(R"({"data":{"userToken":"USER"}})");
    QVERIFY(openChannel());
    QVERIFY(channel);
    QVERIFY(channel->getSessionToken().isNull());
    QVERIFY(client->getSessionToken().isNull());
}

void tst_SessionStart::failedJoinIsNotDetected_data()
{
    addReplyColumns();
    addReply("error status", "403 No", REFUSED);
    addReply("no json", "200 OK", NO_JSON);
    addReply("no token", "200 OK", "{}");
}

void tst_SessionStart::failedJoinIsNotDetected()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    createSession();
    expectStart(bus->url()).json(R"({"data":{"sessionToken":"TOKEN"}})");
    service->expect(JOIN, JOIN_BODY).status(status, reply);
    QVERIFY(openChannel());
    QVERIFY(channel->getUserToken().isNull());
    QVERIFY(client->getLastErrorKey().isNull());
    expectStop();
}

void tst_SessionStart::channelIsMadeEvenIfItCannotConnect()
{
    const DeadPort port;
    createSession();
    expectAll(startOperations(localUrl(port)));
    QVERIFY(openChannel());
    QVERIFY(channel);
    QVERIFY(!channel->isConnected());
    expectStop();
    QVERIFY(client->doStopSession());
}

void tst_SessionStart::secondChannelLeavesTheFirst()
{
    startSession();
    const QPointer<PresenterCollab> first = channel;
    expectAll(startOperations(bus->url()));
    QVERIFY(openChannel());
    QVERIFY(first);
    QVERIFY(channel != first);
    QCOMPARE(first->parent(), client.data());
    QVERIFY(first->isConnected());
    QTRY_VERIFY(channel->isConnected());

    // Only the second is closed with the session; the first goes with the client.
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(first->isConnected());
    QVERIFY(!channel->isConnected());
}

void tst_SessionStart::secondChannelIsKeptWhenTheHostDeletesTheFirst()
{
    startSession();
    const PresenterCollab *first = channel;
    expectAll(startOperations(bus->url()));
    QVERIFY(openChannel());
    QTRY_VERIFY(channel->isConnected());
    delete first;
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(!channel->isConnected());
}

QTEST_GUILESS_MAIN(tst_SessionStart)
#include "tst_sessionstart.moc"
