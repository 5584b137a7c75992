#pragma once

#include "core/curves/cubic_piece.h"
#include "core/curves/curve_place.h"
#include "core/curves/segment_tree.h"
#include "core/values/box.h"
#include "core/values/large_pages.h"
#include "core/values/vector3.h"

#include <cmath>
#include <limits>
#include <vector>

namespace zrk {

/// The centripetal Catmull-Rom curve through points. Positions and lengths are in model units. The parameter
/// t is the index of a segment plus a fraction of its own parameter, from 0 to the number of segments; a t
/// outside is taken as the nearest end. At each end of an open curve, the point next to the end is mirrored
/// at it, which gives the last segment the neighbour that it lacks.
///
/// The frame (T, N, B) has the unit tangent T. N is sideOf(T) at the start and is carried along from
/// there without turning about the tangent; B = T x N. After one round of a closed curve the frame need not
/// meet itself. Where points repeat, a segment is a single point: it has the tangent of the segment before it
/// or, at the curve's start, of the first one that has a length.
///
/// Immutable; safe to call from many threads at once.
///
/// Sources: Catmull, Rom, "A class of local interpolating splines", in "Computer Aided Geometric Design",
/// 1974, with knots after Yuksel, Schaefer, Keyser, "Parameterization and applications of Catmull-Rom
/// curves", Computer-Aided Design 43(7), 2011, doi:10.1016/j.cad.2010.08.008. Frames that don't turn: Bishop,
/// "There is more than one way to frame a curve", American Mathematical Monthly 82(3), 1975. Here their turn
/// against the smallest rotation of the tangent is the integral of T0 . (T x T') / (1 + T0 . T), the area
/// that the tangent sweeps on the sphere. Integrals: the Gauss-Legendre rule of 8 points (Abramowitz, Stegun,
/// "Handbook of Mathematical Functions", 1964, 25.4.30), over stretches that are halved until the rule agrees
/// with itself on both halves.
class Spline {
public:
    /// @param points  at least two, all finite.
    /// @param closed  true: one more segment leads from the last point to the first.
    Spline(const std::vector<Vector3>& points, bool closed);

    /// Returns the parameter of the closest point, the smallest one if several are equally close. A NaN in
    /// the position gives NaN. The distance of that point is exact to a few units in the last place of the
    /// curve's coordinates. Usually takes O(log n) for n segments.
    double closestParameter(const Vector3& p) const { return nearest(p, kNaN).t; }
    /// Returns the same answer, faster if `near` is the parameter found for a neighbouring position. NaN
    /// stands for none.
    double closestParameter(const Vector3& p, double near) const { return nearest(p, near).t; }
    /// Returns the distance to the curve, which is never negative. A NaN in the position gives NaN.
    double distance(const Vector3& p) const { return std::sqrt(nearest(p, kNaN).squared); }
    Vector3 position(double t) const;
    /// Sets three unit vectors: along the curve, and two across it.
    void frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const;
    /// Returns the length from the start to t, to about 1e-12 of the curve's length.
    double arcLength(double t) const;

    double tMin() const { return 0; }
    double tMax() const { return static_cast<double>(_segments.size()); }
    double length() const { return _length; }
    bool closed() const { return _closed; }
    const Box<double>& bounds() const { return _bounds; }

private:
    /// Where a stretch begins over which length and turn are integrated in one step.
    struct Stretch {
        double t;
        double length; ///< length of the curve up to here
        Vector3 tangent;
        Vector3 normal;
    };

    std::vector<CubicPiece> _segments;
    LargeArray<Stretch> _stretches;
    SegmentTree _tree;
    Box<double> _bounds;
    double _length = 0;
    bool _closed;

    static constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

    NearestOnCurve nearest(const Vector3& p, double near) const;
    void offerSegment(std::size_t index, const Vector3& p, NearestOnCurve& nearest) const;
    void buildStretches();
    void makeRoom();
    void addStretches(std::size_t index, double from, double to, double tolerance, int depth, Stretch& end);
    const Stretch& stretchAt(double t) const;
};

} // namespace zrk
