#include "core/mesh/mesh_field.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <utility>

namespace zrk {

namespace {

using Tree = BVH<double, 3, 3>;

/// Parts of the mesh's size.
constexpr double kNearSurface = 1e-4;
/// How far from a half an estimate must be to be believed: three times the largest error seen.
constexpr float kDoubt = 0.1f;

std::uint64_t scrambled(std::int32_t from, std::int32_t to)
{
    // The finalizer of splitmix64, which turns nearby numbers into unrelated ones.
    std::uint64_t x =
        (std::uint64_t{static_cast<std::uint32_t>(from)} << 32 | static_cast<std::uint32_t>(to)) +
        0x9e3779b97f4a7c15u;
    x = (x ^ x >> 30) * 0xbf58476d1ce4e5b9u;
    x = (x ^ x >> 27) * 0x94d049bb133111ebu;
    return x ^ x >> 31;
}

/// Whether the edges cancel. Each adds a random number of its own, and its reverse the negative of it, so
/// that a sum of zero by chance is as probable as guessing 64 bits.
bool edgesCancel(const std::vector<std::int32_t>& indices, std::int32_t triangleCount)
{
    std::atomic<std::uint64_t> sum{0};
    parallelLoop({0, triangleCount}, buildThreads(triangleCount), [&](IndexRange triangles) {
        std::uint64_t part = 0;
        for (std::int32_t t = triangles.first; t < triangles.end; ++t) {
            const std::int32_t* corners = indices.data() + std::ptrdiff_t{3} * t;
            for (std::size_t k = 0; k < 3; ++k) {
                const std::int32_t a = corners[k];
                const std::int32_t b = corners[(k + 1) % 3];
                part += a < b ? scrambled(a, b) : a > b ? ~scrambled(b, a) + 1 : 0;
            }
        }
        sum += part;
    });
    return sum == 0;
}

double sizeOf(const Tree::Box& box)
{
    double size = 0.0;
    for (std::size_t i = 0; i < 3; ++i) {
        size = std::max(size, box.max[i] - box.min[i]);
    }
    return size;
}

/// Whether the distance to every triangle is, but for what doesn't matter to the sign, the true one. The
/// formula cuts small areas off, and then may give a corner's distance for an edge's. In meshes of ordinary
/// size that happens to slivers and dust only.
bool hasTrueDistances(const Tree& tree, double size)
{
    constexpr double kOrdinarySize = 1.0;
    constexpr double kCutOff = 1e-28;  // of the squared area of the parallelogram
    constexpr double kNoHeight = 1e-9; // of the mesh's size
    for (std::int32_t t = 0; size < kOrdinarySize && t < tree.primitiveCount; ++t) {
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

double squaredDistance(const double* a, const double* b)
{
    const Tensor<3, double> d = pointAt(a) - pointAt(b);
    return dot(d, d);
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
    _bvh.codes = {}; // memory that is of no more use
    _moments.emplace(_bvh);
    _search.emplace(_bvh);
    if (_search->triangles()) {
        _estimate.emplace(*_search->triangles());
    }
}

TriangleSearch::Nearest MeshWindingField::nearest(const double* point, const Trail& trail) const
{
    const bool isNear = trail.triangle != -1 && _search->isHint(trail.point, point);
    return _search->nearest(point, isNear ? trail.triangle : -1);
}

double MeshWindingField::meshDistance(const double* point, Trail& trail) const
{
    const TriangleSearch::Nearest found = nearest(point, trail);
    trail.triangle = found.triangle;
    std::copy_n(point, 3, trail.point);
    trail.knowsSide = false;
    return found.distance;
}

double MeshWindingField::signedDistance(const double* point) const
{
    Trail trail;
    return signedDistance(point, trail);
}

double MeshWindingField::signedDistance(const double* point, Trail& trail) const
{
    const TriangleSearch::Nearest found = nearest(point, trail);
    if (found.triangle == -1) {
        return found.distance;
    }
    const bool inside = isInside(point, found.distance, trail);
    trail.distance = found.distance;
    trail.triangle = found.triangle;
    trail.isInside = inside;
    trail.knowsSide = _isClosed && found.distance >= _nearSurface;
    std::copy_n(point, 3, trail.point);
    return inside ? -found.distance : found.distance;
}

bool MeshWindingField::isInside(const double* point, double distance, const Trail& trail) const
{
    // A little less than the distance, which is rounded.
    constexpr double kSurely = 0.999999;
    if (trail.knowsSide && distance >= _nearSurface &&
        squaredDistance(point, trail.point) < kSurely * trail.distance * trail.distance) {
        return trail.isInside;
    }
    return isInside(point, distance);
}

bool MeshWindingField::isInside(const double* point, double distance) const
{
    if (_estimate && distance >= _nearSurface) {
        float local[3];
        _search->triangles()->frame.toLocal(point, local);
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
           (_estimate ? _estimate->bytes() : 0);
}

} // namespace zrk
