#include "apps/workbench/canvas/node_item.h"
#include "apps/workbench/tests/window_fixture.h"
#include "apps/workbench/window/quick_search.h"
#include "apps/workbench/window/top_bar.h"
#include "inspectors/app.h"
#include "inspectors/described.h"
#include "model/registry.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <map>
#include <string>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

/// A node of each type; of those that have lists or further controls, one that shows them.
std::string allTypesText()
{
    ZRKJson all{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}};
    for (const auto& entry : ZRKGraphObject::registry().entries()) {
        ZRKJson node{{"id", all["nodes"].size()}, {"type", entry.className}};
        if (entry.className == "ZRKMultipoleUVW") {
            node["values"] = ZRKJson::parse(R"({"poles": [{"strength": 1, "point": [0, 0, 0]},
                                                          {"strength": 1, "is_ref": true}]})");
        } else if (entry.className == "ZRKPatternDesigner") {
            node["values"] = ZRKJson::parse(R"({"waves": [{"fx": 1}]})");
        } else if (entry.className == "ZRKBinaryOperator") {
            node["values"] = ZRKJson::parse(R"({"op_name": "blend"})");
        }
        all["nodes"].push_back(std::move(node));
    }
    return all.dump();
}

/// What stands over a control once the pointer rests on it: its own tip, or that of what it lies in.
QString tipOver(const QWidget& control, const QWidget& panel)
{
    for (const QWidget* at = &control; at && at != &panel; at = at->parentWidget()) {
        if (!at->toolTip().isEmpty()) {
            return at->toolTip();
        }
    }
    return {};
}

TEST_F(WindowTest, EveryControlOfEveryPanelHasATip)
{
    put("all.zrk.json", allTypesText());
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("all.zrk.json"))) << window.message();
    std::map<std::string, std::string> tips;
    const auto& entries = ZRKGraphObject::registry().entries();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        SCOPED_TRACE(entries[i].className);
        ASSERT_TRUE(window.select(static_cast<std::uint16_t>(i)));
        QTest::qWait(20); // the items of lists come in turns of the event loop
        for (const auto* control : window.panel()->findChildren<QWidget*>()) {
            const bool isControl = dynamic_cast<const zrkui::UIDescribed*>(control) &&
                                   !qobject_cast<const QLabel*>(control) && control->isVisible();
            if (isControl) {
                const std::string tip = tipOver(*control, *window.panel()).toStdString();
                EXPECT_FALSE(tip.empty())
                    << control->metaObject()->className() << " " << control->accessibleName().toStdString();
                tips[entries[i].className + " " + control->accessibleName().toStdString()] = tip;
                if (const auto* combo = qobject_cast<const QComboBox*>(control)) {
                    const int row = combo->findText("minimum");
                    tips["minimum"] += combo->itemData(row, Qt::ToolTipRole).toString().toStdString();
                }
            }
        }
    }
    EXPECT_THAT(tips["ZRKPatternDesigner amp"], HasSubstr("its share in the pattern"));
    EXPECT_THAT(tips["ZRKPatternDesigner y"], HasSubstr("along y"));
    EXPECT_THAT(tips["ZRKMultipoleUVW strength"], HasSubstr("factor of what the pole adds"));
    EXPECT_THAT(tips["ZRKBinaryOperator operation"], HasSubstr("the operation"));
    EXPECT_THAT(tips["minimum"], HasSubstr("of distances the union")) << "choices tell what they mean";
}

// A panel that reads files says so at its node.
TEST_F(WindowTest, ANodeTellsWhatItsPanelReads)
{
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path("a.zrk.json")));
    ASSERT_TRUE(window.select(7));
    settle(window);
    const auto badge = [&](std::uint16_t node) { return window.canvas().node(node)->badge(); };
    zrkui::ZRKApp::ui().runLong("importing part.obj", &window, [&](zrk::ProgressMonitor& monitor) {
        monitor.progress(0.4);
        EXPECT_TRUE(QTest::qWaitFor([&] { return badge(7).kind == NodeBadge::Kind::computing; }, 5000));
        EXPECT_EQ(badge(7).text, "importing part.obj");
        EXPECT_EQ(badge(7).progress, 0.4);
        EXPECT_EQ(badge(1).kind, NodeBadge::Kind::none);
    });
    EXPECT_TRUE(QTest::qWaitFor([&] { return badge(7).kind == NodeBadge::Kind::none; }, 5000));
}

TEST_F(WindowTest, NoticesDontWidenTheWindow)
{
    Window window;
    window.show();
    window.resize(window.minimumSizeHint());
    QCoreApplication::processEvents();
    const int least = window.minimumSizeHint().width();
    const QString name = QString("a_name_that_never_ends_").repeated(10) + ".zrk.json";
    window.notices().show("changed", name + " was changed by another program, and here too.",
                          {{"Read it, drop my changes"}, {"Keep mine, write over it"}, {"Save mine as..."}});
    QTest::qWait(20);
    EXPECT_EQ(window.minimumSizeHint().width(), least);
    EXPECT_TRUE(window.notices().textOf("changed").startsWith(name));
    for (const int width : {least, least + 600}) { // beneath the text, then beside it
        SCOPED_TRACE(width);
        window.resize(width, 700);
        QTest::qWait(20);
        const auto buttons = window.notices().findChildren<QPushButton*>();
        auto* label = window.notices().findChild<QLabel*>();
        ASSERT_EQ(buttons.size(), 3);
        EXPECT_EQ(label->toolTip(), window.notices().textOf("changed"));
        EXPECT_GE(label->height(), label->heightForWidth(label->width())) << "all of the text is seen";
        QRegion taken;
        for (const QWidget* part :
             std::initializer_list<const QWidget*>{label, buttons[0], buttons[1], buttons[2]}) {
            const QRect place(part->mapTo(&window.notices(), QPoint(0, 0)), part->size());
            EXPECT_TRUE(window.notices().rect().contains(place));
            EXPECT_GE(part->width(), part == label ? 0 : part->sizeHint().width());
            EXPECT_FALSE(taken.intersects(place));
            taken += place;
        }
        EXPECT_EQ(buttons[0]->y() > label->geometry().bottom(), width == least);
    }
}

// Names come from users, and may be as long as they like.
TEST_F(WindowTest, LongNamesAreCut)
{
    const std::string longName(300, 'm');
    ZRKJson document = ZRKJson::parse(kWindowDocument);
    document["nodes"][0]["label"] = longName;
    put(std::string(120, 'd') + ".zrk.json", document.dump());
    Window window;
    window.show();
    ASSERT_TRUE(window.open(path(std::string(120, 'd') + ".zrk.json")));
    ASSERT_TRUE(window.select(2));
    settle(window);
    const QWidget& panel = *window.panel();
    EXPECT_LE(panel.mapTo(&window, QPoint(panel.width(), 0)).x(), window.width());
    EXPECT_LE(window.canvas().node(1)->size().width(), 320);
    QWidget* link = nullptr;
    for (auto* each : window.inspector().findChildren<QWidget*>("Link")) {
        link = each->accessibleName().contains("is set by") ? each : link;
    }
    ASSERT_NE(link, nullptr);
    EXPECT_THAT(link->accessibleName().toStdString() + link->toolTip().toStdString(), HasSubstr(longName));
    window.resize(900, 700);
    QCoreApplication::processEvents();
    const QLabel* name = nullptr;
    for (const auto* label : window.topBar().findChildren<QLabel*>()) {
        name = label->accessibleName() == "document" ? label : name;
    }
    ASSERT_NE(name, nullptr);
    EXPECT_LT(name->geometry().right(), window.topBar().search()->geometry().left());
}

} // namespace
} // namespace zrkworkbench
