#include "benchmarks/Comparison.h"

#include "benchmarks/Figures.h"

#include <cstdio>
#include <cstdlib>

namespace
{

// A side's turn takes at least this long, so that reading the clock does not count.
constexpr double MIN_TURN_SECONDS = 1e-3;

struct Time {
    double wall;
    double processor;
};

// Seconds that one call takes, out of `calls`.
Time measure(const Comparison::Work &work, int calls)
{
    const double wallStart = seconds(CLOCK_MONOTONIC);
    const double processorStart = seconds(CLOCK_THREAD_CPUTIME_ID);
    for (int call = 0; call < calls; ++call)
        work();
    return {(seconds(CLOCK_MONOTONIC) - wallStart) / calls,
            (seconds(CLOCK_THREAD_CPUTIME_ID) - processorStart) / calls};
}

// What one clock says of both sides, turn by turn.
struct Measurement {
    std::vector<double> library;
    std::vector<double> bare;
    std::vector<double> ratio;

    void add(double librarySeconds, double bareSeconds)
    {
        library.push_back(librarySeconds);
        bare.push_back(bareSeconds);
        ratio.push_back(librarySeconds / bareSeconds);
    }
};

struct Measurements {
    Measurement wall;
    Measurement processor;
};

Measurements takeTurns(const Comparison::Work &library, const Comparison::Work &bare, int calls,
                       const Comparison::Work &settle, double time)
{
    Measurements measurements;
    const double end = seconds(CLOCK_MONOTONIC) + time;
    bool libraryFirst = false;
    do {
        libraryFirst = !libraryFirst;
        const Time first = measure(libraryFirst ? library : bare, calls);
        settle();
        const Time second = measure(libraryFirst ? bare : library, calls);
        settle();
        const Time ours = libraryFirst ? first : second;
        const Time theirs = libraryFirst ? second : first;
        measurements.wall.add(ours.wall, theirs.wall);
        measurements.processor.add(ours.processor, theirs.processor);
    } while (seconds(CLOCK_MONOTONIC) < end);
    return measurements;
}

std::string duration(double seconds)
{
    char text[32];
    if (seconds < 1e-6)
        std::snprintf(text, sizeof text, "%.0f ns", seconds * 1e9);
    else if (seconds < 1e-3)
        std::snprintf(text, sizeof text, "%.1f us", seconds * 1e6);
    else
        std::snprintf(text, sizeof text, "%.2f ms", seconds * 1e3);
    return text;
}

void printRow(const std::string &name, double goal, const Measurement &measurement)
{
    const double ratio = median(measurement.ratio);
    std::printf("| %s | %s | %s | %.3f | ", name.c_str(),
                duration(median(measurement.library)).c_str(),
                duration(median(measurement.bare)).c_str(), ratio);
    if (goal == Comparison::NO_GOAL)
        std::printf("- |\n");
    else
        std::printf("at most %.2f: %s |\n", goal, verdict(ratio <= goal));
    std::fflush(stdout);
}

} // namespace

Comparison::Comparison(int argc, char **argv, const char *title)
{
    if (argc > 1)
        m_word = argv[1];
    if (argc > 2)
        m_secondsARow = std::atof(argv[2]);
    std::printf("\n| %s | library | bare parts | ratio | goal |\n|---|---:|---:|---:|---|\n",
                title);
}

void Comparison::add(const std::string &name, double goal, const Work &library,
                     const Work &bare) const
{
    if (!isWanted(name))
        return;
    int calls = 1;
    while (measure(bare, calls).processor * calls < MIN_TURN_SECONDS)
        calls *= 2;
    printRow(name, goal,
             takeTurns(
                 library, bare, calls, [] {}, m_secondsARow)
                 .processor);
}

void Comparison::addWaiting(const std::string &name, double goal, const Work &library,
                            const Work &bare, const Work &settle) const
{
    if (!isWanted(name))
        return;
    const Measurements measurements = takeTurns(library, bare, 1, settle, m_secondsARow);
    printRow(name + ", on the clock", goal, measurements.wall);
    printRow(name + ", processor", NO_GOAL, measurements.processor);
}
