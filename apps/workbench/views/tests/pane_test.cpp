#include "apps/workbench/views/slice_canvas.h"
#include "apps/workbench/views/slice_view.h"
#include "apps/workbench/views/solid_view.h"
#include "apps/workbench/views/tests/views_fixture.h"
#include "apps/workbench/views/view_pane.h"
#include "components/primitives/sphere_sdf.h"
#include "inspectors/number_field.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QMouseEvent>
#include <QSlider>
#include <QWheelEvent>

#include <cmath>
#include <vector>

namespace zrkworkbench {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

class PaneTest : public ViewsTest {
protected:
    std::unique_ptr<ViewPane> pane;
    std::vector<Readout> readouts;
    std::vector<ViewTiming> timings;
    std::vector<FieldNote> notes;

    void SetUp() override
    {
        ViewsTest::SetUp();
        pane = std::make_unique<ViewPane>();
        pane->onReadout([this](const Readout& readout) { readouts.push_back(readout); });
        pane->onTimed([this](const ViewTiming& timing) { timings.push_back(timing); });
        pane->onFieldNote([this](const FieldNote& note) { notes.push_back(note); });
        pane->resize(416, 450);
        pane->QWidget::show();
    }
    void TearDown() override
    {
        pane.reset();
        ViewsTest::TearDown();
    }

    void display(const GraphDocument& document, PinAddress pin = {1, 0})
    {
        pane->show(viewSourceOf(document, pin, "Sphere").value());
        settle();
    }
    void settle() const
    {
        QCoreApplication::processEvents();
        ASSERT_TRUE(waitFor([&] { return pane->isSettled(); }));
        QCoreApplication::processEvents();
    }
    SliceCanvas& canvas() { return pane->slice().canvas(); }
    QImage picture() { return pane->grab().toImage(); }
    /// Moves the pointer to a place of the canvas, and waits for what stands there.
    void pointAt(QPoint place)
    {
        settle();
        readouts.clear();
        mouse(canvas(), QEvent::MouseMove, place);
        ASSERT_TRUE(waitFor([&] { return !readouts.empty() && readouts.back().isKnown; }));
    }
    static void mouse(QWidget& widget, QEvent::Type type, QPoint place, Qt::MouseButton button = Qt::NoButton)
    {
        const bool isHeld = button != Qt::NoButton && type != QEvent::MouseButtonRelease;
        QMouseEvent event(type, QPointF(place), QPointF(widget.mapToGlobal(place)),
                          type == QEvent::MouseMove ? Qt::NoButton : button,
                          isHeld ? Qt::MouseButtons(button) : Qt::MouseButtons(), Qt::NoModifier);
        QCoreApplication::sendEvent(&widget, &event);
    }
    static void drag(QWidget& widget, QPoint from, QPoint to)
    {
        mouse(widget, QEvent::MouseButtonPress, from, Qt::LeftButton);
        mouse(widget, QEvent::MouseMove, to, Qt::LeftButton);
        mouse(widget, QEvent::MouseButtonRelease, to, Qt::LeftButton);
    }
    void wheel(QWidget& widget, QPointF at, int turns, Qt::KeyboardModifiers keys = Qt::NoModifier)
    {
        QWheelEvent event(at, widget.mapToGlobal(at.toPoint()), QPoint(), QPoint(0, 120 * turns),
                          Qt::NoButton, keys, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(&widget, &event);
        settle();
    }
};

TEST_F(PaneTest, ShowsWhatIsUnderThePointer)
{
    const GraphDocument document = parsed(sphereText());
    display(document);
    const QRectF window = canvas().window();
    const QPoint place(60, 100);
    pointAt(place);
    const Readout readout = readouts.back();
    const auto& p = readout.position;
    EXPECT_EQ(p[2], 0);
    EXPECT_LT(p[0], 0) << "left of the middle";
    EXPECT_GT(p[1], 0) << "above the middle";
    EXPECT_TRUE(window.contains(p[0], p[1]));
    EXPECT_NEAR(readout.values.at(0), std::hypot(p[0], p[1]) - 0.5, 1e-12);
    EXPECT_NEAR(readout.slope.value(), 1, 1e-6);
    EXPECT_EQ(pane->probe()[0], p[0]);

    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(&canvas(), &leave);
    ASSERT_TRUE(waitFor([&] { return !readouts.back().isKnown; }));
    EXPECT_EQ(pane->probe()[0], p[0]) << "wires are probed where the pointer was";
}

TEST_F(PaneTest, FollowsKeysSliderAndFields)
{
    const GraphDocument document = parsed(sphereText());
    display(document);
    struct Case {
        Qt::Key key;
        Qt::KeyboardModifier modifier;
        int axis;
        double at;
    };
    for (const Case& c :
         {Case{Qt::Key_X, Qt::NoModifier, 0, 0.5}, Case{Qt::Key_Y, Qt::NoModifier, 1, 0.5},
          Case{Qt::Key_Right, Qt::NoModifier, 1, 0.51}, Case{Qt::Key_Down, Qt::ControlModifier, 1, 0.41},
          Case{Qt::Key_Left, Qt::ShiftModifier, 1, 0.409}}) {
        QTest::keyClick(pane.get(), c.key, c.modifier);
        EXPECT_EQ(pane->axis(), c.axis) << c.key;
        EXPECT_NEAR(pane->slice().at(), c.at, 1e-9) << c.key;
    }
    auto* place = widgetNamed<zrkui::NumberField>(*pane, "coordinate of the slice");
    ASSERT_TRUE(place);
    EXPECT_NEAR(place->exact(), -1 + 2 * 0.409, 1e-9);
    auto* slider = widgetNamed<QSlider>(*pane, "place of the slice");
    slider->setValue(750);
    EXPECT_NEAR(place->exact(), 0.5, 1e-9);
    EXPECT_EQ(pane->slice().coordinate(), 0.5);
    // At y = 0.5 the slice touches the sphere: nothing of it is inside.
    settle();
    pointAt({canvas().width() / 2 - 28, canvas().height() / 2});
    EXPECT_GE(readouts.at(0).values.at(0), 0);

    QTest::keyClick(pane.get(), Qt::Key_2);
    EXPECT_EQ(pane->tab(), ViewPane::Tab::Solid);
    settle();
    EXPECT_TRUE(timings.back().isSolid);
    QTest::keyClick(pane.get(), Qt::Key_1);
    EXPECT_EQ(pane->tab(), ViewPane::Tab::Slice);
}

TEST_F(PaneTest, ZoomsAboutThePointerAndComesHome)
{
    const GraphDocument document = parsed(sphereText());
    display(document);
    const QRectF whole = canvas().window();
    const QPoint place(90, 80);
    pointAt(place);
    const auto before = readouts.back().position;
    wheel(canvas(), place, 4);
    EXPECT_LT(canvas().window().width(), 0.6 * whole.width());
    pointAt(place);
    EXPECT_NEAR(readouts.back().position[0], before[0], 1e-9) << "what is under the pointer stays there";
    EXPECT_NEAR(readouts.back().position[1], before[1], 1e-9);

    const QRectF zoomed = canvas().window();
    drag(canvas(), {100, 100}, {130, 80});
    EXPECT_LT(canvas().window().left(), zoomed.left()) << "the picture follows the mouse";
    EXPECT_LT(canvas().window().top(), zoomed.top());
    settle();
    QTest::keyClick(pane.get(), Qt::Key_X);
    EXPECT_EQ(canvas().window(), whole) << "of another axis all is shown first";
    QTest::keyClick(pane.get(), Qt::Key_Z);
    wheel(canvas(), place, 4);
    QTest::keyClick(pane.get(), Qt::Key_Home);
    EXPECT_EQ(canvas().window(), whole);
    for (int i = 0; i < 60; ++i) {
        QTest::keyClick(pane.get(), Qt::Key_Minus);
    }
    EXPECT_NEAR(canvas().window().width(), 8 * whole.width(), 1e-9) << "no farther than the wheel goes";
    QTest::keyClick(pane.get(), Qt::Key_Home);
    wheel(canvas(), place, 3, Qt::AltModifier);
    EXPECT_NEAR(pane->slice().at(), 0.53, 1e-9);
    EXPECT_EQ(canvas().window(), whole);
}

TEST_F(PaneTest, TakesTheDocumentsView)
{
    const std::string text = R"({"zrkGraph": 1, "view": {"axis": "x", "at": 0.25, "range": [-2, 2]},
        "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]], "unit": "mm"},
        "nodes": [{"id": 1, "type": "SphereSDF", "values": {"radius": 0.5}}], "output": [1, 0]})";
    const GraphDocument document = parsed(text);
    display(document);
    EXPECT_EQ(pane->axis(), 0);
    EXPECT_EQ(pane->slice().at(), 0.25);
    EXPECT_EQ(pane->slice().request().style.range->high, 2);
    // An edit elsewhere leaves alone what the user has chosen since.
    QTest::keyClick(pane.get(), Qt::Key_Z);
    std::dynamic_pointer_cast<ZRKSphereSDF>(document.graph()->getNodePtr(1)->object)->radius.set(0.4);
    display(document);
    EXPECT_EQ(pane->axis(), 2);
}

TEST_F(PaneTest, EditsAreShown)
{
    const GraphDocument document = parsed(sphereText());
    display(document);
    const QImage before = picture();
    std::dynamic_pointer_cast<ZRKSphereSDF>(document.graph()->getNodePtr(1)->object)->radius.set(0.9);
    EXPECT_EQ(picture(), before);
    pane->show(viewSourceOf(document, {1, 0}, "Sphere").value());
    EXPECT_FALSE(pane->isSettled());
    settle();
    EXPECT_NE(picture(), before);
    EXPECT_TRUE(timings.back().isDone);
    EXPECT_EQ(timings.back().pixels, timings.back().wanted);
    EXPECT_GT(timings.back().firstMilliseconds, 0);
}

TEST_F(PaneTest, TheIsoLineCanBeMovedAndTakenAway)
{
    display(parsed(sphereText()));
    auto* level = widgetNamed<zrkui::NumberField>(*pane, "iso value");
    auto* line = widgetNamed<QCheckBox>(*pane, "line at the iso value");
    ASSERT_TRUE(level && line);
    EXPECT_EQ(pane->slice().request().style.contour, 0.0);
    level->setFocus();
    level->selectAll();
    QTest::keyClicks(level, "0.25");
    QTest::keyClick(level, Qt::Key_Return);
    EXPECT_EQ(pane->slice().request().style.contour, 0.25);
    settle();
    line->click();
    EXPECT_EQ(pane->slice().request().style.contour, std::nullopt);
    EXPECT_FALSE(level->isEnabled());
}

TEST_F(PaneTest, NotesADistanceThatIsntOne)
{
    const auto shadeButton = [&] {
        for (auto* button : pane->findChildren<QAbstractButton*>()) {
            if (button->accessibleName().endsWith(", shade")) {
                return button;
            }
        }
        return static_cast<QAbstractButton*>(nullptr);
    };
    display(parsed(sphereText()));
    ASSERT_EQ(notes.size(), 1u);
    EXPECT_FALSE(notes.back().isRemarkable());
    EXPECT_FALSE(shadeButton() && shadeButton()->isVisible());

    // A twist bends distances: far from its axis their gradient is long.
    const GraphDocument twisted =
        parsed(R"({"zrkGraph": 1, "context": {"modelBounds": [[-1, -1, -1], [1, 1, 1]]},
        "nodes": [{"id": 2, "type": "TwistTransform", "values": {"angle": 720.0}},
                  {"id": 1, "type": "BoxSDF"}],
        "links": [{"from": [2, 0], "to": [1, 0]}], "output": [1, 0]})");
    display(twisted);
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_TRUE(notes.back().isRemarkable());
    EXPECT_THAT(notes.back().text().toStdString(), HasSubstr("not a distance"));
    auto* shade = shadeButton();
    ASSERT_TRUE(shade && shade->isVisible());
    EXPECT_THAT(shade->text().toStdString(), HasSubstr("is not 1 in"));
    const QImage before = picture();
    shade->click();
    settle();
    EXPECT_NE(picture(), before);
}

TEST_F(PaneTest, TurnsTheSolid)
{
    const GraphDocument document = example("blended_sphere_and_box");
    pane->setTab(ViewPane::Tab::Solid);
    display(document, *document.output());
    auto* solid = widgetNamed<QWidget>(*pane, "solid");
    ASSERT_TRUE(solid);
    const auto picture = [&] { return solid->grab().toImage(); };
    const QImage home = picture();
    const SolidEye first = pane->solid().eye();
    drag(*solid, {100, 100}, {160, 90});
    EXPECT_FALSE(pane->isSettled());
    settle();
    const SolidEye eye = pane->solid().eye();
    EXPECT_GT(first.from[1] * eye.from[0] - first.from[0] * eye.from[1], 0.1)
        << "what was in front follows the mouse to the right";
    EXPECT_LT(eye.from[2], first.from[2]);
    wheel(*solid, {100, 100}, 2);
    EXPECT_GT(pane->solid().eye().zoom, 1.1);
    const QImage turned = picture();
    EXPECT_NE(turned, home);
    QTest::keyClick(pane.get(), Qt::Key_Home);
    settle();
    EXPECT_EQ(picture(), home);
    widgetNamed<QCheckBox>(*pane, "cut by the slice")->click();
    settle();
    const QImage cut = picture();
    EXPECT_NE(cut, home);
    QTest::keyClick(pane.get(), Qt::Key_X); // the slice's plane cuts
    settle();
    EXPECT_NE(picture(), cut);
}

TEST_F(PaneTest, SaysWhyThereIsNothing)
{
    const GraphDocument document = example("directions");
    pane->setTab(ViewPane::Tab::Solid);
    display(document, *document.output());
    EXPECT_TRUE(pane->isSettled());
    const QImage none = picture();
    pane->setTab(ViewPane::Tab::Slice);
    settle();
    EXPECT_NE(picture(), none);
    pane->say("nothing is selected");
    EXPECT_TRUE(pane->isSettled());
    QTest::keyClick(pane.get(), Qt::Key_X); // nothing to move, nothing to crash
}

TEST_F(PaneTest, NothingIsComputedWhileItIsHidden)
{
    const GraphDocument document = parsed(sphereText());
    pane->hide();
    pane->show(viewSourceOf(document, {1, 0}, "Sphere").value());
    QTest::qWait(100);
    EXPECT_TRUE(timings.empty());
    pane->QWidget::show();
    settle();
    EXPECT_FALSE(timings.empty());
}

TEST_F(PaneTest, EverythingCanBeReachedAndIsNamed)
{
    const GraphDocument document = parsed(sphereText());
    display(document);
    for (const auto* widget : pane->findChildren<QWidget*>()) {
        const bool isOwn = !qobject_cast<QAbstractSpinBox*>(widget->parentWidget());
        if (isOwn && widget->isVisible() && widget->focusPolicy() & Qt::TabFocus) {
            EXPECT_FALSE(widget->accessibleName().isEmpty()) << widget->metaObject()->className();
            EXPECT_FALSE(widget->toolTip().isEmpty()) << widget->accessibleName().toStdString();
        }
    }
}

// The window's thread paints and answers; it must not wait for a picture, even of the dearest field.
TEST_F(PaneTest, ClosesDuringALongEvaluation)
{
    const GraphDocument document = parsed(slowText());
    pane->resize(900, 900);
    pane->show(viewSourceOf(document, {2, 0}, "slow").value());
    QTest::qWait(100);
    EXPECT_FALSE(pane->isSettled());
    QElapsedTimer clock;
    clock.start();
    pane.reset();
    EXPECT_LT(clock.elapsed(), 400); // 200 ms where nothing else runs
}

} // namespace
} // namespace zrkworkbench
