#include "core/curves/fall_off_curve.h"

#include <limits>

namespace zrk {

Interval<double> FallOff::operator()(const Interval<double>& d) const
{
    if (d.isEntire()) {
        return d;
    }
    // It falls everywhere but for the rounding of the ramp, whose terms are of the size 1.
    const bool meetsRamp = d.upper > start && d.lower < end;
    const double slack = meetsRamp ? kWidening * std::numeric_limits<double>::epsilon() : 0.0;
    return {(*this)(d.upper) - slack, (*this)(d.lower) + slack};
}

} // namespace zrk
