#pragma once

#include "core/raster/raster_lookup.h"

#include <array>
#include <cstddef>

namespace zrk {

/// How images that cross in a volume are put together: it is applied to `start` and each image in turn.
struct Compositing {
    const char* name;
    double start;
    Batch (*combine)(Batch sum, Batch sample);
    IntervalBatch (*combineBounds)(IntervalBatch sum, IntervalBatch sample);

    /// @param both  does so for batches of either kind.
    template <class Combine>
    static constexpr Compositing of(const char* name, double start, Combine both)
    {
        return {name, start, both, both};
    }
    Batch operator()(const Batch& sum, const Batch& sample) const { return combine(sum, sample); }
    IntervalBatch operator()(const IntervalBatch& sum, const IntervalBatch& sample) const
    {
        return combineBounds(sum, sample);
    }
};

/// The four ways in the order that panels list them.
inline constexpr std::array<Compositing, 4> kCompositings = {
    Compositing::of("add", 0.0, [](auto a, auto s) { return a + s; }),
    Compositing::of("subtract", 1.0, [](auto a, auto s) { return a - s; }),
    Compositing::of("multiply", 1.0, [](auto a, auto s) { return a * s; }),
    Compositing::of("union", 0.0, [](auto a, auto s) { return maximum(a, s); }),
};

/// Cuts to 0..1; NaN stays NaN.
inline Batch cutToUnit(const Batch& x)
{
    return select(x > Batch(1.0), Batch(1.0), select(Batch(0.0) > x, Batch(0.0), x));
}
inline IntervalBatch cutToUnit(const IntervalBatch& x)
{
    return IntervalBatch::entireWhere(x.isEntire(),
                                      IntervalBatch::ordered(cutToUnit(x.lower), cutToUnit(x.upper)));
}

/// An image, and which components of the position are its u and v.
template <Border kBorder>
struct ProjectedImage {
    RasterLookup<1, 2, kBorder> lookup;
    std::size_t u;
    std::size_t v;
};

/// Images carried straight through a volume and composited. The result is cut to 0..1; NaN stays NaN.
template <std::size_t Count, Border kBorder>
struct ImageExtrusion {
    std::array<ProjectedImage<kBorder>, Count> images;
    Tensor<3, double> inverseSize; ///< per model unit
    Compositing compositing;

    template <class V>
    requires(std::same_as<V, Batch> || std::same_as<V, IntervalBatch>) V
    operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> q{p[0] * inverseSize[0], p[1] * inverseSize[1], p[2] * inverseSize[2]};
        V sum = compositing.start;
        for (const ProjectedImage<kBorder>& image : images) {
            sum = compositing(sum, image.lookup(Tensor<2, V>{q[image.u], q[image.v]})[0]);
        }
        return cutToUnit(sum);
    }
};

} // namespace zrk
