#pragma once

#include <functional>
#include <string>

// Benchmarks that measure the library beside the bare parts it is made of. Both sides of a comparison
// run in one program and take turns of about a millisecond; the figure is the median, over some
// thousand turns, of the ratio of two neighbouring ones. So it says the same on a slow machine and on
// a busy one.
namespace Comparison
{

// What the library's time divided by the bare parts' time should be at most, if anything.
struct Goal {
    bool isSet = false;
    double ratio = 0;
};
inline Goal atMost(double ratio)
{
    return {true, ratio};
}
// A rate of at least `share` of the bare parts' rate.
inline Goal rateOfAtLeast(double share)
{
    return {true, 1 / share};
}
inline Goal noGoal()
{
    return {};
}

// Registers work that never waits: the thread's processor time is compared. Both functions must do
// the same; a turn is as many calls as take a millisecond.
void add(const std::string &name, Goal goal, std::function<void()> library,
         std::function<void()> bare);
// Registers work that waits for another thread or process: time on the clock is compared, and the
// thread's processor time shown beside it. A turn is one call; `settle` runs after it, unmeasured, so
// that no side does the other's cleaning up.
void addWaiting(const std::string &name, Goal goal, std::function<void()> library,
                std::function<void()> bare, std::function<void()> settle);

// Runs what was registered and prints the table. Takes Google Benchmark's options.
int run(int argc, char **argv, const std::string &title);

} // namespace Comparison
