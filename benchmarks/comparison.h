#pragma once

#include "benchmarks/fused.h"
#include "benchmarks/report.h"
#include "core/engine/field_generator.h"
#include "core/values/raster.h"
#include "core/values/region.h"

#include <memory>
#include <string>
#include <vector>

/// Compares a field, which is computed in blocks, with other ways of computing the same values.
namespace zrk::bench {

using Grid = Region<3, 3, double, 1>;
using Image = Raster<1, 3, double>;

/// A grid of n nodes along each axis over [-1.5, 1.5].
inline Grid cube(int n) { return Grid({-1.5, -1.5, -1.5}, {1.5, 1.5, 1.5}, n, n, n); }

/// The number of nodes along each axis of the grid that fields are compared on.
inline constexpr int kNodes = 128;
static_assert(kNodes % (2 * Batch::size) == 0);
inline constexpr double kSamples = double{kNodes} * kNodes * kNodes;

/// Returns component 0 of a field over the grid, computed on one thread.
std::vector<double> byBlocks(const IField& field);

/// Throws std::runtime_error when the results of `what` differ.
/// @param tolerance  0 asks for the same bits; else relative to the value, or to 1 if that is more.
void expectEqual(const std::string& what, const std::vector<double>& expected,
                 const std::vector<double>& found, double tolerance);

/// Times the field over the grid on one thread.
void benchmarkBlocks(benchmark::State& state, const IField& field);

template <class V, class Formula>
std::vector<double> fused(const Formula& formula)
{
    std::vector<double> values(static_cast<std::size_t>(kSamples));
    fillFused<V>(formula, GridSteps(cube(kNodes)), values.data());
    return values;
}

template <class V, class Formula>
void benchmarkFused(benchmark::State& state, const Formula& formula)
{
    const GridSteps grid(cube(kNodes));
    std::vector<double> values(static_cast<std::size_t>(kSamples));
    for (auto _ : state) {
        fillFused<V>(formula, grid, values.data());
        benchmark::ClobberMemory();
    }
    countSamples(state, kSamples);
}

/// Registers the entries STEM/blocks, STEM/fused and STEM/fused_x2 for a field and the formula that it
/// computes, after checking that their values are equal. Throws std::runtime_error if they aren't.
/// @return the row of the field's time over that of the faster loop.
template <class Formula>
Row registerFused(const std::string& stem, const IField& field, const std::shared_ptr<const Formula>& formula)
{
    const std::vector<double> blocks = byBlocks(field);
    expectEqual(stem + " by blocks and as one loop", blocks, fused<Batch>(*formula), 0);
    expectEqual(stem + " by blocks and as one loop of two batches", blocks, fused<TwoBatches>(*formula), 0);
    const auto add = [&](const std::string& variant, auto body) {
        benchmark::RegisterBenchmark((stem + "/" + variant).c_str(), body)->Unit(benchmark::kMillisecond);
    };
    add("blocks", [field](benchmark::State& state) { benchmarkBlocks(state, field); });
    add("fused", [formula](benchmark::State& state) { benchmarkFused<Batch>(state, *formula); });
    add("fused_x2", [formula](benchmark::State& state) { benchmarkFused<TwoBatches>(state, *formula); });
    return ratio(stem + ": time over one fused loop", {stem + "/blocks"},
                 {stem + "/fused", stem + "/fused_x2"});
}

} // namespace zrk::bench
