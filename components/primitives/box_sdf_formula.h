#pragma once

#include "core/values/scalar_math.h"
#include "core/values/tensor.h"

namespace zrk {

/// Distance to the corner of a box, given the signed distances (u, v, s) to its three faces. Outside it is
/// the length of the positive ones, inside the largest of the three.
///
/// A NaN isn't positive and adds nothing to the length. The largest is maximum(maximum(u, v), s), which
/// takes its second argument if either is NaN. If it is NaN, so is the result.
template <class V>
V cornerDistance(const V& u, const V& v, const V& s)
{
    // maximum(NaN, 0) is 0.
    const V outsideU = maximum(u, 0.0);
    const V outsideV = maximum(v, 0.0);
    const V outsideS = maximum(s, 0.0);
    const V outside = sqrt(outsideU * outsideU + outsideV * outsideV + outsideS * outsideS);
    const V inside = minimum(maximum(maximum(u, v), s), V(0.0));
    return outside + inside;
}

/// Signed distance to a solid box with rounded corners, negative inside. Lengths are in model units.
///
/// The half sizes are those of the box without its rounding, so that the outer size includes it.
/// No limit is set: a negative radius or half size goes through the formula as it is.
///
/// Source: the box with rounded edges in Quilez, "Distance functions",
/// https://iquilezles.org/articles/distfunctions/.
struct BoxDistance {
    Tensor<3, double> center;
    Tensor<3, double> innerHalfSizes;
    double radius;

    /// Makes the box from its full side lengths, which include the rounding.
    static BoxDistance rounded(const Tensor<3, double>& center, const Tensor<3, double>& dimensions,
                               double radius)
    {
        return {center, dimensions * 0.5 - Tensor<3, double>{radius, radius, radius}, radius};
    }

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = abs(p[0] - center[0]) - innerHalfSizes[0];
        const V y = abs(p[1] - center[1]) - innerHalfSizes[1];
        const V z = abs(p[2] - center[2]) - innerHalfSizes[2];
        return cornerDistance(x, y, z) - radius;
    }
};

/// Signed distance to the twelve edges of a box, each a square bar, negative inside the bars. Lengths are in
/// model units.
///
/// The bars lie inside the box's outer size and are twice `thickness` wide.
///
/// Source: the box frame in Quilez, "Distance functions", https://iquilezles.org/articles/distfunctions/.
struct WireframeBoxDistance {
    Tensor<3, double> center;
    Tensor<3, double> halfSizes;
    double thickness; ///< half the width of a bar

    /// Makes the frame from the box's full side lengths.
    static WireframeBoxDistance around(const Tensor<3, double>& center, const Tensor<3, double>& dimensions,
                                       double thickness)
    {
        return {center, dimensions * 0.5, thickness};
    }

    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        // Distances to the outer faces, and to the sides of the bars behind them.
        const V ax = abs(p[0] - center[0]) - halfSizes[0];
        const V ay = abs(p[1] - center[1]) - halfSizes[1];
        const V az = abs(p[2] - center[2]) - halfSizes[2];
        const V bx = abs(ax + thickness) - thickness;
        const V by = abs(ay + thickness) - thickness;
        const V bz = abs(az + thickness) - thickness;
        return minimum(minimum(cornerDistance(bx, by, az), cornerDistance(bx, ay, bz)),
                       cornerDistance(ax, by, bz));
    }
};

} // namespace zrk
