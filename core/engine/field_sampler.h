#pragma once

#include "core/engine/block_engine.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/evaluation_node.h"
#include "core/engine/evaluator_builder.h"
#include "core/engine/field_generator.h"
#include "core/engine/progress.h"
#include "core/values/bbox.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace zrk {

/// Fewer samples than this are computed on the calling thread.
inline constexpr std::int32_t kMinParallelSamples = 32;

/// Samples one field over one domain.
///
/// A run builds the chain anew. It divides the samples among workers, each with a context of
/// its own; the result doesn't depend on how. One sampler belongs to one thread. Whatever a closure
/// throws comes out of the run.
class FieldSampler {
public:
    std::optional<BBox<double>> bounds; ///< fixed bounds of the evaluation, if any
    std::shared_ptr<IFieldGenerator> generator;
    std::shared_ptr<EvaluationDomain<3, double>> domain;
    EvaluationNode coordinatesNode;
    EvaluationNode targetNode;
    std::vector<EvaluationSlot> slots;
    std::size_t threadCount;
    bool needsBuild = true;

    /// An empty generator is replaced by a solid field, which reads 0.
    FieldSampler(std::shared_ptr<IFieldGenerator> field,
                 std::shared_ptr<EvaluationDomain<3, double>> positions);

    /// Builds the chain.
    void prepare();

    /// Fills the target's buffer, `targetNode.sampleBuffer`, with all records. With a monitor
    /// it reports, and returns false when it was interrupted, the buffer partly filled.
    bool run(ProgressMonitor* monitor = nullptr);

    /// Computes all samples without a buffer. `sink` is called from several threads at once,
    /// each time with a different range. False when interrupted.
    bool sweep(BlockSink& sink, ProgressMonitor* monitor = nullptr);

private:
    void buildChain();
    void propagateDirty();
    std::vector<EvaluationSlot> chainOfRun() const;
    bool hasForeignClosure() const;
    bool hasInnerBuffers() const;
    bool runRanges(const std::vector<EvaluationSlot>& chain, ProgressMonitor* monitor);
    bool sweepChain(const std::vector<EvaluationSlot>& chain, BlockSink& sink, ProgressMonitor* monitor);
};

} // namespace zrk
