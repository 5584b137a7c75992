#include "core/engine/prepared_field.h"
#include "testing/random_chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>
#include <optional>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

/// Allocations of this thread.
thread_local std::size_t allocations = 0;

[[maybe_unused]] void* allocated(std::size_t bytes, std::size_t alignment)
{
    ++allocations;
    const std::size_t rounded = (bytes + alignment - 1) / alignment * alignment;
    if (void* memory = std::aligned_alloc(alignment, rounded)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

// Sanitizers have operators of their own, all forms of which would have to be replaced.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kCountsAllocations = false;
#else
constexpr bool kCountsAllocations = true;
void* operator new(std::size_t bytes) { return allocated(bytes, alignof(std::max_align_t)); }
void* operator new(std::size_t bytes, std::align_val_t alignment)
{
    return allocated(bytes, static_cast<std::size_t>(alignment));
}
// Not inlined: GCC warns where it sees one of a pair without the other.
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    std::free(memory);
}
#endif

namespace zrk {
namespace {

using chains::Closures;
using chains::RandomChain;

/// Positions side by side, and what was found there.
struct Samples {
    std::vector<double> x, y, z;
    std::vector<double> value, second, weight;

    explicit Samples(std::size_t count, std::uint32_t seed = 1)
        : x(count), y(count), z(count), value(count), second(count), weight(count)
    {
        std::mt19937 random(seed);
        std::uniform_real_distribution<double> coordinate(-2, 2);
        for (std::vector<double>* row : {&x, &y, &z}) {
            std::generate(row->begin(), row->end(), [&] { return coordinate(random); });
        }
    }
    PositionArrays positions() const { return {x.data(), y.data(), z.data(), x.size()}; }
    void evaluate(const PreparedField& field)
    {
        RecordArrays out;
        out.components[0] = value.data();
        out.components[1] = second.data();
        out.weights = weight.data();
        field.evaluate(positions(), out);
    }
    std::shared_ptr<PointListDomain> domain() const
    {
        std::vector<Tensor<3, double>> points;
        for (std::size_t i = 0; i < x.size(); ++i) {
            points.push_back({x[i], y[i], z[i]});
        }
        return std::make_shared<PointListDomain>(points);
    }
};

// The sampler's records, bit by bit, for any number of positions.
TEST(PreparedField, AgreesWithTheSampler)
{
    for (const Closures closures : {Closures::None, Closures::Plain, Closures::Selective}) {
        for (std::uint32_t seed = 1; seed <= 15; ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            const IField chain = RandomChain(seed, closures).field();
            const IField colour =
                literal::node(4, evaluator(chains::Colour{0.5}), {literal::position(), chain});
            for (const IField& field : {chain, colour}) {
                const PreparedField prepared(field);
                const std::size_t n = prepared.componentCount();
                // Larger ones first and last: what a call leaves behind must not reach the next.
                for (const std::size_t count : {1500u, 1u, 0u, 7u, 1024u, 2500u}) {
                    Samples samples(count, seed);
                    samples.evaluate(prepared);
                    const std::vector<double> records = chains::records(field, samples.domain());
                    for (std::size_t i = 0; i < count; ++i) {
                        const double second = n > 1 ? records[i * (n + 1) + 1] : 0.0;
                        const double found[] = {samples.value[i], samples.second[i], samples.weight[i]};
                        const double expected[] = {records[i * (n + 1)], second, records[i * (n + 1) + n]};
                        ASSERT_TRUE(chains::sameBits(found, expected, 3)) << count << ", sample " << i;
                    }
                }
            }
        }
    }
}

TEST(PreparedField, ServesManyThreadsAtOnce)
{
    const IField field = RandomChain(3, Closures::Plain).field();
    const PreparedField prepared(field);
    Samples whole(3000);
    whole.evaluate(prepared);
    std::vector<std::jthread> threads;
    std::atomic<int> wrong{0};
    for (std::uint32_t t = 0; t < 4; ++t) {
        threads.emplace_back([&, t, copy = prepared] {
            std::mt19937 random(t);
            std::vector<double> values(1500);
            for (int round = 0; round < 40; ++round) {
                const std::size_t first = random() % 1500;
                copy.evaluate(whole.x.data() + first, whole.y.data() + first, whole.z.data() + first, 1500,
                              values.data());
                wrong += !chains::sameBits(values.data(), whole.value.data() + first, 1500);
            }
        });
    }
    threads.clear();
    EXPECT_EQ(wrong, 0);
}

TEST(PreparedField, AllocatesNothingOnceItHasRun)
{
    if (!kCountsAllocations) {
        GTEST_SKIP() << "allocations aren't counted";
    }
    for (const Closures closures : {Closures::None, Closures::Plain}) {
        for (std::uint32_t seed = 1; seed <= 10; ++seed) {
            const PreparedField prepared(RandomChain(seed, closures).field());
            Samples samples(2500);
            using Range = Interval<double>;
            const PositionBox boxes[] = {{Range{-1, 1}, Range{0, 2}, Range{1, 2}}, {0.0, 1.0, 2.0}};
            Range bounds[2];
            const auto work = [&] {
                const std::size_t before = allocations;
                samples.evaluate(prepared);
                prepared.evaluate(samples.x.data(), samples.y.data(), samples.z.data(), 1, &samples.value[0]);
                prepared.bounds(boxes, bounds);
                return allocations - before;
            };
            EXPECT_GT(work(), 0u); // what counts them works
            EXPECT_EQ(work(), 0u) << "seed " << seed;
        }
    }
}

TEST(PreparedField, KeepsAliveWhatItReads)
{
    std::weak_ptr<const std::vector<double>> alive;
    std::optional<PreparedField> prepared;
    {
        const auto table = std::make_shared<const std::vector<double>>(3, 7.0);
        alive = table;
        prepared.emplace(literal::node(1,
                                       [table](EvaluationContext& context) {
                                           context.writeOutput(table->at(2) + context.readInput(0)[0], 0.5);
                                       },
                                       {literal::position()}));
    }
    PreparedField copy = *prepared;
    prepared.reset();
    Samples samples(40);
    samples.evaluate(copy);
    EXPECT_EQ(samples.value[39], 7.0 + samples.x[39]);
    EXPECT_EQ(samples.weight[39], 0.5);
    EXPECT_FALSE(alive.expired());
    copy = PreparedField(IField());
    EXPECT_TRUE(alive.expired());
    samples.evaluate(copy);
    EXPECT_EQ(samples.value[39], 0.0);
    EXPECT_EQ(samples.weight[39], 1.0);
}

TEST(PreparedField, GoesOnAfterAnException)
{
    bool fails = true;
    const IField wave = literal::node(1, evaluator(chains::Wave{2}), {literal::position()});
    const PreparedField prepared(literal::node(1,
                                               [&fails](EvaluationContext& context) {
                                                   const double value = context.readInput(0)[0];
                                                   if (fails && context.sampleIndex == 1100) {
                                                       throw std::runtime_error("at sample 1100");
                                                   }
                                                   context.writeOutput(value, 1.0);
                                               },
                                               {wave}));
    Samples samples(1200);
    EXPECT_THROW(samples.evaluate(prepared), std::runtime_error);
    fails = false;
    samples.evaluate(prepared);
    Samples expected(1200);
    expected.evaluate(PreparedField(wave));
    EXPECT_TRUE(chains::sameBits(samples.value, expected.value));
}

/// Points whose weights are their x coordinates, or 1.
class WeightedPoints final : public EvaluationDomain<3, double> {
public:
    using EvaluationDomain::position;

    WeightedPoints(const Samples& samples, bool isWeighted) : _samples(samples), _isWeighted(isWeighted) {}
    std::optional<Corners<double>> bounds() const override { return {}; }
    std::int32_t sampleCount() const override { return static_cast<std::int32_t>(_samples.x.size()); }
    Tensor<4, double> position(std::int32_t i) const override
    {
        const auto k = static_cast<std::size_t>(i);
        return {_samples.x[k], _samples.y[k], _samples.z[k], _isWeighted ? _samples.x[k] : 1.0};
    }
    bool hasUnitWeights() const override { return !_isWeighted; }

private:
    const Samples& _samples;
    bool _isWeighted;
};

// Loops made for rows of weights are of no use without them, and the other way round.
TEST(PreparedField, TakesTheWeightsOfADomain)
{
    const Evaluation scaled = evaluator(chains::Blend{0.5});
    for (const bool isForeign : {false, true}) {
        const IField wave = literal::node(1, evaluator(chains::Wave{2}), {literal::position()});
        const PreparedField prepared(
            literal::node(1, isForeign ? chains::foreign(scaled) : scaled, {wave, wave}));
        Samples samples(2100);
        samples.evaluate(PreparedField(wave));
        const std::vector<double> waves = samples.value;
        for (const bool isWeighted : {false, true, true, false}) {
            SampleBufferData<double> records(1);
            records.resize(2100);
            BufferSink sink(records);
            prepared.sweep(WeightedPoints(samples, isWeighted), sink);
            for (std::size_t i = 0; i < 2100; ++i) {
                const double w = isWeighted ? samples.x[i] : 1.0;
                ASSERT_EQ(records.record(i)[0], waves[i] * w + waves[i] * 0.5) << i;
                ASSERT_EQ(records.record(i)[1], w * 0.5 + w) << i;
            }
        }
    }
}

// What one domain said of its own repeated coordinates is no use for the next.
TEST(PreparedField, SweepsOneGridAfterAnother)
{
    const IField field = literal::node(1, evaluator(chains::Wave{2}), {literal::position()});
    const PreparedField prepared(field);
    for (const double offset : {0.0, 0.5, 0.0}) {
        Region<3, 3, double, 1> region({-1, -1, -1}, {1, 1, 1}, 32, 32, 2);
        region.origin = {offset, 2 * offset, 0};
        const auto grid = std::make_shared<GridDomain>(region);
        SampleBufferData<double> records(1);
        records.resize(2048);
        BufferSink sink(records);
        prepared.sweep(*grid, sink);
        EXPECT_TRUE(chains::sameBits(records.data, chains::records(field, grid))) << offset;
    }
}

} // namespace
} // namespace zrk
