#pragma once

#include "host/Failure.h"

#include "client/PresenterClient.h"

namespace Tarvo
{

// What a reply of the service tells about why something failed; NoReason when it did not fail. `key` is
// the client's last error key, which also tells what TLS has found.
Failure::Reason reasonOf(const PresenterClient::Reply &reply, const QString &key);

// The service's error key in a reply; empty without one.
QString errorKeyOf(const PresenterClient::Reply &reply);

} // namespace Tarvo
