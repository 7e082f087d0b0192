#pragma once

#include "model/OrdinalType.h"
#include "model/PollType.h"

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>
#include <QtCore/QVector>

namespace Tarvo
{

/// One answer that a question offers.
struct Choice {
    QString id;   ///< what learners answer with
    QString text; ///< what is shown beside it; may be the same
};

/// One question of an assessment.
struct AssessmentQuestion {
    PollType::POLL_TYPE kind = PollType::MULTIPLE;               ///< how it is answered
    OrdinalType::ORDINAL_TYPE labels = OrdinalType::ALPHA_UPPER; ///< how the choices are labelled
    QString text;                                                ///< what is asked
    QVector<Choice> choices;                                     ///< for the kinds that have them
    /// Further properties of the question record by their names, such as "hint"; those that the kit
    /// sets itself (id, questionSetMode, questionNumber, hasNext) are passed over.
    QVariantMap properties;
};

/// A set of questions that learners work through at their own pace. A plain value.
struct Assessment {
    /// The heading that the devices show.
    QString title;
    /// The number of the first question.
    int firstNumber = 1;
    /// Further properties of `Tarvo::AssessmentOptions` by their names, such as "allowSkipQuestion".
    QVariantMap settings;
    /// The questions, in the order in which they are numbered.
    QVector<AssessmentQuestion> questions;
};

} // namespace Tarvo

Q_DECLARE_METATYPE(Tarvo::Assessment)
