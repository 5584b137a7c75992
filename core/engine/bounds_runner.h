#pragma once

#include "core/engine/block_plan.h"
#include "core/engine/box_run.h"
#include "core/engine/evaluation_node.h"
#include "core/engine/interval_record.h"
#include "core/values/export.h"
#include "core/values/interval.h"
#include "core/values/tensor.h"

#include <cstddef>
#include <span>
#include <vector>

namespace zrk {

/// A box of positions: an interval for each coordinate.
using PositionBox = Tensor<3, Interval<double>>;

/// Computes the bounds of a plan's target over boxes of positions, up to kMaxBoxes at a time, for one worker
/// and on its thread.
class ZRK_API BoundsRunner {
public:
    /// Bounds of the target's record over each box: every sample whose position lies in the box, and has the
    /// weight 1, has its components and its weight within them. What a node can't bound is unbounded, and so
    /// is NaN. Valid until the next call; allocates nothing once a plan of that length has run.
    ///
    /// @param plan     a coordinates slot in it stands for the boxes.
    /// @param slots    those of the plan's chain, for the records that they hold.
    /// @param boxes    at least one and at most kMaxBoxes.
    /// @param choices  where not null, receives what decides in each box, by slot, for the slots of the
    /// plan's
    ///                 `boundsOrder()`.
    const BoxBounds& over(const BlockPlan& plan, std::span<const EvaluationSlot> slots,
                          std::span<const PositionBox> boxes, std::vector<BoxChoices>* choices = nullptr);

    /// The same of a slot of that order, after the call.
    const BoxBounds& of(std::size_t slot) const { return _bounds[slot]; }

private:
    IntervalRows _rows;
    std::vector<BoxBounds> _bounds; ///< by slot
    std::vector<const BoxBounds*> _inputs;
    std::vector<IntervalRow> _matters; ///< by slot: which of its values can matter to the target

    void compute(const BlockPlan& plan, std::size_t slot, std::span<const EvaluationSlot> slots,
                 std::span<const PositionBox> boxes, BoxChoices* choices);
    void chooseFromAbove(const BlockPlan& plan, std::size_t boxCount, std::vector<BoxChoices>& choices);
    void setPositions(std::span<const PositionBox> boxes, BoxBounds& out);
    void setRecord(const double* record, std::size_t componentCount, BoxBounds& out);
    void setUnbounded(std::size_t componentCount, BoxBounds& out);
};

/// The bounds of one box of many.
ZRK_API IntervalRecord recordOf(const BoxBounds& bounds, std::size_t box);

} // namespace zrk
