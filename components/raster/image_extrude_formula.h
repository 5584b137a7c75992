#pragma once

#include "core/raster/raster_lookup.h"

#include <array>
#include <cstddef>

namespace zrk {

/// How images that cross in a volume are put together: `combine` is applied to `start` and each image in
/// turn.
struct Compositing {
    const char* name;
    double start;
    Batch (*combine)(Batch sum, Batch sample);
};

/// The four ways in the order that panels list them.
inline constexpr std::array<Compositing, 4> kCompositings = {{
    {"add", 0.0, [](Batch a, Batch s) { return a + s; }},
    {"subtract", 1.0, [](Batch a, Batch s) { return a - s; }},
    {"multiply", 1.0, [](Batch a, Batch s) { return a * s; }},
    {"union", 0.0, [](Batch a, Batch s) { return maximum(a, s); }},
}};

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
    requires std::same_as<V, Batch> V operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> q{p[0] * inverseSize[0], p[1] * inverseSize[1], p[2] * inverseSize[2]};
        V sum = compositing.start;
        for (const ProjectedImage<kBorder>& image : images) {
            sum = compositing.combine(sum, image.lookup(Tensor<2, V>{q[image.u], q[image.v]})[0]);
        }
        return select(sum > V(1.0), V(1.0), select(V(0.0) > sum, V(0.0), sum));
    }
};

} // namespace zrk
