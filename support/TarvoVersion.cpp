#include "support/TarvoVersion.h"

namespace Tarvo
{

QVersionNumber libraryVersion()
{
    return {TARVO_VERSION_MAJOR, TARVO_VERSION_MINOR, TARVO_VERSION_PATCH};
}

} // namespace Tarvo
