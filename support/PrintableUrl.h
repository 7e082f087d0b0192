#pragma once

#include <QtCore/QString>

namespace Tarvo
{

// A text that is to be printed without what stands before the host in its URLs: user and password. A
// text without such stays as it is.
QString withoutUserInfo(QString text);

} // namespace Tarvo
