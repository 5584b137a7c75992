#pragma once

#include "core/mesh/search/bvh.h"
#include "core/mesh/search/flat_cylinders.h"
#include "core/mesh/search/seed_table.h"
#include "core/mesh/search/triangle_blocks.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace zrk {

/// Finds the nearest triangle of a mesh. A search in float over a tree of its own leaves a few candidates,
/// whose distances are then computed in double. The result has the bits of the exact search, which is
/// `BVH::closestPrimitive` with `closestPointOnTriangle`.
///
/// Why the bits are the same: the exact search visits leaves in ascending order of their boxes' distances,
/// and ends when the next box is farther than the smallest distance so far. So it visits the nearest triangle
/// of all if that triangle's box isn't farther away than the triangle. Rounding can make the box seem
/// farther. Even then the exact search visits it, unless the distance of another triangle lies between the
/// two; in this case alone the exact search itself is run.
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

    /// @param point  NaN and infinity included.
    /// @param hint   a triangle that may be near, as that of a near point; -1: one is guessed.
    Nearest nearest(const Vector3& point, std::int32_t hint = -1) const;

    /// Whether the nearest triangle of one point is a better hint for the other than a guess.
    bool isHint(const Vector3& point, const Vector3& other) const;

    /// What the search in float works on; null when the mesh has no finite extent.
    const TriangleBlocks* triangles() const { return _triangles ? &*_triangles : nullptr; }
    std::size_t bytes() const;

private:
    class Walk;

    const BVH<double, 3, 3>& _hierarchy;
    std::optional<TriangleBlocks> _triangles;
    std::optional<FlatCylinders> _cylinders;
    std::optional<SeedTable> _seeds;
    double _hintReach = 0.0;

    Nearest searchHierarchy(const Vector3& point) const;
};

} // namespace zrk
