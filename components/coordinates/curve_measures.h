#pragma once

#include "core/engine/centred_box.h"
#include "core/values/tensor.h"
#include "model/geometry.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

/// What the curve components compute of a position, on any curve that a host supplies.
namespace zrkmodel {

/// Returns the parameter of the curve's point closest to p. `near` comes in as the parameter found for a
/// neighbouring position, or NaN, and goes out as this one; it may speed up the search and never changes
/// the answer.
inline double closestParameter(const CurveParametrization& curve, const zrk::Tensor<3, double>& p,
                               double& near)
{
    near = curve.closestParameterNear ? curve.closestParameterNear(p, near) : curve.closestParameter(p);
    return near;
}

/// Bounds of the distance from a curve over a box. The curve is exact.
inline zrk::Interval<double> distanceFrom(const CurveParametrization& curve, const zrk::CentredBox& box)
{
    double near = std::numeric_limits<double>::quiet_NaN();
    double size = 0;
    for (const zrk::Tensor<3, double>& corner : curve.bounds) {
        for (const double coordinate : corner) {
            size = std::max(size, std::abs(coordinate));
        }
    }
    const auto offset = box.center - curve.position(closestParameter(curve, box.center, near));
    const zrk::Interval<double> distance =
        box.around(std::sqrt(dot(offset, offset)), 16 * box.roundingOf(size));
    return {std::max(distance.lower, 0.0), distance.upper};
}

/// Bounds of a length along a curve, from 0 to `longest`, times a factor. Lengths are known to 1e-12 of the
/// curve's.
inline zrk::Interval<double> lengthUpTo(double longest, double scale)
{
    const double error = 1e-9 * longest;
    return zrk::Interval<double>{-error, longest + error} * zrk::Interval<double>(scale);
}

/// A position seen from the closest point of a curve. Lengths are in model units.
struct CurveOffset {
    zrk::Tensor<3, double> offset; ///< from that point to the position
    zrk::Tensor<3, double> tangent, normal, binormal;
    double along; ///< length of the curve up to that point; on a closed curve the length from its middle,
                  ///< the same on both sides, so that it is continuous across the seam

    CurveOffset(const CurveParametrization& curve, const zrk::Tensor<3, double>& p, double& near)
    {
        const double t = closestParameter(curve, p, near);
        const double arc = curve.arcLength(t);
        offset = p - curve.position(t);
        curve.frame(t, tangent, normal, binormal);
        along = curve.closed ? std::abs(arc - curve.length * 0.5) : arc;
    }
};

/// The triple (length along the curve, distance from the sheet that the curve sweeps along its binormals,
/// height along the binormal). The length is multiplied by `scale`.
struct ExtrudeMeasure {
    static constexpr std::uint32_t kShape = 3;
    CurveParametrization curve;
    double scale;

    zrk::Tensor<3, double> operator()(const zrk::Tensor<3, double>& p, double& near) const
    {
        const CurveOffset at(curve, p, near);
        const double height = dot(at.offset, at.binormal);
        const zrk::Tensor<3, double> across = at.offset - height * at.binormal;
        return {at.along * scale, std::sqrt(dot(across, across)), height};
    }

    bool hasBounds() const { return curve.isExact; }
    zrk::Tensor<3, zrk::Interval<double>> bounds(const zrk::CentredBox& box) const
    {
        constexpr double kUnit = 1 + 1e-9; // the length of a binormal, at most
        const double farthest = distanceFrom(curve, box).upper * kUnit;
        return {lengthUpTo(curve.closed ? curve.length * 0.5 : curve.length, scale),
                {0, farthest},
                {-farthest, farthest}};
    }
};

/// The triple (length along the curve times `scale`, angle about it, distance from it). The angle is in
/// right angles: 0 on the side of the normal, 1 along either binormal, 2 on the opposite side.
struct WrapMeasure {
    static constexpr std::uint32_t kShape = 3;
    CurveParametrization curve;
    double scale;

    zrk::Tensor<3, double> operator()(const zrk::Tensor<3, double>& p, double& near) const
    {
        constexpr double kPi = std::numbers::pi;
        const CurveOffset at(curve, p, near);
        const double angle = std::abs(std::atan2(dot(at.offset, at.binormal), dot(at.offset, at.normal)));
        return {at.along * scale, (angle + angle) / kPi, std::sqrt(dot(at.offset, at.offset))};
    }

    bool hasBounds() const { return curve.isExact; }
    zrk::Tensor<3, zrk::Interval<double>> bounds(const zrk::CentredBox& box) const
    {
        constexpr double kTwoRightAngles = 2 * (1 + 1e-15);
        return {lengthUpTo(curve.closed ? curve.length * 0.5 : curve.length, scale),
                {0, kTwoRightAngles},
                distanceFrom(curve, box)};
    }
};

/// The parameter of the closest point, from 0 to 1 if it is normalized. If the curve's parameters are all one
/// value, the result is that value.
struct ParameterMeasure {
    static constexpr std::uint32_t kShape = 1;
    CurveParametrization curve;
    bool isNormalized;

    zrk::Tensor<1, double> operator()(const zrk::Tensor<3, double>& p, double& near) const
    {
        const double t = closestParameter(curve, p, near);
        if (!isNormalized) {
            return {t};
        }
        return {curve.tMax == curve.tMin ? curve.tMin : (t - curve.tMin) / (curve.tMax - curve.tMin)};
    }

    bool hasBounds() const { return curve.isExact; }
    zrk::Tensor<1, zrk::Interval<double>> bounds(const zrk::CentredBox&) const
    {
        if (isNormalized && curve.tMax != curve.tMin) {
            return {zrk::Interval<double>{0, 1}};
        }
        return {zrk::Interval<double>{curve.tMin, curve.tMax}};
    }
};

/// The length of the curve up to the closest point, times `scale`.
struct LengthMeasure {
    static constexpr std::uint32_t kShape = 1;
    CurveParametrization curve;
    double scale;

    zrk::Tensor<1, double> operator()(const zrk::Tensor<3, double>& p, double& near) const
    {
        return {curve.arcLength(closestParameter(curve, p, near)) * scale};
    }

    bool hasBounds() const { return curve.isExact; }
    zrk::Tensor<1, zrk::Interval<double>> bounds(const zrk::CentredBox&) const
    {
        return {lengthUpTo(curve.length, scale)};
    }
};

} // namespace zrkmodel
