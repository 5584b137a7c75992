#include "core/engine/box_run.h"

#include <algorithm>

namespace zrk {

namespace {

IntervalRow rowOf(double value)
{
    IntervalRow row;
    row.fill(value);
    return row;
}

} // namespace

void IntervalRow::fill(const Interval<double>& value)
{
    std::fill(std::begin(lower), std::end(lower), value.lower);
    std::fill(std::begin(upper), std::end(upper), value.upper);
}

const IntervalRow& BoxBounds::zeroRow()
{
    static const IntervalRow row = rowOf(0.0);
    return row;
}

const IntervalRow& BoxBounds::oneRow()
{
    static const IntervalRow row = rowOf(1.0);
    return row;
}

} // namespace zrk
