#include "mesh/wide_tree.h"

#include "frame/engine/parallel_loop.h"
#include "frame/values/large_pages.h"

#include <algorithm>

namespace zrk {

void FloatBox::include(const FloatBox& other)
{
    for (int i = 0; i < 3; ++i) {
        lower[i] = std::min(lower[i], other.lower[i]);
        upper[i] = std::max(upper[i], other.upper[i]);
    }
}

float FloatBox::area() const
{
    const float x = upper[0] - lower[0];
    const float y = upper[1] - lower[1];
    const float z = upper[2] - lower[2];
    return x * y + y * z + z * x;
}

namespace {

/// Cost of a leaf for its own sake, in areas of a primitive's box: what full leaves are worth.
constexpr float kLeafCost = 8.0f;

/// Binary levels that go by area; below them ranges are halved, which bounds the depth.
constexpr int kDeepestByArea = 60;

/// Cuts a run of primitives into leaves of least total area.
void cutIntoLeaves(std::span<const FloatBox> boxes, IndexRange range, float leafCost,
                   std::vector<WideTree::Leaf>& leaves)
{
    struct Step {
        float cost;
        std::int32_t count; ///< of the last leaf, when the run ends here
    };
    std::vector<Step> steps(static_cast<std::size_t>(range.count()) + 1);
    steps[0] = {0.0f, 0};
    for (std::int32_t end = 1; end <= range.count(); ++end) {
        FloatBox box;
        Step best{std::numeric_limits<float>::infinity(), 1};
        for (std::int32_t count = 1; count <= std::min(end, kLanes); ++count) {
            const std::int32_t before = end - count;
            box.include(boxes[static_cast<std::size_t>(range.first + before)]);
            const float cost = steps[static_cast<std::size_t>(before)].cost + box.area() + leafCost;
            if (cost < best.cost) {
                best = {cost, count};
            }
        }
        steps[static_cast<std::size_t>(end)] = best;
        // Costs are compared over a few steps only; kept small, they stay exact.
        if (end % 1024 == 0) {
            for (std::int32_t k = std::max(0, end - kLanes); k <= end; ++k) {
                steps[static_cast<std::size_t>(k)].cost -= best.cost;
            }
        }
    }
    const std::size_t firstLeaf = leaves.size();
    for (std::int32_t end = range.count(); end > 0;) {
        const std::int32_t count = steps[static_cast<std::size_t>(end)].count;
        end -= count;
        leaves.push_back({range.first + end, count});
    }
    std::reverse(leaves.begin() + static_cast<std::ptrdiff_t>(firstLeaf), leaves.end());
}

} // namespace

/// Builds a binary tree over the leaves by the surface area heuristic, whose splits are between neighbours,
/// and takes eight of its nodes at a time.
class WideTreeBuilder {
public:
    WideTreeBuilder(std::span<const FloatBox> boxes, WideTree& tree) : _tree(tree)
    {
        makeLeaves(boxes);
        const auto count = static_cast<std::int32_t>(_boxes.size());
        reserveOnLargePages(_binary, 2 * _boxes.size());
        _areas.resize(_boxes.size());
        split({0, count}, 0);
        _tree._nodes.reserve(_boxes.size() / 4 + 1);
        collapse(0);
    }

private:
    struct Binary {
        FloatBox box;
        std::int32_t left; ///< the leaf where `right` is -1
        std::int32_t right;
        std::int32_t leafCount;
    };

    WideTree& _tree;
    std::vector<FloatBox> _boxes; ///< of the leaves
    std::vector<float> _areas;
    std::vector<Binary> _binary;

    void makeLeaves(std::span<const FloatBox> boxes)
    {
        const auto count = static_cast<std::int32_t>(boxes.size());
        double area = 0.0;
        for (const FloatBox& box : boxes) {
            area += box.area();
        }
        const float leafCost = kLeafCost * static_cast<float>(area / count);
        const std::int32_t threads = loopThreads(count);
        std::vector<std::vector<WideTree::Leaf>> parts(static_cast<std::size_t>(threads));
        parallelLoop({0, threads}, threads, [&](IndexRange chunks) {
            for (std::int32_t k = chunks.first; k < chunks.end; ++k) {
                cutIntoLeaves(boxes, chunkOf({0, count}, threads, k), leafCost,
                              parts[static_cast<std::size_t>(k)]);
            }
        });
        for (const std::vector<WideTree::Leaf>& part : parts) {
            _tree._leaves.insert(_tree._leaves.end(), part.begin(), part.end());
        }
        for (const WideTree::Leaf& leaf : _tree._leaves) {
            FloatBox box;
            for (std::int32_t k = 0; k < leaf.count; ++k) {
                box.include(boxes[static_cast<std::size_t>(leaf.first + k)]);
            }
            _boxes.push_back(box);
        }
    }

    std::int32_t split(IndexRange leaves, int depth)
    {
        const auto index = static_cast<std::int32_t>(_binary.size());
        _binary.emplace_back();
        if (leaves.count() == 1) {
            _binary.back() = {_boxes[static_cast<std::size_t>(leaves.first)], leaves.first, -1, 1};
            return index;
        }
        const std::int32_t middle =
            depth < kDeepestByArea ? bestSplit(leaves) : leaves.first + leaves.count() / 2;
        const std::int32_t left = split({leaves.first, middle}, depth + 1);
        const std::int32_t right = split({middle, leaves.end}, depth + 1);
        Binary& node = _binary[static_cast<std::size_t>(index)];
        node.left = left;
        node.right = right;
        node.leafCount = leaves.count();
        node.box = _binary[static_cast<std::size_t>(left)].box;
        node.box.include(_binary[static_cast<std::size_t>(right)].box);
        return index;
    }

    /// Where the sum over both sides of area times number of leaves is least. Near the leaves, whole nodes
    /// are cut off.
    std::int32_t bestSplit(IndexRange leaves)
    {
        const std::int32_t step = leaves.count() <= kLanes            ? 1
                                  : leaves.count() <= kLanes * kLanes ? kLanes
                                                                      : 1;
        FloatBox box;
        for (std::int32_t k = leaves.end - 1; k > leaves.first; --k) {
            box.include(_boxes[static_cast<std::size_t>(k)]);
            _areas[static_cast<std::size_t>(k)] = box.area();
        }
        box = FloatBox();
        float best = std::numeric_limits<float>::infinity();
        std::int32_t middle = leaves.first + leaves.count() / 2;
        for (std::int32_t k = leaves.first + 1; k < leaves.end; ++k) {
            box.include(_boxes[static_cast<std::size_t>(k - 1)]);
            const float cost = box.area() * static_cast<float>(k - leaves.first) +
                               _areas[static_cast<std::size_t>(k)] * static_cast<float>(leaves.end - k);
            if (cost < best && (k - leaves.first) % step == 0) {
                best = cost;
                middle = k;
            }
        }
        return middle;
    }

    std::int32_t collapse(std::int32_t root)
    {
        std::int32_t slots[kLanes] = {root};
        int used = 1;
        while (used < kLanes) {
            int widest = -1;
            for (int k = 0; k < used; ++k) {
                // What fits into one node stays together, but for the root of this one.
                if (binary(slots[k]).leafCount > (binary(root).leafCount > kLanes ? kLanes : 1) &&
                    (widest == -1 || binary(slots[k]).box.area() > binary(slots[widest]).box.area())) {
                    widest = k;
                }
            }
            if (widest == -1) {
                break;
            }
            const Binary& opened = binary(slots[widest]);
            slots[widest] = opened.left;
            slots[used++] = opened.right;
        }
        const auto index = static_cast<std::int32_t>(_tree._nodes.size());
        _tree._nodes.emplace_back();
        for (int k = 0; k < kLanes; ++k) {
            fill(static_cast<std::size_t>(index), k, k < used ? slots[k] : -1);
        }
        return index;
    }

    void fill(std::size_t node, int lane, std::int32_t slot)
    {
        std::int32_t child = WideTree::kNoChild;
        FloatBox box;
        if (slot != -1) {
            box = binary(slot).box;
            child = binary(slot).right == -1 ? ~binary(slot).left : collapse(slot);
        }
        WideTree::Node& wide = _tree._nodes[node];
        for (int i = 0; i < 3; ++i) {
            wide.lower[i][lane] = box.lower[i];
            wide.upper[i][lane] = box.upper[i];
        }
        wide.child[lane] = child;
    }

    const Binary& binary(std::int32_t index) const { return _binary[static_cast<std::size_t>(index)]; }
};

WideTree::WideTree(std::span<const FloatBox> boxes)
{
    WideTreeBuilder(boxes, *this);
    _nodes.shrink_to_fit();
    _leaves.shrink_to_fit();
}

std::size_t WideTree::leafNear(const Float8Vector& p) const
{
    std::int32_t child = 0;
    while (!isLeaf(child)) {
        const Node& node = _nodes[static_cast<std::size_t>(child)];
        child = node.child[leastLane(node.squaredDistances(p))];
    }
    return leafIndex(child);
}

} // namespace zrk
