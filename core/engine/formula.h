#pragma once

#include "core/engine/evaluation_context.h"
#include "core/engine/kernel.h"
#include "core/engine/row_steps.h"
#include "core/values/batch.h"
#include "core/values/interval_batch.h"
#include "core/values/tensor.h"

#include <array>
#include <cstddef>
#include <memory>
#include <tuple>
#include <type_traits>
#include <utility>

namespace zrk {
inline namespace ZRK_LANES {

static_assert(kMaxBoxes % Batch::size == 0);

/// The bounds of the boxes from `first` on, a multiple of `Batch::size`.
inline IntervalBatch loadBounds(const IntervalRow& row, std::size_t first)
{
    return IntervalBatch::ordered(Batch::loadAligned(row.lower + first),
                                  Batch::loadAligned(row.upper + first));
}
inline void storeBounds(const IntervalBatch& bounds, IntervalRow& row, std::size_t first)
{
    bounds.lower.storeAligned(row.lower + first);
    bounds.upper.storeAligned(row.upper + first);
}

/// A value with its weight, for formulas that look at weights or write them.
template <std::uint32_t N, class V>
struct Record {
    Tensor<N, V> value;
    V weight;
};

namespace formula_detail {

/// How an argument or a result of a formula stands in a record.
template <class V, class A>
struct Form;

template <class V>
struct Form<V, V> {
    static constexpr std::uint32_t shape = 1;
    static constexpr bool hasWeight = false;
};
template <class V, std::uint32_t N>
struct Form<V, Tensor<N, V>> {
    static constexpr std::uint32_t shape = N;
    static constexpr bool hasWeight = false;
};
template <class V, std::uint32_t N>
struct Form<V, Record<N, V>> {
    static constexpr std::uint32_t shape = N;
    static constexpr bool hasWeight = true;
};

/// Fills an argument from load(component); the weight is the component after the last.
template <class A, class V, class Load>
[[gnu::always_inline]] inline A makeArgument(Load load)
{
    if constexpr (std::is_same_v<A, V>) {
        return load(0);
    } else {
        A argument;
        if constexpr (Form<V, A>::hasWeight) {
            for (std::size_t c = 0; c < argument.value.count; ++c) {
                argument.value[c] = load(c);
            }
            argument.weight = load(argument.value.count);
        } else {
            for (std::size_t c = 0; c < A::count; ++c) {
                argument[c] = load(c);
            }
        }
        return argument;
    }
}

/// Hands the components of a result to store(component, value), the weight not included.
template <class V, class R, class Store>
void storeResult(const R& result, Store store)
{
    if constexpr (std::is_same_v<R, V>) {
        store(0, result);
    } else if constexpr (Form<V, R>::hasWeight) {
        for (std::size_t c = 0; c < result.value.count; ++c) {
            store(c, result.value[c]);
        }
    } else {
        for (std::size_t c = 0; c < R::count; ++c) {
            store(c, result[c]);
        }
    }
}

template <class V, class Signature>
struct Call;

/// A formula's call operator, taken apart.
template <class V, class F, class R, class... A>
struct Call<V, R (F::*)(A...) const> {
    using Result = R;
    using ResultForm = Form<V, R>;
    static constexpr std::size_t arity = sizeof...(A);
    using Indices = std::index_sequence_for<A...>;
    template <std::size_t K>
    using Argument = std::remove_cvref_t<std::tuple_element_t<K, std::tuple<A...>>>;

    /// Calls the formula with arguments from load(input, component).
    template <class Load>
    [[gnu::always_inline]] static R call(const F& formula, Load load)
    {
        return callWith(formula, load, Indices{});
    }

private:
    template <class Load, std::size_t... K>
    [[gnu::always_inline]] static R callWith(const F& formula, Load& load, std::index_sequence<K...>)
    {
        return formula(makeArgument<Argument<K>, V>([&](std::size_t c) { return load(K, c); })...);
    }
};

template <class F, class V>
concept RunsOver = requires
{
    &F::template operator()<V>;
};

template <class F, class V>
using CallOf = Call<V, decltype(&F::template operator()<V>)>;

template <class F>
concept Chooses = requires
{
    requires F::kChooses;
};

template <class F>
concept KeepsUnitWeight = requires
{
    requires F::kKeepsUnitWeight;
};

} // namespace formula_detail

/// Where a formula's arguments come from: the node's input pins, in order.
struct FromInputs {
    static constexpr KernelReads reads(std::size_t arity) { return {arity, false}; }
    static const double* record(EvaluationContext& context, std::size_t k) { return context.readInput(k); }
    static const Block& block(BlockRun& run, std::size_t k) { return run.input(k); }
    static const BoxBounds& bounds(const BoxRun& run, std::size_t k) { return run.input(k); }
    static constexpr std::size_t input(std::size_t k) { return k; }
};

/// The one argument is the position that the node is asked at: for a node without input pins.
struct FromCoordinates {
    static constexpr KernelReads reads(std::size_t) { return {0, true}; }
    static const double* record(EvaluationContext& context, std::size_t) { return context.readCoordinates(); }
    static const Block& block(BlockRun& run, std::size_t) { return run.coordinates(); }
    static const BoxBounds& bounds(const BoxRun& run, std::size_t) { return run.coordinates(); }
};

/// Two input pins, of which the second is read first, and then the position, which no argument takes. The
/// formula's first argument is the second pin.
struct FromSecondInputFirst {
    static constexpr KernelReads reads(std::size_t) { return {2, true, ReadOrder::lastInputFirst}; }
    static const double* record(EvaluationContext& context, std::size_t k)
    {
        return context.readInput(1 - k);
    }
    static const Block& block(BlockRun& run, std::size_t k) { return run.input(1 - k); }
    static const BoxBounds& bounds(const BoxRun& run, std::size_t k) { return run.input(1 - k); }
    static constexpr std::size_t input(std::size_t k) { return 1 - k; }
    static void readTheRest(EvaluationContext& context) { context.readCoordinates(); }
};

/// A kernel from a formula: a struct whose call operator is a template over the value type V
/// and takes, for each input pin it reads, a V, a Tensor<N, V> or a Record<N, V>. It returns one of these;
/// without a weight in the result, the weight of the first input is handed on.
///
/// A formula that returns a Record may state `static constexpr bool kKeepsUnitWeight = true`:
/// where all weights it reads are 1, the weight it returns is 1. Then it may also have
/// `RowOperation rowOperation() const`: what it computes from the scalars of its two inputs, if all weights
/// are 1.
///
/// A formula whose result may be one of its arguments may state `static constexpr bool kChooses = true`. It
/// then has `std::array<BatchMask, n> choices(a, b, ...) const` over the same n arguments as records of
/// IntervalBatch: in which boxes the result surely is the record of argument k, weight included and to the
/// bit, so that the others needn't be computed there.
template <class F, class Arguments = FromInputs>
class FormulaKernel final : public Kernel {
    using BatchCall = formula_detail::CallOf<F, Batch>;
    static constexpr std::size_t kArity = BatchCall::arity;
    static constexpr bool kWritesWeight = BatchCall::ResultForm::hasWeight;
    static constexpr std::uint32_t kShape = BatchCall::ResultForm::shape;
    static_assert(kArity > 0, "a formula reads at least one input");
    static_assert(kArity <= RowLoop::kInputs, "a loop has rows for so many inputs");
    static_assert(kShape < RowLoop::kRowsAnInput, "formulas are over vectors of up to 4 components");

public:
    explicit FormulaKernel(F formula) : _formula(std::move(formula)) {}

    KernelReads reads() const override { return Arguments::reads(kArity); }
    bool runsAsLoops() const override { return true; }
    RowOperation operation() const override
    {
        if constexpr (formula_detail::Chooses<F> && requires { _formula.rowOperation(); }) {
            return _formula.rowOperation();
        } else {
            return RowOperation::None;
        }
    }

    void sample(EvaluationContext& context) const override
    {
        // Copied, as a record may be gone after the next read.
        double records[kArity][kMaxRecord];
        readRecords(context, records, typename BatchCall::Indices{});
        if constexpr (requires { Arguments::readTheRest(context); }) {
            Arguments::readTheRest(context);
        }
        const auto result =
            BatchCall::call(_formula, [&](std::size_t k, std::size_t c) { return Batch(records[k][c]); });
        Tensor<BatchCall::ResultForm::shape, double> value;
        formula_detail::storeResult<Batch>(result,
                                           [&](std::size_t c, const Batch& v) { value[c] = v.lane(0); });
        if constexpr (kWritesWeight) {
            context.writeOutput(value, result.weight.lane(0));
        } else {
            context.writeOutput(value, records[0][inputCount<0>()]);
        }
    }

    void block(BlockRun& run) const override { blockOver(run, typename BatchCall::Indices{}); }

    bool bounds(BoxRun& run) const override
    {
        if constexpr (formula_detail::RunsOver<F, IntervalBatch>) {
            boundsOver(run, typename BatchCall::Indices{});
            return true;
        } else {
            return false;
        }
    }

private:
    F _formula;

    template <std::size_t K>
    static constexpr std::size_t inputCount()
    {
        return componentCount(formula_detail::Form<Batch, typename BatchCall::template Argument<K>>::shape);
    }

    template <std::size_t... K>
    static void readRecords(EvaluationContext& context, double (&records)[kArity][kMaxRecord],
                            std::index_sequence<K...>)
    {
        ((std::copy_n(Arguments::record(context, K), inputCount<K>() + 1, records[K])), ...);
    }

    /// Rows of an input: its components, then its weights.
    template <std::size_t K>
    static void inputRows(const Block& block, RowLoop& loop)
    {
        constexpr std::size_t n = inputCount<K>();
        const double** rows = &loop.reads[K * RowLoop::kRowsAnInput];
        for (std::size_t c = 0; c < n; ++c) {
            rows[c] = block.row(c);
        }
        if constexpr (formula_detail::Form<Batch, typename BatchCall::template Argument<K>>::hasWeight) {
            rows[n] = block.weights();
        }
    }

    /// Rows of the bounds of an input: its components, then its weights.
    template <std::size_t K>
    static void boundsRows(const BoxBounds& bounds, const IntervalRow** rows)
    {
        constexpr std::size_t n = inputCount<K>();
        for (std::size_t c = 0; c < n; ++c) {
            rows[c] = &bounds.row(c);
        }
        rows[n] = &bounds.weights();
    }

    template <std::size_t... K>
    void boundsOver(BoxRun& run, std::index_sequence<K...>) const
    {
        using IntervalCall = formula_detail::CallOf<F, IntervalBatch>;
        const IntervalRow* reads[kArity][RowLoop::kRowsAnInput];
        (boundsRows<K>(Arguments::bounds(run, K), reads[K]), ...);
        IntervalRow* writes[kShape + 1] = {};
        for (std::size_t c = 0; c < kShape; ++c) {
            writes[c] = &run.output(c);
        }
        const bool writesWeight = kWritesWeight && !(formula_detail::KeepsUnitWeight<F> &&
                                                     (Arguments::bounds(run, K).hasUnitWeight() && ...));
        if constexpr (!kWritesWeight) {
            run.forwardWeights(Arguments::bounds(run, 0));
        } else if (writesWeight) {
            writes[kShape] = &run.outputWeights();
        }
        for (std::size_t i = 0; i < run.boxCount(); i += Batch::size) {
            const auto load = [&](std::size_t k, std::size_t c) { return loadBounds(*reads[k][c], i); };
            const auto result = IntervalCall::call(_formula, load);
            formula_detail::storeResult<IntervalBatch>(
                result, [&](std::size_t c, const IntervalBatch& v) { storeBounds(v, *writes[c], i); });
            if constexpr (kWritesWeight) {
                if (writesWeight) {
                    storeBounds(result.weight, *writes[kShape], i);
                }
            }
            if constexpr (formula_detail::Chooses<F>) {
                if (run.wantsChoices()) {
                    const auto choices = _formula.choices(
                        formula_detail::makeArgument<typename IntervalCall::template Argument<K>,
                                                     IntervalBatch>(
                            [&](std::size_t c) { return load(K, c); })...);
                    (run.choose(i, Arguments::input(K), bitsOf(choices[K])), ...);
                }
            }
        }
    }

    /// Whether the weights written are known to be 1.
    template <std::size_t... K>
    static bool keepsUnitWeight(BlockRun& run)
    {
        if constexpr (formula_detail::KeepsUnitWeight<F>) {
            return (Arguments::block(run, K).hasUnitWeight() && ...);
        } else {
            return false;
        }
    }

    template <std::size_t... K>
    void blockOver(BlockRun& run, std::index_sequence<K...>) const
    {
        RowLoop& loop = run.addLoop();
        loop.kernel = this;
        (inputRows<K>(Arguments::block(run, K), loop), ...);
        for (std::size_t c = 0; c < kShape; ++c) {
            loop.writes[c] = run.output(c);
        }
        if constexpr (!kWritesWeight) {
            run.forwardWeights(Arguments::block(run, 0));
            setLoop<false, K...>(loop);
        } else if (keepsUnitWeight<K...>(run)) {
            setLoop<true, K...>(loop);
        } else {
            loop.writes[kShape] = run.outputWeights();
            loop.run = runLoop<false, K...>;
        }
    }

    /// A loop that writes no weights.
    template <bool kUnitWeights, std::size_t... K>
    void setLoop(RowLoop& loop) const
    {
        loop.run = runLoop<kUnitWeights, K...>;
        if constexpr (kShape == 1) {
            loop.runWithSteps = runLoopWithSteps<kUnitWeights, K...>;
        }
        if constexpr (requires { _formula.rowOperation(); }) {
            loop.operation = _formula.rowOperation();
        }
    }

    /// The formula over rows. With weights known to be 1 the compiler leaves out what they would decide.
    template <bool kUnitWeights, std::size_t... K>
    struct Rows {
        // Copies of its own, which the rows written can't alias.
        std::conditional_t<std::is_trivially_copyable_v<F>, const F, const F&> formula;
        const double* reads[kArity * RowLoop::kRowsAnInput];

        [[gnu::always_inline]] explicit Rows(const RowLoop& loop)
            : Rows(loop, std::make_index_sequence<kArity * RowLoop::kRowsAnInput>{})
        {}
        template <std::size_t... R>
        [[gnu::always_inline]] Rows(const RowLoop& loop, std::index_sequence<R...>)
            : formula(static_cast<const FormulaKernel*>(loop.kernel)->_formula), reads{loop.reads[R]...}
        {}
        [[gnu::always_inline]] auto operator()(std::size_t i) const
        {
            constexpr std::size_t kWeight[] = {inputCount<K>()...};
            return BatchCall::call(formula, [&](std::size_t k, std::size_t c) {
                return kUnitWeights && c == kWeight[k]
                           ? Batch(1.0)
                           : Batch::loadAligned(reads[k * RowLoop::kRowsAnInput + c] + i);
            });
        }
    };

    template <bool kUnitWeights, std::size_t... K>
    static void runLoop(const RowLoop& loop, std::size_t first, std::size_t end)
    {
        const Rows<kUnitWeights, K...> rows(loop);
        const auto writes = loop.writes;
        for (std::size_t i = first; i < end; i += Batch::size) {
            const auto result = rows(i);
            formula_detail::storeResult<Batch>(
                result, [&](std::size_t c, const Batch& v) { v.storeAligned(writes[c] + i); });
            if constexpr (kWritesWeight && !kUnitWeights) {
                result.weight.storeAligned(writes[kShape] + i);
            }
        }
    }

    template <bool kUnitWeights, std::size_t... K>
    static void runLoopWithSteps(const RowLoop& loop, std::size_t first, std::size_t end)
    {
        const Rows<kUnitWeights, K...> rows(loop);
        for (std::size_t i = first; i < end; i += kStepVectors * Batch::size) {
            Batch results[kStepVectors];
#pragma GCC unroll 4
            for (std::size_t v = 0; v < kStepVectors; ++v) {
                formula_detail::storeResult<Batch>(
                    rows(i + v * Batch::size),
                    [&](std::size_t, const Batch& result) { results[v] = result; });
            }
            for (std::size_t s = 0; s < loop.stepCount; ++s) {
                applyStep(loop.steps[s], i, results);
            }
#pragma GCC unroll 4
            for (std::size_t v = 0; v < kStepVectors; ++v) {
                results[v].storeAligned(loop.writes[0] + i + v * Batch::size);
            }
        }
    }
};

/// The evaluator of a formula; the formula is taken by value and outlives later edits.
template <class Arguments = FromInputs, class F>
Evaluation evaluator(F formula)
{
    return Evaluator(std::make_shared<FormulaKernel<F, Arguments>>(std::move(formula)));
}

/// The evaluator of a formula of the position itself, for a component without input pins.
template <class F>
Evaluation positionEvaluator(F formula)
{
    static_assert(formula_detail::CallOf<F, Batch>::arity == 1, "a formula of one position");
    return evaluator<FromCoordinates>(std::move(formula));
}

} // namespace ZRK_LANES
} // namespace zrk
