#include "core/engine/field_bounds.h"
#include "testing/host_field.h"
#include "testing/random_chain.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace zrk {
namespace {

using Box = Tensor<3, Interval<double>>;

Box randomBox(std::mt19937& random)
{
    std::uniform_real_distribution<double> centre(-3, 3);
    std::uniform_real_distribution<double> size(0, 1.5);
    Box box;
    for (int c = 0; c < 3; ++c) {
        const double from = centre(random);
        box[c] = {from, from + size(random)};
    }
    return box;
}

/// Positions in a box, its corners among them.
std::shared_ptr<PointListDomain> pointsIn(const Box& box, std::mt19937& random)
{
    std::vector<Tensor<3, double>> points;
    for (int i = 0; i < 200; ++i) {
        Tensor<3, double> p{};
        for (int c = 0; c < 3; ++c) {
            const double share = i < 8 ? i >> c & 1 : std::uniform_real_distribution<double>(0, 1)(random);
            p[c] =
                std::clamp(box[c].lower + share * (box[c].upper - box[c].lower), box[c].lower, box[c].upper);
        }
        points.push_back(p);
    }
    return std::make_shared<PointListDomain>(points);
}

void expectInside(const IField& field, const FieldBounds& bounds, const Box& box, std::mt19937& random)
{
    const IntervalRecord record = bounds.over(box);
    ASSERT_EQ(record.components.size(), 1u);
    const std::vector<double> samples = chains::records(field, pointsIn(box, random));
    for (std::size_t i = 0; i < samples.size(); i += 2) {
        EXPECT_TRUE(record.components[0].contains(samples[i])) << samples[i];
        EXPECT_TRUE(record.weight.contains(samples[i + 1])) << samples[i + 1];
    }
}

TEST(FieldBounds, HoldEverySampleAndItsWeight)
{
    std::mt19937 random(9);
    int bounded = 0;
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const IField field =
            chains::RandomChain(seed, seed % 4 ? chains::Closures::None : chains::Closures::Plain).field();
        const FieldBounds bounds(field.generator());
        for (int round = 0; round < 10; ++round) {
            const Box box = randomBox(random);
            expectInside(field, bounds, box, random);
            bounded += !bounds.over(box).components[0].isEntire();
        }
    }
    EXPECT_GT(bounded, 400);
}

TEST(FieldBounds, OfManyBoxesAreThoseOfEach)
{
    std::mt19937 random(19);
    for (std::uint32_t seed = 1; seed <= 20; ++seed) {
        const PreparedField field(
            chains::RandomChain(seed, seed % 4 ? chains::Closures::None : chains::Closures::Plain).field());
        for (const std::size_t count : {1u, 9u, 63u, 65u, 200u}) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", boxes " + std::to_string(count));
            std::vector<PositionBox> boxes(count);
            std::generate(boxes.begin(), boxes.end(), [&] { return randomBox(random); });
            std::vector<Interval<double>> values(count);
            std::vector<IntervalRecord> records(count);
            field.bounds(boxes, values.data());
            field.bounds(boxes, records.data());
            for (std::size_t i = 0; i < count; ++i) {
                const IntervalRecord one = field.bounds(boxes[i]);
                EXPECT_EQ(values[i].lower, one.components[0].lower);
                EXPECT_EQ(values[i].upper, one.components[0].upper);
                EXPECT_EQ(records[i].components[0].upper, one.components[0].upper);
                EXPECT_EQ(records[i].weight.lower, one.weight.lower);
                EXPECT_EQ(records[i].weight.upper, one.weight.upper);
            }
        }
    }
}

TEST(FieldBounds, OverASinglePointAreNarrow)
{
    const FieldBounds bounds(literal::node(1, evaluator(chains::Wave{1}), {literal::position()}).generator());
    const Interval<double> value = bounds.over({0.5, 2.0, 3.0}).components[0];
    EXPECT_NEAR(value.lower, std::sin(0.5) + 6, 1e-12);
    EXPECT_NEAR(value.upper, std::sin(0.5) + 6, 1e-12);
}

TEST(FieldBounds, FollowTheCoordinatesOfANode)
{
    const IField field = chains::host(1, [](EvaluatorBuilder<double>& builder) {
        builder.setEvaluator(evaluator(chains::Smaller{0}));
        const auto shear = literal::node(3, evaluator(chains::Shear{2}), {literal::position()});
        const auto moved = builder.addInput(shear);
        const IField wave = literal::node(1, evaluator(chains::Wave{1}), {literal::position()});
        builder.addInput(wave, moved.get());
        builder.addInput(wave);
        auto& inputs = builder.currentNode()->inputs;
        std::rotate(inputs.begin(), inputs.begin() + 1, inputs.end());
    });
    std::mt19937 random(10);
    const FieldBounds bounds(field.generator());
    for (int round = 0; round < 50; ++round) {
        expectInside(field, bounds, randomBox(random), random);
    }
}

TEST(FieldBounds, OfWhatCantBeBoundedAreEntire)
{
    struct Opaque final : Kernel {
        void sample(EvaluationContext& context) const override { context.writeOutput(1.0, 1.0); }
        void block(BlockRun& run) const override { std::fill_n(run.output(0), run.sampleCount(), 1.0); }
        KernelReads reads() const override { return {0, false}; }
    };
    const Evaluation wave = evaluator(chains::Wave{1});
    for (const Evaluation& opaque :
         {chains::foreign(wave), Evaluation(Evaluator(std::make_shared<Opaque>()))}) {
        const IField unknown = literal::node(1, opaque, {literal::position()});
        const IntervalRecord record = FieldBounds(unknown.generator()).over({0.0, 0.0, 0.0});
        EXPECT_TRUE(record.components[0].isEntire());
        EXPECT_TRUE(record.weight.isEntire());
        // The weight is that of the first input, which is known.
        const IField smaller = literal::node(1, evaluator(chains::Smaller{0}),
                                             {IField(std::make_shared<SolidField<1, 3>>(2.0)), unknown});
        EXPECT_FALSE(FieldBounds(smaller.generator()).over({0.0, 0.0, 0.0}).weight.isEntire());
    }
}

TEST(FieldBounds, OfNothingAreZero)
{
    const IntervalRecord solid = FieldBounds(nullptr).over({0.0, 0.0, 0.0});
    EXPECT_EQ(solid.components[0].upper, 0.0);
    EXPECT_EQ(solid.weight.lower, 1.0);
    const IntervalRecord silent =
        FieldBounds(literal::node(3, doNothing(), {}).generator()).over({0.0, 0.0, 0.0});
    ASSERT_EQ(silent.components.size(), 3u);
    EXPECT_EQ(silent.components[2].upper, 0.0);
    EXPECT_EQ(silent.weight.upper, 0.0);
}

} // namespace
} // namespace zrk
