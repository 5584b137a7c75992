#pragma once

#include "core/engine/chain_blocks.h"
#include "core/engine/evaluation_context.h"

#include <bitset>
#include <cstddef>
#include <memory>
#include <vector>

namespace zrk {

class ProgressManager;

/// The slots of a plan that run sample by sample: closures that aren't kernels, and kernels between two of
/// them.
///
/// They run in ascending order of samples, each once at every sample at which it is asked for. What they
/// read of other slots comes out of blocks: while they run, the context passes their reads on to here.
class ForeignLanes final : RecordSource {
public:
    /// Both must outlive the lanes.
    ForeignLanes(ChainBlocks& blocks, EvaluationContext& context);

    /// Runs at every sample of the block what the plan needs at every sample. False when interrupted, which
    /// is asked after each sample as a closure may be slow.
    bool compute(ProgressManager* manager);

private:
    /// What a slot has done in the running block.
    struct Lane {
        std::bitset<kBlockSamples> done;
        double record[kMaxRecord]; ///< handed to a closure that reads an earlier result
    };

    ChainBlocks& _blocks;
    EvaluationContext& _context;
    std::vector<std::unique_ptr<Lane>> _lanes; ///< by slot, null for those that don't run in lanes
    std::vector<std::size_t> _waiting;         ///< inputs still to run at the present sample

    bool runsInLanes(std::size_t slot) const { return _lanes[slot] != nullptr; }
    bool isDone(std::size_t slot, std::size_t lane) const;
    void runWithInputs(std::size_t slot, std::size_t lane);
    void runAlone(std::size_t slot, std::size_t lane);
    const double* readRecord(std::size_t slot) override;
};

} // namespace zrk
