#include "core/surface/surface_leaf.h"

#include "core/values/batch.h"

#include <algorithm>
#include <bit>
#include <cassert>
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

static_assert(kLeafCells % Batch::size == 0);

} // namespace

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

/// Whether a node lies in a part of a leaf, on its faces included.
constexpr bool isInPart(std::size_t part, std::int32_t i, std::int32_t j, std::int32_t k)
{
    constexpr std::int32_t kMiddle = kLeafCells / 2;
    const auto isIn = [part](std::size_t axis, std::int32_t along) {
        return (part >> axis & 1) != 0 ? along >= kMiddle : along <= kMiddle;
    };
    return isIn(0, i) && isIn(1, j) && isIn(2, k);
}

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

namespace {

constexpr std::int32_t kMiddle = kLeafCells / 2;

// Rows mostly have one of these lengths, which the compiler unrolls.

void copyRow(const double* from, std::int32_t count, double* to)
{
    if (count == kLeafCells) {
        std::copy_n(from, kLeafCells, to);
    } else {
        std::copy_n(from, count, to);
    }
}

void fillRow(double value, std::int32_t count, double* to)
{
    if (count == kLeafCells) {
        std::fill_n(to, kLeafCells, value);
    } else {
        std::fill_n(to, count, value);
    }
}

/// Nodes of a row along x, from the first up to before the end, that lie in parts of a leaf that are sampled.
/// The first ones, up to before `own`, are samples of the leaf below along x; all of them of that along y.
struct SampledRow {
    std::int32_t first, own, end;
};

/// Calls found(j, k, row) for each row of a leaf of which something is sampled.
/// @param below  along x and y: leaves that it shares samples with; may be null.
template <class Found>
void forEachSampledRow(const LeafPlace& place, const std::array<const SurfaceLeaf*, 2>& below,
                       const Found& found)
{
    // The parts of a leaf at lower x that hold a row.
    static constexpr auto kLowerParts = [] {
        std::array<std::uint8_t, std::size_t{kLeafNodes} * kLeafNodes> all{};
        for (unsigned part = 0; part < 8; part += 2) {
            for (std::int32_t k = 0; k < kLeafNodes; ++k) {
                for (std::int32_t j = 0; j < kLeafNodes; ++j) {
                    std::uint8_t& parts = all[static_cast<std::size_t>(k * kLeafNodes + j)];
                    parts = static_cast<std::uint8_t>(parts | (isInPart(part, 0, j, k) ? 1u : 0u) << part);
                }
            }
        }
        return all;
    }();
    // The halves of a row that a leaf has sampled: bit 0 the lower, bit 1 the upper one.
    const auto halves = [](unsigned sampled, std::uint8_t parts) {
        return ((sampled & parts) != 0 ? 1u : 0u) | ((sampled >> 1 & parts) != 0 ? 2u : 0u);
    };
    const unsigned sampled = place.sampled;
    const unsigned alongX = below[0] ? below[0]->place().sampled : 0;
    const unsigned alongY = below[1] ? below[1]->place().sampled : 0;
    const std::uint8_t* parts = kLowerParts.data();
    for (std::int32_t k = 0; k < kLeafNodes; ++k) {
        for (std::int32_t j = 0; j < kLeafNodes; ++j, ++parts) {
            const unsigned has = halves(sampled, *parts);
            if (has == 0) {
                continue;
            }
            SampledRow row;
            row.first = (has & 1) != 0 ? 0 : kMiddle;
            row.end = (has & 2) != 0 ? kLeafNodes : kMiddle + 1;
            row.own = (has & 1) != 0 && (halves(alongX, *parts) & 2) != 0 ? 1 : row.first;
            if (j == 0 && (has & ~halves(alongY, parts[kLeafCells])) == 0) {
                row.own = row.end;
            }
            found(j, k, row);
        }
    }
}

} // namespace

/// Finds the leaves of a group that share faces with each other.
void LeafBuilder::findShared(std::span<SurfaceLeaf* const> leaves)
{
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        for (std::size_t axis = 0; axis < 2; ++axis) {
            Index3 at = leaves[l]->at();
            --at[axis];
            const auto found = std::find_if(leaves.begin(), leaves.begin() + static_cast<std::ptrdiff_t>(l),
                                            [&](const SurfaceLeaf* leaf) { return leaf->at() == at; });
            const bool isShared = *found != leaves[l] && SurfaceLeaf::areTogether(at, leaves[l]->at());
            _below[l][axis] = isShared ? *found : nullptr;
            _valuesBelow[l][axis] = static_cast<std::size_t>(found - leaves.begin()) * kNodesOfLeaf;
        }
    }
}

/// Samples the parts of leaves that may hold a piece of the surface. In others any number stands for a side.
void LeafBuilder::sampleNodes(std::span<SurfaceLeaf* const> leaves)
{
    _samples.reset(leaves.size() * kNodesOfLeaf);
    _nodeValues.resize(leaves.size() * kNodesOfLeaf);
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        _samples.use(leaves[l]->_field);
        addSamples(*leaves[l], _below[l]);
    }
    evaluate(_samples);
    const double* value = _samples.values.data();
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        double* const values = _nodeValues.data() + l * kNodesOfLeaf;
        const double* const alongX = _nodeValues.data() + _valuesBelow[l][0];
        const double* const alongY = _nodeValues.data() + _valuesBelow[l][1];
        fillSides(leaves[l]->_place, values);
        forEachSampledRow(leaves[l]->_place, _below[l],
                          [&](std::int32_t j, std::int32_t k, const SampledRow& row) {
                              double* const to = values + nodePlace(0, j, k);
                              if (row.own == row.end) {
                                  std::copy(alongY + nodePlace(row.first, kLeafCells, k),
                                            alongY + nodePlace(row.end, kLeafCells, k), to + row.first);
                                  return;
                              }
                              if (row.own > row.first) {
                                  to[0] = alongX[nodePlace(kLeafCells, j, k)];
                              }
                              copyRow(value, row.end - row.own, to + row.own);
                              value += row.end - row.own;
                          });
    }
}

/// What stands for the sides of parts that aren't sampled.
void LeafBuilder::fillSides(const LeafPlace& place, double* values)
{
    if (place.sampled == 0xff) {
        return;
    }
    std::fill_n(values, kNodesOfLeaf, 1.0);
    for (std::size_t part = 0; part < 8; ++part) {
        if ((place.inside >> part & 1) == 0) {
            continue;
        }
        for (std::int32_t k = 0; k <= kMiddle; ++k) {
            for (std::int32_t j = 0; j <= kMiddle; ++j) {
                const auto at = [part](std::size_t axis, std::int32_t along) {
                    return (part >> axis & 1) != 0 ? along + kMiddle : along;
                };
                std::fill_n(values + nodePlace(at(0, 0), at(1, j), at(2, k)), kMiddle + 1, -1.0);
            }
        }
    }
}

/// @param below  along x and y: leaves whose samples are taken where they lie in a face with it; may be null.
void LeafBuilder::addSamples(const SurfaceLeaf& leaf, const std::array<const SurfaceLeaf*, 2>& below)
{
    double coordinates[3][kLeafNodes];
    for (std::size_t axis = 0; axis < 3; ++axis) {
        for (std::int32_t i = 0; i < kLeafNodes; ++i) {
            coordinates[axis][i] = _grid.coordinate(axis, leaf.global(axis, i));
        }
    }
    std::size_t count = _samples.count;
    double* const x = _samples.x.data();
    double* const y = _samples.y.data();
    double* const z = _samples.z.data();
    forEachSampledRow(leaf._place, below, [&](std::int32_t j, std::int32_t k, const SampledRow& row) {
        const std::int32_t own = row.end - row.own;
        copyRow(coordinates[0] + row.own, own, x + count);
        fillRow(coordinates[1][j], own, y + count);
        fillRow(coordinates[2][k], own, z + count);
        count += static_cast<std::size_t>(own);
    });
    _samples.count = count;
}

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
