#include "core/curves/point_interpolator.h"

namespace zrkmodel {

namespace {

using Function = InterpolationFunction<double>;
using Segment = Function::Segment;
using Point = ScalarCurve::Point;

const Point& point(Segment segment, int step)
{
    const int last = static_cast<int>(segment.points->size()) - 1;
    return (*segment.points)[static_cast<std::size_t>(std::clamp(segment.index + step, 0, last))];
}

/// The slope over two points; 0 where their keys are equal.
double slope(const Point& a, const Point& b)
{
    return a.key == b.key ? 0.0 : (b.value - a.value) / (b.key - a.key);
}

double flat(Segment) { return 0.0; }
double segmentSlope(Segment segment) { return slope(point(segment, 0), point(segment, 1)); }
double centralSlope(Segment segment) { return slope(point(segment, -1), point(segment, 1)); }
/// Over the neighbours of the next point: a Hermite segment asks the point before it.
double forwardSlope(Segment segment) { return slope(point(segment, 0), point(segment, 2)); }

double evaluateSegment(double x, Segment segment) { return curveSegment(segment)(x); }

} // namespace

const std::array<Function, 4>& Function::kinds()
{
    using zrk::CurveKind;
    // "cubic" names the smoothstep and "smooth" the Hermite curve: documents and editors rely on it.
    static constexpr std::array<Function, 4> kTable{
        Function{"linear", CurveKind::linear, evaluateSegment, segmentSlope, segmentSlope},
        Function{"nearest", CurveKind::nearest, evaluateSegment, flat, flat},
        Function{"cubic", CurveKind::smoothstep, evaluateSegment, flat, flat},
        Function{"smooth", CurveKind::hermite, evaluateSegment, centralSlope, forwardSlope},
    };
    return kTable;
}

zrk::CurveSegment curveSegment(Segment segment)
{
    const Point& from = point(segment, 0);
    const Point& to = point(segment, 1);
    zrk::CurveSegment formula{static_cast<zrk::CurveKind>(from.function.kind), from.key, to.key, from.value,
                              to.value};
    if (formula.kind == zrk::CurveKind::hermite) {
        // The tangents are the neighbours' business, whatever their kind.
        formula.fromSlope = point(segment, -1).function.slopeForward({segment.points, segment.index - 1});
        formula.toSlope = to.function.slopeBack({segment.points, segment.index + 1});
    }
    return formula;
}

} // namespace zrkmodel

namespace zrk {

KeyPointCurve::KeyPointCurve(const zrkmodel::ScalarCurve& curve)
{
    const auto& points = curve.points;
    auto segments = std::make_shared<std::vector<CurveSegment>>();
    for (std::size_t i = 0; i + 1 < points.size(); ++i) {
        segments->push_back(zrkmodel::curveSegment({&points, static_cast<int>(i)}));
    }
    _segments = std::move(segments);
    if (!points.empty()) {
        _firstKey = points.front().key;
        _lastKey = points.back().key;
        _first = points.front().value;
        _last = points.back().value;
    }
}

Interval<double> KeyPointCurve::operator()(const Interval<double>& x) const
{
    if (_segments->empty()) {
        return _first;
    }
    if (x.isEntire()) {
        return x;
    }
    Interval<double> y = hull(Interval<double>((*this)(x.lower)), Interval<double>((*this)(x.upper)));
    for (const CurveSegment& segment : *_segments) {
        const Interval<double> shared{std::max(x.lower, segment.fromKey), std::min(x.upper, segment.toKey)};
        if (shared.lower <= shared.upper) {
            y = hull(y, segment(shared));
        }
    }
    return y;
}

} // namespace zrk
