#include "core/engine/kernel_slot.h"

namespace zrk {

namespace {

class SlotKernel final : public Kernel {
public:
    explicit SlotKernel(std::shared_ptr<const KernelSlot> slot) : _slot(std::move(slot)) {}

    void sample(EvaluationContext& context) const override { _slot->kernel()->sample(context); }
    void block(BlockRun& run) const override { _slot->kernel()->block(run); }
    bool bounds(BoxRun& run) const override { return _slot->kernel()->bounds(run); }
    KernelReads reads() const override { return _slot->kernel()->reads(); }
    std::shared_ptr<const Kernel> forRun() const override { return _slot->kernel(); }

private:
    std::shared_ptr<const KernelSlot> _slot;
};

} // namespace

Evaluation slotEvaluator(std::shared_ptr<const KernelSlot> slot)
{
    return Evaluator(std::make_shared<SlotKernel>(std::move(slot)));
}

} // namespace zrk
