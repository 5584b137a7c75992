#pragma once

#include "testing/generated_meshes.h"

#include <memory>
#include <span>

namespace zrk::bench {

/// Another library's distance to a mesh.
class DistancePeer {
public:
    virtual ~DistancePeer() = default;
    /// Computes the distances of one point after the other.
    /// @param inARow  true if each point is near the one before. The search is then bounded by the nearest
    ///                triangle of that one, if the library takes a bound.
    virtual void distances(std::span<const zrktest::Point> points, bool inARow, double* out) = 0;
};

/// Returns Embree's point query with the closest point of a triangle in float, or null if Embree isn't
/// installed. Building it takes all processors.
std::unique_ptr<DistancePeer> embreePeer(const zrktest::GeneratedMesh& mesh);

/// Returns CGAL's AABB tree in double, or null if CGAL isn't installed.
std::unique_ptr<DistancePeer> cgalPeer(const zrktest::GeneratedMesh& mesh);

} // namespace zrk::bench
