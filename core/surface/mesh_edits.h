#pragma once

#include "core/surface/surface.h"
#include "core/surface/surface_grid.h"

namespace zrk::surface {

/// Removes vertices that no triangle has; the others keep their order.
void dropUnusedVertices(SurfaceMesh& mesh);

/// Gives each fan of triangles a vertex of its own where several end in one, within a cell of the bounds:
/// there a cut that was left open leaves such vertices. The new ones are moved a little into their fans, so
/// that the fans don't touch.
void separateFansAtBounds(SurfaceMesh& mesh, const SurfaceGrid& grid);

/// Sets that are joined pair by pair.
class JoinedSets {
public:
    explicit JoinedSets(std::size_t count);

    /// One member that stands for the set of x.
    std::uint32_t find(std::uint32_t x)
    {
        while (_parent[x] != x) {
            x = _parent[x] = _parent[_parent[x]];
        }
        return x;
    }
    void join(std::uint32_t a, std::uint32_t b) { _parent[find(a)] = find(b); }

private:
    std::vector<std::uint32_t> _parent;
};

} // namespace zrk::surface
