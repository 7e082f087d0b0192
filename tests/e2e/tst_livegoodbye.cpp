#include "e2e/LiveSession.h"
#include "support/Text.h"

// Sessions end cleanly, whoever ends them, and nothing that was said before is lost.
class tst_LiveGoodbye : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopDisconnectsEveryLearner_data() { addLessonAndTlsRows(); }
    void stopDisconnectsEveryLearner();
    void lastWordArrivesWhenTheHostStopsAtOnce_data() { addLessonAndTlsRows(); }
    void lastWordArrivesWhenTheHostStopsAtOnce();
    void destroyedClientStopsItsSession_data() { addLessonAndTlsRows(); }
    void destroyedClientStopsItsSession();
    void serverThatHangsUpIsReportedOnce_data() { addWebSocketAndRobustRows(); }
    void serverThatHangsUpIsReportedOnce();
    void endIsToldInTheServersWords_data();
    void endIsToldInTheServersWords();
    void ownEndIsTheNormalOne_data() { addRobustOnlyRows(); }
    void ownEndIsTheNormalOne();
};

void tst_LiveGoodbye::stopDisconnectsEveryLearner()
{
    const Far far(rowWay(), words(u"--learners 2"_s));
    LiveSession session(*far, rowWay());
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

void tst_LiveGoodbye::lastWordArrivesWhenTheHostStopsAtOnce()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    QVERIFY(session.client->doStopSession());
    // It arrived while the session was still running.
    const Classroom::Filter goodbye{{u"type"_s, u"disconnect"_s}, {u"transport"_s, rowTransport()}};
    QCOMPARE(far->countNow(u"publish"_s, goodbye), 1);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
}

void tst_LiveGoodbye::destroyedClientStopsItsSession()
{
    const Far far(rowWay());
    auto session = std::make_unique<LiveSession>(*far, rowWay());
    QVERIFY(session->open());
    session.reset();
    QCOMPARE(far->requestsTo(u"/vantora/session/stop"_s), 1);
    QCOMPARE(far->get(u"sessions"_s).toArray(), QJsonArray());
}

void tst_LiveGoodbye::serverThatHangsUpIsReportedOnce()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    far->remove(u"connections"_s);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(closed.first().first().toBool(), false);
    QVERIFY(!session.channel->isConnected());
    QVERIFY(session.client->doStopSession());
    QCOMPARE(closed.count(), 1);
}

// Over a web socket the server's words are those of the socket's own close frame.
void tst_LiveGoodbye::endIsToldInTheServersWords_data()
{
    addWayColumns();
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *transport, int code, const QString &reason) {
        QTest::newRow(transport) << transport << false << true << code << reason;
    };
    row("websocket", 1000, u"Normal closure"_s);
    row("xhr-streaming", 1001, u"Going away"_s);
    row("xhr-polling", 1001, u"Going away"_s);
}

void tst_LiveGoodbye::endIsToldInTheServersWords()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QCOMPARE(session.channel->getCloseCode(), 0);
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    far->remove(u"connections"_s);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QTEST(session.channel->getCloseCode(), "code");
    QTEST(session.channel->getCloseReason(), "reason");
}

void tst_LiveGoodbye::ownEndIsTheNormalOne()
{
    const Far far(rowWay());
    LiveSession session(*far, rowWay());
    QVERIFY(session.open());
    QSignalSpy closed(session.channel, &PresenterCollab::connectionClosed);
    session.channel->close();
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, LONG_MS);
    QCOMPARE(session.channel->getCloseCode(), 1000);
    QVERIFY(!session.channel->getCloseReason().isEmpty());
}

QTEST_GUILESS_MAIN(tst_LiveGoodbye)
#include "tst_livegoodbye.moc"
