#pragma once

#include "core/values/tensor.h"
#include "model/geometry.h"

#include <cmath>
#include <numbers>

/// What the curve components compute of a position, on any curve that a host supplies.
namespace zrkmodel {

/// t of the closest point; `near` is that of a neighbouring position, or NaN, and takes this one.
inline double closestParameter(const CurveParametrization& curve, const zrk::Tensor<3, double>& p,
                               double& near)
{
    near = curve.closestParameterNear ? curve.closestParameterNear(p, near) : curve.closestParameter(p);
    return near;
}

/// A position against the closest point of a curve.
struct CurveOffset {
    zrk::Tensor<3, double> offset; ///< from that point to the position
    zrk::Tensor<3, double> tangent, normal, binormal;
    double along; ///< length up to that point; on a closed curve from mid-length, either way

    CurveOffset(const CurveParametrization& curve, const zrk::Tensor<3, double>& p, double& near)
    {
        const double t = closestParameter(curve, p, near);
        const double arc = curve.arcLength(t);
        offset = p - curve.position(t);
        curve.frame(t, tangent, normal, binormal);
        along = curve.closed ? std::abs(arc - curve.length * 0.5) : arc;
    }
};

/// (length along the curve, distance from the sheet that the binormals sweep, height on it)
struct ExtrudeMeasure {
    static constexpr std::uint32_t kShape = 3;
    CurveParametrization curve;
    double scale; ///< of the length

    zrk::Tensor<3, double> operator()(const zrk::Tensor<3, double>& p, double& near) const
    {
        const CurveOffset at(curve, p, near);
        const double height = dot(at.offset, at.binormal);
        const zrk::Tensor<3, double> across = at.offset - height * at.binormal;
        return {at.along * scale, std::sqrt(dot(across, across)), height};
    }
};

/// (length along the curve, angle about it from 0 at the normal to 2 opposite, distance)
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
};

/// The parameter, from 0 to 1 where normalized. A curve whose parameters are one value gives that value.
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
};

/// The length up to the closest point.
struct LengthMeasure {
    static constexpr std::uint32_t kShape = 1;
    CurveParametrization curve;
    double scale;

    zrk::Tensor<1, double> operator()(const zrk::Tensor<3, double>& p, double& near) const
    {
        return {curve.arcLength(closestParameter(curve, p, near)) * scale};
    }
};

} // namespace zrkmodel
