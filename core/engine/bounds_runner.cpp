#include "core/engine/bounds_runner.h"

#include "core/values/batch.h"

#include <algorithm>
#include <cassert>

namespace zrk {

using Source = BlockPlan::Source;

const BoxBounds& BoundsRunner::over(const BlockPlan& plan, std::span<const EvaluationSlot> slots,
                                    std::span<const PositionBox> boxes, std::vector<BoxChoices>* choices)
{
    assert(!boxes.empty() && boxes.size() <= kMaxBoxes);
    _rows.reset();
    if (_bounds.size() < plan.slotCount()) {
        _bounds.resize(plan.slotCount());
    }
    if (choices && choices->size() < plan.slotCount()) {
        choices->resize(plan.slotCount());
    }
    for (const std::size_t slot : plan.boundsOrder()) {
        compute(plan, slot, slots, boxes, choices ? &(*choices)[slot] : nullptr);
    }
    return _bounds[plan.target()];
}

void BoundsRunner::compute(const BlockPlan& plan, std::size_t slot, std::span<const EvaluationSlot> slots,
                           std::span<const PositionBox> boxes, BoxChoices* choices)
{
    const BlockPlan::Step& step = plan.step(slot);
    BoxBounds& out = _bounds[slot];
    out._componentCount = 0;
    out._weight = nullptr;
    if (choices) {
        choices->input.fill(BoxChoices::kNone);
    }
    switch (step.source) {
    case Source::Positions:
        setPositions(boxes, out);
        return;
    case Source::Constant:
        setRecord(step.record.empty() ? slots[slot].value : step.record.data(), step.componentCount, out);
        return;
    case Source::Kernel:
    case Source::Lanes:
        if (step.kernel) {
            _inputs.clear();
            for (const std::size_t input : step.inputs) {
                _inputs.push_back(&_bounds[input]);
            }
            BoxRun run(_rows, out, _inputs, step.positions ? &_bounds[*step.positions] : nullptr,
                       boxes.size(), choices);
            if (step.kernel->bounds(run)) {
                if (out._componentCount == 0) {
                    setRecord(slots[slot].value, step.componentCount, out);
                }
                return;
            }
        }
        break;
    case Source::Buffer:
        break;
    }
    setUnbounded(step.componentCount, out);
}

void BoundsRunner::setPositions(std::span<const PositionBox> boxes, BoxBounds& out)
{
    out._componentCount = 3;
    const std::size_t whole = wholeBatches(boxes.size());
    for (std::size_t c = 0; c < 3; ++c) {
        IntervalRow& row = _rows.take();
        for (std::size_t i = 0; i < boxes.size(); ++i) {
            row.lower[i] = boxes[i][c].lower;
            row.upper[i] = boxes[i][c].upper;
        }
        for (std::size_t i = boxes.size(); i < whole; ++i) {
            row.set(i, boxes.back()[c]);
        }
        out._rows[c] = &row;
    }
}

void BoundsRunner::setRecord(const double* record, std::size_t componentCount, BoxBounds& out)
{
    out._componentCount = componentCount;
    for (std::size_t c = 0; c < componentCount; ++c) {
        IntervalRow& row = _rows.take();
        row.fill(record[c]);
        out._rows[c] = &row;
    }
    if (record[componentCount] != 1.0) {
        IntervalRow& weights = _rows.take();
        weights.fill(record[componentCount]);
        out._weight = &weights;
    }
}

void BoundsRunner::setUnbounded(std::size_t componentCount, BoxBounds& out)
{
    IntervalRow& entire = _rows.take();
    entire.fill(Interval<double>::entire());
    out._componentCount = componentCount;
    std::fill_n(out._rows.begin(), componentCount, &entire);
    out._weight = &entire;
}

IntervalRecord recordOf(const BoxBounds& bounds, std::size_t box)
{
    IntervalRecord record;
    for (std::size_t c = 0; c < bounds.componentCount(); ++c) {
        record.components.push_back(bounds.row(c).at(box));
    }
    record.weight = bounds.weights().at(box);
    return record;
}

} // namespace zrk
