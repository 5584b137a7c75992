#pragma once

#include "frame/engine/evaluation_domain.h"
#include "frame/values/batch.h"
#include "frame/values/region.h"

#include <type_traits>
#include <vector>

/// The limit that a chain is measured against: one hand-fused SIMD loop over the whole
/// expression, positions made inside, results stored into the raster.
namespace zrk::bench {

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

/// Coordinates of the nodes of a grid without rotation, an axis each.
struct GridLines {
    std::vector<double> axes[3];

    explicit GridLines(const Region<3, 3, double, 1>& grid)
    {
        for (int axis = 0; axis < 3; ++axis) {
            for (std::int32_t i = 0; i < grid.dimensions()[axis]; ++i) {
                double local[3] = {};
                local[axis] = i;
                axes[axis].push_back(grid.localToWorld(local[0], local[1], local[2])[axis]);
            }
        }
    }
};

/// The values of the expression at all nodes, x fastest. The length of an x line must be a multiple of
/// what V holds.
template <class V, class Chain>
[[gnu::noinline]] void fillFused(const Chain& parameters, const GridLines& grid, double* out)
{
    constexpr bool kTwo = std::is_same_v<V, TwoBatches>;
    constexpr std::size_t kStep = kTwo ? 2 * Batch::size : Batch::size;
    const Chain chain = parameters; // a copy that `out` can't alias
    const std::vector<double>& xs = grid.axes[0];
    for (const double z : grid.axes[2]) {
        for (const double y : grid.axes[1]) {
            for (std::size_t i = 0; i < xs.size(); i += kStep, out += kStep) {
                if constexpr (kTwo) {
                    const V x(Batch::load(&xs[i]), Batch::load(&xs[i] + Batch::size));
                    const V value = chain(Tensor<3, V>{x, V(y), V(z)});
                    value.a.store(out);
                    value.b.store(out + Batch::size);
                } else {
                    chain(Tensor<3, V>{Batch::load(&xs[i]), V(y), V(z)}).store(out);
                }
            }
        }
    }
}

} // namespace zrk::bench
