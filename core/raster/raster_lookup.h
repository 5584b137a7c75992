#pragma once

#include "core/raster/raster_ranges.h"
#include "core/values/batch.h"
#include "core/values/interval_batch.h"
#include "core/values/raster.h"
#include "core/values/tensor.h"

#include <concepts>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>

namespace zrk {

/// The value types that a lookup can compute in.
template <class V>
concept LooksUp = std::same_as<V, double> || std::same_as<V, Batch> || std::same_as<V, IntervalBatch>;

/// What stands beyond the last pixel: the nearest pixel, or the raster once more.
enum class Border { Clamp, Wrap };

/// The places that one axis of a lookup reads: between two neighbouring pixels, with the share of each.
template <class V>
struct AxisTaps {
    V offset[2]; ///< first double of the pixel, as far as this axis counts
    V weight[2];
};

/// One axis of a raster as a lookup needs it.
struct LookupAxis {
    double scale; ///< last pixel
    double count; ///< pixels
    double inverseCount;
    double stride; ///< doubles from pixel to pixel

    LookupAxis() = default;
    LookupAxis(double pixels, double doublesPerPixel)
        : scale(pixels - 1), count(pixels), inverseCount(1 / pixels), stride(doublesPerPixel)
    {}
};

/// Returns the remainder of a whole number by `count`, from 0 to count - 1, exact for every finite index. NaN
/// gives 0.
double wrappedIndex(double index, const LookupAxis& axis);
/// The same lane by lane, without a limit on the index.
Batch wrappedLanes(const Batch& index, const LookupAxis& axis);

inline Batch wrappedIndex(const Batch& index, const LookupAxis& axis)
{
    // Below this, products of whole numbers are exact and a quotient is wrong by less than one.
    constexpr double kExactBelow = 0x1p51;
    if (!all(abs(index) < kExactBelow)) {
        return wrappedLanes(index, axis);
    }
    const Batch quotient = floor(index * axis.inverseCount);
    Batch remainder = index - quotient * axis.count;
    remainder = select(remainder < 0.0, remainder + axis.count, remainder);
    return select(remainder < axis.count, remainder, remainder - axis.count);
}

/// Writes bounds of each channel of a lookup over a box of coordinates, an interval an axis: those of the
/// pixels that it may read, moved outwards by what rounding may add. Entire where a coordinate may be NaN or
/// infinite, or a pixel isn't finite.
void lookupBounds(const RasterRanges& ranges, std::span<const LookupAxis> axes, Border border,
                  const Interval<double>* coordinates, std::size_t channels, Interval<double>* out);

/// Returns the nearest number from 0 to count - 1. NaN gives 0.
template <class V>
V clampedIndex(const V& index, const LookupAxis& axis)
{
    return minimum(select(index > V(0.0), index, V(0.0)), V(axis.scale));
}

/// Linear interpolation between the pixels of a raster of D axes with C channels, D and C from 1 to 4:
/// bilinear in an image, trilinear in a volume.
///
/// The coordinates run from 0 at the centre of the first pixel to 1 at the centre of the last. Beyond these,
/// `Border::Clamp` repeats the last pixel. `Border::Wrap` starts over after one more cell, between the last
/// pixel and the first, so that the period is count / (count - 1), not 1. NaN or an infinity in any
/// coordinate gives NaN; any other number is legal.
///
/// The value is the sum over the 2^D neighbours, axis 0 changing fastest, of weight times pixel, starting at
/// 0; the weight is the product over the axes, axis 0 first. A neighbour of weight 0 takes part, so a pixel
/// that isn't finite spreads to its whole neighbourhood.
///
/// A formula over double and Batch, with the same bits, and over IntervalBatch, box by box. It holds the
/// raster by shared ownership and is safe from many threads at once. A call allocates nothing, but for the
/// first one over boxes; a copy costs two counts of owners.
///
/// Source of the method: Press, Teukolsky, Vetterling, Flannery, "Numerical Recipes", 3rd edition, 2007,
/// section 3.6. Here coordinates outside of the raster have a value, too.
template <int C, int D, Border kBorder>
class RasterLookup {
public:
    using Pixels = Raster<C, D, double>;

    /// @param raster  at least one pixel.
    explicit RasterLookup(std::shared_ptr<const Pixels> raster) : _raster(std::move(raster))
    {
        double stride = C;
        for (int d = 0; d < D; ++d) {
            _axes[d] = LookupAxis(_raster->dims[d], stride);
            stride *= _raster->dims[d];
        }
        _data = _raster->data.data();
        _ranges = std::make_shared<const RasterRanges>(_data, std::span(_raster->dims), std::size_t{C});
    }

    template <LooksUp V>
    Tensor<C, V> operator()(const Tensor<D, V>& coordinates) const
    {
        if constexpr (std::same_as<V, IntervalBatch>) {
            return bounds(coordinates);
        } else {
            return interpolated(coordinates);
        }
    }

private:
    std::shared_ptr<const Pixels> _raster;
    std::shared_ptr<const RasterRanges> _ranges;
    const double* _data;
    LookupAxis _axes[D];

    template <class V>
    Tensor<C, V> interpolated(const Tensor<D, V>& coordinates) const
    {
        AxisTaps<V> taps[D];
        for (int d = 0; d < D; ++d) {
            taps[d] = tapsAlong(_axes[d], coordinates[static_cast<std::size_t>(d)]);
        }
        Tensor<C, V> value;
        for (int c = 0; c < C; ++c) {
            value[static_cast<std::size_t>(c)] = V(0.0);
        }
#pragma GCC unroll 16
        for (unsigned corner = 0; corner < 1u << D; ++corner) {
            V weight = taps[0].weight[corner & 1u];
            V offset = taps[0].offset[corner & 1u];
            for (unsigned d = 1; d < D; ++d) {
                weight = weight * taps[d].weight[corner >> d & 1u];
                offset = offset + taps[d].offset[corner >> d & 1u];
            }
            for (std::size_t c = 0; c < C; ++c) {
                value[c] = value[c] + gather(_data + c, offset) * weight;
            }
        }
        return value;
    }

    Tensor<C, IntervalBatch> bounds(const Tensor<D, IntervalBatch>& coordinates) const
    {
        double lower[C][Batch::size];
        double upper[C][Batch::size];
        for (std::size_t lane = 0; lane < Batch::size; ++lane) {
            Interval<double> box[D];
            for (std::size_t d = 0; d < D; ++d) {
                box[d] = coordinates[d].lane(lane);
            }
            Interval<double> values[C];
            lookupBounds(*_ranges, _axes, kBorder, box, C, values);
            for (std::size_t c = 0; c < C; ++c) {
                lower[c][lane] = values[c].lower;
                upper[c][lane] = values[c].upper;
            }
        }
        Tensor<C, IntervalBatch> result;
        for (std::size_t c = 0; c < C; ++c) {
            result[c] = IntervalBatch::ordered(Batch::load(lower[c]), Batch::load(upper[c]));
        }
        return result;
    }

    template <class V>
    static AxisTaps<V> tapsAlong(const LookupAxis& axis, const V& coordinate)
    {
        const V x = V(axis.scale) * coordinate;
        const V whole = floor(x);
        const V share = x - whole;
        V first;
        V second;
        if constexpr (kBorder == Border::Clamp) {
            first = clampedIndex(whole, axis);
            second = clampedIndex(whole + V(1.0), axis);
        } else {
            first = wrappedIndex(whole, axis);
            second = select(first < V(axis.scale), first + V(1.0), V(0.0));
        }
        return {{first * V(axis.stride), second * V(axis.stride)}, {V(1.0) - share, share}};
    }
};

} // namespace zrk
