#include "core/surface/leaf_polygons.h"

#include <algorithm>
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
        // A crossing of the bounds may lie beyond them by rounding.
        p[axis] = std::clamp(p[axis], _grid.lower[axis], _grid.upper[axis]);
        return p;
    }

    VertexName vertexOf(const CellView& view, int edge) const
    {
        return {view.below, static_cast<std::uint32_t>(VertexKind::Cell), view.cell->vertexAt(edge)};
    }

    const Point& position(VertexName name) const { return _neighbours[name.below]->position(name); }

    /// The vertices on the lower face across `axis` of a cell, if there are any.
    void findFaceVertices(LeafPolygons& polygons, const ActiveCell& cell, std::size_t axis) const
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

    void addPolygon(LeafPolygons& polygons, const ActiveCell& cell, std::size_t axis,
                    const Index3& node) const;

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

    /// Whether the segment from p to q surely passes through the triangle of the edge, which runs along
    /// `axis` from the origin, and c. The edge itself belongs to it: the vertex across lies on its other
    /// side.
    bool crosses(std::size_t axis, const Point& p, const Point& q, const Point& c) const
    {
        constexpr double kLeast = 1e-9;
        const std::size_t u = (axis + 1) % 3;
        const std::size_t v = (axis + 2) % 3;
        const double least = kLeast * _grid.spacing[u] * _grid.spacing[v];
        const double side = c[u] * p[v] - c[v] * p[u];
        const double other = c[u] * q[v] - c[v] * q[u];
        if (!((side > least && other < -least) || (side < -least && other > least))) {
            return false;
        }
        const double share = side / (side - other);
        const Point x = p + (q - p) * share;
        const double away = (x[u] * c[u] + x[v] * c[v]) / (c[u] * c[u] + c[v] * c[v]);
        const double length = _grid.spacing[axis];
        const double along = x[axis] - away * c[axis];
        return away > -kLeast && away < 1 - kLeast && along > kLeast * length &&
               along < (1 - away - kLeast) * length;
    }
};

/// The polygon around a crossed edge, which begins at `node`, the lower corner of `cell`.
void PolygonBuilder::addPolygon(LeafPolygons& polygons, const ActiveCell& cell, std::size_t axis,
                                const Index3& node) const
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
        cells[k] = k == 2 ? CellView{0, &polygons, &cell, node} : cellAt(place);
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
        const auto relative = [&](std::size_t k) {
            return cells[k].polygons->leaf.vertex(corners[k].number).position - from;
        };
        const Point p[4] = {relative(0), relative(1), relative(2), relative(3)};
        // Of the two triangles that a diagonal may pass through, the one on its side of the edge comes first.
        const auto canCutAlong = [&](std::size_t k) {
            const std::size_t nearer = p[k][u] * p[k + 2][v] > p[k][v] * p[k + 2][u] ? k + 1 : (k + 3) % 4;
            return crosses(axis, p[k], p[k + 2], p[nearer]) ||
                   crosses(axis, p[k], p[k + 2], p[(nearer + 2) % 4]);
        };
        const bool canCut[2] = {canCutAlong(0), canCutAlong(1)};
        if (canCut[0] || canCut[1]) {
            bool second = !canCut[0];
            if (canCut[0] && canCut[1]) {
                const auto isOnCrease = [&](std::size_t k) {
                    return cells[k].polygons->leaf.vertex(corners[k].number).isOnCrease;
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
        return leaf.vertex(name.number).position;
    }
}

void LeafPolygons::findFaceVertices(const SurfaceGrid& grid, const LeafNeighbours& neighbours)
{
    const PolygonBuilder builder(grid, neighbours);
    // The edges around the lower face across each axis.
    static constexpr std::array<unsigned, 3> kEdgesOfFace = [] {
        std::array<unsigned, 3> all{};
        for (unsigned edge = 0; edge < 12; ++edge) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                const bool isOnIt = ((lowerCorner(static_cast<int>(edge)) >> axis |
                                      upperCorner(static_cast<int>(edge)) >> axis) &
                                     1) == 0;
                all[axis] |= (isOnIt ? 1u : 0u) << edge;
            }
        }
        return all;
    }();
    for (const ActiveCell& cell : leaf.cells()) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if ((crossedEdges(cell.inside) & kEdgesOfFace[axis]) != 0) {
                builder.findFaceVertices(*this, cell, axis);
            }
        }
    }
}

void LeafPolygons::findTriangles(const SurfaceGrid& grid, const LeafNeighbours& neighbours, bool isOpen)
{
    const PolygonBuilder builder(grid, neighbours);
    triangles.reserve(2 * leaf.cells().size() + 16);
    for (const ActiveCell& cell : leaf.cells()) {
        const Index3 node = indexOfCell(cell.place);
        // The edges that begin at the cell's lower corner: each edge with its lower node in this leaf.
        for (std::size_t axis = 0; axis < 3; ++axis) {
            if ((crossedEdges(cell.inside) >> edgeNumber(axis, 0, 0) & 1) != 0 &&
                !(isOpen && builder.isCut(*this, axis, node))) {
                builder.addPolygon(*this, cell, axis, node);
            }
        }
    }
}

void LeafPolygons::dropTriangles()
{
    leaf.dropCrossings();
    faceVertices = {};
    edgeVertices = {};
    triangles = {};
}

} // namespace zrk::surface
