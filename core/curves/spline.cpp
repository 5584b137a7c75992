#include "core/curves/spline.h"

#include "core/curves/curve_frame.h"
#include "core/values/axis_frame.h"
#include "core/values/stop.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <limits>

namespace zrk {

namespace {

/// The integral of f over [from, to] by the Gauss-Legendre quadrature of 8 points. Source of nodes and
/// weights: Abramowitz, Stegun, "Handbook of Mathematical Functions", 1964, table 25.4.
template <class F>
double integral(double from, double to, const F& f)
{
    static constexpr double kNodes[] = {0.18343464249564980, 0.52553240991632899, 0.79666647741362674,
                                        0.96028985649753623};
    static constexpr double kWeights[] = {0.36268378337836198, 0.31370664587788729, 0.22238103445337447,
                                          0.10122853629037626};
    const double middle = from / 2 + to / 2;
    const double half = (to - from) / 2;
    double sum = 0;
    for (int i = 0; i < 4; ++i) {
        sum += kWeights[i] * (f(middle - half * kNodes[i]) + f(middle + half * kNodes[i]));
    }
    return sum * half;
}

double lengthOver(const CubicPiece& piece, double from, double to)
{
    return integral(from, to, [&](double u) { return length(piece.first(u)); });
}

/// Angle by which a frame that does not turn lies ahead of the one carried by the smallest rotation
/// from the tangent at `from` to that at `to`.
double turnOver(const CubicPiece& piece, const Vector3& start, double from, double to)
{
    return integral(from, to, [&](double u) {
        Vector3 tangent = piece.first(u);
        const double speed = normalize(tangent);
        const double below = speed * (1 + dot(start, tangent));
        return below > 0 ? dot(start, cross(tangent, piece.second(u))) / below : 0.0;
    });
}

/// The normal at u of a frame that had `normal` at `from` and doesn't turn between.
Vector3 transportedNormal(const CubicPiece& piece, const Vector3& start, const Vector3& normal, double from,
                          double u, const Vector3& tangent)
{
    const Vector3 carried = carriedNormal(normal, start, tangent);
    const double turn = turnOver(piece, start, from, u);
    return carried * std::cos(turn) + cross(tangent, carried) * std::sin(turn);
}

/// The Bezier points between b and c of the segment whose neighbours are a and d, over knots that lie
/// apart by the square roots of the points' distances.
CubicPiece catmullRomSegment(const Vector3& a, const Vector3& b, const Vector3& c, const Vector3& d)
{
    const auto knotStep = [](const Vector3& x, const Vector3& y) {
        return std::sqrt(std::sqrt(squaredDistance(x, y)));
    };
    // A step of 0 lies between equal points, and so the tangent beside it becomes 0.
    const auto rate = [](const Vector3& x, const Vector3& y, double step) {
        return step > 0 ? (y - x) * (1 / step) : Vector3{};
    };
    const double before = knotStep(a, b);
    const double within = knotStep(b, c);
    const double after = knotStep(c, d);
    const Vector3 chord = rate(b, c, within);
    const Vector3 leaving = rate(a, b, before) - rate(a, c, before + within) + chord;
    const Vector3 arriving = chord - rate(b, d, within + after) + rate(c, d, after);
    const double third = within / 3;
    return CubicPiece({b, before > 0 ? b + leaving * third : b, after > 0 ? c - arriving * third : c, c});
}

} // namespace

Spline::Spline(const std::vector<Vector3>& points, bool closed) : _closed(closed)
{
    assert(points.size() >= 2);
    const std::size_t n = points.size();
    const auto point = [&](std::ptrdiff_t i) {
        const auto last = static_cast<std::ptrdiff_t>(n) - 1;
        if (closed) {
            return points[static_cast<std::size_t>((i + last + 1) % (last + 1))];
        }
        if (i < 0) {
            return points[0] * 2.0 - points[1];
        }
        return i > last ? points[n - 1] * 2.0 - points[n - 2] : points[static_cast<std::size_t>(i)];
    };
    const auto count = static_cast<std::ptrdiff_t>(closed ? n : n - 1);
    std::vector<Box<double>> boxes;
    _bounds = {points[0], points[0]};
    StopLookout lookout;
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        lookout.step();
        _segments.push_back(catmullRomSegment(point(i - 1), point(i), point(i + 1), point(i + 2)));
        boxes.push_back(_segments.back().hull());
        _bounds.include(boxes.back());
    }
    buildStretches();
    _tree = SegmentTree(boxes);
}

void Spline::buildStretches()
{
    const auto first = std::find_if(_segments.begin(), _segments.end(),
                                    [](const CubicPiece& segment) { return !segment.isPoint(); });
    Stretch end{0, 0, first == _segments.end() ? kAnyTangent : first->tangent(0), {}};
    end.normal = sideOf(end.tangent);
    for (std::size_t i = 0; i < _segments.size(); ++i) {
        stopIfAsked();
        addStretches(i, 0, 1, 1e-13 * lengthOver(_segments[i], 0, 1), 0, end);
    }
    _length = end.length;
}

/// Moves the stretches to a larger place where they need one. There may be gigabytes of them, so that is done
/// in pieces.
void Spline::makeRoom()
{
    if (_stretches.size() < _stretches.capacity()) {
        return;
    }
    LargeArray<Stretch> larger;
    larger.reserve(2 * _stretches.size() + 1);
    inPieces(std::size_t{0}, _stretches.size(), [&](std::size_t first, std::size_t end) {
        const Stretch* const from = _stretches.data();
        larger.insert(larger.end(), from + first, from + end);
    });
    _stretches.swap(larger);
}

/// Appends the stretches of a segment between two fractions, `end` being where the former one
/// ended, and moves `end` on. Halves a stretch until its integrals are exact.
void Spline::addStretches(std::size_t index, double from, double to, double tolerance, int depth,
                          Stretch& end)
{
    constexpr int kMaxDepth = 12;
    constexpr double kTurnTolerance = 1e-12;
    const CubicPiece& segment = _segments[index];
    const double middle = from / 2 + to / 2;
    Stretch begin{static_cast<double>(index) + from, end.length, end.tangent, end.normal};
    double stretchLength = 0;
    if (!segment.isPoint()) {
        begin.tangent = segment.tangent(from);
        begin.normal = carriedNormal(end.normal, end.tangent, begin.tangent);
        stretchLength = lengthOver(segment, from, to);
        const double halves = lengthOver(segment, from, middle) + lengthOver(segment, middle, to);
        const double turn = turnOver(segment, begin.tangent, from, to);
        const double turns =
            turnOver(segment, begin.tangent, from, middle) + turnOver(segment, begin.tangent, middle, to);
        const bool isExact = std::abs(stretchLength - halves) <= tolerance &&
                             std::abs(turn - turns) <= kTurnTolerance &&
                             dot(begin.tangent, segment.tangent(to)) > 0;
        if (!isExact && depth < kMaxDepth) {
            addStretches(index, from, middle, tolerance, depth + 1, end);
            addStretches(index, middle, to, tolerance, depth + 1, end);
            return;
        }
    }
    makeRoom();
    _stretches.push_back(begin);
    end.t = static_cast<double>(index) + to;
    end.length = begin.length + stretchLength;
    end.tangent = begin.tangent;
    end.normal = begin.normal;
    if (!segment.isPoint()) {
        end.tangent = segment.tangent(to);
        end.normal = transportedNormal(segment, begin.tangent, begin.normal, from, to, end.tangent);
    }
}

/// The stretch that t, a number, lies in; the last one at the curve's end.
const Spline::Stretch& Spline::stretchAt(double t) const
{
    const auto after =
        std::upper_bound(_stretches.begin(), _stretches.end(), t,
                         [](double value, const Stretch& stretch) { return value < stretch.t; });
    return after == _stretches.begin() ? *after : *(after - 1);
}

void Spline::offerSegment(std::size_t index, const Vector3& p, NearestOnCurve& nearest) const
{
    const CubicPiece& segment = _segments[index];
    segment.forClosestParameters(p, [&](double u) {
        nearest.offer(squaredDistance(p, segment.position(u)), static_cast<double>(index) + u);
    });
}

NearestOnCurve Spline::nearest(const Vector3& p, double near) const
{
    if (hasNaN(p)) {
        return {kNaN, kNaN};
    }
    // The search is led by bounds alone; the few segments that these can't tell apart are solved.
    struct Candidate {
        std::size_t index;
        double lower;
    };
    constexpr std::size_t kMaxCandidates = 32;
    Candidate candidates[kMaxCandidates];
    std::size_t count = 0;
    NearestOnCurve nearest{std::numeric_limits<double>::infinity(), tMin()};
    double limit = nearest.squared;
    const auto solve = [&] {
        for (std::size_t i = 0; i < count; ++i) {
            if (candidates[i].lower <= limit) {
                offerSegment(candidates[i].index, p, nearest);
                limit = std::min(limit, nearest.squared);
            }
        }
        count = 0;
    };
    const auto consider = [&](std::size_t index) {
        const auto [lower, upper] = _segments[index].squaredBounds(p);
        if (lower <= limit) {
            limit = std::min(limit, upper);
            if (count == kMaxCandidates) {
                solve();
            }
            candidates[count++] = {index, lower};
        }
    };
    if (!std::isnan(near)) {
        consider(CurvePlace(near, _segments.size()).index);
    }
    _tree.search(p, limit, consider);
    solve();
    return nearest;
}

Vector3 Spline::position(double t) const
{
    const CurvePlace place(t, _segments.size());
    return _segments[place.index].position(place.fraction);
}

void Spline::frame(double t, Vector3& tangent, Vector3& normal, Vector3& binormal) const
{
    const CurvePlace place(std::isnan(t) ? 0 : t, _segments.size());
    const Stretch& stretch = stretchAt(static_cast<double>(place.index) + place.fraction);
    const CubicPiece& segment = _segments[place.index];
    tangent = stretch.tangent;
    normal = stretch.normal;
    const double from = stretch.t - static_cast<double>(place.index);
    if (!segment.isPoint() && place.fraction > from) {
        tangent = segment.tangent(place.fraction);
        normal = transportedNormal(segment, stretch.tangent, stretch.normal, from, place.fraction, tangent);
    }
    binormal = cross(tangent, normal);
}

double Spline::arcLength(double t) const
{
    const CurvePlace place(t, _segments.size());
    if (std::isnan(t)) {
        return t;
    }
    const Stretch& stretch = stretchAt(static_cast<double>(place.index) + place.fraction);
    const double from = stretch.t - static_cast<double>(place.index);
    return stretch.length + lengthOver(_segments[place.index], from, place.fraction);
}

} // namespace zrk
