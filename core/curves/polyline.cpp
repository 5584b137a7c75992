#include "core/curves/polyline.h"

#include "core/curves/curve_frame.h"
#include "core/values/axis_frame.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>
#include <utility>

namespace zrk {

Polyline::Polyline(std::vector<Vector3> points, bool closed) : _closed(closed)
{
    assert(points.size() >= 2);
    if (closed) {
        points.push_back(points.front());
    }
    _bounds = {points[0], points[0]};
    _starts = {0.0};
    StopLookout lookout;
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        lookout.step();
        const double squared = squaredDistance(points[i + 1], points[i]);
        _segments.push_back({points[i], points[i + 1], squared > 0 ? 1 / squared : 0});
        _starts.push_back(_starts.back() + std::sqrt(squared));
        _bounds.include(points[i + 1]);
    }
    buildFrames();
    buildTree();
}

/// The length that a box of the tree may cover. Segments much longer than the mean distance between
/// neighbouring ones have boxes that overlap nearly all others; cut up, they don't.
double Polyline::boxedLength() const
{
    constexpr double kSpacings = 3;
    constexpr double kBoxesPerSegment = 16;
    double extents[3];
    for (std::size_t i = 0; i < 3; ++i) {
        extents[i] = _bounds.max[i] - _bounds.min[i];
    }
    std::sort(std::begin(extents), std::end(extents));
    const double volume = extents[0] * extents[1] * extents[2];
    const double spacing = std::max(std::sqrt(volume / length()), extents[1] * extents[2] / length());
    // A long list is cut up less: boxes take more memory than the segments themselves.
    constexpr double kMostCuts = 1 << 20;
    const double segments = static_cast<double>(_segments.size());
    return std::max(kSpacings * spacing,
                    length() / std::min(kBoxesPerSegment * segments, segments + kMostCuts));
}

void Polyline::buildTree()
{
    const double boxed = boxedLength();
    std::vector<Box<double>> boxes;
    std::vector<std::int32_t> segments;
    StopLookout lookout;
    for (std::size_t i = 0; i < _segments.size(); ++i) {
        const double parts = std::ceil((_starts[i + 1] - _starts[i]) / boxed);
        const int count = parts > 1 ? static_cast<int>(parts) : 1; // 1 for NaN too
        for (int part = 0; part < count; ++part) {
            lookout.step();
            const Vector3 end = _segments[i].at((part + 1.0) / count);
            boxes.push_back({end, end});
            boxes.back().include(_segments[i].at(static_cast<double>(part) / count));
            segments.push_back(static_cast<std::int32_t>(i));
        }
    }
    _tree = SegmentTree(std::move(boxes), segments);
}

void Polyline::buildFrames()
{
    const auto tangentOf = [](const Segment& segment) {
        Vector3 along = segment.end - segment.start;
        normalize(along);
        return along;
    };
    const auto first = std::find_if(_segments.begin(), _segments.end(),
                                    [](const Segment& segment) { return segment.perSquaredLength > 0; });
    Frame frame;
    frame.tangent = first == _segments.end() ? kAnyTangent : tangentOf(*first);
    frame.normal = sideOf(frame.tangent);
    StopLookout lookout;
    for (const Segment& segment : _segments) {
        lookout.step();
        if (segment.perSquaredLength > 0) {
            const Vector3 tangent = tangentOf(segment);
            frame.normal = carriedNormal(frame.normal, frame.tangent, tangent);
            frame.tangent = tangent;
        }
        _frames.push_back(frame);
    }
}

void Polyline::offerSegment(std::size_t index, const Vector3& p, NearestOnCurve& nearest) const
{
    const Segment& segment = _segments[index];
    const double along = dot(p - segment.start, segment.end - segment.start) * segment.perSquaredLength;
    const double fraction = along > 0 ? (along < 1 ? along : 1) : 0;
    nearest.offer(squaredDistance(p, segment.at(fraction)), static_cast<double>(index) + fraction);
}

NearestOnCurve Polyline::nearest(const Vector3& p, double near) const
{
    if (hasNaN(p)) {
        return {kNaN, kNaN};
    }
    NearestOnCurve nearest{std::numeric_limits<double>::infinity(), tMin()};
    if (!std::isnan(near)) {
        offerSegment(CurvePlace(near, _segments.size()).index, p, nearest);
    }
    _tree.search(p, nearest.squared, [&](std::size_t index) { offerSegment(index, p, nearest); });
    return nearest;
}

Vector3 Polyline::position(double t) const
{
    const CurvePlace place(t, _segments.size());
    return _segments[place.index].at(place.fraction);
}

void Polyline::frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const
{
    const Frame& frame = _frames[CurvePlace(t, _segments.size()).index];
    tangent = frame.tangent;
    normal = frame.normal;
    binormal = cross(tangent, normal);
}

double Polyline::arcLength(double t) const
{
    const CurvePlace place(t, _segments.size());
    const double start = _starts[place.index];
    const double end = _starts[place.index + 1];
    return place.fraction == 1 ? end : start + (end - start) * place.fraction;
}

} // namespace zrk
