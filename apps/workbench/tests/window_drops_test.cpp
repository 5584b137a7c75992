#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/node_item.h"
#include "apps/workbench/tests/window_fixture.h"
#include "apps/workbench/window/inspector.h"
#include "apps/workbench/window/watchdog.h"
#include "inspectors/app.h"
#include "model/held_data.h"
#include "testing/source_folder.h"

#include <QAction>
#include <QClipboard>
#include <QHelpEvent>
#include <QToolTip>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;
using ::testing::Not;

TEST_F(WindowTest, TakesDroppedFiles)
{
    const auto pictures = zrktest::sourceFolder() / "examples/pictures";
    put("triangle.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    put("notes.txt", "no field");
    for (const char* broken : {"broken.png", "broken.stl", "broken.ply", "broken.3mf", "broken.npy"}) {
        put(broken, "nothing of the kind");
    }
    put("broken.obj", "v 0 0 x\nf 1 2 3\n");
    put("empty.obj", "");
    std::filesystem::create_directory(path("empty"));
    struct Case {
        std::filesystem::path file;
        const char* type; ///< null where it is refused
        std::size_t resources;
    };
    const Case cases[] = {
        {pictures / "gear.png", "RGBAImageSampler", 1},
        {pictures / "shell", "2DImageExtrude", 1},
        {path("triangle.obj"), "MeshSDF", 0},
        {path("notes.txt"), nullptr, 0},
        {path("broken.png"), nullptr, 0},
        {path("broken.stl"), nullptr, 0},
        {path("broken.ply"), nullptr, 0},
        {path("broken.3mf"), nullptr, 0},
        {path("broken.npy"), nullptr, 0},
        {path("broken.obj"), nullptr, 0},
        {path("empty.obj"), nullptr, 0},
        {path("empty"), nullptr, 0},
        {path("gone.obj"), nullptr, 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file.string());
        Window window;
        window.show();
        window.newDocument();
        window.takeFiles({QString::fromStdString(c.file.string())});
        settle(window);
        const auto& nodes = window.document()->graph()->nodes();
        ASSERT_EQ(nodes.size(), c.type ? 1u : 0u) << window.message();
        if (!c.type) {
            EXPECT_EQ(window.problems().count(Problem::Kind::Error), 1);
            EXPECT_FALSE(window.session()->canUndo());
            EXPECT_THAT(window.message(), HasSubstr(c.file.filename().string()));
            EXPECT_THAT(window.message(), Not(HasSubstr("node")));
            continue;
        }
        EXPECT_EQ(nodes[0]->object->typeInfo().name, c.type);
        const ZRKJson saved = ZRKJson::parse(window.document()->toText());
        EXPECT_EQ(saved.value("resources", ZRKJson::array()).size(), c.resources);
        EXPECT_EQ(window.session()->history().doneCount(), 1u) << "one step";
        ASSERT_TRUE(window.session()->undo());
        EXPECT_TRUE(nodes.empty());
    }
}

/// A mesh of so many squares along either side: 1000 take a second or so to read.
void putMesh(const std::string& path, int squares)
{
    std::ofstream file(path);
    for (int j = 0; j <= squares; ++j) {
        for (int i = 0; i <= squares; ++i) {
            file << "v " << i << ' ' << j << " 0\n";
        }
    }
    for (int j = 0; j < squares; ++j) {
        for (int i = 0; i < squares; ++i) {
            const int corner = j * (squares + 1) + i + 1;
            file << "f " << corner << ' ' << corner + 1 << ' ' << corner + squares + 1 << '\n';
        }
    }
}

TEST_F(WindowTest, FilesAreReadWhileEditingGoesOn)
{
    putMesh(path("large.obj"), 400);
    std::filesystem::create_directory(path("elsewhere"));
    const auto gear = zrktest::sourceFolder() / "examples/pictures/gear.png";
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    window.takeFiles({QString::fromStdString(path("large.obj")), QString::fromStdString(gear.string()),
                      QString::fromStdString(path("gone.png"))},
                     QPointF(320, 64));
    EXPECT_EQ(window.document()->graph()->nodes().size(), 3u) << "nothing waits for them";
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.75));
    ASSERT_TRUE(window.save(path("elsewhere/b.zrk.json"))); // their paths start from there now
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.document()->graph()->nodes().size() == 5; }, 30000));
    EXPECT_EQ(radiusOf(window), 0.75) << "nor is what was edited meanwhile lost";
    EXPECT_EQ(window.session()->history().doneCount(), 2u) << "all of a drop is one step";
    EXPECT_EQ(window.problems().count(Problem::Kind::Error), 1) << "what can't be read is told";
    EXPECT_EQ(window.session()->selection().size(), 2u);
    EXPECT_EQ((*window.session()->entry(8))["import"]["path"], "../large.obj");
    EXPECT_EQ((*window.session()->entry(8))["position"], ZRKJson({320, 64}));
    ASSERT_TRUE(window.save());
    DocumentWarnings warnings;
    EXPECT_TRUE(GraphDocument::load(path("elsewhere/b.zrk.json"), warnings));
    EXPECT_TRUE(warnings.empty());
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(window.document()->graph()->nodes().size(), 3u);
    EXPECT_TRUE(window.document()->resources()->objects().empty());
}

TEST_F(WindowTest, ReadingCanBeStoppedAndIsntLostWithItsDocument)
{
    putMesh(path("large.obj"), 700);
    put("b.zrk.json", kWindowDocument);
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    window.takeFiles({QString::fromStdString(path("large.obj"))});
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("reading"); }, 5000));
    ASSERT_TRUE(press(window, "Stop"));
    EXPECT_FALSE(window.notices().has("reading"));
    settle(window);
    EXPECT_EQ(window.document()->graph()->nodes().size(), 3u);

    window.takeFiles({QString::fromStdString(path("large.obj"))});
    ASSERT_TRUE(window.open(path("b.zrk.json")));
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("read"); }, 30000));
    EXPECT_EQ(window.document()->graph()->nodes().size(), 3u) << "it wasn't dropped on this one";
    ASSERT_TRUE(press(window, "Add it here"));
    EXPECT_EQ(window.document()->graph()->nodes().size(), 4u);
}

const char* const kTetrahedron = "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 1 4 3\n";

TEST_F(WindowTest, WhatIsPastedIsReadWhileEditingGoesOn)
{
    putMesh(path("large.obj"), 700);
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    settle(window);
    QGuiApplication::clipboard()->setText(QString::fromStdString(
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "MeshSDF", "import": "large.obj", "position": [0, 0]}]})"));
    const auto& nodes = window.document()->graph()->nodes();
    Watchdog watchdog(100);
    window.canvas().action("paste")->trigger();
    EXPECT_EQ(nodes.size(), 3u) << "nothing waits for it";
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.notices().has("reading"); }, 5000));
    ASSERT_TRUE(press(window, "Stop"));
    settle(window);
    EXPECT_EQ(nodes.size(), 3u);
    EXPECT_FALSE(window.session()->canUndo());

    put("large.obj", kTetrahedron); // which is drawn at once
    window.canvas().action("paste")->trigger();
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.75));
    ASSERT_TRUE(QTest::qWaitFor([&] { return nodes.size() == 4; }, 30000));
    EXPECT_EQ(window.session()->history().doneCount(), 2u) << "one step";
    const auto held = [&] { return dynamic_cast<ZRKDataHolder&>(*nodes.back()->object).held(); };
    EXPECT_NE(held().parts[0].data, nullptr);
    settle(window);
    for (const Watchdog::Hold& hold : watchdog.holds()) {
        EXPECT_LT(hold.processor, isSanitized() ? 2000 : 200) << hold.what;
    }
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(nodes.size(), 3u);

    // What was read isn't read again, for which the file would have to be there.
    bool isTaken = false;
    for (const int ms : {50, 500, 5000}) { // for the other thread to read it
        put("large.obj", kTetrahedron);
        window.canvas().action("paste")->trigger();
        std::this_thread::sleep_for(std::chrono::milliseconds(ms)); // here nothing goes on meanwhile
        std::filesystem::remove(path("large.obj"));
        settle(window);
        isTaken = nodes.size() == 4 && held().parts[0].data;
        if (nodes.size() == 4) {
            ASSERT_TRUE(window.session()->undo());
        }
        if (isTaken) {
            break;
        }
    }
    EXPECT_TRUE(isTaken);

    QGuiApplication::clipboard()->setText(R"({"zrkGraph": 1,
        "resources": [{"uuid": "2b", "kind": "image2d", "path": "gone.png"}],
        "nodes": [{"id": 1, "type": "RGBAImageSampler", "values": {"image": "2b"}}]})");
    window.canvas().action("paste")->trigger();
    settle(window);
    EXPECT_EQ(nodes.size(), 3u);
    EXPECT_THAT(window.message(), HasSubstr("gone.png"));
    QGuiApplication::clipboard()->clear(); // other tests share it
}

TEST_F(WindowTest, PanelsImportWhileEditingGoesOn)
{
    putMesh(path("large.obj"), 700);
    put("mesh.zrk.json",
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "MeshSDF"}, {"id": 2, "type": "SphereSDF"}],
        "output": [2, 0]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("mesh.zrk.json")));
    zrkui::ZRKApp::ui().setFileDialog(
        [this](const zrkui::FileRequest&, QWidget*) { return std::vector<std::string>{path("large.obj")}; });
    const auto import = [&] {
        ASSERT_TRUE(window.select(1));
        settle(window);
        for (auto* button : window.panel()->findChildren<QAbstractButton*>()) {
            if (button->text() == "Import Mesh") {
                button->click();
                return;
            }
        }
        FAIL();
    };
    const auto held = [&] {
        const auto record = window.document()->graph()->getNodePtr(1);
        return dynamic_cast<ZRKDataHolder&>(*record->object).held().parts[0].data;
    };
    const auto badge = [&] { return window.canvas().node(1)->badge().kind; };
    import();
    EXPECT_EQ(held(), nullptr) << "nothing waits for it";
    ASSERT_TRUE(press(window, "Stop"));
    EXPECT_EQ(held(), nullptr);
    EXPECT_FALSE(window.session()->canUndo());
    EXPECT_TRUE(QTest::qWaitFor([&] { return badge() == NodeBadge::Kind::none; }, 10000));

    put("large.obj", kTetrahedron); // which is drawn at once
    import();
    ASSERT_TRUE(window.select(2)); // the panel is closed meanwhile
    ASSERT_TRUE(window.session()->setValue(2, "radius", 0.75));
    ASSERT_TRUE(QTest::qWaitFor([&] { return held() != nullptr; }, 30000));
    EXPECT_EQ((*window.session()->entry(1))["import"], "large.obj");
    EXPECT_EQ(window.session()->history().doneCount(), 2u) << "one step";
    const auto mesh = held();
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(held(), nullptr);
    ASSERT_TRUE(window.session()->redo());
    EXPECT_EQ(held(), mesh) << "nothing is read again";

    import();
    ASSERT_TRUE(window.session()->removeNodes({1}));
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return window.message().find("is gone") != std::string::npos; }, 30000));
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(held(), mesh) << "what was read for a node that went is dropped";
    zrkui::ZRKApp::ui().setFileDialog(nullptr);
}

// The component itself makes its lattice anew when its panel is opened.
TEST_F(WindowTest, LookingAtANodeTakesNothingAway)
{
    put("edges.obj", kTetrahedron);
    put("beams.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "BeamSDF", "import": "edges.obj"},
        {"id": 2, "type": "SphereSDF"}], "output": [2, 0]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("beams.zrk.json")));
    const auto beams = [&] { return window.document()->beamsOf({1, 0}); };
    const auto imported = beams();
    ASSERT_TRUE(imported);
    ASSERT_TRUE(window.select(1));
    settle(window);
    ASSERT_EQ(window.inspector().shownNode(), 1);
    EXPECT_EQ(beams(), imported);
    EXPECT_FALSE(window.session()->canUndo());
    EXPECT_FALSE(window.isWindowModified());
}

NodeBadge badgeOf(Window& window, std::uint16_t node) { return window.canvas().node(node)->badge(); }

/// The tool tip over the badge of a node.
QString badgeTip(Window& window, std::uint16_t node)
{
    window.select(node);
    window.canvas().fitAll(false);
    const QRect shown = window.canvas().nodeRect(node);
    const double zoom = shown.width() / window.canvas().node(node)->size().width();
    const QPoint place = shown.topRight() + QPoint(static_cast<int>(-16 * zoom), static_cast<int>(14 * zoom));
    QHelpEvent event(QEvent::ToolTip, place, window.canvas().viewport()->mapToGlobal(place));
    QCoreApplication::sendEvent(window.canvas().viewport(), &event);
    return QToolTip::text();
}

TEST_F(WindowTest, NodesTellWhatIsWrongAndWhatTheyHold)
{
    put("raster.zrk.json", R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
        "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 0.5}, "position": [0, 0]},
                  {"id": 2, "type": "RasterFX", "values": {"resolution": 8}, "position": [240, 0]},
                  {"id": 3, "type": "MeshSDF", "import": "vanished.obj", "position": [0, 240]}],
        "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("raster.zrk.json")));
    using Kind = NodeBadge::Kind;
    const auto waitFor = [&](std::uint16_t node, Kind kind, const char* text) {
        return QTest::qWaitFor(
            [&] {
                const NodeBadge badge = badgeOf(window, node);
                return badge.kind == kind && badge.text.contains(text);
            },
            20000);
    };
    EXPECT_TRUE(waitFor(3, Kind::warning, "vanished.obj")) << badgeOf(window, 3).text.toStdString();
    EXPECT_THAT(badgeTip(window, 3).toStdString(), HasSubstr(badgeOf(window, 3).remedy.toStdString()));
    EXPECT_FALSE(badgeOf(window, 3).remedy.isEmpty());
    EXPECT_EQ(badgeOf(window, 1).kind, Kind::none);
    EXPECT_TRUE(waitFor(2, Kind::frozen, "computed once"));
    EXPECT_THAT(badgeTip(window, 2).toStdString(), HasSubstr("computes it anew"));
    ASSERT_TRUE(window.session()->setValue(1, "radius", 0.75));
    EXPECT_TRUE(waitFor(2, Kind::frozen, "was changed")) << badgeOf(window, 2).text.toStdString();
    ASSERT_TRUE(window.session()->undo());
    EXPECT_TRUE(waitFor(2, Kind::frozen, "computed once"));
    ASSERT_TRUE(window.session()->unlink(Pin_handle::input(2, 0)));
    ASSERT_TRUE(window.session()->setValue(2, "auto-update", true));
    EXPECT_TRUE(waitFor(2, Kind::none, "")) << "it holds nothing any more";
}

TEST_F(WindowTest, NodesTellHowFarTheyHaveComputed)
{
    put("slow.zrk.json", slowText());
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("slow.zrk.json")));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            const NodeBadge badge = badgeOf(window, 2);
            return badge.kind == NodeBadge::Kind::computing && badge.progress > 0.005;
        },
        30000));
    EXPECT_LT(badgeOf(window, 2).progress, 1);
    EXPECT_EQ(badgeOf(window, 1).kind, NodeBadge::Kind::none) << "it computes nothing by itself";
    EXPECT_TRUE(badgeTip(window, 2).startsWith("computing, "));
    ASSERT_TRUE(window.session()->unlink(Pin_handle::input(2, 0)));
    EXPECT_TRUE(QTest::qWaitFor([&] { return badgeOf(window, 2).kind == NodeBadge::Kind::none; }, 20000));
}

} // namespace
} // namespace zrkworkbench
