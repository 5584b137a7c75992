#include "components/raster/image_stack.h"
#include "components/registration.h"
#include "core/engine/progress.h"
#include "host/graph_document.h"
#include "model/serializable.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zrkmodel {
namespace {

using zrktest::TemporaryFolder;

using ::testing::HasSubstr;

const std::filesystem::path kSeeds = zrktest::sourceFolder() / "fuzz/corpus";

/// Documents beside copies of the pictures and arrays that tools/make-fuzz-seeds writes.
class ImageResources : public TemporaryFolder {
protected:
    void copy(const std::string& seed, const std::string& name) const
    {
        std::filesystem::create_directories((folder / name).parent_path());
        std::filesystem::copy_file(kSeeds / seed, folder / name);
    }

    /// With one resource, "a", of these members.
    zrk::Result<GraphDocument> document(const std::string& members,
                                        zrk::ProgressMonitor* monitor = nullptr) const
    {
        DocumentWarnings warnings;
        const std::string text =
            R"({"zrkGraph": 1, "resources": [{"uuid": "a", )" + members + R"(}], "nodes": [
            {"id": 1, "type": "ZRK3DImage", "values": {"image": "a"}}], "output": [1, 0]})";
        return GraphDocument::parse(text, path("a.zrk.json"), warnings, monitor);
    }

    template <class Image>
    std::shared_ptr<Image> resource(const std::string& members) const
    {
        return ZRKResourceHandleOf<Image>(document(members)->resources()->find(ZRKuuid("A"))).object();
    }

    std::string refusal(const std::string& members) const
    {
        const auto refused = document(members);
        if (refused) {
            return "";
        }
        EXPECT_EQ(refused.error().kind, zrk::FaultKind::BadInput);
        EXPECT_THAT(refused.error().place, HasSubstr("a.zrk.json, resources[0], \"path\""));
        return zrk::messageOf(refused.error());
    }
};

TEST_F(ImageResources, AreReadFromPathsBesideTheDocument)
{
    copy("png_reader/colour_alpha16.png", "pictures/p.png");
    const auto picture = resource<ZRKImage2d>(R"("kind": "image2d", "path": "pictures/p.png")");
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->channelCount(), 4u);
    EXPECT_EQ(picture->uuid(), ZRKuuid("a"));

    copy("npy_reader/uint16_big_fortran.npy", "scan.npy");
    copy("png_reader/grey8.png", "scan/b.png");
    copy("png_reader/grey1.png", "scan/a.png");
    for (const char* path : {"scan.npy", "scan", "scan/", "./scan/"}) {
        SCOPED_TRACE(path);
        const auto volume =
            resource<ZRKImage3d>(R"("kind": "image3d", "path": ")" + std::string(path) + "\"");
        ASSERT_NE(volume, nullptr);
        EXPECT_EQ(volume->channelCount(), 1u);
    }
    const auto absolute =
        resource<ZRKImage2d>(R"("kind": "image2d", "path": ")" + path("pictures/p.png") + "\"");
    EXPECT_NE(absolute, nullptr);
}

TEST_F(ImageResources, RefuseTheDocumentWithTheFilesName)
{
    put("text.png", "no picture");
    copy("png_reader/grey8.png", "scan/a.png");
    copy("png_reader/one_pixel.png", "scan/b.png");
    std::filesystem::create_directory(folder / "empty");
    EXPECT_THAT(refusal(R"("kind": "image2d")"), HasSubstr("found none"));
    EXPECT_THAT(refusal(R"("kind": "image2d", "path": 3)"), HasSubstr("found 3"));
    EXPECT_THAT(refusal(R"("kind": "image2d", "path": "gone.png")"), HasSubstr("gone.png: found no file"));
    EXPECT_THAT(refusal(R"("kind": "image2d", "path": "text.png")"),
                HasSubstr("text.png: found something else"));
    EXPECT_THAT(refusal(R"("kind": "image2d", "path": "scan")"), HasSubstr("found a folder"));
    EXPECT_THAT(refusal(R"("kind": "image3d", "path": "gone")"), HasSubstr("gone: found no file"));
    EXPECT_THAT(refusal(R"("kind": "image3d", "path": "scan")"), HasSubstr("b.png: found 1 x 1 pixels"));
    EXPECT_THAT(refusal(R"("kind": "image3d", "path": "empty")"), HasSubstr("empty: found no slice"));
    EXPECT_THAT(refusal(R"("kind": "image3d", "path": "text.png")"), HasSubstr("expected a NumPy array"));
}

TEST_F(ImageResources, AreNoMembersOfGroups)
{
    copy("png_reader/grey8.png", "p.png");
    DocumentWarnings warnings;
    const char* text = R"({"zrkGraph": 1, "resources": [{"uuid": "a", "kind": "image2d", "path": "p.png"},
        {"uuid": "g", "kind": "geometry", "shape": "group", "members": ["a"]}]})";
    EXPECT_FALSE(GraphDocument::parse(text, path("a.zrk.json"), warnings));
}

class Stop final : public zrk::ProgressMonitor {
public:
    void progress(double) override {}
    bool interruptRequested() override { return true; }
};

TEST_F(ImageResources, StopLoadingWhenTheyAreAskedTo)
{
    copy("png_reader/grey8.png", "scan/a.png");
    Stop stop;
    const auto stopped = document(R"("kind": "image3d", "path": "scan")", &stop);
    ASSERT_FALSE(stopped);
    EXPECT_EQ(stopped.error().kind, zrk::FaultKind::Interrupted);
}

TEST_F(ImageResources, TakeAFolderThatAComponentLoads)
{
    copy("npy_reader/uint8.npy", "scan.npy");
    copy("png_reader/grey8.png", "other/a.png");
    const GraphDocument loaded = zrk::valueOrThrow(document(R"("kind": "image3d", "path": "scan.npy")"));
    const auto stack = std::dynamic_pointer_cast<ZRK3DImage>(loaded.graph()->getNodePtr(1)->object);
    const auto former = stack->image.value();
    ASSERT_NE(former, nullptr);

    DocumentResources& resources = *loaded.resources();
    EXPECT_EQ(resources.ensureImageFromfolder(path("gone")), nullptr);
    stack->loadFolder(resources, path("other"));
    EXPECT_EQ(resources.ensureImageFromfolder(path("./other/"))->object(), stack->image.value())
        << "one resource";

    const auto loadedFolder = stack->image.value();
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(path("other")); // which holds slices, but wasn't chosen
    stack->loadFolder(resources, "");
    std::filesystem::current_path(before);
    EXPECT_EQ(stack->image.value(), nullptr) << "no folder was chosen";
    stack->loadFolder(resources, path("other"));
    EXPECT_EQ(stack->image.value(), loadedFolder);
    DocumentWarnings none;
    const auto bare = GraphDocument::parse(R"({"zrkGraph": 1, "nodes": []})", "bare.zrk.json", none);
    EXPECT_NE(bare->resources()->ensureImageFromfolder(path("other")), nullptr) << "beside no folder by name";

    EXPECT_TRUE(loaded.save(path("b.zrk.json")));
    DocumentWarnings warnings;
    const GraphDocument again = zrk::valueOrThrow(GraphDocument::load(path("b.zrk.json"), warnings));
    EXPECT_THAT(warnings, ::testing::IsEmpty());
    EXPECT_EQ(ZRKJson::parse(again.toText())["resources"][1]["path"], "other");
    const auto reread = std::dynamic_pointer_cast<ZRK3DImage>(again.graph()->getNodePtr(1)->object);
    ASSERT_NE(reread->image.value(), nullptr);
    EXPECT_EQ(reread->image.value()->uuid(), stack->image.value()->uuid());
    EXPECT_EQ(again.toText(), content("b.zrk.json"));
}

} // namespace
} // namespace zrkmodel
