#pragma once

#include <QtCore/QString>

namespace Tarvo
{

// An id of 8 characters out of A-Z, a-z and 0-9, for SockJS sessions and questions.
//
// The toolkit's generator is seeded with the time in whole seconds before every id, so ids made
// within one second are equal; whoever needs distinct ones sets them.
QString randomId();

// An id of the same form from the system's random generator, which no other host and no second call
// gives.
QString uniqueRandomId();

} // namespace Tarvo
