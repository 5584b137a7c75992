#pragma once

#include "core/surface/surface_leaf.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace zrk::surface {

/// A leaf and the seven that lie below it along one or more axes; bit i of the index: one lower along axis i.
/// Null where there is none.
using LeafNeighbours = std::array<const struct LeafPolygons*, 8>;

enum class VertexKind : std::uint32_t { Cell, Face, Edge };

/// A vertex of a leaf or of one of those below it, in one number: parts of it would be written one by one.
class VertexName {
public:
    VertexName() = default;
    /// @param below  index into `LeafNeighbours`.
    VertexName(std::uint32_t below, VertexKind kind, std::uint32_t number)
        : _bits(below | static_cast<std::uint32_t>(kind) << 3 | number << 5)
    {}

    std::uint32_t below() const { return _bits & 7; }
    VertexKind kind() const { return static_cast<VertexKind>(_bits >> 3 & 3); }
    std::uint32_t number() const { return _bits >> 5; }

private:
    std::uint32_t _bits;
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

    explicit LeafPolygons(const LeafPlace& place) : leaf(place) {}
    explicit LeafPolygons(SurfaceLeaf leaf) : leaf(std::move(leaf)) {}

    /// Stands for another leaf from now on, of which nothing is known. Keeps the memory.
    void begin(const LeafPlace& place);
    /// What the layer above asks for, see `SurfaceLeaf::upperFace`. Null where that is nothing.
    std::unique_ptr<LeafPolygons> upperFace() const;

private:
    /// Number + 1 of a face's first vertex, by axis and place of the cell above the face; 0: it has none.
    std::array<std::vector<std::uint16_t>, 3> _faceAt;
    friend class PolygonBuilder;
};

/// Finds the face vertices and the triangles of leaves. One a thread: it holds the memory for it.
class PolygonBuilder {
public:
    explicit PolygonBuilder(const SurfaceGrid& grid) : _grid(grid) {}

    /// Step one, once the cells of a leaf and of those below are known. A face to a leaf below that isn't
    /// there gets no vertices.
    void findFaceVertices(LeafPolygons& polygons, const LeafNeighbours& neighbours);
    /// Step two, once the face vertices of the leaf and of those below are known.
    /// @param isOpen  leaves out the triangles of the cut at the bounds.
    void findTriangles(LeafPolygons& polygons, const LeafNeighbours& neighbours, bool isOpen);

private:
    /// A cell of a leaf or of one below it.
    struct CellView {
        std::uint32_t below = 0;
        const LeafPolygons* polygons = nullptr;
        const ActiveCell* cell = nullptr;
        Index3 local{};
    };
    /// A crossed edge between four cells.
    struct Quad {
        std::uint16_t node; ///< the lower end of the edge
        std::uint16_t axis; ///< of the edge
    };
    /// A cell's first vertex and what is known of the cell.
    struct alignas(32) Corner {
        Point position;
        VertexName name;
        bool isOnCrease;
        /// Bit i: the lower face across axis i has vertices; bit 3: the cell has several. Means nothing where
        /// the leaf and those below are simple.
        std::uint8_t flags;
    };

    static constexpr std::uint32_t kPlaces = kLeafCells + 1; ///< of cells along an axis, from -1 on
    static_assert(kPlaces == kLeafNodes);
    /// From a cell to the next along each axis, and from the node at a cell's lower corner to the cell.
    static constexpr std::array<std::uint32_t, 3> kStride = NodeBits::kStride;
    static constexpr std::uint32_t kCellOfNode = kStride[0] + kStride[1] + kStride[2];
    template <class T>
    using ByCell = std::array<T, std::size_t{kPlaces} * kPlaces * kPlaces>;

    const SurfaceGrid& _grid;
    const LeafNeighbours* _neighbours = nullptr;
    ByCell<Corner> _cornerAt; ///< by the cell's place, counted from -1 along each axis; active cells only
    bool _areSimple = false;
    std::vector<Quad> _quads; ///< node by node
    /// What the tests of some quads need: along the two axes after that of the edge and along it.
    struct QuadRows {
        using Row = std::array<double, 8>;
        Row corners[4][3]; ///< relative to the edge's lower end
        Row area, length;  ///< of a cell's face across the edge, and of the edge
    };
    /// Bits of some quads, the first one's the lowest.
    struct QuadBits {
        unsigned onCrease[2]; ///< the vertices on a diagonal, of corners k and k + 2, lie on a crease
        unsigned isSimple;    ///< has no face vertices, and each cell has one vertex
        // What is chosen.
        unsigned cutsFirst;
        unsigned cutsSecond;
    };
    std::vector<QuadRows> _rows;
    std::vector<QuadBits> _bits;

    /// The cells around an edge from a node, counterclockwise from the edge's upper end.
    static std::array<std::uint32_t, 4> cellsAround(std::uint32_t node, std::size_t axis)
    {
        const std::uint32_t u = kStride[axis == 2 ? 0 : axis + 1];
        const std::uint32_t v = kStride[axis == 0 ? 2 : axis - 1];
        const std::uint32_t cell = node + kCellOfNode;
        return {cell - u - v, cell - v, cell, cell - u};
    }
    CellView cellAt(Index3 local) const;
    Point crossingPoint(const CellView& view, int edge) const;
    bool isCut(const LeafPolygons& polygons, std::size_t axis, std::uint32_t node) const;
    void findFaceVertices(LeafPolygons& polygons, const ActiveCell& cell, std::size_t axis) const;
    bool faceVertex(const CellView& above, std::size_t axis, int edge, VertexName& name) const;
    void gatherCorners(const LeafPolygons& polygons);
    void addCorner(const LeafPolygons& polygons, std::uint32_t below, const ActiveCell& cell,
                   std::uint32_t place);
    void listQuads(const LeafPolygons& polygons, bool isOpen);
    void gatherQuads(const LeafPolygons& polygons);
    void chooseCuts();
    void addTriangles(LeafPolygons& polygons) const;
    std::size_t addFan(LeafPolygons& polygons, const Quad& quad, std::size_t first) const;
    std::size_t polygonOf(const Quad& quad, VertexName (&polygon)[8]) const;
};

} // namespace zrk::surface
