#include "benchmarks/Comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <map>
#include <utility>
#include <vector>

namespace
{

using Work = std::function<void()>;

constexpr char LIBRARY[] = "/library";
constexpr char BARE[] = "/bare";

// Of work that waits: calls of each side, and when to stop for lack of time.
constexpr int MAX_TURNS = 2000;
constexpr double MAX_TURNS_SECONDS = 10;

struct Computation {
    std::string name;
    Comparison::Goal goal;
};

struct WaitingWork {
    std::string name;
    Comparison::Goal goal;
    Work library;
    Work bare;
    Work settle;
};

std::vector<Computation> &computations()
{
    static std::vector<Computation> list;
    return list;
}

std::vector<WaitingWork> &waitingWork()
{
    static std::vector<WaitingWork> list;
    return list;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// ---- Work that never waits, by Google Benchmark ----------------------------------------------------

// Keeps every repetition's time a call and prints nothing.
class Collector : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type == Run::RT_Iteration && run.iterations > 0)
                m_seconds[run.run_name.function_name].push_back(
                    run.cpu_accumulated_time / static_cast<double>(run.iterations));
        }
    }
    double medianOf(const std::string &name) const
    {
        const auto found = m_seconds.find(name);
        return found == m_seconds.end() ? 0 : median(found->second);
    }

private:
    std::map<std::string, std::vector<double>> m_seconds;
};

void registerSide(const std::string &name, Work work)
{
    benchmark::RegisterBenchmark(name.c_str(), [work = std::move(work)](benchmark::State &state) {
        for (auto _ : state)
            work();
    });
}

// ---- Work that waits, call by call -----------------------------------------------------------------

double seconds(clockid_t clock)
{
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

struct Times {
    std::vector<double> wall;
    std::vector<double> processor;

    void measure(const Work &work)
    {
        const double wallStart = seconds(CLOCK_MONOTONIC);
        const double processorStart = seconds(CLOCK_THREAD_CPUTIME_ID);
        work();
        processor.push_back(seconds(CLOCK_THREAD_CPUTIME_ID) - processorStart);
        wall.push_back(seconds(CLOCK_MONOTONIC) - wallStart);
    }
};

// ---- The table -------------------------------------------------------------------------------------

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

void printRow(const std::string &name, const Comparison::Goal &goal, double library, double bare)
{
    if (library <= 0 || bare <= 0)
        return; // filtered out
    const double ratio = library / bare;
    char verdict[48] = "-";
    if (goal.isSet)
        std::snprintf(verdict, sizeof verdict, "at most %.2f: %s", goal.ratio,
                      ratio <= goal.ratio ? "met" : "MISSED");
    std::printf("| %s | %s | %s | %.3f | %s |\n", name.c_str(), duration(library).c_str(),
                duration(bare).c_str(), ratio, verdict);
    std::fflush(stdout);
}

void takeTurns(const WaitingWork &work)
{
    Times library;
    Times bare;
    const double end = seconds(CLOCK_MONOTONIC) + MAX_TURNS_SECONDS;
    for (int turn = 0; turn < MAX_TURNS && seconds(CLOCK_MONOTONIC) < end; ++turn) {
        const auto measureLibrary = [&] {
            library.measure(work.library);
            work.settle();
        };
        const auto measureBare = [&] {
            bare.measure(work.bare);
            work.settle();
        };
        if (turn % 2 == 0) {
            measureLibrary();
            measureBare();
        } else {
            measureBare();
            measureLibrary();
        }
    }
    printRow(work.name + ", on the clock", work.goal, median(library.wall), median(bare.wall));
    printRow(work.name + ", processor", work.goal, median(library.processor),
             median(bare.processor));
}

} // namespace

void Comparison::add(const std::string &name, Goal goal, Work library, Work bare)
{
    computations().push_back({name, goal});
    registerSide(name + LIBRARY, std::move(library));
    registerSide(name + BARE, std::move(bare));
}

void Comparison::addWaiting(const std::string &name, Goal goal, Work library, Work bare,
                            Work settle)
{
    waitingWork().push_back({name, goal, std::move(library), std::move(bare), std::move(settle)});
}

int Comparison::run(int argc, char **argv, const std::string &title)
{
    char program[] = "benchmark";
    char interleaved[] = "--benchmark_enable_random_interleaving=true";
    char repetitions[] = "--benchmark_repetitions=15";
    char shortRuns[] = "--benchmark_min_time=0.05";
    std::vector<char *> arguments = {argc > 0 ? argv[0] : program, interleaved, repetitions,
                                     shortRuns};
    arguments.insert(arguments.end(), argv + std::min(argc, 1), argv + argc);
    int count = static_cast<int>(arguments.size());
    arguments.push_back(nullptr);
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
        return 1;

    Collector collector;
    if (!computations().empty())
        benchmark::RunSpecifiedBenchmarks(&collector);

    std::printf("\n| %s | library | bare parts | ratio | goal |\n|---|---:|---:|---:|---|\n",
                title.c_str());
    for (const Computation &computation : computations())
        printRow(computation.name, computation.goal, collector.medianOf(computation.name + LIBRARY),
                 collector.medianOf(computation.name + BARE));
    for (const WaitingWork &work : waitingWork())
        takeTurns(work);
    return 0;
}
