#pragma once

#include "core/values/tensor.h"

namespace zrk {

/// Where the nearest point of a beam's axis lies, and the beam's radius there. Both ends have the same
/// radius, which still is interpolated between them: that fixes the last bit.
template <class V>
struct CapsuleFoot {
    V along; ///< distance from the start, 0 to the length
    V radius;

    /// @param t  place of the position along the axis, from the start.
    static CapsuleFoot of(V t, V length, V radius)
    {
        const auto isBefore = t < V(0.0);
        const auto isBehind = t > length;
        const V s = t / length;
        return {select(isBefore, V(0.0), select(isBehind, length, t)),
                select(isBefore || isBehind, radius, (1.0 - s) * radius + s * radius)};
    }
};

/// A beam: all points within a radius of the segment from `start` along the unit vector `direction`.
/// V is the value type the distance runs in; a batch holds a beam, or one position for a beam, a lane.
template <class V>
struct Capsule {
    Tensor<3, V> start;
    Tensor<3, V> direction; ///< zero for a segment without length
    V length;
    V radius;

    /// Signed distance in model units, negative inside. A segment without length gives NaN.
    V distance(const Tensor<3, V>& p) const
    {
        const CapsuleFoot<V> foot = CapsuleFoot<V>::of(dot(p - start, direction), length, radius);
        const Tensor<3, V> away = p - (start + foot.along * direction);
        return sqrt(dot(away, away)) - foot.radius;
    }
};

/// The beam between two points.
inline Capsule<double> capsuleBetween(const Tensor<3, double>& a, const Tensor<3, double>& b, double radius)
{
    Tensor<3, double> direction = b - a;
    const double length = normalize(direction);
    return {a, direction, length, radius};
}

} // namespace zrk
