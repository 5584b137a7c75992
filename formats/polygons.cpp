#include "formats/polygons.h"

#include "core/values/vector3.h"
#include "formats/limits.h"

#include <cmath>
#include <utility>

namespace zrk {

namespace {

void writeFan(std::span<PolygonSplitter::Triangle> triangles)
{
    for (std::uint32_t i = 0; i < triangles.size(); ++i) {
        triangles[i] = {0, i + 1, i + 2};
    }
}

} // namespace

PolygonSplitter::Outcome PolygonSplitter::split(std::span<const Tensor<3, double>> corners,
                                                std::span<Triangle> triangles)
{
    const bool hasArea = project(corners);
    if (!hasArea || fanFits()) {
        writeFan(triangles);
        return hasArea ? Outcome::Sound : Outcome::Degenerate;
    }
    return corners.size() > kMaxPolygonCorners ? Outcome::TooLarge : clipEars(triangles);
}

/// False where the polygon has no area, or none that can be computed.
bool PolygonSplitter::project(std::span<const Tensor<3, double>> corners)
{
    Vector3 normal{};
    for (std::size_t i = 1; i + 1 < corners.size(); ++i) {
        normal = normal + cross(corners[i] - corners[0], corners[i + 1] - corners[0]);
    }
    std::size_t axis = 0;
    for (std::size_t i = 1; i < 3; ++i) {
        axis = std::abs(normal[i]) > std::abs(normal[axis]) ? i : axis;
    }
    if (!(std::abs(normal[axis]) > 0) || !std::isfinite(dot(normal, normal))) {
        return false;
    }
    // Seen from the side that makes the outline run counterclockwise.
    std::size_t x = (axis + 1) % 3;
    std::size_t y = (axis + 2) % 3;
    if (normal[axis] < 0) {
        std::swap(x, y);
    }
    _points.clear();
    for (const Vector3& corner : corners) {
        _points.push_back({corner[x], corner[y]});
    }
    return true;
}

/// Twice the area of a triangle, positive where it runs counterclockwise.
double PolygonSplitter::turn(std::uint32_t a, std::uint32_t b, std::uint32_t c) const
{
    const Point& p = _points[a];
    const Point& q = _points[b];
    const Point& r = _points[c];
    return (q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x);
}

/// Seen from the first corner, all others lie to the left of the first edge and one after the other.
bool PolygonSplitter::fanFits() const
{
    const auto count = static_cast<std::uint32_t>(_points.size());
    bool fits = true;
    for (std::uint32_t i = 2; fits && i < count; ++i) {
        fits = turn(0, 1, i) > 0 && turn(0, i - 1, i) > 0;
    }
    return fits;
}

bool PolygonSplitter::isEar(std::uint32_t corner)
{
    const std::uint32_t a = _before[corner];
    const std::uint32_t c = _after[corner];
    if (_isReflex[corner]) {
        return false;
    }
    for (std::uint32_t i = _after[c]; i != a; i = _after[i]) {
        _lookout.step();
        if (_isReflex[i] && turn(a, corner, i) >= 0 && turn(corner, c, i) >= 0 && turn(c, a, i) >= 0) {
            return false;
        }
    }
    return true;
}

void PolygonSplitter::look(std::uint32_t corner)
{
    _isReflex[corner] = !(turn(_before[corner], corner, _after[corner]) > 0);
    _isEar[corner] = isEar(corner);
}

PolygonSplitter::Outcome PolygonSplitter::clipEars(std::span<Triangle> triangles)
{
    const auto count = static_cast<std::uint32_t>(_points.size());
    _before.resize(count);
    _after.resize(count);
    _isReflex.resize(count);
    _isEar.resize(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        _before[i] = (i + count - 1) % count;
        _after[i] = (i + 1) % count;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        _isReflex[i] = !(turn(_before[i], i, _after[i]) > 0);
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        _isEar[i] = isEar(i);
    }
    bool isSound = true;
    std::uint32_t at = 0;
    for (std::size_t written = 0; written < triangles.size(); ++written) {
        const std::size_t left = count - written;
        if (left > 3 && isSound) {
            std::size_t steps = 0;
            for (; steps < left && !_isEar[at]; ++steps) {
                at = _after[at];
            }
            isSound = steps < left;
        } else if (left == 3) {
            isSound = isSound && turn(_before[at], at, _after[at]) > 0;
        }
        // Without an ear the outline isn't simple: what is left is cut off one corner after the other.
        triangles[written] = {_before[at], at, _after[at]};
        const std::uint32_t a = _before[at];
        const std::uint32_t c = _after[at];
        _after[a] = c;
        _before[c] = a;
        if (isSound) { // a clipped ear changes its neighbours alone
            look(a);
            look(c);
        }
        at = isSound ? _after[c] : c;
    }
    return isSound ? Outcome::Sound : Outcome::Degenerate;
}

} // namespace zrk
