#pragma once

#include "host/geometry/vector3.h"

#include <cstddef>
#include <cstdint>
#include <utility>
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
    /// the visits lower; nearer boxes first, otherwise in no told order, some more than once. No piece is left out whose squared
    /// distance, as computed, is at most the final `bestSquared`.
    template <class Visit>
    void search(const Vector3& p, const double& bestSquared, Visit visit) const
    {
        struct Pending {
            double bound;
            std::int32_t node;
        };
        Pending stack[kMaxDepth];
        std::size_t depth = 0;
        std::int32_t current = 0;
        while (true) {
            const Node& node = _nodes[static_cast<std::size_t>(current)];
            double bounds[2] = {squaredBound(node.boxes[0], p), squaredBound(node.boxes[1], p)};
            const std::size_t near = bounds[1] < bounds[0] ? 1 : 0;
            const std::size_t far = 1 - near;
            std::int32_t next = kNone;
            for (const std::size_t side : {near, far}) {
                if (!(bounds[side] <= bestSquared)) {
                    continue;
                }
                const Child& child = node.children[side];
                if (child.count > 0) {
                    for (std::int32_t i = child.first; i < child.first + child.count; ++i) {
                        visit(static_cast<std::size_t>(_order[static_cast<std::size_t>(i)]));
                    }
                } else if (child.first != kNone && next == kNone) {
                    next = child.first;
                } else if (child.first != kNone) {
                    stack[depth++] = {bounds[side], child.first};
                }
            }
            while (next == kNone && depth > 0) {
                const Pending& top = stack[--depth];
                next = top.bound <= bestSquared ? top.node : kNone;
            }
            if (next == kNone) {
                return;
            }
            current = next;
        }
    }

private:
    static constexpr std::int32_t kNone = -1;
    static constexpr std::int32_t kLeafPieces = 4;
    static constexpr std::size_t kMaxDepth = 40; // halves of at most 2^31 pieces

    /// A leaf's pieces, `count` from `first` in `_order`, or the node `first` where count is 0.
    struct Child {
        std::int32_t first = kNone;
        std::int32_t count = 0;
    };
    struct Node {
        Box3 boxes[2];
        Child children[2];
    };

    std::vector<Node> _nodes;
    std::vector<std::int32_t> _order;

    /// Not above the squared distance, as computed, of any point in the box.
    static double squaredBound(const Box3& box, const Vector3& p)
    {
        constexpr double kRounding = 1 - 1e-14;
        double sum = 0;
        for (std::size_t i = 0; i < 3; ++i) {
            const double below = box.lower[i] - p[i];
            const double above = p[i] - box.upper[i];
            const double outside = below > above ? below : above;
            sum += outside > 0 ? outside * outside : 0;
        }
        return sum * kRounding;
    }

    std::int32_t addNode(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count);
    Child addChild(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count);
    Box3 boxAround(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count) const;
};

} // namespace zrk
