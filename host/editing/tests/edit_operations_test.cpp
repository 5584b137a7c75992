#include "host/editing/tests/editing_fixture.h"

#include "components/mesh/mesh_sdf.h"
#include "components/primitives/sphere_sdf.h"
#include "components/raster/image_sampler.h"
#include "components/raster/raster_fx.h"

#include <functional>
#include <set>

namespace zrkmodel {
namespace {

using namespace testing;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

class EditOperations : public Editing {};

Pin_handle in(unsigned node, unsigned index)
{
    return Pin_handle::input(static_cast<std::uint16_t>(node), static_cast<std::uint8_t>(index));
}
Pin_handle out(unsigned node, unsigned index)
{
    return Pin_handle::output(static_cast<std::uint16_t>(node), static_cast<std::uint8_t>(index));
}

template <class T>
zrk::Result<void> done(const zrk::Result<T>& result)
{
    return result.map([](const T&) {});
}

struct Operation {
    const char* name;
    std::function<zrk::Result<void>(EditSession&, const std::filesystem::path& folder)> edit;
    /// What the document shows of it, for a reader who knows what was asked for.
    std::function<bool(const ZRKJson& document)> hasHappened;
};

const ZRKJson& node(const ZRKJson& document, int id)
{
    static const ZRKJson none;
    for (const ZRKJson& entry : document["nodes"]) {
        if (entry["id"] == id) {
            return entry;
        }
    }
    return none;
}

bool isLinked(const ZRKJson& document, std::initializer_list<int> from, std::initializer_list<int> to)
{
    return std::any_of(document["links"].begin(), document["links"].end(), [&](const ZRKJson& link) {
        return link["from"] == ZRKJson(from) && link["to"] == ZRKJson(to);
    });
}

/// A picture with what samples it, and a mesh that a shell is made of, of a document in another folder.
GraphDocument loadedParts(const std::filesystem::path& folder, const char* uuid = "fresh")
{
    std::filesystem::create_directory(folder / "elsewhere");
    DocumentWarnings warnings;
    const std::string text = R"({"zrkGraph": 1,
        "resources": [{"uuid": ")" +
                             std::string(uuid) + R"(", "kind": "image2d", "path": "../ring.png"}],
        "nodes": [{"id": 1, "type": "ScalarImageSampler", "values": {"image": ")" +
                             uuid + R"("}},
                  {"id": 4, "type": "MeshSDF", "import": "../other.obj"}, {"id": 2, "type": "Shell"}],
        "links": [{"from": [4, 0], "to": [2, 0]}]})";
    return zrk::valueOrThrow(
        GraphDocument::parse(text, (folder / "elsewhere/a.zrk.json").string(), warnings));
}

const Operation kOperations[] = {
    {"add what was loaded apart",
     [](EditSession& s, auto& folder) {
         GraphDocument loaded = loadedParts(folder);
         for (const char* file : {"ring.png", "other.obj"}) { // nothing is read again
             std::filesystem::rename(folder / file, folder / (std::string(file) + ".away"));
         }
         const auto added = s.addLoaded(std::move(loaded));
         for (const char* file : {"ring.png", "other.obj"}) {
             std::filesystem::rename(folder / (std::string(file) + ".away"), folder / file);
         }
         return done(added);
     },
     [](const ZRKJson& d) {
         return d["resources"].size() == 5 && node(d, 9)["values"]["image"] == "fresh" &&
                node(d, 10)["import"] == "other.obj" && isLinked(d, {10, 0}, {11, 0});
     }},
    {"add",
     [](EditSession& s, auto&) {
         return done(s.addNode({"BoxSDF", "", ZRKJson{{"min", {-1, -1, -1}}}, {}, {{4.5, 6}}}));
     },
     [](const ZRKJson& d) { return node(d, 9)["type"] == "BoxSDF" && node(d, 9)["position"][1] == 6.0; }},
    {"remove in the middle",
     [](EditSession& s, auto&) {
         return s.removeNodes({4, 2});
     },
     [](const ZRKJson& d) { return node(d, 4).is_null() && node(d, 2).is_null() && d["links"].empty(); }},
    {"remove the output's node", [](EditSession& s, auto&) { return s.removeNodes({5}); },
     [](const ZRKJson& d) { return !d.contains("output"); }},
    {"remove and reconnect", [](EditSession& s, auto&) { return s.removeNodes({4}, true); },
     [](const ZRKJson& d) {
         return isLinked(d, {1, 0}, {5, 0});
     }},
    {"remove and reconnect the output", [](EditSession& s, auto&) { return s.removeNodes({5}, true); },
     [](const ZRKJson& d) {
         return d["output"] == ZRKJson({4, 0});
     }},
    {"link", [](EditSession& s, auto&) { return s.link(out(6, 0), in(2, 0)); },
     [](const ZRKJson& d) {
         return isLinked(d, {6, 0}, {2, 0});
     }},
    {"rewire", [](EditSession& s, auto&) { return s.link(out(7, 0), in(4, 0), true); },
     [](const ZRKJson& d) {
         return isLinked(d, {7, 0}, {4, 0}) && !isLinked(d, {1, 0}, {4, 0});
     }},
    {"unlink", [](EditSession& s, auto&) { return s.unlink(in(3, 0)); },
     [](const ZRKJson& d) {
         return !isLinked(d, {2, 0}, {3, 0}) && d["links"].size() == 3;
     }},
    {"insert into a link", [](EditSession& s, auto&) { return s.insertIntoLink(6, in(3, 0)); },
     [](const ZRKJson& d) {
         return isLinked(d, {2, 0}, {6, 0}) && isLinked(d, {6, 0}, {3, 0});
     }},
    {"move",
     [](EditSession& s, auto&) {
         return s.move({{1, 7, 8}, {5, 1, 2}});
     },
     [](const ZRKJson& d) {
         return node(d, 5)["position"] == ZRKJson({1.0, 2.0});
     }},
    {"label", [](EditSession& s, auto&) { return s.setLabel(3, "infill"); },
     [](const ZRKJson& d) { return node(d, 3)["label"] == "infill"; }},
    {"bypass", [](EditSession& s, auto&) { return s.setBypassed(2, true); },
     [](const ZRKJson& d) {
         return !isLinked(d, {2, 0}, {3, 0}) && node(d, 2).contains("bypass");
     }},
    {"bypass the output", [](EditSession& s, auto&) { return s.setBypassed(5, true); },
     [](const ZRKJson& d) {
         return d["output"] == ZRKJson({4, 0});
     }},
    {"value", [](EditSession& s, auto&) { return s.setValue(1, "radius", 0.5); },
     [](const ZRKJson& d) { return node(d, 1)["values"]["radius"] == 0.5; }},
    {"value of a raster", [](EditSession& s, auto&) { return s.setValue(5, "resolution", 4); },
     [](const ZRKJson& d) { return node(d, 5)["values"]["resolution"] == 4; }},
    {"no resource", [](EditSession& s, auto&) { return s.setValue(8, "image", ""); },
     [](const ZRKJson& d) { return node(d, 8)["values"]["image"] == ""; }},
    {"list as a whole", [](EditSession& s, auto&) { return s.setValue(6, "poles", ZRKJson::array()); },
     [](const ZRKJson& d) { return node(d, 6)["values"]["poles"].empty(); }},
    {"insert an item",
     [](EditSession& s, auto&) {
         return s.insertItem(6, "poles", 1, {{"strength", 3}, {"point", {1, 1, 1}}});
     },
     [](const ZRKJson& d) {
         return node(d, 6)["values"]["poles"].size() == 3 &&
                node(d, 6)["values"]["poles"][1]["strength"] == 3;
     }},
    {"change an item",
     [](EditSession& s, auto&) {
         return s.setItem(6, "poles", 0, {{"strength", 4}, {"point", {1, 1, 1}}});
     },
     [](const ZRKJson& d) { return node(d, 6)["values"]["poles"][0]["strength"] == 4; }},
    {"remove an item", [](EditSession& s, auto&) { return s.removeItem(6, "poles", 0); },
     [](const ZRKJson& d) { return node(d, 6)["values"]["poles"].size() == 1; }},
    {"import",
     [](EditSession& s, const std::filesystem::path& folder) {
         DocumentWarnings warnings;
         return s.importFiles(7, {folder / "other.obj"}, warnings);
     },
     [](const ZRKJson& d) { return node(d, 7)["import"] == "other.obj"; }},
    {"add a resource",
     [](EditSession& s, auto&) {
         return done(s.addResource({{"kind", "image2d"}, {"path", "ring.png"}}));
     },
     [](const ZRKJson& d) { return d["resources"].size() == 5 && d["resources"][4]["path"] == "ring.png"; }},
    {"remove a resource", [](EditSession& s, auto&) { return s.removeResource("both"); },
     [](const ZRKJson& d) { return d["resources"].size() == 3; }},
    {"remove unused resources", // a group, and a member that is unused then
     [](EditSession& s, auto&) { return done(s.removeUnusedResources()); },
     [](const ZRKJson& d) { return d["resources"].size() == 2 && d["resources"][1]["uuid"] == "here"; }},
    {"bounds",
     [](EditSession& s, auto&) {
         return s.setContext("modelBounds", ZRKJson::parse("[[0, 0, 0], [2, 1, 1]]"));
     },
     [](const ZRKJson& d) { return d["context"]["modelBounds"][1][0] == 2; }},
    {"unit", [](EditSession& s, auto&) { return s.setContext("unit", "mm"); },
     [](const ZRKJson& d) { return d["context"]["unit"] == "mm" && d["context"]["epoch"] == 3; }},
    {"output",
     [](EditSession& s, auto&) {
         return s.setOutput(PinAddress{7, 0});
     },
     [](const ZRKJson& d) {
         return d["output"] == ZRKJson({7, 0});
     }},
    {"no output", [](EditSession& s, auto&) { return s.setOutput(std::nullopt); },
     [](const ZRKJson& d) { return !d.contains("output"); }},
    {"frames",
     [](EditSession& s, auto&) { return s.setView("frames", ZRKJson::parse(R"([{"nodes": [1]}])")); },
     [](const ZRKJson& d) { return d["view"]["frames"].size() == 1; }},
    {"duplicate",
     [](EditSession& s, auto&) {
         return done(s.duplicate({4, 5, 6, 7}));
     },
     [](const ZRKJson& d) {
         return d["nodes"].size() == 12 && isLinked(d, {1, 0}, {9, 0});
     }},
};

// For every operation: what it does is written, computes what the saved document computes, and can be undone
// and redone to the byte.
TEST_F(EditOperations, AreWrittenUndoneAndRedone)
{
    for (const Operation& operation : kOperations) {
        SCOPED_TRACE(operation.name);
        const auto session = openParts();
        const std::string before = session->document().toText();
        const auto samplesBefore = samplesOf(session->document());
        const zrk::Result<void> result = operation.edit(*session, folder);
        ASSERT_TRUE(result) << messageOf(result);
        EXPECT_TRUE(session->isModified());
        EXPECT_EQ(session->history().doneCount(), 1u);
        const std::string after = session->document().toText();
        EXPECT_TRUE(operation.hasHappened(ZRKJson::parse(after))) << after;
        const auto samplesThere = samplesOf(session->document());
        EXPECT_EQ(samplesThere, samplesAfterReload(session->document()));
        for (int i = 0; i < 2; ++i) {
            ASSERT_TRUE(session->undo());
            EXPECT_EQ(session->document().toText(), before);
            EXPECT_FALSE(session->isModified());
            EXPECT_EQ(samplesOf(session->document()), samplesBefore);
            ASSERT_TRUE(session->redo());
            EXPECT_EQ(session->document().toText(), after);
            EXPECT_EQ(samplesOf(session->document()), samplesThere);
        }
    }
}

TEST_F(EditOperations, ThatCannotBeDoneChangeNothing)
{
    put("broken.obj", "v 0 0 0\nf 1 2 9\n");
    struct Case {
        const char* message;
        std::function<zrk::Result<void>(EditSession&, const std::filesystem::path&)> edit;
    };
    const Case cases[] = {
        {"no such node",
         [](EditSession& s, auto&) {
             return s.removeNodes({4, 99});
         }},
        {"no such node", [](EditSession& s, auto&) { return s.setValue(99, "radius", 1); }},
        {"no such node",
         [](EditSession& s, auto&) {
             return s.move({{1, 3, 3}, {99, 1, 1}});
         }},
        {"a uuid that another resource",
         [](EditSession& s, auto& f) { return done(s.addLoaded(loadedParts(f, "gear"))); }},
        {"did you mean \"SphereSDF\"", [](EditSession& s, auto&) { return done(s.addNode({"SphereSFD"})); }},
        {"the tags of the two pins differ",
         [](EditSession& s, auto&) { return s.link(out(1, 0), in(2, 0)); }},
        {"has a link already", [](EditSession& s, auto&) { return s.link(out(7, 0), in(4, 0)); }},
        {"close a cycle", [](EditSession& s, auto&) { return s.link(out(5, 0), in(4, 0), true); }},
        {"no such pin", [](EditSession& s, auto&) { return s.link(out(1, 7), in(5, 0), true); }},
        {"no link", [](EditSession& s, auto&) { return s.unlink(in(2, 0)); }},
        {"fit into the link", [](EditSession& s, auto&) { return s.insertIntoLink(8, in(3, 0)); }},
        {"did you mean \"radius\"", [](EditSession& s, auto&) { return s.setValue(1, "radus", 1); }},
        {"expected number", [](EditSession& s, auto&) { return s.setValue(1, "radius", "big"); }},
        {"expected number", [](EditSession& s, auto&) { return s.setValue(5, "blur radius", "big"); }},
        {"expected ", [](EditSession& s, auto&) { return s.setValue(8, "image", "unknown"); }},
        {"less than 3", [](EditSession& s, auto&) { return s.insertItem(6, "poles", 3, ZRKJson::object()); }},
        {"no list", [](EditSession& s, auto&) { return s.removeItem(1, "radius", 0); }},
        {"no such file",
         [](EditSession& s, const std::filesystem::path& folder) {
             DocumentWarnings warnings;
             return s.importFiles(7, {folder / "gone.obj"}, warnings);
         }},
        {"the mesh stays as it was",
         [](EditSession& s, const std::filesystem::path& folder) {
             DocumentWarnings warnings;
             return s.importFiles(7, {folder / "broken.obj"}, warnings);
         }},
        {"takes nothing from files",
         [](EditSession& s, const std::filesystem::path& folder) {
             DocumentWarnings warnings;
             return s.importFiles(1, {folder / "part.obj"}, warnings);
         }},
        {"gone.png",
         [](EditSession& s, auto&) {
             return done(s.addResource({{"kind", "image2d"}, {"path", "gone.png"}}));
         }},
        {"a second time",
         [](EditSession& s, auto&) {
             return done(s.addResource({{"uuid", "GEAR"}, {"kind", "image2d"}, {"path", "ring.png"}}));
         }},
        {"node 8 (ScalarImageSampler) uses", [](EditSession& s, auto&) { return s.removeResource("gear"); }},
        {"the group \"both\" uses", [](EditSession& s, auto&) { return s.removeResource("ball"); }},
        {"two corners", [](EditSession& s, auto&) { return s.setContext("modelBounds", 3); }},
        {"take a pin that is there",
         [](EditSession& s, auto&) {
             return s.setOutput(PinAddress{1, 3});
         }},
        {"pins of one tag", [](EditSession& s, auto&) { return s.setBypassed(3, true); }},
        {"in the end",
         [](EditSession& s, auto&) {
             return s.macro("All", [&]() -> zrk::Result<void> {
                 EXPECT_TRUE(s.setValue(5, "resolution", 9));
                 EXPECT_TRUE(s.setValue(1, "radius", 0.1));
                 EXPECT_FALSE(s.removeNodes({3, 99})); // alone it is taken back as well
                 EXPECT_TRUE(s.link(out(6, 0), in(2, 0)));
                 EXPECT_TRUE(s.removeNodes({4, 7}));
                 EXPECT_TRUE(s.setContext("unit", "m"));
                 EXPECT_TRUE(s.addNode({"Gyroid"}));
                 s.select({1});
                 return zrk::refused({"it", "nothing", "in the end", "try again"});
             });
         }},
    };
    const auto session = openParts();
    session->select({2, 3});
    const std::string text = session->document().toText();
    const auto samples = samplesOf(session->document());
    const ZRKHeldData raster = heldOf(*session, 5);
    int told = 0;
    const nod::scoped_connection connection = session->addListener([&](const EditEvent&) { ++told; });
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        const zrk::Result<void> result = c.edit(*session, folder);
        EXPECT_THAT(messageOf(result), HasSubstr(c.message));
        EXPECT_EQ(session->document().toText(), text);
        EXPECT_EQ(session->history().doneCount(), 0u);
        EXPECT_EQ(heldOf(*session, 5), raster);
    }
    EXPECT_EQ(told, 0);
    EXPECT_THAT(session->selection(), ElementsAre(2, 3));
    EXPECT_EQ(samplesOf(session->document()), samples);
}

TEST_F(EditOperations, BypassLeadsBackWhenItEnds)
{
    const auto session = openParts();
    const auto samples = samplesOf(session->document());
    ASSERT_TRUE(session->setBypassed(5, true));
    ASSERT_TRUE(session->setBypassed(2, true));
    EXPECT_TRUE(session->isBypassed(2));
    EXPECT_NE(samplesOf(session->document()), samples);
    ASSERT_TRUE(session->setBypassed(2, false));
    ASSERT_TRUE(session->setBypassed(5, false));
    EXPECT_FALSE(session->isBypassed(2));
    EXPECT_EQ(samplesOf(session->document()), samples);
}

// A component is changed without the session, as panels and scripts do.
TEST_F(EditOperations, OfAComponentItselfBecomeSteps)
{
    const auto session = openParts();
    const std::string first = session->document().toText();
    std::vector<std::string> texts{first};
    const auto edit = [&](const std::function<void()>& change) {
        time += 10;
        change();
        EXPECT_EQ(session->history().doneCount(), texts.size());
        texts.push_back(session->document().toText());
    };
    auto& sphere = dynamic_cast<ZRKSphereSDF&>(*objectOf(*session, 1));
    auto& raster = dynamic_cast<ZRKRasterFX&>(*objectOf(*session, 5));
    auto& mesh = dynamic_cast<ZRKMeshSDF&>(*objectOf(*session, 7));
    edit([&] { sphere.radius.set(0.25); });
    edit([&] { raster.blurRadius.set(0); }); // isn't stored
    edit([&] { ASSERT_TRUE(mesh.importFiles({folder / "other.obj"}, nullptr)); });
    (void)samplesOf(session->document()); // a raster that was never made can't be made anew
    edit([&] { raster.update(); });
    EXPECT_EQ(texts[1], texts[2]);
    EXPECT_THAT(texts[3], HasSubstr("\"import\": \"other.obj\""));
    for (std::size_t i = texts.size() - 1; i-- > 0;) {
        ASSERT_TRUE(session->undo());
        EXPECT_EQ(session->document().toText(), texts[i]);
        EXPECT_EQ(raster.blurRadius.value(), i >= 2 ? 0 : 0.2);
    }
    EXPECT_EQ(sphere.radius.value(), 0.75);
}

TEST_F(EditOperations, TakePicturesThatPanelsBringIn)
{
    const auto session = openParts();
    const std::string first = session->document().toText();
    const auto picture = session->document().resources()->ensureImage2d(path("ring.png"));
    auto& sampler = dynamic_cast<ZRKScalarImageSampler&>(*objectOf(*session, 8));
    sampler.pick(picture.image);
    EXPECT_EQ(session->history().doneCount(), 1u);
    const auto samples = samplesOf(session->document());
    EXPECT_EQ(samples, samplesAfterReload(session->document()));
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(session->document().toText(), first);
    ASSERT_TRUE(session->redo());
    EXPECT_EQ(samplesOf(session->document()), samples);
}

// While a node is away in the history, someone changes its component.
TEST_F(EditOperations, GiveANodeBackAsItWasRemoved)
{
    const auto session = openParts();
    const std::string first = session->document().toText();
    const auto sphere = std::dynamic_pointer_cast<ZRKSphereSDF>(objectOf(*session, 1));
    ASSERT_TRUE(session->removeNodes({1}));
    sphere->radius.set(17);
    EXPECT_EQ(session->history().doneCount(), 1u);
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(session->document().toText(), first);
    EXPECT_EQ(objectOf(*session, 1), sphere);
}

} // namespace
} // namespace zrkmodel
