#pragma once

#include "core/mesh/search/bvh.h"
#include "core/values/large_pages.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <cstdint>

namespace zrk {

/// What is known of the winding number of a node of the hierarchy: of one triangle, or of all below an inner
/// node. Lengths in model units. A triangle of zero area has a normal of zero and counts for nothing.
struct WindingMoments {
    Tensor<3, double> normal{};  ///< unit normal, of a triangle alone
    Tensor<3, double> center{};  ///< mean of the triangles' centres, weighted by area
    double area = 0.0;           ///< of all triangles
    double radius = 0.0;         ///< largest distance from `center` to a vertex; 0 for a triangle alone
    Tensor<3, double> moment0{}; ///< sum of area times normal, of an inner node
    double moment1[3][3] = {};   ///< sum of area times (triangle's centre - `center`) outer normal
    /// The term of second order multiplies by the normal of an inner node, which has none: it stays zero.
    double moment2[3][3][3] = {};
    bool isLeaf = false;
};

/// What the expansion of a far group of triangles takes: a part of its `WindingMoments`.
struct FarGroup {
    Tensor<3, double> center{};
    double radius = 0.0;
    Tensor<3, double> moment0{};
    double moment1[3][3] = {};
};

/// The expansions of a mesh's inner nodes. A triangle of zero area counts for nothing in them.
///
/// Groups of fewer than kSmallestGroup triangles have none: their solid angles are summed exactly.
/// Immutable; safe to read from many threads at once.
class MeshMoments {
public:
    static constexpr std::size_t kSmallestGroup = 4;

    /// Starts threads of its own and returns when all is done. The tree must be built.
    explicit MeshMoments(const BVH<double, 3, 3>& tree);

    /// The expansion of an inner node with at least kSmallestGroup triangles.
    const FarGroup& groupOf(std::int32_t node) const
    {
        return _groups[static_cast<std::size_t>(_groupOf[static_cast<std::size_t>(node)])];
    }
    /// The whole record of inner node `index`, or, with n triangles, of triangle `index - (n - 1)`: what
    /// isn't kept is computed anew, in O(triangles below the node).
    WindingMoments record(const BVH<double, 3, 3>& tree, std::int32_t index) const;
    std::size_t bytes() const;

private:
    LargeArray<std::int32_t> _groupOf; ///< an inner node's place in `_groups`, -1 where it has none
    LargeArray<FarGroup> _groups;

    void numberGroups(const BVH<double, 3, 3>& tree, LargeArray<std::int32_t>& splits);
};

} // namespace zrk
