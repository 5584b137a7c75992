#include "core/surface/block_thinning.h"
#include "core/surface/thinned_shape.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace zrk::surface {

namespace {

/// Smallest sine of an angle that a collapse may make, unless there was a smaller one around the vertex.
constexpr double kLeastSine = 0.05;
/// A vertex moves by no less than this share of what its old triangles' planes say; what says more isn't
/// looked at.
constexpr double kLeastShare = 0.25;

constexpr double kPlaces[] = {0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11,
                              12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23};

Tensor<3, Batch> everywhere(const Point& p) { return {p[0], p[1], p[2]}; }

/// As for single numbers.
Batch leastSineSquared(Batch area, Batch a, Batch b, Batch c)
{
    const Batch product = maximum(maximum(a * b, b * c), c * a);
    return select(product > 0.0, area / product, 0.0);
}

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
    if (!ringOf(v, _ring) || _ring.size() > kMostMoved) {
        return false;
    }
    const std::size_t n = _ring.size();
    Star& star = _star;
    star.count = n;
    star.center = _position[v];
    star.error = 0;
    for (std::size_t i = 0; i < n; ++i) {
        star.around.set(i, at(next(_ring[i])) - star.center);
        star.normals.set(i, _normal[triangleOf(_ring[i])]);
        star.error = std::max(star.error, static_cast<double>(_error[triangleOf(_ring[i])]));
    }
    for (std::size_t i = n; i <= wholeBatches(n); ++i) {
        star.around.set(i, star.around.at(0));
    }
    alignas(64) double keys[Rows::kLength];
    std::uint32_t candidates = 0;
    for (std::size_t first = 0; first < n; first += Batch::size) {
        const Tensor<3, Batch> step = star.around.load(first);
        const Batch squared = dot(step, step);
        Batch off = 0.0;
        for (std::size_t i = 0; i < n; ++i) {
            off = maximum(off, abs(dot(everywhere(star.normals.at(i)), step)));
        }
        (off * off + squared * 1e-6).store(&keys[first]);
        const Batch error = minimum(off, sqrt(squared)) * kLeastShare + star.error;
        candidates |= bitsOf(squared <= longest * longest && error <= flatness &&
                             Batch::load(&kPlaces[first]) < static_cast<double>(n))
                      << first;
    }
    bool isMeasured = false;
    while (candidates != 0) {
        std::size_t best = kMostMoved;
        for (std::uint32_t left = candidates; left != 0; left &= left - 1) {
            const auto place = static_cast<std::size_t>(std::countr_zero(left));
            best = best == kMostMoved || keys[place] < keys[best] ? place : best;
        }
        candidates &= ~(1u << best);
        if (!_within[_corner[next(_ring[best])]]) {
            continue;
        }
        if (!isMeasured) {
            measureStar();
            isMeasured = true;
        }
        double error = 0;
        if (canMove(best, flatness, error)) {
            move(v, best, error);
            return true;
        }
    }
    return false;
}

/// What all targets of a vertex are compared with.
void BlockThinner::measureStar()
{
    Star& star = _star;
    const std::size_t n = star.count;
    for (std::size_t i = 0; i < n; ++i) {
        star.firstNormals.set(i, _firstNormal[triangleOf(_ring[i])]);
    }
    Rows normals;
    alignas(64) double sines[Rows::kLength];
    for (std::size_t first = 0; first < n; first += Batch::size) {
        const Tensor<3, Batch> a = star.around.load(first);
        const Tensor<3, Batch> b = star.around.load(first + 1);
        const Tensor<3, Batch> side = b - a;
        const Tensor<3, Batch> normal = cross(a, b);
        normals.store(first, normal);
        const Batch across = dot(side, side);
        across.store(&star.across[first]);
        const Batch squared = dot(normal, normal);
        const Batch sineSquared = leastSineSquared(squared, dot(a, a), dot(b, b), across);
        sineSquared.store(&sines[first]);
        const double small = _limits.shortEdge * _limits.shortEdge;
        const BatchMask isSmall = sineSquared < kSineOfSliver * kSineOfSliver || squared < small * small;
        select(isSmall, 1.0, 0.0).store(&star.isSmall[first]);
    }
    star.leastSineSquared = 1;
    star.sum = {};
    for (std::size_t i = 0; i < n; ++i) {
        star.leastSineSquared = std::min(star.leastSineSquared, sines[i]);
        star.sum = star.sum + normals.at(i);
    }
}

/// How many places after the target each of the ring's is, from one on; negative behind the last.
Batch BlockThinner::placesFrom(std::size_t target, std::size_t first) const
{
    const auto count = static_cast<double>(_star.count);
    const Batch places = Batch::load(&kPlaces[first]);
    const Batch after = places - static_cast<double>(target);
    return select(places < count, select(after < 0.0, after + count, after), -1.0);
}

/// How far the new sides from a target lie off the old ones from the star's middle where they cross: beside
/// the middle itself, that is where the old and the new triangles are furthest apart.
/// @param seenIn  the triangle, counted from the target, that the middle is seen in; 0: none.
double BlockThinner::gapOfSpokes(std::size_t target, std::size_t seenIn) const
{
    const std::size_t n = _star.count;
    const Point q = _star.around.at(target);
    const Tensor<3, Batch> back = everywhere(Point{} - q);
    Batch squaredGap = 0.0;
    for (std::size_t first = 0; first < n; first += Batch::size) {
        const Batch places = placesFrom(target, first);
        const Tensor<3, Batch> oldSides = _star.around.load(first);
        // Sides on the one hand of the middle cross the old sides before them, those on the other the ones
        // after.
        for (std::size_t k = seenIn < 2 ? seenIn + 1 : 2; k + 1 < n; ++k) {
            const Point newSide = _star.around.at(target + k < n ? target + k : target + k - n) - q;
            const Tensor<3, Batch> between = cross(everywhere(newSide), oldSides);
            const Batch volume = dot(between, back);
            const auto side = static_cast<double>(k);
            const BatchMask crosses = k <= seenIn ? places >= 1.0 && places < side : places > side;
            const Batch squared = dot(between, between);
            squaredGap =
                maximum(squaredGap, select(crosses && squared > 0.0, volume * volume / squared, 0.0));
        }
    }
    double largest = 0;
    for (std::size_t i = 0; i < Batch::size; ++i) {
        largest = std::max(largest, squaredGap.lane(i));
    }
    return std::sqrt(largest);
}

/// Whether the vertex of the star, v, may move onto the vertex u at a place of its ring. `error` becomes the
/// bound of the new triangles.
bool BlockThinner::canMove(std::size_t target, double flatness, double& error)
{
    Star& star = _star;
    const std::size_t n = star.count;
    const std::uint32_t u = _corner[next(_ring[target])];
    const Point back = Point{} - star.around.at(target);
    const Tensor<3, Batch> q = everywhere(star.around.at(target));
    double off = length(back);
    std::size_t seenIn = 0;
    Rows normals;
    alignas(64) double heights[Rows::kLength];
    alignas(64) double sines[Rows::kLength];
    std::uint32_t seen = 0;
    for (std::size_t first = 0; first < n; first += Batch::size) {
        // All but the two triangles at the side from v to u, which vanish.
        const Batch places = placesFrom(target, first);
        const BatchMask stays = places >= 1.0 && places < static_cast<double>(n - 1);
        const Tensor<3, Batch> a = star.around.load(first) - q;
        const Tensor<3, Batch> b = star.around.load(first + 1) - q;
        Tensor<3, Batch> normal = cross(a, b);
        const Batch twiceArea = sqrt(dot(normal, normal));
        const BatchMask isSmall = Batch::load(&star.isSmall[first]) > 0.0;
        const BatchMask turnsLittle =
            dot(normal, star.normals.load(first)) >= twiceArea * kCosineAtOnce &&
            dot(normal, star.firstNormals.load(first)) >= twiceArea * kCosineInABlock;
        const BatchMask facesOut = dot(normal, everywhere(star.sum)) > 0.0;
        const BatchMask isFit = twiceArea > 0.0 && ((isSmall && facesOut) || (!isSmall && turnsLittle));
        if (any(stays && !isFit)) {
            return false;
        }
        select(
            stays,
            leastSineSquared(twiceArea * twiceArea, dot(a, a), dot(b, b), Batch::load(&star.across[first])),
            1.0)
            .store(&sines[first]);
        normal = normal * (1.0 / twiceArea);
        normals.store(first, normal);
        // The new surface lies across from v in the triangle that v is seen in from the target.
        const Tensor<3, Batch> toMiddle = everywhere(back);
        const Batch height = abs(dot(normal, toMiddle));
        height.store(&heights[first]);
        seen |= bitsOf(stays && height < off && dot(cross(a, toMiddle), normal) >= 0.0 &&
                       dot(cross(toMiddle, b), normal) >= 0.0)
                << first;
    }
    for (; seen != 0; seen &= seen - 1) {
        const auto i = static_cast<std::size_t>(std::countr_zero(seen));
        const std::size_t k = i < target ? i + n - target : i - target;
        if (heights[i] < off || (heights[i] == off && k < seenIn)) {
            off = heights[i];
            seenIn = k;
        }
    }
    double least = 1;
    for (std::size_t i = 0; i < n; ++i) {
        least = std::min(least, sines[i]);
    }
    if (star.error + off > flatness || (least < kLeastSine * kLeastSine && least <= star.leastSineSquared)) {
        return false;
    }
    error = star.error + std::max(off, gapOfSpokes(target, seenIn));
    if (error > flatness) {
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
        _normal[triangleOf(_ring[i])] = normals.at(i);
        if (star.isSmall[i] != 0) {
            _firstNormal[triangleOf(_ring[i])] = normals.at(i);
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
