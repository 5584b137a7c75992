#pragma once

#include "core/values/interval.h"
#include "core/values/scalar_math.h"

namespace zrk {

/// How a curve runs from one key point to the next; the numbers are what documents store.
enum class CurveKind { linear = 0, nearest = 1, smoothstep = 2, hermite = 3 };

/// The formula of a curve between two neighbouring key points, for keys within them.
///
/// Where the points have the same key the value is that of the first.
struct CurveSegment {
    CurveKind kind;
    double fromKey;
    double toKey;
    double fromValue;
    double toValue;
    double fromSlope = 0; ///< slopes are of the Hermite kind only
    double toSlope = 0;

    template <class V>
    V operator()(const V& x) const
    {
        if (fromKey == toKey) {
            return V(fromValue);
        }
        switch (kind) {
        case CurveKind::nearest:
            return select((fromKey + toKey) * 0.5 <= x, V(toValue), V(fromValue));
        case CurveKind::smoothstep:
            return mix(smoothstep(share(x)));
        case CurveKind::hermite:
            return hermite(x);
        default:
            return mix(share(x));
        }
    }

private:
    /// Share of the first point: 1 at its key, 0 at the other.
    template <class V>
    V share(const V& x) const
    {
        return (toKey - x) / (toKey - fromKey);
    }

    template <class V>
    static V smoothstep(const V& s)
    {
        return s * (3.0 - 2.0 * s) * s;
    }

    template <class V>
    V mix(const V& s) const
    {
        return (1.0 - s) * toValue + s * fromValue;
    }

    template <class V>
    V hermite(const V& x) const
    {
        const double span = toKey - fromKey;
        const double rise = toValue - fromValue;
        const double m0 = span * fromSlope;
        const double m1 = span * toSlope;
        const V t = (x - fromKey) / span;
        return (((m1 + m0 - 2.0 * rise) * t + (3.0 * rise - m1 - 2.0 * m0)) * t + m0) * t + fromValue;
    }

    // Monotone, which interval arithmetic doesn't see: the values at the ends bound all.
    static Interval<double> smoothstep(const Interval<double>& s);
    Interval<double> mix(const Interval<double>& s) const;
};

} // namespace zrk
