#pragma once

#include "core/curves/curve_place.h"
#include "core/curves/segment_tree.h"
#include "core/values/box.h"
#include "core/values/vector3.h"

#include <cmath>
#include <limits>
#include <vector>

namespace zrk {

/// Straight segments through points, in document space; the parameter t is the segment's index plus the
/// fraction of its length, from 0 to the number of segments.
///
/// Frames: the tangent T along the segment. On the first, N = sideOf(T); each further segment carries N
/// along by the smallest rotation that takes one tangent to the next; B = T x N. A segment of length 0 has
/// the tangent of the one before it, or, at the curve's start, of the first one that has a length.
///
/// Immutable; safe to call from many threads at once.
class Polyline {
public:
    /// @param points  at least two, all finite. A closed curve has a segment from the last to the first.
    Polyline(std::vector<Vector3> points, bool closed);

    /// Parameter of the closest point, ties to the smaller one; NaN for a position with a NaN. Usually
    /// O(log n) for n segments.
    double closestParameter(const Vector3& p) const { return nearest(p, kNaN).t; }
    /// The same answer, faster when `near` is the parameter of a neighbouring position's; NaN for none.
    double closestParameter(const Vector3& p, double near) const { return nearest(p, near).t; }
    /// To the curve, never negative.
    double distance(const Vector3& p) const { return std::sqrt(nearest(p, kNaN).squared); }
    Vector3 position(double t) const;
    void frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const;
    double arcLength(double t) const;

    double tMin() const { return 0; }
    double tMax() const { return static_cast<double>(_segments.size()); }
    double length() const { return _starts.back(); }
    bool closed() const { return _closed; }
    const Box<double>& bounds() const { return _bounds; }

private:
    struct Segment {
        Vector3 start;
        Vector3 end;
        double perSquaredLength; ///< 1 / length^2; 0 for a segment of length 0

        Vector3 at(double fraction) const { return fraction == 1 ? end : start + (end - start) * fraction; }
    };
    struct Frame {
        Vector3 tangent;
        Vector3 normal;
    };

    std::vector<Segment> _segments;
    std::vector<Frame> _frames;  ///< one a segment
    std::vector<double> _starts; ///< length up to each segment, and the whole
    SegmentTree _tree;
    Box<double> _bounds;
    bool _closed;

    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

    NearestOnCurve nearest(const Vector3& p, double near) const;
    void offerSegment(std::size_t index, const Vector3& p, NearestOnCurve& nearest) const;
    void buildFrames();
    void buildTree();
    double boxedLength() const;
};

} // namespace zrk
