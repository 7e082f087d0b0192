#pragma once

#include "model/PropertyRecord.h"
#include "support/Export.h"

#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Tarvo
{

/// How learners' devices label the options of a question.
class TARVOCLIENT_EXPORT QuestionMetadata : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(QuestionMetadata)

    /// One of the names of `OrdinalType::ORDINAL_TYPE_STR`, or empty.
    TARVO_PROPERTY_NAMED(QString, ordinalType, setordinalType, value, QString())
    /// The ordinals of the options, integers from 0.
    TARVO_PROPERTY(QVariantList, options, QVariantList())

public:
    /// Metadata owned by `parent`, which label nothing.
    explicit QuestionMetadata(QObject *parent) : QObject(parent) { }
};

} // namespace Tarvo
