#include "Examples.h"

#include "model/AssessmentOptions.h"
#include "model/Card.h"
#include "model/JsonSerializer.h"
#include "model/PollType.h"
#include "model/QuestionCreative.h"
#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionWordSeed.h"
#include "model/QuestionYesNo.h"

using namespace Tarvo;

namespace
{

void identify(QuestionBase &question)
{
    question.setID("q7Rk2mXa");
    question.setactivityType(
        {{"id", PollType::POLL_TYPE_ID().value(question.getType())}, {"name", question.getType()}});
}

template<typename Question> QString plainQuestion()
{
    Question question(nullptr);
    identify(question);
    return JsonSerializer::serializeToJson(&question);
}

template<typename Question> QString numberedQuestion()
{
    Question question(nullptr);
    identify(question);
    for (int i = 0; i < 3; ++i)
        question.addActivityOption(QString::number(i), QString::number(i), i);
    question.setOrdinals(OrdinalType::NUMBER);
    return JsonSerializer::serializeToJson(&question);
}

QString yesNoQuestion(bool trueFalse)
{
    QuestionYesNo question(nullptr);
    question.trueFalse = trueFalse;
    identify(question);
    question.addActivityOption("A", trueFalse ? "TRUE" : "YES", 0);
    question.addActivityOption("B", trueFalse ? "FALSE" : "NO", 1);
    question.setOrdinals(trueFalse ? OrdinalType::TRUE_FALSE : OrdinalType::YES_NO);
    return JsonSerializer::serializeToJson(&question);
}

QString multipleQuestion()
{
    QuestionMultiChoice question(nullptr);
    identify(question);
    question.setquestionSetMode("Assessment");
    question.setquestionNumber(4);
    question.setinstructions("Which of them are prime?");
    question.sethint("There are two.");
    question.sethasNext(true);
    question.setnumberOfCorrectOptions(2);
    question.addActivityOption("A", "17", 0);
    question.addActivityOption("B", "27", 1);
    question.addActivityOption("C", "37", 2);
    question.setOrdinals(OrdinalType::ALPHA_UPPER);
    return JsonSerializer::serializeToJson(&question);
}

QString inferredQuestion()
{
    QuestionSort question(nullptr);
    question.addActivityOption("a", "Alpha", 0);
    question.addActivityOption("b", "Beta", 1);
    question.inferOrdinalType();
    return JsonSerializer::serializeToJson(&question);
}

QString priorOptions()
{
    QuestionMultiChoice question(nullptr);
    question.setPriorAnswer("AC");
    return JsonSerializer::serializeToJson(question.feedBack());
}

QString priorText()
{
    QuestionText question(nullptr);
    question.setPriorAnswer("a heptagon");
    return JsonSerializer::serializeToJson(question.feedBack());
}

QString card()
{
    Card card(nullptr);
    card.setBackgroundImage("url('https://classroom.example/cards/7.png')");
    return JsonSerializer::serializeToJson(&card);
}

QString assessmentOptions()
{
    AssessmentOptions options(nullptr);
    options.setassessmentToken("6a1f3c52-9d0e-4b7a-8c15-2f6e9b0d4a37");
    options.setallowSkipQuestion(true);
    options.setquestionCount(5);
    options.settitle("Prime numbers");
    return JsonSerializer::serializeToJson(&options);
}

} // namespace

QVector<Example> contentExamples()
{
    return {
        {"question-true-false", [] { return yesNoQuestion(true); }},
        {"question-yes-no-other", [] { return yesNoQuestion(false); }},
        {"question-multiple", &multipleQuestion},
        {"question-scale", &numberedQuestion<QuestionScale>},
        {"question-sort", &numberedQuestion<QuestionSort>},
        {"question-text", &plainQuestion<QuestionText>},
        {"question-word-seed", &plainQuestion<QuestionWordSeed>},
        {"question-number", &plainQuestion<QuestionNumeric>},
        {"question-creative", &numberedQuestion<QuestionCreative>},
        {"question-math-formula", &plainQuestion<QuestionMathFormula>},
        {"inferred-ordinals", &inferredQuestion},
        {"prior-options", &priorOptions},
        {"prior-text", &priorText},
        {"card", &card},
        {"assessment-options", &assessmentOptions},
    };
}
