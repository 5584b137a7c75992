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

/// a where the mask holds, b elsewhere.
inline double select(bool mask, double a, double b) { return mask ? a : b; }

/// The smaller of two numbers; a if they are equal (zeros of either sign are) or one is NaN.
inline double minimum(double a, double b) { return a > b ? b : a; }

/// The larger of two numbers; b if they are equal (zeros of either sign are) or one is NaN.
inline double maximum(double a, double b) { return a > b ? a : b; }

inline bool isNaN(double x) { return std::isnan(x); }
inline bool isFinite(double x) { return std::isfinite(x); }

/// Whether a mask holds in some lane, in every lane, in no lane.
inline bool any(bool mask) { return mask; }
inline bool all(bool mask) { return mask; }
inline bool none(bool mask) { return !mask; }

/// The double that stands `index` places after `from`; the index is a whole number from 0 to below 2^52.
/// For `double` and `Batch` only.
inline double gather(const double* from, double index) { return from[static_cast<std::size_t>(index)]; }

} // namespace zrk
