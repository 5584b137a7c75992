#pragma once

#include "core/values/export.h"

#include <functional>

namespace zrk {

/// Where a function of one number has a given value, as far as it was found.
struct LevelSearch {
    double x = 0;     ///< the argument whose value came nearest
    double value = 0; ///< the value there
    bool isFound = false;
    double least = 0; ///< of the values that were seen
    double greatest = 0;
};

/// Looks for an argument where the function has the value `level`, to within `tolerance`: first on both sides
/// of `start` in steps that double, until the function crosses the level between two neighbours, then between
/// these two by the Illinois rule, with bisection where that is slow. The function should be continuous;
/// NaN ends the search on its side of the start.
///
/// @param firstStep  above 0.
/// @param function   called some ten to forty times. What it throws passes through.
///
/// Source: Dowell, Jarratt, "A modified regula falsi method for computing the root of an equation", BIT 11,
/// 1971.
ZRK_API LevelSearch findLevel(const std::function<double(double)>& function, double level, double start,
                              double firstStep, double tolerance);

} // namespace zrk
