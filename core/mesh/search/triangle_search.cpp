#include "core/mesh/search/triangle_search.h"

#include <array>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

using Hierarchy = BVH<double, 3, 3>;

double triangleDistance(const Hierarchy& hierarchy, std::int32_t triangle, const double* point)
{
    double closest[3];
    return closestPointOnTriangle(point, hierarchy.vertexOf(triangle, 0), hierarchy.vertexOf(triangle, 1),
                                  hierarchy.vertexOf(triangle, 2), closest);
}

/// Positions whose squared distance to a mesh that has a frame is beyond every double.
bool isInfinitelyFar(const Vector3& point)
{
    constexpr double kFar = 1e155;
    return !(std::abs(point[0]) < kFar && std::abs(point[1]) < kFar && std::abs(point[2]) < kFar);
}

} // namespace

/// One query.
class TriangleSearch::Walk {
public:
    Walk(const TriangleSearch& search, const Vector3& point, const Tensor<3, float>& local)
        : _search(search),
          _triangles(*search._triangles),
          _point(point),
          _local(local),
          _position{local[0], local[1], local[2]},
          _margin(LocalFrame::marginAt(local))
    {}

    /// Evaluates a triangle in double.
    void evaluate(std::int32_t triangle)
    {
        const double distance = triangleDistance(_search._hierarchy, triangle, _point.begin());
        if (distance < _distance) {
            _second = _distance;
            _distance = distance;
            _nearest = triangle;
            lower(static_cast<float>(distance * _triangles.frame.scale()));
        } else if (distance > _distance && distance < _second) {
            _second = distance;
        }
    }

    /// Takes a near leaf first.
    void begin() { visit(_triangles.tree.leafNear(_local)); }

    void run()
    {
        _triangles.tree.search(
            _local, _threshold,
            [&](std::size_t node, Float8 toBoxes) {
                return _search._cylinders->squaredDistances(node, _position, toBoxes);
            },
            [&](std::size_t leaf) { visit(leaf); });
        evaluateCandidates();
    }

    Nearest nearest() const { return {_distance, _nearest}; }

    /// Whether the hierarchy's search is certain to give the same distance.
    bool isCertain() const
    {
        if (_nearest == -1) {
            return false;
        }
        const double toBox = squaredDistanceToBox(_search._hierarchy.boxOf(_nearest), _point.begin());
        return toBox <= _distance * _distance || !(_second * _second < toBox);
    }

private:
    struct Candidate {
        float squaredDistance;
        std::int32_t triangle;
    };
    static constexpr std::size_t kMaxCandidates = 64;

    const TriangleSearch& _search;
    const TriangleBlocks& _triangles;
    const Vector3& _point;
    Tensor<3, float> _local;
    Float8Vector _position; ///< the same in every lane
    float _margin;
    float _bound = std::sqrt(std::numeric_limits<float>::max()); ///< the nearest triangle is no farther
    float _threshold = std::numeric_limits<float>::max();        ///< squared; nothing beyond is the nearest
    double _distance = std::numeric_limits<double>::max();
    double _second = std::numeric_limits<double>::max(); ///< the smallest that is larger, of those evaluated
    std::int32_t _nearest = -1;
    std::size_t _candidateCount = 0;
    std::array<Candidate, kMaxCandidates> _candidates;

    /// Some triangle is, but for the margin, no farther than this.
    void lower(float distance)
    {
        if (distance < _bound) {
            _bound = distance;
            _threshold = (distance + 2 * _margin) * (distance + 2 * _margin);
        }
    }

    void visit(std::size_t leaf)
    {
        const Float8 distances = _triangles.blocks[leaf].squaredDistances(_position);
        const Lanes8 used = _triangles.usedLanes(leaf);
        const Lanes8 slivers = _triangles.slivers[leaf] & used;
        const Lanes8 near = lessOrEqual(distances, _threshold) & used & ~slivers;
        if ((near | slivers) == 0) {
            return;
        }
        const std::int32_t* triangle =
            _search._hierarchy.sortedPrimitives().data() + _triangles.tree.leaves()[leaf].first;
        forEachLane(slivers, [&](int lane) { evaluate(triangle[lane]); });
        float squares[kLanes];
        distances.store(squares);
        float least = std::numeric_limits<float>::max();
        forEachLane(near, [&](int lane) {
            least = squares[lane] < least ? squares[lane] : least;
            add({squares[lane], triangle[lane]});
        });
        lower(std::sqrt(least));
    }

    void add(const Candidate& candidate)
    {
        if (_candidateCount == kMaxCandidates) {
            evaluateCandidates();
        }
        _candidates[_candidateCount++] = candidate;
    }

    void evaluateCandidates()
    {
        for (std::size_t k = 0; k < _candidateCount; ++k) {
            if (_candidates[k].squaredDistance <= _threshold && _candidates[k].triangle != _nearest) {
                evaluate(_candidates[k].triangle);
            }
        }
        _candidateCount = 0;
    }
};

TriangleSearch::TriangleSearch(const Hierarchy& hierarchy) : _hierarchy(hierarchy)
{
    const LocalFrame frame(hierarchy.bounds);
    if (frame.isValid()) {
        _triangles.emplace(hierarchy, frame);
        _cylinders.emplace(*_triangles);
        _seeds.emplace(*_triangles, hierarchy.sortedPrimitives());
        _hintReach = _seeds->cellSize() / frame.scale();
    }
}

bool TriangleSearch::isHint(const Vector3& point, const Vector3& other) const
{
    return squaredDistance(point, other) < _hintReach * _hintReach;
}

TriangleSearch::Nearest TriangleSearch::nearest(const Vector3& point, std::int32_t hint) const
{
    if (!_triangles) {
        return searchHierarchy(point);
    }
    if (isInfinitelyFar(point)) {
        return {std::numeric_limits<double>::max(), -1};
    }
    const Tensor<3, float> local = _triangles->frame.toLocal(point);
    if (LocalFrame::isOutOfReach(local)) {
        return searchHierarchy(point);
    }
    const std::int32_t first = hint != -1 ? hint : _seeds->near(local);
    if (first == -1) {
        return searchHierarchy(point); // no triangle that was looked at has numbers for corners
    }
    Walk walk(*this, point, local);
    walk.evaluate(first);
    if (hint == -1) {
        walk.begin();
    }
    walk.run();
    return walk.isCertain() ? walk.nearest() : searchHierarchy(point);
}

TriangleSearch::Nearest TriangleSearch::searchHierarchy(const Vector3& point) const
{
    Nearest nearest;
    nearest.triangle =
        _hierarchy.closestPrimitive([this](std::int32_t triangle, const double* p,
                                           double*) { return triangleDistance(_hierarchy, triangle, p); },
                                    point.begin(), nearest.distance);
    return nearest;
}

std::size_t TriangleSearch::bytes() const
{
    if (!_triangles) {
        return 0;
    }
    return _triangles->bytes() + _cylinders->bytes() + _seeds->bytes();
}

} // namespace zrk
