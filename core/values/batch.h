#pragma once

#include "core/values/batch_math.h"

#include <concepts>
#include <limits>

namespace zrk {
inline namespace ZRK_LANES {

/// One truth value for each lane of a batch: the result of comparing two batches.
class BatchMask {
public:
    BatchMask() = default;
    /// Takes a bool, which then holds for every lane, or the native form. Nothing else converts.
    template <class Mask>
    requires std::same_as<Mask, bool> || std::same_as<Mask, lanes::Mask> BatchMask(Mask mask) : _lanes(mask)
    {}

    lanes::Mask native() const { return _lanes; }

    friend BatchMask operator&&(BatchMask a, BatchMask b) { return BatchMask(a._lanes && b._lanes); }
    friend BatchMask operator||(BatchMask a, BatchMask b) { return BatchMask(a._lanes || b._lanes); }
    friend BatchMask operator!(BatchMask a) { return BatchMask(!a._lanes); }

private:
    lanes::Mask _lanes;
};

/// A few doubles that are worked on together: as many as fill a vector register of the processor that
/// the code is compiled for, or one where SIMD is off. A double converts to a batch of equal lanes.
///
/// Arithmetic, comparisons, square root and rounding give each lane exactly what they give a
/// double. The other functions lie within a few units in the last place of the C library's and
/// equal them at special values (NaN, infinities, zeros, ends of the domain). In every function
/// a lane's bits depend on that lane's arguments alone, not on its place or its neighbours.
/// A value type; safe to use from many threads at once.
///
/// Sources: xsimd for arithmetic; SLEEF for the other functions (Shibata, Petrogalli, "SLEEF: A portable
/// vectorized library of C standard mathematical functions", IEEE Transactions on Parallel and Distributed
/// Systems 31(6), 2020, doi:10.1109/TPDS.2019.2960333), in the forms that batch_math.h names.
class Batch {
public:
    static constexpr std::size_t size = lanes::kCount;

    Batch() = default;
    Batch(double everywhere) : _lanes(everywhere) {}
    template <std::same_as<lanes::Lanes> Native>
    explicit Batch(Native native) : _lanes(native)
    {}

    /// Reads `size` consecutive doubles.
    static Batch load(const double* from) { return Batch(lanes::load(from)); }
    /// Does the same from an address that is a multiple of the batch's size in bytes.
    static Batch loadAligned(const double* from) { return Batch(lanes::loadAligned(from)); }
    void store(double* to) const { lanes::store(_lanes, to); }
    void storeAligned(double* to) const { lanes::storeAligned(_lanes, to); }

    double lane(std::size_t index) const
    {
        double values[size];
        store(values);
        return values[index];
    }
    lanes::Lanes native() const { return _lanes; }

    friend Batch operator+(Batch a, Batch b) { return Batch(a._lanes + b._lanes); }
    friend Batch operator-(Batch a, Batch b) { return Batch(a._lanes - b._lanes); }
    friend Batch operator*(Batch a, Batch b) { return Batch(a._lanes * b._lanes); }
    friend Batch operator/(Batch a, Batch b) { return Batch(a._lanes / b._lanes); }
    friend Batch operator-(Batch a) { return Batch(lanes::negative(a._lanes)); }
    Batch& operator+=(Batch b) { return *this = *this + b; }
    Batch& operator-=(Batch b) { return *this = *this - b; }
    Batch& operator*=(Batch b) { return *this = *this * b; }
    Batch& operator/=(Batch b) { return *this = *this / b; }

    friend BatchMask operator<(Batch a, Batch b) { return BatchMask(a._lanes < b._lanes); }
    friend BatchMask operator<=(Batch a, Batch b) { return BatchMask(a._lanes <= b._lanes); }
    friend BatchMask operator>(Batch a, Batch b) { return BatchMask(a._lanes > b._lanes); }
    friend BatchMask operator>=(Batch a, Batch b) { return BatchMask(a._lanes >= b._lanes); }
    friend BatchMask operator==(Batch a, Batch b) { return BatchMask(a._lanes == b._lanes); }
    // xsimd's own inequality of wide registers is false for NaN.
    friend BatchMask operator!=(Batch a, Batch b) { return !(a == b); }

private:
    lanes::Lanes _lanes;
};

/// Returns `count` rounded up to whole batches.
constexpr std::size_t wholeBatches(std::size_t count)
{
    return (count + Batch::size - 1) / Batch::size * Batch::size;
}

/// Fills the rest of a row's last batch with zeros, from `count` on.
inline void fillLastBatch(double* row, std::size_t count)
{
    for (; count % Batch::size != 0; ++count) {
        row[count] = 0.0;
    }
}

// core/values/scalar_math.h says what these functions mean.

inline bool any(BatchMask mask) { return lanes::any(mask.native()); }
inline bool all(BatchMask mask) { return lanes::all(mask.native()); }
inline bool none(BatchMask mask) { return !any(mask); }
/// A bit a lane, the first lane's the lowest.
inline unsigned bitsOf(BatchMask mask) { return lanes::bitsOf(mask.native()); }

inline Batch gather(const double* from, Batch index) { return Batch(lanes::gather(from, index.native())); }

inline Batch select(BatchMask mask, Batch a, Batch b)
{
    return Batch(lanes::select(mask.native(), a.native(), b.native()));
}
inline Batch minimum(Batch a, Batch b) { return Batch(lanes::minimum(a.native(), b.native())); }
inline Batch maximum(Batch a, Batch b) { return Batch(lanes::maximum(a.native(), b.native())); }

inline Batch abs(Batch x) { return Batch(lanes::abs(x.native())); }
inline Batch floor(Batch x) { return Batch(lanes::floor(x.native())); }
inline Batch round(Batch x) { return Batch(lanes::round(x.native())); }
inline Batch sqrt(Batch x) { return Batch(lanes::sqrt(x.native())); }
inline Batch trunc(Batch x) { return Batch(lanes::trunc(x.native())); }

inline BatchMask isNaN(Batch x) { return x != x; }
inline BatchMask isFinite(Batch x) { return abs(x) < std::numeric_limits<double>::infinity(); }

inline Batch acos(Batch x) { return Batch(lanes::acos(x.native())); }
inline Batch asin(Batch x) { return Batch(lanes::asin(x.native())); }
inline Batch atan2(Batch y, Batch x) { return Batch(lanes::atan2(y.native(), x.native())); }
inline Batch cos(Batch x) { return Batch(lanes::cos(x.native())); }
inline Batch exp(Batch x) { return Batch(lanes::exp(x.native())); }
inline Batch log(Batch x) { return Batch(lanes::log(x.native())); }
inline Batch pow(Batch x, Batch y) { return Batch(lanes::pow(x.native(), y.native())); }
inline Batch sin(Batch x) { return Batch(lanes::sin(x.native())); }
inline Batch tan(Batch x) { return Batch(lanes::tan(x.native())); }
[[gnu::always_inline]] inline void sincos(Batch x, Batch& sine, Batch& cosine)
{
    lanes::Lanes s;
    lanes::Lanes c;
    lanes::sincos(x.native(), s, c);
    sine = Batch(s);
    cosine = Batch(c);
}

} // namespace ZRK_LANES
} // namespace zrk
