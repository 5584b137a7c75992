#pragma once

#include "core/engine/evaluation_node.h"
#include "core/engine/kernel.h"
#include "core/values/export.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace zrk {

/// What is known of the slots of a plan at the positions of a part of space.
class ZRK_API SlotDecisions {
public:
    /// The slot that has the same record as this one, to the bit: one upstream of it, or itself.
    virtual std::size_t resolved(std::size_t slot) const = 0;
    /// Whether the slot has the same record at all positions. If so, `record` is that: the components and
    /// the weight.
    virtual bool isConstant(std::size_t slot, std::vector<double>& record) const = 0;

protected:
    ~SlotDecisions() = default;
};

/// How one slot of a chain, the target, is computed: which slots it needs, in which order, and when their
/// rows can be given back. Slots that nobody reads aren't part of it.
///
/// A plan is made once from a chain and a target and never changes. Runners on any number of threads share
/// it, those that compute blocks of samples (`BlockRunner`) and those that compute bounds (`BoundsRunner`).
/// It keeps the kernels alive, but not the chain's nodes.
class ZRK_API BlockPlan {
public:
    /// Where the values of a slot come from.
    enum class Source : std::uint8_t {
        Kernel,    ///< its kernel computes them block by block
        Lanes,     ///< sample by sample: a foreign closure, or a kernel between two of them
        Constant,  ///< the node is constant
        Buffer,    ///< the slot has a full buffer
        Positions, ///< the domain
    };

    /// One slot.
    struct Step {
        Source source = Source::Kernel;
        std::shared_ptr<const Kernel> kernel; ///< null for closures and where nothing is computed
        std::size_t componentCount = 0;
        std::vector<std::size_t> reads;         ///< slots that the kernel reads, in its own order
        std::vector<std::size_t> inputs;        ///< those of the input pins, by pin
        std::optional<std::size_t> positions{}; ///< the slot of the positions, if the kernel reads them
        std::vector<std::size_t> lastReads;     ///< slots that no later kernel reads, so their rows can go
        std::vector<double> record; ///< of a constant, where it isn't the record that the slot holds
        RowOperation operation = RowOperation::None; ///< of the kernel
        bool isPlanned = false;                      ///< needed at every sample of a block
        bool isHeld = false; ///< keeps its rows until the block ends, since a closure may ask for them

        /// Whether it is the lesser or the greater of its two inputs.
        bool isExtreme() const
        {
            return operation == RowOperation::Minimum || operation == RowOperation::Maximum;
        }
        bool runsAsLoops() const { return source == Source::Kernel && kernel->runsAsLoops(); }
    };

    BlockPlan(std::span<const EvaluationSlot> slots, std::size_t target);
    /// The part of a plan that remains where some slots are decided: it gives the same bits there. Its target
    /// may be another slot.
    /// Precondition: the plan has no lanes.
    BlockPlan(const BlockPlan& whole, const SlotDecisions& decisions);

    std::size_t target() const { return _target; }
    /// Number of slots of the chain, those included that aren't part of the plan.
    std::size_t slotCount() const { return _slotCount; }
    /// The slots that are part of the plan.
    std::span<const std::size_t> slots() const { return _slots; }
    /// Precondition: the slot is part of the plan.
    const Step& step(std::size_t slot) const { return _steps[_places.empty() ? slot : _places[slot]]; }

    /// Slots to compute as blocks: first those that read nothing, then kernels, upstream first.
    std::span<const std::size_t> order() const { return _order; }
    /// The beginning of `order()` up to the first kernel.
    std::span<const std::size_t> sources() const { return std::span(_order).first(_sourceCount); }
    /// Slots to run sample by sample before that, upstream first. Empty if the chain has no closure.
    std::span<const std::size_t> lanes() const { return _lanes; }
    /// Slots whose bounds the target's bounds need, upstream first, the target last.
    std::span<const std::size_t> boundsOrder() const { return _boundsOrder; }
    /// True if the loops of one block, once they are made, can be run again for other blocks.
    bool canRepeatLoops() const { return _canRepeatLoops; }

private:
    std::size_t _target;
    std::size_t _slotCount;
    std::vector<Step> _steps;
    std::vector<std::size_t> _slots;    ///< by step
    std::vector<std::uint32_t> _places; ///< of the slots in `_steps`; empty where each has its own number
    std::vector<std::size_t> _order;
    std::size_t _sourceCount = 0;
    std::vector<std::size_t> _lanes;
    std::vector<std::size_t> _boundsOrder;
    bool _canRepeatLoops = false;

    Step& step(std::size_t slot) { return _steps[_places.empty() ? slot : _places[slot]]; }
    void classify(const EvaluationSlot& slot, Step& step) const;
    std::vector<bool> holdWhatClosuresRead(std::span<const EvaluationSlot> slots);
    void runBetweenClosures(const std::vector<bool>& upstreamOfClosure);
    void makeOrder();
    void planReleases();
    template <class Expands>
    std::vector<std::size_t> upstreamFirst(Expands expands) const;
};

} // namespace zrk
