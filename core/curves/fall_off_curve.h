#pragma once

#include "core/values/interval_batch.h"
#include "core/values/scalar_math.h"

#include <cmath>
#include <concepts>
#include <type_traits>

namespace zrk {

/// The shape of a fall-off between its ends.
enum class FallOffCurve { linear, smooth, gauss };

/// A function that falls from 1 at `start` to 0 at `end` and is flat outside, which turns a distance into a
/// density. If `start` isn't below `end`, it is a step at `start`, where its value is 1.
///
/// With s the share of the way from start to end, linear is 1 - s, smooth is 1 - s^2 (3 - 2 s), and gauss is
/// exp(-4 s^2), moved and scaled so that it ends at 0. The default maps a distance d to the density 0.5 - d,
/// cut to 0..1. NaN gives NaN. A value type; safe to use from many threads at once.
struct FallOff {
    double start = -0.5; ///< in the units of the argument, such as model units
    double end = 0.5;
    FallOffCurve curve = FallOffCurve::linear;

    /// Whole numbers and floats are taken as doubles.
    double operator()(double d) const { return operator()<double>(d); }
    template <class V>
    requires(!std::is_arithmetic_v<V> || std::same_as<V, double>) V operator()(const V& d) const
    {
        const V s = (d - start) / (end - start);
        return select(d <= start, V(1.0), select(d >= end, V(0.0), ramp(s)));
    }

    Interval<double> operator()(const Interval<double>& d) const;
    IntervalBatch operator()(const IntervalBatch& d) const;

private:
    template <class V>
    V ramp(const V& s) const
    {
        switch (curve) {
        case FallOffCurve::smooth:
            return 1.0 - s * s * (3.0 - 2.0 * s);
        case FallOffCurve::gauss: {
            const double atEnd = std::exp(-4.0);
            return (exp(-4.0 * s * s) - atEnd) / (1.0 - atEnd);
        }
        default:
            return 1.0 - s;
        }
    }
};

} // namespace zrk
