#pragma once

#include "core/values/axis_frame.h"
#include "core/values/interval_batch.h"
#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <numbers>

namespace zrk {

inline constexpr double kInversePi = 0.3183098861837907;

/// Returns a coordinate divided by the length of the vector that it belongs to.
template <class V>
V shareOfLength(const V& coordinate, const V& length)
{
    return coordinate / length;
}

/// Cuts the bounds to -1 and 1, as no quotient lies beyond, not even by rounding: the square root of a square
/// is exact, and rounding keeps a sum of squares from falling below one of them. Interval division alone
/// can't see this. It isn't done for lengths below 1e-150, whose squares lose digits.
inline Interval<double> shareOfLength(const Interval<double>& coordinate, const Interval<double>& length)
{
    const Interval<double> share = coordinate / length;
    const bool known = length.lower > 1e-150 && std::isfinite(length.upper);
    return known ? Interval<double>{maximum(share.lower, -1), minimum(share.upper, 1)} : share;
}
inline IntervalBatch shareOfLength(const IntervalBatch& coordinate, const IntervalBatch& length)
{
    const IntervalBatch share = coordinate / length;
    const BatchMask known = length.lower > 1e-150 && isFinite(length.upper);
    return IntervalBatch::ordered(select(known, maximum(share.lower, -1.0), share.lower),
                                  select(known, minimum(share.upper, 1.0), share.upper));
}

/// Longitude and latitude in units of pi, and the signed distance to a sphere in model units, negative
/// inside.
///
/// The longitude lies within -1 and 1 and is 0 on the axis. The latitude lies within -0.5 and 0.5 and is NaN
/// at the centre. As in geography, the latitude is counted from the equator, unlike the polar angle of the
/// spherical coordinates in ISO 80000-2.
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

/// The position with the given longitude and latitude, in units of pi, at the distance `w - radius` from the
/// centre. For w = 0 it lies opposite the sphere's point with these angles, so it undoes SphereCoordinates
/// only for radius 0.
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
        const V q = uvw[2] - radius; // with a minus, as saved documents rely on it
        return {cosineU * q * cosineV + center[0], sineU * q * cosineV + center[1], sineV * q + center[2]};
    }
};

} // namespace zrk
