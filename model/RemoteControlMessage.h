#pragma once

#include <QtCore/QMetaType>
#include <QtCore/QString>
#include <QtCore/QVariant>

namespace Tarvo
{

/// One command of a remote-controller device. A plain value.
///
/// Known to the meta-type system as "Tarvo::RemoteControlMessage" and as "RemoteControlMessage", the
/// spelling that signals use, so that it travels in queued connections; both names are there as soon
/// as the library is loaded.
struct RemoteControlMessage {
    QString type;  ///< the command, such as "nextCard"
    QString from;  ///< the device that sent it
    QVariant data; ///< what came with the command, as received
};

} // namespace Tarvo

Q_DECLARE_TYPEINFO(Tarvo::RemoteControlMessage, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(Tarvo::RemoteControlMessage)
