#include "core/surface/block_thinning.h"
#include "core/surface/thinned_shape.h"

#include <algorithm>
#include <cmath>

namespace zrk::surface {

/// Turns the long side of each triangle whose corner lies close to the middle of it. Returns how many.
std::size_t BlockThinner::flipSlivers()
{
    std::size_t flipped = 0;
    for (std::uint32_t t = 0; t < _ids.size(); ++t) {
        if (!isOwn(t) || !isNearlySliver(t)) {
            continue;
        }
        for (std::uint32_t c = 4 * t; c < 4 * t + 3; ++c) {
            flipped += isOwn(t) && tryFlip(c) ? 1 : 0;
        }
    }
    return flipped;
}

/// False where a triangle surely has no angle small enough to be flipped for.
bool BlockThinner::isNearlySliver(std::uint32_t triangle) const
{
    const Point& a = at(4 * triangle);
    const Point ab = at(4 * triangle + 1) - a;
    const Point ac = at(4 * triangle + 2) - a;
    const Point bc = ac - ab;
    const Point normal = cross(ab, ac);
    constexpr double kLimit = 1.01 * kSineOfSliver * kSineOfSliver; // rounding decides nothing
    return !(leastSineSquared(dot(normal, normal), dot(ab, ab), dot(ac, ac), dot(bc, bc)) > kLimit);
}

/// Joins a corner that lies close to the side across from it to the corner on that side's other side.
bool BlockThinner::tryFlip(std::uint32_t corner)
{
    const std::uint32_t other = _opposite[corner];
    if (other == kNone || !isOwn(triangleOf(other))) {
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
    const double error = std::max(_error[triangleOf(corner)], _error[triangleOf(other)]) + height;
    const Point& d = at(other);
    Point first = cross(a - c, d - c);
    Point second = cross(d - c, b - c);
    const double areas[2] = {normalize(first), normalize(second)};
    const Point& normal = _normal[triangleOf(other)];
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
    _normal[triangleOf(corner)] = _firstNormal[triangleOf(corner)] = first;
    _normal[triangleOf(other)] = second;
    for (const std::uint32_t t : {triangleOf(corner), triangleOf(other)}) {
        _error[t] = static_cast<float>(error);
        _isChanged[t] = 1;
    }
    return true;
}

} // namespace zrk::surface
