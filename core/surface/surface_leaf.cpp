#include "core/surface/surface_leaf.h"

#include "core/values/batch.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>

namespace zrk::surface {

static_assert(kLeafCells % Batch::size == 0);

void SurfaceLeaf::begin(const LeafPlace& place)
{
    _place = place;
    _mixedFaces = 0;
    _areBoundsRight = true;
    _isSimple = true;
    _cells.clear();
    _vertices.clear();
    _crossings.reset();
}

std::optional<SurfaceLeaf> SurfaceLeaf::upperFace() const
{
    constexpr std::uint32_t kFirst = (kLeafCells - 1) * kLeafCells * kLeafCells;
    const auto first =
        std::lower_bound(_cells.begin(), _cells.end(), kFirst,
                         [](const ActiveCell& c, std::uint32_t place) { return c.place < place; });
    if (first == _cells.end()) {
        return std::nullopt;
    }
    // Cells lie in the order of their places, and vertices in that of their cells.
    SurfaceLeaf kept(_place);
    kept._mixedFaces = _mixedFaces;
    kept._isSimple = _isSimple;
    kept._inside = _inside;
    kept._active = _active;
    kept._firstPlace = kFirst;
    kept._firstCell = static_cast<std::uint32_t>(first - _cells.begin());
    kept._firstVertex = first->firstVertex;
    kept._cells = std::vector<ActiveCell>(first, _cells.end());
    kept._vertices = std::vector<CellVertex>(_vertices.begin() + kept._firstVertex, _vertices.end());
    kept._cellAt = std::vector<std::uint16_t>(_cellAt.begin() + kFirst, _cellAt.end());
    return kept;
}

namespace {

/// Of a leaf, by axis.
constexpr std::array<NodeBits, 3> kLowerFaces{
    NodeBits::where([](std::int32_t i, std::int32_t, std::int32_t) { return i == 0; }),
    NodeBits::where([](std::int32_t, std::int32_t j, std::int32_t) { return j == 0; }),
    NodeBits::where([](std::int32_t, std::int32_t, std::int32_t k) { return k == 0; })};

} // namespace

bool SurfaceLeaf::agreesWith(const SurfaceLeaf& below, std::size_t axis) const
{
    if (!leavesThrough(axis, 0) && !below.leavesThrough(axis, 1)) {
        return true;
    }
    const NodeBits across = _inside ^ below._inside.after(kLeafCells * NodeBits::kStride[axis]);
    return !_cells.empty() && !below._cells.empty() && (across & kLowerFaces[axis]).areNone();
}

void LeafBuilder::evaluate(Positions& positions)
{
    positions.end();
    std::size_t first = 0;
    for (const FieldRun& run : positions.runs) {
        _field.values(_fields[run.field], positions.x.data() + first, positions.y.data() + first,
                      positions.z.data() + first,
                      &positions == &_samples ? nullptr : positions.factors.data() + first, run.end - first,
                      positions.values.data() + first);
        first = run.end;
    }
}

/// Asks what is left of the field in each leaf. Positions a step of the gradient away from one count to it.
void LeafBuilder::simplifyField(std::span<SurfaceLeaf* const> leaves)
{
    _boxes.resize(leaves.size());
    _fields.resize(leaves.size());
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double step = 2 * kGradientStep * _grid.spacing[axis];
            _boxes[l][axis] = {_grid.coordinate(axis, leaves[l]->global(axis, 0)) - step,
                               _grid.coordinate(axis, leaves[l]->global(axis, kLeafCells)) + step};
        }
    }
    _field.simplify(_boxes, _fields);
    std::size_t last = 0;
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        if (l > 0 && !(_fields[l] == _fields[last])) {
            _fields[++last] = _fields[l];
        }
        leaves[l]->_field = static_cast<std::uint8_t>(last);
    }
}

/// The positions a step away along each axis, for the gradient.
void LeafBuilder::addSteps(const Point& p, double factor)
{
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Point q = p;
        q[axis] += kGradientStep * _grid.spacing[axis];
        _points.add(q, factor);
    }
}

/// Gradient by one-sided differences, from the value at p and those of `addSteps` that begin at `place`.
Point LeafBuilder::gradient(const Point& p, double value, std::size_t place) const
{
    return {(_points.values[place] - value) / (_points.x[place] - p[0]),
            (_points.values[place + 1] - value) / (_points.y[place + 1] - p[1]),
            (_points.values[place + 2] - value) / (_points.z[place + 2] - p[2])};
}

void LeafBuilder::build(std::span<SurfaceLeaf* const> leaves)
{
    assert(leaves.size() <= kMostLeaves);
    simplifyField(leaves);
    findShared(leaves);
    sampleNodes(leaves);
    _centers.clear();
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        findCells(*leaves[l], _nodeValues.data() + l * kNodesOfLeaf);
    }
    askFaceCenters();
    _roots.clear();
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        if (!leaves[l]->_cells.empty()) {
            findEdges(*leaves[l], _below[l], _nodeValues.data() + l * kNodesOfLeaf);
        }
    }
    _roots.search(_fields);
    takeCrossings(leaves);
    std::size_t cellCount = 0;
    for (const SurfaceLeaf* leaf : leaves) {
        cellCount += leaf->_cells.size();
    }
    _moved.clear();
    _creases.clear();
    _special.clear();
    _smooth.clear();
    _smooth.reserve(4 * cellCount);
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        addVertices(*leaves[l]);
    }
    _smooth.place();
    std::size_t first = 0;
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        placeVertices(*leaves[l], first);
        first += leaves[l]->_vertices.size();
    }
    placeSpecial();
    moveOntoSurface();
}

namespace {

/// The cells of a part, by the nodes at their lower corners.
const NodeBits& cellsOfPart(std::size_t part)
{
    static constexpr std::array<NodeBits, 8> kTable = [] {
        std::array<NodeBits, 8> all;
        for (std::size_t p = 0; p < 8; ++p) {
            all[p] = NodeBits::where([p](std::int32_t i, std::int32_t j, std::int32_t k) {
                return isInPart(p, i, j, k) && isInPart(p, i + 1, j + 1, k + 1);
            });
        }
        return all;
    }();
    return kTable[part];
}

} // namespace

/// The faces of the leaf with nodes on both sides.
std::uint8_t LeafBuilder::mixedFaces(const NodeBits& inside)
{
    static constexpr std::array<NodeBits, 6> kFaces = [] {
        std::array<NodeBits, 6> all;
        for (std::size_t face = 0; face < 6; ++face) {
            all[face] = NodeBits::where([face](std::int32_t i, std::int32_t j, std::int32_t k) {
                const std::int32_t along = face < 2 ? i : face < 4 ? j : k;
                return along == (face % 2 == 0 ? 0 : kLeafCells);
            });
        }
        return all;
    }();
    unsigned mixed = 0;
    for (unsigned face = 0; face < 6; ++face) {
        const NodeBits ofFace = inside & kFaces[face];
        mixed |= (!ofFace.areNone() && !(ofFace == kFaces[face]) ? 1u : 0u) << face;
    }
    return static_cast<std::uint8_t>(mixed);
}

/// Cells with corners on both sides.
void LeafBuilder::findCells(SurfaceLeaf& leaf, const double* values)
{
    NodeBits inside;
    constexpr std::size_t kWhole = kNodesOfLeaf / 8 * 8;
    for (std::size_t node = 0; node < kWhole; node += 8) {
        unsigned bits = 0;
        for (std::size_t i = 0; i < 8; i += Batch::size) {
            bits |= bitsOf(Batch::load(values + node + i) < 0.0) << i;
        }
        inside.setEight(node, bits);
    }
    for (std::size_t node = kWhole; node < kNodesOfLeaf; ++node) {
        if (values[node] < 0) {
            inside.set(node);
        }
    }
    NodeBits some = inside;
    NodeBits every = inside;
    for (const std::uint32_t stride : NodeBits::kStride) {
        some = some | some.after(stride);
        every = every & every.after(stride);
    }
    const NodeBits active = (some ^ every) & kLowerCorners;
    if (active.areNone()) {
        return;
    }
    leaf._inside = inside;
    leaf._active = active;
    for (std::size_t part = 0; part < 8; ++part) {
        const bool isSampled = (leaf._place.sampled >> part & 1) != 0;
        leaf._areBoundsRight = leaf._areBoundsRight && (isSampled || (active & cellsOfPart(part)).areNone());
    }
    leaf._mixedFaces = mixedFaces(inside);
    leaf._cellAt.assign(kCellsOfLeaf, 0);
    if (!leaf._edgeAt) {
        leaf._edgeAt.reset(new SurfaceLeaf::EdgeTable);
    }
    leaf._cells.reserve(96);
    active.forEach([&](std::uint32_t node) {
        const std::uint64_t lower = inside.from(node);
        const std::uint64_t upper = inside.from(node + NodeBits::kStride[2]);
        const auto corners = static_cast<std::uint8_t>((lower & 3) | (lower >> kLeafNodes & 3) << 2 |
                                                       (upper & 3) << 4 | (upper >> kLeafNodes & 3) << 6);
        const std::array<std::uint8_t, 3>& index = indexOfNode(node);
        const std::uint32_t place = cellPlace(index[0], index[1], index[2]);
        ActiveCell& cell = leaf._cells.emplace_back();
        cell.place = static_cast<std::uint16_t>(place);
        cell.inside = corners;
        cell.faceCenters = 0;
        leaf._cellAt[place] = static_cast<std::uint16_t>(leaf._cells.size());
        for (unsigned faces = ambiguousFaces(corners); faces != 0; faces &= faces - 1) {
            _centers.push_back({&leaf, static_cast<std::uint16_t>(leaf._cells.size() - 1),
                                static_cast<std::uint8_t>(std::countr_zero(faces))});
        }
    });
}

void LeafBuilder::askFaceCenters()
{
    if (_centers.empty()) {
        return;
    }
    _points.reset(_centers.size());
    for (const Center& center : _centers) {
        _points.use(center.leaf->_field);
        const Index3 cell = indexOfCell(center.leaf->_cells[center.cell].place);
        const std::size_t across = center.face / 2u;
        Point p;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::int32_t node = center.leaf->global(axis, cell[axis]);
            // From the lower and the upper node, for which both cells of the face have the same bits.
            p[axis] = axis == across
                          ? _grid.coordinate(axis, node + center.face % 2)
                          : 0.5 * (_grid.coordinate(axis, node) + _grid.coordinate(axis, node + 1));
        }
        _points.add(p);
    }
    evaluate(_points);
    for (std::size_t i = 0; i < _centers.size(); ++i) {
        ActiveCell& cell = _centers[i].leaf->_cells[_centers[i].cell];
        cell.faceCenters = static_cast<std::uint8_t>(cell.faceCenters | (_points.values[i] < 0 ? 1u : 0u)
                                                                            << _centers[i].face);
    }
}

namespace {

/// The second difference of values along an edge: the mean of those at its ends, by the nodes before and
/// after them, or where they differ much the smaller one, so that a crease beside the edge doesn't count.
/// Both nodes lie in the part of the leaf that the edge lies in, as in others nothing may have been sampled;
/// leaves that share the edge have the same ones.
/// @param value  at the edge's lower end.
/// @param along  number of that node along the edge's axis.
double bendAlong(const double* value, std::uint32_t stride, std::uint32_t along)
{
    constexpr std::uint32_t kLast = kLeafCells / 2 - 1;
    const std::uint32_t place = along & kLast;
    const double lower = *(value - (place > 0 ? stride : 0)) - 2 * value[0] + value[stride];
    const double upper = value[0] - 2 * value[stride] + value[place < kLast ? 2 * stride : stride];
    const double ofOne = place == 0 ? upper : lower;
    const double least = std::abs(lower) < std::abs(upper) ? lower : upper;
    const double mean = 0.5 * (lower + upper);
    const double ofBoth = std::abs(mean) < 2 * std::abs(least) ? mean : least;
    return place == 0 || place == kLast ? ofOne : ofBoth;
}

} // namespace

/// Takes the numbers of edges in the face between a leaf and one below it from that.
/// @param axis   of the edges.
/// @param below  along `across`.
/// @return the edges that are left.
NodeBits LeafBuilder::takeEdges(SurfaceLeaf& leaf, const SurfaceLeaf& below, std::size_t across,
                                std::size_t axis, const NodeBits& crossed)
{
    if (below._cells.empty()) {
        return crossed;
    }
    const std::uint32_t shift = kLeafCells * NodeBits::kStride[across];
    const NodeBits taken = crossed & kLowerFaces[across] & crossedAlong(below._inside, axis).after(shift);
    taken.forEach([&](std::uint32_t node) {
        (*leaf._edgeAt)[axis * kNodesOfLeaf + node] = below.edgeNumber(axis, node + shift);
    });
    return crossed ^ taken;
}

/// Edges between nodes on two sides.
/// @param below  along x and y: leaves that have those in the face with it; may be null.
void LeafBuilder::findEdges(SurfaceLeaf& leaf, const std::array<const SurfaceLeaf*, 2>& below,
                            const double* values)
{
    double coordinates[3][kLeafNodes];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::int32_t i = 0; i < kLeafNodes; ++i) {
            coordinates[axis][i] = _grid.coordinate(axis, leaf.global(axis, i));
        }
    }
    _roots.reserve(3 * kNodesOfLeaf);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        std::uint16_t* const edgeAt = leaf._edgeAt->data() + axis * kNodesOfLeaf;
        const std::uint32_t stride = NodeBits::kStride[axis];
        NodeBits crossed = crossedAlong(leaf._inside, axis);
        for (std::size_t across = 0; across < 2; ++across) {
            if (below[across] && axis != across) {
                crossed = takeEdges(leaf, *below[across], across, axis, crossed);
            }
        }
        {
            EdgeRoots::Adding edges(_roots, axis, leaf._field);
            crossed.forEach([&](std::uint32_t node) {
                const std::array<std::uint8_t, 3>& index = indexOfNode(node);
                const Point p{coordinates[0][index[0]], coordinates[1][index[1]], coordinates[2][index[2]]};
                edgeAt[node] = static_cast<std::uint16_t>(edges.next());
                edges.add(p, values[node], values[node + stride],
                          bendAlong(values + node, stride, index[axis]));
            });
        }
        if (leaf.global(axis, 0) == 0 || leaf.global(axis, kLeafCells) > _grid.cells[axis]) {
            crossed.forEach([&](std::uint32_t node) {
                if (_grid.crossesBounds(axis, leaf.global(axis, indexOfNode(node)[axis]))) {
                    _roots.beginInMiddle(edgeAt[node]);
                }
            });
        }
    }
}

} // namespace zrk::surface
