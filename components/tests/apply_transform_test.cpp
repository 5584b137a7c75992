#include "components/transforms/apply_transform.h"

#include "components/operators/binary_operator.h"
#include "components/operators/mask.h"
#include "components/primitives/sphere_sdf.h"
#include "components/transforms/affine_transform.h"
#include "components/transforms/color_from_vec3.h"
#include "components/transforms/position_vec3.h"
#include "components/transforms/twist_transform.h"
#include "core/engine/field_bounds.h"
#include "core/engine/prepared_field.h"
#include "testing/component_checks.h"
#include "testing/literal_engine.h"

#include <cmath>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Node = ZRKGraph::Node;

/// A graph whose nodes are made and linked in one go.
struct Built {
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();

    template <class Component>
    Node add(std::initializer_list<Node> inputs = {}, const char* values = "{}")
    {
        const auto component = std::make_shared<Component>();
        load(*component, ZRKJson::parse(values));
        const Node node = graph->addNode(component);
        std::uint8_t k = 0;
        for (const Node& input : inputs) {
            EXPECT_EQ(graph->connect(out(input), in(node, k++)), ZRKLinkResult::Done);
        }
        return node;
    }
    Node sum(const Node& a, const Node& b) { return add<ZRKBinaryOperator>({a, b}, R"({"op_name": "add"})"); }
    /// x' = 2 x + 1
    Node doubling(std::initializer_list<Node> inputs = {})
    {
        return add<ZRKAffineTransform>(
            inputs, R"({"inverse": false, "translation": [1, 0, 0], "scaling": [2, 1, 1]})");
    }
};

struct Sampled {
    std::vector<double> blocks;
    std::vector<double> literal; ///< sample by sample
    std::size_t nodes;
};

Sampled sampleBothWays(const Node& node, const std::vector<Vector>& points)
{
    const auto domain = std::make_shared<zrk::PointListDomain>(points);
    zrk::FieldSampler sampler(outputField(node).generator(), domain);
    sampler.run();
    Sampled result{sampler.targetNode.sampleBuffer->data, {}, sampler.slots.size()};
    sampler.prepare();
    zrk::literal::run(sampler, 0, domain->sampleCount() - 1);
    result.literal = sampler.targetNode.sampleBuffer->data;
    return result;
}

TEST(ApplyTransform, TakesTypeValueAndWeightOfItsField)
{
    struct Case {
        Tag tag;
        std::vector<double> record;
    };
    const Case cases[] = {
        {Tag::Scalar, {1, 0.5}}, {Tag::Vector3d, {1, 2, 3, 0.5}}, {Tag::Color, {1, 2, 3, 4, 0.5}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.tag.name());
        Built built;
        const Node apply = built.add<ZRKApplyTransform>({built.add<ZRKTwistTransform>()});
        EXPECT_EQ(effectiveTag(outputPin(apply, 0)), Tag::None);
        EXPECT_FALSE(outputField(apply));
        built.graph->connect(out(built.graph->addNode(std::make_shared<Source>(c.tag, c.record))),
                             in(apply, 1));
        EXPECT_EQ(effectiveTag(outputPin(apply, 0)), c.tag);
        EXPECT_EQ(sample(outputField(apply), {0, 0, 0}), c.record);
    }
    EXPECT_EQ(stored(ZRKApplyTransform()), "{}");
}

TEST(ApplyTransform, WithoutAFieldWritesNothing)
{
    Built built;
    const Node apply = built.add<ZRKApplyTransform>({built.doubling()});
    const auto component = std::dynamic_pointer_cast<ZRKApplyTransform>(apply.object());
    const auto evaluation = component->getEvaluatorForPin(outputPin(apply, 0), built.graph->context());
    EXPECT_EQ(zrk::recognisedKernel(evaluation), zrk::recognisedKernel(zrk::doNothing()));
}

TEST(ApplyTransform, WithoutCoordinatesAsksAtThePositionsAsTheyCome)
{
    Built built;
    const Node apply = built.add<ZRKApplyTransform>();
    built.graph->connect(out(built.add<ZRKPositionVec3>()), in(apply, 1));
    EXPECT_EQ(sample(outputField(apply), {1, 2, 3}), (std::vector<double>{1, 2, 3, 1}));

    // Within another one these are the outer coordinates.
    const Node outer = built.add<ZRKApplyTransform>({built.doubling(), apply});
    EXPECT_EQ(sample(outputField(outer), {1, 2, 3}), (std::vector<double>{3, 2, 3, 1}));
}

TEST(ApplyTransform, ReachesWhatIsDeepInTheChainAndWhatHasCoordinates)
{
    Built built;
    // The sphere's own coordinates are turned by 90 degrees about z, and are themselves asked at 2 x + 1.
    const Node turned = built.add<ZRKAffineTransform>({}, R"({"inverse": false, "rotation": [0, 0, 90]})");
    const Node sphere = built.add<ZRKSphereSDF>({turned}, R"({"center": [0, 5, 0], "radius": 1})");
    const Node apply = built.add<ZRKApplyTransform>({built.doubling(), sphere});
    EXPECT_NEAR(sample(outputField(apply), {2, 0, 0})[0], -1, 1e-14);
    EXPECT_NEAR(sample(outputField(sphere), {5, 0, 0})[0], -1, 1e-14);
}

TEST(ApplyTransform, NestsFromTheOutsideInwards)
{
    Built built;
    const Node position = built.add<ZRKPositionVec3>();
    const Node shifted =
        built.add<ZRKAffineTransform>({}, R"({"inverse": false, "translation": [10, 0, 0]})");
    const Node inner = built.add<ZRKApplyTransform>({shifted, position});
    const Node outer = built.add<ZRKApplyTransform>({built.doubling(), inner});
    // The outer coordinates are taken first: (2 x + 1) + 10.
    EXPECT_EQ(sample(outputField(outer), {1, 0, 0})[0], 13);
    // Coordinates can be under an apply node too: x + 10 asked at 2 x + 1.
    const Node moved = built.add<ZRKApplyTransform>({built.doubling(), shifted});
    EXPECT_EQ(sample(outputField(built.add<ZRKApplyTransform>({moved, position})), {1, 0, 0})[0], 13);
}

TEST(ApplyTransform, SharesANodeUnderOneFieldOfCoordinatesAndNotUnderTwo)
{
    Built built;
    const Node position = built.add<ZRKPositionVec3>();
    const Node doubling = built.doubling();
    const Node first = built.add<ZRKApplyTransform>({doubling, position});
    const Node second = built.add<ZRKApplyTransform>({doubling, position});
    const Node both = built.sum(first, second);
    const Sampled shared = sampleBothWays(both, {{1, 2, 3}});
    EXPECT_EQ(shared.blocks, (std::vector<double>{6, 4, 6, 1}));
    // Domain, positions for the transform, the transform, the position under it, two applies, the sum.
    EXPECT_EQ(shared.nodes, 7u);

    // Once as it is, once doubled: the same component gives two values.
    const Node mixed = built.sum(position, first);
    const Sampled two = sampleBothWays(mixed, {{1, 2, 3}});
    EXPECT_EQ(two.blocks, (std::vector<double>{4, 4, 6, 1}));
    EXPECT_EQ(two.literal, two.blocks);
    EXPECT_EQ(two.nodes, 7u);
}

TEST(ApplyTransform, LaddersOfSharedNodesStayLinear)
{
    Built built;
    const Node doubling = built.doubling();
    Node nested = built.add<ZRKPositionVec3>();
    constexpr std::size_t kLevels = 12;
    for (std::size_t level = 0; level < kLevels; ++level) {
        nested = built.add<ZRKApplyTransform>({doubling, nested});
    }
    std::vector<Vector> points;
    std::vector<double> expected;
    for (int i = 0; i < 1300; ++i) {
        const double x = i * 0.25;
        points.push_back({x, 1, 2});
        expected.insert(expected.end(), {4096 * x + 4095, 1, 2, 1});
    }
    const Sampled deep = sampleBothWays(nested, points);
    EXPECT_EQ(deep.blocks, expected);
    EXPECT_EQ(deep.literal, expected);
    EXPECT_LE(deep.nodes, 3 * kLevels + 2);

    // Both inputs of each rung are the same node, all behind one apply.
    Node rung = built.add<ZRKPositionVec3>();
    for (int i = 0; i < 40; ++i) {
        rung = built.add<ZRKBinaryOperator>({rung, rung},
                                            R"({"op_name": "blend", "op_params": [0.5, 0, 0, 0]})");
    }
    const Sampled ladder = sampleBothWays(built.add<ZRKApplyTransform>({doubling, rung}), {{1, 2, 3}});
    EXPECT_EQ(ladder.blocks, (std::vector<double>{3, 2, 3, 1}));
    EXPECT_LE(ladder.nodes, 45u);
}

TEST(ApplyTransform, GivesTheSameBitsInBlocksAndSampleBySample)
{
    Built built;
    const Node sphere = built.add<ZRKSphereSDF>();
    const Node twist = built.add<ZRKTwistTransform>({}, R"({"angle": 40})");
    const Node once = built.add<ZRKApplyTransform>({twist, sphere});
    const Node twice = built.add<ZRKApplyTransform>({twist, once});
    const Node all = built.sum(built.sum(sphere, once), twice);
    std::vector<Vector> points;
    for (int i = 0; i < 700; ++i) {
        points.push_back({i * 0.01 - 3, 1 - i * 0.002, i * 0.003});
    }
    const Sampled sampled = sampleBothWays(all, points);
    EXPECT_EQ(sampled.blocks, sampled.literal);
    EXPECT_EQ(sampled.blocks.back(), 1);
}

TEST(ApplyTransform, HandsBoundsOn)
{
    Built built;
    const Node apply = built.add<ZRKApplyTransform>(
        {built.doubling(), built.add<ZRKColorFromVec3>({built.add<ZRKPositionVec3>()})});
    const zrk::FieldBounds bounds(outputField(apply).generator());
    const zrk::IntervalRecord record =
        bounds.over({zrk::Interval<double>{0, 1}, zrk::Interval<double>{2, 3}, zrk::Interval<double>{4, 5}});
    EXPECT_EQ(record.components[0].lower, 1);
    EXPECT_EQ(record.components[0].upper, 3);
    EXPECT_EQ(record.components[1].upper, 3);
    EXPECT_EQ(record.components[3].lower, 1);
    EXPECT_EQ(record.weight.upper, 1);
}

TEST(ApplyTransform, AsksWhereAnIdleMaskOfCoordinatesLeavesThem)
{
    Built built;
    const Node mask = built.add<ZRKMask>({built.doubling()});
    EXPECT_EQ(built.graph->connect(out(built.add<ZRKSphereSDF>({}, R"({"radius": -3})")), in(mask, 1)),
              ZRKLinkResult::Done);
    const Node ball = built.add<ZRKSphereSDF>({}, R"({"radius": 0.5})");
    const zrk::PreparedField field(outputField(built.add<ZRKApplyTransform>({mask, ball})));
    const zrk::Interval<double> side{-1, 1};
    const zrk::PreparedField simple = field.simplifiedFor({side, side, side});
    EXPECT_LT(simple.nodeCount(), field.nodeCount()) << "the mask is idle in the whole box";
    const double x = 0.25, y = -0.5, z = 0.75;
    double values[2];
    field.evaluate(&x, &y, &z, 1, &values[0]);
    simple.evaluate(&x, &y, &z, 1, &values[1]);
    EXPECT_EQ(values[0], std::sqrt(1.5 * 1.5 + 0.5 * 0.5 + 0.75 * 0.75) - 0.5);
    EXPECT_EQ(values[1], values[0]);
}

} // namespace
} // namespace zrkmodel
