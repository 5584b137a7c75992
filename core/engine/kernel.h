#pragma once

#include "core/engine/block.h"
#include "core/engine/box_run.h"
#include "core/engine/row_loop.h"
#include "core/values/export.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace zrk {

template <class T>
class EvaluationContextT;
struct EvaluationNode;

using EvaluationContext = EvaluationContextT<double>;

/// What a node answers for one sample: reads records of its inputs, writes one record.
using Evaluation = std::function<void(EvaluationContext&)>;

/// In which order a kernel reads: inputs from the first to the last and then coordinates, coordinates first,
/// or inputs from the last to the first. Seen by closures that aren't ours, which are run in this order.
enum class ReadOrder { inputsFirst, coordinatesFirst, lastInputFirst };

/// What a kernel reads of its node. The engine computes these blocks before it calls the kernel.
struct KernelReads {
    static constexpr std::size_t kAll = static_cast<std::size_t>(-1);
    std::size_t inputs = kAll; ///< number of input pins that are read, the first ones
    bool coordinates = false;  ///< whether the positions of the samples are read
    ReadOrder order = ReadOrder::inputsFirst;
};

/// What a kernel sees while it computes one block of its node: the blocks of the inputs, and the rows
/// that it writes. A kernel that writes no row leaves the slot's record, the same at every sample.
class ZRK_API BlockRun {
public:
    std::size_t sampleCount() const { return _count; }
    std::int32_t firstSample() const { return _first; }

    /// The block of input pin k, one of those that `reads()` announces; zeros for a pin without a node.
    const Block& input(std::size_t k) const
    {
        static const Block nothing;
        return k < _inputCount ? *_inputs[k] : nothing;
    }
    /// The positions of the samples, if `reads()` announces them.
    const Block& coordinates() const { return *_coordinates; }

    /// A row for component c, which the kernel fills for `sampleCount()` samples, rounded up to whole
    /// vectors. Each component is given its row exactly once, by one of the calls below.
    double* output(std::size_t component)
    {
        _isConstant = false;
        return set(component, _pool.take())->samples;
    }
    /// Adds a loop over rows, which the engine runs later; only for kernels that `runsAsLoops()`.
    RowLoop& addLoop() { return _loops.emplace_back(); }
    /// Makes component c the same number at every sample of every block.
    void outputConstant(std::size_t component, double value) { set(component, _pool.constant(value)); }
    /// A row of weights for the kernel to fill. If neither this nor `forwardWeights` is called, all
    /// weights are 1.
    double* outputWeights()
    {
        _isConstant = false;
        _out._weight = _pool.take();
        return _out._weight->samples;
    }

    /// Makes the weights those of `from`, without a copy.
    void forwardWeights(const Block& from)
    {
        if (from._weight) {
            _isConstant = false;
            _pool.share(from._weight);
            _out._weight = from._weight;
        }
    }
    /// Makes a component that of another block, without a copy.
    void forwardRow(std::size_t component, const Block& from, std::size_t fromComponent);
    /// Makes all components and the weights those of `from`, without a copy.
    void forward(const Block& from);

private:
    RowPool& _pool;
    std::vector<RowLoop>& _loops;
    Block& _out;
    const Block* const* _inputs;
    std::size_t _inputCount;
    const Block* _coordinates;
    bool _isConstant = true; ///< only constants were written so far
    std::int32_t _first;
    std::size_t _count;

    BlockRun(RowPool& pool, std::vector<RowLoop>& loops, Block& out, const std::vector<const Block*>& inputs,
             const Block* coordinates, std::int32_t first, std::size_t count)
        : _pool(pool),
          _loops(loops),
          _out(out),
          _inputs(inputs.data()),
          _inputCount(inputs.size()),
          _coordinates(coordinates),
          _first(first),
          _count(count)
    {}
    Row* set(std::size_t component, Row* row)
    {
        _out._rows[component] = row;
        _out._componentCount = _out._componentCount > component ? _out._componentCount : component + 1;
        return row;
    }
    friend class ChainBlocks;
};

/// What a node computes, in the forms that the engine can run: a sample, a block, bounds over boxes.
/// From the same records, a sample and a block give the same bits.
///
/// A kernel never changes once it is built, and all its calls are safe from many threads at once. What a
/// call needs for itself is on its stack or in a `PreparedField`, which lends each call a worker.
class ZRK_API Kernel {
public:
    virtual ~Kernel() = default;

    /// Computes one sample: reads its inputs through the context and writes at most one record.
    virtual void sample(EvaluationContext& context) const = 0;
    /// Computes a whole block.
    virtual void block(BlockRun& run) const = 0;
    /// Computes bounds over some boxes. False if the kernel can't; its components and weight are then
    /// unbounded.
    virtual bool bounds(BoxRun&) const { return false; }
    /// Which inputs the kernel reads, and whether the positions.
    virtual KernelReads reads() const { return {}; }
    /// True if `block` neither reads nor writes samples, but only forwards rows and adds loops. The engine
    /// runs these loops later, and runs them again for other blocks that lie in the same rows.
    virtual bool runsAsLoops() const { return false; }
    /// Minimum or maximum for a kernel that gives the lesser or the greater of its two inputs where these are
    /// scalars of weight 1; else any other operation.
    virtual RowOperation operation() const { return RowOperation::None; }
    /// The kernel that a whole run uses in this one's place, where this one may change between runs; null:
    /// this one itself. The engine asks once when a run begins.
    virtual std::shared_ptr<const Kernel> forRun() const { return nullptr; }
};

/// The closure of a kernel. Called as a function it computes one sample. When the engine finds this type
/// in an `Evaluation`, it runs the kernel by blocks instead.
class ZRK_API Evaluator {
public:
    explicit Evaluator(std::shared_ptr<const Kernel> kernel) : _kernel(std::move(kernel)) {}
    void operator()(EvaluationContext& context) const { _kernel->sample(context); }
    const std::shared_ptr<const Kernel>& kernel() const { return _kernel; }

private:
    std::shared_ptr<const Kernel> _kernel;
};

/// The kernel of an evaluation, or null if the closure is a foreign one: not an `Evaluator`.
inline std::shared_ptr<const Kernel> recognisedKernel(const Evaluation& evaluation)
{
    const Evaluator* evaluator = evaluation.target<Evaluator>();
    return evaluator ? evaluator->kernel() : nullptr;
}

/// The closure that reads nothing and writes nothing, so that the output stays what the slot held.
ZRK_API const Evaluation& doNothing();

} // namespace zrk
