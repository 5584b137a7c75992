#pragma once

#include "core/mesh/search/bvh.h"
#include "core/mesh/search/local_frame.h"
#include "core/mesh/search/wide_tree.h"
#include "core/values/float8.h"

#include <cstdint>

namespace zrk {

/// Eight triangles in the coordinates of a search: a corner and the two edges from it.
struct alignas(32) TriangleBlock {
    float corner[3][kLanes];
    float edges[2][3][kLanes];

    /// Squared distances of the triangles from p; they mean nothing for slivers.
    Float8 squaredDistances(const Float8Vector& p) const;
};

/// The triangles of a mesh in the leaves of a tree of boxes, for searches in float. The order of the leaves
/// is the hierarchy's order of the primitives. Immutable.
struct TriangleBlocks {
    LocalFrame frame;
    WideTree tree;
    LargeArray<TriangleBlock> blocks; ///< one a leaf; unused lanes repeat the last triangle
    LargeArray<std::uint8_t> slivers; ///< for each leaf the lanes whose float distance can't be relied on

    /// @param hierarchy  with bounds that a frame can be made of.
    TriangleBlocks(const BVH<double, 3, 3>& hierarchy, const LocalFrame& frame);

    std::size_t bytes() const
    {
        return tree.bytes() + blocks.capacity() * sizeof(blocks[0]) + slivers.capacity();
    }
    Lanes8 usedLanes(std::size_t leaf) const { return (Lanes8{1} << tree.leaves()[leaf].count) - 1; }
};

} // namespace zrk
