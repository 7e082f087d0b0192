#include "ClassStage.h"
#include "Faults.h"

using namespace Tarvo;

// Starting a session when the service fails at one of the requests: what is made up for, what is told, and
// that no session is left behind without a word.
class tst_StartTroubles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lostAnswersAreMadeUpFor_data();
    void lostAnswersAreMadeUpFor();
    void failedStartIsToldAndTheNextOneWorks_data();
    void failedStartIsToldAndTheNextOneWorks();
    void refusalOfTheServiceIsToldWithItsKey();
    void channelThatNeverOpensEndsTheStart();
    void signInThatIsOverEndsTheStart();
    void keptPasswordSignsInAgainAtTheStart();
    void passwordThatNoLongerHoldsIsTriedOnce();
    void stopDuringTheStartLeavesNoSession_data();
    void stopDuringTheStartLeavesNoSession();
};

namespace
{

// For the next request to leave.
constexpr int HEADWAY_MS = 100;

const QString CREATE = u"/vantora/session/create"_s;
const QString COLLAB_URL = u"/vantora/session/getcollabserverurl"_s;
const QString TENANT = u"/vantora/config/findTenantFeatureDetails"_s;
const QString START = u"/vantora/session/start"_s;
const QString JOIN = u"/vantora/classroom/session/join"_s;
const QString STOP = u"/vantora/session/stop"_s;
const QString SUBMIT = u"/vantora/login/submit"_s;

} // namespace

// ---- Starting ------------------------------------------------------------------------------------

void tst_StartTroubles::lostAnswersAreMadeUpFor_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonObject>("fault");
    const QJsonObject closed{{u"hangUp"_s, true}};
    QTest::newRow("start: connection closed") << START << closed;
    QTest::newRow("start: late") << START << LATE;
    QTest::newRow("start: no token") << START << EMPTY_ANSWER;
    QTest::newRow("join: connection closed") << JOIN << closed;
    QTest::newRow("join: late") << JOIN << LATE;
    QTest::newRow("join: 500") << JOIN << BROKEN;
    QTest::newRow("transports: 500") << TENANT << BROKEN;
}

void tst_StartTroubles::lostAnswersAreMadeUpFor()
{
    QFETCH(QString, path);
    QFETCH(QJsonObject, fault);
    ClassStage stage;
    if (fault == LATE)
        stage.host->setSilenceLimit(LONGER_SILENCE_MS);
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.fault(path, fault);
    QVERIFY(ClassStage::succeeds(stage.host->start()));
    QCOMPARE(stage.host->state(), LiveClass::Live);
    QVERIFY(stage.hasLearner());
    QCOMPARE(stage.classroom.get(u"sessions"_s).toArray().size(), 1);
}

void tst_StartTroubles::failedStartIsToldAndTheNextOneWorks_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<Failure::Reason>("reason");
    addFaultRows([](const char *name, const QJsonObject &fault, Failure::Reason reason) {
        QTest::addRow("creation: %s", name) << CREATE << fault << reason;
    });
    QTest::newRow("server: 500") << COLLAB_URL << BROKEN << Failure::Maintenance;
    QTest::newRow("server: hung up") << COLLAB_URL << HUNG_UP << Failure::ConnectionLost;
    QTest::newRow("no code") << CREATE << EMPTY_ANSWER << Failure::UnexpectedAnswer;
    QTest::newRow("no server") << COLLAB_URL << EMPTY_ANSWER << Failure::UnexpectedAnswer;
    QTest::newRow("start lost twice") << START << twice(BROKEN) << Failure::NotStarted;
    QTest::newRow("join hung up") << JOIN << HUNG_UP << Failure::NotJoined;
    QTest::newRow("join without token") << JOIN << twice(EMPTY_ANSWER) << Failure::NotJoined;
}

void tst_StartTroubles::failedStartIsToldAndTheNextOneWorks()
{
    QFETCH(QString, path);
    QFETCH(QJsonObject, fault);
    ClassStage stage;
    if (fault.contains(u"delayMs"_s))
        stage.host->setSilenceLimit(LONGER_SILENCE_MS);
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.fault(path, fault);
    QSignalSpy failed(stage.host.get(), &LiveClass::failed);
    QTEST(ClassStage::failureOf(stage.host->start()), "reason");
    QCOMPARE(stage.host->state(), LiveClass::SignedIn);
    QTEST(stage.host->reason(), "reason");
    QTRY_COMPARE(failed.size(), 1);
    if (path == JOIN)
        QVERIFY(stage.hasNoSession());
    QTRY_COMPARE(stage.host->sessionCode(), QString());

    stage.classroom.remove(u"faults"_s);
    QVERIFY(ClassStage::succeeds(stage.host->start()));
    QCOMPARE(stage.host->state(), LiveClass::Live);
    QCOMPARE(stage.host->reason(), Failure::NoReason);
    QVERIFY(!stage.host->sessionCode().isEmpty());
}

void tst_StartTroubles::refusalOfTheServiceIsToldWithItsKey()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.fault(START, refusal(400, u"session.error.unsupportedVersion"_s));
    const Operation start = stage.host->start();
    QCOMPARE(ClassStage::failureOf(start), Failure::RefusedByService);
    QCOMPARE(start.failure().key(), u"session.error.unsupportedVersion"_s);
    QCOMPARE(stage.host->state(), LiveClass::SignedIn);
    QCOMPARE(stage.classroom.requestsTo(START), 1);
}

void tst_StartTroubles::channelThatNeverOpensEndsTheStart()
{
    ClassStage stage({u"--transports"_s, u"websocket"_s});
    stage.host->setTransports({u"xhr-polling"_s});
    QVERIFY(stage.enter(LiveClass::SignedIn));
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    QSignalSpy codes(stage.host.get(), &LiveClass::sessionCodeChanged);
    QCOMPARE(ClassStage::failureOf(stage.host->start()), Failure::ChannelNotOpened);
    QCOMPARE(stage.host->state(), LiveClass::SignedIn);
    QCOMPARE(stage.host->reason(), Failure::ChannelNotOpened);
    QVERIFY(stage.hasNoSession());
    QCOMPARE(stage.classroom.requestsTo(STOP), 1);
    QCOMPARE(codes.size(), 0); // nobody was to join
    QCOMPARE(ended.size(), 0); // none has begun
}

void tst_StartTroubles::signInThatIsOverEndsTheStart()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.classroom.remove(u"sign-ins"_s);
    QCOMPARE(ClassStage::failureOf(stage.host->start()), Failure::SignInOver);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.host->reason(), Failure::SignInOver);
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 1);
    QVERIFY(stage.enter(LiveClass::Live));
}

void tst_StartTroubles::keptPasswordSignsInAgainAtTheStart()
{
    ClassStage stage;
    stage.host->setKeepPassword(true);
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.classroom.remove(u"sign-ins"_s);
    QVERIFY(ClassStage::succeeds(stage.host->start()));
    QCOMPARE(stage.host->state(), LiveClass::Live);
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 2);
    QVERIFY(stage.hasLearner());
}

// Another one may lock the teacher out.
void tst_StartTroubles::passwordThatNoLongerHoldsIsTriedOnce()
{
    ClassStage stage;
    stage.host->setKeepPassword(true);
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.classroom.remove(u"sign-ins"_s);
    QJsonObject refused = refusal(403, u"login.error.wrongCredentials"_s);
    refused.insert(u"times"_s, 10);
    stage.fault(SUBMIT, refused);
    QCOMPARE(ClassStage::failureOf(stage.host->start()), Failure::SignInOver);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 2);
}

// ---- Stopping ------------------------------------------------------------------------------------

void tst_StartTroubles::stopDuringTheStartLeavesNoSession_data()
{
    QTest::addColumn<QString>("former"); // the request before
    QTest::addColumn<QString>("hanging");
    QTest::addColumn<Failure::Reason>("stopFailure");
    QTest::newRow("creation") << SUBMIT << CREATE << Failure::NoReason;
    QTest::newRow("server") << CREATE << COLLAB_URL << Failure::NoReason;
    QTest::newRow("transports") << COLLAB_URL << TENANT << Failure::NoReason;
    QTest::newRow("start") << TENANT << START << Failure::StopUnconfirmed;
    QTest::newRow("join") << START << JOIN << Failure::NoReason;
}

void tst_StartTroubles::stopDuringTheStartLeavesNoSession()
{
    QFETCH(QString, former);
    QFETCH(QString, hanging);
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.hang(hanging);
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    const Operation start = stage.host->start();
    QCOMPARE(stage.classroom.journal(u"request"_s, {{u"path"_s, former}}).size(), 1);
    QVERIFY(stage.is(LiveClass::Starting));
    QTest::qWait(HEADWAY_MS);
    QElapsedTimer timer;
    timer.start();
    const Operation stop = stage.host->stop();
    QCOMPARE(ClassStage::failureOf(start), Failure::Abandoned);
    QTEST(ClassStage::failureOf(stop), "stopFailure");
    QVERIFY(timer.elapsed() < ClassStage::HANGING_MS / 2);
    QCOMPARE(stage.host->state(), LiveClass::Ended);
    QVERIFY(stage.hasNoSessionNow());
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(stage.host->sessionCode(), QString());
}

QTEST_MAIN(tst_StartTroubles)

#include "tst_starttroubles.moc"
