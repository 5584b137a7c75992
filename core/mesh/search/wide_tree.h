#pragma once

#include "core/engine/parallel_loop.h"
#include "core/values/box_tree.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <vector>

namespace zrk {

/// A tree of float boxes over primitives that stand in some spatial order, as that of Morton codes. A leaf
/// holds up to eight primitives that are neighbours in that order. A node stands before those below it.
///
/// Immutable once built; safe to search from many threads at once.
///
/// Source: the surface area heuristic, which weighs a box by its surface as that is what rays, or here balls,
/// hit it by: Goldsmith, Salmon, "Automatic creation of object hierarchies for ray tracing", IEEE Computer
/// Graphics and Applications 7(5), 1987, doi:10.1109/MCG.1987.276983. Eight boxes a node: Wald, Benthin,
/// Boulos, "Getting rid of packets", IEEE Symposium on Interactive Ray Tracing 2008.
class WideTree : public BoxTree<float> {
public:
    /// Writes the boxes of a range of primitives. Called from several threads at once.
    using BoxSource = std::function<void(IndexRange, Box<float>*)>;

    WideTree() = default;
    /// @param count    the number of primitives, at least one.
    /// @param boxes    a finite box for each; asked for at most twice for each primitive.
    /// @param threads  the number of threads to build on.
    WideTree(std::int32_t count, const BoxSource& boxes, std::int32_t threads);

    /// Walks down the tree from the root. open(node index) returns the lanes of those children of a node that
    /// are to be entered; visit(leaf index) is called for the leaves among them.
    template <class Open, class Visit>
    void descend(Open open, Visit visit) const;

    /// Sums something up over each subtree, from the leaves up, on as many threads as built the tree.
    ///
    /// @param ofLeaf  Summary(leaf index, box): that of a leaf.
    /// @param ofNode  Summary(node index, span of its children's summaries): that of a node.
    template <class Summary, class OfLeaf, class OfNode>
    void summarize(const OfLeaf& ofLeaf, const OfNode& ofNode) const;

private:
    /// The roots of the subtrees that were built as tasks of their own. The nodes above all of them come
    /// first in the tree, then the subtrees one after the other.
    std::vector<std::int32_t> _subtrees;
    std::int32_t _threads = 1; ///< the number of threads that the tree was built on

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

/// @param ofSubtrees  the next summary of a root in `_subtrees`; the walk comes to them in that order.
template <class Summary, class OfLeaf, class OfNode>
Summary WideTree::summaryOf(std::size_t index, const OfLeaf& ofLeaf, const OfNode& ofNode,
                            const Summary*& ofSubtrees) const
{
    const std::int32_t firstBelow =
        _subtrees.empty() ? std::numeric_limits<std::int32_t>::max() : _subtrees.front();
    const bool isAbove = static_cast<std::int32_t>(index) < firstBelow;
    stopIfAsked();
    const Node& node = _nodes[index];
    const int count = node.childCount();
    Summary children[kLanes];
    for (int lane = 0; lane < count; ++lane) {
        const std::int32_t child = node.child[lane];
        if (isLeaf(child)) {
            children[lane] = ofLeaf(leafIndex(child), node.box(lane));
        } else if (isAbove && child >= firstBelow) {
            children[lane] = *ofSubtrees++;
        } else {
            children[lane] = summaryOf(static_cast<std::size_t>(child), ofLeaf, ofNode, ofSubtrees);
        }
    }
    return ofNode(index, std::span<const Summary>(children, static_cast<std::size_t>(count)));
}

} // namespace zrk
