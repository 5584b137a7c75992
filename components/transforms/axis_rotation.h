#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <numbers>

namespace zrk {

/// The factor from degrees to radians.
inline constexpr double kRadiansPerDegree = std::numbers::pi / 180;

/// Returns the rotation in radians per model unit that reaches an angle over a length in model units. For the
/// length 0 it returns the angle itself in radians.
inline double rotationRate(double angleDegrees, double length)
{
    const double angleRadians = angleDegrees * kRadiansPerDegree;
    return length == 0.0 ? angleRadians : angleRadians / length;
}

/// Returns the scalar product of a direction with an offset, added in the order x, y, z.
template <class V>
V heightAlong(const Tensor<3, double>& direction, const Tensor<3, V>& offset)
{
    return offset[0] * direction[0] + offset[1] * direction[1] + offset[2] * direction[2];
}

/// An axis of rotation: a unit direction through a point. A zero direction maps every position to the point.
///
/// Source: the rotation formula of Rodrigues, Journal de Mathematiques Pures et Appliquees 5, 1840, pages 380
/// to 440. Here the part of the offset across the axis is (n x offset) x n, not the offset less its part
/// along the axis.
struct RotationAxis {
    Tensor<3, double> center;
    Tensor<3, double> direction;

    /// Returns p - center.
    template <class V>
    Tensor<3, V> offset(const Tensor<3, V>& p) const
    {
        return {p[0] - center[0], p[1] - center[1], p[2] - center[2]};
    }

    /// Returns the position at `offset` from the centre, turned by theta radians, right-handed about the
    /// direction. `height` is the offset's height along the direction.
    template <class V>
    Tensor<3, V> rotated(const Tensor<3, V>& offset, const V& height, const V& theta) const
    {
        const Tensor<3, V> axis{direction[0], direction[1], direction[2]};
        const Tensor<3, V> across = cross(axis, offset);
        const Tensor<3, V> away = cross(across, axis); // the offset's part at right angles to the axis
        V sine;
        V cosine;
        sincos(theta, sine, cosine);
        Tensor<3, V> turned;
        for (std::size_t i = 0; i < 3; ++i) {
            turned[i] = center[i] + height * axis[i] + cosine * away[i] + sine * across[i];
        }
        return turned;
    }
};

} // namespace zrk
