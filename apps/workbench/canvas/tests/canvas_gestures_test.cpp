#include "apps/workbench/canvas/frame_item.h"
#include "apps/workbench/canvas/layout.h"
#include "apps/workbench/canvas/tests/canvas_fixture.h"

#include <QGraphicsScene>
#include <QMenu>
#include <QRegion>
#include <QScrollBar>

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::ElementsAre;
using ::testing::SizeIs;

/// What hands do on the canvas, where a slip is felt rather than seen in the document.
class CanvasGestures : public CanvasTest {
protected:
    void turnWheel(int by) const
    {
        const QPoint at(400, 300);
        QWheelEvent wheel(at, pane()->mapToGlobal(at), {}, QPoint(0, by), Qt::NoButton, {}, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(pane(), &wheel);
    }
    const FrameItem* frameItem() const
    {
        for (const QGraphicsItem* item : canvas->scene()->items()) {
            if (item->type() == FrameItem::Type) {
                return static_cast<const FrameItem*>(item);
            }
        }
        return nullptr;
    }
    /// Asks for the menu with the right button and chooses an entry.
    void chooseFromMenu(const QPoint& at, const char* name)
    {
        QContextMenuEvent event(QContextMenuEvent::Mouse, at, pane()->mapToGlobal(at));
        QApplication::sendEvent(pane(), &event);
        QWidget* menu = QApplication::activePopupWidget();
        ASSERT_NE(menu, nullptr);
        menu->close();
        trigger(name);
    }
    void frame(const Ids& nodes)
    {
        session->select(nodes);
        trigger("frame");
        QTest::keyClick(nameBox(), Qt::Key_Return);
    }
};

TEST_F(CanvasGestures, TheWheelTurnedAwayComesNearer)
{
    canvas->setZoom(0.5);
    turnWheel(120);
    EXPECT_GT(canvas->zoom(), 0.55);
    turnWheel(-240);
    EXPECT_LT(canvas->zoom(), 0.45);
}

TEST_F(CanvasGestures, PinsAreAsLargeToThePointerAtEveryZoom)
{
    for (const double zoom : {0.4, 1.0, 2.0}) {
        SCOPED_TRACE(zoom);
        canvas->setZoom(zoom);
        canvas->revealNode(5);
        const QPoint beside = canvas->pinPoint(out(5, 0)) + QPoint(9, 0);
        drag(beside, beside + QPoint(30, 30), {}, false);
        EXPECT_TRUE(canvas->isWireHeld());
        key(Qt::Key_Escape);
        QTest::mouseRelease(pane(), Qt::LeftButton, {}, beside);
    }
}

TEST_F(CanvasGestures, FramesGrowWhileTheirNodesAreDragged)
{
    frame({2, 3});
    session->select({3});
    drag(header(3), header(3) + QPoint(px(160), -px(48)), {}, false);
    EXPECT_TRUE(frameItem()->frame().contains(canvas->node(3)->frame()));
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, header(3));
}

TEST_F(CanvasGestures, WhatIsDraggedToAnEdgePansWhileThePointerRests)
{
    const auto scrolled = [&] {
        return QPoint(canvas->horizontalScrollBar()->value(), canvas->verticalScrollBar()->value());
    };
    const auto waits = [&](int ms) { // and how far it goes meanwhile
        const QPoint before = scrolled();
        QTest::qWait(ms);
        return scrolled() - before;
    };
    const QPoint right(pane()->width() - 4, 300);
    const QPoint farRight(pane()->width() + 60, 300);
    const double middle = canvas->node(3)->pos().x();

    drag(header(3), QPoint(pane()->width() - 28, 300), {}, false);
    const int slow = waits(300).x();
    move(farRight);
    const int fast = waits(300).x();
    EXPECT_GT(slow, 0);
    EXPECT_GT(fast, 2 * slow) << "the nearer the faster";
    EXPECT_GT(canvas->node(3)->pos().x(), middle + 100) << "it stays at the pointer";
    EXPECT_NEAR(canvas->nodeRect(3).left() + 60, farRight.x(), px(16));
    move(QPoint(500, 300));
    EXPECT_EQ(waits(100), QPoint());
    move(QPoint(500, 2));
    EXPECT_LT(waits(100).y(), 0) << "upwards, too";
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, QPoint(500, 2));
    EXPECT_EQ(waits(100), QPoint());
    EXPECT_EQ(steps(), 1u);
    ASSERT_TRUE(session->undo());

    canvas->fitAll(false);
    drag(canvas->pinPoint(out(3, 0)), right, {}, false);
    EXPECT_GT(waits(150).x(), 0) << "a wire";
    key(Qt::Key_Escape);
    EXPECT_EQ(waits(100), QPoint()) << "which was given up";
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, right);

    frame({2, 3});
    canvas->fitAll(false);
    const QPoint title = canvas->nodeRect(3).topLeft() - QPoint(0, px(24));
    drag(title, QPoint(4, 300), {}, false);
    EXPECT_LT(waits(150).x(), 0) << "a frame";
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, QPoint(4, 300));
    EXPECT_NE(canvas->node(2)->pos(), QPointF(256, 256));

    canvas->fitAll(false); // a drag that begins at an edge
    canvas->horizontalScrollBar()->setValue(canvas->horizontalScrollBar()->value() + header(3).x() - 8);
    drag(header(3), header(3) + QPoint(12, 40), {}, false);
    EXPECT_EQ(waits(100), QPoint());
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, header(3));
}

TEST_F(CanvasGestures, ADoubleClickNamesNodesAndFrames)
{
    frame({2, 3});
    QTest::mouseDClick(pane(), Qt::LeftButton, {}, canvas->nodeRect(3).topLeft() + QPoint(20, -px(28)));
    ASSERT_TRUE(nameBox()->isVisible());
    QTest::keyClicks(nameBox(), "Pair");
    QTest::keyClick(nameBox(), Qt::Key_Return);
    EXPECT_EQ(canvas->frames()[0].title, "Pair");
    QTest::mouseDClick(pane(), Qt::LeftButton, {}, header(1));
    ASSERT_TRUE(nameBox()->isVisible());
    QTest::keyClicks(nameBox(), "Screw");
    QTest::keyClick(nameBox(), Qt::Key_Return);
    EXPECT_EQ(canvas->node(1)->info().title, "Screw");
}

TEST_F(CanvasGestures, AClickOnOneOfSeveralSelectsItAlone)
{
    session->select({2, 3});
    click(header(2));
    EXPECT_THAT(session->selection(), ElementsAre(2));
}

TEST_F(CanvasGestures, TheMenuIsOfWhatIsUnderThePointer)
{
    session->select({1});
    canvas->sync();
    const QPoint at = header(3);
    QContextMenuEvent event(QContextMenuEvent::Mouse, at, pane()->mapToGlobal(at));
    QApplication::sendEvent(pane(), &event);
    EXPECT_THAT(session->selection(), ElementsAre(3));
    if (QWidget* menu = QApplication::activePopupWidget()) {
        menu->close();
    }
    QMenu menu;
    canvas->addEditActions(menu);
    QList<QAction*> all = menu.actions();
    for (QAction* each : menu.actions()) {
        all += each->menu() ? each->menu()->actions() : QList<QAction*>();
    }
    for (QAction* each : canvas->editActions()) {
        EXPECT_TRUE(all.contains(each)) << each->text().toStdString();
    }
}

TEST_F(CanvasGestures, AMenuRemovesWhatItWasAskedForOf)
{
    const QPoint wire = canvas->wirePoint(in(4, 0)).value();
    QTest::mouseDClick(pane(), Qt::LeftButton, {}, wire);
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, wire);
    frame({5});
    const std::size_t nodes = graph().nodes().size();
    const auto points = [&] { return ZRKJson::parse(text())["view"].value("reroutes", ZRKJson::array()); };
    ASSERT_EQ(points().size(), 1u);
    const QPoint point = seen({points()[0]["at"][0].get<double>(), points()[0]["at"][1].get<double>()});
    session->select({6});
    canvas->sync();
    chooseFromMenu(point, "delete");
    EXPECT_EQ(points().size(), 0u);
    session->select({6});
    canvas->sync();
    chooseFromMenu(canvas->nodeRect(5).topLeft() + QPoint(px(20), -px(28)), "delete");
    EXPECT_TRUE(canvas->frames().empty());
    EXPECT_EQ(graph().nodes().size(), nodes) << "the node that was selected, and that in the frame, stay";

    // After a click on a frame's title, a node of it is meant by a menu at the node.
    frame({5});
    click(canvas->nodeRect(5).topLeft() + QPoint(px(20), -px(28)));
    chooseFromMenu(header(5), "delete");
    EXPECT_FALSE(graph().getNodePtr(5));
}

TEST_F(CanvasGestures, TheMenuKeyIsForWhatIsSelected)
{
    session->select({6});
    canvas->sync();
    const auto askByKey = [&] {
        const QPoint middle = pane()->rect().center();
        QContextMenuEvent event(QContextMenuEvent::Keyboard, middle, pane()->mapToGlobal(middle));
        QApplication::sendEvent(pane(), &event);
    };
    for (const std::uint16_t node : {1, 2, 3, 4, 5}) {
        // Each of the others in the middle in turn.
        const QPoint by = pane()->rect().center() - canvas->nodeRect(node).center();
        QTest::mousePress(pane(), Qt::MiddleButton, {}, {5, 5});
        QMouseEvent move(QEvent::MouseMove, QPoint(5, 5) + by, pane()->mapToGlobal(QPoint(5, 5) + by),
                         Qt::NoButton, Qt::MiddleButton, {});
        QApplication::sendEvent(pane(), &move);
        QTest::mouseRelease(pane(), Qt::MiddleButton, {}, QPoint(5, 5) + by);
        askByKey();
        EXPECT_THAT(session->selection(), ElementsAre(6));
        ASSERT_NE(QApplication::activePopupWidget(), nullptr);
        QApplication::activePopupWidget()->close();
    }
    session->select({});
    canvas->sync();
    askByKey();
    EXPECT_TRUE(session->selection().empty());
    EXPECT_TRUE(canvas->searchPopup()->isVisible());
}

TEST_F(CanvasGestures, EscapeGivesUpABox)
{
    session->select({6});
    canvas->sync();
    drag({3, 3}, {1090, 690}, {}, false);
    EXPECT_GT(session->selection().size(), 1u);
    key(Qt::Key_Escape);
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, {1090, 690});
    EXPECT_THAT(session->selection(), ElementsAre(6));
}

TEST_F(CanvasGestures, AWireDroppedBesideTheCanvasBringsANodeThatIsSeen)
{
    for (const QPoint& beyond : {QPoint(5000, 300), QPoint(400, -900)}) {
        drag(canvas->pinPoint(out(4, 0)), beyond);
        choose("shell");
        const std::uint16_t node = graph().nodes().back()->id;
        EXPECT_TRUE(pane()->rect().intersects(canvas->nodeRect(node)));
    }
}

TEST_F(CanvasGestures, ANameThatIsTypedIsForNoOtherDocument)
{
    session->select({5});
    trigger("rename");
    QTest::keyClicks(nameBox(), "Wall");
    zrkmodel::DocumentWarnings warnings;
    auto document = zrkmodel::GraphDocument::parse(kGraph, "other.zrk.json", warnings);
    zrkmodel::EditSession other(std::move(*document));
    canvas->setSession(&other);
    EXPECT_FALSE(nameBox()->isVisible());
    canvas->setFocus();
    EXPECT_EQ(other.history().doneCount(), 0u);
    key(Qt::Key_Tab);
    ASSERT_TRUE(canvas->searchPopup()->isVisible());
    canvas->setSession(session.get());
    EXPECT_FALSE(canvas->searchPopup()->isVisible());
}

TEST_F(CanvasGestures, PartsThatDontHangTogetherFillAScreen)
{
    std::map<std::uint16_t, QSizeF> sizes;
    std::vector<std::pair<std::uint16_t, std::uint16_t>> links;
    for (std::uint16_t i = 0; i < 400; ++i) {
        sizes[i] = QSizeF(160, 180);
        if (i % 2 == 1) {
            links.emplace_back(i - 1, i);
        }
    }
    const auto places = layoutNodes(sizes, links);
    QRectF all;
    QRegion taken;
    for (const auto& [id, place] : places) {
        const QRect room = QRectF(place, sizes.at(id)).toAlignedRect();
        EXPECT_FALSE(taken.intersects(room)) << id;
        taken += room;
        all |= QRectF(place, sizes.at(id));
    }
    EXPECT_EQ(places.size(), 400u);
    EXPECT_GT(all.width() / all.height(), 1);
    EXPECT_LT(all.width() / all.height(), 2.5);
    for (const auto& [from, to] : links) {
        EXPECT_EQ(places.at(from).y(), places.at(to).y());
        EXPECT_LT(places.at(from).x(), places.at(to).x());
    }
}

// A node that comes later might get the id.
TEST_F(CanvasGestures, NothingIsKeptOfANodeThatIsRemoved)
{
    frame({2, 3});
    canvas->setBadge(3, {NodeBadge::Kind::warning, -1, "", ""});
    session->select({3});
    key(Qt::Key_Delete);
    EXPECT_THAT((*session->view("frames"))[0]["nodes"], SizeIs(1));
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(canvas->node(3)->badge().kind, NodeBadge::Kind::none);
}

TEST_F(CanvasGestures, LayingOutTakesPointsAwayThatLedWires)
{
    QTest::mouseDClick(pane(), Qt::LeftButton, {}, *canvas->wirePoint(in(4, 0)));
    ASSERT_NE(session->view("reroutes"), nullptr);
    session->select({});
    trigger("layout");
    EXPECT_EQ(session->view("reroutes"), nullptr);
}

TEST_F(CanvasGestures, KeysLeadThroughTheOutputsOfANode)
{
    const auto added = session->addNode({"Vector3SplitComponents"});
    ASSERT_TRUE(added);
    session->select({*added});
    std::vector<int> viewed;
    canvas->onViewWanted([&](PinAddress pin) { viewed.push_back(pin.output); });
    std::vector<int> flagged;
    for (int i = 0; i < 4; ++i) {
        key(Qt::Key_P);
        key(Qt::Key_O);
        flagged.push_back(session->document().output()->output);
    }
    EXPECT_THAT(viewed, ElementsAre(0, 1, 2, 0));
    EXPECT_THAT(flagged, ElementsAre(0, 1, 2, 0));
}

TEST_F(CanvasGestures, TheTypeThatWasUsedLastIsOfferedFirst)
{
    canvas->addNodeAtCentre("ZRKShell");
    canvas->addNodeAtCentre("ZRKSphereSDF");
    EXPECT_EQ(canvas->recentTypes(), QStringList({"ZRKSphereSDF", "ZRKShell"}));
    canvas->addNodeAtCentre("ZRKShell");
    EXPECT_EQ(canvas->recentTypes(), QStringList({"ZRKShell", "ZRKSphereSDF"}));
}

} // namespace
} // namespace zrkworkbench
