#include "components/raster/raster_fx.h"

#include "core/engine/prepared_field.h"
#include "core/engine/progress.h"
#include "core/engine/rasterize.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"
#include "model/deferred_work.h"
#include "testing/component_checks.h"

#include <atomic>
#include <cmath>
#include <functional>
#include <optional>
#include <stdexcept>
#include <thread>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Node = ZRKGraph::Node;
using Function = std::function<double(const Vector&)>;

class FunctionField final : public ZRKExtensionBase {
public:
    ZRKProperty<double> anything{"anything", 0.0, this}; ///< to be changed
    Function function;

    void onAddedToGraph(const ZRKNodeBase<0, ZRKGraphObject>& node) override
    {
        addOutputPin(node, Tag::Scalar, "out");
    }
    zrk::Evaluation getEvaluatorForPin(const Pin_ref<1>&, const ZRKContext&) const override
    {
        return [function = function](zrk::EvaluationContext& context) {
            const double* p = context.readCoordinates();
            const Vector position{p[0], p[1], p[2]};
            context.writeOutput(function(position), p[3]);
        };
    }
};

struct Model final : ZRKContext {
    std::optional<zrk::BBox<double>> bounds;
    std::optional<zrk::BBox<double>> modelBounds() const override { return bounds; }
};

/// A field, a raster effect that reads it, and the box they are in.
struct Built {
    std::shared_ptr<ZRKGraph> graph = ZRKGraph::create();
    std::shared_ptr<FunctionField> field = std::make_shared<FunctionField>();
    std::shared_ptr<ZRKRasterFX> effect = std::make_shared<ZRKRasterFX>();
    Node fieldNode = graph->addNode(field);
    Node node = graph->addNode(effect);

    explicit Built(Function function, const Vector& lower = {-1, -1, -1}, const Vector& upper = {1, 1, 1})
    {
        field->function = std::move(function);
        setBounds(zrk::BBox<double>(lower, upper));
        EXPECT_EQ(graph->connect(out(fieldNode), in(node)), ZRKLinkResult::Done);
        effect->autoUpdate.set(true);
        effect->blurRadius.set(0.0);
    }
    void setBounds(const std::optional<zrk::BBox<double>>& bounds)
    {
        auto model = std::make_shared<Model>();
        model->bounds = bounds;
        graph->setContext(model);
    }
    double at(const Vector& p) const { return sample(outputField(node), p)[0]; }
};

double slope(const Vector& p) { return 1 + p[0] + 4 * p[1] + 16 * p[2]; }
double bumps(const Vector& p) { return std::sin(3 * p[0]) * std::cos(2 * p[1]) + p[2] * p[2]; }

} // namespace

TEST(RasterFX, ReadsTheRasterBetweenNodesAndBeyondThem)
{
    Built built(slope, {-1, -1, 0}, {1, 3, 2});
    for (const Vector& p : {Vector{-1, -1, 0}, Vector{1, 3, 2}, Vector{0.3, 0.7, 1.9}}) {
        EXPECT_NEAR(built.at(p), slope(p), 1e-13);
    }
    EXPECT_NEAR(built.at({-7, 1, 99}), slope({-1, 1, 2}), 1e-13);
    EXPECT_TRUE(std::isnan(built.at({0, std::nan(""), 0})));
}

TEST(RasterFX, BlursTheFrozenField)
{
    Built built(bumps, {-1, -1, -1}, {1, 1, 0.2});
    built.effect->resolution.set(9);
    built.effect->blurRadius.set(0.6);
    const zrk::GridBox<double> grid = zrk::gridOverBox(zrk::BBox<double>({-1, -1, -1}, {1, 1, 0.2}), 9);
    zrk::Raster<1, 3, double> expected;
    zrk::rasterizeField(outputField(built.fieldNode), grid.region, expected);
    zrk::gaussianBlur(expected, grid, 0.6);
    const auto& n = grid.region.dimensions();
    for (int k = 0; k < n[2]; ++k) {
        for (int i = 0; i < n[0]; ++i) {
            const auto at = static_cast<std::size_t>(i + n[0] * (2 + n[1] * k));
            EXPECT_NEAR(built.at(grid.region.localToWorld(i, 2, k)), expected.data[at], 1e-13);
        }
    }
    Built constant([](const Vector&) { return 3.25; });
    constant.effect->blurRadius.set(0.5);
    EXPECT_NEAR(constant.at({1, -1, 0.3}), 3.25, 1e-13);
    for (const double none : {0.0, -0.5}) {
        Built sharp(bumps);
        sharp.effect->resolution.set(9);
        sharp.effect->blurRadius.set(none);
        EXPECT_EQ(sharp.at({-0.5, 0.25, 1}), bumps({-0.5, 0.25, 1})) << "a node";
    }
}

TEST(RasterFX, IsRebuiltOnlyWhenItIsStaleAndAsked)
{
    Built built(slope);
    const Vector p{0.5, 0, 0};
    built.effect->autoUpdate.set(false);
    EXPECT_EQ(built.at(p), 0.0) << "nothing is written before the first update";
    built.effect->update();
    EXPECT_NEAR(built.at(p), 1.5, 1e-13);

    built.field->function = bumps;
    built.field->anything.set(1.0);
    EXPECT_NEAR(built.at(p), 1.5, 1e-13) << "stale, but not asked";
    std::string announced;
    const auto connection =
        built.effect->addListener([&](const ZRKEvent& event) { announced += event.name; });
    built.effect->update();
    EXPECT_EQ(announced, "update");
    const double coarse = built.at(p);
    EXPECT_NE(coarse, 1.5);

    built.effect->resolution.set(3);
    built.effect->update();
    EXPECT_EQ(built.at(p), coarse) << "asked, but not stale";
    built.field->anything.set(2.0);
    EXPECT_NE(built.at(p), coarse);
}

TEST(RasterFX, EvaluatorsKeepTheirRaster)
{
    Built built(slope);
    const Vector p{0.5, 0, 0};
    zrk::FieldSampler sampler(outputField(built.node).generator(),
                              std::make_shared<zrk::PointListDomain>(std::vector<Vector>{p}));
    sampler.prepare();
    built.field->function = bumps;
    built.field->anything.set(1.0);
    EXPECT_GT(std::abs(built.at(p) - 1.5), 0.1) << "the raster has been replaced";
    zrk::EvaluationContext context(sampler.slots);
    context.run(0, 0);
    EXPECT_NEAR(sampler.targetNode.sampleBuffer->data[0], 1.5, 1e-13);
}

// A copy reads the raster it came with, in a box of its own that is no box yet.
TEST(RasterFX, ACopyIsStale)
{
    Built built(slope);
    EXPECT_NEAR(built.at({0.5, 0, 0}), 1.5, 1e-13);
    const auto copy = std::dynamic_pointer_cast<ZRKRasterFX>(built.effect->clone());
    const Node node = built.graph->addNode(copy);
    EXPECT_EQ(built.graph->connect(out(built.fieldNode), in(node)), ZRKLinkResult::Done);
    copy->autoUpdate.set(false);
    EXPECT_TRUE(std::isnan(sample(outputField(node), {0.5, 0, 0})[0]));
    copy->autoUpdate.set(true);
    EXPECT_NEAR(sample(outputField(node), {0.5, 0, 0})[0], 1.5, 1e-13);
}

TEST(RasterFX, WritesNothingWithoutAFieldOrBounds)
{
    Built built(slope);
    EXPECT_NEAR(built.at({0, 0, 0}), 1.0, 1e-13);
    built.setBounds(std::nullopt);
    EXPECT_NEAR(built.at({0, 0, 0}), 1.0, 1e-13) << "not stale";
    built.field->anything.set(1.0);
    EXPECT_EQ(built.at({0, 0, 0}), 0.0);

    const auto alone = std::make_shared<ZRKRasterFX>();
    alone->autoUpdate.set(true);
    EXPECT_EQ(sample(alone, {0, 0, 0})[0], 0.0);
    Built flat(slope, {-1, -1, 2}, {1, 1, 2});
    EXPECT_TRUE(std::isnan(flat.at({0, 0, 2})));
}

TEST(RasterFX, AFieldThatThrowsLeavesTheFormerRaster)
{
    Built built(slope);
    built.effect->autoUpdate.set(false);
    built.effect->update();
    EXPECT_NEAR(built.at({0, 0, 0}), 1.0, 1e-13);
    built.field->function = [](const Vector&) -> double { throw std::runtime_error("no value"); };
    built.field->anything.set(1.0);
    built.effect->update();
    EXPECT_THROW(built.at({0, 0, 0}), std::runtime_error);
    built.field->function = bumps;
    EXPECT_NEAR(built.at({0, 0, 0}), 0.0, 0.1) << "still stale and asked";
}

/// The evaluators of a field, what takes long put off.
zrk::PreparedField deferred(const Node& node)
{
    const ZRKDeferredBuilding building;
    return zrk::PreparedField(outputField(node));
}

double valueOf(const zrk::PreparedField& field, const Vector& p)
{
    double value = 0;
    field.evaluate(&p[0], &p[1], &p[2], 1, &value);
    return value;
}

// The first sample freezes what was there when the evaluators were built, and the component has it then.
TEST(RasterFX, PutsTheFreezingOff)
{
    std::atomic<int> samples = 0;
    Built built([&samples](const Vector& p) {
        ++samples;
        return slope(p);
    });
    built.effect->autoUpdate.set(false);
    built.effect->update();
    const Vector p{0.5, 0, 0};
    const zrk::PreparedField field = deferred(built.node);
    EXPECT_EQ(samples, 0);
    built.field->function = bumps; // announced to no one
    EXPECT_NEAR(valueOf(field, p), 1.5, 1e-13);
    EXPECT_GT(samples, 0);
    EXPECT_NEAR(built.at(p), 1.5, 1e-13) << "computed, no longer asked for";

    const auto copy = std::dynamic_pointer_cast<ZRKRasterFX>(built.effect->clone());
    EXPECT_TRUE(std::isnan(sample(copy, p)[0])) << "it has the raster, in no box";

    built.field->anything.set(1.0);
    built.effect->update();
    const zrk::PreparedField neverRead = deferred(built.node);
    EXPECT_NEAR(valueOf(field, p), 1.5, 1e-13);
    EXPECT_NE(built.at(p), 1.5) << "still asked for";
}

// Numbers are those of evaluators that were complete when built, through a raster of a raster and a gradient.
TEST(RasterFX, PutOffGivesTheSameBits)
{
    const auto graph = [](Built& built) {
        built.effect->blurRadius.set(0.3);
        const auto second = std::make_shared<ZRKRasterFX>();
        second->autoUpdate.set(true);
        second->resolution.set(5);
        const Node node = built.graph->addNode(second);
        EXPECT_EQ(built.graph->connect(out(built.node), in(node)), ZRKLinkResult::Done);
        return node;
    };
    Built atOnce(bumps);
    Built later(bumps);
    const zrk::PreparedField now(outputField(graph(atOnce)));
    const zrk::PreparedField then = deferred(graph(later));
    for (const Vector& p : {Vector{0.1, 0.2, 0.3}, Vector{-1, 1, 0.7}, Vector{5, 0, 0}}) {
        EXPECT_EQ(valueOf(now, p), valueOf(then, p));
    }
}

TEST(RasterFX, PutOffAndStoppedBeginsAnew)
{
    Built built(slope);
    struct Stop final : zrk::ProgressMonitor {
        bool wanted = true;
        void progress(double) override {}
        bool interruptRequested() override { return wanted; }
    } stop;
    built.effect->resolution.set(64);
    const zrk::PreparedField field = deferred(built.node);
    const ZRKDeferredRun run(stop);
    EXPECT_THROW(valueOf(field, {0, 0, 0}), zrk::FaultError);
    stop.wanted = false;
    EXPECT_NEAR(valueOf(field, {0, 0, 0}), 1, 1e-12);
}

// One who freezes the field for long keeps no one from announcing a change, and what was asked for before the
// change doesn't count as what comes after it.
TEST(RasterFX, ChangesDontWaitForTheFreezing)
{
    std::atomic<bool> isSampling = false;
    std::atomic<bool> mayEnd = false;
    Built built([&](const Vector& p) {
        isSampling = true;
        while (!mayEnd) {
            std::this_thread::yield();
        }
        return slope(p);
    });
    double before = 0;
    std::thread reader([&] { before = built.at({0.5, 0, 0}); });
    while (!isSampling) {
        std::this_thread::yield();
    }
    built.effect->onUpstreamChange(built.node, {"anything", built.field.get()});
    const auto copy = built.effect->clone();
    mayEnd = true;
    reader.join();
    EXPECT_NEAR(before, 1.5, 1e-13);
    built.field->function = bumps;
    EXPECT_NE(built.at({0.5, 0, 0}), 1.5) << "the raster is stale";
}

TEST(RasterFX, StoresWhatDocumentsCarry)
{
    expectStoredForm<ZRKRasterFX>(R"({"auto-update":false,"resolution":8})",
                                  R"({"auto-update":true,"resolution":5})");
    ZRKRasterFX effect;
    effect.blurRadius.set(3.0);
    load(effect, ZRKJson{{"blur radius", 9.0}});
    EXPECT_EQ(effect.blurRadius.value(), 3.0);
}

} // namespace zrkmodel
