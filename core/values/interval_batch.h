#pragma once

#include "core/values/batch.h"
#include "core/values/interval.h"

#include <concepts>
#include <cstddef>
#include <limits>

namespace zrk {
inline namespace ZRK_LANES {

/// One three-valued truth a lane: the result of comparing batches of intervals, see `IntervalMask`.
struct IntervalMaskBatch {
    BatchMask canBeTrue = true;
    BatchMask canBeFalse = true;

    IntervalMaskBatch() = default; ///< unknown in every lane
    template <std::same_as<bool> Bool>
    IntervalMaskBatch(Bool known) : canBeTrue(known), canBeFalse(!known)
    {}
    IntervalMaskBatch(BatchMask mayBeTrue, BatchMask mayBeFalse)
        : canBeTrue(mayBeTrue), canBeFalse(mayBeFalse)
    {}

    friend IntervalMaskBatch operator&&(const IntervalMaskBatch& a, const IntervalMaskBatch& b)
    {
        return {a.canBeTrue && b.canBeTrue, a.canBeFalse || b.canBeFalse};
    }
    friend IntervalMaskBatch operator||(const IntervalMaskBatch& a, const IntervalMaskBatch& b)
    {
        return {a.canBeTrue || b.canBeTrue, a.canBeFalse && b.canBeFalse};
    }
    friend IntervalMaskBatch operator!(const IntervalMaskBatch& a) { return {a.canBeFalse, a.canBeTrue}; }
};

/// As many intervals as a `Batch` has lanes: bounds of a formula over that many boxes at once.
///
/// Each lane follows the rules of `Interval<double>`: infinite ends belong to the interval, NaN belongs to
/// the entire interval only, and an operation that could give NaN somewhere gives the entire interval.
/// Arithmetic, comparisons, square root and rounding give each lane exactly the ends that `Interval<double>`
/// gives; the other functions are widened by `kLaneWidening` units in the last place, because here the ends,
/// too, are computed by `Batch`.
///
/// Multiplication and division by a plain number take two products or quotients instead of four.
class IntervalBatch {
public:
    Batch lower;
    Batch upper;

    IntervalBatch() = default;
    /// The same number in every lane; NaN gives the entire interval.
    IntervalBatch(double value) : IntervalBatch(Interval<double>(value)) {}
    explicit IntervalBatch(const Interval<double>& everywhere)
        : lower(everywhere.lower), upper(everywhere.upper)
    {}

    /// Ends that are known not to be NaN, the lower one nowhere above the upper one.
    static IntervalBatch ordered(Batch from, Batch to)
    {
        IntervalBatch result;
        result.lower = from;
        result.upper = to;
        return result;
    }
    /// Ends of which some may be NaN: such a lane becomes entire.
    [[gnu::always_inline]] static IntervalBatch checked(Batch from, Batch to)
    {
        return entireWhere(!(from <= to), ordered(from, to));
    }
    [[gnu::always_inline]] static IntervalBatch entireWhere(BatchMask mask, const IntervalBatch& other)
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        return ordered(select(mask, -kInfinity, other.lower), select(mask, kInfinity, other.upper));
    }

    /// True in the lanes that are unbounded on both sides.
    BatchMask isEntire() const
    {
        constexpr double kInfinity = std::numeric_limits<double>::infinity();
        return lower == -kInfinity && upper == kInfinity;
    }
    Interval<double> lane(std::size_t index) const { return {lower.lane(index), upper.lane(index)}; }

    IntervalBatch& operator+=(const IntervalBatch& other);
    IntervalBatch& operator-=(const IntervalBatch& other);
    IntervalBatch& operator*=(const IntervalBatch& other);
    IntervalBatch& operator/=(const IntervalBatch& other);
};

/// Returns what `function` gives for the interval of each lane, one after the other: for a function whose
/// bounds take branches.
template <class Function>
IntervalBatch eachLane(const IntervalBatch& x, Function function)
{
    double lower[Batch::size];
    double upper[Batch::size];
    x.lower.store(lower);
    x.upper.store(upper);
    for (std::size_t lane = 0; lane < Batch::size; ++lane) {
        const Interval<double> y = function(Interval<double>{lower[lane], upper[lane]});
        lower[lane] = y.lower;
        upper[lane] = y.upper;
    }
    return IntervalBatch::ordered(Batch::load(lower), Batch::load(upper));
}

/// The hull of four corner values; entire in the lanes where one is NaN.
inline IntervalBatch hullOfCorners(Batch a, Batch b, Batch c, Batch d)
{
    const BatchMask undefined = isNaN(a) || isNaN(b) || isNaN(c) || isNaN(d);
    return IntervalBatch::entireWhere(
        undefined,
        IntervalBatch::ordered(minimum(minimum(a, b), minimum(c, d)), maximum(maximum(a, b), maximum(c, d))));
}

/// Units in the last place by which bounds of transcendental functions are moved outwards: 3.5 for the end's
/// own error and 3.5 for the sample's, doubled where the two straddle a power of two, and rounded up.
inline constexpr double kLaneWidening = 16;

/// The smallest intervals that hold both.
inline IntervalBatch hull(const IntervalBatch& a, const IntervalBatch& b)
{
    return IntervalBatch::ordered(minimum(a.lower, b.lower), maximum(a.upper, b.upper));
}

inline IntervalBatch operator-(const IntervalBatch& a) { return IntervalBatch::ordered(-a.upper, -a.lower); }
inline IntervalBatch operator+(const IntervalBatch& a, const IntervalBatch& b)
{
    return IntervalBatch::checked(a.lower + b.lower, a.upper + b.upper);
}
inline IntervalBatch operator-(const IntervalBatch& a, const IntervalBatch& b)
{
    return IntervalBatch::checked(a.lower - b.upper, a.upper - b.lower);
}
inline IntervalBatch abs(const IntervalBatch& x)
{
    const BatchMask asItIs = x.isEntire() || x.lower >= 0.0;
    const BatchMask negative = x.upper <= 0.0;
    const Batch lower = select(negative, -x.upper, 0.0);
    const Batch upper = select(negative, -x.lower, maximum(-x.lower, x.upper));
    return IntervalBatch::ordered(select(asItIs, x.lower, lower), select(asItIs, x.upper, upper));
}

/// Inlined, so that squares are told from products when compiled and intervals stay in registers.
[[gnu::always_inline]] inline IntervalBatch operator*(const IntervalBatch& a, const IntervalBatch& b)
{
    if (&a == &b) {
        const Batch first = a.lower * a.lower;
        const Batch second = a.upper * a.upper;
        const BatchMask holdsZero = a.lower < 0.0 && a.upper > 0.0;
        return IntervalBatch::entireWhere(
            a.isEntire(),
            IntervalBatch::ordered(select(holdsZero, 0.0, minimum(first, second)), maximum(first, second)));
    }
    return hullOfCorners(a.lower * b.lower, a.lower * b.upper, a.upper * b.lower, a.upper * b.upper);
}
ZRK_LANES_API IntervalBatch operator/(const IntervalBatch& a, const IntervalBatch& b);

inline IntervalBatch operator*(const IntervalBatch& a, double k)
{
    const Batch first = a.lower * k;
    const Batch second = a.upper * k;
    return k < 0 ? IntervalBatch::checked(second, first) : IntervalBatch::checked(first, second);
}
inline IntervalBatch operator*(double k, const IntervalBatch& a) { return a * k; }
inline IntervalBatch operator/(const IntervalBatch& a, double k)
{
    if (k == 0) {
        return IntervalBatch(Interval<double>::entire());
    }
    const Batch first = a.lower / k;
    const Batch second = a.upper / k;
    return k < 0 ? IntervalBatch::checked(second, first) : IntervalBatch::checked(first, second);
}

inline IntervalBatch& IntervalBatch::operator+=(const IntervalBatch& other) { return *this = *this + other; }
inline IntervalBatch& IntervalBatch::operator-=(const IntervalBatch& other) { return *this = *this - other; }
inline IntervalBatch& IntervalBatch::operator*=(const IntervalBatch& other) { return *this = *this * other; }
inline IntervalBatch& IntervalBatch::operator/=(const IntervalBatch& other) { return *this = *this / other; }

// Comparisons; unknown in the lanes where an operand may be NaN.

inline IntervalMaskBatch operator<(const IntervalBatch& a, const IntervalBatch& b)
{
    const BatchMask unknown = a.isEntire() || b.isEntire();
    return {unknown || a.lower < b.upper, unknown || a.upper >= b.lower};
}
inline IntervalMaskBatch operator<=(const IntervalBatch& a, const IntervalBatch& b)
{
    const BatchMask unknown = a.isEntire() || b.isEntire();
    return {unknown || a.lower <= b.upper, unknown || a.upper > b.lower};
}
inline IntervalMaskBatch operator>(const IntervalBatch& a, const IntervalBatch& b) { return b < a; }
inline IntervalMaskBatch operator>=(const IntervalBatch& a, const IntervalBatch& b) { return b <= a; }
inline IntervalMaskBatch operator==(const IntervalBatch& a, const IntervalBatch& b)
{
    return a <= b && b <= a;
}
inline IntervalMaskBatch operator!=(const IntervalBatch& a, const IntervalBatch& b) { return !(a == b); }

inline IntervalMaskBatch isNaN(const IntervalBatch& x) { return {x.isEntire(), true}; }
inline IntervalMaskBatch isFinite(const IntervalBatch& x)
{
    const BatchMask unboundedBelow = !isFinite(x.lower);
    const BatchMask unboundedAbove = !isFinite(x.upper);
    return {!(unboundedBelow && x.lower == x.upper), unboundedBelow || unboundedAbove};
}

/// True if it may hold in some lane, surely holds in every lane, surely holds in no lane, in this order.
inline bool any(const IntervalMaskBatch& mask) { return any(mask.canBeTrue); }
inline bool all(const IntervalMaskBatch& mask) { return none(mask.canBeFalse); }
inline bool none(const IntervalMaskBatch& mask) { return none(mask.canBeTrue); }

inline IntervalBatch select(const IntervalMaskBatch& mask, const IntervalBatch& a, const IntervalBatch& b)
{
    const IntervalBatch both = hull(a, b);
    return IntervalBatch::ordered(
        select(mask.canBeFalse, select(mask.canBeTrue, both.lower, b.lower), a.lower),
        select(mask.canBeFalse, select(mask.canBeTrue, both.upper, b.upper), a.upper));
}

/// A NaN first argument is the result; of a NaN second one the first is and lies within.
inline IntervalBatch minimum(const IntervalBatch& a, const IntervalBatch& b)
{
    return IntervalBatch::entireWhere(
        a.isEntire(), IntervalBatch::ordered(minimum(a.lower, b.lower), minimum(a.upper, b.upper)));
}
/// A NaN second argument is the result; of a NaN first one the second is and lies within.
inline IntervalBatch maximum(const IntervalBatch& a, const IntervalBatch& b)
{
    return IntervalBatch::entireWhere(
        b.isEntire(), IntervalBatch::ordered(maximum(a.lower, b.lower), maximum(a.upper, b.upper)));
}

inline IntervalBatch maximum(const IntervalBatch& a, double k)
{
    if (k != k) {
        return IntervalBatch(k);
    }
    return IntervalBatch::ordered(maximum(a.lower, k), maximum(a.upper, k));
}

inline IntervalBatch floor(const IntervalBatch& x)
{
    return IntervalBatch::ordered(floor(x.lower), floor(x.upper));
}
inline IntervalBatch round(const IntervalBatch& x)
{
    return IntervalBatch::ordered(round(x.lower), round(x.upper));
}
inline IntervalBatch trunc(const IntervalBatch& x)
{
    return IntervalBatch::ordered(trunc(x.lower), trunc(x.upper));
}
inline IntervalBatch sqrt(const IntervalBatch& x)
{
    return IntervalBatch::entireWhere(x.lower < 0.0, IntervalBatch::ordered(sqrt(x.lower), sqrt(x.upper)));
}

// These follow the functions of `Interval<double>`.

ZRK_LANES_API IntervalBatch acos(const IntervalBatch& x);
ZRK_LANES_API IntervalBatch asin(const IntervalBatch& x);
ZRK_LANES_API IntervalBatch atan2(const IntervalBatch& y, const IntervalBatch& x);
ZRK_LANES_API IntervalBatch exp(const IntervalBatch& x);
ZRK_LANES_API IntervalBatch log(const IntervalBatch& x);
ZRK_LANES_API IntervalBatch pow(const IntervalBatch& base, const IntervalBatch& exponent);
ZRK_LANES_API IntervalBatch sin(const IntervalBatch& x);
ZRK_LANES_API IntervalBatch cos(const IntervalBatch& x);
ZRK_LANES_API IntervalBatch tan(const IntervalBatch& x);
ZRK_LANES_API void sincos(const IntervalBatch& x, IntervalBatch& sine, IntervalBatch& cosine);

} // namespace ZRK_LANES
} // namespace zrk
