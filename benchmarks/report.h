#pragma once

#include <benchmark/benchmark.h>

#include <optional>
#include <string>
#include <vector>

/// What the benchmark programs share: how they are run, and the table that compares entries with
/// each other and with the goals.
namespace zrk::bench {

/// Names of entries. If there are several, the fastest one counts.
using Entries = std::vector<std::string>;

/// One row of the table: a ratio of two times, or a counter of one entry.
struct Row {
    std::string what;
    Entries entries;
    Entries baseline;    ///< the row is the time of `entries` over that of `baseline`; empty for a counter
    std::string counter; ///< the counter that the row shows if there is no baseline
    std::optional<double> limit;
    bool atLeast = false; ///< true if the limit is a lower one

    Row atMost(double value) const;
    Row noLess(double value) const;
};

/// Returns the row with the time of `entries` over that of `baseline`.
Row ratio(const std::string& what, const Entries& entries, const Entries& baseline);
/// Returns the row with a counter of the entry.
Row counter(const std::string& what, const std::string& entry, const std::string& name);

/// Sets the counters "ns/sample" and "samples/s" of an entry that computes so many samples in an iteration.
void countSamples(benchmark::State& state, double samples);

/// The processor time of this process, and of the busier one of two threads that have worked since: the
/// calling thread and one other. What else runs on the machine takes part in neither, nor does waiting.
class BusyTime {
public:
    BusyTime();
    double ofAll() const;    ///< seconds
    double ofBusier() const; ///< seconds

private:
    double _processAtStart;
    double _threadAtStart;
};

/// Times work() by what the busier of its two threads takes.
template <class Work>
void timeBusier(benchmark::State& state, const Work& work)
{
    for (auto _ : state) {
        const BusyTime time;
        work();
        state.SetIterationTime(time.ofBusier());
    }
}

/// Runs the registered benchmarks in rounds, the entries of a round in random order, prints the
/// medians and then those rows whose entries were all run. Takes Google Benchmark's options.
/// @return the program's exit status; a missed goal isn't a failure.
int run(int argc, char** argv, const std::vector<Row>& rows);

} // namespace zrk::bench
