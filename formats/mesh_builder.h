#pragma once

#include "core/surface/surface.h"
#include "core/values/fault.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zrk {

/// A mesh as a reader meets it: vertices, and faces of any number of corners, which are split as fans from
/// their first corner. What can't be part of a mesh is refused.
class MeshBuilder {
public:
    /// Appends a vertex. False for a coordinate that isn't finite, and beyond the limit.
    bool addVertex(const Tensor<3, double>& position);
    /// The number of the vertex with these coordinates, appended if it is new; kNone as `addVertex` refuses.
    std::uint32_t findOrAddVertex(const Tensor<3, double>& position);
    static constexpr std::uint32_t kNone = ~std::uint32_t{0};

    /// Appends the next corner of the face, a vertex's number from 0. Any number is taken here, `fault` tells
    /// of those that name no vertex. False beyond the limit.
    bool addCorner(std::int64_t vertex);
    /// Ends the face. Fewer than three corners make no triangle.
    void endFace() { _cornersInFace = 0; }

    std::size_t vertexCount() const { return _mesh.vertices.size(); }

    /// The mesh; refused when a corner names no vertex.
    Result<SurfaceMesh> mesh(const std::string& place);

private:
    SurfaceMesh _mesh;
    std::vector<std::uint32_t> _slots; ///< numbers of vertices by the hash of their coordinates
    std::uint32_t _first = 0;
    std::uint32_t _previous = 0;
    std::size_t _cornersInFace = 0;
    std::int64_t _lowest = 0; ///< of all corners
    std::int64_t _highest = -1;

    void growSlots();
    std::size_t slotOf(const Tensor<3, double>& position) const;
};

} // namespace zrk
