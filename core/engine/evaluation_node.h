#pragma once

#include "core/engine/kernel.h"
#include "core/engine/sample_buffer.h"
#include "core/values/export.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace zrk {

class IFieldGenerator;
template <int N, class T>
class EvaluationDomain;

/// One pin of a chain, built once and kept between runs. Nodes are owned jointly by the
/// nodes that read them; a chain of any length is released without recursion.
struct ZRK_API EvaluationNode {
    std::vector<std::shared_ptr<EvaluationNode>> inputs; ///< nodes of the input pins, in pin order
    EvaluationNode* coordinates = nullptr; ///< supplies the positions; null on a coordinates node
    bool buffered = false;                 ///< keeps all records of a run in `sampleBuffer`
    std::shared_ptr<SampleBufferData<double>> sampleBuffer;
    bool dirty = true; ///< the records are stale
    std::uint32_t outputShape = 0;
    std::int32_t slotIndex = -1; ///< place in the chain, written by the builder
    Evaluation evaluator = doNothing();
    std::shared_ptr<IFieldGenerator> generator;
    bool constant = false; ///< the value never changes and is never computed
    SampleBufferData<double> constantValue;

    /// Where a coordinates node takes its positions from if it has no buffer; not owned.
    const EvaluationDomain<3, double>* positions = nullptr;

    EvaluationNode() = default;
    EvaluationNode(const EvaluationNode&) = delete;
    EvaluationNode& operator=(const EvaluationNode&) = delete;
    ~EvaluationNode();

    /// Back to a fresh node of the given shape under the given positions.
    void reset(std::uint32_t shape, EvaluationNode* coordinatesNode);
    /// Lets the node keep its records; makes the buffer when it is missing.
    void enableBuffer();
};

/// The run-time face of a node; every context owns its own array of them.
struct ZRK_API EvaluationSlot {
    bool pending = false; ///< the bulk pass must fill this slot's buffer
    Evaluation evaluator;
    EvaluationNode* node = nullptr;
    SampleBufferData<double>* buffer = nullptr; ///< the node's records, or null
    std::int32_t lastSample = -1;               ///< sample that `value` belongs to
    double value[kMaxRecord] = {};              ///< last computed record, or the constant

    /// Where this context takes the positions of a coordinates node from; the node's own at first.
    const EvaluationDomain<3, double>* positions = nullptr;

    explicit EvaluationSlot(EvaluationNode& node);
};

/// Puts in place of each kernel that may change between runs the one for the run that begins now.
/// @return whether there was any.
ZRK_API bool fixForRun(std::vector<EvaluationSlot>& slots);

} // namespace zrk
