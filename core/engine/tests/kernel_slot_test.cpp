#include "core/engine/kernel_slot.h"

#include "core/engine/field_sampler.h"
#include "testing/literal_engine.h"

#include <gtest/gtest.h>

#include <atomic>

namespace zrk {
namespace {

/// One number everywhere. Reads its input, so that what stands there runs.
class Constant final : public Kernel {
public:
    explicit Constant(double value) : _value(value) {}

    KernelReads reads() const override { return {1, false}; }
    void sample(EvaluationContext& context) const override
    {
        context.readInput(0);
        context.writeOutput(_value, 1.0);
    }
    void block(BlockRun& run) const override { run.outputConstant(0, _value); }

private:
    double _value;
};

/// A slot, and a closure that fills it with the next number each time it is called.
struct ChangingSlot {
    std::shared_ptr<KernelSlot> slot = std::make_shared<KernelSlot>(std::make_shared<Constant>(0));
    std::atomic<int> last = 0;

    Evaluation change()
    {
        return [this](EvaluationContext& context) {
            slot->fill(std::make_shared<Constant>(++last));
            context.writeOutput(0.0, 1.0);
        };
    }
};

/// Reads both inputs and hands on the first.
void first(EvaluationContext& context)
{
    const double value = context.readInput(0)[0];
    context.readInput(1);
    context.writeOutput(value, 1.0);
}

struct Chain {
    const char* name;
    IField (*make)(ChangingSlot&);
};

IField ofSlot(ChangingSlot& changing, IField input)
{
    return literal::node(1, slotEvaluator(changing.slot), {std::move(input)});
}

const Chain kChains[] = {
    {"beside a closure",
     [](ChangingSlot& changing) {
         return literal::node(1, first,
                              {ofSlot(changing, literal::position()),
                               literal::node(1, changing.change(), {literal::position()})});
     }},
    {"between two closures",
     [](ChangingSlot& changing) {
         const IField change = literal::node(1, changing.change(), {literal::position()});
         return literal::node(1, first, {ofSlot(changing, change), change});
     }},
};

class Values final : public BlockSink {
public:
    explicit Values(std::size_t count) : values(count, -1.0) {}
    void take(std::int32_t first, std::size_t count, const Block& block) override
    {
        std::copy_n(block.row(0), count, values.begin() + first);
    }
    std::vector<double> values;
};

// The slot is filled at every sample; a run whose contexts or blocks look at it again mixes the numbers.
TEST(KernelSlot, IsReadOnceARun)
{
    constexpr std::size_t kCount = 5000;
    const auto domain = std::make_shared<PointListDomain>(std::vector<Tensor<3, double>>(kCount));
    for (const Chain& chain : kChains) {
        SCOPED_TRACE(chain.name);
        ChangingSlot changing;
        const IField field = chain.make(changing);
        FieldSampler sampler(field.generator(), domain);
        for (const std::size_t threads : {1, 3}) {
            SCOPED_TRACE(threads);
            sampler.threadCount = threads;
            for (int round = 0; round < 2; ++round) {
                int atBegin = changing.last;
                sampler.run();
                ASSERT_GT(changing.last, atBegin);
                for (std::size_t i = 0; i < kCount; ++i) {
                    ASSERT_EQ(sampler.targetNode.sampleBuffer->data[2 * i], atBegin) << i;
                }
                atBegin = changing.last;
                Values sink(kCount);
                sampler.sweep(sink);
                ASSERT_EQ(sink.values, std::vector<double>(kCount, atBegin));
            }
        }
        sampler.prepare();
        EvaluationContext context(sampler.slots);
        for (int round = 0; round < 2; ++round) {
            changing.slot->fill(std::make_shared<Constant>(changing.last));
            const int atBegin = changing.last;
            context.slots.back().pending = true;
            context.run(0, kCount - 1);
            ASSERT_GT(changing.last, atBegin);
            for (std::size_t i = 0; i < kCount; ++i) {
                ASSERT_EQ(sampler.targetNode.sampleBuffer->data[2 * i], atBegin) << i;
            }
        }
    }
}

TEST(KernelSlot, IsReadAtEachCallOutsideOfRuns)
{
    const auto slot = std::make_shared<KernelSlot>(std::make_shared<Constant>(1));
    const IField field = literal::node(1, slotEvaluator(slot), {literal::position()});
    FieldSampler sampler(field.generator(),
                         std::make_shared<PointListDomain>(std::vector<Tensor<3, double>>{{1, 2, 3}}));
    sampler.prepare();
    for (const double value : {1.0, 2.0}) {
        slot->fill(std::make_shared<Constant>(value));
        literal::run(sampler, 0, 0);
        EXPECT_EQ(sampler.targetNode.sampleBuffer->data[0], value);
    }
}

} // namespace
} // namespace zrk
