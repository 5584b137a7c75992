#include "core/curves/fall_off_curve.h"

#include <limits>

namespace zrk {

namespace {

/// How far the bounds of a ramp are moved outwards: it falls everywhere but for its rounding, and its terms
/// are of the size 1.
constexpr double kRampSlack = kWidening * std::numeric_limits<double>::epsilon();

} // namespace

Interval<double> FallOff::operator()(const Interval<double>& d) const
{
    if (d.isEntire()) {
        return d;
    }
    const bool meetsRamp = d.upper > start && d.lower < end;
    const double slack = meetsRamp ? kRampSlack : 0.0;
    return {(*this)(d.upper) - slack, (*this)(d.lower) + slack};
}

IntervalBatch FallOff::operator()(const IntervalBatch& d) const
{
    const Batch slack = select(d.upper > start && d.lower < end, kRampSlack, 0.0);
    return IntervalBatch::entireWhere(
        d.isEntire(), IntervalBatch::checked((*this)(d.upper) - slack, (*this)(d.lower) + slack));
}

} // namespace zrk
