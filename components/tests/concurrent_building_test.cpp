#include "components/raster/image_extrude.h"
#include "components/raster/image_sampler.h"
#include "components/raster/image_stack.h"
#include "components/raster/raster_fx.h"
#include "components/transport/image_sweep.h"
#include "core/engine/progress.h"
#include "model/image_library.h"
#include "testing/component_checks.h"

#include <gtest/gtest.h>

#include <latch>
#include <thread>

// Any thread may build evaluators, and the first that does fills the component's cache. The thread sanitizer
// finds what isn't guarded.

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

constexpr int kThreads = 4;

std::shared_ptr<ZRKImage2d> image()
{
    zrk::Raster<1, 2, std::uint8_t> pixels(4, 4);
    for (std::size_t i = 0; i < pixels.data.size(); ++i) {
        pixels.data[i] = static_cast<std::uint8_t>(40 + 13 * i);
    }
    return std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{pixels});
}

/// A library of one volume.
class OneVolume final : public ZRKImage3dLibraryView {
public:
    std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string&) override
    {
        zrk::Raster<1, 3, std::uint8_t> voxels(2, 1, 1);
        voxels.data = {51, 102};
        auto entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1"));
        entry->resolve(std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{voxels}));
        return entry;
    }
};

struct Model final : ZRKContext {
    std::optional<zrk::BBox<double>> modelBounds() const override
    {
        return zrk::BBox<double>({-1, -1, -1}, {1, 1, 1});
    }
};

/// A component whose caches are empty or stale.
struct Case {
    const char* name;
    std::shared_ptr<ZRKExtensionBase> component;
};

template <class Sampler>
Case samplerOf(const char* name)
{
    auto component = std::make_shared<Sampler>();
    component->pick(image());
    return {name, std::move(component)};
}

std::vector<Case> cases()
{
    const auto extrude = std::make_shared<ZRK2DImageExtrude>();
    extrude->imageXY.set(image());
    extrude->imageXZ.set(image());
    const auto stack = std::make_shared<ZRK3DImage>();
    OneVolume library;
    stack->loadFolder(library, "scan");
    const auto effect = std::make_shared<ZRKRasterFX>();
    effect->autoUpdate.set(true);
    const auto sweep = std::make_shared<ZRKImageSweep>();
    sweep->steps.set(2);
    sweep->resolution.set(4);
    sweep->pick(sweep->imageA, image());
    sweep->pick(sweep->imageB, image());
    struct Silent final : zrk::ProgressMonitor {
        void progress(double) override {}
        bool interruptRequested() override { return false; }
    } silent;
    sweep->compute(&silent);
    sweep->moveTransport(0.5);
    return {samplerOf<ZRKScalarImageSampler>("scalar sampler"),
            samplerOf<ZRKVector3ImageSampler>("vector sampler"),
            samplerOf<ZRKRGBAImageSampler>("colour sampler"),
            {"extrusion", extrude},
            {"stack", stack},
            {"raster effect", effect},
            {"sweep", sweep}};
}

TEST(ConcurrentBuilding, FillsACacheOnceForAllThreads)
{
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        const auto graph = ZRKGraph::create();
        graph->setContext(std::make_shared<Model>());
        const ZRKGraph::Node node = graph->addNode(c.component);
        if (!node.record()->inputs[0].allowsPassthrough()) {
            const auto source = std::make_shared<Source>(Tag::Scalar, std::vector<double>{0.75, 1});
            ASSERT_EQ(graph->connect(out(graph->addNode(source)), in(node)), ZRKLinkResult::Done);
        }
        std::vector<std::vector<double>> records(kThreads);
        std::latch start(kThreads);
        std::vector<std::thread> threads;
        for (std::vector<double>& record : records) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                record = sample(outputField(node), {0.3, 0.2, 0.1});
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_GT(records[0][0], 0.0);
        for (const std::vector<double>& record : records) {
            EXPECT_EQ(record, records[0]);
        }
    }
}

} // namespace
} // namespace zrkmodel
