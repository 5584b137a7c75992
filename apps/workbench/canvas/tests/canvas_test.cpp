#include "apps/workbench/canvas/metrics.h"
#include "apps/workbench/canvas/tests/canvas_fixture.h"

#include <QClipboard>
#include <QHelpEvent>
#include <QScrollBar>
#include <QToolTip>

#include <algorithm>
#include <cmath>
#include <set>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;
using Style = zrkui::ZRKCSSStyle;
using Role = Style::Role;

TEST_F(CanvasTest, SearchAddsATypeWhereItWasOpened)
{
    const std::size_t before = steps();
    const QPoint empty = canvas->nodeRect(5).bottomLeft() + QPoint(10, 150);
    QTest::mouseDClick(pane(), Qt::LeftButton, {}, empty);
    ASSERT_TRUE(canvas->searchPopup()->isVisible());
    EXPECT_TRUE(canvas->searchPopup()->box()->hasFocus());
    EXPECT_EQ(canvas->searchPopup()->hits().size(), 48u);
    choose("toru");
    EXPECT_FALSE(canvas->searchPopup()->isVisible());
    EXPECT_EQ(lastType(), "TorusSDF");
    EXPECT_EQ(steps(), before + 1);
    EXPECT_THAT(session->selection(), ElementsAre(7));
    EXPECT_LT((canvas->nodeRect(7).topLeft() - empty).manhattanLength(), 40);
    EXPECT_EQ(std::fmod(canvas->node(7)->pos().x(), 16), 0) << "on the raster";

    key(Qt::Key_Tab);
    ASSERT_TRUE(canvas->searchPopup()->isVisible());
    EXPECT_STREQ(canvas->searchPopup()->hits()[0].type->strings.title, "Torus")
        << "the last used one is first";
    QTest::keyClick(canvas->searchPopup()->box(), Qt::Key_Escape);
    EXPECT_FALSE(canvas->searchPopup()->isVisible());
    EXPECT_TRUE(canvas->hasFocus());
    EXPECT_EQ(steps(), before + 1);

    ASSERT_TRUE(session->undo());
    EXPECT_EQ(canvas->node(7), nullptr);
}

// However small the canvas is: beside the end, or else above or below it.
TEST_F(CanvasTest, TheSearchDoesntCoverTheEndOfADroppedWire)
{
    open(R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "SphereSDF", "position": [0, 0]}]})");
    for (const QSize size : {QSize(1100, 700), QSize(700, 500), QSize(480, 500), QSize(440, 420)}) {
        canvas->resize(size);
        canvas->fitAll(false); // the node is in the middle
        const QRect all = pane()->rect();
        for (const QPoint end : {QPoint(all.center().x(), 70), QPoint(all.right() - 12, all.center().y()),
                                 QPoint(all.center().x(), all.bottom() - 12)}) {
            SCOPED_TRACE(::testing::Message() << size.width() << ": " << end.x() << ", " << end.y());
            drag(canvas->pinPoint(out(1, 0)), end);
            ASSERT_TRUE(canvas->searchPopup()->isVisible());
            const QRect popup = canvas->searchPopup()->geometry();
            EXPECT_FALSE(popup.contains(pane()->mapTo(canvas.get(), end)));
            EXPECT_TRUE(canvas->rect().contains(popup));
            EXPECT_GT(popup.height(), 100);
            QTest::keyClick(canvas->searchPopup()->box(), Qt::Key_Escape);
        }
    }
}

TEST_F(CanvasTest, AWireDroppedOnNothingSearchesForWhatFitsAndLinksIt)
{
    const std::size_t before = steps();
    const QPoint from = canvas->pinPoint(out(6, 0)); // a vector
    drag(from, from + QPoint(10, 200));
    ASSERT_TRUE(canvas->searchPopup()->isVisible());
    EXPECT_TRUE(canvas->isWireHeld()) << "it stays while one chooses";
    for (const SearchHit& hit : canvas->searchPopup()->hits()) {
        EXPECT_TRUE(fittingPin(*hit.type, {Tag::Vector3d, true})) << hit.type->className;
    }
    EXPECT_LT(canvas->searchPopup()->hits().size(), 48u);
    choose("bend");
    EXPECT_EQ(lastType(), "BendTransform");
    EXPECT_EQ(source(7, 0), "6.0");
    EXPECT_EQ(steps(), before + 1) << "one step for the node and its link";
    EXPECT_FALSE(canvas->isWireHeld());
    EXPECT_LT((canvas->pinPoint(in(7, 0)) - (from + QPoint(10, 200))).manhattanLength(), 30)
        << "its pin lies where the wire was dropped";

    // Backwards from an input: what gives a scalar.
    const QPoint thickness = canvas->pinPoint(in(5, 2));
    drag(thickness, thickness + QPoint(-60, 200));
    choose("gyr");
    EXPECT_EQ(source(5, 2), "8.0");

    // Dropped: nothing has changed. The end isn't covered, however little room there is below it.
    const QPoint low(from.x() + 40, pane()->height() - 12);
    drag(from, low);
    EXPECT_FALSE(canvas->searchPopup()->geometry().contains(low));
    EXPECT_TRUE(canvas->rect().contains(canvas->searchPopup()->geometry()));
    QTest::keyClick(canvas->searchPopup()->box(), Qt::Key_Escape);
    EXPECT_FALSE(canvas->isWireHeld());
    EXPECT_EQ(steps(), before + 2);
}

TEST_F(CanvasTest, RefusedLinksSayWhyAndChangeNothing)
{
    struct Case {
        const char* name;
        Pin_handle from;
        Pin_handle to;
        const char* reason;
    };
    const Case cases[] = {
        {"another tag", out(6, 0), in(5, 0), "A vector doesn't fit a scalar. Put a node between"},
        {"taken", out(2, 0), in(4, 0), "a has a link already. Remove that link first, or hold Shift"},
        {"cycle", out(5, 0), in(4, 1), "This would be a cycle. Binary operator feeds Shell"},
        {"itself", out(5, 0), in(5, 1), "This would be a cycle. Shell would feed itself"},
        {"two outputs", out(3, 0), out(2, 0), "Two outputs can't be linked"},
        {"two inputs", in(5, 1), in(5, 2), "Two inputs can't be linked"},
    };
    ASSERT_TRUE(session->link(out(4, 0), in(5, 0)));
    const std::string before = text();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        said.clear();
        drag(canvas->pinPoint(c.from), canvas->pinPoint(c.to));
        EXPECT_THAT(canvas->shownReason().toStdString(), HasSubstr(c.reason));
        EXPECT_EQ(said.size(), 1u);
        EXPECT_EQ(text(), before);
        EXPECT_FALSE(canvas->isWireHeld());
    }
    // Three seconds later it's gone.
    EXPECT_TRUE(QTest::qWaitFor([&] { return canvas->shownReason().isEmpty(); }, 4000));
}

TEST_F(CanvasTest, WiresAreLinkedLiftedMovedAndReplaced)
{
    drag(canvas->pinPoint(out(4, 0)), canvas->pinPoint(in(5, 0)));
    EXPECT_EQ(source(5, 0), "4.0");
    drag(canvas->pinPoint(in(5, 0)), canvas->pinPoint(in(5, 2))); // by its end
    EXPECT_EQ(source(5, 0), "");
    EXPECT_EQ(source(5, 2), "4.0");
    const std::size_t before = steps();
    drag(canvas->pinPoint(in(5, 2)), canvas->pinPoint(in(5, 2)) + QPoint(4, 2)); // back to where it was
    EXPECT_EQ(source(5, 2), "4.0");
    EXPECT_EQ(steps(), before);
    drag(canvas->pinPoint(in(5, 2)), canvas->nodeRect(5).bottomLeft() + QPoint(-40, 160));
    EXPECT_EQ(source(5, 2), "") << "dropped on nothing";
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(source(5, 2), "4.0");

    drag(canvas->pinPoint(out(3, 0)), body(5)); // on the node: its first pin that fits
    EXPECT_EQ(source(5, 0), "3.0");
    drag(canvas->pinPoint(out(2, 0)), canvas->pinPoint(in(5, 0)));
    EXPECT_EQ(source(5, 0), "3.0") << "taken";
    drag(canvas->pinPoint(out(2, 0)), canvas->pinPoint(in(5, 0)), Qt::ShiftModifier);
    EXPECT_EQ(source(5, 0), "2.0");
    drag(canvas->pinPoint(out(6, 0)), body(4));
    EXPECT_THAT(said, ::testing::Not(IsEmpty()));

    // Chosen by a click and deleted.
    click(*canvas->wirePoint(in(4, 0)));
    key(Qt::Key_Delete);
    EXPECT_EQ(source(4, 0), "");
    EXPECT_NE(canvas->node(4), nullptr);
}

TEST_F(CanvasTest, ADragIsOneStepAndSnaps)
{
    click(header(5));
    const std::size_t before = steps();
    const std::string former = text();
    drag(header(5), header(5) + QPoint(px(100), px(50)));
    EXPECT_EQ(steps(), before + 1);
    EXPECT_EQ(place(5), "864 48");
    drag(header(5), header(5) + QPoint(px(9), 12), Qt::AltModifier);
    EXPECT_NE(std::fmod(canvas->node(5)->pos().x(), 16), 0) << "Alt leaves the raster";
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(text(), former);
    EXPECT_EQ(place(5), "768 0");

    // Escape takes a drag back, several nodes keep their distance, Ctrl+arrow moves by a step.
    drag(header(5), header(5) + QPoint(80, 80), {}, false);
    key(Qt::Key_Escape);
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, header(5) + QPoint(80, 80));
    EXPECT_EQ(place(5), "768 0");
    EXPECT_EQ(text(), former);
    session->select({2, 3});
    drag(header(3), header(3) + QPoint(px(64), 0));
    EXPECT_EQ(place(3), "320 0");
    EXPECT_EQ(place(2), "320 256");
    key(Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(place(3), "320 16");
}

TEST_F(CanvasTest, ANodeGoesIntoAWireAndOutAgain)
{
    ASSERT_TRUE(session->addNode({.type = "Multiply", .position = std::array<double, 2>{256, 512}}));
    canvas->fitAll(false);
    const std::size_t before = steps();
    const QPoint to = *canvas->wirePoint(in(4, 1));
    const QPoint grip = header(7);
    drag(grip, to + (grip - canvas->nodeRect(7).center()));
    EXPECT_EQ(source(7, 0), "2.0");
    EXPECT_EQ(source(4, 1), "7.0");
    EXPECT_EQ(steps(), before + 1);
    session->select({7});
    key(Qt::Key_Delete, Qt::ControlModifier);
    EXPECT_EQ(source(4, 1), "2.0");
    EXPECT_EQ(canvas->node(7), nullptr);
    ASSERT_TRUE(session->undo());
    session->select({7});
    key(Qt::Key_Delete);
    EXPECT_EQ(source(4, 1), "") << "without Ctrl the link is gone";

    // One with links, or that doesn't fit, just lies there.
    drag(header(6), *canvas->wirePoint(in(4, 0)) + (header(6) - canvas->nodeRect(6).center()));
    EXPECT_EQ(source(4, 0), "3.0");
}

TEST_F(CanvasTest, CopiesAreTextWithFramesAndPoints)
{
    session->select({2, 4});
    trigger("frame");
    QTest::keyClicks(nameBox(), "Lattice");
    QTest::keyClick(nameBox(), Qt::Key_Return);
    ASSERT_EQ(canvas->frames().size(), 1u);
    EXPECT_EQ(canvas->frames()[0].title, "Lattice");
    QTest::mouseDClick(pane(), Qt::LeftButton, {}, *canvas->wirePoint(in(4, 1)));
    session->select({2, 4});
    key(Qt::Key_C, Qt::ControlModifier);
    const std::string copied = QGuiApplication::clipboard()->text().toStdString();
    const ZRKJson fragment = ZRKJson::parse(copied);
    EXPECT_EQ(fragment["nodes"].size(), 2u);
    EXPECT_EQ(fragment["view"]["frames"][0]["title"], "Lattice");
    EXPECT_EQ(fragment["view"]["reroutes"].size(), 1u);

    const std::size_t before = steps();
    key(Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(steps(), before + 1);
    EXPECT_THAT(session->selection(), ElementsAre(7, 8));
    EXPECT_EQ(source(8, 1), "7.0");
    ASSERT_EQ(canvas->frames().size(), 2u);
    EXPECT_THAT(canvas->frames()[1].nodes, UnorderedElementsAre(7, 8));
    EXPECT_NE(place(7), place(2));
    const auto* reroutes = session->view("reroutes");
    ASSERT_NE(reroutes, nullptr);
    EXPECT_EQ(reroutes->size(), 2u);
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(canvas->frames().size(), 1u);

    // A document as text, and what isn't one.
    QGuiApplication::clipboard()->setText(kGraph);
    key(Qt::Key_V, Qt::ControlModifier);
    EXPECT_EQ(graph().nodes().size(), 12u);
    const std::string full = text();
    for (const char* broken : {"hello", "", "[1, 2", R"({"nodes": []})", R"({"nodes": [{"id": "x"}]})",
                               R"({"zrkGraph": 99, "nodes": [{"id": 1, "type": "Gyroid"}]})",
                               R"({"zrkGraph": 1, "nodes": [{"id": 1, "type": "Nonsense"}]})"}) {
        SCOPED_TRACE(broken);
        said.clear();
        QGuiApplication::clipboard()->setText(broken);
        key(Qt::Key_V, Qt::ControlModifier);
        EXPECT_EQ(said.size(), 1u);
        EXPECT_EQ(text(), full);
    }

    // Ctrl+D keeps what arrives from outside.
    session->select({4});
    key(Qt::Key_D, Qt::ControlModifier);
    const std::uint16_t copy = session->selection().at(0);
    EXPECT_EQ(source(copy, 0), "3.0");
    EXPECT_EQ(place(copy), "544 160");
}

TEST_F(CanvasTest, BypassLeadsTheWireThroughTheNodeForTheEye)
{
    ASSERT_TRUE(session->link(out(4, 0), in(5, 0)));
    ASSERT_TRUE(session->addNode({.type = "Multiply", .position = std::array<double, 2>{1024, 0}}));
    ASSERT_TRUE(session->link(out(5, 0), in(7, 0)));
    canvas->fitAll(false);
    session->select({5});
    key(Qt::Key_M);
    EXPECT_EQ(source(7, 0), "4.0");
    EXPECT_TRUE(canvas->node(5)->info().isBypassed);
    const QPoint middle = (canvas->pinPoint(out(5, 0)) + canvas->pinPoint(in(7, 0))) / 2;
    EXPECT_LT((*canvas->wirePoint(in(7, 0)) - middle).manhattanLength(), 30)
        << "it is drawn from the node itself";
    key(Qt::Key_M);
    EXPECT_EQ(source(7, 0), "5.0");
    session->select({3});
    key(Qt::Key_M);
    EXPECT_FALSE(session->isBypassed(3));
    EXPECT_THAT(canvas->shownReason().toStdString(), HasSubstr("different tags"));
}

TEST_F(CanvasTest, FramesGoWithTheirNodes)
{
    session->select({2, 3});
    trigger("frame");
    QTest::keyClick(nameBox(), Qt::Key_Return);
    const QPoint title = canvas->nodeRect(3).topLeft() + QPoint(20, -px(28));
    drag(title, title + QPoint(px(64), px(32)));
    EXPECT_EQ(place(2), "320 288");
    EXPECT_EQ(place(3), "320 32");
    session->select({3});
    key(Qt::Key_Delete);
    EXPECT_THAT(canvas->frames()[0].nodes, ElementsAre(2));
    ASSERT_TRUE(session->undo());
    EXPECT_THAT(canvas->frames()[0].nodes, ElementsAre(2, 3));
    // The frame by itself goes without its nodes.
    click(canvas->nodeRect(3).topLeft() + QPoint(20, -px(28)));
    key(Qt::Key_Delete);
    EXPECT_THAT(canvas->frames(), IsEmpty());
    EXPECT_NE(canvas->node(3), nullptr);
}

TEST_F(CanvasTest, PointsLeadAWireAndAreDragged)
{
    QTest::mouseDClick(pane(), Qt::LeftButton, {}, *canvas->wirePoint(in(4, 0)));
    ASSERT_NE(session->view("reroutes"), nullptr);
    const ZRKJson& at = (*session->view("reroutes"))[0]["at"];
    const QPoint on = seen({at[0].get<double>(), at[1].get<double>()});
    const std::size_t before = steps();
    drag(on, on + QPoint(0, -120));
    EXPECT_EQ(steps(), before + 1);
    EXPECT_LT((*canvas->wirePoint(in(4, 0)) - (on + QPoint(0, -120))).manhattanLength(), 90)
        << "the wire goes by it";
    click(on + QPoint(0, -120));
    key(Qt::Key_Delete);
    EXPECT_EQ(session->view("reroutes"), nullptr);
    EXPECT_EQ(source(4, 0), "3.0");
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->undo());
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(session->view("reroutes"), nullptr);
}

TEST_F(CanvasTest, SelectionByMouseAndKeys)
{
    click(header(2));
    EXPECT_THAT(session->selection(), ElementsAre(2));
    click(header(3), Qt::ShiftModifier);
    EXPECT_THAT(session->selection(), UnorderedElementsAre(2, 3));
    click(header(2), Qt::ShiftModifier);
    EXPECT_THAT(session->selection(), ElementsAre(3));
    click(header(4), Qt::ControlModifier);
    EXPECT_THAT(session->selection(), UnorderedElementsAre(1, 2, 3, 4)) << "with all that feeds it";
    const QRect both = canvas->nodeRect(2) | canvas->nodeRect(3);
    drag(both.topLeft() - QPoint(12, 12), both.bottomRight() - QPoint(20, 8));
    EXPECT_THAT(session->selection(), UnorderedElementsAre(2, 3));
    click(canvas->nodeRect(5).bottomRight() + QPoint(-20, 120));
    EXPECT_THAT(session->selection(), IsEmpty());

    click(header(6));
    const std::vector<std::pair<int, int>> walk = {
        {Qt::Key_Right, 3}, {Qt::Key_Down, 2}, {Qt::Key_Left, 1}, {Qt::Key_Up, 6}, {Qt::Key_Left, 6}};
    for (const auto& [arrow, expected] : walk) {
        key(arrow);
        EXPECT_THAT(session->selection(), ElementsAre(expected)) << arrow;
    }
    key(Qt::Key_A, Qt::ControlModifier);
    EXPECT_EQ(session->selection().size(), 6u);
    key(Qt::Key_Escape);
    EXPECT_THAT(session->selection(), IsEmpty());
}

TEST_F(CanvasTest, AWireIsLedByKeysAlone)
{
    session->select({4});
    key(Qt::Key_L);
    ASSERT_TRUE(canvas->isWireHeld());
    key(Qt::Key_Right);
    key(Qt::Key_Left);
    key(Qt::Key_Return);
    EXPECT_FALSE(canvas->isWireHeld());
    EXPECT_EQ(source(5, 0), "4.0");
    session->select({4});
    key(Qt::Key_L);
    key(Qt::Key_Escape);
    EXPECT_FALSE(canvas->isWireHeld());

    key(Qt::Key_F2);
    QTest::keyClicks(nameBox(), "Body");
    QTest::keyClick(nameBox(), Qt::Key_Return);
    EXPECT_EQ(canvas->node(4)->info().title, "Body");
    EXPECT_EQ(canvas->node(4)->info().summary, "min");
    session->select({5});
    key(Qt::Key_O);
    EXPECT_EQ(session->document().output()->node, 5);
    EXPECT_TRUE(canvas->node(5)->info().hasOutputFlag);
    EXPECT_FALSE(canvas->node(4)->info().hasOutputFlag);
    std::optional<PinAddress> viewed;
    canvas->onViewWanted([&](PinAddress pin) { viewed = pin; });
    key(Qt::Key_P);
    ASSERT_TRUE(viewed);
    EXPECT_EQ(viewed->node, 5);
}

TEST_F(CanvasTest, ZoomKeepsThePlaceUnderThePointerAndPansByWholePixels)
{
    const QPoint at = canvas->pinPoint(out(4, 0));
    for (const int by : {240, -120, -360, 480}) {
        QWheelEvent wheel(at, pane()->mapToGlobal(at), {}, QPoint(0, by), Qt::NoButton, {}, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(pane(), &wheel);
        EXPECT_LE((canvas->pinPoint(out(4, 0)) - at).manhattanLength(), 2);
    }
    canvas->setZoom(1);
    canvas->fitAll(false);
    for (const std::uint16_t id : {1, 2, 3, 4, 5, 6}) {
        EXPECT_TRUE(pane()->rect().contains(canvas->nodeRect(id))) << id;
    }
    const QPoint before = canvas->pinPoint(out(4, 0));
    QTest::mousePress(pane(), Qt::MiddleButton, {}, QPoint(300, 300));
    move(QPoint(337, 321));
    QTest::mouseRelease(pane(), Qt::MiddleButton, {}, QPoint(337, 321));
    EXPECT_EQ(canvas->pinPoint(out(4, 0)) - before, QPoint(37, 21));
    QTest::keyPress(canvas.get(), Qt::Key_Space);
    drag({300, 300}, {263, 279});
    QTest::keyRelease(canvas.get(), Qt::Key_Space);
    EXPECT_EQ(canvas->pinPoint(out(4, 0)), before);
    EXPECT_EQ(steps(), 0u);
    canvas->setZoom(100);
    EXPECT_EQ(canvas->zoom(), size::kMostZoom);
    canvas->setZoom(0);
    EXPECT_EQ(canvas->zoom(), size::kLeastZoom);
}

/// Whether no two nodes cover each other and every wire leads to the right.
void expectLaidOut(Canvas& canvas, const ZRKGraph& graph)
{
    for (const auto& a : graph.nodes()) {
        for (const auto& b : graph.nodes()) {
            if (a->id < b->id) {
                EXPECT_FALSE(canvas.node(a->id)->frame().intersects(canvas.node(b->id)->frame()))
                    << a->id << " " << b->id;
            }
        }
        for (const auto& input : a->inputs) {
            for (const Pin_handle from : input.connections) {
                EXPECT_GE(canvas.node(a->id)->frame().left() - canvas.node(from.node())->frame().right(), 32);
            }
        }
    }
}

TEST_F(CanvasTest, NodesWithoutPlacesAreLaidOutAndKeepTheirPlaces)
{
    ZRKJson document = ZRKJson::parse(kGraph);
    for (ZRKJson& entry : document["nodes"]) {
        entry.erase("position");
    }
    open(document.dump(), true);
    expectLaidOut(*canvas, graph());
    EXPECT_EQ(steps(), 0u) << "to look at a document doesn't change it";
    const std::string former = text();
    std::vector<std::string> places;
    for (const std::uint16_t id : {1, 2, 3, 4, 6}) {
        places.push_back(place(id));
    }
    drag(header(5), header(5) + QPoint(60, 40));
    EXPECT_EQ(steps(), 1u);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(place(std::vector<std::uint16_t>{1, 2, 3, 4, 6}[i]), places[i]);
    }
    const std::string kept = text();
    EXPECT_THAT(kept, HasSubstr("position"));
    ASSERT_TRUE(session->undo());
    EXPECT_EQ(text(), former);
    EXPECT_EQ(place(1), places[0]);

    // Places that cover each other are spread once, but not those that were chosen here.
    for (ZRKJson& entry : document["nodes"]) {
        entry["position"] = {entry["id"].get<int>() * 100, 0};
    }
    open(document.dump(), true);
    expectLaidOut(*canvas, graph());
    document["view"] = {{"arranged", true}};
    open(document.dump(), true);
    EXPECT_EQ(place(3), "300 0");
    trigger("layout");
    expectLaidOut(*canvas, graph());
    EXPECT_EQ(steps(), 1u);
}

TEST_F(CanvasTest, AlignsAndDistributes)
{
    session->select({2, 3, 4});
    trigger("align-left");
    EXPECT_EQ(place(2), "256 256");
    EXPECT_EQ(place(4), "256 128");
    trigger("distribute");
    EXPECT_EQ(place(3), "256 0");
    const QRectF a = canvas->node(3)->frame();
    const QRectF b = canvas->node(4)->frame();
    const QRectF c = canvas->node(2)->frame();
    EXPECT_NEAR(b.top() - a.bottom(), c.top() - b.bottom(), 1.5);
    trigger("align-top");
    EXPECT_EQ(place(2), "256 0");
    EXPECT_EQ(steps(), 3u);
}

TEST_F(CanvasTest, TellsOfStatesPinsAndWires)
{
    canvas->setZoom(1);
    canvas->revealNode(4);
    using Kind = NodeBadge::Kind;
    canvas->setBadge(4, {Kind::warning, -1, "a level set, not a distance", "use an iso value of 0"});
    const auto tip = [&](const QPoint& at) {
        QHelpEvent event(QEvent::ToolTip, at, pane()->mapToGlobal(at));
        QApplication::sendEvent(pane(), &event);
        return QToolTip::text().toStdString();
    };
    const QRect node = canvas->nodeRect(4);
    EXPECT_EQ(tip(node.topRight() + QPoint(-15, 14)), "a level set, not a distance\nuse an iso value of 0");
    EXPECT_THAT(tip(header(4)), HasSubstr("Combines two fields"));
    EXPECT_THAT(tip(canvas->pinPoint(out(4, 0))), HasSubstr("scalar"));
    canvas->setBadge(4, {Kind::computing, 0.5});
    EXPECT_EQ(canvas->node(4)->badge().kind, Kind::warning) << "work that is done at once doesn't flicker";
    ASSERT_TRUE(QTest::qWaitFor([&] { return canvas->node(4)->badge().kind == Kind::computing; }, 2000));
    canvas->setBadge(4, {});
    EXPECT_EQ(canvas->node(4)->badge().kind, Kind::computing) << "nor does it go at once";
    ASSERT_TRUE(QTest::qWaitFor([&] { return canvas->node(4)->badge().kind == Kind::none; }, 2000));
    EXPECT_THAT(tip(node.topRight() + QPoint(-15, 14)), HasSubstr("Combines two fields"));

    std::vector<std::string> hovered;
    canvas->onWireHovered([&](std::optional<PinAddress> pin) {
        hovered.push_back(pin ? std::to_string(pin->node) : "none");
        if (pin) {
            canvas->showWireInfo({{"weight", "1"}});
        }
    });
    QTest::mouseMove(pane(), *canvas->wirePoint(in(4, 1)));
    QTest::qWait(100);
    EXPECT_THAT(hovered, IsEmpty()) << "not at once";
    ASSERT_TRUE(QTest::qWaitFor([&] { return !hovered.empty(); }, 2000));
    EXPECT_THAT(hovered, ElementsAre("2"));
    ASSERT_EQ(canvas->shownWireInfo().size(), 1u);
    EXPECT_EQ(canvas->shownWireInfo()[0].second, "1");
    QTest::mouseMove(pane(), canvas->nodeRect(4).bottomRight() + QPoint(40, 60));
    EXPECT_THAT(hovered, ElementsAre("2", "none"));
    EXPECT_THAT(canvas->shownWireInfo(), IsEmpty());
}

TEST_F(CanvasTest, AsksForThumbnailsOfWhatIsSeen)
{
    open(kGraph, true);
    std::vector<Ids> asked;
    QSize size;
    canvas->onThumbnailsWanted([&](const Ids& nodes, QSize pixels) {
        asked.push_back(nodes);
        size = pixels;
    });
    ASSERT_TRUE(QTest::qWaitFor([&] { return !asked.empty(); }, 2000));
    EXPECT_THAT(asked.back(), ElementsAre(1, 2, 3, 4, 5, 6));
    EXPECT_NEAR(size.width(), canvas->nodeRect(4).width(), 20);
    EXPECT_NEAR(size.height() / static_cast<double>(size.width()), 0.6, 0.02);
    canvas->setZoom(1);
    canvas->revealNode(5);
    canvas->setZoom(4);
    ASSERT_TRUE(QTest::qWaitFor([&] { return asked.back().size() < 6; }, 2000));
    canvas->setThumbnailsShown(false);
    ASSERT_TRUE(QTest::qWaitFor([&] { return asked.back().empty(); }, 2000));
    EXPECT_EQ(canvas->node(3)->size().height(), 40 + 24);
    canvas->setThumbnailsShown(true);
    session->select({3});
    trigger("thumbnail");
    EXPECT_EQ(canvas->node(3)->size().height(), 40 + 24);
    EXPECT_GT(canvas->node(2)->size().height(), 40 + 24);
    ASSERT_TRUE(session->undo());
    EXPECT_GT(canvas->node(3)->size().height(), 40 + 24);
}

// What is drawn

QColor colorAt(Canvas& canvas, const QPoint& at)
{
    return canvas.viewport()->grab().toImage().pixelColor(at);
}

/// The sum of the differences of two colours' parts, of 255 each.
int distance(const QColor& a, const QColor& b)
{
    return std::abs(a.red() - b.red()) + std::abs(a.green() - b.green()) + std::abs(a.blue() - b.blue());
}

TEST_F(CanvasTest, PinsHaveTheShapeAndColourOfTheirTag)
{
    canvas->setZoom(1);
    canvas->revealNode(4);
    const Style& style = Style::current();
    const auto at = [&](Pin_handle pin, int dx = 0, int dy = 0) {
        return colorAt(*canvas, canvas->pinPoint(pin) + QPoint(dx, dy));
    };
    EXPECT_EQ(at(out(3, 0)), style.color(Role::tagScalar));
    EXPECT_EQ(at(out(1, 0)), style.color(Role::tagVector));
    EXPECT_NE(at(out(1, 0), px(5), -px(5)), style.color(Role::tagVector)) << "a diamond";
    EXPECT_EQ(at(in(4, 0)), style.color(Role::tagScalar)) << "a wildcard with the tag of its link";
    ASSERT_TRUE(session->unlink(in(4, 0)));
    ASSERT_TRUE(session->unlink(in(4, 1)));
    EXPECT_EQ(at(in(4, 0)), style.color(Role::node)) << "hollow without one";

    // While a wire is held, pins that fit have a ring in its colour and the others fade.
    drag(canvas->pinPoint(out(3, 0)), canvas->pinPoint(out(3, 0)) + QPoint(40, 60), {}, false);
    const auto toRing = [&](Pin_handle pin) { // where its pixels fall goes with the font
        int nearest = 3 * 255;
        for (const int dx : {px(8.5) - 1, px(8.5), px(8.5) + 1}) {
            nearest = std::min(nearest, distance(at(pin, dx, 0), style.color(Role::tagScalar)));
        }
        return nearest;
    };
    EXPECT_LT(toRing(in(4, 0)), 60) << "but for smooth edges";
    EXPECT_GT(toRing(out(4, 0)), 200) << "no ring";
    EXPECT_LT(canvas->node(6)->opacity(), 0.5) << "nothing fits there";
    EXPECT_EQ(canvas->node(4)->opacity(), 1);
    key(Qt::Key_Escape);
    QTest::mouseRelease(pane(), Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_EQ(canvas->node(6)->opacity(), 1);
}

// A panel that opens with the document takes a part of the canvas.
TEST_F(CanvasTest, ShowsAllOfADocumentUntilOneLooksElsewhere)
{
    const auto showsAll = [&] {
        QCoreApplication::processEvents();
        for (const std::uint16_t node : {1, 2, 3, 4, 5, 6}) {
            if (!pane()->rect().contains(canvas->nodeRect(node))) {
                return false;
            }
        }
        return true;
    };
    for (const int width : {1100, 700, 500, 900}) {
        canvas->resize(width, 700);
        EXPECT_TRUE(showsAll()) << width;
    }
    const double fitted = canvas->zoom();
    canvas->resize(500, 700);
    EXPECT_LT(canvas->zoom(), fitted);

    const double zoom = canvas->zoom();
    click({2, 2}); // what lies under the pointer stays there
    canvas->resize(900, 700);
    QCoreApplication::processEvents();
    EXPECT_EQ(canvas->zoom(), zoom);

    open();
    canvas->setZoom(0.5);
    canvas->resize(500, 700);
    QCoreApplication::processEvents();
    EXPECT_EQ(canvas->zoom(), 0.5);
}

// What is edited while the nodes of a large document are made must be shown too.
TEST_F(CanvasTest, ALargeDocumentComesInTurns)
{
    ZRKJson document{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}, {"links", ZRKJson::array()}};
    for (int i = 0; i < 1500; ++i) {
        const double x = 512 * (i / 30);
        const double y = 100 * (i % 30);
        document["nodes"].push_back({{"id", 2 * i}, {"type", "SphereSDF"}, {"position", {x, y}}});
        document["nodes"].push_back({{"id", 2 * i + 1}, {"type", "Shell"}, {"position", {x + 256, y}}});
        document["links"].push_back({{"from", {2 * i, 0}}, {"to", {2 * i + 1, 0}}});
    }
    for (const int turns : {0, 1, 3, 5}) { // while nodes, places and wires are made
        SCOPED_TRACE(turns);
        open(document.dump());
        canvas->setSession(nullptr);
        canvas->setSession(session.get());
        for (int i = 0; i < turns; ++i) {
            QCoreApplication::processEvents();
        }
        EXPECT_TRUE(!canvas->isWhole() || turns > 1) << "what comes last may be there on a fast machine";
        ASSERT_TRUE(session->removeNodes({1, 898}));
        const bool wasWhole = canvas->isWhole();
        canvas->setBadge(3, {NodeBadge::Kind::warning, -1, "", ""});
        canvas->setBadge(1, {NodeBadge::Kind::warning, -1, "", ""});
        EXPECT_EQ(canvas->isWhole(), wasWhole) << "a badge waits for nothing";
        const auto added = session->addNode({"Shell"});
        ASSERT_TRUE(added);
        ASSERT_TRUE(session->link(out(0, 0), in(*added, 0)));
        ASSERT_TRUE(QTest::qWaitFor([&] { return canvas->isWhole(); }, 5000));
        QCoreApplication::processEvents();
        EXPECT_EQ(canvas->node(1), nullptr);
        EXPECT_EQ(canvas->node(898), nullptr);
        ASSERT_NE(canvas->node(899), nullptr);
        EXPECT_FALSE(canvas->wirePoint(in(899, 0)));
        EXPECT_TRUE(canvas->wirePoint(in(897, 0)));
        EXPECT_TRUE(canvas->wirePoint(in(*added, 0)));
        EXPECT_FALSE(canvas->node(899)->info().inputs[0].isLinked);
        EXPECT_EQ(canvas->node(3)->badge().kind, NodeBadge::Kind::warning);
    }
}

/// What of a widget was drawn.
class PaintedRegion : public QObject {
public:
    QRegion region;

    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint) {
            region += static_cast<QPaintEvent*>(event)->region();
        }
        return false;
    }
};

// Wires that are drawn in a hurry while the zoom moves must be smooth again once it rests.
TEST_F(CanvasTest, WiresOfALargeDocumentArePlainWhileTheZoomMoves)
{
    ZRKJson document{{"zrkGraph", 1}, {"nodes", ZRKJson::array()}, {"links", ZRKJson::array()}};
    for (int i = 0; i < 300; ++i) {
        const double y = 160 * i;
        document["nodes"].push_back({{"id", 2 * i}, {"type", "SphereSDF"}, {"position", {0, y}}});
        document["nodes"].push_back({{"id", 2 * i + 1}, {"type", "Shell"}, {"position", {512, y + 64}}});
        document["links"].push_back({{"from", {2 * i, 0}}, {"to", {2 * i + 1, 0}}});
    }
    open(document.dump());
    ASSERT_TRUE(QTest::qWaitFor([&] { return canvas->isSettled(); }, 5000));
    const auto coloursBesideAWire = [&] {
        const QRect part(*canvas->wirePoint(in(301, 0)) - QPoint(20, 20), QSize(40, 40));
        const QImage image = pane()->grab(part).toImage();
        std::set<QRgb> colours;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x) {
                colours.insert(image.pixel(x, y));
            }
        }
        return colours.size();
    };
    canvas->setZoom(0.5);
    canvas->revealNode(301);
    EXPECT_FALSE(canvas->isSettled());
    const std::size_t plain = coloursBesideAWire();
    QCoreApplication::processEvents(); // what the zoom itself draws
    PaintedRegion painted;
    pane()->installEventFilter(&painted);
    ASSERT_TRUE(QTest::qWaitFor([&] { return canvas->isSettled(); }, 5000));
    QCoreApplication::processEvents();
    EXPECT_TRUE(QRegion(pane()->rect()).subtracted(painted.region).isEmpty()) << "all is drawn again";
    EXPECT_GT(coloursBesideAWire(), plain + 5);
}

TEST_F(CanvasTest, NodesShowLessTheSmallerTheyAre)
{
    const Style& style = Style::current();
    const auto inkOfNode = [&] {
        const QImage image = pane()->grab().toImage();
        int ink = 0;
        const QRect rect = canvas->nodeRect(4);
        for (int y = rect.top(); y < rect.bottom(); ++y) {
            for (int x = rect.left(); x < rect.right(); ++x) {
                ink += qGray(image.pixel(x, y)) < 120 ? 1 : 0;
            }
        }
        return static_cast<double>(ink) / (rect.width() * rect.height());
    };
    canvas->setZoom(1);
    canvas->revealNode(4);
    session->select({});
    const double full = inkOfNode();
    EXPECT_GT(full, 0.01) << "names can be read";
    canvas->setZoom(0.5);
    EXPECT_EQ(colorAt(*canvas, canvas->nodeRect(4).center() + QPoint(0, 12)), style.color(Role::node))
        << "no names between the pins";
    canvas->setZoom(0.3);
    EXPECT_EQ(colorAt(*canvas, canvas->nodeRect(4).topLeft() + QPoint(6, 4)),
              style.header(Role::familyOperators));
    canvas->setZoom(0.15);
    EXPECT_EQ(colorAt(*canvas, canvas->nodeRect(4).center()),
              Style::mixed(style.color(Role::canvas), style.color(Role::familyOperators), 0.5));
}

} // namespace
} // namespace zrkworkbench
