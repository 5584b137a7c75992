#pragma once

#include "core/values/axis_frame.h"
#include "core/values/interval.h"
#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <numbers>

namespace zrk {

inline constexpr double kInversePi = 0.3183098861837907;

/// A coordinate divided by the length of the vector it belongs to.
template <class V>
V shareOfLength(const V& coordinate, const V& length)
{
    return coordinate / length;
}

/// Never beyond 1 in size, not even by rounding: the square root of a square is exact, and rounded
/// sums don't decrease. Taken apart, the bounds don't know. Below 1e-150 squares lose digits.
inline Interval<double> shareOfLength(const Interval<double>& coordinate, const Interval<double>& length)
{
    const Interval<double> share = coordinate / length;
    const bool known = length.lower > 1e-150 && std::isfinite(length.upper);
    return known ? Interval<double>{maximum(share.lower, -1), minimum(share.upper, 1)} : share;
}

/// Longitude and latitude in units of pi, and the signed distance to the sphere.
///
/// Longitude is within -1 and 1 and 0 on the axis, latitude within -0.5 and 0.5 and NaN at the centre.
struct SphereCoordinates {
    Tensor<3, double> center;
    double radius;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> d = relativeTo(center, p);
        const V r = sqrt(dot(d, d));
        return {atan2(d[1], d[0]) * kInversePi, asin(shareOfLength(d[2], r)) * kInversePi, r - radius};
    }
};

/// The position with the given longitude and latitude, in units of pi, at the distance
/// `w - radius` from the centre. For w = 0 this is the antipode of the sphere's point with these
/// angles: SphereCoordinates is undone for radius 0 only.
struct SpherePosition {
    Tensor<3, double> center;
    double radius;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& uvw) const
    {
        constexpr double kPi = std::numbers::pi;
        V sineU, cosineU, sineV, cosineV;
        sincos(uvw[0] * kPi, sineU, cosineU);
        sincos(uvw[1] * kPi, sineV, cosineV);
        const V q = uvw[2] - radius; // minus, as saved documents rely on it
        return {cosineU * q * cosineV + center[0], sineU * q * cosineV + center[1], sineV * q + center[2]};
    }
};

} // namespace zrk
