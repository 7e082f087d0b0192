#pragma once

#include <algorithm>
#include <ctime>
#include <vector>

inline double seconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Of at least one value.
inline double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

inline const char *verdict(bool isMet)
{
    return isMet ? "met" : "MISSED";
}
