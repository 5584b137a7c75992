#include "core/engine/field_generator.h"

#include "core/engine/evaluation_context.h"
#include "core/engine/evaluator_builder.h"

namespace zrk {

namespace {

/// The positions as they come.
class PassThroughKernel final : public Kernel {
public:
    void sample(EvaluationContext& context) const override
    {
        const double* p = context.readCoordinates();
        context.writeOutput(Tensor<3, double>{p[0], p[1], p[2]}, p[3]);
    }
    void block(BlockRun& run) const override { run.forward(run.coordinates()); }
    bool runsAsLoops() const override { return true; }
    bool bounds(BoxRun& run) const override
    {
        run.forward(run.coordinates());
        return true;
    }
    KernelReads reads() const override { return {0, true}; }
};

class SolidKernel final : public Kernel {
public:
    explicit SolidKernel(double value) : _value(value) {}

    void sample(EvaluationContext& context) const override
    {
        const double weight = context.readCoordinates()[3];
        context.writeOutput(_value, weight);
    }
    void block(BlockRun& run) const override
    {
        run.outputConstant(0, _value);
        run.forwardWeights(run.coordinates());
    }
    bool runsAsLoops() const override { return true; }
    bool bounds(BoxRun& run) const override
    {
        run.outputEverywhere(0, _value);
        run.forwardWeights(run.coordinates());
        return true;
    }
    KernelReads reads() const override { return {0, true}; }

private:
    double _value;
};

/// Writes nothing, in every form.
class DoNothingKernel final : public Kernel {
public:
    void sample(EvaluationContext&) const override {}
    void block(BlockRun&) const override {}
    bool bounds(BoxRun&) const override { return true; }
    KernelReads reads() const override { return {0, false}; }
};

} // namespace

const Evaluation& doNothing()
{
    static const Evaluation evaluation = Evaluator(std::make_shared<DoNothingKernel>());
    return evaluation;
}

const Evaluation& passThrough()
{
    static const Evaluation evaluation = Evaluator(std::make_shared<PassThroughKernel>());
    return evaluation;
}

void IFieldGenerator::build(EvaluatorBuilder<double>&) {}

std::shared_ptr<IFieldGenerator> IFieldGenerator::clone(bool deep) const
{
    std::shared_ptr<IFieldGenerator> copy = descriptor().factory();
    for (const auto& [name, property] : properties.all()) {
        if (FieldPropertyBase* twin = copy->properties.find(name)) {
            twin->assign(property, deep);
        }
    }
    return copy;
}

void PassThroughField<3>::build(EvaluatorBuilder<double>& builder) { builder.setEvaluator(passThrough()); }

const FieldTypeDescriptor& PassThroughField<3>::descriptor() const
{
    static const FieldTypeDescriptor descriptor{3, 3, "pass through",
                                                [] { return std::make_shared<PassThroughField<3>>(); }};
    return descriptor;
}

void SolidField<1, 3>::build(EvaluatorBuilder<double>& builder)
{
    builder.setEvaluator(Evaluator(std::make_shared<SolidKernel>(fillValue.get()[0])));
}

const FieldTypeDescriptor& SolidField<1, 3>::descriptor() const
{
    static const FieldTypeDescriptor descriptor{1, 3, "solid",
                                                [] { return std::make_shared<SolidField<1, 3>>(); }};
    return descriptor;
}

} // namespace zrk
