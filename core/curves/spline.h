#pragma once

#include "core/curves/cubic_piece.h"
#include "core/curves/curve_place.h"
#include "core/curves/segment_tree.h"
#include "core/values/box.h"
#include "core/values/vector3.h"

#include <cmath>
#include <limits>
#include <vector>

namespace zrk {

/// The centripetal Catmull-Rom curve through points, in document space; the parameter t is the segment's
/// index plus a fraction, from 0 to the number of segments. An open curve mirrors the neighbouring point at
/// each end.
///
/// Frames: N = sideOf(T) at the start, from there carried along without turning about
/// the tangent; B = T x N. The frame of a closed curve need not close. Where points repeat, a segment is a
/// single point with the tangent of the one before it, or, at the curve's start, of the first that has a
/// length.
///
/// Immutable; safe to call from many threads at once.
///
/// Sources: Catmull, Rom, "A class of local interpolating splines", 1974, with knots after Yuksel, Schaefer,
/// Keyser, "Parameterization and applications of Catmull-Rom curves", Computer-Aided Design 43(7), 2011,
/// doi:10.1016/j.cad.2010.08.008. Frames that don't turn: Bishop, "There is more than one way to
/// frame a curve", 1975. Here their turn against the smallest rotation of the tangent is the integral of
/// T0 . (T x T') / (1 + T0 . T), the area that the tangent sweeps on the sphere.
class Spline {
public:
    /// @param points  at least two, all finite. A closed curve has a segment from the last to the first.
    Spline(const std::vector<Vector3>& points, bool closed);

    /// Parameter of the closest point, ties to the smaller one; NaN for a position with a NaN. The
    /// distance is exact to a few units in the last place of the curve's coordinates. Usually O(log n) for n
    /// segments.
    double closestParameter(const Vector3& p) const { return nearest(p, kNaN).t; }
    /// The same answer, faster when `near` is the parameter of a neighbouring position's; NaN for none.
    double closestParameter(const Vector3& p, double near) const { return nearest(p, near).t; }
    /// To the curve, never negative.
    double distance(const Vector3& p) const { return std::sqrt(nearest(p, kNaN).squared); }
    Vector3 position(double t) const;
    void frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const;
    /// To about 1e-12 of the curve's length.
    double arcLength(double t) const;

    double tMin() const { return 0; }
    double tMax() const { return static_cast<double>(_segments.size()); }
    double length() const { return _length; }
    bool closed() const { return _closed; }
    const Box<double>& bounds() const { return _bounds; }

private:
    /// The begin of a stretch over which length and turn are integrated in one step.
    struct Stretch {
        double t;
        double length; ///< of the curve up to here
        Vector3 tangent;
        Vector3 normal;
    };

    std::vector<CubicPiece> _segments;
    std::vector<Stretch> _stretches;
    SegmentTree _tree;
    Box<double> _bounds;
    double _length = 0;
    bool _closed;

    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

    NearestOnCurve nearest(const Vector3& p, double near) const;
    void offerSegment(std::size_t index, const Vector3& p, NearestOnCurve& nearest) const;
    void buildStretches();
    void addStretches(std::size_t index, double from, double to, double tolerance, int depth, Stretch& end);
    const Stretch& stretchAt(double t) const;
};

} // namespace zrk
