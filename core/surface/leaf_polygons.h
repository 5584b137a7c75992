#pragma once

#include "core/surface/surface_leaf.h"

#include <array>
#include <cstdint>
#include <vector>

namespace zrk::surface {

/// A leaf and the seven that lie below it along one or more axes; bit i of the index: one lower along axis i.
/// Null where there is none.
using LeafNeighbours = std::array<const struct LeafPolygons*, 8>;

enum class VertexKind : std::uint32_t { Cell, Face, Edge };

/// A vertex of a leaf or of one of those below it.
struct VertexName {
    std::uint32_t below : 3; ///< index into `LeafNeighbours`
    std::uint32_t kind : 2;  ///< a `VertexKind`
    std::uint32_t number : 27;
};

/// The vertices that stand on faces and edges of a leaf's cells, and its triangles.
///
/// Polygons go around the crossed edges; each corner is a cell's vertex. A face vertex comes between two
/// cells' vertices where the face is ambiguous and wherever a cell has several vertices. A quad without one
/// is cut along a diagonal that stays within the tetrahedra between the edge and the vertices, else the
/// polygon becomes a fan around a vertex on the edge. Triangles so never meet but at their common vertices
/// and edges.
///
/// Source: Ju, Udeshi, "Intersection-free contouring on an octree grid", Pacific Graphics 2006, on a uniform
/// grid; that cells with several vertices get face vertices and middles of crossings is ours.
struct LeafPolygons {
    SurfaceLeaf leaf;
    std::vector<Point> faceVertices;
    std::vector<Point> edgeVertices;
    std::vector<std::array<VertexName, 3>> triangles;
    /// Of the vertices of each kind, counted from the first vertex of all layers that are built.
    std::array<std::int64_t, 3> firstNumber{};
    std::uint64_t firstTriangle = 0; ///< in its piece

    explicit LeafPolygons(const Index3& at) : leaf(at) {}

    const Point& position(VertexName name) const;

    /// Step one, once the cells of this leaf and of those below are known. A face to a leaf below that isn't
    /// there gets no vertices.
    void findFaceVertices(const SurfaceGrid& grid, const LeafNeighbours& neighbours);
    /// Step two, once the face vertices of this leaf and of those below are known.
    /// @param isOpen  leaves out the triangles of the cut at the bounds.
    void findTriangles(const SurfaceGrid& grid, const LeafNeighbours& neighbours, bool isOpen);
    /// Frees what other leaves don't ask for.
    void dropTriangles();

private:
    /// Number + 1 of a face's first vertex, by axis and place of the cell above the face; 0: it has none.
    std::array<std::vector<std::uint16_t>, 3> _faceAt;
    friend class PolygonBuilder;
};

} // namespace zrk::surface
