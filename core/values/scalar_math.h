#pragma once

#include <cmath>
#include <cstddef>

/// The functions a formula may call, for `double`.
///
/// A formula is written once, as a template over its value type V, and runs with V = `double`,
/// `Batch` (core/values/batch.h) and `Interval<double>` (core/values/interval.h). All three
/// offer the functions of this header under the same names. Masks, the results of comparisons,
/// combine with `&&`, `||` and `!`; both operands of these are always evaluated.
namespace zrk {

using std::abs;
using std::acos;
using std::asin;
using std::atan2;
using std::cos;
using std::exp;
using std::floor;
using std::log;
using std::pow;
using std::round; ///< halves away from zero
using std::sin;
using std::sqrt;
using std::tan;
using std::trunc;

inline void sincos(double x, double& sine, double& cosine)
{
    sine = std::sin(x);
    cosine = std::cos(x);
}

/// Returns a where the mask holds and b elsewhere.
inline double select(bool mask, double a, double b) { return mask ? a : b; }

/// Returns the smaller of two numbers. Returns a if either is NaN, or if they are equal, as zeros of either
/// sign are.
inline double minimum(double a, double b) { return a > b ? b : a; }

/// Returns the larger of two numbers. Returns b if either is NaN, or if they are equal, as zeros of either
/// sign are.
inline double maximum(double a, double b) { return a > b ? a : b; }

inline bool isNaN(double x) { return std::isnan(x); }
inline bool isFinite(double x) { return std::isfinite(x); }

/// Whether a mask holds in some lane (any), in every lane (all), in no lane (none).
inline bool any(bool mask) { return mask; }
inline bool all(bool mask) { return mask; }
inline bool none(bool mask) { return !mask; }

/// Returns the double that stands `index` places after `from`. The index is a whole number from 0 to below
/// 2^52. Only `double` and `Batch` have this function.
inline double gather(const double* from, double index) { return from[static_cast<std::size_t>(index)]; }

} // namespace zrk
