#pragma once

#include <QtNetwork/QNetworkProxy>

namespace Tarvo
{

// The proxy that the system names for public web addresses, or one of type NoProxy, with an empty
// host name and port 0, when it names none. The system is asked at every call, since a laptop moves
// from one network to another, unless an entry of announceProxy() stands in the environment. May be
// called from any thread.
QNetworkProxy systemProxy();

// Puts a proxy into the environment, as "http_proxy", for what else runs in this process; one of port 0
// leaves the environment alone.
//
// The toolkit would misread that entry, which names no scheme, when it is asked for the system's proxy.
// While the entry stands there, systemProxy() therefore gives the proxy that led to it.
void announceProxy(const QNetworkProxy &proxy);

} // namespace Tarvo
