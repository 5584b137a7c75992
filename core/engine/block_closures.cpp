#include "core/engine/block_engine.h"

#include "core/engine/progress.h"

#include <cassert>

namespace zrk {

/// Computes the block of a slot that a closure reads, with all that it needs.
void BlockEngine::ensure(std::size_t slot)
{
    if (isCurrent(slot)) {
        return;
    }
    std::vector<std::size_t> order;
    planUpstream(slot, order);
    for (const std::size_t upstream : order) {
        if (!isCurrent(upstream)) {
            compute(upstream);
        }
    }
    runLoops();
}

/// Runs the closures that every sample needs, sample by sample. False when interrupted.
bool BlockEngine::computeClosures()
{
    if (_planClosures.empty()) {
        return true;
    }
    const std::int32_t resume = _context.sampleIndex;
    bool finished = true;
    for (std::size_t lane = 0; lane < _count && finished; ++lane) {
        _context.sampleIndex = _first + static_cast<std::int32_t>(lane);
        for (const std::size_t slot : _planClosures) {
            runLane(slot, lane);
        }
        finished = !_manager || !_manager->shouldInterrupt();
    }
    _context.sampleIndex = resume;
    return finished;
}

bool BlockEngine::isDone(std::size_t slot, std::size_t lane) const
{
    return isCurrent(slot) && _states[slot].closure->done[lane];
}

/// Runs a slot for one sample, unless it has. Ahead of a kernel run its inputs, from a list
/// instead of one inside the other.
void BlockEngine::runLane(std::size_t slot, std::size_t lane)
{
    const std::size_t bottom = _lane.size();
    _lane.push_back(slot);
    while (_lane.size() > bottom) {
        const std::size_t current = _lane.back();
        const std::size_t size = _lane.size();
        if (!isDone(current, lane)) {
            const auto& reads = _states[current].reads;
            for (auto read = reads.rbegin(); read != reads.rend(); ++read) { // the last one is run first
                if (_states[*read].source == Source::Closure && !isDone(*read, lane)) {
                    _lane.push_back(*read);
                }
            }
        }
        if (_lane.size() > size) {
            continue;
        }
        _lane.pop_back();
        if (!isDone(current, lane)) {
            runClosure(current, lane);
        }
    }
}

void BlockEngine::runClosure(std::size_t slot, std::size_t lane)
{
    SlotState& state = _states[slot];
    if (!isCurrent(slot)) {
        state.computed = _block;
        state.closure->done.reset();
        _held.push_back(slot);
        takeRows(slot);
    }
    EvaluationSlot& s = _context.slots[slot];
    _context.pushSlot(static_cast<std::int32_t>(slot));
    if (state.ofRun) {
        state.ofRun->sample(_context);
    } else {
        s.evaluator(_context);
    }
    _context.popSlot();
    state.closure->done.set(lane);

    // A closure that wrote nothing leaves its readers what the slot held, and a buffer as it was.
    static constexpr double kUntouched[kMaxRecord] = {};
    const double* record = s.value;
    if (slot == _target && s.lastSample != _context.sampleIndex) {
        record = s.buffer ? s.buffer->record(static_cast<std::uint64_t>(_context.sampleIndex)) : kUntouched;
    }
    const std::size_t n = state.block._componentCount;
    for (std::size_t c = 0; c < n; ++c) {
        state.block._rows[c]->samples[lane] = record[c];
    }
    state.block._weight->samples[lane] = record[n];
}

const double* BlockEngine::readRecord(std::size_t slot)
{
    SlotState& state = _states[slot];
    EvaluationSlot& s = _context.slots[slot];
    const std::size_t lane = static_cast<std::size_t>(_context.sampleIndex - _first);
    assert(lane < _count);
    if (state.source == Source::Closure) {
        if (isDone(slot, lane)) {
            // Beside the slot's value, which a later sample may still have to be left with.
            gather(slot, lane, state.closure->gathered);
            return state.closure->gathered;
        }
        runLane(slot, lane);
        return s.value;
    }
    ensure(slot);
    state.asked = _context.sampleIndex;
    if (!state.left) {
        gather(slot, lane, s.value);
        s.lastSample = _context.sampleIndex;
    }
    return s.value;
}

} // namespace zrk
