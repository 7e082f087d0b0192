#include "model/RemoteControlMessage.h"

namespace
{

// At load time, so that no connection can be made before the names are known.
void registerRemoteControlMessage()
{
    qRegisterMetaType<Tarvo::RemoteControlMessage>();
    qRegisterMetaType<Tarvo::RemoteControlMessage>("RemoteControlMessage");
}
Q_CONSTRUCTOR_FUNCTION(registerRemoteControlMessage)

} // namespace
