#pragma once

#include "components/transforms/axis_rotation.h"

namespace zrk {

/// Turns a position about an axis by an angle that grows with its height along the axis: the angle is 0 in
/// the plane through the centre and has opposite signs on its two sides. Lengths are in model units.
///
/// A zero axis maps every position to the centre.
///
/// Source: the twist in Barr, "Global and local deformations of solid primitives", Computer Graphics 18(3)
/// (SIGGRAPH), 1984, doi:10.1145/964965.808573, with a constant rate and about any axis.
struct TwistPosition {
    RotationAxis axis;
    double rate; ///< radians per model unit of height

    /// @param axis  its length is the height over which `angleDegrees` is reached.
    static TwistPosition about(const Tensor<3, double>& center, Tensor<3, double> axis, double angleDegrees)
    {
        const double length = normalize(axis);
        return {{center, axis}, rotationRate(angleDegrees, length)};
    }

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> offset = axis.offset(p);
        const V height = heightAlong(axis.direction, offset);
        return axis.rotated(offset, height, height * rate);
    }
};

} // namespace zrk
