#include "ClassStage.h"
#include "Faults.h"

using namespace Tarvo;

// Stopping a session, signing out and uploads when the service fails: what is told, and that the class goes
// on.
class tst_StopTroubles : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopThatIsNotConfirmedEndsTheSession_data();
    void stopThatIsNotConfirmedEndsTheSession();
    void stopOfASessionThatIsGoneIsConfirmed();
    void signOutStopsTheSession();
    void signOutTellsOfAStopThatIsNotConfirmed();
    void failedSignOutSignsOutHere_data();
    void failedSignOutSignsOutHere();
    void failedUploadIsTold_data();
    void failedUploadIsTold();
    void imageIsShownAllTheSame_data();
    void imageIsShownAllTheSame();
};

namespace
{

const QString STOP = u"/vantora/session/stop"_s;
const QString LOGOUT = u"/vantora/login/logout"_s;
const QString UPLOAD = u"/vantora/resource/uploadResourceFile"_s;
const QByteArray PNG("\x89PNG\r\n\x1a\n");

} // namespace

// ---- Stopping -----------------------------------------------------------------------------------

void tst_StopTroubles::stopThatIsNotConfirmedEndsTheSession_data()
{
    QTest::addColumn<QJsonObject>("fault");
    addFaultRows([](const char *name, const QJsonObject &fault, Failure::Reason) {
        QTest::newRow(name) << fault;
    });
}

void tst_StopTroubles::stopThatIsNotConfirmedEndsTheSession()
{
    QFETCH(QJsonObject, fault);
    ClassStage stage;
    if (fault == LATE)
        stage.host->setSilenceLimit(LONGER_SILENCE_MS);
    QVERIFY(stage.enter(LiveClass::Live));
    stage.fault(STOP, fault);
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    QSignalSpy failed(stage.host.get(), &LiveClass::failed);
    QCOMPARE(ClassStage::failureOf(stage.host->stop()), Failure::StopUnconfirmed);
    QCOMPARE(stage.host->state(), LiveClass::Ended);
    QTRY_COMPARE(ended.size(), 1);
    QCOMPARE(failed.size(), 1);
    QCOMPARE(stage.host->sessionCode(), QString());

    stage.classroom.remove(u"faults"_s);
    QVERIFY(ClassStage::succeeds(stage.host->start()));
    QVERIFY(ClassStage::succeeds(stage.host->stop()));
    QTRY_COMPARE(ended.size(), 2);
}

void tst_StopTroubles::stopOfASessionThatIsGoneIsConfirmed()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    stage.fault(STOP, refusal(404, u"session.error.unknownSession"_s));
    QVERIFY(ClassStage::succeeds(stage.host->stop()));
    QCOMPARE(stage.host->state(), LiveClass::Ended);
}

void tst_StopTroubles::signOutStopsTheSession()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    QSignalSpy ended(stage.host.get(), &LiveClass::ended);
    QVERIFY(ClassStage::succeeds(stage.host->signOut()));
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.host->userName(), QString());
    QVERIFY(stage.hasNoSession());
    QCOMPARE(stage.classroom.requestsTo(LOGOUT), 1);
    QCOMPARE(ended.size(), 1);
    QVERIFY(stage.enter(LiveClass::Live));
}

void tst_StopTroubles::signOutTellsOfAStopThatIsNotConfirmed()
{
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    stage.fault(STOP, BROKEN);
    QCOMPARE(ClassStage::failureOf(stage.host->signOut()), Failure::StopUnconfirmed);
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.classroom.requestsTo(LOGOUT), 1);
}

void tst_StopTroubles::failedSignOutSignsOutHere_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::addColumn<Failure::Reason>("reason");
    addFaultRows([](const char *name, const QJsonObject &fault, Failure::Reason reason) {
        QTest::newRow(name) << fault << reason;
    });
}

void tst_StopTroubles::failedSignOutSignsOutHere()
{
    QFETCH(QJsonObject, fault);
    ClassStage stage;
    stage.host->setSilenceLimit(LONGER_SILENCE_MS);
    QVERIFY(stage.enter(LiveClass::SignedIn));
    stage.fault(LOGOUT, fault);
    QTEST(ClassStage::failureOf(stage.host->signOut()), "reason");
    QCOMPARE(stage.host->state(), LiveClass::SignedOut);
    QCOMPARE(stage.host->userName(), QString());
    QVERIFY(ClassStage::succeeds(stage.signIn()));
}

// ---- Uploads -------------------------------------------------------------------------------------

void tst_StopTroubles::failedUploadIsTold_data()
{
    failedSignOutSignsOutHere_data();
    QTest::newRow("refused") << refusal(413, u"request.error.tooLarge"_s)
                             << Failure::RefusedByService;
    QTest::newRow("no address") << EMPTY_ANSWER << Failure::UnexpectedAnswer;
}

void tst_StopTroubles::failedUploadIsTold()
{
    QFETCH(QJsonObject, fault);
    ClassStage stage;
    stage.host->setSilenceLimit(LONGER_SILENCE_MS);
    QVERIFY(stage.enter(LiveClass::Live));
    stage.fault(UPLOAD, fault);
    QSignalSpy uploaded(stage.host.get(), &LiveClass::uploaded);
    QTEST(ClassStage::failureOf(stage.host->uploadImage(u"a.png"_s, PNG)), "reason");
    QCOMPARE(stage.host->state(), LiveClass::Live);
    QCOMPARE(uploaded.size(), 0);
    stage.classroom.remove(u"faults"_s);
    QVERIFY(ClassStage::succeeds(stage.host->uploadImage(u"a.png"_s, PNG)));
    QCOMPARE(uploaded.size(), 1);
}

void tst_StopTroubles::imageIsShownAllTheSame_data()
{
    QTest::addColumn<QJsonObject>("fault");
    QTest::newRow("502") << BAD_GATEWAY;
    QTest::newRow("hung up") << HUNG_UP;
}

void tst_StopTroubles::imageIsShownAllTheSame()
{
    QFETCH(QJsonObject, fault);
    ClassStage stage;
    QVERIFY(stage.enter(LiveClass::Live));
    QVERIFY(stage.hasLearner());
    stage.fault(UPLOAD, fault);
    QVERIFY(ClassStage::succeeds(stage.host->showImage(PNG)));
    QCOMPARE(stage.classroom.shownImage(), u"data:image/png;base64,iVBORw0KGgo="_s);
}

QTEST_MAIN(tst_StopTroubles)

#include "tst_stoptroubles.moc"
