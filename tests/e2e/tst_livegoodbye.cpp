#include "e2e/LiveSession.h"
#include "support/Text.h"

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

void tst_LiveGoodbye::stopDisconnectsEveryLearner()
{
    const Far far(rowTls(), words(u"--learners 2"_s));
    LiveSession session(*far, rowTransport());
    QVERIFY(session.open());
    const QString token = session.token();
    const QString userToken = session.client->getUserToken();
    QSignalSpy joined(session.channel, &PresenterCollab::learnerJoin);
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 2, LONG_MS);

    // The channel first, so that the session is still there when its last message arrives.
    session.channel->close();
    for (const QJsonValue message : far->received(u"disconnect"_s, 2)) {
        QCOMPARE(message[u"address"_s].toString(), token);
        QCOMPARE(message[u"from"_s].toString(), userToken);
        QCOMPARE(message[u"text"_s].toString(), u"\"\""_s);
    }
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);

    QVERIFY(session.client->doStopSession());
    QVERIFY(session.client->getSessionToken().isNull());
    QVERIFY(session.client->getSessionCode().isNull());
    QCOMPARE(far->get(u"sessions"_s).toArray(), QJsonArray());
    QTest::qWait(0);
    QCOMPARE(closed.count(), 1);
}

void tst_LiveGoodbye::learnersOfAnIdleClassAreTold_data()
{
    QTest::addColumn<QString>("transport");
    QTest::addColumn<bool>("tls");
    QTest::addColumn<QString>("end");
    for (const char *end : {"close", "stop", "log out", "delete"}) {
        QTest::addRow("xhr-polling: %s", end) << u"xhr-polling"_s << false << end;
        QTest::addRow("xhr-polling, TLS: %s", end) << u"xhr-polling"_s << true << end;
    }
    QTest::newRow("websocket: stop") << u"websocket"_s << false << u"stop"_s;
}

// Over polling a request for the next message is always out then, and the connection of earlier posts
// is gone: servers keep it for five seconds.
void tst_LiveGoodbye::learnersOfAnIdleClassAreTold()
{
    QFETCH(QString, end);
    const Far far(rowTls(), words(u"--learners 2"_s));
    LiveSession session(*far, rowTransport());
    QVERIFY(openWithLearners(session, 2));
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->hasUnsentMessages(), LONG_MS);
    QTest::qWait(7000);

    if (end == u"close"_s)
        session.channel->close();
    else if (end == u"stop"_s)
        QVERIFY(session.client->doStopSession());
    else if (end == u"log out"_s)
        QVERIFY(session.client->doLogout());
    else
        session.client.reset();
    for (const QJsonValue message : far->received(u"disconnect"_s, 2))
        QCOMPARE(message[u"text"_s].toString(), u"\"\""_s);
}

void tst_LiveGoodbye::lastWordArrivesWhenTheHostStopsAtOnce()
{
    const Far far(rowTls());
    LiveSession session(*far, rowTransport());
    QVERIFY(session.open());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    QVERIFY(session.client->doStopSession());
    // It arrived while the session was still running.
    const Classroom::Filter goodbye{{u"type"_s, u"disconnect"_s}, {u"transport"_s, rowTransport()}};
    QCOMPARE(far->countNow(u"publish"_s, goodbye), 1);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
}

void tst_LiveGoodbye::lastWordArrivesBehindFiveMegabytes()
{
    const Far far(rowTls());
    LiveSession session(*far, rowTransport());
    QVERIFY(session.open());

    session.channel->setCardImageData(noise(5 * 1024 * 1024)); // which no block makes smaller
    session.channel->showImageCard(false);
    QVERIFY(session.client->doStopSession());

    QTRY_COMPARE_WITH_TIMEOUT(far->lastWords(rowTransport()), QVector<int>({1, 1, 1}), LONG_MS);
}

void tst_LiveGoodbye::hostIsToldWhenItMayEnd()
{
    const Far far(rowTls());
    LiveSession session(*far, rowTransport());
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
    QTRY_COMPARE_WITH_TIMEOUT(far->lastWords(rowTransport()), QVector<int>({1, 1, 1}), LONG_MS);
}

void tst_LiveGoodbye::destroyedClientStopsItsSession()
{
    const Far far(rowTls());
    auto session = std::make_unique<LiveSession>(*far, rowTransport());
    QVERIFY(session->open());
    session.reset();
    QCOMPARE(far->requestsTo(u"/vantora/session/stop"_s), 1);
    QCOMPARE(far->get(u"sessions"_s).toArray(), QJsonArray());
}

void tst_LiveGoodbye::serverThatHangsUpIsReportedOnce()
{
    const Far far(false);
    LiveSession session(*far, u"websocket"_s);
    QVERIFY(session.open());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    far->remove(u"connections"_s);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(!session.channel->isConnected());
    QVERIFY(session.client->doStopSession());
    QCOMPARE(closed.count(), 1);
}

QTEST_GUILESS_MAIN(tst_LiveGoodbye)
#include "tst_livegoodbye.moc"
