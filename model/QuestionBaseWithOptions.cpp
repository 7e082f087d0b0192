#include "model/QuestionBaseWithOptions.h"

#include "model/ActivityOption.h"
#include "model/JsonSerializer.h"

namespace Tarvo
{

QuestionBaseWithOptions::QuestionBaseWithOptions(QObject *parent) : QuestionBase(parent) { }

QVariantList QuestionBaseWithOptions::activityOptions() const
{
    return JsonSerializer::buildArrayObjectMap(options());
}

void QuestionBaseWithOptions::addActivityOption(QString id, QString optionText,
                                                int displaySeqNumber)
{
    auto *option = new ActivityOption(this);
    option->setID(id);
    option->setoptionText(optionText);
    option->setdisplaySeqNumber(displaySeqNumber);
    m_options.append(option);
}

void QuestionBaseWithOptions::setMetadata(QString ordinalType, int count)
{
    auto *metadata = qobject_cast<QuestionMetadata *>(m_metadata);
    if (!metadata)
        return;
    QVariantList numbers;
    for (int i = 0; i < count; ++i)
        numbers.append(i);
    metadata->setordinalType(ordinalType);
    metadata->setoptions(numbers);
}

void QuestionBaseWithOptions::setMetadata(OrdinalType::ORDINAL_TYPE type, int count)
{
    setMetadata(OrdinalType::ORDINAL_TYPE_STR().value(type), count);
}

void QuestionBaseWithOptions::setOrdinals(OrdinalType::ORDINAL_TYPE type)
{
    setMetadata(type, options().size());
}

void QuestionBaseWithOptions::inferOrdinalType()
{
    const QList<QObject *> existing = options();
    if (existing.isEmpty())
        return;

    // The count is 0: only setOrdinals numbers the options.
    const QString id = static_cast<const ActivityOption *>(existing.first())->id();
    if (id == QLatin1String("A"))
        setMetadata(OrdinalType::ALPHA_UPPER, 0);
    else if (id == QLatin1String("a"))
        setMetadata(OrdinalType::ALPHA_LOWER, 0);
    else if (id == QLatin1String("0") || id == QLatin1String("1"))
        setMetadata(OrdinalType::NUMBER, 0);
}

void QuestionBaseWithOptions::setPriorAnswer(QString answer)
{
    setPriorOptions({answer});
}

void QuestionBaseWithOptions::setPriorOptions(const QStringList &optionIds)
{
    QVariantList chosen;
    for (const QString &id : optionIds)
        chosen.append(QVariantMap{{QStringLiteral("activityOptionId"), id}});

    QuestionFeedback *feedback = feedbackRecord();
    if (feedback && feedback->optionAnswers() != chosen)
        feedback->setoptionAnswers(chosen);
    configurePriorAnswer();
}

void QuestionBaseWithOptions::setPriorOptionPerCharacter(const QString &answer)
{
    setPriorOptions(answer.split(QString(), Qt::SkipEmptyParts));
}

// Those that still exist, in order.
QList<QObject *> QuestionBaseWithOptions::options() const
{
    QList<QObject *> existing;
    for (const QPointer<ActivityOption> &option : m_options) {
        if (option)
            existing.append(option);
    }
    return existing;
}

} // namespace Tarvo
