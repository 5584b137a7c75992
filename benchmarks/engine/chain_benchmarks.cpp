#include "benchmarks/comparison.h"
#include "benchmarks/engine/chains.h"
#include "benchmarks/engine/engine_benchmarks.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/field_sampler.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace zrk::bench {

namespace {

struct Goals {
    double overLiteral;
    double overFused;
    double nanoseconds; ///< time of a sample on a core with AVX-512
};

/// Returns component 0 of a field, computed sample by sample.
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
    // The chain is on the heap and captured, so that no loop can be compiled for its particular numbers.
    const auto chain = std::make_shared<const Chain>();
    const std::vector<double> blocks = byBlocks(chain->field(kernel));
    expectEqual(name + " by blocks and sample by sample", blocks, sampleBySample(chain->field(kernel)), 0);
    expectEqual(name + " by blocks and with the C library", blocks, sampleBySample(chain->field(handWritten)),
                tolerance);

    const std::string stem = "chain/" + name;
    const Row overFused = registerFused(stem, chain->field(kernel), chain);
    benchmark::RegisterBenchmark((stem + "/literal").c_str(), [chain](benchmark::State& state) {
        benchmarkLiteral(state, chain->field(handWritten));
    })->Unit(benchmark::kMillisecond);

    const Row nanoseconds = counter(stem + ": ns a sample", stem + "/blocks", "ns/sample");
    rows.push_back(
        ratio(stem + ": times faster than sample by sample", {stem + "/literal"}, {stem + "/blocks"})
            .noLess(goals.overLiteral));
    rows.push_back(overFused.atMost(goals.overFused));
    rows.push_back(Batch::size >= 8 ? nanoseconds.atMost(goals.nanoseconds) : nanoseconds);
}

} // namespace

std::vector<Row> registerChains()
{
    // Arithmetic and square roots give the same bits everywhere. The vector library's other functions are a
    // few units in the last place away from those of the C library.
    constexpr double kSameBits = 0;
    constexpr double kMathematics = 1e-12;
    std::vector<Row> rows;
    registerChain<TwistedGyroid>("twisted_gyroid", kMathematics, {20, 1.15, 4.5}, rows);
    registerChain<CheapNodes>("cheap_nodes", kSameBits, {60, 1.5, 3.2}, rows);
    registerChain<CurvedCoordinates>("curved_coordinates", kMathematics, {18, 1.15, 6}, rows);
    return rows;
}

} // namespace zrk::bench
