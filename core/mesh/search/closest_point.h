#pragma once

#include "core/values/box.h"
#include "core/values/tensor.h"

#include <cmath>

/// The geometry under the mesh and beam distances, in the order of operations that fixes the bits.
/// All points are arrays of three coordinates in model units.
namespace zrk {

/// The three coordinates at an address.
inline Tensor<3, double> pointAt(const double* coordinates)
{
    return {coordinates[0], coordinates[1], coordinates[2]};
}

/// Squared distance from a point to a box; 0 inside.
inline double squaredDistanceToBox(const Box<double>& box, const double* point)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        const double outside = point[i] > box.max[i]   ? point[i] - box.max[i]
                               : box.min[i] > point[i] ? box.min[i] - point[i]
                                                       : 0.0;
        sum += outside * outside;
    }
    return sum;
}

/// Distance from a point to the segment a-b, and where on it. A segment of zero length gives NaN,
/// but for a point that projects before a.
inline double closestPointOnSegment(const double* point, const double* a, const double* b, double* closest)
{
    const Tensor<3, double> p = pointAt(point);
    const Tensor<3, double> start = pointAt(a);
    const Tensor<3, double> e = pointAt(b) - start;
    const double along = dot(e, p - start);
    Tensor<3, double> answer = start;
    if (!(along < 0.0)) {
        const double s = along / dot(e, e);
        answer = s >= 1.0 ? pointAt(b) : start + s * e;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        closest[i] = answer[i];
    }
    return length(p - answer);
}

/// Distance from a point to the triangle a, b, c, and where on it. Triangles of (almost) zero area give a
/// point of the triangle too, if not always the nearest.
///
/// Source: barycentric coordinates by dot products, as in Ericson, "Real-Time Collision Detection", 2005,
/// section 3.4; outside of the triangle their signs choose two edges here, and the nearer one's point is
/// taken.
inline double closestPointOnTriangle(const double* point, const double* a, const double* b, const double* c,
                                     double* closest)
{
    const Tensor<3, double> p = pointAt(point);
    const Tensor<3, double> corner = pointAt(c);
    const Tensor<3, double> e0 = pointAt(a) - corner;
    const Tensor<3, double> e1 = pointAt(b) - corner;
    const Tensor<3, double> e2 = p - corner;
    const double d00 = dot(e0, e0);
    const double d01 = dot(e0, e1);
    const double d11 = dot(e1, e1);
    const double d02 = dot(e0, e2);
    const double d12 = dot(e1, e2);
    const double inverse = 1.0 / maximum(d11 * d00 - d01 * d01, 1e-30);
    const double u = (d02 * d11 - d12 * d01) * inverse;
    const double v = (d12 * d00 - d02 * d01) * inverse;
    const double w = 1.0 - u - v;
    if (u >= 0.0 && v >= 0.0 && w >= 0.0) {
        const Tensor<3, double> inside = u * pointAt(a) + v * pointAt(b) + w * corner;
        for (std::size_t i = 0; i < 3; ++i) {
            closest[i] = inside[i];
        }
        return length(p - inside);
    }
    // u > 0: a-b and a-c; else v > 0: a-b and b-c; else a-c and b-c.
    const double* const endOfFirst = u > 0.0 || v > 0.0 ? b : c;
    const double* const startOfSecond = u > 0.0 ? a : b;
    double onSecond[3];
    const double first = closestPointOnSegment(point, a, endOfFirst, closest);
    const double second = closestPointOnSegment(point, startOfSecond, c, onSecond);
    if (first < second) {
        return first;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        closest[i] = onSecond[i];
    }
    return second;
}

} // namespace zrk
