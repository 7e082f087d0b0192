#include "ClassStage.h"
#include "Faults.h"

#include "client/PresenterClient.h"
#include "model/PollType.h"

using namespace Tarvo;

// Coming back to a service that no longer knows the teacher, or the session; and sessions that others end.
class tst_ComingBackSignedOut : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everythingStaysUntilTheTeacherSignsInAgain();
    void wrongPasswordLeavesTheSessionWaiting();
    void anotherTeacherIsNotTaken();
    void lostSignInIsToldOnce();
    void keptPasswordBringsTheClassBack();
    void keptPasswordIsTriedOnce();
    void sessionCanBeStoppedWithoutASignIn();
    void sessionThatIsGoneEndsTheClass();
    void endedClassStartsANewSession();
    void remoteStopsTheSession();
    void remoteStopThatIsNotConfirmedIsTold();
};

namespace
{

const QString SUBMIT = u"/vantora/login/submit"_s;
const QString STOP = u"/vantora/session/stop"_s;

int respondents(const LiveClass &host)
{
    return host.results()->index(0, 0).data(LiveClass::RespondentsRole).toInt();
}

// A class with two learners who have answered.
class AnsweredStage : public ClassStage
{
public:
    AnsweredStage() : ClassStage({u"--learners"_s, u"2"_s, u"--think"_s, u"1"_s}) { }

    bool begin()
    {
        const auto areHere = [this] { return host->learners()->rowCount() == 2; };
        const auto haveAnswered = [this] { return respondents(*host) == 2; };
        return enter(LiveClass::Live) && QTest::qWaitFor(areHere, LIMIT_MS)
            && succeeds(host->ask(u"Why?"_s, PollType::TEXT))
            && QTest::qWaitFor(haveAnswered, LIMIT_MS);
    }
    // What a window shows.
    bool isAsItWas(const QString &code) const
    {
        return host->sessionCode() == code && host->learners()->rowCount() == 2
            && respondents(*host) == 2 && host->activity() == LiveClass::Poll
            && host->userName() == u"teacher"_s;
    }
};

// The session as another device of the same teacher would stop it.
void stopFromElsewhere(ClassStage &stage)
{
    PresenterClient other(nullptr, stage.classroom.url());
    QVERIFY(other.doLogin(u"teacher"_s, u"secret"_s));
    const QJsonValue session = stage.classroom.get(u"sessions"_s).toArray().at(0);
    const QString body = u"{\"sessionToken\":\"%1\"}"_s.arg(session[u"token"_s].toString());
    other.doRequest(true, QUrl(stage.classroom.url() + STOP), body, nullptr, nullptr, false);
    QVERIFY(stage.hasNoSessionNow());
}

} // namespace

// ---- Nobody is signed in any more ----------------------------------------------------------------

void tst_ComingBackSignedOut::everythingStaysUntilTheTeacherSignsInAgain()
{
    AnsweredStage stage;
    QVERIFY(stage.begin());
    const QString code = stage.host->sessionCode();
    stage.loseSignIn();
    QVERIFY(stage.is(LiveClass::SignInNeeded));
    QCOMPARE(stage.host->reason(), Failure::SignInOver);
    QVERIFY(stage.isAsItWas(code));
    QCOMPARE(stage.host->attempt(), 0);
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 1);

    QVERIFY(ClassStage::succeeds(stage.signIn()));
    QVERIFY(stage.is(LiveClass::Live));
    QCOMPARE(stage.host->reason(), Failure::NoReason);
    QVERIFY(stage.isAsItWas(code));
    QCOMPARE(stage.classroom.get(u"sessions"_s).toArray().size(), 1);
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    QCOMPARE(stage.classroom.received(u"pollStop"_s, 2).size(), 2);
    QVERIFY(ClassStage::succeeds(stage.host->stop()));
}

void tst_ComingBackSignedOut::wrongPasswordLeavesTheSessionWaiting()
{
    AnsweredStage stage;
    QVERIFY(stage.begin());
    const QString code = stage.host->sessionCode();
    stage.loseSignIn();
    QVERIFY(stage.is(LiveClass::SignInNeeded));
    QCOMPARE(ClassStage::failureOf(stage.signIn(u"guessed"_s)), Failure::SignInRefused);
    QCOMPARE(stage.host->state(), LiveClass::SignInNeeded);
    QCOMPARE(stage.host->reason(), Failure::SignInRefused);
    QVERIFY(stage.isAsItWas(code));
    QVERIFY(ClassStage::succeeds(stage.signIn()));
    QVERIFY(stage.is(LiveClass::Live));
    QVERIFY(stage.isAsItWas(code));
}

void tst_ComingBackSignedOut::anotherTeacherIsNotTaken()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SignInNeeded));
    const Operation operation = stage.host->signIn(stage.proxy.url(), u"rival"_s, u"secret"_s);
    QCOMPARE(ClassStage::failureOf(operation), Failure::NotAllowed);
    QCOMPARE(stage.host->state(), LiveClass::SignInNeeded);
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 1);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
    QVERIFY(stage.is(LiveClass::Live));
}

void tst_ComingBackSignedOut::lostSignInIsToldOnce()
{
    ClassStage stage;
    QSignalSpy failed(stage.host.get(), &LiveClass::failed);
    QVERIFY(stage.enter(LiveClass::SignInNeeded));
    QTRY_COMPARE(failed.size(), 1);
    QCOMPARE(failed.first().first().value<Failure>().reason(), Failure::SignInOver);
}

void tst_ComingBackSignedOut::keptPasswordBringsTheClassBack()
{
    AnsweredStage stage;
    stage.host->setKeepPassword(true);
    QVERIFY(stage.begin());
    const QString code = stage.host->sessionCode();
    QSignalSpy failed(stage.host.get(), &LiveClass::failed);
    stage.loseSignIn();
    QVERIFY(stage.is(LiveClass::Reconnecting));
    QVERIFY(stage.is(LiveClass::Live));
    QVERIFY(stage.isAsItWas(code));
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 2);
    QCOMPARE(failed.size(), 0);
}

void tst_ComingBackSignedOut::keptPasswordIsTriedOnce()
{
    ClassStage stage;
    stage.host->setKeepPassword(true);
    QVERIFY(stage.enter(LiveClass::Live));
    QJsonObject refused = refusal(403, u"login.error.wrongCredentials"_s);
    refused.insert(u"times"_s, 10);
    stage.fault(SUBMIT, refused);
    stage.loseSignIn();
    QVERIFY(stage.is(LiveClass::SignInNeeded));
    QCOMPARE(stage.classroom.requestsTo(SUBMIT), 2);
    stage.classroom.remove(u"faults"_s);
    QVERIFY(ClassStage::succeeds(stage.signIn()));
    QVERIFY(stage.is(LiveClass::Live));
}

void tst_ComingBackSignedOut::sessionCanBeStoppedWithoutASignIn()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::SignInNeeded));
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    QCOMPARE(ClassStage::failureOf(stage.host->stop()), Failure::StopUnconfirmed);
    QCOMPARE(stage.host->state(), LiveClass::Ended);
    QTRY_COMPARE(ended.size(), 1);
}

// ---- The session is gone -------------------------------------------------------------------------

void tst_ComingBackSignedOut::sessionThatIsGoneEndsTheClass()
{
    AnsweredStage stage;
    QVERIFY(stage.begin());
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    stage.proxy.setMode(OutageProxy::Restart);
    QVERIFY(stage.is(LiveClass::Reconnecting));
    stopFromElsewhere(stage);
    stage.proxy.setMode(OutageProxy::Pass);
    QVERIFY(stage.is(LiveClass::Ended));
    QCOMPARE(stage.host->reason(), Failure::SessionOver);
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(ended.first().first().value<Failure::Reason>(), Failure::SessionOver);
    QCOMPARE(stage.host->sessionCode(), QString());
    QCOMPARE(stage.host->attempt(), 0);
    QCOMPARE(stage.host->activity(), LiveClass::NoActivity);
    QCOMPARE(respondents(*stage.host), 2); // to be seen and written down
}

void tst_ComingBackSignedOut::endedClassStartsANewSession()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    stopFromElsewhere(stage);
    stage.loseChannel();
    QVERIFY(stage.is(LiveClass::Ended));
    QVERIFY(ClassStage::succeeds(stage.host->start()));
    QCOMPARE(stage.host->reason(), Failure::NoReason);
    QVERIFY(stage.hasLearner());
}

// ---- The remote ends it --------------------------------------------------------------------------

void tst_ComingBackSignedOut::remoteStopsTheSession()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    QList<LiveClass::State> states;
    connect(stage.host.get(), &LiveClass::stateChanged, this,
            [&] { states.append(stage.host->state()); });
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    QSignalSpy commands(stage.host.get(), &LiveClass::remoteCommand);
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"stopSession"_s}});
    QVERIFY(stage.is(LiveClass::Ended));
    QCOMPARE(states, (QList<LiveClass::State>{LiveClass::Stopping, LiveClass::Ended}));
    QCOMPARE(stage.host->reason(), Failure::EndedByRemote);
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(ended.first().first().value<Failure::Reason>(), Failure::EndedByRemote);
    QCOMPARE(commands.size(), 1);
    QVERIFY(stage.hasNoSession());
}

void tst_ComingBackSignedOut::remoteStopThatIsNotConfirmedIsTold()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    stage.fault(STOP, BROKEN);
    QSignalSpy failed(stage.host.get(), &LiveClass::failed);
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"stopSession"_s}});
    QVERIFY(stage.is(LiveClass::Ended));
    QTRY_COMPARE(failed.size(), 1);
    QCOMPARE(failed.first().first().value<Failure>().reason(), Failure::StopUnconfirmed);
}

QTEST_MAIN(tst_ComingBackSignedOut)

#include "tst_comingbacksignedout.moc"
