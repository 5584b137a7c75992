#pragma once

#include "core/engine/block_sink.h"
#include "core/engine/bounds_runner.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/field_generator.h"
#include "core/values/export.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

namespace zrk {

/// Positions side by side: three arrays of equal length, in model units.
struct PositionArrays {
    const double* x;
    const double* y;
    const double* z;
    std::size_t count;
};

/// Where the records of samples go, an array for each component, each as long as the positions. Null for
/// what isn't wanted.
struct RecordArrays {
    std::array<double*, kMaxRecord - 1> components{};
    double* weights = nullptr;
};

/// A field whose chain is built once, to be evaluated at any positions and bounded over any boxes.
///
/// All calls are safe from many threads at once: each borrows a worker of its own and runs on the calling
/// thread. After the first calls nothing is allocated, unless a closure does. A sample has the same bits as
/// in a `FieldSampler`, wherever it stands among others.
///
/// A copy costs a shared pointer. What the field reads is kept alive: the graph or document that it came
/// from may be changed or gone. Later edits and imports don't reach it; `forRun` takes imports up. Whatever a
/// closure throws comes out of the call, and the field can be used again.
class ZRK_API PreparedField {
public:
    /// A field that reads as 0.
    PreparedField();
    /// Builds the chain. An empty field reads as 0. Throws what building a chain throws: std::logic_error
    /// if it has a cycle, std::length_error if it has too many nodes.
    explicit PreparedField(const IField& field);

    /// True if an import may change what the field reads.
    bool changesBetweenRuns() const;
    /// Returns the field with what imports have brought until now, and none later; itself where none can.
    PreparedField forRun() const;

    /// Tensor code of the value.
    std::uint32_t shape() const;
    /// Components of the value, the weight not among them.
    std::size_t componentCount() const;

    /// Writes component 0 at each position; `values` has room for `positions.count`.
    void evaluate(const PositionArrays& positions, double* values) const;
    void evaluate(const double* x, const double* y, const double* z, std::size_t count, double* values) const
    {
        evaluate({x, y, z, count}, values);
    }
    /// Writes the components and the weights at each position. A component that the field doesn't have
    /// reads as zeros.
    void evaluate(const PositionArrays& positions, const RecordArrays& out) const;

    /// Hands the field's blocks over a domain to a sink, in ascending order. The domain may give weights
    /// other than 1.
    void sweep(const EvaluationDomain<3, double>& positions, BlockSink& sink) const;

    /// Bounds of the components and of the weight over a box of positions: every sample in the box, at a
    /// position of weight 1, has its record within them. What a node can't bound is unbounded, and so is NaN.
    IntervalRecord bounds(const PositionBox& box) const;
    /// Bounds of component 0 over each box; `out` has room for as many. Many boxes in one call cost a small
    /// part of as many calls, best in multiples of kMaxBoxes.
    void bounds(std::span<const PositionBox> boxes, Interval<double>* out) const;
    /// The same of all components and of the weight.
    void bounds(std::span<const PositionBox> boxes, IntervalRecord* out) const;

    /// Returns the field with what its bounds over a box leave of it: where they show that a minimum or a
    /// maximum always takes the same side, that a mask changes nothing or that a value is the same
    /// everywhere, the rest isn't computed. At positions of weight 1 within the box it has the same bits and
    /// costs less; elsewhere it means nothing. Its bounds serve for boxes within the box, and it can be
    /// simplified again for these. Itself where nothing is decided or the chain has a foreign closure.
    ///
    /// What is left is planned once and kept with the field for other boxes where the same is left. A call
    /// costs about as much as the bounds of a box, as do many boxes in one call.
    PreparedField simplifiedFor(const PositionBox& box) const;
    /// The same for each box; `out` has as many fields as there are boxes.
    void simplifiedFor(std::span<const PositionBox> boxes, std::span<PreparedField> out) const;
    /// Number of nodes that are computed for a sample, positions and constants among them: what
    /// `simplifiedFor` lowers.
    std::size_t nodeCount() const;
    /// True for copies of one field, and where the same is left of both: then they give the same records.
    friend bool operator==(const PreparedField& a, const PreparedField& b)
    {
        return a._chain == b._chain && a._plan == b._plan;
    }

private:
    class Chain;
    class Worker;
    class Lease;
    std::shared_ptr<const Chain> _chain;
    std::shared_ptr<const BlockPlan> _plan; ///< the chain's, or what is left of it

    explicit PreparedField(std::shared_ptr<const Chain> chain);
};

} // namespace zrk
