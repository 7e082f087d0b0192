#pragma once

#include "host/ClassRunner.h"

#include <memory>

namespace Tarvo
{

// The one keeper of the process: owns the threads on which classes run. A class that goes leaves its
// session to the keeper, which stops it in the background. Only the end of the application waits for
// that, for a limited time.
namespace SessionKeeper
{

// Starts a runner on a thread of its own, which takes these requests until it is told to end.
void keep(const std::shared_ptr<ToRunner> &requests, const std::shared_ptr<ToHost> &notices);

// Tells a runner to stop its session and to end. Returns at once.
void letGo(ToRunner &requests);

} // namespace SessionKeeper

} // namespace Tarvo
