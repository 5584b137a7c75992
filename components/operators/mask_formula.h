#pragma once

#include "core/engine/formula.h"
#include "core/values/interval_batch.h"
#include "core/values/scalar_math.h"

#include <array>

namespace zrk {

/// Whether a mask may only lower weights, or sets them.
enum class MaskMode { lower, replace };

/// A record with another weight, cut to 0..1; its components stay as they are.
///
/// The mask's own weight says how much of the mask applies. A NaN weight stays NaN. The mask comes first
/// because it is read first.
template <MaskMode Mode, std::uint32_t N>
struct Masking {
    static constexpr bool kChooses = true;

    double multiplier;

    template <class V>
    Record<N, V> operator()(const Record<1, V>& mask, const Record<N, V>& f) const
    {
        const V k = multiplier * mask.value[0];
        const V target = Mode == MaskMode::replace ? k : minimum(f.weight, k);
        const V weight = (1.0 - mask.weight) * f.weight + mask.weight * target;
        // The orders of arguments that keep NaN.
        return {f.value, maximum(V(0.0), minimum(weight, V(1.0)))};
    }

    /// The record is f's where the mask applies fully and lets its weight through.
    std::array<BatchMask, 2> choices(const Record<1, IntervalBatch>& mask,
                                     const Record<N, IntervalBatch>& f) const
    {
        const Batch least = (multiplier * mask.value[0]).lower;
        const BatchMask isFull = mask.weight.lower == 1.0 && mask.weight.upper == 1.0;
        const BatchMask lets = Mode == MaskMode::replace
                                   ? f.weight.lower == 1.0 && f.weight.upper == 1.0 && least >= 1.0
                                   : f.weight.lower > 0.0 && f.weight.upper <= 1.0 && least >= f.weight.upper;
        return {BatchMask(false), isFull && lets};
    }
};

} // namespace zrk
