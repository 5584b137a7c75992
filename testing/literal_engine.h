#pragma once

#include "core/engine/evaluation_context.h"
#include "core/engine/field_sampler.h"
#include "core/engine/formula.h"

#include <memory>
#include <vector>

namespace zrk::literal {

/// Makes a field of one closure and its inputs, as a host would.
class NodeField final : public IFieldGenerator {
public:
    NodeField(std::uint32_t shape, Evaluation evaluation, std::vector<IField> inputs)
        : _descriptor{shape, 3, "node", {}}, _evaluation(std::move(evaluation)), _inputs(std::move(inputs))
    {}
    ~NodeField() override
    {
        // The inputs go one after the other, so that a long chain doesn't need a deep stack.
        while (!_inputs.empty()) {
            IField input = std::move(_inputs.back());
            _inputs.pop_back();
            if (auto* node = dynamic_cast<NodeField*>(input.generator().get());
                node && input.generator().use_count() == 1) {
                std::move(node->_inputs.begin(), node->_inputs.end(), std::back_inserter(_inputs));
                node->_inputs.clear();
            }
        }
    }

    void build(EvaluatorBuilder<double>& builder) override
    {
        builder.setEvaluator(_evaluation);
        for (const IField& input : _inputs) {
            builder.addInput(input);
        }
    }
    const FieldTypeDescriptor& descriptor() const override { return _descriptor; }

private:
    FieldTypeDescriptor _descriptor;
    Evaluation _evaluation;
    std::vector<IField> _inputs;
};

inline IField node(std::uint32_t shape, Evaluation evaluation, std::vector<IField> inputs)
{
    return IField(std::make_shared<NodeField>(shape, std::move(evaluation), std::move(inputs)));
}

inline IField position() { return IField(std::make_shared<PassThroughField<3>>()); }

/// Returns the closure of a formula as a person would write it: it computes one sample in plain doubles with
/// the C library's mathematics, and the engine doesn't recognise it.
template <class F>
Evaluation closure(F formula)
{
    using Call = formula_detail::CallOf<F, double>;
    return [formula](EvaluationContext& context) {
        double weight = 0;
        const auto result = Call::call(formula, [&](std::size_t k, std::size_t c) {
            const double* record = context.readInput(k);
            if (k == 0 && c == 0) {
                weight = record[context.node->inputs[0]->outputShape];
            }
            return record[c];
        });
        Tensor<Call::ResultForm::shape, double> value;
        formula_detail::storeResult<double>(result, [&](std::size_t c, double v) { value[c] = v; });
        if constexpr (Call::ResultForm::hasWeight) {
            weight = result.weight;
        }
        context.writeOutput(value, weight);
    };
}

/// Fills the pending buffers of a context sample by sample, without blocks: every closure is
/// called for every sample, memoised on the sample index.
inline void run(EvaluationContext& context, std::int32_t first, std::int32_t last)
{
    context.pushSlot(0);
    for (std::size_t i = 0; i < context.slots.size(); ++i) {
        EvaluationSlot& slot = context.slots[i];
        if (!slot.buffer || !slot.pending) {
            continue;
        }
        context.pushSlot(static_cast<std::int32_t>(i));
        for (context.sampleIndex = first; context.sampleIndex <= last; ++context.sampleIndex) {
            slot.evaluator(context);
        }
        slot.pending = false;
        context.popSlot();
    }
}

/// Does the same for the target of a prepared sampler.
inline void run(FieldSampler& sampler, std::int32_t first, std::int32_t last)
{
    EvaluationContext context(sampler.slots);
    run(context, first, last);
}

} // namespace zrk::literal
