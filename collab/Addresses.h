#pragma once

#include <QtCore/QString>

// The event-bus addresses of a session, relative to the session token, which alone addresses every
// device of the session.
namespace Tarvo::Address
{

constexpr QLatin1Char RELATIVE_MARK('.');

// The presenters; with "." and a user token behind it, one of them.
const QLatin1String PRESENTER(".presenter");
// The learners' devices.
const QLatin1String LEARNER(".learner");
// With a device id behind it, one learner's device.
const QLatin1String USER(".user.");
// The remote controllers.
const QLatin1String CONTROLLER(".controller");

} // namespace Tarvo::Address
