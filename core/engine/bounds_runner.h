#pragma once

#include "core/engine/block_plan.h"
#include "core/engine/evaluation_node.h"
#include "core/engine/kernel.h"
#include "core/values/interval.h"
#include "core/values/tensor.h"

#include <memory>
#include <span>
#include <vector>

namespace zrk {

/// A box of positions: an interval for each coordinate.
using PositionBox = Tensor<3, Interval<double>>;

/// Computes the bounds of a plan's target over boxes of positions, for one worker and on its thread.
class BoundsRunner {
public:
    /// @param plan   of the chain whose slots these are; a coordinates slot in it stands for the box.
    /// @param slots  must outlive the runner, and so must their nodes.
    BoundsRunner(std::shared_ptr<const BlockPlan> plan, std::span<const EvaluationSlot> slots);

    /// Bounds of the target's record: every sample whose position lies in the box has its components and its
    /// weight within them. What a node can't bound is unbounded, and so is NaN. Valid until the next call;
    /// allocates nothing.
    const IntervalRecord& over(const PositionBox& box);

private:
    std::shared_ptr<const BlockPlan> _plan;
    std::span<const EvaluationSlot> _slots;
    std::vector<IntervalRecord> _records; ///< by slot

    void compute(std::size_t slot, const PositionBox& box);
};

} // namespace zrk
