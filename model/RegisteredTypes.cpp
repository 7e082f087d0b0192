#include "model/Learner.h"
#include "model/RemoteControlMessage.h"

namespace
{

// At load time, so that no connection can be made before the names are known. The short names are left
// to the host, which may have types of its own under them.
void registerTypes()
{
    qRegisterMetaType<Tarvo::Learner>();
    qRegisterMetaType<Tarvo::RemoteControlMessage>();
}
Q_CONSTRUCTOR_FUNCTION(registerTypes)

} // namespace
