#pragma once

#include "core/engine/formula.h"
#include "core/values/interval_batch.h"
#include "core/values/scalar_math.h"

#include <array>

namespace zrk {

// One operation on components a and b: `plain` for equal weights, `weighted` for weights that
// differ, a weighted mean of its kind. An operation without `weighted` ignores the weights. `kRowOperation`
// is the engine's name for `plain`, if it has one. `isFirst` and `isSecond` tell where `plain` surely gives
// that component, to the bit.

struct Addition {
    static constexpr auto kRowOperation = RowOperation::Add;

    template <class V>
    V plain(const V& a, const V& b) const
    {
        return a + b;
    }
    template <class V>
    V weighted(const V& a, const V& wa, const V& b, const V& wb) const
    {
        return (wa * a + wb * b) * 2.0 / (wa + wb);
    }
};

struct Subtraction {
    static constexpr auto kRowOperation = RowOperation::Subtract;

    template <class V>
    V plain(const V& a, const V& b) const
    {
        return a - b;
    }
    template <class V>
    V weighted(const V& a, const V& wa, const V& b, const V& wb) const
    {
        return (wa * a - wb * b) * 2.0 / (wa + wb);
    }
};

struct Multiplication {
    static constexpr auto kRowOperation = RowOperation::Multiply;

    template <class V>
    V plain(const V& a, const V& b) const
    {
        return a * b;
    }
    /// The weighted geometric mean; NaN for a negative component.
    template <class V>
    V weighted(const V& a, const V& wa, const V& b, const V& wb) const
    {
        return pow(pow(a, wa) * pow(b, wb), 1.0 / (wa + wb));
    }
};

/// From a at the factor 0 to b at 1; other factors extrapolate.
struct Blend {
    double factor;

    template <class V>
    V plain(const V& a, const V& b) const
    {
        return (1.0 - factor) * a + factor * b;
    }
    template <class V>
    V weighted(const V& a, const V& wa, const V& b, const V& wb) const
    {
        return ((1.0 - factor) * wa * a + factor * wb * b) * 2.0 / (wa + wb);
    }
};

/// Returns a if the components are equal or either is NaN.
struct Minimum {
    static constexpr auto kRowOperation = RowOperation::Minimum;

    template <class V>
    V plain(const V& a, const V& b) const
    {
        return minimum(a, b);
    }
    static BatchMask isFirst(const IntervalBatch& a, const IntervalBatch& b) { return !(a > b).canBeTrue; }
    static BatchMask isSecond(const IntervalBatch& a, const IntervalBatch& b) { return !(a > b).canBeFalse; }
};

/// Returns b if the components are equal or either is NaN.
struct Maximum {
    static constexpr auto kRowOperation = RowOperation::Maximum;

    template <class V>
    V plain(const V& a, const V& b) const
    {
        return maximum(a, b);
    }
    static BatchMask isFirst(const IntervalBatch& a, const IntervalBatch& b) { return !(a > b).canBeFalse; }
    static BatchMask isSecond(const IntervalBatch& a, const IntervalBatch& b) { return !(a > b).canBeTrue; }
};

/// Two records combined component by component, after scaling their components, not their
/// weights, by a strength each.
///
/// The weight of the result is the larger one, wa > wb ? wa : wb, and so that of b if either is NaN. NaN
/// weights count as unequal.
template <class Operation, std::uint32_t N>
struct BinaryCombination {
    static constexpr bool kKeepsUnitWeight = true;
    static constexpr bool kChooses = requires { &Operation::isFirst; };

    double strengthA;
    double strengthB;
    Operation operation;

    RowOperation rowOperation() const
    {
        if constexpr (N == 1 && requires { Operation::kRowOperation; }) {
            if (strengthA == 1.0 && strengthB == 1.0) {
                return Operation::kRowOperation;
            }
        }
        return RowOperation::None;
    }

    template <class V>
    Record<N, V> operator()(const Record<N, V>& a, const Record<N, V>& b) const
    {
        Record<N, V> result;
        const auto equalWeights = a.weight == b.weight;
        for (std::size_t i = 0; i < result.value.count; ++i) {
            const V x = strengthA * a.value[i];
            const V y = strengthB * b.value[i];
            result.value[i] = operation.plain(x, y);
            if constexpr (requires { operation.weighted(x, a.weight, y, b.weight); }) {
                if (!all(equalWeights)) {
                    result.value[i] =
                        select(equalWeights, result.value[i], operation.weighted(x, a.weight, y, b.weight));
                }
            }
        }
        result.weight = maximum(a.weight, b.weight);
        return result;
    }

    std::array<BatchMask, 2> choices(const Record<N, IntervalBatch>& a,
                                     const Record<N, IntervalBatch>& b) const requires(kChooses)
    {
        // Weights that are equal and above 0 have the same bits, whichever is taken.
        std::array<BatchMask, 2> isResult = {
            BatchMask(strengthA == 1.0) && a.weight.lower >= b.weight.upper && a.weight.lower > 0.0 &&
                !b.weight.isEntire(),
            BatchMask(strengthB == 1.0) && Maximum::isSecond(a.weight, b.weight)};
        for (std::size_t i = 0; i < a.value.count; ++i) {
            const IntervalBatch x = strengthA * a.value[i];
            const IntervalBatch y = strengthB * b.value[i];
            isResult[0] = isResult[0] && Operation::isFirst(x, y);
            isResult[1] = isResult[1] && Operation::isSecond(x, y);
        }
        return isResult;
    }
};

} // namespace zrk
