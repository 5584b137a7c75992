#include "mesh/winding_number.h"

#include "frame/values/large_pages.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <utility>

namespace zrk {

namespace {

using Tree = BVH<double, 3, 3>;

constexpr double kFullAngle = 12.566370614359172; // 4 pi

Tensor<3, double> centroid(const Tree& tree, std::int32_t triangle)
{
    return (pointAt(tree.vertexOf(triangle, 0)) + pointAt(tree.vertexOf(triangle, 1)) +
            pointAt(tree.vertexOf(triangle, 2))) *
           (1.0 / 3.0);
}

/// The moments of a group that isn't complete yet.
struct GroupSum {
    double area = 0.0;
    WindingMoments moments;
};

/// Adds groups up, but for the radius.
GroupSum sumOf(std::span<const GroupSum> parts)
{
    GroupSum sum;
    WindingMoments& whole = sum.moments;
    for (const GroupSum& part : parts) {
        sum.area += part.area;
        whole.center = whole.center + part.area * part.moments.center;
    }
    if (!(sum.area > 0.0)) {
        return {};
    }
    whole.center = whole.center * (1.0 / sum.area);
    for (const GroupSum& part : parts) {
        const Tensor<3, double> shift = part.moments.center - whole.center;
        const Tensor<3, double>& moment0 = part.moments.moment0;
        whole.moment0 = whole.moment0 + moment0;
        for (std::size_t i = 0; i < 3; ++i) {
            for (std::size_t j = 0; j < 3; ++j) {
                whole.moment1[i][j] += part.moments.moment1[i][j] + shift[i] * moment0[j];
            }
        }
    }
    return sum;
}

/// Sums over the subtrees of a mesh, from the leaves up.
class MomentSums {
public:
    MomentSums(const Tree& tree, const std::vector<std::int32_t>& recordOf,
               std::vector<WindingMoments>& records)
        : _tree(tree), _recordOf(recordOf), _records(records)
    {}

    GroupSum sum(std::int32_t index) const
    {
        const Tree::Node& node = nodeAt(index);
        if (node.primitives.size() < MeshMoments::kSmallestGroup) {
            return ofTriangles(node.primitives);
        }
        const GroupSum halves[2] = {sum(node.left), sum(node.right)};
        return keep(index, sumOf(halves));
    }

    /// The same with the subtrees' halves on different threads, as long as `threads` last.
    GroupSum sumInParallel(std::int32_t index, std::int32_t threads) const
    {
        const Tree::Node& node = nodeAt(index);
        if (threads < 2 || node.primitives.size() < MeshMoments::kSmallestGroup) {
            return sum(index);
        }
        GroupSum halves[2];
        parallelLoop({0, 2}, 2, [&](IndexRange range) {
            for (std::int32_t k = range.first; k < range.end; ++k) {
                halves[k] = sumInParallel(k == 0 ? node.left : node.right, threads / 2);
            }
        });
        return keep(index, sumOf(halves));
    }

private:
    const Tree& _tree;
    const std::vector<std::int32_t>& _recordOf;
    std::vector<WindingMoments>& _records;

    const Tree::Node& nodeAt(std::int32_t index) const
    {
        return _tree.nodes[static_cast<std::size_t>(index)];
    }

    GroupSum ofTriangles(std::span<const std::int32_t> triangles) const
    {
        GroupSum parts[MeshMoments::kSmallestGroup - 1];
        for (std::size_t k = 0; k < triangles.size(); ++k) {
            parts[k] = ofTriangle(triangles[k]);
        }
        return triangles.size() == 1 ? parts[0] : sumOf(std::span(parts, triangles.size()));
    }

    GroupSum ofTriangle(std::int32_t triangle) const
    {
        GroupSum sum;
        sum.moments.moment0 =
            areaVector(_tree.vertexOf(triangle, 0), _tree.vertexOf(triangle, 1), _tree.vertexOf(triangle, 2));
        sum.moments.center = centroid(_tree, triangle);
        sum.area = length(sum.moments.moment0);
        return sum;
    }

    GroupSum keep(std::int32_t index, const GroupSum& sum) const
    {
        const std::int32_t place = _recordOf[static_cast<std::size_t>(index)];
        if (place != -1) {
            WindingMoments& record = _records[static_cast<std::size_t>(place)];
            record = sum.moments;
            record.radius = std::sqrt(farthestVertex(index, record.center, 0.0));
        }
        return sum;
    }

    /// The largest squared distance from the centre to a vertex under the node, if it is above `least`. Boxes
    /// that don't reach farther are passed over.
    double farthestVertex(std::int32_t index, const Tensor<3, double>& center, double least) const
    {
        const Tree::Node& node = nodeAt(index);
        if (node.primitives.size() < 2 * MeshMoments::kSmallestGroup) {
            for (const std::int32_t triangle : node.primitives) {
                for (int k = 0; k < 3; ++k) {
                    const Tensor<3, double> d = pointAt(_tree.vertexOf(triangle, k)) - center;
                    least = std::max(least, dot(d, d));
                }
            }
            return least;
        }
        std::pair<double, std::int32_t> halves[2] = {{reach(node.left, center), node.left},
                                                     {reach(node.right, center), node.right}};
        if (halves[0].first < halves[1].first) {
            std::swap(halves[0], halves[1]);
        }
        for (const auto& [farthest, child] : halves) {
            if (farthest > least) {
                least = farthestVertex(child, center, least);
            }
        }
        return least;
    }

    /// Squared distance to the farthest corner of a node's box; no vertex within has more, rounding included.
    double reach(std::int32_t index, const Tensor<3, double>& center) const
    {
        const Tree::Box& box = nodeAt(index).box;
        Tensor<3, double> d;
        for (std::size_t i = 0; i < 3; ++i) {
            d[i] = std::max(center[i] - box.min[i], box.max[i] - center[i]);
        }
        return dot(d, d);
    }
};

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

MeshMoments::MeshMoments(const Tree& tree)
{
    const auto innerCount = static_cast<std::size_t>(tree.primitiveCount) - 1;
    _recordOf.resize(innerCount);
    std::int32_t count = 0;
    for (std::size_t i = 0; i < innerCount; ++i) {
        _recordOf[i] = tree.nodes[i].primitives.size() >= kSmallestGroup ? count++ : -1;
    }
    reserveOnLargePages(_records, static_cast<std::size_t>(count));
    _records.resize(static_cast<std::size_t>(count));
    MomentSums(tree, _recordOf, _records).sumInParallel(0, loopThreads(tree.primitiveCount));
}

std::size_t MeshMoments::bytes() const
{
    return _recordOf.capacity() * sizeof(_recordOf[0]) + _records.capacity() * sizeof(_records[0]);
}

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
