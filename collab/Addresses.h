#pragma once

#include <QtCore/QString>

// The event-bus addresses of a session, relative to the session token, which alone addresses every
// device of the session.
// clazy:excludeall=non-pod-global-static
namespace Tarvo::Address
{

constexpr QLatin1Char RELATIVE_MARK('.');

/// The presenters; with "." and a user token behind it, one of them.
inline const QString PRESENTER = QStringLiteral(".presenter");
/// The learners' devices.
inline const QString LEARNER = QStringLiteral(".learner");
/// With a device id behind it, one learner's device.
inline const QString USER = QStringLiteral(".user.");
/// The remote controllers.
inline const QString CONTROLLER = QStringLiteral(".controller");

} // namespace Tarvo::Address
