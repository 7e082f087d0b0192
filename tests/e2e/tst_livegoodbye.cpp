#include "e2e/LiveSession.h"

// Sessions end cleanly, whoever ends them, and nothing that was said before is lost.
class tst_LiveGoodbye : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopDisconnectsEveryLearner_data() { addTransportAndTlsRows(); }
    void stopDisconnectsEveryLearner();
    void learnersOfAnIdleClassAreTold_data();
    void learnersOfAnIdleClassAreTold();
    void lastWordArrivesWhenTheHostStopsAtOnce_data() { addTransportAndTlsRows(); }
    void lastWordArrivesWhenTheHostStopsAtOnce();
    void lastWordArrivesBehindFiveMegabytes_data() { addTransportAndTlsRows(); }
    void lastWordArrivesBehindFiveMegabytes();
    void hostIsToldWhenItMayEnd_data() { addTransportAndTlsRows(); }
    void hostIsToldWhenItMayEnd();
    void destroyedClientStopsItsSession_data() { addTransportAndTlsRows(); }
    void destroyedClientStopsItsSession();
    void serverThatHangsUpIsReportedOnce();
};

namespace
{

// What the presenter published of a type, whether its session was still running when it arrived or
// not: the request that stops the session takes another connection, waits no more than 2 s for what is
// on its way, and may be faster.
int publishedByPresenter(Classroom &classroom, const QString &type, const QString &transport)
{
    return classroom.countNow({{"kind", "publish"}, {"type", type}, {"transport", transport}})
        + classroom.countNow({{"kind", "refused"}, {"type", type}, {"transport", transport}});
}

} // namespace

void tst_LiveGoodbye::stopDisconnectsEveryLearner()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "2"});
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    const QString token = session.token();
    const QString userToken = session.client->getUserToken();
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 2, LONG_MS);

    // The channel first, so that the session is still there when its last message arrives.
    session.channel->close();
    for (const QJsonValue message : far->received("disconnect", 2)) {
        QCOMPARE(message["address"].toString(), token);
        QCOMPARE(message["from"].toString(), userToken);
        QCOMPARE(message["text"].toString(), QString("\"\""));
    }
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);

    QVERIFY(session.client->doStopSession());
    QVERIFY(session.client->getSessionToken().isNull());
    QVERIFY(session.client->getSessionCode().isNull());
    QCOMPARE(far->get("sessions").toArray(), QJsonArray());
    QTest::qWait(0);
    QCOMPARE(closed.count(), 1);
}

void tst_LiveGoodbye::learnersOfAnIdleClassAreTold_data()
{
    QTest::addColumn<QString>("transport");
    QTest::addColumn<bool>("tls");
    QTest::addColumn<QString>("end");
    for (const char *end : {"close", "stop", "log out", "delete"}) {
        QTest::addRow("xhr-polling: %s", end) << "xhr-polling" << false << end;
        QTest::addRow("xhr-polling, TLS: %s", end) << "xhr-polling" << true << end;
    }
    QTest::newRow("websocket: stop") << "websocket" << false << "stop";
}

// Over polling a request for the next message is always out then, and the connection of earlier posts
// is gone: servers keep it for five seconds.
void tst_LiveGoodbye::learnersOfAnIdleClassAreTold()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    QFETCH(QString, end);
    const Far far(tls, {"--learners", "2"});
    LiveSession session(*far, transport);
    QVERIFY(openWithLearners(session, 2));
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->hasUnsentMessages(), LONG_MS);
    QTest::qWait(7000);

    if (end == "close")
        session.channel->close();
    else if (end == "stop")
        QVERIFY(session.client->doStopSession());
    else if (end == "log out")
        QVERIFY(session.client->doLogout());
    else
        session.client.reset();
    for (const QJsonValue message : far->received("disconnect", 2))
        QCOMPARE(message["text"].toString(), QString("\"\""));
}

void tst_LiveGoodbye::lastWordArrivesWhenTheHostStopsAtOnce()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls);
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    QVERIFY(session.client->doStopSession());
    // It arrived while the session was still running.
    QCOMPARE(far->countNow({{"kind", "publish"}, {"type", "disconnect"}, {"transport", transport}}),
             1);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
}

void tst_LiveGoodbye::lastWordArrivesBehindFiveMegabytes()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls);
    LiveSession session(*far, transport);
    QVERIFY(session.open());

    session.channel->setCardImageData(noise(5 * 1024 * 1024)); // which no block makes smaller
    session.channel->showImageCard(false);
    QVERIFY(session.client->doStopSession());

    for (const QString type : {"showCard", "heavy", "disconnect"})
        QTRY_COMPARE_WITH_TIMEOUT(publishedByPresenter(*far, type, transport), 1, LONG_MS);
}

void tst_LiveGoodbye::hostIsToldWhenItMayEnd()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls);
    LiveSession session(*far, transport);
    QVERIFY(session.open());
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->hasUnsentMessages(), LONG_MS);
    session.channel->setCardImageData(noise(2 * 1024 * 1024));
    session.channel->showImageCard(false);
    QVERIFY(session.channel->hasUnsentMessages());
    session.channel->close();
    QVERIFY(session.channel->hasUnsentMessages());
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->hasUnsentMessages(), LONG_MS);

    // From here on nothing is lost, whatever goes first.
    delete session.channel;
    for (const QString type : {"showCard", "heavy", "disconnect"})
        QTRY_COMPARE_WITH_TIMEOUT(publishedByPresenter(*far, type, transport), 1, LONG_MS);
}

void tst_LiveGoodbye::destroyedClientStopsItsSession()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls);
    auto session = std::make_unique<LiveSession>(*far, transport);
    QVERIFY(session->open());
    session.reset();
    QCOMPARE(far->countNow({{"kind", "request"}, {"path", "/vantora/session/stop"}}), 1);
    QCOMPARE(far->get("sessions").toArray(), QJsonArray());
}

void tst_LiveGoodbye::serverThatHangsUpIsReportedOnce()
{
    const Far far(false);
    LiveSession session(*far, "websocket");
    QVERIFY(session.open());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    far->remove("connections");
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(!session.channel->isConnected());
    QVERIFY(session.client->doStopSession());
    QCOMPARE(closed.count(), 1);
}

QTEST_GUILESS_MAIN(tst_LiveGoodbye)
#include "tst_livegoodbye.moc"
