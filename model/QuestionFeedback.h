#pragma once

#include "model/PropertyRecord.h"
#include "support/Export.h"

#include <QtCore/QVariant>

namespace Tarvo
{

/// Feedback and answer state of one question; every question has one as its `feedBack`.
///
/// Learners' devices read from it what to show after an answer, and the answer a learner has already
/// given. A value that was never set is null in the JSON.
class TARVOCLIENT_EXPORT QuestionFeedback : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionFeedback)

    /// Whether the device shows feedback after an answer.
    TARVO_PROPERTY_NAMED(bool, showFeedback, setshowFeedback, bShowFeedback, false)
    /// Whether the device shows the correct answer.
    TARVO_PROPERTY_NAMED(bool, showCorrectAnswer, setshowCorrectAnswer, bShowCorrectAnswer, false)
    /// The correct answer, for questions without options.
    TARVO_PROPERTY_NAMED(QVariant, correctAnswer, setcorrectAnswer, bCorrectAnswer, QVariant())
    /// Of the devices' own; null until it is set.
    TARVO_PROPERTY(QVariant, activityScoreStatus, QVariant())
    /// Of the devices' own; null until it is set.
    TARVO_PROPERTY(QVariant, activityResponseStatus, QVariant())
    /// The correct options.
    TARVO_PROPERTY(QVariantList, correctOptions, QVariantList())
    /// Whether the learner may answer again.
    TARVO_PROPERTY_NAMED(bool, allowResubmit, setallowResubmit, bAllowResubmit, true)
    /// What the learner reads after a correct answer.
    TARVO_PROPERTY(QVariant, correctFeedback, QVariant())
    /// What the learner reads after a wrong answer. With a capital C: that is the key the devices know.
    TARVO_PROPERTY_NAMED(QVariant, inCorrectFeedback, setinCorrectFeedback, incorrectFeedback,
                         QVariant())
    /// The answer the learner has already given, for questions without options.
    TARVO_PROPERTY(QVariant, answer, QVariant())
    /// Of the devices' own; null until it is set.
    TARVO_PROPERTY(QVariant, jsonAnswer, QVariant())
    /// The options the learner has already chosen: maps with the one key "activityOptionId".
    TARVO_PROPERTY(QVariantList, optionAnswers, QVariantList())
    /// What the learner reads after each option.
    TARVO_PROPERTY(QVariantList, optionFeedbacks, QVariantList())
    /// How often the learner may answer again.
    TARVO_PROPERTY(int, numberOfRetries, 0)
    /// How often that is still possible; 99 with a prior answer.
    TARVO_PROPERTY(int, numberOfRetriesRemaining, 0)
    /// Of the devices' own; null until it is set.
    TARVO_PROPERTY(QVariant, remainingTime, QVariant())

public:
    /// A feedback owned by `parent`, with the first value of each property.
    explicit QuestionFeedback(QObject *parent) : QObject(parent) { }
};

} // namespace Tarvo
