#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zrk {

/// What a loop over two rows of scalars may be known to compute, a the first row and b the second.
enum class RowOperation : std::uint8_t { None, Minimum, Maximum, Add, Subtract, Multiply };

/// A further operation on the result of a loop, done while the result is still in registers.
struct RowStep {
    RowOperation operation;
    bool resultIsFirst;  ///< of the operation's two operands
    const double* other; ///< row of the other operand
};

/// What a kernel does to the rows of a block: each sample's results come from the same sample of the rows
/// that it reads. The engine runs the loops of several kernels in turn over some samples at a time, so that
/// the rows stay in the first-level cache, and again for later blocks over the same rows.
struct RowLoop {
    static constexpr std::size_t kInputs = 4;
    static constexpr std::size_t kRowsAnInput = 5; ///< components, then weights
    static constexpr std::size_t kMaxSteps = 4;

    /// Computes the samples from `first` up to before `end`, both multiples of the engine's `Batch::size`.
    using Run = void (*)(const RowLoop& loop, std::size_t first, std::size_t end);

    Run run;
    Run runWithSteps =
        nullptr; ///< the same and then the steps; may compute up to kStepVectors vectors from `end`
    RowOperation operation = RowOperation::None;
    std::uint8_t stepCount = 0;
    const void* kernel;
    std::array<const double*, kInputs * kRowsAnInput> reads;
    std::array<double*, kRowsAnInput> writes;
    std::array<RowStep, kMaxSteps> steps;

    const double* firstRow(std::size_t input) const { return reads[input * kRowsAnInput]; }
};

/// Makes `later` a step of `loop`, the loop before it. Nothing else may read the first row that `loop`
/// writes. False, and both as they were, where that can't be.
inline bool joinLoops(RowLoop& loop, const RowLoop& later)
{
    const double* row = loop.writes[0];
    const bool isFirst = later.firstRow(0) == row;
    if (later.operation == RowOperation::None || later.stepCount > 0 || !loop.runWithSteps ||
        loop.stepCount == RowLoop::kMaxSteps || isFirst == (later.firstRow(1) == row)) {
        return false;
    }
    loop.steps[loop.stepCount++] = {later.operation, isFirst, later.firstRow(isFirst ? 1 : 0)};
    loop.writes[0] = later.writes[0];
    loop.run = loop.runWithSteps;
    return true;
}

} // namespace zrk
