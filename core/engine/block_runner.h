#pragma once

#include "core/engine/block_plan.h"
#include "core/engine/block_sink.h"
#include "core/engine/chain_blocks.h"

#include <cstdint>
#include <memory>
#include <optional>

namespace zrk {

template <class T>
class EvaluationContextT;
using EvaluationContext = EvaluationContextT<double>;
class ForeignLanes;
class ProgressManager;

/// What a sweep leaves in the slots of its context.
enum class SlotsAfter {
    Anything,
    Settled, ///< records and sample indices as a run sample by sample leaves them
};

/// Computes a plan block by block, for one worker: it owns the rows and the loops, and works on the slots of
/// one context, in which closures run. It belongs to the context's thread.
class BlockRunner {
public:
    /// @param plan     of the context's chain.
    /// @param context  must outlive the runner; its slots may change their positions, but nothing else.
    BlockRunner(std::shared_ptr<const BlockPlan> plan, EvaluationContext& context);
    ~BlockRunner();
    BlockRunner(const BlockRunner&) = delete;
    BlockRunner& operator=(const BlockRunner&) = delete;

    const std::shared_ptr<const BlockPlan>& plan() const { return _plan; }
    /// Between sweeps: another plan of the same chain.
    /// Precondition: neither plan has lanes.
    void use(std::shared_ptr<const BlockPlan> plan);

    /// Hands the target's blocks for the samples first to last, both included, to the sink. Without memory
    /// of its own once it has run before. With a manager it asks before every block, and after every sample
    /// of a closure, whether to stop, and returns false when it was. Whatever a closure, a domain or the sink
    /// throws comes out, and the runner can be used again.
    bool sweep(std::int32_t first, std::int32_t last, BlockSink& sink, ProgressManager* manager = nullptr,
               SlotsAfter slots = SlotsAfter::Anything);

private:
    std::shared_ptr<const BlockPlan> _plan;
    EvaluationContext& _context;
    ChainBlocks _blocks;
    std::unique_ptr<ForeignLanes> _lanes; ///< null if the plan has none

    bool hasResult() const;
};

} // namespace zrk
