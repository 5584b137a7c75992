#pragma once

#include "core/values/interval.h"
#include "core/values/scalar_math.h"

namespace zrk {

/// How a curve runs from one key point to the next. Documents store the numbers.
enum class CurveKind { linear = 0, nearest = 1, smoothstep = 2, hermite = 3 };

/// The formula of a curve between two neighbouring key points, for x from the key of the first to that of the
/// second. If the points have the same key, the value is that of the first.
///
/// linear interpolates; nearest takes the value of the point whose key is nearer, and of the second one in
/// the middle; smoothstep interpolates with the share s^2 (3 - 2 s); hermite is the cubic with the given
/// values and slopes at the ends.
struct CurveSegment {
    CurveKind kind;
    double fromKey;
    double toKey;
    double fromValue;
    double toValue;
    double fromSlope = 0; ///< only the Hermite kind uses slopes
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
    /// Returns the share of the first point, 1 at its key and 0 at that of the second.
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

    // These are monotone, which interval arithmetic can't see, so the values at the ends bound all others.
    static Interval<double> smoothstep(const Interval<double>& s);
    Interval<double> mix(const Interval<double>& s) const;
};

} // namespace zrk
