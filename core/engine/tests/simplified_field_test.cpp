#include "core/engine/prepared_field.h"
#include "testing/ball_union.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace zrk {
namespace {

using chains::ball;
using chains::Closures;
using chains::combined;
using chains::RandomChain;
using chains::unionOfBalls;

/// 1 far below, 0 far above.
struct Cut {
    template <class V>
    V operator()(const V& d) const
    {
        return select(d < 0.0, V(1.0), select(d > 1.0, V(0.0), 1.0 - d));
    }
};

/// A kernel without bounds and without loops.
class Opaque final : public Kernel {
public:
    void sample(EvaluationContext& context) const override { context.writeOutput(0.5, 1.0); }
    void block(BlockRun& run) const override { run.outputConstant(0, 0.5); }
    KernelReads reads() const override { return {0, false}; }
};

double uniform(std::mt19937& random, double from, double to)
{
    return std::uniform_real_distribution<double>(from, to)(random);
}

PositionBox boxAround(std::mt19937& random, double reach, double size)
{
    PositionBox box;
    for (std::size_t c = 0; c < 3; ++c) {
        const double lower = uniform(random, -reach, reach);
        box[c] = {lower, lower + size};
    }
    return box;
}

PositionBox within(const PositionBox& box, std::mt19937& random)
{
    PositionBox part;
    for (std::size_t c = 0; c < 3; ++c) {
        const double a = uniform(random, box[c].lower, box[c].upper);
        const double b = uniform(random, box[c].lower, box[c].upper);
        part[c] = {std::min(a, b), std::max(a, b)};
    }
    return part;
}

/// Records at positions in a box, its corners among them.
struct Probe {
    static constexpr std::size_t kCount = 100;
    std::vector<double> x, y, z;

    Probe(const PositionBox& box, std::mt19937& random)
    {
        for (std::size_t i = 0; i < kCount; ++i) {
            std::vector<double>* const rows[3] = {&x, &y, &z};
            for (std::size_t c = 0; c < 3; ++c) {
                const bool isCorner = i < 8;
                const double end = (i >> c & 1u) != 0 ? box[c].upper : box[c].lower;
                rows[c]->push_back(isCorner ? end : uniform(random, box[c].lower, box[c].upper));
            }
        }
    }
    std::vector<double> of(const PreparedField& field) const
    {
        std::vector<double> values(2 * kCount);
        RecordArrays out;
        out.components[0] = values.data();
        out.weights = values.data() + kCount;
        field.evaluate({x.data(), y.data(), z.data(), kCount}, out);
        return values;
    }
};

TEST(SimplifiedField, HasTheSameBitsWithinItsBox)
{
    std::mt19937 random(11);
    std::size_t nodes = 0;
    std::size_t nodesLeft = 0;
    for (std::uint32_t seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const PreparedField field(RandomChain(seed, Closures::None).field());
        for (int round = 0; round < 6; ++round) {
            const PositionBox box = boxAround(random, 3, round % 2 ? 0.01 : 1.0);
            const PreparedField simple = field.simplifiedFor(box);
            const Probe probe(box, random);
            ASSERT_TRUE(chains::sameBits(probe.of(field), probe.of(simple)));
            nodes += field.nodeCount();
            nodesLeft += simple.nodeCount();

            const PositionBox part = within(box, random);
            const PreparedField simpler = simple.simplifiedFor(part);
            const Probe inPart(part, random);
            ASSERT_TRUE(chains::sameBits(inPart.of(field), inPart.of(simpler)));
            EXPECT_LE(simpler.nodeCount(), simple.nodeCount());
            const Interval<double> bounds = simple.bounds(part).components[0];
            const std::vector<double> records = inPart.of(field);
            for (std::size_t i = 0; i < Probe::kCount; ++i) {
                EXPECT_TRUE(bounds.contains(records[i])) << records[i];
            }
        }
    }
    EXPECT_LT(nodesLeft + 200, nodes); // of 7,494; most of these nodes decide nothing
}

TEST(SimplifiedField, LeavesOfAUnionWhatIsNear)
{
    const PreparedField field(unionOfBalls(64, 0.2));
    std::mt19937 random(12);
    constexpr std::size_t kBoxes = 150; // more than are bounded at a time
    std::vector<PositionBox> boxes;
    for (std::size_t i = 0; i < kBoxes; ++i) {
        boxes.push_back(boxAround(random, 1, 0.02));
    }
    std::vector<PreparedField> simple(kBoxes);
    field.simplifiedFor(boxes, simple);
    std::size_t nodes = 0;
    for (std::size_t i = 0; i < kBoxes; ++i) {
        nodes += simple[i].nodeCount();
        const Probe probe(boxes[i], random);
        ASSERT_TRUE(chains::sameBits(probe.of(field), probe.of(simple[i]))) << i;
        EXPECT_EQ(field.simplifiedFor(boxes[i]).nodeCount(), simple[i].nodeCount()) << i;
    }
    EXPECT_GT(field.nodeCount(), 64u + 63u);
    EXPECT_LT(static_cast<double>(nodes) / kBoxes, 8.0);
}

/// As `chains::Combined`, but of NaN and a number the first.
struct Lesser {
    static constexpr bool kKeepsUnitWeight = true;
    static constexpr bool kChooses = true;

    RowOperation rowOperation() const { return RowOperation::Minimum; }

    template <class V>
    Record<1, V> operator()(const Record<1, V>& a, const Record<1, V>& b) const
    {
        return {{minimum(a.value[0], b.value[0])}, maximum(a.weight, b.weight)};
    }
    std::array<BatchMask, 2> choices(const Record<1, IntervalBatch>& a,
                                     const Record<1, IntervalBatch>& b) const
    {
        return chains::Combined{RowOperation::Minimum}.choices(a, b);
    }
};

// What comes before the nearest ball in a chain of minima is left out because of what comes after it.
TEST(SimplifiedField, LeavesOutWhatAnyBranchExcludes)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const IField near = ball({0, 0, 0}, 1);
    const IField far = ball({4, 0, 0}, 1);
    const IField asFar = ball({0, 4.1, 0}, 1);
    const IField unknown = ball({0, 0, 0}, nan);
    constexpr auto kLesser = RowOperation::Minimum;
    constexpr auto kGreater = RowOperation::Maximum;
    const Interval<double> side{-0.2, 0.2};
    const PositionBox box{side, side, side};
    std::mt19937 random(15);
    const Probe probe(box, random);
    const auto negative = [](const IField& a) {
        return literal::node(1, Evaluator(std::make_shared<chains::NegatingKernel>()), {a});
    };
    const IField distant = combined(kLesser, far, asFar);
    const IField distantBelow = combined(kGreater, negative(far), negative(asFar));
    const IField blurred = combined(kLesser, far, unknown);
    const auto lesser = [](const IField& a, const IField& b) {
        return literal::node(1, evaluator(Lesser{}), {a, b});
    };
    const struct {
        IField field;
        std::size_t left; ///< nodes
    } cases[] = {
        {combined(kLesser, distant, near), 3},
        {combined(kLesser, near, distant), 3},
        {combined(kLesser, combined(kLesser, far, near), asFar), 3},
        {combined(kGreater, distantBelow, near), 3},
        // Another reader wants to know which of both is nearer.
        {combined(RowOperation::Add, combined(kLesser, distant, near), distant), 7},
        // Of what may be NaN nothing is known.
        {combined(kLesser, blurred, near), 7},
        {combined(kLesser, combined(kLesser, distant, unknown), near), 9},
        {lesser(lesser(far, unknown), near), 7},
    };
    for (const auto& c : cases) {
        const PreparedField field(c.field);
        const PreparedField simple = field.simplifiedFor(box);
        EXPECT_EQ(simple.nodeCount(), c.left) << &c - cases;
        EXPECT_TRUE(chains::sameBits(probe.of(field), probe.of(simple))) << &c - cases;
    }
}

/// NaN where x is larger.
struct Torn {
    template <class V>
    V operator()(const Tensor<3, V>& p) const
    {
        return select(p[0] > 0.0, V(std::numeric_limits<double>::quiet_NaN()), p[1]);
    }
};

TEST(SimplifiedField, HasTheSameBitsWhereBranchesShareAndMayBeNaN)
{
    std::mt19937 random(16);
    std::size_t nodes = 0;
    std::size_t nodesLeft = 0;
    for (int round = 0; round < 400; ++round) {
        std::vector<IField> fields;
        for (int i = 0; i < 6; ++i) {
            const double x = uniform(random, -2, 2);
            fields.push_back(ball({x, uniform(random, -2, 2), 0}, uniform(random, 0, 1)));
        }
        if (round % 2 == 0) {
            fields.push_back(literal::node(1, evaluator(Torn{}), {literal::position()}));
        }
        for (int i = 0; i < 14; ++i) {
            const auto any = [&] { return fields[random() % fields.size()]; };
            const IField first = any();
            const unsigned which = random() % 8;
            const RowOperation operation = which < 4   ? RowOperation::Minimum
                                           : which < 7 ? RowOperation::Maximum
                                                       : RowOperation::Subtract;
            fields.push_back(combined(operation, first, any()));
        }
        IField all = fields.back();
        for (std::size_t i = fields.size() - 6; i + 1 < fields.size(); ++i) {
            all = combined(random() % 2 ? RowOperation::Minimum : RowOperation::Maximum, all, fields[i]);
        }
        const PreparedField field(all);
        for (const double size : {0.05, 0.5}) {
            const PositionBox box = boxAround(random, 2, size);
            const PreparedField simple = field.simplifiedFor(box);
            const Probe probe(box, random);
            ASSERT_TRUE(chains::sameBits(probe.of(field), probe.of(simple))) << "round " << round;
            nodes += field.nodeCount();
            nodesLeft += simple.nodeCount();
        }
    }
    EXPECT_LT(2 * nodesLeft, nodes);
}

// Each would be wrong, if only in the sign of a zero or where a value is NaN, were it decided a little too
// early.
TEST(SimplifiedField, DecidesAtEqualValuesAsThePlainOne)
{
    const IField zero = ball({0, 0, 0}, 0);
    const IField negativeZero =
        literal::node(1, Evaluator(std::make_shared<chains::NegatingKernel>()), {zero});
    const IField operands[] = {zero, negativeZero, ball({0, 0, 0}, 1), ball({1, 0, 0}, 0),
                               ball({0, 0, 0}, std::numeric_limits<double>::quiet_NaN())};
    const PositionBox boxes[] = {
        {0.0, 0.0, 0.0}, {0.5, 0.0, 0.0}, {Interval<double>{0, 1}, Interval<double>{0, 1}, 0.0}};
    std::mt19937 random(13);
    for (const RowOperation operation : {RowOperation::Minimum, RowOperation::Maximum}) {
        for (const IField& a : operands) {
            for (const IField& b : operands) {
                const PreparedField field(combined(operation, a, b));
                for (const PositionBox& box : boxes) {
                    const Probe probe(box, random);
                    EXPECT_TRUE(chains::sameBits(probe.of(field), probe.of(field.simplifiedFor(box))));
                }
            }
        }
    }
}

TEST(SimplifiedField, KnowsWhatIsTheSameEverywhere)
{
    const IField cut = literal::node(1, evaluator(Cut{}), {ball({0, 0, 0}, 1)});
    const PreparedField field(combined(RowOperation::Multiply, cut, ball({0.5, 0, 0}, 0.25)));
    const Interval<double> inner{-0.1, 0.1};
    const PreparedField inside = field.simplifiedFor({inner, inner, inner});
    EXPECT_EQ(inside.nodeCount(), field.nodeCount() - 1); // the cut as a constant, its ball not at all
    std::mt19937 random(14);
    const Probe probe({inner, inner, inner}, random);
    EXPECT_TRUE(chains::sameBits(probe.of(field), probe.of(inside)));
    const PreparedField one(cut);
    EXPECT_EQ(one.simplifiedFor({inner, inner, inner}).nodeCount(), 1u);
    EXPECT_EQ(probe.of(one.simplifiedFor({inner, inner, inner})), std::vector<double>(200, 1.0));
}

TEST(SimplifiedField, StaysWholeWhereAClosureMayLook)
{
    const IField near = ball({0, 0, 0}, 1);
    const IField far = ball({100, 0, 0}, 1);
    const IField closure = literal::node(1, chains::foreign(evaluator(Cut{})), {far});
    const PreparedField field(combined(RowOperation::Minimum, near, closure));
    const Interval<double> side{-0.5, 0.5};
    const PositionBox box{side, side, side};
    EXPECT_EQ(field.simplifiedFor(box).nodeCount(), field.nodeCount());
    // By a kernel without bounds nothing is decided, but beside it much may be.
    const IField opaque = literal::node(1, Evaluator(std::make_shared<Opaque>()), {});
    const PreparedField unknown(combined(RowOperation::Minimum, near, opaque));
    EXPECT_EQ(unknown.simplifiedFor(box).nodeCount(), unknown.nodeCount());
    const PreparedField left(combined(RowOperation::Minimum, combined(RowOperation::Minimum, near, far),
                                      combined(RowOperation::Add, near, opaque)));
    EXPECT_LT(left.simplifiedFor(box).nodeCount(), left.nodeCount());
}

TEST(SimplifiedField, ServesManyThreads)
{
    const PreparedField field(unionOfBalls(32, 0.3));
    std::atomic<int> wrong{0};
    std::vector<std::jthread> threads;
    for (unsigned t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::mt19937 random(t);
            for (int round = 0; round < 100; ++round) {
                const PositionBox box = boxAround(random, 1, 0.1);
                const Probe probe(box, random);
                const PreparedField simple = field.simplifiedFor(box);
                wrong += !chains::sameBits(probe.of(simple), probe.of(field));
            }
        });
    }
    threads.clear();
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace zrk
