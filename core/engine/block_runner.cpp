#include "core/engine/block_runner.h"

#include "core/engine/evaluation_context.h"
#include "core/engine/foreign_lanes.h"
#include "core/engine/progress.h"
#include "core/values/stop.h"

#include <algorithm>
#include <utility>

namespace zrk {

BlockRunner::BlockRunner(std::shared_ptr<const BlockPlan> plan, EvaluationContext& context)
    : _plan(std::move(plan)), _context(context), _blocks(*_plan, context.slots)
{
    if (!_plan->lanes().empty()) {
        _lanes = std::make_unique<ForeignLanes>(_blocks, context);
    }
}

BlockRunner::~BlockRunner() = default;

void BlockRunner::use(std::shared_ptr<const BlockPlan> plan)
{
    _blocks.use(*plan);
    _plan = std::move(plan);
}

/// False if the target's kernel wrote nothing, and so leaves a buffer as it was.
bool BlockRunner::hasResult() const
{
    const std::size_t target = _plan->target();
    return !_blocks.isLeft(target) || _plan->step(target).source != BlockPlan::Source::Kernel ||
           !_context.slots[target].buffer;
}

bool BlockRunner::sweep(std::int32_t first, std::int32_t last, BlockSink& sink, ProgressManager* manager,
                        SlotsAfter slots)
{
    // Also after an exception the rows go back.
    struct End {
        ChainBlocks& blocks;
        ~End() { blocks.endSweep(); }
    };
    const End end{_blocks};
    _blocks.beginSweep();
    // 64 bit: the block after the last one may begin beyond the largest sample index.
    for (std::int64_t start = first; start <= last; start += kBlockSamples) {
        if (manager && manager->shouldInterrupt()) {
            return false;
        }
        stopIfAsked();
        const std::int64_t left = std::int64_t{last} - start + 1;
        const std::int64_t count = std::min<std::int64_t>(left, kBlockSamples);
        // Closures may ask for a slot in any block, for the last time.
        const bool settles = slots == SlotsAfter::Settled && (left == count || _lanes);
        _blocks.beginBlock(static_cast<std::int32_t>(start), static_cast<std::size_t>(count),
                           settles ? RowUse::Keep : RowUse::GiveBack);
        if (_lanes && !_lanes->compute(manager)) {
            return false;
        }
        _blocks.computePlanned();
        if (hasResult()) {
            sink.take(static_cast<std::int32_t>(start), static_cast<std::size_t>(count), _blocks.target());
        }
        if (settles) {
            _blocks.settle();
        }
    }
    return true;
}

} // namespace zrk
