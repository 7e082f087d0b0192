#include "e2e/LiveSession.h"
#include "e2e/PayloadJson.h"
#include "support/Text.h"

#include "collab/PresenterAssessment.h"
#include "model/AssessmentOptions.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionText.h"

// An assessment from start to stop, field by field, and messages to one learner.
class tst_LiveAssessment : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void assessmentRunsFromStartToStop_data() { addLessonRows(); }
    void assessmentRunsFromStartToStop();
    void messagesReachOneLearner_data() { addLessonRows(); }
    void messagesReachOneLearner();
};

void tst_LiveAssessment::assessmentRunsFromStartToStop()
{
    const Far far(rowWay(), words(u"--learners 2 --think 20"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 2));
    const QString device = far->deviceId(0);
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);

    PresenterAssessment assessment(nullptr, session.channel);
    const QString token = assessment.getAssessmentToken();
    // The host's side of the exchange: whoever asks gets the question.
    QStringList asked;
    connect(&assessment, &PresenterAssessment::learnerGetQuestion, this,
            [&](const QString &id, int number) {
                asked.append(id + u" "_s + QString::number(number));
                if (number == 1) {
                    Tarvo::QuestionMultiChoice question(nullptr);
                    question.setID(u"first"_s);
                    question.setnumberOfCorrectOptions(2);
                    question.addActivityOption(u"A"_s, u"Rhine"_s, 0);
                    question.addActivityOption(u"B"_s, u"Danube"_s, 1);
                    question.addActivityOption(u"C"_s, u"Po"_s, 2);
                    question.setOrdinals(Tarvo::OrdinalType::ALPHA_UPPER);
                    assessment.sendQuestion(id, &question);
                } else {
                    Tarvo::QuestionText question(nullptr);
                    question.setID(u"second"_s);
                    question.setmaxChars(13);
                    assessment.sendQuestion(id, &question);
                }
            });

    Tarvo::AssessmentOptions options(nullptr);
    options.setassessmentToken(token);
    options.setquestionCount(2);
    options.setstartingQuestionNumber(1);
    options.settitle(u"Rivers"_s);
    assessment.start(device, &options);

    const QJsonValue start = far->receivedOne(u"assessmentStart"_s);
    QCOMPARE(start[u"deviceId"_s].toString(), device);
    QCOMPARE(start[u"address"_s].toString(), session.token() + u".user."_s + device);
    QCOMPARE(start[u"from"_s].toString(), session.client->getUserToken());
    QCOMPARE(text(start[u"data"_s].toObject()),
             text(merged(json(R"({"allowSkipQuestion": false, "allowNavigateQuestionSet": false,
                "allowResubmitResponse": true, "showSummaryOnAssessmentCompletion": false,
                "showAnswerOnIncorrectResponse": false, "showFeedback": false, "questionCount": 2,
                "startingQuestionNumber": 1, "allowedTime": 0, "currentAssessmentSectionId": "",
                "title": "Rivers", "description": "", "scored": false,
                "assessmentSectionConfigurations": {"leveled": false}})"),
                         {{u"assessmentToken"_s, token}})));

    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 2, LONG_MS);
    QCOMPARE(asked, QStringList({device + u" 1"_s, device + u" 2"_s}));
    // Learner 0 picks two options from the first on, then writes, as far as there is room.
    QCOMPARE(answers.at(0), QVariantList({device, u"first"_s, 20, u"A,B"_s}));
    QCOMPARE(answers.at(1), QVariantList({device, u"second"_s, 20, u"The answer is"_s}));

    const QJsonArray questions = far->received(u"questionStart"_s, 2);
    const QJsonObject common{{u"card"_s, QJsonObject()}, {u"questionSetMode"_s, u"Assessment"_s}};
    const QJsonObject first = merged(merged(json(QUESTION), json(R"({
            "id": "first", "type": "multiple", "numberOfCorrectOptions": 2,
            "activityType": {"id": "8755bfc923cb492094df5c842a30da5f", "name": "multiple"},
            "metadata": {"ordinalType": "alpha-upper", "options": [0, 1, 2]},
            "activityOptions": [
                {"id": "A", "optionText": "Rhine", "displaySeqNumber": 0, "math": false},
                {"id": "B", "optionText": "Danube", "displaySeqNumber": 1, "math": false},
                {"id": "C", "optionText": "Po", "displaySeqNumber": 2, "math": false}]})")),
                                     common);
    const QJsonObject second = merged(merged(json(QUESTION), json(R"({
            "id": "second", "type": "text", "maxChars": 13,
            "activityType": {"id": "6efc81c52cfe4502976de55df9af2f89", "name": "text"}})")),
                                      common);
    QCOMPARE(questions.size(), 2);
    QCOMPARE(text(questions.at(0)[u"data"_s].toObject()), text(first));
    QCOMPARE(text(questions.at(1)[u"data"_s].toObject()), text(second));
    for (const QJsonValue question : questions)
        QCOMPARE(question[u"address"_s].toString(), session.token() + u".user."_s + device);

    assessment.stop();
    const QJsonArray stops = far->received(u"assessmentStop"_s, 2); // everybody's
    QCOMPARE(stops.size(), 2);
    QCOMPARE(stops.at(0)[u"address"_s].toString(), session.token());
    QCOMPARE(text(stops.at(0)[u"data"_s].toObject()),
             text(QJsonObject{{u"assessmentToken"_s, token}}));
}

void tst_LiveAssessment::messagesReachOneLearner()
{
    const Far far(rowWay(), words(u"--learners 2"_s));
    LiveSession session(*far, rowWay());
    QVERIFY(openWithLearners(session, 2));
    const QString device = far->deviceId(1);
    PresenterAssessment assessment(nullptr, session.channel);
    const QString words = u"Gut, \"Ben\" – 100 %1\n\\o/"_s;
    assessment.sendMessage(device, words, false, false);
    assessment.sendMessage(device, words, false, true);
    assessment.sendMessage(u"nobody gets this"_s, true, false);

    const QJsonValue dialog = far->receivedOne(u"dialogShow"_s);
    QCOMPARE(dialog[u"deviceId"_s].toString(), device);
    QCOMPARE(dialog[u"address"_s].toString(), session.token() + u".user."_s + device);
    QCOMPARE(text(dialog[u"data"_s].toObject()),
             text({{u"text"_s, words}, {u"isDismissible"_s, false}}));
    const QJsonValue review = far->receivedOne(u"questionSetReview"_s);
    QCOMPARE(review[u"deviceId"_s].toString(), device);
    QCOMPARE(text(review[u"data"_s].toObject()),
             text({{u"text"_s, words}, {u"showNavigation"_s, true}}));
    const QJsonValue lost =
        far->journal(u"publish"_s, {{u"address"_s, session.token() + u".user."_s}}).at(0);
    QCOMPARE(lost[u"receivers"_s].toInt(-1), 0);
    QCOMPARE(far->countNow(u"received"_s, {{u"type"_s, u"dialogShow"_s}}), 1);
}

QTEST_GUILESS_MAIN(tst_LiveAssessment)
#include "tst_liveassessment.moc"
