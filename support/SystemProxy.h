#pragma once

#include <QtNetwork/QNetworkProxy>

namespace Tarvo
{

// The proxy that the system names for public web addresses, or one of type NoProxy, with an empty
// host name and port 0, when it names none.
//
// The system is asked once per process and the answer remembered, because the connector later sets
// "http_proxy" in a form that the toolkit would misread. May be called from any thread.
QNetworkProxy systemProxy();

} // namespace Tarvo
