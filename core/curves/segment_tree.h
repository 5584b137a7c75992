#pragma once

#include "core/values/batch.h"
#include "core/values/vector3.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zrk {

/// The pieces of a curve in a hierarchy of boxes, to find those near a position.
///
/// Immutable once built; safe to search from many threads at once.
class SegmentTree {
public:
    SegmentTree() = default;
    /// @param boxes   at least one. What the caller computes as a point of a piece may lie outside its boxes
    ///                by rounding, a few units in the last place of the largest coordinate.
    /// @param pieces  the piece in each box, where a piece has several; empty: one box a piece, in order.
    explicit SegmentTree(const std::vector<Box3>& boxes, const std::vector<std::int32_t>& pieces = {});

    /// Calls visit(piece) for every piece that may be as near to p as `bestSquared`, a squared distance which
    /// the visits lower; in no particular order, some more than once. No piece is left out whose squared
    /// distance, as computed, is at most the final `bestSquared`.
    ///
    /// First the way down by the nearest boxes gives a close bound; the nodes within it then come breadth
    /// first, so that they don't wait for each other.
    template <class Visit>
    void search(const Vector3& p, const double& bestSquared, Visit visit) const
    {
        double bounds[kWidth];
        for (Child next{0, 0}; next.first != kNone;) {
            const Node& node = nodeAt(next);
            squaredBounds(node, p, bounds);
            next = node.children[std::min_element(bounds, bounds + kWidth) - bounds];
            if (next.count > 0) {
                visitAll(next, visit);
                break;
            }
        }

        // Beyond so many, the last come first, which bounds their number.
        constexpr std::size_t kManyPending = 256;
        Pending pending[kManyPending + kMaxDepth * kWidth];
        pending[0] = {0.0, {0, 0}};
        for (std::size_t first = 0, end = 1; first < end;) {
            const Pending top = pending[end < kManyPending ? first++ : --end];
            if (!(top.bound <= bestSquared)) {
                continue;
            }
            if (top.child.count > 0) {
                visitAll(top.child, visit);
                continue;
            }
            const Node& node = nodeAt(top.child);
            squaredBounds(node, p, bounds);
            for (std::size_t k = 0; k < kWidth; ++k) {
                pending[end] = {bounds[k], node.children[k]};
                end += bounds[k] <= bestSquared && node.children[k].first != kNone;
            }
        }
    }

private:
    static constexpr std::int32_t kNone = -1;
    static constexpr std::int32_t kLeafPieces = 4;
    static constexpr std::size_t kWidth = 8;
    static constexpr std::size_t kMaxDepth = 12; // eighths of at most 2^31 pieces

    /// A leaf's pieces, `count` from `first` in `_order`, or the node `first` where count is 0.
    struct Child {
        std::int32_t first = kNone;
        std::int32_t count = 0;
    };
    struct Pending {
        double bound;
        Child child;
    };
    /// Children that aren't there are infinitely far.
    struct alignas(64) Node {
        double lower[3][kWidth];
        double upper[3][kWidth];
        Child children[kWidth];

        Node();
    };

    std::vector<Node> _nodes;
    std::vector<std::int32_t> _order;

    const Node& nodeAt(const Child& child) const { return _nodes[static_cast<std::size_t>(child.first)]; }

    template <class Visit>
    void visitAll(const Child& leaf, Visit& visit) const
    {
        for (std::int32_t i = leaf.first; i < leaf.first + leaf.count; ++i) {
            visit(static_cast<std::size_t>(_order[static_cast<std::size_t>(i)]));
        }
    }

    /// For each child: not above the squared distance, as computed, of any point in its box.
    static void squaredBounds(const Node& node, const Vector3& p, double* bounds)
    {
        constexpr double kRounding = 1 - 1e-14;
        for (std::size_t k = 0; k < kWidth; k += Batch::size) {
            Batch sum = 0.0;
            for (std::size_t i = 0; i < 3; ++i) {
                const Batch below = Batch::loadAligned(node.lower[i] + k) - p[i];
                const Batch above = p[i] - Batch::loadAligned(node.upper[i] + k);
                const Batch outside = maximum(maximum(below, above), Batch(0.0));
                sum = sum + outside * outside;
            }
            (sum * kRounding).store(bounds + k);
        }
    }

    std::int32_t addNode(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count);
    void addChild(std::int32_t node, std::size_t lane, const std::vector<Box3>& boxes, std::int32_t first,
                  std::int32_t count);
    void halve(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count);
    Box3 boxAround(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count) const;
};

} // namespace zrk
