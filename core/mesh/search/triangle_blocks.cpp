#include "core/mesh/search/triangle_blocks.h"

#include "core/values/stop.h"

#include <algorithm>

namespace zrk {

namespace {

using Hierarchy = BVH<double, 3, 3>;

/// Rounding of a coordinate in the unit box, and some more.
constexpr float kRounding = 1.2e-7f;

/// Triangles whose height is below a thirtieth of their longest edge.
constexpr double kFlatness = 1e-3;

Box<float> localBox(const Box<double>& box, const LocalFrame& frame)
{
    Box<float> local{frame.toLocal(box.min), frame.toLocal(box.max)};
    for (std::size_t i = 0; i < 3; ++i) {
        local.min[i] -= kRounding;
        local.max[i] += kRounding;
    }
    return local;
}

/// The triangles of a leaf in double, in the coordinates of the search.
struct LeafTriangles {
    double corner[3][kLanes];
    double edges[2][3][kLanes];

    LeafTriangles(const Hierarchy& hierarchy, const LocalFrame& frame, const WideTree::Leaf& leaf)
    {
        const double* corners[3][kLanes];
        for (int lane = 0; lane < kLanes; ++lane) {
            const std::int32_t position = leaf.first + std::min(lane, leaf.count - 1);
            hierarchy.prefetch(position, hierarchy.primitiveCount);
            const std::int32_t triangle = hierarchy.sortedPrimitives()[static_cast<std::size_t>(position)];
            for (int k = 0; k < 3; ++k) {
                corners[k][lane] = hierarchy.vertexOf(triangle, k);
            }
        }
        for (std::size_t i = 0; i < 3; ++i) {
            for (int lane = 0; lane < kLanes; ++lane) {
                corner[i][lane] = frame.toLocal(i, corners[0][lane][i]);
                edges[0][i][lane] = frame.toLocal(i, corners[1][lane][i]) - corner[i][lane];
                edges[1][i][lane] = frame.toLocal(i, corners[2][lane][i]) - corner[i][lane];
            }
        }
    }

    /// The lanes whose distance in float differs from the one by the formula in double by more than the
    /// margin: in float because edges almost coincide, in double because the square of the area is cut off.
    std::uint8_t slivers(double scale) const
    {
        const double leastArea = 1e-28 * (scale * scale * scale * scale);
        unsigned lanes = 0;
        for (int lane = 0; lane < kLanes; ++lane) {
            const auto edge = [&](int k) {
                return Tensor<3, double>{edges[k][0][lane], edges[k][1][lane], edges[k][2][lane]};
            };
            const Tensor<3, double> e2 = edge(1) - edge(0);
            const Tensor<3, double> normal = cross(edge(0), edge(1));
            const double longest = std::max({dot(edge(0), edge(0)), dot(edge(1), edge(1)), dot(e2, e2)});
            const double squaredArea = dot(normal, normal); // of the parallelogram
            const bool isReliable =
                squaredArea > kFlatness * longest * longest && longest > 1e-16 && squaredArea > leastArea;
            lanes |= isReliable ? 0u : 1u << lane;
        }
        return static_cast<std::uint8_t>(lanes);
    }

    void store(TriangleBlock& block) const
    {
        for (int i = 0; i < 3; ++i) {
            for (int lane = 0; lane < kLanes; ++lane) {
                block.corner[i][lane] = static_cast<float>(corner[i][lane]);
                block.edges[0][i][lane] = static_cast<float>(edges[0][i][lane]);
                block.edges[1][i][lane] = static_cast<float>(edges[1][i][lane]);
            }
        }
    }
};

} // namespace

TriangleBlocks::TriangleBlocks(const Hierarchy& hierarchy, const LocalFrame& localFrame) : frame(localFrame)
{
    const std::int32_t count = hierarchy.primitiveCount;
    const std::int32_t threads = buildThreads(count);
    const Hierarchy::Node* const leafNodes = hierarchy.nodes.data() + (count - 1);
    tree = WideTree(
        count,
        [&](IndexRange range, Box<float>* boxes) {
            for (std::int32_t k = range.first; k < range.end; ++k) {
                boxes[k - range.first] = localBox(leafNodes[k].box, frame);
            }
        },
        threads);

    blocks.resize(tree.leaves().size());
    slivers.resize(blocks.size());
    const auto leafCount = static_cast<std::int32_t>(blocks.size());
    const std::int32_t parts = taskCount(leafCount, threads);
    parallelTasks(parts, threads, [&](std::int32_t part) {
        const IndexRange range = chunkOf({0, leafCount}, parts, part);
        StopLookout lookout;
        for (std::int32_t k = range.first; k < range.end; ++k) {
            lookout.step();
            const auto leaf = static_cast<std::size_t>(k);
            const LeafTriangles triangles(hierarchy, frame, tree.leaves()[leaf]);
            triangles.store(blocks[leaf]);
            slivers[leaf] = triangles.slivers(frame.scale());
        }
    });
}

Float8 TriangleBlock::squaredDistances(const Float8Vector& p) const
{
    const Float8Vector fromA = p - Float8Vector::load(corner);
    const Float8Vector ab = Float8Vector::load(edges[0]);
    const Float8Vector ac = Float8Vector::load(edges[1]);
    const Float8 abab = dot(ab, ab);
    const Float8 acac = dot(ac, ac);
    const Float8 abac = dot(ab, ac);
    const Float8 alongAB = dot(ab, fromA);
    const Float8 alongAC = dot(ac, fromA);
    const Float8 zero = 0.0f;
    const Float8 one = 1.0f;

    const auto squaredDistanceToEdge = [&](const Float8Vector& from, const Float8Vector& edge, Float8 along,
                                           Float8 squaredLength) {
        const Float8 t = minimum(maximum(along / squaredLength, zero), one);
        const Float8Vector r = minusScaled(from, t, edge);
        return dot(r, r);
    };
    const Float8Vector bc = ac - ab;
    const Float8Vector fromB = fromA - ab;
    const Float8 toEdges = minimum(squaredDistanceToEdge(fromA, ab, alongAB, abab),
                                   minimum(squaredDistanceToEdge(fromA, ac, alongAC, acac),
                                           squaredDistanceToEdge(fromB, bc, dot(bc, fromB), dot(bc, bc))));

    // Barycentric coordinates of b and c, times the square of the doubled area.
    const Float8 v = acac * alongAB - abac * alongAC;
    const Float8 w = abab * alongAC - abac * alongAB;
    const Float8Vector normal = cross(ab, ac);
    const Float8 squaredArea = dot(normal, normal);
    const Float8 height = dot(normal, fromA);
    // Over the inside where none of the three is negative.
    const Float8 least = minimum(minimum(v, w), squaredArea - v - w);
    return selectLessOrEqual(zero, least, height * height / squaredArea, toEdges);
}

} // namespace zrk
