#pragma once

#include "testing/generated_meshes.h"

#include <memory>
#include <span>

namespace zrk::bench {

/// Another library's distance to a mesh.
class DistancePeer {
public:
    virtual ~DistancePeer() = default;
    /// Distances of one point after the other.
    /// @param inARow  each is near the one before, whose nearest triangle then bounds the search, if the
    /// library
    ///                takes a bound.
    virtual void distances(std::span<const zrktest::Point> points, bool inARow, double* out) = 0;
};

/// Embree's point query with a triangle's closest point in float; null where Embree isn't there. Building it
/// takes all processors.
std::unique_ptr<DistancePeer> embreePeer(const zrktest::GeneratedMesh& mesh);

/// CGAL's AABB tree in double; null where CGAL isn't there.
std::unique_ptr<DistancePeer> cgalPeer(const zrktest::GeneratedMesh& mesh);

} // namespace zrk::bench
