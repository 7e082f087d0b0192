#pragma once

#include <functional>

namespace Tarvo
{

// The pauses between attempts to come back, each counted from the beginning of the attempt before: the
// first at a random moment within a second, then 1, 2, 4 ... seconds up to the longest, each of them up
// to a half more or less, so that a whole school does not come back at once.
class Backoff
{
public:
    // A number from 0 to 1.
    using Random = std::function<double()>;

    // With the system's random numbers.
    Backoff();
    explicit Backoff(Random random);

    void setLongest(int ms);
    // Milliseconds until the next attempt.
    int next();
    // The row begins anew.
    void reset();

private:
    Random m_random;
    int m_longestMs = 30000;
    int m_count = 0;
};

} // namespace Tarvo
