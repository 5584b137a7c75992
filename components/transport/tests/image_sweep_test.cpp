#include "components/transport/image_sweep.h"

#include "core/engine/prepared_field.h"
#include "core/engine/progress.h"
#include "core/raster/gaussian_blur.h"
#include "core/raster/gaussian_kernel.h"
#include "core/transport/solver.h"
#include "model/channel_names.h"
#include "model/deferred_work.h"
#include "testing/component_checks.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Pixels = zrk::Raster<1, 2, double>;

constexpr int kNodes = 9;
constexpr int kSlices = 5;

/// A soft blob on a bright ground.
Pixels blob(double cx, double cy)
{
    Pixels pixels(kNodes, kNodes);
    for (int j = 0; j < kNodes; ++j) {
        for (int i = 0; i < kNodes; ++i) {
            const double x = i / 8.0 - cx;
            const double y = j / 8.0 - cy;
            pixels.data[static_cast<std::size_t>(j * kNodes + i)] = 0.1 + std::exp(-9 * (x * x + y * y));
        }
    }
    return pixels;
}

std::shared_ptr<ZRKImage2d> image(const Pixels& pixels)
{
    return std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{pixels});
}

/// Watches a computation and may stop it.
struct Monitor final : zrk::ProgressMonitor {
    std::vector<double> told;
    std::size_t most = 1000;

    void progress(double fraction) override { told.push_back(fraction); }
    bool interruptRequested() override { return told.size() >= most; }
};

struct Sweep {
    Pixels a = blob(0.2, 0.3);
    Pixels b = blob(0.8, 0.6);
    std::shared_ptr<ZRKImageSweep> component = std::make_shared<ZRKImageSweep>();
    Monitor monitor;

    explicit Sweep(double transport = 1.0, double smoothing = 0.0)
    {
        component->steps.set(kSlices);
        component->resolution.set(kNodes);
        component->wrap.set(false);
        component->transport.set(transport);
        component->smoothing.set(smoothing);
        component->pick(component->imageA, image(a));
        component->pick(component->imageB, image(b));
        EXPECT_TRUE(component->compute(&monitor));
    }
    /// Value at a node of the stack.
    double node(int i, int j, int k) const { return at(i / 8.0, j / 8.0, k / 4.0); }
    double at(double x, double y, double z) const { return sample(component, {x, y, z})[0]; }
};

/// The solver's stack with greatest value 1.
zrk::Raster<1, 3, double> stackOf(const Pixels& a, const Pixels& b)
{
    auto stack = zrk::optimalTransport::transportInterpolate(a, b, kSlices, {}, 1, nullptr);
    const double greatest = *std::max_element(stack.data.begin(), stack.data.end());
    for (double& value : stack.data) {
        value /= greatest;
    }
    return stack;
}

std::size_t index(int i, int j, int k) { return static_cast<std::size_t>(i + kNodes * (j + kNodes * k)); }

} // namespace

TEST(ImageSweep, ReadsTheNormalizedStack)
{
    const Sweep sweep;
    const auto stack = stackOf(sweep.a, sweep.b);
    for (int k = 0; k < kSlices; ++k) {
        EXPECT_NEAR(sweep.node(2, 3, k), stack.data[index(2, 3, k)], 1e-12);
        EXPECT_NEAR(sweep.node(7, 1, k), stack.data[index(7, 1, k)], 1e-12);
    }
    EXPECT_NEAR(sweep.at(0.25, 0.375, 0.625), 0.5 * (stack.data[index(2, 3, 2)] + stack.data[index(2, 3, 3)]),
                1e-12);
    EXPECT_EQ(sweep.at(0.25, 0.375, 7.0), sweep.at(0.25, 0.375, 1.0)) << "clamped";
}

TEST(ImageSweep, MixesInACrossfadeOfTheImages)
{
    const Sweep pure;
    const Sweep mixed(0.25);
    const Sweep faded(0.0);
    for (int k = 0; k < kSlices; ++k) {
        const std::size_t pixel = index(5, 4, 0);
        const double fade = k / 4.0 * pure.b.data[pixel] + (1 - k / 4.0) * pure.a.data[pixel];
        EXPECT_NEAR(faded.node(5, 4, k), fade, 1e-13);
        EXPECT_NEAR(mixed.node(5, 4, k), 0.75 * fade + 0.25 * pure.node(5, 4, k), 1e-13);
    }
}

TEST(ImageSweep, BlursInNodesOfTheStack)
{
    const Sweep sweep(1.0, 0.1);
    auto expected = stackOf(sweep.a, sweep.b);
    zrk::gaussianBlur(expected, zrk::gridOverBox(zrk::BBox<double>({-1, -1, -1}, {1, 1, 1}), 32), 0.1);
    EXPECT_NEAR(sweep.node(2, 3, 1), expected.data[index(2, 3, 1)], 1e-12);
    EXPECT_NEAR(sweep.node(8, 0, 4), expected.data[index(8, 0, 4)], 1e-12);
}

TEST(ImageSweep, SlidersActOnTheStackThatIsThere)
{
    Sweep sweep;
    const double before = sweep.node(2, 3, 1);
    sweep.component->pick(sweep.component->imageA, image(blob(0.9, 0.9)));
    EXPECT_EQ(sweep.node(2, 3, 1), before) << "a picked image waits for compute";
    sweep.component->moveTransport(0.5);
    const double faded = sweep.node(2, 3, 1);
    EXPECT_NEAR(faded, 0.5 * before + 0.5 * (0.25 * sweep.b.data[29] + 0.75 * sweep.a.data[29]), 1e-12);
    sweep.component->moveSmoothing(0.3);
    EXPECT_NE(sweep.node(2, 3, 1), faded);
    sweep.component->moveSmoothing(0.0);
    sweep.component->moveTransport(1.0);
    EXPECT_EQ(sweep.node(2, 3, 1), before);
    EXPECT_TRUE(sweep.component->compute(&sweep.monitor));
    EXPECT_LT(sweep.node(2, 3, 0), 0.5 * before) << "the new image";
}

TEST(ImageSweep, AssigningAValueDoesNotMakeTheVolumeAnew)
{
    Sweep sweep;
    const double before = sweep.node(2, 3, 1);
    sweep.component->transport.set(0.0);
    sweep.component->smoothing.set(0.5);
    EXPECT_EQ(sweep.node(2, 3, 1), before);
    sweep.component->invalidateOutputRaster();
    const double after = sweep.node(2, 3, 1);
    EXPECT_NE(after, before);
    sweep.component->moveTransport(0.0);
    EXPECT_EQ(sweep.node(2, 3, 1), after) << "both values were taken";
    // A listener that builds an evaluator already gets the new value.
    double heard = 0;
    sweep.component->addListener([&](const ZRKEvent&) { heard = sweep.node(2, 3, 1); });
    sweep.component->moveSmoothing(0.0);
    EXPECT_NE(heard, after);
    EXPECT_EQ(heard, sweep.node(2, 3, 1));
}

// The first sample mixes and blurs with the numbers of the time when the evaluator was built.
TEST(ImageSweep, PutsTheVolumeOff)
{
    const Sweep expected(0.5, 0.3);
    Sweep sweep(0.5, 0.3);
    sweep.component->invalidateOutputRaster();
    const auto graph = ZRKGraph::create();
    const ZRKGraph::Node node = graph->addNode(sweep.component);
    std::optional<zrk::PreparedField> field;
    {
        const ZRKDeferredBuilding deferred;
        field.emplace(outputField(node));
    }
    sweep.component->moveTransport(1.0);
    sweep.component->moveSmoothing(0.0);
    const double x = 0.3, y = 0.4, z = 0.25;
    double value = 0;
    field->evaluate(&x, &y, &z, 1, &value);
    EXPECT_EQ(value, sample(expected.component, {x, y, z})[0]);
    EXPECT_NE(value, sample(sweep.component, {x, y, z})[0]);
}

TEST(ImageSweep, ComputingReportsAndCanBeStopped)
{
    Sweep sweep;
    ASSERT_EQ(sweep.monitor.told.size(), 100u);
    EXPECT_EQ(sweep.monitor.told[42], 0.42);
    const double before = sweep.node(2, 3, 1);
    std::string announced;
    const auto connection =
        sweep.component->addListener([&](const ZRKEvent& event) { announced += event.name + " "; });
    sweep.component->pick(sweep.component->imageA, image(blob(0.9, 0.9)));
    Monitor impatient;
    impatient.most = 7;
    EXPECT_FALSE(sweep.component->compute(&impatient));
    EXPECT_TRUE(impatient.isInterruptAcknowledged());
    EXPECT_EQ(impatient.told.size(), 7u);
    sweep.component->moveTransport(0.0);
    EXPECT_NEAR(sweep.node(2, 3, 0), sweep.a.data[29], 1e-13) << "the former images";
    sweep.component->moveTransport(1.0);
    EXPECT_EQ(sweep.node(2, 3, 1), before);
    EXPECT_EQ(announced, "imageA transport transport ");
    EXPECT_TRUE(sweep.component->compute(&sweep.monitor));
    EXPECT_EQ(announced, "imageA transport transport raster ");
}

TEST(ImageSweep, WritesNothingWithoutImages)
{
    const auto empty = std::make_shared<ZRKImageSweep>();
    EXPECT_TRUE(empty->compute());
    EXPECT_EQ(sample(empty, {0.5, 0.5, 0.5})[0], 0.0);
    Sweep sweep;
    sweep.component->pick(sweep.component->imageB, nullptr);
    EXPECT_GT(sweep.node(2, 3, 1), 0.0);
    EXPECT_TRUE(sweep.component->compute());
    EXPECT_EQ(sweep.node(2, 3, 1), 0.0);
    for (const auto& [resolution, steps] : {std::pair{0, 5}, {-3, 5}, {9, 0}, {9, -1}}) {
        Sweep none;
        none.component->resolution.set(resolution);
        none.component->steps.set(steps);
        EXPECT_TRUE(none.component->compute(&none.monitor));
        EXPECT_EQ(none.node(2, 3, 1), 0.0) << resolution << " " << steps;
    }
}

TEST(ImageSweep, ResamplesImagesOfAnySize)
{
    Sweep sweep(0.0);
    sweep.component->resolution.set(5);
    EXPECT_TRUE(sweep.component->compute(&sweep.monitor));
    EXPECT_NEAR(sweep.at(0.25, 0.5, 0.0), sweep.a.data[4 * kNodes + 2], 1e-13);
    EXPECT_NEAR(sweep.at(1.0, 1.0, 1.0), sweep.b.data.back(), 1e-13);
    Pixels wide(3, 2);
    wide.data = {0.1, 0.5, 0.2, 0.3, 0.9, 0.4};
    sweep.component->pick(sweep.component->imageA, image(wide));
    EXPECT_TRUE(sweep.component->compute(&sweep.monitor));
    EXPECT_NEAR(sweep.at(0.5, 0.25, 0.0), 0.6, 1e-13);
}

TEST(ImageSweep, CurvesScaleTheSliceAndChooseIt)
{
    Sweep sweep(0.0);
    sweep.component->sizeX.set(2.0);
    sweep.component->sizeZ.set(4.0);
    sweep.component->scaling.set(ScalarCurve::through({{0, 2}, {1, 2}}));
    sweep.component->interpolation.set(ScalarCurve::through({{0, 1}, {1, 0}}));
    // At twice its size, the slice's node (6, 4) lies at (0.75 - 0.5) * 2 + 0.5 of it.
    EXPECT_NEAR(sweep.at(2 * 1.0, 0.5, 1.0), 0.75 * sweep.b.data[42] + 0.25 * sweep.a.data[42], 1e-13);
    sweep.component->scaling.set(ScalarCurve::through({{0, 0}}));
    EXPECT_TRUE(std::isnan(sweep.at(0.3, 0.5, 1.0)));
}

TEST(ImageSweep, WrapsBehindOneMoreCell)
{
    Sweep sweep(0.0);
    sweep.component->wrap.set(true);
    sweep.component->interpolation.set(ScalarCurve::through({{0, 0}, {2, 2}}));
    // Node 8 is the last; half a cell on, it blends with node 0. The same for slices.
    EXPECT_NEAR(sweep.at(8.5 / 8, 0.5, 0.0), 0.5 * (sweep.a.data[44] + sweep.a.data[36]), 1e-13);
    EXPECT_NEAR(sweep.at(0.5, 0.5, 4.5 / 4), 0.5 * (sweep.a.data[40] + sweep.b.data[40]), 1e-13);
    EXPECT_NEAR(sweep.at(0.5, 0.5, 5.0 / 4), sweep.a.data[40], 1e-13);
}

TEST(ImageSweep, ACopyHasTheStackButNoCrossfade)
{
    Sweep sweep(0.5);
    const auto copy = std::dynamic_pointer_cast<ZRKImageSweep>(sweep.component->clone());
    const auto stack = stackOf(sweep.a, sweep.b);
    EXPECT_NEAR(sample(copy, {0.25, 0.375, 0.25})[0], stack.data[index(2, 3, 1)], 1e-12);
    EXPECT_TRUE(copy->compute(&sweep.monitor));
    EXPECT_EQ(sample(copy, {0.25, 0.375, 0.25}), sample(sweep.component, {0.25, 0.375, 0.25}));
}

// Before any memory is taken for it; the message tells how large it may be.
TEST(ImageSweep, RefusesAStackBeyondAnyRaster)
{
    struct Case {
        int resolution;
        int steps;
        const char* place;
        const char* expected;
    };
    const Case cases[] = {
        {2147483647, 8, "\"resolution\"", "at most 16383 where \"steps\" is 8"},
        {46341, 1, "\"resolution\"", "at most 46340 where \"steps\" is 1"},
        {32, 2147483647, "\"steps\"", "at most 2097151 where \"resolution\" is 32"},
    };
    for (const Case& c : cases) {
        Sweep sweep(0.0);
        sweep.component->resolution.set(c.resolution);
        sweep.component->steps.set(c.steps);
        try {
            sweep.component->compute(&sweep.monitor);
            ADD_FAILURE() << c.resolution;
        } catch (const zrk::FaultError& error) {
            EXPECT_EQ(error.fault().place, c.place);
            EXPECT_EQ(error.fault().expected, c.expected);
        }
    }
}

TEST(ImageSweep, StoresItsValuesInOrder)
{
    ZRKImageSweep sweep;
    EXPECT_EQ(ZRKJson::parse(stored(sweep)).size(), 14u);
    const char* keys[] = {"wrap",          "size x",    "size y",    "size z",    "steps",
                          "resolution",    "smoothing", "transport", "pathCurve", "scaling",
                          "interpolation", "imageA",    "imageB",    "obstacle"};
    std::size_t place = 0;
    for (const char* key : keys) {
        const std::size_t found = stored(sweep).find('"' + std::string(key) + "\":");
        EXPECT_NE(found, std::string::npos) << key;
        EXPECT_GE(found, place) << key;
        place = found;
    }
}

} // namespace zrkmodel
