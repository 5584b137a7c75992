#include "core/surface/leaf_polygons.h"

#include "core/values/batch.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace zrk::surface {

namespace {

constexpr int edgeNumber(std::size_t axis, int u, int v) { return static_cast<int>(axis) * 4 + u + 2 * v; }

/// The axis after each.
constexpr std::size_t kNext[3] = {1, 2, 0};

/// Around an edge's axis, counterclockwise from its upper end: cells at -1 or 0 along the axes after it.
constexpr int kOffset[4][2] = {{-1, -1}, {0, -1}, {0, 0}, {-1, 0}};

/// The edges around the lower face across each axis.
constexpr std::array<unsigned, 3> kEdgesOfFace = [] {
    std::array<unsigned, 3> all{};
    for (unsigned edge = 0; edge < 12; ++edge) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const bool isOnIt =
                ((lowerCorner(static_cast<int>(edge)) >> axis | upperCorner(static_cast<int>(edge)) >> axis) &
                 1) == 0;
            all[axis] |= (isOnIt ? 1u : 0u) << edge;
        }
    }
    return all;
}();

/// A corner relative to the lower end of an edge: along the two axes after the edge's and along it.
struct RelativeCorners {
    Batch u, v, along;
};

/// Whether the segment from p to q surely passes through the triangle of the edge and c. The edge itself
/// belongs to it: the vertex across lies on its other side.
BatchMask crosses(const RelativeCorners& p, const RelativeCorners& q, const RelativeCorners& c, Batch least,
                  Batch length)
{
    constexpr double kLeast = 1e-9;
    const Batch side = c.u * p.v - c.v * p.u;
    const Batch other = c.u * q.v - c.v * q.u;
    const BatchMask isBetween = (side > least && other < -least) || (side < -least && other > least);
    const Batch share = side / (side - other);
    const Batch xu = p.u + (q.u - p.u) * share;
    const Batch xv = p.v + (q.v - p.v) * share;
    const Batch x = p.along + (q.along - p.along) * share;
    const Batch away = (xu * c.u + xv * c.v) / (c.u * c.u + c.v * c.v);
    const Batch along = x - away * c.along;
    return isBetween && away > -kLeast && away < 1 - kLeast && along > kLeast * length &&
           along < (1 - away - kLeast) * length;
}

} // namespace

/// The cell at a place relative to the leaf; -1 is the last cell of the leaf below. Null cell if inactive.
PolygonBuilder::CellView PolygonBuilder::cellAt(Index3 local) const
{
    CellView view;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        if (local[axis] < 0) {
            view.below |= 1u << axis;
            local[axis] += kLeafCells;
        }
    }
    view.polygons = (*_neighbours)[view.below];
    view.local = local;
    if (view.polygons) {
        view.cell = view.polygons->leaf.cell(cellPlace(local[0], local[1], local[2]));
    }
    return view;
}

Point PolygonBuilder::crossingPoint(const CellView& view, int edge) const
{
    const int low = lowerCorner(edge);
    const auto axis = static_cast<std::size_t>(edge / 4);
    const Index3 node{view.local[0] + (low & 1), view.local[1] + (low >> 1 & 1), view.local[2] + (low >> 2)};
    Point p;
    for (std::size_t i = 0; i < 3; ++i) {
        p[i] = _grid.coordinate(i, view.polygons->leaf.global(i, node[i]));
    }
    p[axis] += view.polygons->leaf.crossing(axis, nodePlace(node[0], node[1], node[2])) * _grid.spacing[axis];
    // A crossing of the bounds may lie beyond them by rounding.
    p[axis] = std::clamp(p[axis], _grid.lower[axis], _grid.upper[axis]);
    return p;
}

/// Whether a crossed edge is crossed by the bounds and not by the field: at its very middle, where the search
/// for the crossing begins.
bool PolygonBuilder::isCut(const LeafPolygons& polygons, std::size_t axis, std::uint32_t node) const
{
    return _grid.crossesBounds(axis, polygons.leaf.global(axis, indexOfNode(node)[axis])) &&
           polygons.leaf.crossing(axis, node) == 0.5;
}

/// The vertices on the lower face across `axis` of a cell, if there are any.
void PolygonBuilder::findFaceVertices(LeafPolygons& polygons, const ActiveCell& cell, std::size_t axis) const
{
    const Index3 local = indexOfCell(cell.place);
    Index3 lower = local;
    --lower[axis];
    const int face = 2 * static_cast<int>(axis);
    const CellView above{0, &polygons, &cell, local};
    const CellView below = cellAt(lower);
    if (!below.polygons) {
        return;
    }
    // The two cells together are a box, so what joins a vertex of each passes through their face.
    if (cell.patchCount == 1 && below.cell->patchCount == 1 && !isAmbiguous(face, cell.inside)) {
        return;
    }
    const FaceCorners& corners = faceCorners(face);
    const unsigned crossed = crossedEdges(cell.inside);
    std::uint16_t first = 0;
    std::array<bool, 4> done{};
    for (std::size_t k = 0; k < 4; ++k) {
        const int edge = corners.edge[k];
        if (done[k] || (crossed >> edge & 1) == 0) {
            continue;
        }
        const int partner = partnerEdge(face, edge, cell.inside, (cell.faceCenters >> face & 1) != 0);
        for (std::size_t other = 0; other < 4; ++other) {
            done[other] = done[other] || corners.edge[other] == partner;
        }
        // A face of cells with several vertices gets its own for each of its segments.
        const Point middle = (crossingPoint(above, edge) + crossingPoint(above, partner)) * 0.5;
        polygons.faceVertices.push_back(middle);
        first = first == 0 ? static_cast<std::uint16_t>(polygons.faceVertices.size()) : first;
    }
    if (first != 0) {
        auto& entries = polygons._faceAt[axis];
        entries.resize(kCellsOfLeaf);
        entries[cell.place] = first;
    }
}

void PolygonBuilder::findFaceVertices(LeafPolygons& polygons, const LeafNeighbours& neighbours)
{
    const auto hasNone = [](const LeafPolygons* leaf) { return !leaf || leaf->leaf.isSimple(); };
    if (hasNone(neighbours[0]) && hasNone(neighbours[1]) && hasNone(neighbours[2]) &&
        hasNone(neighbours[4])) {
        return;
    }
    _neighbours = &neighbours;
    for (const ActiveCell& cell : polygons.leaf.cells()) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if ((crossedEdges(cell.inside) & kEdgesOfFace[axis]) != 0) {
                findFaceVertices(polygons, cell, axis);
            }
        }
    }
}

/// The vertex on the lower face across `axis` of the cell `above`, on the segment that ends at `edge`. False
/// if there is none.
bool PolygonBuilder::faceVertex(const CellView& above, std::size_t axis, int edge, VertexName& name) const
{
    const auto& entries = above.polygons->_faceAt[axis];
    if (entries.empty() || entries[above.cell->place] == 0) {
        return false;
    }
    std::uint32_t number = entries[above.cell->place] - 1u;
    const int face = 2 * static_cast<int>(axis);
    if (isAmbiguous(face, above.cell->inside)) {
        // Of two segments the first holds the face's first edge.
        const int firstEdge = faceCorners(face).edge[0];
        const int partner =
            partnerEdge(face, edge, above.cell->inside, (above.cell->faceCenters >> face & 1) != 0);
        number += edge == firstEdge || partner == firstEdge ? 0u : 1u;
    }
    name = {above.below, VertexKind::Face, number};
    return true;
}

/// @param place  of the cell, counted from -1 along each axis.
void PolygonBuilder::addCorner(const LeafPolygons& polygons, std::uint32_t below, const ActiveCell& cell,
                               std::uint32_t place)
{
    const CellVertex& vertex = polygons.leaf.vertex(cell.firstVertex);
    unsigned flags = 0;
    if (!_areSimple) {
        flags = cell.patchCount > 1 ? 8 : 0;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto& entries = polygons._faceAt[axis];
            flags |= (!entries.empty() && entries[cell.place] != 0 ? 1u : 0u) << axis;
        }
    }
    _cornerAt[place] = {vertex.position,
                        {below, VertexKind::Cell, cell.firstVertex},
                        vertex.isOnCrease,
                        static_cast<std::uint8_t>(flags)};
}

/// The vertices of the leaf's cells and of those that touch it from below. An edge has no cell that lies
/// lower along all three axes.
void PolygonBuilder::gatherCorners(const LeafPolygons& polygons)
{
    // Of the leaves below, by their index: the cells at the upper faces, by the nodes at their lower corners.
    static constexpr std::array<NodeBits, 7> kTouching = [] {
        std::array<NodeBits, 7> all;
        for (std::size_t below = 0; below < all.size(); ++below) {
            all[below] = NodeBits::where([below](std::int32_t i, std::int32_t j, std::int32_t k) {
                constexpr std::int32_t kLast = kLeafCells - 1;
                return ((below & 1) == 0 || i == kLast) && ((below & 2) == 0 || j == kLast) &&
                       ((below & 4) == 0 || k == kLast);
            });
        }
        return all;
    }();
    _areSimple = std::all_of(_neighbours->begin() + 1, _neighbours->end() - 1,
                             [](const LeafPolygons* leaf) { return !leaf || leaf->leaf.isSimple(); }) &&
                 polygons.leaf.isSimple();
    for (const ActiveCell& cell : polygons.leaf.cells()) {
        const Index3 local = indexOfCell(cell.place);
        addCorner(polygons, 0, cell, nodePlace(local[0], local[1], local[2]) + kCellOfNode);
    }
    for (std::uint32_t below = 1; below < 7; ++below) {
        const LeafPolygons* const other = (*_neighbours)[below];
        if (!other || other->leaf.cells().empty()) {
            continue;
        }
        std::uint32_t shift = 0; // from a place in the leaf below to that in this one
        for (std::size_t axis = 0; axis < 3; ++axis) {
            shift += (below >> axis & 1) != 0 ? kLeafCells * kStride[axis] : 0;
        }
        (other->leaf.activeCells() & kTouching[below]).forEach([&](std::uint32_t node) {
            const std::array<std::uint8_t, 3>& index = indexOfNode(node);
            addCorner(*other, below, *other->leaf.cell(cellPlace(index[0], index[1], index[2])),
                      node + kCellOfNode - shift);
        });
    }
}

/// The edges that begin at the lower corners of the leaf's cells: each edge with its lower node in this leaf.
/// Node by node, so that triangles that touch stand near each other.
void PolygonBuilder::listQuads(const LeafPolygons& polygons, bool isOpen)
{
    NodeBits crossed[3];
    std::size_t count = 0;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        crossed[axis] = crossedAlong(polygons.leaf.inside(), axis) & kLowerCorners;
        if (isOpen) {
            NodeBits cut;
            crossed[axis].forEach([&](std::uint32_t node) {
                if (isCut(polygons, axis, node)) {
                    cut.set(node);
                }
            });
            crossed[axis] = crossed[axis] ^ cut;
        }
        count += crossed[axis].count();
    }
    _quads.resize(count + 2);
    Quad* next = _quads.data();
    (crossed[0] | crossed[1] | crossed[2]).forEach([&](std::uint32_t node) {
        for (std::uint16_t axis = 0; axis < 3; ++axis) {
            *next = {static_cast<std::uint16_t>(node),
                     axis}; // the next one takes its place if it isn't crossed
            next += crossed[axis][node] ? 1 : 0;
        }
    });
    _quads.resize(count);
}

void PolygonBuilder::gatherQuads(const LeafPolygons& polygons)
{
    const std::size_t batches = wholeBatches(_quads.size()) / Batch::size;
    if (_rows.size() < batches) {
        _rows.resize(2 * batches);
    }
    _bits.assign(batches, {});
    double coordinates[3][kLeafCells];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::int32_t i = 0; i < kLeafCells; ++i) {
            coordinates[axis][i] = _grid.coordinate(axis, polygons.leaf.global(axis, i));
        }
    }
    const Point& spacing = _grid.spacing;
    const double areas[3] = {spacing[1] * spacing[2], spacing[2] * spacing[0], spacing[0] * spacing[1]};
    for (std::size_t q = 0; q < _quads.size(); ++q) {
        const Quad& quad = _quads[q];
        const std::size_t u = kNext[quad.axis];
        const std::size_t v = kNext[u];
        const std::size_t axes[3] = {u, v, quad.axis};
        const std::array<std::uint32_t, 4> cells = cellsAround(quad.node, quad.axis);
        const Corner* const corners[4] = {&_cornerAt[cells[0]], &_cornerAt[cells[1]], &_cornerAt[cells[2]],
                                          &_cornerAt[cells[3]]};
        const std::array<std::uint8_t, 3>& index = indexOfNode(quad.node);
        const std::size_t lane = q % Batch::size;
        QuadRows& rows = _rows[q / Batch::size];
        for (std::size_t i = 0; i < 3; ++i) {
            const double from = coordinates[axes[i]][index[axes[i]]];
            for (std::size_t k = 0; k < 4; ++k) {
                rows.corners[k][i][lane] = corners[k]->position[axes[i]] - from;
            }
        }
        rows.area[lane] = areas[quad.axis];
        rows.length[lane] = spacing[quad.axis];
        QuadBits& bits = _bits[q / Batch::size];
        for (std::size_t k = 0; k < 2; ++k) {
            bits.onCrease[k] |= unsigned{corners[k]->isOnCrease && corners[k + 2]->isOnCrease} << lane;
        }
        unsigned isSimple = 1;
        if (!_areSimple) {
            const auto flags = [&](std::size_t k) -> unsigned { return corners[k]->flags; };
            isSimple = (((flags(1) | flags(2)) >> u | (flags(2) | flags(3)) >> v) & 1) == 0 &&
                       ((flags(0) | flags(1) | flags(2) | flags(3)) & 8) == 0;
        }
        bits.isSimple |= isSimple << lane;
    }
}

/// Cuts along diagonals that stay within the tetrahedra between the edge and the vertices: those that pass
/// through a triangle of the edge and one of the other vertices. Of two, one between creases, then the
/// shorter one.
void PolygonBuilder::chooseCuts()
{
    static_assert(std::tuple_size_v<QuadRows::Row> >= Batch::size);
    for (std::size_t b = 0; b < _bits.size(); ++b) {
        // Lanes of the last batch that no quad has hold numbers of quads before, which nobody looks at.
        const QuadRows& rows = _rows[b];
        const auto load = [](const QuadRows::Row& row) { return Batch::load(row.data()); };
        RelativeCorners p[4];
        for (std::size_t k = 0; k < 4; ++k) {
            p[k] = {load(rows.corners[k][0]), load(rows.corners[k][1]), load(rows.corners[k][2])};
        }
        const auto square = [](const RelativeCorners& a, const RelativeCorners& b) {
            return (b.u - a.u) * (b.u - a.u) + (b.v - a.v) * (b.v - a.v) +
                   (b.along - a.along) * (b.along - a.along);
        };
        const Batch least = 1e-9 * load(rows.area);
        const Batch length = load(rows.length);
        const unsigned first =
            bitsOf(crosses(p[0], p[2], p[1], least, length) || crosses(p[0], p[2], p[3], least, length));
        const unsigned second =
            bitsOf(crosses(p[1], p[3], p[2], least, length) || crosses(p[1], p[3], p[0], least, length));
        const unsigned isSecondShorter = bitsOf(square(p[1], p[3]) < square(p[0], p[2]));
        QuadBits& bits = _bits[b];
        const unsigned onOne = bits.onCrease[0] ^ bits.onCrease[1];
        const unsigned prefersSecond = (onOne & bits.onCrease[1]) | (~onOne & isSecondShorter);
        bits.cutsSecond = second & (~first | prefersSecond);
        bits.cutsFirst = first & ~bits.cutsSecond;
    }
}

/// The corners of the polygon around a quad's edge, with face vertices between those of the cells.
std::size_t PolygonBuilder::polygonOf(const Quad& quad, VertexName (&polygon)[8]) const
{
    const std::size_t u = (quad.axis + 1u) % 3;
    const std::size_t v = (quad.axis + 2u) % 3;
    const std::array<std::uint8_t, 3>& node = indexOfNode(quad.node);
    CellView cells[4];
    int edges[4];
    for (std::size_t k = 0; k < 4; ++k) {
        Index3 place{node[0], node[1], node[2]};
        place[u] += kOffset[k][0];
        place[v] += kOffset[k][1];
        cells[k] = cellAt(place);
        edges[k] = edgeNumber(quad.axis, -kOffset[k][0], -kOffset[k][1]);
    }
    // The face between cells k and k + 1 is the lower one of the cell that lies higher.
    static constexpr std::size_t kUpper[4] = {1, 2, 2, 3};
    std::size_t count = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        polygon[count++] = {cells[k].below, VertexKind::Cell, cells[k].cell->vertexAt(edges[k])};
        const std::size_t across = k % 2 == 0 ? u : v;
        const std::size_t above = kUpper[k];
        count += faceVertex(cells[above], across, edges[above], polygon[count]) ? 1 : 0;
    }
    return count;
}

void PolygonBuilder::findTriangles(LeafPolygons& polygons, const LeafNeighbours& neighbours, bool isOpen)
{
    _neighbours = &neighbours;
    if (polygons.leaf.cells().empty()) {
        return;
    }
    gatherCorners(polygons);
    listQuads(polygons, isOpen);
    gatherQuads(polygons);
    chooseCuts();
    addTriangles(polygons);
}

void PolygonBuilder::addTriangles(LeafPolygons& polygons) const
{
    // The corners of both triangles, by the diagonal and by whether the edge's lower end is inside.
    static constexpr std::uint8_t kOrder[2][2][6] = {{{0, 2, 1, 0, 3, 2}, {0, 1, 2, 0, 2, 3}},
                                                     {{1, 3, 2, 1, 0, 3}, {1, 2, 3, 1, 3, 0}}};
    polygons.triangles.resize(2 * _quads.size());
    std::size_t count = 0;
    for (std::size_t q = 0; q < _quads.size(); ++q) {
        const Quad& quad = _quads[q];
        const QuadBits& bits = _bits[q / Batch::size];
        const unsigned bit = 1u << q % Batch::size;
        if ((bits.isSimple & (bits.cutsFirst | bits.cutsSecond) & bit) == 0) {
            count += addFan(polygons, quad, count);
            continue;
        }
        const std::array<std::uint32_t, 4> cells = cellsAround(quad.node, quad.axis);
        const VertexName names[4] = {_cornerAt[cells[0]].name, _cornerAt[cells[1]].name,
                                     _cornerAt[cells[2]].name, _cornerAt[cells[3]].name};
        const auto& order = kOrder[(bits.cutsSecond & bit) != 0][polygons.leaf.inside()[quad.node]];
        std::array<VertexName, 3>* const triangles = polygons.triangles.data() + count;
        triangles[0] = {names[order[0]], names[order[1]], names[order[2]]};
        triangles[1] = {names[order[3]], names[order[4]], names[order[5]]};
        count += 2;
    }
}

/// Writes the triangles around a vertex on a quad's edge, for one with face vertices or without a diagonal,
/// from a number on. Returns how many.
std::size_t PolygonBuilder::addFan(LeafPolygons& polygons, const Quad& quad, std::size_t first) const
{
    VertexName polygon[8];
    const std::size_t corners = polygonOf(quad, polygon);
    const std::array<std::uint8_t, 3>& node = indexOfNode(quad.node);
    const VertexName center{0, VertexKind::Edge, static_cast<std::uint32_t>(polygons.edgeVertices.size())};
    polygons.edgeVertices.push_back(
        crossingPoint({0, &polygons, nullptr, {node[0], node[1], node[2]}}, edgeNumber(quad.axis, 0, 0)));
    polygons.triangles.resize(polygons.triangles.size() + corners - 2);
    const bool isLowerInside = polygons.leaf.inside()[quad.node];
    for (std::size_t k = 0; k < corners; ++k) {
        const VertexName next = polygon[(k + 1) % corners];
        polygons.triangles[first + k] =
            isLowerInside ? std::array{center, polygon[k], next} : std::array{center, next, polygon[k]};
    }
    return corners;
}

void LeafPolygons::begin(const LeafPlace& place)
{
    leaf.begin(place);
    faceVertices.clear();
    edgeVertices.clear();
    triangles.clear();
    for (std::vector<std::uint16_t>& entries : _faceAt) {
        entries.clear();
    }
}

std::unique_ptr<LeafPolygons> LeafPolygons::upperFace() const
{
    std::optional<SurfaceLeaf> kept = leaf.upperFace();
    if (!kept) {
        return nullptr;
    }
    auto all = std::make_unique<LeafPolygons>(std::move(*kept));
    all->firstNumber = firstNumber;
    all->_faceAt = _faceAt;
    return all;
}

} // namespace zrk::surface
