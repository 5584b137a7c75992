#pragma once

#include "core/engine/block.h"
#include "core/engine/row_loop.h"
#include "core/values/interval.h"

#include <functional>
#include <memory>
#include <vector>

#if defined(_WIN32)
#define ZRK_RECOGNISED
#else
#define ZRK_RECOGNISED __attribute__((visibility("default")))
#endif

namespace zrk {

template <class T>
class EvaluationContextT;
struct EvaluationNode;
class BlockEngine;

using EvaluationContext = EvaluationContextT<double>;

/// What a node answers for one sample: reads records of its inputs, writes one record.
using Evaluation = std::function<void(EvaluationContext&)>;

/// Bounds of a record over a box of positions.
struct IntervalRecord {
    std::vector<Interval<double>> components;
    Interval<double> weight{0.0, 0.0};
};

/// In which order a kernel reads: inputs from the first to the last and then coordinates, coordinates first,
/// or inputs from the last to the first. Seen by closures that aren't ours, which are run in this order.
enum class ReadOrder { inputsFirst, coordinatesFirst, lastInputFirst };

/// What a kernel reads of its node. The engine computes these blocks before it asks the kernel.
struct KernelReads {
    static constexpr std::size_t kAll = static_cast<std::size_t>(-1);
    std::size_t inputs = kAll; ///< the first so many input pins
    bool coordinates = false;  ///< the positions that the node is asked at
    ReadOrder order = ReadOrder::inputsFirst;
};

/// The running node's view of one block: its inputs, and the rows it writes. A kernel that
/// writes no row leaves every sample what the slot held before.
class BlockRun {
public:
    std::size_t sampleCount() const { return _count; }
    std::int32_t firstSample() const { return _first; }

    /// Block of input pin k, which `reads()` must announce. A pin without a node reads as zeros.
    const Block& input(std::size_t k) const
    {
        static const Block nothing;
        return k < _inputCount ? *_inputs[k] : nothing;
    }
    /// Blocks of the positions, which `reads()` must announce.
    const Block& coordinates() const { return *_coordinates; }

    /// A fresh row for component c, which the kernel fills for `sampleCount()` samples,
    /// rounded up to whole vectors. Each component is written or shared exactly once.
    double* output(std::size_t component)
    {
        _isConstant = false;
        return set(component, _pool.take())->samples;
    }
    /// A loop over rows of this block, which the engine runs afterwards; for kernels that `runsAsLoops`.
    RowLoop& addLoop() { return _loops.emplace_back(); }
    /// The same number for every sample and in every block; the row is filled once.
    void outputConstant(std::size_t component, double value) { set(component, _pool.constant(value)); }
    /// A fresh row of weights; without one of the weight calls every weight is 1.
    double* outputWeights()
    {
        _isConstant = false;
        _out._weight = _pool.take();
        return _out._weight->samples;
    }

    /// Hands the weights of `from` on, without a copy.
    void forwardWeights(const Block& from)
    {
        if (from._weight) {
            _isConstant = false;
            _pool.share(from._weight);
            _out._weight = from._weight;
        }
    }
    /// Hands one row of `from` on as component c.
    void forwardRow(std::size_t component, const Block& from, std::size_t fromComponent);
    /// Hands the whole record on.
    void forward(const Block& from);

private:
    RowPool& _pool;
    std::vector<RowLoop>& _loops;
    Block& _out;
    const Block* const* _inputs;
    std::size_t _inputCount;
    const Block* _coordinates;
    bool _isConstant = true; ///< no more than constants were written so far
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
    friend class BlockEngine;
};

/// The running node's view while bounds over a box of positions are computed.
class BoundsRun {
public:
    const IntervalRecord& input(std::size_t k) const;
    const IntervalRecord& coordinates() const;
    IntervalRecord& output() const { return *_out; }

private:
    const EvaluationNode* _node;
    const std::vector<IntervalRecord>* _records;
    IntervalRecord* _out;

    BoundsRun(const EvaluationNode* node, const std::vector<IntervalRecord>* records, IntervalRecord* out)
        : _node(node), _records(records), _out(out)
    {}
    friend class FieldBounds;
};

/// The body of an evaluator in the forms that the engine knows. All forms of one kernel
/// give the same bits for the same record read.
///
/// Immutable once built; all calls are safe from many threads at once.
class Kernel {
public:
    virtual ~Kernel() = default;

    /// One sample: reads through the context, writes at most one record.
    virtual void sample(EvaluationContext& context) const = 0;
    /// A whole block.
    virtual void block(BlockRun& run) const = 0;
    /// Bounds over a box; false when the kernel can't give any, and then its value is unbounded.
    virtual bool bounds(const BoundsRun&) const { return false; }
    virtual KernelReads reads() const { return {}; }
    /// True when `block` touches no sample itself: it hands rows on and adds loops, which depend only on
    /// what rows its inputs have. The loops may run later, and again for other blocks over the same rows.
    virtual bool runsAsLoops() const { return false; }
    /// The kernel that a whole run uses in this one's place, where this one may change between runs; null:
    /// this one itself. The engine asks once when a run begins.
    virtual std::shared_ptr<const Kernel> forRun() const { return nullptr; }
};

/// The closure around a kernel. The engine recognises it by its type as the target of an
/// `Evaluation` and then runs the kernel by blocks; called as a function it computes one sample.
class ZRK_RECOGNISED Evaluator {
public:
    explicit Evaluator(std::shared_ptr<const Kernel> kernel) : _kernel(std::move(kernel)) {}
    void operator()(EvaluationContext& context) const { _kernel->sample(context); }
    const Kernel* kernel() const { return _kernel.get(); }

private:
    std::shared_ptr<const Kernel> _kernel;
};

/// The kernel inside an evaluation, or null when the closure isn't one of ours.
inline const Kernel* recognisedKernel(const Evaluation& evaluation)
{
    const Evaluator* evaluator = evaluation.target<Evaluator>();
    return evaluator ? evaluator->kernel() : nullptr;
}

/// The closure that reads nothing and writes nothing: the output stays what the slot held.
const Evaluation& doNothing();

} // namespace zrk
