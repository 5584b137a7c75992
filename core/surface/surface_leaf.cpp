#include "core/surface/surface_leaf.h"

#include <cmath>

namespace zrk::surface {

namespace {

/// Vertices and crossings stay off the walls of cells by this share of a cell: on them, triangles of
/// neighbouring cells would touch.
constexpr double kMargin = 1.0 / 1024;
constexpr int kRootRounds = 6;
constexpr double kRootTolerance = 1e-3; ///< of the difference along the edge
constexpr double kGradientStep = 1e-4;  ///< of a cell
constexpr int kMoveRounds = 3;

Point clamped(const Point& p, const Point& lower, const Point& upper)
{
    Point q;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        q[axis] = std::min(std::max(p[axis], lower[axis]), upper[axis]);
    }
    return q;
}

} // namespace

void LeafBuilder::evaluate(Positions& positions)
{
    positions.values.resize(positions.x.size());
    _field.values(positions.x.data(), positions.y.data(), positions.z.data(), positions.x.size(),
                  positions.values.data());
}

/// A position and one a step away along each axis, for the gradient.
void LeafBuilder::addWithSteps(const Point& p)
{
    _points.add(p);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        Point q = p;
        q[axis] += kGradientStep * _grid.spacing[axis];
        _points.add(q);
    }
}

/// Gradient by one-sided differences, from the values of `addWithSteps` that begin at `place`.
Point LeafBuilder::gradient(std::size_t place) const
{
    Point g;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const double step = (_points.x[place + 1 + axis] - _points.x[place]) +
                            (_points.y[place + 1 + axis] - _points.y[place]) +
                            (_points.z[place + 1 + axis] - _points.z[place]);
        g[axis] = (_points.values[place + 1 + axis] - _points.values[place]) / step;
    }
    return g;
}

void LeafBuilder::build(std::span<SurfaceLeaf* const> leaves)
{
    sampleNodes(leaves);
    _centers.clear();
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        findCells(*leaves[l], _samples.values.data() + l * kNodesOfLeaf);
    }
    askFaceCenters();
    _roots.clear();
    _firstPlane.clear();
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        _firstPlane.push_back(_roots.size());
        findEdges(*leaves[l], _samples.values.data() + l * kNodesOfLeaf);
    }
    refineRoots();
    findPlanes();
    _moved.clear();
    for (std::size_t l = 0; l < leaves.size(); ++l) {
        placeVertices(*leaves[l], _planes.data() + _firstPlane[l]);
    }
    moveOntoSurface();
}

void LeafBuilder::sampleNodes(std::span<SurfaceLeaf* const> leaves)
{
    _samples.clear();
    for (const SurfaceLeaf* leaf : leaves) {
        for (std::int32_t k = 0; k < kLeafNodes; ++k) {
            for (std::int32_t j = 0; j < kLeafNodes; ++j) {
                const double y = _grid.coordinate(1, leaf->global(1, j));
                const double z = _grid.coordinate(2, leaf->global(2, k));
                for (std::int32_t i = 0; i < kLeafNodes; ++i) {
                    _samples.add({_grid.coordinate(0, leaf->global(0, i)), y, z});
                }
            }
        }
    }
    evaluate(_samples);
}

/// Cells with corners on both sides, found by rows of bits.
void LeafBuilder::findCells(SurfaceLeaf& leaf, const double* values)
{
    std::uint32_t rows[kLeafNodes][kLeafNodes];
    bool anyInside = false;
    bool anyOutside = false;
    for (std::int32_t k = 0; k < kLeafNodes; ++k) {
        for (std::int32_t j = 0; j < kLeafNodes; ++j) {
            std::uint32_t row = 0;
            for (std::int32_t i = 0; i < kLeafNodes; ++i) {
                row |= static_cast<std::uint32_t>(values[nodePlace(i, j, k)] < 0) << i;
            }
            rows[k][j] = row;
            anyInside = anyInside || row != 0;
            anyOutside = anyOutside || row != (1u << kLeafNodes) - 1;
        }
    }
    if (!anyInside || !anyOutside) {
        return;
    }
    leaf._tables = std::make_unique<SurfaceLeaf::Tables>();
    for (std::int32_t k = 0; k < kLeafCells; ++k) {
        for (std::int32_t j = 0; j < kLeafCells; ++j) {
            const std::uint32_t r[4] = {rows[k][j], rows[k][j + 1], rows[k + 1][j], rows[k + 1][j + 1]};
            const std::uint32_t some = r[0] | r[1] | r[2] | r[3];
            const std::uint32_t every = r[0] & r[1] & r[2] & r[3];
            std::uint32_t active = (some | some >> 1) & ~(every & every >> 1) & ((1u << kLeafCells) - 1);
            for (; active != 0; active &= active - 1) {
                const int i = __builtin_ctz(active);
                std::uint8_t inside = 0;
                for (int pair = 0; pair < 4; ++pair) {
                    inside = static_cast<std::uint8_t>(inside | (r[pair] >> i & 3u) << 2 * pair);
                }
                const std::uint32_t place = cellPlace(i, j, k);
                leaf._cells.push_back({static_cast<std::uint16_t>(place), inside, 0, 0});
                leaf._tables->cellAt[place] = static_cast<std::uint16_t>(leaf._cells.size());
                for (int face = 0; face < 6; ++face) {
                    if (isAmbiguous(face, inside)) {
                        _centers.push_back({&leaf, static_cast<std::uint16_t>(leaf._cells.size() - 1),
                                            static_cast<std::uint8_t>(face)});
                    }
                }
            }
        }
    }
}

void LeafBuilder::askFaceCenters()
{
    if (_centers.empty()) {
        return;
    }
    _points.clear();
    for (const Center& center : _centers) {
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

void LeafBuilder::findEdges(SurfaceLeaf& leaf, const double* values)
{
    for (const ActiveCell& cell : leaf._cells) {
        const auto [i, j, k] = indexOfCell(cell.place);
        const CellPatches& patches = cell.patches();
        for (int edge = 0; edge < 12; ++edge) {
            if (patches.patchOf[static_cast<std::size_t>(edge)] == kNoPatch) {
                continue;
            }
            const int low = lowerCorner(edge);
            const int high = upperCorner(edge);
            const auto axis = static_cast<std::size_t>(edge / 4);
            const std::uint32_t from = nodePlace(i + (low & 1), j + (low >> 1 & 1), k + (low >> 2));
            const std::uint32_t to = nodePlace(i + (high & 1), j + (high >> 1 & 1), k + (high >> 2));
            std::uint16_t& number = leaf._tables->edgeAt[axis][from];
            if (number != 0) {
                continue;
            }
            const double difference = std::abs(values[to] - values[from]);
            _roots.push_back({&leaf, static_cast<std::uint8_t>(axis), static_cast<std::uint16_t>(from), 0, 1,
                              values[from], values[to],
                              std::isfinite(difference) ? kRootTolerance * difference : 0.0,
                              _grid.crossesBounds(axis, leaf.global(axis, indexOfNode(from)[axis]))});
            leaf._crossings.push_back(0);
            number = static_cast<std::uint16_t>(leaf._crossings.size());
        }
    }
}

Point LeafBuilder::edgePoint(const Root& root, double share) const
{
    const Index3 local = indexOfNode(root.node);
    Point p;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        p[axis] = _grid.coordinate(axis, root.leaf->global(axis, local[axis]));
    }
    p[root.axis] += share * _grid.spacing[root.axis];
    return p;
}

/// Bracketed secants (the Illinois rule), or the middle where an end isn't finite.
void LeafBuilder::refineRoots()
{
    _open.resize(_roots.size());
    for (std::uint32_t r = 0; r < _roots.size(); ++r) {
        _open[r] = r;
    }
    for (int round = 0; round < kRootRounds && !_open.empty(); ++round) {
        _points.clear();
        for (const std::uint32_t r : _open) {
            Root& root = _roots[r];
            const double share =
                root.from - root.fromValue * (root.to - root.from) / (root.toValue - root.fromValue);
            const bool isUsable = share > root.from && share < root.to && !(round == 0 && root.crossesBounds);
            root.at = isUsable ? share : 0.5 * (root.from + root.to);
            _points.add(edgePoint(root, root.at));
        }
        evaluate(_points);
        std::size_t kept = 0;
        for (std::size_t i = 0; i < _open.size(); ++i) {
            Root& root = _roots[_open[i]];
            const double value = _points.values[i];
            if (std::abs(value) <= root.tolerance) {
                continue;
            }
            // An end that stays for a second time counts half, so that it is moved, too.
            if ((value < 0) == (root.fromValue < 0)) {
                root.from = root.at;
                root.fromValue = value;
                root.toValue *= root.moved == -1 ? 0.5 : 1;
                root.moved = -1;
            } else {
                root.to = root.at;
                root.toValue = value;
                root.fromValue *= root.moved == 1 ? 0.5 : 1;
                root.moved = 1;
            }
            _open[kept++] = _open[i];
        }
        _open.resize(kept);
    }
    for (const Root& root : _roots) {
        root.leaf->_crossings[root.leaf->_tables->edgeAt[root.axis][root.node] - 1u] =
            std::min(std::max(root.at, kMargin), 1 - kMargin);
    }
}

/// Tangent planes at the crossings, in the order of the roots. What is left of the root's value moves the
/// plane.
void LeafBuilder::findPlanes()
{
    _points.clear();
    for (const Root& root : _roots) {
        addWithSteps(edgePoint(root, root.at));
    }
    evaluate(_points);
    _planes.resize(_roots.size());
    for (std::size_t r = 0; r < _roots.size(); ++r) {
        const Point p{_points.x[4 * r], _points.y[4 * r], _points.z[4 * r]};
        Point normal = gradient(4 * r);
        const double slope = normalize(normal);
        const double residue = _points.values[4 * r] / slope;
        if (slope > 0 && std::isfinite(slope) && std::isfinite(residue)) {
            _planes[r] = {p, normal, dot(normal, p) - residue};
        } else {
            _planes[r] = {p, {}, 0};
        }
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
                              std::span<const TangentPlane> planes, Point vertex) const
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
        const TangentPlane& plane = planes[next++];
        if (_grid.crossesBounds(axis, leaf.global(axis, local[axis])) && leaf.crossing(axis, node) == 0.5) {
            isFixed[axis] = true;
            vertex[axis] = leaf.global(axis, local[axis]) == 0 ? _grid.lower[axis] : _grid.upper[axis];
        } else {
            normal = normal + plane.normal;
            offset += plane.offset;
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

void LeafBuilder::placeVertices(SurfaceLeaf& leaf, const TangentPlane* planes)
{
    for (ActiveCell& cell : leaf._cells) {
        const Index3 local = indexOfCell(cell.place);
        const CellPatches& patches = cell.patches();
        cell.firstVertex = static_cast<std::uint32_t>(leaf._vertices.size());
        const bool isSharp = _isSharp || (_isOpen && isAtBounds(leaf, local));
        Point lower;
        Point upper;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const std::int32_t node = leaf.global(axis, local[axis]);
            const double margin = kMargin * _grid.spacing[axis];
            lower[axis] = _grid.coordinate(axis, node) + margin;
            upper[axis] = _grid.coordinate(axis, node + 1) - margin;
        }
        for (std::uint8_t patch = 0; patch < patches.count; ++patch) {
            TangentPlane ofPatch[12];
            std::size_t count = 0;
            Point mass{};
            for (int edge = 0; edge < 12; ++edge) {
                if (patches.patchOf[static_cast<std::size_t>(edge)] != patch) {
                    continue;
                }
                const int low = lowerCorner(edge);
                const std::uint32_t node =
                    nodePlace(local[0] + (low & 1), local[1] + (low >> 1 & 1), local[2] + (low >> 2));
                ofPatch[count] = planes[leaf._tables->edgeAt[static_cast<std::size_t>(edge / 4)][node] - 1u];
                mass = mass + ofPatch[count].at;
                ++count;
            }
            if (patches.count > 1) {
                // Patches of one cell are kept apart by their crossings, so their middles are safe.
                mass = mass * (1.0 / static_cast<double>(count));
                leaf._vertices.push_back({clamped(mass, lower, upper), false});
                continue;
            }
            const PlacedVertex placed = placeVertex({ofPatch, count}, lower, upper, isSharp);
            if (_isOpen && isSharp) {
                const Point onRim = movedToRim(leaf, cell, {ofPatch, count}, placed.position);
                leaf._vertices.push_back({clamped(onRim, lower, upper), placed.isOnCrease});
                continue;
            }
            if (placed.isOnCrease && placed.wasOutside) {
                _moved.push_back({&leaf, static_cast<std::uint32_t>(leaf._vertices.size()), lower, upper});
            }
            leaf._vertices.push_back({placed.position, placed.isOnCrease});
        }
    }
}

/// Newton's steps along the gradient, within the cell.
void LeafBuilder::moveOntoSurface()
{
    for (int round = 0; round < kMoveRounds && !_moved.empty(); ++round) {
        _points.clear();
        for (const Moved& moved : _moved) {
            addWithSteps(moved.leaf->_vertices[moved.vertex].position);
        }
        evaluate(_points);
        for (std::size_t m = 0; m < _moved.size(); ++m) {
            const Moved& moved = _moved[m];
            const Point g = gradient(4 * m);
            const double squared = dot(g, g);
            const double factor = -_points.values[4 * m] / squared;
            if (!std::isfinite(factor) || !(squared > 0)) {
                continue;
            }
            Point& position = moved.leaf->_vertices[moved.vertex].position;
            position = clamped(position + g * factor, moved.lower, moved.upper);
        }
    }
}

} // namespace zrk::surface
