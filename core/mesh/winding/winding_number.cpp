#include "core/mesh/winding/winding_number.h"

#include "core/mesh/winding/solid_angle.h"

#include <numbers>
#include <span>

namespace zrk {

namespace {

using Tree = BVH<double, 3, 3>;

constexpr double kFullAngle = 4 * std::numbers::pi;

/// Winding number of a far group by its expansion.
double expansion(const FarGroup& group, const Vector3& r, double distance, std::int32_t order)
{
    const double c = 1.0 / (distance * distance * distance * kFullAngle);
    double sum = c * dot(r, group.moment0);
    if (order == 0) {
        return sum;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const double diagonal = i == j ? 1.0 : 0.0;
            sum += c * (diagonal - 3.0 * r[i] * r[j] / (distance * distance)) * group.moment1[i][j];
        }
    }
    return sum;
}

} // namespace

double windingNumber(const Tree& tree, const MeshMoments& moments, const Vector3& point, std::int32_t order,
                     double beta)
{
    double sum = 0.0;
    tree.traverse(
        0, [&](std::int32_t index, bool isLeaf, const Tree::Box&, std::span<const std::int32_t> triangles) {
            if (!isLeaf && triangles.size() >= MeshMoments::kSmallestGroup) {
                const FarGroup& group = moments.groupOf(index);
                const Vector3 r = group.center - point;
                const double distance = length(r);
                if (!(distance > beta * group.radius)) {
                    return true;
                }
                sum += expansion(group, r, distance, order);
                return false;
            }
            for (const std::int32_t t : triangles) {
                sum += triangleSolidAngle(tree.vertexOf(t, 0), tree.vertexOf(t, 1), tree.vertexOf(t, 2),
                                          point.begin()) /
                       kFullAngle;
            }
            return false;
        });
    return sum;
}

} // namespace zrk
