#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace zrk {

/// A place on a curve of segments: the parameter t is index + fraction. Parameters outside the curve
/// are taken as its nearest end; a whole t is the begin of a segment, at the end of the curve the
/// last segment's end. A NaN stays in the fraction.
struct CurvePlace {
    std::size_t index;
    double fraction;

    CurvePlace(double t, std::size_t segmentCount) : index(0), fraction(t)
    {
        if (!std::isnan(t)) {
            const double inside = std::clamp(t, 0.0, static_cast<double>(segmentCount));
            index = std::min(static_cast<std::size_t>(inside), segmentCount - 1);
            fraction = inside - static_cast<double>(index);
        }
    }
};

/// The best candidate so far of a search for a closest point; ties go to the smaller parameter.
struct NearestOnCurve {
    double squared;
    double t;

    void offer(double candidateSquared, double candidateT)
    {
        if (candidateSquared < squared || (candidateSquared == squared && candidateT < t)) {
            squared = candidateSquared;
            t = candidateT;
        }
    }
};

} // namespace zrk
