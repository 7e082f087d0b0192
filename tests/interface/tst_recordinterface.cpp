// AssessmentOptions, QuestionFeedback and the value records Learner and RemoteControlMessage by name.
// Property names are keys of the JSON.

#include "model/AssessmentOptions.h"
#include "model/Learner.h"
#include "model/QuestionFeedback.h"
#include "model/RemoteControlMessage.h"

#include "interface/Functions.h"
#include "interface/Members.h"
#include "interface/MetaObject.h"

#include <QtTest/QtTest>

using Tarvo::AssessmentOptions;
using Tarvo::Learner;
using Tarvo::QuestionFeedback;
using Tarvo::RemoteControlMessage;

QVector<Extent> extents(const AssessmentOptions &options);
QVector<Extent> extents(const QuestionFeedback &feedback);
QVector<Extent> extents(const Learner &learner);
QVector<Extent> extents(const RemoteControlMessage &message);

// clang-format off
template struct Members<AssessmentOptions,
    member<QString>(&AssessmentOptions::m_assessmentToken),
    member<bool>(&AssessmentOptions::m_allowSkipQuestion),
    member<bool>(&AssessmentOptions::m_allowNavigateQuestionSet),
    member<bool>(&AssessmentOptions::m_allowResubmitResponse),
    member<bool>(&AssessmentOptions::m_showSummaryOnAssessmentCompletion),
    member<bool>(&AssessmentOptions::m_showAnswerOnIncorrectResponse),
    member<bool>(&AssessmentOptions::m_showFeedback),
    member<int>(&AssessmentOptions::m_questionCount),
    member<int>(&AssessmentOptions::m_startingQuestionNumber),
    member<int>(&AssessmentOptions::m_allowedTime),
    member<QString>(&AssessmentOptions::m_currentAssessmentSectionId),
    member<QString>(&AssessmentOptions::m_title),
    member<QString>(&AssessmentOptions::m_description),
    member<bool>(&AssessmentOptions::m_scored),
    member<QVariantMap>(&AssessmentOptions::m_assessmentSectionConfigurations)>;

template struct Members<QuestionFeedback,
    member<bool>(&QuestionFeedback::m_showFeedback),
    member<bool>(&QuestionFeedback::m_showCorrectAnswer),
    member<QVariant>(&QuestionFeedback::m_correctAnswer),
    member<QVariant>(&QuestionFeedback::m_activityScoreStatus),
    member<QVariant>(&QuestionFeedback::m_activityResponseStatus),
    member<QVariantList>(&QuestionFeedback::m_correctOptions),
    member<bool>(&QuestionFeedback::m_allowResubmit),
    member<QVariant>(&QuestionFeedback::m_correctFeedback),
    member<QVariant>(&QuestionFeedback::m_inCorrectFeedback),
    member<QVariant>(&QuestionFeedback::m_answer),
    member<QVariant>(&QuestionFeedback::m_jsonAnswer),
    member<QVariantList>(&QuestionFeedback::m_optionAnswers),
    member<QVariantList>(&QuestionFeedback::m_optionFeedbacks),
    member<int>(&QuestionFeedback::m_numberOfRetries),
    member<int>(&QuestionFeedback::m_numberOfRetriesRemaining),
    member<QVariant>(&QuestionFeedback::m_remainingTime)>;

template struct Members<Learner,
    member<QString>(&Learner::deviceId),
    member<QString>(&Learner::userName),
    member<QString>(&Learner::deviceType)>;

template struct Members<RemoteControlMessage,
    member<QString>(&RemoteControlMessage::type),
    member<QString>(&RemoteControlMessage::from),
    member<QVariant>(&RemoteControlMessage::data)>;
// clang-format on

class tst_RecordInterface : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void optionsFunctions();
    void optionsMembersFollowEachOther();
    void optionsMetaObject();
    void feedbackFunctions();
    void feedbackMembersFollowEachOther();
    void feedbackMetaObject();
    void learnerIsAPlainValue();
    void remoteControlMessageIsAPlainValue();
};

// clang-format off
void tst_RecordInterface::optionsFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, AssessmentOptions>));
    QVERIFY((std::is_constructible_v<AssessmentOptions, QObject *>));
    QVERIFY(!std::is_default_constructible_v<AssessmentOptions>);

    QVERIFY(has<QString (AssessmentOptions::*)() const>(&AssessmentOptions::assessmentToken));
    QVERIFY(has<bool (AssessmentOptions::*)() const>(&AssessmentOptions::allowSkipQuestion));
    QVERIFY(has<bool (AssessmentOptions::*)() const>(&AssessmentOptions::allowNavigateQuestionSet));
    QVERIFY(has<bool (AssessmentOptions::*)() const>(&AssessmentOptions::allowResubmitResponse));
    QVERIFY(has<bool (AssessmentOptions::*)() const>(&AssessmentOptions::showSummaryOnAssessmentCompletion));
    QVERIFY(has<bool (AssessmentOptions::*)() const>(&AssessmentOptions::showAnswerOnIncorrectResponse));
    QVERIFY(has<bool (AssessmentOptions::*)() const>(&AssessmentOptions::showFeedback));
    QVERIFY(has<int (AssessmentOptions::*)() const>(&AssessmentOptions::questionCount));
    QVERIFY(has<int (AssessmentOptions::*)() const>(&AssessmentOptions::startingQuestionNumber));
    QVERIFY(has<int (AssessmentOptions::*)() const>(&AssessmentOptions::allowedTime));
    QVERIFY(has<QString (AssessmentOptions::*)() const>(&AssessmentOptions::currentAssessmentSectionId));
    QVERIFY(has<QString (AssessmentOptions::*)() const>(&AssessmentOptions::title));
    QVERIFY(has<QString (AssessmentOptions::*)() const>(&AssessmentOptions::description));
    QVERIFY(has<bool (AssessmentOptions::*)() const>(&AssessmentOptions::scored));
    QVERIFY(has<QVariantMap (AssessmentOptions::*)() const>(&AssessmentOptions::assessmentSectionConfigurations));

    QVERIFY(has<void (AssessmentOptions::*)(QString)>(&AssessmentOptions::setassessmentToken));
    QVERIFY(has<void (AssessmentOptions::*)(bool)>(&AssessmentOptions::setallowSkipQuestion));
    QVERIFY(has<void (AssessmentOptions::*)(bool)>(&AssessmentOptions::setallowNavigateQuestionSet));
    QVERIFY(has<void (AssessmentOptions::*)(bool)>(&AssessmentOptions::setallowResubmitResponse));
    QVERIFY(has<void (AssessmentOptions::*)(bool)>(&AssessmentOptions::setshowSummaryOnAssessmentCompletion));
    QVERIFY(has<void (AssessmentOptions::*)(bool)>(&AssessmentOptions::setshowAnswerOnIncorrectResponse));
    QVERIFY(has<void (AssessmentOptions::*)(bool)>(&AssessmentOptions::setshowFeedback));
    QVERIFY(has<void (AssessmentOptions::*)(int)>(&AssessmentOptions::setquestionCount));
    QVERIFY(has<void (AssessmentOptions::*)(int)>(&AssessmentOptions::setstartingQuestionNumber));
    QVERIFY(has<void (AssessmentOptions::*)(int)>(&AssessmentOptions::setallowedTime));
    QVERIFY(has<void (AssessmentOptions::*)(QString)>(&AssessmentOptions::setcurrentAssessmentSectionId));
    QVERIFY(has<void (AssessmentOptions::*)(QString)>(&AssessmentOptions::settitle));
    QVERIFY(has<void (AssessmentOptions::*)(QString)>(&AssessmentOptions::setdescription));
    QVERIFY(has<void (AssessmentOptions::*)(bool)>(&AssessmentOptions::setscored));
    QVERIFY(has<void (AssessmentOptions::*)(QVariantMap)>(&AssessmentOptions::setassessmentSectionConfigurations));
}

void tst_RecordInterface::optionsMembersFollowEachOther()
{
    const AssessmentOptions object(nullptr);
    QCOMPARE(outOfPlace(extents(object), sizeof(QObject)), QString());
}

void tst_RecordInterface::optionsMetaObject()
{
    compareMetaObject(AssessmentOptions::staticMetaObject, "Tarvo::AssessmentOptions: QObject", {
        "public slot void setassessmentToken(QString value)",
        "public slot void setallowSkipQuestion(bool allowSkipQuestion)",
        "public slot void setallowNavigateQuestionSet(bool allowNavigateQuestionSet)",
        "public slot void setallowResubmitResponse(bool allowResubmitResponse)",
        "public slot void setshowSummaryOnAssessmentCompletion(bool showSummaryOnAssessmentCompletion)",
        "public slot void setshowAnswerOnIncorrectResponse(bool showAnswerOnIncorrectResponse)",
        "public slot void setshowFeedback(bool showFeedback)",
        "public slot void setquestionCount(int questionCount)",
        "public slot void setstartingQuestionNumber(int questionNumber)",
        "public slot void setallowedTime(int allowedTime)",
        "public slot void setcurrentAssessmentSectionId(QString currentAssessmentSectionId)",
        "public slot void settitle(QString title)",
        "public slot void setdescription(QString description)",
        "public slot void setscored(bool scored)",
        "public slot void setassessmentSectionConfigurations(QVariantMap assessmentSectionConfigurations)",
    }, {
        "QString assessmentToken READ WRITE",
        "bool allowSkipQuestion READ WRITE",
        "bool allowNavigateQuestionSet READ WRITE",
        "bool allowResubmitResponse READ WRITE",
        "bool showSummaryOnAssessmentCompletion READ WRITE",
        "bool showAnswerOnIncorrectResponse READ WRITE",
        "bool showFeedback READ WRITE",
        "int questionCount READ WRITE",
        "int startingQuestionNumber READ WRITE",
        "int allowedTime READ WRITE",
        "QString currentAssessmentSectionId READ WRITE",
        "QString title READ WRITE",
        "QString description READ WRITE",
        "bool scored READ WRITE",
        "QVariantMap assessmentSectionConfigurations READ WRITE",
    });
}

void tst_RecordInterface::feedbackFunctions()
{
    QVERIFY((std::is_base_of_v<QObject, QuestionFeedback>));
    QVERIFY((std::is_constructible_v<QuestionFeedback, QObject *>));
    QVERIFY(!std::is_default_constructible_v<QuestionFeedback>);

    QVERIFY(has<bool (QuestionFeedback::*)() const>(&QuestionFeedback::showFeedback));
    QVERIFY(has<bool (QuestionFeedback::*)() const>(&QuestionFeedback::showCorrectAnswer));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::correctAnswer));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::activityScoreStatus));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::activityResponseStatus));
    QVERIFY(has<QVariantList (QuestionFeedback::*)() const>(&QuestionFeedback::correctOptions));
    QVERIFY(has<bool (QuestionFeedback::*)() const>(&QuestionFeedback::allowResubmit));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::correctFeedback));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::inCorrectFeedback));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::answer));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::jsonAnswer));
    QVERIFY(has<QVariantList (QuestionFeedback::*)() const>(&QuestionFeedback::optionAnswers));
    QVERIFY(has<QVariantList (QuestionFeedback::*)() const>(&QuestionFeedback::optionFeedbacks));
    QVERIFY(has<int (QuestionFeedback::*)() const>(&QuestionFeedback::numberOfRetries));
    QVERIFY(has<int (QuestionFeedback::*)() const>(&QuestionFeedback::numberOfRetriesRemaining));
    QVERIFY(has<QVariant (QuestionFeedback::*)() const>(&QuestionFeedback::remainingTime));

    QVERIFY(has<void (QuestionFeedback::*)(bool)>(&QuestionFeedback::setshowFeedback));
    QVERIFY(has<void (QuestionFeedback::*)(bool)>(&QuestionFeedback::setshowCorrectAnswer));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setcorrectAnswer));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setactivityScoreStatus));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setactivityResponseStatus));
    QVERIFY(has<void (QuestionFeedback::*)(QVariantList)>(&QuestionFeedback::setcorrectOptions));
    QVERIFY(has<void (QuestionFeedback::*)(bool)>(&QuestionFeedback::setallowResubmit));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setcorrectFeedback));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setinCorrectFeedback));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setanswer));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setjsonAnswer));
    QVERIFY(has<void (QuestionFeedback::*)(QVariantList)>(&QuestionFeedback::setoptionAnswers));
    QVERIFY(has<void (QuestionFeedback::*)(QVariantList)>(&QuestionFeedback::setoptionFeedbacks));
    QVERIFY(has<void (QuestionFeedback::*)(int)>(&QuestionFeedback::setnumberOfRetries));
    QVERIFY(has<void (QuestionFeedback::*)(int)>(&QuestionFeedback::setnumberOfRetriesRemaining));
    QVERIFY(has<void (QuestionFeedback::*)(QVariant)>(&QuestionFeedback::setremainingTime));
}

void tst_RecordInterface::feedbackMembersFollowEachOther()
{
    const QuestionFeedback object(nullptr);
    QCOMPARE(outOfPlace(extents(object), sizeof(QObject)), QString());
}

void tst_RecordInterface::feedbackMetaObject()
{
    compareMetaObject(QuestionFeedback::staticMetaObject, "Tarvo::QuestionFeedback: QObject", {
        "public slot void setshowFeedback(bool bShowFeedback)",
        "public slot void setshowCorrectAnswer(bool bShowCorrectAnswer)",
        "public slot void setcorrectAnswer(QVariant bCorrectAnswer)",
        "public slot void setactivityScoreStatus(QVariant activityScoreStatus)",
        "public slot void setactivityResponseStatus(QVariant activityResponseStatus)",
        "public slot void setcorrectOptions(QVariantList correctOptions)",
        "public slot void setallowResubmit(bool bAllowResubmit)",
        "public slot void setcorrectFeedback(QVariant correctFeedback)",
        "public slot void setinCorrectFeedback(QVariant incorrectFeedback)",
        "public slot void setanswer(QVariant answer)",
        "public slot void setjsonAnswer(QVariant jsonAnswer)",
        "public slot void setoptionAnswers(QVariantList optionAnswers)",
        "public slot void setoptionFeedbacks(QVariantList optionFeedbacks)",
        "public slot void setnumberOfRetries(int numberOfRetries)",
        "public slot void setnumberOfRetriesRemaining(int numberOfRetriesRemaining)",
        "public slot void setremainingTime(QVariant remainingTime)",
    }, {
        "bool showFeedback READ WRITE",
        "bool showCorrectAnswer READ WRITE",
        "QVariant correctAnswer READ WRITE",
        "QVariant activityScoreStatus READ WRITE",
        "QVariant activityResponseStatus READ WRITE",
        "QVariantList correctOptions READ WRITE",
        "bool allowResubmit READ WRITE",
        "QVariant correctFeedback READ WRITE",
        "QVariant inCorrectFeedback READ WRITE",
        "QVariant answer READ WRITE",
        "QVariant jsonAnswer READ WRITE",
        "QVariantList optionAnswers READ WRITE",
        "QVariantList optionFeedbacks READ WRITE",
        "int numberOfRetries READ WRITE",
        "int numberOfRetriesRemaining READ WRITE",
        "QVariant remainingTime READ WRITE",
    });
}
// clang-format on

void tst_RecordInterface::learnerIsAPlainValue()
{
    const Learner learner{u"device"_s, u"name"_s, u"type"_s};
    QCOMPARE(outOfPlace(extents(learner), 0), QString());
    QCOMPARE(sizeof(Learner), 3 * sizeof(QString));
    QCOMPARE(learner.deviceId + learner.userName + learner.deviceType, u"devicenametype"_s);

    QVERIFY(std::is_aggregate_v<Learner>);
    QVERIFY(!std::is_polymorphic_v<Learner>);
    QVERIFY(std::is_copy_constructible_v<Learner>);
    QVERIFY(std::is_copy_assignable_v<Learner>);
}

void tst_RecordInterface::remoteControlMessageIsAPlainValue()
{
    const RemoteControlMessage message{u"type"_s, u"from"_s, 3};
    QCOMPARE(outOfPlace(extents(message), 0), QString());
    QCOMPARE(sizeof(RemoteControlMessage), 2 * sizeof(QString) + sizeof(QVariant));
    QCOMPARE(message.type + message.from + message.data.toString(), u"typefrom3"_s);

    QVERIFY(std::is_aggregate_v<RemoteControlMessage>);
    QVERIFY(!std::is_polymorphic_v<RemoteControlMessage>);
    QVERIFY(std::is_copy_constructible_v<RemoteControlMessage>);
    QVERIFY(std::is_copy_assignable_v<RemoteControlMessage>);
}

QTEST_GUILESS_MAIN(tst_RecordInterface)
#include "tst_recordinterface.moc"
