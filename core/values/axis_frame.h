#pragma once

#include "core/values/tensor.h"

#include <cmath>

namespace zrk {

inline Tensor<3, double> normalized(Tensor<3, double> v)
{
    normalize(v);
    return v;
}

/// The first of two directions across a unit axis: normal to it, and horizontal unless the axis
/// is nearly vertical (|z| > 0.9), where it is normal to y. Zero for a zero axis.
inline Tensor<3, double> sideOf(const Tensor<3, double>& axis)
{
    const Tensor<3, double> y{0, 1, 0};
    const Tensor<3, double> z{0, 0, 1};
    return normalized(cross(std::abs(axis[2]) > 0.9 ? y : z, axis));
}

/// Component of p along a unit direction, added in the order x, y, z.
template <class V>
V along(const Tensor<3, double>& direction, const Tensor<3, V>& p)
{
    return p[0] * direction[0] + p[1] * direction[1] + p[2] * direction[2];
}

template <class V>
Tensor<3, V> relativeTo(const Tensor<3, double>& origin, const Tensor<3, V>& p)
{
    return {p[0] - origin[0], p[1] - origin[1], p[2] - origin[2]};
}

} // namespace zrk
