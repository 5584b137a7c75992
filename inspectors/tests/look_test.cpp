#include "components/coordinates/multipole_uvw.h"
#include "components/patterns/gyroid.h"
#include "components/primitives/sphere_sdf.h"
#include "components/raster/image_sampler.h"
#include "components/transport/image_sweep.h"
#include "inspectors/css_style.h"
#include "inspectors/field.h"
#include "inspectors/geometry_picker.h"
#include "inspectors/gradient_editor.h"
#include "inspectors/image_picker.h"
#include "inspectors/images.h"
#include "inspectors/number_text.h"
#include "inspectors/tests/opened_panel.h"
#include "inspectors/vector_widget.h"

#include <QLabel>
#include <QScrollArea>
#include <QStyleOptionComboBox>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace zrkui {
namespace {

using namespace zrkmodel;

TEST(Look, CombosHaveRoomForEachOfTheirTexts)
{
    forEachPanel([](const ZRKGraph::Node&, ZRKPropertyView& view) {
        view.resize(view.minimumSizeHint());
        QCoreApplication::processEvents();
        for (auto* combo : view.findChildren<QComboBox*>()) {
            if (!combo->isVisible()) { // on another page, which isn't laid out
                continue;
            }
            QStyleOptionComboBox option;
            option.initFrom(combo);
            const QRect room = combo->style()->subControlRect(QStyle::CC_ComboBox, &option,
                                                              QStyle::SC_ComboBoxEditField, combo);
            for (int i = 0; i < combo->count(); ++i) {
                EXPECT_LE(combo->fontMetrics().horizontalAdvance(combo->itemText(i)), room.width() - 2)
                    << combo->itemText(i).toStdString();
            }
        }
    });
}

// A text that is cut reads as another number, without its sign for one.
TEST(Look, NumbersAreShortenedNotCut)
{
    OpenedPanel<ZRKSphereSDF> sphere;
    sphere.view->resize(sphere.view->minimumSizeHint());
    QCoreApplication::processEvents();
    const VectorWidget<3>& center = *sphere.find<VectorWidget<3>>();
    for (const double value : {-1234.5678, 1e-7, -0.00123456, -4999999.9999, 0.1234, 1e30, -2.0}) {
        SCOPED_TRACE(value);
        sphere.component->center.set({value, value, value});
        for (std::size_t i = 0; i < 3; ++i) {
            NumberField& field = center.field(i);
            const auto* line = field.findChild<QLineEdit*>();
            const int room = line->width() - line->textMargins().left() - 4;
            EXPECT_LE(line->fontMetrics().horizontalAdvance(line->text()), room);
            // One digit at least: off by half of its unit.
            EXPECT_NEAR(numberFromText(line->text()).value_or(0), value, 0.34 * std::abs(value));
            EXPECT_EQ(field.exact(), value);
        }
    }
    NumberField& first = center.field(0);
    sphere.component->center.set({-1234.5678, 0, 0});
    sphere.events.clear();
    sphere.view->activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(sphere.view.get()));
    first.setFocus();
    EXPECT_EQ(shownIn(first), QString::fromUtf8("\u22121234.5678")) << "in full with the focus";
    type(first, shownIn(first));
    first.clearFocus();
    EXPECT_NE(shownIn(first), QString::fromUtf8("\u22121234.5678"));
    EXPECT_TRUE(sphere.events.empty());
    sphere.view->resize(900, 100);
    QCoreApplication::processEvents();
    EXPECT_EQ(shownIn(first), QString::fromUtf8("\u22121234.5678")) << "there is room now";
}

TEST(Look, MessagesShowAllTheirLines)
{
    OpenedPanel<ZRKGyroid> gyroid;
    auto* field = gyroid.find<QDoubleSpinBoxWrapper>();
    UIField::say(field, "a message of several lines, which is longer than there is room beneath a number");
    gyroid.view->resize(220, 400);
    QCoreApplication::processEvents();
    for (const auto* label : UIField::of(field)->findChildren<QLabel*>()) {
        if (label->wordWrap()) {
            EXPECT_GT(label->heightForWidth(label->width()), 3 * label->fontMetrics().height());
            EXPECT_GE(label->height(), label->heightForWidth(label->width()));
        }
    }
}

TEST(Look, PicturesStandOnPixels)
{
    struct Case {
        QRectF room;
        QSizeF size;
        double ratio;
        QPointF place;
    };
    const Case cases[] = {
        {{0, 0, 10, 10}, {4, 4}, 1, {3, 3}},      {{0, 0, 11, 10}, {4, 4}, 1, {3, 3}},
        {{0, 0, 11, 10}, {4, 4}, 2, {3.5, 3}},    {{5, 6, 10, 11}, {10, 8}, 1, {5, 7}},
        {{0, 0, 10, 10}, {4.5, 10}, 2, {2.5, 0}},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(centredIn(c.room, c.size, c.ratio), QRectF(c.place, c.size));
    }

    ZRKImagePicker picker(nullptr, 1);
    picker.ensurePolished();
    picker.resize(98, 81);
    const int side = picker.height() - 8; // its height has bounds
    picker.resize(side + 8 + 17, picker.height());
    zrk::Raster<1, 2, std::uint8_t> chequer(side, side);
    for (int i = 0; i < side * side; ++i) {
        chequer.data[static_cast<std::size_t>(i)] = (i / side + i % side) % 2 == 0 ? 0 : 255;
    }
    picker.display(std::make_shared<ZRKImage2d>(std::vector<ZRKImage2d::Channel>{chequer}));
    const QImage drawn = picker.grab().toImage();
    int grey = 0;
    for (int x = 20; x < side; ++x) {
        const int level = qRed(drawn.pixel(x, picker.height() / 2));
        grey += level > 10 && level < 245 ? 1 : 0;
    }
    EXPECT_EQ(grey, 0) << "blurred pixels of a row";
}

// A scan has more pixels than a thread that draws has time for.
TEST(Look, LargePicturesAreShownBySomeOfTheirPixels)
{
    zrk::Raster<1, 2, std::uint8_t> wide(1000, 3);
    for (std::size_t i = 0; i < wide.data.size(); ++i) {
        wide.data[i] = static_cast<std::uint8_t>(i % 1000 / 4 + i / 1000);
    }
    const ZRKImage2d image(std::vector<ZRKImage2d::Channel>{wide});
    EXPECT_EQ(toImage(&image, 1000).size(), QSize(1000, 3));
    const QImage shown = toImage(&image, 300);
    EXPECT_EQ(shown.size(), QSize(250, 1));
    for (const int x : {0, 100, 249}) {
        EXPECT_EQ(qRed(shown.pixel(x, 0)), x);
    }
    const QImage row = toImage(&image, 999);
    EXPECT_EQ(row.size(), QSize(500, 2));
    EXPECT_EQ(qRed(row.pixel(499, 1)), 998 / 4 + 2);
}

// Else the items' square corners lie over the list's round ones.
TEST(Look, ItemsLieWithinTheFrameOfTheirList)
{
    OpenedPanel<ZRKMultipoleUVW> poles;
    poles.button("add")->click();
    QCoreApplication::processEvents();
    const auto* items = poles.view->findChild<QScrollArea*>("Items");
    ASSERT_NE(items, nullptr);
    const QRect inner = items->rect().adjusted(4, 4, -4, -4);
    EXPECT_TRUE(
        inner.contains(QRect(items->viewport()->mapTo(items, QPoint(0, 0)), items->viewport()->size())));
}

// What the panels ask for in their rectangles.
TEST(Look, ControlsHaveTheirLeastSizes)
{
    const auto width = [](const QWidget* widget) { return widget->minimumWidth() / uiScale(*widget); };
    const auto height = [](const QWidget* widget) { return widget->minimumHeight() / uiScale(*widget); };
    OpenedPanel<ZRKScalarImageSampler> sampler;
    OpenedPanel<ZRKImageSweep> sweep;
    for (const auto* picker : {sampler.find<ZRKImagePicker>(), sweep.find<ZRKImagePicker>(2)}) {
        EXPECT_NEAR(width(picker), 80, 1);
        EXPECT_NEAR(height(picker), 80, 1);
    }
    EXPECT_NEAR(width(sweep.find<ZRKGeometryPicker>()), 32, 1);
    EXPECT_NEAR(height(sweep.find<ZRKGeometryPicker>()), 32, 1);
    for (const int page : {1, 2}) {
        const auto all = sweep.find<TabHelper>()->page(page).findChildren<QWidget*>();
        const auto found = std::find_if(all.begin(), all.end(), [](const QWidget* widget) {
            return dynamic_cast<const ZRKScalarGradientEditor*>(widget) != nullptr;
        });
        ASSERT_NE(found, all.end());
        EXPECT_NEAR(width(*found), page == 1 ? 50 : 200, 1);
    }
    OpenedPanel<ZRKMultipoleUVW> poles;
    poles.button("add")->click();
    EXPECT_NEAR(width(poles.find<SliderFWrapper>()), 50, 1);
}

} // namespace
} // namespace zrkui
