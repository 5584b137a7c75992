#pragma once

#include "core/values/scalar_math.h"

namespace zrk {

/// What a field says about the inside of a solid: a distance is negative there, a density
/// above 0.5; density = 0.5 - distance.
enum class LevelSetKind { distance, density };

/// Distance to a band around a level of a distance field, from the field, factors for the
/// level's offset and for the thicknesses. A negative thickness turns the band inside out.
template <LevelSetKind Result>
struct ShellDistance {
    double offset;
    double halfDifference; ///< of the thicknesses, outer - inner
    double halfSum;

    static ShellDistance between(double offset, double innerThickness, double outerThickness)
    {
        return {offset, (outerThickness - innerThickness) * 0.5, (innerThickness + outerThickness) * 0.5};
    }

    template <class V>
    V operator()(const V& d, const V& offsetFactor, const V& thicknessFactor) const
    {
        const V fromMiddle = d - offset * offsetFactor - thicknessFactor * halfDifference;
        const V r = abs(fromMiddle) - thicknessFactor * halfSum;
        if constexpr (Result == LevelSetKind::density) {
            return 0.5 - r;
        } else {
            return r;
        }
    }
};

/// Mirrors the unit interval: what was inside of a density is outside.
struct Inversion {
    template <class V>
    V operator()(const V& v) const
    {
        return 1.0 - v;
    }
};

/// From a density to a field like a distance, 0 where the density is `isoValue` and negative
/// above it.
struct IsoDistance {
    double isoValue;

    template <class V>
    V operator()(const V& density) const
    {
        return isoValue - density;
    }
};

/// The negative of IsoDistance.
struct InvertedIsoDistance {
    double isoValue;

    template <class V>
    V operator()(const V& density) const
    {
        return density - isoValue;
    }
};

} // namespace zrk
