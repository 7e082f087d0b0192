#pragma once

#include "model/PropertyRecord.h"
#include "support/Export.h"

#include <QtCore/QString>

namespace Tarvo
{

/// One answer option of a question. Learners' devices show `optionText` and answer with `id`.
class TARVOCLIENT_EXPORT ActivityOption : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY(ActivityOption)

    /// What learners answer with.
    TARVO_PROPERTY_NAMED(QString, id, setID, value, QString())
    /// What learners read.
    TARVO_PROPERTY(QString, optionText, QString())
    /// Place among the options, from 0.
    TARVO_PROPERTY(int, displaySeqNumber, 0)
    /// Whether the text is a formula.
    TARVO_PROPERTY_NAMED(bool, math, setmath, isMath, false)

public:
    /// An option owned by `parent`, without id and text.
    explicit ActivityOption(QObject *parent) : QObject(parent) { }
};

} // namespace Tarvo
