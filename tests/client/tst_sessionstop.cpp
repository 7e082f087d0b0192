// The end of a session at the teacher's wish.

#include "client/SessionTest.h"

#include "support/LogCapture.h"

class tst_SessionStop : public SessionTest
{
    Q_OBJECT

private Q_SLOTS:
    void stopClosesTheChannelAndTellsTheService();
    void everyRequestOfASessionIsJson();
    void stopSucceedsWhateverTheServiceSays_data();
    void stopSucceedsWhateverTheServiceSays();
    void redirectedStopEndsTheSessionAndIsNotRepeated();
    void stopWithoutASessionSendsNothing();
    void stopOfACreatedSessionSendsNothing();
    void stopWithoutAChannelTellsTheService();
    void stopAfterTheHostDeletedTheChannelTellsTheService();
    void logoutStopsTheSessionFirst();
    void logoutWithACreatedSessionOnlySignsOut();
    void logoutWithoutSignInStillStopsTheSession();

    void channelDeletedFromConnectionClosed();
    void sessionStoppedFromConnectionClosed();
    void channelThatTheHostCutOffIsForgotten();
};

void tst_SessionStop::stopClosesTheChannelAndTellsTheService()
{
    startSession();
    QSignalSpy closed(channel.data(), &PresenterCollab::connectionClosed);
    bool closedBeforeTheRequest = false;
    expectStop().json("{}").hold().meanwhile([&] {
        closedBeforeTheRequest = closed.count() == 1;
        service->release();
    });
    LogCapture log;
    QVERIFY(client->doStopSession());
    QVERIFY(closedBeforeTheRequest);
    QVERIFY(!channel->isConnected());
    QCOMPARE(closed.count(), 1);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(client->getSessionToken().isNull());
    QVERIFY(client->getSessionCode().isNull());
    const QStringList lines = log.messages();
    QCOMPARE(lines.count(u"[PresenterClient] Stopping session, closing websocket..."_s), 1);
    QVERIFY(lines.indexOf(u"[PresenterClient] Stopping session, closing websocket..."_s)
            > lines.indexOf(u"[REST Response] {}"_s));

    QTRY_VERIFY(!bus->hasConnection());
    QCOMPARE(bus->messages().size(), 4);
    QVERIFY(bus->messages().last().contains(uR"("type":"disconnect")"_s));
}

void tst_SessionStop::everyRequestOfASessionIsJson()
{
    const QList<QByteArray> json = {"Content-Type: application/json; charset=UTF-8"};
    startSession();
    expectStop();
    QVERIFY(client->doStopSession());
    for (const RestRequest &request : service->requests())
        QVERIFY2(request.headerLines("content-type") == json, request.head.constData());
}

void tst_SessionStop::stopSucceedsWhateverTheServiceSays_data()
{
    addReplyColumns();
    addReply("error status", "500 Broken", REFUSED);
    addReply("no json", "200 OK", NO_JSON);
    addReply("failure told in JSON", "200 OK", REFUSED);
}

void tst_SessionStop::stopSucceedsWhateverTheServiceSays()
{
    QFETCH(QByteArray, status);
    QFETCH(QByteArray, reply);
    startSession();
    expectStop().status(status, reply);
    QVERIFY(client->doStopSession());
    QVERIFY(client->getSessionToken().isNull());
    QVERIFY(client->getSessionCode().isNull());
    QVERIFY(client->getLastErrorKey().isNull());
    QVERIFY(client->isLoggedIn());

    QVERIFY(!client->doStopSession());
}

void tst_SessionStop::redirectedStopEndsTheSessionAndIsNotRepeated()
{
    RestService present;
    startSession();
    expectStop().redirect(present.url(STOP));
    QVERIFY(client->doStopSession());
    QVERIFY(client->getSessionToken().isNull());
    QVERIFY(client->getSessionCode().isNull());
    QCOMPARE(client->getServerUrl(), present.url());
    QVERIFY(present.requests().isEmpty());
}

void tst_SessionStop::stopWithoutASessionSendsNothing()
{
    LogCapture log;
    QVERIFY(!client->doStopSession());
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to stop!"});
    QVERIFY(service->requests().isEmpty());
}

void tst_SessionStop::stopOfACreatedSessionSendsNothing()
{
    createSession();
    LogCapture log;
    QVERIFY(!client->doStopSession());
    QCOMPARE(log.messages(), QStringList{"[PresenterClient] No session to stop!"});
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
}

void tst_SessionStop::stopWithoutAChannelTellsTheService()
{
    createSession();
    // The start succeeds, but an error from before it keeps the channel from being made.
    service->expect(LOGIN, ANN).status("403 No", WRONG_PASSWORD);
    QVERIFY(!login());
    expectStart(localUrl(1)).json(R"({"data":{"sessionToken":"TOKEN"}})");
    QVERIFY(!openChannel());
    QCOMPARE(client->getSessionToken(), u"TOKEN"_s);

    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(client->getSessionToken().isNull());
}

void tst_SessionStop::stopAfterTheHostDeletedTheChannelTellsTheService()
{
    startSession();
    delete channel;
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(client->getSessionToken().isNull());
}

void tst_SessionStop::logoutStopsTheSessionFirst()
{
    startSession();
    expectStop();
    service->expect(LOGOUT, "{}");
    QVERIFY(client->doLogout());
    QVERIFY(client->getSessionToken().isNull());
    QVERIFY(!client->isLoggedIn());
}

void tst_SessionStop::logoutWithACreatedSessionOnlySignsOut()
{
    createSession();
    service->expect(LOGOUT, "{}");
    LogCapture log;
    QVERIFY(client->doLogout());
    QVERIFY(log.contains(u"[PresenterClient] No session to stop!"_s));
    QCOMPARE(client->getSessionCode(), u"CODE"_s);
    QVERIFY(!client->isLoggedIn());
}

void tst_SessionStop::logoutWithoutSignInStillStopsTheSession()
{
    startSession();
    service->expect(LOGIN, ANN).json("{}");
    QVERIFY(!login());
    expectStop();
    QVERIFY(client->doLogout());
    QVERIFY(client->getSessionToken().isNull());
}

void tst_SessionStop::channelDeletedFromConnectionClosed()
{
    startSession();
    connect(channel.data(), &PresenterCollab::connectionClosed, this, [&] { delete channel; });
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(client->getSessionToken().isNull());
}

void tst_SessionStop::sessionStoppedFromConnectionClosed()
{
    // Both calls tell the service; the outer one, too, names the session that it was asked to stop.
    startSession();
    bool inner = false;
    connect(channel.data(), &PresenterCollab::connectionClosed, this,
            [&] { inner = client->doStopSession(); });
    expectStop();
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(inner);
}

void tst_SessionStop::channelThatTheHostCutOffIsForgotten()
{
    startSession();
    channel->disconnect(); // everybody, the client too
    delete channel;
    expectStop();
    QVERIFY(client->doStopSession());
    QVERIFY(client->getSessionToken().isNull());
}

QTEST_GUILESS_MAIN(tst_SessionStop)
#include "tst_sessionstop.moc"
