#include "core/curves/curve_segment.h"

#include <cmath>
#include <limits>

namespace zrk {

namespace {

/// The values at both ends of a function that is monotone but for its rounding: `size` is the
/// magnitude of what it adds up, each term rounded at most three times.
Interval<double> betweenEnds(double a, double b, double size)
{
    using Limits = std::numeric_limits<double>;
    const double slack = 4 * (Limits::epsilon() * size + Limits::denorm_min());
    return hull(Interval<double>(a) - slack, Interval<double>(b) + slack);
}

} // namespace

Interval<double> CurveSegment::smoothstep(const Interval<double>& s)
{
    return s.isEntire() ? s : betweenEnds(smoothstep(s.lower), smoothstep(s.upper), 1);
}

Interval<double> CurveSegment::mix(const Interval<double>& s) const
{
    if (s.isEntire()) {
        return s;
    }
    const double a = mix(s.lower);
    const double b = mix(s.upper);
    return betweenEnds(minimum(a, b), maximum(a, b), std::abs(fromValue) + std::abs(toValue));
}

} // namespace zrk
