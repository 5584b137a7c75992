#include "core/engine/progress.h"
#include "host/document_resources.h"
#include "model/document.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zrkmodel {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

class DocumentLists : public zrktest::TemporaryFolder {
protected:
    std::shared_ptr<DocumentResources> load(const std::string& entries)
    {
        return DocumentResources::load(ZRKJson::parse(entries), path("a.zrk.json"),
                                       std::filesystem::path(path("")))
            .value();
    }
    void copyPicture(const char* name) const
    {
        std::filesystem::copy(zrktest::sourceFolder() / "examples/pictures" / name,
                              std::filesystem::path(path(name)));
    }
};

template <class R>
std::vector<std::string> namesOf(const std::vector<ZRKNamedResource<R>>& entries)
{
    std::vector<std::string> names;
    for (const auto& entry : entries) {
        names.push_back(entry.name);
    }
    return names;
}

TEST_F(DocumentLists, TellResourcesByKindWithAName)
{
    copyPicture("gear.png");
    const auto resources = load(R"([
        {"uuid": "c1", "kind": "geometry", "shape": "circle", "center": [0,0,0], "axis": [0,0,1], "radius": 1},
        {"uuid": "p1", "kind": "geometry", "shape": "point", "position": [1,2,3], "name": "here"},
        {"uuid": "s1", "kind": "geometry", "shape": "sphere", "center": [0,0,0], "radius": 1},
        {"uuid": "g1", "kind": "geometry", "shape": "group", "members": ["c1", "p1"]},
        {"uuid": "i1", "kind": "image2d", "path": "gear.png"}])");
    EXPECT_THAT(namesOf(resources->geometries(kPointGeometry)), ElementsAre("here"));
    EXPECT_THAT(namesOf(resources->geometries(kCurveGeometry)), ElementsAre("circle c1"));
    EXPECT_THAT(namesOf(resources->geometries(kPointGeometry | kCurveGeometry)),
                ElementsAre("circle c1", "here"));
    EXPECT_THAT(namesOf(resources->geometries(kAnyGeometry)),
                ElementsAre("circle c1", "here", "sphere s1", "group g1"));
    EXPECT_THAT(namesOf(resources->images2d()), ElementsAre("gear.png"));
}

TEST_F(DocumentLists, TakePicturesInOnce)
{
    copyPicture("gear.png");
    copyPicture("ring.png");
    put("text.png", "no picture");
    const auto resources = load(R"([{"uuid": "i1", "kind": "image2d", "path": "gear.png"}])");
    const ZRKAddedImage added = resources->ensureImage2d(path("ring.png"));
    ASSERT_NE(added.image, nullptr) << added.problem;
    EXPECT_EQ(resources->ensureImage2d(path("./ring.png")).image, added.image);
    EXPECT_EQ(resources->ensureImage2d(path("gear.png")).image, resources->images2d()[0].object);
    EXPECT_TRUE(resources->find(added.image->uuid()).ready());
    ASSERT_EQ(resources->addedEntries().size(), 1u);
    EXPECT_EQ(resources->addedEntries()[0]["kind"], "image2d");
    EXPECT_EQ(resources->addedEntries()[0]["path"], "ring.png");
    for (const char* name : {"text.png", "gone.png"}) {
        const ZRKAddedImage failed = resources->ensureImage2d(path(name));
        EXPECT_EQ(failed.image, nullptr);
        EXPECT_THAT(failed.problem, HasSubstr(name));
    }
    EXPECT_THAT(namesOf(resources->images2d()), ElementsAre("gear.png", "ring.png"));
}

TEST_F(DocumentLists, TakeImagesThatWereReadApart)
{
    copyPicture("gear.png");
    copyPicture("ring.png");
    copyPicture("letter.png");
    const auto resources = load(R"([{"uuid": "i1", "kind": "image2d", "path": "gear.png"}])");
    struct Nobody final : zrk::ProgressMonitor {
        void progress(double) override {}
        bool interruptRequested() override { return false; }
    } monitor;
    const auto readAndRemove = [&](const char* name) {
        const ZRKImageReading reading = resources->startReading(ZRKImageKind::picture, path(name));
        reading.read(monitor);
        std::filesystem::remove(path(name)); // so that it can't be read again
        EXPECT_TRUE(resources->addedEntries().empty() || resources->addedEntries().back()["path"] != name);
        reading.keep();
    };
    readAndRemove("ring.png");
    const ZRKAddedImage ring = resources->ensureImage2d(path("ring.png"));
    ASSERT_NE(ring.image, nullptr) << ring.problem;
    EXPECT_TRUE(resources->find(ring.image->uuid()).ready());
    EXPECT_EQ(resources->addedEntries().back()["path"], "ring.png");

    readAndRemove("letter.png");
    EXPECT_EQ(resources->images3d().ensureImageFromfolder(path("letter.png")), nullptr) << "it is a picture";
    EXPECT_EQ(resources->ensureImage2d(path("letter.png")).image, nullptr) << "it is kept for one question";

    readAndRemove("gone.png");
    put("gone.png", "found too late");
    EXPECT_THAT(resources->ensureImage2d(path("gone.png")).problem, HasSubstr("gone.png"));

    const ZRKImageReading known = resources->startReading(ZRKImageKind::picture, path("./gear.png"));
    known.read(monitor);
    known.keep();
    EXPECT_EQ(resources->ensureImage2d(path("./gear.png")).image, resources->images2d()[0].object);
    EXPECT_EQ(resources->addedEntries().size(), 1u);
}

} // namespace
} // namespace zrkmodel
