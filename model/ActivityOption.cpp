#include "model/ActivityOption.h"

namespace Tarvo
{

ActivityOption::ActivityOption(QObject *parent) : QObject(parent) { }

} // namespace Tarvo
