#include "core/engine/block_engine.h"

#include "core/engine/evaluation_domain.h"
#include "core/engine/progress.h"
#include "core/values/batch.h"

#include <algorithm>

namespace zrk {

namespace {

/// Samples that the loops of a block take in turn.
constexpr std::size_t kLoopSamples = 256;
static_assert(kLoopSamples % (kStepVectors * Batch::size) == 0 && kBlockSamples % kLoopSamples == 0,
              "loops with steps compute whole groups of vectors");

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
        if (settles) {
            _isBound = false;
        }
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
    if (_isBound) {
        for (const std::size_t slot : _plan) {
            if (_states[slot].source == Source::Positions) {
                renewPositions(slot);
            }
        }
        runLoops();
        return true;
    }
    _loops.clear();
    if (!computeClosures()) {
        return false;
    }
    for (const std::size_t slot : _plan) {
        if (!isCurrent(slot)) {
            compute(slot);
        }
    }
    _isBound = canBind();
    runLoops();
    return true;
}

/// Whether the loops of this block are all that later blocks need, over the same rows.
bool BlockEngine::canBind() const
{
    return !_keepRows && _planClosures.empty() &&
           std::all_of(_plan.begin(), _plan.end(), [this](std::size_t slot) {
               const SlotState& state = _states[slot];
               return state.source == Source::Positions || state.source == Source::Constant ||
                      (runsAsLoops(slot) && !state.left);
           });
}

/// Runs the loops that stand in the list, in turn over a few vectors at a time.
void BlockEngine::runLoops()
{
    if (_loops.empty()) {
        return;
    }
    const std::size_t end = wholeBatches(_count);
    for (std::size_t first = 0; first < end; first += kLoopSamples) {
        for (const RowLoop& loop : _loops) {
            loop.run(loop, first, std::min(first + kLoopSamples, end));
        }
    }
    if (!_isBound) {
        _loops.clear();
    }
}

void BlockEngine::beginBlock(std::int32_t first, std::size_t count)
{
    if (!_isBound) {
        for (const std::size_t slot : _held) {
            releaseBlock(slot);
        }
        _held.clear();
    }
    ++_block;
    _first = first;
    _count = count;
}

void BlockEngine::endSweep()
{
    beginBlock(-1, 0);
    if (!_isBound) {
        // After an exception any slot may still hold rows.
        for (std::size_t slot = 0; slot < _states.size(); ++slot) {
            releaseBlock(slot);
        }
    }
    _lane.clear();
    _running = false;
    _manager = nullptr;
}

/// Computes the block of a slot that doesn't run sample by sample.
void BlockEngine::compute(std::size_t slot)
{
    SlotState& state = _states[slot];
    if (!runsAsLoops(slot)) {
        runLoops();
    }
    state.computed = _block;
    state.left = false;
    state.asked = -1;
    if (state.pinned || _keepRows) {
        _held.push_back(slot);
    }
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

/// Joins the last two loops where the first one's only reader is the second, and nobody else ever asks for
/// the row between them, that of `slot`.
void BlockEngine::joinLastLoops(std::size_t slot)
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

void BlockEngine::computeKernel(std::size_t slot)
{
    SlotState& state = _states[slot];
    BlockRun run(_pool, _loops, state.block, state.inputs, state.coordinates, _first, _count);
    state.kernel->block(run);
    if (state.block._componentCount == 0) {
        leave(slot);
    }
    state.steady = state.planned && !state.left && state.reads.empty() && run._isConstant;
    if (!_keepRows) {
        for (const std::size_t read : state.lastReads) {
            joinLastLoops(read);
            releaseBlock(read);
        }
    }
}

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

void BlockEngine::fillConstant(std::size_t slot)
{
    leave(slot);
    _states[slot].steady = true;
}

/// Every sample reads what the slot holds.
void BlockEngine::leave(std::size_t slot)
{
    SlotState& state = _states[slot];
    runLoops();
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
    SlotState& state = _states[slot];
    for (std::size_t c = 0; c < 3; ++c) {
        if (!state.kept[c]) {
            state.kept[c] = _pool.take();
        }
        _pool.share(state.kept[c]);
        state.block._rows[c] = state.kept[c];
    }
    state.block._componentCount = 3;
    renewPositions(slot);
}

/// The rows stay from block to block: along a grid, most of the coordinates repeat.
void BlockEngine::renewPositions(std::size_t slot)
{
    SlotState& state = _states[slot];
    const auto* domain = _context.slots[slot].node->positions;
    const auto count = static_cast<std::int32_t>(_count);
    std::array<bool, 3> repeated{};
    if (state.keptFirst >= 0 && _count <= state.keptCount) {
        repeated = domain->repeatedPositions(state.keptFirst, _first, count);
    }
    double* rows[3];
    for (std::size_t c = 0; c < 3; ++c) {
        rows[c] = repeated[c] ? nullptr : state.kept[c]->samples;
    }
    state.keptFirst = -1; // should the domain throw half way
    domain->positions(_first, count, rows[0], rows[1], rows[2]);
    state.keptFirst = _first;
    state.keptCount = _count;
}

void BlockEngine::releaseBlock(std::size_t slot)
{
    if (_states[slot].steady) {
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
        for (const std::size_t read : _states[slot].reads) {
            _states[read].asked = std::max(_states[read].asked, asked);
        }
        if (!state.left) {
            gather(slot, static_cast<std::size_t>(asked - _first), _context.slots[slot].value);
            _context.slots[slot].lastSample = asked;
        }
    }
}

} // namespace zrk
