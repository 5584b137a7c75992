#include "core/engine/block_plan.h"

#include <algorithm>
#include <utility>

namespace zrk {

namespace {

std::size_t indexOf(const EvaluationNode& node) { return static_cast<std::size_t>(node.slotIndex); }

} // namespace

BlockPlan::BlockPlan(std::span<const EvaluationSlot> slots, std::size_t target)
    : _target(target), _slotCount(slots.size()), _steps(slots.size())
{
    for (std::size_t slot = 0; slot < slots.size(); ++slot) {
        classify(slots[slot], _steps[slot]);
        _slots.push_back(slot);
        if (slot == target) {
            _steps[slot].isHeld = true;
        }
    }
    runBetweenClosures(holdWhatClosuresRead(slots));
    makeOrder();
    planReleases();
}

BlockPlan::BlockPlan(const BlockPlan& whole, const SlotDecisions& decisions)
    : _target(decisions.resolved(whole._target)), _slotCount(whole._slotCount)
{
    constexpr std::uint32_t kAbsent = static_cast<std::uint32_t>(-1);
    _places.assign(_slotCount, kAbsent);
    std::vector<std::size_t> open{_target};
    while (!open.empty()) {
        const std::size_t slot = open.back();
        open.pop_back();
        if (_places[slot] != kAbsent) {
            continue;
        }
        _places[slot] = static_cast<std::uint32_t>(_steps.size());
        _slots.push_back(slot);
        Step& step = _steps.emplace_back(whole.step(slot));
        step.isPlanned = false;
        step.isHeld = slot == _target;
        step.lastReads.clear();
        if (decisions.isConstant(slot, step.record)) {
            step.source = Source::Constant;
            step.kernel = nullptr;
            step.operation = RowOperation::None;
            step.inputs.clear();
            step.reads.clear();
            step.positions.reset();
        }
        if (step.positions) {
            step.positions = decisions.resolved(*step.positions);
        }
        for (std::size_t& input : step.inputs) {
            input = decisions.resolved(input);
        }
        for (std::size_t& read : step.reads) {
            read = decisions.resolved(read);
            open.push_back(read);
        }
    }
    makeOrder();
    planReleases();
}

void BlockPlan::classify(const EvaluationSlot& slot, Step& step) const
{
    const EvaluationNode& node = *slot.node;
    step.componentCount = std::min<std::size_t>(componentCount(node.outputShape), kMaxRecord - 1);
    if (node.constant) {
        step.source = Source::Constant;
        return;
    }
    if (slot.buffer && &step != &_steps[_target]) {
        step.source = Source::Buffer;
        return;
    }
    if (slot.positions) {
        step.source = Source::Positions;
        return;
    }
    step.kernel = recognisedKernel(slot.evaluator);
    if (!step.kernel) {
        step.source = Source::Lanes;
        return;
    }
    if (std::shared_ptr<const Kernel> ofRun = step.kernel->forRun()) {
        step.kernel = std::move(ofRun);
    }
    step.operation = step.kernel->operation();
    const KernelReads reads = step.kernel->reads();
    const std::size_t inputCount = std::min(reads.inputs, node.inputs.size());
    for (std::size_t k = 0; k < inputCount; ++k) {
        step.inputs.push_back(indexOf(*node.inputs[k]));
    }
    step.reads = step.inputs;
    if (reads.order == ReadOrder::lastInputFirst) {
        std::reverse(step.reads.begin(), step.reads.end());
    }
    if (reads.coordinates && node.coordinates) {
        step.positions = indexOf(*node.coordinates);
        step.reads.insert(reads.order == ReadOrder::coordinatesFirst ? step.reads.begin() : step.reads.end(),
                          *step.positions);
    }
}

/// A closure may read its inputs at any sample, so their rows, and those of everything upstream of them,
/// are held. Returns which slots lie upstream of a closure.
std::vector<bool> BlockPlan::holdWhatClosuresRead(std::span<const EvaluationSlot> slots)
{
    std::vector<bool> upstreamOfClosure(slots.size(), false);
    for (std::size_t slot = slots.size(); slot-- > 0;) {
        if (!upstreamOfClosure[slot] && _steps[slot].source != Source::Lanes) {
            continue;
        }
        _steps[slot].isHeld = true;
        const EvaluationNode& node = *slots[slot].node;
        for (const auto& input : node.inputs) {
            upstreamOfClosure[indexOf(*input)] = true;
        }
        if (node.coordinates) {
            upstreamOfClosure[indexOf(*node.coordinates)] = true;
        }
    }
    return upstreamOfClosure;
}

/// A kernel that reads a closure and is read by another one runs sample by sample too: at which samples
/// the later closure asks for it isn't known.
void BlockPlan::runBetweenClosures(const std::vector<bool>& upstreamOfClosure)
{
    std::vector<bool> readsClosure(_steps.size(), false);
    for (std::size_t slot = 0; slot < _steps.size(); ++slot) {
        Step& step = _steps[slot];
        readsClosure[slot] =
            step.source == Source::Lanes || std::any_of(step.reads.begin(), step.reads.end(),
                                                        [&](std::size_t read) { return readsClosure[read]; });
        if (readsClosure[slot] && upstreamOfClosure[slot]) {
            step.source = Source::Lanes;
        }
    }
}

/// The target and the slots that it needs, each after those that it reads. Follows the reads of the slots
/// for which `expands` is true. Without recursion, as a chain may be long.
template <class Expands>
std::vector<std::size_t> BlockPlan::upstreamFirst(Expands expands) const
{
    struct Visit {
        std::size_t slot;
        bool isExpanded;
    };
    std::vector<std::size_t> order;
    std::vector<bool> isListed(_slotCount, false);
    std::vector<Visit> stack{{_target, false}};
    while (!stack.empty()) {
        Visit& top = stack.back();
        const std::size_t slot = top.slot;
        if (isListed[slot]) {
            stack.pop_back();
        } else if (top.isExpanded || !expands(step(slot))) {
            stack.pop_back();
            isListed[slot] = true;
            order.push_back(slot);
        } else {
            top.isExpanded = true;
            const auto& reads = step(slot).reads;
            for (auto read = reads.rbegin(); read != reads.rend(); ++read) {
                stack.push_back({*read, false});
            }
        }
    }
    return order;
}

void BlockPlan::makeOrder()
{
    _boundsOrder = upstreamFirst([](const Step& step) { return step.kernel != nullptr; });
    for (const std::size_t slot : upstreamFirst([](const Step& s) { return s.source == Source::Kernel; })) {
        step(slot).isPlanned = true;
        (step(slot).source == Source::Lanes ? _lanes : _order).push_back(slot);
    }
    // What reads nothing first, so that nothing comes between the loops of kernels.
    const auto firstKernel = std::stable_partition(
        _order.begin(), _order.end(), [this](std::size_t s) { return step(s).source != Source::Kernel; });
    _sourceCount = static_cast<std::size_t>(firstKernel - _order.begin());
    _canRepeatLoops = _lanes.empty() && std::all_of(firstKernel, _order.end(),
                                                    [this](std::size_t s) { return step(s).runsAsLoops(); });
}

/// Finds for each kernel the slots whose rows it is the last to read.
void BlockPlan::planReleases()
{
    std::vector<bool> isReadLater(_slotCount, false);
    for (auto slot = _order.rbegin(); slot != _order.rend(); ++slot) {
        Step& reader = step(*slot);
        for (const std::size_t read : reader.reads) {
            if (!isReadLater[read] && !step(read).isHeld) {
                reader.lastReads.push_back(read);
            }
            isReadLater[read] = true;
        }
    }
}

} // namespace zrk
