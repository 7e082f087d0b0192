#pragma once

#include "support/Export.h"

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>

namespace Tarvo
{

/// The ways of labelling a question's options.
class TARVOCLIENT_EXPORT OrdinalType
{
    Q_GADGET

public:
    enum ORDINAL_TYPE : int {
        TRUE_FALSE,
        YES_NO,
        YES_NO_MAYBE,
        YES_NO_UNSURE,
        YES_NO_OTHER,
        ALPHA_UPPER,
        ALPHA_LOWER,
        NUMBER,
        AGREEMENT,
        CONFIDENCE,
        GENERIC
    };
    Q_ENUM(ORDINAL_TYPE)

    OrdinalType() = delete;

    /// The names by which learners' devices know the labellings ("ordinalType" of the metadata).
    /// Built on each call.
    static QMap<ORDINAL_TYPE, QString> ORDINAL_TYPE_STR();
};

} // namespace Tarvo
