#include "core/surface/block_thinning.h"
#include "core/surface/thinned_shape.h"

#include <algorithm>
#include <cmath>

namespace zrk::surface {

namespace {

/// Smallest sine of an angle that a collapse may make, unless there was a smaller one around the vertex.
constexpr double kLeastSine = 0.05;
/// A vertex moves by no less than this share of what its old triangles' planes say; what says more isn't
/// looked at.
constexpr double kLeastShare = 0.25;

} // namespace

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
    Point normals[kMostMoved];
    for (std::size_t i = 0; i < n; ++i) {
        star.around[i] = at(next(_ring[i]));
        star.error = std::max(star.error, static_cast<double>(_error[triangleOf(_ring[i])]));
        normals[i] = _normal[triangleOf(_ring[i])];
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
        for (std::size_t i = 0; i < n; ++i) {
            off = std::max(off, std::abs(dot(normals[i], step)));
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
        const std::uint32_t t = triangleOf(_ring[i]);
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
        _normal[triangleOf(_ring[i])] = normals[k];
        if (star.isSmall[i]) {
            _firstNormal[triangleOf(_ring[i])] = normals[k];
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
        _error[triangleOf(c)] = static_cast<float>(error);
        _isChanged[triangleOf(c)] = 1;
    }
    for (const std::uint32_t dead : {triangleOf(above), triangleOf(below)}) {
        for (std::size_t k = 0; k < 3; ++k) {
            _corner[4 * dead + k] = kNone;
        }
    }
    _anyCorner[v] = kNone;
    _anyCorner[u] = upper;
    _anyCorner[upperNeighbour] = next(upper);
    _anyCorner[lowerNeighbour] = previous(lower);
}

} // namespace zrk::surface
