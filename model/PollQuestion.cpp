#include "model/PollQuestion.h"

#include "model/QuestionMathFormula.h"
#include "model/QuestionMultiChoice.h"
#include "model/QuestionNumeric.h"
#include "model/QuestionScale.h"
#include "model/QuestionSort.h"
#include "model/QuestionText.h"
#include "model/QuestionYesNo.h"

namespace Tarvo
{

namespace
{

std::unique_ptr<QuestionBase> trueFalseQuestion()
{
    auto question = std::make_unique<QuestionYesNo>(nullptr);
    question->trueFalse = true;
    return question;
}

std::unique_ptr<QuestionBase> emptyQuestion(PollType::POLL_TYPE pollType)
{
    switch (pollType) {
    case PollType::TRUE_FALSE:
        return trueFalseQuestion();
    case PollType::YES_NO_OTHER:
        return std::make_unique<QuestionYesNo>(nullptr);
    case PollType::MULTIPLE:
        return std::make_unique<QuestionMultiChoice>(nullptr);
    case PollType::SCALE:
        return std::make_unique<QuestionScale>(nullptr);
    case PollType::SORT:
        return std::make_unique<QuestionSort>(nullptr);
    case PollType::TEXT:
        return std::make_unique<QuestionText>(nullptr);
    case PollType::NUMBER:
        return std::make_unique<QuestionNumeric>(nullptr);
    case PollType::MATH_FORMULA:
        return std::make_unique<QuestionMathFormula>(nullptr);
    case PollType::WORD_SEED:
    case PollType::CREATIVE:
        break; // such polls are sent without a question
    }
    return nullptr;
}

// An option's id and its text.
struct Label {
    QString id;
    QString text;
};

// Yes/no and true/false have three distinct answers: every option from the third on is "don't know".
Label threeWayLabel(QLatin1String yes, QLatin1String no, int index)
{
    if (index > 1)
        return {QStringLiteral("?"), QStringLiteral("DONTKNOW")};
    return index == 0 ? Label{QStringLiteral("A"), yes} : Label{QStringLiteral("B"), no};
}

Label sameLabel(const QString &text)
{
    return {text, text};
}

Label letterLabel(char first, int index)
{
    return sameLabel(QChar(static_cast<ushort>(first + index)));
}

Label optionLabel(OrdinalType::ORDINAL_TYPE ordinalType, int index)
{
    switch (ordinalType) {
    case OrdinalType::TRUE_FALSE:
        return threeWayLabel(QLatin1String("TRUE"), QLatin1String("FALSE"), index);
    case OrdinalType::YES_NO:
    case OrdinalType::YES_NO_MAYBE:
    case OrdinalType::YES_NO_UNSURE:
    case OrdinalType::YES_NO_OTHER:
        return threeWayLabel(QLatin1String("YES"), QLatin1String("NO"), index);
    case OrdinalType::ALPHA_UPPER:
        return letterLabel('A', index);
    case OrdinalType::ALPHA_LOWER:
        return letterLabel('a', index);
    default:
        return sameLabel(QString::number(index));
    }
}

} // namespace

std::unique_ptr<QuestionBase> pollQuestion(PollType::POLL_TYPE pollType,
                                           OrdinalType::ORDINAL_TYPE ordinalType, int count)
{
    std::unique_ptr<QuestionBase> question = emptyQuestion(pollType);
    auto *withOptions = qobject_cast<QuestionBaseWithOptions *>(question.get());
    if (!withOptions || count < 1)
        return question;
    for (int i = 0; i < count; ++i) {
        const Label label = optionLabel(ordinalType, i);
        withOptions->addActivityOption(label.id, label.text, i);
    }
    withOptions->setOrdinals(ordinalType);
    return question;
}

} // namespace Tarvo
