#pragma once

#include "model/OrdinalType.h"
#include "model/PropertyRecord.h"
#include "model/QuestionBase.h"
#include "model/QuestionMetadata.h"
#include "support/Export.h"

#include <QtCore/QList>
#include <QtCore/QPointer>
#include <QtCore/QStringList>

namespace Tarvo
{

class ActivityOption;

/// A question that is answered by choosing among options.
class TARVOCLIENT_EXPORT QuestionBaseWithOptions : public QuestionBase
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionBaseWithOptions)

    /// The question's `QuestionMetadata`: how the options are labelled.
    TARVO_OBJECT_PROPERTY(metadata, metadata, new QuestionMetadata(this))
public Q_SLOTS:
    /// Puts another record in place of the labels'; it keeps its parent.
    void setmetadata(QuestionMetadata *metadata) { m_metadata = metadata; }

public:
    /// What `activityOptions()` returns.
    Q_PROPERTY(QVariantList activityOptions READ activityOptions)
    /// The options, a map each, in the order in which they were added.
    QVariantList activityOptions() const;

    /// A question owned by `parent`, without options.
    explicit QuestionBaseWithOptions(QObject *parent);

    /// Appends an option, owned by the question. Deleting it takes it out again.
    void addActivityOption(QString id, QString optionText, int displaySeqNumber);

    /// Labels the options with `ordinalType` and numbers them from 0 to `count` - 1; a count of 0
    /// or less leaves no numbers. Writes nothing when `metadata` is not a `QuestionMetadata` (or is
    /// gone).
    void setMetadata(QString ordinalType, int count);

    /// The same with the name of `type`; empty if the value has none.
    void setMetadata(OrdinalType::ORDINAL_TYPE type, int count);

    /// Labels and numbers the options that have been added so far.
    void setOrdinals(OrdinalType::ORDINAL_TYPE type);

    /// Labels the options by the id of the first one: capitals from "A", small letters from "a",
    /// digits from "0" or "1". Any other id leaves the metadata as it is. Never numbers the options:
    /// `options` of the metadata becomes empty.
    void inferOrdinalType() override;

    /// Makes the one option whose id is the whole of `answer` the chosen one.
    void setPriorAnswer(QString answer) override;

protected:
    /// Makes the options with these ids the chosen ones, as a prior answer.
    void setPriorOptions(const QStringList &optionIds);

    /// The same with one option per character of `answer`; nothing separates them.
    void setPriorOptionPerCharacter(const QString &answer);

private:
    QList<QObject *> options() const;

    QList<QPointer<ActivityOption>> m_options;
};

} // namespace Tarvo
