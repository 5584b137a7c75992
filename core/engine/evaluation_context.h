#pragma once

#include "core/engine/evaluation_node.h"
#include "core/values/export.h"
#include "core/values/tensor.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace zrk {

class ProgressManager;

/// Answers what closures read while their chain is computed by blocks.
class ZRK_API RecordSource {
public:
    /// Record of a slot at the context's running sample, valid until the next read.
    virtual const double* readRecord(std::size_t slot) = 0;

protected:
    ~RecordSource() = default;
};

/// One worker's view of a chain: its slots, and the sample that is being computed. Closures read their
/// inputs and write their record through it.
///
/// A context belongs to one thread. Contexts of one run share nothing but the buffers, in which they write
/// disjoint records.
template <class T>
class ZRK_API EvaluationContextT {
public:
    std::int32_t slotIndex = -1;         ///< index of the running slot
    EvaluationNode* node = nullptr;      ///< node of the running slot
    EvaluationSlot* slot = nullptr;      ///< the running slot
    std::vector<std::int32_t> slotStack; ///< running slots, innermost last
    std::int32_t sampleIndex = 0;
    std::vector<EvaluationSlot> slots; ///< the chain, upstream first

    explicit EvaluationContextT(std::vector<EvaluationSlot> chain);
    EvaluationContextT(const EvaluationContextT&) = delete;
    EvaluationContextT& operator=(const EvaluationContextT&) = delete;

    /// Record of input pin k at the running sample: its components, then its weight.
    /// Valid until the next read. Computes the upstream node when it has to.
    const T* readInput(std::size_t k) { return readSlot(node->inputs[k]->slotIndex); }
    /// Record (x, y, z, 1) of the position that the running node is asked at.
    const T* readCoordinates() { return readSlot(node->coordinates->slotIndex); }

    /// Writes the running node's record, into the slot and into its buffer.
    template <std::uint32_t N>
    void writeOutput(const Tensor<N, T>& components, T weight)
    {
        std::copy(components.begin(), components.end(), slot->value);
        slot->value[Tensor<N, T>::count] = weight;
        _finishOutput(Tensor<N, T>::count + 1);
    }
    void writeOutput(T component, T weight) { writeOutput(Tensor<1, T>{component}, weight); }

    void pushSlot(std::int32_t index);
    void popSlot();

    /// The bulk pass: fills the buffers of all pending slots, in ascending order of slots, for the samples
    /// first to last, both included. It plans anew each time, as the slots are open to everyone.
    void run(std::int32_t first, std::int32_t last);

    /// The bulk pass in about a hundred chunks a slot: before each it asks the manager whether to stop, and
    /// after each it reports its samples. When it is stopped, the buffer stays partly filled, the slot
    /// pending and on the stack. Returns whether all samples were computed. The range must not be empty.
    bool run(std::int32_t first, std::int32_t last, ProgressManager& manager);

    /// The bulk pass, which asks the manager once a block whether to stop and reports nothing. Returns
    /// whether all samples were computed; a slot that wasn't filled stays pending.
    bool runUntilInterrupted(std::int32_t first, std::int32_t last, ProgressManager& manager);

    /// Record of a slot at the running sample.
    const T* readSlot(std::int32_t index);

    /// While there is one, it answers all reads that neither a buffer nor the slot's own record answers.
    /// Returns the one before.
    RecordSource* setRecordSource(RecordSource* source) { return std::exchange(_source, source); }

private:
    RecordSource* _source = nullptr;

    void _finishOutput(std::size_t recordLength);
    bool _runSilently(std::int32_t first, std::int32_t last, ProgressManager* manager);
};

extern template class EvaluationContextT<double>;

} // namespace zrk
