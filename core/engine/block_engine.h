#pragma once

#include "core/engine/block.h"
#include "core/engine/evaluation_context.h"
#include "core/engine/kernel.h"

#include <bitset>
#include <cstdint>
#include <memory>
#include <vector>

namespace zrk {

class ProgressManager;

/// Takes the target's blocks, in ascending order within one call of `sweep`.
class BlockSink {
public:
    virtual ~BlockSink() = default;
    virtual void take(std::int32_t firstSample, std::size_t sampleCount, const Block& block) = 0;
};

/// Writes blocks as records of a buffer.
class BufferSink final : public BlockSink {
public:
    explicit BufferSink(SampleBufferData<double>& buffer) : _buffer(buffer) {}
    void take(std::int32_t firstSample, std::size_t sampleCount, const Block& block) override;

private:
    SampleBufferData<double>& _buffer;
};

/// Computes a chain by blocks of samples beneath a context.
///
/// For a target slot it plans once which slots are read, upstream first, and then computes
/// them block by block. A row is given back as soon as its last reader has run, so a chain
/// works in few rows.
///
/// Kernels that run as loops only say what to do to which rows. Their loops are run together, some samples at
/// a time, and joined where one is all that reads another. Where a chain is of nothing else, it is bound:
/// later blocks have new positions and run the same loops over the same rows.
///
/// Closures that aren't kernels run sample by sample in ascending order, once at every sample
/// at which they are asked for. So do kernels between two of them: which samples the later
/// closure will ask for isn't known. What closures read of other kernels comes out of blocks.
class BlockEngine {
public:
    explicit BlockEngine(EvaluationContext& context);

    /// Blocks of `target` for the samples first to last. With `settle` the slots are left
    /// as a run sample by sample would leave them. False when interrupted.
    bool sweep(std::size_t target, std::int32_t first, std::int32_t last, BlockSink& sink,
               ProgressManager* manager, bool settle);

    /// True while a block is being computed, so records can be read out of blocks.
    bool isRunning() const { return _running; }
    /// Record of a slot at the context's running sample, which lies in the running block.
    const double* readRecord(std::size_t slot);

private:
    enum class Source : std::uint8_t { Kernel, Closure, Constant, Buffer, Positions };

    /// What a slot that runs sample by sample has done in the running block.
    struct ClosureState {
        std::bitset<kBlockSamples> done;
        double gathered[kMaxRecord];
    };
    struct SlotState {
        Block block;
        Source source = Source::Kernel;
        const Kernel* kernel = nullptr;
        std::shared_ptr<const Kernel> ofRun; ///< the kernel, where the slot's own may change between runs
        std::vector<std::size_t> reads;      ///< slots that the kernel reads
        std::vector<const Block*> inputs;    ///< their blocks, the coordinates not included
        const Block* coordinates = nullptr;
        std::array<Row*, 3> kept{}; ///< rows of the positions last computed
        std::int32_t keptFirst = -1;
        std::size_t keptCount = 0;
        std::uint64_t computed = 0;         ///< number of the block held
        std::vector<std::size_t> lastReads; ///< slots that no later kernel of the plan reads
        bool pinned = false;                ///< may be read by a closure at any time, so never given back
        bool upstreamOfClosure = false;
        bool planned = false;    ///< part of the plan, so every sample is asked for
        bool left = false;       ///< the kernel wrote nothing
        bool steady = false;     ///< the block is the same for all samples and kept
        std::int32_t asked = -1; ///< last sample of the block that a reader asked for
        std::unique_ptr<ClosureState> closure;
    };

    EvaluationContext& _context;
    std::vector<SlotState> _states;
    RowPool _pool;
    std::vector<RowLoop> _loops;    ///< still to be run in this order; all of them where bound
    bool _isBound = false;          ///< later blocks of the target run the same loops over the same rows
    std::vector<std::size_t> _plan; ///< slots to compute as blocks, upstream first
    std::vector<std::size_t> _planClosures; ///< slots to run at every sample before that
    std::vector<std::size_t> _lane;         ///< inputs still to run for one sample
    std::vector<std::size_t> _held;         ///< slots that hold rows until the running block ends
    std::uint64_t _block = 0;               ///< number of the running block, over all sweeps
    std::size_t _target = static_cast<std::size_t>(-1);
    std::int32_t _first = 0;
    std::size_t _count = 0;
    bool _running = false;
    bool _keepRows = false;
    ProgressManager* _manager = nullptr;

    void plan(std::size_t target);
    void classify(std::size_t slot, std::size_t target);
    void resolveReads(std::size_t slot);
    void pinWhatClosuresRead();
    void runBetweenClosures();
    void planUpstream(std::size_t slot, std::vector<std::size_t>& order);

    bool hasClosures() const { return !_planClosures.empty(); }
    bool computeBlock();
    void beginBlock(std::int32_t first, std::size_t count);
    void endSweep();
    bool isCurrent(std::size_t slot) const
    {
        return _states[slot].computed == _block || _states[slot].steady;
    }
    void compute(std::size_t slot);
    void ensure(std::size_t slot);
    bool runsAsLoops(std::size_t slot) const
    {
        return _states[slot].source == Source::Kernel && _states[slot].kernel->runsAsLoops();
    }
    void computeKernel(std::size_t slot);
    bool canBind() const;
    void joinLastLoops(std::size_t slot);
    void runLoops();
    bool computeClosures();
    void runLane(std::size_t slot, std::size_t lane);
    bool isDone(std::size_t slot, std::size_t lane) const;
    void runClosure(std::size_t slot, std::size_t lane);
    void fillConstant(std::size_t slot);
    void fillFromBuffer(std::size_t slot);
    void fillPositions(std::size_t slot);
    void renewPositions(std::size_t slot);
    void leave(std::size_t slot);
    void takeRows(std::size_t slot);
    void releaseBlock(std::size_t slot);
    void planReleases();
    void settle();
    std::size_t componentCountOf(std::size_t slot) const;
    void gather(std::size_t slot, std::size_t lane, double* record) const;

    friend class BlockRun;
};

} // namespace zrk
