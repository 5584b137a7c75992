#pragma once

#include "core/engine/evaluation_node.h"
#include "core/values/tensor.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace zrk {

class BlockEngine;
class BlockSink;
class ProgressManager;

/// Walks one chain: the slots, and the sample that is being computed. Closures read their
/// inputs and write their record through it.
///
/// A context belongs to one thread. Contexts of one run share nothing but the buffers, in
/// which they write disjoint records.
template <class T>
class EvaluationContextT {
public:
    std::int32_t slotIndex = -1;         ///< index of the running slot
    EvaluationNode* node = nullptr;      ///< node of the running slot
    EvaluationSlot* slot = nullptr;      ///< the running slot
    std::vector<std::int32_t> slotStack; ///< running slots, innermost last
    std::int32_t sampleIndex = 0;
    std::vector<EvaluationSlot> slots; ///< the chain, upstream first

    explicit EvaluationContextT(std::vector<EvaluationSlot> chain);
    ~EvaluationContextT();
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

    /// Fills the buffers of all pending slots for the samples first to last, both included.
    void run(std::int32_t first, std::int32_t last);
    /// The same with reports in about a hundred steps; returns early when it is interrupted,
    /// and then the buffer is partly filled. The range must not be empty.
    void run(std::int32_t first, std::int32_t last, ProgressManager& manager);

    /// Computes slot `target` for the samples first to last and hands the blocks to a sink,
    /// without a buffer. False when it was interrupted.
    bool sweep(std::size_t target, std::int32_t first, std::int32_t last, BlockSink& sink,
               ProgressManager* manager = nullptr);

    /// Record of a slot at the running sample.
    const T* readSlot(std::int32_t index);

private:
    std::unique_ptr<BlockEngine> _blocks;

    BlockEngine& _engine();
    void beginRun();
    void _finishOutput(std::size_t recordLength);
    bool _fill(std::size_t target, std::int32_t first, std::int32_t last, ProgressManager* manager);
};

extern template class EvaluationContextT<double>;

} // namespace zrk
