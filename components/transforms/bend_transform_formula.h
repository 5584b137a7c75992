#pragma once

#include "components/transforms/axis_rotation.h"

namespace zrk {

/// Turns a position about an axis by an angle that grows along a second direction. Lengths are in model
/// units.
///
/// The two directions aren't made perpendicular; if they are parallel, a bend is a twist.
/// A zero axis maps every position to the centre; a zero bend direction leaves it where it is.
///
/// Source: a relative of the bend in Barr, "Global and local deformations of solid primitives", Computer
/// Graphics 18(3) (SIGGRAPH), 1984, doi:10.1145/964965.808573. Barr's keeps the length of a centre line and
/// bends between two planes; this one keeps no length and has no limits.
struct BendPosition {
    RotationAxis axis;
    Tensor<3, double> bendDirection; ///< of unit length or zero
    double rate;                     ///< radians per model unit along the bend direction

    /// @param axis           only its direction counts.
    /// @param bendDirection  its length is the distance over which `angleDegrees` is reached.
    static BendPosition about(const Tensor<3, double>& center, Tensor<3, double> axis,
                              Tensor<3, double> bendDirection, double angleDegrees)
    {
        normalize(axis);
        const double length = normalize(bendDirection);
        return {{center, axis}, bendDirection, rotationRate(angleDegrees, length)};
    }

    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        const Tensor<3, V> offset = axis.offset(p);
        const V height = heightAlong(axis.direction, offset);
        return axis.rotated(offset, height, heightAlong(bendDirection, offset) * rate);
    }
};

} // namespace zrk
