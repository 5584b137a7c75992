#include "components/transport/image_sweep.h"

#include "core/engine/progress.h"
#include "testing/component_checks.h"

#include <map>

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;

struct Library final : ZRKResourceLibrary {
    std::map<std::string, std::shared_ptr<ZRKResourceEntry>> entries;
    ZRKResourceHandle find(const ZRKuuid& uuid) override
    {
        auto& entry = entries[uuid.text()];
        if (!entry) {
            entry = std::make_shared<ZRKResourceEntry>(uuid);
        }
        return ZRKResourceHandle(entry);
    }
};

struct Quiet final : zrk::ProgressMonitor {
    void progress(double) override {}
    bool interruptRequested() override { return false; }
};

std::shared_ptr<ZRKImage2d> picture(std::vector<double> pixels)
{
    zrk::Raster<1, 2, double> raster(2, 2);
    raster.data.assign(pixels.begin(), pixels.end());
    return std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{raster});
}

// Pictures that arrive after the document was read are announced, and swept when `compute` is asked for.
TEST(ImageSweep, WaitsWithLatePicturesForCompute)
{
    const auto library = std::make_shared<Library>();
    const auto sweep = std::make_shared<ZRKImageSweep>();
    std::vector<std::string> told;
    sweep->addListener([&](const ZRKEvent& event) { told.push_back(event.name); });
    ZRKSerialization form;
    sweep->serialize(form);
    ZRKJson values = form.root();
    values["steps"] = 2;
    values["resolution"] = 2;
    values["transport"] = 0.0;
    values["smoothing"] = 0.0;
    values["wrap"] = false;
    values["imageA"] = "a";
    values["imageB"] = "b";
    const auto value = [&] { return sample(sweep, {0, 0, 0})[0]; };

    sweep->deserialize(ZRKDeserialization(values, library));
    EXPECT_EQ(value(), 0);
    library->entries["a"]->resolve(picture({0.5, 0.25, 0.25, 0.25}));
    library->entries["b"]->resolve(picture({0.25, 0.25, 0.25, 0.5}));
    EXPECT_EQ(told, (std::vector<std::string>{"imageA", "imageB"}));
    EXPECT_NE(sweep->imageB.value(), nullptr);
    EXPECT_EQ(value(), 0) << "nothing is computed by itself";

    Quiet monitor;
    EXPECT_TRUE(sweep->compute(&monitor));
    EXPECT_EQ(value(), 0.5) << "of a crossfade the first picture, as it is";
    EXPECT_EQ(told.back(), "raster");
}

} // namespace
} // namespace zrkmodel
