#include "core/engine/field_sampler.h"

#include "core/engine/block_runner.h"
#include "core/engine/evaluation_context.h"
#include "core/engine/worker_team.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <memory>
#include <thread>

namespace zrk {

namespace {

/// Samples that a worker of a sweep takes at a time: enough to make the taking free, few enough that slow
/// fields balance.
constexpr std::int64_t kMaxTake = 16 * static_cast<std::int64_t>(kBlockSamples);

/// Milliseconds between two reports of a run.
constexpr unsigned kRunIntervalMs = 100;
/// The same of a sweep. The reporting thread ends at a report, so a short sweep would last as long as the
/// interval.
constexpr unsigned kSweepIntervalMs = 10;

/// A range of samples that one or several workers take pieces of.
struct SampleRange {
    std::atomic<std::int64_t> next;
    std::int64_t end;
    SampleRange(std::int64_t first, std::int64_t last) : next(first), end(last) {}
};

/// The first sample of the w-th of `workers` equal ranges of n samples, the last of which takes the rest;
/// n for the range after the last.
std::int64_t firstOfRange(std::int64_t n, std::int64_t workers, std::int64_t w)
{
    return w == workers ? n : w * (n / workers);
}

/// Lets a runner compute what is left of a range, `take` samples at a time. False when interrupted.
bool drain(SampleRange& range, std::int64_t take, BlockRunner& runner, BlockSink& sink,
           ProgressManager& manager)
{
    for (;;) {
        const std::int64_t first = range.next.fetch_add(take, std::memory_order_relaxed);
        if (first >= range.end) {
            return true;
        }
        const std::int64_t end = std::min(first + take, range.end);
        if (!runner.sweep(static_cast<std::int32_t>(first), static_cast<std::int32_t>(end - 1), sink,
                          &manager)) {
            return false;
        }
        manager.notifyProgressUpdate(std::this_thread::get_id(), static_cast<std::size_t>(end - first));
    }
}

} // namespace

FieldSampler::FieldSampler(std::shared_ptr<IFieldGenerator> field,
                           std::shared_ptr<EvaluationDomain<3, double>> positions)
    : generator(std::move(field)), domain(std::move(positions)), threadCount(workerCount(0))
{
    if (!generator) {
        generator = std::make_shared<SolidField<1, 3>>();
    }
}

void FieldSampler::buildSlots()
{
    EvaluationBounds<3, double> known;
    if (bounds && bounds->valid) {
        known.fixed = Corners<double>{bounds->min, bounds->max};
    }
    known.domain = domain->bounds();
    slots = buildChain(generator, coordinatesNode, targetNode, std::any(known));
}

void FieldSampler::attachBuffers()
{
    for (EvaluationSlot& slot : slots) {
        if (slot.node->buffered) {
            slot.node->enableBuffer();
            slot.node->sampleBuffer->resize(static_cast<std::uint64_t>(domain->sampleCount()));
            slot.buffer = slot.node->sampleBuffer.get();
        }
    }
}

/// A node is stale when what it reads is. Upstream slots come first, so one pass is enough. Which slots are
/// pending was settled when they were made.
void FieldSampler::propagateDirty()
{
    for (const EvaluationSlot& slot : slots) {
        EvaluationNode& node = *slot.node;
        node.dirty = node.dirty || (node.coordinates && node.coordinates->dirty) ||
                     std::any_of(node.inputs.begin(), node.inputs.end(),
                                 [](const auto& input) { return input->dirty; });
    }
}

void FieldSampler::prepare()
{
    coordinatesNode.reset(3, nullptr);
    coordinatesNode.sampleBuffer = domain->samples();
    buildSlots();
    targetNode.enableBuffer();
    attachBuffers();
}

bool FieldSampler::run(ProgressMonitor* monitor)
{
    prepare();
    fixForRun(slots);
    propagateDirty();
    coordinatesNode.sampleBuffer = domain->samples(); // filled anew if the build has made them stale
    const bool isFinished = fillBuffers(monitor);
    needsBuild = false;
    return isFinished;
}

bool FieldSampler::hasInnerBuffers() const
{
    return std::any_of(slots.begin(), slots.end(), [this](const EvaluationSlot& slot) {
        return slot.buffer && slot.node != &targetNode;
    });
}

/// In each range buffer after buffer, so that a buffer is full before it is read.
bool FieldSampler::fillBuffers(ProgressMonitor* monitor)
{
    const std::int64_t n = domain->sampleCount();
    const auto pending = std::count_if(slots.begin(), slots.end(),
                                       [](const EvaluationSlot& s) { return s.buffer && s.pending; });
    const auto total = static_cast<std::size_t>(n * pending);
    const auto fill = [&](std::int64_t first, std::int64_t end, ProgressManager& manager) {
        if (first == end) {
            return true;
        }
        EvaluationContext context(slots);
        const auto from = static_cast<std::int32_t>(first);
        const auto to = static_cast<std::int32_t>(end - 1);
        return manager.getProgressMonitor() ? context.run(from, to, manager)
                                            : context.runUntilInterrupted(from, to, manager);
    };
    if (threadCount < 2 || n < kMinParallelSamples) {
        ProgressManager manager(monitor, total);
        return fill(0, n, manager);
    }
    const auto workers = std::min<std::int64_t>(n, static_cast<std::int64_t>(threadCount));
    return runReportedTeam(
        static_cast<std::size_t>(workers),
        {.monitor = monitor, .total = total, .intervalMs = kRunIntervalMs, .sparesCaller = true},
        [&](std::size_t worker, std::size_t granted, ProgressManager& manager) {
            // Where not all threads could be started, some take several ranges one after the other.
            for (auto w = static_cast<std::int64_t>(worker); w < workers;
                 w += static_cast<std::int64_t>(granted)) {
                if (!fill(firstOfRange(n, workers, w), firstOfRange(n, workers, w + 1), manager)) {
                    return false;
                }
            }
            return true;
        });
}

bool FieldSampler::sweep(BlockSink& sink, ProgressMonitor* monitor)
{
    coordinatesNode.reset(3, nullptr);
    coordinatesNode.positions = domain.get();
    buildSlots();
    attachBuffers();
    fixForRun(slots);
    propagateDirty();
    if (hasInnerBuffers()) {
        if (!fillBuffers(monitor)) {
            return false;
        }
        for (EvaluationSlot& slot : slots) {
            slot.pending = slot.pending && !slot.buffer;
        }
    }
    const bool isFinished = sweepTarget(sink, monitor);
    needsBuild = false;
    return isFinished;
}

bool FieldSampler::sweepTarget(BlockSink& sink, ProgressMonitor* monitor)
{
    const std::int64_t n = domain->sampleCount();
    const auto plan =
        std::make_shared<const BlockPlan>(slots, static_cast<std::size_t>(targetNode.slotIndex));
    // A foreign closure could observe how the samples are divided, and on which threads: as in a run.
    const bool isEqual = !plan->lanes().empty();
    const std::int64_t unit = isEqual ? 1 : static_cast<std::int64_t>(kBlockSamples);
    std::int64_t workers =
        std::min<std::int64_t>((n + unit - 1) / unit, static_cast<std::int64_t>(threadCount));
    workers = n < kMinParallelSamples ? 1 : std::max<std::int64_t>(workers, 1);

    std::int64_t take = kMaxTake;
    std::deque<SampleRange> ranges;
    if (isEqual) {
        take = std::clamp<std::int64_t>(n / 100, 1, kMaxTake); // it may be slow; about a hundred reports then
        for (std::int64_t w = 0; w < workers; ++w) {
            ranges.emplace_back(firstOfRange(n, workers, w), firstOfRange(n, workers, w + 1));
        }
    } else {
        ranges.emplace_back(0, n);
        if (workers > 1) {
            take = std::clamp(n / (8 * workers) / unit * unit, unit, kMaxTake);
        }
    }
    const auto work = [&](std::size_t worker, std::size_t granted, ProgressManager& manager) {
        EvaluationContext context(slots);
        BlockRunner runner(plan, context);
        for (std::size_t r = isEqual ? worker : 0; r < ranges.size(); r += granted) {
            if (!drain(ranges[r], take, runner, sink, manager)) {
                return false;
            }
        }
        return true;
    };
    if (workers == 1) {
        ProgressManager manager(monitor, static_cast<std::size_t>(n));
        return work(0, 1, manager);
    }
    return runReportedTeam(static_cast<std::size_t>(workers),
                           {.monitor = monitor,
                            .total = static_cast<std::size_t>(n),
                            .intervalMs = kSweepIntervalMs,
                            .sparesCaller = isEqual},
                           work);
}

} // namespace zrk
