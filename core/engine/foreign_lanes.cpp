#include "core/engine/foreign_lanes.h"

#include "core/engine/progress.h"
#include "core/values/stop.h"

#include <cassert>

namespace zrk {

namespace {

/// Lets a context serve closures while a block is computed, and leaves it as it was, also after an
/// exception.
class Serving {
public:
    Serving(EvaluationContext& context, RecordSource& source, std::size_t target)
        : _context(context),
          _before(context.setRecordSource(&source)),
          _sampleIndex(context.sampleIndex),
          _depth(context.slotStack.size())
    {
        // A closure sees the slots that run: slot 0, then the target, then what the target reads.
        if (context.slotStack.empty()) {
            context.pushSlot(0);
        }
        if (context.slotIndex != static_cast<std::int32_t>(target)) {
            context.pushSlot(static_cast<std::int32_t>(target));
        }
    }
    ~Serving()
    {
        while (_context.slotStack.size() > _depth) {
            _context.popSlot();
        }
        _context.sampleIndex = _sampleIndex;
        _context.setRecordSource(_before);
    }
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;

private:
    EvaluationContext& _context;
    RecordSource* _before;
    std::int32_t _sampleIndex;
    std::size_t _depth;
};

} // namespace

ForeignLanes::ForeignLanes(ChainBlocks& blocks, EvaluationContext& context)
    : _blocks(blocks), _context(context), _lanes(blocks.plan().slotCount())
{
    for (std::size_t slot = 0; slot < _lanes.size(); ++slot) {
        if (blocks.plan().step(slot).source == BlockPlan::Source::Lanes) {
            _lanes[slot] = std::make_unique<Lane>();
        }
    }
}

bool ForeignLanes::compute(ProgressManager* manager)
{
    const Serving serving(_context, *this, _blocks.plan().target());
    _waiting.clear(); // an exception may have left some
    for (std::size_t lane = 0; lane < _blocks.sampleCount(); ++lane) {
        stopIfAsked();
        _context.sampleIndex = _blocks.firstSample() + static_cast<std::int32_t>(lane);
        for (const std::size_t slot : _blocks.plan().lanes()) {
            runWithInputs(slot, lane);
        }
        if (manager && manager->shouldInterrupt()) {
            return false;
        }
    }
    return true;
}

bool ForeignLanes::isDone(std::size_t slot, std::size_t lane) const
{
    return _blocks.isCurrent(slot) && _lanes[slot]->done[lane];
}

/// Runs a slot at one sample, unless it has run there. A kernel's inputs run before it, from a list and
/// without recursion.
void ForeignLanes::runWithInputs(std::size_t slot, std::size_t lane)
{
    const std::size_t bottom = _waiting.size(); // closures call this inside of each other
    _waiting.push_back(slot);
    while (_waiting.size() > bottom) {
        const std::size_t current = _waiting.back();
        const std::size_t size = _waiting.size();
        if (!isDone(current, lane)) {
            const auto& reads = _blocks.plan().step(current).reads;
            for (auto read = reads.rbegin(); read != reads.rend(); ++read) { // the last one is run first
                if (runsInLanes(*read) && !isDone(*read, lane)) {
                    _waiting.push_back(*read);
                }
            }
        }
        if (_waiting.size() > size) {
            continue;
        }
        _waiting.pop_back();
        if (!isDone(current, lane)) {
            runAlone(current, lane);
        }
    }
}

void ForeignLanes::runAlone(std::size_t slot, std::size_t lane)
{
    if (!_blocks.isCurrent(slot)) {
        _lanes[slot]->done.reset();
        _blocks.beginLanes(slot);
    }
    EvaluationSlot& s = _context.slots[slot];
    const bool isTarget = slot == _blocks.plan().target();
    if (!isTarget) {
        _context.pushSlot(static_cast<std::int32_t>(slot));
    }
    if (const auto& kernel = _blocks.plan().step(slot).kernel) {
        kernel->sample(_context);
    } else {
        s.evaluator(_context);
    }
    if (!isTarget) {
        _context.popSlot();
    }
    _lanes[slot]->done.set(lane);

    // A closure that wrote nothing leaves its readers what the slot held, and a buffer as it was.
    static constexpr double kUntouched[kMaxRecord] = {};
    const double* record = s.value;
    if (isTarget && s.lastSample != _context.sampleIndex) {
        record = s.buffer ? s.buffer->record(static_cast<std::uint64_t>(_context.sampleIndex)) : kUntouched;
    }
    _blocks.setRecord(slot, lane, record);
}

const double* ForeignLanes::readRecord(std::size_t slot)
{
    EvaluationSlot& s = _context.slots[slot];
    const auto lane = static_cast<std::size_t>(_context.sampleIndex - _blocks.firstSample());
    assert(lane < _blocks.sampleCount());
    if (runsInLanes(slot)) {
        if (isDone(slot, lane)) {
            // Beside the slot's value, which a later sample may still have to be left with.
            _blocks.getRecord(slot, lane, _lanes[slot]->record);
            return _lanes[slot]->record;
        }
        runWithInputs(slot, lane);
        return s.value;
    }
    _blocks.require(slot);
    _blocks.noteAsked(slot, _context.sampleIndex);
    if (!_blocks.isLeft(slot)) {
        _blocks.getRecord(slot, lane, s.value);
        s.lastSample = _context.sampleIndex;
    }
    return s.value;
}

} // namespace zrk
