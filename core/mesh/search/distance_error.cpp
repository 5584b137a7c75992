#include "core/mesh/search/distance_error.h"

#include "core/mesh/search/closest_point.h"
#include "core/values/stop.h"
#include "core/values/vector3.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

using Tree = BVH<double, 3, 3>;
constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

double errorOf(const Tree& tree, std::int32_t triangle, double reach)
{
    constexpr double kNoArea = 1e-26; // squared; closestPointOnTriangle divides by no less than 1e-30
    const Tensor<3, double> a = pointAt(tree.vertexOf(triangle, 0));
    const Tensor<3, double> b = pointAt(tree.vertexOf(triangle, 1));
    const Tensor<3, double> c = pointAt(tree.vertexOf(triangle, 2));
    const Tensor<3, double> e0 = a - c;
    const Tensor<3, double> e1 = b - c;
    const double longest = std::max({length(e0), length(e1), length(b - a)});
    const double squaredArea = dot(cross(e0, e1), cross(e0, e1));
    if (!std::isfinite(squaredArea)) {
        return std::numeric_limits<double>::infinity();
    }
    if (squaredArea <= kNoArea) {
        return longest;
    }
    // The coordinates in the triangle are quotients by a difference that cancels by this much.
    const double condition = dot(e0, e0) * dot(e1, e1) / squaredArea;
    const double moved = 16 * kEpsilon * condition * (reach + longest);
    return moved < longest ? moved : longest;
}

} // namespace

double distanceError(const Tree& tree)
{
    const Vector3 size = tree.bounds.size();
    double largest = 0;
    for (std::size_t i = 0; i < 3; ++i) {
        largest = std::max({largest, std::abs(tree.bounds.min[i]), std::abs(tree.bounds.max[i])});
    }
    const double reach = 8 * length(size);
    if (!(largest < 1e120) || !(reach < 1e120)) {
        return std::numeric_limits<double>::infinity();
    }
    double error = 0;
    StopLookout lookout;
    for (std::int32_t t = 0; t < tree.primitiveCount; ++t) {
        lookout.step();
        error = std::max(error, errorOf(tree, t, reach));
    }
    return error + 64 * kEpsilon * (largest + reach);
}

} // namespace zrk
