#pragma once

#include "support/Text.h"

#include "host/Failure.h"

#include <QtCore/QJsonObject>

#include <functional>

// How the service's answer to a request can go wrong: faults as the classroom takes them.

const QJsonObject BROKEN{{u"status"_s, 500}};
const QJsonObject BAD_GATEWAY{{u"status"_s, 502}};
const QJsonObject BUSY{{u"status"_s, 503}};
const QJsonObject PAGE{{u"body"_s, u"<html><body>Please accept our terms.</body></html>"_s}};
const QJsonObject EMPTY_ANSWER{{u"body"_s, u"{}"_s}};
// The toolkit sends a request again whose connection has closed before the answer.
const QJsonObject HUNG_UP{{u"hangUp"_s, true}, {u"times"_s, 10}};
// Much later than both limits, as a busy machine notices late that one has passed.
const QJsonObject LATE{{u"delayMs"_s, 10000}};
constexpr int SHORT_SILENCE_MS = 500;
// For a class whose channel is to last, too.
constexpr int LONGER_SILENCE_MS = 1500;

// The service refuses it, with a reason of its own.
inline QJsonObject refusal(int status, const QString &key)
{
    return {{u"status"_s, status}, {u"body"_s, u"{\"errorMsgKeys\":[\"%1\"]}"_s.arg(key)}};
}

// Maintenance that is over after so many seconds.
inline QJsonObject tellingToWait(int seconds)
{
    const QJsonObject headers{{u"Retry-After"_s, QString::number(seconds)}};
    return {{u"status"_s, 503}, {u"headers"_s, headers}};
}

// The same again.
inline QJsonObject twice(QJsonObject fault)
{
    fault.insert(u"times"_s, 2);
    return fault;
}

// Every way in which a request can fail, and the reason that is told then.
inline void addFaultRows(
    const std::function<void(const char *, const QJsonObject &, Tarvo::Failure::Reason)> &add)
{
    using Tarvo::Failure;
    add("500", BROKEN, Failure::Maintenance);
    add("502", BAD_GATEWAY, Failure::Maintenance);
    add("hung up", HUNG_UP, Failure::ConnectionLost);
    add("late", LATE, Failure::Silent);
}
