#include "e2e/LiveSession.h"
#include "support/Text.h"

// A class in which nobody has said anything for a while is told of its end like any other.
class tst_LiveIdleGoodbye : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void learnersOfAnIdleClassAreTold_data();
    void learnersOfAnIdleClassAreTold();
};

void tst_LiveIdleGoodbye::learnersOfAnIdleClassAreTold_data()
{
    addWayColumns();
    QTest::addColumn<QString>("end");
    for (const char *end : {"close", "stop", "log out", "delete"}) {
        QTest::addRow("xhr-polling: %s", end) << u"xhr-polling"_s << false << false << end;
        QTest::addRow("xhr-polling, TLS: %s", end) << u"xhr-polling"_s << true << false << end;
        QTest::addRow("robust xhr-streaming, TLS: %s", end)
            << u"xhr-streaming"_s << true << true << end;
        QTest::addRow("robust xhr-polling: %s", end) << u"xhr-polling"_s << false << true << end;
    }
    QTest::newRow("websocket: stop") << u"websocket"_s << false << false << u"stop"_s;
    QTest::newRow("robust websocket: stop") << u"websocket"_s << false << true << u"stop"_s;
}

// Over polling a request for the next message is always out then, and the connection of earlier posts
// is gone: servers keep it for five seconds, and the robust transport for three.
void tst_LiveIdleGoodbye::learnersOfAnIdleClassAreTold()
{
    QFETCH(QString, end);
    const Far far(rowWay(), words(u"--learners 2"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 2));
    QTRY_VERIFY_WITH_TIMEOUT(!session.channel->hasUnsentMessages(), LONG_MS);
    QTest::qWait(rowWay().isRobust ? 4000 : 7000);

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

QTEST_GUILESS_MAIN(tst_LiveIdleGoodbye)
#include "tst_liveidlegoodbye.moc"
