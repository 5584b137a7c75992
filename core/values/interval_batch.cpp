#include "core/values/interval_batch.h"

#include <numbers>

namespace zrk {
inline namespace ZRK_LANES {
namespace {

using Limits = std::numeric_limits<double>;
constexpr double kInfinity = Limits::infinity();

Batch widening(Batch x) { return kLaneWidening * (Limits::epsilon() * abs(x) + Limits::denorm_min()); }

// As for single intervals: bounds never cross or leave zero, and overflow may begin a little below the
// largest number.

Batch movedDown(Batch x)
{
    const Batch finite = select(x == kInfinity, Limits::max(), x);
    const Batch moved = finite - widening(finite);
    return select(finite >= 0.0 && moved < 0.0, 0.0, moved);
}

Batch movedUp(Batch x)
{
    const Batch moved = x + widening(x);
    const Batch kept = select(x == -kInfinity, x, moved);
    const Batch clear = select(x == 0.0 || (x < 0.0 && moved > 0.0), 0.0, kept);
    return select(x > 0.999 * Limits::max(), kInfinity, clear);
}

IntervalBatch widened(Batch from, Batch to) { return IntervalBatch::ordered(movedDown(from), movedUp(to)); }

/// For functions that underflow to zero: a computed 0 may be the smallest number elsewhere.
IntervalBatch widenedPositive(const IntervalBatch& x)
{
    return widened(x.lower, select(x.upper == 0.0, Limits::denorm_min(), x.upper));
}

/// The value of a function that is its argument near 0, sin, asin or tan: there a batch's may be 0 for a
/// denormal argument, and widening doesn't leave zero.
Batch besideZero(Batch argument, Batch value) { return select(abs(argument) < 1e-9, argument, value); }

Batch ceiling(Batch x) { return -floor(-x); }

/// Whether phase + n * period lies in the interval for a whole n; says yes if it nearly does.
BatchMask mayReach(const IntervalBatch& x, double phase, double period)
{
    constexpr double kSlack = 1e-9;
    return ceiling((x.lower - phase) / period - kSlack) <= floor((x.upper - phase) / period + kSlack);
}

BatchMask isLarge(const IntervalBatch& x) { return x.lower < -kLargestAngle || x.upper > kLargestAngle; }
BatchMask hasInfinity(const IntervalBatch& x)
{
    return abs(x.lower) == kInfinity || abs(x.upper) == kInfinity;
}

/// Range of a wave of period 2 pi that is 1 at `crest` and -1 half a period later, from its values at the
/// ends.
IntervalBatch wave(const IntervalBatch& x, double crest, Batch atLower, Batch atUpper)
{
    const BatchMask large = isLarge(x);
    const BatchMask high = large || mayReach(x, crest, 2 * std::numbers::pi);
    const BatchMask low = large || mayReach(x, crest + std::numbers::pi, 2 * std::numbers::pi);
    return IntervalBatch::entireWhere(hasInfinity(x), widened(select(low, -1.0, minimum(atLower, atUpper)),
                                                              select(high, 1.0, maximum(atLower, atUpper))));
}

} // namespace

IntervalBatch operator/(const IntervalBatch& a, const IntervalBatch& b)
{
    return IntervalBatch::entireWhere(
        b.lower <= 0.0 && b.upper >= 0.0,
        hullOfCorners(a.lower / b.lower, a.lower / b.upper, a.upper / b.lower, a.upper / b.upper));
}

IntervalBatch acos(const IntervalBatch& x)
{
    return IntervalBatch::entireWhere(x.lower < -1.0 || x.upper > 1.0, widened(acos(x.upper), acos(x.lower)));
}

IntervalBatch asin(const IntervalBatch& x)
{
    return IntervalBatch::entireWhere(
        x.lower < -1.0 || x.upper > 1.0,
        widened(besideZero(x.lower, asin(x.lower)), besideZero(x.upper, asin(x.upper))));
}

IntervalBatch atan2(const IntervalBatch& y, const IntervalBatch& x)
{
    const IntervalBatch corners = hullOfCorners(atan2(y.lower, x.lower), atan2(y.lower, x.upper),
                                                atan2(y.upper, x.lower), atan2(y.upper, x.upper));
    const BatchMask touchesCut = x.lower <= 0.0 && y.lower <= 0.0 && y.upper >= 0.0;
    return IntervalBatch::entireWhere(x.isEntire() || y.isEntire(),
                                      widened(select(touchesCut, -std::numbers::pi, corners.lower),
                                              select(touchesCut, std::numbers::pi, corners.upper)));
}

IntervalBatch exp(const IntervalBatch& x)
{
    return IntervalBatch::entireWhere(x.isEntire(),
                                      widenedPositive(IntervalBatch::ordered(exp(x.lower), exp(x.upper))));
}

IntervalBatch log(const IntervalBatch& x)
{
    return IntervalBatch::entireWhere(x.lower < 0.0, widened(log(x.lower), log(x.upper)));
}

IntervalBatch pow(const IntervalBatch& base, const IntervalBatch& exponent)
{
    const BatchMask defined = base.lower > 0.0 || (base.lower >= 0.0 && exponent.lower > 0.0);
    const IntervalBatch corners =
        hullOfCorners(pow(base.lower, exponent.lower), pow(base.lower, exponent.upper),
                      pow(base.upper, exponent.lower), pow(base.upper, exponent.upper));
    return IntervalBatch::entireWhere(!defined || exponent.isEntire() || corners.isEntire(),
                                      widenedPositive(corners));
}

IntervalBatch sin(const IntervalBatch& x)
{
    return wave(x, std::numbers::pi / 2, besideZero(x.lower, sin(x.lower)),
                besideZero(x.upper, sin(x.upper)));
}

IntervalBatch cos(const IntervalBatch& x) { return wave(x, 0, cos(x.lower), cos(x.upper)); }

IntervalBatch tan(const IntervalBatch& x)
{
    return IntervalBatch::entireWhere(
        hasInfinity(x) || isLarge(x) || mayReach(x, std::numbers::pi / 2, std::numbers::pi),
        widened(besideZero(x.lower, tan(x.lower)), besideZero(x.upper, tan(x.upper))));
}

void sincos(const IntervalBatch& x, IntervalBatch& sine, IntervalBatch& cosine)
{
    Batch sineAt[2];
    Batch cosineAt[2];
    sincos(x.lower, sineAt[0], cosineAt[0]);
    sincos(x.upper, sineAt[1], cosineAt[1]);
    const IntervalBatch angle = x; // x may be one of the results
    sine = wave(angle, std::numbers::pi / 2, besideZero(angle.lower, sineAt[0]),
                besideZero(angle.upper, sineAt[1]));
    cosine = wave(angle, 0, cosineAt[0], cosineAt[1]);
}

} // namespace ZRK_LANES
} // namespace zrk
