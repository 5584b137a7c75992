#include "core/mesh/search/wide_tree.h"

#include "core/values/stop.h"

#include <utility>

namespace zrk {

namespace {

/// The cost of one more leaf, in mean areas of the primitives' boxes. The larger it is, the fuller are the
/// leaves.
constexpr float kLeafCost = 8.0f;

/// The number of primitives that are cut into leaves together.
constexpr std::int32_t kRun = 1024;

/// Down to this depth parts are split where the surface area heuristic says; below it they are halved, which
/// bounds the depth of the tree.
constexpr int kDeepestByArea = 60;

/// Neighbouring leaves and their boxes.
struct LeafRow {
    std::vector<WideTree::Leaf> leaves;
    std::vector<Box<float>> boxes;

    void add(const WideTree::Leaf& leaf, std::span<const Box<float>> boxesInside)
    {
        Box<float> box;
        for (const Box<float>& inside : boxesInside) {
            box.include(inside);
        }
        leaves.push_back(leaf);
        boxes.push_back(box);
    }
};

/// Finds the cheapest way to cut a run of boxes into leaves of one to eight neighbours, box after box, by
/// dynamic programming: the cheapest way to cut the run up to a box ends with a leaf of k boxes, before which
/// stands the cheapest way to cut the rest. The eight values of k are the eight lanes.
class LeafCut {
public:
    explicit LeafCut(float leafCost) : _leafCost(leafCost) {}

    /// @return the number of boxes in the last leaf if the run ends with this box.
    std::int32_t add(const Box<float>& box)
    {
        constexpr float kInfinity = std::numeric_limits<float>::infinity();
        Float8 extents[3];
        for (std::size_t i = 0; i < 3; ++i) {
            _lower[i] = minimum(shiftedUp(_lower[i], kInfinity), box.min[i]);
            _upper[i] = maximum(shiftedUp(_upper[i], -kInfinity), box.max[i]);
            extents[i] = _upper[i] - _lower[i];
        }
        const Float8 areas = fma(extents[0], extents[1] + extents[2], extents[1] * extents[2]);
        _costs = shiftedUp(_costs, _cost);
        const Float8 costs = _costs + (areas + _leafCost);
        _cost = -largestLane(Float8(0.0f) - costs);
        const Lanes8 best = lessOrEqual(costs, _cost);
        return best != 0 ? 1 + __builtin_ctz(best) : 1;
    }

private:
    float _leafCost;
    float _cost = 0.0f; ///< of the run up to the last box
    // Lane k holds the cost of the run without its last k + 1 boxes, and the box around these.
    Float8 _costs = std::numeric_limits<float>::infinity();
    Float8 _lower[3] = {0.0f, 0.0f, 0.0f};
    Float8 _upper[3] = {0.0f, 0.0f, 0.0f};
};

/// Cuts a run of primitives, the first of which is `first`, into leaves of the least total cost.
void cutIntoLeaves(std::span<const Box<float>> boxes, std::int32_t first, float leafCost, LeafRow& row)
{
    std::int32_t counts[kRun + 1]; // of the last leaf when the run ends here
    LeafCut cut(leafCost);
    const auto boxCount = static_cast<std::int32_t>(boxes.size());
    for (std::int32_t end = 1; end <= boxCount; ++end) {
        counts[end] = cut.add(boxes[static_cast<std::size_t>(end - 1)]);
    }
    std::int32_t ends[kRun];
    std::int32_t leafCount = 0;
    for (std::int32_t end = boxCount; end > 0; end -= counts[end]) {
        ends[leafCount++] = end;
    }
    while (leafCount-- > 0) {
        const std::int32_t end = ends[leafCount];
        const std::int32_t count = counts[end];
        row.add({first + end - count, count},
                boxes.subspan(static_cast<std::size_t>(end - count), static_cast<std::size_t>(count)));
    }
}

} // namespace

/// Builds the tree from the root down. The row of leaves is split by the surface area heuristic until there
/// are eight parts, which become the children of a node, and so on for each part.
class WideTreeBuilder {
public:
    WideTreeBuilder(std::int32_t count, const WideTree::BoxSource& boxes, WideTree& tree) : _tree(tree)
    {
        makeLeaves(count, boxes);
        makeNodes();
    }

private:
    /// Neighbouring leaves, and how many splits led to them.
    struct Part {
        IndexRange leaves;
        Box<float> box;
        int depth;
    };
    /// A subtree that is built on its own, and where it belongs.
    struct Task {
        Part whole;
        std::size_t parent;
        int lane;
        std::vector<WideTree::Node> nodes;
    };

    WideTree& _tree;
    LargeArray<Box<float>> _boxes; ///< of the leaves
    LargeArray<Box<float>> _after; ///< while a part is split: the box around its leaves from each one on
    std::int32_t _taskSize = 0;
    std::vector<Task> _tasks;

    void makeLeaves(std::int32_t count, const WideTree::BoxSource& boxes)
    {
        const float leafCost = kLeafCost * meanArea(count, boxes);
        const std::int32_t runs = (count + kRun - 1) / kRun;
        const std::int32_t parts = taskCount(runs, _tree._threads);
        std::vector<LeafRow> rows(static_cast<std::size_t>(parts));
        parallelTasks(parts, _tree._threads, [&](std::int32_t k) {
            Box<float> ofRun[kRun];
            LeafRow row; // grows away from the other threads' rows
            const IndexRange part = chunkOf({0, runs}, parts, k);
            for (std::int32_t run = part.first; run < part.end; ++run) {
                stopIfAsked();
                const IndexRange range{run * kRun, std::min(count, (run + 1) * kRun)};
                boxes(range, ofRun);
                cutIntoLeaves({ofRun, static_cast<std::size_t>(range.count())}, range.first, leafCost, row);
            }
            rows[static_cast<std::size_t>(k)] = std::move(row);
        });
        std::size_t leafCount = 0;
        for (const LeafRow& row : rows) {
            leafCount += row.leaves.size();
        }
        _tree._leaves.reserve(leafCount);
        _boxes.reserve(leafCount);
        for (const LeafRow& row : rows) {
            _tree._leaves.insert(_tree._leaves.end(), row.leaves.begin(), row.leaves.end());
            _boxes.insert(_boxes.end(), row.boxes.begin(), row.boxes.end());
        }
    }

    /// The mean area of the primitives' boxes, from about a thousand of them.
    static float meanArea(std::int32_t count, const WideTree::BoxSource& boxes)
    {
        const std::int32_t stride = count / 1024 + 1;
        float sum = 0.0f;
        std::int32_t samples = 0;
        for (std::int32_t k = 0; k < count; k += stride) {
            Box<float> box;
            boxes({k, k + 1}, &box);
            sum += box.halfArea();
            ++samples;
        }
        return sum / static_cast<float>(samples);
    }

    void makeNodes()
    {
        constexpr std::int32_t kTasksPerThread = 16;
        const auto count = static_cast<std::int32_t>(_boxes.size());
        _after.resize(_boxes.size());
        _taskSize = _tree._threads == 1 ? 0 : count / (kTasksPerThread * _tree._threads);
        Box<float> box;
        for (const Box<float>& leaf : _boxes) {
            box.include(leaf);
        }
        std::vector<WideTree::Node> nodes;
        addNode({{0, count}, box, 0}, nodes, &_tasks);
        parallelTasks(static_cast<std::int32_t>(_tasks.size()), _tree._threads, [this](std::int32_t k) {
            Task& task = _tasks[static_cast<std::size_t>(k)];
            addNode(task.whole, task.nodes, nullptr);
        });
        joinTasks(nodes);
    }

    /// Puts the nodes of all tasks behind those at the top of the tree.
    void joinTasks(std::vector<WideTree::Node>& top)
    {
        std::size_t count = top.size();
        for (const Task& task : _tasks) {
            top[task.parent].child[task.lane] = static_cast<std::int32_t>(count);
            _tree._subtrees.push_back(static_cast<std::int32_t>(count));
            count += task.nodes.size();
        }
        _tree._nodes.reserve(count);
        _tree._nodes.insert(_tree._nodes.end(), top.begin(), top.end());
        for (Task& task : _tasks) {
            const auto first = static_cast<std::int32_t>(_tree._nodes.size());
            for (WideTree::Node& node : task.nodes) {
                for (std::int32_t& child : node.child) {
                    child += WideTree::isLeaf(child) || child == WideTree::kNoChild ? 0 : first;
                }
            }
            _tree._nodes.insert(_tree._nodes.end(), task.nodes.begin(), task.nodes.end());
        }
    }

    /// Adds a node over the leaves of a part, and all nodes below it. Where `tasks` isn't null, small
    /// subtrees are added to it instead, to be built later.
    /// @return the index of the node.
    std::int32_t addNode(const Part& whole, std::vector<WideTree::Node>& nodes, std::vector<Task>* tasks)
    {
        Part parts[kLanes];
        const int count = split(whole, parts);
        const std::size_t index = nodes.size();
        nodes.emplace_back();
        for (int lane = 0; lane < kLanes; ++lane) {
            const Part& part = parts[lane];
            std::int32_t child = WideTree::kNoChild;
            if (lane < count && part.leaves.count() == 1) {
                child = ~part.leaves.first;
            } else if (lane < count && tasks && part.leaves.count() <= _taskSize) {
                tasks->push_back({part, index, lane, {}});
            } else if (lane < count) {
                child = addNode(part, nodes, tasks);
            }
            nodes[index].set(lane, part.box);
            nodes[index].child[lane] = child;
        }
        return static_cast<std::int32_t>(index);
    }

    /// Splits a whole into up to eight parts and returns their number. A part of up to eight leaves isn't
    /// split further, as they fit into one node.
    int split(const Part& whole, Part (&parts)[kLanes])
    {
        if (whole.leaves.count() <= kLanes) {
            for (std::int32_t k = whole.leaves.first; k < whole.leaves.end; ++k) {
                parts[k - whole.leaves.first] = {{k, k + 1}, _boxes[static_cast<std::size_t>(k)], 0};
            }
            return whole.leaves.count();
        }
        parts[0] = whole;
        int count = 1;
        while (count < kLanes) {
            int widest = -1;
            for (int k = 0; k < count; ++k) {
                if (parts[k].leaves.count() > kLanes &&
                    (widest == -1 || parts[k].box.halfArea() > parts[widest].box.halfArea())) {
                    widest = k;
                }
            }
            if (widest == -1) {
                break;
            }
            halve(parts[widest], parts[count++]);
        }
        return count;
    }

    /// Splits a part where the sum over both halves of area times number of leaves is least; `part` becomes
    /// the first half, `second` the other one. A part of few nodes is split between full nodes only.
    void halve(Part& part, Part& second)
    {
        stopIfAsked();
        const IndexRange leaves = part.leaves;
        Box<float> box;
        for (std::int32_t k = leaves.end - 1; k > leaves.first; --k) {
            box.include(_boxes[static_cast<std::size_t>(k)]);
            _after[static_cast<std::size_t>(k)] = box;
        }
        const bool isNearLeaves = leaves.count() <= kLanes * kLanes;
        const bool isTooDeep = part.depth >= kDeepestByArea;
        const std::int32_t step = isTooDeep ? (leaves.count() + 1) / 2 : isNearLeaves ? kLanes : 1;
        box = Box<float>();
        float best = std::numeric_limits<float>::infinity();
        std::int32_t middle = leaves.first + step;
        std::int32_t added = leaves.first;
        for (std::int32_t k = leaves.first + step; k < leaves.end; k += step) {
            for (; added < k; ++added) {
                box.include(_boxes[static_cast<std::size_t>(added)]);
            }
            const float cost =
                box.halfArea() * static_cast<float>(k - leaves.first) +
                _after[static_cast<std::size_t>(k)].halfArea() * static_cast<float>(leaves.end - k);
            if (cost < best) {
                best = cost;
                middle = k;
                part.box = box;
            }
        }
        part = {{leaves.first, middle}, part.box, part.depth + 1};
        second = {{middle, leaves.end}, _after[static_cast<std::size_t>(middle)], part.depth};
    }
};

WideTree::WideTree(std::int32_t count, const BoxSource& boxes, std::int32_t threads) : _threads(threads)
{
    WideTreeBuilder(count, boxes, *this);
}

} // namespace zrk
