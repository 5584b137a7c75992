#pragma once

#include "core/values/box_tree.h"
#include "core/values/vector3.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk {

/// The pieces of a curve in a tree of boxes, to find those near a position.
///
/// Immutable once built; safe to search from many threads at once.
class SegmentTree : BoxTree<double> {
public:
    SegmentTree() = default;
    /// @param boxes   at least one. What the caller computes as a point of a piece may lie outside its boxes
    ///                by rounding, a few units in the last place of the largest coordinate.
    /// @param pieces  the piece in each box, where a piece has several; empty: one box a piece, in order.
    explicit SegmentTree(std::vector<Box<double>> boxes, const std::vector<std::int32_t>& pieces = {});

    /// Calls visit(piece) for every piece that may be as near to p as `bestSquared`, a squared distance which
    /// the visits lower; in no particular order, some more than once. No piece is left out whose squared
    /// distance, as computed, is at most the final `bestSquared`.
    template <class Visit>
    void search(const Vector3& p, const double& bestSquared, Visit visit) const
    {
        const auto visitLeaf = [&](std::size_t leaf) {
            const Leaf& pieces = _leaves[leaf];
            for (std::int32_t i = pieces.first; i < pieces.first + pieces.count; ++i) {
                visit(static_cast<std::size_t>(_order[static_cast<std::size_t>(i)]));
            }
        };
        visitLeaf(leafNear(p)); // for a close bound
        BoxTree::search(
            p, bestSquared, [](std::size_t, const Lanes& distances) { return distances; }, visitLeaf);
    }

private:
    /// The pieces, leaf after leaf.
    std::vector<std::int32_t> _order;

    std::int32_t addNode(const std::vector<Box<double>>& boxes, std::int32_t first, std::int32_t count);
    void halve(const std::vector<Box<double>>& boxes, std::int32_t first, std::int32_t count);
    Box<double> boxAround(const std::vector<Box<double>>& boxes, std::int32_t first,
                          std::int32_t count) const;
};

} // namespace zrk
