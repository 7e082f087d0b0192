#pragma once

#include <QtCore/QLatin1String>

// The event-bus addresses of a session, relative to the session token, which alone addresses every
// device of the session.
namespace Tarvo::Address
{

constexpr QLatin1Char RELATIVE_MARK('.');

constexpr QLatin1String PRESENTER(".presenter"); // and with "." and a user token, one presenter
constexpr QLatin1String LEARNER(".learner");
constexpr QLatin1String USER(".user."); // and a device id: one learner's device
constexpr QLatin1String CONTROLLER(".controller");

} // namespace Tarvo::Address
