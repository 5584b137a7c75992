#pragma once

#include "core/values/interval.h"
#include "core/values/scalar_math.h"

#include <cmath>

namespace zrk {

enum class FallOffCurve { linear, smooth, gauss };

/// A number that falls from 1 at `start` to 0 at `end` and is flat outside: a distance becomes a
/// density. Where `start` isn't below `end`, a step at `start`, which itself gives 1.
///
/// The default maps a distance d to the density 0.5 - d, cut to 0 and 1. NaN gives NaN.
/// A value type; safe from many threads.
struct FallOff {
    double start = -0.5;
    double end = 0.5;
    FallOffCurve curve = FallOffCurve::linear;

    template <class V>
    V operator()(const V& d) const
    {
        const V s = (d - start) / (end - start);
        return select(d <= start, V(1.0), select(d >= end, V(0.0), ramp(s)));
    }

    Interval<double> operator()(const Interval<double>& d) const;

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
