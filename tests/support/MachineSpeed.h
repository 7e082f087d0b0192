#pragma once

#include "sockjs/CpuTime.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <algorithm>
#include <array>

// The processor's milliseconds for a piece of work such as the library does with a message: reading JSON, and
// texts that are made, kept by key and looked for.
inline double fixedWorkMs()
{
    const QByteArray message =
        "{\"type\":\"publish\",\"body\":{\"tag\":\"answer\",\"id\":\"device-1\",\"count\":3}}";
    const double before = cpuMs(CLOCK_THREAD_CPUTIME_ID);
    QHash<QString, QJsonObject> kept;
    for (int i = 0; i < 1000; ++i)
        kept.insert(QString::number(i % 100), QJsonDocument::fromJson(message).object());
    return cpuMs(CLOCK_THREAD_CPUTIME_ID) - before;
}

// How many times as long as the machine on which limits of processor time were measured this one takes now, be it
// slower or shared with others; 1 at least.
inline double machineSlowness()
{
    constexpr double MEASURED_MS = 1.6;
    std::array<double, 9> times;
    std::generate(times.begin(), times.end(), fixedWorkMs);
    std::sort(times.begin(), times.end());
    return std::max(1.0, times.at(times.size() / 2) / MEASURED_MS);
}
