#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <numbers>

namespace zrk {

/// Density of a gyroid of period 1 along each axis: about `offset` plus or minus a half.
/// The gyroid surface is the level `offset`. NaN or infinity in a coordinate gives NaN.
struct GyroidDensity {
    double offset;

    /// @param contour  added to the density, whose surface level is 0.5 for contour 0.
    static GyroidDensity withContour(double contour) { return {contour + 0.5}; }

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        constexpr double kTurn = 2 * std::numbers::pi;
        constexpr double kThird = 0.333333333; // nine digits, part of the results
        V sine[3];
        V cosine[3];
        for (std::size_t i = 0; i < 3; ++i) {
            sincos(p[i] * kTurn, sine[i], cosine[i]);
        }
        const V g = sine[0] * cosine[1] + sine[1] * cosine[2] + cosine[0] * sine[2];
        return g * kThird + offset;
    }
};

} // namespace zrk
