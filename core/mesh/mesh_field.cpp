#include "core/mesh/mesh_field.h"

#include "core/mesh/search/distance_error.h"
#include "core/values/stop.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <span>
#include <utility>

namespace zrk {

namespace {

using Tree = BVH<double, 3, 3>;

/// Nearer to the surface than this part of the mesh's size, the winding number is computed in double.
constexpr double kNearSurface = 1e-4;
/// An estimate of the winding number decides the sign if it differs from a half by more than this, which is
/// three times the largest error seen.
constexpr float kDoubt = 0.1f;

std::uint64_t scrambled(std::int32_t from, std::int32_t to)
{
    // The finalizer of splitmix64, which turns nearby numbers into unrelated ones. Source: Steele, Lea,
    // Flood, "Fast splittable pseudorandom number generators", OOPSLA 2014, doi:10.1145/2660193.2660195.
    std::uint64_t x =
        (std::uint64_t{static_cast<std::uint32_t>(from)} << 32 | static_cast<std::uint32_t>(to)) +
        0x9e3779b97f4a7c15u;
    x = (x ^ x >> 30) * 0xbf58476d1ce4e5b9u;
    x = (x ^ x >> 27) * 0x94d049bb133111ebu;
    return x ^ x >> 31;
}

/// Whether each edge occurs as often in one direction as in the other. Each edge has a random number, which
/// is added in one direction and subtracted in the other. The sum then is zero, and otherwise it is zero
/// only as probably as one guesses 64 bits.
bool edgesCancel(const std::vector<std::int32_t>& indices, std::int32_t triangleCount)
{
    std::atomic<std::uint64_t> sum{0};
    parallelLoop({0, triangleCount}, buildThreads(triangleCount), [&](IndexRange triangles) {
        std::uint64_t part = 0;
        inPieces(triangles.first, triangles.end, [&](std::int32_t first, std::int32_t end) {
            for (std::int32_t t = first; t < end; ++t) {
                const std::int32_t* corners = indices.data() + std::ptrdiff_t{3} * t;
                for (std::size_t k = 0; k < 3; ++k) {
                    const std::int32_t a = corners[k];
                    const std::int32_t b = corners[(k + 1) % 3];
                    part += a < b ? scrambled(a, b) : a > b ? ~scrambled(b, a) + 1 : 0;
                }
            }
        });
        sum += part;
    });
    return sum == 0;
}

double sizeOf(const Box<double>& box)
{
    const Vector3 size = box.size();
    return std::max({0.0, size[0], size[1], size[2]});
}

/// Whether `closestPointOnTriangle` gives the true distance of every triangle, but for errors too small to
/// matter to the sign. For triangles of very small area it may give the distance of a corner where that of an
/// edge is smaller. In meshes of ordinary size such triangles are slivers, or tiny altogether.
bool hasTrueDistances(const Tree& tree, double size)
{
    constexpr double kOrdinarySize = 1.0;
    constexpr double kCutOff = 1e-28;  // of the squared area of the parallelogram
    constexpr double kNoHeight = 1e-9; // of the mesh's size
    StopLookout lookout;
    for (std::int32_t t = 0; size < kOrdinarySize && t < tree.primitiveCount; ++t) {
        lookout.step();
        const Tensor<3, double> a = pointAt(tree.vertexOf(t, 0));
        const Tensor<3, double> b = pointAt(tree.vertexOf(t, 1));
        const Tensor<3, double> c = pointAt(tree.vertexOf(t, 2));
        const double area = length(cross(b - a, c - a));
        const double longest = std::max({length(b - a), length(c - a), length(c - b)});
        if (area * area < kCutOff && area > kNoHeight * size * longest) {
            return false;
        }
    }
    return true;
}

/// The side of a ball that meets one of those before.
std::optional<bool> sideOf(const SideBall& ball, std::span<const SideBall> before, double margin)
{
    for (const SideBall& known : before) {
        if (known.meets(ball, margin)) {
            return known.isInside;
        }
    }
    return std::nullopt;
}

} // namespace

MeshWindingField::MeshWindingField(std::vector<double> vertices, std::vector<std::int32_t> indices)
    : MeshWindingField(
          std::move(vertices), std::move(indices),
          ThreadPool(static_cast<std::size_t>(buildThreads(static_cast<std::int32_t>(indices.size() / 3)))))
{}

MeshWindingField::MeshWindingField(std::vector<double>&& vertices, std::vector<std::int32_t>&& indices,
                                   const ThreadPool&)
    : _vertices(std::move(vertices)),
      _indices(std::move(indices)),
      _bvh(_vertices.data(), static_cast<std::int32_t>(_vertices.size()), _indices.data(),
           static_cast<std::int32_t>(_indices.size())),
      _isClosed(edgesCancel(_indices, _bvh.primitiveCount)),
      _nearSurface(hasTrueDistances(_bvh, sizeOf(_bvh.bounds)) ? kNearSurface * sizeOf(_bvh.bounds)
                                                               : std::numeric_limits<double>::infinity())
{
    _bvh.buildHierarchy();
    _bvh.codes = {}; // only the build needed them
    _moments.emplace(_bvh);
    _search.emplace(_bvh);
    if (_search->triangles()) {
        _estimate.emplace(*_search->triangles());
        if (_isClosed && std::isfinite(_nearSurface)) {
            _sides.emplace(_bvh.bounds);
        }
    }
}

TriangleSearch::Nearest MeshWindingField::nearest(const Vector3& point, const Trail& trail) const
{
    const bool isNear = trail.triangle != -1 && _search->isHint(trail.point, point);
    return _search->nearest(point, isNear ? trail.triangle : -1);
}

double MeshWindingField::meshDistance(const Vector3& point, Trail& trail) const
{
    const TriangleSearch::Nearest found = nearest(point, trail);
    trail.triangle = found.triangle;
    trail.point = point;
    return found.distance;
}

double MeshWindingField::signedDistance(const Vector3& point) const
{
    Trail trail;
    return signedDistance(point, trail);
}

double MeshWindingField::signedDistance(const Vector3& point, Trail& trail) const
{
    const TriangleSearch::Nearest found = nearest(point, trail);
    if (found.triangle == -1) {
        return found.distance;
    }
    const bool inside = isInside(point, found, trail);
    trail.triangle = found.triangle;
    trail.point = point;
    return inside ? -found.distance : found.distance;
}

double MeshWindingField::value(const Vector3& point) const
{
    Trail trail;
    return value(point, trail);
}

double MeshWindingField::value(const Vector3& point, Trail& trail) const
{
    if (mode >= 2) {
        return meshDistance(point, trail);
    }
    const double distance = signedDistance(point, trail);
    return mode == 0 ? std::copysign(1.0, distance) : distance;
}

Interval<double> MeshWindingField::bounds(const CentredBox& box, Trail& trail) const
{
    constexpr double kNowhere = 1e150;
    const double size = length(_bvh.bounds.size());
    const double signedAtCenter =
        mode >= 2 ? meshDistance(box.center, trail) : signedDistance(box.center, trail);
    const double atCenter = std::abs(signedAtCenter);
    // Far away the error of a distance may be anything up to the longest edge.
    const double error = distanceError() + (atCenter + box.reach > 4 * size ? size : 0.0);
    if (!(atCenter < kNowhere) || !std::isfinite(error)) {
        return Interval<double>::entire();
    }
    const Interval<double> distance = box.around(atCenter, error);
    const Interval<double> outside{std::max(distance.lower, 0.0), distance.upper};
    if (mode >= 2) {
        return outside;
    }
    // A position so near the surface that rounding may put it on the other side.
    const double unsure = 2 * error;
    const bool isOneSided = hasSides() && distance.lower > unsure;
    if (mode == 0) {
        return isOneSided ? Interval<double>(std::copysign(1.0, signedAtCenter))
                          : Interval<double>(-1.0, 1.0);
    }
    if (isOneSided) {
        return signedAtCenter < 0 ? -outside : outside;
    }
    return hasSides() ? box.around(signedAtCenter, error + unsure)
                      : Interval<double>{-distance.upper, distance.upper};
}

/// What distances may be off by, at positions around the mesh.
double MeshWindingField::distanceError() const
{
    std::call_once(_errorFlag, [this] { _error = zrk::distanceError(_bvh); });
    return _error;
}

/// Whether the sign changes only across triangles: in a closed mesh, where the winding number is near enough
/// to the true one for a sign to be taken from an estimate of that.
bool MeshWindingField::hasSides() const { return _sides && isAccurate(); }

/// Whether the winding number is near enough to the true one for a sign to be taken from an estimate of that.
bool MeshWindingField::isAccurate() const { return order != 0 && beta >= 2.0; }

bool MeshWindingField::isInside(const Vector3& point, const TriangleSearch::Nearest& found,
                                Trail& trail) const
{
    if (!hasSides()) {
        return isInsideByWinding(point, found.distance);
    }
    if (found.distance >= _nearSurface) {
        return isInsideFar(point, found.distance, trail);
    }
    const double margin = distanceError();
    for (const SideBall& ball : trail.near) {
        if (ball.holds(point, margin)) {
            return ball.isInside;
        }
    }
    if (const auto ball = ballBeside(point, found, trail)) {
        trail.near[ball->isInside ? 1 : 0] = *ball;
        return ball->isInside;
    }
    return isInsideByWinding(point, found.distance);
}

/// For points at so large a distance that the estimate of the winding number will do.
bool MeshWindingField::isInsideFar(const Vector3& point, double distance, Trail& trail) const
{
    for (const SideBall& ball : trail.far) {
        if (ball.holds(point, 0.0)) {
            return ball.isInside;
        }
    }
    // A little less than the distance, which is rounded.
    constexpr double kSurely = 0.999999;
    SideBall own{point, kSurely * distance, false};
    std::optional<bool> inside = sideOf(own, trail.far, 0.0);
    if (!inside) {
        inside = _sides->isInside(own, _nearSurface, [this](const Vector3& center) {
            const double toCenter = meshDistance(center);
            return toCenter >= _nearSurface && isInsideByWinding(center, toCenter) ? -toCenter : toCenter;
        });
    }
    own.isInside = inside ? *inside : isInsideByWinding(point, distance);
    trail.far[own.isInside ? 1 : 0] = own;
    return own.isInside;
}

/// A ball that holds a point close to the surface and reaches far enough from the surface for its side to be
/// told by an estimate: its centre lies on the line from the nearest point of the surface through the point.
/// Nothing where the point is too close, or the centre is near another part of the surface.
std::optional<SideBall> MeshWindingField::ballBeside(const Vector3& point,
                                                     const TriangleSearch::Nearest& found,
                                                     const Trail& trail) const
{
    const double margin = distanceError();
    if (!(found.distance > 4 * margin)) {
        return std::nullopt;
    }
    Vector3 closest;
    closestPointOnTriangle(point.begin(), _bvh.vertexOf(found.triangle, 0), _bvh.vertexOf(found.triangle, 1),
                           _bvh.vertexOf(found.triangle, 2), closest.begin());
    const Vector3 away = (point - closest) * (1 / found.distance);
    for (const double height : {16 * _nearSurface, 2 * _nearSurface}) {
        const Vector3 center = closest + away * height;
        const TriangleSearch::Nearest fromCenter = _search->nearest(center, found.triangle);
        SideBall ball{center, fromCenter.distance, false};
        if (fromCenter.distance >= _nearSurface && ball.holds(point, margin)) {
            const std::optional<bool> inside = sideOf(ball, trail.near, margin);
            ball.isInside = inside ? *inside : isInsideByWinding(center, fromCenter.distance);
            return ball;
        }
    }
    return std::nullopt;
}

bool MeshWindingField::isInsideByWinding(const Vector3& point, double distance) const
{
    if (_estimate && isAccurate() && distance >= _nearSurface) {
        const Tensor<3, float> local = _search->triangles()->frame.toLocal(point);
        if (!LocalFrame::isOutOfReach(local)) {
            const WindingEstimate::Estimate estimate = _estimate->at(local);
            if (std::abs(estimate.value - 0.5f) > kDoubt * std::max(1.0f, estimate.total)) {
                return estimate.value > 0.5f;
            }
        }
    }
    return windingNumber(point) > 0.5;
}

std::size_t MeshWindingField::bytes() const
{
    return _bvh.nodes.capacity() * sizeof(_bvh.nodes[0]) +
           _bvh.sortedPrimitives().capacity() * sizeof(std::int32_t) + _moments->bytes() + _search->bytes() +
           (_estimate ? _estimate->bytes() : 0) + (_sides ? sizeof(SideTable) : 0);
}

} // namespace zrk
