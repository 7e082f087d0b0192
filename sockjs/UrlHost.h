#pragma once

#include <QtCore/QString>

namespace Tarvo
{

// A host as it stands in addresses and in "Host" headers: an IPv6 address in brackets.
inline QString urlHost(const QString &host)
{
    return host.contains(QLatin1Char(':')) ? QLatin1Char('[') + host + QLatin1Char(']') : host;
}

} // namespace Tarvo
