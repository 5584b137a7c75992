#pragma once

#include "core/values/axis_frame.h"
#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// The axis of a cylinder, with two directions at right angles to it from which the angle is measured.
struct CylinderAxis {
    Tensor<3, double> start;
    Tensor<3, double> end;
    Tensor<3, double> direction; ///< unit vector from start to end; zero if the two are equal
    double length;
    Tensor<3, double> a; ///< where the angle is 0
    Tensor<3, double> b; ///< where the angle is pi / 2

    static CylinderAxis between(const Tensor<3, double>& start, const Tensor<3, double>& end)
    {
        Tensor<3, double> d = end - start;
        const double length = normalize(d);
        const Tensor<3, double> a = sideOf(d);
        return {start, end, d, length, a, normalized(cross(normalized(d), a))};
    }
};

/// How the distance is measured beyond the ends of the axis: still from the line (Infinite), or from the end
/// (Round).
enum class CylinderEnds { Infinite, Round };

/// Cylindrical coordinates about an axis: the height along it in model units, the angle around it in radians,
/// and the distance to the wall of a cylinder or cone in model units, negative inside.
///
/// From start to end the angle grows by `twist` beside its own -pi to pi, and it isn't wrapped. The wall's
/// radius changes linearly from the start radius to the end radius and goes on changing beyond, with round
/// ends too. If the axis has no length, the height is 0 and the rest is NaN.
///
/// The third coordinate takes the place of the distance from the axis in the usual cylindrical coordinates.
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
    /// Squared distance from the axis or, with round ends and a position beyond one, from that end.
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
