#include "core/mesh/winding/winding_number.h"

#include <span>

namespace zrk {

namespace {

using Tree = BVH<double, 3, 3>;

constexpr double kFullAngle = 12.566370614359172; // 4 pi

/// Winding number of a far group by its expansion.
double expansion(const WindingMoments& group, const Tensor<3, double>& r, double distance)
{
    const double c = 1.0 / (distance * distance * distance * kFullAngle);
    double sum = c * dot(r, group.moment0);
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const double diagonal = i == j ? 1.0 : 0.0;
            sum += c * (diagonal - 3.0 * r[i] * r[j] / (distance * distance)) * group.moment1[i][j];
        }
    }
    return sum;
}

} // namespace

double windingNumber(const Tree& tree, const MeshMoments& moments, const double* point, double beta)
{
    double sum = 0.0;
    tree.traverse(0, [&](std::int32_t index, bool isLeaf, const Tree::Box&,
                         std::span<const std::int32_t> triangles) {
        if (!isLeaf && triangles.size() >= MeshMoments::kSmallestGroup) {
            const WindingMoments& group = moments.of(index);
            const Tensor<3, double> r = group.center - pointAt(point);
            const double distance = length(r);
            if (!(distance > beta * group.radius)) {
                return true;
            }
            sum += expansion(group, r, distance);
            return false;
        }
        for (const std::int32_t t : triangles) {
            sum += triangleSolidAngle(tree.vertexOf(t, 0), tree.vertexOf(t, 1), tree.vertexOf(t, 2), point) /
                   kFullAngle;
        }
        return false;
    });
    return sum;
}

} // namespace zrk
