#include "core/mesh/search/bvh.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <numeric>
#include <random>

namespace zrk {
namespace {

using TriangleTree = BVH<double, 3, 3>;

struct Soup {
    std::vector<double> vertices;
    std::vector<std::int32_t> indices;

    TriangleTree tree() const
    {
        return {vertices.data(), static_cast<std::int32_t>(vertices.size()), indices.data(),
                static_cast<std::int32_t>(indices.size())};
    }
};

/// Triangles with corners on a lattice of `steps` cells, so that small numbers give many equal codes.
Soup randomSoup(std::int32_t count, int steps, unsigned seed)
{
    Soup soup;
    std::mt19937 random(seed);
    std::uniform_int_distribution<int> coordinate(0, steps);
    for (std::int32_t i = 0; i < 3 * count; ++i) {
        for (int c = 0; c < 3; ++c) {
            soup.vertices.push_back(coordinate(random) / static_cast<double>(steps));
        }
        soup.indices.push_back(i);
    }
    return soup;
}

/// The published construction, node by node, by binary searches for range and split.
class BinarySearchTree {
public:
    explicit BinarySearchTree(const LargeArray<MortonCode>& codes) : _codes(codes) {}

    int delta(std::int64_t i, std::int64_t j) const
    {
        if (j < 0 || j >= count()) {
            return 0;
        }
        const std::uint64_t a = _codes[static_cast<std::size_t>(i)].code;
        const std::uint64_t b = _codes[static_cast<std::size_t>(j)].code;
        return a != b ? std::countl_zero(a ^ b) : 64 + std::countl_zero(static_cast<std::uint64_t>(i ^ j));
    }

    struct Split {
        std::int64_t first, last, split;
    };
    Split node(std::int64_t i) const
    {
        const int d = delta(i, i + 1) > delta(i, i - 1) ? 1 : -1;
        const int least = delta(i, i - d);
        std::int64_t length = 2;
        while (delta(i, i + length * d) > least) {
            length *= 2;
        }
        std::int64_t s = 0;
        for (std::int64_t t = length / 2; t >= 1; t /= 2) {
            if (delta(i, i + (s + t) * d) > least) {
                s += t;
            }
        }
        const std::int64_t j = i + s * d;
        const int shared = delta(i, j);
        const double range = static_cast<double>((j - i) / d);
        s = 0;
        for (double divisor = 2;; divisor *= 2) {
            const auto t = static_cast<std::int64_t>(std::ceil(range / divisor));
            if (delta(i, i + (s + t) * d) > shared) {
                s += t;
            }
            if (t == 1) {
                break;
            }
        }
        return {std::min(i, j), std::max(i, j), i + s * d + std::min(d, 0)};
    }
    std::int64_t count() const { return static_cast<std::int64_t>(_codes.size()); }

private:
    const LargeArray<MortonCode>& _codes;
};

void expectSameTree(TriangleTree& tree)
{
    const BinarySearchTree reference(tree.codes);
    tree.buildHierarchy();
    const std::int64_t n = tree.primitiveCount;
    ASSERT_EQ(static_cast<std::int64_t>(tree.nodes.size()), 2 * n - 1);
    ASSERT_TRUE(std::is_sorted(tree.codes.begin(), tree.codes.end(), [](const auto& a, const auto& b) {
        return std::pair(a.code, a.primitive) < std::pair(b.code, b.primitive);
    }));
    EXPECT_EQ(tree.nodes[0].parent, -1);
    for (std::int64_t i = 0; i < n - 1; ++i) {
        const auto expected = reference.node(i);
        const TriangleTree::Node& node = tree.nodes[static_cast<std::size_t>(i)];
        const std::int64_t g = expected.split;
        ASSERT_EQ(node.left, expected.first == g ? n - 1 + g : g) << "node " << i;
        ASSERT_EQ(node.right, expected.last == g + 1 ? n + g : g + 1) << "node " << i;
        EXPECT_FALSE(node.isLeaf);
        TriangleTree::Box box;
        for (const std::int32_t child : {node.left, node.right}) {
            EXPECT_EQ(tree.nodes[static_cast<std::size_t>(child)].parent, i);
        }
        ASSERT_EQ(static_cast<std::int64_t>(node.primitives.size()), expected.last - expected.first + 1);
        for (std::size_t k = 0; k < node.primitives.size(); ++k) {
            ASSERT_EQ(node.primitives[k], tree.codes[static_cast<std::size_t>(expected.first) + k].primitive);
            box.include(tree.boxOf(node.primitives[k]));
        }
        for (int c = 0; c < 3; ++c) {
            EXPECT_EQ(node.box.min[c], box.min[c]);
            EXPECT_EQ(node.box.max[c], box.max[c]);
        }
    }
    for (std::int64_t k = 0; k < n; ++k) {
        const TriangleTree::Node& leaf = tree.nodes[static_cast<std::size_t>(n - 1 + k)];
        EXPECT_TRUE(leaf.isLeaf);
        ASSERT_EQ(leaf.primitives.size(), 1u);
        EXPECT_EQ(leaf.primitives[0], tree.codes[static_cast<std::size_t>(k)].primitive);
    }
}

TEST(MortonCodes, InterleaveTheirBits)
{
    EXPECT_EQ(interleave(1, 0, 0), 1u);
    EXPECT_EQ(interleave(0, 1, 0), 2u);
    EXPECT_EQ(interleave(0, 0, 1), 4u);
    EXPECT_EQ(interleave(255, 0, 0), 0x249249u);
    EXPECT_EQ(interleave(0, 0x100, 0), std::uint64_t{2} << 24);
    EXPECT_EQ(interleave(0x1fffff, 0x1fffff, 0x1fffff), ~std::uint64_t{0} >> 1);
    EXPECT_EQ(mortonCell(0.0, 0.0), 0u);
    EXPECT_EQ(mortonCell(1.0, 1.0), 2097151u);
    EXPECT_EQ(mortonCell(NAN, 1.0), 0u);
}

// The tree is built from the leaves up, in parallel from some thousands of primitives on, and must be the
// one that the searches for ranges and splits give.
TEST(Hierarchy, IsTheBinaryRadixTree)
{
    struct Case {
        std::int32_t count;
        int steps;
    };
    for (const Case& c : {Case{2, 4},
                          {3, 1},
                          {5, 1 << 20},
                          {100, 1},
                          {257, 8},
                          {1000, 3},
                          {1000, 1 << 20},
                          {20000, 1 << 20},
                          {20000, 6}}) {
        SCOPED_TRACE(::testing::Message() << c.count << " triangles, " << c.steps << " steps");
        const Soup soup = randomSoup(c.count, c.steps, 7);
        TriangleTree tree = soup.tree();
        expectSameTree(tree);
    }
}

TEST(Hierarchy, SortsCodesThatShareTheirUpperBits)
{
    // One far triangle squeezes all others into a few cells.
    Soup soup = randomSoup(5000, 1 << 20, 3);
    for (double& c : soup.vertices) {
        c *= 1e-4;
    }
    for (std::int32_t k = 0; k < 3; ++k) {
        soup.indices.push_back(static_cast<std::int32_t>(soup.vertices.size() / 3));
        soup.vertices.insert(soup.vertices.end(), {1.0, 1.0, 1.0});
    }
    TriangleTree tree = soup.tree();
    expectSameTree(tree);
}

TEST(Hierarchy, OfPlanarAndOfEqualTriangles)
{
    Soup flat = randomSoup(50, 1 << 20, 5);
    for (std::size_t i = 2; i < flat.vertices.size(); i += 3) {
        flat.vertices[i] = 0.5;
    }
    TriangleTree planar = flat.tree();
    for (const MortonCode& code : planar.codes) {
        EXPECT_EQ(code.code & 0x4924924924924924u, 0u);
    }
    expectSameTree(planar);

    Soup equal = randomSoup(1, 8, 5);
    for (int k = 0; k < 9; ++k) {
        equal.indices.insert(equal.indices.end(), {0, 1, 2});
    }
    TriangleTree same = equal.tree();
    expectSameTree(same);
}

TEST(Hierarchy, OfOnePrimitiveAndOfNone)
{
    const Soup one = randomSoup(1, 8, 1);
    TriangleTree tree = one.tree();
    tree.buildHierarchy();
    ASSERT_EQ(tree.nodes.size(), 1u);
    EXPECT_TRUE(tree.nodes[0].isLeaf);
    EXPECT_EQ(tree.nodes[0].parent, -1);
    EXPECT_EQ(tree.nodes[0].primitives[0], 0);
    EXPECT_THROW(TriangleTree(one.vertices.data(), 9, one.indices.data(), 0), std::invalid_argument);
    EXPECT_THROW(TriangleTree(one.vertices.data(), 9, one.indices.data(), 2), std::invalid_argument);
}

TEST(Hierarchy, OfSegmentsWithBoundsOfTheirOwn)
{
    const std::vector<double> vertices{0, 0, 0, 1, 0, 0, 0, 2, 0};
    const std::vector<std::int32_t> indices{0, 1, 1, 2, 2, 0};
    const auto bounds = [&](std::int32_t primitive, double* a, double* b) {
        for (int c = 0; c < 3; ++c) {
            a[c] = primitive + 1.0; // either corner may be the upper one
            b[c] = -1.0 * primitive;
        }
    };
    BVH<double, 2, 3> tree(vertices.data(), 9, indices.data(), 6, bounds);
    tree.buildHierarchy();
    EXPECT_EQ(tree.vertexCount, 3);
    EXPECT_EQ(tree.primitiveCount, 3);
    for (int c = 0; c < 3; ++c) {
        EXPECT_EQ(tree.bounds.min[c], -2.0);
        EXPECT_EQ(tree.bounds.max[c], 3.0);
        EXPECT_EQ(tree.nodes[0].box.max[c], 3.0);
    }
}

TEST(Hierarchy, TraversesDepthFirstAndSkipsWhatItIsTold)
{
    const Soup soup = randomSoup(40, 1 << 20, 9);
    TriangleTree tree = soup.tree();
    tree.buildHierarchy();

    LargeArray<std::int32_t> leaves;
    tree.traverse(0, [&](std::int32_t, bool isLeaf, const auto&, std::span<const std::int32_t> primitives) {
        if (isLeaf) {
            leaves.push_back(primitives[0]);
        }
        return true;
    });
    EXPECT_EQ(leaves, tree.sortedPrimitives());

    int visits = 0;
    const std::int32_t skipped = tree.nodes[0].left;
    tree.traverse(0, [&](std::int32_t node, bool, const auto&, auto) {
        ++visits;
        return node != skipped;
    });
    EXPECT_EQ(visits,
              1 + 1 +
                  2 * static_cast<int>(
                          tree.nodes[static_cast<std::size_t>(tree.nodes[0].right)].primitives.size()) -
                  1);
    visits = 0;
    tree.traverse(tree.primitiveCount, [&](auto&&...) {
        ++visits;
        return true;
    });
    EXPECT_EQ(visits, 1);
}

double distanceToTriangle(const TriangleTree& tree, std::int32_t t, const double* p)
{
    double closest[3];
    return closestPointOnTriangle(p, tree.vertexOf(t, 0), tree.vertexOf(t, 1), tree.vertexOf(t, 2), closest);
}

TEST(Hierarchy, FindsTheNearestPrimitiveOfAll)
{
    std::mt19937 random(21);
    std::uniform_real_distribution<double> coordinate(-1.0, 2.0);
    for (const std::int32_t count : {1, 2, 7, 300}) {
        const Soup soup = randomSoup(count, 1 << 20, 13);
        TriangleTree tree = soup.tree();
        tree.buildHierarchy();
        for (int i = 0; i < 300; ++i) {
            const double p[3] = {coordinate(random), coordinate(random), coordinate(random)};
            double nearest = 1e300;
            for (std::int32_t t = 0; t < count; ++t) {
                nearest = std::min(nearest, distanceToTriangle(tree, t, p));
            }
            double distance;
            const std::int32_t found =
                tree.closestPrimitive([&](std::int32_t t, const double* point,
                                          double*) { return distanceToTriangle(tree, t, point); },
                                      p, distance);
            ASSERT_EQ(distance, nearest);
            ASSERT_EQ(distanceToTriangle(tree, found, p), nearest);
        }
    }
}

// A signed distance: the search stops by the square of the depth. And NaN is never the nearest.
TEST(Hierarchy, TakesSignedDistancesAndNaN)
{
    const Soup soup = randomSoup(3, 1 << 20, 17);
    TriangleTree tree = soup.tree();
    tree.buildHierarchy();
    const double p[3] = {0.5, 0.5, 0.5};
    double distance;
    const double depths[] = {NAN, -10.0, -20.0};
    tree.closestPrimitive([&](std::int32_t t, auto...) { return depths[t]; }, p, distance);
    EXPECT_EQ(distance, -20.0);
    EXPECT_EQ(tree.closestPrimitive([](auto...) { return NAN; }, p, distance), -1);
    EXPECT_EQ(distance, 1.7976931348623157e308);
}

TEST(ParallelLoop, GivesTheFirstChunksOneMore)
{
    for (const std::int32_t count : {1, 2, 3, 10, 11}) {
        std::int32_t next = 5;
        for (std::int32_t k = 0; k < 4; ++k) {
            const IndexRange chunk = chunkOf({5, 5 + count}, 4, k);
            EXPECT_EQ(chunk.first, next);
            EXPECT_EQ(chunk.count(), count / 4 + (k < count % 4 ? 1 : 0));
            next = chunk.end;
        }
        std::vector<int> visited(static_cast<std::size_t>(count), 0);
        parallelLoop({5, 5 + count}, 4, [&](IndexRange range) {
            for (std::int32_t i = range.first; i < range.end; ++i) {
                ++visited[static_cast<std::size_t>(i - 5)];
            }
        });
        EXPECT_EQ(visited, std::vector<int>(static_cast<std::size_t>(count), 1));
    }
    EXPECT_THROW(parallelLoop({0, 2}, 2, [](IndexRange r) { r.first == 1 ? throw 1 : 0; }), int);
}

} // namespace
} // namespace zrk
