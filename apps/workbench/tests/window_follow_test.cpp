#include "apps/workbench/canvas/node_item.h"
#include "apps/workbench/tests/window_fixture.h"
#include "apps/workbench/views/solid_view.h"

#include <QAction>
#include <QDockWidget>
#include <QLabel>
#include <QMenu>
#include <QToolButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;

/// Whether the canvas marks a node as the one that the view shows.
bool isViewed(Window& window, std::uint16_t node) { return window.canvas().node(node)->isViewed(); }

TEST_F(WindowTest, TheViewFollowsTheSelectionUntilAnOutputIsPinned)
{
    put("b.zrk.json", R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF", "position": [0, 0]},
        {"id": 2, "type": "Gyroid", "position": [300, 0]}]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("b.zrk.json")));
    for (const std::uint16_t node : {1, 2}) {
        ASSERT_TRUE(window.select(node));
        settle(window);
        EXPECT_TRUE(isViewed(window, node));
    }
    window.canvas().action("view")->trigger(); // pins node 2
    ASSERT_TRUE(window.select(1));
    settle(window);
    EXPECT_TRUE(isViewed(window, 2));
    EXPECT_FALSE(isViewed(window, 1));
}

TEST_F(WindowTest, ThumbnailsFollowTheBounds)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    settle(window);
    const QImage before = window.canvas().node(1)->thumbnail();
    ASSERT_FALSE(before.isNull());
    ASSERT_TRUE(window.session()->setContext("modelBounds", ZRKJson::parse("[[-4, -4, -4], [4, 4, 4]]")));
    settle(window);
    EXPECT_NE(window.canvas().node(1)->thumbnail(), before);
}

TEST_F(WindowTest, ProblemsOfADocumentGoWithIt)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    window.canvas().action("paste")->trigger();
    ASSERT_FALSE(window.problems().all().empty());
    window.newDocument();
    EXPECT_TRUE(window.problems().all().empty());
}

TEST_F(WindowTest, RangesStandAtTheirOutputs)
{
    put("split.zrk.json", R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -2, -3], [1, 2, 3]]},
        "nodes": [{"id": 1, "type": "PositionVec3"}, {"id": 2, "type": "Vector3SplitComponents"}],
        "links": [{"from": [1, 0], "to": [2, 0]}], "output": [2, 0]})");
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("split.zrk.json")));
    ASSERT_TRUE(window.select(2));
    settle(window);
    std::vector<std::string> ranges;
    for (const auto* label : window.inspector().findChildren<QLabel*>()) {
        if (label->accessibleName().startsWith("range of")) {
            ranges.push_back(label->text().toStdString());
        }
    }
    ASSERT_EQ(ranges.size(), 3u);
    EXPECT_NE(ranges[0], "");
    EXPECT_NE(ranges[1], ranges[0]);
    EXPECT_NE(ranges[1], "");
}

TEST_F(WindowTest, TheCanvasComesBackFromTheFullView)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    QAbstractButton* full = nullptr;
    for (auto* button : window.view().findChildren<QAbstractButton*>()) {
        full = button->toolTip().contains("fill the window") ? button : full;
    }
    ASSERT_NE(full, nullptr);
    full->click();
    EXPECT_FALSE(window.canvas().isVisible());
    full->click();
    EXPECT_TRUE(window.canvas().isVisible());
    EXPECT_TRUE(window.inspector().isVisible());
}

TEST_F(WindowTest, ResetAppearsWithAChangedValue)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(1));
    settle(window);
    const auto hasReset = [&] {
        QCoreApplication::processEvents();
        for (const auto* button : window.inspector().findChildren<QToolButton*>()) {
            if (button->accessibleName().startsWith("reset center") && button->isVisible()) {
                return true;
            }
        }
        return false;
    };
    EXPECT_FALSE(hasReset());
    ASSERT_TRUE(window.session()->setValue(1, "center", {1, 2, 3}));
    EXPECT_TRUE(hasReset());
    ASSERT_TRUE(window.session()->undo());
    EXPECT_FALSE(hasReset());
}

TEST_F(WindowTest, LayoutAndRecentFilesAreKept)
{
    keepSettings();
    const auto dock = [](Window& window, const char* name) { return window.findChild<QDockWidget*>(name); };
    for (const bool isFirst : {true, false}) {
        Window window({.keepsSettings = true, .edit = {}});
        window.show();
        EXPECT_EQ(dock(window, "Problems")->isVisible(), !isFirst);
        EXPECT_EQ(dock(window, "Types")->isVisible(), isFirst);
        QStringList recent;
        for (auto* menu : window.findChildren<QMenu*>()) {
            if (menu->title() == "Open &recent") {
                Q_EMIT menu->aboutToShow();
                for (const QAction* action : menu->actions()) {
                    recent << action->text();
                }
            }
        }
        ASSERT_EQ(recent.size(), 1);
        EXPECT_EQ(recent[0].startsWith("a.zrk.json"), !isFirst) << recent[0].toStdString();
        ASSERT_TRUE(window.open(path("a.zrk.json")));
        dock(window, "Problems")->show();
        dock(window, "Types")->hide();
        EXPECT_TRUE(window.close());
    }
}

TEST_F(WindowTest, TheFirstStartShowsAnExampleThatCanBeTurned)
{
    Window window;
    window.show();
    window.showFirstStart();
    ASSERT_TRUE(QTest::qWaitFor([&] { return window.document() != nullptr; }, 20000));
    settle(window);
    EXPECT_FALSE(window.document()->graph()->nodes().empty());
    EXPECT_TRUE(window.session()->path().empty()) << "nobody writes over an example";
    EXPECT_EQ(window.view().tab(), ViewPane::Tab::Solid);
    EXPECT_TRUE(window.findChild<QDockWidget*>("Examples")->isVisible());
    const QImage before = window.view().grab().toImage();
    window.view().solid().turn(60, 0);
    settle(window);
    EXPECT_NE(window.view().grab().toImage(), before);
}

} // namespace
} // namespace zrkworkbench
