#pragma once

#include "frame/engine/formula.h"

namespace zrk {

/// A kernel from a formula of the positions that its node is asked at, for components that read them
/// without a pin. The formula takes a Tensor<3, V> and returns a V or a Tensor<N, V>; the weight is the
/// position's.
template <class F>
class PositionFormulaKernel final : public Kernel {
    using Result = typename formula_detail::CallOf<F, Batch>::Result;
    static constexpr std::uint32_t kShape = formula_detail::Form<Batch, Result>::shape;

public:
    explicit PositionFormulaKernel(F formula) : _formula(std::move(formula)) {}

    KernelReads reads() const override { return {0, true}; }

    void sample(EvaluationContext& context) const override
    {
        const double* p = context.readCoordinates();
        const Result result = _formula(Tensor<3, Batch>{p[0], p[1], p[2]});
        Tensor<kShape, double> value;
        formula_detail::storeResult<Batch>(result,
                                           [&](std::size_t c, const Batch& v) { value[c] = v.lane(0); });
        context.writeOutput(value, p[3]);
    }

    void block(BlockRun& run) const override
    {
        const Block& positions = run.coordinates();
        double* out[kShape];
        for (std::size_t c = 0; c < kShape; ++c) {
            out[c] = run.output(c);
        }
        run.forwardWeights(positions);
        // A copy of its own, which the rows written below can't alias.
        const F formula = _formula;
        const double* const rows[3] = {positions.row(0), positions.row(1), positions.row(2)};
        for (std::size_t i = 0; i < run.sampleCount(); i += Batch::size) {
            const Result result =
                formula(Tensor<3, Batch>{Batch::loadAligned(rows[0] + i), Batch::loadAligned(rows[1] + i),
                                         Batch::loadAligned(rows[2] + i)});
            formula_detail::storeResult<Batch>(
                result, [&](std::size_t c, const Batch& v) { v.storeAligned(out[c] + i); });
        }
    }

    bool bounds(const BoundsRun& run) const override
    {
        const IntervalRecord& positions = run.coordinates();
        const auto& box = positions.components;
        IntervalRecord& out = run.output();
        formula_detail::storeResult<Interval<double>>(
            _formula(Tensor<3, Interval<double>>{box[0], box[1], box[2]}),
            [&](std::size_t c, const Interval<double>& v) { out.components[c] = v; });
        out.weight = positions.weight;
        return true;
    }

private:
    F _formula;
};

/// The evaluator of a formula of the positions; the formula is taken by value.
template <class F>
Evaluation positionEvaluator(F formula)
{
    return Evaluator(std::make_shared<PositionFormulaKernel<F>>(std::move(formula)));
}

} // namespace zrk
