#include "components/raster/image_stack.h"

#include "testing/component_checks.h"
#include "testing/slice_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

namespace zrkmodel {
namespace {

using namespace zrktest;
using namespace zrkmodel::testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using Numbers = std::vector<double>;

/// A library of one folder's volume.
class OneFolder final : public ZRKImage3dLibraryView {
public:
    std::shared_ptr<ZRKResourceEntry> entry;
    std::shared_ptr<ZRKResourceEntry> ensureImageFromfolder(const std::string&) override { return entry; }
};

using LoadedStack = SliceFolder;

TEST_F(LoadedStack, LoadsSlicesAndKeepsThemWhenTheNextLoadIsStopped)
{
    const auto stack = std::make_shared<ZRK3DImage>();
    stack->wrap.set(false);
    std::vector<std::string> changes;
    stack->addListener([&](const ZRKEvent& event) { changes.push_back(event.name); });
    const auto value = [&] { return sample(stack, {0, 0, 1}); };

    EXPECT_TRUE(stack->loadSlices({slice("a.png", "grey8"), slice("b.png", "grey2")}, nullptr)->empty());
    EXPECT_EQ(value(), (Numbers{85 / 255.0, 1}));
    EXPECT_EQ(sample(std::dynamic_pointer_cast<ZRKGraphObject>(stack->clone()), {0, 0, 0}),
              (Numbers{17 / 255.0, 1}))
        << "a clone has the slices";
    const auto read = std::dynamic_pointer_cast<ZRK3DImage>(stack->clone());
    read->deserialize(ZRKDeserialization(ZRKJson::object()));
    EXPECT_EQ(sample(read, {0, 0, 0}), (Numbers{0, 0})) << "stored forms have no slices";
    EXPECT_THAT(changes, ElementsAre("raster"));

    Impatient hasty(0);
    EXPECT_EQ(stack->importFiles({slice("c.png", "grey1")}, &hasty).error().kind,
              zrk::FaultKind::Interrupted);
    EXPECT_TRUE(stack->loadSlices({}, nullptr)->empty());
    std::filesystem::create_symlink("loop.png", folder / "loop.png");
    EXPECT_THAT(messagesOf(stack->importFiles({folder / "loop.png"}, nullptr)),
                HasSubstr("loop.png: found a path that can't be"));
    EXPECT_EQ(value(), (Numbers{85 / 255.0, 1})) << "nothing changed";
    EXPECT_EQ(changes.size(), 1u);

    EXPECT_THAT(
        messagesOf(stack->importFiles({folder / "c.png", folder / "x.png", folder / "y.png"}, nullptr)),
        ::testing::AllOf(HasSubstr("x.png: found no file"), HasSubstr("1 more")));
    EXPECT_EQ(value(), (Numbers{1, 1}));
    EXPECT_THAT(messagesOf(stack->importFiles({folder}, nullptr)), HasSubstr("found another kind of file"));
    EXPECT_EQ(value(), (Numbers{0, 0})) << "no fit slice: the volume is dropped";
    EXPECT_EQ(changes.size(), 3u);
}

TEST_F(LoadedStack, LoadsAFolderAndRemovesItForAWhile)
{
    const auto graph = ZRKGraph::create();
    const auto stack = std::make_shared<ZRK3DImage>();
    const ZRKGraph::Node node = graph->addNode(stack);
    zrk::Raster<1, 3, double> voxels(1, 1, 2);
    voxels.data = {0.25, 0.75};
    OneFolder library;
    library.entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1"));
    library.entry->resolve(std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{voxels}));
    std::vector<std::string> changes;
    stack->addListener([&](const ZRKEvent& event) { changes.push_back(event.name); });

    stack->loadFolder(library, "scan");
    EXPECT_EQ(sample(outputField(node), {0, 0, 1}), (Numbers{0.75, 1}));
    stack->removeImage();
    EXPECT_EQ(sample(outputField(node), {0, 0, 1}), (Numbers{0, 0}));
    EXPECT_NE(stack->image.value(), nullptr);
    stack->onInspection(nullptr, node);
    EXPECT_EQ(sample(outputField(node), {0, 0, 1}), (Numbers{0.75, 1}));
    library.entry = nullptr;
    stack->loadFolder(library, "gone");
    EXPECT_EQ(sample(outputField(node), {0, 0, 1}), (Numbers{0, 0}));
    EXPECT_EQ(stack->image.value(), nullptr);
    EXPECT_THAT(changes, ElementsAre("raster", "raster", "raster")) << "\"image\" is assigned silently";
}

TEST_F(LoadedStack, ShowsASlice)
{
    const auto stack = std::make_shared<ZRK3DImage>();
    EXPECT_FALSE(stack->preview(0.5));
    zrk::Raster<1, 3, double> voxels(2, 1, 3);
    voxels.data = {0, 0.1, -7, 7, std::nan(""), 0.502};
    OneFolder library;
    library.entry = std::make_shared<ZRKResourceEntry>(ZRKuuid("a-1"));
    library.entry->resolve(std::make_shared<ZRKImage3d>(std::vector<ZRKImage3d::Channel>{voxels}));
    stack->loadFolder(library, "scan");
    const auto shown = [&](double share) {
        const auto picture = stack->preview(share);
        return Numbers(picture->data.begin(), picture->data.end());
    };
    EXPECT_EQ(shown(0), (Numbers{0, 26}));
    EXPECT_EQ(shown(-1), (Numbers{0, 26}));
    EXPECT_EQ(shown(0.5), (Numbers{0, 255}));
    EXPECT_EQ(shown(1), (Numbers{0, 128}));
    EXPECT_EQ(shown(1e300), (Numbers{0, 128}));
}

} // namespace
} // namespace zrkmodel
