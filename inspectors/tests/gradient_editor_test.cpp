#include "inspectors/gradient_editor.h"

#include "components/transport/image_sweep.h"
#include "inspectors/field.h"
#include "inspectors/plot.h"
#include "inspectors/tests/opened_panel.h"
#include "testing/special_values.h"

#include <QTabWidget>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace zrkui {
namespace {

using namespace zrkmodel;
using ::testing::HasSubstr;

using zrk::testing::kNaN;

TEST(GradientEditor, EditsItsCurve)
{
    OpenedPanel<ZRKImageSweep> panel;
    auto* tabs = panel.find<QTabWidget>();
    tabs->setCurrentIndex(1);
    ZRKScalarGradientEditor* editor = nullptr;
    for (QWidget* widget : tabs->widget(1)->findChildren<QWidget*>()) {
        editor = editor ? editor : dynamic_cast<ZRKScalarGradientEditor*>(widget);
    }
    ASSERT_NE(editor, nullptr);
    QApplication::processEvents();
    UIPlot& plot = editor->plot();
    const auto stored = [&] {
        std::vector<std::array<double, 3>> points;
        for (const auto& point : panel.component->scaling.value().points) {
            points.push_back({point.key, point.value, static_cast<double>(point.function.kind)});
        }
        return points;
    };
    using Points = std::vector<std::array<double, 3>>;

    QTest::mouseDClick(&plot, Qt::LeftButton, {}, plot.toPixels({0.5, 0.0}).toPoint());
    ASSERT_EQ(stored().size(), 3u);
    EXPECT_NEAR(stored()[1][0], 0.5, 0.02);
    EXPECT_EQ(editor->selected(), 1);

    QTest::mousePress(&plot, Qt::LeftButton, {}, plot.toPixels({0.5, 0.0}).toPoint());
    const QPointF target = plot.toPixels({0.25, 0.5});
    QMouseEvent move(QEvent::MouseMove, target, target, Qt::LeftButton, Qt::LeftButton, Qt::NoModifier);
    QCoreApplication::sendEvent(&plot, &move);
    QTest::mouseRelease(&plot, Qt::LeftButton);
    EXPECT_NEAR(stored()[1][0], 0.25, 1e-9);
    EXPECT_NEAR(stored()[1][1], 0.5, 1e-9);

    editor->movePoint(1, 2.0, 0.5);
    EXPECT_EQ(editor->selected(), 2) << "past its neighbour, and within the keys";
    EXPECT_EQ(stored(), (Points{{0, 1, 0}, {1, 1, 0}, {1, 0.5, 0}}));
    editor->setKind(0, 3);
    EXPECT_EQ(stored()[0][2], 3);
    editor->plot().setFocus();
    QTest::keyClick(&plot, Qt::Key_Delete);
    EXPECT_EQ(stored(), (Points{{0, 1, 3}, {1, 1, 0}}));
    QTest::keyClick(&plot, Qt::Key_Delete);
    QTest::keyClick(&plot, Qt::Key_Delete);
    EXPECT_EQ(stored(), (Points{{0, 1, 3}})) << "the last point stays";
    EXPECT_THAT(UIField::of(editor)->message(), HasSubstr("the last one stays"));

    const std::size_t edits = panel.events.size();
    panel.component->scaling.set(ScalarCurve::through({{0, 2}, {0.5, kNaN}, {1, 3}}));
    EXPECT_EQ(editor->curve().points.size(), 3u);
    EXPECT_EQ(panel.events.size(), edits + 1) << "no echo";
    panel.component->scaling.set(ScalarCurve());
    EXPECT_EQ(editor->curve().points.size(), 0u) << "a curve without points shows";
    panel.view->grab();
    editor->addPoint(0.5, 1);
    EXPECT_EQ(stored(), (Points{{0.5, 1, 0}}));

    // The row beneath the plot, and the keyboard.
    const auto fields = editor->findChildren<QDoubleSpinBox*>();
    ASSERT_EQ(fields.size(), 2);
    type(static_cast<NumberField&>(*fields[0]), "0.25");
    type(static_cast<NumberField&>(*fields[1]), "3");
    EXPECT_EQ(stored(), (Points{{0.25, 3, 0}}));
    auto* kind = editor->findChild<QComboBox*>();
    kind->setFocus();
    QTest::keyClick(kind, Qt::Key_End);
    EXPECT_EQ(stored()[0][2], kind->count() - 1);
    editor->setKind(0, 0);
    for (auto* button : editor->findChildren<QPushButton*>()) {
        if (button->accessibleName() == "add a point") {
            button->click();
        }
    }
    EXPECT_EQ(stored(), (Points{{0.25, 3, 0}, {0.625, 3, 0}})) << "between the selected point and the end";
    EXPECT_EQ(editor->selected(), 1);
    plot.setFocus();
    QTest::keyClick(&plot, Qt::Key_Left);
    EXPECT_EQ(editor->selected(), 0);
    QTest::keyClick(&plot, Qt::Key_Right, Qt::ControlModifier);
    QTest::keyClick(&plot, Qt::Key_Down, Qt::ControlModifier);
    EXPECT_EQ(stored()[0], (std::array<double, 3>{0.26, 2.99, 0}));
    QTest::keyClick(&plot, Qt::Key_Delete);
    EXPECT_EQ(stored().size(), 1u);
}

} // namespace
} // namespace zrkui
