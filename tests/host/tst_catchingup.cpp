#include "ClassStage.h"
#include "Devices.h"
#include "support/Promptness.h"

#include "model/OrdinalType.h"
#include "model/PollType.h"

using namespace Tarvo;

// What is made up for when the channel is back: the host's wishes, who has come and gone meanwhile, what
// devices say again.
class tst_CatchingUp : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void pauseReachesTheDevicesAfterwards();
    void resumeReachesTheDevicesAfterwards();
    void stopOfTheActivityReachesTheDevicesAfterwards();
    void pauseAndStopReachTheDevicesAfterwards();
    void messagesFailAtOnceAndMayBeRepeated();
    void whoJoinedMeanwhileGetsTheQuestion();
    void whoJoinedMeanwhileGetsThePollOnItsImage();
    void whoJoinedMeanwhileGetsTheAssessment();
    void whoJoinedMeanwhileGetsNothingThatWasStopped();
    void whoLeftMeanwhileIsNoLongerPresent();
    void repeatedAnswersCountOnce();
    void everythingOutlivesALongOutage();
};

namespace
{

// A class with two devices of its own and a question, and then without a channel.
class AwayStage : public ClassStage
{
public:
    static constexpr int PAUSE_MS = 300;

    AwayStage() : ClassStage(Devices::serviceOptions()), devices(classroom.url())
    {
        host->setLongestPause(PAUSE_MS);
    }

    bool enterLive()
    {
        if (!enter(LiveClass::Live))
            return false;
        devices.join(host->sessionCode(), 2);
        return QTest::qWaitFor([this] { return host->learners()->rowCount() == 2; }, LIMIT_MS);
    }
    bool begin()
    {
        return enterLive()
            && succeeds(host->ask(u"Which?"_s, PollType::MULTIPLE, {u"Danube"_s, u"Rhine"_s}))
            && hear(u"questionStart"_s, 1);
    }
    bool goAway()
    {
        proxy.setMode(OutageProxy::Restart);
        return is(LiveClass::Reconnecting);
    }
    bool comeBack()
    {
        proxy.setMode(OutageProxy::Pass);
        return is(LiveClass::Live);
    }
    bool hear(const QString &type, int times) const
    {
        return QTest::qWaitFor([&] { return devices.heard(type) == times; }, LIMIT_MS);
    }
    // How often the devices have heard it after everything that has been said so far.
    int heardSoFar(const QString &type)
    {
        const int before = devices.heard(u"dialogShow"_s);
        host->sendTextTo(devices.ids().first(), u"That is all"_s);
        return hear(u"dialogShow"_s, before + 1) ? devices.heard(type) : -1;
    }
    QString question() const
    {
        return host->results()->index(0, 0).data(LiveClass::QuestionRole).toString();
    }
    int respondents() const
    {
        return host->results()->index(0, 0).data(LiveClass::RespondentsRole).toInt();
    }
    int present() const
    {
        int present = 0;
        for (int row = 0; row < host->learners()->rowCount(); ++row)
            present += host->learners()->index(row, 0).data(LiveClass::PresentRole).toBool();
        return present;
    }

    Devices devices;
};

} // namespace

// ---- Wishes --------------------------------------------------------------------------------------

void tst_CatchingUp::pauseReachesTheDevicesAfterwards()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.goAway());
    QVERIFY(ClassStage::succeeds(stage.host->pause()));
    QVERIFY(stage.host->isPaused());
    QCOMPARE(stage.devices.heard(u"pause"_s), 0);
    QVERIFY(stage.comeBack());
    QVERIFY(stage.hear(u"pause"_s, 1));
    QVERIFY(stage.host->isPaused());
}

void tst_CatchingUp::resumeReachesTheDevicesAfterwards()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QVERIFY(ClassStage::succeeds(stage.host->pause()));
    QVERIFY(stage.goAway());
    QVERIFY(ClassStage::succeeds(stage.host->resume()));
    QVERIFY(!stage.host->isPaused());
    QVERIFY(stage.comeBack());
    QVERIFY(stage.hear(u"resume"_s, 1));
    QCOMPARE(stage.devices.heard(u"pause"_s), 1);
}

void tst_CatchingUp::stopOfTheActivityReachesTheDevicesAfterwards()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.goAway());
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    QCOMPARE(stage.host->activity(), LiveClass::NoActivity);
    QVERIFY(stage.comeBack());
    QVERIFY(stage.hear(u"pollStop"_s, 1));
    QVERIFY(ClassStage::succeeds(stage.host->ask(u"Why not?"_s, PollType::TEXT)));
    QVERIFY(stage.hear(u"questionStart"_s, 2));
}

void tst_CatchingUp::pauseAndStopReachTheDevicesAfterwards()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.goAway());
    QVERIFY(ClassStage::succeeds(stage.host->pause()));
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    QVERIFY(!stage.host->isPaused());
    QVERIFY(stage.comeBack());
    QVERIFY(stage.hear(u"pollStop"_s, 1));
    QVERIFY(stage.hear(u"resume"_s, 1));
    QCOMPARE(stage.heardSoFar(u"pause"_s), 0);
}

void tst_CatchingUp::messagesFailAtOnceAndMayBeRepeated()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.goAway());
    Promptness promptness;
    while (promptness.isOpen()) {
        QElapsedTimer timer;
        timer.start();
        const Operation lost = stage.host->sendText(u"Hello"_s);
        QCOMPARE(ClassStage::failureOf(lost), Failure::NotConnected);
        QVERIFY(lost.failure().isRepeatable());
        promptness.take(timer.elapsed(), 1000);
    }
    VERIFY_PROMPT(promptness);
    QVERIFY(stage.comeBack());
    QCOMPARE(stage.devices.heard(u"dialogShow"_s), 0);
    QVERIFY(ClassStage::succeeds(stage.host->sendText(u"Hello"_s)));
    QVERIFY(stage.hear(u"dialogShow"_s, 2)); // one a device
}

// ---- Who has come and gone -----------------------------------------------------------------------

void tst_CatchingUp::whoJoinedMeanwhileGetsTheQuestion()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QSignalSpy joined(stage.host.get(), &LiveClass::learnerJoined);
    QVERIFY(stage.goAway());
    stage.devices.join(stage.host->sessionCode(), 3);
    QTRY_COMPARE(stage.devices.announced(), 5);
    QCOMPARE(stage.host->learners()->rowCount(), 2);
    QVERIFY(stage.comeBack());
    QTRY_COMPARE(stage.host->learners()->rowCount(), 5);
    QVERIFY(stage.hear(u"questionStart"_s, 4)); // one for all, one for each who has come
    QCOMPARE(stage.heardSoFar(u"questionStart"_s), 4);
    QCOMPARE(joined.size(), 3);
    stage.devices.answerOnce(stage.question(), {u"A"_s});
    QTRY_COMPARE_WITH_TIMEOUT(stage.respondents(), 5, ClassStage::LIMIT_MS);
}

void tst_CatchingUp::whoJoinedMeanwhileGetsThePollOnItsImage()
{
    AwayStage stage;
    QVERIFY(stage.enterLive());
    QVERIFY(ClassStage::succeeds(stage.host->startPollWithImageAt(
        PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 3, u"http://x/rivers.png"_s)));
    QVERIFY(stage.hear(u"questionStart"_s, 1));
    QVERIFY(stage.goAway());
    stage.devices.join(stage.host->sessionCode(), 1);
    QTRY_COMPARE(stage.devices.announced(), 3);
    QVERIFY(stage.comeBack());
    QVERIFY(stage.hear(u"questionStart"_s, 2));
    const QJsonArray asked =
        stage.classroom.journal(u"publish"_s, {{u"type"_s, u"questionStart"_s}}, 2);
    QCOMPARE(asked[1][u"data"_s], asked[0][u"data"_s]);
    QCOMPARE(asked[1][u"data"_s][u"card"_s][u"styles"_s][u"backgroundImage"_s].toString(),
             u"url('http://x/rivers.png')"_s);
}

void tst_CatchingUp::whoJoinedMeanwhileGetsTheAssessment()
{
    AwayStage stage;
    QVERIFY(stage.enterLive());
    Assessment assessment;
    assessment.title = u"Rivers"_s;
    assessment.questions = {{PollType::TEXT, OrdinalType::GENERIC, u"Which?"_s, {}, {}}};
    QVERIFY(ClassStage::succeeds(stage.host->startAssessment(assessment)));
    QVERIFY(stage.hear(u"assessmentStart"_s, 2));
    QVERIFY(stage.goAway());
    stage.devices.join(stage.host->sessionCode(), 1);
    QTRY_COMPARE(stage.devices.announced(), 3);
    QVERIFY(stage.comeBack());
    QVERIFY(stage.hear(u"assessmentStart"_s, 3));
    QCOMPARE(stage.heardSoFar(u"assessmentStart"_s), 3);
}

void tst_CatchingUp::whoJoinedMeanwhileGetsNothingThatWasStopped()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.goAway());
    stage.devices.join(stage.host->sessionCode(), 1);
    QTRY_COMPARE(stage.devices.announced(), 3);
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    QVERIFY(stage.comeBack());
    QTRY_COMPARE(stage.host->learners()->rowCount(), 3);
    QCOMPARE(stage.heardSoFar(u"questionStart"_s), 1);
}

void tst_CatchingUp::whoLeftMeanwhileIsNoLongerPresent()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    stage.classroom.post(u"learners"_s, {});
    QTRY_COMPARE_WITH_TIMEOUT(stage.present(), 3, ClassStage::LIMIT_MS);
    QSignalSpy left(stage.host.get(), &LiveClass::learnerLeft);
    QVERIFY(stage.goAway());
    const QString ada = stage.classroom.deviceId(0);
    stage.classroom.remove(u"learners"_s);
    QVERIFY(stage.comeBack());
    QTRY_COMPARE(left.size(), 1);
    QCOMPARE(left.first().first().toString(), ada);
    QTRY_COMPARE(stage.present(), 2);
    QCOMPARE(stage.host->learners()->rowCount(), 3);
}

// ---- What devices say again ----------------------------------------------------------------------

void tst_CatchingUp::repeatedAnswersCountOnce()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    QSignalSpy answered(stage.host.get(), &LiveClass::answered);
    stage.devices.answerOnce(stage.question(), {u"A"_s, u"B"_s});
    QTRY_COMPARE_WITH_TIMEOUT(answered.size(), 2, ClassStage::LIMIT_MS);
    QVERIFY(stage.goAway());
    stage.devices.answer(stage.question(), {u"A"_s, u"B"_s});
    QVERIFY(stage.comeBack());
    const int sent = stage.devices.answersSent();
    QTRY_VERIFY_WITH_TIMEOUT(stage.devices.answersSent() >= sent + 6, ClassStage::LIMIT_MS);
    stage.devices.confirm();
    stage.devices.answerOnce(stage.question(), {u"B"_s, u"A"_s});
    QTRY_COMPARE_WITH_TIMEOUT(answered.size(), 4, ClassStage::LIMIT_MS);
    QCOMPARE(stage.respondents(), 2);
}

// Two minutes when TARVO_LONG is set.
void tst_CatchingUp::everythingOutlivesALongOutage()
{
    AwayStage stage;
    QVERIFY(stage.begin());
    stage.devices.answerOnce(stage.question(), {u"A"_s});
    QTRY_COMPARE_WITH_TIMEOUT(stage.respondents(), 2, ClassStage::LIMIT_MS);
    const QString code = stage.host->sessionCode();
    QVERIFY(stage.goAway());
    stage.devices.join(stage.host->sessionCode(), 1);
    QTest::qWait(qEnvironmentVariableIsSet("TARVO_LONG") ? 120000 : 20000);
    QCOMPARE(stage.host->state(), LiveClass::Reconnecting);
    QVERIFY(stage.comeBack());
    QCOMPARE(stage.host->sessionCode(), code);
    QCOMPARE(stage.respondents(), 2);
    QVERIFY(stage.hear(u"questionStart"_s, 2));
    stage.devices.answerOnce(stage.question(), {u"B"_s});
    QTRY_COMPARE_WITH_TIMEOUT(stage.respondents(), 3, ClassStage::LIMIT_MS);
    QVERIFY(ClassStage::succeeds(stage.host->stop()));
    QVERIFY(stage.hasNoSession());
}

QTEST_MAIN(tst_CatchingUp)

#include "tst_catchingup.moc"
