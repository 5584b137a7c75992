#pragma once

#include "core/engine/parallel_loop.h"
#include "core/mesh/search/float8.h"
#include "core/values/large_pages.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

namespace zrk {

/// A box in the coordinates of a search tree.
struct FloatBox {
    float lower[3] = {std::numeric_limits<float>::infinity(), std::numeric_limits<float>::infinity(),
                      std::numeric_limits<float>::infinity()};
    float upper[3] = {-std::numeric_limits<float>::infinity(), -std::numeric_limits<float>::infinity(),
                      -std::numeric_limits<float>::infinity()};

    void include(const FloatBox& other)
    {
        for (int i = 0; i < 3; ++i) {
            lower[i] = std::min(lower[i], other.lower[i]);
            upper[i] = std::max(upper[i], other.upper[i]);
        }
    }
    /// Half of the surface.
    float area() const
    {
        const float x = upper[0] - lower[0];
        const float y = upper[1] - lower[1];
        const float z = upper[2] - lower[2];
        return x * y + y * z + z * x;
    }
};

/// A tree with eight boxes a node over primitives that stand in some spatial order, for searches by
/// distance that test a node's boxes together. It knows boxes and positions in that order only; what stands
/// in a leaf is the caller's.
///
/// Immutable once built; safe to search from many threads at once.
class WideTree {
public:
    struct alignas(32) Node {
        float lower[3][kLanes];
        float upper[3][kLanes];
        /// A node's index, or ~leaf; kNoChild in lanes that aren't used, whose boxes are infinitely far.
        std::int32_t child[kLanes];

        Float8 squaredDistances(const Float8Vector& p) const
        {
            const auto along = [this](int axis, Float8 position) {
                return maximum(Float8(0.0f), maximum(Float8::load(lower[axis]) - position,
                                                     position - Float8::load(upper[axis])));
            };
            const Float8Vector outside{along(0, p.x), along(1, p.y), along(2, p.z)};
            return dot(outside, outside);
        }
    };
    /// Up to kLanes neighbours in the order of the primitives.
    struct Leaf {
        std::int32_t first;
        std::int32_t count;
    };
    static constexpr std::int32_t kNoChild = std::numeric_limits<std::int32_t>::max();
    static bool isLeaf(std::int32_t child) { return child < 0; }
    static std::size_t leafIndex(std::int32_t child) { return static_cast<std::size_t>(~child); }
    static FloatBox boxOf(const Node& node, int lane)
    {
        FloatBox box;
        for (int i = 0; i < 3; ++i) {
            box.lower[i] = node.lower[i][lane];
            box.upper[i] = node.upper[i][lane];
        }
        return box;
    }
    /// The children of a node take its first lanes.
    static int childCount(const Node& node)
    {
        int count = 0;
        while (count < kLanes && node.child[count] != kNoChild) {
            ++count;
        }
        return count;
    }

    /// Hands out the boxes of a range of primitives. Called from several threads at once.
    using Boxes = std::function<void(IndexRange, FloatBox*)>;

    WideTree() = default;
    /// @param count  of primitives; at least one.
    /// @param boxes  a box a primitive, finite. Neighbours in this order, as of Morton codes, come into the
    ///               same leaf. The boxes of a primitive are asked for twice at most.
    /// @param threads  to build on.
    WideTree(std::int32_t count, const Boxes& boxes, std::int32_t threads);

    /// Parents stand before their children; node 0 is the root.
    const LargeArray<Node>& nodes() const { return _nodes; }
    const LargeArray<Leaf>& leaves() const { return _leaves; }
    /// The box around everything below a node.
    FloatBox boxOf(std::size_t node) const;
    std::size_t bytes() const { return _nodes.capacity() * sizeof(Node) + _leaves.capacity() * sizeof(Leaf); }

    /// A leaf near a position: on the way down, always into the nearest box.
    std::size_t leafNear(const Float8Vector& p) const;

    /// Calls visit(leaf index) for the leaves that a nearest primitive could be in. Walks the tree breadth
    /// first, as the processor can work on several nodes that wait, but not on one and its child, at a time;
    /// so the threshold should be close from the beginning.
    ///
    /// @param p          the position.
    /// @param threshold  squared distance beyond which nothing is of interest; finite. The visits lower it.
    /// @param refine     Float8(node index, squared distances to the node's boxes): bounds no smaller than
    ///                   these. Asked of a node that has a child within the threshold.
    template <class Refine, class Visit>
    void search(const Float8Vector& p, const float& threshold, Refine refine, Visit visit) const;

    /// Walks down the tree: open(node index) tells which of a node's children to enter, visit(leaf index) is
    /// called for the leaves among them.
    template <class Open, class Visit>
    void descend(Open open, Visit visit) const;

    /// What the caller says of the subtrees, from the leaves up and on several threads.
    ///
    /// @param ofLeaf  Summary(leaf index, box)
    /// @param ofNode  Summary(node index, span of its children's summaries)
    template <class Summary, class OfLeaf, class OfNode>
    void summarize(const OfLeaf& ofLeaf, const OfNode& ofNode) const;

private:
    static constexpr int kMaxBinaryDepth = 96;
    static constexpr int kMaxPending = (kLanes - 1) * kMaxBinaryDepth + kLanes;

    LargeArray<Node> _nodes;
    LargeArray<Leaf> _leaves;
    /// Nodes whose subtrees, one after the other, follow those that stand above all of them.
    std::vector<std::int32_t> _subtrees;
    std::int32_t _threads = 1; ///< that the tree was built on

    friend class WideTreeBuilder;

    template <class Summary, class OfLeaf, class OfNode>
    Summary summaryOf(std::size_t index, const OfLeaf& ofLeaf, const OfNode& ofNode,
                      const Summary*& ofSubtrees) const;
};

template <class Open, class Visit>
void WideTree::descend(Open open, Visit visit) const
{
    std::int32_t stack[kMaxPending];
    int depth = 0;
    stack[depth++] = 0;
    while (depth > 0) {
        const auto index = static_cast<std::size_t>(stack[--depth]);
        forEachLane(open(index), [&](int lane) {
            const std::int32_t child = _nodes[index].child[lane];
            if (isLeaf(child)) {
                visit(leafIndex(child));
            } else {
                stack[depth++] = child;
            }
        });
    }
}

template <class Summary, class OfLeaf, class OfNode>
void WideTree::summarize(const OfLeaf& ofLeaf, const OfNode& ofNode) const
{
    std::vector<Summary> ofSubtrees(_subtrees.size());
    parallelTasks(static_cast<std::int32_t>(_subtrees.size()), _threads, [&](std::int32_t k) {
        const auto subtree = static_cast<std::size_t>(k);
        const Summary* none = nullptr;
        ofSubtrees[subtree] = summaryOf(static_cast<std::size_t>(_subtrees[subtree]), ofLeaf, ofNode, none);
    });
    const Summary* next = ofSubtrees.data();
    summaryOf(0, ofLeaf, ofNode, next);
}

/// @param ofSubtrees  those that are known, in the order in which the walk comes to them.
template <class Summary, class OfLeaf, class OfNode>
Summary WideTree::summaryOf(std::size_t index, const OfLeaf& ofLeaf, const OfNode& ofNode,
                            const Summary*& ofSubtrees) const
{
    const std::int32_t firstBelow =
        _subtrees.empty() ? std::numeric_limits<std::int32_t>::max() : _subtrees.front();
    const bool isAbove = static_cast<std::int32_t>(index) < firstBelow;
    const Node& node = _nodes[index];
    const int count = childCount(node);
    Summary children[kLanes];
    for (int lane = 0; lane < count; ++lane) {
        const std::int32_t child = node.child[lane];
        if (isLeaf(child)) {
            children[lane] = ofLeaf(leafIndex(child), boxOf(node, lane));
        } else if (isAbove && child >= firstBelow) {
            children[lane] = *ofSubtrees++;
        } else {
            children[lane] = summaryOf(static_cast<std::size_t>(child), ofLeaf, ofNode, ofSubtrees);
        }
    }
    return ofNode(index, std::span<const Summary>(children, static_cast<std::size_t>(count)));
}

template <class Refine, class Visit>
void WideTree::search(const Float8Vector& p, const float& threshold, Refine refine, Visit visit) const
{
    // Beyond so many, the last come first, which bounds their number.
    constexpr int kManyPending = 512;
    std::int32_t pending[kManyPending + kMaxPending + kLanes];
    float bounds[kManyPending + kMaxPending + kLanes];
    pending[0] = 0;
    bounds[0] = 0.0f;
    for (int first = 0, end = 1; first < end;) {
        const int next = end < kManyPending ? first++ : --end;
        const std::int32_t child = pending[next];
        if (!(bounds[next] <= threshold)) {
            continue;
        }
        if (isLeaf(child)) {
            visit(leafIndex(child));
            continue;
        }
        const auto index = static_cast<std::size_t>(child);
        Float8 distances = _nodes[index].squaredDistances(p);
        if (lessOrEqual(distances, threshold) == 0) {
            continue;
        }
        distances = refine(index, distances);
        const Lanes8 near = lessOrEqual(distances, threshold);
        distances.pack(near, bounds + end);
        end += pack(near, _nodes[index].child, pending + end);
    }
}

} // namespace zrk
