#pragma once

#include "frame/values/scalar_math.h"
#include "frame/values/tensor.h"

#include <numbers>

/// Formulas of the measured chains that have no kernel header of their own.
namespace zrk::bench {

/// A wall around a level of a distance, with the pins that scale its offset and its thickness.
struct Shell {
    double offset;
    double halfDifference; ///< (outer - inner thickness) / 2
    double halfSum;        ///< (inner + outer thickness) / 2

    template <class V>
    V operator()(const V& distance, const V& offsetScale, const V& thicknessScale) const
    {
        const V middle = distance - offset * offsetScale - thicknessScale * halfDifference;
        return abs(middle) - thicknessScale * halfSum;
    }
};

/// A density as a distance-like value, negative above the iso value.
struct IsoValue {
    double level;

    template <class V>
    V operator()(const V& density) const
    {
        return level - density;
    }
};

/// Angle around the ring, angle around the tube, both over pi, and distance from the tube.
struct TorusCoordinates {
    Tensor<3, double> center;
    double ringRadius;
    double tubeRadius;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] - center[0];
        const V y = p[1] - center[1];
        const V z = p[2] - center[2];
        const V fromRing = sqrt(x * x + y * y) - ringRadius;
        return {atan2(y, x) * std::numbers::inv_pi, atan2(z, fromRing) * std::numbers::inv_pi,
                sqrt(z * z + fromRing * fromRing) - tubeRadius};
    }
};

/// Longitude and latitude over pi, and distance from the sphere.
struct SphereCoordinates {
    Tensor<3, double> center;
    double radius;

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        const V x = p[0] - center[0];
        const V y = p[1] - center[1];
        const V z = p[2] - center[2];
        const V length = sqrt(x * x + y * y + z * z);
        return {atan2(y, x) * std::numbers::inv_pi, asin(z / length) * std::numbers::inv_pi, length - radius};
    }
};

struct LogSquaredLength {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return log(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
    }
};

} // namespace zrk::bench
