#pragma once

#include "core/values/export.h"
#include "core/values/scalar_math.h"

#if defined(ZRK_SIMD) && ZRK_SIMD
// GCC 12 takes the deliberately undefined registers of its own AVX-512 header for mistakes.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wuninitialized"
#include <sleef.h>
#include <xsimd/xsimd.hpp>
#pragma GCC diagnostic pop
#endif

#include <cstddef>
#include <cstdint>

/// The namespace within zrk of all that is made of lanes, so that code for registers of several lengths fits
/// into one program: the names of functions and classes that the linker sees tell them apart.
#if !defined(ZRK_SIMD) || !ZRK_SIMD
#define ZRK_LANES one_lane
#define ZRK_LANES_API ZRK_API // for formulas from outside, whose code has one lane
#elif defined(__AVX512F__)
#define ZRK_LANES eight_lanes
#elif defined(__AVX2__) && defined(__FMA__)
#define ZRK_LANES four_lanes
#elif defined(__AVX__)
#define ZRK_LANES four_lanes_avx
#else
#define ZRK_LANES two_lanes
#endif
#if !defined(ZRK_LANES_API)
#define ZRK_LANES_API
#endif

/// What `Batch` is made of: one vector register of doubles, with arithmetic by xsimd and
/// transcendental functions by SLEEF; or, built with ZRK_SIMD=0 or outside of this project, one double and
/// the C library.
///
/// A lane's bits depend on that lane's arguments only. SLEEF's ordinary functions break this rule, as
/// they choose a path by all lanes together. Its reproducible forms (finz with fused multiply-add, cinz
/// without) keep it, and the finz forms of 4 and 8 lanes give the same bits as each other.
namespace zrk {
inline namespace ZRK_LANES {
namespace lanes {

#if defined(ZRK_SIMD) && ZRK_SIMD

using Lanes = xsimd::batch<double>;
using Mask = Lanes::batch_bool_type;
inline constexpr std::size_t kCount = Lanes::size;

#if defined(__AVX512F__)
#define ZRK_SLEEF(function, accuracy) Sleef_finz_##function##d8_##accuracy##avx512f
#elif defined(__AVX2__) && defined(__FMA__)
#define ZRK_SLEEF(function, accuracy) Sleef_finz_##function##d4_##accuracy##avx2
#elif defined(__AVX__)
#define ZRK_SLEEF(function, accuracy) Sleef_cinz_##function##d4_##accuracy##avx
#elif defined(__SSE4_1__)
#define ZRK_SLEEF(function, accuracy) Sleef_cinz_##function##d2_##accuracy##sse4
#else
#error                                                                                                       \
    "SIMD batches need x86-64-v2 or later: set ZRK_ARCH to native, x86-64-v2 or -v3, or build with ZRK_SIMD=OFF."
#endif

inline Lanes load(const double* from) { return Lanes::load_unaligned(from); }
inline Lanes loadAligned(const double* from) { return Lanes::load_aligned(from); }
inline void store(Lanes x, double* to) { x.store_unaligned(to); }
inline void storeAligned(Lanes x, double* to) { x.store_aligned(to); }

// Once 2^52 is added, a whole number below 2^52 stands in the lowest bits. That is quicker than a
// conversion.
inline Lanes gather(const double* from, Lanes index)
{
    using Integers = xsimd::batch<std::int64_t>;
    const Lanes shift(0x1p52);
    const auto places = xsimd::bitwise_cast<Integers>(index + shift) ^ xsimd::bitwise_cast<Integers>(shift);
    return Lanes::gather(from, places);
}

inline Lanes select(Mask mask, Lanes a, Lanes b) { return xsimd::select(mask, a, b); }
inline bool any(Mask mask) { return xsimd::any(mask); }
inline bool all(Mask mask) { return xsimd::all(mask); }
inline unsigned bitsOf(Mask mask)
{
#if defined(__AVX512F__)
    return static_cast<unsigned>(mask.data);
#elif defined(__AVX__)
    return static_cast<unsigned>(_mm256_movemask_pd(mask));
#else
    return static_cast<unsigned>(_mm_movemask_pd(mask));
#endif
}

// xsimd's own negation of wide registers is 0 - x, which loses the sign of zero.
inline Lanes negative(Lanes x) { return x ^ Lanes(-0.0); }
// The minimum is a > b ? b : a and the maximum a > b ? a : b, for NaN and for zeros of both signs too.
#if defined(__x86_64__)
// The processor's own instructions give the second operand where the two are equal or don't compare.
inline Lanes minimum(Lanes a, Lanes b) { return xsimd::min(b, a); }
inline Lanes maximum(Lanes a, Lanes b) { return xsimd::max(a, b); }
#else
inline Lanes minimum(Lanes a, Lanes b) { return xsimd::select(a > b, b, a); }
inline Lanes maximum(Lanes a, Lanes b) { return xsimd::select(a > b, a, b); }
#endif
inline Lanes abs(Lanes x) { return xsimd::abs(x); }
inline Lanes floor(Lanes x) { return xsimd::floor(x); }
inline Lanes round(Lanes x) { return xsimd::round(x); }
inline Lanes sqrt(Lanes x) { return xsimd::sqrt(x); }
inline Lanes trunc(Lanes x) { return xsimd::trunc(x); }

inline Lanes acos(Lanes x) { return ZRK_SLEEF(acos, u35)(x); }
inline Lanes asin(Lanes x) { return ZRK_SLEEF(asin, u35)(x); }
inline Lanes atan2(Lanes y, Lanes x) { return ZRK_SLEEF(atan2, u35)(y, x); }
inline Lanes cos(Lanes x) { return ZRK_SLEEF(cos, u35)(x); }
inline Lanes exp(Lanes x) { return ZRK_SLEEF(exp, u10)(x); }
inline Lanes log(Lanes x) { return ZRK_SLEEF(log, u35)(x); }
inline Lanes pow(Lanes x, Lanes y) { return ZRK_SLEEF(pow, u10)(x, y); }
inline Lanes sin(Lanes x) { return ZRK_SLEEF(sin, u35)(x); }
inline Lanes tan(Lanes x) { return ZRK_SLEEF(tan, u35)(x); }
[[gnu::always_inline]] inline void sincos(Lanes x, Lanes& sine, Lanes& cosine)
{
    const auto both = ZRK_SLEEF(sincos, u35)(x);
    sine = both.x;
    cosine = both.y;
}

#undef ZRK_SLEEF

#else

using Lanes = double;
using Mask = bool;
inline constexpr std::size_t kCount = 1;

inline Lanes load(const double* from) { return *from; }
inline Lanes loadAligned(const double* from) { return *from; }
inline void store(Lanes x, double* to) { *to = x; }
inline void storeAligned(Lanes x, double* to) { *to = x; }

inline Lanes negative(Lanes x) { return -x; }
inline unsigned bitsOf(Mask mask) { return mask ? 1u : 0u; }
using zrk::abs;
using zrk::acos;
using zrk::all;
using zrk::any;
using zrk::asin;
using zrk::atan2;
using zrk::cos;
using zrk::exp;
using zrk::floor;
using zrk::gather;
using zrk::log;
using zrk::maximum;
using zrk::minimum;
using zrk::pow;
using zrk::round;
using zrk::select;
using zrk::sin;
using zrk::sincos;
using zrk::sqrt;
using zrk::tan;
using zrk::trunc;

#endif

} // namespace lanes
} // namespace ZRK_LANES
} // namespace zrk
