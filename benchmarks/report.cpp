#include "benchmarks/report.h"

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <limits>
#include <map>
#include <thread>

namespace zrk::bench {

Row Row::atMost(double value) const
{
    Row row = *this;
    row.limit = value;
    return row;
}

Row Row::noLess(double value) const
{
    Row row = atMost(value);
    row.atLeast = true;
    return row;
}

Row ratio(const std::string& what, const Entries& entries, const Entries& baseline)
{
    return {what, entries, baseline, "", std::nullopt};
}

Row counter(const std::string& what, const std::string& entry, const std::string& name)
{
    return {what, {entry}, {}, name, std::nullopt};
}

void countSamples(benchmark::State& state, double samples)
{
    using benchmark::Counter;
    state.counters["ns/sample"] =
        Counter(samples * 1e-9, Counter::Flags(Counter::kIsIterationInvariantRate | Counter::kInvert));
    state.counters["samples/s"] = Counter(samples, Counter::kIsIterationInvariantRate);
}

namespace {

double secondsOf(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

} // namespace

BusyTime::BusyTime()
    : _processAtStart(secondsOf(CLOCK_PROCESS_CPUTIME_ID)), _threadAtStart(secondsOf(CLOCK_THREAD_CPUTIME_ID))
{}
double BusyTime::ofAll() const { return secondsOf(CLOCK_PROCESS_CPUTIME_ID) - _processAtStart; }
double BusyTime::ofBusier() const
{
    const double all = ofAll();
    const double own = secondsOf(CLOCK_THREAD_CPUTIME_ID) - _threadAtStart;
    return std::max(own, all - own);
}

namespace {

/// The medians of the entries that were run.
class Medians final : public benchmark::ConsoleReporter {
public:
    Medians() : ConsoleReporter(OO_Tabular) {}

    void ReportRuns(const std::vector<Run>& runs) override
    {
        std::vector<Run> shown;
        for (const Run& run : runs) {
            failed = failed || run.error_occurred;
            if (run.run_type == Run::RT_Iteration || run.aggregate_name == "median") {
                const bool byClock = !run.run_name.time_type.empty();
                const double time = byClock ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime();
                Entry& entry = _entries[run.run_name.function_name];
                entry.seconds = time / benchmark::GetTimeUnitMultiplier(run.time_unit);
                entry.counters = run.counters;
                shown.push_back(run);
            } else if (run.aggregate_name == "cv") {
                shown.push_back(run);
            }
        }
        ConsoleReporter::ReportRuns(shown);
    }

    std::optional<double> value(const Row& row) const
    {
        if (row.baseline.empty()) {
            const auto entry = _entries.find(row.entries.front());
            const bool found = entry != _entries.end() && entry->second.counters.contains(row.counter);
            return found ? std::optional<double>(entry->second.counters.at(row.counter)) : std::nullopt;
        }
        const auto time = fastest(row.entries);
        const auto baseline = fastest(row.baseline);
        return time && baseline ? std::optional<double>(*time / *baseline) : std::nullopt;
    }

    bool failed = false;

private:
    struct Entry {
        double seconds;
        benchmark::UserCounters counters;
    };
    std::map<std::string, Entry> _entries;

    std::optional<double> fastest(const Entries& names) const
    {
        double seconds = std::numeric_limits<double>::infinity();
        for (const std::string& name : names) {
            const auto entry = _entries.find(name);
            if (entry == _entries.end()) {
                return std::nullopt;
            }
            seconds = std::min(seconds, entry->second.seconds);
        }
        return seconds;
    }
};

std::string processorName()
{
    std::ifstream info("/proc/cpuinfo");
    for (std::string line; std::getline(info, line);) {
        if (line.starts_with("model name")) {
            return line.substr(line.find(':') + 2);
        }
    }
    return "unknown";
}

void printRows(const Medians& medians, const std::vector<Row>& rows)
{
    std::printf("\n%-64s %9s %10s\n", "", "measured", "goal");
    for (const Row& row : rows) {
        const std::optional<double> value = medians.value(row);
        if (!value) {
            continue;
        }
        std::printf("%-64s %9.3g", row.what.c_str(), *value);
        if (row.limit) {
            const bool met = row.atLeast ? *value >= *row.limit : *value <= *row.limit;
            std::printf(" %3s %6.4g  %s", row.atLeast ? ">=" : "<=", *row.limit, met ? "OK" : "MISSED");
        }
        std::printf("\n");
    }
}

} // namespace

int run(int argc, char** argv, const std::vector<Row>& rows)
{
    // Later options win, so those of the caller come last.
    std::string defaults[] = {"--benchmark_repetitions=11", "--benchmark_enable_random_interleaving=true",
                              "--benchmark_min_time=0.05", "--benchmark_display_aggregates_only=true"};
    std::vector<char*> arguments{argv[0]};
    for (std::string& option : defaults) {
        arguments.push_back(option.data());
    }
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    benchmark::AddCustomContext("processor", processorName());
    benchmark::AddCustomContext("processors online", std::to_string(std::thread::hardware_concurrency()));
    benchmark::AddCustomContext("compiler", ZRK_COMPILER);
    benchmark::AddCustomContext("flags", ZRK_FLAGS);
    Medians medians;
    benchmark::RunSpecifiedBenchmarks(&medians);
    printRows(medians, rows);
    return medians.failed ? 1 : 0;
}

} // namespace zrk::bench
