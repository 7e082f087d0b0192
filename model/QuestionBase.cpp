#include "model/QuestionBase.h"

#include "support/RandomId.h"

namespace Tarvo
{

namespace
{

// A constant of the devices, not derived from `numberOfRetries`.
constexpr int RETRIES_WITH_PRIOR_ANSWER = 99;

} // namespace

QuestionBase::QuestionBase(QObject *parent) : QObject(parent) { }

QString QuestionBase::getType() const
{
    return m_type;
}

void QuestionBase::inferOrdinalType() { }

void QuestionBase::setPriorAnswer(QString answer)
{
    if (QuestionFeedback *feedback = feedbackRecord())
        feedback->setanswer(answer);
    configurePriorAnswer();
}

void QuestionBase::configurePriorAnswer()
{
    if (QuestionFeedback *feedback = feedbackRecord())
        feedback->setnumberOfRetriesRemaining(RETRIES_WITH_PRIOR_ANSWER);
}

QuestionFeedback *QuestionBase::feedbackRecord() const
{
    return qobject_cast<QuestionFeedback *>(m_feedBack);
}

QString QuestionBase::newId()
{
    return randomId();
}

} // namespace Tarvo
