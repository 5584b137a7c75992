#pragma once

#include "core/engine/parallel_loop.h"
#include "core/mesh/search/closest_point.h"
#include "core/mesh/search/morton_code.h"
#include "core/values/box.h"
#include "core/values/large_pages.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <queue>
#include <span>
#include <utility>
#include <vector>

namespace zrk {

/// The number of threads that it is worth building something over so many primitives on.
inline std::int32_t buildThreads(std::int32_t primitiveCount)
{
    constexpr std::int32_t kWorthAThread = 2048; // each takes a few hundred nanoseconds
    return primitiveCount >= 2 * kWorthAThread ? static_cast<std::int32_t>(workerCount(0)) : 1;
}

/// Linear bounding volume hierarchy over primitives of N vertices in D dimensions: a binary radix tree over
/// the sorted Morton codes of the primitives' centroids, with one primitive a leaf.
///
/// With n primitives there are 2n - 1 nodes: the inner ones first, node 0 the root, then the leaves in
/// sorted order. Two instances exist: over triangles, `BVH<double, 3, 3>`, and segments, `BVH<double, 2, 3>`.
///
/// The hierarchy refers to the caller's vertices and indices, which must outlive it. One thread builds it and
/// starts others to help. Afterwards it is read-only, and safe to query from many threads at once.
///
/// Source: Karras, "Maximizing parallelism in the construction of BVHs, octrees, and k-d trees", High
/// Performance Graphics 2012, doi:10.2312/EGGH/HPG12/033-037. The tree and the numbers of its nodes are those
/// of the paper. They are found differently: each node is linked as soon as both its children are, from the
/// leaves up, so that one pass makes the boxes too. Morton codes for hierarchies (LBVH): Lauterbach, Garland,
/// Sengupta, Luebke, Manocha, "Fast BVH construction on GPUs", Computer Graphics Forum 28(2), 2009.
template <class T, int N, int D>
class BVH {
    static_assert(D == 3, "Morton codes and box distances are over three dimensions");

public:
    using Box = zrk::Box<T>;

    struct Node {
        /// Ids of all primitives below this node: a range of the sorted order.
        std::span<const std::int32_t> primitives;
        Box box;
        std::int32_t left = -1; ///< the children, node indices
        std::int32_t right = -1;
        std::int32_t parent = -1; ///< -1 at the root
        bool isLeaf = false;
    };

    /// Writes two opposite corners of a box around a primitive.
    using BoundsCallback = std::function<void(std::int32_t primitive, T* cornerA, T* cornerB)>;

    const T* vertices;
    std::int32_t coordinateCount;
    std::int32_t vertexCount;
    const std::int32_t* indices;
    std::int32_t indexCount;
    std::int32_t primitiveCount;
    BoundsCallback boundsCallback;
    std::int32_t codeBits = 63;
    LargeArray<MortonCode> codes; ///< ascending by code, then by primitive; needed until the tree is built
    LargeArray<Node> nodes;
    Box bounds;                ///< of all vertices, used or not, or of the boxes that the callback gives
    double codeSeconds = 0.0;  ///< what computing and sorting the codes took
    double buildSeconds = 0.0; ///< what building the tree took

    /// Computes bounds and codes; the tree is a second step.
    ///
    /// @param vertices        D coordinates a vertex.
    /// @param indices         N vertex indices a primitive, each of which must be in range.
    /// @param boundsCallback  bounds of a primitive where its vertices don't bound it; may be empty. Called
    ///                        from several threads at once.
    /// Throws std::invalid_argument when there is no primitive.
    BVH(const T* vertices, std::int32_t coordinateCount, const std::int32_t* indices, std::int32_t indexCount,
        BoundsCallback boundsCallback = {});
    BVH(const BVH&) = delete;
    BVH& operator=(const BVH&) = delete;

    /// Links the nodes and fills their boxes and primitives.
    void buildHierarchy();

    /// Ids of all primitives, in the order of the leaves.
    const LargeArray<std::int32_t>& sortedPrimitives() const { return _order; }
    /// Coordinates of the k-th vertex of a primitive.
    const T* vertexOf(std::int32_t primitive, int k) const
    {
        return vertices + std::ptrdiff_t{D} * indices[std::ptrdiff_t{N} * primitive + k];
    }
    /// Asks the processor to load what a loop over the sorted order up to `end` will soon need: neighbours in
    /// that order lie far apart in the arrays of indices and vertices.
    void prefetch(std::int32_t position, std::int32_t end) const
    {
        constexpr std::int32_t kToIndices = 24;
        constexpr std::int32_t kToVertices = 12;
        if (position + kToIndices < end) {
            const std::int32_t* order = _order.data() + position;
            __builtin_prefetch(indices + std::ptrdiff_t{N} * order[kToIndices]);
            for (int k = 0; k < N; ++k) {
                __builtin_prefetch(vertexOf(order[kToVertices], k));
            }
        }
    }
    /// The box of one primitive.
    Box boxOf(std::int32_t primitive) const;

    /// Visits nodes depth first, a node's first child before its second. visitor(nodeIndex, isLeaf, box,
    /// primitives) returns whether to go on to the node's children.
    template <class Visitor>
    void traverse(std::int32_t startNode, Visitor&& visitor) const
    {
        const Node& node = nodes[static_cast<std::size_t>(startNode)];
        if (!visitor(startNode, node.isLeaf, node.box, node.primitives)) {
            return;
        }
        for (const std::int32_t child : {node.left, node.right}) {
            if (child != -1) {
                traverse(child, visitor);
            }
        }
    }

    /// Searches the primitive nearest to a point: the exact search, which fixes the results of all faster
    /// ones. It visits leaves in ascending order of the distances of their boxes.
    ///
    /// Source: Hjaltason, Samet, "Distance browsing in spatial databases", ACM Transactions on Database
    /// Systems 24(2), 1999, doi:10.1145/320248.320255.
    ///
    /// @param primitiveDistance  double(primitive, point, closest): the distance, which may be negative,
    ///                           and the closest point. NaN is never the nearest.
    /// @param point              D coordinates.
    /// @param distance           receives the smallest distance; the largest double where none is less.
    /// @return the nearest primitive, -1 where `distance` is the largest double.
    template <class PrimitiveDistance>
    std::int32_t closestPrimitive(PrimitiveDistance&& primitiveDistance, const T* point,
                                  double& distance) const;

private:
    /// A part of the tree that has no parent yet. It covers the sorted positions `first` to `last`, both
    /// included.
    struct Subtree {
        std::int32_t first;
        std::int32_t last;
        std::int32_t node;
        int sharedBefore; ///< bits that the keys of its first position and of the one before share
        int sharedAfter;  ///< bits that the keys of its last position and of the next one share
    };

    LargeArray<std::int32_t> _order;

    void computeBounds();
    void computeCodes();
    std::uint64_t codeOf(std::int32_t primitive) const;
    int commonPrefix(std::int32_t position) const;
    std::vector<Subtree> linkLeaves(IndexRange positions);
    void append(Subtree last, std::vector<Subtree>& pending);
    Subtree join(const Subtree& left, const Subtree& right);
};

template <class T, int N, int D>
template <class PrimitiveDistance>
std::int32_t BVH<T, N, D>::closestPrimitive(PrimitiveDistance&& primitiveDistance, const T* point,
                                            double& distance) const
{
    using Entry = std::pair<double, std::int32_t>;
    std::priority_queue<Entry, std::vector<Entry>, std::greater<>> heap;
    const auto nodeAt = [this](std::int32_t index) -> const Node& {
        return nodes[static_cast<std::size_t>(index)];
    };
    // Replaces the top by its children until a leaf is on top.
    const auto refine = [&] {
        do {
            const Node& top = nodeAt(heap.top().second);
            heap.pop();
            for (const std::int32_t child : {top.left, top.right}) {
                if (child != -1) {
                    heap.emplace(squaredDistanceToBox(nodeAt(child).box, point), child);
                }
            }
        } while (!heap.empty() && !nodeAt(heap.top().second).isLeaf);
    };

    distance = std::numeric_limits<double>::max();
    std::int32_t nearest = -1;
    heap.emplace(squaredDistanceToBox(nodes.front().box, point), 0);
    if (!nodes.front().isLeaf) {
        refine();
    }
    while (!heap.empty() && !(heap.top().first > distance * distance)) {
        for (const std::int32_t primitive : nodeAt(heap.top().second).primitives) {
            double closest[D];
            const double d = primitiveDistance(primitive, point, closest);
            if (d < distance) {
                distance = d;
                nearest = primitive;
            }
        }
        refine();
    }
    return nearest;
}

extern template class BVH<double, 3, 3>;
extern template class BVH<double, 2, 3>;

} // namespace zrk
