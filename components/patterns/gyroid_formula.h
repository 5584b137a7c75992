#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <numbers>

namespace zrk {

/// Density of a gyroid of period 1 along each axis, which runs from about offset - 0.5 to offset + 0.5.
/// The gyroid surface is the level `offset`. NaN or infinity in a coordinate gives NaN.
///
/// Source: the gyroid is due to Schoen, "Infinite periodic minimal surfaces without self-intersections", NASA
/// TN D-5541, 1970. The formula is its nodal approximation, the leading term of a Fourier series (von
/// Schnering, Nesper, "Nodal surfaces of Fourier series", Zeitschrift fuer Physik B 83, 1991), here divided
/// by 3 and moved to a density.
struct GyroidDensity {
    double offset;

    /// @param contour  added to the density. With contour 0 the gyroid surface is the level 0.5.
    static GyroidDensity withContour(double contour) { return {contour + 0.5}; }

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        constexpr double kTurn = 2 * std::numbers::pi;
        constexpr double kThird = 0.333333333; // these nine digits are part of the results
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
