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
    /// Whether the learner may leave a question out.
    TARVO_PROPERTY(bool, allowSkipQuestion, false)
    /// Whether the learner may move freely in the set.
    TARVO_PROPERTY(bool, allowNavigateQuestionSet, false)
    /// Whether the learner may answer again.
    TARVO_PROPERTY(bool, allowResubmitResponse, true)
    /// Whether the device shows a summary at the end.
    TARVO_PROPERTY(bool, showSummaryOnAssessmentCompletion, false)
    /// Whether the device shows the answer after a wrong one.
    TARVO_PROPERTY(bool, showAnswerOnIncorrectResponse, false)
    /// Whether the device shows feedback.
    TARVO_PROPERTY(bool, showFeedback, false)
    /// How many questions there are.
    TARVO_PROPERTY(int, questionCount, 1)
    /// The number of the first question.
    TARVO_PROPERTY_NAMED(int, startingQuestionNumber, setstartingQuestionNumber, questionNumber, 0)
    /// How much time the learner has; 0 for any.
    TARVO_PROPERTY(int, allowedTime, 0)
    /// Which section the learner is in.
    TARVO_PROPERTY(QString, currentAssessmentSectionId, QString())
    /// The heading.
    TARVO_PROPERTY(QString, title, QString())
    /// What stands under the heading.
    TARVO_PROPERTY(QString, description, QString())
    /// Whether the answers are scored.
    TARVO_PROPERTY(bool, scored, false)
    /// How the sections are arranged; "leveled" is false for a plain list.
    TARVO_PROPERTY(QVariantMap, assessmentSectionConfigurations, notLeveled())

public:
    /// Options owned by `parent`, with the first value of each property.
    explicit AssessmentOptions(QObject *parent) : QObject(parent) { }

private:
    static QVariantMap notLeveled() { return {{QStringLiteral("leveled"), false}}; }
};

} // namespace Tarvo
