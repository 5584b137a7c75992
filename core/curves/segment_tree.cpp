#include "core/curves/segment_tree.h"

#include "core/values/stop.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace zrk {

namespace {

constexpr std::int32_t kLeafPieces = 4;

} // namespace

SegmentTree::SegmentTree(std::vector<Box<double>> boxes, const std::vector<std::int32_t>& pieces)
{
    StopLookout lookout;
    double largest = 0;
    for (const Box<double>& box : boxes) {
        lookout.step();
        for (std::size_t i = 0; i < 3; ++i) {
            largest = std::max({largest, std::abs(box.min[i]), std::abs(box.max[i])});
        }
    }
    // What rounding may put outside the box of a piece.
    const double margin = 8 * std::numeric_limits<double>::epsilon() * largest;
    for (Box<double>& box : boxes) {
        lookout.step();
        box.min = box.min - Vector3{margin, margin, margin};
        box.max = box.max + Vector3{margin, margin, margin};
    }
    _order.resize(boxes.size());
    std::iota(_order.begin(), _order.end(), 0);
    addNode(boxes, 0, static_cast<std::int32_t>(boxes.size()));
    if (!pieces.empty()) {
        for (std::int32_t& box : _order) {
            box = pieces[static_cast<std::size_t>(box)];
        }
    }
}

Box<double> SegmentTree::boxAround(const std::vector<Box<double>>& boxes, std::int32_t first,
                                   std::int32_t count) const
{
    Box<double> around;
    for (std::int32_t i = 0; i < count; ++i) {
        around.include(boxes[static_cast<std::size_t>(_order[static_cast<std::size_t>(first + i)])]);
    }
    return around;
}

/// Puts the first half of a range of `_order` before the second, along the axis on which the boxes' centres
/// spread most.
void SegmentTree::halve(const std::vector<Box<double>>& boxes, std::int32_t first, std::int32_t count)
{
    const auto centre = [&](std::int32_t piece, std::size_t axis) {
        const Box<double>& box = boxes[static_cast<std::size_t>(piece)];
        return box.min[axis] / 2 + box.max[axis] / 2;
    };
    const auto begin = _order.begin() + first;
    Vector3 spread{};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        double low = std::numeric_limits<double>::infinity();
        double high = -low;
        inPieces(std::int32_t{0}, count, [&](std::int32_t from, std::int32_t to) {
            for (std::int32_t i = from; i < to; ++i) {
                const double at = centre(begin[i], axis);
                low = std::min(low, at);
                high = std::max(high, at);
            }
        });
        spread[axis] = high - low;
    }
    const auto axis =
        static_cast<std::size_t>(std::max_element(spread.begin(), spread.end()) - spread.begin());
    const auto isBefore = [&](std::int32_t a, std::int32_t b) { return centre(a, axis) < centre(b, axis); };
    constexpr std::int32_t kMany = 1 << 18; // take some milliseconds
    if (count > kMany) {
        StopLookout lookout;
        std::nth_element(begin, begin + count / 2, begin + count, [&](std::int32_t a, std::int32_t b) {
            lookout.step();
            return isBefore(a, b);
        });
    } else {
        stopIfAsked();
        std::nth_element(begin, begin + count / 2, begin + count, isBefore);
    }
}

/// A node over a range of `_order`, which is halved until there are eight parts.
std::int32_t SegmentTree::addNode(const std::vector<Box<double>>& boxes, std::int32_t first,
                                  std::int32_t count)
{
    std::int32_t starts[kLanes + 1] = {first, first + count};
    for (std::size_t parts = 1; parts < kLanes; parts *= 2) {
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
    const auto index = static_cast<std::int32_t>(_nodes.size());
    _nodes.push_back(Node());
    int lane = 0;
    for (std::size_t k = 0; k < kLanes; ++k) {
        const std::int32_t start = starts[k];
        const std::int32_t size = starts[k + 1] - start;
        if (size == 0) {
            continue;
        }
        std::int32_t child = 0;
        if (size <= kLeafPieces) {
            child = ~static_cast<std::int32_t>(_leaves.size());
            _leaves.push_back({start, size});
        } else {
            child = addNode(boxes, start, size);
        }
        Node& node = _nodes[static_cast<std::size_t>(index)];
        node.set(lane, boxAround(boxes, start, size));
        node.child[lane++] = child;
    }
    return index;
}

} // namespace zrk
