#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <numbers>

namespace zrk {

/// Three bars along x, y and z that cross in the centre of every unit cell of the coordinates.
struct CrossBars {
    Tensor<3, double> terms; ///< added to the squared distances from the bars along x, y and z

    /// @param ratios  thickness of each bar; a ratio of 1 adds nothing to the squared distance from it.
    static CrossBars withThickness(const Tensor<3, double>& ratios)
    {
        CrossBars bars{};
        for (std::size_t i = 0; i < 3; ++i) {
            const double root = (1 - ratios[i]) * 0.25;
            bars.terms[i] = root * root;
        }
        return bars;
    }

    /// Returns the position relative to the centre of its cell, from -0.5 to below 0.5 on each axis.
    template <class V>
    static Tensor<3, V> folded(const Tensor<3, V>& p)
    {
        return {p[0] - floor(p[0]) - 0.5, p[1] - floor(p[1]) - 0.5, p[2] - floor(p[2]) - 0.5};
    }

    /// Returns the squared distance of a folded position from each bar, plus the bar's term.
    template <class V>
    Tensor<3, V> squaredDistances(const Tensor<3, V>& f) const
    {
        const V x = f[0] * f[0];
        const V y = f[1] * f[1];
        const V z = f[2] * f[2];
        return {y + z + terms[0], x + z + terms[1], x + y + terms[2]};
    }
};

/// Density that falls linearly with the distance from the nearest bar. With thickness ratios of 1, it is 1 on
/// the axes of the bars and 0 at a cell's corner. NaN in any coordinate gives NaN.
struct HardCrossDensity {
    CrossBars bars;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> f = CrossBars::folded(p);
        const Tensor<3, V> d = bars.squaredDistances(f);
        const V nearest = minimum(minimum(d[0], d[1]), d[2]);
        const V density = 1.0 - std::numbers::sqrt2 * sqrt(nearest);
        // A NaN in y or z reaches the result through d[0]. The minimum would drop a NaN in x.
        return select(isNaN(f[0]), f[0], density);
    }
};

/// Sum of the densities of the three bars, each exp(falloff * squared distance). It runs from 0 to 3, which
/// it reaches where the bars cross if the ratios are 1. NaN in any coordinate gives NaN.
struct SmoothCrossDensity {
    CrossBars bars;
    double falloff; ///< negative; the larger its size, the narrower the bars

    static SmoothCrossDensity withSmoothness(const CrossBars& bars, double smoothness)
    {
        return {bars, smoothness * -100.0};
    }

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> d = bars.squaredDistances(CrossBars::folded(p));
        return exp(d[2] * falloff) + exp(d[0] * falloff) + exp(d[1] * falloff);
    }
};

} // namespace zrk
