#pragma once

#include "client/PresenterClient.h"

// The keep-alive timer of a client, which no accessor shows: naming a private member is allowed in an
// explicit instantiation, and that alone hands it out.
template<QTimer PresenterClient::*Member> struct KeepAliveTimerKey {
    friend QTimer &keepAliveTimer(PresenterClient &client) { return client.*Member; }
};
QTimer &keepAliveTimer(PresenterClient &client);
template struct KeepAliveTimerKey<&PresenterClient::pingTimer>;

inline bool keepAliveRuns(PresenterClient &client)
{
    return keepAliveTimer(client).isActive();
}
