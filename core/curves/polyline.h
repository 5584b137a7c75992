#pragma once

#include "core/curves/curve_place.h"
#include "core/curves/segment_tree.h"
#include "core/values/box.h"
#include "core/values/vector3.h"

#include <cmath>
#include <limits>
#include <vector>

namespace zrk {

/// Straight segments through points. Positions and lengths are in model units. The parameter t is the index
/// of a segment plus the fraction of its length, from 0 to the number of segments; a t outside is taken as
/// the nearest end.
///
/// The frame (T, N, B) is one for each segment. T is the unit tangent. On the first segment N is
/// sideOf(T); on each further one N is carried along by the smallest rotation that takes one tangent to
/// the next. B = T x N. A segment of length 0 has the tangent of the one before it or, at the curve's start,
/// of the first one that has a length.
///
/// Immutable; safe to call from many threads at once.
///
/// Source of the frames: discrete parallel transport, as in Hanson, Ma, "Parallel transport approach to curve
/// framing", Indiana University TR425, 1995. Here the rotation is made of two reflections.
class Polyline {
public:
    /// @param points  at least two, all finite.
    /// @param closed  true: one more segment leads from the last point to the first.
    Polyline(std::vector<Vector3> points, bool closed);

    /// Returns the parameter of the closest point, the smallest one if several are equally close. A NaN in
    /// the position gives NaN. Usually takes O(log n) for n segments.
    double closestParameter(const Vector3& p) const { return nearest(p, kNaN).t; }
    /// Returns the same answer, faster if `near` is the parameter found for a neighbouring position. NaN
    /// stands for none.
    double closestParameter(const Vector3& p, double near) const { return nearest(p, near).t; }
    /// Returns the distance to the curve, which is never negative. A NaN in the position gives NaN.
    double distance(const Vector3& p) const { return std::sqrt(nearest(p, kNaN).squared); }
    Vector3 position(double t) const;
    /// Sets three unit vectors: along the curve, and two across it.
    void frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const;
    /// Returns the length from the start to t.
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
    std::vector<Frame> _frames;  ///< one for each segment
    std::vector<double> _starts; ///< length up to each segment, and last the whole length
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
