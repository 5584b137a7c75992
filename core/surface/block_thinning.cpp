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
struct HeldBox {
    Point lower, upper;
    bool holds(const Point& p) const
    {
        return p[0] >= lower[0] && p[0] <= upper[0] && p[1] >= lower[1] && p[1] <= upper[1] &&
               p[2] >= lower[2] && p[2] <= upper[2];
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
    const std::size_t count = _nearCount;
    _corner.resize(3 * count);
    _opposite.assign(3 * count, kNone);
    _anyCorner.assign(_vertices.size(), kNone);
    _normal.resize(count);
    _error.resize(count);
    _isChanged.assign(count, 0);
    for (std::size_t t = 0; t < count; ++t) {
        const Triangle& triangle = _all.mesh.triangles[_ids[t]];
        for (std::size_t k = 0; k < 3; ++k) {
            const std::uint32_t v = _localOf[triangle[k]];
            _corner[3 * t + k] = v;
            _anyCorner[v] = static_cast<std::uint32_t>(3 * t + k);
        }
        const Point& a = _position[_corner[3 * t]];
        _normal[t] = cross(_position[_corner[3 * t + 1]] - a, _position[_corner[3 * t + 2]] - a);
        normalize(_normal[t]);
        _error[t] = _all.error[_ids[t]];
    }
    _firstNormal = _normal;
}

/// Corners across sides, by lists of the corners that begin a side at its lower vertex.
void BlockThinner::findOpposites()
{
    // A side belongs to the corner that it lies across from.
    std::vector<std::uint32_t>& first = _mark;
    std::vector<std::uint32_t>& following = _other;
    first.assign(_vertices.size(), kNone);
    following.assign(_corner.size(), kNone);
    for (std::uint32_t c = 0; c < _corner.size(); ++c) {
        const std::uint32_t from = _corner[next(c)];
        const std::uint32_t to = _corner[previous(c)];
        const std::uint32_t low = std::min(from, to);
        const std::uint32_t high = std::max(from, to);
        std::uint32_t other = first[low];
        while (other != kNone && std::max(_corner[next(other)], _corner[previous(other)]) != high) {
            other = following[other];
        }
        if (other == kNone) {
            following[c] = first[low];
            first[low] = c;
        } else {
            _opposite[c] = other;
            _opposite[other] = c;
        }
    }
    _mark.assign(_vertices.size(), 0);
    _search = 0;
}

void BlockThinner::findMovable()
{
    _isMovable = _within;
    _tries.assign(_vertices.size(), 0);
    for (std::size_t c = 0; c < _corner.size(); ++c) {
        // A side without a neighbour makes both its ends stay.
        if (!isOwn(static_cast<std::uint32_t>(c / 3))) {
            _isMovable[_corner[c]] = 0;
        }
        if (_opposite[c] == kNone) {
            const auto corner = static_cast<std::uint32_t>(c);
            _isMovable[_corner[next(corner)]] = 0;
            _isMovable[_corner[previous(corner)]] = 0;
        }
    }
    for (std::size_t v = 0; v < _vertices.size(); ++v) {
        _isMovable[v] = _isMovable[v] && !_isHeld[v] && _anyCorner[v] != kNone;
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
    for (std::size_t t = 0; t < _nearCount; ++t) {
        if (_corner[3 * t] != kNone) {
            triangles.push_back({_corner[3 * t], _corner[3 * t + 1], _corner[3 * t + 2]});
            isChanged.push_back(_isChanged[t]);
        }
    }
    for (std::size_t t = _nearCount; t < _ids.size(); ++t) {
        const Triangle& triangle = _all.mesh.triangles[_ids[t]];
        triangles.push_back({_localOf[triangle[0]], _localOf[triangle[1]], _localOf[triangle[2]]});
        isChanged.push_back(0);
    }
    std::vector<HeldBox> held;
    forEachIntersection(_position, triangles, isChanged, [&](std::uint32_t s, std::uint32_t t) {
        HeldBox box;
        for (std::size_t axis = 0; axis < 3; ++axis) {
            const auto ends = [&](const Triangle& triangle) {
                return std::minmax({_position[triangle[0]][axis], _position[triangle[1]][axis],
                                    _position[triangle[2]][axis]});
            };
            const auto [sLower, sUpper] = ends(triangles[s]);
            const auto [tLower, tUpper] = ends(triangles[t]);
            box.lower[axis] = std::max(sLower, tLower) - margin;
            box.upper[axis] = std::min(sUpper, tUpper) + margin;
        }
        held.push_back(box);
    });
    for (const HeldBox& box : held) {
        for (std::size_t v = 0; v < _vertices.size(); ++v) {
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
    for (std::size_t t = 0; t < _nearCount; ++t) {
        if (_isChanged[t]) {
            Triangle& triangle = _all.mesh.triangles[_ids[t]];
            if (_corner[3 * t] == kNone) {
                triangle = kNoTriangle;
                continue;
            }
            for (std::size_t k = 0; k < 3; ++k) {
                triangle[k] = _vertices[_corner[3 * t + k]];
            }
            _all.error[_ids[t]] = _error[t];
        }
    }
}

} // namespace zrk::surface
