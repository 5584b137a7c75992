#include "components/operators/geometry_blend.h"

#include "testing/component_checks.h"

#include <cmath>
#include <limits>
#include <random>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

struct Spheres final : ZRKGeometry {
    std::vector<SignedDistance> distances;

    std::vector<SignedDistance> getSDFUngroup() const override { return distances; }
};

/// A group of unit spheres.
std::shared_ptr<Spheres> spheres(const std::vector<Vector>& centers)
{
    auto group = std::make_shared<Spheres>();
    for (const Vector& center : centers) {
        group->distances.push_back(
            [center](const Vector& p) { return std::sqrt(dot(p - center, p - center)) - 1; });
    }
    return group;
}

std::shared_ptr<ZRKGeometryBlend> blendOf(std::shared_ptr<ZRKGeometry> geometry)
{
    auto component = std::make_shared<ZRKGeometryBlend>();
    component->geometries.set(std::move(geometry));
    return component;
}

TEST(GeometryBlend, AddsTheDensitiesOfItsMembers)
{
    constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
    struct Case {
        const char* name;
        std::vector<Vector> centers;
        Vector p;
        double density;
    };
    const Case cases[] = {
        {"on the surface", {{0, 0, 0}}, {1, 0, 0}, 0.5},
        {"two at one place give twice of one", {{0, 0, 0}, {0, 0, 0}}, {1.25, 0, 0}, 0.5},
        {"beyond 1 where they overlap", {{0, 0, 0}, {0.5, 0, 0}, {0, 0.5, 0}}, {0, 0, 0}, 3},
        {"far from the second", {{0, 0, 0}, {9, 0, 0}}, {0, 1.25, 0}, 0.25},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(sample(blendOf(spheres(c.centers)), c.p), (std::vector<double>{c.density, 1}));
    }
    const auto source = std::make_shared<Source>(Tag::Vector3d, std::vector<double>{0, 0, kNaN, 0.25});
    const std::vector<double> record = sample(blendOf(spheres({{0, 0, 0}})), {0, 0, 0}, source);
    EXPECT_TRUE(std::isnan(record[0]));
    EXPECT_EQ(record[1], 0.25);
}

TEST(GeometryBlend, WritesNothingWithoutMembers)
{
    EXPECT_EQ(sample(blendOf(nullptr), {0, 0, 0}), (std::vector<double>{0, 0}));
    EXPECT_EQ(sample(blendOf(spheres({})), {0, 0, 0}), (std::vector<double>{0, 0}));
}

TEST(GeometryBlend, GivesABlockTheBitsOfItsSamples)
{
    const auto component = blendOf(spheres({{0, 0, 0}, {0.3, 0.1, 0}, {0, -0.7, 0.2}}));
    component->falloff.set({-0.6, 0.9, zrk::FallOffCurve::gauss});
    std::vector<Vector> points;
    std::mt19937_64 random(4);
    std::uniform_real_distribution<double> coordinate(-2, 2);
    for (int i = 0; i < 1003; ++i) {
        points.push_back({coordinate(random), coordinate(random), coordinate(random)});
    }
    const auto graph = ZRKGraph::create();
    const zrk::IField field = outputField(graph->addNode(component));
    zrk::FieldSampler sampler(field.generator(), std::make_shared<zrk::PointListDomain>(points));
    sampler.run();
    for (std::size_t i = 0; i < points.size(); ++i) {
        ASSERT_EQ(*sampler.targetNode.sampleBuffer->record(i), sample(field, points[i])[0]) << "sample " << i;
    }
}

TEST(GeometryBlend, KeepsBuiltEvaluatorsAndEmptyPicksKeepTheGeometry)
{
    const auto component = blendOf(nullptr);
    const auto first = spheres({{0, 0, 0}});
    int told = 0;
    component->geometries.addListener([&](const auto&) { ++told; });
    component->pick({first, spheres({})});
    component->pick({});
    EXPECT_EQ(component->geometries.value(), first);
    EXPECT_EQ(told, 1);

    zrk::EvaluationNode node;
    const auto graph = ZRKGraph::create();
    const ZRKGraph::Node blend = graph->addNode(component);
    const zrk::Evaluation before = component->getEvaluatorForPin(outputPin(blend, 0), graph->context());
    component->pick({spheres({{5, 0, 0}})});
    const zrk::IField source = zrk::IField(std::make_shared<zrk::PassThroughField<3>>());
    struct Held final : zrk::IFieldGenerator {
        zrk::Evaluation evaluation;
        zrk::IField input;
        zrk::FieldTypeDescriptor type{1, 3, "held", {}};
        void build(zrk::EvaluatorBuilder<double>& builder) override
        {
            builder.setEvaluator(evaluation);
            builder.addInput(input);
        }
        const zrk::FieldTypeDescriptor& descriptor() const override { return type; }
    };
    const auto held = std::make_shared<Held>();
    held->evaluation = before;
    held->input = source;
    EXPECT_EQ(sample(zrk::IField(held), {1, 0, 0})[0], 0.5);
    EXPECT_EQ(sample(component, {1, 0, 0})[0], 0);
}

TEST(GeometryBlend, StoresTheFallOffFirst)
{
    const ZRKGeometryBlend component;
    EXPECT_EQ(stored(component),
              R"({"falloff params":{"start":-0.5,"end":0.5,"curve":"linear"},"geometries":""})");
}

} // namespace
} // namespace zrkmodel
