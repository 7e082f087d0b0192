#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Tarvo
{

/// One command of a remote-controller device. A plain value.
///
/// Known to the meta-type system as "Tarvo::RemoteControlMessage", as soon as the library is loaded, so
/// that it travels in queued connections. As for `Learner`, a queued connection by
/// SIGNAL(`remoteControl(RemoteControlMessage)`) takes one line of a host that has no type of that name
/// itself, before it connects:
///
///     qRegisterMetaType<Tarvo::RemoteControlMessage>("RemoteControlMessage");
struct RemoteControlMessage {
    QString type;  ///< the command, such as "nextCard"
    QString from;  ///< the device that sent it
    QVariant data; ///< what came with the command, as received
};

} // namespace Tarvo

Q_DECLARE_TYPEINFO(Tarvo::RemoteControlMessage, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(Tarvo::RemoteControlMessage)
