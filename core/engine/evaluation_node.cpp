#include "core/engine/evaluation_node.h"

#include "core/engine/field_generator.h"

#include <algorithm>
#include <utility>

namespace zrk {

namespace {

/// Releases nodes from a list instead of one inside the other, so that a long chain
/// doesn't need a deep stack.
void releaseChain(std::vector<std::shared_ptr<EvaluationNode>> nodes)
{
    while (!nodes.empty()) {
        const std::shared_ptr<EvaluationNode> node = std::move(nodes.back());
        nodes.pop_back();
        if (node && node.use_count() == 1) {
            for (auto& input : node->inputs) {
                nodes.push_back(std::move(input));
            }
            node->inputs.clear();
        }
    }
}

} // namespace

EvaluationNode::~EvaluationNode() { releaseChain(std::move(inputs)); }

void EvaluationNode::reset(std::uint32_t shape, EvaluationNode* coordinatesNode)
{
    releaseChain(std::move(inputs));
    inputs.clear();
    coordinates = coordinatesNode;
    buffered = false;
    sampleBuffer.reset();
    dirty = true;
    outputShape = shape;
    slotIndex = -1;
    evaluator = doNothing();
    generator.reset();
    constant = false;
    constantValue = SampleBufferData<double>(shape);
    constantValue.resize(1);
    positions = nullptr;
}

void EvaluationNode::enableBuffer()
{
    buffered = true;
    if (!sampleBuffer) {
        sampleBuffer = std::make_shared<SampleBufferData<double>>(outputShape);
    }
}

bool fixForRun(std::vector<EvaluationSlot>& slots)
{
    bool isAny = false;
    for (EvaluationSlot& slot : slots) {
        const std::shared_ptr<const Kernel> kernel = recognisedKernel(slot.evaluator);
        if (std::shared_ptr<const Kernel> fixed = kernel ? kernel->forRun() : nullptr) {
            slot.evaluator = Evaluator(std::move(fixed));
            isAny = true;
        }
    }
    return isAny;
}

EvaluationSlot::EvaluationSlot(EvaluationNode& from)
    : pending(from.dirty),
      evaluator(from.evaluator),
      node(&from),
      buffer(from.sampleBuffer.get()),
      positions(from.positions)
{
    if (from.constant) {
        const auto& data = from.constantValue.data;
        std::copy_n(data.begin(), std::min(data.size(), kMaxRecord), value);
    }
}

} // namespace zrk
