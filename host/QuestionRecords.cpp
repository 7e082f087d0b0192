#include "host/QuestionRecords.h"

#include "model/AssessmentOptions.h"
#include "model/PollQuestion.h"
#include "model/QuestionBaseWithOptions.h"

#include <QtCore/QMetaProperty>

#include <algorithm>

namespace Tarvo
{

namespace
{

constexpr int LETTERS = 26;

// What the kit sets itself.
const char *const OWN_PROPERTIES[] = {
    "id", "questionSetMode", "questionNumber", "type", "activityType", "hasNext",
};

void setProperties(QObject *object, const QVariantMap &properties)
{
    for (auto property = properties.constBegin(); property != properties.constEnd(); ++property) {
        const QByteArray name = property.key().toUtf8();
        if (object->metaObject()->indexOfProperty(name.constData()) >= 0)
            object->setProperty(name.constData(), property.value());
    }
}

std::unique_ptr<QuestionBase> emptyRecord(PollType::POLL_TYPE kind)
{
    return pollQuestion(kind, OrdinalType::GENERIC, 0);
}

// Yes/no and true/false know their choices by themselves.
bool isYesNo(PollType::POLL_TYPE kind)
{
    return kind == PollType::TRUE_FALSE || kind == PollType::YES_NO_OTHER;
}

QStringList usualOptions(PollType::POLL_TYPE kind)
{
    if (kind == PollType::TRUE_FALSE)
        return {QStringLiteral("True"), QStringLiteral("False")};
    if (kind == PollType::YES_NO_OTHER)
        return {QStringLiteral("Yes"), QStringLiteral("No")};
    return {};
}

} // namespace

bool isSendable(const QString &text)
{
    return std::none_of(text.begin(), text.end(), [](QChar character) {
        return character == QLatin1Char('"') || character == QLatin1Char('\\')
            || character < QLatin1Char(' ');
    });
}

AssessmentQuestion questionWithWords(const QString &text, PollType::POLL_TYPE kind,
                                     const QStringList &options)
{
    AssessmentQuestion question;
    question.kind = kind;
    question.text = text;
    const QStringList texts = options.isEmpty() ? usualOptions(kind) : options;
    const bool lettersSuffice = texts.size() <= LETTERS;
    question.labels = lettersSuffice ? OrdinalType::ALPHA_UPPER : OrdinalType::NUMBER;
    for (int i = 0; i < texts.size(); ++i) {
        const QString id = lettersSuffice ? QString(QChar('A' + i)) : QString::number(i);
        question.choices.append({id, texts.at(i)});
    }
    return question;
}

QString whyNotAskable(const AssessmentQuestion &question)
{
    const std::unique_ptr<QuestionBase> record = emptyRecord(question.kind);
    if (!record)
        return QStringLiteral("the question: this kind has no words");
    const bool takesChoices = qobject_cast<QuestionBaseWithOptions *>(record.get());
    if (!takesChoices && !question.choices.isEmpty())
        return QStringLiteral("the question: this kind has no options");
    if (takesChoices && question.choices.size() < (isYesNo(question.kind) ? 2 : 1))
        return QStringLiteral("the question: this kind needs options");
    if (question.choices.size() > MAX_CHOICES)
        return QStringLiteral("the question: it has more than %1 options").arg(MAX_CHOICES);
    return QString();
}

QVector<Choice> choicesOf(const QuestionBase &question)
{
    QVector<Choice> choices;
    const QVariantList options = question.property("activityOptions").toList();
    for (const QVariant &option : options) {
        const QVariantMap properties = option.toMap();
        choices.append({properties.value(QStringLiteral("id")).toString(),
                        properties.value(QStringLiteral("optionText")).toString()});
    }
    return choices;
}

std::unique_ptr<QuestionBase> recordOf(const AssessmentQuestion &question, const QString &id)
{
    std::unique_ptr<QuestionBase> record = emptyRecord(question.kind);
    if (!record)
        return nullptr;
    QVariantMap properties = question.properties;
    for (const char *name : OWN_PROPERTIES)
        properties.remove(QLatin1String(name));
    setProperties(record.get(), properties);
    if (!question.text.isEmpty())
        record->setinstructions(question.text);
    record->setID(id);
    if (auto *withOptions = qobject_cast<QuestionBaseWithOptions *>(record.get())) {
        for (int i = 0; i < question.choices.size(); ++i)
            withOptions->addActivityOption(question.choices.at(i).id, question.choices.at(i).text,
                                           i);
        withOptions->setOrdinals(question.labels);
    }
    return record;
}

std::unique_ptr<QuestionBase> recordOf(const Assessment &assessment, int index, const QString &id)
{
    std::unique_ptr<QuestionBase> record = recordOf(assessment.questions.at(index), id);
    if (!record)
        return nullptr;
    record->setquestionNumber(assessment.firstNumber + index);
    record->sethasNext(index + 1 < assessment.questions.size());
    return record;
}

std::unique_ptr<AssessmentOptions> optionsOf(const Assessment &assessment, const QString &token)
{
    auto options = std::make_unique<AssessmentOptions>(nullptr);
    setProperties(options.get(), assessment.settings);
    options->settitle(assessment.title);
    options->setstartingQuestionNumber(assessment.firstNumber);
    options->setassessmentToken(token);
    options->setquestionCount(assessment.questions.size());
    return options;
}

} // namespace Tarvo
