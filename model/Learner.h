#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QString>

namespace Tarvo
{

/// One learner device of the session, as the service lists it or as it introduced itself when it
/// joined. A plain value.
///
/// Known to the meta-type system as "Tarvo::Learner", as soon as the library is loaded, so that it
/// travels in queued connections. Connections by pointer to member need nothing more, nor do direct ones
/// by SIGNAL(`learnerJoin(Learner)`). A queued connection by that text, or one to another thread, looks for
/// a type called "Learner", and that name is the host's, who may have a `Learner` of its own: one that
/// has none gives the name to this type, once, before it connects:
///
///     qRegisterMetaType<Tarvo::Learner>("Learner");
///
/// A host that has one connects by pointer to member.
struct Learner {
    QString deviceId;   ///< what the device is addressed by: the service's "userToken"
    QString userName;   ///< as the learner entered it
    QString deviceType; ///< as the device reports it
};

} // namespace Tarvo

Q_DECLARE_TYPEINFO(Tarvo::Learner, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(Tarvo::Learner)
