#pragma once

#include "testing/literal_engine.h"

#include <array>
#include <bit>
#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <vector>

namespace zrk::chains {

struct Wave {
    double frequency;
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return sin(p[0] * V(frequency)) + p[1] * p[2];
    }
};
struct Shear {
    double amount;
    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        return {p[0] + V(amount) * p[1], p[1] - V(amount), p[2] * p[0]};
    }
};
struct Smaller {
    double offset;
    template <class V>
    V operator()(const V& a, const V& b) const
    {
        return select(a > b, b, a) - V(offset);
    }
};
/// A formula whose weights aren't 1.
struct Blend {
    double share;
    template <class V>
    Record<1, V> operator()(const Record<1, V>& a, const Record<1, V>& b) const
    {
        return {{a.value[0] * a.weight + b.value[0] * V(share)}, a.weight * V(share) + b.weight};
    }
};
/// A kernel of one of the operations that the engine knows by name.
struct Combined {
    static constexpr bool kKeepsUnitWeight = true;
    static constexpr bool kChooses = true;
    RowOperation operation;

    RowOperation rowOperation() const { return operation; }

    template <class V>
    Record<1, V> operator()(const Record<1, V>& a, const Record<1, V>& b) const
    {
        const V& x = a.value[0];
        const V& y = b.value[0];
        const V weight = maximum(a.weight, b.weight);
        switch (operation) {
        case RowOperation::Minimum:
            return {{select(x > y, y, x)}, weight};
        case RowOperation::Maximum:
            return {{select(x > y, x, y)}, weight};
        case RowOperation::Add:
            return {{x + y}, weight};
        case RowOperation::Subtract:
            return {{x - y}, weight};
        default:
            return {{x * y}, weight};
        }
    }

    std::array<BatchMask, 2> choices(const Record<1, IntervalBatch>& a,
                                     const Record<1, IntervalBatch>& b) const
    {
        const IntervalMaskBatch isGreater = a.value[0] > b.value[0];
        const BatchMask unitWeights =
            a.weight.lower == 1.0 && a.weight.upper == 1.0 && b.weight.lower == 1.0 && b.weight.upper == 1.0;
        const BatchMask takesB = unitWeights && !isGreater.canBeFalse;
        const BatchMask takesA = unitWeights && !isGreater.canBeTrue;
        switch (operation) {
        case RowOperation::Minimum:
            return {takesA, takesB};
        case RowOperation::Maximum:
            return {takesB, takesA};
        default:
            return {BatchMask(false), BatchMask(false)};
        }
    }
};
struct Colour {
    double alpha;
    template <class V>
    Tensor<4, V> operator()(const Tensor<3, V>& p, const V& d) const
    {
        return {p[0], p[1] * d, p[2] - d, V(alpha)};
    }
};
struct Luminance {
    double gain;
    template <class V>
    Record<1, V> operator()(const Record<4, V>& c) const
    {
        return {{(c.value[0] + c.value[1] + c.value[2]) * V(gain)}, c.value[3] * c.weight};
    }
};

/// A kernel that hands its first input on.
class ForwardingKernel final : public Kernel {
public:
    void sample(EvaluationContext& context) const override
    {
        const double* record = context.readInput(0);
        context.writeOutput(record[0], record[1]);
    }
    void block(BlockRun& run) const override
    {
        run.forwardRow(0, run.input(0), 0);
        run.forwardWeights(run.input(0));
    }
    bool bounds(BoxRun& run) const override
    {
        run.forwardRow(0, run.input(0), 0);
        run.forwardWeights(run.input(0));
        return true;
    }
    KernelReads reads() const override { return {1, false}; }
    bool runsAsLoops() const override { return true; }
};

/// A kernel that reads and writes its rows itself.
class NegatingKernel final : public Kernel {
public:
    void sample(EvaluationContext& context) const override
    {
        const double* record = context.readInput(0);
        context.writeOutput(-record[0], record[1]);
    }
    void block(BlockRun& run) const override
    {
        const double* in = run.input(0).row(0);
        double* out = run.output(0);
        for (std::size_t i = 0; i < run.sampleCount(); ++i) {
            out[i] = -in[i];
        }
        run.forwardWeights(run.input(0));
    }
    bool bounds(BoxRun& run) const override
    {
        IntervalRow& out = run.output(0);
        for (std::size_t i = 0; i < run.boxCount(); i += Batch::size) {
            storeBounds(-loadBounds(run.input(0).row(0), i), out, i);
        }
        run.forwardWeights(run.input(0));
        return true;
    }
    KernelReads reads() const override { return {1, false}; }
};

/// Wraps `inner` in a closure that the engine doesn't recognise and that gives the same bits.
inline Evaluation foreign(Evaluation inner)
{
    return [inner](EvaluationContext& context) { inner(context); };
}

/// Records the samples at which a closure ran, in order.
using Log = std::vector<std::int32_t>;

inline Evaluation logged(Evaluation inner, std::shared_ptr<Log> log)
{
    return [inner, log](EvaluationContext& context) {
        // A closure that writes nothing may run again at the same sample.
        if (log->empty() || log->back() != context.sampleIndex) {
            log->push_back(context.sampleIndex);
        }
        inner(context);
    };
}

/// One node of a chain before it is a field.
struct NodePlan {
    std::uint32_t shape;
    Evaluation evaluation;           ///< empty if `field` stands for the node
    std::vector<std::size_t> inputs; ///< earlier nodes
    IField field;
    bool isKernel = true;
};

/// What the closures of a random chain may do besides computing formulas.
enum class Closures { None, Plain, Selective };

/// A random graph of formulas with shared nodes, in which each node reads earlier ones and the
/// last one is the target.
class RandomChain {
public:
    std::vector<NodePlan> nodes;

    RandomChain(std::uint32_t seed, Closures closures) : _random(seed)
    {
        nodes.push_back({3, {}, {}, literal::position()});
        nodes.push_back({1, {}, {}, IField(std::make_shared<SolidField<1, 3>>(0.75))});
        nodes.push_back({1, {}, {}, IField()});
        nodes.push_back({1, doNothing(), {}, IField()});
        add(1, evaluator(Wave{1.5}), {3});
        add(4, evaluator(Colour{0.5}), {3, 1});
        const int count = 6 + static_cast<int>(_random() % 10);
        for (int i = 0; i < count; ++i) {
            addRandom(closures);
        }
        // The target reads the latest nodes, so most of the chain is in use.
        add(1, evaluator(Blend{0.25}), {});
        nodes.back().inputs = {nodes.size() - 2 - (nodes[nodes.size() - 2].shape != 1), 4};
        while (nodes[nodes.back().inputs[0]].shape != 1) {
            --nodes.back().inputs[0];
        }
    }

    /// Returns the field of the whole chain. `change` may replace the closure of any node.
    IField field(const std::function<Evaluation(std::size_t, const NodePlan&)>& change = {}) const
    {
        std::vector<IField> fields;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            const NodePlan& plan = nodes[i];
            if (!plan.evaluation) {
                fields.push_back(plan.field);
                continue;
            }
            std::vector<IField> inputs;
            for (const std::size_t input : plan.inputs) {
                inputs.push_back(fields[input]);
            }
            const Evaluation changed = change ? change(i, plan) : Evaluation();
            fields.push_back(literal::node(plan.shape, changed ? changed : plan.evaluation, inputs));
        }
        return fields.back();
    }

private:
    std::mt19937 _random;

    void add(std::uint32_t shape, Evaluation evaluation, const std::vector<std::uint32_t>& inputShapes)
    {
        std::vector<std::size_t> inputs;
        for (const std::uint32_t wanted : inputShapes) {
            inputs.push_back(pick(wanted));
        }
        nodes.push_back({shape, std::move(evaluation), inputs, IField()});
    }

    /// Picks an earlier node of a shape, late ones more often.
    std::size_t pick(std::uint32_t shape)
    {
        std::vector<std::size_t> fitting;
        for (std::size_t i = 0; i < nodes.size(); ++i) {
            if (nodes[i].shape == shape) {
                fitting.push_back(i);
            }
        }
        const std::size_t back =
            std::min<std::size_t>(_random() % fitting.size(), _random() % fitting.size());
        return fitting[fitting.size() - 1 - back];
    }

    void addRandom(Closures closures)
    {
        const double a = std::uniform_real_distribution<double>(-2, 2)(_random);
        const unsigned kinds = closures == Closures::None ? 9 : closures == Closures::Plain ? 10 : 12;
        switch (_random() % kinds) {
        case 0:
            return add(1, evaluator(Wave{a}), {3});
        case 1:
            return add(3, evaluator(Shear{a}), {3});
        case 2:
            return add(1, evaluator(Smaller{a}), {1, 1});
        case 3:
            return add(1, evaluator(Blend{a}), {1, 1});
        case 4:
            return add(4, evaluator(Colour{a}), {3, 1});
        case 5:
            return add(1, evaluator(Luminance{a}), {4});
        case 6:
            return add(1, evaluator(Combined{static_cast<RowOperation>(1 + _random() % 5)}), {1, 1});
        case 7:
            return add(1, Evaluator(std::make_shared<ForwardingKernel>()), {1});
        case 8:
            return add(1, Evaluator(std::make_shared<NegatingKernel>()), {1});
        case 9:
            return addClosure(foreign(evaluator(Smaller{a})));
        case 10:
            return addClosure(writingAtSome(static_cast<std::int32_t>(2 + _random() % 3)));
        default:
            return addClosure(readingAtSome(static_cast<std::int32_t>(2 + _random() % 3)));
        }
    }

    void addClosure(Evaluation evaluation)
    {
        add(1, std::move(evaluation), {1, 1});
        nodes.back().isKernel = false;
    }

    static Evaluation writingAtSome(std::int32_t every)
    {
        return [every](EvaluationContext& context) {
            if (context.sampleIndex % every == 0) {
                const double a = context.readInput(0)[0];
                context.writeOutput(a + context.readInput(1)[0], 0.5 * context.readCoordinates()[3]);
            }
        };
    }
    static Evaluation readingAtSome(std::int32_t every)
    {
        return [every](EvaluationContext& context) {
            const bool other = context.sampleIndex % every == 1 && context.sampleIndex < 700;
            const double* record = context.readInput(other ? 1 : 0);
            context.writeOutput(2 * record[0], record[1]);
        };
    }
};

inline std::shared_ptr<GridDomain> grid(int nx, int ny, int nz)
{
    Region<3, 3, double, 1> region({-1.5, -1.25, -1}, {1.5, 1.75, 2}, nx, ny, nz);
    region.origin = {0.125, -0.25, 0.0625};
    return std::make_shared<GridDomain>(region);
}

inline bool sameBits(const double* a, const double* b, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i) {
        if (std::bit_cast<std::uint64_t>(a[i]) != std::bit_cast<std::uint64_t>(b[i])) {
            return false;
        }
    }
    return true;
}
inline bool sameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    return a.size() == b.size() && sameBits(a.data(), b.data(), a.size());
}

/// Returns all records of a field over a domain, computed by the sampler.
inline std::vector<double> records(const IField& field,
                                   const std::shared_ptr<EvaluationDomain<3, double>>& domain,
                                   std::size_t threads = 1)
{
    FieldSampler sampler(field.generator(), domain);
    sampler.threadCount = threads;
    sampler.run();
    return sampler.targetNode.sampleBuffer->data;
}

} // namespace zrk::chains
