#include "frame/engine/block_engine.h"

#include "frame/engine/evaluation_domain.h"
#include "frame/engine/progress.h"

#include <algorithm>
#include <cassert>

namespace zrk {

namespace {

/// One component of a run of records from one row.
void scatter(const double* row, std::size_t count, double* target, std::size_t stride)
{
    for (std::size_t i = 0; i < count; ++i) {
        target[i * stride] = row[i];
    }
}

} // namespace

void BufferSink::take(std::int32_t firstSample, std::size_t sampleCount, const Block& block)
{
    const std::size_t n = _buffer.stride - 1;
    double* records = _buffer.record(static_cast<std::uint64_t>(firstSample));
    for (std::size_t c = 0; c < n; ++c) {
        scatter(block.row(c), sampleCount, records + c, n + 1);
    }
    scatter(block.weights(), sampleCount, records + n, n + 1);
}

BlockEngine::BlockEngine(EvaluationContext& context) : _context(context), _states(context.slots.size()) {}

// ---------------------------------------------------------------- planning

/// Calls visit(slot) for every slot whose block the kernel of `slot` announces to read.
template <class Visit>
void BlockEngine::forEachRead(std::size_t slot, Visit visit) const
{
    const EvaluationNode& node = *_context.slots[slot].node;
    const KernelReads reads = _states[slot].kernel->reads();
    const std::size_t count = std::min(reads.inputs, node.inputs.size());
    for (std::size_t k = 0; k < count; ++k) {
        visit(static_cast<std::size_t>(node.inputs[k]->slotIndex));
    }
    if (reads.coordinates && node.coordinates) {
        visit(static_cast<std::size_t>(node.coordinates->slotIndex));
    }
}

void BlockEngine::classify(std::size_t slot, std::size_t target)
{
    SlotState& state = _states[slot];
    const EvaluationSlot& s = _context.slots[slot];
    state.kernel = nullptr;
    state.uses = 0;
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
        state.kernel = kernel;
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
        if (state.kernel) {
            forEachRead(slot, [&](std::size_t read) {
                readsClosure[slot] = readsClosure[slot] || readsClosure[read];
            });
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
            forEachRead(current, [&](std::size_t read) { stack.push_back({read, false}); });
        }
    }
}

void BlockEngine::plan(std::size_t target)
{
    if (_target == target) {
        return;
    }
    for (std::size_t slot = 0; slot < _states.size(); ++slot) {
        classify(slot, target);
    }
    pinWhatClosuresRead();
    runBetweenClosures();
    std::vector<std::size_t> order;
    planUpstream(target, order);
    _plan.clear();
    _planClosures.clear();
    for (const std::size_t slot : order) {
        _states[slot].planned = true;
        if (_states[slot].source == Source::Closure) {
            _planClosures.push_back(slot);
            continue;
        }
        _plan.push_back(slot);
        if (_states[slot].source == Source::Kernel) {
            forEachRead(slot, [&](std::size_t read) { ++_states[read].uses; });
        }
    }
    std::sort(_planClosures.begin(), _planClosures.end());
    _target = target;
}

// ---------------------------------------------------------------- running

bool BlockEngine::sweep(std::size_t target, std::int32_t first, std::int32_t last, BlockSink& sink,
                        ProgressManager* manager, bool settleSlots)
{
    // Also after an exception the rows go back and the context can be used again.
    struct End {
        BlockEngine& engine;
        ~End() { engine.endSweep(); }
    };
    plan(target);
    _manager = manager;
    _running = true;
    const End end{*this};
    // 64 bit: the block after the last one may begin beyond the largest sample index.
    for (std::int64_t start = first; start <= last; start += kBlockSamples) {
        if (_manager && _manager->shouldInterrupt()) {
            return false;
        }
        const std::int64_t left = std::int64_t{last} - start + 1;
        const std::size_t count = static_cast<std::size_t>(std::min<std::int64_t>(left, kBlockSamples));
        // Closures may ask for a slot in any block, for the last time.
        const bool settles = settleSlots && (left == static_cast<std::int64_t>(count) || hasClosures());
        _keepRows = settles;
        beginBlock(static_cast<std::int32_t>(start), count);
        if (!computeBlock()) {
            return false;
        }
        // A kernel that wrote nothing leaves a buffer as it was.
        if (!(_states[target].left && _states[target].source == Source::Kernel &&
              _context.slots[target].buffer)) {
            sink.take(_first, _count, _states[target].block);
        }
        if (settles) {
            settle();
        }
    }
    return true;
}

/// False when it was interrupted half way.
bool BlockEngine::computeBlock()
{
    if (!computeClosures()) {
        return false;
    }
    for (const std::size_t slot : _plan) {
        if (!isCurrent(slot)) {
            compute(slot);
        }
    }
    return true;
}

void BlockEngine::beginBlock(std::int32_t first, std::size_t count)
{
    for (const std::size_t slot : _held) {
        releaseBlock(slot);
        _states[slot].first = -1;
    }
    _held.clear();
    _first = first;
    _count = count;
}

void BlockEngine::endSweep()
{
    beginBlock(-1, 0);
    _lane.clear();
    _running = false;
    _manager = nullptr;
}

/// Computes the block of a slot that doesn't run sample by sample.
void BlockEngine::compute(std::size_t slot)
{
    SlotState& state = _states[slot];
    state.first = _first;
    state.remaining = state.uses;
    state.left = false;
    state.asked = -1;
    _held.push_back(slot);
    switch (state.source) {
    case Source::Kernel:
        computeKernel(slot);
        break;
    case Source::Constant:
        fillConstant(slot);
        break;
    case Source::Buffer:
        fillFromBuffer(slot);
        break;
    case Source::Positions:
        fillPositions(slot);
        break;
    case Source::Closure:
        break;
    }
}

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
}

void BlockEngine::computeKernel(std::size_t slot)
{
    SlotState& state = _states[slot];
    BlockRun run(*this, slot, state.block, _first, _count);
    state.kernel->block(run);
    if (state.block._componentCount == 0) {
        leave(slot);
    }
    if (!_keepRows) {
        releaseInputs(slot);
    }
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
        if (!isDone(current, lane) && _states[current].kernel) {
            forEachRead(current, [&](std::size_t read) {
                if (_states[read].source == Source::Closure && !isDone(read, lane)) {
                    _lane.push_back(read);
                }
            });
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
        state.first = _first;
        state.remaining = state.uses;
        state.closure->done.reset();
        _held.push_back(slot);
        takeRows(slot);
    }
    EvaluationSlot& s = _context.slots[slot];
    _context.pushSlot(static_cast<std::int32_t>(slot));
    s.evaluator(_context);
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

// ---------------------------------------------------------------- blocks that no kernel computes

std::size_t BlockEngine::componentCountOf(std::size_t slot) const
{
    return std::min<std::size_t>(componentCount(_context.slots[slot].node->outputShape), kMaxRecord - 1);
}

void BlockEngine::takeRows(std::size_t slot)
{
    Block& block = _states[slot].block;
    block._componentCount = componentCountOf(slot);
    for (std::size_t c = 0; c < block._componentCount; ++c) {
        block._rows[c] = _pool.take();
    }
    block._weight = _pool.take();
}

void BlockEngine::fillConstant(std::size_t slot) { leave(slot); }

/// Every sample reads what the slot holds.
void BlockEngine::leave(std::size_t slot)
{
    SlotState& state = _states[slot];
    releaseBlock(slot);
    takeRows(slot);
    state.left = true;
    const double* value = _context.slots[slot].value;
    const std::size_t n = state.block._componentCount;
    for (std::size_t c = 0; c < n; ++c) {
        std::fill_n(state.block._rows[c]->samples, kRowLength, value[c]);
    }
    std::fill_n(state.block._weight->samples, kRowLength, value[n]);
}

void BlockEngine::fillFromBuffer(std::size_t slot)
{
    takeRows(slot);
    const SampleBufferData<double>& buffer = *_context.slots[slot].buffer;
    Block& block = _states[slot].block;
    const std::size_t n = block._componentCount;
    for (std::size_t i = 0; i < _count; ++i) {
        const double* record = buffer.record(static_cast<std::uint64_t>(_first) + i);
        for (std::size_t c = 0; c < n; ++c) {
            block._rows[c]->samples[i] = record[c];
        }
        block._weight->samples[i] = record[n];
    }
}

void BlockEngine::fillPositions(std::size_t slot)
{
    Block& block = _states[slot].block;
    block._componentCount = 3;
    for (std::size_t c = 0; c < 3; ++c) {
        block._rows[c] = _pool.take();
    }
    const auto* domain = _context.slots[slot].node->positions;
    domain->positions(_first, static_cast<std::int32_t>(_count), block._rows[0]->samples,
                      block._rows[1]->samples, block._rows[2]->samples);
}

void BlockEngine::releaseBlock(std::size_t slot)
{
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

void BlockEngine::releaseInputs(std::size_t slot)
{
    forEachRead(slot, [&](std::size_t read) {
        SlotState& state = _states[read];
        if (--state.remaining == 0 && !state.pinned) {
            releaseBlock(read);
        }
    });
}

void BlockEngine::gather(std::size_t slot, std::size_t lane, double* record) const
{
    const Block& block = _states[slot].block;
    const std::size_t n = componentCountOf(slot);
    for (std::size_t c = 0; c < n; ++c) {
        record[c] = block.row(c)[lane];
    }
    record[n] = block.weights()[lane];
}

/// Leaves in every computed slot the record and the index of the last sample it was asked for.
void BlockEngine::settle()
{
    const std::int32_t last = _first + static_cast<std::int32_t>(_count) - 1;
    for (std::size_t slot = _states.size(); slot-- > 0;) {
        const SlotState& state = _states[slot];
        if (state.source != Source::Kernel || !isCurrent(slot)) {
            continue;
        }
        const std::int32_t asked = state.planned ? last : state.asked;
        if (asked < 0) {
            continue;
        }
        forEachRead(slot,
                    [&](std::size_t read) { _states[read].asked = std::max(_states[read].asked, asked); });
        if (!state.left) {
            gather(slot, static_cast<std::size_t>(asked - _first), _context.slots[slot].value);
            _context.slots[slot].lastSample = asked;
        }
    }
}

// ---------------------------------------------------------------- what a kernel sees

const Block& BlockRun::input(std::size_t k)
{
    const EvaluationNode& node = *_engine._context.slots[_slot].node;
    if (k >= node.inputs.size()) {
        static const Block nothing;
        return nothing;
    }
    const auto slot = static_cast<std::size_t>(node.inputs[k]->slotIndex);
    assert(_engine.isCurrent(slot) && "the kernel reads an input that reads() doesn't announce");
    return _engine._states[slot].block;
}

const Block& BlockRun::coordinates()
{
    const EvaluationNode& node = *_engine._context.slots[_slot].node;
    const auto slot = static_cast<std::size_t>(node.coordinates->slotIndex);
    assert(_engine.isCurrent(slot) && "the kernel reads coordinates that reads() doesn't announce");
    return _engine._states[slot].block;
}

double* BlockRun::output(std::size_t component)
{
    Row* row = _engine._pool.take();
    _out._rows[component] = row;
    _out._componentCount = std::max(_out._componentCount, component + 1);
    return row->samples;
}

double* BlockRun::outputWeights()
{
    _out._weight = _engine._pool.take();
    return _out._weight->samples;
}

void BlockRun::forwardWeights(const Block& from)
{
    if (from._weight) {
        _engine._pool.share(from._weight);
        _out._weight = from._weight;
    }
}

void BlockRun::forwardRow(std::size_t component, const Block& from, std::size_t fromComponent)
{
    if (fromComponent >= from._componentCount) {
        std::fill_n(output(component), kRowLength, 0.0);
        return;
    }
    _engine._pool.share(from._rows[fromComponent]);
    _out._rows[component] = from._rows[fromComponent];
    _out._componentCount = std::max(_out._componentCount, component + 1);
}

void BlockRun::forward(const Block& from)
{
    for (std::size_t c = 0; c < from._componentCount; ++c) {
        forwardRow(c, from, c);
    }
    forwardWeights(from);
}

} // namespace zrk
