#include "core/engine/block_engine.h"

#include <algorithm>

namespace zrk {

/// Finds the blocks that the kernel of `slot` announces to read.
void BlockEngine::resolveReads(std::size_t slot)
{
    SlotState& state = _states[slot];
    state.inputs.clear();
    const EvaluationNode& node = *_context.slots[slot].node;
    const KernelReads reads = state.kernel->reads();
    const std::size_t count = std::min(reads.inputs, node.inputs.size());
    for (std::size_t k = 0; k < count; ++k) {
        state.reads.push_back(static_cast<std::size_t>(node.inputs[k]->slotIndex));
        state.inputs.push_back(&_states[state.reads.back()].block);
    }
    if (reads.order == ReadOrder::lastInputFirst) {
        std::reverse(state.reads.begin(), state.reads.end());
    }
    if (reads.coordinates && node.coordinates) {
        const auto slotOfCoordinates = static_cast<std::size_t>(node.coordinates->slotIndex);
        state.coordinates = &_states[slotOfCoordinates].block;
        state.reads.insert(reads.order == ReadOrder::coordinatesFirst ? state.reads.begin()
                                                                      : state.reads.end(),
                           slotOfCoordinates);
    }
}

void BlockEngine::classify(std::size_t slot, std::size_t target)
{
    SlotState& state = _states[slot];
    const EvaluationSlot& s = _context.slots[slot];
    state.kernel = nullptr;
    state.steady = false;
    releaseBlock(slot);
    state.reads.clear();
    state.lastReads.clear();
    state.pinned = slot == target;
    state.planned = false;
    state.upstreamOfClosure = false;
    if (s.node->constant) {
        state.source = Source::Constant;
    } else if (s.buffer && slot != target) {
        state.source = Source::Buffer;
    } else if (s.node->positions) {
        state.source = Source::Positions;
    } else if (const Kernel* kernel = recognisedKernel(s.evaluator)) {
        state.source = Source::Kernel;
        if (!state.ofRun) {
            state.ofRun = kernel->forRun();
        }
        state.kernel = state.ofRun ? state.ofRun.get() : kernel;
        resolveReads(slot);
    } else {
        state.source = Source::Closure;
    }
}

/// A closure may read any of its inputs at any lane, and so whatever lies upstream of them
/// must stay until the block is done.
void BlockEngine::pinWhatClosuresRead()
{
    for (std::size_t slot = _states.size(); slot-- > 0;) {
        SlotState& state = _states[slot];
        if (!state.upstreamOfClosure && state.source != Source::Closure) {
            continue;
        }
        state.pinned = true;
        const EvaluationNode& node = *_context.slots[slot].node;
        for (const auto& input : node.inputs) {
            _states[static_cast<std::size_t>(input->slotIndex)].upstreamOfClosure = true;
        }
        if (node.coordinates) {
            _states[static_cast<std::size_t>(node.coordinates->slotIndex)].upstreamOfClosure = true;
        }
    }
}

/// Lets kernels that read a closure and are read by one run sample by sample.
void BlockEngine::runBetweenClosures()
{
    std::vector<bool> readsClosure(_states.size(), false);
    for (std::size_t slot = 0; slot < _states.size(); ++slot) {
        SlotState& state = _states[slot];
        for (const std::size_t read : state.reads) {
            readsClosure[slot] = readsClosure[slot] || readsClosure[read];
        }
        const bool between = readsClosure[slot] && state.upstreamOfClosure;
        if (state.source == Source::Closure || between) {
            state.source = Source::Closure;
            readsClosure[slot] = true;
        }
        if (state.source == Source::Closure && !state.closure) {
            state.closure = std::make_unique<ClosureState>();
        }
    }
}

/// Appends the slots that `slot` needs and that aren't current, then itself; no recursion.
void BlockEngine::planUpstream(std::size_t slot, std::vector<std::size_t>& order)
{
    struct Visit {
        std::size_t slot;
        bool expanded;
    };
    std::vector<Visit> stack{{slot, false}};
    std::vector<bool> listed(_states.size(), false);
    while (!stack.empty()) {
        Visit& top = stack.back();
        const std::size_t current = top.slot;
        if (listed[current] || (_running && isCurrent(current))) {
            stack.pop_back();
        } else if (top.expanded || _states[current].source != Source::Kernel) {
            stack.pop_back();
            listed[current] = true;
            order.push_back(current);
        } else {
            top.expanded = true;
            const auto& reads = _states[current].reads;
            for (auto read = reads.rbegin(); read != reads.rend(); ++read) {
                stack.push_back({*read, false});
            }
        }
    }
}

void BlockEngine::plan(std::size_t target)
{
    if (_target == target) {
        return;
    }
    _isBound = false;
    for (std::size_t slot = 0; slot < _states.size(); ++slot) {
        classify(slot, target);
    }
    pinWhatClosuresRead();
    runBetweenClosures();
    std::vector<std::size_t> order;
    planUpstream(target, order);
    // What reads nothing first, so that nothing comes between the loops of kernels.
    std::stable_partition(order.begin(), order.end(),
                          [this](std::size_t slot) { return _states[slot].source != Source::Kernel; });
    _plan.clear();
    _planClosures.clear();
    for (const std::size_t slot : order) {
        _states[slot].planned = true;
        if (_states[slot].source == Source::Closure) {
            _planClosures.push_back(slot);
            continue;
        }
        _plan.push_back(slot);
    }
    planReleases();
    _target = target;
}

/// Finds for each kernel the slots whose rows it is the last to read. What isn't pinned is
/// computed and read in the order of the plan only.
void BlockEngine::planReleases()
{
    std::vector<bool> readLater(_states.size(), false);
    for (auto slot = _plan.rbegin(); slot != _plan.rend(); ++slot) {
        SlotState& state = _states[*slot];
        for (const std::size_t read : state.reads) {
            if (!readLater[read] && !_states[read].pinned) {
                state.lastReads.push_back(read);
            }
            readLater[read] = true;
        }
    }
}

} // namespace zrk
