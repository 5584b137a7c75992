#include "core/engine/simplified_plans.h"

#include <bit>
#include <cmath>
#include <utility>

namespace zrk {

namespace {

/// What the bounds of a plan decide about its slots in one box.
class BoxDecisions final : public SlotDecisions {
public:
    BoxDecisions(const BlockPlan& plan, const std::vector<BoxChoices>& choices, const BoundsRunner& bounds,
                 std::size_t box)
        : _plan(plan), _choices(choices), _bounds(bounds), _box(box)
    {}

    std::size_t resolved(std::size_t slot) const override
    {
        for (std::uint8_t choice = _choices[slot].input[_box]; choice != BoxChoices::kNone;
             choice = _choices[slot].input[_box]) {
            slot = _plan.step(slot).inputs[choice];
        }
        return slot;
    }

    bool isConstant(std::size_t slot, std::vector<double>& record) const override
    {
        const BlockPlan::Step& step = _plan.step(slot);
        if (step.source != BlockPlan::Source::Kernel || step.reads.empty()) {
            return false;
        }
        const BoxBounds& bounds = _bounds.of(slot);
        record.clear();
        for (std::size_t c = 0; c < step.componentCount; ++c) {
            if (!append(bounds.row(c), record)) {
                return false;
            }
        }
        return append(bounds.weights(), record);
    }

private:
    const BlockPlan& _plan;
    const std::vector<BoxChoices>& _choices;
    const BoundsRunner& _bounds;
    std::size_t _box;

    /// Appends the number that the bounds leave. Not for 0, whose sign they don't tell.
    bool append(const IntervalRow& row, std::vector<double>& record) const
    {
        const double value = row.lower[_box];
        if (value != row.upper[_box] || value == 0.0 || !std::isfinite(value)) {
            return false;
        }
        record.push_back(value);
        return true;
    }
};

} // namespace

/// FNV-1a by words. Source: Fowler, Noll, Vo, draft-eastlake-fnv.
std::size_t SimplifiedPlans::Hash::operator()(const Key& key) const
{
    std::uint64_t hash = 0xcbf29ce484222325u;
    for (const std::uint64_t word : key) {
        hash = (hash ^ word) * 0x100000001b3u;
        hash ^= hash >> 29u;
    }
    return hash;
}

/// Sets the key to all that a plan is made of after some decisions, in the order of a walk upstream from its
/// target. Returns whether anything is decided.
bool SimplifiedPlans::describe(const BlockPlan& plan, const SlotDecisions& decisions, Scratch& scratch)
{
    constexpr std::uint64_t kConstant = std::uint64_t{1} << 63u;
    const std::size_t target = decisions.resolved(plan.target());
    bool isDecided = target != plan.target();
    scratch.key.clear();
    scratch.open.assign(1, target);
    ++scratch.visit;
    while (!scratch.open.empty()) {
        const std::size_t slot = scratch.open.back();
        scratch.open.pop_back();
        if (scratch.visited[slot] == scratch.visit) {
            continue;
        }
        scratch.visited[slot] = scratch.visit;
        const BlockPlan::Step& step = plan.step(slot);
        const bool isConstant = decisions.isConstant(slot, scratch.record);
        if (isConstant || !step.record.empty()) {
            scratch.key.push_back(slot | kConstant);
            for (const double value : isConstant ? scratch.record : step.record) {
                scratch.key.push_back(std::bit_cast<std::uint64_t>(value));
            }
            isDecided = isDecided || isConstant;
            continue;
        }
        scratch.key.push_back(slot);
        for (const std::size_t read : step.reads) {
            const std::size_t resolved = decisions.resolved(read);
            isDecided = isDecided || resolved != read;
            scratch.key.push_back(resolved);
            scratch.open.push_back(resolved);
        }
    }
    return isDecided;
}

auto SimplifiedPlans::find(const Key& key) const -> Plan
{
    const std::lock_guard lock(_mutex);
    const auto found = _plans.find(key);
    return found == _plans.end() ? nullptr : found->second;
}

void SimplifiedPlans::keep(const Key& key, const Plan& plan) const
{
    const std::lock_guard lock(_mutex);
    if (_plans.size() >= kMostPlans) {
        _plans.clear();
    }
    _plans.emplace(key, plan);
}

void SimplifiedPlans::over(const Plan& plan, std::span<const EvaluationSlot> slots,
                           std::span<const PositionBox> boxes, BoundsRunner& runner, Scratch& scratch,
                           Plan* out) const
{
    runner.over(*plan, slots, boxes, &scratch.choices);
    if (scratch.visited.size() < plan->slotCount()) {
        scratch.visited.resize(plan->slotCount());
    }
    const Plan* before = nullptr; // the plan of the key before
    for (std::size_t box = 0; box < boxes.size(); ++box) {
        const BoxDecisions decisions(*plan, scratch.choices, runner, box);
        if (!describe(*plan, decisions, scratch)) {
            out[box] = plan;
            continue;
        }
        if (before && scratch.key == scratch.keyBefore) {
            out[box] = *before;
            continue;
        }
        out[box] = find(scratch.key);
        if (!out[box]) {
            out[box] = std::make_shared<const BlockPlan>(*plan, decisions);
            keep(scratch.key, out[box]);
        }
        before = &out[box];
        std::swap(scratch.key, scratch.keyBefore);
    }
}

} // namespace zrk
