#include "core/engine/bounds_runner.h"

#include <utility>

namespace zrk {

namespace {

/// The record that a slot holds, for a kernel that writes nothing.
void setToHeldRecord(IntervalRecord& record, const EvaluationSlot& slot, std::size_t componentCount)
{
    record.components = {};
    for (std::size_t c = 0; c < componentCount; ++c) {
        record.components.push_back(Interval<double>(slot.value[c]));
    }
    record.weight = Interval<double>(slot.value[componentCount]);
}

void setUnbounded(IntervalRecord& record)
{
    for (Interval<double>& component : record.components) {
        component = Interval<double>::entire();
    }
    record.weight = Interval<double>::entire();
}

} // namespace

const IntervalRecord& BoundsRun::input(std::size_t k) const
{
    return (*_records)[static_cast<std::size_t>(_node->inputs[k]->slotIndex)];
}

const IntervalRecord& BoundsRun::coordinates() const
{
    return (*_records)[static_cast<std::size_t>(_node->coordinates->slotIndex)];
}

BoundsRunner::BoundsRunner(std::shared_ptr<const BlockPlan> plan, std::span<const EvaluationSlot> slots)
    : _plan(std::move(plan)), _slots(slots), _records(slots.size())
{}

const IntervalRecord& BoundsRunner::over(const PositionBox& box)
{
    for (const std::size_t slot : _plan->boundsOrder()) {
        compute(slot, box);
    }
    return _records[_plan->target()];
}

void BoundsRunner::compute(std::size_t slot, const PositionBox& box)
{
    IntervalRecord& record = _records[slot];
    const BlockPlan::Step& step = _plan->step(slot);
    setToHeldRecord(record, _slots[slot], step.componentCount);
    switch (step.source) {
    case BlockPlan::Source::Positions:
        record = {{box[0], box[1], box[2]}, Interval<double>(1.0)};
        return;
    case BlockPlan::Source::Constant:
        return;
    case BlockPlan::Source::Kernel:
    case BlockPlan::Source::Lanes:
        if (step.kernel && step.kernel->bounds(BoundsRun(_slots[slot].node, &_records, &record))) {
            return;
        }
        break;
    case BlockPlan::Source::Buffer:
        break;
    }
    setUnbounded(record);
}

} // namespace zrk
