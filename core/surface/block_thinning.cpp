#include "core/surface/block_thinning.h"

#include "core/surface/triangle_pairs.h"

#include <algorithm>
#include <cmath>

namespace zrk::surface {

namespace {

/// The flatness is reached in steps, so that little is spent where little is needed.
constexpr double kSteps[] = {1.0 / 8, 1.0};
constexpr int kFlipRounds = 4;
/// Rounds with more and more vertices held; then a block is left as it is.
constexpr int kRounds = 6;

constexpr std::size_t kLongestRing = 1024; ///< a vertex with more neighbours is no target

struct PointBox {
    Point lower{HUGE_VAL, HUGE_VAL, HUGE_VAL};
    Point upper{-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};

    void add(const Point& p)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            lower[axis] = std::min(lower[axis], p[axis]);
            upper[axis] = std::max(upper[axis], p[axis]);
        }
    }
    bool holds(const Point& p) const
    {
        return p[0] >= lower[0] && p[0] <= upper[0] && p[1] >= lower[1] && p[1] <= upper[1] &&
               p[2] >= lower[2] && p[2] <= upper[2];
    }
};

PointBox boxAround(const std::vector<Point>& positions, const Triangle& triangle)
{
    PointBox box;
    for (const std::uint32_t v : triangle) {
        box.add(positions[v]);
    }
    return box;
}

/// Which cells of a coarse raster the boxes reach into that were added. Boxes without a cell in common don't
/// overlap.
class BoxRaster {
public:
    explicit BoxRaster(const PointBox& bounds) : _lower(bounds.lower)
    {
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const double width = bounds.upper[axis] - bounds.lower[axis];
            _cellsOfLength[axis] = width > 0 ? kCells / width : 0;
        }
    }
    void add(const PointBox& box)
    {
        forEachRow(box, [](std::uint32_t& row, std::uint32_t cells) {
            row |= cells;
            return false;
        });
    }
    bool meets(const PointBox& box)
    {
        return forEachRow(box, [](std::uint32_t row, std::uint32_t cells) { return (row & cells) != 0; });
    }

private:
    static constexpr int kCells = 32;
    Point _lower;
    Point _cellsOfLength;
    std::array<std::uint32_t, kCells * kCells> _rows{};

    /// A place outside counts as the nearest cell.
    std::size_t cell(std::size_t axis, double place) const
    {
        return static_cast<std::size_t>(
            std::clamp((place - _lower[axis]) * _cellsOfLength[axis], 0.0, kCells - 1.0));
    }
    /// Calls use(row, cells in it) until that is true, and returns whether it was.
    template <class Use>
    bool forEachRow(const PointBox& box, const Use& use)
    {
        const std::uint32_t cells =
            ~0u >> (kCells - 1 - cell(0, box.upper[0])) & ~0u << cell(0, box.lower[0]);
        for (std::size_t z = cell(2, box.lower[2]); z <= cell(2, box.upper[2]); ++z) {
            for (std::size_t y = cell(1, box.lower[1]); y <= cell(1, box.upper[1]); ++y) {
                if (use(_rows[kCells * z + y], cells)) {
                    return true;
                }
            }
        }
        return false;
    }
};

} // namespace

void BlockThinner::thinLoaded()
{
    _isHeld.assign(_vertices.size(), 0);
    double margin = _limits.margin;
    for (int round = 0; round < kRounds; ++round) {
        loadTriangles();
        findOpposites();
        findMovable();
        if (std::find(_tries.begin(), _tries.end(), 1) == _tries.end()) {
            return;
        }
        collapseAll();
        if (!holdIntersections(margin)) {
            store();
            return;
        }
        margin *= 2;
    }
}

void BlockThinner::loadTriangles()
{
    _position.resize(_vertices.size());
    for (std::size_t v = 0; v < _vertices.size(); ++v) {
        _position[v] = _all.mesh.vertices[_vertices[v]];
    }
    const std::size_t count = _ids.size();
    _corner.assign(4 * count, kNone);
    _opposite.assign(4 * count, kNone);
    _anyCorner.assign(_vertices.size(), kNone);
    _normal.resize(count);
    _error.resize(count);
    _isChanged.assign(count, 0);
    for (std::size_t t = 0; t < count; ++t) {
        const Triangle& triangle = _all.mesh.triangles[_ids[t]];
        for (std::size_t k = 0; k < 3; ++k) {
            const std::uint32_t v = _localOf[triangle[k]];
            _corner[4 * t + k] = v;
            _anyCorner[v] = static_cast<std::uint32_t>(4 * t + k);
        }
        const Point& a = _position[_corner[4 * t]];
        _normal[t] = cross(_position[_corner[4 * t + 1]] - a, _position[_corner[4 * t + 2]] - a);
        normalize(_normal[t]);
        _error[t] = _all.error[_ids[t]];
    }
    _firstNormal = _normal;
}

/// Leaves only vertices with a short side to be tried.
void BlockThinner::tryShortEdges()
{
    const double longest = _limits.shortEdge * _limits.shortEdge;
    _isAtShortEdge.assign(_vertices.size(), 0);
    for (std::uint32_t t = 0; t < _ids.size(); ++t) {
        for (std::uint32_t c = 4 * t; c < 4 * t + 3; ++c) {
            const Point side = at(next(c)) - at(c);
            const std::uint8_t isShort = dot(side, side) <= longest ? 1 : 0;
            _isAtShortEdge[_corner[c]] |= isShort;
            _isAtShortEdge[_corner[next(c)]] |= isShort;
        }
    }
    for (std::size_t v = 0; v < _tries.size(); ++v) {
        _tries[v] &= _isAtShortEdge[v];
    }
}

/// Corners across sides, by lists of the corners whose side has no other yet, at its lower vertex.
void BlockThinner::findOpposites()
{
    // A side belongs to the corner that it lies across from.
    std::vector<std::uint32_t>& first = _mark;
    std::vector<Waiting>& waiting = _waiting;
    first.assign(_vertices.size(), kNone);
    waiting.resize(_corner.size());
    for (std::uint32_t t = 0; t < _ids.size(); ++t) {
        for (std::uint32_t c = 4 * t; c < 4 * t + 3; ++c) {
            const std::uint32_t from = _corner[next(c)];
            const std::uint32_t to = _corner[previous(c)];
            const std::uint32_t high = std::max(from, to);
            std::uint32_t* place = &first[std::min(from, to)];
            while (*place != kNone && waiting[*place].high != high) {
                place = &waiting[*place].following;
            }
            const std::uint32_t other = *place;
            if (other == kNone) {
                waiting[c] = {high, kNone};
                *place = c;
            } else {
                *place = waiting[other].following;
                _opposite[c] = other;
                _opposite[other] = c;
            }
        }
    }
    _mark.assign(_vertices.size(), 0);
    _search = 0;
}

void BlockThinner::findMovable()
{
    _isMovable = _within;
    _tries.assign(_vertices.size(), 0);
    for (std::uint32_t t = 0; t < _ids.size(); ++t) {
        const bool stays = !isOwn(t);
        for (std::uint32_t c = 4 * t; c < 4 * t + 3; ++c) {
            // A side without a neighbour makes both its ends stay.
            if (stays) {
                _isMovable[_corner[c]] = 0;
            }
            if (_opposite[c] == kNone) {
                _isMovable[_corner[next(c)]] = 0;
                _isMovable[_corner[previous(c)]] = 0;
            }
        }
    }
    for (std::size_t v = 0; v < _vertices.size(); ++v) {
        _isMovable[v] = _isMovable[v] && !_isHeld[v];
        _tries[v] = _isMovable[v] && _all.isFresh[_vertices[v]];
    }
    _sweepOf.assign(_vertices.size(), 0);
    _sweep = 0;
}

void BlockThinner::collapseAll()
{
    const std::vector<std::uint8_t> triedAtFirst = _tries;
    const auto collapseShortEdges = [&] {
        while (sweep(_limits.flatness, _limits.shortEdge) > 0) {
        }
    };
    tryShortEdges();
    collapseShortEdges();
    for (int round = 0; round < kFlipRounds && flipSlivers() > 0; ++round) {
        collapseShortEdges();
    }
    for (const double step : kSteps) {
        for (std::size_t v = 0; v < _tries.size(); ++v) {
            _tries[v] = _tries[v] || (triedAtFirst[v] && _anyCorner[v] != kNone);
        }
        while (sweep(step * _limits.flatness, HUGE_VAL) > 0) {
        }
    }
    for (int round = 0; round < kFlipRounds && flipSlivers() > 0; ++round) {
        while (sweep(_limits.flatness, HUGE_VAL) > 0) {
        }
    }
}

/// The corners of a vertex in order around it; false where the fan isn't closed.
bool BlockThinner::ringOf(std::uint32_t v, std::vector<std::uint32_t>& ring) const
{
    ring.clear();
    const std::uint32_t start = _anyCorner[v];
    std::uint32_t corner = start;
    do {
        ring.push_back(corner);
        const std::uint32_t across = _opposite[next(corner)];
        if (across == kNone || ring.size() > kLongestRing) {
            return false;
        }
        corner = next(across);
    } while (corner != start);
    return true;
}

/// Looks for triangles that pass through each other now and holds the vertices around them. False if there
/// are none.
bool BlockThinner::holdIntersections(double margin)
{
    std::vector<Triangle> triangles;
    std::vector<std::uint8_t> isChanged;
    PointBox changed;
    for (std::size_t t = 0; t < _ids.size(); ++t) {
        if (_corner[4 * t] != kNone) {
            triangles.push_back({_corner[4 * t], _corner[4 * t + 1], _corner[4 * t + 2]});
            isChanged.push_back(_isChanged[t]);
            for (std::size_t k = 0; k < 3 && _isChanged[t]; ++k) {
                changed.add(_position[triangles.back()[k]]);
            }
        }
    }
    if (std::find(isChanged.begin(), isChanged.end(), 1) == isChanged.end()) {
        return false;
    }
    BoxRaster raster(changed);
    for (std::size_t t = 0; t < triangles.size(); ++t) {
        if (isChanged[t]) {
            raster.add(boxAround(_position, triangles[t]));
        }
    }
    // Vertices that only far ones have stand behind the others for as long as this takes.
    const std::size_t vertexCount = _vertices.size();
    for (const std::uint32_t id : _farOnes) {
        const Triangle& triangle = _all.mesh.triangles[id];
        if (raster.meets(boxAround(_all.mesh.vertices, triangle))) {
            triangles.push_back({localOf(triangle[0]), localOf(triangle[1]), localOf(triangle[2])});
            isChanged.push_back(0);
        }
    }
    for (std::size_t v = vertexCount; v < _vertices.size(); ++v) {
        _position.push_back(_all.mesh.vertices[_vertices[v]]);
    }
    std::vector<PointBox> held;
    forEachIntersection(_position, triangles, isChanged, [&](std::uint32_t s, std::uint32_t t) {
        const PointBox first = boxAround(_position, triangles[s]);
        const PointBox second = boxAround(_position, triangles[t]);
        PointBox box;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            box.lower[axis] = std::max(first.lower[axis], second.lower[axis]) - margin;
            box.upper[axis] = std::min(first.upper[axis], second.upper[axis]) + margin;
        }
        held.push_back(box);
    });
    _vertices.resize(vertexCount);
    for (const PointBox& box : held) {
        for (std::size_t v = 0; v < vertexCount; ++v) {
            _isHeld[v] = _isHeld[v] || box.holds(_position[v]);
        }
    }
    return !held.empty();
}

/// Writes the block's triangles back. A float that is rounded down loses nothing that matters beside the
/// rounding of positions.
void BlockThinner::store()
{
    for (std::size_t v = 0; v < _vertices.size(); ++v) {
        if (_isMovable[v]) {
            _all.isFresh[_vertices[v]] = 0;
        }
    }
    for (std::size_t t = 0; t < _ids.size(); ++t) {
        if (_isChanged[t]) {
            Triangle& triangle = _all.mesh.triangles[_ids[t]];
            if (_corner[4 * t] == kNone) {
                triangle = kNoTriangle;
                continue;
            }
            for (std::size_t k = 0; k < 3; ++k) {
                triangle[k] = _vertices[_corner[4 * t + k]];
            }
            _all.error[_ids[t]] = _error[t];
        }
    }
}

} // namespace zrk::surface
