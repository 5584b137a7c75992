#include "core/curves/segment_tree.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace zrk {

SegmentTree::SegmentTree(const std::vector<Box3>& boxes, const std::vector<std::int32_t>& pieces)
{
    double largest = 0;
    for (const Box3& box : boxes) {
        for (std::size_t i = 0; i < 3; ++i) {
            largest = std::max({largest, std::abs(box.lower[i]), std::abs(box.upper[i])});
        }
    }
    // What rounding may put outside the box of a piece.
    const double margin = 8 * std::numeric_limits<double>::epsilon() * largest;
    std::vector<Box3> widened = boxes;
    for (Box3& box : widened) {
        box.lower = box.lower - Vector3{margin, margin, margin};
        box.upper = box.upper + Vector3{margin, margin, margin};
    }
    _order.resize(boxes.size());
    std::iota(_order.begin(), _order.end(), 0);
    addNode(widened, 0, static_cast<std::int32_t>(boxes.size()));
    if (!pieces.empty()) {
        for (std::int32_t& box : _order) {
            box = pieces[static_cast<std::size_t>(box)];
        }
    }
}

Box3 SegmentTree::boxAround(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count) const
{
    Box3 around = boxes[static_cast<std::size_t>(_order[static_cast<std::size_t>(first)])];
    for (std::int32_t i = 1; i < count; ++i) {
        around.include(boxes[static_cast<std::size_t>(_order[static_cast<std::size_t>(first + i)])]);
    }
    return around;
}

SegmentTree::Node::Node()
{
    std::fill_n(&lower[0][0], 3 * kWidth, std::numeric_limits<double>::infinity());
    std::fill_n(&upper[0][0], 3 * kWidth, -std::numeric_limits<double>::infinity());
}

/// Puts the first half of a range of `_order` before the second, along the axis on which the boxes' centres
/// spread most.
void SegmentTree::halve(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count)
{
    const auto centre = [&](std::int32_t piece, std::size_t axis) {
        const Box3& box = boxes[static_cast<std::size_t>(piece)];
        return box.lower[axis] / 2 + box.upper[axis] / 2;
    };
    const auto begin = _order.begin() + first;
    Vector3 spread{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto [low, high] =
            std::minmax_element(begin, begin + count, [&](std::int32_t a, std::int32_t b) {
                return centre(a, axis) < centre(b, axis);
            });
        spread[axis] = centre(*high, axis) - centre(*low, axis);
    }
    const auto axis =
        static_cast<std::size_t>(std::max_element(spread.begin(), spread.end()) - spread.begin());
    std::nth_element(begin, begin + count / 2, begin + count,
                     [&](std::int32_t a, std::int32_t b) { return centre(a, axis) < centre(b, axis); });
}

/// A node over a range of `_order`, which is halved until there are eight parts.
std::int32_t SegmentTree::addNode(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count)
{
    std::int32_t starts[kWidth + 1] = {first, first + count};
    for (std::size_t parts = 1; parts < kWidth; parts *= 2) {
        for (std::size_t k = parts; k-- > 0;) {
            const std::int32_t start = starts[k];
            const std::int32_t end = starts[k + 1];
            if (end - start > kLeafPieces) {
                halve(boxes, start, end - start);
            }
            starts[2 * k + 2] = end;
            starts[2 * k + 1] = end - start > kLeafPieces ? start + (end - start) / 2 : end;
            starts[2 * k] = start;
        }
    }
    const auto node = static_cast<std::int32_t>(_nodes.size());
    _nodes.emplace_back();
    for (std::size_t k = 0; k < kWidth; ++k) {
        if (starts[k + 1] > starts[k]) {
            addChild(node, k, boxes, starts[k], starts[k + 1] - starts[k]);
        }
    }
    return node;
}

void SegmentTree::addChild(std::int32_t node, std::size_t lane, const std::vector<Box3>& boxes,
                           std::int32_t first, std::int32_t count)
{
    const Box3 box = boxAround(boxes, first, count);
    const Child child = count <= kLeafPieces ? Child{first, count} : Child{addNode(boxes, first, count), 0};
    Node& parent = _nodes[static_cast<std::size_t>(node)];
    for (std::size_t i = 0; i < 3; ++i) {
        parent.lower[i][lane] = box.lower[i];
        parent.upper[i][lane] = box.upper[i];
    }
    parent.children[lane] = child;
}

} // namespace zrk
