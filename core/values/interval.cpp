#include "core/values/interval.h"

#include <numbers>

namespace zrk {
namespace {

using Range = Interval<double>;
using Limits = std::numeric_limits<double>;

/// The hull of four corner values; entire if one is NaN.
Range hullOfCorners(double a, double b, double c, double d)
{
    return hull(hull(Range(a), Range(b)), hull(Range(c), Range(d)));
}

/// The distance by which a bound at x moves outwards: kWidening units in the last place of x or a little
/// more. The second term counts where x is denormal.
double widening(double x) { return kWidening * (Limits::epsilon() * std::fabs(x) + Limits::denorm_min()); }

// Bounds never cross or leave zero, since the functions have relative errors and keep their signs.
// The C library and SLEEF begin to overflow at slightly different arguments, so a bound just below the
// largest number becomes infinite.

double movedDown(double x)
{
    if (x == Limits::infinity()) {
        x = Limits::max();
    }
    const double moved = x - widening(x);
    return x >= 0 && moved < 0 ? 0 : moved;
}

double movedUp(double x)
{
    if (x > 0.999 * Limits::max()) {
        return Limits::infinity();
    }
    if (std::isinf(x)) {
        return x;
    }
    const double moved = x + widening(x);
    return x <= 0 && (x == 0 || moved > 0) ? 0 : moved;
}

Range widened(const Range& x) { return {movedDown(x.lower), movedUp(x.upper)}; }

/// For functions that underflow to zero: where one library gives 0, the other may give the smallest
/// number.
Range widenedPositive(const Range& x)
{
    return {movedDown(x.lower), movedUp(x.upper == 0 ? Limits::denorm_min() : x.upper)};
}

/// Whether phase + n * period lies in the interval for a whole number n. The answer is yes if it nearly
/// does: the rounding of the quotients stays below 1e-9 for the arguments in use.
bool mayReach(const Range& x, double phase, double period)
{
    constexpr double kSlack = 1e-9;
    return std::ceil((x.lower - phase) / period - kSlack) <= std::floor((x.upper - phase) / period + kSlack);
}

bool isLarge(const Range& x) { return x.lower < -kLargestAngle || x.upper > kLargestAngle; }
bool hasInfinity(const Range& x) { return std::isinf(x.lower) || std::isinf(x.upper); }

/// Returns the range of a wave of period 2 pi that is 1 at `crest` and -1 half a period later. `ends` are its
/// values at the ends of x.
Range wave(const Range& x, double crest, const Range& ends)
{
    const bool high = isLarge(x) || mayReach(x, crest, 2 * std::numbers::pi);
    const bool low = isLarge(x) || mayReach(x, crest + std::numbers::pi, 2 * std::numbers::pi);
    return widened({low ? -1 : ends.lower, high ? 1 : ends.upper});
}

} // namespace

Interval<double> operator*(const Interval<double>& a, const Interval<double>& b)
{
    if (&a == &b) {
        const Range magnitude = abs(a);
        return a.isEntire() ? a : Range{magnitude.lower * magnitude.lower, magnitude.upper * magnitude.upper};
    }
    // Where 0 * inf is possible the result is the entire interval: a zero at an end gives a NaN corner,
    // a zero within gives corners of both infinities.
    return hullOfCorners(a.lower * b.lower, a.lower * b.upper, a.upper * b.lower, a.upper * b.upper);
}

Interval<double> operator/(const Interval<double>& a, const Interval<double>& b)
{
    if (b.lower <= 0 && b.upper >= 0) {
        return Range::entire();
    }
    return hullOfCorners(a.lower / b.lower, a.lower / b.upper, a.upper / b.lower, a.upper / b.upper);
}

Interval<double> abs(const Interval<double>& x)
{
    if (x.isEntire() || x.lower >= 0) {
        return x;
    }
    return x.upper <= 0 ? -x : Range{0, maximum(-x.lower, x.upper)};
}

Interval<double> acos(const Interval<double>& x)
{
    return x.lower < -1 || x.upper > 1 ? Range::entire() : widened({acos(x.upper), acos(x.lower)});
}

Interval<double> asin(const Interval<double>& x)
{
    return x.lower < -1 || x.upper > 1 ? Range::entire() : widened({asin(x.lower), asin(x.upper)});
}

Interval<double> atan2(const Interval<double>& y, const Interval<double>& x)
{
    if (x.isEntire() || y.isEntire()) {
        return Range::entire();
    }
    if (x.lower <= 0 && y.lower <= 0 && y.upper >= 0) {
        return widened({-std::numbers::pi, std::numbers::pi});
    }
    // The box doesn't hold the origin. Seen from there, it spans the angles between its corners.
    return widened(hullOfCorners(atan2(y.lower, x.lower), atan2(y.lower, x.upper), atan2(y.upper, x.lower),
                                 atan2(y.upper, x.upper)));
}

Interval<double> exp(const Interval<double>& x)
{
    return x.isEntire() ? x : widenedPositive({exp(x.lower), exp(x.upper)});
}

Interval<double> log(const Interval<double>& x)
{
    return x.lower < 0 ? Range::entire() : widened({log(x.lower), log(x.upper)});
}

Interval<double> pow(const Interval<double>& base, const Interval<double>& exponent)
{
    const bool defined = base.lower > 0 || (base.lower >= 0 && exponent.lower > 0);
    if (!defined || exponent.isEntire()) {
        return Range::entire();
    }
    // The power is monotone in each argument while the other is fixed, so the extremes are at corners.
    return widenedPositive(hullOfCorners(pow(base.lower, exponent.lower), pow(base.lower, exponent.upper),
                                         pow(base.upper, exponent.lower), pow(base.upper, exponent.upper)));
}

Interval<double> sin(const Interval<double>& x)
{
    return hasInfinity(x) ? Range::entire() : wave(x, std::numbers::pi / 2, hull(sin(x.lower), sin(x.upper)));
}

Interval<double> cos(const Interval<double>& x)
{
    return hasInfinity(x) ? Range::entire() : wave(x, 0, hull(cos(x.lower), cos(x.upper)));
}

Interval<double> tan(const Interval<double>& x)
{
    if (hasInfinity(x) || isLarge(x) || mayReach(x, std::numbers::pi / 2, std::numbers::pi)) {
        return Range::entire();
    }
    return widened({tan(x.lower), tan(x.upper)});
}

} // namespace zrk
