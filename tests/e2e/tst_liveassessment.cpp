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
    void assessmentRunsFromStartToStop_data() { addTransportRows(); }
    void assessmentRunsFromStartToStop();
    void messagesReachOneLearner_data() { addTransportRows(); }
    void messagesReachOneLearner();
};

void tst_LiveAssessment::assessmentRunsFromStartToStop()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "2", "--think", "20"});
    LiveSession session(*far, transport);
    QVERIFY(openWithLearners(session, 2));
    const QString device = far->learners().at(0)["deviceId"].toString();
    QSignalSpy answers(session.channel, &PresenterCollab::learnerPollResponse);

    PresenterAssessment assessment(nullptr, session.channel);
    const QString token = assessment.getAssessmentToken();
    // The host's side of the exchange: whoever asks gets the question.
    QStringList asked;
    connect(&assessment, &PresenterAssessment::learnerGetQuestion, this,
            [&](const QString &id, int number) {
                asked.append(id + " " + QString::number(number));
                if (number == 1) {
                    Tarvo::QuestionMultiChoice question(nullptr);
                    question.setID("first");
                    question.setnumberOfCorrectOptions(2);
                    question.addActivityOption("A", "Rhine", 0);
                    question.addActivityOption("B", "Danube", 1);
                    question.addActivityOption("C", "Po", 2);
                    question.setOrdinals(Tarvo::OrdinalType::ALPHA_UPPER);
                    assessment.sendQuestion(id, &question);
                } else {
                    Tarvo::QuestionText question(nullptr);
                    question.setID("second");
                    question.setmaxChars(13);
                    assessment.sendQuestion(id, &question);
                }
            });

    Tarvo::AssessmentOptions options(nullptr);
    options.setassessmentToken(token);
    options.setquestionCount(2);
    options.setstartingQuestionNumber(1);
    options.settitle("Rivers");
    assessment.start(device, &options);

    const QJsonValue start = far->receivedOne("assessmentStart");
    QCOMPARE(start["deviceId"].toString(), device);
    QCOMPARE(start["address"].toString(), session.token() + ".user." + device);
    QCOMPARE(start["from"].toString(), session.client->getUserToken());
    QCOMPARE(text(start["data"].toObject()),
             text(merged(json(R"({"allowSkipQuestion": false, "allowNavigateQuestionSet": false,
                "allowResubmitResponse": true, "showSummaryOnAssessmentCompletion": false,
                "showAnswerOnIncorrectResponse": false, "showFeedback": false, "questionCount": 2,
                "startingQuestionNumber": 1, "allowedTime": 0, "currentAssessmentSectionId": "",
                "title": "Rivers", "description": "", "scored": false,
                "assessmentSectionConfigurations": {"leveled": false}})"),
                         {{"assessmentToken", token}})));

    QTRY_COMPARE_WITH_TIMEOUT(answers.count(), 2, LONG_MS);
    QCOMPARE(asked, QStringList({device + " 1", device + " 2"}));
    // Learner 0 picks two options from the first on, then writes, as far as there is room.
    QCOMPARE(answers.at(0), QVariantList({device, "first", 20, "AB"}));
    QCOMPARE(answers.at(1), QVariantList({device, "second", 20, "The answer is"}));

    const QJsonArray questions = far->received("questionStart", 2);
    const QJsonObject common{{"card", QJsonObject()}, {"questionSetMode", "Assessment"}};
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
    QCOMPARE(text(questions.at(0)["data"].toObject()), text(first));
    QCOMPARE(text(questions.at(1)["data"].toObject()), text(second));
    for (const QJsonValue question : questions)
        QCOMPARE(question["address"].toString(), session.token() + ".user." + device);

    assessment.stop();
    const QJsonArray stops = far->received("assessmentStop", 2); // everybody's
    QCOMPARE(stops.size(), 2);
    QCOMPARE(stops.at(0)["address"].toString(), session.token());
    QCOMPARE(text(stops.at(0)["data"].toObject()), text(QJsonObject{{"assessmentToken", token}}));
}

void tst_LiveAssessment::messagesReachOneLearner()
{
    QFETCH(QString, transport);
    QFETCH(bool, tls);
    const Far far(tls, {"--learners", "2"});
    LiveSession session(*far, transport);
    QVERIFY(openWithLearners(session, 2));
    const QString device = far->learners().at(1)["deviceId"].toString();
    PresenterAssessment assessment(nullptr, session.channel);
    const QString words = u"Gut, \"Ben\" – 100 %1\n\\o/"_s;
    assessment.sendMessage(device, words, false, false);
    assessment.sendMessage(device, words, false, true);
    assessment.sendMessage("nobody gets this", true, false);

    const QJsonValue dialog = far->receivedOne("dialogShow");
    QCOMPARE(dialog["deviceId"].toString(), device);
    QCOMPARE(dialog["address"].toString(), session.token() + ".user." + device);
    QCOMPARE(text(dialog["data"].toObject()), text({{"text", words}, {"isDismissible", false}}));
    const QJsonValue review = far->receivedOne("questionSetReview");
    QCOMPARE(review["deviceId"].toString(), device);
    QCOMPARE(text(review["data"].toObject()), text({{"text", words}, {"showNavigation", true}}));
    const QJsonValue lost =
        far->journal({{"kind", "publish"}, {"address", session.token() + ".user."}}).at(0);
    QCOMPARE(lost["receivers"].toInt(-1), 0);
    QCOMPARE(far->countNow({{"kind", "received"}, {"type", "dialogShow"}}), 1);
}

QTEST_GUILESS_MAIN(tst_LiveAssessment)
#include "tst_liveassessment.moc"
