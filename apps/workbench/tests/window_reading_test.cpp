#include "apps/workbench/canvas/node_item.h"
#include "apps/workbench/tests/window_fixture.h"
#include "apps/workbench/window/inspector.h"
#include "inspectors/app.h"
#include "inspectors/image_picker.h"
#include "model/document.h"
#include "model/held_data.h"
#include "testing/source_folder.h"

#include <QAction>
#include <QClipboard>
#include <QPushButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

/// A reading that a disk holds until it is let go on, and that knows no stop.
struct HeldReading {
    std::shared_ptr<std::atomic<bool>> goesOn = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<std::atomic<bool>> isRead = std::make_shared<std::atomic<bool>>(false);
    std::shared_ptr<bool> isDone = std::make_shared<bool>(false);

    ~HeldReading() { *goesOn = true; }

    /// A reading of it, as panels ask for.
    zrkui::FileReading reading(const std::string& file) const
    {
        return {"importing " + file, file,
                [goesOn = goesOn, isRead = isRead](zrk::ProgressMonitor& monitor) {
                    monitor.progress(0.4);
                    while (!*goesOn) {
                        std::this_thread::sleep_for(std::chrono::milliseconds(1));
                    }
                    *isRead = true;
                },
                [isDone = isDone] {
                    *isDone = true;
                    return std::string();
                }};
    }
};

/// Nodes that take pictures, volumes, and neither.
class WindowReading : public WindowTest {
protected:
    std::string answer; ///< to file dialogs

    void SetUp() override
    {
        WindowTest::SetUp();
        const auto pictures = zrktest::sourceFolder() / "examples/pictures";
        std::filesystem::copy(pictures / "ring.png", path("ring.png"));
        std::filesystem::copy(pictures / "shell", path("shell"));
        put("images.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "RGBAImageSampler"},
            {"id": 2, "type": "ZRK3DImage"}, {"id": 3, "type": "SphereSDF"}], "output": [3, 0]})");
        zrkui::ZRKApp::ui().setFileDialog([this](const zrkui::FileRequest&, QWidget*) {
            return answer.empty() ? std::vector<std::string>() : std::vector<std::string>{answer};
        });
    }
    void TearDown() override
    {
        zrkui::ZRKApp::ui().setFileDialog(nullptr);
        WindowTest::TearDown();
    }

    static void open(Window& window, const std::string& file)
    {
        window.show();
        ASSERT_TRUE(window.open(file));
        settle(window);
    }
    /// Asks the panel of node 1 for a picture, that of node 2 for a folder.
    void ask(Window& window, std::uint16_t node, const std::string& file)
    {
        answer = path(file);
        ASSERT_TRUE(window.select(node));
        ASSERT_TRUE(waitFor([&] { return window.panel() && window.inspector().shownNode() == node; }));
        if (node == 1) {
            window.panel()->findChild<zrkui::ZRKImagePicker*>()->openFile();
            return;
        }
        for (auto* button : window.panel()->findChildren<QPushButton*>()) {
            if (button->text() == "load folder") {
                button->click();
                return;
            }
        }
        FAIL() << "no such button";
    }
    /// Opens that of node 3 instead.
    static void closePanel(Window& window)
    {
        ASSERT_TRUE(window.select(3));
        ASSERT_TRUE(waitFor([&] { return window.inspector().shownNode() == 3; }));
        QTest::qWait(20); // the former one goes by an event
    }
    /// Whether the node has the image that it was given.
    static bool hasImage(const Window& window, std::uint16_t node)
    {
        const auto object = window.document()->graph()->getNodePtr(node)->object;
        return !object->findProperty("image")->valueJson().get<std::string>().empty();
    }
    static std::size_t resources(const Window& window)
    {
        return window.document()->resources()->objects().size();
    }
    static bool waitFor(const std::function<bool()>& isSo) { return QTest::qWaitFor(isSo, 30000); }
};

TEST_F(WindowReading, PanelsTakeImagesWhileEditingGoesOn)
{
    for (const std::uint16_t node : {1, 2}) {
        SCOPED_TRACE(node);
        Window window;
        open(window, path("images.zrk.json"));
        const char* const file = node == 1 ? "ring.png" : "shell";
        HeldReading before;
        zrkui::ZRKApp::ui().readFiles(before.reading("before"), &window);
        ask(window, node, file);
        EXPECT_FALSE(hasImage(window, node)) << "nothing waits for it";
        EXPECT_EQ(resources(window), 0u);
        closePanel(window); // meanwhile
        ASSERT_TRUE(window.session()->setValue(3, "radius", 0.75));
        *before.goesOn = true;
        ASSERT_TRUE(waitFor([&] { return hasImage(window, node); }));
        EXPECT_EQ(window.session()->history().doneCount(), 2u) << "one step";
        EXPECT_EQ(resources(window), 1u);
        EXPECT_THAT(window.document()->toText(), HasSubstr(file));
        const auto held = [&] {
            const auto record = window.document()->graph()->getNodePtr(node);
            return dynamic_cast<ZRKDataHolder&>(*record->object).held().parts[0].data;
        };
        EXPECT_EQ(held() != nullptr, node == 2);
        ASSERT_TRUE(window.session()->undo());
        EXPECT_FALSE(hasImage(window, node));
        EXPECT_EQ(resources(window), 0u);
        EXPECT_EQ(held(), nullptr);
        ASSERT_TRUE(window.session()->redo());
        EXPECT_TRUE(hasImage(window, node));

        // What was read isn't read again, for which the file would have to be there.
        const char* const late = node == 1 ? "late.png" : "late";
        bool isTaken = false;
        for (const int ms : {50, 500, 5000}) { // for the other thread to read it
            std::filesystem::copy(path(file), path(late), std::filesystem::copy_options::recursive);
            ask(window, node, late);
            std::this_thread::sleep_for(std::chrono::milliseconds(ms)); // here nothing goes on meanwhile
            std::filesystem::remove_all(path(late));
            settle(window);
            isTaken = window.document()->toText().find(late) != std::string::npos;
            if (isTaken) {
                break;
            }
        }
        EXPECT_TRUE(isTaken);
        if (isTaken) {
            ASSERT_TRUE(window.session()->undo());
        }
        ask(window, node, file); // which the document has
        ASSERT_TRUE(waitFor([&] { return !window.notices().has("reading"); }));
        settle(window);
        EXPECT_EQ(resources(window), 1u);
    }
}

TEST_F(WindowReading, ImagesThatNobodyUsesAnyMoreCanBeRemoved)
{
    Window window;
    open(window, path("images.zrk.json"));
    QAction* const remove = window.command("Remove unused resources");
    ASSERT_NE(remove, nullptr);
    ask(window, 1, "ring.png");
    ask(window, 2, "shell");
    ASSERT_TRUE(waitFor([&] { return hasImage(window, 1) && hasImage(window, 2); }));
    remove->trigger();
    EXPECT_EQ(window.message(), "All resources are used");
    ASSERT_TRUE(window.session()->removeNodes({1}));
    const std::size_t steps = window.session()->history().doneCount();
    remove->trigger();
    EXPECT_EQ(resources(window), 1u);
    EXPECT_THAT(window.message(), HasSubstr("1 resource"));
    EXPECT_EQ(window.session()->history().doneCount(), steps + 1);
    EXPECT_TRUE(hasImage(window, 2));
    ASSERT_TRUE(window.session()->undo());
    EXPECT_EQ(resources(window), 2u);
}

TEST_F(WindowReading, ImagesThatAreStoppedChangeNothing)
{
    Window window;
    open(window, path("images.zrk.json"));
    ask(window, 2, "shell");
    ASSERT_TRUE(waitFor([&] { return hasImage(window, 2); }));
    const std::size_t steps = window.session()->history().doneCount();
    const HeldReading disk;
    for (const std::uint16_t node : {1, 2}) {
        SCOPED_TRACE(node);
        zrkui::ZRKApp::ui().readFiles(disk.reading("before"), &window); // the image waits behind it
        ask(window, node, node == 1 ? "ring.png" : "gone");
        ASSERT_TRUE(press(window, "Stop"));
        settle(window);
        EXPECT_EQ(hasImage(window, node), node == 2) << "it has what it had";
        EXPECT_EQ(window.session()->history().doneCount(), steps);
    }
    const HeldReading next;
    *next.goesOn = true;
    zrkui::ZRKApp::ui().readFiles(next.reading("next"), &window);
    ASSERT_TRUE(waitFor([&] { return *next.isDone; }));
    QTest::qWait(50);
    EXPECT_EQ(window.session()->history().doneCount(), steps) << "what waited is stopped, too";
}

TEST_F(WindowReading, WhatCantBeReadIsToldAlsoWhenItsPanelIsClosed)
{
    put("text.png", "no picture");
    for (const std::uint16_t node : {1, 2}) {
        SCOPED_TRACE(node);
        Window window;
        open(window, path("images.zrk.json"));
        HeldReading before;
        zrkui::ZRKApp::ui().readFiles(before.reading("before"), &window);
        ask(window, node, "text.png");
        closePanel(window);
        *before.goesOn = true;
        EXPECT_TRUE(waitFor([&] { return window.message().find("text.png") != std::string::npos; }));
        EXPECT_FALSE(hasImage(window, node));
        EXPECT_EQ(resources(window), 0u);
    }
}

TEST_F(WindowReading, WhatIsPastedGoesToNoOtherDocument)
{
    put("tetrahedron.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 0 0 1\nf 1 3 2\nf 1 2 4\nf 2 3 4\nf 1 4 3\n");
    QGuiApplication::clipboard()->setText(QString::fromStdString(
        R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "MeshSDF", "import": "tetrahedron.obj"}]})"));
    Window window;
    open(window, path("a.zrk.json"));
    HeldReading before;
    zrkui::ZRKApp::ui().readFiles(before.reading("before"), &window);
    window.canvas().action("paste")->trigger();
    ASSERT_TRUE(window.open(path("images.zrk.json")));
    *before.goesOn = true;
    settle(window);
    EXPECT_EQ(window.document()->graph()->nodes().size(), 3u);
    EXPECT_FALSE(window.session()->canUndo());
    QGuiApplication::clipboard()->clear(); // other tests share it
}

TEST_F(WindowReading, LargePastesAreReadApart)
{
    const auto put = [](const std::string& text) {
        QGuiApplication::clipboard()->setText(QString::fromStdString(text));
    };
    ZRKJson fragment = ZRKJson::parse(R"({"zrkGraph": 1, "nodes": [
        {"id": 1, "type": "Gyroid"}, {"id": 2, "type": "TwistTransform"}],
        "links": [{"from": [2, 0], "to": [1, 0]}]})");
    fragment["nodes"][1]["note"] = std::string(100000, 'x'); // large, and drawn at once
    Window window;
    open(window, path("images.zrk.json"));
    const auto& nodes = window.document()->graph()->nodes();
    put(fragment.dump());
    window.canvas().action("paste")->trigger();
    EXPECT_EQ(nodes.size(), 3u) << "nothing waits for it";
    ASSERT_TRUE(window.session()->setValue(3, "radius", 0.75));
    ASSERT_TRUE(waitFor([&] { return nodes.size() == 5; }));
    EXPECT_EQ(window.session()->history().doneCount(), 2u) << "one step";
    EXPECT_EQ(window.session()->selection().size(), 2u);
    EXPECT_NE(window.document()->toText().find(std::string(100000, 'x')), std::string::npos);

    const HeldReading disk;
    zrkui::ZRKApp::ui().readFiles(disk.reading("before"), &window); // the paste waits behind it
    window.canvas().action("paste")->trigger();
    ASSERT_TRUE(press(window, "Stop"));
    settle(window);
    EXPECT_EQ(nodes.size(), 5u);

    put(ZRKJson{{"text", std::string(100000, 'x')}}.dump());
    window.canvas().action("paste")->trigger();
    EXPECT_TRUE(waitFor([&] { return window.message().find("has no nodes") != std::string::npos; }));
    fragment["nodes"][0]["type"] = "Gyroids";
    put(fragment.dump());
    window.canvas().action("paste")->trigger();
    EXPECT_TRUE(waitFor([&] { return window.message().find("did you mean") != std::string::npos; }));
    EXPECT_EQ(window.session()->history().doneCount(), 2u);
    QGuiApplication::clipboard()->clear(); // other tests share it
}

TEST_F(WindowReading, ANodeHasABadgeWhileItsPanelReads)
{
    Window window;
    open(window, path("a.zrk.json"));
    ASSERT_TRUE(window.select(7));
    settle(window);
    const auto badge = [&](std::uint16_t node) { return window.canvas().node(node)->badge(); };
    HeldReading disk;
    zrkui::ZRKApp::ui().readFiles(disk.reading("part.obj"), &window);
    ASSERT_TRUE(waitFor([&] { return badge(7).kind == NodeBadge::Kind::computing; }));
    EXPECT_EQ(badge(7).text, "importing part.obj");
    ASSERT_TRUE(waitFor([&] { return badge(7).progress == 0.4; }));
    EXPECT_EQ(badge(1).kind, NodeBadge::Kind::none);
    ASSERT_TRUE(window.select(1));
    QTest::qWait(100);
    EXPECT_EQ(badge(7).kind, NodeBadge::Kind::computing) << "whatever is selected";
    *disk.goesOn = true;
    EXPECT_TRUE(waitFor([&] { return badge(7).kind == NodeBadge::Kind::none; }));
    EXPECT_TRUE(*disk.isDone);

    const HeldReading other;
    ASSERT_TRUE(window.select(7));
    zrkui::ZRKApp::ui().readFiles(other.reading("part.obj"), &window);
    ASSERT_TRUE(waitFor([&] { return badge(7).kind == NodeBadge::Kind::computing; }));
    put("b.zrk.json", kWindowDocument);
    ASSERT_TRUE(window.open(path("b.zrk.json")));
    EXPECT_FALSE(QTest::qWaitFor([&] { return badge(7).kind != NodeBadge::Kind::none; }, 1000))
        << "it is a node of another document";
}

TEST_F(WindowReading, StoppingWaitsForNoDisk)
{
    Window window;
    open(window, path("images.zrk.json"));
    ASSERT_TRUE(window.select(1));
    settle(window);
    HeldReading disk;
    zrkui::ZRKApp::ui().readFiles(disk.reading("slow.png"), &window);
    ASSERT_TRUE(press(window, "Stop"));
    EXPECT_FALSE(*disk.isRead) << "it would have to end first";
    ask(window, 1, "ring.png");
    ASSERT_TRUE(waitFor([&] { return hasImage(window, 1); })) << "nor does what follows wait";
    *disk.goesOn = true;
    ASSERT_TRUE(waitFor([&] { return disk.isRead->load(); }));
    QTest::qWait(50);
    EXPECT_FALSE(*disk.isDone);
}

} // namespace
} // namespace zrkworkbench
