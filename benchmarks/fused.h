#pragma once

#include "core/engine/evaluation_domain.h"
#include "core/values/batch.h"
#include "core/values/region.h"
#include "core/values/tensor.h"

#include <benchmark/benchmark.h>

#include <type_traits>
#include <vector>

/// The limit that a chain is measured against: one hand-fused SIMD loop that computes the whole expression,
/// makes the positions itself and stores the results into the raster.
namespace zrk::bench {

struct TwoMasks {
    BatchMask a;
    BatchMask b;
};

/// Two batches worked on side by side. Their chains of operations don't wait for each other,
/// which hides the latency that one batch a step leaves.
struct TwoBatches {
    Batch a;
    Batch b;

    TwoBatches() = default;
    TwoBatches(double everywhere) : a(everywhere), b(everywhere) {}
    TwoBatches(Batch first, Batch second) : a(first), b(second) {}

    friend TwoBatches operator+(TwoBatches x, TwoBatches y) { return {x.a + y.a, x.b + y.b}; }
    friend TwoBatches operator-(TwoBatches x, TwoBatches y) { return {x.a - y.a, x.b - y.b}; }
    friend TwoBatches operator*(TwoBatches x, TwoBatches y) { return {x.a * y.a, x.b * y.b}; }
    friend TwoBatches operator/(TwoBatches x, TwoBatches y) { return {x.a / y.a, x.b / y.b}; }
    friend TwoBatches minimum(TwoBatches x, TwoBatches y) { return {minimum(x.a, y.a), minimum(x.b, y.b)}; }
    friend TwoBatches maximum(TwoBatches x, TwoBatches y) { return {maximum(x.a, y.a), maximum(x.b, y.b)}; }
    friend TwoBatches abs(TwoBatches x) { return {abs(x.a), abs(x.b)}; }
    friend TwoMasks operator<(TwoBatches x, TwoBatches y) { return {x.a < y.a, x.b < y.b}; }
    friend TwoMasks operator>(TwoBatches x, TwoBatches y) { return {x.a > y.a, x.b > y.b}; }
    friend TwoBatches select(TwoMasks mask, TwoBatches x, TwoBatches y)
    {
        return {select(mask.a, x.a, y.a), select(mask.b, x.b, y.b)};
    }
    friend TwoBatches sin(TwoBatches x) { return {sin(x.a), sin(x.b)}; }
    friend TwoBatches sqrt(TwoBatches x) { return {sqrt(x.a), sqrt(x.b)}; }
    friend TwoBatches asin(TwoBatches x) { return {asin(x.a), asin(x.b)}; }
    friend TwoBatches log(TwoBatches x) { return {log(x.a), log(x.b)}; }
    friend TwoBatches atan2(TwoBatches y, TwoBatches x) { return {atan2(y.a, x.a), atan2(y.b, x.b)}; }
    friend void sincos(TwoBatches x, TwoBatches& sine, TwoBatches& cosine)
    {
        sincos(x.a, sine.a, cosine.a);
        sincos(x.b, sine.b, cosine.b);
    }
};

/// What each axis of a grid adds to each coordinate of a node. It serves any grid, also one that is turned.
struct GridSteps {
    std::vector<double> along[3][3]; ///< [axis][component][node]

    explicit GridSteps(const Region<3, 3, double, 1>& grid)
    {
        for (int axis = 0; axis < 3; ++axis) {
            for (std::int32_t i = 0; i < grid.dimensions()[axis]; ++i) {
                const double u = i * grid.spacing()[axis];
                const double v = grid.lower[axis] + (grid.upper[axis] - grid.lower[axis]) * u;
                for (int c = 0; c < 3; ++c) {
                    const double step = v * grid.axes[axis][c];
                    along[axis][c].push_back(axis == 0 ? grid.origin[c] + step : step);
                }
            }
        }
    }
};

template <class V>
V loadStep(const double* from)
{
    if constexpr (std::is_same_v<V, TwoBatches>) {
        return {Batch::load(from), Batch::load(from + Batch::size)};
    } else {
        return Batch::load(from);
    }
}

inline void storeStep(const Batch& value, double* out) { value.store(out); }
inline void storeStep(const TwoBatches& value, double* out)
{
    value.a.store(out);
    value.b.store(out + Batch::size);
}

/// Returns component 0; the others are computed and dropped.
template <std::uint32_t N, class V>
void storeStep(const Tensor<N, V>& value, double* out)
{
    for (std::size_t c = 1; c < value.count; ++c) {
        V component = value[c];
        benchmark::DoNotOptimize(component);
    }
    storeStep(value[0], out);
}

/// Computes the expression at all nodes, x fastest. The length of an x line must be a multiple of the number
/// of values that V holds.
template <class V, class Chain>
[[gnu::noinline]] void fillFused(const Chain& parameters, const GridSteps& grid, double* out)
{
    constexpr std::size_t kStep = std::is_same_v<V, TwoBatches> ? 2 * Batch::size : Batch::size;
    const Chain chain = parameters; // a copy that `out` can't alias
    const auto& x = grid.along[0];
    const auto& y = grid.along[1];
    const auto& z = grid.along[2];
    for (std::size_t k = 0; k < z[0].size(); ++k) {
        for (std::size_t j = 0; j < y[0].size(); ++j) {
            for (std::size_t i = 0; i < x[0].size(); i += kStep, out += kStep) {
                const Tensor<3, V> p{loadStep<V>(&x[0][i]) + y[0][j] + z[0][k],
                                     loadStep<V>(&x[1][i]) + y[1][j] + z[1][k],
                                     loadStep<V>(&x[2][i]) + y[2][j] + z[2][k]};
                storeStep(chain(p), out);
            }
        }
    }
}

} // namespace zrk::bench
