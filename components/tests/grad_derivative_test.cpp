#include "components/operators/grad_derivative.h"

#include "components/mesh/mesh_sdf.h"
#include "components/primitives/sphere_sdf.h"
#include "components/transforms/affine_transform.h"
#include "components/transforms/apply_transform.h"
#include "components/transforms/norm_vec3.h"
#include "core/engine/field_bounds.h"
#include "core/engine/formula.h"
#include "testing/component_checks.h"
#include "testing/literal_engine.h"
#include "testing/temporary_folder.h"

#include <functional>
#include <stdexcept>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Node = ZRKGraph::Node;
using Function = std::function<double(const Vector&)>;

/// A scalar field as a host's closure, with the weight of the position.
class FunctionField final : public ZRKExtensionBase {
public:
    explicit FunctionField(Function function) : _function(std::move(function)) {}

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addOutputPin(node, Tag::Scalar, "out");
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override
    {
        return [function = _function](zrk::EvaluationContext& context) {
            const double* p = context.readCoordinates();
            const Vector position{p[0], p[1], p[2]};
            const double weight = p[3];
            context.writeOutput(function(position), weight);
        };
    }

private:
    Function _function;
};

/// The product of the coordinates as a kernel of the engine.
struct Product {
    template <class V>
    V operator()(const zrk::Tensor<3, V>& p) const
    {
        return p[0] * p[1] * p[2];
    }
};

class ProductField final : public ZRKExtensionBase {
public:
    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addOutputPin(node, Tag::Scalar, "out");
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override
    {
        return zrk::positionEvaluator(Product{});
    }
};

/// Differences of values near 1 over 4 steps of 0.001.
constexpr double kRounding = 1e-12;

struct Gradients {
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();

    Node gradientOf(const Node& field, bool normalize = false)
    {
        const auto component = std::make_shared<ZRKGradDerivative>();
        component->normalize.set(normalize);
        return linked(component, {field});
    }
    Node linked(const std::shared_ptr<ZRKGraphObject>& component, std::initializer_list<Node> inputs = {})
    {
        const Node node = graph->addNode(component);
        std::uint8_t k = 0;
        for (const Node& input : inputs) {
            EXPECT_EQ(graph->connect(out(input), in(node, k++)), ZRKLinkResult::Done);
        }
        return node;
    }
    Node function(Function f) { return linked(std::make_shared<FunctionField>(std::move(f))); }
    Vector gradient(Function f, const Vector& p, bool normalize = false)
    {
        return at(gradientOf(function(std::move(f)), normalize), p);
    }
    Vector at(const Node& node, const Vector& p)
    {
        const std::vector<double> record = sample(outputField(node), p);
        return {record[0], record[1], record[2]};
    }
};

void expectNear(const Vector& result, const Vector& expected, double tolerance = kRounding)
{
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(result[i], expected[i], tolerance) << "component " << i;
    }
}

std::vector<Vector> manyPoints()
{
    std::vector<Vector> points;
    for (int i = 0; i < 1300; ++i) {
        points.push_back({0.5 + i * 0.001, 1 - i * 0.0015, 0.3 + i * 0.0005});
    }
    return points;
}

TEST(GradDerivative, IsExactForLinearFieldsAndZeroForConstants)
{
    const Vector p{0.25, -0.5, 0.75};
    Gradients built;
    expectNear(built.gradient([](const Vector& q) { return q[0]; }, p), {1, 0, 0});
    expectNear(built.gradient([](const Vector& q) { return 2 * q[1] + 3 * q[2]; }, p), {0, 2, 3});
    EXPECT_EQ(built.gradient([](const Vector&) { return 4.0; }, p), (Vector{0, 0, 0}));
    EXPECT_EQ(built.gradient([](const Vector&) { return 4.0; }, p, true), (Vector{0, 0, 0}));
    expectNear(built.gradient([](const Vector& q) { return 3 * q[0] + 4 * q[2]; }, p, true), {0.6, 0, 0.8});
}

TEST(GradDerivative, PointsAwayFromASphere)
{
    Gradients built;
    const Node gradient = built.gradientOf(built.linked(std::make_shared<ZRKSphereSDF>()), true);
    for (const Vector& p : {Vector{3, 0, 0}, Vector{0, -2, 0}, Vector{1, 2, -2}}) {
        const Vector radial = zrk::normalized(p);
        expectNear(built.at(gradient, p), radial, 0.001 / 2); // bends by a step over the distance, at least 2
    }
}

// The error of these differences for x y z is h (x, y, z), and so tells h.
TEST(GradDerivative, TakesItsStepFromTheModel)
{
    struct Model : ZRKContext {
        std::optional<zrk::BBox<double>> modelBounds() const override
        {
            return zrk::BBox<double>({-100, -100, 0}, {100, 100, 100});
        }
    };
    const auto product = [](const Vector& q) { return q[0] * q[1] * q[2]; };
    const Vector p{1, 2, 4};
    Gradients built;
    EXPECT_NEAR(built.gradient(product, p)[2] - 2, 4 * 0.001, 1e-11);
    EXPECT_NEAR(built.gradient(product, p)[0] - 8, 1 * 0.001, 1e-11);
    EXPECT_NEAR(built.gradient(product, p)[1] - 4, 2 * 0.001, 1e-11);
    built.graph->setContext(std::make_shared<Model>()); // a diagonal of 300
    EXPECT_NEAR(built.gradient(product, p)[2] - 2, 4 * 0.003, 1e-11);
}

TEST(GradDerivative, TakesTheWeightOfItsInput)
{
    Gradients built;
    const Node field =
        built.graph->addNode(std::make_shared<Source>(Tag::Scalar, std::vector<double>{2, 0.25}));
    EXPECT_EQ(sample(outputField(built.gradientOf(field)), {0, 0, 0}), (std::vector<double>{0, 0, 0, 0.25}));
}

TEST(GradDerivative, WithoutAScalarInputWritesNothing)
{
    const auto component = std::make_shared<ZRKGradDerivative>();
    EXPECT_EQ(sample(component, {1, 2, 3}), (std::vector<double>{0, 0, 0, 0}));
    expectStoredForm<ZRKGradDerivative>(R"({"normalize":false})", R"({"normalize":true})");
}

TEST(GradDerivative, GivesTheSameBitsWhereverAndHoweverASampleIsComputed)
{
    const std::vector<Vector> points = manyPoints();
    for (const bool kernel : {true, false}) {
        SCOPED_TRACE(kernel ? "kernel" : "closure");
        Gradients built;
        const Node field = kernel ? built.linked(std::make_shared<ProductField>())
                                  : built.function([](const Vector& q) { return q[0] * q[1] * q[2]; });
        const zrk::IField gradient = outputField(built.gradientOf(field, true));
        zrk::FieldSampler sampler(gradient.generator(), std::make_shared<zrk::PointListDomain>(points));
        sampler.threadCount = 1;
        sampler.run();
        const std::vector<double> blocks = sampler.targetNode.sampleBuffer->data;
        sampler.threadCount = 4;
        sampler.run();
        EXPECT_EQ(sampler.targetNode.sampleBuffer->data, blocks);
        sampler.prepare();
        zrk::literal::run(sampler, 0, static_cast<std::int32_t>(points.size()) - 1);
        EXPECT_EQ(sampler.targetNode.sampleBuffer->data, blocks);
        // The same evaluators by blocks, after samples by themselves, whose weights were read.
        sampler.targetNode.sampleBuffer->data.assign(blocks.size(), -1.0);
        zrk::EvaluationContext context(sampler.slots);
        context.slots[static_cast<std::size_t>(sampler.targetNode.slotIndex)].pending = true;
        context.run(0, static_cast<std::int32_t>(points.size()) - 1);
        EXPECT_EQ(sampler.targetNode.sampleBuffer->data, blocks);
        for (std::size_t i = 0; i < points.size(); i += 97) {
            const std::vector<double> one = sample(gradient, points[i]);
            EXPECT_TRUE(
                std::equal(one.begin(), one.end(), blocks.begin() + static_cast<std::ptrdiff_t>(4 * i)));
        }
        const Vector p = points[1200];
        const Vector expected = zrk::normalized(Vector{p[1] * p[2], p[0] * p[2], p[0] * p[1]});
        expectNear({blocks[4800], blocks[4801], blocks[4802]}, expected, 0.01);
    }
}

TEST(GradDerivative, UnderAnApplyNodeDifferentiatesThere)
{
    Gradients built;
    const auto shift = std::make_shared<ZRKAffineTransform>();
    load(*shift, ZRKJson::parse(R"({"inverse": false, "translation": [1, 2, 3], "scaling": [2, 2, 2]})"));
    const Node product = built.linked(std::make_shared<ProductField>());
    const Node moved = built.linked(shift);
    const Node gradient = built.gradientOf(product);
    const Node outside = built.linked(std::make_shared<ZRKApplyTransform>(), {moved, gradient});
    const Vector p{0.5, 0.25, 1};
    // At 2 p + (1, 2, 3), with respect to the moved coordinates.
    EXPECT_EQ(built.at(outside, p), built.at(gradient, {2, 2.5, 5}));

    // The other way round, by the chain rule, twice as steep.
    const Node inside =
        built.gradientOf(built.linked(std::make_shared<ZRKApplyTransform>(), {moved, product}));
    expectNear(built.at(inside, p), {25, 20, 10}, 0.05);
}

TEST(GradDerivative, Nests)
{
    Gradients built;
    const Node steep = built.function([](const Vector& q) { return q[0] * q[0] + q[1]; });
    const Node slope = built.linked(std::make_shared<ZRKNormVec3>(), {built.gradientOf(steep)});
    // |(2 x, 1, 0)| = sqrt(4 x^2 + 1), which grows with 4 x / sqrt(4 x^2 + 1).
    const Vector curvature = built.at(built.gradientOf(slope), {1, 5, 5});
    EXPECT_NEAR(curvature[0], 4 / std::sqrt(5.0), 1e-3);
    EXPECT_NEAR(curvature[1], 0, 1e-3);
}

TEST(GradDerivative, GoesOnAfterItsFieldThrew)
{
    Gradients built;
    bool fails = true;
    const Node field = built.function([&fails](const Vector& q) {
        return fails && q[0] > 0.5 ? throw std::runtime_error("outside") : q[0];
    });
    const zrk::IField gradient = outputField(built.gradientOf(field));
    zrk::FieldSampler sampler(gradient.generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>{{0.4999, 0, 0}}));
    sampler.prepare();
    // The input at the position itself is fine, a corner isn't.
    EXPECT_THROW(zrk::EvaluationContext(sampler.slots).run(0, 0), std::runtime_error);
    fails = false;
    zrk::EvaluationContext(sampler.slots).run(0, 0);
    EXPECT_NEAR(sampler.targetNode.sampleBuffer->data[0], 1, kRounding);
}

TEST(GradDerivative, BoundsFollowFromTheValuesAround)
{
    Gradients built;
    const zrk::IField gradient =
        outputField(built.gradientOf(built.linked(std::make_shared<ZRKSphereSDF>())));
    const zrk::Interval<double> narrow{0.5, 0.501};
    const zrk::Interval<double> bounds =
        zrk::FieldBounds(gradient.generator()).over({narrow, narrow, narrow}).components[0];
    EXPECT_LE(bounds.lower, 0.577);
    EXPECT_GE(bounds.upper, 0.578);
    EXPECT_LT(bounds.upper, 10); // half the difference over the step, and the box is as wide as the step
}

class GradientOfAMesh : public zrktest::TemporaryFolder {};

// The mesh's evaluator stands in a chain that the gradient's evaluator keeps.
TEST_F(GradientOfAMesh, FollowsImports)
{
    const std::string vertices = "v 0 0 0\nv 5 0 0\nv 5 5 0\nv 0 5 0\nv 0 5 5\n";
    put("across_z.obj", vertices + "f 1 2 3\n");
    put("across_x.obj", vertices + "f 1 4 5\n");
    Gradients built;
    const auto mesh = std::make_shared<ZRKMeshSDF>();
    const Node gradient = built.gradientOf(built.linked(mesh));
    const zrk::IField field = zrk::literal::node(
        3,
        std::dynamic_pointer_cast<ZRKGradDerivative>(gradient.object())
            ->getEvaluatorForPin(built.graph->pin_ref(out(gradient)), built.graph->context()),
        {zrk::IField(std::make_shared<zrk::SolidField<1, 3>>(0.0))});
    zrk::FieldSampler prepared(field.generator(),
                               std::make_shared<zrk::PointListDomain>(std::vector<Vector>{{3, 2, 1}}));
    prepared.prepare();
    for (const auto& [file, expected] :
         {std::pair("across_z.obj", Vector{0, 0, 1}), std::pair("across_x.obj", Vector{1, 0, 0})}) {
        SCOPED_TRACE(file);
        EXPECT_TRUE(mesh->importFiles({folder / file}, nullptr));
        const std::vector<double> record = sample(field, {3, 2, 1});
        expectNear({record[0], record[1], record[2]}, expected);
        zrk::literal::run(prepared, 0, 0);
        const std::vector<double>& alone = prepared.targetNode.sampleBuffer->data;
        expectNear({alone[0], alone[1], alone[2]}, expected);
    }
}

} // namespace
} // namespace zrkmodel
