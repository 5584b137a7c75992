#include "benchmarks/engine/chains.h"
#include "benchmarks/engine/engine_benchmarks.h"
#include "benchmarks/engine/fused.h"
#include "frame/engine/evaluation_domain.h"
#include "frame/engine/field_sampler.h"
#include "frame/engine/rasterize.h"

#include <benchmark/benchmark.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <stdexcept>

namespace zrk::bench {

namespace {

constexpr int kNodes = 128;
static_assert(kNodes % (2 * Batch::size) == 0);

struct Goals {
    double overLiteral;
    double overFused;
    double nanoseconds; ///< a sample, on a core with AVX-512
};

/// Component 0 of a field, computed sample by sample.
std::vector<double> sampleBySample(const IField& field)
{
    FieldSampler sampler(field.generator(), std::make_shared<GridDomain>(cube(kNodes)));
    sampler.prepare();
    const std::int32_t count = sampler.domain->sampleCount();
    literal::run(sampler, 0, count - 1);
    std::vector<double> values;
    values.reserve(static_cast<std::size_t>(count));
    for (std::int32_t i = 0; i < count; ++i) {
        values.push_back(sampler.targetNode.sampleBuffer->record(static_cast<std::uint64_t>(i))[0]);
    }
    return values;
}

std::vector<double> byBlocks(const IField& field)
{
    Image image;
    rasterizeField(field, cube(kNodes), image, nullptr, 1);
    return image.data;
}

template <class V, class Chain>
std::vector<double> fused(const Chain& chain)
{
    std::vector<double> values(static_cast<std::size_t>(kNodes) * kNodes * kNodes);
    fillFused<V>(chain, GridLines(cube(kNodes)), values.data());
    return values;
}

/// @param tolerance  0 asks for the same bits; else relative to the value, or to 1 if that is more.
void expectEqual(const std::string& what, const std::vector<double>& expected,
                 const std::vector<double>& found, double tolerance)
{
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const bool same = std::bit_cast<std::uint64_t>(expected[i]) == std::bit_cast<std::uint64_t>(found[i]);
        const double difference = std::abs(expected[i] - found[i]);
        if (!same && !(tolerance > 0 && difference <= tolerance * std::max(1.0, std::abs(expected[i])))) {
            throw std::runtime_error("the results of " + what + " differ at sample " + std::to_string(i) +
                                     ": " + std::to_string(expected[i]) + " and " + std::to_string(found[i]));
        }
    }
}

template <class Chain>
void checkChain(const std::string& name, const Chain& chain, double tolerance)
{
    const std::vector<double> blocks = byBlocks(chain.field(kernel));
    expectEqual(name + " by blocks and sample by sample", blocks, sampleBySample(chain.field(kernel)), 0);
    expectEqual(name + " by blocks and as one loop", blocks, fused<Batch>(chain), 0);
    expectEqual(name + " by blocks and as one loop of two batches", blocks, fused<TwoBatches>(chain), 0);
    expectEqual(name + " by blocks and with the C library", blocks, sampleBySample(chain.field(handWritten)),
                tolerance);
}

constexpr double kSamples = double{kNodes} * kNodes * kNodes;

template <class V, class Chain>
void benchmarkFused(benchmark::State& state, const Chain& chain)
{
    const GridLines grid(cube(kNodes));
    std::vector<double> values(static_cast<std::size_t>(kSamples));
    for (auto _ : state) {
        fillFused<V>(chain, grid, values.data());
        benchmark::ClobberMemory();
    }
    countSamples(state, kSamples);
}

void benchmarkBlocks(benchmark::State& state, const IField& field)
{
    Image image(kNodes, kNodes, kNodes);
    for (auto _ : state) {
        rasterizeField(field, cube(kNodes), image, nullptr, 1);
        benchmark::ClobberMemory();
    }
    countSamples(state, kSamples);
}

void benchmarkLiteral(benchmark::State& state, const IField& field)
{
    FieldSampler sampler(field.generator(), std::make_shared<GridDomain>(cube(kNodes)));
    sampler.prepare();
    for (auto _ : state) {
        literal::run(sampler, 0, sampler.domain->sampleCount() - 1);
        benchmark::ClobberMemory();
    }
    countSamples(state, kSamples);
}

template <class Chain>
void registerChain(const std::string& name, double tolerance, const Goals& goals, std::vector<Row>& rows)
{
    // On the heap and captured, so that no loop is compiled for its very numbers.
    const auto chain = std::make_shared<const Chain>();
    checkChain(name, *chain, tolerance);
    const std::string stem = "chain/" + name + "/";
    const auto add = [&](const std::string& variant, auto body) {
        benchmark::RegisterBenchmark((stem + variant).c_str(), body)->Unit(benchmark::kMillisecond);
    };
    add("blocks", [chain](benchmark::State& state) { benchmarkBlocks(state, chain->field(kernel)); });
    add("literal", [chain](benchmark::State& state) { benchmarkLiteral(state, chain->field(handWritten)); });
    add("fused", [chain](benchmark::State& state) { benchmarkFused<Batch>(state, *chain); });
    add("fused_x2", [chain](benchmark::State& state) { benchmarkFused<TwoBatches>(state, *chain); });

    const Row nanoseconds = counter(name + ": ns a sample", stem + "blocks", "ns/sample");
    rows.push_back(ratio(name + ": times faster than sample by sample", {stem + "literal"}, {stem + "blocks"})
                       .noLess(goals.overLiteral));
    rows.push_back(
        ratio(name + ": time over one fused loop", {stem + "blocks"}, {stem + "fused", stem + "fused_x2"})
            .atMost(goals.overFused));
    rows.push_back(Batch::size >= 8 ? nanoseconds.atMost(goals.nanoseconds) : nanoseconds);
}

} // namespace

std::vector<Row> registerChains()
{
    // Arithmetic and square roots give the same bits everywhere; vector mathematics is a few
    // units in the last place away from the C library's.
    constexpr double kSameBits = 0;
    constexpr double kMathematics = 1e-12;
    std::vector<Row> rows;
    registerChain<TwistedGyroid>("twisted_gyroid", kMathematics, {20, 1.15, 4.5}, rows);
    registerChain<CheapNodes>("cheap_nodes", kSameBits, {60, 1.5, 3.2}, rows);
    registerChain<CurvedCoordinates>("curved_coordinates", kMathematics, {18, 1.15, 6}, rows);
    return rows;
}

} // namespace zrk::bench
