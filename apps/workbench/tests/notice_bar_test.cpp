#include "apps/workbench/tests/offscreen_test.h"
#include "apps/workbench/window/notice_bar.h"

#include <QApplication>
#include <QEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QTest>

#include <gtest/gtest.h>

namespace zrkworkbench {
namespace {

/// Counts how often a widget and what is in it are laid out.
struct LayoutCounter : QObject {
    int count = 0;
    bool eventFilter(QObject*, QEvent* event) override
    {
        count += event->type() == QEvent::LayoutRequest ? 1 : 0;
        return false;
    }
};

using NoticeBarTest = OffscreenTest;

TEST_F(NoticeBarTest, PutsAllInARowWhereThereIsRoom)
{
    NoticeBar bar;
    bar.resize(800, 120);
    bar.show("changed", "bracket.zrk.json was changed by another program.", {});
    bar.showProgress("reading", "Reading bracket.obj; you can go on meanwhile.", 0.4, [] {});
    auto* stop = bar.findChild<QPushButton*>();
    auto* progress = bar.findChildren<QProgressBar*>().last();
    const auto isInARow = [&] {
        return stop->geometry().left() > progress->geometry().right() &&
               stop->geometry().top() < progress->geometry().bottom();
    };
    for (const int width : {800, 250, 800}) {
        bar.resize(width, 120);
        bar.QWidget::show();
        QTest::qWait(50);
        EXPECT_EQ(isInARow(), width == 800) << width;
        EXPECT_EQ(bar.width(), width) << "notices don't widen the window";
    }
    LayoutCounter counter;
    QApplication::instance()->installEventFilter(&counter);
    QTest::qWait(50);
    EXPECT_LE(counter.count, 2) << "it comes to rest";
}

// It stands above a canvas that may be 256 pixels wide, and needs room for some words.
TEST_F(NoticeBarTest, NeedsLittleRoomWhateverItSays)
{
    for (const int font : {13, 26}) {
        QFont sized = QApplication::font();
        sized.setPixelSize(font);
        QApplication::setFont(sized);
        NoticeBar bar;
        bar.show("changed", QString("bracket_").repeated(30) + ".zrk.json was changed by another program.",
                 {{"Read it, drop my changes"}, {"Keep mine, write over it"}, {"Save mine as..."}});
        const int least = bar.minimumSizeHint().width();
        EXPECT_GE(least, 140 * font / 13);
        EXPECT_LE(least, 256 * font / 13);
    }
}

} // namespace
} // namespace zrkworkbench
