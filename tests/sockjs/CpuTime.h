#pragma once

#include <ctime>

// The milliseconds that the processor has worked, by a clock of the whole process or of the calling
// thread.
inline double cpuMs(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}
