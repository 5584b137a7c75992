#include "core/engine/rasterize.h"
#include "testing/host_field.h"
#include "testing/random_chain.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>

namespace zrk {
namespace {

using chains::host;
using chains::sameBits;

std::shared_ptr<PointListDomain> points(int count)
{
    std::vector<Tensor<3, double>> list;
    for (int i = 0; i < count; ++i) {
        list.push_back({0.5 * i, 1.0 - i, 2.0});
    }
    return std::make_shared<PointListDomain>(list);
}

/// The samples that each thread computed, in its order.
struct Partition {
    std::mutex mutex;
    std::map<std::thread::id, std::vector<std::int32_t>> samples;

    Evaluation closure()
    {
        return [this](EvaluationContext& context) {
            {
                const std::lock_guard lock(mutex);
                samples[std::this_thread::get_id()].push_back(context.sampleIndex);
            }
            context.writeOutput(context.sampleIndex + 0.5, 1.0);
        };
    }
    std::vector<std::vector<std::int32_t>> ranges() const
    {
        std::vector<std::vector<std::int32_t>> result;
        for (const auto& [thread, list] : samples) {
            result.push_back(list);
        }
        std::sort(result.begin(), result.end());
        return result;
    }
};

TEST(SamplerPartition, AsManyEqualRangesAsWorkers)
{
    struct Case {
        const char* name;
        int samples;
        std::size_t threads;
        std::size_t workers;
        int per;
    };
    const Case cases[] = {
        {"below the threshold", 31, 8, 1, 31},    {"at the threshold", 32, 2, 2, 16},
        {"the last takes the rest", 33, 8, 8, 4}, {"fewer samples than threads", 40, 100, 40, 1},
        {"one thread", 100, 1, 1, 100},           {"no thread", 100, 0, 1, 100},
        {"several blocks", 1501, 2, 2, 750},
    };
    for (const Case& c : cases) {
        for (const bool innerBuffer : {false, true}) {
            SCOPED_TRACE(std::string(c.name) + (innerBuffer ? ", with an inner buffer" : ""));
            Partition partition;
            const IField counted = literal::node(1, partition.closure(), {});
            const IField field = host(1, [&](EvaluatorBuilder<double>& builder) {
                builder.setEvaluator(evaluator(chains::Smaller{0}));
                for (int k = 0; k < 2; ++k) {
                    const auto input = builder.addInput(counted);
                    input->buffered = innerBuffer;
                }
            });
            FieldSampler sampler(field.generator(), points(c.samples));
            sampler.threadCount = c.threads;
            EXPECT_TRUE(sampler.run());
            // A thread that ends early may hand its id on to a later one.
            const auto lists = partition.ranges();
            std::vector<std::int32_t> all;
            for (const auto& list : lists) {
                for (std::size_t i = 0; i < list.size(); ++i) {
                    EXPECT_TRUE(list[i] % c.per == 0 || (i > 0 && list[i] == list[i - 1] + 1)) << list[i];
                }
                all.insert(all.end(), list.begin(), list.end());
            }
            std::sort(all.begin(), all.end());
            for (std::size_t i = 0; i < all.size(); ++i) {
                ASSERT_EQ(all[i], static_cast<std::int32_t>(i));
            }
            EXPECT_EQ(all.size(), static_cast<std::size_t>(c.samples));
            EXPECT_LE(lists.size(), c.workers);
            if (c.workers == 1) {
                EXPECT_TRUE(partition.samples.count(std::this_thread::get_id()));
            } else {
                EXPECT_FALSE(partition.samples.count(std::this_thread::get_id()));
            }
        }
    }
}

// As in a run, although a chain without closures is swept on the calling thread too.
TEST(SamplerPartition, ASweepOverAForeignClosureSparesTheCallingThread)
{
    Partition partition;
    const IField field = literal::node(1, partition.closure(), {});
    Raster<1, 3, double> raster;
    rasterizeField(field, Region<3, 3, double, 1>({0, 0, 0}, {1, 1, 1}, 5, 5, 5), raster, nullptr, 2);
    EXPECT_EQ(partition.samples.size(), 2u);
    EXPECT_FALSE(partition.samples.count(std::this_thread::get_id()));
}

// All eight workers wait for each other, so each is a thread of its own.
TEST(SamplerPartition, ThirtyThreeSamplesOnEightThreads)
{
    Partition partition;
    std::atomic<int> arrived = 0;
    const Evaluation record = partition.closure();
    const auto field = literal::node(1,
                                     [&](EvaluationContext& context) {
                                         thread_local const void* seen = nullptr;
                                         if (seen != &arrived) {
                                             seen = &arrived;
                                             ++arrived;
                                             while (arrived < 8) {
                                                 std::this_thread::yield();
                                             }
                                         }
                                         record(context);
                                     },
                                     {});
    FieldSampler sampler(field.generator(), points(33));
    sampler.threadCount = 8;
    sampler.run();
    const auto ranges = partition.ranges();
    ASSERT_EQ(ranges.size(), 8u);
    for (int w = 0; w < 7; ++w) {
        EXPECT_EQ(ranges[w], (std::vector<std::int32_t>{4 * w, 4 * w + 1, 4 * w + 2, 4 * w + 3}));
    }
    EXPECT_EQ(ranges[7], (std::vector<std::int32_t>{28, 29, 30, 31, 32}));
}

TEST(Sampler, AnEmptyDomainComputesNothing)
{
    Partition partition;
    FieldSampler sampler(literal::node(1, partition.closure(), {}).generator(), points(0));
    EXPECT_TRUE(sampler.run());
    EXPECT_TRUE(sampler.targetNode.sampleBuffer->data.empty());
    EXPECT_TRUE(partition.samples.empty());
}

TEST(Sampler, AnEmptyGeneratorReadsZeroWithTheWeightOfThePosition)
{
    const std::vector<double> data = chains::records(IField(), points(3));
    EXPECT_EQ(data, (std::vector<double>{0, 1, 0, 1, 0, 1}));
}

TEST(Sampler, ConstantNodesAreReadAndNeverRun)
{
    int runs = 0;
    const IField constant = host(3, [&](EvaluatorBuilder<double>& builder) {
        builder.setEvaluator([&runs](EvaluationContext&) { ++runs; });
        builder.currentNode()->constant = true;
        builder.currentNode()->constantValue.data = {1, 2, 3, 0.25};
    });
    const Evaluation wave = evaluator(chains::Shear{2});
    for (const Evaluation& reader : {wave, chains::foreign(wave)}) {
        const std::vector<double> data = chains::records(literal::node(3, reader, {constant}), points(600));
        for (std::size_t i = 0; i < data.size(); i += 4) {
            ASSERT_EQ(std::vector<double>(data.begin() + i, data.begin() + i + 4),
                      (std::vector<double>{5, 0, 3, 0.25}));
        }
    }
    EXPECT_EQ(runs, 0);
}

TEST(Sampler, ABufferThatIsNotPendingIsReadAsItStands)
{
    Partition partition;
    const auto kept = std::make_shared<SampleBufferData<double>>(1);
    kept->resize(700);
    for (std::size_t i = 0; i < 700; ++i) {
        kept->record(i)[0] = static_cast<double>(i * i);
        kept->record(i)[1] = 0.5;
    }
    EvaluationNode* node = nullptr;
    bool wasDirtyAtTheEnd = false;
    // Its input is stale, and so will be the node for whoever asks later; this run takes it as it came.
    const IField buffered = host(1, [&](EvaluatorBuilder<double>& builder) {
        builder.setEvaluator(partition.closure());
        builder.addInput(literal::node(1, partition.closure(), {}));
        node = builder.currentNode();
        builder.currentNode()->dirty = false;
        builder.currentNode()->buffered = true;
        builder.currentNode()->sampleBuffer = kept;
    });
    const Evaluation smaller = evaluator(chains::Smaller{1});
    for (const Evaluation& reader : {smaller, chains::foreign(smaller)}) {
        for (const std::size_t threads : {1u, 3u}) {
            FieldSampler sampler(literal::node(1, reader, {buffered, buffered}).generator(), points(700));
            sampler.threadCount = threads;
            sampler.run();
            const std::vector<double>& data = sampler.targetNode.sampleBuffer->data;
            wasDirtyAtTheEnd = node->dirty;
            EXPECT_EQ(data[2 * 699], 699.0 * 699.0 - 1);
            EXPECT_EQ(data[1], 0.5);
            EXPECT_TRUE(wasDirtyAtTheEnd);
        }
    }
    EXPECT_TRUE(partition.samples.empty());
}

// The domain's samples stand in the coordinates node's buffer, weights included, and are read there.
TEST(Sampler, PositionsAreReadFromTheDomainsSamples)
{
    const Evaluation shear = evaluator(chains::Shear{2});
    for (const Evaluation& evaluation : {shear, chains::foreign(shear)}) {
        FieldSampler sampler(literal::node(3, evaluation, {literal::position()}).generator(), points(2000));
        sampler.prepare();
        EXPECT_EQ(sampler.coordinatesNode.sampleBuffer, sampler.domain->samples());
        EXPECT_FALSE(sampler.slots.front().pending);
        double* position = sampler.coordinatesNode.sampleBuffer->record(1500);
        const double p[] = {1, 2, 3, 0.25};
        std::copy_n(p, 4, position);
        EvaluationContext context(sampler.slots);
        context.run(0, 1999);
        const double* record = sampler.targetNode.sampleBuffer->record(1500);
        EXPECT_EQ(std::vector<double>(record, record + 4), (std::vector<double>{5, 0, 3, 0.25}));
    }
}

// What a closure sees of the slots that run, whether it is read by a kernel or by another closure.
TEST(Sampler, AClosureSeesTheRunningSlots)
{
    std::vector<std::vector<std::int32_t>> stacks;
    const Evaluation look = [&](EvaluationContext& context) {
        stacks.push_back(context.slotStack);
        EXPECT_EQ(context.slot, &context.slots[static_cast<std::size_t>(context.slotIndex)]);
        EXPECT_EQ(context.node, context.slot->node);
        context.writeOutput(context.node->inputs.empty() ? 1.0 : context.readInput(0)[0], 1.0);
    };
    using Stacks = std::vector<std::vector<std::int32_t>>;
    const IField leaf = literal::node(1, look, {});
    chains::records(literal::node(1, look, {leaf}), points(1));
    EXPECT_EQ(stacks, (Stacks{{0, 2}, {0, 2, 1}}));
    stacks.clear();
    chains::records(literal::node(1, evaluator(chains::Smaller{0}), {leaf, leaf}), points(1));
    EXPECT_EQ(stacks, (Stacks{{0, 2, 1}}));
}

/// Makes the system refuse new threads, by stacks that are larger than all memory.
class NoNewThreads {
public:
    NoNewThreads()
    {
        pthread_attr_t attributes;
        pthread_getattr_default_np(&attributes);
        pthread_attr_getstacksize(&attributes, &_before);
        pthread_attr_setstacksize(&attributes, std::size_t{1} << 46);
        EXPECT_EQ(pthread_setattr_default_np(&attributes), 0);
        pthread_attr_destroy(&attributes);
    }
    ~NoNewThreads()
    {
        pthread_attr_t attributes;
        pthread_getattr_default_np(&attributes);
        pthread_attr_setstacksize(&attributes, _before);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
    }

private:
    std::size_t _before = 0;
};

// The work is done by those threads that there are, at worst by the calling one.
TEST(Sampler, ThreadsThatCantBeStarted)
{
    struct Counter final : ProgressMonitor {
        double last = 0;
        void progress(double fraction) override { last = fraction; }
        bool interruptRequested() override { return false; }
    };
    const Region<3, 3, double, 1> box({-1, -1, -1}, {1, 1, 1}, 20, 20, 20);
    for (const chains::Closures closures : {chains::Closures::None, chains::Closures::Plain}) {
        const IField field = chains::RandomChain(11, closures).field();
        Raster<1, 3, double> expected;
        rasterizeField(field, box, expected);
        const NoNewThreads none;
        Raster<1, 3, double> raster;
        Counter monitor;
        EXPECT_TRUE(rasterizeField(field, box, raster, &monitor, 4));
        EXPECT_TRUE(sameBits(raster.data, expected.data));
        EXPECT_EQ(monitor.last, 1.0);
        FieldSampler sampler(field.generator(), std::make_shared<GridDomain>(box));
        sampler.threadCount = 4;
        for (ProgressMonitor* follower :
             {static_cast<ProgressMonitor*>(nullptr), static_cast<ProgressMonitor*>(&monitor)}) {
            sampler.targetNode.dirty = true;
            EXPECT_TRUE(sampler.run(follower));
            const SampleBufferData<double>& records = *sampler.targetNode.sampleBuffer;
            ASSERT_EQ(records.count, expected.data.size());
            for (std::size_t i = 0; i < expected.data.size(); ++i) {
                ASSERT_EQ(records.record(i)[0], expected.data[i]) << "sample " << i;
            }
        }
    }
}

// Whoever samples a chain with buffered nodes inside, they are full before they are read.
TEST(Sampler, InnerBuffersAreFilledBeforeTheyAreRead)
{
    const auto grid = chains::grid(9, 8, 7);
    for (std::uint32_t seed = 1; seed <= 10; ++seed) {
        const IField inner = chains::RandomChain(seed, chains::Closures::Plain).field();
        const auto over = [&](bool isBuffered) {
            return host(1, [&inner, isBuffered](EvaluatorBuilder<double>& builder) {
                builder.setEvaluator(evaluator(chains::Blend{0.5}));
                const auto node = builder.addInput(inner);
                node->buffered = isBuffered;
                builder.addInput(IField(std::make_shared<SolidField<1, 3>>(2.0)));
            });
        };
        const std::vector<double> expected = chains::records(over(false), grid);
        for (const std::size_t threads : {1u, 3u}) {
            EXPECT_TRUE(sameBits(chains::records(over(true), grid, threads), expected)) << "seed " << seed;
            Region<3, 3, double, 1> region({-1.5, -1.25, -1}, {1.5, 1.75, 2}, 9, 8, 7);
            region.origin = {0.125, -0.25, 0.0625};
            Raster<1, 3, double> raster;
            rasterizeField(over(true), region, raster, nullptr, threads);
            for (std::size_t i = 0; i < raster.data.size(); ++i) {
                ASSERT_EQ(raster.data[i], expected[2 * i]) << "seed " << seed;
            }
        }
    }
}

TEST(Sampler, ExceptionsOfAClosureComeOut)
{
    struct Quiet final : ProgressMonitor {
        void progress(double) override {}
        bool interruptRequested() override { return false; }
    };
    const Evaluation empty;
    const Evaluation throwing = [](EvaluationContext& context) {
        if (context.sampleIndex == 555) {
            throw std::out_of_range("sample 555");
        }
        context.writeOutput(1.0, 1.0);
    };
    const IField emptyField =
        host(1, [](EvaluatorBuilder<double>& builder) { builder.currentNode()->evaluator = {}; });
    const IField wave = literal::node(1, throwing, {});
    for (const std::size_t threads : {1u, 2u, 7u}) {
        for (const bool isMonitored : {false, true}) {
            Quiet quiet;
            for (const bool isInner : {false, true}) {
                const auto over = [&](const IField& field) {
                    return isInner ? literal::node(1, evaluator(chains::Smaller{0}), {field, field}) : field;
                };
                FieldSampler sampler(over(emptyField).generator(), points(1000));
                sampler.threadCount = threads;
                EXPECT_THROW(sampler.run(isMonitored ? &quiet : nullptr), std::bad_function_call);
                sampler.generator = over(wave).generator();
                EXPECT_THROW(sampler.run(isMonitored ? &quiet : nullptr), std::out_of_range);
                sampler.generator = std::make_shared<SolidField<1, 3>>(4.0);
                EXPECT_TRUE(sampler.run(isMonitored ? &quiet : nullptr));
                EXPECT_EQ(sampler.targetNode.sampleBuffer->data[1998], 4.0);
            }
        }
    }
}

// One worker fails at once; the others, with 100 s of work, must not finish it first.
TEST(Sampler, AFailureStopsTheOtherWorkers)
{
    const IField field = literal::node(1,
                                       [](EvaluationContext& context) {
                                           if (context.sampleIndex == 0) {
                                               throw std::runtime_error("at once");
                                           }
                                           std::this_thread::sleep_for(std::chrono::milliseconds(1));
                                       },
                                       {});
    FieldSampler sampler(field.generator(), points(200000));
    sampler.threadCount = 2;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(sampler.run(), std::runtime_error);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
}

TEST(Sampler, ARunBuildsAnewAndEvaluatorsKeepWhatTheyTook)
{
    const auto solid = std::make_shared<SolidField<1, 3>>(1.0);
    FieldSampler sampler(solid, points(40));
    EXPECT_TRUE(sampler.needsBuild);
    sampler.run();
    EXPECT_FALSE(sampler.needsBuild);
    EXPECT_EQ(sampler.targetNode.sampleBuffer->data[78], 1.0);

    sampler.prepare();
    solid->fillValue.set({2.0});
    EvaluationContext context(sampler.slots);
    context.run(0, 39);
    EXPECT_EQ(sampler.targetNode.sampleBuffer->data[78], 1.0);
    sampler.run();
    EXPECT_EQ(sampler.targetNode.sampleBuffer->data[78], 2.0);
    sampler.domain = points(50);
    sampler.run();
    EXPECT_EQ(sampler.targetNode.sampleBuffer->count, 50u);
}

TEST(Sampler, ABuilderKnowsTheBounds)
{
    EvaluationBounds<3, double> seen;
    const IField field = host(1, [&](EvaluatorBuilder<double>& builder) {
        seen = std::any_cast<EvaluationBounds<3, double>>(builder.bounds());
    });
    FieldSampler sampler(field.generator(), points(3));
    sampler.run();
    EXPECT_FALSE(seen.fixed);
    ASSERT_TRUE(seen.domain);
    EXPECT_EQ(seen.domain->first, (Tensor<3, double>{0, -1, 2}));
    EXPECT_EQ(seen.domain->second, (Tensor<3, double>{1, 1, 2}));
}

} // namespace
} // namespace zrk
