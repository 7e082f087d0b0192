#pragma once

#include <QtGui/QIcon>

namespace Desktop
{

// The program's own sign: a board with three bars.
QIcon appIcon();

} // namespace Desktop
