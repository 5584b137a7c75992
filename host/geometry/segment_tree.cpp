#include "host/geometry/segment_tree.h"

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
    _nodes.reserve(boxes.size() / 2 + 1);
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

/// A node over a range of `_order`, halved where the boxes' centres spread most.
std::int32_t SegmentTree::addNode(const std::vector<Box3>& boxes, std::int32_t first, std::int32_t count)
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
    const std::int32_t half = count / 2;
    std::nth_element(begin, begin + half, begin + count,
                     [&](std::int32_t a, std::int32_t b) { return centre(a, axis) < centre(b, axis); });

    const auto node = static_cast<std::int32_t>(_nodes.size());
    _nodes.emplace_back();
    const std::pair<std::int32_t, std::int32_t> halves[2] = {{first, half}, {first + half, count - half}};
    for (std::size_t side = 0; side < 2; ++side) {
        const auto [start, length] = halves[side];
        if (length > 0) {
            const Box3 box = boxAround(boxes, start, length);
            const Child child = addChild(boxes, start, length);
            _nodes[static_cast<std::size_t>(node)].boxes[side] = box;
            _nodes[static_cast<std::size_t>(node)].children[side] = child;
        }
    }
    return node;
}

SegmentTree::Child SegmentTree::addChild(const std::vector<Box3>& boxes, std::int32_t first,
                                         std::int32_t count)
{
    if (count <= kLeafPieces) {
        return {first, count};
    }
    return {addNode(boxes, first, count), 0};
}

} // namespace zrk
