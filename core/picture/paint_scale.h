#pragma once

#include "core/picture/color_map.h"
#include "core/values/interval.h"
#include "core/values/tensor.h"

#include <functional>
#include <span>

namespace zrk {

class PreparedField;

/// The colour of a value on a surface: that of `sequentialMap`, whose ends are those of a range; the middle
/// one where the range is a single value.
const Rgb& scaleColor(const Interval<double>& range, double value);

/// The finite values that a field of one component has at places; 0 to 1 where there are none.
/// @param keepsGoing  asked each thousand places; false ends it with what was found.
Interval<double> finiteRange(const PreparedField& field, std::span<const Tensor<3, double>> places,
                             const std::function<bool()>& keepsGoing);

} // namespace zrk
