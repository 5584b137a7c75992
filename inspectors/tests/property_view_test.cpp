#include "inspectors/property_view.h"

#include "components/raster/image_extrude.h"
#include "components/transport/image_sweep.h"
#include "inspectors/css_style.h"
#include "inspectors/describe.h"
#include "inspectors/field.h"
#include "inspectors/geometry_picker.h"
#include "inspectors/gradient_editor.h"
#include "inspectors/tests/opened_panel.h"

#include <QGroupBox>
#include <QLabel>
#include <QTabWidget>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zrkui {
namespace {

using namespace zrkmodel;
using ::testing::ElementsAre;

// What the library's own panels have no use for yet.
TEST(PropertyView, AddsWhatItIsAskedFor)
{
    ZRKPropertyView view;
    std::vector<int> heard;
    view.pushVBoxLayoutInGroup("group");
    view.addSpinBoxI(2.75, {-3, 5}, {}, captionOf("count"))->connectToListener([&](int n) {
        heard.push_back(n);
    });
    view.addCheckBox("on", true)->connectToListener([&](bool on) { heard.push_back(on ? 1 : 0); });
    UIRect rect;
    rect.width = {40, 90};
    view.addLabel("words", rect);
    view.popLayout();
    TabHelper* tabs = view.addTabWidget({"first", "second"});
    tabs->connectToListener([&](int page) { heard.push_back(10 + page); });
    tabs->page(1).addComboBox({"a", "b"}, 7);
    auto* caption = new QLabel("made elsewhere");
    view.add(new QLabelWrapper("captioned"), {}, UIContent(static_cast<QWidget*>(caption)));
    UIImage dot(1, 1);
    dot.data = {255, 0, 0, 255};
    auto* picture = view.addButton(dot, {}, [&] { heard.push_back(20); });
    auto* inner = new QLabel("in a button");
    const auto* button = view.addButton(static_cast<QWidget*>(inner), {}, nullptr);
    for (int i = 0; i < 9; ++i) {
        view.popLayout(); // more than were opened
    }
    view.addLabel("last");
    view.show();

    const ZRKJson all = describeView(view);
    EXPECT_EQ(all["children"][0]["layout"], "vertical");
    EXPECT_EQ(all["children"][0]["title"], "group");
    ASSERT_NE(view.findChild<QGroupBox*>(), nullptr);
    EXPECT_EQ(view.findChild<QGroupBox*>()->title(), "group");
    const ZRKJson& group = all["children"][0]["children"];
    EXPECT_EQ(group[0],
              ZRKJson::parse(R"({"label": "count", "widget": "integer", "value": 2, "min": -3, "max": 5})"));
    EXPECT_EQ(group[1], ZRKJson::parse(R"({"label": "on", "widget": "check", "value": true})"));
    EXPECT_EQ(group[2]["label"], "words");
    EXPECT_EQ(all["children"][1]["children"][1]["title"], "second");
    EXPECT_EQ(all["children"][1]["children"][1]["children"][0]["value"], -1) << "no such item";
    EXPECT_EQ(all["children"].back()["label"], "last");
    EXPECT_TRUE(caption->isVisible());
    EXPECT_EQ(inner->parentWidget(), button);
    EXPECT_FALSE(picture->icon().isNull());
    for (const auto* label : view.findChildren<QLabel*>()) {
        if (label->text() == "words") {
            EXPECT_EQ(label->minimumWidth(), scaled(*label, 40));
            EXPECT_EQ(label->maximumWidth(), scaled(*label, 90));
        }
    }
    type(*static_cast<NumberField*>(view.findChild<QDoubleSpinBox*>()), "4");
    view.findChild<QCheckBox*>()->click();
    tabs->setCurrentIndex(1);
    picture->click();
    EXPECT_THAT(heard, ElementsAre(4, 0, 11, 20));
}

TEST(PropertyView, HasAWidgetForTexts)
{
    OpenedPanel<ZRK2DImageExtrude> panel;
    ZRKPropertyView view;
    auto* line = dynamic_cast<QLineEdit*>(addPropertyWidget(&view, panel.component->compositing));
    ASSERT_NE(line, nullptr);
    EXPECT_EQ(line->text(), "add");
    line->selectAll();
    QTest::keyClicks(line, "union");
    QTest::keyClick(line, Qt::Key_Return);
    EXPECT_EQ(panel.component->compositing.value(), "union");
    panel.component->compositing.set("subtract");
    EXPECT_EQ(line->text(), "subtract");
    EXPECT_THAT(panel.events, ElementsAre("compositing", "compositing"));
    EXPECT_EQ(addPropertyWidget(&view, panel.component->imageXY), nullptr) << "has no entry";
}

struct Shapeless final : ZRKGeometry {
    std::vector<SignedDistance> getSDFUngroup() const override { return {}; }
};

TEST(PropertyView, HasWidgetsForGeometriesAndCurves)
{
    OpenedPanel<ZRKImageSweep> panel;
    ZRKImageSweep& sweep = *panel.component;
    ZRKPropertyView view;
    auto* picker = dynamic_cast<ZRKGeometryPicker*>(addPropertyWidget(&view, sweep.pathCurve));
    ASSERT_NE(picker, nullptr);
    const auto geometry = std::make_shared<Shapeless>();
    picker->choose(geometry);
    EXPECT_EQ(sweep.pathCurve.value(), geometry);
    sweep.pathCurve.set(nullptr);
    EXPECT_EQ(picker->selectedObjects().size(), 0u);
    auto* editor = dynamic_cast<ZRKScalarGradientEditor*>(view.addProperty(ZRKPScalarGrad{&sweep.scaling}));
    ASSERT_NE(editor, nullptr);
    editor->movePoint(1, 1, 3);
    EXPECT_EQ(sweep.scaling.value()(1), 3);
    EXPECT_THAT(panel.events, ElementsAre("pathCurve", "pathCurve", "scaling"));
    EXPECT_EQ(view.addProperty(ZRKPScalarGrad{&sweep.steps}), nullptr) << "no curve";
}

} // namespace
} // namespace zrkui
