#pragma once

#include "host/Assessment.h"
#include "host/CountedQuestion.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

namespace Tarvo
{

class AssessmentOptions;
class QuestionBase;

// More than devices can show.
constexpr int MAX_CHOICES = 100;

// Whether a text can stand in the requests and messages that are written without any escaping.
bool isSendable(const QString &text);

// What a question with words needs to be sent and counted.
AssessmentQuestion questionWithWords(const QString &text, PollType::POLL_TYPE kind,
                                     const QStringList &options);
// Why it cannot be asked; empty when it can.
QString whyNotAskable(const AssessmentQuestion &question);

// The choices that a question record offers.
QVector<Choice> choicesOf(const QuestionBase &question);

// The record that learners' devices get.
std::unique_ptr<QuestionBase> recordOf(const AssessmentQuestion &question, const QString &id);
// The same of the question at `index` of an assessment.
std::unique_ptr<QuestionBase> recordOf(const Assessment &assessment, int index, const QString &id);
// What starts the assessment on a device.
std::unique_ptr<AssessmentOptions> optionsOf(const Assessment &assessment, const QString &token);

} // namespace Tarvo
