#pragma once

#include "core/engine/row_loop.h"
#include "core/values/batch.h"

#include <cstddef>

namespace zrk {
inline namespace ZRK_LANES {

/// Vectors that the steps of a loop take at a time.
inline constexpr std::size_t kStepVectors = 4;

/// Does a step to the results for the samples from `first` on.
[[gnu::always_inline]] inline void applyStep(const RowStep& step, std::size_t first,
                                             Batch (&results)[kStepVectors])
{
    const double* other = step.other + first;
    const auto apply = [&](auto operation) {
        if (step.resultIsFirst) {
#pragma GCC unroll 4
            for (std::size_t v = 0; v < kStepVectors; ++v) {
                results[v] = operation(results[v], Batch::loadAligned(other + v * Batch::size));
            }
        } else {
#pragma GCC unroll 4
            for (std::size_t v = 0; v < kStepVectors; ++v) {
                results[v] = operation(Batch::loadAligned(other + v * Batch::size), results[v]);
            }
        }
    };
    switch (step.operation) {
    case RowOperation::None:
        break;
    case RowOperation::Minimum:
        apply([](Batch a, Batch b) { return minimum(a, b); });
        break;
    case RowOperation::Maximum:
        apply([](Batch a, Batch b) { return maximum(a, b); });
        break;
    case RowOperation::Add:
        apply([](Batch a, Batch b) { return a + b; });
        break;
    case RowOperation::Subtract:
        apply([](Batch a, Batch b) { return a - b; });
        break;
    case RowOperation::Multiply:
        apply([](Batch a, Batch b) { return a * b; });
        break;
    }
}

} // namespace ZRK_LANES
} // namespace zrk
