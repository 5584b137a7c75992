#include "core/engine/chain_blocks.h"

#include "core/engine/row_steps.h"
#include "core/values/batch.h"
#include "core/values/stop.h"

#include <algorithm>
#include <utility>

namespace zrk {

namespace {

using Source = BlockPlan::Source;

/// Samples that the loops of a block take in turn.
constexpr std::size_t kLoopSamples = 256;
/// So many loops take as long as some blocks of a shorter chain.
constexpr std::size_t kManyLoops = 1000;
static_assert(kLoopSamples % (kStepVectors * Batch::size) == 0 && kBlockSamples % kLoopSamples == 0,
              "loops with steps compute whole groups of vectors");

} // namespace

ChainBlocks::ChainBlocks(const BlockPlan& plan, std::vector<EvaluationSlot>& slots)
    : _plan(&plan), _slots(slots), _states(plan.slotCount())
{
    for (const std::size_t slot : plan.slots()) {
        bind(slot);
    }
}

/// Notes where a slot's inputs will be.
void ChainBlocks::bind(std::size_t slot)
{
    SlotState& state = _states[slot];
    const BlockPlan::Step& step = _plan->step(slot);
    state.inputs.clear();
    for (const std::size_t input : step.inputs) {
        state.inputs.push_back(&_states[input].block);
    }
    state.positions = step.positions ? &_states[*step.positions].block : nullptr;
}

void ChainBlocks::use(const BlockPlan& plan)
{
    _repeatsLoops = false;
    _held.clear();
    _loops.clear();
    for (const std::size_t slot : _plan->order()) {
        _states[slot].isSteady = false;
        _states[slot].computed = 0;
        releaseRows(slot);
    }
    _plan = &plan;
    for (const std::size_t slot : plan.slots()) {
        bind(slot);
    }
}

void ChainBlocks::beginSweep()
{
    for (const std::size_t slot : _plan->sources()) {
        _states[slot].source.forget();
        if (_plan->step(slot).source == Source::Positions &&
            !_states[slot].source.fitPositions(_slots[slot])) {
            _repeatsLoops = false;
        }
    }
}

void ChainBlocks::beginBlock(std::int32_t first, std::size_t count, RowUse use)
{
    if (use == RowUse::Keep) {
        _repeatsLoops = false;
    }
    if (!_repeatsLoops) {
        for (const std::size_t slot : _held) {
            releaseRows(slot);
        }
        _held.clear();
    }
    ++_block;
    _first = first;
    _count = count;
    _use = use;
}

void ChainBlocks::computePlanned()
{
    if (_repeatsLoops) {
        for (const std::size_t slot : _plan->sources()) {
            renew(slot);
        }
        runLoops();
        return;
    }
    _loops.clear();
    StopLookout lookout;
    for (const std::size_t slot : _plan->order()) {
        lookout.step();
        if (!isCurrent(slot)) {
            compute(slot);
        }
    }
    _repeatsLoops = canRepeatLoops();
    runLoops();
}

void ChainBlocks::endSweep()
{
    if (_repeatsLoops) {
        return;
    }
    beginBlock(-1, 0, RowUse::GiveBack);
    // After an exception any slot may still hold rows.
    for (std::size_t slot = 0; slot < _states.size(); ++slot) {
        releaseRows(slot);
    }
}

bool ChainBlocks::canRepeatLoops() const
{
    const auto isWritten = [this](std::size_t slot) {
        return _plan->step(slot).source != Source::Kernel || !_states[slot].isLeft;
    };
    return _use == RowUse::GiveBack && _plan->canRepeatLoops() &&
           std::all_of(_plan->order().begin(), _plan->order().end(), isWritten);
}

/// Upstream first, as far as it isn't there yet; without recursion, as a chain may be long.
void ChainBlocks::require(std::size_t slot)
{
    if (isCurrent(slot)) {
        return;
    }
    _visits.assign(1, {slot, false});
    while (!_visits.empty()) {
        Visit& top = _visits.back();
        const BlockPlan::Step& step = _plan->step(top.slot);
        if (isCurrent(top.slot)) {
            _visits.pop_back();
        } else if (top.isExpanded || step.source != Source::Kernel) {
            compute(top.slot);
            _visits.pop_back();
        } else {
            top.isExpanded = true;
            for (auto read = step.reads.rbegin(); read != step.reads.rend(); ++read) {
                _visits.push_back({*read, false});
            }
        }
    }
    runLoops();
}

void ChainBlocks::compute(std::size_t slot)
{
    SlotState& state = _states[slot];
    const BlockPlan::Step& step = _plan->step(slot);
    if (!step.runsAsLoops()) {
        runLoops();
    }
    state.computed = _block;
    state.isLeft = false;
    state.asked = -1;
    if (step.isHeld || _use == RowUse::Keep) {
        _held.push_back(slot);
    }
    switch (step.source) {
    case Source::Kernel:
        computeKernel(slot);
        break;
    case Source::Constant:
        leave(slot);
        state.isSteady = true;
        break;
    case Source::Buffer:
        state.source.fillRecords(_slots[slot], _first, _count, _pool, state.block);
        break;
    case Source::Positions:
        state.source.fillPositions(_slots[slot], _first, _count, _pool, state.block);
        break;
    case Source::Lanes:
        break;
    }
}

void ChainBlocks::computeKernel(std::size_t slot)
{
    SlotState& state = _states[slot];
    const BlockPlan::Step& step = _plan->step(slot);
    BlockRun run(_pool, _loops, state.block, state.inputs, state.positions, _first, _count);
    step.kernel->block(run);
    if (state.block._componentCount == 0) {
        leave(slot);
    }
    state.isSteady = step.isPlanned && !state.isLeft && step.reads.empty() && run._isConstant;
    if (_use == RowUse::Keep) {
        return;
    }
    for (const std::size_t read : step.lastReads) {
        joinLastLoops(read);
        releaseRows(read);
    }
}

/// Gives every sample the record that the slot holds, or that the plan knows.
void ChainBlocks::leave(std::size_t slot)
{
    SlotState& state = _states[slot];
    runLoops();
    releaseRows(slot);
    takeRows(slot);
    state.isLeft = true;
    const std::vector<double>& known = _plan->step(slot).record;
    const double* value = known.empty() ? _slots[slot].value : known.data();
    const std::size_t n = state.block._componentCount;
    for (std::size_t c = 0; c < n; ++c) {
        std::fill_n(state.block._rows[c]->samples, kRowLength, value[c]);
    }
    if (value[n] == 1.0) {
        _pool.release(std::exchange(state.block._weight, nullptr));
    } else {
        std::fill_n(state.block._weight->samples, kRowLength, value[n]);
    }
}

/// Joins the last two loops if nothing but the second one ever reads the row between them, that of `slot`.
void ChainBlocks::joinLastLoops(std::size_t slot)
{
    const Block& between = _states[slot].block;
    if (_loops.size() < 2 || between._componentCount != 1 || between._rows[0]->users != 1) {
        return;
    }
    RowLoop& loop = _loops[_loops.size() - 2];
    if (loop.writes[0] == between._rows[0]->samples && joinLoops(loop, _loops.back())) {
        _loops.pop_back();
    }
}

/// Runs the loops of the list, in turn over a few vectors at a time.
void ChainBlocks::runLoops()
{
    if (_loops.empty()) {
        return;
    }
    const std::size_t end = (_count + Batch::size - 1) / Batch::size * Batch::size;
    for (std::size_t first = 0; first < end; first += kLoopSamples) {
        if (_loops.size() > kManyLoops) {
            stopIfAsked();
        }
        for (const RowLoop& loop : _loops) {
            loop.run(loop, first, std::min(first + kLoopSamples, end));
        }
    }
    if (!_repeatsLoops) {
        _loops.clear();
    }
}

/// Other samples in the rows that the repeated loops read.
void ChainBlocks::renew(std::size_t slot)
{
    switch (_plan->step(slot).source) {
    case Source::Positions:
        _states[slot].source.renewPositions(_slots[slot], _first, _count);
        break;
    case Source::Buffer:
        _states[slot].source.renewRecords(_slots[slot], _first, _count);
        break;
    default:
        break;
    }
}

void ChainBlocks::takeRows(std::size_t slot)
{
    Block& block = _states[slot].block;
    // Counted one by one: where memory fails, those that are there are given back.
    const std::size_t components = _plan->step(slot).componentCount;
    for (block._componentCount = 0; block._componentCount < components; ++block._componentCount) {
        block._rows[block._componentCount] = _pool.take();
    }
    block._weight = _pool.take();
}

void ChainBlocks::releaseRows(std::size_t slot)
{
    if (_states[slot].isSteady) {
        return;
    }
    Block& block = _states[slot].block;
    for (std::size_t c = 0; c < block._componentCount; ++c) {
        _pool.release(block._rows[c]);
    }
    if (block._weight) {
        _pool.release(block._weight);
    }
    block._componentCount = 0;
    block._weight = nullptr;
}

void ChainBlocks::beginLanes(std::size_t slot)
{
    _states[slot].computed = _block;
    _held.push_back(slot);
    takeRows(slot);
}

void ChainBlocks::setRecord(std::size_t slot, std::size_t lane, const double* record)
{
    Block& block = _states[slot].block;
    const std::size_t n = block._componentCount;
    for (std::size_t c = 0; c < n; ++c) {
        block._rows[c]->samples[lane] = record[c];
    }
    block._weight->samples[lane] = record[n];
}

void ChainBlocks::getRecord(std::size_t slot, std::size_t lane, double* record) const
{
    const Block& block = _states[slot].block;
    const std::size_t n = _plan->step(slot).componentCount;
    for (std::size_t c = 0; c < n; ++c) {
        record[c] = block.row(c)[lane];
    }
    record[n] = block.weights()[lane];
}

void ChainBlocks::settle()
{
    const std::int32_t last = _first + static_cast<std::int32_t>(_count) - 1;
    for (std::size_t slot = _states.size(); slot-- > 0;) {
        const SlotState& state = _states[slot];
        const BlockPlan::Step& step = _plan->step(slot);
        if (step.source != Source::Kernel || !isCurrent(slot)) {
            continue;
        }
        const std::int32_t asked = step.isPlanned ? last : state.asked;
        if (asked < 0) {
            continue;
        }
        for (const std::size_t read : step.reads) {
            _states[read].asked = std::max(_states[read].asked, asked);
        }
        if (!state.isLeft) {
            getRecord(slot, static_cast<std::size_t>(asked - _first), _slots[slot].value);
            _slots[slot].lastSample = asked;
        }
    }
}

} // namespace zrk
