#include "window/Resolution.h"

namespace Desktop
{

void useWholeResolution() { }

} // namespace Desktop
