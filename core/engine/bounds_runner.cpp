#include "core/engine/bounds_runner.h"

#include "core/engine/formula.h"
#include "core/values/batch.h"
#include "core/values/interval_batch.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstdint>
#include <limits>

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
    if (choices) {
        chooseFromAbove(plan, boxes.size(), *choices);
    }
    return _bounds[plan.target()];
}

/// Decides more of the plan's minima and maxima than each can by the bounds of its own inputs, from the
/// target upstream.
///
/// Of a slot an interval of values matters: where it lies beyond an end, any other value beyond that end
/// gives the target the same bits. To a minimum it doesn't matter by how much an input exceeds the upper
/// bound of the other one, or the upper end of what matters of the minimum itself; an input that always does
/// is left out. To a slot with several readers matters what does to any of them. Inputs that may be NaN
/// matter wholly.
void BoundsRunner::chooseFromAbove(const BlockPlan& plan, std::size_t boxCount,
                                   std::vector<BoxChoices>& choices)
{
    const std::span<const std::size_t> order = plan.boundsOrder();
    const auto isExtreme = [&](std::size_t slot) { return plan.step(slot).isExtreme(); };
    if (std::count_if(order.begin(), order.end(), isExtreme) < 2) {
        return;
    }
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    const std::size_t end = wholeBatches(boxCount);
    if (_matters.size() < plan.slotCount()) {
        _matters.resize(plan.slotCount());
    }
    for (const std::size_t slot : order) {
        std::fill_n(_matters[slot].lower, end, slot == plan.target() ? -kInfinity : kInfinity);
        std::fill_n(_matters[slot].upper, end, slot == plan.target() ? kInfinity : -kInfinity);
    }
    const Batch highest(kInfinity);
    const Batch lowest(-kInfinity);
    for (auto place = order.rbegin(); place != order.rend(); ++place) {
        const BlockPlan::Step& step = plan.step(*place);
        const IntervalRow& matters = _matters[*place];
        const auto add = [&](std::size_t input, std::size_t i, const Batch& lower, const Batch& upper) {
            IntervalRow& row = _matters[input];
            minimum(Batch::loadAligned(row.lower + i), lower).storeAligned(row.lower + i);
            maximum(Batch::loadAligned(row.upper + i), upper).storeAligned(row.upper + i);
        };
        const bool isKnown = step.isExtreme() && step.inputs.size() == 2 && !step.positions &&
                             _bounds[step.inputs[0]].hasUnitWeight() &&
                             _bounds[step.inputs[1]].hasUnitWeight();
        for (std::size_t i = 0; i < end; i += Batch::size) {
            const Batch lower = Batch::loadAligned(matters.lower + i);
            const Batch upper = Batch::loadAligned(matters.upper + i);
            const BatchMask isRead = lower <= upper;
            if (!isKnown) {
                for (const std::size_t read : step.reads) {
                    add(read, i, select(isRead, lowest, highest), select(isRead, highest, lowest));
                }
                continue;
            }
            const IntervalBatch a = loadBounds(_bounds[step.inputs[0]].row(0), i);
            const IntervalBatch b = loadBounds(_bounds[step.inputs[1]].row(0), i);
            const BatchMask mayBeNaN = a.isEntire() || b.isEntire();
            Batch ends[2][2] = {{lower, upper}, {lower, upper}}; // of what matters of a and b
            BatchMask isIdle[2];
            if (step.operation == RowOperation::Minimum) {
                ends[0][1] = minimum(upper, b.upper);
                ends[1][1] = minimum(upper, a.upper);
                isIdle[0] = a.lower > ends[0][1];
                isIdle[1] = b.lower > ends[1][1];
            } else {
                ends[0][0] = maximum(lower, b.lower);
                ends[1][0] = maximum(lower, a.lower);
                isIdle[0] = a.upper < ends[0][0];
                isIdle[1] = b.upper < ends[1][0];
            }
            const BatchMask decides = isRead && !mayBeNaN;
            const BatchMask isLeftOut[2] = {decides && isIdle[0], decides && isIdle[1] && !isIdle[0]};
            for (std::size_t k = 0; k < 2; ++k) {
                const BatchMask isTaken = isRead && !isLeftOut[k];
                const Batch from = select(mayBeNaN, lowest, minimum(ends[k][0], upper));
                const Batch to = select(mayBeNaN, highest, maximum(ends[k][1], lower));
                add(step.inputs[k], i, select(isTaken, from, highest), select(isTaken, to, lowest));
                for (unsigned lanes = bitsOf(isLeftOut[k]); lanes != 0; lanes &= lanes - 1) {
                    const std::size_t box = i + static_cast<std::size_t>(std::countr_zero(lanes));
                    choices[*place].input[box] = static_cast<std::uint8_t>(1 - k);
                }
            }
        }
    }
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
