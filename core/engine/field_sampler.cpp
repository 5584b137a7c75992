#include "core/engine/field_sampler.h"

#include "core/engine/evaluation_context.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <exception>
#include <thread>

namespace zrk {

namespace {

/// Samples that a worker takes at a time: enough to make the taking free, few enough
/// that slow fields balance.
constexpr std::int64_t kMaxTake = 16 * static_cast<std::int64_t>(kBlockSamples);

/// How long the reporting thread sleeps between reports; half of it is what an interrupt waits.
constexpr unsigned kReportIntervalMs = 10;

/// A range of samples that one or several workers take pieces of.
struct SampleRange {
    std::atomic<std::int64_t> next;
    std::int64_t end;
    SampleRange(std::int64_t first, std::int64_t last) : next(first), end(last) {}
};

/// Runs work(worker) on so many threads, joined before it returns. With a monitor, this thread
/// reports meanwhile. An exception stops all workers; the first worker's one is thrown again here.
template <class Work>
void runWorkers(std::size_t workers, AsyncProgressManager& manager, const Work& work)
{
    std::vector<std::exception_ptr> failures(workers + 1);
    {
        std::vector<std::jthread> threads;
        threads.reserve(workers);
        for (std::size_t w = 0; w < workers; ++w) {
            threads.emplace_back([&, w] {
                try {
                    work(w);
                } catch (...) {
                    failures[w] = std::current_exception();
                    manager.abandon();
                }
            });
        }
        try {
            manager.monitorProgress();
        } catch (...) {
            failures.back() = std::current_exception();
            manager.abandon();
        }
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

} // namespace

FieldSampler::FieldSampler(std::shared_ptr<IFieldGenerator> field,
                           std::shared_ptr<EvaluationDomain<3, double>> positions)
    : generator(std::move(field)),
      domain(std::move(positions)),
      threadCount(std::thread::hardware_concurrency())
{
    if (!generator) {
        generator = std::make_shared<SolidField<1, 3>>();
    }
}

void FieldSampler::buildChain()
{
    coordinatesNode.reset(3, nullptr);
    coordinatesNode.positions = domain.get();
    coordinatesNode.dirty = false;
    targetNode.reset(generator->descriptor().outputShape, &coordinatesNode);
    targetNode.generator = generator;

    EvaluationBounds<3, double> known;
    if (bounds && bounds->valid) {
        known.fixed = Corners<double>{bounds->min, bounds->max};
    }
    known.domain = domain->bounds();
    EvaluatorBuilder<double> builder{std::any(known)};
    builder.visit(&targetNode);
    slots = std::move(builder.slots());
    propagateDirty();
}

/// A node is stale when what it reads is. Upstream slots come first, so one pass is enough.
void FieldSampler::propagateDirty()
{
    for (EvaluationSlot& slot : slots) {
        EvaluationNode& node = *slot.node;
        bool dirty = node.dirty || (node.coordinates && node.coordinates->dirty);
        for (const auto& input : node.inputs) {
            dirty = dirty || input->dirty;
        }
        node.dirty = dirty;
        slot.pending = dirty;
        if (node.buffered) {
            node.enableBuffer();
            node.sampleBuffer->resize(static_cast<std::uint64_t>(domain->sampleCount()));
            slot.buffer = node.sampleBuffer.get();
        }
    }
}

void FieldSampler::prepare()
{
    buildChain();
    targetNode.enableBuffer();
    targetNode.sampleBuffer->resize(static_cast<std::uint64_t>(domain->sampleCount()));
    slots[static_cast<std::size_t>(targetNode.slotIndex)].buffer = targetNode.sampleBuffer.get();
}

bool FieldSampler::run(ProgressMonitor* monitor)
{
    prepare();
    const std::vector<EvaluationSlot> chain = chainOfRun();
    if (hasInnerBuffers()) {
        return runRanges(chain, monitor);
    }
    BufferSink sink(*targetNode.sampleBuffer);
    return sweepChain(chain, sink, monitor);
}

/// What all contexts of a run are copies of, so that they have the same kernels.
std::vector<EvaluationSlot> FieldSampler::chainOfRun() const
{
    std::vector<EvaluationSlot> chain = slots;
    fixForRun(chain);
    return chain;
}

/// A closure of somebody else's could observe how the samples are divided.
bool FieldSampler::hasForeignClosure() const
{
    return std::any_of(slots.begin(), slots.end(), [](const EvaluationSlot& slot) {
        return !slot.node->constant && !slot.node->positions && !recognisedKernel(slot.evaluator);
    });
}

bool FieldSampler::hasInnerBuffers() const
{
    return std::any_of(slots.begin(), slots.end(), [this](const EvaluationSlot& slot) {
        return slot.buffer && slot.node != &targetNode;
    });
}

/// Equal ranges, each filled buffer after buffer, so that a buffer is full before it is read.
bool FieldSampler::runRanges(const std::vector<EvaluationSlot>& chain, ProgressMonitor* monitor)
{
    const std::int64_t n = domain->sampleCount();
    const auto buffers = std::count_if(chain.begin(), chain.end(),
                                       [](const EvaluationSlot& s) { return s.buffer && s.pending; });
    const auto total = static_cast<std::size_t>(n * buffers);
    needsBuild = false;
    const auto fill = [&](std::int64_t first, std::int64_t end, ProgressManager& manager) {
        EvaluationContext context(chain);
        const auto from = static_cast<std::int32_t>(first);
        const auto to = static_cast<std::int32_t>(end - 1);
        if (manager.getProgressMonitor() && end > first) {
            context.run(from, to, manager);
        } else {
            context.run(from, to);
        }
    };
    if (threadCount < 2 || n < kMinParallelSamples) {
        ProgressManager manager(monitor, total);
        fill(0, n, manager);
        return !manager.wasInterrupted();
    }
    const auto workers = std::min<std::int64_t>(n, static_cast<std::int64_t>(threadCount));
    const std::int64_t per = n / workers;
    AsyncProgressManager manager(static_cast<std::size_t>(workers), monitor, total, kReportIntervalMs);
    runWorkers(static_cast<std::size_t>(workers), manager, [&](std::size_t worker) {
        const auto w = static_cast<std::int64_t>(worker);
        fill(w * per, w + 1 == workers ? n : (w + 1) * per, manager);
    });
    return !manager.shouldInterrupt();
}

bool FieldSampler::sweep(BlockSink& sink, ProgressMonitor* monitor)
{
    buildChain();
    std::vector<EvaluationSlot> chain = chainOfRun();
    if (hasInnerBuffers()) {
        if (!runRanges(chain, monitor)) {
            return false;
        }
        for (EvaluationSlot& slot : chain) {
            slot.pending = slot.pending && !slot.buffer;
        }
    }
    return sweepChain(chain, sink, monitor);
}

bool FieldSampler::sweepChain(const std::vector<EvaluationSlot>& chain, BlockSink& sink,
                              ProgressMonitor* monitor)
{
    const std::int64_t n = domain->sampleCount();
    const auto target = static_cast<std::size_t>(targetNode.slotIndex);
    needsBuild = false;
    const auto drain = [&](SampleRange& range, std::int64_t take, ProgressManager& manager) {
        EvaluationContext context(chain);
        for (;;) {
            const std::int64_t first = range.next.fetch_add(take, std::memory_order_relaxed);
            if (first >= range.end) {
                return;
            }
            const std::int64_t end = std::min(first + take, range.end);
            if (!context.sweep(target, static_cast<std::int32_t>(first), static_cast<std::int32_t>(end - 1),
                               sink, &manager)) {
                return;
            }
            manager.notifyProgressUpdate(std::this_thread::get_id(), static_cast<std::size_t>(end - first));
        }
    };

    const bool fixedRanges = hasForeignClosure();
    const std::int64_t unit = fixedRanges ? 1 : static_cast<std::int64_t>(kBlockSamples);
    // A closure may be slow; about a hundred reports then.
    std::int64_t take = fixedRanges ? std::clamp<std::int64_t>(n / 100, 1, kMaxTake) : kMaxTake;
    const std::int64_t workers =
        std::min<std::int64_t>((n + unit - 1) / unit, static_cast<std::int64_t>(threadCount));
    if (workers < 2 || n < kMinParallelSamples) {
        SampleRange all(0, n);
        ProgressManager manager(monitor, static_cast<std::size_t>(n));
        drain(all, take, manager);
        return !manager.wasInterrupted();
    }

    std::deque<SampleRange> ranges;
    if (fixedRanges) {
        for (std::int64_t w = 0; w < workers; ++w) {
            ranges.emplace_back(w * (n / workers), w + 1 == workers ? n : (w + 1) * (n / workers));
        }
    } else {
        ranges.emplace_back(0, n);
        const std::int64_t fair = n / (8 * workers) / unit * unit;
        take = std::clamp(fair, unit, kMaxTake);
    }
    AsyncProgressManager manager(static_cast<std::size_t>(workers), monitor, static_cast<std::size_t>(n),
                                 kReportIntervalMs);
    runWorkers(static_cast<std::size_t>(workers), manager,
               [&](std::size_t worker) { drain(ranges[worker % ranges.size()], take, manager); });
    return !manager.shouldInterrupt();
}

} // namespace zrk
