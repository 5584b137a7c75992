#pragma once

#include "core/values/fault.h"
#include "formats/part.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace zrk {

/// A mesh as a reader meets it: vertices, and faces of any number of corners, which are split into triangles
/// (see polygons.h). What can't be part of a mesh is refused.
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
    void endFace();

    std::size_t vertexCount() const { return _mesh.vertices.size(); }

    /// The mesh, with warnings of faces that are none or have no area; refused when a corner names no vertex.
    Result<FileMesh> mesh(const std::string& place);

private:
    /// A face of four or more corners, whose triangles stand in the mesh as a fan until all vertices are
    /// there.
    struct Polygon {
        std::uint32_t firstTriangle;
        std::uint32_t triangles;
    };

    FileMesh _mesh;
    std::vector<Polygon> _polygons;
    std::uint64_t _incompleteFaces = 0; ///< of fewer than three corners
    std::vector<std::uint32_t> _slots;  ///< numbers of vertices by the hash of their coordinates
    std::uint32_t _first = 0;
    std::uint32_t _previous = 0;
    std::size_t _cornersInFace = 0;
    std::int64_t _lowest = 0; ///< of all corners
    std::int64_t _highest = -1;

    Result<void> splitPolygons(const std::string& place);
    void growSlots();
    std::size_t slotOf(const Tensor<3, double>& position) const;
};

} // namespace zrk
