#include "host/editing/tests/editing_fixture.h"

#include <fmt/core.h>

namespace zrkmodel {
namespace {

using namespace testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class EditClipboard : public Editing {};

TEST_F(EditClipboard, HasADocumentThatOthersCanRead)
{
    const auto session = openParts();
    const std::string text = zrk::valueOrThrow(session->copy({6, 3, 4}));
    const ZRKJson fragment = ZRKJson::parse(text);
    EXPECT_EQ(fragment["zrkGraph"], 1);
    ASSERT_EQ(fragment["nodes"].size(), 3u);
    EXPECT_EQ(fragment["nodes"][0]["id"], 3); // in the order of the document
    ASSERT_EQ(fragment["links"].size(), 1u);
    EXPECT_EQ(fragment["outerLinks"].size(), 2u);
    ASSERT_EQ(fragment["resources"].size(), 1u);
    EXPECT_EQ(fragment["resources"][0]["uuid"], "here");
    DocumentWarnings warnings;
    EXPECT_TRUE(GraphDocument::parse(text, path("fragment.zrk.json"), warnings));
    EXPECT_FALSE(session->copy({3, 99}));
}

TEST_F(EditClipboard, PastesUnderNewIdsWithInnerLinks)
{
    const auto session = openParts();
    const std::string text = zrk::valueOrThrow(session->copy({2, 3, 4, 7}));
    PasteSettings settings;
    settings.dx = 10;
    const Pasted pasted = zrk::valueOrThrow(session->paste(text, settings));
    EXPECT_THAT(pasted.nodes, ElementsAre(9, 10, 11, 12));
    EXPECT_EQ(pasted.droppedLinks, 0u);
    EXPECT_THAT(session->selection(), ElementsAre(9, 10, 11, 12));
    const ZRKGraph& graph = *session->document().graph();
    EXPECT_EQ(graph.upstream(Pin_handle::input(10, 0)).handle, Pin_handle::output(9, 0));
    EXPECT_EQ(graph.upstream(Pin_handle::input(11, 1)).handle, Pin_handle::output(10, 0));
    EXPECT_FALSE(graph.upstream(Pin_handle::input(11, 0)).isValid()); // from outside
    EXPECT_EQ((*session->entry(12))["import"], "part.obj");
    EXPECT_EQ((*session->entry(12))["position"], ZRKJson({310.0, 0.0}));
    settings.keepsOuterLinks = true;
    ASSERT_TRUE(session->removeNodes({3}));
    const Pasted again = zrk::valueOrThrow(session->paste(zrk::valueOrThrow(session->copy({4})), settings));
    EXPECT_EQ(graph.upstream(Pin_handle::input(again.nodes[0], 0)).handle, Pin_handle::output(1, 0));
    const Pasted dropped = zrk::valueOrThrow(session->paste(
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}],
            "outerLinks": [{"from": [77, 0], "to": [1, 0]}, {"from": [2, 0], "to": [1, 0]}, 3]})",
        settings));
    EXPECT_EQ(dropped.droppedLinks, 2u);
}

// Reading takes seconds for large files: it is done apart, and nothing is read when it is pasted.
TEST_F(EditClipboard, TakesOverWhatWasReadApart)
{
    const auto session = openParts();
    const std::string text = zrk::valueOrThrow(session->copy({7}));
    EXPECT_TRUE(session->readsFiles(text));
    EXPECT_FALSE(session->readsFiles(zrk::valueOrThrow(session->copy({1, 2}))));
    EXPECT_FALSE(session->readsFiles("no fragment"));
    EXPECT_FALSE(session->startPaste("no fragment")(nullptr));
    const ZRKJson picture{
        {"zrkGraph", 1},
        {"resources", {{{"uuid", "gear"}, {"kind", "image2d"}, {"path", "ring.png"}}}},
        {"nodes", {{{"id", 1}, {"type", "RGBAImageSampler"}, {"values", {{"image", "gear"}}}}}}};
    EXPECT_TRUE(session->readsFiles(picture.dump()));
    PasteText mesh = zrk::valueOrThrow(session->startPaste(text)(nullptr));
    PasteText other = zrk::valueOrThrow(session->startPaste(picture.dump())(nullptr));
    for (const char* file : {"part.obj", "ring.png"}) {
        std::filesystem::remove(path(file));
    }
    const auto held = [&](std::uint16_t node) {
        return dynamic_cast<ZRKDataHolder&>(*objectOf(*session, node)).held();
    };
    const Pasted pasted = zrk::valueOrThrow(session->paste(std::move(mesh)));
    EXPECT_TRUE(pasted.warnings.empty());
    ASSERT_NE(held(pasted.nodes[0]).parts[0].data, nullptr);
    EXPECT_EQ((*session->entry(pasted.nodes[0]))["import"], "part.obj");
    const ZRKHeldData before = held(pasted.nodes[0]);
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->redo());
    EXPECT_EQ(held(pasted.nodes[0]), before);

    const Pasted copied = zrk::valueOrThrow(session->duplicate({7}));
    EXPECT_EQ(held(copied.nodes[0]), held(7)) << "a duplicate has the very same";

    // Under a uuid that is taken here.
    const Pasted sampler = zrk::valueOrThrow(session->paste(std::move(other)));
    const std::string uuid = valuesOf(*objectOf(*session, sampler.nodes[0]))["image"];
    const auto index = session->document().resources()->indexOf(ZRKuuid(uuid));
    ASSERT_TRUE(index) << uuid;
    EXPECT_NE(uuid, "gear");
    EXPECT_EQ(session->document().resources()->objects()[*index]->uuid(), ZRKuuid(uuid));
}

TEST_F(EditClipboard, ReadApartIsAsReadAtOnce)
{
    const std::string text = zrk::valueOrThrow(openParts()->copy({1, 2, 3, 4, 5, 6, 7, 8}));
    const auto atOnce = openParts();
    const auto apart = openParts();
    ASSERT_TRUE(atOnce->paste(text));
    PasteText read = zrk::valueOrThrow(apart->startPaste(text)(nullptr));
    EXPECT_FALSE(read.whole.contains(8)) << "its picture is the document's";
    EXPECT_TRUE(read.whole.contains(1));
    const ZRKGraphObject* const object = read.read->graph()->getNodePtr(1)->object.get();
    const Pasted pasted = zrk::valueOrThrow(apart->paste(std::move(read)));
    EXPECT_EQ(apart->document().toText(), atOnce->document().toText());
    EXPECT_EQ(objectOf(*apart, pasted.nodes[0]).get(), object) << "it isn't read again";

    // What the document got meanwhile counts: a node waits for the resource that it names.
    const std::string late = R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "RGBAImageSampler",
        "values": {"image": "late"}}]})";
    PasteText waits = zrk::valueOrThrow(apart->startPaste(late)(nullptr));
    EXPECT_TRUE(waits.whole.contains(1));
    ASSERT_TRUE(apart->addResource({{"uuid", "late"}, {"kind", "image2d"}, {"path", "ring.png"}}));
    ASSERT_TRUE(apart->paste(std::move(waits)));
    EXPECT_EQ(samplesOf(apart->document()), samplesAfterReload(apart->document()));

    // So does the folder that it has moved to.
    PasteText moves = zrk::valueOrThrow(apart->startPaste(zrk::valueOrThrow(apart->copy({7})))(nullptr));
    std::filesystem::create_directory(folder / "moved");
    ASSERT_TRUE(apart->save(path("moved/a.zrk.json")));
    const Pasted mesh = zrk::valueOrThrow(apart->paste(std::move(moves)));
    EXPECT_EQ((*apart->entry(mesh.nodes[0]))["import"], "../part.obj");
}

TEST_F(EditClipboard, BringsResourcesToAnotherDocument)
{
    // Another folder, where "gear" and "here" mean something else and "ball" the same.
    std::filesystem::create_directory(folder / "other");
    const auto from = openParts();
    ASSERT_TRUE(from->setItem(6, "poles", 0, {{"is_ref", true}, {"point_handle", "HERE"}}));
    const auto blend =
        zrk::valueOrThrow(from->addNode({"geometry blend", "", ZRKJson{{"geometries", "both"}}}));
    const std::string text = zrk::valueOrThrow(from->copy({6, 7, 8, blend}));
    DocumentWarnings warnings;
    auto document = zrk::valueOrThrow(GraphDocument::parse(
        R"({"zrkGraph": 1, "resources": [
            {"uuid": "gear", "kind": "image2d", "path": "../ring.png"},
            {"uuid": "HERE", "kind": "geometry", "shape": "point", "position": [0, 0, 1]},
            {"uuid": "ball", "kind": "geometry", "shape": "sphere", "center": [0, 0, 0], "radius": 1}]})",
        path("other/b.zrk.json"), warnings));
    EditSession to(std::move(document), settings());
    const std::string first = to.document().toText();
    // What is read apart is found from there, too.
    const PasteText apart = zrk::valueOrThrow(to.startPaste(text)(nullptr));
    const auto& mesh = dynamic_cast<const ZRKDataHolder&>(*apart.read->graph()->getNodePtr(7)->object);
    EXPECT_NE(mesh.held().parts[0].data, nullptr);
    const Pasted pasted = zrk::valueOrThrow(to.paste(text));
    EXPECT_TRUE(pasted.warnings.empty()) << zrk::messageOf(pasted.warnings.front());
    const ZRKJson root = ZRKJson::parse(to.document().toText());
    std::vector<std::string> uuids;
    for (const ZRKJson& resource : root["resources"]) {
        uuids.push_back(resource["uuid"].get<std::string>());
    }
    EXPECT_EQ(uuids.size(), 6u); // of its own 3, and with "gear", "here" and "both" under names that are free
    EXPECT_EQ(uuids.back(), "both");
    EXPECT_EQ(root["resources"][3]["path"], "../gear.png");
    EXPECT_EQ((*to.entry(pasted.nodes[1]))["import"], "../part.obj");
    EXPECT_EQ(valueOf(to, pasted.nodes[2], "image"), root["resources"][3]["uuid"]);
    EXPECT_NE(valueOf(to, pasted.nodes[0], "poles")[1]["point_handle"], "HERE");
    EXPECT_EQ(valueOf(to, pasted.nodes[0], "poles")[1]["point"], ZRKJson({0.5, 0.0, 0.0}));
    EXPECT_EQ(samplesOf(to.document()), samplesAfterReload(to.document()));
    ASSERT_TRUE(to.undo());
    EXPECT_EQ(to.document().toText(), first);
}

TEST_F(EditClipboard, RefusesWhatIsNoFragment)
{
    const auto session = openParts();
    const std::string before = session->document().toText();
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"hello", "broken JSON"},
        {"[1, 2]", "expected an object"},
        {R"({"nodes": []})", "\"zrkGraph\""},
        {R"({"zrkGraph": 7, "nodes": [{"id": 1, "type": "Gyroid"}]})",
         "found format version 7, expected at most 1"},
        {R"({"zrkGraph": 1})", "expected a node to paste"},
        {R"({"zrkGraph": 1, "nodes": 3})", "expected an array"},
        {R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}, {"id": 1, "type": "Gyroid"}]})",
         "an id of its own"},
        {R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroids"}]})", "did you mean"},
        {R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}], "links": [{"from": [2, 0], "to": [1, 0]}]})",
         "between nodes that are copied"},
        {R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Gyroid"}, {"id": 2, "type": "Gyroid"}],
            "links": [{"from": [2, 0], "to": [1, 0]}]})",
         "the tags of the two pins differ"},
        {R"({"zrkGraph": 1, "resources": [{"uuid": "new", "kind": "image2d", "path": "ring.png"},
            {"uuid": "x", "kind": "image2d", "path": "gone.png"}], "nodes": [{"id": 1, "type": "Gyroid"}]})",
         "gone.png"},
        {R"({"zrkGraph": 1, "resources": [
            {"uuid": "x", "kind": "geometry", "shape": "group", "members": ["y"]},
            {"uuid": "y", "kind": "geometry", "shape": "group", "members": ["x"]}],
            "nodes": [{"id": 1, "type": "Gyroid"}]})",
         "groups that lead one way"},
    };
    for (const Case& c : cases) {
        const auto pasted = session->paste(c.text);
        ASSERT_FALSE(pasted) << c.text;
        EXPECT_THAT(zrk::messageOf(pasted.error()), HasSubstr(c.message));
        EXPECT_EQ(session->document().toText(), before);
        EXPECT_FALSE(session->canUndo());
    }
}

} // namespace
} // namespace zrkmodel
