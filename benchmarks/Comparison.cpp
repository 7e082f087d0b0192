#include "benchmarks/Comparison.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <vector>

namespace
{

struct Entry {
    std::string name;
    Comparison::Goal goal;
    Comparison::Clock clock;
};

std::vector<Entry> &entries()
{
    static std::vector<Entry> list;
    return list;
}

constexpr char LIBRARY[] = "/library";
constexpr char BARE[] = "/bare";

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::string duration(double nanoseconds)
{
    char text[32];
    if (nanoseconds < 1e3)
        std::snprintf(text, sizeof text, "%.0f ns", nanoseconds);
    else if (nanoseconds < 1e6)
        std::snprintf(text, sizeof text, "%.1f us", nanoseconds / 1e3);
    else
        std::snprintf(text, sizeof text, "%.2f ms", nanoseconds / 1e6);
    return text;
}

std::string verdict(const Comparison::Goal &goal, double ratio)
{
    if (goal.direction == Comparison::Goal::NONE)
        return "-";
    char text[48];
    std::snprintf(text, sizeof text, "at most %.2f: %s", goal.ratio,
                  ratio <= goal.ratio ? "met" : "MISSED");
    return text;
}

// Keeps every repetition's time per iteration and prints nothing before the end.
class Collector : public benchmark::BenchmarkReporter
{
public:
    bool ReportContext(const Context &) override { return true; }
    void ReportRuns(const std::vector<Run> &runs) override
    {
        for (const Run &run : runs) {
            if (run.run_type != Run::RT_Iteration || run.iterations == 0)
                continue;
            const auto iterations = static_cast<double>(run.iterations);
            Times &times = m_times[run.run_name.function_name];
            times.wall.push_back(run.real_accumulated_time / iterations * 1e9);
            times.processor.push_back(run.cpu_accumulated_time / iterations * 1e9);
        }
    }

    double medianOf(const std::string &name, Comparison::Clock clock) const
    {
        const auto found = m_times.find(name);
        if (found == m_times.end())
            return 0;
        return median(clock == Comparison::Clock::WALL ? found->second.wall
                                                       : found->second.processor);
    }

private:
    struct Times {
        std::vector<double> wall;
        std::vector<double> processor;
    };
    std::map<std::string, Times> m_times;
};

} // namespace

void Comparison::add(const std::string &name, Goal goal, Clock clock, std::function<void()> library,
                     std::function<void()> bare)
{
    entries().push_back({name, goal, clock});
    const std::pair<const char *, std::function<void()>> sides[] = {{LIBRARY, std::move(library)},
                                                                    {BARE, std::move(bare)}};
    for (const auto &[suffix, work] : sides) {
        auto *registered = benchmark::RegisterBenchmark((name + suffix).c_str(),
                                                        [work = work](benchmark::State &state) {
                                                            for (auto _ : state)
                                                                work();
                                                        });
        if (clock == Clock::WALL)
            registered->UseRealTime();
    }
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
    benchmark::RunSpecifiedBenchmarks(&collector);

    std::printf("\n| %s | library | bare parts | ratio | goal |\n|---|---:|---:|---:|---|\n",
                title.c_str());
    for (const Entry &entry : entries()) {
        const double library = collector.medianOf(entry.name + LIBRARY, entry.clock);
        const double bare = collector.medianOf(entry.name + BARE, entry.clock);
        if (library <= 0 || bare <= 0)
            continue; // filtered out
        const double ratio = library / bare;
        std::printf("| %s | %s | %s | %.3f | %s |\n", entry.name.c_str(), duration(library).c_str(),
                    duration(bare).c_str(), ratio, verdict(entry.goal, ratio).c_str());
    }
    std::fflush(stdout);
    return 0;
}
