#pragma once

#include "core/curves/curve_segment.h"
#include "core/values/export.h"
#include "core/values/interval_batch.h"

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace zrkmodel {

template <class T>
struct InterpolationFunction;

} // namespace zrkmodel

namespace zrk {

/// A key point of a curve, and the kind of curve that leaves it.
template <class X, class Y, class F>
struct InterpolationPoint {
    X key{};
    Y value{};
    F function;
    std::int32_t ordinal = 0; ///< order of creation; decides between equal keys
};

/// A piecewise function of one variable through key points. Between two points the left one's
/// function applies; outside the keys the curve is flat. A value type: copies share nothing.
///
/// Reading is safe from many threads. To evaluate whole blocks, make a KeyPointCurve of it.
template <class X, class Y, class F>
class PointInterpolator {
public:
    using Point = InterpolationPoint<X, Y, F>;

    /// Ascending by key, and by ordinal where keys are equal.
    std::vector<Point> points;
    std::int32_t nextOrdinal = 0;

    /// Returns a curve through the points, with one function for all.
    static PointInterpolator through(const std::vector<std::pair<X, Y>>& keysAndValues,
                                     const F& function = F())
    {
        PointInterpolator curve;
        curve.addPoints(keysAndValues, function);
        return curve;
    }

    /// Adds the points in this order, with one function for all.
    void addPoints(const std::vector<std::pair<X, Y>>& keysAndValues, const F& function)
    {
        for (const auto& [key, value] : keysAndValues) {
            points.push_back({key, value, function, nextOrdinal++});
        }
        sort();
    }

    /// Adds one point, after those of the same key, and returns its place.
    std::size_t insertPoint(const X& key, const Y& value, const F& function)
    {
        addPoints({{key, value}}, function);
        return placeOf(nextOrdinal - 1);
    }
    /// Gives a point another key and value, keeping its kind and its rank among equal keys. Returns its new
    /// place; an index of no point changes nothing and is returned.
    std::size_t movePoint(std::size_t index, const X& key, const Y& value)
    {
        if (index >= points.size()) {
            return index;
        }
        points[index].key = key;
        points[index].value = value;
        const std::int32_t ordinal = points[index].ordinal;
        sort();
        return placeOf(ordinal);
    }
    /// Does nothing for an index of no point. The last point may go too.
    void removePoint(std::size_t index)
    {
        if (index < points.size()) {
            points.erase(points.begin() + static_cast<std::ptrdiff_t>(index));
        }
    }
    /// Sets the kind of curve that leaves a point; does nothing for an index of no point.
    void setFunction(std::size_t index, const F& function)
    {
        if (index < points.size()) {
            points[index].function = function;
        }
    }

    void clear()
    {
        points.clear();
        nextOrdinal = 0;
    }

    /// Puts the points in order after they were changed by hand. NaN keys go last.
    void sort()
    {
        std::sort(points.begin(), points.end(), [](const Point& a, const Point& b) {
            const std::weak_ordering order = std::weak_order(a.key, b.key);
            return order != 0 ? order < 0 : a.ordinal < b.ordinal;
        });
    }

    /// Returns the value at x; 0 without points. At a key that several points share, it is the value of the
    /// first of them. NaN gives NaN where there are two points or more. Linear in the number of points.
    Y operator()(X x) const
    {
        if (points.empty()) {
            return Y{};
        }
        if (points.size() == 1 || x <= points.front().key) {
            return points.front().value;
        }
        if (x >= points.back().key) {
            return points.back().value;
        }
        for (std::size_t i = 0; i + 1 < points.size(); ++i) {
            if (points[i + 1].key >= x) {
                return points[i].function.evaluate(x, {&points, static_cast<int>(i)});
            }
        }
        return Y(x); // NaN: every comparison failed
    }

private:
    std::size_t placeOf(std::int32_t ordinal) const
    {
        const auto found = std::find_if(points.begin(), points.end(),
                                        [&](const Point& point) { return point.ordinal == ordinal; });
        return static_cast<std::size_t>(found - points.begin());
    }
};

} // namespace zrk

namespace zrkmodel {

/// One kind of curve between two key points. `kind` is the number that documents store.
///
/// A "smooth" segment is a cubic Hermite curve. Its slope at each end is what the kind of curve on the other
/// side of that point gives, by this table:
///
/// | kind | name    | curve                         | slope for a "smooth" neighbour          |
/// |------|---------|-------------------------------|-----------------------------------------|
/// | 0    | linear  | straight                      | its own                                 |
/// | 1    | nearest | value of the closer point     | 0                                       |
/// | 2    | cubic   | smoothstep                    | 0                                       |
/// | 3    | smooth  | Hermite, by neighbours' slope | over the points before and after        |
///
/// Source: among smooth segments these are the slopes of Catmull and Rom, "A class of local interpolating
/// splines", Computer Aided Geometric Design, 1974, doi:10.1016/B978-0-12-079050-0.50020-5. Here a segment of
/// another kind beside a smooth one gives its own slope.
template <>
struct ZRK_API InterpolationFunction<double> {
    using Points = std::vector<zrk::InterpolationPoint<double, double, InterpolationFunction>>;
    /// The segment from point `index` to the next; points before the first are the first,
    /// those behind the last the last.
    struct Segment {
        const Points* points;
        int index;
    };

    std::string_view name;
    std::int32_t kind;
    double (*evaluate)(double x, Segment segment); ///< value on the segment that starts at the point
    double (*slopeBack)(Segment segment);          ///< here, for a "smooth" segment that ends here
    double (*slopeForward)(Segment segment);       ///< here, for a "smooth" segment that starts here

    /// "linear".
    InterpolationFunction() : InterpolationFunction(kinds()[0]) {}

    /// All kinds, at the index of their number. Constant-initialised.
    static const std::array<InterpolationFunction, 4>& kinds();

private:
    constexpr InterpolationFunction(std::string_view name, zrk::CurveKind kind,
                                    double (*evaluate)(double, Segment), double (*slopeBack)(Segment),
                                    double (*slopeForward)(Segment))
        : name(name),
          kind(static_cast<std::int32_t>(kind)),
          evaluate(evaluate),
          slopeBack(slopeBack),
          slopeForward(slopeForward)
    {}
};

/// A curve that the user edits: a number over a number.
using ScalarCurve = zrk::PointInterpolator<double, double, InterpolationFunction<double>>;

/// Returns the formula of the segment from point `index` to the next, by the kind of that point.
zrk::CurveSegment curveSegment(InterpolationFunction<double>::Segment segment);

} // namespace zrkmodel

namespace zrk {

/// A curve made ready for blocks: the same bits as the PointInterpolator it was made of, with
/// the segments' slopes found beforehand. Part of formulas, which call it with their value type.
///
/// Immutable; safe from many threads. A batch costs two comparisons a segment, and the
/// formulas of those segments that its lanes lie in.
class KeyPointCurve {
public:
    explicit KeyPointCurve(const zrkmodel::ScalarCurve& curve);

    template <class V>
    V operator()(const V& x) const
    {
        if (_segments->empty()) {
            return V(_first);
        }
        V y = x; // stays where x is NaN
        for (const CurveSegment& segment : *_segments) {
            const auto within = x > segment.fromKey && x <= segment.toKey;
            if (any(within)) {
                y = select(within, segment(x), y);
            }
        }
        y = select(x >= _lastKey, V(_last), y);
        return select(x <= _firstKey, V(_first), y);
    }

    /// Each segment that the interval touches, over the keys they share.
    Interval<double> operator()(const Interval<double>& x) const;
    IntervalBatch operator()(const IntervalBatch& x) const
    {
        return eachLane(x, [this](const Interval<double>& lane) { return (*this)(lane); });
    }

private:
    std::shared_ptr<const std::vector<CurveSegment>> _segments; // none for a constant curve
    double _firstKey = 0;
    double _lastKey = 0;
    double _first = 0;
    double _last = 0;
};

} // namespace zrk
