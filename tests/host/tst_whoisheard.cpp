#include "HeardStage.h"

#include "support/Slowness.h"

#include "model/OrdinalType.h"

#include <algorithm>

using namespace Tarvo;

// Who is counted and obeyed: messages in other devices' names, of devices that nobody knows, too long ones,
// late ones, the same ones again.
class tst_WhoIsHeard : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void answersOfUnknownDevicesAreToldOnceAndNotCounted();
    void deviceThatOnlySaysThatItJoinsIsNotCounted();
    void listedDeviceIsCountedThoughNobodyHeardItJoin();
    void answersOfBothKindsOfQuestionsAreChecked();
    void learnersDeviceIsNoRemote_data();
    void learnersDeviceIsNoRemote();
    void remoteIsObeyed();
    void namesAreCut();
    void answersAreCut();
    void lateAnswersAreToldAndNotCounted();
    void sameAnswerCountsOnce();
    void changedAnswerReplacesTheFirst();
    void optionsAreCountedHoweverTheyAreWritten_data();
    void optionsAreCountedHoweverTheyAreWritten();
    void answersToNoQuestionArePassedOver();
    void brokenMessagesArePassedOver();
};

namespace
{

// The list of learners is read at most once a second.
constexpr int LISTING_MS = 1200;
// Nobody's answers wait as long as a silence may last.
constexpr int SHORT_SILENCE_MS = 2000 * std::min(SLOWNESS, 4);
constexpr int GIVEN_UP_MS = SHORT_SILENCE_MS + ClassStage::LIMIT_MS;

} // namespace

// ---- Devices that nobody knows -------------------------------------------------------------------

void tst_WhoIsHeard::answersOfUnknownDevicesAreToldOnceAndNotCounted()
{
    HeardStage stage;
    stage.host->setSilenceLimit(SHORT_SILENCE_MS);
    QVERIFY(stage.begin());
    stage.answer(u"nobody"_s, u"first"_s);
    stage.answer(u"nobody"_s, u"second"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, GIVEN_UP_MS);
    QCOMPARE(stage.lastFailure(), Failure::UnknownDevice);
    stage.answer(u"nobody"_s, u"third"_s);
    QVERIFY(stage.isHeardUpTo(u"mine"_s));
    QTest::qWait(LISTING_MS);
    QCOMPARE(stage.failed.size(), 1);
    QCOMPARE(stage.answered.size(), 1);
    QTRY_COMPARE(stage.respondents(), 1);
    QCOMPARE(stage.host->learners()->rowCount(), 1);

    stage.answer(u"somebody else"_s, u"fourth"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 2, GIVEN_UP_MS);
    QCOMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::deviceThatOnlySaysThatItJoinsIsNotCounted()
{
    HeardStage stage;
    stage.host->setSilenceLimit(SHORT_SILENCE_MS);
    QVERIFY(stage.begin());
    stage.join(u"pretender"_s, u"Mallory"_s);
    QTRY_COMPARE(stage.names().size(), 2);
    QVERIFY(stage.names().contains(u"Mallory"_s));
    stage.answer(u"pretender"_s, u"votes"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, GIVEN_UP_MS);
    QCOMPARE(stage.lastFailure(), Failure::UnknownDevice);
    QCOMPARE(stage.answered.size(), 0);
    QCOMPARE(stage.respondents(), 0);
}

// Its word that it joins came while nobody listened.
void tst_WhoIsHeard::listedDeviceIsCountedThoughNobodyHeardItJoin()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    const QString quiet = stage.join(u"Quiet"_s);
    stage.answer(quiet, u"Hush"_s);
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.first().first().toString(), quiet);
    QCOMPARE(stage.failed.size(), 0);
    QTRY_COMPARE(stage.respondents(), 1);
    QVERIFY(stage.names().contains(u"Quiet"_s));
}

void tst_WhoIsHeard::answersOfBothKindsOfQuestionsAreChecked()
{
    HeardStage stage;
    stage.host->setSilenceLimit(SHORT_SILENCE_MS);
    QVERIFY(stage.begin());
    const QJsonObject pick{{u"input"_s, u"Yes"_s}};
    stage.say(u"nobody"_s, u"pollResponse"_s,
              text({{u"pollId"_s, stage.question}, {u"responseTime"_s, 1}, {u"pick"_s, pick}}));
    QTRY_COMPARE_WITH_TIMEOUT(stage.failed.size(), 1, GIVEN_UP_MS);
    QCOMPARE(stage.lastFailure(), Failure::UnknownDevice);
    QCOMPARE(stage.answered.size(), 0);
}

// ---- The remote ----------------------------------------------------------------------------------

void tst_WhoIsHeard::learnersDeviceIsNoRemote_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("pause") << u"pause"_s;
    QTest::newRow("next card") << u"nextCard"_s;
    QTest::newRow("stop") << u"stopSession"_s;
}

void tst_WhoIsHeard::learnersDeviceIsNoRemote()
{
    QFETCH(QString, command);
    HeardStage stage;
    QVERIFY(stage.begin());
    QSignalSpy commands(stage.host.get(), &LiveClass::remoteCommand);
    stage.say(stage.learner, command, u"{}"_s);
    stage.say(stage.learner, command, u"{}"_s);
    QVERIFY(stage.isHeardUpTo(u"still here"_s));
    QCOMPARE(stage.failed.size(), 1);
    QCOMPARE(stage.lastFailure(), Failure::ForeignCommand);
    QCOMPARE(commands.size(), 0);
    QVERIFY(!stage.host->isPaused());
    QCOMPARE(stage.host->state(), LiveClass::Live);
}

void tst_WhoIsHeard::remoteIsObeyed()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    QSignalSpy commands(stage.host.get(), &LiveClass::remoteCommand);
    stage.classroom.post(u"remote"_s, {{u"command"_s, u"pause"_s}});
    QTRY_VERIFY(stage.host->isPaused());
    QTRY_COMPARE(commands.size(), 1);
    QCOMPARE(stage.failed.size(), 0);
    QCOMPARE(stage.classroom.received(u"pause"_s).size(), 1);
}

// ---- What is said --------------------------------------------------------------------------------

void tst_WhoIsHeard::namesAreCut()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.join(u"long"_s, QString(100000, u'N'));
    QTRY_COMPARE(stage.names().size(), 2);
    QCOMPARE(stage.names().filter(QString(64, u'N')).join(u""_s).size(), 64);
    const QString face = u"\U0001F600"_s;
    stage.join(u"faces"_s, face.repeated(100));
    QTRY_VERIFY(stage.names().contains(face.repeated(64)));
}

void tst_WhoIsHeard::answersAreCut()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.answer(stage.learner, QString(100000, u'A'));
    QTRY_COMPARE_WITH_TIMEOUT(stage.answered.size(), 1, ClassStage::LIMIT_MS);
    QCOMPARE(stage.answered.first().at(2).toString().size(), 10000);
    QTRY_COMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::lateAnswersAreToldAndNotCounted()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    const QString first = stage.question;
    QVERIFY(ClassStage::succeeds(stage.host->stopActivity()));
    stage.answer(stage.learner, u"after the end"_s);
    QTRY_COMPARE(stage.answeredLate.size(), 1);

    QVERIFY(stage.ask());
    stage.answer(stage.learner, u"long after the end"_s, first);
    QTRY_COMPARE(stage.answeredLate.size(), 2);
    QCOMPARE(stage.answeredLate.last(),
             (QVariantList{stage.learner, first, u"long after the end"_s, 7}));
    QCOMPARE(stage.answered.size(), 0);
    QCOMPARE(stage.respondents(), 0);
}

// Devices repeat an answer until they know that it has arrived.
void tst_WhoIsHeard::sameAnswerCountsOnce()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    for (int i = 0; i < 3; ++i)
        stage.answer(stage.learner, u"Because"_s);
    QVERIFY(stage.isHeardUpTo(u"the end"_s));
    QCOMPARE(stage.answered.size(), 2);
    QTRY_COMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::changedAnswerReplacesTheFirst()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.answer(stage.learner, u"Because"_s);
    QVERIFY(stage.isHeardUpTo(u"No idea"_s));
    const auto label = [&] {
        return stage.host->results()->index(0, 0).data(LiveClass::LabelRole).toString();
    };
    QTRY_COMPARE(label(), u"No idea"_s);
    QCOMPARE(stage.host->results()->rowCount(), 1);
    QCOMPARE(stage.respondents(), 1);
}

void tst_WhoIsHeard::optionsAreCountedHoweverTheyAreWritten_data()
{
    QTest::addColumn<QString>("chosen");
    QTest::newRow("as a text") << R"("answer":"AC","optionAnswers":[])";
    QTest::newRow("as a text with commas") << R"("answer":"A,C","optionAnswers":[])";
    QTest::newRow("as a list")
        << R"("answer":"","optionAnswers":[{"activityOptionId":"A"},{"activityOptionId":"C"}])";
}

void tst_WhoIsHeard::optionsAreCountedHoweverTheyAreWritten()
{
    QFETCH(QString, chosen);
    HeardStage stage;
    QVERIFY(stage.begin(
        [&] { return stage.host->startPoll(PollType::MULTIPLE, OrdinalType::ALPHA_UPPER, 4); }));
    stage.say(stage.learner, u"questionResponse"_s,
              u"{\"questionId\":\"%1\",\"responseTime\":7,%2}"_s.arg(stage.question, chosen));
    QTRY_COMPARE(stage.respondents(), 1);
    QStringList counts;
    for (int row = 0; row < stage.host->results()->rowCount(); ++row)
        counts.append(stage.host->results()->index(row, 0).data(LiveClass::CountRole).toString());
    QCOMPARE(counts, QStringList({u"1"_s, u"0"_s, u"1"_s, u"0"_s}));
}

void tst_WhoIsHeard::answersToNoQuestionArePassedOver()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    stage.answer(stage.learner, u"To what?"_s, u"no such question"_s);
    stage.answer(stage.learner, u"To nothing"_s, QString());
    QVERIFY(stage.isHeardUpTo(u"mine"_s));
    QCOMPARE(stage.answered.size(), 1);
    QCOMPARE(stage.answeredLate.size(), 0);
    QCOMPARE(stage.failed.size(), 0);
}

void tst_WhoIsHeard::brokenMessagesArePassedOver()
{
    HeardStage stage;
    QVERIFY(stage.begin());
    for (const QString &payload : {u"[]"_s, u"{\"questionId\":[]}"_s, u"not json"_s, QString()}) {
        stage.say(stage.learner, u"questionResponse"_s, payload);
        stage.say(stage.learner, u"join"_s, payload);
    }
    stage.join(QString(), u"Nobody"_s);
    stage.join(QString(100000, u'i'), u"Endless"_s);
    QVERIFY(stage.isHeardUpTo(u"mine"_s));
    QCOMPARE(stage.host->state(), LiveClass::Live);
    QCOMPARE(stage.answered.size(), 1);
    QCOMPARE(stage.host->learners()->rowCount(), 1);
    QCOMPARE(stage.failed.size(), 0);
}

QTEST_MAIN(tst_WhoIsHeard)

#include "tst_whoisheard.moc"
