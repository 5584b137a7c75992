#pragma once

#include "core/mesh/search/bvh.h"
#include "core/mesh/search/flat_cylinders.h"
#include "core/mesh/search/seed_table.h"
#include "core/mesh/search/triangle_blocks.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace zrk {

/// The nearest triangle of a mesh, found by a walk in float over a tree of its own, which leaves a few
/// candidates, and the exact distance, in double, to these. The distance is that of
/// `BVH::closestPrimitive` with `closestPointOnTriangle`, bit for bit.
///
/// Why: the hierarchy's search sees the leaves in ascending order of their boxes' distances and ends when the
/// next box is farther than the smallest distance so far. So it sees the nearest triangle of all if that
/// one's box isn't farther than the triangle itself. Rounding can make the box seem farther; it then still
/// sees it unless another triangle's distance lies between, and only in this case the search itself is run.
///
/// Immutable; safe to query from many threads at once.
class TriangleSearch {
public:
    struct Nearest {
        double distance;       ///< the largest double where no triangle is nearer
        std::int32_t triangle; ///< -1 then; of several at the same distance any
    };

    /// @param hierarchy  built, with boxes of its own vertices; not owned, must outlive the search.
    explicit TriangleSearch(const BVH<double, 3, 3>& hierarchy);

    /// @param point  three coordinates, NaN and infinity included.
    /// @param hint   a triangle that may be near, as that of a near point; -1: one is guessed.
    Nearest nearest(const double* point, std::int32_t hint = -1) const;

    /// Whether the nearest triangle of one point is a better hint for the other than a guess.
    bool isHint(const double* point, const double* other) const;

    /// What the walk works on; null when the mesh has no finite extent.
    const TriangleBlocks* triangles() const { return _triangles ? &*_triangles : nullptr; }
    std::size_t bytes() const;

private:
    class Walk;

    const BVH<double, 3, 3>& _hierarchy;
    std::optional<TriangleBlocks> _triangles;
    std::optional<FlatCylinders> _cylinders;
    std::optional<SeedTable> _seeds;
    double _hintReach = 0.0;

    Nearest searchHierarchy(const double* point) const;
};

} // namespace zrk
