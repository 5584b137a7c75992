#include "components/pending.h"

#include "core/engine/evaluation_context.h"
#include "core/engine/evaluator_builder.h"
#include "core/engine/prepared_field.h"
#include "core/engine/progress.h"
#include "core/values/fault.h"

namespace zrkmodel {

namespace {

using KernelPointer = std::shared_ptr<const zrk::Kernel>;

class PendingKernel final : public zrk::Kernel {
public:
    PendingKernel(std::function<zrk::Evaluation()> make, const zrk::Kernel& standIn)
        : _kernel([make = std::move(make)](zrk::ProgressMonitor*) { return recognisedKernel(make()); }),
          _reads(standIn.reads()),
          _runsAsLoops(standIn.runsAsLoops())
    {}

    void sample(zrk::EvaluationContext& context) const override { _kernel.get()->sample(context); }
    void block(zrk::BlockRun& run) const override { _kernel.get()->block(run); }
    bool bounds(zrk::BoxRun& run) const override { return _kernel.get()->bounds(run); }
    zrk::KernelReads reads() const override { return _reads; }
    bool runsAsLoops() const override { return _runsAsLoops; }

private:
    Pending<KernelPointer> _kernel;
    zrk::KernelReads _reads;
    bool _runsAsLoops;
};

/// A chain that was built already, asked at the positions of another one.
class PreparedKernel final : public zrk::Kernel {
public:
    explicit PreparedKernel(zrk::PreparedField field) : _field(std::move(field)) {}

    zrk::KernelReads reads() const override { return {0, true}; }
    void sample(zrk::EvaluationContext& context) const override
    {
        const double* p = context.readCoordinates();
        double value = 0.0;
        _field.evaluate({p, p + 1, p + 2, 1}, &value);
        context.writeOutput(value, p[3]);
    }
    void block(zrk::BlockRun& run) const override
    {
        const zrk::Block& p = run.coordinates();
        _field.evaluate({p.row(0), p.row(1), p.row(2), run.sampleCount()}, run.output(0));
        run.forwardWeights(p);
    }

private:
    zrk::PreparedField _field;
};

class FixedField final : public zrk::FieldGenerator<1, 3> {
public:
    explicit FixedField(const zrk::IField& field)
        : _evaluation(zrk::Evaluator(std::make_shared<PreparedKernel>(zrk::PreparedField(field))))
    {}

    void build(zrk::EvaluatorBuilder<double>& builder) override { builder.setEvaluator(_evaluation); }
    const zrk::FieldTypeDescriptor& descriptor() const override
    {
        static const zrk::FieldTypeDescriptor descriptor{1, 3, "fixed field", {}};
        return descriptor;
    }

private:
    zrk::Evaluation _evaluation;
};

} // namespace

zrk::Evaluation pendingEvaluator(std::function<zrk::Evaluation()> make, const zrk::Evaluation& standIn)
{
    return zrk::Evaluator(std::make_shared<PendingKernel>(std::move(make), *recognisedKernel(standIn)));
}

zrk::IField fixedField(const zrk::IField& field) { return zrk::IField(std::make_shared<FixedField>(field)); }

void stopIfInterrupted(zrk::ProgressMonitor* monitor, const char* place)
{
    if (monitor && monitor->interruptRequested()) {
        monitor->interruptAcknowledged();
        throw zrk::FaultError(zrk::interruptedAt(place));
    }
}

} // namespace zrkmodel
