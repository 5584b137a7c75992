#include "components/transforms/color_from_vec3.h"
#include "components/transforms/combine_components.h"
#include "components/transforms/norm_vec3.h"
#include "components/transforms/normalize_vec3.h"
#include "components/transforms/position_vec3.h"
#include "components/transforms/split_components.h"
#include "core/engine/field_bounds.h"
#include "core/engine/formula.h"
#include "core/values/matrix4.h"
#include "testing/component_checks.h"
#include "testing/literal_engine.h"
#include "testing/special_values.h"

#include <optional>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Record = std::vector<double>;

using zrk::testing::kNaN;

/// Values for the inputs of a component. An empty one leaves its pin unconnected.
zrk::IField fieldOf(const std::shared_ptr<ZRKGraphObject>& component, const std::vector<Record>& inputs,
                    unsigned char output, const std::shared_ptr<ZRKGraph>& graph)
{
    const ZRKGraph::Node node = graph->addNode(component);
    for (std::size_t k = 0; k < inputs.size(); ++k) {
        if (inputs[k].empty()) {
            continue;
        }
        const Tag tag = inputPin(node, static_cast<int>(k)).pin()->tag;
        const ZRKGraph::Node source = graph->addNode(std::make_shared<Source>(tag, inputs[k]));
        EXPECT_EQ(graph->connect(out(source), in(node, static_cast<std::uint8_t>(k))), ZRKLinkResult::Done);
    }
    return std::dynamic_pointer_cast<ZRKFieldObject>(component)->realizeField(node, output);
}

/// Returns the record, which must be the same in a block and sample by sample. NaN is returned as -77.
Record sampleOf(const std::shared_ptr<ZRKGraphObject>& component, const std::vector<Record>& inputs,
                unsigned char output = 0)
{
    const auto graph = ZRKGraph::create();
    const zrk::IField field = fieldOf(component, inputs, output, graph);
    Record record = sample(field, {0, 0, 0});
    zrk::FieldSampler sampler(field.generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>(1)));
    sampler.prepare();
    zrk::literal::run(sampler, 0, 0);
    Record literal = sampler.targetNode.sampleBuffer->data;
    const auto legible = [](Record& values) {
        std::replace_if(
            values.begin(), values.end(), [](double v) { return std::isnan(v); }, -77.0);
    };
    legible(record);
    legible(literal);
    EXPECT_EQ(record, literal);
    return record;
}

TEST(VectorComponents, GiveValueAndWeight)
{
    struct Case {
        const char* name;
        std::shared_ptr<ZRKGraphObject> component;
        std::vector<Record> inputs;
        unsigned char output;
        Record expected;
    };
    const auto normalize = [] { return std::make_shared<ZRKNormalizeVec3>(); };
    const auto norm = [] { return std::make_shared<ZRKNormVec3>(); };
    const auto color = [] { return std::make_shared<ZRKColorFromVec3>(); };
    const auto split3 = [] { return std::make_shared<ZRKVector3SplitComponents>(); };
    const auto split4 = [] { return std::make_shared<ZRKRGBASplitComponents>(); };
    const auto combine3 = [] { return std::make_shared<ZRKVector3CombineComponents>(); };
    const auto combine4 = [] { return std::make_shared<ZRKRGBACombineComponents>(); };
    const Case cases[] = {
        {"direction", normalize(), {{3, 0, 4, 0.25}}, 0, {0.6, 0, 0.8, 0.25}},
        {"direction of zero", normalize(), {{0, 0, 0, 0.5}}, 0, {0, 0, 0, 0.5}},
        {"direction of NaN", normalize(), {{kNaN, 0, 1, 1}}, 0, {-77, -77, -77, 1}},
        {"length", norm(), {{3, 0, -4, 0.25}}, 0, {5, 0.25}},
        {"opaque colour", color(), {{1, 2, 3, 0.25}}, 0, {1, 2, 3, 1, 0.25}},
        {"colour with alpha, whose weight is dropped",
         color(),
         {{1, 2, 3, 0.25}, {0.5, 4}},
         0,
         {1, 2, 3, 0.5, 0.25}},
        {"x", split3(), {{1, 2, 3, 0.5}}, 0, {1, 0.5}},
        {"y", split3(), {{1, 2, 3, 0.5}}, 1, {2, 0.5}},
        {"z", split3(), {{1, 2, 3, 0.5}}, 2, {3, 0.5}},
        {"red", split4(), {{1, 2, 3, 4, 0.5}}, 0, {1, 0.5}},
        {"alpha", split4(), {{1, 2, 3, 4, 0.5}}, 3, {4, 0.5}},
        {"largest weight", combine3(), {{1, 0.2}, {2, 0.7}, {3, 0.5}}, 0, {1, 2, 3, 0.7}},
        {"weights of one", combine3(), {{1, 1}, {2, 1}, {3, 1}}, 0, {1, 2, 3, 1}},
        {"negative weights", combine3(), {{1, -2}, {2, -1}, {3, -3}}, 0, {1, 2, 3, 0}},
        {"a NaN weight is skipped", combine3(), {{1, 0.5}, {2, kNaN}, {3, 0.25}}, 0, {1, 2, 3, 0.5}},
        {"a NaN weight first", combine3(), {{1, kNaN}, {2, 0.5}, {3, 0.25}}, 0, {1, 2, 3, 0.5}},
        {"a NaN weight last", combine3(), {{1, 0.5}, {2, 0.25}, {3, kNaN}}, 0, {1, 2, 3, 0.5}},
        {"NaN weights only", combine3(), {{1, kNaN}, {2, kNaN}, {3, kNaN}}, 0, {1, 2, 3, 0}},
        {"unconnected is 0 with weight 0", combine3(), {{1, -1}, {}, {3, -1}}, 0, {1, 0, 3, 0}},
        {"nothing connected", combine3(), {}, 0, {0, 0, 0, 0}},
        {"colour of scalars", combine4(), {{1, 0.1}, {2, 0.2}, {3, 0.3}, {4, 0.9}}, 0, {1, 2, 3, 4, 0.9}},
        {"splitting nothing", split3(), {}, 2, {0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(sampleOf(c.component, c.inputs, c.output), c.expected);
    }
}

TEST(VectorComponents, HaveTheirStoredForm)
{
    EXPECT_EQ(stored(ZRKColorFromVec3()), "{}");
    EXPECT_EQ(stored(ZRKRGBACombineComponents()), "{}");
    expectStoredForm<ZRKPositionVec3>(R"({"normalized":false,"object space coords":false})",
                                      R"({"normalized":true,"object space coords":true})");
}

TEST(ColorFromVec3, FindsAlphaWhenItIsBuilt)
{
    const auto graph = ZRKGraph::create();
    const auto component = std::make_shared<ZRKColorFromVec3>();
    const zrk::IField field = fieldOf(component, {{1, 2, 3, 1}}, 0, graph);
    EXPECT_EQ(sample(field, {0, 0, 0})[3], 1);
    const ZRKGraph::Node alpha = graph->addNode(std::make_shared<Source>(Tag::Scalar, Record{0.25, 1}));
    graph->connect(out(alpha), in(graph->node(0), 1));
    EXPECT_EQ(sample(field, {0, 0, 0})[3], 0.25);
}

struct Model : ZRKContext {
    std::optional<zrk::BBox<double>> bounds;
    std::optional<zrk::BBox<double>> localBounds;
    std::optional<zrk::Matrix4> transform;

    Model() = default;
    Model(std::optional<zrk::BBox<double>> box, std::optional<zrk::BBox<double>> localBox,
          std::optional<zrk::Matrix4> matrix)
        : bounds(std::move(box)), localBounds(std::move(localBox)), transform(std::move(matrix))
    {}
    std::optional<zrk::BBox<double>> modelBounds() const override { return bounds; }
    std::optional<zrk::BBox<double>> modelLocalBounds() const override { return localBounds; }
    std::optional<zrk::Matrix4> modelTransform() const override { return transform; }
};

TEST(PositionVec3, ChoosesItsFormByPropertiesAndContext)
{
    const zrk::BBox<double> box({0, 0, 0}, {2, 4, 8});
    const zrk::BBox<double> localBox({-2, 0, 0}, {0, 1, 4});
    const zrk::Matrix4 transform{2, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 3, 0, 0, 1};
    struct Case {
        const char* name;
        bool normalized;
        bool objectSpace;
        Model model;
        Vector expected; ///< of (1, 1, 1)
    };
    const Case cases[] = {
        {"plain", false, false, {box, localBox, transform}, {1, 1, 1}},
        {"normalized", true, false, {box, localBox, transform}, {0.5, 0.25, 0.125}},
        {"normalized without a box", true, false, {{}, localBox, transform}, {1, 1, 1}},
        {"object space", false, true, {box, localBox, transform}, {-1, 1, 1}},
        {"object space without a transform", false, true, {box, localBox, {}}, {1, 1, 1}},
        {"both", true, true, {box, localBox, transform}, {0.5, 1, 0.25}},
        {"both without a local box", true, true, {box, {}, transform}, {-1, 1, 1}},
        {"both without a transform", true, true, {box, localBox, {}}, {0.5, 0.25, 0.125}},
        {"both without anything", true, true, {}, {1, 1, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto component = std::make_shared<ZRKPositionVec3>();
        component->normalized.set(c.normalized);
        component->objectSpace.set(c.objectSpace);
        const auto graph = ZRKGraph::create();
        graph->setContext(std::make_shared<Model>(c.model));
        const zrk::IField field = fieldOf(component, {}, 0, graph);
        EXPECT_EQ(sample(field, {1, 1, 1}), (Record{c.expected[0], c.expected[1], c.expected[2], 1}));
    }
}

/// Compares both engines over more samples than a block has, with a formula that no component has.
struct Product {
    template <class V>
    V operator()(const zrk::Tensor<3, V>& p) const
    {
        return p[0] * p[1] * p[2];
    }
};

TEST(PositionFormula, GivesTheSameInBlocksSampleBySampleAndAsBounds)
{
    const zrk::IField field = zrk::literal::node(1, zrk::positionEvaluator(Product{}), {});
    std::vector<Vector> points;
    for (int i = 0; i < 700; ++i) {
        points.push_back({i * 0.1, i - 300.0, 1 - i * 0.01});
    }
    zrk::FieldSampler sampler(field.generator(), std::make_shared<zrk::PointListDomain>(points));
    sampler.run();
    const Record blocks = sampler.targetNode.sampleBuffer->data;
    sampler.prepare();
    zrk::literal::run(sampler, 0, 699);
    EXPECT_EQ(blocks, sampler.targetNode.sampleBuffer->data);
    for (std::size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(blocks[2 * i], Product{}(points[i]));
        EXPECT_EQ(blocks[2 * i + 1], 1);
    }
    const zrk::IntervalRecord bounds =
        zrk::FieldBounds(field.generator())
            .over({zrk::Interval<double>{1, 2}, zrk::Interval<double>{-1, 3}, zrk::Interval<double>{2, 2}});
    EXPECT_EQ(bounds.components[0].lower, -4);
    EXPECT_EQ(bounds.components[0].upper, 12);
}

} // namespace
} // namespace zrkmodel
