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
    /// The labellings; their names on the channel are those of `ORDINAL_TYPE_STR()`.
    enum ORDINAL_TYPE : int {
        TRUE_FALSE,    ///< true, false
        YES_NO,        ///< yes, no
        YES_NO_MAYBE,  ///< yes, no, maybe
        YES_NO_UNSURE, ///< yes, no, unsure
        YES_NO_OTHER,  ///< yes, no, another answer
        ALPHA_UPPER,   ///< A, B, C ...
        ALPHA_LOWER,   ///< a, b, c ...
        NUMBER,        ///< numbers
        AGREEMENT,     ///< how far one agrees
        CONFIDENCE,    ///< how sure one is
        GENERIC        ///< no labels of its own
    };
    Q_ENUM(ORDINAL_TYPE)

    OrdinalType() = delete;

    /// The names by which learners' devices know the labellings ("ordinalType" of the metadata).
    /// Built on each call.
    static QMap<ORDINAL_TYPE, QString> ORDINAL_TYPE_STR();
};

} // namespace Tarvo
