#pragma once

#include "core/surface/cell_patches.h"
#include "core/surface/edge_roots.h"
#include "core/surface/node_bits.h"
#include "core/surface/surface_field.h"
#include "core/surface/surface_grid.h"
#include "core/surface/vertex_placement.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace zrk::surface {

/// A cell that the surface passes through.
struct ActiveCell {
    std::uint16_t place;       ///< number within the leaf, see `cellPlace`
    std::uint8_t inside;       ///< bit c: corner c is inside
    std::uint8_t faceCenters;  ///< bit f: the centre of face f is inside, for ambiguous faces
    std::uint16_t firstVertex; ///< the others of its patches follow
    std::uint8_t patchCount;

    const CellPatches& patches() const { return cellPatches(inside, faceCenters); }
    /// Number of the vertex of the patch that a crossed edge belongs to.
    std::uint32_t vertexAt(int edge) const
    {
        return patchCount == 1 ? firstVertex
                               : firstVertex + patches().patchOf[static_cast<std::size_t>(edge)];
    }
};

struct CellVertex {
    Point position;
    bool isOnCrease;
};

inline std::uint32_t cellPlace(std::int32_t i, std::int32_t j, std::int32_t k)
{
    return static_cast<std::uint32_t>((k * kLeafCells + j) * kLeafCells + i);
}
inline std::uint32_t nodePlace(std::int32_t i, std::int32_t j, std::int32_t k)
{
    return static_cast<std::uint32_t>((k * kLeafNodes + j) * kLeafNodes + i);
}
/// Number of the cell's lower corner along each axis, within the leaf.
inline Index3 indexOfCell(std::uint32_t place)
{
    constexpr std::uint32_t kCells = kLeafCells;
    return {static_cast<std::int32_t>(place % kCells), static_cast<std::int32_t>(place / kCells % kCells),
            static_cast<std::int32_t>(place / (kCells * kCells))};
}

/// What is known of one leaf: its cells that the surface passes through, their vertices, where their edges
/// are crossed. Leaves that share an edge have the same bits for it.
class SurfaceLeaf {
public:
    explicit SurfaceLeaf(const LeafPlace& place) : _place(place) {}

    const LeafPlace& place() const { return _place; }
    const Index3& at() const { return _place.at; }
    /// Number of a node or a cell of the grid along an axis, from its number within the leaf.
    std::int32_t global(std::size_t axis, std::int32_t local) const
    {
        return _place.at[axis] * kLeafCells + local;
    }

    /// Whether the surface passes through the leaf's lower (side 0) or upper face across an axis.
    bool leavesThrough(std::size_t axis, std::size_t side) const
    {
        return (_mixedFaces >> (2 * axis + side) & 1) != 0;
    }
    /// Whether the nodes of the leaf's lower face across an axis lie on the same sides for the leaf below it,
    /// where the surface passes through that face for one of both.
    bool agreesWith(const SurfaceLeaf& below, std::size_t axis) const;
    /// Whether the surface keeps off the parts that the field's bounds had excluded.
    bool areBoundsRight() const { return _areBoundsRight; }
    /// Whether each cell that the surface passes through has one vertex, and no face is ambiguous.
    bool isSimple() const { return _isSimple; }
    /// The nodes on the inside, where the surface passes through the leaf.
    const NodeBits& inside() const { return _inside; }
    /// The cells that the surface passes through, by the nodes at their lower corners.
    const NodeBits& activeCells() const { return _active; }
    std::span<const ActiveCell> cells() const { return _cells; }
    std::span<const CellVertex> vertices() const { return _vertices; }
    /// By the number that its cell gives it.
    const CellVertex& vertex(std::uint32_t number) const { return _vertices[number - _firstVertex]; }
    /// Null where the surface doesn't pass.
    const ActiveCell* cell(std::uint32_t place) const
    {
        const std::uint16_t index = _cells.empty() ? 0 : _cellAt[place - _firstPlace];
        return index == 0 ? nullptr : &_cells[index - 1u - _firstCell];
    }
    /// Share of the way along a crossed edge, from its lower node; off both ends by 1/768 at least.
    double crossing(std::size_t axis, std::uint32_t node) const
    {
        return (*_crossings)[edgeNumber(axis, node)];
    }
    /// Whether two leaves are built together if there are both, as one takes from the other what lies in the
    /// face between them. By their places alone, so that the field is asked the same for any groups.
    static bool areTogether(const Index3& a, const Index3& b)
    {
        return a[2] == b[2] && a[1] / kTogether == b[1] / kTogether && a[0] / kTogether == b[0] / kTogether;
    }
    static constexpr std::int32_t kTogether = 4; ///< leaves along x and y

    /// Stands for another leaf from now on, of which nothing is known. Keeps the memory.
    void begin(const LeafPlace& place);
    /// The cells at the upper face across z with their vertices alone, which is what the layer above asks
    /// for. None where there are none.
    std::optional<SurfaceLeaf> upperFace() const;

private:
    using EdgeTable = std::array<std::uint16_t, std::size_t{3} * kNodesOfLeaf>;

    LeafPlace _place;
    std::uint8_t _field = 0;      ///< number of its field in the group that it is built with
    std::uint8_t _mixedFaces = 0; ///< bit 2 axis + side: the face has nodes on both sides
    bool _isSimple = true;
    bool _areBoundsRight = true;
    // Both mean nothing in a leaf without surface.
    NodeBits _inside;
    NodeBits _active;
    std::vector<ActiveCell> _cells;
    std::vector<CellVertex> _vertices;
    std::shared_ptr<const std::vector<double>> _crossings; ///< by number, of all leaves of its group
    // Tables, which say nothing in a leaf without surface.
    std::vector<std::uint16_t> _cellAt; ///< number + 1 by the place of the cell
    /// By axis and lower node: number of a crossed edge among those of the group.
    std::unique_ptr<EdgeTable> _edgeAt;
    // The first ones that are kept.
    std::uint32_t _firstPlace = 0;
    std::uint32_t _firstCell = 0;
    std::uint32_t _firstVertex = 0;

    std::uint16_t edgeNumber(std::size_t axis, std::uint32_t node) const
    {
        return (*_edgeAt)[axis * kNodesOfLeaf + node];
    }
    friend class LeafBuilder;
};

/// Finds cells, crossings and vertices of leaves, some at a time so that the field is evaluated at many
/// positions in each call. One a thread: it holds the memory for it.
class LeafBuilder {
public:
    LeafBuilder(const SurfaceField& field, const SurfaceGrid& grid, bool isSharp, bool isOpen)
        : _field(field), _grid(grid), _isSharp(isSharp), _isOpen(isOpen), _roots(field, grid)
    {}

    /// @param leaves  at most kMostLeaves; all of those that are together, in their order.
    void build(std::span<SurfaceLeaf* const> leaves);
    static constexpr std::size_t kMostLeaves = 16;
    static_assert(SurfaceLeaf::kTogether * SurfaceLeaf::kTogether <= kMostLeaves);

private:
    /// A face whose centre decides.
    struct Center {
        SurfaceLeaf* leaf;
        std::uint16_t cell;
        std::uint8_t face;
    };
    /// A vertex that was brought back into its cell and is then moved onto the surface.
    struct Moved {
        SurfaceLeaf* leaf;
        std::uint32_t vertex;
        Point lower, upper;
        double factor; ///< of the field, the least one of the cell's edges
    };
    /// Corners of a cell made smaller by a little.
    struct CellRoom {
        Point lower, upper;
    };
    /// A cell whose vertex lies on a crease, on the rim or on both.
    struct Special {
        SurfaceLeaf* leaf;
        const ActiveCell* cell;
        CellRoom room;
        bool isRim;
    };
    /// Positions of leaf after leaf and the field's values there.
    struct Positions {
        std::vector<double> x, y, z, factors, values;
        std::size_t count = 0;
        std::vector<FieldRun> runs;

        /// Room for so many; what was there is gone.
        void reset(std::size_t most)
        {
            count = 0;
            runs.clear();
            if (x.size() < most) {
                for (std::vector<double>* list : {&x, &y, &z, &factors, &values}) {
                    list->resize(most);
                }
            }
        }
        /// What is added from now on is evaluated by this field.
        void use(std::size_t field)
        {
            if (runs.empty() || runs.back().field != field) {
                end();
                runs.push_back({field, count});
            }
        }
        void end()
        {
            if (!runs.empty()) {
                runs.back().end = count;
            }
        }
        void add(const Point& p, double factor = 1)
        {
            x[count] = p[0];
            y[count] = p[1];
            z[count] = p[2];
            factors[count++] = factor;
        }
        Point at(std::size_t place) const { return {x[place], y[place], z[place]}; }
    };
    const SurfaceField& _field;
    const SurfaceGrid& _grid;
    bool _isSharp;
    bool _isOpen; ///< the cut at the bounds is a crease even where creases are rounded
    /// What the bounds leave of the field in leaves of the group: each once for leaves in sequence.
    std::vector<PreparedField> _fields;
    std::vector<PositionBox> _boxes; ///< of the leaves
    /// Along x and y: the leaf of the group that a leaf shares a face with, or null, and where its nodes
    /// begin.
    std::array<const SurfaceLeaf*, 2> _below[kMostLeaves];
    std::array<std::size_t, 2> _valuesBelow[kMostLeaves];
    Positions _samples;
    std::vector<double> _nodeValues; ///< leaf by leaf
    Positions _points;
    std::vector<Center> _centers;
    EdgeRoots _roots;
    SmoothPlacement _smooth;
    CreasePlacement _creases;
    std::vector<Special> _special;
    /// Where the vertices of a leaf's cells may be, by axis and number of the cell along it.
    double _lowerRoom[3][kLeafCells], _upperRoom[3][kLeafCells];
    std::vector<Moved> _moved;

    void simplifyField(std::span<SurfaceLeaf* const> leaves);
    void evaluate(Positions& positions);
    void addSteps(const Point& p, double factor);
    Point gradient(const Point& p, double value, std::size_t place) const;
    void findShared(std::span<SurfaceLeaf* const> leaves);
    void sampleNodes(std::span<SurfaceLeaf* const> leaves);
    static void fillSides(const LeafPlace& place, double* values);
    void addSamples(const SurfaceLeaf& leaf, const std::array<const SurfaceLeaf*, 2>& below);
    void findCells(SurfaceLeaf& leaf, const double* values);
    static std::uint8_t mixedFaces(const NodeBits& inside);
    void askFaceCenters();
    void findEdges(SurfaceLeaf& leaf, const std::array<const SurfaceLeaf*, 2>& below, const double* values);
    static NodeBits takeEdges(SurfaceLeaf& leaf, const SurfaceLeaf& below, std::size_t across,
                              std::size_t axis, const NodeBits& crossed);
    void takeCrossings(std::span<SurfaceLeaf* const> leaves) const;
    void addVertices(SurfaceLeaf& leaf);
    std::size_t sumOfPlanes(const SurfaceLeaf& leaf, const ActiveCell& cell, TangentPlane& sum) const;
    void placeVertices(SurfaceLeaf& leaf, std::size_t first);
    void placeSpecial();
    CellRoom roomOf(const Index3& cell) const;
    void findRooms(const SurfaceLeaf& leaf);
    /// The planes where edges of one patch are crossed.
    class PatchPlanes;
    void moveOntoSurface();
    Point movedToRim(const SurfaceLeaf& leaf, const ActiveCell& cell,
                     std::span<const TangentPlane* const> planes, Point vertex) const;
    bool isAtBounds(const SurfaceLeaf& leaf, const Index3& cell) const;
};

} // namespace zrk::surface
