#include "components/patterns/pattern_designer.h"
#include "inspectors/list_view.h"
#include "inspectors/tests/opened_panel.h"

#include <QScrollBar>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace zrkui {
namespace {

using Wave = zrkmodel::ZRKPatternDesigner::Wave;
using LongList = ZRKQListView<Wave, ZRKPropertyView>;

/// Of ten thousand waves, each with a number of its own.
struct LongPanel : OpenedPanel<zrkmodel::ZRKPatternDesigner> {
    static constexpr int kCount = 10000;
    LongList* list = find<LongList>();
    LazyRows* rows = find<LazyRows>();

    LongPanel()
    {
        std::vector<Wave> waves(kCount);
        for (int i = 0; i < kCount; ++i) {
            waves[static_cast<std::size_t>(i)].fx = i % 7;
        }
        component->waves.edit(waves, -1);
        settle();
        events.clear();
    }
    void settle() const
    {
        QTest::qWait(20);
        EXPECT_TRUE(QTest::qWaitFor([&] { return isAllOfSightBuilt(); }, 5000));
    }
    std::size_t builtCount() const
    {
        const auto& items = list->items();
        return static_cast<std::size_t>(
            std::count_if(items.begin(), items.end(), [](const auto* item) { return item->editor(); }));
    }
    /// Whether the places that are seen are those of items with editors.
    bool isAllOfSightBuilt() const
    {
        for (int y = 4; y < rows->viewport()->height(); y += 8) {
            const QWidget* at = rows->widget()->childAt(20, rows->verticalScrollBar()->value() + y);
            if (!at && y + 8 < rows->viewport()->height()) { // the line between two, at most
                at = rows->widget()->childAt(20, rows->verticalScrollBar()->value() + y + 2);
            }
            if (!at) {
                return false;
            }
        }
        return true;
    }
    void scrollTo(double share)
    {
        QScrollBar* bar = rows->verticalScrollBar();
        bar->setValue(static_cast<int>(share * bar->maximum()));
        settle();
    }
    NumberField* field(std::size_t item, int i)
    {
        auto* editor = list->items()[item]->editor();
        return editor ? editor->findChildren<NumberField*>()[i] : nullptr;
    }
};

TEST(LongList, BuildsWhatIsInSight)
{
    LongPanel panel;
    ASSERT_EQ(panel.list->items().size(), 10000u);
    for (const double share : {0.0, 0.001, 0.4, 0.401, 1.0, 0.9995, 0.2, 0.0}) {
        SCOPED_TRACE(share);
        panel.scrollTo(share);
        EXPECT_GE(panel.builtCount(), 3u);
        EXPECT_LE(panel.builtCount(), 60u);
    }
    panel.scrollTo(1);
    ASSERT_NE(panel.field(9999, 0), nullptr);
    EXPECT_EQ(panel.field(9999, 0)->exact(), 9999 % 7);
    EXPECT_EQ(panel.field(0, 0), nullptr);
    panel.view->resize(480, 2000);
    panel.settle(); // more is seen
}

TEST(LongList, EditsWhereItWasScrolledTo)
{
    LongPanel panel;
    const auto& waves = panel.component->waves;
    panel.scrollTo(1);
    type(*panel.field(9999, 1), "3");
    EXPECT_EQ(waves.values()[9999].fy, 3);
    EXPECT_EQ(waves.values()[0].fy, 0);
    EXPECT_EQ(panel.list->selected(), 9999);
    panel.settle();
    const int place = panel.rows->verticalScrollBar()->value();

    auto undone = waves.values();
    undone[9999].fy = 0;
    panel.component->waves.edit(undone, 9999);
    panel.settle();
    EXPECT_EQ(panel.field(9999, 1)->exact(), 0) << "shows what became of it elsewhere";
    EXPECT_EQ(panel.rows->verticalScrollBar()->value(), place);
    EXPECT_EQ(panel.list->selected(), 9999);

    auto* line = panel.field(9998, 2)->findChild<QLineEdit*>();
    line->setFocus();
    line->selectAll();
    QTest::keyClicks(line, "5");
    panel.scrollTo(0);
    EXPECT_EQ(panel.field(9998, 2), nullptr);
    EXPECT_EQ(waves.values()[9998].fz, 5) << "what is typed isn't lost with its editor";

    panel.list->select(4);
    panel.button("del")->click();
    panel.settle();
    ASSERT_EQ(waves.values().size(), 9999u);
    EXPECT_EQ(waves.values()[4].fx, 5 % 7);
    EXPECT_EQ(panel.field(4, 0)->exact(), 5 % 7);
    panel.button("+")->click();
    panel.scrollTo(1);
    ASSERT_EQ(waves.values().size(), 10000u);
    EXPECT_EQ(panel.field(9999, 0)->exact(), 1) << "a new wave";
}

// An undo mustn't build all that is in sight again.
TEST(LongList, BuildsOnlyWhatHasChangedAgain)
{
    LongPanel panel;
    const auto& items = panel.list->items();
    auto* unchanged = items[1]->editor();
    auto waves = panel.component->waves.values();
    waves[0].fy = 4;
    waves[9999].fy = 5; // out of sight
    panel.component->waves.edit(waves, -1);
    panel.settle();
    EXPECT_EQ(panel.field(0, 1)->exact(), 4);
    EXPECT_EQ(items[1]->editor(), unchanged);
    panel.scrollTo(1);
    EXPECT_EQ(panel.field(9999, 1)->exact(), 5);
    panel.scrollTo(0);
    for (std::size_t i = 0; i < 6; ++i) { // more than are built at once
        waves[i].fz = 7;
    }
    panel.component->waves.edit(waves, -1);
    panel.settle();
    for (std::size_t i = 0; i < 6; ++i) {
        panel.rows->ensureWidgetVisible(items[i]);
        panel.settle();
        EXPECT_EQ(panel.field(i, 2)->exact(), 7);
    }
}

// The order in which editors were built mustn't show.
TEST(LongList, TabLeadsFromItemToItem)
{
    LongPanel panel;
    panel.view->activateWindow();
    panel.scrollTo(0.5);
    panel.scrollTo(0.4985); // some are built above others
    const auto& items = panel.list->items();
    const auto first = static_cast<std::size_t>(
        std::find_if(items.begin(), items.end(), [](const auto* item) { return item->editor(); }) -
        items.begin());
    const int count = static_cast<int>(panel.builtCount());
    QWidget* at = panel.field(first, 0);
    for (int i = 0; i < count; ++i) {
        for (int j = 0; j < 5; ++j) {
            ASSERT_EQ(at, panel.field(first + static_cast<std::size_t>(i), j)) << i << ", " << j;
            do {
                at = at->nextInFocusChain();
            } while ((at->focusPolicy() & Qt::TabFocus) == 0 || qobject_cast<QLineEdit*>(at));
        }
    }
}

} // namespace
} // namespace zrkui
