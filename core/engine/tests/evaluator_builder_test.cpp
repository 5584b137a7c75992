#include "testing/host_field.h"
#include "testing/random_chain.h"

#include <gtest/gtest.h>

#include <pthread.h>

#include <chrono>
#include <stdexcept>

namespace zrk {
namespace {

using chains::host;

/// p plus the offset, in x.
struct Offset {
    double offset;
    template <class V>
    Tensor<3, V> operator()(const Tensor<3, V>& p) const
    {
        return {p[0] + V(offset), p[1], p[2]};
    }
};
struct FirstOf {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return p[0];
    }
};
struct Sum {
    template <class V>
    V operator()(const V& a, const V& b) const
    {
        return a + b;
    }
};

IField chainOf(int length)
{
    IField field = literal::position();
    for (int i = 0; i < length; ++i) {
        field = literal::node(3, evaluator(Offset{1}), {field});
    }
    return literal::node(1, evaluator(FirstOf{}), {field});
}

std::shared_ptr<PointListDomain> onePoint()
{
    return std::make_shared<PointListDomain>(std::vector<Tensor<3, double>>{{0.5, 0, 0}});
}

/// Runs work on a thread with a stack of so many bytes.
template <class Work>
void onStackOf(std::size_t bytes, Work work)
{
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
    pthread_t thread;
    const auto call = [](void* argument) -> void* {
        (*static_cast<Work*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, call, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST(EvaluatorBuilder, AChainOf5000NodesNeedsNoDeepStack)
{
    onStackOf(256 * 1024, [] {
        EXPECT_EQ(chains::records(chainOf(5000), onePoint())[0], 5000.5);
        // Between two closures the kernels run sample by sample.
        const IField counted = literal::node(3, chains::foreign(evaluator(Offset{1})), {literal::position()});
        IField field = counted;
        for (int i = 0; i < 5000; ++i) {
            field = literal::node(3, evaluator(Offset{1}), {field});
        }
        field = literal::node(1, chains::foreign(evaluator(FirstOf{})), {field});
        EXPECT_EQ(chains::records(field, onePoint())[0], 5001.5);
    });
}

TEST(EvaluatorBuilder, ALadderOfDiamondsIsAsLongAsItsRungs)
{
    IField field = literal::node(1, evaluator(FirstOf{}), {literal::position()});
    for (int i = 0; i < 40; ++i) {
        const IField left = literal::node(1, evaluator(Sum{}), {field, field});
        field = literal::node(1, evaluator(Sum{}), {left, field});
    }
    const auto start = std::chrono::steady_clock::now();
    FieldSampler sampler(field.generator(), onePoint());
    sampler.run();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    EXPECT_EQ(sampler.slots.size(), 83u);
    EXPECT_EQ(sampler.targetNode.sampleBuffer->data[0], 0.5 * std::pow(3.0, 40));
}

TEST(EvaluatorBuilder, SlotsStandUpstreamFirst)
{
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        FieldSampler sampler(chains::RandomChain(seed, chains::Closures::Selective).field().generator(),
                             onePoint());
        sampler.prepare();
        for (std::size_t i = 0; i < sampler.slots.size(); ++i) {
            const EvaluationNode& node = *sampler.slots[i].node;
            EXPECT_EQ(node.slotIndex, static_cast<std::int32_t>(i));
            for (const auto& input : node.inputs) {
                EXPECT_LT(input->slotIndex, node.slotIndex);
            }
            EXPECT_TRUE(!node.coordinates || node.coordinates->slotIndex < node.slotIndex);
        }
    }
}

/// Reads `field` where `mapping` takes the position.
IField seenThrough(const IField& mapping, const IField& field)
{
    return host(1, [=](EvaluatorBuilder<double>& builder) {
        builder.setEvaluator(evaluator(Sum{}));
        const auto positions = builder.addInput(mapping);
        builder.addInput(field, positions.get());
        std::swap(builder.currentNode()->inputs[0], builder.currentNode()->inputs[1]);
        builder.addInput(field);
        std::swap(builder.currentNode()->inputs[1], builder.currentNode()->inputs[2]);
    });
}

// A field asked at another field's positions: under two coordinates one generator is two nodes.
TEST(EvaluatorBuilder, FieldsAreAskedAtOtherPositions)
{
    const IField x = literal::node(1, evaluator(FirstOf{}), {literal::position()});
    const IField by10 = literal::node(3, evaluator(Offset{10}), {literal::position()});
    const IField by100 = literal::node(3, evaluator(Offset{100}), {literal::position()});
    const IField once = seenThrough(by10, x);
    EXPECT_EQ(chains::records(once, onePoint())[0], 10.5 + 0.5);
    // Within the outer one, the inner mapping takes positions that are mapped already.
    const IField nested = seenThrough(by100, once);
    EXPECT_EQ(chains::records(nested, onePoint())[0], (110.5 + 100.5) + (10.5 + 0.5));

    FieldSampler sampler(nested.generator(), chains::grid(9, 9, 9));
    sampler.prepare();
    std::size_t ofX = 0;
    for (const EvaluationSlot& slot : sampler.slots) {
        ofX += slot.node->generator == x.generator();
    }
    // At p, at p + 100, at p + 10 and at p + 110.
    EXPECT_EQ(ofX, 4u);
    EvaluationContext blocks(sampler.slots);
    blocks.run(0, 728);
    const std::vector<double> data =
        std::exchange(sampler.targetNode.sampleBuffer->data, std::vector<double>(1458));
    literal::run(sampler, 0, 728);
    EXPECT_TRUE(chains::sameBits(data, sampler.targetNode.sampleBuffer->data));
}

TEST(EvaluatorBuilder, EmptyInputsReadAsZerosOfWeightZero)
{
    const IField field = literal::node(1, evaluator(chains::Blend{1}), {IField(), IField()});
    EXPECT_EQ(chains::records(field, onePoint()), (std::vector<double>{0, 0}));
}

/// A field whose generator makes the nodes of its two inputs and visits them itself.
IField visiting(const IField& a, const IField& b, bool ownsBefore, std::vector<std::int32_t>* slots = nullptr)
{
    return host(1, [=](EvaluatorBuilder<double>& builder) {
        EvaluationNode* self = builder.currentNode();
        EvaluationNode* coordinates = builder.currentCoordinates();
        builder.setEvaluator(evaluator(Sum{}));
        for (const IField& field : {a, b}) {
            const auto input = std::make_shared<EvaluationNode>();
            input->reset(field.generator()->descriptor().outputShape, nullptr);
            input->generator = field.generator();
            if (ownsBefore) {
                self->inputs.push_back(input);
            }
            builder.visit(input.get());
            EXPECT_EQ(input->coordinates, coordinates);
            EXPECT_EQ(builder.currentNode(), self);
            EXPECT_EQ(builder.currentCoordinates(), coordinates);
            if (slots) {
                slots->push_back(input->slotIndex);
                EXPECT_EQ(builder.slots().back().node, input.get());
                EXPECT_TRUE(builder.slots().back().pending);
            }
            if (!ownsBefore) {
                self->inputs.push_back(input);
            }
        }
    });
}

// A node that a host makes and visits is asked at the positions of the node that reads it, and is built,
// slots and all, when the visit returns.
TEST(EvaluatorBuilder, ANodeMadeByAHostIsBuiltWhereItIsVisited)
{
    const IField x = literal::node(1, evaluator(FirstOf{}), {literal::position()});
    const IField sum = literal::node(1, evaluator(Sum{}), {x, x});
    for (const bool ownsBefore : {true, false}) {
        std::vector<std::int32_t> slots;
        const IField both = visiting(sum, x, ownsBefore, &slots);
        EXPECT_EQ(chains::records(both, onePoint())[0], 1.5);
        // The coordinates; the position, x and their sum; then a node of its own for x, which shares the
        // position.
        EXPECT_EQ(slots, (std::vector<std::int32_t>{3, 4}));
        // Under another node's coordinates, and inside of each other.
        const IField by10 = literal::node(3, evaluator(Offset{10}), {literal::position()});
        const IField inner = visiting(both, visiting(x, x, ownsBefore), ownsBefore);
        EXPECT_EQ(chains::records(seenThrough(by10, inner), onePoint())[0], 5 * 10.5 + 5 * 0.5);
    }
}

TEST(EvaluatorBuilder, ANodeThatWasAddedAndIsVisitedIsBuiltOnce)
{
    int builds = 0;
    const IField counted = host(1, [&](EvaluatorBuilder<double>& builder) {
        ++builds;
        builder.setEvaluator(evaluator(FirstOf{}));
        builder.addInput(literal::position());
    });
    const IField field = host(1, [&](EvaluatorBuilder<double>& builder) {
        builder.setEvaluator(evaluator(Sum{}));
        for (int k = 0; k < 2; ++k) {
            builder.visit(builder.addInput(counted).get());
        }
    });
    EXPECT_EQ(chains::records(field, onePoint())[0], 1.0);
    EXPECT_EQ(builds, 1);
}

/// Two nodes that read each other, `first` among them, as a careless host may wire them.
IField cycle(std::vector<std::weak_ptr<EvaluationNode>>& made)
{
    const auto fields = std::make_shared<std::vector<std::weak_ptr<IFieldGenerator>>>();
    const auto toOther = [fields, &made](std::size_t other) {
        return [fields, &made, other](EvaluatorBuilder<double>& builder) {
            made.push_back(builder.addInput(IField((*fields)[other].lock())));
        };
    };
    const IField a = host(1, toOther(1));
    const IField b = host(1, toOther(0));
    *fields = {a.generator(), b.generator()};
    // Held by `a` alone, and `a` by the caller.
    std::static_pointer_cast<chains::HostField>(a.generator())->keep.push_back(b);
    return a;
}

TEST(EvaluatorBuilder, ACycleIsRefusedAndReleased)
{
    std::vector<std::weak_ptr<EvaluationNode>> made;
    const IField one = cycle(made);
    const IField two = cycle(made);
    for (const IField& field : {one, literal::node(1, evaluator(Sum{}), {one, two})}) {
        {
            FieldSampler sampler(field.generator(), onePoint());
            EXPECT_THROW(sampler.run(), std::logic_error);
        }
        ASSERT_FALSE(made.empty());
        for (const auto& node : made) {
            EXPECT_TRUE(node.expired());
        }
    }
    const IField self = host(1, [](EvaluatorBuilder<double>& builder) {
        builder.currentNode()->coordinates = builder.currentNode();
    });
    const IField visited =
        host(1, [](EvaluatorBuilder<double>& builder) { builder.visit(builder.currentNode()); });
    const IField below = host(1, [](EvaluatorBuilder<double>& builder) {
        const auto input = std::make_shared<EvaluationNode>();
        input->reset(1, builder.currentNode());
        builder.visit(input.get());
        builder.currentNode()->inputs.push_back(input);
    });
    for (const IField& field : {self, visited, below}) {
        FieldSampler sampler(field.generator(), onePoint());
        EXPECT_THROW(sampler.run(), std::logic_error);
    }
}

} // namespace
} // namespace zrk
