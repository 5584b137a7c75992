#pragma once

#include "core/values/export.h"
#include "core/values/scalar_math.h"

#include <concepts>
#include <limits>

namespace zrk {

/// Two values, lower and upper. Only Interval<double> computes; other types just carry a range.
template <class T, class = void>
struct Interval {
    T lower{};
    T upper{};
};

/// The three-valued result of comparing intervals: whether a comparison can be true, and whether it can
/// be false, for some values within them.
struct IntervalMask {
    bool canBeTrue = true;
    bool canBeFalse = true;

    IntervalMask() = default; ///< unknown
    template <std::same_as<bool> Bool>
    IntervalMask(Bool known) : canBeTrue(known), canBeFalse(!known)
    {}
    IntervalMask(bool mayBeTrue, bool mayBeFalse) : canBeTrue(mayBeTrue), canBeFalse(mayBeFalse) {}

    friend IntervalMask operator&&(IntervalMask a, IntervalMask b)
    {
        return {a.canBeTrue && b.canBeTrue, a.canBeFalse || b.canBeFalse};
    }
    friend IntervalMask operator||(IntervalMask a, IntervalMask b)
    {
        return {a.canBeTrue || b.canBeTrue, a.canBeFalse && b.canBeFalse};
    }
    friend IntervalMask operator!(IntervalMask a) { return {a.canBeFalse, a.canBeTrue}; }
};

/// Bounds of a formula over a box: whatever the formula gives at a point of the box, computed in `double`
/// or `Batch`, lies within the result.
///
/// - The bounds hold for the rounded value. Addition, subtraction, multiplication, division and
///   square root stay monotone when rounded to nearest, so the same operation on the ends bounds
///   them and nothing is widened. Floor, round, trunc, minimum and maximum are exact.
/// - The other functions are computed within 3.5 units in the last place (u35) or 1 (u10) by
///   `Batch` and within 1 by the C library, and aren't monotone. So the C library's value at an
///   end is moved outwards by `kWidening` = 8 units: 1 for the end's own error, 3.5 for the
///   sample's, doubled where the two straddle a power of two.
/// - Infinite ends belong to the interval: a value may have overflowed. NaN belongs to the entire
///   interval [-inf, inf] only. An operation that could give NaN somewhere (inf - inf, 0 * inf,
///   a divisor that may be 0, the root or logarithm of something that may be negative, the sine
///   of infinity ...) gives the entire interval. So does every function of an entire interval, which
///   may hold NaN; only minimum and maximum can drop a NaN.
/// - An end of 0 stands for zeros of both signs.
/// - `x * x` with one object on both sides is a square and never negative.
///
/// A double converts to the interval of just that number; NaN to the entire interval. The same
/// type carries the ranges of panel widgets, which use nothing but the two fields. A value type; safe to
/// use from many threads at once.
///
/// Source: Moore, "Interval Analysis", Prentice-Hall, 1966. Here the bounds are those of rounded results,
/// so that no rounding mode is switched; there is no empty interval; and what isn't defined everywhere
/// gives the entire interval instead of the range over the part of the domain where it is.
template <>
struct Interval<double, void> {
    double lower = 0;
    double upper = 0;

    Interval() = default;
    Interval(double value) : Interval(value, value) {}
    /// Precondition: from <= to. If either is NaN, the interval is the entire one.
    Interval(double from, double to) : lower(from), upper(to)
    {
        if (std::isnan(from) || std::isnan(to)) {
            *this = entire();
        }
    }

    static Interval entire()
    {
        Interval all;
        all.lower = -std::numeric_limits<double>::infinity();
        all.upper = std::numeric_limits<double>::infinity();
        return all;
    }
    /// True if the interval is unbounded on both sides. Only then may a value be NaN.
    bool isEntire() const { return std::isinf(lower) && std::isinf(upper) && lower < upper; }
    /// True if the value lies within, ends included. The entire interval contains NaN too.
    bool contains(double value) const { return isEntire() || (lower <= value && value <= upper); }

    Interval& operator+=(const Interval& other);
    Interval& operator-=(const Interval& other);
    Interval& operator*=(const Interval& other);
    Interval& operator/=(const Interval& other);
};

/// Units in the last place by which bounds of transcendental functions are moved outwards.
inline constexpr double kWidening = 8;
/// Beyond this angle the bounds of sines, cosines and tangents say nothing of where in a period it lies.
inline constexpr double kLargestAngle = 1e6;

/// The smallest interval that holds both.
inline Interval<double> hull(const Interval<double>& a, const Interval<double>& b)
{
    return {b.lower < a.lower ? b.lower : a.lower, b.upper > a.upper ? b.upper : a.upper};
}

inline Interval<double> operator-(const Interval<double>& a) { return {-a.upper, -a.lower}; }
inline Interval<double> operator+(const Interval<double>& a, const Interval<double>& b)
{
    // If infinities of both signs can meet, they do so in one of the ends, and its NaN gives the entire
    // interval.
    return {a.lower + b.lower, a.upper + b.upper};
}
inline Interval<double> operator-(const Interval<double>& a, const Interval<double>& b)
{
    return {a.lower - b.upper, a.upper - b.lower};
}
ZRK_API Interval<double> operator*(const Interval<double>& a, const Interval<double>& b);
ZRK_API Interval<double> operator/(const Interval<double>& a, const Interval<double>& b);

inline Interval<double>& Interval<double>::operator+=(const Interval& other) { return *this = *this + other; }
inline Interval<double>& Interval<double>::operator-=(const Interval& other) { return *this = *this - other; }
inline Interval<double>& Interval<double>::operator*=(const Interval& other) { return *this = *this * other; }
inline Interval<double>& Interval<double>::operator/=(const Interval& other) { return *this = *this / other; }

// A comparison is unknown if an operand may be NaN.

inline IntervalMask operator<(const Interval<double>& a, const Interval<double>& b)
{
    if (a.isEntire() || b.isEntire()) {
        return {};
    }
    return {a.lower < b.upper, a.upper >= b.lower};
}
inline IntervalMask operator<=(const Interval<double>& a, const Interval<double>& b)
{
    if (a.isEntire() || b.isEntire()) {
        return {};
    }
    return {a.lower <= b.upper, a.upper > b.lower};
}
inline IntervalMask operator>(const Interval<double>& a, const Interval<double>& b) { return b < a; }
inline IntervalMask operator>=(const Interval<double>& a, const Interval<double>& b) { return b <= a; }
inline IntervalMask operator==(const Interval<double>& a, const Interval<double>& b)
{
    return a <= b && b <= a;
}
inline IntervalMask operator!=(const Interval<double>& a, const Interval<double>& b) { return !(a == b); }

inline IntervalMask isNaN(const Interval<double>& x) { return {x.isEntire(), true}; }
inline IntervalMask isFinite(const Interval<double>& x)
{
    const bool someFinite = !(std::isinf(x.lower) && x.lower == x.upper);
    return {someFinite, std::isinf(x.lower) || std::isinf(x.upper)};
}

/// Whether a comparison may hold (any), surely holds (all), surely doesn't hold (none).
inline bool any(IntervalMask mask) { return mask.canBeTrue; }
inline bool all(IntervalMask mask) { return !mask.canBeFalse; }
inline bool none(IntervalMask mask) { return !mask.canBeTrue; }

inline Interval<double> select(IntervalMask mask, const Interval<double>& a, const Interval<double>& b)
{
    return all(mask) ? a : none(mask) ? b : hull(a, b);
}

/// The entire interval if a is entire, since the minimum is NaN if the value from a is. If only the value
/// from b is NaN, the minimum is the one from a, which the result holds in any case.
inline Interval<double> minimum(const Interval<double>& a, const Interval<double>& b)
{
    return a.isEntire() ? a : Interval<double>{minimum(a.lower, b.lower), minimum(a.upper, b.upper)};
}
/// The entire interval if b is entire, since the maximum is NaN if the value from b is. If only the value
/// from a is NaN, the maximum is the one from b, which the result holds in any case.
inline Interval<double> maximum(const Interval<double>& a, const Interval<double>& b)
{
    return b.isEntire() ? b : Interval<double>{maximum(a.lower, b.lower), maximum(a.upper, b.upper)};
}

inline Interval<double> floor(const Interval<double>& x) { return {floor(x.lower), floor(x.upper)}; }
inline Interval<double> round(const Interval<double>& x) { return {round(x.lower), round(x.upper)}; }
inline Interval<double> trunc(const Interval<double>& x) { return {trunc(x.lower), trunc(x.upper)}; }
inline Interval<double> sqrt(const Interval<double>& x)
{
    return x.lower < 0 ? Interval<double>::entire() : Interval<double>{sqrt(x.lower), sqrt(x.upper)};
}
ZRK_API Interval<double> abs(const Interval<double>& x);

ZRK_API Interval<double> acos(const Interval<double>& x);
ZRK_API Interval<double> asin(const Interval<double>& x);
/// From -pi to pi if the box touches the cut, which is the negative x axis with the origin.
ZRK_API Interval<double> atan2(const Interval<double>& y, const Interval<double>& x);
ZRK_API Interval<double> exp(const Interval<double>& x);
ZRK_API Interval<double> log(const Interval<double>& x);
/// The entire interval, unless the base is surely positive, or may be 0 and the exponent is surely
/// positive.
ZRK_API Interval<double> pow(const Interval<double>& base, const Interval<double>& exponent);
/// Sine and cosine are tight for angles up to a million radians and give -1 to 1 beyond; the tangent
/// gives the entire interval beyond.
ZRK_API Interval<double> sin(const Interval<double>& x);
ZRK_API Interval<double> cos(const Interval<double>& x);
ZRK_API Interval<double> tan(const Interval<double>& x);
inline void sincos(const Interval<double>& x, Interval<double>& sine, Interval<double>& cosine)
{
    const Interval<double> angle = x; // x may be one of the results
    sine = sin(angle);
    cosine = cos(angle);
}

} // namespace zrk
