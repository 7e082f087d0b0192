#include "ClassStage.h"
#include "Faults.h"

using namespace Tarvo;

// A channel that is lost comes back: when, over which transport, and what the class tells meanwhile.
class tst_ComingBack : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lostChannelComesBack_data();
    void lostChannelComesBack();
    void silentConnectionIsFoundOutAndReplaced();
    void nextTransportTakesOver();
    void attemptsAreNumberedAndTimed();
    void reconnectNowBeginsAtOnce();
    void attemptThatHangsIsNotWaitedFor();
    void reconnectNowAsksForASignOfLife();
    void stopEndsTheAttempts();
    void busyServiceIsAskedAgainWhenItSaysSo();
    void failedRequestsOfAnAttemptAreMadeAgain_data();
    void failedRequestsOfAnAttemptAreMadeAgain();
};

namespace
{

constexpr int SHORT_PAUSE_MS = 200;

const QString USER = u"/vantora/login/user"_s;
const QString LEARNERS = u"/vantora/session/getusers"_s;

// Every state that the class tells of, in order.
class States
{
public:
    explicit States(LiveClass *host)
    {
        QObject::connect(host, &LiveClass::stateChanged, host, [this, host] {
            told.append(host->state());
            reasons.append(host->reason());
        });
    }
    QList<LiveClass::State> told;
    QList<Failure::Reason> reasons; // at those moments
};

const QList<LiveClass::State> AWAY_AND_BACK{LiveClass::Reconnecting, LiveClass::Live};

} // namespace

Q_DECLARE_METATYPE(OutageProxy::Mode)

// ---- Back ----------------------------------------------------------------------------------------

void tst_ComingBack::lostChannelComesBack_data()
{
    QTest::addColumn<OutageProxy::Mode>("mode");
    QTest::newRow("service restarts") << OutageProxy::Restart;
    QTest::newRow("connections reset") << OutageProxy::Reset;
    QTest::newRow("bad gateway") << OutageProxy::BadGateway;
    QTest::newRow("name gone") << OutageProxy::NameGone;
}

void tst_ComingBack::lostChannelComesBack()
{
    QFETCH(OutageProxy::Mode, mode);
    ClassStage stage;
    stage.host->setLongestPause(SHORT_PAUSE_MS);
    QVERIFY(stage.enter(LiveClass::Live));
    const QString code = stage.host->sessionCode();
    const States states(stage.host.get());
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    stage.proxy.setMode(mode);
    QVERIFY(stage.is(LiveClass::Reconnecting));
    QTRY_VERIFY_WITH_TIMEOUT(stage.host->attempt() >= 2, ClassStage::LIMIT_MS);
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.is(LiveClass::Live));
    QCOMPARE(states.told, AWAY_AND_BACK);
    QCOMPARE(states.reasons, (QList<Failure::Reason>{Failure::ConnectionLost, Failure::NoReason}));
    QCOMPARE(stage.host->sessionCode(), code);
    QVERIFY(stage.hasLearner());
    QCOMPARE(stage.classroom.get(u"sessions"_s).toArray().size(), 1);
    QCOMPARE(ended.size(), 0);
}

void tst_ComingBack::silentConnectionIsFoundOutAndReplaced()
{
    ClassStage stage;
    stage.host->setSilenceLimit(1000);
    QVERIFY(stage.enter(LiveClass::Live));
    stage.proxy.setMode(OutageProxy::Mute);
    QVERIFY(stage.is(LiveClass::Reconnecting));
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.is(LiveClass::Live));
    QVERIFY(stage.hasLearner());
}

// Such as behind a proxy that begins to refuse web sockets.
void tst_ComingBack::nextTransportTakesOver()
{
    ClassStage stage;
    stage.host->setTransports({u"websocket"_s, u"xhr-polling"_s});
    QVERIFY(stage.enter(LiveClass::Live));
    QCOMPARE(stage.host->transport(), u"websocket"_s);
    stage.proxy.setMode(OutageProxy::NoWebSockets);
    QVERIFY(stage.is(LiveClass::Reconnecting));
    QVERIFY(stage.is(LiveClass::Live));
    QCOMPARE(stage.host->transport(), u"xhr-polling"_s);
    QVERIFY(stage.hasLearner());
}

// ---- Attempts ------------------------------------------------------------------------------------

void tst_ComingBack::attemptsAreNumberedAndTimed()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    QCOMPARE(stage.host->attempt(), 0);
    QVERIFY(!stage.host->nextAttemptAt().isValid());

    stage.proxy.setMode(OutageProxy::Restart);
    QTRY_VERIFY_WITH_TIMEOUT(stage.host->attempt() >= 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.host->state(), LiveClass::Reconnecting);
    QDateTime planned;
    for (int attempt = 2; attempt <= 3; ++attempt) {
        QTRY_VERIFY_WITH_TIMEOUT(stage.host->attempt() == attempt
                                     && stage.host->nextAttemptAt().isValid(),
                                 ClassStage::LIMIT_MS);
        planned = stage.host->nextAttemptAt();
        const qint64 pause = QDateTime::currentDateTimeUtc().msecsTo(planned);
        QVERIFY(pause <= (attempt == 2 ? 1500 : 3000));
        // It begins when it was told to.
        QTRY_VERIFY_WITH_TIMEOUT(!stage.host->nextAttemptAt().isValid()
                                     || stage.host->attempt() > attempt,
                                 ClassStage::LIMIT_MS);
        const qint64 late = planned.msecsTo(QDateTime::currentDateTimeUtc());
        QVERIFY2(late >= -50 && late < 1000, QByteArray::number(late));
    }
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.is(LiveClass::Live));
    QTRY_COMPARE(stage.host->attempt(), 0);
    QVERIFY(!stage.host->nextAttemptAt().isValid());
}

void tst_ComingBack::reconnectNowBeginsAtOnce()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    stage.fault(USER, tellingToWait(60));
    stage.loseChannel();
    QTRY_COMPARE_WITH_TIMEOUT(stage.host->attempt(), 2, ClassStage::LIMIT_MS);
    QTRY_VERIFY(stage.host->nextAttemptAt() > QDateTime::currentDateTimeUtc().addSecs(50));
    QElapsedTimer timer;
    timer.start();
    QVERIFY(ClassStage::succeeds(stage.host->reconnectNow()));
    QVERIFY(stage.is(LiveClass::Live));
    QVERIFY(timer.elapsed() < 5000);
}

void tst_ComingBack::attemptThatHangsIsNotWaitedFor()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    stage.hang(USER, ClassStage::HANGING_LONG_MS);
    stage.loseChannel();
    QTRY_VERIFY_WITH_TIMEOUT(stage.host->attempt() == 1 && !stage.host->nextAttemptAt().isValid(),
                             ClassStage::LIMIT_MS);
    QElapsedTimer timer;
    timer.start();
    stage.host->reconnectNow();
    QVERIFY(stage.is(LiveClass::Live));
    QVERIFY(timer.elapsed() < ClassStage::HANGING_LONG_MS * 3 / 4);
}

void tst_ComingBack::reconnectNowAsksForASignOfLife()
{
    ClassStage stage;
    stage.host->setSilenceLimit(2000);
    QVERIFY(stage.enter(LiveClass::Live));
    stage.proxy.setMode(OutageProxy::Mute);
    QVERIFY(ClassStage::succeeds(stage.host->reconnectNow()));
    QVERIFY(stage.is(LiveClass::Reconnecting));
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.is(LiveClass::Live));
}

void tst_ComingBack::stopEndsTheAttempts()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Reconnecting));
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    QCOMPARE(ClassStage::failureOf(stage.host->stop()), Failure::StopUnconfirmed);
    QCOMPARE(stage.host->state(), LiveClass::Ended);
    QCOMPARE(stage.host->attempt(), 0);
    QVERIFY(!stage.host->nextAttemptAt().isValid());
    QTRY_COMPARE(ended.size(), 1);
    const int connections = stage.proxy.connections();
    QTest::qWait(1500); // the first pauses are over then
    QCOMPARE(stage.proxy.connections(), connections);
    QCOMPARE(stage.host->state(), LiveClass::Ended);
}

void tst_ComingBack::busyServiceIsAskedAgainWhenItSaysSo()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    stage.fault(USER, tellingToWait(4));
    stage.loseChannel();
    QTRY_COMPARE_WITH_TIMEOUT(stage.host->attempt(), 2, ClassStage::LIMIT_MS);
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(stage.host->reason(), Failure::Maintenance);
    const qint64 pause = QDateTime::currentDateTimeUtc().msecsTo(stage.host->nextAttemptAt());
    QVERIFY2(pause > 3000 && pause < 4500, QByteArray::number(pause)); // timers are coarse
    QVERIFY(stage.is(LiveClass::Live));
    QVERIFY(timer.elapsed() > 3000);
}

void tst_ComingBack::failedRequestsOfAnAttemptAreMadeAgain_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<Failure::Reason>("reason");
    addFaultRows([](const char *name, const QJsonObject &fault, Failure::Reason reason) {
        QTest::addRow("learners: %s", name) << LEARNERS << fault << reason;
    });
    QTest::newRow("user: 500") << USER << BROKEN << Failure::Maintenance;
    QTest::newRow("user: page") << USER << PAGE << Failure::SignInPage;
}

void tst_ComingBack::failedRequestsOfAnAttemptAreMadeAgain()
{
    QFETCH(QString, path);
    QFETCH(QJsonObject, fault);
    QFETCH(Failure::Reason, reason);
    ClassStage stage;
    stage.host->setSilenceLimit(LONGER_SILENCE_MS);
    stage.host->setLongestPause(SHORT_PAUSE_MS);
    QVERIFY(stage.enter(LiveClass::Live));
    fault.insert(u"times"_s,
                 10); // until it is taken away: else the class is back before anybody looks
    stage.fault(path, fault);
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    stage.loseChannel();
    const auto isTold = [&] { return stage.host->reason() == reason; };
    QTRY_VERIFY_WITH_TIMEOUT(isTold() && stage.host->attempt() >= 2, ClassStage::LIMIT_MS);
    stage.classroom.remove(u"faults"_s);
    QVERIFY(stage.is(LiveClass::Live));
    QVERIFY(stage.hasLearner());
    QCOMPARE(ended.size(), 0);
}

QTEST_MAIN(tst_ComingBack)

#include "tst_comingback.moc"
