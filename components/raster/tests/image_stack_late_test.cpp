#include "components/raster/image_stack.h"

#include "testing/component_checks.h"

namespace zrkmodel {
namespace {

using namespace zrkmodel::testing;
using Numbers = std::vector<double>;

struct Library final : ZRKResourceLibrary {
    std::shared_ptr<ZRKResourceEntry> entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("v"));
    ZRKResourceHandle find(const ZRKuuid&) override { return ZRKResourceHandle(entry); }
};

std::shared_ptr<ZRKImage3d> volume(double value)
{
    zrk::Raster<1, 3, double> voxels(1, 1, 1);
    voxels.data = {value};
    return std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{voxels});
}

// The volume that arrives after the document was read is shown with the next inspection.
TEST(ImageStack, TakesALateVolumeWithTheNextInspection)
{
    const auto library = std::make_shared<Library>();
    const auto graph = ZRKGraph::create();
    const auto stack = std::make_shared<ZRK3DImage>();
    const ZRKGraph::Node node = graph->addNode(stack);
    std::vector<std::string> told;
    stack->addListener([&](const ZRKEvent& event) { told.push_back(event.name); });
    const ZRKJson values{{"image", "v"}};
    const auto value = [&] { return sample(outputField(node), {0, 0, 0}); };

    stack->deserialize(ZRKDeserialization(values, library));
    EXPECT_EQ(value(), (Numbers{0, 0}));
    const auto late = volume(0.5);
    library->entry->resolve(late);
    EXPECT_EQ(stack->image.value(), late);
    EXPECT_EQ(told, (std::vector<std::string>{"image"}));
    EXPECT_EQ(value(), (Numbers{0, 0}));
    stack->onInspection(nullptr, node);
    EXPECT_EQ(value(), (Numbers{0.5, 1}));

    // Read anew, the former volume stays until the other one is there and is inspected.
    library->entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("w"));
    stack->deserialize(ZRKDeserialization(values, library));
    EXPECT_EQ(value(), (Numbers{0.5, 1}));
    library->entry->resolve(volume(0.75));
    stack->onInspection(nullptr, node);
    EXPECT_EQ(value(), (Numbers{0.5, 1})) << "an inspection fills what is empty only";
}

class Picked final : public ZRKImage3dLibraryView {
public:
    std::shared_ptr<ZRKResourceEntry> entry;
    std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string&) override { return entry; }
};

TEST(ImageStack, KeepsAFolderThatIsLoadedWhileAnotherIsAwaited)
{
    const auto library = std::make_shared<Library>();
    const auto stack = std::make_shared<ZRK3DImage>();
    const ZRKJson values{{"image", "v"}};
    stack->deserialize(ZRKDeserialization(values, library));
    Picked picked;
    const auto own = volume(0.25);
    own->setUuid(ZRKuuid("own"));
    picked.entry = std::make_shared<ZRKResourceEntry>(own->uuid());
    picked.entry->resolve(own);
    stack->loadFolder(picked, "scan");
    library->entry->resolve(volume(0.5));
    EXPECT_EQ(stack->image.value(), own);
    EXPECT_EQ(stack->image.valueJson(), "own");
    EXPECT_EQ(sample(stack, {0, 0, 0}), (Numbers{0.25, 1}));
}

} // namespace
} // namespace zrkmodel
