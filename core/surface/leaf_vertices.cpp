#include "core/surface/surface_leaf.h"

#include "core/values/batch.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace zrk::surface {

namespace {

/// Vertices and crossings stay off the walls of cells by this share of a cell: on them, triangles of
/// neighbouring cells would touch.
constexpr double kMargin = 1.0 / 768;
constexpr int kMoveRounds = 4;
constexpr double kLeastMove = 1e-3; ///< of a cell's diagonal
/// Where an edge begins, by place, from the node at the cell's lower corner.
constexpr std::array<std::uint32_t, 12> kNodeOfEdge = [] {
    std::array<std::uint32_t, 12> all{};
    for (int edge = 0; edge < 12; ++edge) {
        const auto corner = static_cast<std::uint32_t>(lowerCorner(edge));
        all[static_cast<std::size_t>(edge)] =
            ((corner >> 2) * kLeafNodes + (corner >> 1 & 1)) * kLeafNodes + (corner & 1);
    }
    return all;
}();

/// The crossed edges of a cell by the corners that are inside: where their numbers stand in a leaf's table,
/// from the entry of the cell's lower corner.
struct EdgesOfCase {
    std::uint16_t entries[12];
    std::uint16_t count;
};
constexpr std::array<EdgesOfCase, 256> kEdgesOfCase = [] {
    std::array<EdgesOfCase, 256> all{};
    for (std::size_t inside = 0; inside < 256; ++inside) {
        EdgesOfCase& edges = all[inside];
        for (int edge = 0; edge < 12; ++edge) {
            const auto corner = [inside](int number) { return inside >> number & 1; };
            if (corner(lowerCorner(edge)) != corner(upperCorner(edge))) {
                const auto e = static_cast<std::size_t>(edge);
                edges.entries[edges.count++] =
                    static_cast<std::uint16_t>(e / 4 * kNodesOfLeaf + kNodeOfEdge[e]);
            }
        }
    }
    return all;
}();
/// Most cells have so many crossed edges or fewer. A loop of fixed length is guessed right by the processor.
constexpr std::size_t kUsualEdges = 6;

} // namespace

void LeafBuilder::takeCrossings(std::span<SurfaceLeaf* const> leaves) const
{
    const auto crossings = std::make_shared<std::vector<double>>(_roots.count());
    for (std::size_t i = 0; i < crossings->size(); ++i) {
        (*crossings)[i] = std::min(std::max(_roots.at(i), kMargin), 1 - kMargin);
    }
    for (SurfaceLeaf* const leaf : leaves) {
        leaf->_crossings = crossings;
    }
}

bool LeafBuilder::isAtBounds(const SurfaceLeaf& leaf, const Index3& cell) const
{
    return _grid.crossesBounds(0, leaf.global(0, cell[0])) ||
           _grid.crossesBounds(1, leaf.global(1, cell[1])) || _grid.crossesBounds(2, leaf.global(2, cell[2]));
}

/// The vertex of a cell that the bounds run through, moved onto those bounds that cut the solid off in it and
/// within them to the mean of the field's own tangent planes.
Point LeafBuilder::movedToRim(const SurfaceLeaf& leaf, const ActiveCell& cell,
                              std::span<const TangentPlane* const> planes, Point vertex) const
{
    const Index3 local = indexOfCell(cell.place);
    bool isFixed[3] = {false, false, false};
    Point normal{};
    double offset = 0;
    std::size_t next = 0;
    for (int edge = 0; edge < 12; ++edge) {
        if (cell.patches().patchOf[static_cast<std::size_t>(edge)] == kNoPatch) {
            continue;
        }
        const auto axis = static_cast<std::size_t>(edge / 4);
        const int low = lowerCorner(edge);
        const std::uint32_t node =
            nodePlace(local[0] + (low & 1), local[1] + (low >> 1 & 1), local[2] + (low >> 2));
        const TangentPlane& plane = *planes[next++];
        if (_grid.crossesBounds(axis, leaf.global(axis, local[axis])) && leaf.crossing(axis, node) == 0.5) {
            isFixed[axis] = true;
            vertex[axis] = leaf.global(axis, local[axis]) == 0 ? _grid.lower[axis] : _grid.upper[axis];
        } else {
            normal = normal + plane.normal();
            offset += plane.offset();
        }
    }
    Point along = normal;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        along[axis] = isFixed[axis] ? 0 : along[axis];
    }
    const double squared = dot(along, along);
    const bool hasRim = isFixed[0] || isFixed[1] || isFixed[2];
    return hasRim && squared > 0.01 * dot(normal, normal)
               ? vertex + along * ((offset - dot(normal, vertex)) / squared)
               : vertex;
}

/// The planes where the edges of a patch are crossed.
class LeafBuilder::PatchPlanes {
public:
    PatchPlanes(const LeafBuilder& builder, const SurfaceLeaf& leaf, const ActiveCell& cell,
                std::uint8_t patch)
    {
        const Index3 local = indexOfCell(cell.place);
        const std::uint32_t lowest = nodePlace(local[0], local[1], local[2]);
        for (unsigned edges = crossedEdges(cell.inside); edges != 0; edges &= edges - 1) {
            const auto edge = static_cast<std::size_t>(std::countr_zero(edges));
            if (cell.patchCount == 1 || cell.patches().patchOf[edge] == patch) {
                const std::size_t root = leaf.edgeNumber(edge / 4, lowest + kNodeOfEdge[edge]);
                _roots[_count] = root;
                _planes[_count++] = builder._roots.planes() + root;
            }
        }
    }
    std::span<const TangentPlane* const> all() const { return {_planes, _count}; }
    /// The least factor of the edges.
    double factor(const EdgeRoots& roots) const
    {
        double least = 1;
        for (std::size_t i = 0; i < _count; ++i) {
            least = std::min(least, roots.factor(_roots[i]));
        }
        return least;
    }

private:
    std::size_t _count = 0;
    std::size_t _roots[12];
    const TangentPlane* _planes[12];
};

void LeafBuilder::findRooms(const SurfaceLeaf& leaf)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double margin = kMargin * _grid.spacing[axis];
        for (std::int32_t i = 0; i < kLeafCells; ++i) {
            const std::int32_t node = leaf.global(axis, i);
            // The bounds run through the middle of cells: what is left of such a cell has room, too.
            _lowerRoom[axis][i] = std::max(_grid.coordinate(axis, node) + margin, _grid.lower[axis]);
            _upperRoom[axis][i] = std::min(_grid.coordinate(axis, node + 1) - margin, _grid.upper[axis]);
        }
    }
}

LeafBuilder::CellRoom LeafBuilder::roomOf(const Index3& cell) const
{
    return {{_lowerRoom[0][cell[0]], _lowerRoom[1][cell[1]], _lowerRoom[2][cell[2]]},
            {_upperRoom[0][cell[0]], _upperRoom[1][cell[1]], _upperRoom[2][cell[2]]}};
}

/// The sum of the planes where the edges of a cell of one patch are crossed.
std::size_t LeafBuilder::sumOfPlanes(const SurfaceLeaf& leaf, const ActiveCell& cell, TangentPlane& sum) const
{
    const Index3 local = indexOfCell(cell.place);
    const std::uint32_t lowest = nodePlace(local[0], local[1], local[2]);
    const EdgesOfCase& edges = kEdgesOfCase[cell.inside];
    const std::uint16_t* const numbers = leaf._edgeAt->data() + lowest;
    const TangentPlane* const planes = _roots.planes();
    Batch sums[8 / Batch::size];
    std::fill(std::begin(sums), std::end(sums), Batch(0.0));
    const auto add = [&](const TangentPlane& plane) {
        for (std::size_t i = 0; i < std::size(sums); ++i) {
            sums[i] += Batch::loadAligned(plane.numbers.data() + i * Batch::size);
        }
    };
    for (std::size_t e = 0; e < kUsualEdges; ++e) {
        add(planes[e < edges.count ? numbers[edges.entries[e]] : EdgeRoots::kNoPlane]);
    }
    for (std::size_t e = kUsualEdges; e < edges.count; ++e) {
        add(planes[numbers[edges.entries[e]]]);
    }
    for (std::size_t i = 0; i < std::size(sums); ++i) {
        sums[i].storeAligned(sum.numbers.data() + i * Batch::size);
    }
    return edges.count;
}

void LeafBuilder::addVertices(SurfaceLeaf& leaf)
{
    std::size_t count = 0;
    for (ActiveCell& cell : leaf._cells) {
        cell.firstVertex = static_cast<std::uint16_t>(count);
        const bool isSimple = kIsSimpleCell[cell.inside];
        cell.patchCount = isSimple ? 1 : cell.patches().count;
        count += cell.patchCount;
        if (cell.patchCount == 1) {
            TangentPlane sum;
            const std::size_t planes = sumOfPlanes(leaf, cell, sum);
            _smooth.add(sum, planes, false);
            leaf._isSimple = leaf._isSimple && isSimple;
            continue;
        }
        leaf._isSimple = false;
        // Patches of one cell are kept apart by their crossings, so their middles are safe.
        for (std::uint8_t patch = 0; patch < cell.patchCount; ++patch) {
            const PatchPlanes planes(*this, leaf, cell, patch);
            TangentPlane sum{};
            for (const TangentPlane* const plane : planes.all()) {
                for (std::size_t i = 0; i < 3; ++i) {
                    sum.numbers[i] += plane->numbers[i];
                }
            }
            _smooth.add(sum, planes.all().size(), true);
        }
    }
    leaf._vertices.resize(count);
}

/// Places what is smooth, and lists what isn't.
/// @param first  number of the leaf's first vertex among those that are placed as if no crease ran through
/// their cells.
void LeafBuilder::placeVertices(SurfaceLeaf& leaf, std::size_t first)
{
    findRooms(leaf);
    for (const ActiveCell& cell : leaf._cells) {
        const Index3 local = indexOfCell(cell.place);
        const CellRoom room = roomOf(local);
        const bool isRim = _isOpen && cell.patchCount == 1 && isAtBounds(leaf, local);
        bool maybeOnCrease = false;
        for (std::size_t v = cell.firstVertex; v < cell.firstVertex + std::size_t{cell.patchCount}; ++v) {
            leaf._vertices[v] = {clamped(_smooth.position(first + v), room.lower, room.upper), false};
            maybeOnCrease = maybeOnCrease || !_smooth.isSurelySmooth(first + v);
        }
        if (!isRim && !maybeOnCrease) {
            continue;
        }
        const PatchPlanes planes(*this, leaf, cell, 0);
        const bool isOnCrease = maybeOnCrease && (_isSharp || isRim) && !isSmooth(planes.all());
        if (isOnCrease) {
            _creases.add(planes.all(), room.lower, room.upper);
        } else if (maybeOnCrease) {
            leaf._vertices[cell.firstVertex].position =
                clamped(placedAlongMean(planes.all()), room.lower, room.upper);
        }
        if (isOnCrease || isRim) {
            leaf._vertices[cell.firstVertex].isOnCrease = isOnCrease;
            _special.push_back({&leaf, &cell, room, isRim});
        }
    }
}

/// The vertices on creases and on the rim.
void LeafBuilder::placeSpecial()
{
    auto next = _creases.place().begin();
    for (const Special& special : _special) {
        const ActiveCell& cell = *special.cell;
        CellVertex& vertex = special.leaf->_vertices[cell.firstVertex];
        const bool wasOutside = vertex.isOnCrease && next->wasOutside;
        if (vertex.isOnCrease) {
            vertex.position = next++->position;
        }
        if (!special.isRim && !wasOutside) {
            continue;
        }
        const CellRoom& room = special.room;
        const PatchPlanes planes(*this, *special.leaf, cell, 0);
        if (special.isRim) {
            const Point onRim = movedToRim(*special.leaf, cell, planes.all(), vertex.position);
            vertex.position = clamped(onRim, room.lower, room.upper);
        } else {
            _moved.push_back({special.leaf, cell.firstVertex, room.lower, room.upper, planes.factor(_roots)});
        }
    }
}

/// Newton's steps along the gradient, within the cell, until they are short.
void LeafBuilder::moveOntoSurface()
{
    for (int round = 0; round < kMoveRounds && !_moved.empty(); ++round) {
        _points.reset(4 * _moved.size());
        for (const Moved& moved : _moved) {
            const Point& position = moved.leaf->_vertices[moved.vertex].position;
            _points.use(moved.leaf->_field);
            _points.add(position, moved.factor);
            addSteps(position, moved.factor);
        }
        evaluate(_points);
        std::size_t kept = 0;
        for (std::size_t m = 0; m < _moved.size(); ++m) {
            const Moved& moved = _moved[m];
            const double value = _points.values[4 * m];
            const Point g = gradient(_points.at(4 * m), value, 4 * m + 1);
            const double squared = dot(g, g);
            const double factor = -value / squared;
            if (!std::isfinite(factor) || !(squared > 0)) {
                continue;
            }
            Point& position = moved.leaf->_vertices[moved.vertex].position;
            const Point before = position;
            position = clamped(position + g * factor, moved.lower, moved.upper);
            const Point step = position - before;
            if (dot(step, step) > kLeastMove * kLeastMove * dot(_grid.spacing, _grid.spacing)) {
                _moved[kept++] = moved;
            }
        }
        _moved.resize(kept);
    }
}

} // namespace zrk::surface
