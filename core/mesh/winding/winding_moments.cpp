#include "core/mesh/winding/winding_moments.h"

#include "core/values/batch.h"
#include "core/values/stop.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace zrk {

namespace {

using Tree = BVH<double, 3, 3>;
using Point = Tensor<3, double>;

/// The moments of a group that isn't complete yet. The fourth components are there to make whole vectors
/// and mean nothing.
struct alignas(32) GroupSum {
    using Vector = Tensor<4, double>;

    Vector center{};
    Vector moment0{};
    Vector moment1[3] = {};
    double area = 0.0;
};

void sumTriangle(const Point& a, const Point& b, const Point& c, GroupSum& triangle)
{
    const Point center = (a + b + c) * (1.0 / 3.0);
    const Point areaVector = 0.5 * cross(b - a, c - a);
    triangle.center = {center[0], center[1], center[2], 0.0};
    triangle.moment0 = {areaVector[0], areaVector[1], areaVector[2], 0.0};
    triangle.area = length(areaVector);
}

/// Adds groups up, to a sum of zero.
void sumUp(std::span<const GroupSum> parts, GroupSum& sum)
{
    double area = 0.0;
    GroupSum::Vector center{};
    for (const GroupSum& part : parts) {
        area += part.area;
        center = center + part.area * part.center;
    }
    if (!(area > 0.0)) {
        return;
    }
    center = center * (1.0 / area);
    GroupSum::Vector moment0{};
    GroupSum::Vector moment1[3] = {};
    for (const GroupSum& part : parts) {
        const GroupSum::Vector shift = part.center - center;
        moment0 = moment0 + part.moment0;
        for (std::size_t i = 0; i < 3; ++i) {
            moment1[i] = moment1[i] + (part.moment1[i] + shift[i] * part.moment0);
        }
    }
    sum.center = center;
    sum.moment0 = moment0;
    std::copy_n(moment1, 3, sum.moment1);
    sum.area = area;
}

/// The triangles of a subtree that fits into the nearest cache, and their sums.
class TriangleRun {
public:
    static constexpr std::int32_t kMaxCount = 256;

    /// @param group  positions in the hierarchy's order.
    void load(const Tree& tree, IndexRange group)
    {
        _first = group.first;
        for (std::int32_t position = group.first; position < group.end; ++position) {
            tree.prefetch(position, tree.primitiveCount);
            const std::int32_t triangle = tree.sortedPrimitives()[static_cast<std::size_t>(position)];
            const auto t = static_cast<std::size_t>(position - group.first);
            Point corners[3];
            for (std::size_t k = 0; k < 3; ++k) {
                corners[k] = pointAt(tree.vertexOf(triangle, static_cast<int>(k)));
                for (std::size_t i = 0; i < 3; ++i) {
                    _coordinates[i][3 * t + k] = corners[k][i];
                }
            }
            sumTriangle(corners[0], corners[1], corners[2], _sums[t]);
        }
    }

    /// The sums of a part of the triangles.
    std::span<const GroupSum> sums(IndexRange group) const
    {
        return {_sums + (group.first - _first), static_cast<std::size_t>(group.count())};
    }

    /// The largest squared distance from the centre to a corner of a group's triangles.
    double farthestCorner(IndexRange group, const double* center) const
    {
        static_assert(Batch::size <= 3 * MeshMoments::kSmallestGroup);
        const std::size_t begin = 3 * static_cast<std::size_t>(group.first - _first);
        const std::size_t end = 3 * static_cast<std::size_t>(group.end - _first);
        Batch farthest = 0.0;
        for (std::size_t k = begin; k < end; k += Batch::size) {
            const Batch d = squaredDistances(std::min(k, end - Batch::size), center);
            farthest = select(d > farthest, d, farthest); // a NaN is never the farthest
        }
        double lanes[Batch::size];
        farthest.store(lanes);
        return *std::max_element(lanes, lanes + Batch::size);
    }

private:
    std::int32_t _first = 0;
    double _coordinates[3][3 * kMaxCount];
    GroupSum _sums[kMaxCount];

    Batch squaredDistances(std::size_t corner, const double* center) const
    {
        Batch d[3];
        for (std::size_t i = 0; i < 3; ++i) {
            d[i] = Batch::load(_coordinates[i] + corner) - center[i];
        }
        return d[0] * d[0] + d[1] * d[1] + d[2] * d[2];
    }
};

/// Sums over the subtrees of a mesh, from the leaves up.
class MomentSums {
public:
    /// @param splits    for each inner node the last position of its first half.
    /// @param groupOf  for each inner node its place in `groups`.
    MomentSums(const Tree& tree, const LargeArray<std::int32_t>& splits,
               const LargeArray<std::int32_t>& groupOf, LargeArray<FarGroup>& groups)
        : _tree(tree), _splits(splits), _groupOf(groupOf), _groups(groups)
    {}

    /// All sums, on several threads.
    void run()
    {
        constexpr std::int32_t kTasksPerThread = 16;
        const std::int32_t count = _tree.primitiveCount;
        const std::int32_t threads = buildThreads(count);
        _taskSize = std::max(count / (kTasksPerThread * threads), TriangleRun::kMaxCount);
        const Subtree root{0, {0, count}};
        listTasks(root);
        _taskSums.resize(_tasks.size());
        parallelTasks(static_cast<std::int32_t>(_tasks.size()), threads, [this](std::int32_t task) {
            TriangleRun run;
            const auto k = static_cast<std::size_t>(task);
            sum(_tasks[k], run, _taskSums[k]);
        });
        std::size_t nextTask = 0;
        sumOfTasks(root, nextTask);
    }

private:
    /// A node, which is an inner one if there are several triangles.
    struct Subtree {
        std::int32_t node;
        IndexRange positions;
    };

    const Tree& _tree;
    const LargeArray<std::int32_t>& _splits;
    const LargeArray<std::int32_t>& _groupOf;
    LargeArray<FarGroup>& _groups;
    std::int32_t _taskSize = 0;
    std::vector<Subtree> _tasks; ///< from left to right
    std::vector<GroupSum> _taskSums;

    Subtree firstHalf(const Subtree& whole) const
    {
        const std::int32_t split = _splits[static_cast<std::size_t>(whole.node)];
        return {split, {whole.positions.first, split + 1}};
    }
    Subtree secondHalf(const Subtree& whole) const
    {
        const std::int32_t split = _splits[static_cast<std::size_t>(whole.node)];
        return {split + 1, {split + 1, whole.positions.end}};
    }

    void listTasks(const Subtree& subtree)
    {
        if (subtree.positions.count() <= _taskSize) {
            _tasks.push_back(subtree);
        } else {
            listTasks(firstHalf(subtree));
            listTasks(secondHalf(subtree));
        }
    }

    GroupSum sumOfTasks(const Subtree& subtree, std::size_t& nextTask)
    {
        if (subtree.positions.count() <= _taskSize) {
            return _taskSums[nextTask++];
        }
        GroupSum halves[2];
        halves[0] = sumOfTasks(firstHalf(subtree), nextTask);
        halves[1] = sumOfTasks(secondHalf(subtree), nextTask);
        GroupSum whole;
        sumUpLarge(subtree.node, halves, whole);
        return whole;
    }

    void sum(const Subtree& subtree, TriangleRun& run, GroupSum& whole) const
    {
        if (subtree.positions.count() <= TriangleRun::kMaxCount) {
            stopIfAsked();
            run.load(_tree, subtree.positions);
            sumInRun(subtree, run, whole);
        } else {
            GroupSum halves[2];
            sum(firstHalf(subtree), run, halves[0]);
            sum(secondHalf(subtree), run, halves[1]);
            sumUpLarge(subtree.node, halves, whole);
        }
    }

    /// The same for a subtree whose triangles are loaded.
    void sumInRun(const Subtree& subtree, const TriangleRun& run, GroupSum& whole) const
    {
        const std::span<const GroupSum> triangles = run.sums(subtree.positions);
        if (triangles.size() == 1) {
            whole = triangles[0];
        } else if (triangles.size() < MeshMoments::kSmallestGroup) {
            sumUp(triangles, whole);
        } else {
            GroupSum halves[2];
            sumInRun(firstHalf(subtree), run, halves[0]);
            sumInRun(secondHalf(subtree), run, halves[1]);
            sumUp(halves, whole);
            keep(subtree.node, whole, run.farthestCorner(subtree.positions, whole.center.begin()));
        }
    }

    void sumUpLarge(std::int32_t index, const GroupSum (&halves)[2], GroupSum& whole) const
    {
        sumUp(halves, whole);
        const Point center{whole.center[0], whole.center[1], whole.center[2]};
        const std::optional<double> ofAll = index == 0 ? farthestOfAll(center) : std::nullopt;
        keep(index, whole, ofAll ? *ofAll : farthestVertex(index, center, 0.0));
    }

    /// The largest squared distance from the centre to any vertex, if that one belongs to a triangle. No box
    /// can be passed over where a mesh is much like a sphere.
    std::optional<double> farthestOfAll(const Point& center) const
    {
        double largest = 0.0;
        std::int32_t farthest = -1;
        StopLookout lookout;
        for (std::int32_t v = 0; v < _tree.vertexCount; ++v) {
            lookout.step();
            const Point d = pointAt(_tree.vertices + std::ptrdiff_t{3} * v) - center;
            const double square = dot(d, d);
            if (square > largest) {
                largest = square;
                farthest = v;
            }
        }
        const std::int32_t* const end = _tree.indices + std::ptrdiff_t{3} * _tree.primitiveCount;
        return std::find(_tree.indices, end, farthest) != end ? std::optional(largest) : std::nullopt;
    }

    void keep(std::int32_t index, const GroupSum& sum, double squaredRadius) const
    {
        const std::int32_t place = _groupOf[static_cast<std::size_t>(index)];
        FarGroup& group = _groups[static_cast<std::size_t>(place)];
        group.radius = std::sqrt(squaredRadius);
        std::copy_n(sum.center.begin(), 3, group.center.begin());
        std::copy_n(sum.moment0.begin(), 3, group.moment0.begin());
        for (std::size_t i = 0; i < 3; ++i) {
            std::copy_n(sum.moment1[i].begin(), 3, group.moment1[i]);
        }
    }

    const Tree::Node& nodeAt(std::int32_t index) const
    {
        return _tree.nodes[static_cast<std::size_t>(index)];
    }

    /// The largest squared distance from the centre to a vertex under the node, if it is above `least`. Boxes
    /// that don't reach farther are passed over.
    double farthestVertex(std::int32_t index, const Tensor<3, double>& center, double least) const
    {
        constexpr std::size_t kFewTriangles = 16;
        const Tree::Node& node = nodeAt(index);
        if (node.primitives.size() <= kFewTriangles) {
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

} // namespace

MeshMoments::MeshMoments(const Tree& tree)
{
    LargeArray<std::int32_t> splits;
    numberGroups(tree, splits);
    MomentSums(tree, splits, _groupOf, _groups).run();
}

/// Looks through the inner nodes for those with an expansion, and on the same way for their splits.
void MeshMoments::numberGroups(const Tree& tree, LargeArray<std::int32_t>& splits)
{
    const std::int32_t innerCount = tree.primitiveCount - 1;
    const std::int32_t threads = buildThreads(innerCount);
    splits.resize(static_cast<std::size_t>(innerCount));
    _groupOf.resize(static_cast<std::size_t>(innerCount));
    std::vector<std::int32_t> counts(static_cast<std::size_t>(threads), 0);
    const auto forEachChunk = [&](auto work) {
        parallelLoop({0, threads}, threads, [&](IndexRange chunks) {
            for (std::int32_t k = chunks.first; k < chunks.end; ++k) {
                std::int32_t count = counts[static_cast<std::size_t>(k)];
                const IndexRange chunk = chunkOf({0, innerCount}, threads, k);
                inPieces(chunk.first, chunk.end, [&](std::int32_t first, std::int32_t end) {
                    for (std::int32_t i = first; i < end; ++i) {
                        work(static_cast<std::size_t>(i), count);
                    }
                });
                counts[static_cast<std::size_t>(k)] = count;
            }
        });
    };
    forEachChunk([&](std::size_t index, std::int32_t& count) {
        const Tree::Node& node = tree.nodes[index];
        _groupOf[index] = node.primitives.size() >= kSmallestGroup ? count++ : -1;
        splits[index] = node.left < innerCount ? node.left : node.left - innerCount;
    });
    std::int32_t total = 0;
    for (std::int32_t& count : counts) {
        total += std::exchange(count, total);
    }
    forEachChunk([&](std::size_t index, std::int32_t before) {
        _groupOf[index] += _groupOf[index] != -1 ? before : 0;
    });
    _groups.resize(static_cast<std::size_t>(total));
}

WindingMoments MeshMoments::record(const Tree& tree, std::int32_t index) const
{
    WindingMoments record;
    const std::int32_t innerCount = tree.primitiveCount - 1;
    const auto cornersOf = [&tree](std::int32_t triangle) {
        return std::array<Point, 3>{pointAt(tree.vertexOf(triangle, 0)), pointAt(tree.vertexOf(triangle, 1)),
                                    pointAt(tree.vertexOf(triangle, 2))};
    };
    const auto copySum = [&record](const GroupSum& sum) {
        std::copy_n(sum.center.begin(), 3, record.center.begin());
        std::copy_n(sum.moment0.begin(), 3, record.moment0.begin());
        for (std::size_t i = 0; i < 3; ++i) {
            std::copy_n(sum.moment1[i].begin(), 3, record.moment1[i]);
        }
        record.area = sum.area;
    };
    if (index >= innerCount) {
        const auto [a, b, c] = cornersOf(index - innerCount);
        GroupSum triangle;
        sumTriangle(a, b, c, triangle);
        copySum(triangle);
        record.normal = std::exchange(record.moment0, {});
        normalize(record.normal);
        record.isLeaf = true;
        return record;
    }
    const std::span<const std::int32_t> triangles = tree.nodes[static_cast<std::size_t>(index)].primitives;
    std::vector<GroupSum> parts(triangles.size());
    for (std::size_t k = 0; k < parts.size(); ++k) {
        const auto [a, b, c] = cornersOf(triangles[k]);
        sumTriangle(a, b, c, parts[k]);
    }
    GroupSum sum;
    sumUp(parts, sum);
    copySum(sum);
    if (triangles.size() >= kSmallestGroup) {
        const FarGroup& group = groupOf(index);
        record.center = group.center;
        record.radius = group.radius;
        record.moment0 = group.moment0;
        for (std::size_t i = 0; i < 3; ++i) {
            std::copy_n(group.moment1[i], 3, record.moment1[i]);
        }
        return record;
    }
    for (const std::int32_t triangle : triangles) {
        for (const Point& corner : cornersOf(triangle)) {
            record.radius = std::max(record.radius, length(corner - record.center));
        }
    }
    return record;
}

std::size_t MeshMoments::bytes() const
{
    return _groupOf.capacity() * sizeof(_groupOf[0]) + _groups.capacity() * sizeof(_groups[0]);
}

} // namespace zrk
