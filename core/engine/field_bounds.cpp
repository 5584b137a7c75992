#include "core/engine/field_bounds.h"

#include "core/engine/evaluator_builder.h"

namespace zrk {

namespace {

/// Bounds of a slot before its kernel is asked: what the slot holds, for a kernel that writes nothing.
IntervalRecord heldRecord(const EvaluationSlot& slot)
{
    const std::size_t n = componentCount(slot.node->outputShape);
    IntervalRecord record;
    for (std::size_t c = 0; c < n; ++c) {
        record.components.push_back(Interval<double>(slot.value[c]));
    }
    record.weight = Interval<double>(slot.value[n]);
    return record;
}

void makeUnbounded(IntervalRecord& record)
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

FieldBounds::FieldBounds(std::shared_ptr<IFieldGenerator> generator)
{
    if (!generator) {
        generator = std::make_shared<SolidField<1, 3>>();
    }
    _coordinates.reset(3, nullptr);
    _target.reset(generator->descriptor().outputShape, &_coordinates);
    _target.generator = std::move(generator);
    EvaluatorBuilder<double> builder;
    builder.visit(&_target);
    _slots = std::move(builder.slots());
}

IntervalRecord FieldBounds::over(const Tensor<3, Interval<double>>& box) const
{
    std::vector<IntervalRecord> records;
    records.reserve(_slots.size());
    for (const EvaluationSlot& slot : _slots) {
        records.push_back(heldRecord(slot));
        IntervalRecord& record = records.back();
        if (slot.node == &_coordinates) {
            record = {{box[0], box[1], box[2]}, Interval<double>(1.0)};
            continue;
        }
        if (slot.node->constant) {
            continue;
        }
        const Kernel* kernel = slot.buffer ? nullptr : recognisedKernel(slot.evaluator);
        if (!kernel || !kernel->bounds(BoundsRun(slot.node, &records, &record))) {
            makeUnbounded(record);
        }
    }
    return std::move(records[static_cast<std::size_t>(_target.slotIndex)]);
}

} // namespace zrk
