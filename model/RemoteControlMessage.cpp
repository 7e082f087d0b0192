#include "model/RemoteControlMessage.h"

namespace
{

// At load time, so that no connection can be made before the name is known. The short name is left to
// the host, which may have a type of its own under it.
void registerRemoteControlMessage()
{
    qRegisterMetaType<Tarvo::RemoteControlMessage>();
}
Q_CONSTRUCTOR_FUNCTION(registerRemoteControlMessage)

} // namespace
