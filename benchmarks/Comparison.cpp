#include "benchmarks/Comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <list>
#include <utility>
#include <vector>

namespace
{

using Work = std::function<void()>;

// A side's turn takes at least this long, so that reading the clock does not count.
constexpr double MIN_TURN_SECONDS = 1e-3;

double seconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// ---- Measuring -------------------------------------------------------------------------------------

struct Time {
    double wall = 0;
    double processor = 0;
};

// Seconds that one call takes, out of `calls`.
Time measure(const Work &work, int calls)
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
    std::vector<double> libraryTimes;
    std::vector<double> bareTimes;
    std::vector<double> ratio;

    void add(double librarySeconds, double bareSeconds)
    {
        libraryTimes.push_back(librarySeconds);
        bareTimes.push_back(bareSeconds);
        ratio.push_back(librarySeconds / bareSeconds);
    }
};

struct Entry {
    std::string name;
    Comparison::Goal goal;
    Work library;
    Work bare;
    Work settle; // of work that waits only
    Measurement wall;
    Measurement processor;

    bool waits() const { return static_cast<bool>(settle); }

    int callsATurn() const
    {
        if (waits())
            return 1;
        int calls = 1;
        while (measure(bare, calls).processor * calls < MIN_TURN_SECONDS)
            calls *= 2;
        return calls;
    }

    Time takeTurn(const Work &side, int calls) const
    {
        const Time time = measure(side, calls);
        if (waits())
            settle();
        return time;
    }

    void run(benchmark::State &state)
    {
        const int calls = callsATurn();
        bool libraryFirst = false;
        for ([[maybe_unused]] auto _ : state) {
            libraryFirst = !libraryFirst;
            const Time first = takeTurn(libraryFirst ? library : bare, calls);
            const Time second = takeTurn(libraryFirst ? bare : library, calls);
            const Time ours = libraryFirst ? first : second;
            const Time theirs = libraryFirst ? second : first;
            wall.add(ours.wall, theirs.wall);
            processor.add(ours.processor, theirs.processor);
            state.SetIterationTime((first.wall + second.wall) * calls);
        }
    }
};

// Entries stay where they are: the registered benchmarks point to them.
std::list<Entry> &entries()
{
    static std::list<Entry> list;
    return list;
}

void registerEntry(Entry entry)
{
    entries().push_back(std::move(entry));
    Entry *registered = &entries().back();
    benchmark::RegisterBenchmark(registered->name.c_str(), [registered](benchmark::State &state) {
        registered->run(state);
    })->UseManualTime();
}

// ---- The table -------------------------------------------------------------------------------------

class Silent : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &) override { }
};

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

void printRow(const std::string &name, const Comparison::Goal &goal, const Measurement &measurement)
{
    const double ratio = median(measurement.ratio);
    char verdict[48] = "-";
    if (goal.isSet)
        std::snprintf(verdict, sizeof verdict, "at most %.2f: %s", goal.ratio,
                      ratio <= goal.ratio ? "met" : "MISSED");
    std::printf("| %s | %s | %s | %.3f | %s |\n", name.c_str(),
                duration(median(measurement.libraryTimes)).c_str(),
                duration(median(measurement.bareTimes)).c_str(), ratio, verdict);
}

void printTable(const std::string &title)
{
    std::printf("\n| %s | library | bare parts | ratio | goal |\n|---|---:|---:|---:|---|\n",
                title.c_str());
    for (const Entry &entry : entries()) {
        if (entry.processor.ratio.empty())
            continue; // filtered out
        if (entry.waits()) {
            printRow(entry.name + ", on the clock", entry.goal, entry.wall);
            printRow(entry.name + ", processor", Comparison::noGoal(), entry.processor);
        } else {
            printRow(entry.name, entry.goal, entry.processor);
        }
    }
    std::fflush(stdout);
}

} // namespace

void Comparison::add(const std::string &name, Goal goal, Work library, Work bare)
{
    registerEntry({name, goal, std::move(library), std::move(bare), nullptr, {}, {}});
}

void Comparison::addWaiting(const std::string &name, Goal goal, Work library, Work bare,
                            Work settle)
{
    registerEntry({name, goal, std::move(library), std::move(bare), std::move(settle), {}, {}});
}

int Comparison::run(int argc, char **argv, const std::string &title)
{
    char program[] = "benchmark";
    char minTime[] = "--benchmark_min_time=3";
    std::vector<char *> arguments = {argc > 0 ? argv[0] : program, minTime};
    arguments.insert(arguments.end(), argv + std::min(argc, 1), argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;

    Silent reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printTable(title);
    return 0;
}
