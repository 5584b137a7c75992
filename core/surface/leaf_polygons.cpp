#include "core/surface/leaf_polygons.h"

#include <cmath>

namespace zrk::surface {

namespace {

constexpr int edgeNumber(std::size_t axis, int u, int v) { return static_cast<int>(axis) * 4 + u + 2 * v; }

/// A cell of a leaf or of one below it.
struct CellView {
    std::uint32_t below = 0;
    const LeafPolygons* polygons = nullptr;
    const ActiveCell* cell = nullptr;
    Index3 local{};
};

} // namespace

/// Looks at the cells around a leaf.
class PolygonBuilder {
public:
    PolygonBuilder(const SurfaceGrid& grid, const LeafNeighbours& neighbours)
        : _grid(grid), _neighbours(neighbours)
    {}

    /// The cell at a place relative to the leaf; -1 is the last cell of the leaf below. Null cell if
    /// inactive.
    CellView cellAt(Index3 local) const
    {
        CellView view;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (local[axis] < 0) {
                view.below |= 1u << axis;
                local[axis] += kLeafCells;
            }
        }
        view.polygons = _neighbours[view.below];
        view.local = local;
        if (view.polygons) {
            view.cell = view.polygons->leaf.cell(cellPlace(local[0], local[1], local[2]));
        }
        return view;
    }

    Point crossingPoint(const CellView& view, int edge) const
    {
        const int low = lowerCorner(edge);
        const auto axis = static_cast<std::size_t>(edge / 4);
        const Index3 node{view.local[0] + (low & 1), view.local[1] + (low >> 1 & 1),
                          view.local[2] + (low >> 2)};
        Point p;
        for (std::size_t i = 0; i < 3; ++i) {
            p[i] = _grid.coordinate(i, view.polygons->leaf.global(i, node[i]));
        }
        p[axis] +=
            view.polygons->leaf.crossing(axis, nodePlace(node[0], node[1], node[2])) * _grid.spacing[axis];
        return p;
    }

    VertexName vertexOf(const CellView& view, int edge) const
    {
        const std::uint8_t patch = view.cell->patches().patchOf[static_cast<std::size_t>(edge)];
        return {view.below, static_cast<std::uint32_t>(VertexKind::Cell), view.cell->firstVertex + patch};
    }

    const Point& position(VertexName name) const { return _neighbours[name.below]->position(name); }

    /// Whether the connection of two vertices on both sides of a face misses it.
    bool misses(const Point& a, const Point& b, std::size_t axis, const CellView& above) const
    {
        const auto node = [&](std::size_t i) { return above.polygons->leaf.global(i, above.local[i]); };
        const double at = _grid.coordinate(axis, node(axis));
        const double share = (at - a[axis]) / (b[axis] - a[axis]);
        for (std::size_t i = 0; i < 3; ++i) {
            if (i == axis) {
                continue;
            }
            const double margin = _grid.spacing[i] / 4096;
            const double p = a[i] + share * (b[i] - a[i]);
            if (!(p > _grid.coordinate(i, node(i)) + margin &&
                  p < _grid.coordinate(i, node(i) + 1) - margin)) {
                return true;
            }
        }
        return false;
    }

    /// The vertices on the lower face across `axis` of a cell, if there are any.
    void findFaceVertices(LeafPolygons& polygons, const ActiveCell& cell, std::size_t axis) const
    {
        const Index3 local = indexOfCell(cell.place);
        Index3 lower = local;
        --lower[axis];
        const int face = 2 * static_cast<int>(axis);
        const CellView above = cellAt(local);
        const CellView below = cellAt(lower);
        const FaceCorners& corners = faceCorners(face);
        const auto& patchOf = cell.patches().patchOf;
        std::uint16_t first = 0;
        std::array<bool, 4> done{};
        for (std::size_t k = 0; k < 4; ++k) {
            const int edge = corners.edge[k];
            if (done[k] || patchOf[static_cast<std::size_t>(edge)] == kNoPatch) {
                continue;
            }
            const int partner = partnerEdge(face, edge, cell.inside, (cell.faceCenters >> face & 1) != 0);
            for (std::size_t other = 0; other < 4; ++other) {
                done[other] = done[other] || corners.edge[other] == partner;
            }
            // The same edge, seen from the cell below, lies at the upper end of the axis.
            const VertexName a = vertexOf(below, oppositeEdge(edge, axis));
            const VertexName b = vertexOf(above, edge);
            const bool needed = cell.patches().count > 1 || below.cell->patches().count > 1 ||
                                isAmbiguous(face, cell.inside) ||
                                misses(position(a), position(b), axis, above);
            if (needed) {
                const Point middle = (crossingPoint(above, edge) + crossingPoint(above, partner)) * 0.5;
                polygons.faceVertices.push_back(middle);
                first = first == 0 ? static_cast<std::uint16_t>(polygons.faceVertices.size()) : first;
            }
        }
        if (first != 0) {
            auto& entries = polygons._faceAt[axis];
            entries.resize(kCellsOfLeaf);
            entries[cell.place] = first;
        }
    }

    /// The edge of a face seen from the cell on the face's other side, the lower one along `axis`.
    static int oppositeEdge(int edge, std::size_t axis)
    {
        const auto own = static_cast<std::size_t>(edge / 4);
        return (own + 1) % 3 == axis ? edge | 1 : edge | 2;
    }

    /// The vertex on the lower face across `axis` of the cell `above`, on the segment that ends at `edge`.
    /// False if there is none.
    bool faceVertex(const CellView& above, std::size_t axis, int edge, VertexName& name) const
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
        name = {above.below, static_cast<std::uint32_t>(VertexKind::Face), number};
        return true;
    }

    void addPolygon(LeafPolygons& polygons, std::size_t axis, const Index3& node) const;

    /// Whether a crossed edge is crossed by the bounds and not by the field: at its very middle, where the
    /// search for the crossing begins.
    bool isCut(const LeafPolygons& polygons, std::size_t axis, const Index3& node) const
    {
        return _grid.crossesBounds(axis, polygons.leaf.global(axis, node[axis])) &&
               polygons.leaf.crossing(axis, nodePlace(node[0], node[1], node[2])) == 0.5;
    }

private:
    const SurfaceGrid& _grid;
    const LeafNeighbours& _neighbours;

    bool crosses(const Point& p, const Point& q, const Point& a, const Point& b, const Point& c) const;
};

namespace {

double volume(const Point& a, const Point& b, const Point& c, const Point& d)
{
    return dot(cross(b - a, c - a), d - a);
}

} // namespace

/// Whether the segment from p to q surely passes through the triangle a, b, c.
bool PolygonBuilder::crosses(const Point& p, const Point& q, const Point& a, const Point& b,
                             const Point& c) const
{
    const double least = 1e-9 * _grid.spacing[0] * _grid.spacing[1] * _grid.spacing[2];
    const double sides[2] = {volume(a, b, c, p), volume(a, b, c, q)};
    const double around[3] = {volume(p, q, a, b), volume(p, q, b, c), volume(p, q, c, a)};
    const bool separates = (sides[0] > least && sides[1] < -least) || (sides[0] < -least && sides[1] > least);
    const bool within = (around[0] > least && around[1] > least && around[2] > least) ||
                        (around[0] < -least && around[1] < -least && around[2] < -least);
    return separates && within;
}

/// The polygon around a crossed edge, which begins at `node`.
void PolygonBuilder::addPolygon(LeafPolygons& polygons, std::size_t axis, const Index3& node) const
{
    const std::size_t u = (axis + 1) % 3;
    const std::size_t v = (axis + 2) % 3;
    // Around the axis, counterclockwise from its upper end: cells at -1 or 0 along u and v.
    static constexpr int kOffset[4][2] = {{-1, -1}, {0, -1}, {0, 0}, {-1, 0}};
    CellView cells[4];
    int edges[4];
    VertexName corners[4];
    for (std::size_t k = 0; k < 4; ++k) {
        Index3 place = node;
        place[u] += kOffset[k][0];
        place[v] += kOffset[k][1];
        cells[k] = cellAt(place);
        edges[k] = edgeNumber(axis, -kOffset[k][0], -kOffset[k][1]);
        corners[k] = vertexOf(cells[k], edges[k]);
    }
    // The face between cells k and k + 1 is the lower one of the cell that lies higher.
    static constexpr std::size_t kUpper[4] = {1, 2, 2, 3};
    VertexName polygon[8];
    std::size_t count = 0;
    for (std::size_t k = 0; k < 4; ++k) {
        polygon[count++] = corners[k];
        const std::size_t across = k % 2 == 0 ? u : v;
        const std::size_t above = kUpper[k];
        count += faceVertex(cells[above], across, edges[above], polygon[count]) ? 1 : 0;
    }
    const bool lowerIsInside = (cells[2].cell->inside >> lowerCorner(edges[2]) & 1) != 0;
    const auto add = [&](VertexName a, VertexName b, VertexName c) {
        polygons.triangles.push_back(lowerIsInside ? std::array{a, b, c} : std::array{a, c, b});
    };
    if (count == 4) {
        Point from;
        for (std::size_t i = 0; i < 3; ++i) {
            from[i] = _grid.coordinate(i, polygons.leaf.global(i, node[i]));
        }
        Point to = from;
        to[axis] = _grid.coordinate(axis, polygons.leaf.global(axis, node[axis] + 1));
        const Point p[4] = {position(corners[0]), position(corners[1]), position(corners[2]),
                            position(corners[3])};
        const bool canCut[2] = {
            crosses(p[0], p[2], from, to, p[1]) || crosses(p[0], p[2], from, to, p[3]),
            crosses(p[1], p[3], from, to, p[2]) || crosses(p[1], p[3], from, to, p[0]),
        };
        if (canCut[0] || canCut[1]) {
            bool second = !canCut[0];
            if (canCut[0] && canCut[1]) {
                const auto isOnCrease = [&](std::size_t k) {
                    return cells[k].polygons->leaf.vertices()[corners[k].number].isOnCrease;
                };
                const bool creases[2] = {isOnCrease(0) && isOnCrease(2), isOnCrease(1) && isOnCrease(3)};
                const Point diagonal[2] = {p[2] - p[0], p[3] - p[1]};
                second = creases[0] != creases[1]
                             ? creases[1]
                             : dot(diagonal[1], diagonal[1]) < dot(diagonal[0], diagonal[0]);
            }
            const std::size_t s = second ? 1 : 0;
            add(corners[s], corners[s + 1], corners[s + 2]);
            add(corners[s], corners[s + 2], corners[(s + 3) % 4]);
            return;
        }
    }
    polygons.edgeVertices.push_back(crossingPoint(cells[2], edges[2]));
    const VertexName center{0, static_cast<std::uint32_t>(VertexKind::Edge),
                            static_cast<std::uint32_t>(polygons.edgeVertices.size() - 1)};
    for (std::size_t k = 0; k < count; ++k) {
        add(center, polygon[k], polygon[(k + 1) % count]);
    }
}

const Point& LeafPolygons::position(VertexName name) const
{
    switch (static_cast<VertexKind>(name.kind)) {
    case VertexKind::Face:
        return faceVertices[name.number];
    case VertexKind::Edge:
        return edgeVertices[name.number];
    default:
        return leaf.vertices()[name.number].position;
    }
}

void LeafPolygons::findFaceVertices(const SurfaceGrid& grid, const LeafNeighbours& neighbours)
{
    const PolygonBuilder builder(grid, neighbours);
    for (const ActiveCell& cell : leaf.cells()) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto& corner = faceCorners(2 * static_cast<int>(axis)).corner;
            const int inside = (cell.inside >> corner[0] & 1) + (cell.inside >> corner[1] & 1) +
                               (cell.inside >> corner[2] & 1) + (cell.inside >> corner[3] & 1);
            if (inside > 0 && inside < 4) {
                builder.findFaceVertices(*this, cell, axis);
            }
        }
    }
}

void LeafPolygons::findTriangles(const SurfaceGrid& grid, const LeafNeighbours& neighbours, bool isOpen)
{
    const PolygonBuilder builder(grid, neighbours);
    for (const ActiveCell& cell : leaf.cells()) {
        const Index3 node = indexOfCell(cell.place);
        // The edges that begin at the cell's lower corner: each edge with its lower node in this leaf.
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if (cell.patches().patchOf[static_cast<std::size_t>(edgeNumber(axis, 0, 0))] != kNoPatch &&
                !(isOpen && builder.isCut(*this, axis, node))) {
                builder.addPolygon(*this, axis, node);
            }
        }
    }
}

} // namespace zrk::surface
