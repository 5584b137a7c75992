#include "core/mesh/search/wide_tree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <span>
#include <string>
#include <vector>

namespace zrk {
namespace {

struct NamedBoxes {
    std::string name;
    std::vector<Box<float>> boxes;
};

Box<float> boxAt(float x, float y, float z, float size)
{
    return {{x, y, z}, {x + size, y + size, z + size}};
}

/// Of the number of lanes, of more than the walk lets wait breadth first, and of deep trees.
std::vector<NamedBoxes> boxSets()
{
    std::mt19937 random(5);
    std::uniform_real_distribution<float> coordinate(-1, 1);
    NamedBoxes row{"a row", {}};
    NamedBoxes scattered{"scattered", {}};
    NamedBoxes nested{"smaller and smaller", {}};
    NamedBoxes equal{"all in one place", std::vector<Box<float>>(20000, boxAt(0.25f, 0.5f, 0.75f, 0.01f))};
    for (int k = 0; k < 9; ++k) {
        row.boxes.push_back(boxAt(0.2f * static_cast<float>(k) - 0.9f, 0.0f, 0.0f, 0.1f));
    }
    for (int k = 0; k < 30000; ++k) {
        scattered.boxes.push_back(boxAt(coordinate(random), coordinate(random), coordinate(random), 1e-3f));
    }
    for (int k = 0; k < 3000; ++k) {
        const float size = std::ldexp(1.0f, -k / 24);
        nested.boxes.push_back(boxAt(size, -size, size, size));
    }
    NamedBoxes helix{"a helix", {}};
    for (int k = 0; k < 20000; ++k) {
        const float t = 0.01f * static_cast<float>(k);
        helix.boxes.push_back(boxAt(std::cos(t), std::sin(t), 0.01f * t - 1.0f, 0.01f));
    }
    return {helix, row, scattered, nested, equal, {"one", {boxAt(0.5f, 0.5f, 0.5f, 0.25f)}}};
}

WideTree treeOver(const NamedBoxes& set, std::int32_t threads = 3)
{
    return WideTree(
        static_cast<std::int32_t>(set.boxes.size()),
        [&set](IndexRange range, Box<float>* boxes) {
            std::copy(set.boxes.begin() + range.first, set.boxes.begin() + range.end, boxes);
        },
        threads);
}

/// The squared distance that the tree has of a leaf's box, or of one box in it.
float squaredDistance(const Box<float>& box, const Tensor<3, float>& p)
{
    EightBoxes<float> boxes;
    boxes.set(0, box);
    float distances[kLanes];
    boxes.squaredDistances(p).store(distances);
    return distances[0];
}

float squaredDistance(const NamedBoxes& set, const WideTree::Leaf& leaf, const Tensor<3, float>& p,
                      bool toAll)
{
    Box<float> around;
    float least = std::numeric_limits<float>::max();
    for (std::int32_t k = leaf.first; k < leaf.first + leaf.count; ++k) {
        const Box<float>& box = set.boxes[static_cast<std::size_t>(k)];
        around.include(box);
        least = std::min(least, squaredDistance(box, p));
    }
    return toAll ? squaredDistance(around, p) : least;
}

const auto unrefined = [](std::size_t, Float8 distances) { return distances; };

struct Subtree {
    std::int32_t primitives = 0;
    Box<float> box;
};

// Fails for a subtree of another thread put in the wrong place, and for boxes too small or too large.
TEST(WideTree, SumsUpItsSubtreesOnAnyNumberOfThreads)
{
    for (const NamedBoxes& set : boxSets()) {
        for (const std::int32_t threads : {1, 3}) {
            SCOPED_TRACE(set.name + " on " + std::to_string(threads));
            const WideTree tree = treeOver(set, threads);
            std::int32_t next = 0;
            for (const WideTree::Leaf& leaf : tree.leaves()) {
                ASSERT_EQ(leaf.first, next);
                next += leaf.count;
            }
            std::vector<Subtree> found(tree.nodes().size());
            std::vector<int> visits(tree.nodes().size(), 0);
            tree.summarize<Subtree>(
                [&](std::size_t leaf, const Box<float>& box) {
                    return Subtree{tree.leaves()[leaf].count, box};
                },
                [&](std::size_t node, std::span<const Subtree> parts) {
                    ++visits[node];
                    for (const Subtree& part : parts) {
                        found[node].primitives += part.primitives;
                        found[node].box.include(part.box);
                    }
                    return found[node];
                });
            ASSERT_EQ(found[0].primitives, static_cast<std::int32_t>(set.boxes.size()));
            for (std::size_t node = 0; node < visits.size(); ++node) {
                ASSERT_EQ(visits[node], 1);
                ASSERT_EQ(found[node].box.halfArea(), tree.boxOf(node).halfArea());
            }
        }
    }
}

// Fails for a child lost or taken twice, in particular when the walk has too many nodes waiting.
TEST(WideTree, VisitsEachLeafWithinTheThresholdOnce)
{
    for (const NamedBoxes& set : boxSets()) {
        const WideTree tree = treeOver(set);
        for (const float threshold : {0.0f, 0.01f, 0.5f, 100.0f}) {
            SCOPED_TRACE(set.name + " within " + std::to_string(threshold));
            const Tensor<3, float> p{0.3f, -0.2f, 0.1f};
            std::vector<int> visits(tree.leaves().size(), 0);
            tree.search(p, threshold, unrefined, [&](std::size_t leaf) { ++visits[leaf]; });
            for (std::size_t leaf = 0; leaf < visits.size(); ++leaf) {
                const bool isNear = squaredDistance(set, tree.leaves()[leaf], p, true) <= threshold;
                ASSERT_EQ(visits[leaf], isNear ? 1 : 0) << "leaf " << leaf;
            }
        }
    }
}

TEST(WideTree, FindsTheNearestWhileVisitsLowerTheThreshold)
{
    std::mt19937 random(6);
    std::uniform_real_distribution<float> coordinate(-2, 2);
    for (const NamedBoxes& set : boxSets()) {
        SCOPED_TRACE(set.name);
        const WideTree tree = treeOver(set);
        for (int k = 0; k < 50; ++k) {
            const Tensor<3, float> p{coordinate(random), coordinate(random), coordinate(random)};
            float nearest = 100.0f;
            std::size_t visits = 0;
            tree.search(p, nearest, unrefined, [&](std::size_t leaf) {
                nearest = std::min(nearest, squaredDistance(set, tree.leaves()[leaf], p, false));
                ++visits;
            });
            float expected = 100.0f;
            for (const Box<float>& box : set.boxes) {
                expected = std::min(expected, squaredDistance(box, p));
            }
            ASSERT_EQ(nearest, expected);
            ASSERT_LE(visits, tree.leaves().size());
        }
    }
}

// No result of a search tells how near the leaf is.
TEST(WideTree, HasALeafNearAPosition)
{
    std::mt19937 random(7);
    std::uniform_real_distribution<float> coordinate(-1, 1);
    const NamedBoxes helix = boxSets().front();
    const WideTree tree = treeOver(helix);
    float excess = 0.0f;
    constexpr int kPoints = 200;
    for (int k = 0; k < kPoints; ++k) {
        const Tensor<3, float> p{coordinate(random), coordinate(random), coordinate(random)};
        float nearest = 100.0f;
        for (const Box<float>& box : helix.boxes) {
            nearest = std::min(nearest, squaredDistance(box, p));
        }
        const WideTree::Leaf& leaf = tree.leaves()[tree.leafNear(p)];
        excess += std::sqrt(squaredDistance(helix, leaf, p, false)) - std::sqrt(nearest);
    }
    // The mean of a leaf taken by chance is 1.1.
    EXPECT_LT(excess / kPoints, 0.05f);
}

} // namespace
} // namespace zrk
