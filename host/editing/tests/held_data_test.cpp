#include "host/editing/tests/editing_fixture.h"

#include "components/mesh/mesh_sdf.h"
#include "components/raster/image_stack.h"
#include "components/raster/raster_fx.h"
#include "components/transport/image_sweep.h"
#include "core/engine/progress.h"

namespace zrkmodel {
namespace {

using namespace testing;

/// Keeps a sweep's percentages from the tests' output.
class Quiet final : public zrk::ProgressMonitor {
public:
    void progress(double) override {}
    bool interruptRequested() override { return false; }
};

class HeldDataOfNodes : public Editing {
protected:
    void removeFiles()
    {
        for (const char* name : {"part.obj", "other.obj", "gear.png", "ring.png", "letter.png"}) {
            std::filesystem::remove(folder / name);
        }
    }
};

/// Gone and back through the history while all files are gone: the same objects, and the same bits.
void expectBackAndForth(EditSession& session, const std::vector<std::uint16_t>& nodes,
                        const ZRKHeldData& first)
{
    const auto samples = samplesOf(session.document());
    std::vector<ZRKHeldData> there;
    for (const std::uint16_t node : nodes) {
        there.push_back(heldOf(session, node));
    }
    EXPECT_FALSE(there[0] == first);
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(session.undo());
        EXPECT_EQ(heldOf(session, nodes[0]), first);
        (void)samplesOf(session.document());
        EXPECT_EQ(heldOf(session, nodes[0]), first) << "was computed again";
        ASSERT_TRUE(session.redo());
        (void)samplesOf(session.document());
        for (std::size_t n = 0; n < nodes.size(); ++n) {
            EXPECT_EQ(heldOf(session, nodes[n]), there[n]) << "node " << nodes[n];
        }
    }
    EXPECT_EQ(samplesOf(session.document()), samples);
}

TEST_F(HeldDataOfNodes, ImportsComeBackUnread)
{
    const auto session = openParts();
    ASSERT_TRUE(session->link(Pin_handle::output(7, 0), Pin_handle::input(4, 0), true));
    (void)samplesOf(session->document());
    const ZRKHeldData first = heldOf(*session, 7);
    DocumentWarnings warnings;
    ASSERT_TRUE(session->importFiles(7, {folder / "other.obj"}, warnings));
    EXPECT_TRUE(warnings.empty());
    removeFiles();
    expectBackAndForth(*session, {7, 5}, first);
    // The component's own import, and the removal of its node.
    ASSERT_TRUE(session->undo());
    put("third.obj", "v 0 0 0\nv 3 0 0\nv 0 1 0\nf 1 3 2\n");
    const auto mesh = std::dynamic_pointer_cast<ZRKMeshSDF>(objectOf(*session, 7));
    ASSERT_TRUE(mesh->importFiles({folder / "third.obj"}, nullptr));
    std::filesystem::remove(folder / "third.obj");
    expectBackAndForth(*session, {7, 5}, first);
    const ZRKHeldData third = heldOf(*session, 7);
    ASSERT_TRUE(session->removeNodes({7}));
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(heldOf(*session, 7), third);
}

// With "auto-update", a raster is made anew wherever it shows what was upstream before.
TEST_F(HeldDataOfNodes, RastersComeBackUncomputed)
{
    struct Case {
        const char* name;
        std::function<zrk::Result<void>(EditSession&)> edit;
    };
    const Case cases[] = {
        {"a value upstream", [](EditSession& s) { return s.setValue(1, "radius", 0.3); }},
        {"far upstream", [](EditSession& s) { return s.setValue(2, "angle", 10); }},
        {"its resolution", [](EditSession& s) { return s.setValue(5, "resolution", 5); }},
        {"a link upstream", [](EditSession& s) { return s.unlink(Pin_handle::input(4, 1)); }},
        {"a node upstream", [](EditSession& s) { return s.removeNodes({2}); }},
        {"the bounds",
         [](EditSession& s) {
             return s.setContext("modelBounds", ZRKJson::parse("[[0, 0, 0], [2, 1, 1]]"));
         }},
        {"two edits",
         [](EditSession& s) {
             return s.macro("two", [&] {
                 EXPECT_TRUE(s.setValue(1, "radius", 0.3));
                 (void)samplesOf(s.document());
                 return s.setValue(1, "radius", 0.4);
             });
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const auto session = openParts();
        (void)samplesOf(session->document());
        const ZRKHeldData first = heldOf(*session, 5);
        ASSERT_NE(first.parts[0].data, nullptr);
        ASSERT_TRUE(c.edit(*session));
        expectBackAndForth(*session, {5}, first);
    }
}

// Without it, the raster is stale until it is asked for, and so it is again after undo.
TEST_F(HeldDataOfNodes, AStaleRasterIsStaleAgain)
{
    const auto session = openParts();
    ASSERT_TRUE(session->setValue(5, "auto-update", false));
    (void)samplesOf(session->document());
    const ZRKHeldData fresh = heldOf(*session, 5);
    ASSERT_TRUE(session->setValue(1, "radius", 0.3));
    (void)samplesOf(session->document());
    const ZRKHeldData stale = heldOf(*session, 5);
    EXPECT_EQ(stale.parts, fresh.parts);
    EXPECT_NE(stale.state, fresh.state);
    dynamic_cast<ZRKRasterFX&>(*objectOf(*session, 5)).update();
    EXPECT_EQ(session->history().doneCount(), 3u);
    (void)samplesOf(session->document());
    EXPECT_NE(heldOf(*session, 5).parts, stale.parts);
    ASSERT_TRUE(session->undo());
    (void)samplesOf(session->document());
    EXPECT_EQ(heldOf(*session, 5), stale);
    ASSERT_TRUE(session->setValue(5, "auto-update", true));
    (void)samplesOf(session->document());
    const ZRKHeldData updated = heldOf(*session, 5);
    EXPECT_NE(updated.parts, stale.parts);
    ASSERT_TRUE(session->undo());
    (void)samplesOf(session->document());
    EXPECT_EQ(heldOf(*session, 5), stale) << "without \"auto-update\" it was the former raster";
    ASSERT_TRUE(session->redo());
    (void)samplesOf(session->document());
    EXPECT_EQ(heldOf(*session, 5), updated);
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(heldOf(*session, 5), fresh);
}

TEST_F(HeldDataOfNodes, PicturesComeBackUnread)
{
    const auto session = openParts();
    (void)samplesOf(session->document());
    const ZRKHeldData first = heldOf(*session, 8);
    ASSERT_NE(first.parts[0].data, nullptr);
    ASSERT_TRUE(session->addResource({{"uuid", "ring"}, {"kind", "image2d"}, {"path", "ring.png"}}));
    ASSERT_TRUE(session->setValue(8, "image", "ring"));
    removeFiles();
    expectBackAndForth(*session, {8}, first);
}

TEST_F(HeldDataOfNodes, OtherValuesLeaveThemAlone)
{
    const auto session = openParts();
    (void)samplesOf(session->document());
    const ZRKHeldData raster = heldOf(*session, 5);
    ASSERT_NE(raster.parts[0].data, nullptr);
    ASSERT_TRUE(session->setValue(5, "auto-update", false));
    EXPECT_EQ(heldOf(*session, 5).parts, raster.parts);
}

TEST_F(HeldDataOfNodes, SweepsComeBackUncomputed)
{
    const auto session = sessionOf(R"({"zrkGraph": 1, "resources": [
        {"uuid": "a", "kind": "image2d", "path": "letter.png"}, {"uuid": "b", "kind": "image2d", "path": "ring.png"}],
        "nodes": [{"id": 1, "type": "ImageSweep", "values": {"steps": 3, "resolution": 6, "imageA": "a", "imageB": "b",
                   "scaling": [[0, 1, 0], [1, 1, 0]], "interpolation": [[0, 0, 0], [1, 1, 0]]}}], "output": [1, 0]})");
    const std::string text = session->document().toText();
    (void)samplesOf(session->document());
    auto& sweep = dynamic_cast<ZRKImageSweep&>(*objectOf(*session, 1));
    const ZRKHeldData first = heldOf(*session, 1);
    ASSERT_NE(first.parts[5].data, nullptr);
    Quiet quiet;
    const std::function<void()> edits[] = {
        [&] { sweep.moveSmoothing(0.1); },
        [&] { ASSERT_TRUE(sweep.compute(&quiet)); },
        [&] { sweep.pick(sweep.imageB, nullptr); },
        [&] { ASSERT_TRUE(session->setValue(1, "steps", 4, &quiet)); },
        [&] { ASSERT_TRUE(session->removeNodes({1})); },
    };
    std::vector<ZRKHeldData> held{first};
    std::vector<std::vector<std::uint64_t>> samples{samplesOf(session->document())};
    for (const auto& edit : edits) {
        time += 10;
        edit();
        if (session->document().graph()->getNodePtr(1)) {
            samples.push_back(samplesOf(session->document()));
            held.push_back(heldOf(*session, 1));
        }
    }
    EXPECT_EQ(session->history().doneCount(), std::size(edits));
    for (std::size_t i = held.size(); i-- > 0;) {
        ASSERT_TRUE(session->undo());
        EXPECT_EQ(heldOf(*session, 1), held[i]) << "state " << i;
        EXPECT_EQ(samplesOf(session->document()), samples[i]);
        EXPECT_EQ(heldOf(*session, 1), held[i]) << "state " << i << " was computed again";
    }
    EXPECT_EQ(session->document().toText(), text);
    for (std::size_t i = 1; i < held.size(); ++i) {
        ASSERT_TRUE(session->redo());
        EXPECT_EQ(heldOf(*session, 1), held[i]) << "state " << i;
        EXPECT_EQ(samplesOf(session->document()), samples[i]);
    }
}

TEST_F(HeldDataOfNodes, StacksComeBackUnread)
{
    const auto session =
        sessionOf(R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "ZRK3DImage"}], "output": [1, 0]})");
    auto& stack = dynamic_cast<ZRK3DImage&>(*objectOf(*session, 1));
    const std::string text = session->document().toText();
    const ZRKHeldData none = heldOf(*session, 1);
    ASSERT_TRUE(stack.importFiles({folder / "ring.png", folder / "ring.png"}, nullptr));
    EXPECT_EQ(session->history().doneCount(), 1u);
    EXPECT_EQ(ZRKJson::parse(session->document().toText())["nodes"][0]["import"],
              ZRKJson({"ring.png", "ring.png"}));
    const ZRKHeldData two = heldOf(*session, 1);
    stack.removeImage();
    EXPECT_EQ(session->history().doneCount(), 2u);
    removeFiles();
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(heldOf(*session, 1), two);
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(heldOf(*session, 1), none);
    EXPECT_EQ(session->document().toText(), text);
    ASSERT_TRUE(session->redo());
    EXPECT_EQ(heldOf(*session, 1), two);
}

// A component that holds data must be restored property by property: reading it whole would compute.
TEST_F(HeldDataOfNodes, IsKeptApartFromStoredProperties)
{
    for (const char* type : {"MeshSDF", "BeamSDF", "RasterFX", "ScalarImageSampler", "Vector3ImageSampler",
                             "RGBAImageSampler", "ZRK2DImageExtrude", "ZRK3DImage", "ImageSweep"}) {
        const auto session = sessionOf(R"({"zrkGraph": 1})");
        const auto node = zrk::valueOrThrow(session->addNode({type}));
        EXPECT_NE(dynamic_cast<const ZRKDataHolder*>(objectOf(*session, node).get()), nullptr) << type;
        const ZRKJson values = valuesOf(*objectOf(*session, node));
        for (const auto& [key, value] : values.items()) {
            EXPECT_NE(objectOf(*session, node)->findProperty(key), nullptr) << type << ", " << key;
        }
    }
}

// Told upstream of a raster, but nothing is another one: it isn't stale, and there is nothing to undo.
TEST_F(HeldDataOfNodes, StaysFreshWhereNothingHasChanged)
{
    const auto session = openParts();
    ASSERT_TRUE(session->setValue(5, "auto-update", false));
    std::dynamic_pointer_cast<ZRKRasterFX>(objectOf(*session, 5))->update();
    (void)samplesOf(session->document());
    const ZRKHeldData fresh = heldOf(*session, 5);
    const std::size_t steps = session->history().doneCount();
    struct Case {
        const char* name;
        std::function<zrk::Result<void>(EditSession&)> edit;
    };
    const Case cases[] = {
        {"a value", [](EditSession& s) { return s.setValue(1, "radius", 0.75); }},
        {"a list", [](EditSession& s) { return s.setValue(6, "poles", valueOf(s, 6, "poles")); }},
        {"the context", [](EditSession& s) { return s.setContext("epoch", ZRKJson::parse("3")); }},
        {"a macro that comes back",
         [](EditSession& s) {
             return s.macro("There and back", [&] {
                 return s.setValue(1, "radius", 2).and_then([&] { return s.setValue(1, "radius", 0.75); });
             });
         }},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(c.edit(*session));
        EXPECT_EQ(session->history().doneCount(), steps);
        EXPECT_EQ(heldOf(*session, 5), fresh);
    }
    // What a component is asked for itself is a step, though no value changes; so is another file in the
    // place of an imported one.
    std::dynamic_pointer_cast<ZRKRasterFX>(objectOf(*session, 5))->update();
    EXPECT_EQ(session->history().doneCount(), steps + 1);
    put("part.obj", content("other.obj"));
    DocumentWarnings warnings;
    const ZRKHeldData former = heldOf(*session, 7);
    ASSERT_TRUE(session->importFiles(7, {folder / "part.obj"}, warnings));
    EXPECT_EQ(session->history().doneCount(), steps + 2);
    EXPECT_FALSE(heldOf(*session, 7) == former);
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(heldOf(*session, 7), former);
}

TEST_F(HeldDataOfNodes, TellsHowFarItIsComputed)
{
    const auto session = sessionOf(R"({"zrkGraph": 1, "resources": [
        {"uuid": "a", "kind": "image2d", "path": "letter.png"},
        {"uuid": "b", "kind": "image2d", "path": "ring.png"}],
        "nodes": [{"id": 1, "type": "ImageSweep", "values": {"steps": 3, "resolution": 6}}]})");
    const auto sweep = std::dynamic_pointer_cast<ZRKImageSweep>(objectOf(*session, 1));
    EXPECT_EQ(sweep->computation(), ZRKComputation());
    ASSERT_TRUE(session->setValue(1, "imageA", "a"));
    ASSERT_TRUE(session->setValue(1, "imageB", "b"));
    struct Asking final : zrk::ProgressMonitor {
        const ZRKImageSweep& sweep;
        std::vector<double> told;
        explicit Asking(const ZRKImageSweep& asked) : sweep(asked) {}
        void progress(double fraction) override
        {
            EXPECT_EQ(sweep.computation().fraction, fraction);
            told.push_back(fraction);
        }
        bool interruptRequested() override { return false; }
    } asking(*sweep);
    ASSERT_TRUE(sweep->compute(&asking));
    EXPECT_GT(asking.told.size(), 2u);
    EXPECT_EQ(sweep->computation(), (ZRKComputation{true, false, std::nullopt}));
}

} // namespace
} // namespace zrkmodel
