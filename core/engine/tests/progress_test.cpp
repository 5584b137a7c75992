#include "core/engine/progress.h"
#include "core/engine/rasterize.h"
#include "core/values/fault.h"
#include "core/values/stop.h"
#include "testing/host_field.h"
#include "testing/random_chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>

namespace zrk {
namespace {

using Clock = std::chrono::steady_clock;

/// Records the reports; asks to stop after so many questions.
struct Recorder final : ProgressMonitor {
    std::vector<double> reports;
    int questions = 0;
    int stopAt = -1;
    void progress(double fraction) override { reports.push_back(fraction); }
    bool interruptRequested() override { return ++questions == stopAt; }
};

/// Asks to stop from a point of time on.
struct Impatient final : ProgressMonitor {
    Clock::time_point until = Clock::now();
    bool throws = false;
    void progress(double) override
    {
        if (throws && Clock::now() > until) {
            throw std::runtime_error("report failed");
        }
    }
    bool interruptRequested() override { return !throws && Clock::now() > until; }
};

TEST(ProgressManager, TellsTheMonitorAndHearsIt)
{
    Recorder recorder;
    recorder.stopAt = 2;
    ProgressManager manager(&recorder, 8);
    manager.notifyProgressUpdate(std::this_thread::get_id(), 2);
    manager.notifyProgressUpdate(std::this_thread::get_id(), 0);
    manager.notifyProgressUpdate(std::this_thread::get_id(), 7);
    EXPECT_EQ(recorder.reports, (std::vector<double>{0.25, 0.25, 1.125}));
    EXPECT_FALSE(manager.shouldInterrupt());
    EXPECT_FALSE(recorder.isInterruptAcknowledged());
    EXPECT_TRUE(manager.shouldInterrupt());
    EXPECT_TRUE(recorder.isInterruptAcknowledged());
    EXPECT_TRUE(Recorder(recorder).isInterruptAcknowledged());
}

TEST(AsyncProgressManager, ReturnsAtOnceWithNothingToReport)
{
    Recorder recorder;
    AsyncProgressManager without(2, nullptr, 10, 60000);
    without.monitorProgress();
    AsyncProgressManager empty(2, &recorder, 0, 60000);
    empty.monitorProgress();
    EXPECT_TRUE(recorder.reports.empty());
    EXPECT_EQ(recorder.questions, 0);
}

TEST(AsyncProgressManager, WorkersStopWhenTheMonitorAsks)
{
    Recorder recorder;
    recorder.stopAt = 3;
    AsyncProgressManager manager(4, &recorder, 1000000000, 1);
    std::vector<std::jthread> workers;
    for (int w = 0; w < 4; ++w) {
        workers.emplace_back([&] {
            while (!manager.shouldInterrupt()) {
                manager.notifyProgressUpdate(std::this_thread::get_id(), 1);
            }
        });
    }
    manager.monitorProgress();
    EXPECT_TRUE(recorder.isInterruptAcknowledged());
    workers.clear();
    EXPECT_EQ(recorder.questions, 3);
    EXPECT_EQ(recorder.reports.size(), 3u);
}

TEST(AsyncProgressManager, EndsAfterTheCountThatReachedTheTotal)
{
    Recorder recorder;
    AsyncProgressManager manager(3, &recorder, 30, 0);
    std::vector<std::jthread> workers;
    for (int w = 0; w < 3; ++w) {
        workers.emplace_back([&] {
            for (int i = 0; i < 10; ++i) {
                manager.notifyProgressUpdate(std::this_thread::get_id(), 1);
            }
        });
    }
    manager.monitorProgress();
    EXPECT_EQ(recorder.reports.back(), 1.0);
    EXPECT_EQ(std::count(recorder.reports.begin(), recorder.reports.end(), 1.0), 1);
}

IField constantOf(double value) { return IField(std::make_shared<SolidField<1, 3>>(value)); }

// About a hundred chunks, each reported, and the remainder, also when there is none.
TEST(ProgressPass, ReportsEveryChunkAndTheRemainder)
{
    struct Case {
        int samples;
        std::size_t reports;
        double beforeLast;
    };
    const Case cases[] = {
        {100, 101, 1.0},  {1287, 99 + 1, 1287.0 / 1287}, {250, 83 + 1, 249.0 / 250}, {1, 2, 1.0},
        {1000, 101, 1.0}, {101, 51, 100.0 / 101}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.samples);
        FieldSampler sampler(constantOf(3).generator(), chains::grid(13, 11, 9));
        sampler.prepare();
        EvaluationContext context(sampler.slots);
        Recorder recorder;
        ProgressManager manager(&recorder, static_cast<std::size_t>(c.samples));
        context.run(0, c.samples - 1, manager);
        ASSERT_EQ(recorder.reports.size(), c.reports);
        EXPECT_EQ(recorder.reports[c.reports - 2], c.beforeLast);
        EXPECT_EQ(recorder.reports.back(), 1.0);
        EXPECT_FALSE(context.slots.back().pending);
        EXPECT_EQ(sampler.targetNode.sampleBuffer->record(static_cast<std::uint64_t>(c.samples - 1))[0], 3.0);
        EXPECT_EQ(context.slotStack, (std::vector<std::int32_t>{0}));
    }
}

/// Asks to stop at one question and the next few.
struct Stopping final : ProgressMonitor {
    int stopAt;
    int stopFor;
    int questions = 0;
    std::size_t reports = 0;
    Stopping(int at, int times) : stopAt(at), stopFor(times) {}
    void progress(double) override { ++reports; }
    bool interruptRequested() override { return ++questions >= stopAt && questions < stopAt + stopFor; }
};

// Asked before each of the 99 chunks of 13 samples and once after them; a chunk that was begun is finished.
TEST(ProgressPass, AsksOnceAChunkAndOnceMore)
{
    struct Case {
        const char* name;
        int stopAt, stopFor;
        int questions;
        std::size_t reports;
        bool isComplete, isPending;
        std::size_t firstUntouched; ///< sample
    };
    const Case cases[] = {
        {"nobody stops it", 200, 1, 100, 100, true, false, 1287},
        {"stopped before the 30th chunk", 30, 1000, 31, 29, false, true, 29 * 13},
        {"stopped at once", 1, 1000, 2, 0, false, true, 0},
        {"stopped after the last chunk", 100, 1000, 100, 99, false, true, 1287},
        {"a request that is withdrawn", 30, 1, 31, 30, false, false, 29 * 13},
    };
    for (const Case& c : cases) {
        for (const bool isForeign : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (isForeign ? ", closure" : ", kernel"));
            const Evaluation wave = evaluator(chains::Wave{1});
            const IField field =
                literal::node(1, isForeign ? chains::foreign(wave) : wave, {literal::position()});
            FieldSampler sampler(field.generator(), chains::grid(13, 11, 9));
            sampler.prepare();
            EvaluationContext context(sampler.slots);
            Stopping monitor(c.stopAt, c.stopFor);
            ProgressManager manager(&monitor, 1287);
            EXPECT_EQ(context.run(0, 1286, manager), c.isComplete);
            EXPECT_EQ(monitor.questions, c.questions);
            EXPECT_EQ(monitor.reports, c.reports);
            EXPECT_EQ(monitor.isInterruptAcknowledged(), !c.isComplete);
            EXPECT_EQ(context.slots.back().pending, c.isPending);
            EXPECT_EQ(context.slotStack.size(), c.isPending ? 2u : 1u);
            const std::vector<double>& data = sampler.targetNode.sampleBuffer->data;
            for (std::size_t i = 0; i < 1287; ++i) {
                ASSERT_EQ(data[2 * i + 1], i < c.firstUntouched ? 1.0 : 0.0) << "sample " << i;
            }
            context.slots.back().pending = true;
            context.run(0, 1286);
            EXPECT_FALSE(context.slots.back().pending);
            EXPECT_EQ(data[2 * 1286 + 1], 1.0);
        }
    }
}

/// Two buffers in a chain: the target's, and that of its input.
IField withInnerBuffer(const IField& inner)
{
    return chains::host(1, [inner](EvaluatorBuilder<double>& builder) {
        builder.setEvaluator(evaluator(chains::Smaller{0}));
        for (int k = 0; k < 2; ++k) {
            builder.addInput(inner)->buffered = true;
        }
    });
}

// The total is the samples times the pending buffers, so the last report is 1.
TEST(Reports, OfARunCountEveryPendingBuffer)
{
    Recorder recorder;
    const IField wave = literal::node(1, evaluator(chains::Wave{1}), {literal::position()});
    FieldSampler sampler(withInnerBuffer(wave).generator(), chains::grid(10, 10, 10));
    sampler.threadCount = 1;
    EXPECT_TRUE(sampler.run(&recorder));
    ASSERT_EQ(recorder.reports.size(), 2u * 101u);
    EXPECT_EQ(recorder.reports[100], 0.5);
    EXPECT_EQ(recorder.reports.back(), 1.0);
}

TEST(Reports, OfARunComeEvery100Milliseconds)
{
    const IField field = literal::node(1,
                                       [](EvaluationContext& context) {
                                           std::this_thread::sleep_for(std::chrono::milliseconds(5));
                                           context.writeOutput(1.0, 1.0);
                                       },
                                       {});
    Recorder recorder;
    FieldSampler sampler(field.generator(), chains::grid(10, 10, 1));
    sampler.threadCount = 2;
    const auto start = Clock::now();
    EXPECT_TRUE(sampler.run(&recorder));
    const auto seconds = std::chrono::duration<double>(Clock::now() - start).count();
    // One at the start and one after each interval; the work itself takes 250 ms.
    EXPECT_GE(recorder.reports.size(), 3u);
    EXPECT_LE(static_cast<double>(recorder.reports.size()), 1 + seconds / 0.1);
}

/// 5 ms a block.
class SlowKernel final : public Kernel {
public:
    void sample(EvaluationContext& context) const override { context.writeOutput(1.0, 1.0); }
    void block(BlockRun& run) const override
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        std::fill_n(run.output(0), run.sampleCount(), 1.0);
    }
    KernelReads reads() const override { return {0, false}; }
};

IField slowField(bool isForeign)
{
    const Evaluation closure = [](EvaluationContext& context) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        context.writeOutput(1.0, 1.0);
    };
    return literal::node(1, isForeign ? closure : Evaluator(std::make_shared<SlowKernel>()), {});
}

const Region<3, 3, double, 1> kLargeBox({0, 0, 0}, {1, 1, 1}, 64, 64, 64);

TEST(Interrupt, StopsSlowFieldsWithin50Milliseconds)
{
    for (const bool isForeign : {false, true}) {
        for (const std::size_t threads : {1u, 2u, 4u}) {
            SCOPED_TRACE(std::string(isForeign ? "closure, " : "kernel, ") + std::to_string(threads));
            Raster<1, 3, double> raster;
            Impatient monitor;
            monitor.until = Clock::now() + std::chrono::milliseconds(120);
            EXPECT_FALSE(rasterizeField(slowField(isForeign), kLargeBox, raster, &monitor, threads));
            EXPECT_TRUE(monitor.isInterruptAcknowledged());
            EXPECT_LT(Clock::now() - monitor.until, std::chrono::milliseconds(50));
        }
    }
}

TEST(Interrupt, AnExceptionOfTheMonitorStopsTheWork)
{
    for (const std::size_t threads : {1u, 3u}) {
        Raster<1, 3, double> raster;
        Impatient monitor;
        monitor.throws = true;
        monitor.until = Clock::now() - std::chrono::milliseconds(1);
        const auto start = Clock::now();
        const Region<3, 3, double, 1> box({0, 0, 0}, {1, 1, 1}, 20, 20, 20);
        EXPECT_THROW(rasterizeField(slowField(true), box, raster, &monitor, threads), std::runtime_error);
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(2));
    }
}

/// A block that ends only when its work is stopped.
class EndlessKernel final : public Kernel {
public:
    void sample(EvaluationContext&) const override { work(); }
    void block(BlockRun&) const override { work(); }
    KernelReads reads() const override { return {0, false}; }

private:
    static void work()
    {
        for (;;) {
            stopIfAsked();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
};

TEST(Interrupt, OfTheMonitorReachesIntoABlock)
{
    const IField field = literal::node(1, Evaluator(std::make_shared<EndlessKernel>()), {});
    for (const std::size_t threads : {2u, 4u}) {
        Raster<1, 3, double> raster;
        Impatient monitor;
        EXPECT_FALSE(rasterizeField(field, kLargeBox, raster, &monitor, threads));
        EXPECT_TRUE(monitor.isInterruptAcknowledged());
    }
}

TEST(Interrupt, OfASignStopsTheTeamsOfItsThreadAlone)
{
    const IField field = literal::node(1, Evaluator(std::make_shared<EndlessKernel>()), {});
    for (const std::size_t threads : {1u, 3u}) {
        StopSign sign;
        StopSign other;
        std::atomic<bool> isOtherStopped{false};
        const auto sample = [&](const StopSign& stop) {
            const StopScope scope(stop);
            Raster<1, 3, double> raster;
            return attempt("sampling", [&] { rasterizeField(field, kLargeBox, raster, nullptr, threads); });
        };
        std::jthread second([&] {
            EXPECT_FALSE(sample(other));
            isOtherStopped = true;
        });
        std::jthread user([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            sign.raise();
        });
        const Result<void> first = sample(sign);
        ASSERT_FALSE(first);
        EXPECT_EQ(first.error().kind, FaultKind::Interrupted);
        EXPECT_FALSE(isOtherStopped);
        other.raise();
    }
}

TEST(Reports, GrowToOneAndTheRasterIsThatOfASilentRun)
{
    const Region<3, 3, double, 1> box({-1, -1, -1}, {1, 1, 1}, 60, 50, 40);
    for (const chains::Closures closures : {chains::Closures::None, chains::Closures::Plain}) {
        const IField field = chains::RandomChain(11, closures).field();
        Raster<1, 3, double> expected;
        rasterizeField(field, box, expected);
        for (const std::size_t threads : {1u, 3u}) {
            Recorder recorder;
            Raster<1, 3, double> raster;
            EXPECT_TRUE(rasterizeField(field, box, raster, &recorder, threads));
            EXPECT_TRUE(std::is_sorted(recorder.reports.begin(), recorder.reports.end()));
            ASSERT_FALSE(recorder.reports.empty());
            EXPECT_EQ(recorder.reports.back(), 1.0);
            EXPECT_TRUE(chains::sameBits(raster.data, expected.data));
        }
    }
}

// The monitor remembers that it once interrupted; that says nothing of the next run.
TEST(Reports, AMonitorMayServeAgainAfterAnInterrupt)
{
    for (const std::size_t threads : {1u, 3u}) {
        Recorder recorder;
        recorder.stopAt = 1;
        Raster<1, 3, double> raster;
        EXPECT_FALSE(rasterizeField(slowField(false), kLargeBox, raster, &recorder, threads));
        recorder.reports.clear();
        EXPECT_TRUE(rasterizeField(constantOf(2), kLargeBox, raster, &recorder, threads));
        EXPECT_EQ(raster.data.back(), 2.0);
        EXPECT_EQ(recorder.reports.back(), 1.0);
    }
}

// A slow closure on one thread isn't silent for thousands of samples.
TEST(Reports, ComeAboutAHundredTimesFromClosures)
{
    Recorder recorder;
    Raster<1, 3, double> raster;
    const IField field = literal::node(1, chains::foreign(evaluator(chains::Wave{1})), {literal::position()});
    rasterizeField(field, Region<3, 3, double, 1>({0, 0, 0}, {1, 1, 1}, 20, 20, 20), raster, &recorder, 1);
    EXPECT_EQ(recorder.reports.size(), 100u);
}

} // namespace
} // namespace zrk
