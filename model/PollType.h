#pragma once

#include "support/Export.h"

#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>

namespace Tarvo
{

/// The kinds of poll.
class TARVOCLIENT_EXPORT PollType
{
    Q_GADGET

public:
    enum POLL_TYPE : int {
        TRUE_FALSE,
        YES_NO_OTHER,
        MULTIPLE,
        SCALE,
        SORT,
        TEXT,
        WORD_SEED,
        NUMBER,
        CREATIVE,
        MATH_FORMULA
    };
    Q_ENUM(POLL_TYPE)

    PollType() = delete;

    /// The names by which learners' devices know the kinds of poll. Built on each call.
    static QMap<POLL_TYPE, QString> POLL_TYPE_STR();

    /// The question-type ids by which the service recognises the kind of activity, keyed by the
    /// names of `POLL_TYPE_STR`. Built on each call.
    static QMap<QString, QString> POLL_TYPE_ID();
};

} // namespace Tarvo
