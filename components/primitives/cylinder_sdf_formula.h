#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

#include <cmath>

namespace zrk {

/// What the distances below have in common: the axis of a tapered cylinder and its two radii. Lengths are in
/// model units.
///
/// If the ends are equal, the length is 0 and every position has the distance NaN.
struct TaperedCylinder {
    using Vector = Tensor<3, double>;

    Vector start;
    Vector direction; ///< unit length; zero with equal ends
    double length;
    double startRadius;
    double endRadius;

    static TaperedCylinder between(const Vector& start, const Vector& end, double startRadius,
                                   double endRadius)
    {
        const Vector v = end - start;
        const double length = std::sqrt(dot(v, v));
        const Vector direction = length == 0 ? Vector{} : Vector{v[0] / length, v[1] / length, v[2] / length};
        return {start, direction, length, startRadius, endRadius};
    }

    /// Where a position lies with respect to the axis.
    template <class V>
    struct Place {
        V along; ///< height over the start, in model units
        V share; ///< the same as a share of the axis: 0 at the start, 1 at the end
        V side;  ///< signed distance to the side, measured across the axis; the side goes on beyond the ends
    };

    template <class V>
    Place<V> place(const Tensor<3, V>& p) const
    {
        const V x = p[0] - start[0];
        const V y = p[1] - start[1];
        const V z = p[2] - start[2];
        const V along = (y * direction[1] + x * direction[0]) + z * direction[2];
        const V share = along / length;
        const V radialX = x - along * direction[0];
        const V radialY = y - along * direction[1];
        const V radialZ = z - along * direction[2];
        const V fromAxis = sqrt(radialX * radialX + radialY * radialY + radialZ * radialZ);
        return {along, share, fromAxis - ((1.0 - share) * startRadius + share * endRadius)};
    }
};

/// Signed distance to the side alone: an open, endless cylinder or cone. The radius of a cone turns negative
/// beyond its tip.
struct OpenCylinderDistance {
    TaperedCylinder cylinder;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return cylinder.place(p).side;
    }
};

/// Signed distance to a cylinder or cone with flat ends, negative inside. Beyond the ends, the distance to
/// the side is that to the side going on with its taper.
struct FlatCylinderDistance {
    TaperedCylinder cylinder;

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const auto place = cylinder.place(p);
        const V side = place.side;
        const V cap = (abs(place.share - 0.5) - 0.5) * cylinder.length;
        // The maximum gives its second argument if that is NaN, so this order keeps NaN.
        const V outsideSide = maximum(V(0.0), side);
        const V outsideCap = maximum(V(0.0), cap);
        const V outside = sqrt(outsideSide * outsideSide + outsideCap * outsideCap);
        const V inside = -sqrt(minimum(cap * cap, side * side));
        return select(side < 0.0 && cap < 0.0, inside, outside);
    }
};

/// Signed distance to a cylinder or cone with a sphere of the end's radius at each end, negative inside.
///
/// A cylinder is a capsule. The spheres of a cone don't meet its side in a tangent, as those of the round
/// cone in Quilez, "Distance functions", https://iquilezles.org/articles/distfunctions/, do: between the ends
/// the surface is the cone through the two end circles, where it has an edge.
struct RoundCylinderDistance {
    TaperedCylinder cylinder;
    Tensor<3, double> end;

    explicit RoundCylinderDistance(const TaperedCylinder& c)
        : cylinder(c), end(c.start + c.length * c.direction)
    {}

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const auto place = cylinder.place(p);
        const V startCap = distance(p, cylinder.start) - cylinder.startRadius;
        const V endCap = distance(p, end) - cylinder.endRadius;
        return select(place.along < 0.0, startCap, select(place.along > cylinder.length, endCap, place.side));
    }

private:
    template <class V>
    static V distance(const Tensor<3, V>& p, const Tensor<3, double>& center)
    {
        const V x = p[0] - center[0];
        const V y = p[1] - center[1];
        const V z = p[2] - center[2];
        return sqrt(x * x + y * y + z * z);
    }
};

} // namespace zrk
