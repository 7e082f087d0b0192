#pragma once

#include "model/PropertyRecord.h"
#include "support/Export.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Tarvo
{

/// The settings of an assessment, as learners' devices read them when it starts.
class TARVOCLIENT_EXPORT AssessmentOptions : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(AssessmentOptions)

    /// Identity of the assessment.
    TARVO_PROPERTY_NAMED(QString, assessmentToken, setassessmentToken, value, QString())
    /// What the learner may do: leave a question out, move freely in the set, answer again.
    TARVO_PROPERTY(bool, allowSkipQuestion, false)
    TARVO_PROPERTY(bool, allowNavigateQuestionSet, false)
    TARVO_PROPERTY(bool, allowResubmitResponse, true)
    /// What the device shows: a summary at the end, the answer after a wrong one, feedback.
    TARVO_PROPERTY(bool, showSummaryOnAssessmentCompletion, false)
    TARVO_PROPERTY(bool, showAnswerOnIncorrectResponse, false)
    TARVO_PROPERTY(bool, showFeedback, false)
    /// How many questions there are, and the number of the first one.
    TARVO_PROPERTY(int, questionCount, 1)
    TARVO_PROPERTY_NAMED(int, startingQuestionNumber, setstartingQuestionNumber, questionNumber, 0)
    /// Which section the learner is in, in what time, and under what heading.
    TARVO_PROPERTY(int, allowedTime, 0)
    TARVO_PROPERTY(QString, currentAssessmentSectionId, QString())
    TARVO_PROPERTY(QString, title, QString())
    TARVO_PROPERTY(QString, description, QString())
    TARVO_PROPERTY(bool, scored, false)
    TARVO_PROPERTY(QVariantMap, assessmentSectionConfigurations, notLeveled())

public:
    explicit AssessmentOptions(QObject *parent) : QObject(parent) { }

private:
    static QVariantMap notLeveled() { return {{QStringLiteral("leveled"), false}}; }
};

} // namespace Tarvo
