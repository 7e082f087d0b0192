#include "model/Learner.h"

namespace
{

// At load time, so that no connection can be made before the names are known.
void registerLearner()
{
    qRegisterMetaType<Tarvo::Learner>();
    qRegisterMetaType<Tarvo::Learner>("Learner");
}
Q_CONSTRUCTOR_FUNCTION(registerLearner)

} // namespace
