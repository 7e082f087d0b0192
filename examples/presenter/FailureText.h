#pragma once

#include "host/Failure.h"

#include <QtCore/QString>
#include <QtCore/QStringList>

namespace Host
{

// What failed on the way to the class at this address, and what to do about it, one line each. Names
// this program's options where they help.
QStringList describe(const Tarvo::Failure &failure, const QString &server);

// The same of a command, in one line.
QString describe(const Tarvo::Failure &failure);

// The service has not said that the session has stopped.
QStringList describeUnconfirmedStop();

} // namespace Host
