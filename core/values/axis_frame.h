#pragma once

#include "core/values/tensor.h"

#include <cmath>

namespace zrk {

/// Returns v scaled to unit length. A zero vector stays as it is.
inline Tensor<3, double> normalized(Tensor<3, double> v)
{
    normalize(v);
    return v;
}

/// Returns a unit vector at right angles to a unit axis, the first of the two that measure an angle about it.
///
/// It also lies at right angles to z, or to y where the axis is nearly vertical (|axis.z| > 0.9). A zero
/// axis gives zero.
inline Tensor<3, double> sideOf(const Tensor<3, double>& axis)
{
    const Tensor<3, double> y{0, 1, 0};
    const Tensor<3, double> z{0, 0, 1};
    return normalized(cross(std::abs(axis[2]) > 0.9 ? y : z, axis));
}

/// Returns the component of p along a unit direction, added in the order x, y, z.
template <class V>
V along(const Tensor<3, double>& direction, const Tensor<3, V>& p)
{
    return p[0] * direction[0] + p[1] * direction[1] + p[2] * direction[2];
}

/// Returns p - origin.
template <class V>
Tensor<3, V> relativeTo(const Tensor<3, double>& origin, const Tensor<3, V>& p)
{
    return {p[0] - origin[0], p[1] - origin[1], p[2] - origin[2]};
}

} // namespace zrk
