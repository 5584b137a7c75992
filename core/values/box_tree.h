#pragma once

#include "core/values/box.h"
#include "core/values/double8.h"
#include "core/values/float8.h"
#include "core/values/large_pages.h"
#include "core/values/tensor.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace zrk {

/// Eight boxes whose distances from a point are computed together. They begin empty: infinitely far.
template <class T>
struct alignas(kLanes * sizeof(T)) EightBoxes {
    using Lanes = std::conditional_t<std::is_same_v<T, float>, Float8, Double8>;

    T min[3][kLanes];
    T max[3][kLanes];

    EightBoxes()
    {
        std::fill_n(&min[0][0], 3 * kLanes, std::numeric_limits<T>::infinity());
        std::fill_n(&max[0][0], 3 * kLanes, -std::numeric_limits<T>::infinity());
    }
    void set(int lane, const Box<T>& box)
    {
        for (std::size_t i = 0; i < 3; ++i) {
            min[i][lane] = box.min[i];
            max[i][lane] = box.max[i];
        }
    }
    Box<T> box(int lane) const
    {
        Box<T> box;
        for (std::size_t i = 0; i < 3; ++i) {
            box.min[i] = min[i][lane];
            box.max[i] = max[i][lane];
        }
        return box;
    }
    /// Squared distances from p, 0 inside. In double they are made smaller by some last places, so that none
    /// is above the squared distance, as it is computed, of any point in the box.
    Lanes squaredDistances(const Tensor<3, T>& p) const
    {
        const auto along = [&](std::size_t axis) {
            const Lanes at = p[axis];
            return maximum(maximum(Lanes::load(min[axis]) - at, at - Lanes::load(max[axis])), Lanes(0));
        };
        const Lanes x = along(0);
        const Lanes y = along(1);
        const Lanes z = along(2);
        const Lanes sum = fma(x, x, fma(y, y, z * z));
        if constexpr (std::is_same_v<T, double>) {
            return sum * Lanes(1 - 1e-14);
        } else {
            return sum;
        }
    }
};

/// A tree with eight boxes a node, for searches by distance that test a node's boxes together: in float for
/// searches that only select, in double for those that nothing else corrects. It knows boxes only; what
/// stands in a leaf is the builder's business.
///
/// Immutable once built; safe to search from many threads at once.
template <class T>
class BoxTree {
public:
    using Lanes = typename EightBoxes<T>::Lanes;

    struct Node : EightBoxes<T> {
        /// A node's index, or ~leaf; kNoChild in lanes that aren't used. The first lanes are those used.
        std::int32_t child[kLanes];

        Node() { std::fill_n(child, kLanes, kNoChild); }
        int childCount() const
        {
            return static_cast<int>(std::find(child, child + kLanes, kNoChild) - child);
        }
    };
    /// Neighbours in the builder's order of what is in the tree.
    struct Leaf {
        std::int32_t first;
        std::int32_t count;
    };
    static constexpr std::int32_t kNoChild = std::numeric_limits<std::int32_t>::max();
    static bool isLeaf(std::int32_t child) { return child < 0; }
    static std::size_t leafIndex(std::int32_t child) { return static_cast<std::size_t>(~child); }

    /// Node 0 is the root.
    const LargeArray<Node>& nodes() const { return _nodes; }
    const LargeArray<Leaf>& leaves() const { return _leaves; }
    std::size_t bytes() const { return _nodes.capacity() * sizeof(Node) + _leaves.capacity() * sizeof(Leaf); }

    /// The box around everything below a node.
    Box<T> boxOf(std::size_t node) const
    {
        Box<T> box;
        for (int lane = 0; lane < kLanes; ++lane) {
            box.include(_nodes[node].box(lane));
        }
        return box;
    }

    /// A leaf near a position: on the way down, always into the nearest box.
    std::size_t leafNear(const Tensor<3, T>& p) const
    {
        std::int32_t child = 0;
        while (!isLeaf(child)) {
            const Node& node = _nodes[static_cast<std::size_t>(child)];
            child = node.child[leastLane(node.squaredDistances(p))];
            if (child == kNoChild) {
                child = node.child[0]; // the distances from an infinite position are NaN
            }
        }
        return leafIndex(child);
    }

    /// Calls visit(leaf index) for the leaves that a nearest one could be in. Walks the tree breadth first,
    /// as the processor can work on several nodes that wait, but not on one and its child, at a time; so the
    /// threshold should be close from the beginning.
    ///
    /// @param p          the position.
    /// @param threshold  squared distance beyond which nothing is of interest. The visits lower it.
    /// @param refine     Lanes(node index, squared distances to the node's boxes): bounds no smaller than
    ///                   these. Asked of a node that has a child within the threshold.
    template <class Refine, class Visit>
    void search(const Tensor<3, T>& p, const T& threshold, Refine refine, Visit visit) const
    {
        // Beyond so many, the last come first, which bounds their number.
        constexpr int kManyPending = 512;
        std::int32_t pending[kManyPending + kMaxPending + kLanes];
        T bounds[kManyPending + kMaxPending + kLanes];
        pending[0] = 0;
        bounds[0] = 0;
        for (int first = 0, end = 1; first < end;) {
            const int next = end < kManyPending ? first++ : --end;
            const std::int32_t child = pending[next];
            // Where the threshold is infinite, lanes without a child come here too.
            if (!(bounds[next] <= threshold) || child == kNoChild) {
                continue;
            }
            if (isLeaf(child)) {
                visit(leafIndex(child));
                continue;
            }
            const auto index = static_cast<std::size_t>(child);
            Lanes distances = _nodes[index].squaredDistances(p);
            if (lessOrEqual(distances, threshold) == 0) {
                continue;
            }
            distances = refine(index, distances);
            const Lanes8 near = lessOrEqual(distances, threshold);
            distances.pack(near, bounds + end);
            end += pack(near, _nodes[index].child, pending + end);
        }
    }

protected:
    /// What may wait at a time on a way depth first: the seven left over at each level of the deepest tree.
    static constexpr int kMaxDepth = 96;
    static constexpr int kMaxPending = (kLanes - 1) * kMaxDepth + kLanes;

    LargeArray<Node> _nodes;
    LargeArray<Leaf> _leaves;

    BoxTree() = default;
};

} // namespace zrk
