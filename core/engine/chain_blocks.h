#pragma once

#include "core/engine/block.h"
#include "core/engine/block_plan.h"
#include "core/engine/row_loop.h"
#include "core/engine/source_rows.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zrk {

/// What becomes of a row after its last reader.
enum class RowUse {
    GiveBack, ///< another slot takes it
    Keep,     ///< it stays until the block ends
};

/// The blocks of a chain's slots at one range of samples, and the loops that are still to be run over them.
///
/// Kernels that run as loops only say what to do to which rows. Their loops are run together, some samples
/// at a time, and joined where one is all that reads another. If a chain is made of nothing else, the loops
/// are repeated: later blocks get new positions in the same rows and run the same loops.
///
/// Belongs to one runner, and so to one thread.
class ChainBlocks {
public:
    /// Both must outlive the blocks, or the plan their use of it. The records that slots hold are read, and
    /// written by `settle`.
    ChainBlocks(const BlockPlan& plan, std::vector<EvaluationSlot>& slots);

    const BlockPlan& plan() const { return *_plan; }
    /// Between sweeps: another plan of the same chain. The rows stay, for the slots of that one.
    void use(const BlockPlan& plan);
    std::int32_t firstSample() const { return _first; }
    std::size_t sampleCount() const { return _count; }

    /// Before the first block of a range: positions are read anew.
    void beginSweep();
    void beginBlock(std::int32_t first, std::size_t count, RowUse use);
    /// Computes what the plan needs for the target, except the lanes, which are there already.
    void computePlanned();
    /// Gives rows back, also those of a block that wasn't finished.
    void endSweep();

    const Block& target() const { return _states[_plan->target()].block; }
    /// True if the slot's kernel wrote nothing, so that every sample holds the slot's record.
    bool isLeft(std::size_t slot) const { return _states[slot].isLeft; }
    bool isCurrent(std::size_t slot) const
    {
        return _states[slot].computed == _block || _states[slot].isSteady;
    }
    /// Computes the block of a slot that doesn't run in lanes, with all that it reads, unless it is there.
    void require(std::size_t slot);
    /// Notes that a closure has asked for the slot at this sample.
    void noteAsked(std::size_t slot, std::int32_t sample) { _states[slot].asked = sample; }
    /// Rows for a slot that runs in lanes.
    void beginLanes(std::size_t slot);
    void setRecord(std::size_t slot, std::size_t lane, const double* record);
    void getRecord(std::size_t slot, std::size_t lane, double* record) const;

    /// Leaves in every slot the record and the index of the last sample at which it was asked for, as a run
    /// sample by sample would.
    void settle();

private:
    struct SlotState {
        Block block;
        std::vector<const Block*> inputs; ///< blocks of the input pins
        const Block* positions = nullptr; ///< block of the positions, if the kernel reads them
        std::uint64_t computed = 0;       ///< number of the block held
        bool isLeft = false;
        bool isSteady = false;   ///< the same for all samples, so computed only once
        std::int32_t asked = -1; ///< last sample of the block at which a reader asked for it
        SourceRows source;       ///< of a slot with positions or a buffer
    };
    struct Visit {
        std::size_t slot;
        bool isExpanded;
    };

    const BlockPlan* _plan;
    std::vector<EvaluationSlot>& _slots;
    std::vector<SlotState> _states; ///< by slot
    RowPool _pool;
    std::vector<RowLoop> _loops;    ///< still to be run, or all of them while they are repeated
    bool _repeatsLoops = false;     ///< later blocks run the same loops over the same rows
    std::vector<std::size_t> _held; ///< slots that hold rows until the block ends
    std::vector<Visit> _visits;     ///< of `require`
    std::uint64_t _block = 0;       ///< number of the running block, over all sweeps
    std::int32_t _first = 0;
    std::size_t _count = 0;
    RowUse _use = RowUse::GiveBack;

    void bind(std::size_t slot);
    void compute(std::size_t slot);
    void computeKernel(std::size_t slot);
    void leave(std::size_t slot);
    bool canRepeatLoops() const;
    void joinLastLoops(std::size_t slot);
    void runLoops();

    void renew(std::size_t slot);
    void takeRows(std::size_t slot);
    void releaseRows(std::size_t slot);
};

} // namespace zrk
