#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QString>

namespace Tarvo
{

/// One learner device of the session, as the service lists it or as it introduced itself when it
/// joined. A plain value.
///
/// Known to the meta-type system as "Tarvo::Learner" and as "Learner", the spelling that signals
/// use, so that it travels in queued connections; both names are there as soon as the library is
/// loaded.
struct Learner {
    QString deviceId;   ///< what the device is addressed by: the service's "userToken"
    QString userName;   ///< as the learner entered it
    QString deviceType; ///< as the device reports it
};

} // namespace Tarvo

Q_DECLARE_TYPEINFO(Tarvo::Learner, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(Tarvo::Learner)
