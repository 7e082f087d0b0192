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

    TARVO_PROPERTY_NAMED(bool, showFeedback, setshowFeedback, bShowFeedback, false)
    TARVO_PROPERTY_NAMED(bool, showCorrectAnswer, setshowCorrectAnswer, bShowCorrectAnswer, false)
    TARVO_PROPERTY_NAMED(QVariant, correctAnswer, setcorrectAnswer, bCorrectAnswer, QVariant())
    TARVO_PROPERTY(QVariant, activityScoreStatus, QVariant())
    TARVO_PROPERTY(QVariant, activityResponseStatus, QVariant())
    TARVO_PROPERTY(QVariantList, correctOptions, QVariantList())
    TARVO_PROPERTY_NAMED(bool, allowResubmit, setallowResubmit, bAllowResubmit, true)
    TARVO_PROPERTY(QVariant, correctFeedback, QVariant())
    /// With a capital C: that is the key the devices know.
    TARVO_PROPERTY_NAMED(QVariant, inCorrectFeedback, setinCorrectFeedback, incorrectFeedback,
                         QVariant())
    /// The answer the learner has already given, for questions without options.
    TARVO_PROPERTY(QVariant, answer, QVariant())
    TARVO_PROPERTY(QVariant, jsonAnswer, QVariant())
    /// The options the learner has already chosen: maps with the one key "activityOptionId".
    TARVO_PROPERTY(QVariantList, optionAnswers, QVariantList())
    TARVO_PROPERTY(QVariantList, optionFeedbacks, QVariantList())
    TARVO_PROPERTY(int, numberOfRetries, 0)
    TARVO_PROPERTY(int, numberOfRetriesRemaining, 0)
    TARVO_PROPERTY(QVariant, remainingTime, QVariant())

public:
    explicit QuestionFeedback(QObject *parent) : QObject(parent) { }
};

} // namespace Tarvo
