#pragma once

#include "core/engine/block_sink.h"
#include "core/engine/evaluation_domain.h"
#include "core/engine/evaluation_node.h"
#include "core/engine/evaluator_builder.h"
#include "core/engine/field_generator.h"
#include "core/engine/progress.h"
#include "core/values/bbox.h"
#include "core/values/export.h"

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
/// Each run builds the chain anew and divides the samples among workers, each on a thread and with a context
/// of its own; the result doesn't depend on how many there are. A sampler belongs to one thread, and so does
/// its domain meanwhile. Whatever a closure throws comes out of the run.
class ZRK_API FieldSampler {
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

    /// Builds the chain over the domain's samples, which fill the coordinates node's buffer, and gives every
    /// buffered node, the target among them, its buffer.
    void prepare();

    /// Fills all pending buffers, the target's among them: `targetNode.sampleBuffer` holds all records. Each
    /// worker has one range of samples, all of equal length but for the last; where the system refuses to
    /// start so many threads, those there are take them in turn.
    ///
    /// With a monitor it reports, and returns false when it was interrupted, the buffers partly filled.
    bool run(ProgressMonitor* monitor = nullptr);

    /// Hands all samples of the target to a sink, without a buffer for the target or the positions. `sink` is
    /// called from several threads at once. Goes on with those threads that could be started. False when
    /// interrupted.
    bool sweep(BlockSink& sink, ProgressMonitor* monitor = nullptr);

private:
    void buildSlots();
    void attachBuffers();
    void propagateDirty();
    bool hasInnerBuffers() const;
    bool fillBuffers(ProgressMonitor* monitor);
    bool sweepTarget(BlockSink& sink, ProgressMonitor* monitor);
};

} // namespace zrk
