#include "HeardStage.h"

#include "support/Slowness.h"

#include <algorithm>

using namespace Tarvo;

// What a device says before the list of learners names it: a learner has just joined, or loads the page
// again, and the service has forgotten the device for a moment.
class tst_BeforeTheList : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answerCountsWhenTheDeviceJoinsAgain();
    void answerCountsWhenTheListNamesTheDeviceLater();
    void answerCountsThoughTheActivityWasStoppedMeanwhile();
    void answerIsLateWhenAnotherQuestionIsShown();
    void answerToWhatWasOverIsLate();
    void latestAnswerCountsOfThoseThatWaited();
    void answersToEveryQuestionOfAnAssessmentWait();
    void deviceIsToldOfWhenItHasWaitedLongEnough();
    void nothingOutlivesItsSession();
};

namespace
{

// Nobody's answers wait longer than a silence may last.
constexpr int SHORT_SILENCE_MS = 2000 * std::min(SLOWNESS, 4);

// A learner who answers, whom the next list of learners does not name.
class ForgottenStage : public HeardStage
{
public:
    bool begin()
    {
        if (!HeardStage::begin())
            return false;
        quiet = HeardStage::join(u"Quiet"_s);
        return !quiet.isEmpty();
    }
    // The service forgets it, once.
    bool isForgotten() { return isForgotten({u"Hush"_s}); }
    bool isForgotten(const QStringList &answers)
    {
        return isForgotten([&] {
            for (const QString &answer : answers)
                HeardStage::answer(quiet, answer);
        });
    }
    // The first of what it says has the list read.
    bool isForgotten(const std::function<void()> &answers)
    {
        const int lists = requestsForLists();
        fault(u"/vantora/session/getusers"_s, {{u"body"_s, u"{\"data\":{\"users\":[]}}"_s}});
        answers();
        // Whom the list does not name is gone.
        return QTest::qWaitFor([&] { return requestsForLists() > lists && present() == 0; },
                               LIMIT_MS);
    }
    void comeBack() { HeardStage::join(quiet, u"Quiet"_s); }

    int requestsForLists() { return classroom.requestsTo(u"/vantora/session/getusers"_s); }
    int present() const
    {
        int present = 0;
        for (int row = 0; row < host->learners()->rowCount(); ++row)
            present += host->learners()->index(row, 0).data(LiveClass::PresentRole).toBool();
        return present;
    }

    QString quiet;
};

} // namespace

void tst_BeforeTheList::answerCountsWhenTheDeviceJoinsAgain()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.isForgotten());
    stage.comeBack();
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.first(), (QVariantList{stage.quiet, stage.question, u"Hush"_s, 7}));
    QTRY_COMPARE(stage.respondents(), 1);
    QCOMPARE(stage.failed.size(), 0);
}

// It says nothing more, and the list is read again all the same.
void tst_BeforeTheList::answerCountsWhenTheListNamesTheDeviceLater()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.isForgotten());
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.first().first().toString(), stage.quiet);
    QCOMPARE(stage.failed.size(), 0);
}

void tst_BeforeTheList::answerCountsThoughTheActivityWasStoppedMeanwhile()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.isForgotten());
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    stage.comeBack();
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 1, ClassStage::LIMIT_MS);
    QTRY_COMPARE(stage.respondents(), 1);
    QCOMPARE(stage.answeredLate.size(), 0);
}

void tst_BeforeTheList::answerIsLateWhenAnotherQuestionIsShown()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    const QString first = stage.question;
    QVERIFY(stage.isForgotten());
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    QVERIFY(stage.ask());
    stage.comeBack();
    QTRY_COMPARE_WITH_TIMEOUT(stage.answeredLate.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answeredLate.first().at(1).toString(), first);
    QCOMPARE(stage.answered.size(), 0);
    QCOMPARE(stage.respondents(), 0);
}

void tst_BeforeTheList::answerToWhatWasOverIsLate()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    QVERIFY(stage.isForgotten());
    stage.comeBack();
    QTRY_COMPARE_WITH_TIMEOUT(stage.answeredLate.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.size(), 0);
    QCOMPARE(stage.respondents(), 0);
}

void tst_BeforeTheList::latestAnswerCountsOfThoseThatWaited()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    QVERIFY(stage.isForgotten({u"Hush"_s, u"Hush, hush"_s, u"Hush"_s, u"Quite so"_s}));
    stage.comeBack();
    QTRY_VERIFY_WITH_TIMEOUT(stage.isAnswered(u"Quite so"_s), ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.size(), 3); // the same again counts once
    QTRY_COMPARE(stage.respondents(), 1);
}

void tst_BeforeTheList::answersToEveryQuestionOfAnAssessmentWait()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    Assessment assessment;
    for (const QString &words : {u"Where?"_s, u"When?"_s}) {
        AssessmentQuestion question;
        question.kind = PollType::MULTIPLE;
        question.text = words;
        question.choices = {{u"A"_s, u"Here"_s}};
        assessment.questions.append(question);
    }
    QVERIFY(ClassStage::succeeds(stage.host->startAssessment(assessment)));
    QTRY_COMPARE(stage.host->results()->rowCount(), 2);
    const auto questionAt = [&](int row) {
        return stage.host->results()->index(row, 0).data(LiveClass::QuestionRole).toString();
    };
    QVERIFY(stage.isForgotten([&] {
        stage.answer(stage.quiet, u"A"_s, questionAt(0));
        stage.answer(stage.quiet, u"A"_s, questionAt(1));
    }));
    stage.comeBack();
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 2, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.first().at(1).toString(), questionAt(0));
    QCOMPARE(stage.answered.last().at(1).toString(), questionAt(1));
}

void tst_BeforeTheList::deviceIsToldOfWhenItHasWaitedLongEnough()
{
    ForgottenStage stage;
    stage.host->setSilenceLimit(SHORT_SILENCE_MS);
    QVERIFY(stage.begin());
    const int lists = stage.requestsForLists();
    stage.answer(u"nobody"_s, u"first"_s);
    QTRY_VERIFY_WITH_TIMEOUT(stage.requestsForLists() > lists, ClassStage::LIMIT_MS);
    QCOMPARE(stage.failed.size(), 0);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.lastFailure(), Failure::UnknownDevice);
    QCOMPARE(stage.answered.size(), 0);
}

void tst_BeforeTheList::nothingOutlivesItsSession()
{
    ForgottenStage stage;
    QVERIFY(stage.begin());
    stage.answer(u"nobody"_s, u"first"_s);
    QVERIFY(ClassStage::succeeds(stage.host->stop()));
    QVERIFY(ClassStage::succeeds(stage.host->start()));
    QVERIFY(stage.hasLearner());
    stage.learner = stage.classroom.deviceId(0);
    QVERIFY(stage.ask());
    QVERIFY(stage.isHeardUpTo(u"mine"_s));
    QCOMPARE(stage.answered.size(), 1);
    QCOMPARE(stage.failed.size(), 0);
}

QTEST_MAIN(tst_BeforeTheList)

#include "tst_beforethelist.moc"
