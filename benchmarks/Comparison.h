#pragma once

#include <functional>
#include <string>

// Benchmarks that measure the library beside the bare parts it is made of. Both sides of a comparison
// run in one program, in many short repetitions taken in random order, so that a figure is a ratio of
// two medians and says the same on a slow machine and on a busy one.
namespace Comparison
{

// What is compared: processor time of the thread, or time on the clock for work that waits for
// another process or thread.
enum class Clock {
    PROCESSOR,
    WALL,
};

// What the library's time divided by the bare parts' time should be.
struct Goal {
    enum Direction {
        AT_MOST,
        NONE,
    };
    Direction direction = NONE;
    double ratio = 0;
};
inline Goal atMost(double ratio)
{
    return {Goal::AT_MOST, ratio};
}
// A rate of at least `share` of the bare parts' rate.
inline Goal rateOfAtLeast(double share)
{
    return {Goal::AT_MOST, 1 / share};
}
inline Goal noGoal()
{
    return {};
}

// Registers one comparison. Each function does the work once; both must do the same.
void add(const std::string &name, Goal goal, Clock clock, std::function<void()> library,
         std::function<void()> bare);

// Runs what was registered and prints the table. Takes Google Benchmark's options.
int run(int argc, char **argv, const std::string &title);

} // namespace Comparison
