#include "components/operators/binary_operator.h"
#include "components/operators/fall_off.h"
#include "components/operators/mask.h"
#include "components/patterns/cross.h"
#include "components/patterns/gyroid.h"
#include "components/primitives/box_sdf.h"
#include "components/primitives/cylinder_sdf.h"
#include "components/raster/raster_fx.h"
#include "components/transforms/affine_transform.h"
#include "components/transforms/matrix_transform.h"
#include "core/curves/point_interpolator.h"
#include "inspectors/css_style.h"
#include "inspectors/describe.h"
#include "inspectors/fall_off_editor.h"
#include "inspectors/field.h"
#include "inspectors/number_text.h"
#include "inspectors/tests/opened_panel.h"
#include "inspectors/vector_widget.h"
#include "testing/special_values.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace zrkui {
namespace {

using namespace zrkmodel;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using zrk::testing::kInfinity;
using zrk::testing::kNaN;

TEST(NumberText, IsReadAndWritten)
{
    struct Case {
        const char* text;
        std::optional<double> value;
    };
    const Case readable[] = {
        {"1.5", 1.5},
        {" 2 * 3 ", 6},
        {"1/4", 0.25},
        {"2*pi", 6.283185307179586},
        {"-2^2", -4},
        {"2^3^2", 512},
        {"(1+2)*3", 9},
        {"1e3", 1000},
        {"1e-3", 0.001},
        {"\u22125", -5},
        {".5", 0.5},
        {"10-2-3", 5},
        {"", std::nullopt},
        {"abc", std::nullopt},
        {"1/0", std::nullopt},
        {"1..2", std::nullopt},
        {"(1", std::nullopt},
        {"nan", std::nullopt},
        {"1,5", std::nullopt},
        {"3 mm", std::nullopt},
        {"sqrt(2)/2", std::sqrt(2) / 2},
        {"-sqrt(2*8)^2", -16},
        {"2 \u00D7 \u03C0", 6.283185307179586},
        {"\u221A9*4", 12},
        {"2*\u221A(1+3)", 4},
        {"-\u221A16", -4},
        {"1\u00F74", 0.25},
        {"3\u00B72", 6},
        {"2**3**2", 512},
        {"sqrt(-1)", std::nullopt},
        {"sqrt", std::nullopt},
        {"\u221A", std::nullopt},
        {"sin(1)", std::nullopt},
        {"1/4in", std::nullopt},
    };
    for (const Case& c : readable) {
        EXPECT_EQ(numberFromText(QString::fromUtf8(c.text)), c.value) << c.text;
    }
    EXPECT_FALSE(numberFromText(QString(100000, '('))) << "no end of the stack";
    EXPECT_FALSE(numberFromText(QString(100000, QChar(0x221A))));
    const std::pair<double, const char*> written[] = {
        {0.1, "0.1"},    {1, "1"},      {-2.5, "\u22122.5"},       {0.00001, "1e-05"},
        {1e12, "1e+12"}, {kNaN, "nan"}, {-kInfinity, "\u2212inf"}, {0.123456, "0.1235"},
        {100, "100"},    {0, "0"},
    };
    for (const auto& [value, text] : written) {
        EXPECT_EQ(textOfNumber(value, 4), QString::fromUtf8(text)) << value;
    }
}

// Each kind of control writes its property once, with notification, and what it writes is what it shows.
TEST(Controls, WriteTheirProperty)
{
    OpenedPanel<ZRKBoxSDF> box;
    type(*box.find<QDoubleSpinBoxWrapper>(6), "1/3"); // behind the two vectors' six
    EXPECT_EQ(box.component->radius.value(), 1.0 / 3) << "with all digits";
    EXPECT_THAT(box.events, ElementsAre("radius"));
    box.find<QCheckBoxWrapper>()->click();
    EXPECT_TRUE(box.component->wireframe.value());
    type(box.find<VectorWidget<3>>(1)->field(2), "7");
    EXPECT_EQ(box.component->dimensions.value(), (zrk::Tensor<3, double>{1, 1, 7}));
    EXPECT_THAT(box.events, ElementsAre("radius", "wireframe", "dimensions"));

    OpenedPanel<ZRKCylinderSDF> cylinder;
    auto* caps = cylinder.find<QComboBoxWrapper>();
    caps->setFocus();
    QTest::keyClick(caps, Qt::Key_Up);
    EXPECT_EQ(static_cast<int>(cylinder.component->capStyle.value()), 1);
    EXPECT_THAT(cylinder.events, ElementsAre("cap style"));
    caps->setCurrentIndex(0);
    EXPECT_EQ(static_cast<int>(cylinder.component->capStyle.value()), 0) << "by the widget's own operation";
    caps->setCurrentIndex(-1);
    EXPECT_THAT(cylinder.events, ElementsAre("cap style", "cap style")) << "no choice is none";

    OpenedPanel<ZRKMask> mask;
    auto* slider = mask.find<SliderFWrapper>();
    slider->setFocus();
    QTest::keyClick(slider, Qt::Key_Down);
    EXPECT_EQ(mask.component->multiplier.value(), 0.99);
    EXPECT_THAT(mask.events, ElementsAre("multiplier"));

    OpenedPanel<ZRKRasterFX> fx;
    type(*fx.find<QSpinBoxWrapper>(), "16");
    EXPECT_EQ(fx.component->resolution.value(), 16);
    fx.button("update")->click();
    EXPECT_THAT(fx.events, ElementsAre("resolution", "update"));

    OpenedPanel<ZRKMatrixTransform> matrix;
    type(matrix.find<VectorWidget<4>>(1)->field(3), "5");
    EXPECT_EQ(matrix.component->matrix.value()[13], 5) << "row 1, column 3";
    matrix.button("reset")->click();
    EXPECT_EQ(matrix.component->matrix.value(), zrk::kIdentity4);
    EXPECT_EQ(matrix.find<VectorWidget<4>>(1)->value(), (zrk::Tensor<4, double>{0, 1, 0, 0}));
    EXPECT_THAT(matrix.events, ElementsAre("matrix", "matrix"));

    OpenedPanel<ZRKFallOff> fallOff;
    const auto* editor = fallOff.find<FallOffEditor>();
    type(editor->end(), "2");
    EXPECT_EQ(fallOff.component->function.value().end, 2);
    type(editor->start(), "1");
    EXPECT_EQ(fallOff.component->function.value().start, 1);
    editor->curve().setFocus();
    QTest::keyClick(&editor->curve(), Qt::Key_G);
    EXPECT_EQ(fallOff.component->function.value().curve, zrk::FallOffCurve::gauss);
    EXPECT_EQ(fallOff.events, std::vector<std::string>(3, "falloff params"));

    OpenedPanel<ZRKAffineTransform> affine;
    const std::pair<int, ZRKProperty<zrk::Tensor<3, double>>*> rows[] = {{0, &affine.component->translation},
                                                                         {1, &affine.component->rotation},
                                                                         {2, &affine.component->scaling}};
    for (const auto& [row, property] : rows) {
        type(affine.find<VectorWidget<3>>(row)->field(1), "7");
        EXPECT_EQ(property->value()[1], 7) << property->name();
    }
    affine.button("reset")->click();
    EXPECT_EQ(affine.component->rotation.value(), (zrk::Tensor<3, double>{0, 0, 0}));
    EXPECT_EQ(affine.find<VectorWidget<3>>(2)->value(), (zrk::Tensor<3, double>{1, 1, 1}));
}

// A value from elsewhere shows at once, and showing it changes nothing.
TEST(Controls, FollowTheirPropertyAndDontEcho)
{
    OpenedPanel<ZRKBoxSDF> box;
    box.component->radius.set(0.25);
    box.component->wireframe.set(true);
    box.component->center.set({1, 2, 3});
    EXPECT_EQ(shownIn(*box.find<QDoubleSpinBoxWrapper>(6)), "0.25");
    EXPECT_TRUE(box.find<QCheckBoxWrapper>()->isChecked());
    EXPECT_EQ(box.find<VectorWidget<3>>()->value(), (zrk::Tensor<3, double>{1, 2, 3}));
    EXPECT_THAT(box.events, ElementsAre("radius", "wireframe", "center"));

    OpenedPanel<ZRKCylinderSDF> cylinder;
    cylinder.component->capStyle.set(static_cast<ZRKCylinderSDF::CapStyle>(7));
    EXPECT_EQ(cylinder.find<QComboBoxWrapper>()->currentIndex(), -1) << "no label for it";
    EXPECT_EQ(static_cast<int>(cylinder.component->capStyle.value()), 7) << "and it stays";
    EXPECT_THAT(cylinder.events, ElementsAre("cap style"));

    OpenedPanel<ZRKMask> mask;
    mask.component->multiplier.set(4);
    EXPECT_EQ(shownIn(*mask.find<SliderFWrapper>()), "4") << "the slider's range isn't the property's";
    EXPECT_EQ(mask.component->multiplier.value(), 4);
    EXPECT_THAT(mask.events, ElementsAre("multiplier"));

    OpenedPanel<ZRKFallOff> fallOff;
    fallOff.component->function.set({-1, 3, zrk::FallOffCurve::gauss});
    EXPECT_EQ(shownIn(fallOff.find<FallOffEditor>()->end()), "3");
    EXPECT_EQ(fallOff.find<FallOffEditor>()->curve().currentIndex(), 2);
    EXPECT_THAT(fallOff.events, ElementsAre("falloff params"));
}

TEST(Controls, KeepWhatTheyCantShowInFull)
{
    OpenedPanel<ZRKGyroid> gyroid;
    auto* field = gyroid.find<QDoubleSpinBoxWrapper>();
    for (const double value : {0.123456789, 1e300, kInfinity, kNaN, 1e-9}) {
        SCOPED_TRACE(value);
        gyroid.component->contour.set(value);
        gyroid.events.clear();
        field->setFocus();
        QTest::keyClick(field, Qt::Key_Return);
        field->clearFocus();
        type(*field, shownIn(*field)); // the same text once more
        EXPECT_TRUE(gyroid.component->contour.value() == value ||
                    (std::isnan(value) && std::isnan(gyroid.component->contour.value())));
        EXPECT_THAT(gyroid.events, IsEmpty());
    }
    gyroid.component->contour.set(kNaN);
    type(*field, "0");
    EXPECT_EQ(gyroid.component->contour.value(), 0) << "a number over NaN";
    gyroid.component->contour.set(0.123456789);
    QTest::keyClick(field, Qt::Key_Up);
    EXPECT_DOUBLE_EQ(gyroid.component->contour.value(), 0.133456789) << "a step keeps the fraction";

    OpenedPanel<ZRKBoxSDF> box;
    box.component->center.set({kNaN, 1e9, 0.123456});
    type(box.find<VectorWidget<3>>()->field(2), "5");
    const auto center = box.component->center.value();
    EXPECT_TRUE(std::isnan(center[0]) && center[1] == 1e9 && center[2] == 5)
        << "the others stay as they were";
}

/// Assigns a value to all numbers of an object; returns how many properties hold some.
std::size_t setNumbers(ZRKObject& object, double value)
{
    std::size_t count = 0;
    for (ZRKPropertyBase* property : object.properties()) {
        if (auto* number = dynamic_cast<ZRKProperty<double>*>(property)) {
            number->set(value);
        } else if (auto* vector = dynamic_cast<ZRKProperty<zrk::Tensor<3, double>>*>(property)) {
            vector->set({value, value, value});
        } else if (auto* matrix = dynamic_cast<ZRKProperty<zrk::Matrix4>*>(property)) {
            zrk::Matrix4 all;
            std::fill(std::begin(all), std::end(all), value);
            matrix->set(all);
        } else if (auto* fallOff = dynamic_cast<ZRKProperty<ZRKFallOffFunction>*>(property)) {
            fallOff->set({value, value, zrk::FallOffCurve::smooth});
        } else if (auto* curve = dynamic_cast<ZRKProperty<ScalarCurve>*>(property)) {
            curve->set(ScalarCurve::through({{0, value}, {value, 1}, {1, value}}));
        } else {
            continue;
        }
        ++count;
    }
    return count;
}

/// The stored form, with NaN and infinities as words.
std::string textOf(const ZRKObject& object)
{
    std::string text;
    for (const ZRKPropertyBase* property : object.properties()) {
        const ZRKJson value = property->valueJson().flatten();
        for (const ZRKJson& one : value.is_object() ? value : ZRKJson{{"", property->valueJson()}}) {
            text += one.is_number_float() ? std::to_string(one.get<double>()) + " " : one.dump() + " ";
        }
    }
    return text;
}

// Panels show whatever a component holds, and neither showing it nor going through the controls changes it.
TEST(Controls, OfAllPanelsLeaveOddNumbersAlone)
{
    forEachPanel([](const ZRKGraph::Node& node, ZRKPropertyView& view) {
        std::size_t events = 0;
        const nod::scoped_connection counter =
            node.object()->addListener([&events](const ZRKEvent&) { ++events; });
        for (const double value : {kNaN, kInfinity, -kInfinity, 1e300, -1e-300, 0.123456789012345}) {
            SCOPED_TRACE(value);
            events = 0;
            const std::size_t edits = setNumbers(*node.object(), value);
            const std::string before = textOf(*node.object());
            view.grab();
            for (QWidget* control : view.findChildren<QWidget*>()) {
                if (auto* field = dynamic_cast<NumberField*>(control)) {
                    field->setFocus();
                    QTest::keyClick(field, Qt::Key_Return);
                    type(*field, shownIn(*field));
                }
            }
            EXPECT_EQ(textOf(*node.object()), before);
            EXPECT_EQ(events, edits);
        }
    });
}

// The Tab key goes through all controls of a panel. One sees where it is, and each has a name.
TEST(Controls, OfAllPanelsCanBeReachedByKeyboard)
{
    forEachPanel([](const ZRKGraph::Node&, ZRKPropertyView& view) {
        view.activateWindow();
        ASSERT_TRUE(QTest::qWaitForWindowActive(&view));
        std::vector<QWidget*> reached;
        for (int i = 0; i < 64; ++i) {
            QWidget* focused = QApplication::focusWidget();
            reached.push_back(focused ? focused : &view);
            if (focused) {
                const QImage with = focused->grab().toImage();
                focused->clearFocus();
                EXPECT_NE(with, focused->grab().toImage())
                    << "no sign of the focus on a " << focused->metaObject()->className() << " \""
                    << focused->accessibleName().toStdString() << "\"";
                focused->setFocus(Qt::TabFocusReason);
            }
            QTest::keyClick(reached.back(), Qt::Key_Tab);
        }
        for (QWidget* control : view.findChildren<QWidget*>()) {
            const bool isControl = dynamic_cast<UIDescribed*>(control) && !dynamic_cast<QLabel*>(control) &&
                                   control->isVisible() && control->isEnabled();
            if (!isControl) {
                continue;
            }
            const auto isReached = std::any_of(reached.begin(), reached.end(), [control](QWidget* focused) {
                return focused == control || control->isAncestorOf(focused);
            });
            EXPECT_TRUE(isReached) << describeControl(*control).dump();
            QWidget* named = control->focusProxy() ? control->focusProxy() : control;
            EXPECT_FALSE(named->accessibleName().isEmpty() && control->accessibleName().isEmpty())
                << describeControl(*control).dump();
        }
    });
}

TEST(Controls, FollowWholeNumbersAndMatrices)
{
    OpenedPanel<ZRKRasterFX> fx;
    fx.component->resolution.set(-5);
    EXPECT_EQ(shownIn(*fx.find<QSpinBoxWrapper>()), QString::fromUtf8("\u22125"));
    fx.component->resolution.set(std::numeric_limits<int>::max());
    EXPECT_EQ(shownIn(*fx.find<QSpinBoxWrapper>()), "2147483647");
    type(*fx.find<QSpinBoxWrapper>(), "1e12");
    EXPECT_EQ(fx.component->resolution.value(), std::numeric_limits<int>::max())
        << "cut to what an int holds";
    EXPECT_EQ(fx.events.size(), 2u);

    OpenedPanel<ZRKMatrixTransform> matrix;
    zrk::Matrix4 value = zrk::kIdentity4;
    value[9] = 7; // row 1, column 2
    matrix.component->matrix.set(value);
    EXPECT_EQ(matrix.find<VectorWidget<4>>(1)->value(), (zrk::Tensor<4, double>{0, 1, 7, 0}));
    type(matrix.find<VectorWidget<4>>(3)->field(0), "9e9");
    EXPECT_EQ(matrix.component->matrix.value()[3], 5000000) << "cut to the range";
    EXPECT_THAT(matrix.events, ElementsAre("matrix", "matrix"));

    OpenedPanel<ZRKBoxSDF> box;
    type(box.find<VectorWidget<3>>()->field(0), "9e99");
    EXPECT_EQ(box.component->center.value()[0], 9e99) << "no limits";
}

TEST(Controls, OfASilentComponentShowItsReset)
{
    OpenedPanel<ZRKMatrixTransform> matrix;
    type(matrix.find<VectorWidget<4>>(1)->field(3), "5");
    OpenedPanel<ZRKAffineTransform> affine;
    type(affine.find<VectorWidget<3>>(2)->field(0), "5");
    for (ZRKObject* silent :
         {static_cast<ZRKObject*>(matrix.component.get()), static_cast<ZRKObject*>(affine.component.get())}) {
        silent->setSilent(true);
    }
    matrix.button("reset")->click();
    affine.button("reset")->click();
    EXPECT_EQ(matrix.component->matrix.value(), zrk::kIdentity4);
    EXPECT_EQ(matrix.find<VectorWidget<4>>(1)->value(), (zrk::Tensor<4, double>{0, 1, 0, 0}));
    EXPECT_EQ(affine.find<VectorWidget<3>>(2)->value(), (zrk::Tensor<3, double>{1, 1, 1}));
    EXPECT_THAT(matrix.events, ElementsAre("matrix")) << "of what was typed";
    EXPECT_THAT(affine.events, ElementsAre("scaling"));
}

TEST(Controls, TellWhatIsNoNumberAndKeepTheFormerOne)
{
    OpenedPanel<ZRKCross> cross;
    auto* smoothness = cross.find<QDoubleSpinBoxWrapper>(3);
    type(*smoothness, "0.5");
    type(*smoothness, "soft");
    EXPECT_EQ(cross.component->smoothness.value(), 0.5);
    EXPECT_EQ(shownIn(*smoothness), "0.5");
    EXPECT_EQ(UIField::of(smoothness)->message(), "\"soft\" is no number; 0.5 stays");
    type(*smoothness, "3");
    EXPECT_EQ(cross.component->smoothness.value(), 1) << "cut to the range";
    EXPECT_EQ(UIField::of(smoothness)->message(), "");

    OpenedPanel<ZRKRasterFX> fx;
    type(*fx.find<QSpinBoxWrapper>(), "2.5");
    EXPECT_EQ(fx.component->resolution.value(), 8);
    EXPECT_THAT(UIField::of(fx.find<QSpinBoxWrapper>())->message(), HasSubstr("no whole number"));
}

TEST(Controls, TellWhatIsWrongWithAnExpression)
{
    struct Case {
        const char* text;
        const char* fault;
    };
    const Case cases[] = {
        {"2*pi", ""},
        {"1/3", ""},
        {"-(2^2)e", "has \"e\" where it should end"},
        {"0.18*", "doesn't end"},
        {"1 +", "doesn't end"},
        {"2***3", "has \"*\" where a number belongs"},
        {"sqrt(2", "lacks a \")\""},
        {"1+sqrt 2", "has \"sqrt2\" where a number belongs"},
        {"2*sin(1)", "has \"sin\" where a number belongs"},
        {"1/4in", "has \"in\" where it should end"},
        {"2*radius+1", "has \"radius\" where a number belongs"},
        {"(1+2", "lacks a \")\""},
        {"1+2)", "has a \")\" too many"},
        {"1/0", "is no finite number"},
        {"", "is no number"},
        {"mm", "is no number"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(numberFault(c.text).toStdString(), c.fault) << c.text;
        EXPECT_EQ(numberFromText(c.text).has_value(), std::string(c.fault).empty()) << c.text;
    }
}

TEST(Controls, StepNumbersByKeys)
{
    OpenedPanel<ZRKMask> mask;
    auto* slider = mask.find<SliderFWrapper>();
    slider->setFocus();
    const auto press = [slider](Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
        QTest::keyClick(slider, key, modifiers);
    };
    struct Case {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        double value;
    };
    const Case cases[] = {
        {Qt::Key_Down, {}, 0.99},
        {Qt::Key_Down, Qt::ControlModifier, 0.989},
        {Qt::Key_Down, Qt::ShiftModifier, 0.889},
        {Qt::Key_Up, Qt::ControlModifier, 0.89},
    };
    for (const Case& c : cases) {
        press(c.key, c.modifiers);
        EXPECT_DOUBLE_EQ(mask.component->multiplier.value(), c.value);
    }
    OpenedPanel<ZRKGyroid> gyroid;
    auto* field = gyroid.find<QDoubleSpinBoxWrapper>();
    const struct {
        double from;
        Qt::Key key;
        double to;
    } free[] = {
        {0, Qt::Key_Up, 0.1},      {1, Qt::Key_Up, 1.1},     {1, Qt::Key_Down, 0.99},
        {-1, Qt::Key_Up, -0.99},   {-1, Qt::Key_Down, -1.1}, {100, Qt::Key_Down, 99},
        {99.5, Qt::Key_Up, 100.5}, {110, Qt::Key_Down, 100}, {0.001, Qt::Key_Down, 0.0009},
    };
    for (const auto& c : free) {
        gyroid.component->contour.set(c.from);
        QTest::keyClick(field, c.key);
        EXPECT_DOUBLE_EQ(gyroid.component->contour.value(), c.to) << "a step from " << c.from;
    }

    mask.component->multiplier.set(1);
    mask.events.clear();
    press(Qt::Key_Up);
    EXPECT_EQ(mask.component->multiplier.value(), 1) << "the range's end";
    EXPECT_THAT(mask.events, IsEmpty());
    QTest::keyClick(slider, Qt::Key_7);
    press(Qt::Key_Escape);
    press(Qt::Key_Return);
    EXPECT_EQ(shownIn(*slider), "1") << "given up";
    EXPECT_THAT(mask.events, IsEmpty());
}

TEST(Controls, DragAndTurnNumbers)
{
    OpenedPanel<ZRKMask> mask;
    auto* slider = mask.find<SliderFWrapper>();
    auto* line = slider->findChild<QLineEdit*>();
    mask.view->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(mask.view.get()));
    slider->clearFocus();
    QTest::mousePress(line, Qt::LeftButton, {}, QPoint(line->width() - 2, 8));
    const QPointF quarter(line->width() / 4.0, 8);
    QMouseEvent move(QEvent::MouseMove, quarter, quarter, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(line, &move);
    QTest::mouseRelease(line, Qt::LeftButton, {}, QPoint(line->width() / 4, 8));
    EXPECT_NEAR(mask.component->multiplier.value(), 0.25, 0.02);

    QTest::mousePress(line, Qt::LeftButton, {}, QPoint(line->width() / 4, 8));
    QMouseEvent on(QEvent::MouseMove, 3 * quarter, 3 * quarter, Qt::LeftButton, Qt::LeftButton,
                   Qt::NoModifier);
    QCoreApplication::sendEvent(line, &on);
    EXPECT_NEAR(mask.component->multiplier.value(), 0.75, 0.02);
    QTest::keyClick(slider, Qt::Key_Escape);
    EXPECT_NEAR(mask.component->multiplier.value(), 0.25, 0.02) << "Escape gives the drag up";
    QCoreApplication::sendEvent(line, &on);
    QTest::mouseRelease(line, Qt::LeftButton, {}, QPoint(line->width() / 2, 8));
    EXPECT_NEAR(mask.component->multiplier.value(), 0.25, 0.02) << "what follows of it too";

    const auto turn = [&](Qt::KeyboardModifiers modifiers) {
        QWheelEvent wheel(QPointF(5, 5), QPointF(5, 5), {}, QPoint(0, 120), Qt::NoButton, modifiers,
                          Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(slider, &wheel);
    };
    mask.component->multiplier.set(0.5);
    slider->clearFocus();
    turn(Qt::NoModifier);
    EXPECT_EQ(mask.component->multiplier.value(), 0.5) << "the panel scrolls, the field doesn't";
    slider->setFocus();
    turn(Qt::NoModifier);
    EXPECT_DOUBLE_EQ(mask.component->multiplier.value(), 0.51);
    turn(Qt::ControlModifier);
    EXPECT_DOUBLE_EQ(mask.component->multiplier.value(), 0.511);
    turn(Qt::ShiftModifier);
    EXPECT_DOUBLE_EQ(mask.component->multiplier.value(), 0.611);
}

TEST(BinaryPanel, HasTheSlidersOfItsOperation)
{
    OpenedPanel<ZRKBinaryOperator> panel;
    EXPECT_EQ(panel.find<SliderFWrapper>(), nullptr);
    auto* combo = panel.find<QComboBoxWrapper>();
    combo->setFocus();
    QTest::keyClick(combo, Qt::Key_B); // blend
    EXPECT_EQ(panel.component->operation().name, "blend");
    ASSERT_NE(panel.find<SliderFWrapper>(), nullptr);
    type(*panel.find<SliderFWrapper>(), "0.75");
    EXPECT_EQ(panel.component->operation().params[0], 0.75);
    EXPECT_THAT(panel.events, ElementsAre("op", "op"));

    panel.component->setParameter(0, 0.2);
    EXPECT_EQ(panel.find<SliderFWrapper>()->exact(), 0.2) << "follows";
    panel.component->selectOperation(0);
    EXPECT_EQ(panel.find<SliderFWrapper>(), nullptr);
    EXPECT_EQ(combo->currentIndex(), 0);
    EXPECT_EQ(panel.find<QDoubleSpinBoxWrapper>(0)->accessibleName(), "strengthA") << "order stays";
}

TEST(Style, ColoursCanBeRead)
{
    using Role = ZRKCSSStyle::Role;
    struct Case {
        std::vector<Role> inks;
        std::vector<Role> grounds;
        double least[2]; ///< light, dark
    };
    const std::vector<Role> families = {
        Role::familyPrimitives, Role::familyPatterns, Role::familyCoordinates, Role::familyTransforms,
        Role::familyOperators,  Role::familyMesh,     Role::familyRaster,      Role::familyTransport};
    const Case cases[] = {
        {{Role::text}, {Role::panel, Role::field, Role::popup, Role::bar, Role::accentFill}, {13.3, 7.6}},
        {{Role::secondText}, {Role::panel, Role::popup, Role::bar, Role::accentFill}, {5.9, 4.9}},
        {{Role::secondText}, {Role::canvas}, {4.5, 4.5}},
        {{Role::hint},
         {Role::panel, Role::field, Role::fieldOverridden, Role::popup, Role::accentFill},
         {4.7, 4.8}},
        {{Role::link}, {Role::panel, Role::popup, Role::accentFill}, {5.3, 5.3}},
        {{Role::warning}, {Role::panel, Role::popup}, {5.4, 6.8}},
        {{Role::error}, {Role::panel, Role::popup, Role::field, Role::bar}, {5.1, 5.4}},
        {{Role::tagScalar, Role::tagVector, Role::tagColor},
         {Role::canvas, Role::node, Role::field, Role::panel},
         {4.1, 5.0}},
        {{Role::tagNone}, {Role::canvas, Role::node}, {3.9, 4.5}},
        {{Role::accent}, {Role::panel, Role::field, Role::canvas, Role::node}, {4.2, 4.2}},
        {families, {Role::panel, Role::popup}, {4.5, 4.5}},
        {{Role::noteText}, {Role::note}, {15, 15}},
    };
    for (const ZRKCSSStyle* style : {&ZRKCSSStyle::light(), &ZRKCSSStyle::dark()}) {
        const auto expectContrast = [](const QColor& ink, const QColor& ground, double least) {
            EXPECT_GE(contrast(ink, ground), least)
                << ink.name().toStdString() << " on " << ground.name().toStdString();
        };
        for (const Case& c : cases) {
            for (const Role ink : c.inks) {
                for (const Role ground : c.grounds) {
                    expectContrast(style->color(ink), style->color(ground), c.least[style->isDark()]);
                }
            }
        }
        for (const Role family : families) {
            const QColor header = style->header(family);
            expectContrast(style->color(Role::text), header, 7.6);
            expectContrast(style->color(Role::secondText), header, style->isDark() ? 4.85 : 5.9);
            expectContrast(style->color(family), header, style->isDark() ? 3.85 : 4.3);
            for (const Role badge : {Role::warning, Role::error, Role::frozen, Role::computing}) {
                expectContrast(style->color(badge), header, style->isDark() ? 3.95 : 4.85);
            }
        }
        expectContrast(style->color(Role::text), style->hoveredRow(), 4.5);
        expectContrast(style->color(Role::secondText), style->hoveredRow(), 4.5);
        expectContrast(style->color(Role::secondText), style->greyHeader(), 4.5);
        EXPECT_FALSE(style->sheet(1.5).contains('{' + QString("text}"))) << "all names are filled in";
        EXPECT_TRUE(style->sheet(1.5).contains("min-height: 33px")) << "and lengths scaled";
    }
}

} // namespace
} // namespace zrkui
