#include "core/surface/block_thinning.h"

#include "core/surface/triangle_pairs.h"

#include <algorithm>
#include <cmath>

namespace zrk::surface {

namespace {

constexpr double kCosineAtOnce = 0.8987940462991670;   // of 26 degrees
constexpr double kCosineInABlock = 0.9702957262759965; // of 14 degrees
/// Smallest sine of an angle that a collapse may make, unless there was a smaller one around the vertex.
constexpr double kLeastSine = 0.05;
/// Below, a triangle's normal says little. That of a tiny one doesn't, either.
constexpr double kSineOfSliver = 0.02;
/// The flatness is reached in steps, so that little is spent where little is needed.
constexpr double kSteps[] = {1.0 / 8, 1.0};
constexpr int kFlipRounds = 4;
/// Rounds with more and more vertices held; then a block is left as it is.
constexpr int kRounds = 6;

constexpr std::size_t kLongestRing = 1024; ///< a vertex with more neighbours is no target
/// A vertex moves by no less than this share of what its old triangles' planes say; what says more isn't
/// looked at.
constexpr double kLeastShare = 0.25;

/// The square of the sine of the smallest angle, from the squares of twice the area and of the sides.
double leastSineSquared(double area, double a, double b, double c)
{
    const double product = std::max({a * b, b * c, c * a});
    return product > 0 ? area / product : 0;
}

/// The sine of the smallest angle, from twice the area.
double leastSine(double twiceArea, const Point& a, const Point& b, const Point& c)
{
    return std::sqrt(
        leastSineSquared(twiceArea * twiceArea, dot(b - a, b - a), dot(c - b, c - b), dot(a - c, a - c)));
}

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
    const std::size_t count = _ids.size();
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
        _isMovable[v] = _isMovable[v] && !_isHeld[v];
        _tries[v] = _isMovable[v] && _all.isFresh[_vertices[v]];
    }
    _sweepOf.assign(_vertices.size(), 0);
    _sweep = 0;
}

void BlockThinner::collapseAll()
{
    const std::vector<std::uint8_t> triedAtFirst = _tries;
    while (sweep(_limits.flatness, _limits.shortEdge) > 0) {
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

/// Turns the long side of each triangle whose corner lies close to the middle of it. Returns how many.
std::size_t BlockThinner::flipSlivers()
{
    std::size_t flipped = 0;
    for (std::uint32_t c = 0; c < _corner.size(); ++c) {
        if (isOwn(c / 3) && tryFlip(c)) {
            ++flipped;
        }
    }
    return flipped;
}

/// Joins a corner that lies close to the side across from it to the corner on that side's other side.
bool BlockThinner::tryFlip(std::uint32_t corner)
{
    const std::uint32_t other = _opposite[corner];
    if (other == kNone || !isOwn(other / 3)) {
        return false;
    }
    const Point& c = at(corner);
    const Point& a = at(next(corner));
    const Point& b = at(previous(corner));
    const Point side = b - a;
    const double squared = dot(side, side);
    const double share = dot(c - a, side) / squared;
    const double twiceArea = length(cross(side, c - a));
    const double sine = leastSine(twiceArea, a, b, c);
    if (!(sine < kSineOfSliver && share > 0 && share < 1)) {
        return false;
    }
    const double height = twiceArea / std::sqrt(squared);
    const double error = std::max(_error[corner / 3], _error[other / 3]) + height;
    const Point& d = at(other);
    Point first = cross(a - c, d - c);
    Point second = cross(d - c, b - c);
    const double areas[2] = {normalize(first), normalize(second)};
    const Point& normal = _normal[other / 3];
    if (error > _limits.flatness || !(leastSine(areas[0], c, a, d) > 2 * sine) ||
        !(leastSine(areas[1], c, d, b) > 2 * sine) || dot(first, normal) < kCosineAtOnce ||
        dot(second, normal) < kCosineAtOnce) {
        return false;
    }
    if (!ringOf(_corner[corner], _ring)) {
        return false;
    }
    for (const std::uint32_t around : _ring) {
        if (_corner[next(around)] == _corner[other]) {
            return false;
        }
    }
    const std::uint32_t c1 = next(corner);
    const std::uint32_t c2 = previous(corner);
    const std::uint32_t d1 = next(other);
    const std::uint32_t d2 = previous(other);
    const std::uint32_t besideB = _opposite[c1];
    const std::uint32_t besideA = _opposite[d1];
    _corner[c2] = _corner[other];
    _corner[d2] = _corner[corner];
    join(corner, besideA);
    join(other, besideB);
    join(c1, d1);
    for (const std::uint32_t k : {corner, c1, other, d1}) {
        const std::uint32_t v = _corner[k];
        _anyCorner[v] = k;
        _tries[v] = _isMovable[v];
        _all.isFresh[_vertices[v]] = 1;
    }
    _normal[corner / 3] = _firstNormal[corner / 3] = first;
    _normal[other / 3] = second;
    for (const std::uint32_t t : {corner / 3, other / 3}) {
        _error[t] = static_cast<float>(error);
        _isChanged[t] = 1;
    }
    return true;
}

/// Tries each vertex near which nothing changed in this sweep: collapses spread, and triangles keep good
/// shapes. Returns how many were moved.
std::size_t BlockThinner::sweep(double flatness, double longest)
{
    ++_sweep;
    std::size_t moved = 0;
    for (std::uint32_t v = 0; v < _tries.size(); ++v) {
        if (_tries[v] && _sweepOf[v] != _sweep) {
            _tries[v] = 0;
            moved += tryVertex(v, flatness, longest) ? 1 : 0;
        }
    }
    return moved;
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

bool BlockThinner::tryVertex(std::uint32_t v, double flatness, double longest)
{
    struct Candidate {
        std::size_t target; ///< place in the ring
        double key;
    };
    if (!ringOf(v, _ring) || _ring.size() > kMostMoved) {
        return false;
    }
    const std::size_t n = _ring.size();
    Star& star = _star;
    star.center = _position[v];
    star.error = 0;
    for (std::size_t i = 0; i < n; ++i) {
        star.around[i] = at(next(_ring[i]));
        star.error = std::max(star.error, static_cast<double>(_error[_ring[i] / 3]));
    }
    Candidate candidates[kMostMoved];
    std::size_t count = 0;
    for (std::size_t j = 0; j < n; ++j) {
        const Point step = star.around[j] - star.center;
        const double squared = dot(step, step);
        if (squared > longest * longest || !_within[_corner[next(_ring[j])]]) {
            continue;
        }
        double off = 0;
        for (const std::uint32_t c : _ring) {
            off = std::max(off, std::abs(dot(_normal[c / 3], step)));
        }
        if (star.error + kLeastShare * std::min(off, std::sqrt(squared)) <= flatness) {
            candidates[count++] = {j, off * off + 1e-6 * squared};
        }
    }
    if (count == 0) {
        return false;
    }
    std::sort(candidates, candidates + count, [](const Candidate& a, const Candidate& b) {
        return a.key != b.key ? a.key < b.key : a.target < b.target;
    });
    measureStar();
    for (std::size_t i = 0; i < count; ++i) {
        double error = 0;
        if (canMove(candidates[i].target, flatness, error)) {
            move(v, candidates[i].target, error);
            return true;
        }
    }
    return false;
}

/// What all targets of a vertex are compared with.
void BlockThinner::measureStar()
{
    const std::size_t n = _ring.size();
    Star& star = _star;
    star.leastSineSquared = 1;
    star.sum = {};
    for (std::size_t i = 0; i < n; ++i) {
        const Point a = star.around[i] - star.center;
        const Point b = star.around[(i + 1) % n] - star.center;
        const Point side = b - a;
        const Point normal = cross(a, b);
        star.across[i] = dot(side, side);
        const double squared = dot(normal, normal);
        const double sineSquared = leastSineSquared(squared, dot(a, a), dot(b, b), star.across[i]);
        const double small = _limits.shortEdge * _limits.shortEdge;
        star.isSmall[i] = sineSquared < kSineOfSliver * kSineOfSliver || squared < small * small;
        star.leastSineSquared = std::min(star.leastSineSquared, sineSquared);
        star.sum = star.sum + normal;
    }
}

/// How far the new sides from a target lie off the old ones from the star's middle where they cross: beside
/// the middle itself, that is where the old and the new triangles are furthest apart.
/// @param seenIn  the triangle, counted from the target, that the middle is seen in; 0: none.
double BlockThinner::gapOfSpokes(std::size_t target, std::size_t seenIn) const
{
    const std::size_t n = _ring.size();
    const auto around = [&](std::size_t k) -> const Point& { return _star.around[(target + k) % n]; };
    const Point& q = around(0);
    const Point back = _star.center - q;
    double gap = 0;
    const auto compare = [&](std::size_t newSide, std::size_t oldSide) {
        const Point between = cross(around(newSide) - q, around(oldSide) - _star.center);
        const double squared = dot(between, between);
        const double volume = dot(between, back);
        if (volume * volume > gap * gap * squared) {
            gap = std::abs(volume) / std::sqrt(squared);
        }
    };
    // Sides on the one hand of the middle cross the old sides before them, those on the other the ones after.
    for (std::size_t k = 2; k <= seenIn; ++k) {
        for (std::size_t i = 1; i < k; ++i) {
            compare(k, i);
        }
    }
    for (std::size_t k = seenIn + 1; k + 1 < n; ++k) {
        for (std::size_t i = k + 1; i < n; ++i) {
            compare(k, i);
        }
    }
    return gap;
}

/// Whether the vertex of the star, v, may move onto the vertex u at a place of its ring. `error` becomes the
/// bound of the new triangles.
bool BlockThinner::canMove(std::size_t target, double flatness, double& error)
{
    const std::size_t n = _ring.size();
    const std::uint32_t u = _corner[next(_ring[target])];
    const Star& star = _star;
    const Point& q = star.around[target];
    const Point back = star.center - q;
    double off = length(back);
    std::size_t seenIn = 0;
    Point normals[kMostMoved];
    double least = 1;
    // All but the two triangles at the side from v to u, which vanish.
    for (std::size_t k = 1; k + 1 < n; ++k) {
        const std::size_t i = target + k < n ? target + k : target + k - n;
        const std::uint32_t t = _ring[i] / 3;
        const Point a = star.around[i] - q;
        const Point b = star.around[i + 1 < n ? i + 1 : 0] - q;
        Point& normal = normals[k];
        normal = cross(a, b);
        const double twiceArea = length(normal);
        if (!(twiceArea > 0)) {
            return false;
        }
        if (star.isSmall[i] ? !(dot(normal, star.sum) > 0)
                            : dot(normal, _normal[t]) < kCosineAtOnce * twiceArea ||
                                  dot(normal, _firstNormal[t]) < kCosineInABlock * twiceArea) {
            return false;
        }
        least =
            std::min(least, leastSineSquared(twiceArea * twiceArea, dot(a, a), dot(b, b), star.across[i]));
        normal = normal * (1 / twiceArea);
        // The new surface lies across from v in the triangle that v is seen in from the target.
        const double height = std::abs(dot(normal, back));
        if (height < off && dot(cross(a, back), normal) >= 0 && dot(cross(back, b), normal) >= 0) {
            off = height;
            seenIn = k;
        }
    }
    error = star.error + std::max(off, gapOfSpokes(target, seenIn));
    if (error > flatness || (least < kLeastSine * kLeastSine && least <= star.leastSineSquared)) {
        return false;
    }
    // The link condition: the two have no common neighbours but the ends of the triangles that vanish.
    if (!ringOf(u, _other)) {
        return false;
    }
    ++_search;
    for (const std::uint32_t c : _ring) {
        _mark[_corner[next(c)]] = _search;
    }
    std::size_t common = 0;
    for (const std::uint32_t c : _other) {
        common += _mark[_corner[next(c)]] == _search ? 1 : 0;
    }
    if (common != 2) {
        return false;
    }
    if (n == 3) {
        // The triangle that is left must not lie upon another one.
        const std::uint32_t across = _opposite[_ring[(target + 1) % 3]];
        if (across == kNone || _corner[across] == u) {
            return false;
        }
    }
    for (std::size_t k = 1; k + 1 < n; ++k) {
        const std::size_t i = (target + k) % n;
        _normal[_ring[i] / 3] = normals[k];
        if (star.isSmall[i]) {
            _firstNormal[_ring[i] / 3] = normals[k];
        }
    }
    return true;
}

void BlockThinner::move(std::uint32_t v, std::size_t target, double error)
{
    const std::size_t n = _ring.size();
    const std::uint32_t above = _ring[target];               // v, u, the next neighbour
    const std::uint32_t below = _ring[(target + n - 1) % n]; // v, the neighbour before, u
    const std::uint32_t u = _corner[next(above)];
    const std::uint32_t upper = _ring[(target + 1) % n];
    const std::uint32_t lower = _ring[(target + n - 2) % n];
    const std::uint32_t upperNeighbour = _corner[next(upper)];
    const std::uint32_t lowerNeighbour = _corner[previous(lower)];
    for (const std::uint32_t c : _ring) {
        const std::uint32_t neighbour = _corner[next(c)];
        _sweepOf[neighbour] = _sweep;
        _tries[neighbour] = _isMovable[neighbour];
        _all.isFresh[_vertices[neighbour]] = 1;
    }
    join(_opposite[above], _opposite[next(above)]);
    join(_opposite[below], _opposite[previous(below)]);
    for (const std::uint32_t c : _ring) {
        _corner[c] = u;
        _error[c / 3] = static_cast<float>(error);
        _isChanged[c / 3] = 1;
    }
    for (const std::uint32_t dead : {above / 3, below / 3}) {
        for (std::size_t k = 0; k < 3; ++k) {
            _corner[3 * dead + k] = kNone;
        }
    }
    _anyCorner[v] = kNone;
    _anyCorner[u] = upper;
    _anyCorner[upperNeighbour] = next(upper);
    _anyCorner[lowerNeighbour] = previous(lower);
}

/// Looks for triangles that pass through each other now and holds the vertices around them. False if there
/// are none.
bool BlockThinner::holdIntersections(double margin)
{
    std::vector<Triangle> triangles;
    std::vector<std::uint8_t> isChanged;
    for (std::size_t t = 0; t < _ids.size(); ++t) {
        if (_corner[3 * t] != kNone) {
            triangles.push_back({_corner[3 * t], _corner[3 * t + 1], _corner[3 * t + 2]});
            isChanged.push_back(_isChanged[t]);
        }
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
    for (std::size_t t = 0; t < _ids.size(); ++t) {
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
