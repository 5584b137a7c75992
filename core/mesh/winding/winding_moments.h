#pragma once

#include "core/mesh/search/bvh.h"
#include "core/values/large_pages.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <cstdint>

namespace zrk {

/// What a far group of triangles looks like from a point: the terms of order 0 and 1 of its solid angle.
struct WindingMoments {
    Tensor<3, double> center{};  ///< mean of the triangles' centres, weighted by area
    double radius = 0.0;         ///< largest distance from `center` to a vertex
    Tensor<3, double> moment0{}; ///< sum of area times normal
    double moment1[3][3] = {};   ///< sum of area times (triangle's centre - `center`) outer normal
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

    /// The record of an inner node with at least kSmallestGroup triangles.
    const WindingMoments& of(std::int32_t node) const
    {
        return _records[static_cast<std::size_t>(_recordOf[static_cast<std::size_t>(node)])];
    }
    std::size_t bytes() const;

private:
    LargeArray<std::int32_t> _recordOf; ///< an inner node's place in `_records`, -1 where it has none
    LargeArray<WindingMoments> _records;

    void numberRecords(const BVH<double, 3, 3>& tree, LargeArray<std::int32_t>& splits);
};

} // namespace zrk
