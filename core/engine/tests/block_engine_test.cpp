#include "core/engine/block_runner.h"
#include "testing/host_field.h"
#include "testing/random_chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <stdexcept>
#include <string>

namespace zrk {
namespace {

using chains::Closures;
using chains::Log;
using chains::RandomChain;
using chains::sameBits;

/// What a run leaves: the target's records, and every slot's last record.
struct Outcome {
    std::vector<double> records;
    std::vector<EvaluationSlot> slots;
};

template <class Run>
Outcome outcomeOf(const IField& field, Run run)
{
    FieldSampler sampler(field.generator(), chains::grid(31, 11, 9));
    sampler.prepare();
    EvaluationContext context(sampler.slots);
    run(context);
    return {sampler.targetNode.sampleBuffer->data, context.slots};
}

Outcome byBlocks(const IField& field, std::int32_t first = 0, std::int32_t last = 3068)
{
    return outcomeOf(field, [&](EvaluationContext& context) { context.run(first, last); });
}

/// The records of a sweep, whose positions come from the domain without weights, one range after the other.
std::vector<double> bySweep(const IField& field)
{
    const std::shared_ptr<GridDomain> grid = chains::grid(31, 11, 9);
    EvaluationNode coordinates;
    EvaluationNode target;
    coordinates.reset(3, nullptr);
    coordinates.positions = grid.get();
    EvaluationContext context(buildChain(field.generator(), coordinates, target));
    BlockRunner runner(std::make_shared<BlockPlan>(context.slots, static_cast<std::size_t>(target.slotIndex)),
                       context);
    SampleBufferData<double> records(target.outputShape);
    records.resize(3069);
    BufferSink sink(records);
    for (const auto& [first, last] : {std::pair(0, 2059), std::pair(2060, 3068)}) {
        EXPECT_TRUE(runner.sweep(first, last, sink));
    }
    return records.data;
}

Outcome literally(const IField& field, std::int32_t first = 0, std::int32_t last = 3068)
{
    return outcomeOf(field, [&](EvaluationContext& context) { literal::run(context, first, last); });
}

/// The slots are those of nodes which live no longer, so only their own members count.
void expectSame(const Outcome& a, const Outcome& b)
{
    EXPECT_TRUE(sameBits(a.records, b.records));
    ASSERT_EQ(a.slots.size(), b.slots.size());
    // Slot 0 is that of the positions, whose records the engines get in different ways.
    for (std::size_t i = 1; i < a.slots.size(); ++i) {
        EXPECT_EQ(a.slots[i].lastSample, b.slots[i].lastSample) << "slot " << i;
        EXPECT_TRUE(sameBits(a.slots[i].value, b.slots[i].value, kMaxRecord)) << "slot " << i;
        EXPECT_EQ(a.slots[i].pending, b.slots[i].pending) << "slot " << i;
    }
}

TEST(BlockEngine, ChainsOfKernelsAgreeWithOneSampleAtATime)
{
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const IField field = RandomChain(seed, Closures::None).field();
        const Outcome expected = literally(field);
        expectSame(byBlocks(field), expected);
        EXPECT_TRUE(sameBits(bySweep(field), expected.records));
    }
}

// A closure that computes what the kernel in its place computes changes no bit, wherever it stands.
TEST(BlockEngine, AnyNodeMayBeAForeignClosure)
{
    for (std::uint32_t seed = 1; seed <= 12; ++seed) {
        const RandomChain chain(seed, Closures::None);
        const std::vector<double> expected = byBlocks(chain.field()).records;
        for (std::size_t node = 0; node < chain.nodes.size(); ++node) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", node " + std::to_string(node));
            const auto log = std::make_shared<Log>();
            const IField field = chain.field([&](std::size_t i, const chains::NodePlan& plan) {
                return i == node ? chains::logged(plan.evaluation, log) : Evaluation();
            });
            EXPECT_TRUE(sameBits(bySweep(field), expected));
            log->clear();
            const Outcome blocks = byBlocks(field);
            EXPECT_TRUE(sameBits(blocks.records, expected));
            EXPECT_TRUE(std::is_sorted(log->begin(), log->end()));
            EXPECT_TRUE(log->empty() || log->size() == 3069) << log->size();
            expectSame(blocks, literally(field));
        }
    }
}

// Closures that write, or read an input, at some samples only: which closure runs when, and what a
// silent one leaves to its readers, must be as if each sample were computed by itself.
TEST(BlockEngine, SelectiveClosuresRunWhenTheyAreAsked)
{
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const RandomChain chain(seed, Closures::Selective);
        std::map<std::size_t, std::shared_ptr<Log>> logs;
        const IField field = chain.field([&](std::size_t i, const chains::NodePlan& plan) {
            const bool replace = !plan.isKernel || (seed + i) % 4 == 0;
            const auto log = std::make_shared<Log>();
            return replace ? logs[i] = log, chains::logged(plan.evaluation, log) : Evaluation();
        });
        const Outcome blocks = byBlocks(field);
        std::map<std::size_t, Log> ran;
        for (auto& [node, log] : logs) {
            ran[node] = std::exchange(*log, {});
        }
        expectSame(blocks, literally(field));
        for (auto& [node, log] : logs) {
            EXPECT_EQ(ran[node], *log) << "node " << node;
        }
    }
}

TEST(BlockEngine, BitsDontDependOnWhereARangeBegins)
{
    for (const Closures closures : {Closures::None, Closures::Plain}) {
        const IField field = RandomChain(7, closures).field();
        const std::vector<double> whole = byBlocks(field).records;
        for (const std::int32_t first : {0, 1, 7, 1023, 1024, 1025, 2049, 3068}) {
            for (const std::int32_t length : {1, 2, 8, 9, 255, 1025, 2060, 3069}) {
                SCOPED_TRACE(std::to_string(first) + " + " + std::to_string(length));
                const std::int32_t last = std::min(first + length, 3069) - 1;
                const std::vector<double> part = byBlocks(field, first, last).records;
                std::vector<double> expected(whole.size(), 0.0);
                std::copy(whole.begin() + 2 * first, whole.begin() + 2 * (last + 1),
                          expected.begin() + 2 * first);
                EXPECT_TRUE(sameBits(part, expected));
            }
        }
    }
}

TEST(BlockEngine, BitsDontDependOnTheThreads)
{
    for (std::uint32_t seed = 1; seed <= 6; ++seed) {
        for (const Closures closures : {Closures::None, Closures::Plain}) {
            const IField field = RandomChain(seed, closures).field();
            const std::vector<double> one = chains::records(field, chains::grid(31, 17, 11));
            for (std::size_t threads = 2; threads <= 8; ++threads) {
                EXPECT_TRUE(sameBits(chains::records(field, chains::grid(31, 17, 11), threads), one))
                    << "seed " << seed << ", " << threads << " threads";
            }
        }
    }
}

// The buffer keeps what it held where the target writes nothing.
TEST(BlockEngine, ATargetThatWritesNothingLeavesItsBuffer)
{
    const Evaluation odd = [](EvaluationContext& context) {
        if (context.sampleIndex % 2 == 1) {
            context.writeOutput(7.0, 1.0);
        }
    };
    for (const Evaluation& evaluation : {odd, doNothing()}) {
        FieldSampler sampler(literal::node(1, evaluation, {}).generator(), chains::grid(4, 4, 4));
        sampler.prepare();
        std::vector<double>& data = sampler.targetNode.sampleBuffer->data;
        std::fill(data.begin(), data.end(), 3.0);
        EvaluationContext context(sampler.slots);
        context.run(0, 63);
        EXPECT_EQ(data[0], 3.0);
        EXPECT_EQ(data[1], 3.0);
        EXPECT_EQ(data[2], evaluation.target<Evaluator>() ? 3.0 : 7.0);
    }
}

/// A runner of a prepared sampler's chain.
BlockRunner runnerOf(EvaluationContext& context, std::size_t target)
{
    return BlockRunner(std::make_shared<BlockPlan>(context.slots, target), context);
}

// After an exception runner and context go on: nothing of the broken block is taken for good.
TEST(BlockEngine, GoesOnAfterAnException)
{
    const auto fail = std::make_shared<bool>(true);
    const IField wave = literal::node(1, evaluator(chains::Wave{2}), {literal::position()});
    const IField field = literal::node(1,
                                       [fail](EvaluationContext& context) {
                                           const double value = context.readInput(0)[0];
                                           if (*fail && context.sampleIndex == 40) {
                                               throw std::runtime_error("at sample 40");
                                           }
                                           context.writeOutput(value, 1.0);
                                       },
                                       {wave});
    FieldSampler sampler(field.generator(), chains::grid(31, 11, 9));
    sampler.prepare();
    std::vector<double>& data = sampler.targetNode.sampleBuffer->data;
    BufferSink sink(*sampler.targetNode.sampleBuffer);
    EvaluationContext context(sampler.slots);
    const auto target = static_cast<std::size_t>(sampler.targetNode.slotIndex);
    BlockRunner runner = runnerOf(context, target);
    EXPECT_THROW(runner.sweep(0, 3068, sink), std::runtime_error);
    EXPECT_TRUE(context.slotStack.empty());
    EXPECT_THROW(context.run(0, 3068), std::runtime_error);
    *fail = false;
    EXPECT_TRUE(runner.sweep(0, 3068, sink));
    const std::vector<double> waves = std::exchange(data, std::vector<double>(6138));
    EXPECT_TRUE(sameBits(waves, chains::records(wave, chains::grid(31, 11, 9))));
    context.run(0, 3068);
    EXPECT_TRUE(sameBits(data, waves));
}

// The slots of a context are open; a closure exchanged between two runs is the one that runs.
TEST(BlockEngine, ASecondRunTakesTheSlotsAsTheyAre)
{
    FieldSampler sampler(literal::node(1, evaluator(chains::Wave{2}), {literal::position()}).generator(),
                         chains::grid(31, 11, 9));
    sampler.prepare();
    EvaluationContext context(sampler.slots);
    context.run(0, 3068);
    EvaluationSlot& target = context.slots.back();
    target.evaluator = evaluator(chains::Wave{3});
    target.pending = true;
    context.run(0, 3068);
    const IField expected = literal::node(1, evaluator(chains::Wave{3}), {literal::position()});
    EXPECT_TRUE(
        sameBits(sampler.targetNode.sampleBuffer->data, chains::records(expected, chains::grid(31, 11, 9))));
}

/// Zeros of both signs, infinities and NaN at some positions.
struct Special {
    double order;
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        const V x = round(p[0] * 2.0) * order;
        return select(p[1] > 0.25, x, x / (round(p[2] * 2.0) * 0.0 + x));
    }
};

// Loops are joined, which must not change what minima and differences give for NaN, zeros and infinities, on
// either side, however many follow each other, and whoever else reads what lies between.
TEST(BlockEngine, JoinedLoopsKeepEveryBit)
{
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        const auto special = [&] {
            const double order = random() % 2 ? 1.0 : -1.0;
            return literal::node(1, evaluator(Special{order}), {literal::position()});
        };
        IField field = special();
        IField shared = special();
        for (int depth = 0; depth < 9; ++depth) {
            const auto operation = static_cast<RowOperation>(1 + random() % 5);
            const IField other = random() % 4 == 0 ? shared : random() % 5 == 0 ? field : special();
            if (random() % 4 == 0) {
                shared = field;
                field = literal::node(1, Evaluator(std::make_shared<chains::ForwardingKernel>()), {field});
            }
            const bool isFirst = random() % 2 == 0;
            field = literal::node(1, evaluator(chains::Combined{operation}),
                                  {isFirst ? field : other, isFirst ? other : field});
        }
        const Outcome expected = literally(field);
        expectSame(byBlocks(field), expected);
        EXPECT_TRUE(sameBits(bySweep(field), expected.records));
    }
}

// A domain that fails has left some coordinates of a block unwritten, and they aren't taken for a later one.
TEST(BlockEngine, PositionsAreWholeAfterAFailure)
{
    struct Failing final : EvaluationDomain<3, double> {
        using EvaluationDomain::position;
        std::shared_ptr<GridDomain> grid = chains::grid(31, 11, 9);
        bool fails = true;
        std::optional<Corners<double>> bounds() const override { return grid->bounds(); }
        std::int32_t sampleCount() const override { return grid->sampleCount(); }
        Tensor<4, double> position(std::int32_t i) const override
        {
            if (fails && i == 2500) {
                throw std::runtime_error("no position");
            }
            return grid->position(i);
        }
        std::array<bool, 3> repeatedPositions(std::int32_t earlier, std::int32_t first,
                                              std::int32_t count) const override
        {
            return grid->repeatedPositions(earlier, first, count);
        }
    };
    const IField field = literal::node(1, evaluator(chains::Wave{2}), {literal::position()});
    const auto domain = std::make_shared<Failing>();
    EvaluationNode coordinates;
    EvaluationNode target;
    coordinates.reset(3, nullptr);
    coordinates.positions = domain.get();
    EvaluationContext context(buildChain(field.generator(), coordinates, target));
    BlockRunner runner = runnerOf(context, static_cast<std::size_t>(target.slotIndex));
    SampleBufferData<double> records(1);
    records.resize(3069);
    BufferSink sink(records);
    EXPECT_THROW(runner.sweep(0, 3068, sink), std::runtime_error);
    domain->fails = false;
    // The block from 1024 on again, whose coordinates were written before those of the block that failed.
    EXPECT_TRUE(runner.sweep(1024, 3068, sink));
    EXPECT_TRUE(sameBits(records.data, chains::records(field, domain->grid)));
}

TEST(BlockEngine, SampleIndicesReachToTheLargest)
{
    struct Line final : EvaluationDomain<3, double> {
        using EvaluationDomain::position;
        std::optional<Corners<double>> bounds() const override { return {}; }
        std::int32_t sampleCount() const override { return std::numeric_limits<std::int32_t>::max(); }
        Tensor<4, double> position(std::int32_t i) const override
        {
            return {static_cast<double>(i), 1, 2, 1};
        }
    };
    struct Last final : BlockSink {
        std::int64_t samples = 0;
        double value = 0;
        void take(std::int32_t, std::size_t count, const Block& block) override
        {
            samples += static_cast<std::int64_t>(count);
            value = block.row(0)[count - 1];
        }
    };
    for (const bool isForeign : {false, true}) {
        const Evaluation shear = evaluator(chains::Shear{0});
        const IField field =
            literal::node(3, isForeign ? chains::foreign(shear) : shear, {literal::position()});
        const Line line;
        Last sink;
        EvaluationNode coordinates;
        EvaluationNode target;
        coordinates.reset(3, nullptr);
        coordinates.positions = &line;
        EvaluationContext context(buildChain(field.generator(), coordinates, target));
        const std::int32_t end = std::numeric_limits<std::int32_t>::max() - 1;
        EXPECT_TRUE(runnerOf(context, context.slots.size() - 1).sweep(end - 700, end, sink));
        EXPECT_EQ(sink.samples, 701);
        EXPECT_EQ(sink.value, end);
    }
}

/// Reads two inputs and the position, in an order that closures see.
class OrderedReader final : public Kernel {
public:
    explicit OrderedReader(ReadOrder order, bool readsPosition) : _reads{2, readsPosition, order} {}

    KernelReads reads() const override { return _reads; }
    void sample(EvaluationContext&) const override {}
    void block(BlockRun& run) const override { run.outputConstant(0, 0); }

private:
    KernelReads _reads;
};

// The position, too, may come from a closure: that of another node.
TEST(BlockEngine, RunsClosuresInTheOrderInWhichTheKernelReads)
{
    struct Case {
        ReadOrder order;
        const char* notes;
    };
    for (const Case& c : {Case{ReadOrder::inputsFirst, "01p"}, Case{ReadOrder::coordinatesFirst, "p01"},
                          Case{ReadOrder::lastInputFirst, "10p"}}) {
        std::string notes;
        const auto noted = [&notes](std::uint32_t shape, char sign) {
            return literal::node(shape,
                                 [&notes, shape, sign](EvaluationContext& context) {
                                     notes += sign;
                                     shape == 1 ? context.writeOutput(0.0, 1.0)
                                                : context.writeOutput(Tensor<3, double>{0, 0, 0}, 1.0);
                                 },
                                 {});
        };
        const IField place = noted(3, 'p');
        const IField reader = literal::node(1, Evaluator(std::make_shared<OrderedReader>(c.order, true)),
                                            {noted(1, '0'), noted(1, '1')});
        const IField field = chains::host(1, [&](EvaluatorBuilder<double>& builder) {
            builder.setEvaluator(
                Evaluator(std::make_shared<OrderedReader>(ReadOrder::lastInputFirst, false)));
            builder.addInput(reader, builder.addInput(place).get());
        });
        FieldSampler sampler(field.generator(),
                             std::make_shared<PointListDomain>(std::vector<Tensor<3, double>>{{0, 0, 0}}));
        sampler.run();
        EXPECT_EQ(notes, c.notes);
    }
}

} // namespace
} // namespace zrk
