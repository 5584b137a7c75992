#include "benchmarks/comparison.h"
#include "benchmarks/engine/chains.h"
#include "benchmarks/engine/engine_benchmarks.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/field_sampler.h"
#include "core/engine/rasterize.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace zrk::bench {

namespace {

double sampleCount(int n) { return static_cast<double>(n) * n * n; }

benchmark::internal::Benchmark* add(const std::string& name, void (*body)(benchmark::State&))
{
    return benchmark::RegisterBenchmark(name.c_str(), body);
}

IField twistedGyroid() { return TwistedGyroid{}.field(kernel); }

/// Samples into a raster that exists already.
template <int N, std::size_t Threads>
void sweepRaster(benchmark::State& state)
{
    const IField field = twistedGyroid();
    Image image(N, N, N);
    for (auto _ : state) {
        rasterizeField(field, cube(N), image, nullptr, Threads);
        benchmark::ClobberMemory();
    }
    countSamples(state, sampleCount(N));
}

/// Includes the raster's allocation, first touch and release.
template <int N>
void wholeRaster(benchmark::State& state)
{
    const IField field = twistedGyroid();
    for (auto _ : state) {
        Image image;
        rasterizeField(field, cube(N), image, nullptr, 1);
        benchmark::DoNotOptimize(image.data.data());
    }
    countSamples(state, sampleCount(N));
}

template <int N>
void peakMemory(benchmark::State& state)
{
    double bytes = 0;
    for (auto _ : state) {
        bytes = peakMemoryOfRaster(N);
    }
    state.counters["bytes/sample"] = bytes / sampleCount(N);
}

std::vector<Row> registerRasters()
{
    using benchmark::kMillisecond;
    add("raster/256/sweep", sweepRaster<256, 1>)->Unit(kMillisecond);
    add("raster/256/whole", wholeRaster<256>)->Unit(kMillisecond);
    add("raster/256/peak_memory", peakMemory<256>)->Iterations(1)->Repetitions(1)->Unit(kMillisecond);
    add("raster/512/peak_memory", peakMemory<512>)->Iterations(1)->Repetitions(1)->Unit(kMillisecond);
    return {ratio("raster of 256^3: time over the sweep alone", {"raster/256/whole"}, {"raster/256/sweep"})
                .atMost(1.6),
            counter("raster of 256^3: peak bytes a sample, whole process", "raster/256/peak_memory",
                    "bytes/sample")
                .atMost(9),
            counter("raster of 512^3: peak bytes a sample, whole process", "raster/512/peak_memory",
                    "bytes/sample")
                .atMost(9.5)};
}

std::vector<Row> registerThreads()
{
    // Wall-clock time, since the work isn't on the thread that is measured.
    add("threads/256/one", sweepRaster<256, 1>)->UseRealTime()->Unit(benchmark::kMillisecond);
    add("threads/256/two", sweepRaster<256, 2>)->UseRealTime()->Unit(benchmark::kMillisecond);
    add("threads/32/one", sweepRaster<32, 1>)->UseRealTime()->Unit(benchmark::kMicrosecond);
    add("threads/32/two", sweepRaster<32, 2>)->UseRealTime()->Unit(benchmark::kMicrosecond);
    return {ratio("two threads, 256^3: times faster than one", {"threads/256/one"}, {"threads/256/two"}),
            ratio("two threads, 32^3: times faster than one", {"threads/32/one"}, {"threads/32/two"})};
}

/// Evaluates one point, which includes building the chain.
void probe(benchmark::State& state)
{
    const IField field = twistedGyroid();
    for (auto _ : state) {
        const std::vector<Tensor<3, double>> points{{0.1, 0.2, 0.3}};
        FieldSampler sampler(field.generator(), std::make_shared<PointListDomain>(points));
        sampler.run();
        benchmark::DoNotOptimize(sampler.targetNode.sampleBuffer->data[0]);
    }
}

void buildChain(benchmark::State& state, const IField& field)
{
    const auto domain = std::make_shared<GridDomain>(cube(8));
    for (auto _ : state) {
        FieldSampler sampler(field.generator(), domain);
        sampler.prepare();
        benchmark::DoNotOptimize(sampler.slots.data());
    }
}

/// Both sides of every step are one node, so the paths through it double 40 times.
void buildLadder(benchmark::State& state)
{
    IField field = node(1, kernel(SphereDistance{{0, 0, 0}, 1}), {position()});
    for (int step = 0; step < 40; ++step) {
        const IField side = node(1, kernel(IsoDistance{0.5}), {field});
        field = combined<Minimum>(kernel, side, side);
    }
    buildChain(state, field);
}

IField longChain(int nodes)
{
    IField field = node(1, kernel(SphereDistance{{0, 0, 0}, 1}), {position()});
    for (int i = 1; i < nodes; ++i) {
        field = node(1, kernel(IsoDistance{0.5}), {field});
    }
    return field;
}

void buildLongChain(benchmark::State& state) { buildChain(state, longChain(5000)); }

void runLongChain(benchmark::State& state)
{
    const IField field = longChain(5000);
    Image image(8, 8, 8);
    for (auto _ : state) {
        rasterizeField(field, cube(8), image, nullptr, 1);
        benchmark::ClobberMemory();
    }
}

/// A chain of sixteen nodes. The middle one is a closure that the engine doesn't recognise, or a kernel.
template <bool Foreign>
void sixteenNodes(benchmark::State& state)
{
    constexpr int kNodes = 64;
    IField field = longChain(8);
    const IsoDistance iso{0.25};
    field = node(1, Foreign ? handWritten(iso) : kernel(iso), {field});
    for (int i = 0; i < 7; ++i) {
        field = node(1, kernel(iso), {field});
    }
    Image image(kNodes, kNodes, kNodes);
    for (auto _ : state) {
        rasterizeField(field, cube(kNodes), image, nullptr, 1);
        benchmark::ClobberMemory();
    }
    countSamples(state, sampleCount(kNodes));
}

std::vector<Row> registerGraphs()
{
    using benchmark::kMicrosecond;
    using benchmark::kMillisecond;
    add("probe/one_point", probe)->Unit(kMicrosecond);
    add("graph/ladder_40_diamonds/build", buildLadder)->Unit(kMicrosecond);
    add("graph/chain_5000/build", buildLongChain)->Unit(kMillisecond);
    add("graph/chain_5000/build_and_run", runLongChain)->Unit(kMillisecond);
    add("graph/chain_16/kernels", sixteenNodes<false>)->Unit(kMillisecond);
    add("graph/chain_16/one_foreign", sixteenNodes<true>)->Unit(kMillisecond);
    return {
        counter("16 nodes, all kernels: ns a sample", "graph/chain_16/kernels", "ns/sample"),
        counter("16 nodes, one a foreign closure: ns a sample", "graph/chain_16/one_foreign", "ns/sample")};
}

} // namespace

std::vector<Row> registerJobs()
{
    std::vector<Row> rows;
    for (const auto& part : {registerRasters(), registerThreads(), registerGraphs()}) {
        rows.insert(rows.end(), part.begin(), part.end());
    }
    return rows;
}

} // namespace zrk::bench
