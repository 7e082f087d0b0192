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
    /// How learners answer.
    enum POLL_TYPE : int {
        TRUE_FALSE,   ///< with one of two options
        YES_NO_OTHER, ///< with yes, no or something else
        MULTIPLE,     ///< with one or several options
        SCALE,        ///< with a place on a scale
        SORT,         ///< with an order of the options
        TEXT,         ///< with a text
        WORD_SEED,    ///< with words; sent without a question
        NUMBER,       ///< with a number
        CREATIVE,     ///< with a work of their own; sent without a question
        MATH_FORMULA  ///< with a formula
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
