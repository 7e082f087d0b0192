#include "model/Learner.h"

namespace
{

// At load time, so that no connection can be made before the name is known. The short name is left to
// the host, which may have a type of its own under it.
void registerLearner()
{
    qRegisterMetaType<Tarvo::Learner>();
}
Q_CONSTRUCTOR_FUNCTION(registerLearner)

} // namespace
