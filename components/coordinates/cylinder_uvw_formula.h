#pragma once

#include "core/values/axis_frame.h"
#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// Where a cylinder's axis runs, with two directions across it that measure the angle.
struct CylinderAxis {
    Tensor<3, double> start;
    Tensor<3, double> end;
    Tensor<3, double> direction; ///< from start to end, zero where the two are equal
    double length;
    Tensor<3, double> a; ///< angle 0
    Tensor<3, double> b; ///< a quarter turn on

    static CylinderAxis between(const Tensor<3, double>& start, const Tensor<3, double>& end)
    {
        Tensor<3, double> d = end - start;
        const double length = normalize(d);
        const Tensor<3, double> a = sideOf(d);
        return {start, end, d, length, a, normalized(cross(normalized(d), a))};
    }
};

/// What the distance does beyond the ends of the axis.
enum class CylinderEnds { Infinite, Round };

/// Height along the axis in model units, angle around it in radians, and the distance to the wall of
/// a cylinder or cone, negative inside.
///
/// The angle is turned on by `twist` for each length of the axis and isn't wrapped then. The wall's
/// radius goes from start to end radius and on beyond, with round ends too. An axis without
/// length has height 0 and NaN for the rest.
template <CylinderEnds ends>
struct CylinderCoordinates {
    CylinderAxis axis;
    double startRadius;
    double endRadius;
    double twist; ///< radians

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> d = relativeTo(axis.start, p);
        const V h = along(axis.direction, d);
        const V t = h / axis.length;
        const V angle = atan2(along(axis.b, d), along(axis.a, d)) + t * twist;
        const V radius = (1 - t) * startRadius + t * endRadius;
        return {h, angle, sqrt(squaredDistance(p, d, h, t)) - radius};
    }

private:
    /// From the axis, or with round ends from the nearer end where that is outside.
    template <class V>
    V squaredDistance(const Tensor<3, V>& p, const Tensor<3, V>& d, const V& h, const V& t) const
    {
        const auto& n = axis.direction;
        const Tensor<3, V> across{d[0] - h * n[0], d[1] - h * n[1], d[2] - h * n[2]};
        if constexpr (ends == CylinderEnds::Infinite) {
            return dot(across, across);
        } else {
            const Tensor<3, V> beyond = relativeTo(axis.end, p);
            return select(t < 0, dot(d, d), select(t > 1, dot(beyond, beyond), dot(across, across)));
        }
    }
};

} // namespace zrk
