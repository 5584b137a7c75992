#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <numbers>

namespace zrk {

inline constexpr double kRadiansPerDegree = std::numbers::pi / 180;

/// Radians of rotation per model unit, for an angle that is reached over a length.
/// Over the length 0 the angle itself.
inline double rotationRate(double angleDegrees, double length)
{
    const double angleRadians = angleDegrees * kRadiansPerDegree;
    return length == 0.0 ? angleRadians : angleRadians / length;
}

/// Scalar product of a direction with an offset, added in the order x, y, z.
template <class V>
V heightAlong(const Tensor<3, double>& direction, const Tensor<3, V>& offset)
{
    return offset[0] * direction[0] + offset[1] * direction[1] + offset[2] * direction[2];
}

/// An axis of rotation: a unit direction through a point. A zero direction maps everything to
/// the point.
struct RotationAxis {
    Tensor<3, double> center;
    Tensor<3, double> direction;

    template <class V>
    Tensor<3, V> offset(const Tensor<3, V>& p) const
    {
        return {p[0] - center[0], p[1] - center[1], p[2] - center[2]};
    }

    /// The position at `offset` from the centre turned by theta radians, right-handed about the
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
